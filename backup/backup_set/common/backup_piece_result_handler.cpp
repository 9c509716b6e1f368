#include "backup/backup_set/common/backup_piece_result_handler.h"

namespace {
Key2_Value_T<database::sql::Query_Result_Handler::Key_Tran> const NO_KEYS[] = {{nullptr, nullptr}};
int const ALL_TABLE_ROWS = static_cast<int>(0xFFFFFFFFu);
}  // namespace

Key2_Value_T<database::sql::Query_Result_Handler::Val_Tran> const Backup_Piece_Result_Handler::VALUES[] = {
    {"set_uuid", 5},
    {"extended_attrs", 4},
    {nullptr, 0},
};

Backup_Piece_Result_Handler::Backup_Piece_Result_Handler()
    : Query_Result_Handler(NO_KEYS, VALUES, ALL_TABLE_ROWS, ALL_TABLE_ROWS) {}

Backup_Piece_Result_Handler::~Backup_Piece_Result_Handler() = default;
