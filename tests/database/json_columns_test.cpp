#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/mysql_backup_set.h"
#include "platform/sql/select_sql.h"
#include "tests/database/engine_fixture.h"
#include "tests/database/event_printer.h"
#include "tests/support/log_capture.h"
#include "tests/support/set_rows_printer.h"

using database::sql::Connection;
using database::sql::Query_Result_Handler;
using json_spirit::Array;
using json_spirit::Value;

namespace {

// Stored as written; read parsed, with the object's keys in order.
char const OBJECT_TEXT[] = R"({"b": [true, null], "a": 1})";
char const OBJECT_DOC[] = R"({"a":1,"b":[true,null]})";
char const ARRAY_TEXT[] = R"(["x", {"k": "v"}])";
char const ARRAY_DOC[] = R"(["x",{"k":"v"}])";
// Already in the form a jsonb column gives its documents back in, so the
// text reads the same from either engine's text column.
char const CANONICAL_TEXT[] = R"({"a": 1, "b": [true, null]})";

Key2_Value_T<Query_Result_Handler::Val_Tran> const JSON_CODE[] = {{"doc", Query_Result_Handler::VT_JSON},
                                                                  {"other", Query_Result_Handler::VT_JSON},
                                                                  {nullptr, 0}};
Key2_Value_T<Query_Result_Handler::Val_Tran> const BOOLEAN_CODE[] = {{"doc", Query_Result_Handler::VT_BOOLEAN},
                                                                     {nullptr, 0}};
Key2_Value_T<Query_Result_Handler::Val_Tran> const UNRELATED_CODES[] = {{"other", Query_Result_Handler::VT_JSON},
                                                                        {"u", Query_Result_Handler::VT_UUID},
                                                                        {nullptr, 0}};
Key2_Value_T<Query_Result_Handler::Val_Tran> const TEXT_JSON_CODE[] = {{"txt", Query_Result_Handler::VT_JSON},
                                                                       {nullptr, 0}};

// doc is the engine's JSON type (PostgreSQL json, SQLite declared JSON);
// txt is jsonb on PostgreSQL and TEXT on SQLite; n forces PostgreSQL's text
// form of a whole result.
class Json_Columns_Test : public Engine_Test {
 protected:
  void SetUp() override {
    Engine_Test::SetUp();
    if (HasFatalFailure()) return;
    exec(pg() ? "CREATE TABLE jc (id BIGINT, doc json, txt jsonb, n NUMERIC(20,0))"
              : "CREATE TABLE jc (id BIGINT, doc JSON, txt TEXT, n UNSIGNED BIG INT)");
  }

  void row(long long id, Binding_Value doc, Binding_Value txt = Binding_Value()) {
    SQL sql("INSERT INTO jc (id, doc, txt, n) VALUES (:id, :doc, :txt, :n)");
    sql.bind(":id", Binding_Value(id)).bind(":doc", doc).bind(":txt", txt);
    sql.bind(":n", Binding_Value::unsigned_integer(static_cast<unsigned long long>(id)));
    exec(sql);
  }

  std::vector<std::string> read(char const* columns, Query_Result_Handler* h, int mode = Connection::QM_COLUMN) {
    Select_SQL sql("jc", nullptr);
    sql.select(columns).order_by("id");
    Event_Printer p;
    EXPECT_TRUE(db().query(sql, p, mode, h, 0)) << db().last_error();
    return p.events;
  }

  void three_rows() {
    row(1, Binding_Value(std::string(OBJECT_TEXT)));
    row(2, Binding_Value(std::string(ARRAY_TEXT)));
    row(3, Binding_Value());
  }
};

}  // namespace

TEST_P(Json_Columns_Test, JsonColumnReadForARecordArrivesParsed) {
  three_rows();
  EXPECT_EQ((std::vector<std::string>{std::string("json 0 doc ") + OBJECT_DOC, std::string("json 1 doc ") + ARRAY_DOC,
                                       "null 2 doc"}),
            read("doc", Backup_Set::result_handler()));
}

TEST_P(Json_Columns_Test, JsonColumnWithoutAHandlerArrivesAsItsText) {
  three_rows();
  EXPECT_EQ((std::vector<std::string>{std::string("cstr 0 doc ") + OBJECT_TEXT,
                                       std::string("cstr 1 doc ") + ARRAY_TEXT, "null 2 doc"}),
            read("doc", nullptr));
}

TEST_P(Json_Columns_Test, JsonColumnArrivesParsedWhateverElseTheValueTableCodes) {
  three_rows();
  std::vector<std::string> const parsed = {std::string("json 0 doc ") + OBJECT_DOC,
                                           std::string("json 1 doc ") + ARRAY_DOC, "null 2 doc"};
  Query_Result_Handler no_table(nullptr, nullptr, -1, -1);
  EXPECT_EQ(parsed, read("doc", &no_table));
  Query_Result_Handler unrelated(nullptr, UNRELATED_CODES, -1, -1);
  EXPECT_EQ(parsed, read("doc", &unrelated));
}

TEST_P(Json_Columns_Test, JsonColumnCodedJsonIsParsedAsWell) {
  three_rows();
  Query_Result_Handler coded(nullptr, JSON_CODE, -1, -1);
  EXPECT_EQ((std::vector<std::string>{std::string("json 0 doc ") + OBJECT_DOC, std::string("json 1 doc ") + ARRAY_DOC,
                                       "null 2 doc"}),
            read("doc", &coded));
}

TEST_P(Json_Columns_Test, JsonColumnCodedOtherwiseFollowsItsCode) {
  row(1, Binding_Value(std::string("true")));
  row(2, Binding_Value(std::string(R"({"k": 1})")));
  Query_Result_Handler coded(nullptr, BOOLEAN_CODE, -1, -1);
  EXPECT_EQ((std::vector<std::string>{"bool 0 doc true", "bool 1 doc false"}), read("doc", &coded));
}

TEST_P(Json_Columns_Test, StringDocumentArrivesAsAJsonString) {
  row(1, Binding_Value(std::string(R"("plain \"text\"")")));
  EXPECT_EQ((std::vector<std::string>{R"(json 0 doc "plain \"text\"")"}), read("doc", Backup_Set::result_handler()));
  EXPECT_EQ((std::vector<std::string>{R"(cstr 0 doc "plain \"text\"")"}), read("doc", nullptr));
}

TEST_P(Json_Columns_Test, JsonbOrTextColumnWithoutACodeStaysText) {
  row(1, Binding_Value(), Binding_Value(std::string(CANONICAL_TEXT)));
  row(2, Binding_Value(), Binding_Value());
  std::vector<std::string> const text = {std::string("cstr 0 txt ") + CANONICAL_TEXT, "null 1 txt"};
  EXPECT_EQ(text, read("txt", Backup_Set::result_handler()));
  EXPECT_EQ(text, read("txt", nullptr));
  Query_Result_Handler no_table(nullptr, nullptr, -1, -1);
  EXPECT_EQ(text, read("txt", &no_table));
}

TEST_P(Json_Columns_Test, JsonbOrTextColumnCodedJsonIsParsed) {
  row(1, Binding_Value(), Binding_Value(std::string(CANONICAL_TEXT)));
  Query_Result_Handler coded(nullptr, TEXT_JSON_CODE, -1, -1);
  EXPECT_EQ((std::vector<std::string>{std::string("json 0 txt ") + OBJECT_DOC}), read("txt", &coded));
}

TEST_P(Json_Columns_Test, BothColumnsInOneRowKeepTheirOwnDelivery) {
  row(1, Binding_Value(std::string(OBJECT_TEXT)), Binding_Value(std::string(CANONICAL_TEXT)));
  EXPECT_EQ((std::vector<std::string>{std::string("json 0 doc ") + OBJECT_DOC,
                                       std::string("cstr 1 txt ") + CANONICAL_TEXT}),
            read("doc,txt", Backup_Set::result_handler(), Connection::QM_FLAT));
  EXPECT_EQ((std::vector<std::string>{std::string("cstr 0 doc ") + OBJECT_TEXT,
                                       std::string("cstr 1 txt ") + CANONICAL_TEXT}),
            read("doc,txt", nullptr, Connection::QM_FLAT));
}

TEST_P(Json_Columns_Test, JsonColumnNextToAnUnsignedColumnIsStillParsed) {
  // On PostgreSQL the unsigned column makes the whole result come as text.
  row(7, Binding_Value(std::string(OBJECT_TEXT)));
  EXPECT_EQ((std::vector<std::string>{"uint 0 n 7", std::string("json 1 doc ") + OBJECT_DOC}),
            read("n,doc", Backup_Set::result_handler(), Connection::QM_FLAT));
  EXPECT_EQ((std::vector<std::string>{"uint 0 n 7", std::string("cstr 1 doc ") + OBJECT_TEXT}),
            read("n,doc", nullptr, Connection::QM_FLAT));
}

TEST_P(Json_Columns_Test, RowsModeWrapsTheParsedDocumentInTheRowsMap) {
  row(1, Binding_Value(std::string(ARRAY_TEXT)));
  EXPECT_EQ((std::vector<std::string>{"start_map 0 ", "int 0 id 1", std::string("json 1 doc ") + ARRAY_DOC,
                                       "end_map"}),
            read("id,doc", Backup_Set::result_handler(), Connection::QM_ROWS));
}

TEST_P(Json_Columns_Test, RecordTakesAJsonColumnItHasNoCodeForAsADocument) {
  exec(std::string("CREATE TABLE gt (id BIGINT, name TEXT, start_gtids ") + (pg() ? "json" : "JSON") + ")");
  SQL ins("INSERT INTO gt (id, name, start_gtids) VALUES (1, 'n1', :g)");
  ins.bind(":g", Binding_Value(std::string(R"(["3e11fa47-71ca-11e1-9e33-c80aa9429562:1-5", 7])")));
  exec(ins);
  Select_SQL sql("gt", nullptr);
  sql.select("name,start_gtids").order_by("id");

  Set_Rows_Printer<MySQL_Backup_Set> with_handler;
  ASSERT_TRUE(db().query(sql, with_handler, Connection::QM_ROWS, Backup_Set::result_handler(), 0))
      << db().last_error();
  ASSERT_EQ(1u, with_handler.sets.size());
  EXPECT_EQ("n1", with_handler.sets[0].name);
  EXPECT_EQ((Array{Value("3e11fa47-71ca-11e1-9e33-c80aa9429562:1-5"), Value(7)}), with_handler.sets[0].start_gtids);

  // As text the column is not the record's.
  Set_Rows_Printer<MySQL_Backup_Set> without_handler;
  ASSERT_TRUE(db().query(sql, without_handler, Connection::QM_ROWS, nullptr, 0)) << db().last_error();
  ASSERT_EQ(1u, without_handler.sets.size());
  EXPECT_EQ("n1", without_handler.sets[0].name);
  EXPECT_TRUE(without_handler.sets[0].start_gtids.empty());
}

TEST_P(Json_Columns_Test, NumberDocumentArrivesAsADocumentOnEitherEngine) {
  row(1, Binding_Value(std::string("42")));
  row(2, Binding_Value(std::string("1.5")));
  EXPECT_EQ((std::vector<std::string>{"json 0 doc 42", "json 1 doc 1.5"}), read("doc", Backup_Set::result_handler()));
  EXPECT_EQ((std::vector<std::string>{"cstr 0 doc 42", "cstr 1 doc 1.5"}), read("doc", nullptr));
}

ENGINE_SUITE(Json_Columns_Test);

TEST(PGJsonColumns, JsonIsParsedForARecordWhileJsonbStaysText) {
  std::string error;
  PG_Cluster* cluster = PG_Cluster::shared(&error);
  ASSERT_NE(nullptr, cluster) << error;
  database::sql::PG_Connection db(cluster->conninfo());
  ASSERT_TRUE(db.is_open()) << db.last_error();
  SQL sql(R"(SELECT '{"b": 2, "a": [1]}'::json AS j, '{"b": 2, "a": [1]}'::jsonb AS jb, '{}'::text AS t)");
  Event_Printer with_handler;
  ASSERT_TRUE(db.query(sql, with_handler, Connection::QM_FLAT, Backup_Set::result_handler(), 0)) << db.last_error();
  // jsonb gives its documents back with keys ordered by length, then bytes.
  EXPECT_EQ((std::vector<std::string>{R"(json 0 j {"a":[1],"b":2})", R"(cstr 1 jb {"a": [1], "b": 2})",
                                       "cstr 2 t {}"}),
            with_handler.events);
  Event_Printer without_handler;
  ASSERT_TRUE(db.query(sql, without_handler, Connection::QM_FLAT, nullptr, 0)) << db.last_error();
  EXPECT_EQ((std::vector<std::string>{R"(cstr 0 j {"b": 2, "a": [1]})", R"(cstr 1 jb {"a": [1], "b": 2})",
                                       "cstr 2 t {}"}),
            without_handler.events);
}

TEST(SQLiteJsonColumns, DeclaredJsonIsMatchedWithoutCaseAndOtherTypesAreText) {
  database::sql::SQLite_Connection db(":memory:");
  ASSERT_TRUE(db.is_open()) << db.last_error();
  ASSERT_TRUE(db.execute(SQL("CREATE TABLE d (a json, b Json NOT NULL, c JSONB, e TEXT, g JSON_TEXT)")))
      << db.last_error();
  ASSERT_TRUE(db.execute(SQL(R"(INSERT INTO d VALUES ('[1]', '[2]', '[3]', '[4]', '[5]'))"))) << db.last_error();
  Event_Printer p;
  // An expression has no declared type: it reads as the text it is.
  ASSERT_TRUE(db.query(SQL("SELECT a, b, c, e, g, a || '' AS x FROM d"), p, Connection::QM_FLAT,
                       Backup_Set::result_handler(), 0))
      << db.last_error();
  EXPECT_EQ((std::vector<std::string>{"json 0 a [1]", "json 1 b [2]", "cstr 2 c [3]", "cstr 3 e [4]", "cstr 4 g [5]",
                                       "cstr 5 x [1]"}),
            p.events);
}

TEST(SQLiteJsonColumns, TextThatIsNotADocumentIsLoggedAndReadAsNull) {
  database::sql::SQLite_Connection db(":memory:");
  ASSERT_TRUE(db.is_open()) << db.last_error();
  ASSERT_TRUE(db.execute(SQL("CREATE TABLE d (id BIGINT, doc JSON)"))) << db.last_error();
  ASSERT_TRUE(db.execute(SQL(R"(INSERT INTO d VALUES (1, '{"open": '), (2, '[1]'))"))) << db.last_error();
  Log_Capture capture;
  Event_Printer p;
  ASSERT_TRUE(db.query(SQL("SELECT doc FROM d ORDER BY id"), p, Connection::QM_COLUMN, Backup_Set::result_handler(), 0))
      << db.last_error();
  EXPECT_EQ((std::vector<std::string>{"null 0 doc", "json 1 doc [1]"}), p.events);
  EXPECT_EQ(1u, capture.count(LM_ERROR, "Column 'doc' does not hold a JSON document")) << capture.dump();
  Event_Printer text;
  ASSERT_TRUE(db.query(SQL("SELECT doc FROM d ORDER BY id"), text, Connection::QM_COLUMN, nullptr, 0))
      << db.last_error();
  EXPECT_EQ((std::vector<std::string>{R"(cstr 0 doc {"open": )", "cstr 1 doc [1]"}), text.events);
}
