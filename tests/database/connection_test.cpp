#include <gtest/gtest.h>

#include <climits>

#include "platform/database/printer_array_guard.h"
#include "platform/database/query_result_value_printer.h"
#include "platform/json/json_text.h"
#include "platform/sql/select_sql.h"
#include "platform/sql/uuid_binary.h"
#include "tests/database/engine_fixture.h"
#include "tests/database/event_printer.h"
#include "tests/support/log_capture.h"

using database::sql::Connection;
using database::sql::Printer_Array_Guard;
using database::sql::Query_Result_Value_Printer;

namespace {

class Connection_Test : public Engine_Test {
 protected:
  void SetUp() override {
    Engine_Test::SetUp();
    if (HasFatalFailure()) return;
    exec(std::string("CREATE TABLE t (id BIGINT, r DOUBLE PRECISION, s TEXT, b ") + (pg() ? "bytea" : "BLOB") + ")");
  }

  void insert(long long id, Binding_Value r, Binding_Value s, Binding_Value b) {
    SQL sql("INSERT INTO t (id, r, s, b) VALUES (:id, :r, :s, :b)");
    sql.bind(":id", Binding_Value(id)).bind(":r", r).bind(":s", s).bind(":b", b);
    exec(sql);
  }

  std::vector<std::string> run(SQL const& sql, int mode, database::sql::Query_Result_Handler* handler = nullptr,
                               int limit = 0) {
    Event_Printer p;
    bool ok = db().query(sql, p, mode, handler, limit);
    EXPECT_TRUE(ok) << db().last_error();
    return p.events;
  }
};

std::basic_string<unsigned char> bytes(std::initializer_list<unsigned char> b) { return std::basic_string<unsigned char>(b); }

}  // namespace

TEST_P(Connection_Test, RowsModeDeliversEachRowAsMapWithValuesByType) {
  insert(1, Binding_Value(), Binding_Value(std::string("one")), Binding_Value(bytes({0x00, 0xff, 0x10})));
  insert(2, Binding_Value(), Binding_Value(), Binding_Value());
  Select_SQL sql("t", nullptr);
  sql.select("id,s,b").order_by("id");
  auto e = run(sql, Connection::QM_ROWS);
  std::vector<std::string> want = {"start_map 0 ", "int 0 id 1", "cstr 1 s one", "custr 2 b 00ff10", "end_map",
                                   "start_map 1 ", "int 0 id 2", "null 1 s",     "null 2 b",         "end_map"};
  EXPECT_EQ(want, e);
}

TEST_P(Connection_Test, RealValuesArriveAsDouble) {
  SQL ins("INSERT INTO t (id, r) VALUES (1, 2.5)");
  exec(ins);
  Select_SQL sql("t", nullptr);
  sql.select("r");
  EXPECT_EQ((std::vector<std::string>{"double 0 r 2.500000"}), run(sql, Connection::QM_FLAT));
}

TEST_P(Connection_Test, FlatModeDeliversColumnsWithoutContainer) {
  insert(7, Binding_Value(), Binding_Value(std::string("x")), Binding_Value());
  Select_SQL sql("t", nullptr);
  sql.select("id,s");
  EXPECT_EQ((std::vector<std::string>{"int 0 id 7", "cstr 1 s x"}), run(sql, Connection::QM_FLAT));
}

TEST_P(Connection_Test, ColumnModeDeliversFirstColumnOfEachRowAsElement) {
  insert(1, Binding_Value(), Binding_Value(std::string("a")), Binding_Value());
  insert(2, Binding_Value(), Binding_Value(std::string("b")), Binding_Value());
  Select_SQL sql("t", nullptr);
  sql.select("s,id").order_by("id");
  EXPECT_EQ((std::vector<std::string>{"cstr 0 s a", "cstr 1 s b"}), run(sql, Connection::QM_COLUMN));
}

TEST_P(Connection_Test, LimitStopsAfterThatManyRows) {
  for (int i = 0; i < 5; ++i) insert(i, Binding_Value(), Binding_Value(), Binding_Value());
  Select_SQL sql("t", nullptr);
  sql.select("id").order_by("id");
  EXPECT_EQ((std::vector<std::string>{"int 0 id 0", "int 1 id 1"}), run(sql, Connection::QM_COLUMN, nullptr, 2));
}

TEST_P(Connection_Test, KeysAreThoseGivenToTheStatement) {
  insert(3, Binding_Value(), Binding_Value(std::string("v")), Binding_Value());
  Select_SQL sql("t", "x");
  sql.add_key("x.id", "identifier").add_key("x.s", "s");
  EXPECT_EQ((std::vector<std::string>{"int 0 identifier 3", "cstr 1 s v"}), run(sql, Connection::QM_FLAT));
}

TEST_P(Connection_Test, PlainStatementUsesEngineColumnNames) {
  insert(3, Binding_Value(), Binding_Value(), Binding_Value());
  EXPECT_EQ((std::vector<std::string>{"int 0 n 3"}), run(SQL("SELECT id AS n FROM t"), Connection::QM_FLAT));
}

TEST_P(Connection_Test, ExtremeIntegersAndTextSurvive) {
  insert(LLONG_MIN, Binding_Value(), Binding_Value(std::string("quote ' \" ; -- :x \xc3\xa9")), Binding_Value());
  insert(LLONG_MAX, Binding_Value(), Binding_Value(std::string("")), Binding_Value());
  Select_SQL sql("t", nullptr);
  sql.select("id,s").order_by("id");
  auto e = run(sql, Connection::QM_ROWS);
  ASSERT_EQ(8u, e.size());
  EXPECT_EQ("int 0 id " + std::to_string(LLONG_MIN), e[1]);
  EXPECT_EQ("cstr 1 s quote ' \" ; -- :x \xc3\xa9", e[2]);
  EXPECT_EQ("int 0 id " + std::to_string(LLONG_MAX), e[5]);
  EXPECT_EQ("cstr 1 s ", e[6]);
}

TEST_P(Connection_Test, ParametersFilterRows) {
  insert(1, Binding_Value(), Binding_Value(std::string("a")), Binding_Value(bytes({1, 2})));
  insert(2, Binding_Value(), Binding_Value(std::string("b")), Binding_Value(bytes({3, 4})));
  Select_SQL by_text("t", nullptr);
  by_text.select("id").where("s=:s", false).bind(":s", Binding_Value(std::string("b")));
  EXPECT_EQ((std::vector<std::string>{"int 0 id 2"}), run(by_text, Connection::QM_COLUMN));
  Select_SQL by_blob("t", nullptr);
  by_blob.select("id").where("b=:b", false).bind(":b", Binding_Value(bytes({1, 2})));
  EXPECT_EQ((std::vector<std::string>{"int 0 id 1"}), run(by_blob, Connection::QM_COLUMN));
  Select_SQL by_int("t", nullptr);
  by_int.select("s").where("id=:id", false).where("id<:max", false);
  by_int.bind(":id", Binding_Value(2LL)).bind(":max", Binding_Value(10LL));
  EXPECT_EQ((std::vector<std::string>{"cstr 0 s b"}), run(by_int, Connection::QM_COLUMN));
}

TEST_P(Connection_Test, SameTextWithOtherParameterTypesStillRuns) {
  insert(1, Binding_Value(), Binding_Value(std::string("a")), Binding_Value());
  SQL sql("UPDATE t SET s=:s WHERE id=:id");
  sql.bind(":id", Binding_Value(1LL)).bind(":s", Binding_Value());
  exec(sql);
  sql.bind(":s", Binding_Value(std::string("z")));
  exec(sql);
  EXPECT_EQ((std::vector<std::string>{"cstr 0 s z"}), run(SQL("SELECT s FROM t"), Connection::QM_FLAT));
}

TEST_P(Connection_Test, OrderLimitOffset) {
  for (int i = 0; i < 6; ++i) insert(i, Binding_Value(), Binding_Value(), Binding_Value());
  Select_SQL sql("t", nullptr);
  sql.select("id").order_by("id", true).limit(2).offset(1);
  EXPECT_EQ((std::vector<std::string>{"int 0 id 4", "int 1 id 3"}), run(sql, Connection::QM_COLUMN));
  Select_SQL only_offset("t", nullptr);
  only_offset.select("id").order_by("id").offset(4);
  EXPECT_EQ((std::vector<std::string>{"int 0 id 4", "int 1 id 5"}), run(only_offset, Connection::QM_COLUMN));
}

TEST_P(Connection_Test, FailedStatementAnswersFalseWithMessageAndLogs) {
  Log_Capture capture;
  Event_Printer p;
  EXPECT_FALSE(db().query(SQL("SELEC nonsense"), p, Connection::QM_ROWS, nullptr, 0));
  EXPECT_FALSE(db().last_error().empty());
  EXPECT_TRUE(capture.has(LM_ERROR, "Database error: "));
  EXPECT_TRUE(p.events.empty());
  EXPECT_FALSE(db().query(SQL("SELECT * FROM no_such_table"), p, Connection::QM_ROWS, nullptr, 0));
  EXPECT_FALSE(db().execute(SQL("INSERT INTO no_such_table VALUES (1)")));
  // The connection stays usable.
  insert(1, Binding_Value(), Binding_Value(), Binding_Value());
  EXPECT_TRUE(db().last_error().empty());
}

TEST_P(Connection_Test, UnboundParameterFails) {
  Log_Capture capture;
  Event_Printer p;
  SQL sql("SELECT id FROM t WHERE id=:id");
  EXPECT_FALSE(db().query(sql, p, Connection::QM_ROWS, nullptr, 0));
  EXPECT_NE(std::string::npos, db().last_error().find(":id is not bound"));
}

TEST_P(Connection_Test, UnknownModeFails) {
  Log_Capture capture;
  Event_Printer p;
  EXPECT_FALSE(db().query(SQL("SELECT 1"), p, 3, nullptr, 0));
  EXPECT_NE(std::string::npos, db().last_error().find("unknown query mode 3"));
}

TEST_P(Connection_Test, PrinterThatStopsEndsTheQuery) {
  Log_Capture capture;
  for (int i = 0; i < 3; ++i) insert(i, Binding_Value(), Binding_Value(), Binding_Value());
  Event_Printer p;
  p.stop_after = 2;
  Select_SQL sql("t", nullptr);
  sql.select("id").order_by("id");
  EXPECT_FALSE(db().query(sql, p, Connection::QM_ROWS, nullptr, 0));
  EXPECT_EQ(3u, p.events.size());
  EXPECT_NE(std::string::npos, db().last_error().find("stopped by the printer"));
}

TEST_P(Connection_Test, ExecuteCountsAffectedRows) {
  for (int i = 0; i < 4; ++i) insert(i, Binding_Value(), Binding_Value(), Binding_Value());
  long long affected = -1;
  SQL sql("UPDATE t SET s='x' WHERE id>=:min");
  sql.bind(":min", Binding_Value(2LL));
  ASSERT_TRUE(db().execute(sql, &affected)) << db().last_error();
  EXPECT_EQ(2, affected);
  Where_SQL del("DELETE FROM t");
  ASSERT_TRUE(db().execute(del, &affected));
  EXPECT_EQ(4, affected);
}

TEST_P(Connection_Test, MultiRowInsertWithManyParameters) {
  std::string text = "INSERT INTO t (id, s) VALUES ";
  for (int i = 0; i < 400; ++i) text += (i ? "," : "") + std::string("(:i") + std::to_string(i) + ",:s" + std::to_string(i) + ")";
  SQL sql(text);
  for (int i = 0; i < 400; ++i) {
    sql.bind(":i" + std::to_string(i), Binding_Value(static_cast<long long>(i)));
    sql.bind(":s" + std::to_string(i), Binding_Value("row " + std::to_string(i)));
  }
  long long affected = 0;
  ASSERT_TRUE(db().execute(sql, &affected)) << db().last_error();
  EXPECT_EQ(400, affected);
  json_spirit::Value v;
  ASSERT_TRUE(db().query_value(SQL("SELECT s FROM t WHERE id=399"), v));
  EXPECT_EQ("row 399", v.get_str());
}

TEST_P(Connection_Test, RollbackDiscardsAndCommitKeeps) {
  ASSERT_TRUE(db().begin()) << db().last_error();
  insert(1, Binding_Value(), Binding_Value(), Binding_Value());
  ASSERT_TRUE(db().rollback());
  json_spirit::Value n;
  ASSERT_TRUE(db().query_value(SQL("SELECT count(*) FROM t"), n));
  EXPECT_EQ(0, n.get_int64());
  ASSERT_TRUE(db().begin());
  insert(2, Binding_Value(), Binding_Value(), Binding_Value());
  ASSERT_TRUE(db().commit()) << db().last_error();
  ASSERT_TRUE(db().query_value(SQL("SELECT count(*) FROM t"), n));
  EXPECT_EQ(1, n.get_int64());
}

TEST_P(Connection_Test, QueryValueAndRowsHelpers) {
  insert(1, Binding_Value(), Binding_Value(std::string("a")), Binding_Value());
  insert(2, Binding_Value(), Binding_Value(), Binding_Value());
  json_spirit::Value v(5);
  ASSERT_TRUE(db().query_value(SQL("SELECT s FROM t WHERE id=2"), v));
  EXPECT_TRUE(v.is_null());
  ASSERT_TRUE(db().query_value(SQL("SELECT s FROM t WHERE id=99"), v));
  EXPECT_TRUE(v.is_null());
  json_spirit::Array rows;
  Select_SQL sql("t", nullptr);
  sql.select("id,s").order_by("id");
  ASSERT_TRUE(db().query_rows(sql, rows));
  EXPECT_EQ("[{\"id\":1,\"s\":\"a\"},{\"id\":2,\"s\":null}]", JSON_Dump(json_spirit::Value(rows)));
}

TEST_P(Connection_Test, ValuePrinterBuildsNestedValueUnderTheOpenedKey) {
  insert(1, Binding_Value(), Binding_Value(std::string("a")), Binding_Value(bytes({0xab})));
  Query_Result_Value_Printer p;
  {
    Printer_Array_Guard rows(p, 0, "rows");
    Select_SQL sql("t", nullptr);
    sql.select("id,s,b");
    ASSERT_TRUE(db().query(sql, p, Connection::QM_ROWS, nullptr, 0));
  }
  EXPECT_EQ("{\"rows\":[{\"b\":\"ab\",\"id\":1,\"s\":\"a\"}]}", JSON_Dump(p.value()));
  EXPECT_EQ(0u, p.depth());
}

TEST_P(Connection_Test, CatalogSchemaIsIdempotent) {
  EXPECT_TRUE(Catalog_Schema::create(db())) << db().last_error();
  EXPECT_TRUE(Catalog_Schema::create(db())) << db().last_error();
  json_spirit::Value n;
  ASSERT_TRUE(db().query_value(SQL("SELECT count(*) FROM backup_set"), n));
  EXPECT_EQ(0, n.get_int64());
}

TEST_P(Connection_Test, DeletingASetCascadesToPiecesStoragesAndMedia) {
  std::basic_string<unsigned char> set(16, 1), pool(16, 2);
  SQL s("INSERT INTO backup_set (uuid, name) VALUES (:u, 'n')");
  exec(s.bind(":u", Binding_Value(set)));
  SQL p("INSERT INTO backup_piece (set_uuid, path) VALUES (:u, '/a')");
  exec(p.bind(":u", Binding_Value(set)));
  SQL st("INSERT INTO backup_set_storage (id, set_uuid, pool_uuid, state) VALUES (10, :u, :p, 1)");
  exec(st.bind(":u", Binding_Value(set)).bind(":p", Binding_Value(pool)));
  exec("INSERT INTO backup_set_media (set_storage_id, media_tag) VALUES (10, 'T1')");
  SQL del("DELETE FROM backup_set WHERE uuid=:u");
  exec(del.bind(":u", Binding_Value(set)));
  for (char const* table : {"backup_piece", "backup_set_storage", "backup_set_media"}) {
    json_spirit::Value n;
    ASSERT_TRUE(db().query_value(SQL(std::string("SELECT count(*) FROM ") + table), n));
    EXPECT_EQ(0, n.get_int64()) << table;
  }
}

TEST_P(Connection_Test, PieceOfUnknownSetIsRefused) {
  Log_Capture capture;
  SQL p("INSERT INTO backup_piece (set_uuid, path) VALUES (:u, '/a')");
  p.bind(":u", Binding_Value(std::basic_string<unsigned char>(16, 9)));
  EXPECT_FALSE(db().execute(p));
}

TEST_P(Connection_Test, StoredTimeReadsBackAsIsoTextExactly) {
  std::basic_string<unsigned char> set(16, 3);
  SQL s("INSERT INTO backup_set (uuid, first_time, last_time, backup_start_time) VALUES (:u, :a, :b, :c)");
  s.bind(":u", Binding_Value(set))
      .bind(":a", Binding_Value(std::string("2024-02-29 23:59:59")))
      .bind(":b", Binding_Value(std::string("9999-12-31 23:59:59")))
      .bind(":c", Binding_Value(std::string("1970-01-01 00:00:00")));
  exec(s);
  Select_SQL sql("backup_set", "b");
  sql.add_key("b.first_time", "first_time").add_key("b.last_time", "last_time").add_key("b.backup_start_time", "t");
  EXPECT_EQ((std::vector<std::string>{"cstr 0 first_time 2024-02-29 23:59:59", "cstr 1 last_time 9999-12-31 23:59:59",
                                       "cstr 2 t 1970-01-01 00:00:00"}),
            run(sql, Connection::QM_FLAT));
}

ENGINE_SUITE(Connection_Test);

TEST(SQLiteConnection, FileDatabaseRunsInWalMode) {
  std::string path = ::testing::TempDir() + "bset_wal_" + std::to_string(::getpid()) + ".db";
  {
    database::sql::SQLite_Connection db(path);
    ASSERT_TRUE(db.is_open()) << db.last_error();
    json_spirit::Value mode;
    ASSERT_TRUE(db.query_value(SQL("PRAGMA journal_mode"), mode));
    EXPECT_EQ("wal", mode.get_str());
    json_spirit::Value fk;
    ASSERT_TRUE(db.query_value(SQL("PRAGMA foreign_keys"), fk));
    EXPECT_EQ(1, fk.get_int64());
  }
  std::remove(path.c_str());
  std::remove((path + "-wal").c_str());
  std::remove((path + "-shm").c_str());
}

TEST(SQLiteConnection, UnopenableFileFailsWithoutCrash) {
  Log_Capture capture;
  database::sql::SQLite_Connection db("/nonexistent-dir/x/y.db");
  EXPECT_FALSE(db.is_open());
  EXPECT_NE(std::string::npos, db.last_error().find("cannot open SQLite database"));
  Event_Printer p;
  EXPECT_FALSE(db.query(SQL("SELECT 1"), p, Connection::QM_ROWS, nullptr, 0));
  EXPECT_FALSE(db.execute(SQL("SELECT 1")));
  EXPECT_FALSE(db.begin());
}

TEST(PGConnection, UnreachableServerFailsWithoutCrash) {
  Log_Capture capture;
  database::sql::PG_Connection db("host=127.0.0.1 port=1 user=postgres dbname=x connect_timeout=2");
  EXPECT_FALSE(db.is_open());
  EXPECT_NE(std::string::npos, db.last_error().find("cannot connect to PostgreSQL"));
  Event_Printer p;
  EXPECT_FALSE(db.query(SQL("SELECT 1"), p, Connection::QM_ROWS, nullptr, 0));
  EXPECT_FALSE(db.execute(SQL("SELECT 1")));
  EXPECT_FALSE(db.commit());
}

TEST(PGConnection, FailedTransactionCommitIsReported) {
  std::string error;
  PG_Cluster* cluster = PG_Cluster::shared(&error);
  ASSERT_NE(nullptr, cluster) << error;
  Log_Capture capture;
  database::sql::PG_Connection db(cluster->conninfo());
  ASSERT_TRUE(db.begin());
  EXPECT_FALSE(db.execute(SQL("SELECT * FROM no_such_table")));
  EXPECT_FALSE(db.commit());
  EXPECT_NE(std::string::npos, db.last_error().find("rolled back"));
}

TEST(PGConnection, UrlConninfoAndSocketConnect) {
  std::string error;
  PG_Cluster* cluster = PG_Cluster::shared(&error);
  ASSERT_NE(nullptr, cluster) << error;
  database::sql::PG_Connection url("postgresql://postgres@127.0.0.1:" + std::to_string(cluster->port()) + "/" +
                                   cluster->database());
  ASSERT_TRUE(url.is_open()) << url.last_error();
  database::sql::PG_Connection socket(cluster->socket_conninfo());
  ASSERT_TRUE(socket.is_open()) << socket.last_error();
  json_spirit::Value v;
  ASSERT_TRUE(socket.query_value(SQL("SELECT current_setting('TimeZone')"), v));
  EXPECT_EQ("UTC", v.get_str());
}

TEST(PGConnection, TextResultTypesAreDecodedLikeSQLite) {
  std::string error;
  PG_Cluster* cluster = PG_Cluster::shared(&error);
  ASSERT_NE(nullptr, cluster) << error;
  database::sql::PG_Connection db(cluster->conninfo());
  // numeric and interval force the text form of the result.
  Event_Printer p;
  ASSERT_TRUE(db.query(SQL("SELECT 12::numeric AS a, 1.5::numeric AS b, '\\x0aff'::bytea AS c, true AS d, "
                           "'1 day'::interval AS e, 'abcdef01-2345-6789-abcd-ef0123456789'::uuid AS f, "
                           "'2020-01-02 03:04:05'::timestamp AS g"),
                       p, Connection::QM_FLAT, nullptr, 0))
      << db.last_error();
  EXPECT_EQ((std::vector<std::string>{"int 0 a 12", "double 1 b 1.500000", "custr 2 c 0aff", "bool 3 d true",
                                       "cstr 4 e 1 day", "custr 5 f abcdef0123456789abcdef0123456789",
                                       "cstr 6 g 2020-01-02 03:04:05"}),
            p.events);
}

TEST(PGConnection, BinaryResultTypesAreDecodedLikeSQLite) {
  std::string error;
  PG_Cluster* cluster = PG_Cluster::shared(&error);
  ASSERT_NE(nullptr, cluster) << error;
  database::sql::PG_Connection db(cluster->conninfo());
  Event_Printer p;
  ASSERT_TRUE(db.query(SQL("SELECT 7::int2 AS a, -8::int4 AS b, false AS d, 'x'::varchar AS e, "
                           "'abcdef01-2345-6789-abcd-ef0123456789'::uuid AS f, "
                           "'2020-01-02 03:04:05.25'::timestamp AS g, '1999-12-31'::date AS h, "
                           "'1969-12-31 23:59:59'::timestamptz AS i, '{\"k\": [1]}'::jsonb AS j, 0.5::float4 AS k"),
                       p, Connection::QM_FLAT, nullptr, 0))
      << db.last_error();
  EXPECT_EQ((std::vector<std::string>{"int 0 a 7", "int 1 b -8", "bool 2 d false", "cstr 3 e x",
                                       "custr 4 f abcdef0123456789abcdef0123456789", "cstr 5 g 2020-01-02 03:04:05.25",
                                       "cstr 6 h 1999-12-31", "cstr 7 i 1969-12-31 23:59:59+00",
                                       "cstr 8 j {\"k\": [1]}", "double 9 k 0.500000"}),
            p.events);
}
