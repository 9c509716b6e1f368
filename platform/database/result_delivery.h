#ifndef PLATFORM_DATABASE_RESULT_DELIVERY_H
#define PLATFORM_DATABASE_RESULT_DELIVERY_H

#include <string>
#include <vector>

#include "platform/database/connection.h"
#include "platform/database/query_result_handler.h"
#include "platform/database/query_result_printer.h"

namespace database {
namespace sql {

// The engine-independent half of a query: turns raw column values into
// printer events through the handler, so both engines deliver the same
// events for the same values. The engine feeds it names, then per row
// begin_row / one value_* per column / end_row, then end.
class Result_Delivery {
 public:
  Result_Delivery(Connection& connection, Query_Result_Printer& printer, int mode, Query_Result_Handler* handler);

  static bool known_mode(int mode);

  // Column keys (statement keys or engine names), before the first row;
  // `keys` must outlive the delivery.
  bool names(std::vector<std::string> const& keys);
  // Whether column `column` is delivered at all (mode and preview).
  bool wanted(int column) const { return static_cast<size_t>(column) < live_.size() && live_[column]; }

  bool begin_row(int row);
  bool end_row(int row);
  bool end(int rows);

  bool value_null(int column);
  bool value_integer(int column, long long value);
  // Columns the engine itself types as boolean, or as unsigned 64-bit: the
  // handler's integer hooks see them as integers, the printer gets
  // print_bool / print_uint.
  bool value_bool(int column, bool value);
  bool value_unsigned(int column, unsigned long long value);
  bool value_double(int column, double value);
  bool value_text(int column, char const* text, size_t length);
  // A column the engine types as JSON (PostgreSQL json, not jsonb, whose
  // columns stay text unless the value table codes them; SQLite declared
  // JSON): read for a record (with a handler) it is a parsed document
  // unless the handler codes it otherwise; without a handler it stays text.
  bool value_json(int column, char const* text, size_t length);
  bool value_binary(int column, unsigned char const* data, size_t length);

  // Why delivery stopped, when it did.
  std::string const& stop_reason() const { return stop_reason_; }

 private:
  bool stop(char const* what);
  bool json(int column, char const* text, size_t length);
  int index(int column) const { return mode_ == Connection::QM_COLUMN ? row_ : column; }

  Connection& connection_;
  Query_Result_Printer& printer_;
  int mode_;
  Query_Result_Handler* handler_;
  std::vector<std::string> const* keys_;
  std::vector<std::string> translated_;  // keys_ when the handler renamed any
  std::vector<int> codes_;
  std::vector<bool> live_;
  int row_;
  std::string stop_reason_;
};

}  // namespace sql
}  // namespace database

#endif
