#include "backup/backup_set/common/backup_set_storage.h"

#include <cstring>

#include <ace/Log_Msg.h>

#include "backup/backup_set/common/backup_set_storage_result_handler.h"
#include "platform/json/yajl_array_guard.h"
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

Backup_Set_Storage::Backup_Set_Storage() : size(0), state(0) {}

Backup_Set_Storage::~Backup_Set_Storage() = default;

bool Backup_Set_Storage::generate(yajl_gen_t* gen) {
  if (!gen) {
    ACE_ERROR((LM_EMERGENCY, "Unexpected error in %N:%l, gen is NULL:\n%?\n"));
    return false;
  }
  YAJL_Gen g(gen, false);
  YAJL_Map_Guard map(gen);
  g << key("pool_uuid") << pool_uuid << key("size") << size << key("state");
  {
    // The same walk as Backup_Set_State::states(), written out directly.
    YAJL_Array_Guard names(gen);
    for (unsigned long long bits = state.bits(); bits != 0;) {
      unsigned long long const next = bits & (bits - 1);
      if (Backup_Set_State::Name const* row = Backup_Set_State::name_of(bits - next))
        g << YAJL_Gen::Str(row->name, row->length);
      bits = next;
    }
  }
  if (!upstream_pool_uuid.empty()) g << key("upstream_pool_uuid") << upstream_pool_uuid;
  g << key("extended_attrs") << extended_attrs;
  return true;
}

bool Backup_Set_Storage::print_cstr(int, char const* key, char const* value, unsigned long long length) {
  if (!key || !*key) {
    ACE_ERROR((LM_EMERGENCY, "Unexpected error in %N:%l, key is NULL or \"\":\n%?\n"));
    return false;
  }
  if (!tokens().empty()) return true;
  std::string* field = nullptr;
  if (strcmp(key, "set_uuid") == 0)
    field = &set_uuid;
  else if (strcmp(key, "pool_uuid") == 0)
    field = &pool_uuid;
  else if (strcmp(key, "upstream_pool_uuid") == 0)
    field = &upstream_pool_uuid;
  if (field) {
    if (value)
      field->assign(value, static_cast<size_t>(length));
    else
      field->clear();
  }
  return true;
}

bool Backup_Set_Storage::print_int(int, char const* key, long long value) {
  if (!key || !*key) {
    ACE_ERROR((LM_EMERGENCY, "Unexpected error in %N:%l, key is NULL or \"\":\n%?\n"));
    return false;
  }
  if (!tokens().empty()) return true;
  if (strcmp(key, "size") == 0)
    size = value;
  else if (strcmp(key, "state") == 0)
    state = Backup_Set_State(static_cast<unsigned long long>(value));
  return true;
}

bool Backup_Set_Storage::print_json(int, char const* key, json_spirit::Value const& value) {
  if (!key || !*key) {
    ACE_ERROR((LM_EMERGENCY, "Unexpected error in %N:%l, key is NULL or \"\":\n%?\n"));
    return false;
  }
  if (!tokens().empty()) return true;
  if (strcmp(key, "extended_attrs") == 0 && value.type() == json_spirit::obj_type) extended_attrs = value.get_obj();
  return true;
}

// Catalogue reading: the columns of table "backup_set_storage" under the
// caller's alias; "id" is selected though the record keeps none.
namespace {
char const* const SELECT_COLUMNS[] = {"id", "set_uuid", "pool_uuid", "size", "state", "upstream_pool_uuid",
                                      "extended_attrs"};
}  // namespace

void Backup_Set_Storage::init_select_sql(Select_SQL& sql, char const* alias) {
  String_Template column("", "{{", "}}", 0);
  column("b", alias);
  sql.table("backup_set_storage", alias);
  std::string expression;
  for (char const* name : SELECT_COLUMNS) {
    column(std::string("{{b}}.") + name);
    column.str(expression);
    sql.add_key(expression, name);
  }
}

Backup_Set_Storage_Result_Handler Backup_Set_Storage::result_handler_;

database::sql::Query_Result_Handler* Backup_Set_Storage::result_handler() { return &result_handler_; }
