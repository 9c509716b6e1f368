#ifndef SCHEMA_CATALOG_SCHEMA_H
#define SCHEMA_CATALOG_SCHEMA_H

#include "platform/database/connection.h"
#include "platform/export.h"
#include "platform/sql/dialect.h"

// The catalogue's tables and indexes (backup_set, backup_piece,
// backup_set_storage, backup_set_media) for each engine. The DDL is the text
// of schema/sqlite.sql and schema/postgresql.sql, built into the library.
class BSET_API Catalog_Schema {
 public:
  // Creates whatever is missing, in one transaction; running it again
  // changes nothing. Call it outside any open transaction.
  static bool create(database::sql::Connection& connection);
  // The DDL script for an engine.
  static char const* text(Dialect dialect);
};

#endif
