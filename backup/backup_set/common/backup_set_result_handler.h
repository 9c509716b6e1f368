#ifndef BACKUP_BACKUP_SET_COMMON_BACKUP_SET_RESULT_HANDLER_H
#define BACKUP_BACKUP_SET_COMMON_BACKUP_SET_RESULT_HANDLER_H

#include <vector>

#include "platform/database/key2_value_t.h"
#include "platform/database/query_result_handler.h"
#include "platform/export.h"
#include "platform/json/value.h"

// Delivers backup-set rows: UUID columns as text, JSON columns parsed, a
// storage "state" word as its array of names, and, for the columns a caller
// adds for them, a set's storages and pieces and a storage's media tags by
// nested queries on the same connection. With flag 1 set names are cleaned
// of the characters a file name cannot hold.
class BSET_API Backup_Set_Result_Handler : public database::sql::Query_Result_Handler {
 public:
  enum Flags : long long {
    CLEAN_NAMES = 1,  // "name" and "minor_resource_name" lose |<>/\:*?"
  };

  // Null tables mean: no key translation, and the default value table.
  // `pool_uuids` (not owned, may be null) limits nested storages to those
  // pools.
  Backup_Set_Result_Handler(Key2_Value_T<Key_Tran> const* keys, Key2_Value_T<Val_Tran> const* values,
                            std::vector<json_spirit::Value> const* pool_uuids, long long flags);
  ~Backup_Set_Result_Handler() override;

  // "storages" / "pieces": the set's raw UUID; runs the nested query.
  bool handle_binary_i(database::sql::Connection& connection, int index, char const* name, unsigned char const* data,
                       unsigned long long length, database::sql::Query_Result_Printer& printer) override;
  // "state": the names of the bits; "media_tags": a storage id, nested query.
  bool handle_integer_i(database::sql::Connection& connection, int index, char const* name, long long value,
                        database::sql::Query_Result_Printer& printer) override;
  // "name" / "minor_resource_name" cleaning, with CLEAN_NAMES.
  bool handle_string_i(database::sql::Connection& connection, int index, char const* name, char const* text,
                       unsigned long long length, database::sql::Query_Result_Printer& printer) override;

  std::vector<json_spirit::Value> const* pool_uuids() const { return pool_uuids_; }
  long long flags() const { return flags_; }

  // The value table used when none is given.
  static Key2_Value_T<Val_Tran> const DEFAULT_VALUES[];
  // DEFAULT_VALUES followed by `more` (each a JSON column, say), ended by
  // the null row: a value table for readers that select further columns.
  static std::vector<Key2_Value_T<Val_Tran>> default_values_and(std::vector<Key2_Value_T<Val_Tran>> const& more);

 protected:
  std::vector<json_spirit::Value> const* pool_uuids_;
  long long flags_;
};

#endif
