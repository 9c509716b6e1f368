#include <algorithm>
#include <climits>
#include <string>

#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/mssql_backup_set.h"
#include "backup/backup_set/common/mssql_sets_result_handler.h"
#include "platform/sql/select_sql.h"
#include "tests/kinds/kind_test_support.h"
#include "tests/records/document.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

char const DEFAULT_KEYS[] =
    R"("username":"","resource_name":"","database":"","database_type":"","backup_set_uuid":"",)"
    R"("first_lsn":"","last_lsn":"","checkpoint_lsn":"","database_backup_lsn":"","recovery_model":0,)"
    R"("has_bulk_logged_data":false,"first_recovery_fork_guid":"","last_recovery_fork_guid":"",)"
    R"("fork_point_lsn":"","database_guid":"","differential_base_lsn":"","differential_base_guid":"",)"
    R"("backup_type":"","compression":"","merged":false,"vss_backupstamp":"","stage_id":"","snapshot_id":"",)"
    R"("vss_group":0,"channels":1,"piece_name":"","pool_retention":0,"pool_url":"","file_list":[]})";

}  // namespace

TEST(MSSQLBackupSet, DefaultDocumentIsBaseKeysThenEveryOwnKey) {
  expect_default_document<MSSQL_Backup_Set>("", DEFAULT_KEYS);
}

TEST(MSSQLBackupSet, FreshSetWritesOneChannelAndEmptyFileListLast) {
  MSSQL_Backup_Set set;
  EXPECT_EQ(1, set.channels);
  std::string const keys = own_keys(set, "");
  EXPECT_NE(std::string::npos, keys.find(R"("channels":1,)")) << keys;
  EXPECT_NE(std::string::npos, keys.find(R"("recovery_model":0,)")) << keys;
  EXPECT_NE(std::string::npos, keys.find(R"("merged":false,)")) << keys;
  EXPECT_NE(std::string::npos, keys.find(R"("has_bulk_logged_data":false,)")) << keys;
  std::string const last = R"(,"file_list":[]})";
  ASSERT_GE(keys.size(), last.size());
  EXPECT_EQ(last, keys.substr(keys.size() - last.size()));
  // Written once, and last.
  EXPECT_EQ(keys.size() - last.size() + 1, keys.find("\"file_list\""));
}

TEST(MSSQLBackupSet, FilledDocumentKeepsWidthsAndKeyOrder) {
  MSSQL_Backup_Set set;
  set.username = "sa";
  set.resource_name = "SQL01\\MSSQLSERVER";
  set.database = "Sales \"EU\"";
  set.database_type = "user";
  set.file_list = Array{Value(Object{{"logical", Value("Sales")}, {"path", Value("D:\\data\\sales.mdf")}}),
                        Value("sales_log.ldf"), Value(3), Value(), Value(false)};
  set.backup_set_uuid = "bs-1";
  set.first_lsn = "37000000012300001";
  set.last_lsn = "37000000045600001";
  set.checkpoint_lsn = "37000000012300037";
  set.database_backup_lsn = "36000000000100037";
  set.recovery_model = INT_MIN;
  set.has_bulk_logged_data = true;
  set.first_recovery_fork_guid = "{A1}";
  set.last_recovery_fork_guid = "{A2}";
  set.fork_point_lsn = "0";
  set.database_guid = "{D1}";
  set.differential_base_lsn = "1";
  set.differential_base_guid = "{B1}";
  set.backup_type = "\xe5\xb7\xae\xe5\xbc\x82";
  set.compression = "on";
  set.merged = true;
  set.vss_backupstamp = "stamp";
  set.stage_id = "stage";
  set.snapshot_id = "snap";
  set.vss_group = INT_MAX;
  set.channels = -1;
  set.piece_name = "piece";
  set.pool_retention = INT_MIN;
  set.pool_url = "http://pool/a?b=c&d";
  Generated doc = generate_text(set);
  EXPECT_TRUE(doc.ok);
  EXPECT_EQ(base_prefix("") +
                R"("username":"sa","resource_name":"SQL01\\MSSQLSERVER","database":"Sales \"EU\"",)"
                R"("database_type":"user","backup_set_uuid":"bs-1","first_lsn":"37000000012300001",)"
                R"("last_lsn":"37000000045600001","checkpoint_lsn":"37000000012300037",)"
                R"("database_backup_lsn":"36000000000100037","recovery_model":-2147483648,)"
                R"("has_bulk_logged_data":true,"first_recovery_fork_guid":"{A1}","last_recovery_fork_guid":"{A2}",)"
                R"("fork_point_lsn":"0","database_guid":"{D1}","differential_base_lsn":"1",)"
                R"("differential_base_guid":"{B1}","backup_type":")"
                "\xe5\xb7\xae\xe5\xbc\x82"
                R"(","compression":"on","merged":true,"vss_backupstamp":"stamp","stage_id":"stage",)"
                R"("snapshot_id":"snap","vss_group":2147483647,"channels":-1,"piece_name":"piece",)"
                R"("pool_retention":-2147483648,"pool_url":"http://pool/a?b=c&d",)"
                R"("file_list":[{"logical":"Sales","path":"D:\\data\\sales.mdf"},"sales_log.ldf",3,null,false]})",
            doc.text);
}

TEST(MSSQLBackupSet, CatalogueModuleIsEmpty) {
  expect_catalogue_module<MSSQL_Backup_Set>("");
}

TEST(MSSQLBackupSet, KindIsRegistered) {
  expect_listed_in_registry<MSSQL_Backup_Set>();
}

TEST(MSSQLBackupSet, StatementIsTheBasesOwn) {
  // No statement of its own: the name resolves to the base's function.
  void (*const statement)(Select_SQL&, char const*) = &MSSQL_Backup_Set::init_select_sql;
  EXPECT_EQ(static_cast<void (*)(Select_SQL&, char const*)>(&Backup_Set::init_select_sql), statement);
  Select_SQL base("backup_set", "b");
  Backup_Set::init_select_sql(base, "b");
  Select_SQL sql("backup_set", "b");
  MSSQL_Backup_Set::init_select_sql(sql, "b");
  EXPECT_EQ(base.columns(), sql.columns());
  EXPECT_TRUE(own_columns(sql).empty());
  EXPECT_EQ(base.joins().size(), sql.joins().size());
}

TEST(MSSQLBackupSet, OwnKeysAreNotTakenFromRows) {
  MSSQL_Backup_Set set;
  database::sql::Query_Result_Printer& printer = set;
  std::string const before = document_of(set);
  EXPECT_TRUE(printer.print_cstr(0, "username", "sa", 2));
  EXPECT_TRUE(printer.print_cstr(1, "first_lsn", "1", 1));
  EXPECT_TRUE(printer.print_int(2, "channels", 4));
  EXPECT_TRUE(printer.print_int(3, "recovery_model", 2));
  EXPECT_TRUE(printer.print_bool(4, "merged", true));
  EXPECT_TRUE(printer.print_json(5, "file_list", Value(Array{Value("a.mdf")})));
  EXPECT_EQ(before, document_of(set));
  EXPECT_EQ("", set.username);
  EXPECT_EQ(1, set.channels);
  EXPECT_FALSE(set.merged);
  EXPECT_TRUE(set.file_list.empty());
}

TEST(MSSQLBackupSet, BaseColumnsAreStillTakenThroughThePrinterInterface) {
  MSSQL_Backup_Set set;
  database::sql::Query_Result_Printer& printer = set;
  EXPECT_TRUE(printer.print_cstr(0, "uuid", "u-1", 3));
  EXPECT_TRUE(printer.print_int(1, "size", 77));
  EXPECT_TRUE(printer.print_json(2, "extended_attrs", Value(Object{{"k", Value("v")}})));
  EXPECT_EQ("u-1", set.uuid);
  EXPECT_EQ(77, set.size);
  EXPECT_EQ((Object{{"k", Value("v")}}), set.extended_attrs);
}

TEST(MSSQLBackupSet, ResultHandlerIsOneSharedSetsHandler) {
  database::sql::Query_Result_Handler* first = MSSQL_Backup_Set::result_handler();
  database::sql::Query_Result_Handler* second = MSSQL_Backup_Set::result_handler();
  ASSERT_NE(nullptr, first);
  EXPECT_EQ(first, second);
  EXPECT_NE(nullptr, dynamic_cast<MSSQL_Sets_Result_Handler*>(first));
  EXPECT_NE(Backup_Set::result_handler(), first);
}

TEST(MSSQLBackupSet, GenerateDoesNotChangeTheRecord) {
  MSSQL_Backup_Set set;
  set.file_list = Array{Value("a")};
  std::string const first = document_of(set);
  EXPECT_EQ(first, document_of(set));
  EXPECT_EQ((Array{Value("a")}), set.file_list);
}
