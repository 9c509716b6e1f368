#ifndef BACKUP_BACKUP_SET_COMMON_BACKUP_PIECE_H
#define BACKUP_BACKUP_SET_COMMON_BACKUP_PIECE_H

#include <string>

#include <yajl/yajl_gen.h>

#include "platform/database/query_result_token_printer.h"
#include "platform/export.h"
#include "platform/json/json_generator.h"
#include "platform/json/value.h"

class Select_SQL;
class Backup_Piece_Result_Handler;
namespace database {
namespace sql {
class Query_Result_Handler;
}
}  // namespace database

// One file or object that a backup wrote, as held by its set and stored in
// the catalogue table "backup_piece". A plain value: copy it freely.
class BSET_API Backup_Piece : public JSON_Generator, public database::sql::Query_Result_Token_Printer {
 public:
  Backup_Piece();
  ~Backup_Piece() override;

  // {"path", "object", "size", "extended_attrs"}, always all four.
  bool generate(yajl_gen_t* gen) override;

  // Column intake: "path" and "object" as text, "size" as integer,
  // "extended_attrs" when it is an object. Other keys are accepted and ignored.
  bool print_cstr(int index, char const* key, char const* value, unsigned long long length) override;
  bool print_int(int index, char const* key, long long value) override;
  bool print_json(int index, char const* key, json_spirit::Value const& value) override;

  static void init_select_sql(Select_SQL& sql, char const* alias);
  static database::sql::Query_Result_Handler* result_handler();

  std::string path;
  long long size;
  std::string object;  // "dir" for a directory piece
  json_spirit::Object extended_attrs;

 protected:
  static Backup_Piece_Result_Handler result_handler_;
};

#endif
