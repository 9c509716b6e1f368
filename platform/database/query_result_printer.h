#ifndef PLATFORM_DATABASE_QUERY_RESULT_PRINTER_H
#define PLATFORM_DATABASE_QUERY_RESULT_PRINTER_H

#include <string>

#include "platform/export.h"
#include "platform/json/value.h"

namespace database {
namespace sql {

// Receives a query result as a stream of events: rows are maps (or, for
// one-column queries, array elements) and each column value arrives through
// the print_* of its type under its key. Every operation answers whether the
// printer accepted the event; false stops the delivery. The base accepts and
// ignores everything, so a printer overrides only what it keeps.
class BSET_API Query_Result_Printer {
 public:
  virtual ~Query_Result_Printer();

  virtual bool start_map(int index, char const* key);
  virtual bool end_map();
  virtual bool start_array(int index, char const* key);
  virtual bool end_array();
  virtual bool print_key(int index, char const* key);
  virtual bool print_name(int index, char const* name);
  virtual bool print_null(int index, char const* key);
  virtual bool print_bool(int index, char const* key, bool value);
  virtual bool print_int(int index, char const* key, long long value);
  virtual bool print_uint(int index, char const* key, unsigned long long value);
  virtual bool print_double(int index, char const* key, double value);
  virtual bool print_str(int index, char const* key, std::string const& value);
  virtual bool print_cstr(int index, char const* key, char const* value, unsigned long long length);
  virtual bool print_custr(int index, char const* key, unsigned char const* value, unsigned long long length);
  virtual bool print_ustr(int index, char const* key, std::basic_string<unsigned char> const& value);
  virtual bool print_json(int index, char const* key, json_spirit::Value const& value);
};

}  // namespace sql
}  // namespace database

#endif
