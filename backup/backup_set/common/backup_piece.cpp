#include "backup/backup_set/common/backup_piece.h"

#include <cstring>

#include <ace/Log_Msg.h>

#include "backup/backup_set/common/backup_piece_result_handler.h"
#include "platform/json/yajl_gen.h"
#include "platform/json/yajl_map_guard.h"
#include "platform/sql/select_sql.h"
#include "platform/sql/string_template.h"

namespace {

template <size_t N>
inline YAJL_Gen::Str key(char const (&text)[N]) {
  return YAJL_Gen::Str(text, N - 1);
}

}  // namespace

Backup_Piece::Backup_Piece() : size(0) {}

Backup_Piece::~Backup_Piece() = default;

// Runs once per piece of a set, so it writes straight into the generator:
// no temporaries, no intermediate values.
bool Backup_Piece::generate(yajl_gen_t* gen) {
  if (!gen) {
    ACE_ERROR((LM_EMERGENCY, "Unexpected error in %N:%l, gen is NULL:\n%?\n"));
    return false;
  }
  YAJL_Gen g(gen, false);
  YAJL_Map_Guard map(gen);
  g << key("path") << path << key("object") << object << key("size") << size;
  g << key("extended_attrs") << extended_attrs;
  return true;
}

bool Backup_Piece::print_cstr(int, char const* key, char const* value, unsigned long long length) {
  if (!key || !*key) {
    ACE_ERROR((LM_EMERGENCY, "Unexpected error in %N:%l, key is NULL or \"\":\n%?\n"));
    return false;
  }
  if (!tokens().empty()) return true;
  std::string* field = nullptr;
  if (strcmp(key, "path") == 0)
    field = &path;
  else if (strcmp(key, "object") == 0)
    field = &object;
  if (field) {
    if (value)
      field->assign(value, static_cast<size_t>(length));
    else
      field->clear();
  }
  return true;
}

bool Backup_Piece::print_int(int, char const* key, long long value) {
  if (!key || !*key) {
    ACE_ERROR((LM_EMERGENCY, "Unexpected error in %N:%l, key is NULL or \"\":\n%?\n"));
    return false;
  }
  if (!tokens().empty()) return true;
  if (strcmp(key, "size") == 0) size = value;
  return true;
}

bool Backup_Piece::print_json(int, char const* key, json_spirit::Value const& value) {
  if (!key || !*key) {
    ACE_ERROR((LM_EMERGENCY, "Unexpected error in %N:%l, key is NULL or \"\":\n%?\n"));
    return false;
  }
  if (!tokens().empty()) return true;
  if (strcmp(key, "extended_attrs") == 0 && value.type() == json_spirit::obj_type) extended_attrs = value.get_obj();
  return true;
}

// Catalogue reading: the columns of table "backup_piece" under the caller's
// alias; "id" and "set_uuid" are selected though the piece keeps neither.
namespace {
char const* const SELECT_COLUMNS[] = {"id", "set_uuid", "path", "object", "size", "extended_attrs"};
}  // namespace

void Backup_Piece::init_select_sql(Select_SQL& sql, char const* alias) {
  String_Template column("", "{{", "}}", 0);
  column("b", alias);
  sql.table("backup_piece", alias);
  std::string expression;
  for (char const* name : SELECT_COLUMNS) {
    column(std::string("{{b}}.") + name);
    column.str(expression);
    sql.add_key(expression, name);
  }
}

Backup_Piece_Result_Handler Backup_Piece::result_handler_;

database::sql::Query_Result_Handler* Backup_Piece::result_handler() { return &result_handler_; }
