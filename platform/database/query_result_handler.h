#ifndef PLATFORM_DATABASE_QUERY_RESULT_HANDLER_H
#define PLATFORM_DATABASE_QUERY_RESULT_HANDLER_H

#include <string>
#include <vector>

#include "platform/database/key2_value_t.h"
#include "platform/database/query_result_printer.h"
#include "platform/export.h"

namespace database {
namespace sql {

class Connection;

// Stands between a query's raw column values and the printer. For every
// value the connection asks, in this order:
//   1. skip_<type>_i: true drops the value (nothing is delivered);
//   2. handle_<type>_i: true means the handler delivered it itself;
//   3. the value-translation table, by the column's key (codes below);
//   4. default delivery by raw type: text print_cstr, integer print_int,
//      real print_double, null print_null, binary print_custr; a column the
//      engine types as boolean print_bool, as unsigned 64-bit print_uint.
// Boolean and unsigned columns go through the integer hooks (0 or 1; the
// unsigned value cast to long long). A boolean column is print_bool
// whatever its code.
// Keys are first translated by the key table (a column not in it keeps its
// key). `name` in the hooks is the key after translation.
//
// Value codes: VT_BOOLEAN (1) an integer, unsigned, real or text truth
// value, delivered by print_bool; VT_JSON (4) a text or binary JSON
// document, delivered parsed by print_json (a document that does not parse
// is logged and delivered as null); VT_UUID (5) 16 raw bytes, delivered as
// canonical lower-case 8-4-4-4-12 text by print_cstr (binary of any other
// length is delivered as null; a text value passes unchanged). Null values
// are always null.
class BSET_API Query_Result_Handler {
 public:
  typedef char const* Key_Tran;  // the key a column is delivered under
  typedef int Val_Tran;          // the value code of a column
  enum Value_Code { VT_NONE = 0, VT_BOOLEAN = 1, VT_JSON = 4, VT_UUID = 5 };

  // Tables may be null (empty). The counts bound how many rows are read;
  // the all-ones value (-1) reads up to the terminating null key.
  Query_Result_Handler(Key2_Value_T<Key_Tran> const* keys, Key2_Value_T<Val_Tran> const* values, int key_count,
                       int value_count);
  virtual ~Query_Result_Handler();

  // `name` translated by the key table, or `name` itself.
  char const* translate_key(char const* name) const;
  // The value code of a key, VT_NONE when the table has none.
  int value_code(char const* key) const;

  virtual bool handle_binary_i(Connection& connection, int index, char const* name, unsigned char const* data,
                               unsigned long long length, Query_Result_Printer& printer);
  virtual bool handle_double_i(Connection& connection, int index, char const* name, double value,
                               Query_Result_Printer& printer);
  virtual bool handle_integer_i(Connection& connection, int index, char const* name, long long value,
                                Query_Result_Printer& printer);
  virtual bool handle_null_i(Connection& connection, int index, char const* name, Query_Result_Printer& printer);
  virtual bool handle_string_i(Connection& connection, int index, char const* name, char const* text,
                               unsigned long long length, Query_Result_Printer& printer);
  // Once per query, when the keys are known and before the first row; false
  // stops the query.
  virtual bool handle_pre_end_names_i(Connection& connection, std::vector<std::string> const& keys,
                                      Query_Result_Printer& printer);
  // After a row's last column, before the row is closed; false stops.
  virtual bool handle_pre_end_row_i(Connection& connection, int row, Query_Result_Printer& printer);
  // After the last row; false makes the query fail.
  virtual bool handle_pre_end_rows_i(Connection& connection, int rows, Query_Result_Printer& printer);
  // Once per column and query; false leaves the column out of every row.
  virtual bool preview_name_i(int index, char const* name);
  virtual bool skip_binary_i(int index, char const* name, unsigned char const* data, unsigned long long length);
  virtual bool skip_double_i(int index, char const* name, double value);
  virtual bool skip_integer_i(int index, char const* name, long long value);
  virtual bool skip_null_i(int index, char const* name);
  virtual bool skip_string_i(int index, char const* name, char const* text, unsigned long long length);

 private:
  Key2_Value_T<Key_Tran> const* keys_;
  Key2_Value_T<Val_Tran> const* values_;
  unsigned key_count_;
  unsigned value_count_;
};

}  // namespace sql
}  // namespace database

#endif
