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

void Catalog_Columns::add(Select_SQL& sql, char const* alias, char const* name, char const* key) {
  String_Template column(std::string("{{b}}.") + name, "{{", "}}", 0);
  column("b", alias);
  std::string expression;
  column.str(expression);
  sql.add_key(expression, key);
}

void Catalog_Columns::join(Select_SQL& sql, char const* table, char const* alias) {
  String_Template condition("uuid={{b}}.set_uuid", "{{", "}}", 0);
  condition("b", alias);
  std::string text;
  condition.str(text);
  sql.join(table, alias, text);
}
