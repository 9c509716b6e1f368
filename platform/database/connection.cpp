#include "platform/database/connection.h"

#include <ace/Log_Msg.h>

#include "platform/database/printer_array_guard.h"
#include "platform/database/query_result_value_printer.h"

namespace database {
namespace sql {

Connection::Connection() = default;
Connection::~Connection() = default;

bool Connection::fail(std::string const& message) {
  last_error_ = message;
  ACE_ERROR((LM_ERROR, "Database error: %s\n", message.c_str()));
  return false;
}

bool Connection::query_value(SQL const& sql, json_spirit::Value& out, Query_Result_Handler* handler) {
  Query_Result_Value_Printer printer;
  bool ok;
  {
    Printer_Array_Guard guard(printer, 0, "");
    ok = query(sql, printer, QM_COLUMN, handler, 1);
  }
  if (!ok) return false;
  json_spirit::Array const& rows = printer.value().get_array();
  out = rows.empty() ? json_spirit::Value() : rows.front();
  return true;
}

bool Connection::query_rows(SQL const& sql, json_spirit::Array& out, Query_Result_Handler* handler, int limit) {
  Query_Result_Value_Printer printer;
  bool ok;
  {
    Printer_Array_Guard guard(printer, 0, "");
    ok = query(sql, printer, QM_ROWS, handler, limit);
  }
  if (!ok) return false;
  out = std::move(printer.take().get_array());
  return true;
}

}  // namespace sql
}  // namespace database
