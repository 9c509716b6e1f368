#ifndef BACKUP_BACKUP_SET_COMMON_BACKUP_SET_STORAGE_H
#define BACKUP_BACKUP_SET_COMMON_BACKUP_SET_STORAGE_H

#include <string>

#include <yajl/yajl_gen.h>

#include "backup/backup_set/common/backup_set_state.h"
#include "platform/database/query_result_token_printer.h"
#include "platform/export.h"
#include "platform/json/json_generator.h"
#include "platform/json/value.h"

class Select_SQL;
class Backup_Set_Storage_Result_Handler;
namespace database {
namespace sql {
class Query_Result_Handler;
}
}  // namespace database

// One copy of a backup set in one storage pool, as held by its set and
// stored in the catalogue table "backup_set_storage". A plain value.
class BSET_API Backup_Set_Storage : public JSON_Generator, public database::sql::Query_Result_Token_Printer {
 public:
  Backup_Set_Storage();
  ~Backup_Set_Storage() override;

  // {"pool_uuid", "size", "state": [names], ["upstream_pool_uuid"],
  // "extended_attrs"}. The owning set is implied by nesting, so "set_uuid"
  // is not written.
  bool generate(yajl_gen_t* gen) override;

  // Column intake: "set_uuid", "pool_uuid", "upstream_pool_uuid" as text,
  // "size" and "state" as integers, "extended_attrs" when it is an object.
  bool print_cstr(int index, char const* key, char const* value, unsigned long long length) override;
  bool print_int(int index, char const* key, long long value) override;
  bool print_json(int index, char const* key, json_spirit::Value const& value) override;

  static void init_select_sql(Select_SQL& sql, char const* alias);
  static database::sql::Query_Result_Handler* result_handler();

  std::string set_uuid;
  std::string pool_uuid;
  long long size;
  Backup_Set_State state;
  std::string upstream_pool_uuid;  // the pool this copy was replicated from
  json_spirit::Object extended_attrs;

 protected:
  static Backup_Set_Storage_Result_Handler result_handler_;
};

#endif
