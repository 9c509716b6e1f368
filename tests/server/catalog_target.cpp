#include "tests/server/catalog_target.h"

#include <unistd.h>

#include <atomic>

#include "platform/database/pg_connection.h"
#include "platform/database/sqlite_connection.h"
#include "tests/support/pg_cluster.h"

Catalog_Target::Catalog_Target(Engine engine) : engine_(engine) {}

Catalog_Target::~Catalog_Target() = default;

bool Catalog_Target::prepare(std::string& error) {
  if (engine_ == SQLITE) {
    db_ = dir_.path() + "/catalog.db";
    return true;
  }
  PG_Cluster* cluster = PG_Cluster::shared(&error);
  if (!cluster) return false;
  static std::atomic<int> counter{0};
  std::string name = "catalogd_" + std::to_string(getpid()) + "_" + std::to_string(counter++);
  database::sql::PG_Connection admin(cluster->conninfo());
  if (!admin.is_open() || !admin.execute_script("CREATE DATABASE " + name)) {
    error = "cannot create database " + name + ": " + admin.last_error();
    return false;
  }
  conninfo_ = cluster->conninfo_for(name);
  db_ = "postgresql://postgres@127.0.0.1:" + std::to_string(cluster->port()) + "/" + name;
  return true;
}

std::unique_ptr<database::sql::Connection> Catalog_Target::connect() const {
  if (engine_ == SQLITE) return std::make_unique<database::sql::SQLite_Connection>(db_);
  return std::make_unique<database::sql::PG_Connection>(conninfo_);
}
