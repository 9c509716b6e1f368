// Large results: PostgreSQL reads them through a cursor a chunk at a time,
// SQLite steps through them. Either way every row arrives once, in order,
// handlers may query between rows, and a result that stops early or fails
// leaves the connection as it found it.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_result_handler.h"
#include "platform/database/printer_array_guard.h"
#include "platform/database/query_result_value_printer.h"
#include "platform/json/json_text.h"
#include "platform/sql/select_sql.h"
#include "tests/database/catalog_rows.h"
#include "tests/database/engine_fixture.h"
#include "tests/database/event_printer.h"
#include "tests/support/log_capture.h"

using database::sql::Connection;
using database::sql::Query_Result_Handler;
using database::sql::Query_Result_Printer;
using json_spirit::Array;
using json_spirit::Value;

namespace {

// More rows than two chunks of a cursor read.
int const kRows = 5123;

// The transaction state of a PostgreSQL session, asked of the server: a
// savepoint is taken only inside a transaction, and nothing is taken in a
// failed one.
enum class Pg_State { IDLE, IN_TRANSACTION, FAILED, UNKNOWN };

Pg_State pg_state(Connection& c) {
  Log_Capture quiet;
  if (c.execute_script("SAVEPOINT state_probe")) {
    c.execute_script("RELEASE SAVEPOINT state_probe");
    return Pg_State::IN_TRANSACTION;
  }
  if (c.last_error().find("current transaction is aborted") != std::string::npos) return Pg_State::FAILED;
  if (c.last_error().find("can only be used in transaction blocks") != std::string::npos) return Pg_State::IDLE;
  return Pg_State::UNKNOWN;
}

class Streaming_Test : public Engine_Test {
 protected:
  void SetUp() override {
    Engine_Test::SetUp();
    if (HasFatalFailure()) return;
    exec("CREATE TABLE many (id BIGINT NOT NULL, v TEXT NOT NULL)");
    // Inserted out of order, so only ORDER BY gives the order.
    if (pg())
      exec("INSERT INTO many (id, v) SELECT i, 'v' || i FROM generate_series(1, " + std::to_string(kRows) +
           ") AS g(i) ORDER BY (i * 7919) % " + std::to_string(kRows));
    else
      exec("WITH RECURSIVE g(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM g WHERE i < " + std::to_string(kRows) +
           ") INSERT INTO many (id, v) SELECT i, 'v' || i FROM g ORDER BY (i * 7919) % " + std::to_string(kRows));
  }

  static SQL all_rows() { return SQL("SELECT id, v FROM many ORDER BY id"); }

  // Rows 1..n in order, each with its text.
  static void expect_rows(Array const& rows, int n) {
    ASSERT_EQ(static_cast<size_t>(n), rows.size());
    for (int i = 0; i < n; ++i) {
      json_spirit::Object const& o = rows[i].get_obj();
      ASSERT_EQ(i + 1, o.at("id").get_int64()) << i;
      ASSERT_EQ("v" + std::to_string(i + 1), o.at("v").get_str()) << i;
    }
  }

  // Whether the PostgreSQL session is outside any transaction.
  bool idle() { return !pg() || pg_state(db()) == Pg_State::IDLE; }

  // The session still answers, and sees the table whole.
  void expect_usable() {
    Value v;
    ASSERT_TRUE(db().query_value(SQL("SELECT count(*) FROM many"), v)) << db().last_error();
    EXPECT_EQ(kRows, v.get_int64());
    Array rows;
    ASSERT_TRUE(db().query_rows(all_rows(), rows)) << db().last_error();
    expect_rows(rows, kRows);
  }

  // The cursors left open in the session (the unnamed portal of the
  // statement asking is not one).
  std::string open_cursors() {
    Array rows;
    EXPECT_TRUE(db().query_rows(SQL("SELECT name, statement FROM pg_cursors WHERE name <> '' ORDER BY name"), rows, nullptr, 100))
        << db().last_error();
    return JSON_Dump(Value(rows));
  }
};

}  // namespace

TEST_P(Streaming_Test, EveryRowArrivesOnceInOrderOutsideATransaction) {
  Array rows;
  ASSERT_TRUE(db().query_rows(all_rows(), rows)) << db().last_error();
  expect_rows(rows, kRows);
  EXPECT_TRUE(idle());
  // Descending too, and with a parameter.
  SQL from("SELECT id, v FROM many WHERE id > :after ORDER BY id DESC");
  from.bind(":after", Binding_Value(100LL));
  ASSERT_TRUE(db().query_rows(from, rows)) << db().last_error();
  ASSERT_EQ(static_cast<size_t>(kRows - 100), rows.size());
  for (size_t i = 0; i < rows.size(); ++i) { ASSERT_EQ(kRows - static_cast<long long>(i), rows[i].get_obj().at("id").get_int64()); }
  EXPECT_TRUE(idle());
}

TEST_P(Streaming_Test, EveryRowArrivesOnceInOrderInsideATransaction) {
  ASSERT_TRUE(db().begin()) << db().last_error();
  // A row the transaction wrote itself is seen by the read.
  exec("INSERT INTO many (id, v) VALUES (" + std::to_string(kRows + 1) + ", 'v" + std::to_string(kRows + 1) + "')");
  Array rows;
  ASSERT_TRUE(db().query_rows(all_rows(), rows)) << db().last_error();
  expect_rows(rows, kRows + 1);
  EXPECT_FALSE(idle() && pg()) << "the caller's transaction was ended by the read";
  // A second large read in the same transaction.
  ASSERT_TRUE(db().query_rows(all_rows(), rows)) << db().last_error();
  expect_rows(rows, kRows + 1);
  ASSERT_TRUE(db().rollback()) << db().last_error();
  EXPECT_TRUE(idle());
  expect_usable();
}

TEST_P(Streaming_Test, ColumnModeAndEventsCoverEveryRow) {
  Event_Printer p;
  ASSERT_TRUE(db().query(SQL("SELECT id FROM many ORDER BY id"), p, Connection::QM_COLUMN, nullptr, 0))
      << db().last_error();
  ASSERT_EQ(static_cast<size_t>(kRows), p.events.size());
  for (int i = 0; i < kRows; ++i)
    ASSERT_EQ("int " + std::to_string(i) + " id " + std::to_string(i + 1), p.events[i]);
}

TEST_P(Streaming_Test, ALimitAboveOneChunkStopsExactlyThere) {
  for (int limit : {1999, 2000, 2001, 2500, 4000, 4001, kRows - 1, kRows, kRows + 1, 10000}) {
    SCOPED_TRACE(limit);
    Array rows;
    ASSERT_TRUE(db().query_rows(all_rows(), rows, nullptr, limit)) << db().last_error();
    expect_rows(rows, std::min(limit, kRows));
    EXPECT_TRUE(idle());
  }
  // Inside a transaction the same, and the transaction goes on.
  ASSERT_TRUE(db().begin());
  for (int limit : {2001, 4500}) {
    Array rows;
    ASSERT_TRUE(db().query_rows(all_rows(), rows, nullptr, limit)) << db().last_error();
    expect_rows(rows, limit);
  }
  ASSERT_TRUE(db().commit()) << db().last_error();
  EXPECT_TRUE(idle());
}

TEST_P(Streaming_Test, AReadCutShortByALimitLeavesNoCursorOpenInTheCallersTransaction) {
  if (!pg()) GTEST_SKIP() << "cursors are PostgreSQL's";
  ASSERT_TRUE(db().begin());
  Array rows;
  ASSERT_TRUE(db().query_rows(all_rows(), rows, nullptr, 2500)) << db().last_error();
  expect_rows(rows, 2500);
  EXPECT_EQ("[]", open_cursors());
  ASSERT_TRUE(db().commit()) << db().last_error();
}

TEST_P(Streaming_Test, APrinterStoppingMidStreamLeavesTheConnectionUsable) {
  for (bool in_transaction : {false, true}) {
    SCOPED_TRACE(in_transaction ? "in a transaction" : "alone");
    if (in_transaction) { ASSERT_TRUE(db().begin()); }
    Event_Printer p;
    p.stop_after = 3000;  // in the second chunk
    {
      Log_Capture quiet;
      EXPECT_FALSE(db().query(SQL("SELECT id FROM many ORDER BY id"), p, Connection::QM_COLUMN, nullptr, 0));
    }
    EXPECT_EQ(3001u, p.events.size());
    EXPECT_EQ("int 3000 id 3001", p.events.back());
    if (in_transaction) {
      // The transaction is not spoiled: it goes on and commits.
      EXPECT_FALSE(idle() && pg());
      if (pg()) { EXPECT_EQ("[]", open_cursors()); }
      expect_usable();
      ASSERT_TRUE(db().commit()) << db().last_error();
    }
    EXPECT_TRUE(idle()) << "left in a transaction";
    expect_usable();
    EXPECT_TRUE(idle());
  }
}

namespace {

// Stops the rows at `stop_row`.
class Stopping_Handler : public Query_Result_Handler {
 public:
  explicit Stopping_Handler(int stop_row) : Query_Result_Handler(nullptr, nullptr, -1, -1), stop_row_(stop_row) {}
  bool handle_pre_end_row_i(Connection&, int row, Query_Result_Printer&) override { return row != stop_row_; }

 private:
  int stop_row_;
};

// Runs a statement of its own for each row, on the same connection: one of
// a different text per row (so the statements of a connection change while
// the outer rows are read), or one that fails at `fail_row`.
class Querying_Handler : public Query_Result_Handler {
 public:
  explicit Querying_Handler(int fail_row = -1)
      : Query_Result_Handler(nullptr, nullptr, -1, -1), fail_row_(fail_row) {}
  std::vector<long long> echoed;
  bool handle_pre_end_row_i(Connection& c, int row, Query_Result_Printer&) override {
    if (row == fail_row_) {
      Value v;
      return c.query_value(SQL("SELECT x FROM no_such_table"), v);
    }
    Value v;
    if (!c.query_value(SQL("SELECT " + std::to_string(row) + " + 1 AS n"), v)) return false;
    echoed.push_back(v.get_int64());
    return true;
  }

 private:
  int fail_row_;
};

}  // namespace

TEST_P(Streaming_Test, AHandlerStoppingMidStreamLeavesTheConnectionUsable) {
  Stopping_Handler h(2600);
  Array rows;
  {
    Log_Capture quiet;
    EXPECT_FALSE(db().query_rows(all_rows(), rows, &h));
  }
  EXPECT_TRUE(idle());
  expect_usable();
}

TEST_P(Streaming_Test, HandlerQueriesBetweenRowsSeeEveryRow) {
  // A different statement per row: more than a connection keeps prepared.
  Querying_Handler h;
  Array rows;
  ASSERT_TRUE(db().query_rows(all_rows(), rows, &h)) << db().last_error();
  expect_rows(rows, kRows);
  ASSERT_EQ(static_cast<size_t>(kRows), h.echoed.size());
  for (int i = 0; i < kRows; ++i) { ASSERT_EQ(i + 1, h.echoed[i]); }
  EXPECT_TRUE(idle());
}

TEST_P(Streaming_Test, AFailingHandlerQueryFailsTheReadAndLeavesTheConnectionUsable) {
  Querying_Handler h(2500);
  Array rows;
  {
    Log_Capture quiet;
    EXPECT_FALSE(db().query_rows(all_rows(), rows, &h));
  }
  EXPECT_TRUE(idle());
  expect_usable();
}

TEST(PGStreaming, AStatementFailingMidStreamIsReportedAndTheConnectionStaysUsable) {
  std::string error;
  PG_Cluster* cluster = PG_Cluster::shared(&error);
  ASSERT_NE(nullptr, cluster) << error;
  database::sql::PG_Connection db(cluster->conninfo());
  ASSERT_TRUE(db.is_open()) << db.last_error();
  // Fails at row 3000, once the first chunk has been delivered.
  SQL failing("SELECT 1 / (x - 3000) AS q FROM generate_series(1, 5000) AS g(x) ORDER BY x");
  for (bool in_transaction : {false, true}) {
    SCOPED_TRACE(in_transaction ? "in a transaction" : "alone");
    if (in_transaction) { ASSERT_TRUE(db.begin()); }
    Event_Printer p;
    {
      Log_Capture quiet;
      EXPECT_FALSE(db.query(failing, p, Connection::QM_COLUMN, nullptr, 0));
    }
    EXPECT_NE(std::string::npos, db.last_error().find("division by zero")) << db.last_error();
    EXPECT_LE(p.events.size(), 2999u);
    if (in_transaction) {
      // The caller's transaction failed with it; rolling back recovers.
      EXPECT_EQ(Pg_State::FAILED, pg_state(db));
      ASSERT_TRUE(db.rollback()) << db.last_error();
    }
    EXPECT_EQ(Pg_State::IDLE, pg_state(db));
    Array rows;
    ASSERT_TRUE(db.query_rows(SQL("SELECT x FROM generate_series(1, 4321) AS g(x) ORDER BY x"), rows))
        << db.last_error();
    ASSERT_EQ(4321u, rows.size());
    EXPECT_EQ(4321, rows.back().get_obj().at("x").get_int64());
    EXPECT_EQ(Pg_State::IDLE, pg_state(db));
  }
  // A statement that cannot even start.
  Event_Printer p;
  {
    Log_Capture quiet;
    EXPECT_FALSE(db.query(SQL("SELECT nope FROM no_such_table"), p, Connection::QM_ROWS, nullptr, 0));
  }
  EXPECT_NE(std::string::npos, db.last_error().find("no_such_table")) << db.last_error();
  EXPECT_EQ(Pg_State::IDLE, pg_state(db));
  Value v;
  ASSERT_TRUE(db.query_value(SQL("SELECT 41 + 1"), v)) << db.last_error();
  EXPECT_EQ(42, v.get_int64());
}

namespace {

std::string pool_n(int n) {
  char text[40];
  std::snprintf(text, sizeof text, "aaaaaaaa-0000-4000-8000-%012x", n);
  return text;
}

}  // namespace

TEST_P(Streaming_Test, NestedStoragesOfEverySetArriveWithTheirSet) {
  int const sets = 2600;  // across a chunk boundary
  ASSERT_TRUE(db().begin());
  long long storage_id = 1;
  for (int i = 0; i < sets; ++i) {
    SQL set("INSERT INTO backup_set (uuid, name, status) VALUES (:uuid, :name, 'complete')");
    set.bind(":uuid", uuid_value(uuid_n(i + 1))).bind(":name", Binding_Value("set " + std::to_string(i)));
    ASSERT_TRUE(db().execute(set)) << db().last_error();
    for (int k = 0; k < i % 4; ++k)
      ASSERT_TRUE(insert_storage(db(), storage_id++, uuid_n(i + 1), pool_n(i * 4 + k), i * 10 + k, 1))
          << db().last_error();
  }
  ASSERT_TRUE(db().commit()) << db().last_error();

  auto check = [&](Array const& rows) {
    ASSERT_EQ(static_cast<size_t>(sets), rows.size());
    for (Value const& row : rows) {
      json_spirit::Object const& o = row.get_obj();
      std::string name = o.at("name").get_str();
      int i = std::stoi(name.substr(4));
      ASSERT_EQ(uuid_n(i + 1), o.at("uuid").get_str());
      Array storages = o.at("storages").get_array();
      ASSERT_EQ(static_cast<size_t>(i % 4), storages.size()) << name;
      std::vector<std::string> pools;
      for (Value const& s : storages) {
        pools.push_back(s.get_obj().at("pool_uuid").get_str());
        long long k = s.get_obj().at("size").get_int64() - i * 10;
        EXPECT_EQ(pool_n(i * 4 + static_cast<int>(k)), s.get_obj().at("pool_uuid").get_str()) << name;
      }
      std::sort(pools.begin(), pools.end());
      for (int k = 0; k < i % 4; ++k) { EXPECT_EQ(pool_n(i * 4 + k), pools[k]) << name; }
    }
  };
  Select_SQL sql(nullptr, nullptr);
  Backup_Set::init_select_sql(sql, "b");
  sql.add_key("b.uuid", "storages").order_by("b.uuid");
  Array rows;
  ASSERT_TRUE(db().query_rows(sql, rows, Backup_Set::result_handler())) << db().last_error();
  check(rows);
  EXPECT_TRUE(idle());
  // The same inside a transaction of the caller's.
  ASSERT_TRUE(db().begin());
  ASSERT_TRUE(db().query_rows(sql, rows, Backup_Set::result_handler())) << db().last_error();
  check(rows);
  ASSERT_TRUE(db().commit()) << db().last_error();
  EXPECT_TRUE(idle());
}

ENGINE_SUITE(Streaming_Test);
