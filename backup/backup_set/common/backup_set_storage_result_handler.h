#ifndef BACKUP_BACKUP_SET_COMMON_BACKUP_SET_STORAGE_RESULT_HANDLER_H
#define BACKUP_BACKUP_SET_COMMON_BACKUP_SET_STORAGE_RESULT_HANDLER_H

#include "platform/database/key2_value_t.h"
#include "platform/database/query_result_handler.h"
#include "platform/export.h"

// Delivers backup_set_storage rows: the set, pool, server and upstream pool
// UUIDs as text and the attributes parsed. The state word stays an integer
// (the storage record takes it as its bit set).
class BSET_API Backup_Set_Storage_Result_Handler : public database::sql::Query_Result_Handler {
 public:
  Backup_Set_Storage_Result_Handler();
  ~Backup_Set_Storage_Result_Handler() override;

  static Key2_Value_T<Val_Tran> const VALUES[];
};

#endif
