#ifndef PLATFORM_DATABASE_SQLITE_CONNECTION_H
#define PLATFORM_DATABASE_SQLITE_CONNECTION_H

#include <memory>
#include <string>
#include <unordered_map>

#include "platform/database/connection.h"
#include "platform/export.h"

struct sqlite3;
struct sqlite3_stmt;

namespace database {
namespace sql {

// A connection to an SQLite database file (or ":memory:"). Foreign keys are
// enforced; a file database runs in WAL mode so that readers never wait for
// the writer, and a busy database is retried for `busy_timeout_ms` before a
// statement fails. Prepared statements are kept per statement text.
//
// An integer in a column declared BOOLEAN is delivered as a boolean, one in
// a column declared UNSIGNED BIG INT (which stores the 64-bit pattern) as
// unsigned; booleans and unsigned values are bound the same way. Text in a
// column declared JSON is a document, as in a PostgreSQL json column.
class BSET_API SQLite_Connection : public Connection {
 public:
  explicit SQLite_Connection(std::string const& path, int busy_timeout_ms = 5000, bool wal = true);
  ~SQLite_Connection() override;
  SQLite_Connection(SQLite_Connection const&) = delete;
  SQLite_Connection& operator=(SQLite_Connection const&) = delete;

  Dialect dialect() const override { return Dialect::SQLite; }
  bool is_open() const override { return db_ != nullptr; }

  bool query(SQL const& sql, Query_Result_Printer& printer, int mode, Query_Result_Handler* handler,
             int limit) override;
  using Connection::execute;
  bool execute(SQL const& sql, long long* affected) override;
  bool execute_script(std::string const& script) override;
  bool begin() override;
  bool commit() override;
  bool rollback() override;

  // The rowid of the last row inserted on this connection.
  long long last_insert_id() const;
  sqlite3* handle() const { return db_; }

 private:
  struct Cached;
  class Statement;

  // A prepared statement for the text with the parameters bound; null (and
  // the error recorded) on failure.
  bool prepare(SQL const& sql, Statement& statement);
  bool simple(char const* text);

  sqlite3* db_;
  std::unordered_map<std::string, std::unique_ptr<Cached>> cache_;
};

}  // namespace sql
}  // namespace database

#endif
