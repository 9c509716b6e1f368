#include "platform/database/query_result_printer.h"

namespace database {
namespace sql {

Query_Result_Printer::~Query_Result_Printer() = default;

bool Query_Result_Printer::start_map(int, char const*) { return true; }
bool Query_Result_Printer::end_map() { return true; }
bool Query_Result_Printer::start_array(int, char const*) { return true; }
bool Query_Result_Printer::end_array() { return true; }
bool Query_Result_Printer::print_key(int, char const*) { return true; }
bool Query_Result_Printer::print_name(int, char const*) { return true; }
bool Query_Result_Printer::print_null(int, char const*) { return true; }
bool Query_Result_Printer::print_bool(int, char const*, bool) { return true; }
bool Query_Result_Printer::print_int(int, char const*, long long) { return true; }
bool Query_Result_Printer::print_uint(int, char const*, unsigned long long) { return true; }
bool Query_Result_Printer::print_double(int, char const*, double) { return true; }
bool Query_Result_Printer::print_str(int, char const*, std::string const&) { return true; }
bool Query_Result_Printer::print_cstr(int, char const*, char const*, unsigned long long) { return true; }
bool Query_Result_Printer::print_custr(int, char const*, unsigned char const*, unsigned long long) { return true; }
bool Query_Result_Printer::print_ustr(int, char const*, std::basic_string<unsigned char> const&) { return true; }
bool Query_Result_Printer::print_json(int, char const*, json_spirit::Value const&) { return true; }

}  // namespace sql
}  // namespace database
