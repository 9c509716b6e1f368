#include <climits>
#include <string>

#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kind.h"
#include "platform/json/yajl_array_guard.h"
#include "platform/sql/select_sql.h"
#include "tests/kinds/kind_test_support.h"
#include "tests/support/log_capture.h"

using json_spirit::Array;
using json_spirit::Value;

namespace {

// A kind made for these tests: one field of every type, the write rules and
// the intake flags, so the frame's behaviour is checked apart from any real
// kind's table.
class Sample_Set : public Backup_Set {
 public:
  Sample_Set() : Backup_Set("sample") {}
  bool print_cstr(int i, char const* k, char const* v, unsigned long long n) override {
    return kind().print_cstr(*this, i, k, v, n);
  }
  bool print_int(int i, char const* k, long long v) override { return kind().print_int(*this, i, k, v); }
  bool print_json(int i, char const* k, Value const& v) override { return kind().print_json(*this, i, k, v); }
  bool print_bool(int, char const* k, bool v) override { return kind().print_bool(*this, k, v); }
  bool print_uint(int, char const* k, unsigned long long v) override { return kind().print_uint(*this, k, v); }
  bool generate_i(YAJL_Gen& g) override { return kind().generate(*this, g); }

  static void write_list(Backup_Set const& set, YAJL_Gen& g, char const* key) {
    auto const& s = static_cast<Sample_Set const&>(set);
    if (s.list.empty()) return;
    g << key;
    YAJL_Array_Guard array(g.get());
    for (auto const& item : s.list) g << item;
  }

  static Backup_Set_Kind const& kind() {
    typedef Sample_Set K;
    static Kind_Field const fields[] = {
        {"text", &K::text, Kind_Field::COLUMN},
        {"u32", &K::u32, Kind_Field::COLUMN},
        {"i32", &K::i32, Kind_Field::COLUMN | Kind_Field::OMIT_MINUS_ONE},
        {"i64", &K::i64, Kind_Field::COLUMN},
        {"u64", &K::u64, Kind_Field::COLUMN},
        {"flag", &K::flag, Kind_Field::COLUMN},
        {"int_flag", &K::int_flag, Kind_Field::COLUMN | Kind_Field::INTAKE_INT},
        Kind_Field::time("when", &K::when, Kind_Field::COLUMN | Kind_Field::OMIT_ZERO),
        {"maybe", &K::maybe, Kind_Field::OMIT_EMPTY},
        {"values", &K::values},
        Kind_Field("renamed", &K::renamed, Kind_Field::COLUMN).selected_as(".renamed"),
        {"ignored", &K::ignored, Kind_Field::COLUMN | Kind_Field::NO_INTAKE},
        Kind_Field::custom("list", json_spirit::array_type, write_list, Kind_Field::OMIT_EMPTY),
    };
    static Backup_Set_Kind const kind("Sample_Set", "sample", Backup_Set_Kind::JOIN, "sample_set", "s", fields);
    return kind;
  }

  std::string text;
  unsigned int u32 = 0;
  int i32 = -1;
  long long i64 = 0;
  unsigned long long u64 = 0;
  bool flag = false;
  bool int_flag = false;
  long long when = 0;
  std::string maybe;
  Array values;
  std::string renamed;
  std::string ignored;
  std::vector<std::string> list;
};

}  // namespace

TEST(BackupSetKind, DefaultDocumentAppliesOmissionRules) {
  Sample_Set set;
  EXPECT_EQ(base_prefix("sample") +
                R"("text":"","u32":0,"i64":0,"u64":0,"flag":false,"int_flag":false,"values":[],"renamed":"",)"
                R"("ignored":""})",
            document_of(set));
}

TEST(BackupSetKind, FilledDocumentKeepsTableOrderAndWidths) {
  Sample_Set set;
  set.text = "a\"b";
  set.u32 = 4294967295u;
  set.i32 = INT_MIN;
  set.i64 = LLONG_MIN;
  set.u64 = ULLONG_MAX;
  set.flag = true;
  set.int_flag = true;
  set.when = 1700000000;
  set.maybe = "m";
  set.values = Array{Value(1), Value("x"), Value()};
  set.renamed = "r";
  set.ignored = "i";
  set.list = {"p", "q"};
  EXPECT_EQ(base_prefix("sample") +
                R"("text":"a\"b","u32":4294967295,"i32":-2147483648,"i64":-9223372036854775808,)"
                R"("u64":18446744073709551615,"flag":true,"int_flag":true,"when":"2023-11-14 22:13:20","maybe":"m",)"
                R"("values":[1,"x",null],"renamed":"r","ignored":"i","list":["p","q"]})",
            document_of(set));
}

TEST(BackupSetKind, StatementAddsColumnsThenJoin) {
  Select_SQL sql("backup_set", "b");
  Sample_Set::kind().init_select_sql(sql, "b");
  std::vector<std::pair<std::string, std::string>> expected = {
      {"s.text", "text"},   {"s.u32", "u32"},           {"s.i32", "i32"},
      {"s.i64", "i64"},     {"s.u64", "u64"},           {"s.flag", "flag"},
      {"s.int_flag", "int_flag"}, {"s.when", "when"},   {"s.renamed", ".renamed"},
      {"s.ignored", "ignored"}};
  EXPECT_EQ(expected, own_columns(sql));
  ASSERT_EQ(1u, sql.joins().size());
  EXPECT_EQ("sample_set", sql.joins()[0].table);
  EXPECT_EQ("s", sql.joins()[0].alias);
  EXPECT_EQ("uuid=s.set_uuid", sql.joins()[0].condition);
}

TEST(BackupSetKind, IntakeByValueType) {
  Sample_Set set;
  database::sql::Query_Result_Printer& p = set;
  EXPECT_TRUE(p.print_cstr(0, "text", "abcdef", 3));
  EXPECT_TRUE(p.print_int(0, "u32", 4294967296LL + 7));
  EXPECT_TRUE(p.print_int(0, "i32", -1));
  EXPECT_TRUE(p.print_int(0, "i64", LLONG_MAX));
  EXPECT_TRUE(p.print_uint(0, "u64", ULLONG_MAX));
  EXPECT_TRUE(p.print_bool(0, "flag", true));
  EXPECT_TRUE(p.print_int(0, "int_flag", 2));
  EXPECT_TRUE(p.print_cstr(0, "when", "2023-11-14 22:13:20", 19));
  EXPECT_TRUE(p.print_json(0, "values", Value(Array{Value(5)})));
  EXPECT_EQ("abc", set.text);
  EXPECT_EQ(7u, set.u32);
  EXPECT_EQ(-1, set.i32);
  EXPECT_EQ(LLONG_MAX, set.i64);
  EXPECT_EQ(ULLONG_MAX, set.u64);
  EXPECT_TRUE(set.flag);
  EXPECT_TRUE(set.int_flag);
  EXPECT_EQ(1700000000, set.when);
  EXPECT_EQ(Array{Value(5)}, set.values);
}

TEST(BackupSetKind, WrongOperationForAKeyIsNotTaken) {
  Sample_Set set;
  EXPECT_TRUE(set.print_int(0, "flag", 1));        // a print_bool field
  EXPECT_TRUE(set.print_bool(0, "int_flag", true));  // a print_int field
  EXPECT_TRUE(set.print_cstr(0, "u32", "5", 1));
  EXPECT_TRUE(set.print_int(0, "u64", 5));
  EXPECT_TRUE(set.print_cstr(0, "ignored", "x", 1));  // selected, never taken
  EXPECT_FALSE(set.flag);
  EXPECT_FALSE(set.int_flag);
  EXPECT_EQ(0u, set.u32);
  EXPECT_EQ(0u, set.u64);
  EXPECT_EQ("", set.ignored);
}

TEST(BackupSetKind, UnknownKeysReachTheBase) {
  Sample_Set set;
  EXPECT_TRUE(set.print_cstr(0, "name", "n1", 2));
  EXPECT_TRUE(set.print_int(0, "size", 42));
  EXPECT_TRUE(set.print_json(0, "lsb", Value(json_spirit::Object{{"k", Value("v")}})));
  EXPECT_TRUE(set.print_cstr(0, ".renamed", "r", 1));
  EXPECT_EQ("n1", set.name);
  EXPECT_EQ(42, set.size);
  EXPECT_EQ(1u, set.lsb.size());
  EXPECT_EQ("", set.renamed);
}

TEST(BackupSetKind, JsonOfAnotherTypeGoesToTheBase) {
  Sample_Set set;
  json_spirit::Object attrs{{"a", Value(1)}};
  EXPECT_TRUE(set.print_json(0, "values", Value(attrs)));
  EXPECT_TRUE(set.values.empty());
  // "extended_attrs" is a base key: an object under it reaches the base.
  EXPECT_TRUE(set.print_json(0, "extended_attrs", Value(attrs)));
  EXPECT_EQ(attrs, set.extended_attrs);
}

TEST(BackupSetKind, UnknownBoolAndUintKeysAreAcceptedAndIgnored) {
  Sample_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_bool(0, "other", true));
  EXPECT_TRUE(set.print_uint(0, "other", 3));
  EXPECT_EQ(before, document_of(set));
}

TEST(BackupSetKind, NullOrEmptyKeyIsRefusedAndLogged) {
  Sample_Set set;
  Log_Capture log;
  EXPECT_FALSE(set.print_cstr(0, nullptr, "x", 1));
  EXPECT_FALSE(set.print_int(0, "", 1));
  EXPECT_FALSE(set.print_json(0, "", Value()));
  EXPECT_FALSE(set.print_bool(0, nullptr, true));
  EXPECT_FALSE(set.print_uint(0, "", 1));
  ASSERT_EQ(5u, log.records().size());
  for (auto const& r : log.records()) {
    EXPECT_EQ(LM_EMERGENCY, r.priority);
    EXPECT_NE(std::string::npos, r.text.find("key is NULL or \"\""));
  }
}

TEST(BackupSetKind, NestedValuesAreIgnored) {
  Sample_Set set;
  database::sql::Query_Result_Printer& p = set;
  p.start_array(0, "storages");
  EXPECT_TRUE(p.print_cstr(0, "text", "x", 1));
  EXPECT_TRUE(p.print_bool(0, "flag", true));
  EXPECT_TRUE(p.print_uint(0, "u64", 9));
  p.end_array();
  EXPECT_EQ("", set.text);
  EXPECT_FALSE(set.flag);
  EXPECT_EQ(0u, set.u64);
}

TEST(BackupSetKind, FieldLookupAndAlwaysWritten) {
  Backup_Set_Kind const& k = Sample_Set::kind();
  ASSERT_NE(nullptr, k.field("u64"));
  EXPECT_EQ(Kind_Field::U64, k.field("u64")->type);
  EXPECT_EQ(nullptr, k.field("nothing"));
  EXPECT_TRUE(k.field("text")->always_written());
  EXPECT_FALSE(k.field("i32")->always_written());
  EXPECT_FALSE(k.field("list")->always_written());
  EXPECT_EQ(10u, k.columns().size());
}
