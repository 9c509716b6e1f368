#include "schema/catalog_schema.h"

#include <climits>
#include <string>

#include "platform/json/value.h"
#include "platform/sql/sql.h"
#include "schema/catalog_schema_steps.h"

using database::sql::Connection;

namespace {

// Two catalogd processes may start together on one PostgreSQL catalogue.
long long const kSchemaLock = 4206942069LL;

// Reports through the connection's own error, where callers already look
// (Catalog_Store::open puts it in its message), and logs it like any other
// database failure. Connection::fail is protected, hence the detour.
struct Schema_Failure : Connection {
  static bool report(Connection& connection, std::string const& message) {
    return (connection.*&Schema_Failure::fail)(message);
  }
};

// Gives up the run: nothing it did is kept.
bool abandon(Connection& connection, std::string const& message) {
  connection.rollback();
  return Schema_Failure::report(connection, message);
}

// SQLite quotes the whole script before its message; the step's number and
// name say which script it was.
std::string engine_message(Connection const& connection, std::string const& script) {
  std::string const& error = connection.last_error();
  if (error.size() > script.size() + 2 && error.compare(0, script.size(), script) == 0 &&
      error.compare(script.size(), 2, ": ") == 0)
    return error.substr(script.size() + 2);
  return error;
}

bool read_version(Connection& connection, int& out) {
  // Looked up in the engine's catalogue first: a failed SELECT would spoil
  // an open PostgreSQL transaction.
  SQL exists(connection.dialect() == Dialect::PostgreSQL
                 ? "SELECT count(*) FROM pg_catalog.pg_class WHERE oid = to_regclass('catalog_schema_version')"
                 : "SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name = 'catalog_schema_version'");
  json_spirit::Value found;
  if (!connection.query_value(exists, found)) return false;
  if (found.type() != json_spirit::int_type)
    return Schema_Failure::report(connection, "cannot tell whether catalog_schema_version exists");
  if (found.get_int64() == 0) {
    out = 0;
    return true;
  }
  json_spirit::Value version;
  if (!connection.query_value(SQL("SELECT max(version) FROM catalog_schema_version"), version)) return false;
  if (version.is_null()) {
    out = 0;
    return true;
  }
  if (version.type() != json_spirit::int_type || version.get_int64() < INT_MIN || version.get_int64() > INT_MAX)
    return Schema_Failure::report(connection, "catalog_schema_version holds a version that is not an int");
  out = static_cast<int>(version.get_int64());
  return true;
}

}  // namespace

int Catalog_Schema::latest_version() { return catalog_schema_steps[catalog_schema_step_count - 1].number; }

char const* Catalog_Schema::step_text(int number, Dialect dialect) {
  if (number < 1 || number > catalog_schema_step_count) return nullptr;
  Catalog_Schema_Step const& step = catalog_schema_steps[number - 1];
  return dialect == Dialect::PostgreSQL ? step.postgresql : step.sqlite;
}

bool Catalog_Schema::version(Connection& connection, int& out) { return read_version(connection, out); }

bool Catalog_Schema::create(Connection& connection) {
  Dialect const dialect = connection.dialect();
  int const latest = latest_version();
  // On SQLite, BEGIN IMMEDIATE already keeps a second writer out.
  if (!connection.begin()) return false;
  if (dialect == Dialect::PostgreSQL &&
      !connection.execute_script("SELECT pg_advisory_xact_lock(" + std::to_string(kSchemaLock) + ")"))
    return abandon(connection, "cannot lock the catalogue schema: " + connection.last_error());

  int current = 0;
  if (!read_version(connection, current))
    return abandon(connection, "cannot read the catalogue schema version: " + connection.last_error());
  if (current < 0) return abandon(connection, "catalogue schema version " + std::to_string(current) + " is not valid");
  if (current > latest)
    return abandon(connection, "catalogue schema version " + std::to_string(current) +
                                   " is newer than this catalogd knows (" + std::to_string(latest) + ")");

  if (current < latest) {
    for (int number = current + 1; number <= latest; ++number) {
      Catalog_Schema_Step const& step = catalog_schema_steps[number - 1];
      std::string script = dialect == Dialect::PostgreSQL ? step.postgresql : step.sqlite;
      if (!connection.execute_script(script))
        return abandon(connection, "catalogue schema step " + std::to_string(number) + " (" + step.name +
                                       ") failed: " + engine_message(connection, script));
    }
    SQL record("INSERT INTO catalog_schema_version (version) VALUES (:version)");
    record.bind(":version", Binding_Value(latest));
    if (!connection.execute_script("CREATE TABLE IF NOT EXISTS catalog_schema_version (version integer NOT NULL)") ||
        !connection.execute(SQL("DELETE FROM catalog_schema_version")) || !connection.execute(record))
      return abandon(connection, "cannot record catalogue schema version " + std::to_string(latest) + ": " +
                                     connection.last_error());
  }

  if (!connection.commit()) {
    std::string why = connection.last_error();
    return abandon(connection, "cannot commit the catalogue schema: " + why);
  }
  return true;
}
