#include "platform/database/query_result_value_printer.h"

namespace database {
namespace sql {

Query_Result_Value_Printer::Query_Result_Value_Printer() = default;
Query_Result_Value_Printer::~Query_Result_Value_Printer() = default;

json_spirit::Value Query_Result_Value_Printer::take() {
  json_spirit::Value out = std::move(root_);
  reset();
  return out;
}

void Query_Result_Value_Printer::reset() {
  root_ = json_spirit::Value();
  stack_.clear();
}

json_spirit::Value* Query_Result_Value_Printer::slot(char const* key) {
  if (stack_.empty()) {
    if (key && *key) {
      // A keyed value with nothing open: the root is an object of columns.
      if (root_.type() != json_spirit::obj_type) root_ = json_spirit::Object();
      return &root_.get_obj()[key];
    }
    return &root_;
  }
  json_spirit::Value* top = stack_.back();
  if (top->type() == json_spirit::array_type) {
    json_spirit::Array& a = top->get_array();
    a.emplace_back();
    return &a.back();
  }
  return &top->get_obj()[key ? key : ""];
}

bool Query_Result_Value_Printer::put(char const* key, json_spirit::Value&& value) {
  json_spirit::Value* s = slot(key);
  *s = std::move(value);
  return true;
}

bool Query_Result_Value_Printer::start_map(int, char const* key) {
  json_spirit::Value* s = slot(key);
  *s = json_spirit::Object();
  stack_.push_back(s);
  return true;
}

bool Query_Result_Value_Printer::start_array(int, char const* key) {
  json_spirit::Value* s = slot(key);
  *s = json_spirit::Array();
  stack_.push_back(s);
  return true;
}

bool Query_Result_Value_Printer::end_map() {
  if (stack_.empty() || stack_.back()->type() != json_spirit::obj_type) return false;
  stack_.pop_back();
  return true;
}

bool Query_Result_Value_Printer::end_array() {
  if (stack_.empty() || stack_.back()->type() != json_spirit::array_type) return false;
  stack_.pop_back();
  return true;
}

bool Query_Result_Value_Printer::print_null(int, char const* key) { return put(key, json_spirit::Value()); }
bool Query_Result_Value_Printer::print_bool(int, char const* key, bool value) {
  return put(key, json_spirit::Value(value));
}
bool Query_Result_Value_Printer::print_int(int, char const* key, long long value) {
  return put(key, json_spirit::Value(value));
}
bool Query_Result_Value_Printer::print_uint(int, char const* key, unsigned long long value) {
  return put(key, json_spirit::Value(value));
}
bool Query_Result_Value_Printer::print_double(int, char const* key, double value) {
  return put(key, json_spirit::Value(value));
}
bool Query_Result_Value_Printer::print_str(int, char const* key, std::string const& value) {
  return put(key, json_spirit::Value(value));
}
bool Query_Result_Value_Printer::print_cstr(int, char const* key, char const* value, unsigned long long length) {
  return put(key, json_spirit::Value(std::string(value ? value : "", value ? length : 0)));
}
bool Query_Result_Value_Printer::print_custr(int, char const* key, unsigned char const* value,
                                            unsigned long long length) {
  static char const digits[] = "0123456789abcdef";
  std::string hex;
  hex.reserve(length * 2);
  for (unsigned long long i = 0; value && i < length; ++i) {
    hex += digits[value[i] >> 4];
    hex += digits[value[i] & 0xf];
  }
  return put(key, json_spirit::Value(std::move(hex)));
}
bool Query_Result_Value_Printer::print_ustr(int index, char const* key, std::basic_string<unsigned char> const& value) {
  return print_custr(index, key, value.data(), value.size());
}
bool Query_Result_Value_Printer::print_json(int, char const* key, json_spirit::Value const& value) {
  return put(key, json_spirit::Value(value));
}

}  // namespace sql
}  // namespace database
