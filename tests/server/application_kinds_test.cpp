// End to end: sets of every application kind committed through the
// library's two catalogue operators to catalogd on loopback, then read back
// from the catalogue with each kind's own select statement and through the
// "sets" view's "application" object.
#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <memory>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "tests/support/common_fields.h"
#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_storage.h"
#include "backup/backup_set/common/cachedb_backup_set.h"
#include "backup/backup_set/common/catalog_operator.h"
#include "backup/backup_set/common/db2_backup_set.h"
#include "backup/backup_set/common/dmdb_backup_set.h"
#include "backup/backup_set/common/dmdb_log_backup_set.h"
#include "backup/backup_set/common/dmdb_logical_backup_set.h"
#include "backup/backup_set/common/exchange_backup_set.h"
#include "backup/backup_set/common/file_backup_set.h"
#include "backup/backup_set/common/gaussdb_backup_set.h"
#include "backup/backup_set/common/hana_backup_set.h"
#include "backup/backup_set/common/informix_backup_set.h"
#include "backup/backup_set/common/mssql_backup_set.h"
#include "backup/backup_set/common/mysql_backup_set.h"
#include "backup/backup_set/common/restful_catalog_operator.h"
#include "backup/backup_set/common/sharepoint_backup_set.h"
#include "backup/backup_set/common/sybase_backup_set.h"
#include "platform/json/json_text.h"
#include "platform/rest/upstream_json_restful_client.h"
#include "platform/rpc/global_json_rpc_channel.h"
#include "platform/sql/select_sql.h"
#include "platform/sql/uuid_binary.h"
#include "server/catalog_server.h"
#include "tests/records/document.h"
#include "tests/server/catalog_target.h"
#include "tests/server/kind_commit_fixture.h"
#include "tests/support/log_capture.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

using namespace kind_commit;

void fill(DMDB_Backup_Set& s) {
  s.seq = 4294967295u;
  s.backup_version = 3000000000u;
  s.object = long_text("object");
  s.compression = "zstd";
  s.backup_set = "DM_BS_FULL_01";
  s.backup_base = "DM_BS_BASE_00";
  s.arch_log_start = LLONG_MIN;
  s.arch_log_end = LLONG_MAX;
  s.permanent_db_magic = -1234567890123LL;
  s.db_magic = 9876543210987LL;
  s.case_sensitive = INT_MIN;
  s.unicode_flag = INT_MAX;
  s.page_size = 32768;
  s.extent_size = -16;
  s.backup_files = {{"b.dbf", "/data/b"}, {"a.dbf", "/data/a"}};
}

void fill(DMDB_Log_Backup_Set& s) {
  s.seq = 4294967295u;
  s.backup_version = 4294967294u;
  s.dm_type = 4294967295u;
  s.compression = "lz4";
  s.backup_set = long_text("logset");
  s.arch_start_time = "2024-02-29 23:59:59";
  s.arch_end_time = "not a time at all";
  s.permanent_db_magic = LLONG_MIN;
  s.db_magic = LLONG_MAX;
  s.timezone_offset = -28800;
  s.number = 9007199254740993LL;
  s.active = true;
}

void fill(DMDB_Logical_Backup_Set& s) {
  s.seq = 4294967295u;
  s.backup_version = 4294967295u;
  // The default is true, so only false shows that the value travelled.
  s.case_sensitive = false;
  s.backup_set = long_text("logical");
  s.dm_type = "DM8";
  s.exp_mode = "FULL";
  s.backup_files.push_back({"inst1", "/exp/1.dmp", "SYSDBA", "S1", "T1"});
  s.backup_files.push_back({"inst1", "/exp/2.dmp", "", "", ""});
}

void fill(HANA_Backup_Set& s, std::string const& own_attrs) {
  s.lifeline = "log";
  s.sid = "HDB";
  s.system_version = long_text("2.00.059");
  s.instance_num = 18446744073709551615ULL;
  s.instance_name = "HDB00";
  s.extended_attrs = own_attrs;
  s.database = "SYSTEMDB";
  s.database_backup_id = 9223372036854775808ULL;  // just beyond the signed range
  HANA_Backup_Set::Backup_File f;
  f.extern_backup_id = "EBID-1";
  f.origin_path = "/hana/data/1";
  f.filename = "databackup_0_1";
  f.size = 18446744073709551615ULL;
  f.source_type = "volume";
  f.storage_path = "/store/1";
  s.files.push_back(f);
  f.extern_backup_id = "EBID-2";
  f.size = 7;
  s.files.push_back(f);
}

void fill(DB2_Backup_Set& s) {
  s.base_start_point = LLONG_MIN;
  s.database = "SAMPLE";
  s.meta_file = long_text("meta");
  s.archive_dir = "/db2/archive";
  s.archive_first_log = "S0000001.LOG";
  s.archive_last_log = "S0000099.LOG";
  s.archive_start_time = 1700000000;
  s.archive_end_time = 1700003600;
  s.is_archive_set = true;
}

void fill(GaussDB_Backup_Set& s) {
  s.seq = LLONG_MAX;
  s.meta_destination = long_text("meta");
  s.backup_key = "20240301_000000";
  s.prior_backup_key = "20240229_000000";
  s.timeline = "3";
  s.compression = "gzip";
  s.granularity = "table";
  s.database = "postgres";
  s.nodes_count = INT_MAX;
  s.series = INT_MIN;
  s.tables = json(R"([{"schema": "public", "name": "t1"}, "t2", 3])").get_array();
}

void fill(CacheDB_Backup_Set& s) {
  s.start_log = "20240301.001";
  s.end_log = "20240301.009";
  s.current_log = "20240301.010";
  s.journal_dir = long_text("/journal");
  s.backup_files.push_back(json(R"({"file": "CACHE.DAT", "dir": "/db"})"));
  s.backup_files.push_back(json(R"({"file": "USER.DAT"})"));
}

void fill(File_Backup_Set& s) {
  s.seq = 4294967295u;
  s.channels = 4294967295u;
  s.hash_algorithm = "sha256";
  s.pool_type = long_text("dedup");
  s.multidevice = true;
  s.encryption = "aes-256-gcm";
}

void fill(Informix_Backup_Set& s) { s.pre_seal_time = 1893456789; }

void fill(SharePoint_Backup_Set& s) {
  s.device_uuid = "34343434-0000-0000-0000-000000000001";
  s.database = "WSS_Content";
  s.domain = long_text("farm.example");
  s.backup_method = "full";
  s.rev = LLONG_MIN;
}

void fill(MySQL_Backup_Set& s) {
  s.backup_time = 1709258400;
  s.cycle = 3;
  s.point = 4;
  s.level = 1;
  s.seq = 4294967295u;
  s.timezone_offset = 480;
  s.log_branch = "branch-1";
  s.mtf = true;
  s.start_log = "binlog.000001";
  s.next_log = "binlog.000002";
  s.object = long_text("object");
  s.gbase_cluster_uuid = "45454545-0000-0000-0000-000000000001";
  s.start_log_pos = LLONG_MAX;
  s.next_log_pos = 123;
  s.channels = 4;
  s.stage_id = "stage-1";
  s.snapshot_id = "snap-1";
  s.server_uuid = "45454545-0000-0000-0000-000000000002";
  s.charset = "utf8mb4";
  s.data_type = "innodb";
  s.binlog_create_time = 1709250000;
  s.gtid_type = true;
  s.group_id = 7;
  s.add_file("db1", "db1/t1.ibd", nullptr);
  std::string vc = "vc-2";
  s.add_file("db2", "db2/t2.ibd", &vc);
  s.start_gtids = json(R"(["a:1-5"])").get_array();
  s.end_gtids = json(R"(["a:1-9", "b:1-2"])").get_array();
}

void fill(MSSQL_Backup_Set& s) {
  s.username = "sa";
  s.resource_name = "SQL01";
  s.database = "Sales";
  s.database_type = "user";
  s.file_list =
      json(R"([{"logical": "Sales", "physical": "C:\\data\\Sales.mdf"}, {"logical": "Sales_log"}])").get_array();
  s.backup_set_uuid = "56565656-0000-0000-0000-000000000001";
  s.first_lsn = "35000000012300001";
  s.last_lsn = "35000000045600001";
  s.checkpoint_lsn = "35000000012300037";
  s.database_backup_lsn = "34000000000100001";
  s.recovery_model = 3;
  s.has_bulk_logged_data = true;
  s.first_recovery_fork_guid = "{F1}";
  s.last_recovery_fork_guid = "{F2}";
  s.fork_point_lsn = "1";
  s.database_guid = "{DB}";
  s.differential_base_lsn = "2";
  s.differential_base_guid = "{DIFF}";
  s.backup_type = "log";
  s.compression = "on";
  s.merged = true;
  s.vss_backupstamp = long_text("stamp");
  s.stage_id = "stage";
  s.snapshot_id = "snapshot";
  s.vss_group = 2;
  s.channels = 4;
  s.piece_name = "piece";
  s.pool_retention = 30;
  s.pool_url = "pool://x";
}

void fill(Sybase_Backup_Set& s) {
  s.resource_name = "ASE01";
  s.database = "pubs2";
  s.dbtype = "user";
  s.last_dumptrdate = "Mar  1 2024 12:00AM";
  s.current_dumptrdate = "Mar  2 2024 12:00AM";
  s.fork_point_uuid = "67676767-0000-0000-0000-000000000001";
  s.recovery_fork_guid = "67676767-0000-0000-0000-000000000002";
  s.compression = "101";
  s.piece_name = long_text("piece");
  s.dev_size = LLONG_MAX;
}

void fill(Exchange_Backup_Set& s) {
  s.device_uuid = "78787878-0000-0000-0000-000000000001";
  s.database = "Mailbox Database 1";
  s.backup_method = "vss";
  s.storages = json(R"([{"name": "SG1", "path": "E:\\sg1"}, {"name": "SG2"}])").get_array();
  s.mailboxes = json(R"(["a@example.com", "b@example.com"])").get_array();
  s.rev = INT_MIN;
  s.exchange_build = 15;
  s.channels = 3;
}

class ApplicationKindsTest : public Kind_Commit_Test {
 protected:
  static void expect_same(DMDB_Backup_Set const& want, DMDB_Backup_Set const& got) {
    EXPECT_EQ(want.seq, got.seq);
    EXPECT_EQ(want.backup_version, got.backup_version);
    EXPECT_EQ(want.object, got.object);
    EXPECT_EQ(want.compression, got.compression);
    EXPECT_EQ(want.backup_set, got.backup_set);
    EXPECT_EQ(want.backup_base, got.backup_base);
    EXPECT_EQ(want.arch_log_start, got.arch_log_start);
    EXPECT_EQ(want.arch_log_end, got.arch_log_end);
    EXPECT_EQ(want.permanent_db_magic, got.permanent_db_magic);
    EXPECT_EQ(want.db_magic, got.db_magic);
    EXPECT_EQ(want.case_sensitive, got.case_sensitive);
    EXPECT_EQ(want.unicode_flag, got.unicode_flag);
    EXPECT_EQ(want.page_size, got.page_size);
    EXPECT_EQ(want.extent_size, got.extent_size);
    // Not selected: the view's application object carries it.
    EXPECT_TRUE(got.backup_files.empty());
  }

  static void expect_same(GaussDB_Backup_Set const& want, GaussDB_Backup_Set const& got) {
    EXPECT_EQ(want.seq, got.seq);
    EXPECT_EQ(want.meta_destination, got.meta_destination);
    EXPECT_EQ(want.backup_key, got.backup_key);
    EXPECT_EQ(want.prior_backup_key, got.prior_backup_key);
    EXPECT_EQ(want.timeline, got.timeline);
    EXPECT_EQ(want.compression, got.compression);
    EXPECT_EQ(want.granularity, got.granularity);
    EXPECT_EQ(want.database, got.database);
    EXPECT_EQ(want.nodes_count, got.nodes_count);
    EXPECT_EQ(want.series, got.series);
    EXPECT_TRUE(got.tables.empty());
  }

  static void expect_same(DB2_Backup_Set const& want, DB2_Backup_Set const& got) {
    EXPECT_EQ(want.base_start_point, got.base_start_point);
    EXPECT_EQ(want.database, got.database);
    EXPECT_EQ(want.meta_file, got.meta_file);
    EXPECT_EQ(want.archive_dir, got.archive_dir);
    EXPECT_EQ(want.archive_first_log, got.archive_first_log);
    EXPECT_EQ(want.archive_last_log, got.archive_last_log);
    // Selected, but the kind deliberately does not take them back.
    EXPECT_EQ(0, got.archive_start_time);
    EXPECT_EQ(0, got.archive_end_time);
    EXPECT_EQ(want.is_archive_set, got.is_archive_set);
  }

};

// catalogd's own behaviours with kinds: one transport is enough.
class ApplicationKindsCatalogdTest : public ApplicationKindsTest {};

}  // namespace

// ---- kinds with a statement of their own ----

TEST_P(ApplicationKindsTest, DmdbSetReadsBackByItsStatement) {
  DMDB_Backup_Set set;
  fill_common(set, uuid_of(1));
  fill(set);
  ASSERT_TRUE(op_->commit(set, false));
  DMDB_Backup_Set got;
  ASSERT_TRUE(read_kind(set.uuid, got));
  expect_common(set, got);
  expect_same(set, got);
  expect_application(set);
}

TEST_P(ApplicationKindsTest, DmdbLogSetReadsBackByItsStatement) {
  DMDB_Log_Backup_Set set;
  fill_common(set, uuid_of(2));
  fill(set);
  ASSERT_TRUE(op_->commit(set, false));
  DMDB_Log_Backup_Set got;
  ASSERT_TRUE(read_kind(set.uuid, got));
  expect_common(set, got);
  EXPECT_EQ(set.seq, got.seq);
  EXPECT_EQ(set.backup_version, got.backup_version);
  EXPECT_EQ(set.dm_type, got.dm_type);
  EXPECT_EQ(set.compression, got.compression);
  EXPECT_EQ(set.backup_set, got.backup_set);
  EXPECT_EQ(set.arch_start_time, got.arch_start_time);
  EXPECT_EQ(set.arch_end_time, got.arch_end_time);
  EXPECT_EQ(set.permanent_db_magic, got.permanent_db_magic);
  EXPECT_EQ(set.db_magic, got.db_magic);
  EXPECT_EQ(set.timezone_offset, got.timezone_offset);
  EXPECT_EQ(set.number, got.number);
  EXPECT_TRUE(got.active);
  expect_application(set);
}

TEST_P(ApplicationKindsTest, DmdbLogicalSetReadsBackByItsStatement) {
  DMDB_Logical_Backup_Set set;
  fill_common(set, uuid_of(3));
  fill(set);
  ASSERT_TRUE(op_->commit(set, false));
  DMDB_Logical_Backup_Set got;
  ASSERT_TRUE(read_kind(set.uuid, got));
  expect_common(set, got);
  EXPECT_EQ(set.seq, got.seq);
  EXPECT_EQ(set.backup_version, got.backup_version);
  EXPECT_FALSE(got.case_sensitive);
  EXPECT_EQ(set.backup_set, got.backup_set);
  EXPECT_EQ(set.dm_type, got.dm_type);
  EXPECT_EQ(set.exp_mode, got.exp_mode);
  EXPECT_TRUE(got.backup_files.empty());
  expect_application(set);
}

TEST_P(ApplicationKindsTest, HanaSetReadsBackByItsStatementWithJsonTextInItsOwnAttrs) {
  HANA_Backup_Set set;
  fill_common(set, uuid_of(4));
  fill(set, R"({"h":1})");
  ASSERT_TRUE(op_->commit(set, false));
  HANA_Backup_Set got;
  ASSERT_TRUE(read_kind(set.uuid, got));
  expect_common(set, got, false);
  EXPECT_EQ(set.lifeline, got.lifeline);
  EXPECT_EQ(set.sid, got.sid);
  EXPECT_EQ(set.system_version, got.system_version);
  EXPECT_EQ(18446744073709551615ULL, got.instance_num);
  EXPECT_EQ(set.instance_name, got.instance_name);
  EXPECT_EQ(set.database, got.database);
  EXPECT_EQ(9223372036854775808ULL, got.database_backup_id);
  EXPECT_TRUE(got.files.empty());
  // HANA's column is delivered under "extended_attrs", which the set
  // handler's value table marks as JSON: the text parses to an object, goes
  // to the base's print_json and replaces the base's attributes (read from
  // the set's own column just before); HANA's string gets nothing.
  EXPECT_EQ("", got.extended_attrs);
  EXPECT_EQ(R"({"h":1})", JSON_Dump(Value(got.Backup_Set::extended_attrs)));
  expect_application(set);
  // The view keeps the two apart: the base's object in the row, HANA's
  // string in the application part.
  Object row = view_row(set.uuid);
  EXPECT_TRUE(Value(set.Backup_Set::extended_attrs) == row.at("extended_attrs")) << JSON_Dump(row.at("extended_attrs"));
  EXPECT_EQ(R"({"h":1})", row.at("application").get_obj().at("extended_attrs").get_str());
}

TEST_P(ApplicationKindsTest, HanaSetReadsBackByItsStatementWithPlainTextInItsOwnAttrs) {
  HANA_Backup_Set set;
  fill_common(set, uuid_of(5));
  fill(set, "plain text, not JSON");
  ASSERT_TRUE(op_->commit(set, false));
  HANA_Backup_Set got;
  Log_Capture capture;
  ASSERT_TRUE(read_kind(set.uuid, got));
  // The text does not parse as JSON, so the handler logs it and delivers
  // null: the base's attributes stay as read from the set's column and
  // HANA's string is still not filled.
  EXPECT_TRUE(capture.has(LM_ERROR, "Column 'extended_attrs' does not hold a JSON document")) << capture.dump();
  expect_common(set, got, true);
  EXPECT_EQ("", got.extended_attrs);
  EXPECT_EQ(18446744073709551615ULL, got.instance_num);
  EXPECT_EQ(9223372036854775808ULL, got.database_backup_id);
  EXPECT_EQ(set.sid, got.sid);
  EXPECT_EQ(set.database, got.database);
  expect_application(set);
  Object row = view_row(set.uuid);
  EXPECT_EQ("plain text, not JSON", row.at("application").get_obj().at("extended_attrs").get_str());
}

TEST_P(ApplicationKindsTest, Db2SetReadsBackByItsStatementWithoutItsArchiveTimes) {
  DB2_Backup_Set set;
  fill_common(set, uuid_of(6));
  fill(set);
  ASSERT_TRUE(op_->commit(set, false));
  DB2_Backup_Set got;
  ASSERT_TRUE(read_kind(set.uuid, got));
  expect_common(set, got);
  expect_same(set, got);
  expect_application(set);
  EXPECT_EQ("", view_row(set.uuid).at("catalog_module").get_str());
}

TEST_P(ApplicationKindsTest, GaussdbSetReadsBackByItsStatement) {
  GaussDB_Backup_Set set;
  fill_common(set, uuid_of(7));
  fill(set);
  ASSERT_TRUE(op_->commit(set, false));
  GaussDB_Backup_Set got;
  ASSERT_TRUE(read_kind(set.uuid, got));
  expect_common(set, got);
  expect_same(set, got);
  expect_application(set);
}

TEST_P(ApplicationKindsTest, CachedbSetReadsBackByItsStatement) {
  CacheDB_Backup_Set set;
  fill_common(set, uuid_of(8));
  fill(set);
  ASSERT_TRUE(op_->commit(set, false));
  CacheDB_Backup_Set got;
  ASSERT_TRUE(read_kind(set.uuid, got));
  expect_common(set, got);
  EXPECT_EQ(set.start_log, got.start_log);
  EXPECT_EQ(set.end_log, got.end_log);
  EXPECT_EQ(set.current_log, got.current_log);
  EXPECT_EQ(set.journal_dir, got.journal_dir);
  EXPECT_TRUE(got.backup_files.empty());
  expect_application(set);
}

TEST_P(ApplicationKindsTest, FileSetReadsBackByItsStatement) {
  File_Backup_Set set;
  fill_common(set, uuid_of(9));
  fill(set);
  ASSERT_TRUE(op_->commit(set, false));
  File_Backup_Set got;
  ASSERT_TRUE(read_kind(set.uuid, got));
  expect_common(set, got);
  EXPECT_EQ(set.seq, got.seq);
  EXPECT_EQ(set.channels, got.channels);
  EXPECT_EQ(set.hash_algorithm, got.hash_algorithm);
  EXPECT_EQ(set.pool_type, got.pool_type);
  EXPECT_TRUE(got.multidevice);
  EXPECT_EQ(set.encryption, got.encryption);
  expect_application(set);
}

TEST_P(ApplicationKindsTest, InformixSetReadsBackByItsStatement) {
  Informix_Backup_Set set;
  fill_common(set, uuid_of(10));
  fill(set);
  ASSERT_TRUE(op_->commit(set, false));
  Informix_Backup_Set got;
  ASSERT_EQ(Informix_Backup_Set::NEVER, got.pre_seal_time);
  ASSERT_TRUE(read_kind(set.uuid, got));
  expect_common(set, got);
  EXPECT_EQ(1893456789, got.pre_seal_time);
  expect_application(set);
}

TEST_P(ApplicationKindsTest, SharepointSetReadsBackByItsStatementWithoutItsDatabase) {
  SharePoint_Backup_Set set;
  fill_common(set, uuid_of(11));
  fill(set);
  ASSERT_TRUE(op_->commit(set, false));
  SharePoint_Backup_Set got;
  ASSERT_TRUE(read_kind(set.uuid, got));
  expect_common(set, got);
  EXPECT_EQ(set.device_uuid, got.device_uuid);
  // Selected under ".database" while the intake waits for "database".
  EXPECT_EQ("", got.database);
  EXPECT_EQ(set.domain, got.domain);
  EXPECT_EQ(set.backup_method, got.backup_method);
  EXPECT_EQ(LLONG_MIN, got.rev);
  expect_application(set);
  // The column itself holds the name.
  EXPECT_EQ("WSS_Content", view_row(set.uuid).at("application").get_obj().at("database").get_str());
}

// ---- kinds without a statement: the view's application object only ----

TEST_P(ApplicationKindsTest, MysqlSetShowsItsKeysInTheView) {
  MySQL_Backup_Set set;
  fill_common(set, uuid_of(20));
  fill(set);
  ASSERT_TRUE(op_->commit(set, false));
  expect_application(set);
  Object app = view_row(set.uuid).at("application").get_obj();
  // Every key the kind writes when it holds a value is there.
  EXPECT_EQ(26u, app.size()) << JSON_Dump(Value(app));
  EXPECT_EQ(2u, app.at("backup_files").get_array().size());
}

TEST_P(ApplicationKindsTest, MssqlSetShowsItsKeysInTheView) {
  MSSQL_Backup_Set set;
  fill_common(set, uuid_of(21));
  fill(set);
  ASSERT_TRUE(op_->commit(set, false));
  expect_application(set);
  Object app = view_row(set.uuid).at("application").get_obj();
  EXPECT_EQ(29u, app.size()) << JSON_Dump(Value(app));
  EXPECT_TRUE(Value(set.file_list) == app.at("file_list"));
}

TEST_P(ApplicationKindsTest, SybaseSetShowsItsKeysInTheView) {
  Sybase_Backup_Set set;
  fill_common(set, uuid_of(22));
  fill(set);
  ASSERT_TRUE(op_->commit(set, false));
  expect_application(set);
  Object app = view_row(set.uuid).at("application").get_obj();
  EXPECT_EQ(10u, app.size()) << JSON_Dump(Value(app));
  EXPECT_EQ(LLONG_MAX, app.at("dev_size").get_int64());
}

TEST_P(ApplicationKindsTest, ExchangeSetKeepsItsStorageGroupsApartFromTheStorageCopies) {
  Exchange_Backup_Set set;
  fill_common(set, uuid_of(23));
  fill(set);
  ASSERT_EQ(2u, set.Backup_Set::storages.size());
  ASSERT_TRUE(op_->commit(set, false));
  expect_application(set);
  Object row = view_row(set.uuid);
  // The row's storages are the two copies...
  Array const& copies = row.at("storages").get_array();
  ASSERT_EQ(2u, copies.size()) << JSON_Dump(Value(row));
  std::set<std::string> pools;
  for (Value const& c : copies) pools.insert(c.get_obj().at("pool_uuid").get_str());
  EXPECT_EQ((std::set<std::string>{kPool1, kPool2}), pools);
  // ...and the application's are the storage groups.
  EXPECT_TRUE(Value(set.storages) == row.at("application").get_obj().at("storages"))
      << JSON_Dump(row.at("application"));
  EXPECT_EQ(8u, row.at("application").get_obj().size());
}

TEST_P(ApplicationKindsTest, ExchangeSetWithOneStorageCopyStillShowsItsStorageGroups) {
  Exchange_Backup_Set set;
  fill_common(set, uuid_of(24));
  fill(set);
  set.Backup_Set::storages.resize(1);
  ASSERT_TRUE(op_->commit(set, false));
  expect_application(set);
  Object row = view_row(set.uuid);
  ASSERT_EQ(1u, row.at("storages").get_array().size());
  EXPECT_EQ(kPool1, row.at("storages").get_array()[0].get_obj().at("pool_uuid").get_str());
  EXPECT_TRUE(Value(set.storages) == row.at("application").get_obj().at("storages"));
}

// ---- catalogd's behaviours ----

TEST_P(ApplicationKindsCatalogdTest, AWronglyTypedKindKeyIsRefusedAndNothingIsStored) {
  struct Case {
    Object doc;
    char const* key;
    Value bad;
    char const* table;
  };
  std::vector<Case> cases;
  int n = 100;
  auto add = [&](Backup_Set& set, char const* key, Value bad, char const* table) {
    fill_common(set, uuid_of(n++));
    Object doc = document_object(set);
    EXPECT_TRUE(doc.count(key)) << key;
    doc[key] = bad;
    cases.push_back({doc, key, bad, table});
  };
  {
    DMDB_Backup_Set s;
    fill(s);
    add(s, "seq", Value("x"), "dmdb_backup_set");
    add(s, "seq", Value(-1), "dmdb_backup_set");
    add(s, "seq", Value(4294967296LL), "dmdb_backup_set");
  }
  {
    HANA_Backup_Set s;
    fill(s, "attrs");
    add(s, "instance_num", Value(-1), "hana_backup_set");
    // One object holds "extended_attrs" once: HANA's string, as the kind's
    // document would have it without the common part's object.
    cases.back().doc["extended_attrs"] = Value("attrs");
  }
  {
    DMDB_Log_Backup_Set s;
    fill(s);
    add(s, "active", Value(1), "dmdb_log_backup_set");
  }
  {
    DB2_Backup_Set s;
    fill(s);
    add(s, "archive_start_time", Value("yesterday"), "db2_backup_set");
  }
  {
    GaussDB_Backup_Set s;
    fill(s);
    add(s, "tables", Value(Object()), "gaussdb_backup_set");
  }
  for (Case const& c : cases) {
    SCOPED_TRACE(std::string(c.key) + " = " + JSON_Dump(c.bad));
    Log_Capture capture;
    EXPECT_FALSE(op_->commit(Value(c.doc), false));
    EXPECT_TRUE(capture.has(LM_ERROR, std::string(c.key) + ": not")) << capture.dump();
    EXPECT_EQ(0, count("SELECT count(*) FROM backup_set"));
    EXPECT_EQ(0, count(std::string("SELECT count(*) FROM ") + c.table));
  }
  // The same documents with the key as the record wrote it are taken.
  DMDB_Backup_Set good;
  fill_common(good, uuid_of(199));
  fill(good);
  ASSERT_TRUE(op_->commit(Value(document_object(good)), false));
  EXPECT_EQ(1, count("SELECT count(*) FROM dmdb_backup_set"));
}

TEST_P(ApplicationKindsCatalogdTest, ARetriedCommitLeavesOneMemberRowWithTheSecondValues) {
  DMDB_Backup_Set first;
  fill_common(first, uuid_of(200));
  fill(first);
  ASSERT_TRUE(op_->commit(first, false));
  DMDB_Backup_Set second;
  fill_common(second, uuid_of(200));
  second.seq = 17;
  second.object = "second object";
  second.arch_log_start = 5;
  second.page_size = 8192;
  second.backup_files = {{"c.dbf", "/data/c"}};
  ASSERT_TRUE(op_->commit(second, false));
  EXPECT_EQ(1, count("SELECT count(*) FROM backup_set"));
  EXPECT_EQ(1, count("SELECT count(*) FROM dmdb_backup_set"));
  DMDB_Backup_Set got;
  ASSERT_TRUE(read_kind(second.uuid, got));
  expect_same(second, got);
  expect_application(second);
}

TEST_P(ApplicationKindsCatalogdTest, TheSetsViewFiltersByCatalogModule) {
  DMDB_Backup_Set dmdb;
  fill_common(dmdb, uuid_of(300));
  fill(dmdb);
  DMDB_Log_Backup_Set log;
  fill_common(log, uuid_of(301));
  fill(log);
  DB2_Backup_Set db2;
  fill_common(db2, uuid_of(302));
  fill(db2);
  MySQL_Backup_Set mysql;
  fill_common(mysql, uuid_of(303));
  fill(mysql);
  DMDB_Backup_Set dmdb2;
  fill_common(dmdb2, uuid_of(304));
  for (Backup_Set* s : std::vector<Backup_Set*>{&dmdb, &log, &db2, &mysql, &dmdb2}) ASSERT_TRUE(op_->commit(*s, false));

  EXPECT_EQ((std::vector<std::string>{uuid_of(300), uuid_of(304)}), view_uuids({{"catalog_module", "dmdb"}}));
  EXPECT_EQ((std::vector<std::string>{uuid_of(301)}), view_uuids({{"catalog_module", "dmdb_log"}}));
  EXPECT_EQ((std::vector<std::string>{uuid_of(302), uuid_of(303)}), view_uuids({{"catalog_module", ""}}));
  EXPECT_TRUE(view_uuids({{"catalog_module", "hana"}}).empty());
  EXPECT_EQ(5u, view_uuids({}).size());
  // Each row carries its own kind's part.
  Value result;
  ASSERT_TRUE(op_->get_view("backup_set", "sets", {{"catalog_module", ""}}, result));
  for (Value const& row : result.get_obj().at("rows").get_array()) {
    Object const& app = row.get_obj().at("application").get_obj();
    Backup_Set& kind = row.get_obj().at("uuid").get_str() == db2.uuid ? static_cast<Backup_Set&>(db2) : mysql;
    EXPECT_TRUE(Value(application_part(kind)) == Value(app)) << JSON_Dump(Value(app));
  }
}

TEST_P(ApplicationKindsCatalogdTest, AStagedSetOfAKindGetsItsMemberRow) {
  GaussDB_Backup_Set set;
  fill_common(set, uuid_of(400));
  fill(set);
  set.pieces.clear();
  ASSERT_TRUE(op_->initialize(set));
  std::vector<Value> batch{json(R"({"path": "/staged/1", "size": 1})"), json(R"({"path": "/staged/2", "size": 2})")};
  ASSERT_TRUE(op_->add_piece(set.uuid, batch));
  set.nodes_count = 12;  // complete carries the final values
  ASSERT_TRUE(op_->complete(set));
  EXPECT_EQ(1, count("SELECT count(*) FROM gaussdb_backup_set"));
  EXPECT_EQ(2, count("SELECT count(*) FROM backup_piece"));
  GaussDB_Backup_Set got;
  ASSERT_TRUE(read_kind(set.uuid, got));
  expect_common(set, got);
  expect_same(set, got);
  EXPECT_EQ(12, got.nodes_count);
  expect_application(set);
}

TEST_P(ApplicationKindsCatalogdTest, AnUpdateOfOneKindKeyChangesThatColumnAndKeepsTheOthers) {
  DMDB_Backup_Set set;
  fill_common(set, uuid_of(500));
  fill(set);
  ASSERT_TRUE(op_->commit(set, false));

  // backup_set.update with only the one key.
  ASSERT_TRUE(op_->update(Value(object(R"({"uuid": ")" + set.uuid + R"(", "seq": 77})"))));
  set.seq = 77;
  DMDB_Backup_Set got;
  ASSERT_TRUE(read_kind(set.uuid, got));
  expect_same(set, got);
  expect_application(set);

  // PUT /d2/r/v2/sets?uuid= with the whole record, one key changed.
  set.compression = "changed by PUT";
  std::unique_ptr<Catalog_Operator> rest = make_operator(REST);
  ASSERT_TRUE(rest->update(set));
  DMDB_Backup_Set again;
  ASSERT_TRUE(read_kind(set.uuid, again));
  expect_same(set, again);
  expect_common(set, again);
  expect_application(set);
  EXPECT_EQ(1, count("SELECT count(*) FROM dmdb_backup_set"));
}

TEST_P(ApplicationKindsCatalogdTest, AnUpdateTellsHanaAttrsFromTheCommonAttrsByTheirType) {
  HANA_Backup_Set set;
  fill_common(set, uuid_of(550));
  fill(set, "own attrs");
  ASSERT_TRUE(op_->commit(set, false));

  // A partial document holds the key once; an object is the common part's.
  ASSERT_TRUE(op_->update(Value(object(R"({"uuid": ")" + set.uuid + R"(", "extended_attrs": {"changed": 1}})"))));
  Object row = view_row(set.uuid);
  EXPECT_EQ(R"({"changed":1})", JSON_Dump(row.at("extended_attrs")));
  EXPECT_EQ("own attrs", row.at("application").get_obj().at("extended_attrs").get_str());

  // A string is HANA's own.
  ASSERT_TRUE(op_->update(Value(object(R"({"uuid": ")" + set.uuid + R"(", "extended_attrs": "new own"})"))));
  row = view_row(set.uuid);
  EXPECT_EQ(R"({"changed":1})", JSON_Dump(row.at("extended_attrs")));
  EXPECT_EQ("new own", row.at("application").get_obj().at("extended_attrs").get_str());
  EXPECT_EQ(1, count("SELECT count(*) FROM hana_backup_set WHERE extended_attrs='new own'"));
  // The other keys of the kind are kept.
  HANA_Backup_Set got;
  ASSERT_TRUE(read_kind(set.uuid, got));
  EXPECT_EQ(set.sid, got.sid);
  EXPECT_EQ(18446744073709551615ULL, got.instance_num);
}

TEST_P(ApplicationKindsCatalogdTest, ADb2DocumentWithoutAModuleIsRecognised) {
  DB2_Backup_Set set;
  fill_common(set, uuid_of(600));
  fill(set);
  ASSERT_STREQ("", set.catalog_module);
  ASSERT_TRUE(op_->commit(Value(document_object(set)), false));
  EXPECT_EQ(1, count("SELECT count(*) FROM db2_backup_set"));
  DB2_Backup_Set got;
  ASSERT_TRUE(read_kind(set.uuid, got));
  expect_same(set, got);
  expect_application(set);
}

INSTANTIATE_TEST_SUITE_P(EnginesAndProtocols, ApplicationKindsTest,
                         ::testing::Combine(::testing::Values(Catalog_Target::SQLITE, Catalog_Target::POSTGRESQL),
                                            ::testing::Values(JSON_RPC, REST)),
                         param_name);

INSTANTIATE_TEST_SUITE_P(Engines, ApplicationKindsCatalogdTest,
                         ::testing::Combine(::testing::Values(Catalog_Target::SQLITE, Catalog_Target::POSTGRESQL),
                                            ::testing::Values(JSON_RPC)),
                         param_name);
