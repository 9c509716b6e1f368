#include "backup/backup_set/common/backup_set_result_handler.h"

#include <cstring>
#include <string>

#include <ace/Log_Msg.h>

#include "backup/backup_set/common/backup_set_state.h"
#include "platform/database/connection.h"
#include "platform/database/printer_array_guard.h"
#include "platform/sql/select_sql.h"
#include "platform/text/string_checker.h"

using database::sql::Connection;
using database::sql::Printer_Array_Guard;
using database::sql::Query_Result_Handler;
using database::sql::Query_Result_Printer;

namespace {

Key2_Value_T<Query_Result_Handler::Key_Tran> const NO_KEYS[] = {{nullptr, nullptr}};

// Mode values of Connection::query for the nested reads.
int const ROWS_AS_MAPS = 8;
int const ROWS_AS_ELEMENTS = 4;
int const ALL_TABLE_ROWS = static_cast<int>(0xFFFFFFFFu);

char const NAME_BREAKERS[] = "|<>/\\:*?\"";

}  // namespace

Key2_Value_T<Query_Result_Handler::Val_Tran> const Backup_Set_Result_Handler::DEFAULT_VALUES[] = {
    {"uuid", 5},
    {"job_instance_uuid", 5},
    {"definition_uuid", 5},
    {"uid", 5},
    {"host_uuid", 5},
    {"resource_uuid", 5},
    {"set_uuid", 5},
    {"pool_uuid", 5},
    {"upstream_pool_uuid", 5},
    {"incarnation", 5},
    {"resource_tree", 4},
    {"extended_attrs", 4},
    {"backup_server_uuid", 5},
    {"tablespaces", 4},
    {nullptr, 0},
};

std::vector<Key2_Value_T<Query_Result_Handler::Val_Tran>> Backup_Set_Result_Handler::default_values_and(
    std::vector<Key2_Value_T<Val_Tran>> const& more) {
  std::vector<Key2_Value_T<Val_Tran>> t;
  for (auto const* row = DEFAULT_VALUES; row->key; ++row) t.push_back(*row);
  t.insert(t.end(), more.begin(), more.end());
  t.push_back({nullptr, 0});
  return t;
}

Backup_Set_Result_Handler::Backup_Set_Result_Handler(Key2_Value_T<Key_Tran> const* keys,
                                                     Key2_Value_T<Val_Tran> const* values,
                                                     std::vector<json_spirit::Value> const* pool_uuids,
                                                     long long flags)
    : Query_Result_Handler(keys ? keys : NO_KEYS, values ? values : DEFAULT_VALUES, ALL_TABLE_ROWS, ALL_TABLE_ROWS),
      pool_uuids_(pool_uuids),
      flags_(flags) {}

Backup_Set_Result_Handler::~Backup_Set_Result_Handler() = default;

bool Backup_Set_Result_Handler::handle_binary_i(Connection& connection, int index, char const* name,
                                                unsigned char const* data, unsigned long long length,
                                                Query_Result_Printer& printer) {
  if (!name || !*name) {
    ACE_ERROR((LM_EMERGENCY, "Unexpected error in %N:%l, name is NULL or \"\":\n%?\n"));
    return false;
  }
  // Every binary column passes here (all the UUIDs): answer those fast.
  bool storages = name[0] == 's' && std::strcmp(name, "storages") == 0;
  if (!storages && (name[0] != 'p' || std::strcmp(name, "pieces") != 0)) return false;

  // The array is closed on every path, also when the nested query fails.
  Printer_Array_Guard guard(printer, index, name);
  Binding_Value set_uuid(std::basic_string<unsigned char>(data, static_cast<size_t>(length)));
  if (storages) {
    Select_SQL sql("backup_set_storage", nullptr);
    sql.select("pool_uuid,state,size,upstream_pool_uuid").where("set_uuid=:set_uuid", false).bind(":set_uuid", set_uuid);
    if (pool_uuids_) {
      if (Filter_SQL* filter = sql.and_filter()) filter->add_in_uuid_item("pool_uuid", *pool_uuids_);
    }
    connection.query(sql, printer, ROWS_AS_MAPS, this, 0);
  } else {
    Select_SQL sql("backup_piece", nullptr);
    sql.select("object,size,path").where("set_uuid=:set_uuid", false).bind(":set_uuid", set_uuid);
    connection.query(sql, printer, ROWS_AS_MAPS, this, 0);
  }
  return true;
}

bool Backup_Set_Result_Handler::handle_integer_i(Connection& connection, int index, char const* name, long long value,
                                                 Query_Result_Printer& printer) {
  if (!name || !*name) {
    ACE_ERROR((LM_EMERGENCY, "Unexpected error in %N:%l, name is NULL or \"\":\n%?\n"));
    return false;
  }
  if (name[0] != 's' && name[0] != 'm') return false;
  if (std::strcmp(name, "state") == 0) {
    Backup_Set_State state(static_cast<unsigned long long>(value));
    return printer.print_json(index, "state", json_spirit::Value(state.states()));
  }
  if (std::strcmp(name, "media_tags") == 0) {
    Printer_Array_Guard guard(printer, index, name);
    Select_SQL sql("backup_set_media", nullptr);
    sql.select("media_tag").where("set_storage_id=:set_storage_id", false);
    sql.bind(":set_storage_id", Binding_Value(value));
    connection.query(sql, printer, ROWS_AS_ELEMENTS, nullptr, 0);
    return true;
  }
  return false;
}

bool Backup_Set_Result_Handler::handle_string_i(Connection&, int index, char const* name, char const* text,
                                                unsigned long long length, Query_Result_Printer& printer) {
  if (!(flags_ & CLEAN_NAMES)) return false;
  if (!name || (std::strcmp(name, "name") != 0 && std::strcmp(name, "minor_resource_name") != 0)) return false;
  std::string cleaned(text ? text : "", text ? static_cast<size_t>(length) : 0);
  if (String_Checker::check(cleaned, static_cast<String_Checker::SC_Type>(8))) return false;
  for (size_t at = cleaned.find_first_of(NAME_BREAKERS); at != std::string::npos;
       at = cleaned.find_first_of(NAME_BREAKERS, at + 1)) {
    cleaned[at] = ' ';
  }
  return printer.print_str(index, name, cleaned);
}
