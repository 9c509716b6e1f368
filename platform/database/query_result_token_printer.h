#ifndef PLATFORM_DATABASE_QUERY_RESULT_TOKEN_PRINTER_H
#define PLATFORM_DATABASE_QUERY_RESULT_TOKEN_PRINTER_H

#include <string>
#include <vector>

#include "platform/database/query_result_printer.h"
#include "platform/export.h"

namespace database {
namespace sql {

// A printer that knows where it is: tokens() is the stack of keys of the maps
// and arrays now open (an element of an array, or a row, is opened with an
// empty key). Values themselves are accepted and ignored; subclasses keep
// the ones they want.
class BSET_API Query_Result_Token_Printer : public Query_Result_Printer {
 public:
  ~Query_Result_Token_Printer() override;

  bool start_map(int index, char const* key) override;
  bool end_map() override;
  bool start_array(int index, char const* key) override;
  bool end_array() override;

  std::vector<std::string> const& tokens() const { return tokens_; }

 private:
  std::vector<std::string> tokens_;
};

}  // namespace sql
}  // namespace database

#endif
