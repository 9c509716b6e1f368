#include <algorithm>
#include <climits>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/informix_backup_set.h"
#include "platform/sql/select_sql.h"
#include "platform/time/iso8601.h"
#include "tests/kinds/kind_test_support.h"
#include "tests/records/document.h"
#include "tests/support/log_capture.h"

using json_spirit::Object;
using json_spirit::Value;

namespace {

// 2023-11-14 22:13:20 UTC.
long long const T = 1700000000LL;
// 253402271999 is 9999-12-31 23:59:59 eight hours east of UTC.
char const NEVER_TEXT[] = "9999-12-31 15:59:59";

}  // namespace

TEST(InformixBackupSet, FreshSetIsNeverSealedAndWritesThatTime) {
  Informix_Backup_Set set;
  EXPECT_EQ(253402271999LL, set.pre_seal_time);
  EXPECT_EQ(base_prefix("informix") + R"("pre_seal_time":")" + NEVER_TEXT + R"("})", document_of(set));
}

TEST(InformixBackupSet, FilledDocumentWritesTheSealTimeAsText) {
  Informix_Backup_Set set;
  set.pre_seal_time = T;
  EXPECT_EQ(base_prefix("informix") + R"("pre_seal_time":"2023-11-14 22:13:20"})", document_of(set));
}

TEST(InformixBackupSet, SealTimeBeforeTheEpochIsWrittenAsText) {
  Informix_Backup_Set set;
  set.pre_seal_time = -86400;
  EXPECT_EQ(base_prefix("informix") + R"("pre_seal_time":"1969-12-31 00:00:00"})", document_of(set));
}

TEST(InformixBackupSet, SealTimeKeepsSixtyFourBits) {
  Informix_Backup_Set set;
  set.pre_seal_time = LLONG_MAX;
  EXPECT_EQ(LLONG_MAX, set.pre_seal_time);
  set.pre_seal_time = 4294967296LL;  // 2106-02-07 06:28:16
  EXPECT_EQ(base_prefix("informix") + R"("pre_seal_time":"2106-02-07 06:28:16"})", document_of(set));
}

TEST(InformixBackupSet, CatalogueModuleIsInformix) {
  expect_catalogue_module<Informix_Backup_Set>("informix");
}

TEST(InformixBackupSet, KindIsRegistered) {
  expect_listed_in_registry<Informix_Backup_Set>();
  EXPECT_EQ(&Informix_Backup_Set::kind(), Backup_Set_Kinds::find("informix"));
}

TEST(InformixBackupSet, StatementAddsTheSealTimeAndJoinsTheInformixTable) {
  Select_SQL base("backup_set", "b");
  Backup_Set::init_select_sql(base, "b");
  Select_SQL sql("backup_set", "b");
  Informix_Backup_Set::init_select_sql(sql, "b");

  ASSERT_EQ(base.columns().size() + 1, sql.columns().size());
  EXPECT_TRUE(std::equal(base.columns().begin(), base.columns().end(), sql.columns().begin()));
  EXPECT_EQ((Columns{{"ifx.pre_seal_time", "pre_seal_time"}}), own_columns(sql));
  ASSERT_EQ(1u, sql.joins().size());
  EXPECT_EQ("informix_backup_set", sql.joins()[0].table);
  EXPECT_EQ("ifx", sql.joins()[0].alias);
  EXPECT_EQ("uuid=ifx.set_uuid", sql.joins()[0].condition);
  EXPECT_FALSE(sql.inner(0));
}

TEST(InformixBackupSet, SealTimeTextIsParsedWhole) {
  Informix_Backup_Set set;
  // Nineteen characters, no terminator counted: the last digit matters.
  EXPECT_TRUE(set.print_cstr(0, "pre_seal_time", "2023-11-14 22:13:29", 19));
  EXPECT_EQ(T + 9, set.pre_seal_time);
  EXPECT_EQ(base_prefix("informix") + R"("pre_seal_time":"2023-11-14 22:13:29"})", document_of(set));
}

TEST(InformixBackupSet, SealTimeOfFortyCharactersIsCutToThirtyOne) {
  // A valid time, then a fraction and a zone that complete exactly at the
  // 31st character, then characters that spoil the text.
  std::string const text = "2023-11-14 22:13:20.12345+05:00Zgarbage!";
  ASSERT_EQ(40u, text.size());
  std::string const cut = text.substr(0, 31);
  long long seconds = 0;
  ASSERT_TRUE(iso8601_to_posix_time(cut.c_str(), seconds));
  ASSERT_EQ(T - 5 * 3600, seconds);
  long long unused = 0;
  ASSERT_FALSE(iso8601_to_posix_time(text.c_str(), unused));
  ASSERT_FALSE(iso8601_to_posix_time(text.substr(0, 30).c_str(), unused));
  ASSERT_FALSE(iso8601_to_posix_time(text.substr(0, 32).c_str(), unused));

  Informix_Backup_Set set;
  EXPECT_TRUE(set.print_cstr(0, "pre_seal_time", text.data(), text.size()));
  EXPECT_EQ(T - 5 * 3600, set.pre_seal_time);
}

TEST(InformixBackupSet, SealTimeTakesOnlyTheGivenLength) {
  Informix_Backup_Set set;
  EXPECT_TRUE(set.print_cstr(0, "pre_seal_time", "2023-11-14 22:13:20+05:00", 19));
  EXPECT_EQ(T, set.pre_seal_time);
}

TEST(InformixBackupSet, SealTimeTextShorterThanItsLengthStopsAtItsEnd) {
  Informix_Backup_Set set;
  char const text[] = "2023-11-14 22:13:20\0+05:00";
  EXPECT_TRUE(set.print_cstr(0, "pre_seal_time", text, sizeof text - 1));
  EXPECT_EQ(T, set.pre_seal_time);
}

TEST(InformixBackupSet, UnparsableSealTimeIsNotReported) {
  Log_Capture capture;
  Informix_Backup_Set set;
  set.pre_seal_time = 5;
  EXPECT_TRUE(cstr(set, "pre_seal_time", "tomorrow"));
  EXPECT_EQ(5, set.pre_seal_time);
  EXPECT_TRUE(cstr(set, "pre_seal_time", ""));
  EXPECT_EQ(5, set.pre_seal_time);
  EXPECT_EQ(0u, capture.size()) << capture.dump();
}

TEST(InformixBackupSet, SealTimeWithZoneIsConverted) {
  Informix_Backup_Set set;
  EXPECT_TRUE(cstr(set, "pre_seal_time", "2023-11-15T06:13:20+08:00"));
  EXPECT_EQ(T, set.pre_seal_time);
}

TEST(InformixBackupSet, OtherTextKeysReachTheBase) {
  Informix_Backup_Set set;
  EXPECT_TRUE(cstr(set, "name", "ifx-level0"));
  EXPECT_TRUE(cstr(set, "uuid", "u-9"));
  EXPECT_TRUE(cstr(set, "backup_start_time", "2023-11-14 22:13:20"));
  EXPECT_EQ("ifx-level0", set.name);
  EXPECT_EQ("u-9", set.uuid);
  EXPECT_EQ(T, set.backup_start_time);
  EXPECT_EQ(253402271999LL, set.pre_seal_time);
}

TEST(InformixBackupSet, SealTimeKeyMatchesExactly) {
  Informix_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(cstr(set, "Pre_seal_time", "2023-11-14 22:13:20"));
  EXPECT_TRUE(cstr(set, "pre_seal_time ", "2023-11-14 22:13:20"));
  EXPECT_EQ(before, document_of(set));
}

TEST(InformixBackupSet, SealTimeThroughOtherOperationsGoesToTheBase) {
  Informix_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_int(0, "pre_seal_time", T));
  EXPECT_TRUE(set.print_json(0, "pre_seal_time", Value("2023-11-14 22:13:20")));
  EXPECT_EQ(253402271999LL, set.pre_seal_time);
  EXPECT_EQ(before, document_of(set));
  EXPECT_TRUE(set.print_int(0, "size", 42));
  EXPECT_TRUE(set.print_json(0, "uname", Value(Object{{"sysname", Value("AIX")}})));
  EXPECT_EQ(42, set.size);
  EXPECT_EQ((Object{{"sysname", Value("AIX")}}), set.uname);
}

TEST(InformixBackupSet, NullOrEmptyKeyIsRefusedAndLogged) {
  Log_Capture capture;
  Informix_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_FALSE(set.print_cstr(0, nullptr, "2023-11-14 22:13:20", 19));
  EXPECT_FALSE(set.print_cstr(0, "", "2023-11-14 22:13:20", 19));
  expect_key_refusals(capture, 2, "informix_backup_set.cpp");
  capture.clear();
  EXPECT_FALSE(set.print_int(0, nullptr, 1));
  EXPECT_FALSE(set.print_int(0, "", 1));
  expect_key_refusals(capture, 2, nullptr);
  EXPECT_EQ(before, document_of(set));
}

TEST(InformixBackupSet, ValuesInsideAnOpenMapOrArrayAreIgnored) {
  Informix_Backup_Set set;
  database::sql::Query_Result_Printer& p = set;
  ASSERT_TRUE(p.start_map(0, "extra"));
  EXPECT_TRUE(cstr(p, "pre_seal_time", "2023-11-14 22:13:20"));
  EXPECT_TRUE(cstr(p, "name", "nested"));
  ASSERT_TRUE(p.end_map());
  ASSERT_TRUE(p.start_array(0, "storages"));
  EXPECT_TRUE(cstr(p, "pre_seal_time", "2023-11-14 22:13:20"));
  ASSERT_TRUE(p.end_array());
  EXPECT_EQ(253402271999LL, set.pre_seal_time);
  EXPECT_EQ("", set.name);
  EXPECT_TRUE(cstr(p, "pre_seal_time", "2023-11-14 22:13:20"));
  EXPECT_EQ(T, set.pre_seal_time);
}

TEST(InformixBackupSet, OverridesAreReachedThroughThePrinterBase) {
  Informix_Backup_Set set;
  database::sql::Query_Result_Printer& p = set;
  EXPECT_TRUE(cstr(p, "pre_seal_time", "2023-11-14 22:13:20"));
  EXPECT_TRUE(cstr(p, "host", "ifx-host"));
  EXPECT_EQ(T, set.pre_seal_time);
  EXPECT_EQ("ifx-host", set.host);
  Log_Capture capture;
  EXPECT_FALSE(p.print_cstr(0, "", "x", 1));
  expect_key_refusals(capture, 1, nullptr);
}
