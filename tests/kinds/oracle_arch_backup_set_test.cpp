#include <algorithm>
#include <climits>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/oracle_arch_backup_set.h"
#include "platform/sql/select_sql.h"
#include "tests/kinds/kind_test_support.h"
#include "tests/records/document.h"
#include "tests/support/log_capture.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

char const DEFAULT_KEYS[] =
    R"("thread":1,"sequence":0,"reset_scn":0,"reset_time":"1970-01-01 00:00:00","next_scn":0,)"
    R"("next_time":"1970-01-01 00:00:00","timezone_offset":0,"archived":false})";

struct Unsigned_Key {
  char const* key;
  unsigned long long Oracle_Arch_Backup_Set::*field;
};

Unsigned_Key const UNSIGNED_KEYS[] = {
    {"thread", &Oracle_Arch_Backup_Set::thread},
    {"sequence", &Oracle_Arch_Backup_Set::sequence},
    {"reset_scn", &Oracle_Arch_Backup_Set::reset_scn},
    {"next_scn", &Oracle_Arch_Backup_Set::next_scn},
};

// The kind's columns in statement order: the flag before the offset.
Columns const OWN_COLUMNS = {
    {"o.thread", "thread"},       {"o.sequence", "sequence"},   {"o.reset_scn", "reset_scn"},
    {"o.reset_time", "reset_time"}, {"o.next_scn", "next_scn"}, {"o.next_time", "next_time"},
    {"o.archived", "archived"},   {"o.timezone_offset", "timezone_offset"},
};

// Whether a refusal record came from the base record's file rather than the
// kind's: the kind's file name ends with the base's.
bool logged_by_base(Log_Capture const& capture) {
  auto const records = capture.records();
  if (records.empty()) return false;
  for (auto const& record : records)
    if (record.text.find("oracle_arch_backup_set.cpp") != std::string::npos) return false;
  return true;
}

}  // namespace

// ---- document -------------------------------------------------------------

TEST(OracleArchBackupSet, DefaultDocumentIsBaseThenOwnKeys) {
  expect_default_document<Oracle_Arch_Backup_Set>("oracle_arch", DEFAULT_KEYS);
}

TEST(OracleArchBackupSet, NewSetWritesThreadOneAndSequenceZero) {
  Oracle_Arch_Backup_Set set;
  EXPECT_EQ(1u, set.thread);
  EXPECT_EQ(0u, set.sequence);
  EXPECT_EQ(0u, own_keys(set, "oracle_arch").find(R"("thread":1,"sequence":0,)"));
}

TEST(OracleArchBackupSet, FilledDocumentHasEveryKeyInOrder) {
  Oracle_Arch_Backup_Set set;
  set.thread = 2;
  set.sequence = 4294967296ULL;
  set.reset_scn = 18446744073709551615ULL;
  set.reset_time = 946684800;  // 2000-01-01 00:00:00
  set.next_scn = 9223372036854775808ULL;
  set.next_time = 1700000000;  // 2023-11-14 22:13:20
  set.timezone_offset = -28800;
  set.archived = true;
  Generated doc = generate_text(set);
  EXPECT_TRUE(doc.ok);
  EXPECT_EQ(base_prefix("oracle_arch") +
                R"("thread":2,"sequence":4294967296,"reset_scn":18446744073709551615,)"
                R"("reset_time":"2000-01-01 00:00:00","next_scn":9223372036854775808,)"
                R"("next_time":"2023-11-14 22:13:20","timezone_offset":-28800,"archived":true})",
            doc.text);
}

TEST(OracleArchBackupSet, TimezoneOffsetKeepsTheFullSignedRange) {
  Oracle_Arch_Backup_Set set;
  set.timezone_offset = LLONG_MIN;
  EXPECT_NE(std::string::npos, own_keys(set, "oracle_arch").find(R"("timezone_offset":-9223372036854775808,)"));
}

// ---- print_cstr -----------------------------------------------------------

TEST(OracleArchBackupSet, TimeColumnsAreReadFromIsoText) {
  Oracle_Arch_Backup_Set set;
  EXPECT_TRUE(cstr(set, "reset_time", "2000-01-01 00:00:00"));
  EXPECT_TRUE(cstr(set, "next_time", "2023-11-14T22:13:20+08:00"));
  EXPECT_EQ(946684800, set.reset_time);
  EXPECT_EQ(1700000000 - 8 * 3600, set.next_time);
  std::string const keys = own_keys(set, "oracle_arch");
  EXPECT_NE(std::string::npos, keys.find(R"("reset_time":"2000-01-01 00:00:00",)")) << keys;
  EXPECT_NE(std::string::npos, keys.find(R"("next_time":"2023-11-14 14:13:20",)")) << keys;
}

TEST(OracleArchBackupSet, TimeTextIsReadOnlyUpToItsLength) {
  Oracle_Arch_Backup_Set set;
  EXPECT_TRUE(set.print_cstr(0, "next_time", "2023-11-14 22:13:20999", 19));
  EXPECT_EQ(1700000000, set.next_time);
}

TEST(OracleArchBackupSet, UnknownTextColumnGoesToTheBase) {
  Oracle_Arch_Backup_Set set;
  EXPECT_TRUE(cstr(set, "name", "arch"));
  EXPECT_TRUE(cstr(set, "uuid", "u-1"));
  EXPECT_TRUE(cstr(set, "backup_end_time", "2023-11-14 22:13:20"));
  EXPECT_EQ("arch", set.name);
  EXPECT_EQ("u-1", set.uuid);
  EXPECT_EQ(1700000000, set.backup_end_time);
  EXPECT_EQ(0, set.next_time);
}

TEST(OracleArchBackupSet, NumberKeysGivenAsTextAreNotTaken) {
  Oracle_Arch_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(cstr(set, "thread", "3"));
  EXPECT_TRUE(cstr(set, "sequence", "4"));
  EXPECT_TRUE(cstr(set, "timezone_offset", "5"));
  EXPECT_TRUE(cstr(set, "archived", "true"));
  EXPECT_EQ(before, document_of(set));
}

// ---- print_int ------------------------------------------------------------

TEST(OracleArchBackupSet, TimezoneOffsetIsTakenByPrintInt) {
  Oracle_Arch_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "timezone_offset", 19800));
  EXPECT_EQ(19800, set.timezone_offset);
  EXPECT_TRUE(set.print_int(0, "timezone_offset", LLONG_MIN));
  EXPECT_EQ(LLONG_MIN, set.timezone_offset);
}

TEST(OracleArchBackupSet, UnknownIntegerColumnGoesToTheBase) {
  Oracle_Arch_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "size", 512));
  EXPECT_TRUE(set.print_int(0, "last_scn", 77));
  EXPECT_EQ(512, set.size);
  EXPECT_EQ(77, set.last_scn);
}

TEST(OracleArchBackupSet, UnsignedAndFlagKeysAreNotTakenByPrintInt) {
  Oracle_Arch_Backup_Set set;
  std::string const before = document_of(set);
  for (Unsigned_Key const& k : UNSIGNED_KEYS) EXPECT_TRUE(set.print_int(0, k.key, 5)) << k.key;
  EXPECT_TRUE(set.print_int(0, "archived", 1));
  EXPECT_EQ(before, document_of(set));
}

// ---- print_uint -----------------------------------------------------------

TEST(OracleArchBackupSet, UnsignedColumnsAreTakenByPrintUint) {
  Oracle_Arch_Backup_Set set;
  EXPECT_TRUE(set.print_uint(0, "thread", 3));
  EXPECT_TRUE(set.print_uint(0, "sequence", 4294967296ULL));
  EXPECT_TRUE(set.print_uint(0, "reset_scn", 18446744073709551615ULL));
  EXPECT_TRUE(set.print_uint(0, "next_scn", 9223372036854775808ULL));
  EXPECT_EQ(3u, set.thread);
  EXPECT_EQ(4294967296ULL, set.sequence);
  EXPECT_EQ(18446744073709551615ULL, set.reset_scn);
  EXPECT_EQ(9223372036854775808ULL, set.next_scn);
  EXPECT_EQ(0u, own_keys(set, "oracle_arch")
                    .find(R"("thread":3,"sequence":4294967296,"reset_scn":18446744073709551615,)"));
}

TEST(OracleArchBackupSet, UnknownUnsignedColumnIsAcceptedAndIgnored) {
  Oracle_Arch_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_uint(0, "size", 7));
  EXPECT_TRUE(set.print_uint(0, "first_scn", 7));
  EXPECT_TRUE(set.print_uint(0, "timezone_offset", 7));
  EXPECT_EQ(0, set.size);
  EXPECT_EQ(0, set.first_scn);
  EXPECT_EQ(0, set.timezone_offset);
  EXPECT_EQ(before, document_of(set));
}

// ---- print_bool -----------------------------------------------------------

TEST(OracleArchBackupSet, ArchivedIsTakenByPrintBool) {
  Oracle_Arch_Backup_Set set;
  EXPECT_TRUE(set.print_bool(0, "archived", true));
  EXPECT_TRUE(set.archived);
  EXPECT_NE(std::string::npos, own_keys(set, "oracle_arch").find(R"("archived":true})"));
  EXPECT_TRUE(set.print_bool(0, "archived", false));
  EXPECT_FALSE(set.archived);
}

TEST(OracleArchBackupSet, UnknownFlagColumnIsAcceptedAndIgnored) {
  Oracle_Arch_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_bool(0, "size", true));
  EXPECT_TRUE(set.print_bool(0, "archivelog", true));
  EXPECT_TRUE(set.print_bool(0, "Archived", true));
  EXPECT_TRUE(set.print_bool(0, "thread", false));
  EXPECT_EQ(0, set.size);
  EXPECT_FALSE(set.archived);
  EXPECT_EQ(1u, set.thread);
  EXPECT_EQ(before, document_of(set));
}

// ---- print_json (the base's) ----------------------------------------------

TEST(OracleArchBackupSet, BaseJsonColumnsAreFilled) {
  Oracle_Arch_Backup_Set set;
  Object const obj{{"k", Value("v")}};
  EXPECT_TRUE(set.print_json(0, "extended_attrs", Value(obj)));
  EXPECT_TRUE(set.print_json(0, "resource_tree", Value(obj)));
  EXPECT_TRUE(set.print_json(0, "uname", Value(obj)));
  EXPECT_TRUE(set.print_json(0, "lsb", Value(obj)));
  EXPECT_EQ(obj, set.extended_attrs);
  EXPECT_EQ(obj, set.resource_tree);
  EXPECT_EQ(obj, set.uname);
  EXPECT_EQ(obj, set.lsb);
}

// ---- guards ---------------------------------------------------------------

TEST(OracleArchBackupSet, NullOrEmptyKeyIsRefusedAndLoggedByItsOwnOperations) {
  Log_Capture capture;
  Oracle_Arch_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_FALSE(set.print_cstr(0, nullptr, "x", 1));
  EXPECT_FALSE(set.print_cstr(0, "", "x", 1));
  EXPECT_FALSE(set.print_int(0, nullptr, 1));
  EXPECT_FALSE(set.print_int(0, "", 1));
  EXPECT_FALSE(set.print_uint(0, nullptr, 1));
  EXPECT_FALSE(set.print_uint(0, "", 1));
  EXPECT_FALSE(set.print_bool(0, nullptr, true));
  EXPECT_FALSE(set.print_bool(0, "", true));
  expect_key_refusals(capture, 8, "oracle_arch_backup_set.cpp");
  EXPECT_EQ(before, document_of(set));
}

TEST(OracleArchBackupSet, NullOrEmptyKeyOfJsonColumnIsRefusedByTheBase) {
  Log_Capture capture;
  Oracle_Arch_Backup_Set set;
  EXPECT_FALSE(set.print_json(0, nullptr, Value(Object())));
  EXPECT_FALSE(set.print_json(0, "", Value(Object())));
  expect_key_refusals(capture, 2, "backup_set.cpp");
  EXPECT_TRUE(logged_by_base(capture)) << capture.dump();
}

TEST(OracleArchBackupSet, ValuesInsideOpenMapOrArrayAreIgnored) {
  Oracle_Arch_Backup_Set set;
  database::sql::Query_Result_Printer& printer = set;
  printer.start_map(0, "extended_attrs");
  EXPECT_TRUE(printer.print_cstr(0, "reset_time", "2023-11-14 22:13:20", 19));
  EXPECT_TRUE(printer.print_int(1, "timezone_offset", 7));
  EXPECT_TRUE(printer.print_uint(2, "thread", 8));
  EXPECT_TRUE(printer.print_bool(3, "archived", true));
  printer.start_array(4, "list");
  EXPECT_TRUE(printer.print_uint(0, "sequence", 9));
  EXPECT_TRUE(printer.print_json(1, "lsb", Value(Object{{"a", Value(1)}})));
  printer.end_array();
  printer.end_map();
  EXPECT_EQ(base_prefix("oracle_arch") + DEFAULT_KEYS, document_of(set));
  EXPECT_TRUE(printer.print_uint(2, "thread", 8));
  EXPECT_EQ(8u, set.thread);
}

TEST(OracleArchBackupSet, OverridesAreReachedThroughThePrinterBase) {
  Oracle_Arch_Backup_Set set;
  database::sql::Query_Result_Printer& printer = set;
  EXPECT_TRUE(printer.print_cstr(0, "next_time", "2023-11-14 22:13:20", 19));
  EXPECT_TRUE(printer.print_int(1, "timezone_offset", -3600));
  EXPECT_TRUE(printer.print_uint(2, "sequence", 42));
  EXPECT_TRUE(printer.print_bool(3, "archived", true));
  EXPECT_EQ(1700000000, set.next_time);
  EXPECT_EQ(-3600, set.timezone_offset);
  EXPECT_EQ(42u, set.sequence);
  EXPECT_TRUE(set.archived);
  Log_Capture capture;
  EXPECT_FALSE(printer.print_bool(0, "", true));
  EXPECT_FALSE(printer.print_uint(0, nullptr, 1));
  expect_key_refusals(capture, 2, "oracle_arch_backup_set.cpp");
}

TEST(OracleArchBackupSet, RowTakenThroughIntakeIsWrittenBack) {
  Oracle_Arch_Backup_Set set;
  EXPECT_TRUE(set.print_uint(0, "thread", 2));
  EXPECT_TRUE(set.print_uint(0, "sequence", 117));
  EXPECT_TRUE(set.print_uint(0, "reset_scn", 1));
  EXPECT_TRUE(cstr(set, "reset_time", "2000-01-01 00:00:00"));
  EXPECT_TRUE(set.print_uint(0, "next_scn", 18446744073709551615ULL));
  EXPECT_TRUE(cstr(set, "next_time", "2023-11-14 22:13:20"));
  EXPECT_TRUE(set.print_bool(0, "archived", true));
  EXPECT_TRUE(set.print_int(0, "timezone_offset", 28800));
  EXPECT_EQ(base_prefix("oracle_arch") +
                R"("thread":2,"sequence":117,"reset_scn":1,"reset_time":"2000-01-01 00:00:00",)"
                R"("next_scn":18446744073709551615,"next_time":"2023-11-14 22:13:20","timezone_offset":28800,)"
                R"("archived":true})",
            document_of(set));
}

// ---- statement ------------------------------------------------------------

TEST(OracleArchBackupSet, StatementAddsEightColumnsThenTheJoin) {
  expect_statement_joins_its_table<Oracle_Arch_Backup_Set>(OWN_COLUMNS, "oracle_arch_backup_set", "o");
  EXPECT_EQ(Backup_Set_Kind::JOIN, Oracle_Arch_Backup_Set::kind().selection());
}

TEST(OracleArchBackupSet, StatementKeepsItsOwnAliasWhateverTheBaseAlias) {
  expect_statement_keeps_its_alias<Oracle_Arch_Backup_Set>(8, {"o.thread", "thread"}, "o");
  Select_SQL sql("x", "y");
  Oracle_Arch_Backup_Set::init_select_sql(sql, "bs");
  EXPECT_EQ(OWN_COLUMNS, own_columns(sql));
  ASSERT_EQ(1u, sql.joins().size());
  EXPECT_EQ("oracle_arch_backup_set", sql.joins()[0].table);
  EXPECT_EQ("o", sql.joins()[0].alias);
}

// ---- kind -----------------------------------------------------------------

TEST(OracleArchBackupSet, CatalogueModuleIsOracleArch) {
  expect_catalogue_module<Oracle_Arch_Backup_Set>("oracle_arch");
  EXPECT_STREQ("Oracle_Arch_Backup_Set", Oracle_Arch_Backup_Set::kind().class_name());
  EXPECT_STREQ("oracle_arch_backup_set", Oracle_Arch_Backup_Set::kind().table());
  EXPECT_STREQ("o", Oracle_Arch_Backup_Set::kind().alias());
}

TEST(OracleArchBackupSet, KindIsListedInTheRegistry) {
  expect_listed_in_registry<Oracle_Arch_Backup_Set>();
  EXPECT_EQ(&Oracle_Arch_Backup_Set::kind(), Backup_Set_Kinds::find("oracle_arch"));
}
