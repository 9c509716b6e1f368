#ifndef BACKUP_BACKUP_SET_COMMON_MSSQL_SETS_RESULT_HANDLER_H
#define BACKUP_BACKUP_SET_COMMON_MSSQL_SETS_RESULT_HANDLER_H

#include "backup/backup_set/common/backup_set_result_handler.h"

// Delivers listings of SQL Server sets into any printer: identifier, JSON
// and flag columns translated, and the state word twice, as its list of
// names ("state") and as whether the copy is online ("restorable"). Media
// tags are not expanded in these listings.
class BSET_API MSSQL_Sets_Result_Handler : public Backup_Set_Result_Handler {
 public:
  MSSQL_Sets_Result_Handler();
  ~MSSQL_Sets_Result_Handler() override;

  bool handle_integer_i(database::sql::Connection& connection, int index, char const* name, long long value,
                        database::sql::Query_Result_Printer& printer) override;

  static Key2_Value_T<Val_Tran> const VALUES[];
};

#endif
