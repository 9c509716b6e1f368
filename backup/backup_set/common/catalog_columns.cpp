#include "backup/backup_set/common/catalog_columns.h"

#include <string>

#include "platform/sql/select_sql.h"
#include "platform/sql/string_template.h"

void Catalog_Columns::select(Select_SQL& sql, char const* table, char const* alias, char const* const* names,
                             size_t count) {
  String_Template column("", "{{", "}}", 0);
  column("b", alias);
  sql.table(table, alias);
  std::string expression;
  for (size_t i = 0; i < count; ++i) {
    column(std::string("{{b}}.") + names[i]);
    column.str(expression);
    sql.add_key(expression, names[i]);
  }
}
