#include "schema/catalog_schema.h"

#include "schema/catalog_schema_text.h"

char const* Catalog_Schema::text(Dialect dialect) {
  return dialect == Dialect::PostgreSQL ? catalog_schema_postgresql_text() : catalog_schema_sqlite_text();
}

bool Catalog_Schema::create(database::sql::Connection& connection) {
  if (connection.dialect() == Dialect::PostgreSQL) {
    // The script carries its own transaction and lock.
    if (connection.execute_script(text(Dialect::PostgreSQL))) return true;
    connection.execute_script("ROLLBACK");
    return false;
  }
  if (!connection.begin()) return false;
  if (!connection.execute_script(text(Dialect::SQLite))) {
    connection.rollback();
    return false;
  }
  return connection.commit();
}
