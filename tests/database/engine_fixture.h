#ifndef TESTS_DATABASE_ENGINE_FIXTURE_H
#define TESTS_DATABASE_ENGINE_FIXTURE_H

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "platform/database/connection.h"
#include "platform/database/pg_connection.h"
#include "platform/database/sqlite_connection.h"
#include "schema/catalog_schema.h"
#include "tests/support/pg_cluster.h"

// The same test body runs against SQLite and against a private PostgreSQL
// cluster; each test starts from an empty catalogue.
enum class Engine { SQLite, PostgreSQL };

inline std::string engine_name(::testing::TestParamInfo<Engine> const& info) {
  return info.param == Engine::SQLite ? "SQLite" : "PostgreSQL";
}

class Engine_Test : public ::testing::TestWithParam<Engine> {
 protected:
  void SetUp() override {
    if (GetParam() == Engine::SQLite) {
      db_.reset(new database::sql::SQLite_Connection(":memory:"));
    } else {
      std::string error;
      PG_Cluster* cluster = PG_Cluster::shared(&error);
      ASSERT_NE(nullptr, cluster) << "PostgreSQL did not start: " << error;
      db_.reset(new database::sql::PG_Connection(cluster->conninfo()));
      ASSERT_TRUE(db_->is_open()) << db_->last_error();
      // Tests of one process share the database: start from nothing.
      ASSERT_TRUE(db_->execute_script("DROP SCHEMA IF EXISTS public CASCADE; CREATE SCHEMA public"))
          << db_->last_error();
    }
    ASSERT_TRUE(db_->is_open()) << db_->last_error();
    ASSERT_TRUE(Catalog_Schema::create(*db_)) << db_->last_error();
  }

  bool pg() const { return GetParam() == Engine::PostgreSQL; }
  database::sql::Connection& db() { return *db_; }

  // Runs a statement that must succeed.
  void exec(SQL const& sql) { ASSERT_TRUE(db_->execute(sql)) << db_->last_error(); }
  void exec(std::string const& text) { exec(SQL(text)); }

  std::unique_ptr<database::sql::Connection> db_;
};

#define ENGINE_SUITE(suite) \
  INSTANTIATE_TEST_SUITE_P(Engines, suite, ::testing::Values(Engine::SQLite, Engine::PostgreSQL), engine_name)

#endif
