#include "backup/backup_set/common/mssql_sets_result_handler.h"

#include <cstring>

#include <ace/Log_Msg.h>

#include "backup/backup_set/common/backup_set_state.h"

namespace {
Key2_Value_T<database::sql::Query_Result_Handler::Key_Tran> const NO_KEYS[] = {{nullptr, nullptr}};
}  // namespace

Key2_Value_T<database::sql::Query_Result_Handler::Val_Tran> const MSSQL_Sets_Result_Handler::VALUES[] = {
    {"uuid", 5},
    {"pool_uuid", 5},
    {"file_list", 4},
    {"merged", 1},
    {"has_bulk_logged_data", 1},
    {"job_instance_uuid", 5},
    {"definition_uuid", 5},
    {"uid", 5},
    {"host_uuid", 5},
    {"resource_uuid", 5},
    {"set_uuid", 5},
    {"upstream_pool_uuid", 5},
    {"incarnation", 5},
    {"extended_attrs", 4},
    {nullptr, 0},
};

MSSQL_Sets_Result_Handler::MSSQL_Sets_Result_Handler() : Backup_Set_Result_Handler(NO_KEYS, VALUES, nullptr, 0) {}

MSSQL_Sets_Result_Handler::~MSSQL_Sets_Result_Handler() = default;

bool MSSQL_Sets_Result_Handler::handle_integer_i(database::sql::Connection&, int index, char const* name,
                                                 long long value, database::sql::Query_Result_Printer& printer) {
  if (!name || !*name) {
    ACE_ERROR((LM_EMERGENCY, "Unexpected error in %N:%l, name is NULL or \"\":\n%?\n"));
    return false;
  }
  Backup_Set_State state(static_cast<unsigned long long>(value));
  if (std::strcmp(name, "state") == 0) return printer.print_json(index, "state", json_spirit::Value(state.states()));
  // The listing delivers the state word a second time under this name.
  if (std::strcmp(name, "restorable") == 0)
    return printer.print_bool(index, "restorable", state.get_bit(Backup_Set_State::ONLINE));
  return false;
}
