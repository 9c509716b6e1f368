#ifndef BACKUP_BACKUP_SET_COMMON_BACKUP_PIECE_RESULT_HANDLER_H
#define BACKUP_BACKUP_SET_COMMON_BACKUP_PIECE_RESULT_HANDLER_H

#include "platform/database/key2_value_t.h"
#include "platform/database/query_result_handler.h"
#include "platform/export.h"

// Delivers backup_piece rows: the owning set's UUID as text and the
// attributes parsed. Everything else goes the default way.
class BSET_API Backup_Piece_Result_Handler : public database::sql::Query_Result_Handler {
 public:
  Backup_Piece_Result_Handler();
  ~Backup_Piece_Result_Handler() override;

  static Key2_Value_T<Val_Tran> const VALUES[];
};

#endif
