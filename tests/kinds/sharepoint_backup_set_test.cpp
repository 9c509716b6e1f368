#include <algorithm>
#include <climits>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/sharepoint_backup_set.h"
#include "platform/sql/select_sql.h"
#include "tests/kinds/kind_test_support.h"
#include "tests/records/document.h"
#include "tests/support/log_capture.h"
#include "tests/support/set_rows_printer.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

}  // namespace

TEST(SharePointBackupSet, DefaultDocumentIsBaseThenSharePointKeys) {
  SharePoint_Backup_Set set;
  EXPECT_EQ(base_prefix("sharepoint") + R"("device_uuid":"","database":"","domain":"","backup_method":"","rev":0})",
            document_of(set));
}

TEST(SharePointBackupSet, FilledDocumentWritesEveryFieldInOrder) {
  SharePoint_Backup_Set set;
  set.device_uuid = "dev-\"1\"";
  set.database = "WSS_Content_Über";
  set.domain = "CORP\\farm";
  set.backup_method = "full";
  set.rev = LLONG_MIN;
  EXPECT_EQ(base_prefix("sharepoint") +
                R"("device_uuid":"dev-\"1\"","database":"WSS_Content_Über","domain":"CORP\\farm",)"
                R"("backup_method":"full","rev":-9223372036854775808})",
            document_of(set));
  set.rev = LLONG_MAX;
  std::string const text = document_of(set);
  std::string const tail = R"("rev":9223372036854775807})";
  EXPECT_EQ(tail, text.substr(text.size() - tail.size()));
}

TEST(SharePointBackupSet, RevisionIsSixtyFourBits) {
  static_assert(std::is_same<decltype(SharePoint_Backup_Set::rev), long long>::value, "rev is signed 64-bit");
  SharePoint_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "rev", 4294967296LL));
  EXPECT_EQ(4294967296LL, set.rev);
  EXPECT_TRUE(set.print_int(0, "rev", LLONG_MIN));
  EXPECT_EQ(LLONG_MIN, set.rev);
  EXPECT_TRUE(set.print_int(0, "rev", -1));
  EXPECT_EQ(-1, set.rev);
}

TEST(SharePointBackupSet, CatalogueModuleIsSharePoint) {
  expect_catalogue_module<SharePoint_Backup_Set>("sharepoint");
}

TEST(SharePointBackupSet, KindIsRegistered) {
  expect_listed_in_registry<SharePoint_Backup_Set>();
  EXPECT_EQ(&SharePoint_Backup_Set::kind(), Backup_Set_Kinds::find("sharepoint"));
}

TEST(SharePointBackupSet, StatementSelectsDatabaseUnderPointDatabaseAndJoinsItsTable) {
  Select_SQL base("backup_set", "b");
  Backup_Set::init_select_sql(base, "b");
  Select_SQL sql("backup_set", "b");
  SharePoint_Backup_Set::init_select_sql(sql, "b");

  ASSERT_EQ(base.columns().size() + 5, sql.columns().size());
  EXPECT_TRUE(std::equal(base.columns().begin(), base.columns().end(), sql.columns().begin()));
  EXPECT_EQ((Columns{{"s.device_uuid", "device_uuid"},
                     {"s.database", ".database"},
                     {"s.domain", "domain"},
                     {"s.backup_method", "backup_method"},
                     {"s.rev", "rev"}}),
            own_columns(sql));
  ASSERT_EQ(1u, sql.joins().size());
  EXPECT_EQ("sharepoint_backup_set", sql.joins()[0].table);
  EXPECT_EQ("s", sql.joins()[0].alias);
  EXPECT_EQ("uuid=s.set_uuid", sql.joins()[0].condition);
  EXPECT_FALSE(sql.inner(0));
}

TEST(SharePointBackupSet, TextColumnsAreStoredThroughPrintCstr) {
  SharePoint_Backup_Set set;
  EXPECT_TRUE(cstr(set, "device_uuid", "dev-1"));
  EXPECT_TRUE(cstr(set, "domain", "corp"));
  EXPECT_TRUE(cstr(set, "backup_method", "differential"));
  EXPECT_EQ("dev-1", set.device_uuid);
  EXPECT_EQ("corp", set.domain);
  EXPECT_EQ("differential", set.backup_method);
}

TEST(SharePointBackupSet, DatabaseKeyStoresTheName) {
  SharePoint_Backup_Set set;
  database::sql::Query_Result_Printer& p = set;
  EXPECT_TRUE(cstr(p, "database", "WSS_Content"));
  EXPECT_EQ("WSS_Content", set.database);
}

TEST(SharePointBackupSet, PointDatabaseKeyLeavesDatabaseAndBaseUnchanged) {
  SharePoint_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(cstr(set, ".database", "WSS_Content"));
  EXPECT_EQ("", set.database);
  EXPECT_EQ(before, document_of(set));
}

TEST(SharePointBackupSet, CatalogueRowFillsEverythingButTheDatabase) {
  // The row carries the columns under the keys the statement selects.
  Select_SQL sql("backup_set", "b");
  SharePoint_Backup_Set::init_select_sql(sql, "b");
  Columns const own = own_columns(sql);
  ASSERT_EQ(5u, own.size());

  Set_Rows_Printer<SharePoint_Backup_Set> rows;
  ASSERT_TRUE(rows.start_map(0, ""));
  ASSERT_TRUE(rows.print_cstr(0, own[0].second.c_str(), "dev-7", 5));
  ASSERT_TRUE(rows.print_cstr(1, own[1].second.c_str(), "WSS_Content", 11));
  ASSERT_TRUE(rows.print_cstr(2, own[2].second.c_str(), "corp", 4));
  ASSERT_TRUE(rows.print_cstr(3, own[3].second.c_str(), "full", 4));
  ASSERT_TRUE(rows.print_int(4, own[4].second.c_str(), 12));
  ASSERT_TRUE(rows.end_map());
  ASSERT_EQ(1u, rows.sets.size());
  SharePoint_Backup_Set& set = rows.sets.front();

  EXPECT_EQ("dev-7", set.device_uuid);
  EXPECT_EQ("", set.database);
  EXPECT_EQ("corp", set.domain);
  EXPECT_EQ("full", set.backup_method);
  EXPECT_EQ(12, set.rev);
  EXPECT_EQ(base_prefix("sharepoint") +
                R"("device_uuid":"dev-7","database":"","domain":"corp","backup_method":"full","rev":12})",
            document_of(set));
}

TEST(SharePointBackupSet, TextColumnTakesOnlyTheGivenLength) {
  SharePoint_Backup_Set set;
  EXPECT_TRUE(set.print_cstr(0, "domain", "corp.example", 4));
  EXPECT_EQ("corp", set.domain);
  EXPECT_TRUE(set.print_cstr(0, "database", "WSS_Content_1", 11));
  EXPECT_EQ("WSS_Content", set.database);
}

TEST(SharePointBackupSet, ValueOfTheWrongTypeForAnOwnKeyGoesToTheBase) {
  SharePoint_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(cstr(set, "rev", "12"));
  EXPECT_TRUE(set.print_int(0, "domain", 3));
  EXPECT_TRUE(set.print_int(0, "database", 3));
  EXPECT_TRUE(set.print_json(0, "device_uuid", Value("dev")));
  EXPECT_TRUE(set.print_json(0, "rev", Value(Array{Value(1)})));
  EXPECT_EQ(before, document_of(set));
}

TEST(SharePointBackupSet, UnknownKeysReachTheBase) {
  SharePoint_Backup_Set set;
  EXPECT_TRUE(cstr(set, "name", "farm-daily"));
  EXPECT_TRUE(cstr(set, "uuid", "u-5"));
  EXPECT_TRUE(set.print_int(0, "source_size", LLONG_MAX));
  EXPECT_TRUE(set.print_json(0, "extended_attrs", Value(Object{{"k", Value("v")}})));
  EXPECT_EQ("farm-daily", set.name);
  EXPECT_EQ("u-5", set.uuid);
  EXPECT_EQ(LLONG_MAX, set.source_size);
  EXPECT_EQ((Object{{"k", Value("v")}}), set.extended_attrs);
}

TEST(SharePointBackupSet, NullOrEmptyKeyIsRefusedAndLogged) {
  Log_Capture capture;
  SharePoint_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_FALSE(set.print_cstr(0, nullptr, "x", 1));
  EXPECT_FALSE(set.print_cstr(0, "", "x", 1));
  EXPECT_FALSE(set.print_int(0, nullptr, 1));
  EXPECT_FALSE(set.print_int(0, "", 1));
  expect_key_refusals(capture, 4, "sharepoint_backup_set.cpp");
  EXPECT_EQ(before, document_of(set));
}

TEST(SharePointBackupSet, ValuesInsideAnOpenMapOrArrayAreIgnored) {
  SharePoint_Backup_Set set;
  database::sql::Query_Result_Printer& p = set;
  std::string const before = document_of(set);
  ASSERT_TRUE(p.start_map(0, "nested"));
  EXPECT_TRUE(cstr(p, "device_uuid", "dev"));
  EXPECT_TRUE(cstr(p, "database", "db"));
  EXPECT_TRUE(p.print_int(0, "rev", 9));
  ASSERT_TRUE(p.start_array(0, "more"));
  EXPECT_TRUE(cstr(p, "domain", "corp"));
  ASSERT_TRUE(p.end_array());
  ASSERT_TRUE(p.end_map());
  EXPECT_EQ(before, document_of(set));
  EXPECT_TRUE(p.print_int(0, "rev", 9));
  EXPECT_EQ(9, set.rev);
}

TEST(SharePointBackupSet, OverridesAreReachedThroughThePrinterBase) {
  SharePoint_Backup_Set set;
  database::sql::Query_Result_Printer& p = set;
  EXPECT_TRUE(cstr(p, "backup_method", "full"));
  EXPECT_TRUE(p.print_int(0, "rev", 31));
  EXPECT_EQ("full", set.backup_method);
  EXPECT_EQ(31, set.rev);
  Log_Capture capture;
  EXPECT_FALSE(p.print_int(0, nullptr, 1));
  EXPECT_FALSE(cstr(p, "", "x"));
  expect_key_refusals(capture, 2, "sharepoint_backup_set.cpp");
}
