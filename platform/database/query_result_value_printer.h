#ifndef PLATFORM_DATABASE_QUERY_RESULT_VALUE_PRINTER_H
#define PLATFORM_DATABASE_QUERY_RESULT_VALUE_PRINTER_H

#include <string>
#include <vector>

#include "platform/database/query_result_printer.h"
#include "platform/export.h"
#include "platform/json/value.h"

namespace database {
namespace sql {

// A printer that builds one JSON value from the events it receives: maps
// become objects, arrays arrays, and each print_* a member (under its key
// inside a map, as the next element inside an array). Keyed values that
// arrive with no container open (a flat row) make the root an object.
// Binary values (print_custr, print_ustr) become lower-case hex text.
class BSET_API Query_Result_Value_Printer : public Query_Result_Printer {
 public:
  Query_Result_Value_Printer();
  ~Query_Result_Value_Printer() override;

  bool start_map(int index, char const* key) override;
  bool end_map() override;
  bool start_array(int index, char const* key) override;
  bool end_array() override;
  bool print_null(int index, char const* key) override;
  bool print_bool(int index, char const* key, bool value) override;
  bool print_int(int index, char const* key, long long value) override;
  bool print_uint(int index, char const* key, unsigned long long value) override;
  bool print_double(int index, char const* key, double value) override;
  bool print_str(int index, char const* key, std::string const& value) override;
  bool print_cstr(int index, char const* key, char const* value, unsigned long long length) override;
  bool print_custr(int index, char const* key, unsigned char const* value, unsigned long long length) override;
  bool print_ustr(int index, char const* key, std::basic_string<unsigned char> const& value) override;
  bool print_json(int index, char const* key, json_spirit::Value const& value) override;

  json_spirit::Value const& value() const { return root_; }
  // Hands the value over and starts afresh.
  json_spirit::Value take();
  void reset();
  // Containers still open.
  size_t depth() const { return stack_.size(); }

 private:
  // Where the next value goes; null when it cannot be placed.
  json_spirit::Value* slot(char const* key);
  bool put(char const* key, json_spirit::Value&& value);

  json_spirit::Value root_;
  std::vector<json_spirit::Value*> stack_;
};

}  // namespace sql
}  // namespace database

#endif
