#include "platform/database/query_result_token_printer.h"

namespace database {
namespace sql {

Query_Result_Token_Printer::~Query_Result_Token_Printer() = default;

bool Query_Result_Token_Printer::start_map(int, char const* key) {
  tokens_.emplace_back(key ? key : "");
  return true;
}

bool Query_Result_Token_Printer::end_map() {
  if (!tokens_.empty()) tokens_.pop_back();
  return true;
}

bool Query_Result_Token_Printer::start_array(int, char const* key) {
  tokens_.emplace_back(key ? key : "");
  return true;
}

bool Query_Result_Token_Printer::end_array() {
  if (!tokens_.empty()) tokens_.pop_back();
  return true;
}

}  // namespace sql
}  // namespace database
