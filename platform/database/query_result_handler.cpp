#include "platform/database/query_result_handler.h"

#include <cstring>

namespace database {
namespace sql {

Query_Result_Handler::Query_Result_Handler(Key2_Value_T<Key_Tran> const* keys, Key2_Value_T<Val_Tran> const* values,
                                           int key_count, int value_count)
    : keys_(keys),
      values_(values),
      key_count_(static_cast<unsigned>(key_count)),
      value_count_(static_cast<unsigned>(value_count)) {}

Query_Result_Handler::~Query_Result_Handler() = default;

char const* Query_Result_Handler::translate_key(char const* name) const {
  if (!keys_ || !name) return name;
  for (unsigned i = 0; i < key_count_ && keys_[i].key; ++i) {
    if (keys_[i].key[0] == name[0] && std::strcmp(keys_[i].key, name) == 0) return keys_[i].value ? keys_[i].value : name;
  }
  return name;
}

int Query_Result_Handler::value_code(char const* key) const {
  if (!values_ || !key) return VT_NONE;
  for (unsigned i = 0; i < value_count_ && values_[i].key; ++i) {
    // The first byte rules out most rows without a call.
    if (values_[i].key[0] == key[0] && std::strcmp(values_[i].key, key) == 0) return values_[i].value;
  }
  return VT_NONE;
}

bool Query_Result_Handler::handle_binary_i(Connection&, int, char const*, unsigned char const*, unsigned long long,
                                           Query_Result_Printer&) {
  return false;
}
bool Query_Result_Handler::handle_double_i(Connection&, int, char const*, double, Query_Result_Printer&) {
  return false;
}
bool Query_Result_Handler::handle_integer_i(Connection&, int, char const*, long long, Query_Result_Printer&) {
  return false;
}
bool Query_Result_Handler::handle_null_i(Connection&, int, char const*, Query_Result_Printer&) { return false; }
bool Query_Result_Handler::handle_string_i(Connection&, int, char const*, char const*, unsigned long long,
                                           Query_Result_Printer&) {
  return false;
}
bool Query_Result_Handler::handle_pre_end_names_i(Connection&, std::vector<std::string> const&,
                                                  Query_Result_Printer&) {
  return true;
}
bool Query_Result_Handler::handle_pre_end_row_i(Connection&, int, Query_Result_Printer&) { return true; }
bool Query_Result_Handler::handle_pre_end_rows_i(Connection&, int, Query_Result_Printer&) { return true; }
bool Query_Result_Handler::preview_name_i(int, char const*) { return true; }
bool Query_Result_Handler::skip_binary_i(int, char const*, unsigned char const*, unsigned long long) { return false; }
bool Query_Result_Handler::skip_double_i(int, char const*, double) { return false; }
bool Query_Result_Handler::skip_integer_i(int, char const*, long long) { return false; }
bool Query_Result_Handler::skip_null_i(int, char const*) { return false; }
bool Query_Result_Handler::skip_string_i(int, char const*, char const*, unsigned long long) { return false; }

}  // namespace sql
}  // namespace database
