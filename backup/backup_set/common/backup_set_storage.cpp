#include "backup/backup_set/common/backup_set_storage.h"

#include <cstring>

#include <ace/Log_Msg.h>

#include "backup/backup_set/common/backup_set_storage_result_handler.h"
#include "backup/backup_set/common/catalog_columns.h"
#include "backup/backup_set/common/column_intake.h"
#include "platform/json/yajl_array_guard.h"
#include "platform/json/yajl_gen.h"
#include "platform/json/yajl_map_guard.h"

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
  return g.ok();
}

namespace {

using Text_Column = Column_Intake::Column<Backup_Set_Storage, std::string>;
using Int_Column = Column_Intake::Column<Backup_Set_Storage, long long>;
using State_Column = Column_Intake::Column<Backup_Set_Storage, Backup_Set_State>;
using Object_Column = Column_Intake::Column<Backup_Set_Storage, json_spirit::Object>;

Text_Column const TEXT_COLUMNS[] = {{"set_uuid", &Backup_Set_Storage::set_uuid},
                                    {"pool_uuid", &Backup_Set_Storage::pool_uuid},
                                    {"upstream_pool_uuid", &Backup_Set_Storage::upstream_pool_uuid}};
Int_Column const INT_COLUMNS[] = {{"size", &Backup_Set_Storage::size}};
// The integer becomes the bit set as it stands.
State_Column const STATE_COLUMNS[] = {{"state", &Backup_Set_Storage::state}};
Object_Column const OBJECT_COLUMNS[] = {{"extended_attrs", &Backup_Set_Storage::extended_attrs}};

// "id" is selected though the record keeps none.
char const* const SELECT_COLUMNS[] = {"id",    "set_uuid",           "pool_uuid",     "size",
                                      "state", "upstream_pool_uuid", "extended_attrs"};

}  // namespace

bool Backup_Set_Storage::print_cstr(int, char const* key, char const* value, unsigned long long length) {
  if (!Column_Intake::accept(*this, key)) return Column_Intake::refused(key);
  Column_Intake::text(*this, TEXT_COLUMNS, key, value, length);
  return true;
}

bool Backup_Set_Storage::print_int(int, char const* key, long long value) {
  if (!Column_Intake::accept(*this, key)) return Column_Intake::refused(key);
  if (!Column_Intake::integer(*this, INT_COLUMNS, key, value)) Column_Intake::integer(*this, STATE_COLUMNS, key, value);
  return true;
}

bool Backup_Set_Storage::print_json(int, char const* key, json_spirit::Value const& value) {
  if (!Column_Intake::accept(*this, key)) return Column_Intake::refused(key);
  Column_Intake::object(*this, OBJECT_COLUMNS, key, value);
  return true;
}

void Backup_Set_Storage::init_select_sql(Select_SQL& sql, char const* alias) {
  Catalog_Columns::select(sql, "backup_set_storage", alias, SELECT_COLUMNS);
}

Backup_Set_Storage_Result_Handler Backup_Set_Storage::result_handler_;

database::sql::Query_Result_Handler* Backup_Set_Storage::result_handler() { return &result_handler_; }
