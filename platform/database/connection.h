#ifndef PLATFORM_DATABASE_CONNECTION_H
#define PLATFORM_DATABASE_CONNECTION_H

#include <string>

#include "platform/database/query_result_handler.h"
#include "platform/database/query_result_printer.h"
#include "platform/export.h"
#include "platform/json/value.h"
#include "platform/sql/dialect.h"
#include "platform/sql/sql.h"

namespace database {
namespace sql {

// One session with a catalogue database. A connection belongs to one thread
// at a time; nested queries (a handler querying while a result is being
// delivered) are allowed on the same connection.
//
// Failures never throw: the operation answers false, last_error() says why,
// and the failure is logged at LM_ERROR.
class BSET_API Connection {
 public:
  // How query() delivers rows to the printer.
  enum Query_Mode {
    // The columns of each row go straight to the printer, no container:
    // one row into one record.
    QM_FLAT = 0,
    // Each row's first column is one element of the array the caller has
    // opened (print_* with the row number as index).
    QM_COLUMN = 4,
    // Each row is a map (start_map(row, "") ... end_map()) inside the array
    // the caller has opened.
    QM_ROWS = 8,
  };

  virtual ~Connection();

  virtual Dialect dialect() const = 0;
  virtual bool is_open() const = 0;

  // Runs a statement and delivers its rows (see Query_Result_Handler for the
  // order of delivery of each value). `limit` > 0 stops after that many
  // rows; 0 delivers all. False when the statement fails, a parameter is not
  // bound, the mode is unknown, or the printer or handler stops the rows.
  virtual bool query(SQL const& sql, Query_Result_Printer& printer, int mode, Query_Result_Handler* handler,
                     int limit) = 0;

  // Runs a statement that returns no rows (rows it returns are dropped);
  // `affected` receives the number of rows it changed.
  virtual bool execute(SQL const& sql, long long* affected) = 0;
  bool execute(SQL const& sql) { return execute(sql, nullptr); }
  // Runs several ';'-separated statements without parameters (DDL).
  virtual bool execute_script(std::string const& script) = 0;

  virtual bool begin() = 0;
  virtual bool commit() = 0;
  virtual bool rollback() = 0;

  // The first column of the first row as a JSON value (null when there is
  // no row or the value is null).
  bool query_value(SQL const& sql, json_spirit::Value& out, Query_Result_Handler* handler = nullptr);
  // All rows as JSON objects keyed by column key.
  bool query_rows(SQL const& sql, json_spirit::Array& out, Query_Result_Handler* handler = nullptr, int limit = 0);

  std::string const& last_error() const { return last_error_; }

 protected:
  Connection();
  // Records and logs a failure; returns false for convenience.
  bool fail(std::string const& message);
  void clear_error() { last_error_.clear(); }

 private:
  std::string last_error_;
};

}  // namespace sql
}  // namespace database

#endif
