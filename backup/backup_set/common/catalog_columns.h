#ifndef BACKUP_BACKUP_SET_COMMON_CATALOG_COLUMNS_H
#define BACKUP_BACKUP_SET_COMMON_CATALOG_COLUMNS_H

#include <cstddef>

#include "platform/export.h"

class Select_SQL;

// How a record names its catalogue columns in a select: the table under the
// caller's alias, each column as "{{b}}.<name>" (with {{b}} the alias) and
// delivered under its bare name.
class BSET_API Catalog_Columns {
 public:
  template <size_t N>
  static void select(Select_SQL& sql, char const* table, char const* alias, char const* const (&names)[N]) {
    select(sql, table, alias, names, N);
  }
  static void select(Select_SQL& sql, char const* table, char const* alias, char const* const* names, size_t count);

  // One more column of a joined table: "<alias>.<name>" delivered under `key`.
  static void add(Select_SQL& sql, char const* alias, char const* name, char const* key);
  // Joins an application kind's table on its "set_uuid" column, matched
  // with the set's "uuid" ("uuid=<alias>.set_uuid").
  static void join(Select_SQL& sql, char const* table, char const* alias);
};

#endif
