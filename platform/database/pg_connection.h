#ifndef PLATFORM_DATABASE_PG_CONNECTION_H
#define PLATFORM_DATABASE_PG_CONNECTION_H

#include <string>
#include <unordered_map>

#include "platform/database/connection.h"
#include "platform/export.h"

struct pg_conn;

namespace database {
namespace sql {

// A connection to PostgreSQL through libpq, opened from a conninfo string or
// a postgresql:// URL. The session runs in UTC with ISO dates, so times read
// as "YYYY-MM-DD HH:MM:SS" text exactly as SQLite stores them.
//
// Statements are prepared once per text (and parameter types) and results
// come in binary form when every column type is one whose value this class
// decodes itself; otherwise in text form. Either way the values delivered
// are those SQLite delivers for the same data: integers, booleans, reals,
// text (also json/jsonb, times as text), binary (bytea; the uuid type as its
// 16 bytes), null. numeric(20,0) is how unsigned 64-bit columns are stored
// and comes back unsigned; other numeric becomes an integer when it is one,
// else a real.
//
// Booleans are bound as bool, unsigned values as untyped decimal text that
// the server reads as the column's numeric.
//
// A SELECT whose rows are not limited to a few (query with limit 0, or a
// large one) is read through a cursor in chunks: memory stays bounded
// whatever the result, and handlers may query between rows.
class BSET_API PG_Connection : public Connection {
 public:
  explicit PG_Connection(std::string const& conninfo);
  ~PG_Connection() override;
  PG_Connection(PG_Connection const&) = delete;
  PG_Connection& operator=(PG_Connection const&) = delete;

  Dialect dialect() const override { return Dialect::PostgreSQL; }
  bool is_open() const override;

  bool query(SQL const& sql, Query_Result_Printer& printer, int mode, Query_Result_Handler* handler,
             int limit) override;
  using Connection::execute;
  bool execute(SQL const& sql, long long* affected) override;
  bool execute_script(std::string const& script) override;
  bool begin() override;
  bool commit() override;
  bool rollback() override;

  // Bulk load with COPY ... FROM STDIN: copy_begin starts it, copy_put
  // sends rows in the statement's format (any split), copy_end finishes it
  // and says whether the server took every row. copy_end(false) abandons
  // the load, as does a failed copy_put; the transaction then fails too.
  bool copy_begin(std::string const& statement);
  bool copy_put(char const* data, size_t length);
  bool copy_end(bool keep = true);

  pg_conn* handle() const { return conn_; }

 private:
  struct Prepared;
  struct Run;
  struct Params;

  bool bind(SQL const& sql, Params& params);
  Prepared* prepare(Params const& params);
  bool exec(Params const& params, Run& run);
  bool run(SQL const& sql, Run& run);
  bool stream(SQL const& sql, Params& params, Query_Result_Printer& printer, int mode, Query_Result_Handler* handler,
              int limit);
  bool simple(char const* text);

  pg_conn* conn_;
  bool copying_ = false;
  std::unordered_map<std::string, Prepared*> cache_;
  unsigned long long next_statement_;
  unsigned long long next_cursor_ = 0;
  int streaming_ = 0;  // rows of a stream are being delivered
};

}  // namespace sql
}  // namespace database

#endif
