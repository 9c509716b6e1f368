#include <gtest/gtest.h>

#include "platform/database/printer_array_guard.h"
#include "platform/sql/select_sql.h"
#include "tests/database/engine_fixture.h"
#include "tests/database/event_printer.h"
#include "tests/support/log_capture.h"

using database::sql::Connection;
using database::sql::Query_Result_Handler;
using database::sql::Query_Result_Printer;

namespace {

Key2_Value_T<Query_Result_Handler::Key_Tran> const kKeys[] = {{"s", "text"}, {"gone", nullptr}, {nullptr, nullptr}};
Key2_Value_T<Query_Result_Handler::Val_Tran> const kValues[] = {
    {"u", Query_Result_Handler::VT_UUID}, {"j", Query_Result_Handler::VT_JSON},
    {"f", Query_Result_Handler::VT_BOOLEAN}, {"text", Query_Result_Handler::VT_JSON}, {nullptr, 0}};

// Records which hooks ran and can claim values or skip them.
class Recording_Handler : public Query_Result_Handler {
 public:
  Recording_Handler() : Query_Result_Handler(kKeys, kValues, -1, -1) {}
  std::vector<std::string> calls;
  std::string claim;    // key whose values the handler delivers itself
  std::string skip;     // key whose values are dropped
  std::string hide;     // key left out by preview
  bool stop_names = false;

  bool handle_integer_i(Connection&, int, char const* name, long long v, Query_Result_Printer& p) override {
    calls.push_back(std::string("integer ") + name);
    if (claim == name) return p.print_str(0, name, "claimed " + std::to_string(v));
    return false;
  }
  bool handle_string_i(Connection&, int, char const* name, char const*, unsigned long long, Query_Result_Printer&) override {
    calls.push_back(std::string("string ") + name);
    return false;
  }
  bool handle_binary_i(Connection&, int, char const* name, unsigned char const*, unsigned long long,
                       Query_Result_Printer&) override {
    calls.push_back(std::string("binary ") + name);
    return false;
  }
  bool handle_null_i(Connection&, int, char const* name, Query_Result_Printer&) override {
    calls.push_back(std::string("null ") + name);
    return false;
  }
  bool handle_pre_end_names_i(Connection&, std::vector<std::string> const& keys, Query_Result_Printer&) override {
    std::string all = "names";
    for (auto const& k : keys) all += " " + k;
    calls.push_back(all);
    return !stop_names;
  }
  bool handle_pre_end_row_i(Connection&, int row, Query_Result_Printer& p) override {
    calls.push_back("row " + std::to_string(row));
    return p.print_int(99, "extra", row);
  }
  bool handle_pre_end_rows_i(Connection&, int rows, Query_Result_Printer&) override {
    calls.push_back("rows " + std::to_string(rows));
    return true;
  }
  bool preview_name_i(int, char const* name) override { return hide != name; }
  bool skip_integer_i(int, char const* name, long long) override { return skip == name; }
};

class Handler_Test : public Engine_Test {
 protected:
  void SetUp() override {
    Engine_Test::SetUp();
    if (HasFatalFailure()) return;
    std::string blob = pg() ? "bytea" : "BLOB";
    exec("CREATE TABLE h (id BIGINT, u " + blob + ", j TEXT, f BIGINT, s TEXT)");
  }
  void row(long long id, Binding_Value u, Binding_Value j, Binding_Value f, Binding_Value s) {
    SQL sql("INSERT INTO h (id, u, j, f, s) VALUES (:id, :u, :j, :f, :s)");
    sql.bind(":id", Binding_Value(id)).bind(":u", u).bind(":j", j).bind(":f", f).bind(":s", s);
    exec(sql);
  }
  std::vector<std::string> read(Query_Result_Handler* h, char const* columns = "id,u,j,f,s") {
    Select_SQL sql("h", nullptr);
    sql.select(columns).order_by("id");
    Event_Printer p;
    EXPECT_TRUE(db().query(sql, p, Connection::QM_FLAT, h, 0)) << db().last_error();
    return p.events;
  }
};

std::basic_string<unsigned char> uuid_bytes() {
  return std::basic_string<unsigned char>{0xab, 0xcd, 0xef, 0x01, 0x23, 0x45, 0x67, 0x89,
                                          0xab, 0xcd, 0xef, 0x01, 0x23, 0x45, 0x67, 0x89};
}

}  // namespace

TEST_P(Handler_Test, UuidColumnOfSixteenBytesArrivesAsCanonicalText) {
  row(1, Binding_Value(uuid_bytes()), Binding_Value(), Binding_Value(), Binding_Value());
  Query_Result_Handler h(nullptr, kValues, -1, -1);
  EXPECT_EQ((std::vector<std::string>{"cstr 0 u abcdef01-2345-6789-abcd-ef0123456789"}), read(&h, "u"));
}

TEST_P(Handler_Test, UuidColumnOfWrongLengthArrivesAsNull) {
  row(1, Binding_Value(std::basic_string<unsigned char>(15, 1)), Binding_Value(), Binding_Value(), Binding_Value());
  row(2, Binding_Value(std::basic_string<unsigned char>(17, 1)), Binding_Value(), Binding_Value(), Binding_Value());
  row(3, Binding_Value(std::basic_string<unsigned char>()), Binding_Value(), Binding_Value(), Binding_Value());
  Query_Result_Handler h(nullptr, kValues, -1, -1);
  EXPECT_EQ((std::vector<std::string>{"null 0 u", "null 0 u", "null 0 u"}), read(&h, "u"));
}

TEST_P(Handler_Test, UuidColumnHoldingTextPassesUnchanged) {
  Select_SQL sql("h", nullptr);
  sql.add_key(":t", "u").bind(":t", Binding_Value(std::string("not-a-uuid")));
  row(1, Binding_Value(), Binding_Value(), Binding_Value(), Binding_Value());
  Query_Result_Handler h(nullptr, kValues, -1, -1);
  Event_Printer p;
  ASSERT_TRUE(db().query(sql, p, Connection::QM_FLAT, &h, 0)) << db().last_error();
  EXPECT_EQ((std::vector<std::string>{"cstr 0 u not-a-uuid"}), p.events);
}

TEST_P(Handler_Test, JsonColumnArrivesParsed) {
  row(1, Binding_Value(), Binding_Value(std::string("{\"a\": [1, \"x\"], \"b\": null}")), Binding_Value(),
      Binding_Value());
  row(2, Binding_Value(), Binding_Value(std::string("[1,2]")), Binding_Value(), Binding_Value());
  Query_Result_Handler h(nullptr, kValues, -1, -1);
  EXPECT_EQ((std::vector<std::string>{"json 0 j {\"a\":[1,\"x\"],\"b\":null}", "json 0 j [1,2]"}), read(&h, "j"));
}

TEST_P(Handler_Test, JsonColumnWithInvalidTextArrivesAsNullAndIsLogged) {
  Log_Capture capture;
  row(1, Binding_Value(), Binding_Value(std::string("{not json")), Binding_Value(), Binding_Value());
  Query_Result_Handler h(nullptr, kValues, -1, -1);
  EXPECT_EQ((std::vector<std::string>{"null 0 j"}), read(&h, "j"));
  EXPECT_TRUE(capture.has(LM_ERROR, "Column 'j' does not hold a JSON document")) << capture.dump();
}

TEST_P(Handler_Test, BooleanColumnArrivesAsBool) {
  row(1, Binding_Value(), Binding_Value(), Binding_Value(0LL), Binding_Value());
  row(2, Binding_Value(), Binding_Value(), Binding_Value(5LL), Binding_Value());
  Query_Result_Handler h(nullptr, kValues, -1, -1);
  EXPECT_EQ((std::vector<std::string>{"bool 0 f false", "bool 0 f true"}), read(&h, "f"));
}

TEST_P(Handler_Test, KeyTranslationRenamesBeforeValueTranslation) {
  row(1, Binding_Value(), Binding_Value(), Binding_Value(), Binding_Value(std::string("{\"x\":1}")));
  Query_Result_Handler h(kKeys, kValues, -1, -1);
  EXPECT_EQ((std::vector<std::string>{"json 0 text {\"x\":1}"}), read(&h, "s"));
}

TEST_P(Handler_Test, TableCountsLimitTheRowsRead) {
  row(1, Binding_Value(uuid_bytes()), Binding_Value(), Binding_Value(), Binding_Value());
  // Only the first value row ("u") is read: "j" stays plain text.
  Query_Result_Handler h(kKeys, kValues, 0, 1);
  row(2, Binding_Value(), Binding_Value(std::string("[]")), Binding_Value(), Binding_Value(std::string("s")));
  EXPECT_EQ((std::vector<std::string>{"cstr 0 u abcdef01-2345-6789-abcd-ef0123456789", "null 1 j", "null 2 s",
                                       "null 0 u", "cstr 1 j []", "cstr 2 s s"}),
            read(&h, "u,j,s"));
}

TEST_P(Handler_Test, NullStaysNullWhateverTheCode) {
  row(1, Binding_Value(), Binding_Value(), Binding_Value(), Binding_Value());
  Query_Result_Handler h(nullptr, kValues, -1, -1);
  EXPECT_EQ((std::vector<std::string>{"null 0 u", "null 1 j", "null 2 f"}), read(&h, "u,j,f"));
}

TEST_P(Handler_Test, HooksRunInOrderAndClaimedValuesSkipDefault) {
  row(1, Binding_Value(uuid_bytes()), Binding_Value(), Binding_Value(3LL), Binding_Value(std::string("t")));
  row(2, Binding_Value(), Binding_Value(), Binding_Value(4LL), Binding_Value());
  Recording_Handler h;
  h.claim = "id";
  auto e = read(&h, "id,u,f");
  EXPECT_EQ((std::vector<std::string>{"names id u f", "integer id", "binary u", "integer f", "row 0", "integer id",
                                       "null u", "integer f", "row 1", "rows 2"}),
            h.calls);
  EXPECT_EQ((std::vector<std::string>{"str 0 id claimed 1", "cstr 1 u abcdef01-2345-6789-abcd-ef0123456789",
                                       "bool 2 f true", "int 99 extra 0", "str 0 id claimed 2", "null 1 u",
                                       "bool 2 f true", "int 99 extra 1"}),
            e);
}

TEST_P(Handler_Test, SkippedAndHiddenColumnsAreNotDelivered) {
  row(1, Binding_Value(), Binding_Value(), Binding_Value(3LL), Binding_Value(std::string("t")));
  Recording_Handler h;
  h.skip = "id";
  h.hide = "text";
  auto e = read(&h, "id,f,s");
  EXPECT_EQ((std::vector<std::string>{"bool 1 f true", "int 99 extra 0"}), e);
}

TEST_P(Handler_Test, HandlerStoppingAtNamesFailsTheQuery) {
  Log_Capture capture;
  Recording_Handler h;
  h.stop_names = true;
  Select_SQL sql("h", nullptr);
  sql.select("id");
  Event_Printer p;
  EXPECT_FALSE(db().query(sql, p, Connection::QM_ROWS, &h, 0));
  EXPECT_NE(std::string::npos, db().last_error().find("stopped by the handler"));
}

namespace {
// Runs a nested query for each "id", inside an array under "children".
class Nesting_Handler : public Query_Result_Handler {
 public:
  Nesting_Handler() : Query_Result_Handler(nullptr, nullptr, -1, -1) {}
  bool handle_integer_i(Connection& c, int, char const* name, long long v, Query_Result_Printer& p) override {
    if (std::string(name) != "children") return false;
    database::sql::Printer_Array_Guard guard(p, 0, "children");
    Select_SQL sql("h", nullptr);
    sql.select("s").where("f=:f", false).order_by("s").bind(":f", Binding_Value(v));
    c.query(sql, p, Connection::QM_COLUMN, nullptr, 0);
    return true;
  }
};
}  // namespace

TEST_P(Handler_Test, HandlerRunsNestedQueriesOnTheSameConnection) {
  row(1, Binding_Value(), Binding_Value(), Binding_Value(1LL), Binding_Value(std::string("a")));
  row(2, Binding_Value(), Binding_Value(), Binding_Value(1LL), Binding_Value(std::string("b")));
  row(3, Binding_Value(), Binding_Value(), Binding_Value(3LL), Binding_Value(std::string("c")));
  Nesting_Handler h;
  Select_SQL sql("h", nullptr);
  sql.add_key("id", "id").add_key("id", "children").order_by("id");
  Event_Printer p;
  ASSERT_TRUE(db().query(sql, p, Connection::QM_ROWS, &h, 0)) << db().last_error();
  EXPECT_EQ((std::vector<std::string>{"start_map 0 ", "int 0 id 1", "start_array 0 children", "cstr 0 s a",
                                       "cstr 1 s b", "end_array", "end_map", "start_map 1 ", "int 0 id 2",
                                       "start_array 0 children", "end_array", "end_map", "start_map 2 ", "int 0 id 3",
                                       "start_array 0 children", "cstr 0 s c", "end_array", "end_map"}),
            p.events);
}

ENGINE_SUITE(Handler_Test);
