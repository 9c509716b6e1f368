#include "backup/backup_set/common/backup_set_storage_result_handler.h"

namespace {
Key2_Value_T<database::sql::Query_Result_Handler::Key_Tran> const NO_KEYS[] = {{nullptr, nullptr}};
int const ALL_TABLE_ROWS = static_cast<int>(0xFFFFFFFFu);
}  // namespace

Key2_Value_T<database::sql::Query_Result_Handler::Val_Tran> const Backup_Set_Storage_Result_Handler::VALUES[] = {
    {"set_uuid", 5},
    {"pool_uuid", 5},
    {"server_uuid", 5},
    {"upstream_pool_uuid", 5},
    {"extended_attrs", 4},
    {nullptr, 0},
};

Backup_Set_Storage_Result_Handler::Backup_Set_Storage_Result_Handler()
    : Query_Result_Handler(NO_KEYS, VALUES, ALL_TABLE_ROWS, ALL_TABLE_ROWS) {}

Backup_Set_Storage_Result_Handler::~Backup_Set_Storage_Result_Handler() = default;
