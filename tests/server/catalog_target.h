#ifndef TESTS_SERVER_CATALOG_TARGET_H
#define TESTS_SERVER_CATALOG_TARGET_H

#include <memory>
#include <string>

#include "platform/database/connection.h"
#include "tests/server/temp_dir.h"

// A fresh, empty catalogue for one test on one engine: an SQLite file in a
// temporary directory, or a new database in the process's private
// PostgreSQL cluster. There is no silent skip: when the engine cannot be had
// prepare() says why and the test fails.
class Catalog_Target {
 public:
  enum Engine { SQLITE, POSTGRESQL };

  explicit Catalog_Target(Engine engine);
  ~Catalog_Target();

  bool prepare(std::string& error);

  Engine engine() const { return engine_; }
  // What catalogd takes as --db.
  std::string const& db() const { return db_; }
  // The libpq conninfo of the PostgreSQL database ("" for SQLite).
  std::string const& conninfo() const { return conninfo_; }
  // A connection of the test's own to the same catalogue.
  std::unique_ptr<database::sql::Connection> connect() const;
  std::string const& dir() const { return dir_.path(); }

  static char const* name(Engine engine) { return engine == SQLITE ? "SQLite" : "PostgreSQL"; }

 private:
  Engine engine_;
  Temp_Dir dir_;
  std::string db_;
  std::string conninfo_;
};

#endif
