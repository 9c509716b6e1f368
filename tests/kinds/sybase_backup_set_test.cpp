#include <algorithm>
#include <climits>
#include <string>

#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/sybase_backup_set.h"
#include "platform/sql/select_sql.h"
#include "tests/kinds/kind_test_support.h"
#include "tests/records/document.h"
#include "tests/support/log_capture.h"

using json_spirit::Value;

namespace {

void fill(Sybase_Backup_Set& set) {
  set.resource_name = "ASE \"prod\"";
  set.database = "master_库";
  set.dbtype = "user";
  set.last_dumptrdate = "Nov 14 2023 10:13:20:000PM";
  set.current_dumptrdate = "Nov 15 2023  1:00:00:123AM";
  set.fork_point_uuid = "0f1e2d3c-4b5a-6978-8796-a5b4c3d2e1f0";
  set.recovery_fork_guid = "tab\there";
  set.compression = "compression::level=101";
  set.piece_name = "C:\\dumps\\db.dmp";
}

}  // namespace

TEST(SybaseBackupSet, DefaultDocumentIsBaseThenSybaseKeys) {
  Sybase_Backup_Set set;
  EXPECT_EQ(base_prefix("sybase") +
                R"("resource_name":"","database":"","dbtype":"","last_dumptrdate":"",)"
                R"("current_dumptrdate":"","fork_point_uuid":"","recovery_fork_guid":"",)"
                R"("compression":"","piece_name":"","dev_size":0})",
            document_of(set));
}

TEST(SybaseBackupSet, FilledDocumentWritesEveryFieldInOrder) {
  Sybase_Backup_Set set;
  fill(set);
  set.dev_size = LLONG_MIN;
  EXPECT_EQ(base_prefix("sybase") +
                R"("resource_name":"ASE \"prod\"","database":"master_库","dbtype":"user",)"
                R"("last_dumptrdate":"Nov 14 2023 10:13:20:000PM",)"
                R"("current_dumptrdate":"Nov 15 2023  1:00:00:123AM",)"
                R"("fork_point_uuid":"0f1e2d3c-4b5a-6978-8796-a5b4c3d2e1f0",)"
                R"("recovery_fork_guid":"tab\there","compression":"compression::level=101",)"
                R"("piece_name":"C:\\dumps\\db.dmp","dev_size":-9223372036854775808})",
            document_of(set));
}

TEST(SybaseBackupSet, DeviceSizeKeepsSixtyFourBits) {
  Sybase_Backup_Set set;
  set.dev_size = LLONG_MAX;
  std::string const text = document_of(set);
  std::string const tail = R"("piece_name":"","dev_size":9223372036854775807})";
  ASSERT_GE(text.size(), tail.size());
  EXPECT_EQ(tail, text.substr(text.size() - tail.size()));
}

TEST(SybaseBackupSet, CatalogueModuleIsSybase) {
  expect_catalogue_module<Sybase_Backup_Set>("sybase");
}

TEST(SybaseBackupSet, KindIsRegistered) {
  expect_listed_in_registry<Sybase_Backup_Set>();
  EXPECT_EQ(&Sybase_Backup_Set::kind(), Backup_Set_Kinds::find("sybase"));
}

TEST(SybaseBackupSet, HasNoStatementOfItsOwn) {
  // The name resolves to the base's static member: there is no other.
  void (*own)(Select_SQL&, char const*) = &Sybase_Backup_Set::init_select_sql;
  void (*base)(Select_SQL&, char const*) = &Backup_Set::init_select_sql;
  EXPECT_EQ(base, own);
  EXPECT_EQ(Backup_Set_Kind::NONE, Sybase_Backup_Set::kind().selection());
  EXPECT_TRUE(Sybase_Backup_Set::kind().columns().empty());

  Select_SQL sql("backup_set", "b");
  Sybase_Backup_Set::kind().init_select_sql(sql, "b");
  EXPECT_TRUE(own_columns(sql).empty());
  EXPECT_TRUE(sql.joins().empty());
}

TEST(SybaseBackupSet, OwnKeysAreNotTakenFromRows) {
  Sybase_Backup_Set set;
  database::sql::Query_Result_Printer& p = set;
  std::string const before = document_of(set);
  EXPECT_TRUE(cstr(p, "database", "pubs2"));
  EXPECT_TRUE(cstr(p, "compression", "1"));
  EXPECT_TRUE(cstr(p, "piece_name", "db.dmp"));
  EXPECT_TRUE(p.print_int(0, "dev_size", 77));
  EXPECT_EQ(before, document_of(set));
}

TEST(SybaseBackupSet, RowsFillTheBaseFields) {
  Sybase_Backup_Set set;
  database::sql::Query_Result_Printer& p = set;
  EXPECT_TRUE(cstr(p, "name", "full"));
  EXPECT_TRUE(cstr(p, "uuid", "u-3"));
  EXPECT_TRUE(p.print_int(0, "size", 1024));
  EXPECT_EQ("full", set.name);
  EXPECT_EQ("u-3", set.uuid);
  EXPECT_EQ(1024, set.size);
  EXPECT_EQ("", set.database);
}

TEST(SybaseBackupSet, NullOrEmptyKeyIsRefusedByTheBase) {
  Log_Capture capture;
  Sybase_Backup_Set set;
  EXPECT_FALSE(set.print_cstr(0, nullptr, "x", 1));
  EXPECT_FALSE(set.print_cstr(0, "", "x", 1));
  EXPECT_FALSE(set.print_int(0, "", 1));
  expect_key_refusals(capture, 3, nullptr);
}

TEST(SybaseBackupSet, UriFormatPutsStreamNumberBeforeTheExtension) {
  EXPECT_EQ("db_%d.dmp", Sybase_Backup_Set::multi_channels_uri_format("db.dmp"));
}

TEST(SybaseBackupSet, UriFormatUsesTheLastPoint) {
  EXPECT_EQ("a.b_%d.c", Sybase_Backup_Set::multi_channels_uri_format("a.b.c"));
}

TEST(SybaseBackupSet, UriFormatWithoutPointAppends) {
  EXPECT_EQ("dump_%d", Sybase_Backup_Set::multi_channels_uri_format("dump"));
}

TEST(SybaseBackupSet, UriFormatOfEmptyNameIsThePatternAlone) {
  EXPECT_EQ("_%d", Sybase_Backup_Set::multi_channels_uri_format(""));
}

TEST(SybaseBackupSet, UriFormatOfNameEndingInPointGoesBeforeThePoint) {
  EXPECT_EQ("x_%d.", Sybase_Backup_Set::multi_channels_uri_format("x."));
}

TEST(SybaseBackupSet, UriFormatLooksAtTheWholePathForTheLastPoint) {
  EXPECT_EQ("/dumps/v1.2/db_%d.dmp", Sybase_Backup_Set::multi_channels_uri_format("/dumps/v1.2/db.dmp"));
  // A file name without a point in a directory with one: the last point is
  // the directory's.
  EXPECT_EQ("/dumps/v1_%d.2/db", Sybase_Backup_Set::multi_channels_uri_format("/dumps/v1.2/db"));
}
