#ifndef SCHEMA_CATALOG_SCHEMA_H
#define SCHEMA_CATALOG_SCHEMA_H

#include "platform/database/connection.h"
#include "platform/export.h"
#include "platform/sql/dialect.h"

// The catalogue's tables and indexes for each engine, built up by numbered
// steps (schema/steps/<engine>/NNN_name.sql, built into the library). The
// catalogue records the number of the last step applied in
// catalog_schema_version; a catalogue without that table is at version 0,
// including one written before versions were recorded (step 1 only creates
// what is missing, so it adopts such a catalogue's tables as they are).
class BSET_API Catalog_Schema {
 public:
  // Brings the catalogue up to latest_version(): every step above its
  // version, in order, then the new version, all in one transaction (on
  // PostgreSQL under an advisory lock, so servers starting together take
  // turns). Running it again changes nothing. False, with the connection's
  // last_error() saying why, when a step fails (nothing of the run is kept)
  // or the catalogue is newer than this build. Call it outside any open
  // transaction.
  static bool create(database::sql::Connection& connection);

  // The version this build brings catalogues to.
  static int latest_version();

  // The catalogue's recorded version (0 when none is recorded).
  static bool version(database::sql::Connection& connection, int& out);

  // The DDL of step `number` for an engine; null when this build has no such
  // step.
  static char const* step_text(int number, Dialect dialect);
};

#endif
