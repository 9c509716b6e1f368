#include <gtest/gtest.h>

#include <climits>
#include <cstddef>
#include <type_traits>

#include "platform/json/json_text.h"
#include "platform/sql/select_sql.h"
#include "tests/database/engine_fixture.h"
#include "tests/database/event_printer.h"

using database::sql::Connection;
using database::sql::Query_Result_Handler;
using database::sql::Query_Result_Printer;

namespace {

unsigned long long const kUnsigned[] = {0ULL, 4294967295ULL, 9223372036854775807ULL, 9223372036854775808ULL,
                                        18446744073709551615ULL};

Key2_Value_T<Query_Result_Handler::Val_Tran> const kBoolCodes[] = {
    {"n", Query_Result_Handler::VT_BOOLEAN}, {"u", Query_Result_Handler::VT_BOOLEAN}, {nullptr, 0}};
Key2_Value_T<Query_Result_Handler::Val_Tran> const kOtherCodes[] = {
    {"f", Query_Result_Handler::VT_JSON}, {"u", Query_Result_Handler::VT_UUID}, {nullptr, 0}};

// Notes the integer hooks' arguments; can drop or claim one key's values.
class Integer_Hooks : public Query_Result_Handler {
 public:
  Integer_Hooks() : Query_Result_Handler(nullptr, nullptr, -1, -1) {}
  std::vector<std::string> calls;
  std::string skip;
  std::string claim;

  bool skip_integer_i(int, char const* name, long long v) override {
    calls.push_back(std::string("skip ") + name + " " + std::to_string(v));
    return skip == name;
  }
  bool handle_integer_i(Connection&, int, char const* name, long long v, Query_Result_Printer& p) override {
    calls.push_back(std::string("handle ") + name + " " + std::to_string(v));
    if (claim == name) return p.print_str(0, name, "claimed " + std::to_string(v));
    return false;
  }
};

// f is the engine's boolean, u its unsigned 64-bit column, n a plain integer.
class Typed_Columns_Test : public Engine_Test {
 protected:
  void SetUp() override {
    Engine_Test::SetUp();
    if (HasFatalFailure()) return;
    exec(std::string("CREATE TABLE tc (id BIGINT, f BOOLEAN, u ") + (pg() ? "NUMERIC(20,0)" : "UNSIGNED BIG INT") +
         ", n BIGINT)");
  }

  void row(long long id, Binding_Value f, Binding_Value u, Binding_Value n) {
    SQL sql("INSERT INTO tc (id, f, u, n) VALUES (:id, :f, :u, :n)");
    sql.bind(":id", Binding_Value(id)).bind(":f", f).bind(":u", u).bind(":n", n);
    exec(sql);
  }

  std::vector<std::string> read(char const* columns, Query_Result_Handler* h = nullptr,
                                int mode = Connection::QM_COLUMN) {
    Select_SQL sql("tc", nullptr);
    sql.select(columns).order_by("id");
    Event_Printer p;
    EXPECT_TRUE(db().query(sql, p, mode, h, 0)) << db().last_error();
    return p.events;
  }
};

}  // namespace

TEST(BindingValueKinds, BoolIsItsOwnKindAndOtherArgumentsKeepTheirs) {
  bool const yes = true;
  EXPECT_EQ(Binding_Value::boolean_kind, Binding_Value(yes).kind());
  EXPECT_TRUE(Binding_Value(true).boolean());
  EXPECT_FALSE(Binding_Value(false).boolean());
  EXPECT_EQ(0, Binding_Value(false).integer());
  EXPECT_EQ(Binding_Value::integer_kind, Binding_Value(1).kind());
  EXPECT_EQ(Binding_Value::integer_kind, Binding_Value(0LL).kind());
  enum Small { small_one = 1 };
  EXPECT_EQ(Binding_Value::integer_kind, Binding_Value(small_one).kind());
  EXPECT_EQ(Binding_Value::text_kind, Binding_Value("lit").kind());
  EXPECT_EQ(Binding_Value::null_kind, Binding_Value(static_cast<char const*>(nullptr)).kind());
  char buffer[] = "mutable";
  EXPECT_EQ(Binding_Value::text_kind, Binding_Value(buffer).kind());
  EXPECT_EQ(Binding_Value::null_kind, Binding_Value(nullptr).kind());
  // A bool converts implicitly, as ints do; a literal still never does.
  EXPECT_TRUE((std::is_convertible<bool, Binding_Value>::value));
  EXPECT_FALSE((std::is_convertible<char const*, Binding_Value>::value));
  EXPECT_FALSE((std::is_convertible<std::nullptr_t, Binding_Value>::value));
  EXPECT_NE(Binding_Value(true), Binding_Value(1));
}

TEST(BindingValueKinds, UnsignedKeepsTheWholeRange) {
  for (unsigned long long u : kUnsigned) {
    Binding_Value v = Binding_Value::unsigned_integer(u);
    EXPECT_EQ(Binding_Value::unsigned_kind, v.kind());
    EXPECT_EQ(u, v.uinteger());
  }
  EXPECT_NE(Binding_Value::unsigned_integer(5), Binding_Value(5LL));
  EXPECT_EQ(Binding_Value::unsigned_integer(5), Binding_Value::unsigned_integer(5));
}

TEST_P(Typed_Columns_Test, BooleanColumnRoundTripsThroughPrintBool) {
  row(1, Binding_Value(true), Binding_Value(), Binding_Value());
  row(2, Binding_Value(false), Binding_Value(), Binding_Value());
  row(3, Binding_Value(), Binding_Value(), Binding_Value());
  EXPECT_EQ((std::vector<std::string>{"bool 0 f true", "bool 1 f false", "null 2 f"}), read("f"));
}

TEST_P(Typed_Columns_Test, BooleanParameterFiltersABooleanColumn) {
  row(1, Binding_Value(true), Binding_Value(), Binding_Value());
  row(2, Binding_Value(false), Binding_Value(), Binding_Value());
  row(3, Binding_Value(true), Binding_Value(), Binding_Value());
  for (bool wanted : {true, false}) {
    Select_SQL sql("tc", nullptr);
    sql.select("id").where("f=:f", false).order_by("id").bind(":f", Binding_Value(wanted));
    Event_Printer p;
    ASSERT_TRUE(db().query(sql, p, Connection::QM_COLUMN, nullptr, 0)) << db().last_error();
    if (wanted) {
      EXPECT_EQ((std::vector<std::string>{"int 0 id 1", "int 1 id 3"}), p.events);
    } else {
      EXPECT_EQ((std::vector<std::string>{"int 0 id 2"}), p.events);
    }
  }
}

TEST_P(Typed_Columns_Test, UnsignedColumnRoundTripsThroughPrintUint) {
  long long id = 0;
  for (unsigned long long u : kUnsigned) {
    row(++id, Binding_Value(), Binding_Value::unsigned_integer(u), Binding_Value());
  }
  row(++id, Binding_Value(), Binding_Value(), Binding_Value());
  std::vector<std::string> want;
  for (unsigned long long u : kUnsigned) {
    want.push_back("uint " + std::to_string(want.size()) + " u " + std::to_string(u));
  }
  want.push_back("null " + std::to_string(want.size()) + " u");
  EXPECT_EQ(want, read("u"));
}

TEST_P(Typed_Columns_Test, UnsignedParameterFindsItsRow) {
  long long id = 0;
  for (unsigned long long u : kUnsigned) {
    row(++id, Binding_Value(), Binding_Value::unsigned_integer(u), Binding_Value());
  }
  id = 0;
  for (unsigned long long u : kUnsigned) {
    ++id;
    Select_SQL sql("tc", nullptr);
    sql.select("id").where("u=:u", false).bind(":u", Binding_Value::unsigned_integer(u));
    Event_Printer p;
    ASSERT_TRUE(db().query(sql, p, Connection::QM_COLUMN, nullptr, 0)) << db().last_error();
    EXPECT_EQ((std::vector<std::string>{"int 0 id " + std::to_string(id)}), p.events) << u;
  }
}

TEST_P(Typed_Columns_Test, UnsignedValuesComeOutOfTheValuePrinterUnsigned) {
  row(1, Binding_Value(true), Binding_Value::unsigned_integer(18446744073709551615ULL), Binding_Value(-1LL));
  Select_SQL sql("tc", nullptr);
  sql.select("f,u,n");
  json_spirit::Array rows;
  ASSERT_TRUE(db().query_rows(sql, rows)) << db().last_error();
  ASSERT_EQ(1u, rows.size());
  EXPECT_EQ("{\"f\":true,\"n\":-1,\"u\":18446744073709551615}", JSON_Dump(rows[0]));
  EXPECT_TRUE(rows[0].get_obj().at("u").is_uint64());
}

TEST_P(Typed_Columns_Test, BooleanReadsTheSameAlongsideAnUnsignedColumn) {
  // On PostgreSQL numeric forces the text form of the whole result, so the
  // booleans here come through the other decoding path.
  row(1, Binding_Value(true), Binding_Value::unsigned_integer(7), Binding_Value());
  row(2, Binding_Value(false), Binding_Value::unsigned_integer(9223372036854775808ULL), Binding_Value());
  EXPECT_EQ((std::vector<std::string>{"start_map 0 ", "bool 0 f true", "uint 1 u 7", "end_map", "start_map 1 ",
                                       "bool 0 f false", "uint 1 u 9223372036854775808", "end_map"}),
            read("f,u", nullptr, Connection::QM_ROWS));
}

TEST_P(Typed_Columns_Test, IntegerHooksSeeBooleansAsZeroOrOneAndUnsignedCast) {
  row(1, Binding_Value(true), Binding_Value::unsigned_integer(18446744073709551615ULL), Binding_Value());
  row(2, Binding_Value(false), Binding_Value::unsigned_integer(9223372036854775808ULL), Binding_Value());
  Integer_Hooks h;
  auto e = read("f,u", &h, Connection::QM_FLAT);
  EXPECT_EQ((std::vector<std::string>{"skip f 1", "handle f 1", "skip u -1", "handle u -1", "skip f 0", "handle f 0",
                                       "skip u " + std::to_string(LLONG_MIN), "handle u " + std::to_string(LLONG_MIN)}),
            h.calls);
  EXPECT_EQ((std::vector<std::string>{"bool 0 f true", "uint 1 u 18446744073709551615", "bool 0 f false",
                                       "uint 1 u 9223372036854775808"}),
            e);
}

TEST_P(Typed_Columns_Test, HooksCanSkipOrClaimBooleanAndUnsignedValues) {
  row(1, Binding_Value(true), Binding_Value::unsigned_integer(4294967295ULL), Binding_Value());
  Integer_Hooks h;
  h.skip = "f";
  h.claim = "u";
  EXPECT_EQ((std::vector<std::string>{"str 0 u claimed 4294967295"}), read("f,u", &h, Connection::QM_FLAT));
}

TEST_P(Typed_Columns_Test, BooleanColumnIsBoolWhateverItsCode) {
  row(1, Binding_Value(true), Binding_Value(), Binding_Value());
  Query_Result_Handler h(nullptr, kOtherCodes, -1, -1);
  EXPECT_EQ((std::vector<std::string>{"bool 0 f true"}), read("f", &h));
}

TEST_P(Typed_Columns_Test, UnsignedColumnWithAnotherCodeStaysUnsigned) {
  row(1, Binding_Value(), Binding_Value::unsigned_integer(12), Binding_Value());
  Query_Result_Handler h(nullptr, kOtherCodes, -1, -1);
  EXPECT_EQ((std::vector<std::string>{"uint 0 u 12"}), read("u", &h));
}

TEST_P(Typed_Columns_Test, UnsignedColumnCodedBooleanArrivesAsBool) {
  row(1, Binding_Value(), Binding_Value::unsigned_integer(0), Binding_Value());
  row(2, Binding_Value(), Binding_Value::unsigned_integer(18446744073709551615ULL), Binding_Value());
  Query_Result_Handler h(nullptr, kBoolCodes, -1, -1);
  EXPECT_EQ((std::vector<std::string>{"bool 0 u false", "bool 1 u true"}), read("u", &h));
}

TEST_P(Typed_Columns_Test, IntegerColumnCodedBooleanStillArrivesAsBool) {
  row(1, Binding_Value(), Binding_Value(), Binding_Value(0LL));
  row(2, Binding_Value(), Binding_Value(), Binding_Value(5LL));
  row(3, Binding_Value(), Binding_Value(), Binding_Value());
  Query_Result_Handler h(nullptr, kBoolCodes, -1, -1);
  EXPECT_EQ((std::vector<std::string>{"bool 0 n false", "bool 1 n true", "null 2 n"}), read("n", &h));
}

TEST_P(Typed_Columns_Test, PlainIntegerColumnsStillArriveAsInt) {
  row(1, Binding_Value(), Binding_Value::unsigned_integer(5), Binding_Value(LLONG_MIN));
  row(2, Binding_Value(), Binding_Value::unsigned_integer(6), Binding_Value(1LL));
  row(3, Binding_Value(), Binding_Value::unsigned_integer(7), Binding_Value(LLONG_MAX));
  std::vector<std::string> want = {"int 0 n " + std::to_string(LLONG_MIN), "int 1 n 1",
                                   "int 2 n " + std::to_string(LLONG_MAX)};
  EXPECT_EQ(want, read("n"));
  Query_Result_Handler h(nullptr, kOtherCodes, -1, -1);
  EXPECT_EQ(want, read("n", &h));
  // Next to an unsigned column (on PostgreSQL: through the text form).
  EXPECT_EQ((std::vector<std::string>{"int 0 n " + std::to_string(LLONG_MIN), "uint 1 u 5", "int 0 n 1", "uint 1 u 6",
                                       "int 0 n " + std::to_string(LLONG_MAX), "uint 1 u 7"}),
            read("n,u", nullptr, Connection::QM_FLAT));
}

ENGINE_SUITE(Typed_Columns_Test);

TEST(PGTypedColumns, OnlyNumericTwentyZeroIsUnsigned) {
  std::string error;
  PG_Cluster* cluster = PG_Cluster::shared(&error);
  ASSERT_NE(nullptr, cluster) << error;
  database::sql::PG_Connection db(cluster->conninfo());
  ASSERT_TRUE(db.is_open()) << db.last_error();
  Event_Printer p;
  ASSERT_TRUE(db.query(SQL("SELECT 12::numeric(20,0) AS a, 12::numeric(19,0) AS b, 12::numeric AS c, "
                           "12::numeric(21,0) AS d, 1.5::numeric(20,1) AS e, (-3)::numeric(20,0) AS f"),
                       p, Connection::QM_FLAT, nullptr, 0))
      << db.last_error();
  EXPECT_EQ((std::vector<std::string>{"uint 0 a 12", "int 1 b 12", "int 2 c 12", "int 3 d 12", "double 4 e 1.500000",
                                       "int 5 f -3"}),
            p.events);
}

TEST(SQLiteTypedColumns, DeclaredTypesAreMatchedWithoutCaseOrSpacing) {
  database::sql::SQLite_Connection db(":memory:");
  ASSERT_TRUE(db.is_open()) << db.last_error();
  ASSERT_TRUE(db.execute(
      SQL("CREATE TABLE d (a boolean NOT NULL, b Unsigned  Big\tInt DEFAULT 0, c Integer, e BIGINT UNSIGNED, "
          "g BOOLEANS, h UNSIGNED BIG)")))
      << db.last_error();
  SQL ins("INSERT INTO d (a, b, c, e, g, h) VALUES (:a, :b, :c, :e, 1, 2)");
  ins.bind(":a", Binding_Value(true))
      .bind(":b", Binding_Value::unsigned_integer(18446744073709551615ULL))
      .bind(":c", Binding_Value(1LL))
      .bind(":e", Binding_Value(-1LL));
  ASSERT_TRUE(db.execute(ins)) << db.last_error();
  Event_Printer p;
  // An expression has no declared type: it reads as the integer it stores.
  ASSERT_TRUE(db.query(SQL("SELECT a, b, c, e, g, h, b + 0 AS x FROM d"), p, Connection::QM_FLAT, nullptr, 0))
      << db.last_error();
  EXPECT_EQ((std::vector<std::string>{"bool 0 a true", "uint 1 b 18446744073709551615", "int 2 c 1", "int 3 e -1",
                                       "int 4 g 1", "int 5 h 2", "int 6 x -1"}),
            p.events);
}
