#include <algorithm>
#include <climits>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/postgres_backup_set.h"
#include "platform/sql/select_sql.h"
#include "tests/kinds/kind_test_support.h"
#include "tests/records/document.h"
#include "tests/support/log_capture.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

// What a fresh set writes behind the base keys, closing brace included.
char const DEFAULT_KEYS[] =
    R"("seq":0,"mtf":false,"channels":0,"has_meta":false,"contain_log":false,"multi_init":false,)"
    R"("tablespace_path":{}})";

// The always-written keys in front of everything else.
char const LEADING[] =
    R"("seq":0,"mtf":false,"channels":0,"has_meta":false,"contain_log":false,"multi_init":false)";

struct Text_Key {
  char const* key;
  std::string Postgres_Backup_Set::*field;
};

// Document order of the string keys.
Text_Key const TEXT_KEYS[] = {
    {"log_branch", &Postgres_Backup_Set::log_branch},
    {"checkpoint_location", &Postgres_Backup_Set::checkpoint_location},
    {"timeline", &Postgres_Backup_Set::timeline},
    {"start_wal_file", &Postgres_Backup_Set::start_wal_file},
    {"start_wal_location", &Postgres_Backup_Set::start_wal_location},
    {"stop_wal_file", &Postgres_Backup_Set::stop_wal_file},
    {"stop_wal_location", &Postgres_Backup_Set::stop_wal_location},
    {"data_dir", &Postgres_Backup_Set::data_dir},
    {"archivelog_dir", &Postgres_Backup_Set::archivelog_dir},
    {"os_user", &Postgres_Backup_Set::os_user},
    {"suffix", &Postgres_Backup_Set::suffix},
    {"from_wal_location", &Postgres_Backup_Set::from_wal_location},
    {"flavor", &Postgres_Backup_Set::flavor},
    {"grade", &Postgres_Backup_Set::grade},
    {"format", &Postgres_Backup_Set::format},
    {"cluster_name", &Postgres_Backup_Set::cluster_name},
    {"meta_path", &Postgres_Backup_Set::meta_path},
    {"mnt", &Postgres_Backup_Set::mnt},
};

struct Flag_Key {
  char const* key;
  bool Postgres_Backup_Set::*field;
};

Flag_Key const FLAG_KEYS[] = {
    {"mtf", &Postgres_Backup_Set::mtf},
    {"has_meta", &Postgres_Backup_Set::has_meta},
    {"contain_log", &Postgres_Backup_Set::contain_log},
    {"multi_init", &Postgres_Backup_Set::multi_init},
};

struct Object_Key {
  char const* key;
  Object Postgres_Backup_Set::*field;
};

Object_Key const OBJECT_KEYS[] = {
    {"db_info", &Postgres_Backup_Set::db_info},
    {"db_size", &Postgres_Backup_Set::db_size},
    {"tablespace_path", &Postgres_Backup_Set::tablespace_path},
};

char const* const SET_COLUMNS[] = {"seq", "db_info", "db_size", "mtf", "flavor", "grade", "format"};
char const* const PHYSICAL_COLUMNS[] = {
    "log_branch",     "checkpoint_location", "timeline", "start_wal_file",  "start_wal_location",
    "stop_wal_file",  "stop_wal_location",   "data_dir", "archivelog_dir",  "os_user",
    "suffix",         "tablespace_path",     "from_wal_location", "channels", "contain_log"};

// The kind's columns on aliases p (and ph unless null), as the statement
// should add them.
Columns expected_columns(std::string const& p, char const* ph) {
  Columns out;
  for (char const* c : SET_COLUMNS) out.emplace_back(p + "." + c, c);
  if (ph)
    for (char const* c : PHYSICAL_COLUMNS) out.emplace_back(std::string(ph) + "." + c, c);
  return out;
}

Postgres_Backup_File backup_file(char const* database, char const* file, char const* schema, char const* table) {
  Postgres_Backup_File f;
  f.database = database;
  f.file = file;
  f.schema = schema;
  f.table = table;
  return f;
}

}  // namespace

// ---- document -------------------------------------------------------------

TEST(PostgresBackupSet, DefaultDocumentIsBaseThenAlwaysWrittenKeys) {
  expect_default_document<Postgres_Backup_Set>("postgres", DEFAULT_KEYS);
}

TEST(PostgresBackupSet, DefaultSetWritesOnlySixNumbersAndFlagsAndEmptyTablespacePath) {
  Postgres_Backup_Set set;
  std::string const keys = own_keys(set, "postgres");
  EXPECT_EQ(std::string(LEADING) + R"(,"tablespace_path":{}})", keys);
  EXPECT_EQ(7u, occurrences(keys, "\":")) << keys;
}

TEST(PostgresBackupSet, FilledDocumentHasEveryKeyInOrder) {
  Postgres_Backup_Set set;
  set.seq = 4294967295u;
  set.mtf = true;
  set.channels = 8;
  set.has_meta = true;
  set.contain_log = true;
  set.multi_init = false;
  set.db_info = Object{{"postgres", Value(Object{{"oid", Value(5)}})}};
  set.db_size = Object{{"postgres", Value(8000000)}};
  set.log_branch = "1";
  set.checkpoint_location = "0/2000060";
  set.timeline = "1";
  set.start_wal_file = "000000010000000000000002";
  set.start_wal_location = "0/2000028";
  set.stop_wal_file = "000000010000000000000003";
  set.stop_wal_location = "0/3000100";
  set.data_dir = "/var/lib/postgresql/15/main";
  set.archivelog_dir = "/arch";
  set.os_user = "postgres";
  set.suffix = ".gz";
  set.from_wal_location = "0/1000000";
  set.flavor = "vanilla";
  set.grade = "full";
  set.format = "tar";
  set.cluster_name = "main \"c\"";
  set.meta_path = "C:\\meta";
  set.mnt = "/mnt/\xE5\xA4\x87";  // one CJK character
  set.backup_label_time = 1700000000;
  set.tablespace_path = Object{{"16384", Value("/ts/one")}};
  set.backup_files.push_back(backup_file("db1", "f1", "public", "t1"));
  set.backup_files.push_back(backup_file("", "f2", "", ""));
  set.archive_log.insert("000000010000000000000003");
  set.archive_log.insert("000000010000000000000002");
  Generated doc = generate_text(set);
  EXPECT_TRUE(doc.ok);
  EXPECT_EQ(base_prefix("postgres") +
                R"("seq":4294967295,"mtf":true,"channels":8,"has_meta":true,"contain_log":true,)"
                R"("multi_init":false,"db_info":{"postgres":{"oid":5}},"db_size":{"postgres":8000000},)"
                R"("log_branch":"1","checkpoint_location":"0/2000060","timeline":"1",)"
                R"("start_wal_file":"000000010000000000000002","start_wal_location":"0/2000028",)"
                R"("stop_wal_file":"000000010000000000000003","stop_wal_location":"0/3000100",)"
                R"("data_dir":"/var/lib/postgresql/15/main","archivelog_dir":"/arch","os_user":"postgres",)"
                R"("suffix":".gz","from_wal_location":"0/1000000","flavor":"vanilla","grade":"full",)"
                R"("format":"tar","cluster_name":"main \"c\"","meta_path":"C:\\meta","mnt":"/mnt/)"
                "\xE5\xA4\x87"
                R"(","backup_label_time":"2023-11-14 22:13:20","tablespace_path":{"16384":"/ts/one"},)"
                R"("backup_files":[{"database":"db1","file":"f1","schema":"public","table":"t1"},)"
                R"({"database":"","file":"f2","schema":"","table":""}],)"
                R"("archive_log":[{"file":"000000010000000000000002"},{"file":"000000010000000000000003"}]})",
            doc.text);
}

TEST(PostgresBackupSet, NumbersAreWrittenUnsigned) {
  Postgres_Backup_Set set;
  set.seq = 4294967295u;
  set.channels = 2147483648u;
  EXPECT_EQ(0u, own_keys(set, "postgres").find(R"("seq":4294967295,"mtf":false,"channels":2147483648,)"));
}

TEST(PostgresBackupSet, EachStringWrittenOnlyWhenNotEmpty) {
  for (Text_Key const& t : TEXT_KEYS) {
    Postgres_Backup_Set set;
    set.*t.field = "v";
    EXPECT_EQ(std::string(LEADING) + ",\"" + t.key + R"(":"v","tablespace_path":{}})", own_keys(set, "postgres"))
        << t.key;
  }
}

TEST(PostgresBackupSet, DbInfoAndDbSizeWrittenOnlyWhenNotEmpty) {
  Postgres_Backup_Set set;
  set.db_size = Object{{"a", Value(1)}};
  EXPECT_EQ(std::string(LEADING) + R"(,"db_size":{"a":1},"tablespace_path":{}})", own_keys(set, "postgres"));
  set.db_size.clear();
  set.db_info = Object{{"b", Value(2)}};
  EXPECT_EQ(std::string(LEADING) + R"(,"db_info":{"b":2},"tablespace_path":{}})", own_keys(set, "postgres"));
}

TEST(PostgresBackupSet, BackupLabelTimeWrittenOnlyWhenNotZero) {
  Postgres_Backup_Set set;
  set.backup_label_time = 1700007200;
  EXPECT_EQ(std::string(LEADING) + R"(,"backup_label_time":"2023-11-15 00:13:20","tablespace_path":{}})",
            own_keys(set, "postgres"));
  set.backup_label_time = -1;
  EXPECT_EQ(std::string(LEADING) + R"(,"backup_label_time":"1969-12-31 23:59:59","tablespace_path":{}})",
            own_keys(set, "postgres"));
  set.backup_label_time = 0;
  EXPECT_EQ(std::string(DEFAULT_KEYS), own_keys(set, "postgres"));
}

TEST(PostgresBackupSet, BackupFilesKeepInsertionOrderAndAllFourKeys) {
  Postgres_Backup_Set set;
  set.backup_files.push_back(backup_file("z", "z.dump", "s", "t"));
  set.backup_files.push_back(backup_file("a", "a.dump", "", "x\"y"));
  EXPECT_EQ(std::string(LEADING) +
                R"(,"tablespace_path":{},"backup_files":[{"database":"z","file":"z.dump","schema":"s","table":"t"},)"
                R"({"database":"a","file":"a.dump","schema":"","table":"x\"y"}]})",
            own_keys(set, "postgres"));
}

TEST(PostgresBackupSet, SameWalNameTwiceIsWrittenOnceAndNamesSorted) {
  Postgres_Backup_Set set;
  set.archive_log.insert("000000010000000000000009");
  set.archive_log.insert("000000010000000000000001");
  set.archive_log.insert("000000010000000000000009");
  set.archive_log.insert("00000002.history");
  set.archive_log.insert("000000010000000000000001");
  EXPECT_EQ(std::string(LEADING) +
                R"(,"tablespace_path":{},"archive_log":[{"file":"000000010000000000000001"},)"
                R"({"file":"000000010000000000000009"},{"file":"00000002.history"}]})",
            own_keys(set, "postgres"));
}

TEST(PostgresBackupSet, GenerateDoesNotChangeTheRecord) {
  Postgres_Backup_Set set;
  set.archive_log.insert("w1");
  set.backup_files.push_back(backup_file("d", "f", "s", "t"));
  std::string const first = document_of(set);
  EXPECT_EQ(first, document_of(set));
  EXPECT_EQ(1u, set.archive_log.size());
  EXPECT_EQ(1u, set.backup_files.size());
}

// ---- print_cstr -----------------------------------------------------------

TEST(PostgresBackupSet, TextColumnsAreTaken) {
  Postgres_Backup_Set set;
  for (Text_Key const& t : TEXT_KEYS) EXPECT_TRUE(cstr(set, t.key, std::string("v-") + t.key)) << t.key;
  for (Text_Key const& t : TEXT_KEYS) EXPECT_EQ(std::string("v-") + t.key, set.*t.field) << t.key;
  EXPECT_EQ("", set.name);
}

TEST(PostgresBackupSet, TextColumnTakesOnlyGivenLength) {
  Postgres_Backup_Set set;
  EXPECT_TRUE(set.print_cstr(0, "data_dir", "/var/lib/pg", 8));
  EXPECT_EQ("/var/lib", set.data_dir);
  EXPECT_TRUE(set.print_cstr(0, "mnt", "a\0b", 3));
  EXPECT_EQ(std::string("a\0b", 3), set.mnt);
}

TEST(PostgresBackupSet, BackupLabelTimeIsReadFromIsoText) {
  Postgres_Backup_Set set;
  EXPECT_TRUE(cstr(set, "backup_label_time", "2023-11-14 22:13:20"));
  EXPECT_EQ(1700000000, set.backup_label_time);
  EXPECT_TRUE(cstr(set, "backup_label_time", "2023-11-14T22:13:20+08:00"));
  EXPECT_EQ(1700000000 - 8 * 3600, set.backup_label_time);
  EXPECT_TRUE(set.print_cstr(0, "backup_label_time", "2000-01-01 00:00:00xyz", 19));
  EXPECT_EQ(946684800, set.backup_label_time);
  EXPECT_EQ(0, set.backup_start_time);
}

TEST(PostgresBackupSet, UnknownTextColumnGoesToTheBase) {
  Postgres_Backup_Set set;
  EXPECT_TRUE(cstr(set, "name", "base backup"));
  EXPECT_TRUE(cstr(set, "uuid", "u-9"));
  EXPECT_TRUE(cstr(set, "last_time", "2023-11-14 22:13:20"));
  EXPECT_EQ("base backup", set.name);
  EXPECT_EQ("u-9", set.uuid);
  EXPECT_EQ(1700000000, set.last_time);
}

TEST(PostgresBackupSet, NumberFlagAndListKeysGivenAsTextAreNotTaken) {
  Postgres_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(cstr(set, "seq", "3"));
  EXPECT_TRUE(cstr(set, "channels", "4"));
  EXPECT_TRUE(cstr(set, "mtf", "true"));
  EXPECT_TRUE(cstr(set, "db_info", "{\"a\":1}"));
  EXPECT_TRUE(cstr(set, "archive_log", "w1"));
  EXPECT_TRUE(cstr(set, "backup_files", "f1"));
  EXPECT_EQ(before, document_of(set));
}

// ---- print_int ------------------------------------------------------------

TEST(PostgresBackupSet, IntegerColumnsAreTaken) {
  Postgres_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "seq", 12));
  EXPECT_TRUE(set.print_int(0, "channels", 4));
  EXPECT_EQ(12u, set.seq);
  EXPECT_EQ(4u, set.channels);
  EXPECT_EQ(0u, own_keys(set, "postgres").find(R"("seq":12,"mtf":false,"channels":4,)"));
}

TEST(PostgresBackupSet, SeqAboveThirtyTwoBitsKeepsItsLow32Bits) {
  Postgres_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "seq", 4294967296LL));
  EXPECT_EQ(0u, set.seq);
  EXPECT_TRUE(set.print_int(0, "seq", 0x100000007LL));
  EXPECT_EQ(7u, set.seq);
  EXPECT_TRUE(set.print_int(0, "seq", -1));
  EXPECT_EQ(4294967295u, set.seq);
}

TEST(PostgresBackupSet, ChannelsKeepLow32Bits) {
  Postgres_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "channels", 0x200000003LL));
  EXPECT_EQ(3u, set.channels);
}

TEST(PostgresBackupSet, FlagsAreIntegerNotZero) {
  for (Flag_Key const& k : FLAG_KEYS) {
    Postgres_Backup_Set set;
    EXPECT_TRUE(set.print_int(0, k.key, 2)) << k.key;
    EXPECT_TRUE(set.*k.field) << k.key;
    for (Flag_Key const& other : FLAG_KEYS)
      if (other.field != k.field) {
        EXPECT_FALSE(set.*other.field) << k.key << " set " << other.key;
      }
    EXPECT_TRUE(set.print_int(0, k.key, 0)) << k.key;
    EXPECT_FALSE(set.*k.field) << k.key;
    EXPECT_TRUE(set.print_int(0, k.key, 1LL << 32)) << k.key;
    EXPECT_TRUE(set.*k.field) << k.key;
    EXPECT_TRUE(set.print_int(0, k.key, -1)) << k.key;
    EXPECT_TRUE(set.*k.field) << k.key;
  }
}

TEST(PostgresBackupSet, UnknownIntegerColumnGoesToTheBase) {
  Postgres_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "size", 1024));
  EXPECT_TRUE(set.print_int(0, "first_scn", -3));
  EXPECT_EQ(1024, set.size);
  EXPECT_EQ(-3, set.first_scn);
  EXPECT_EQ(0u, set.seq);
}

TEST(PostgresBackupSet, IntegerUnderTextOrTimeKeyChangesNothing) {
  Postgres_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_int(0, "log_branch", 1));
  EXPECT_TRUE(set.print_int(0, "backup_label_time", 1700000000));
  EXPECT_TRUE(set.print_int(0, "db_info", 1));
  EXPECT_EQ(before, document_of(set));
}

// ---- print_json -----------------------------------------------------------

TEST(PostgresBackupSet, ObjectColumnsReplaceTheirFields) {
  for (Object_Key const& k : OBJECT_KEYS) {
    Postgres_Backup_Set set;
    set.*k.field = Object{{"old", Value(1)}};
    Object const value{{"new", Value("v")}};
    EXPECT_TRUE(set.print_json(0, k.key, Value(value))) << k.key;
    EXPECT_EQ(value, set.*k.field) << k.key;
  }
}

TEST(PostgresBackupSet, ObjectColumnsTakenAreWrittenBack) {
  Postgres_Backup_Set set;
  EXPECT_TRUE(set.print_json(0, "db_info", Value(Object{{"d", Value(1)}})));
  EXPECT_TRUE(set.print_json(0, "db_size", Value(Object{{"d", Value(2)}})));
  EXPECT_TRUE(set.print_json(0, "tablespace_path", Value(Object{{"16385", Value("/t")}})));
  EXPECT_EQ(std::string(LEADING) + R"(,"db_info":{"d":1},"db_size":{"d":2},"tablespace_path":{"16385":"/t"}})",
            own_keys(set, "postgres"));
}

TEST(PostgresBackupSet, DbInfoArrayReachesTheBaseAndLeavesDbInfoEmpty) {
  Postgres_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_json(0, "db_info", Value(Array{Value("postgres")})));
  EXPECT_TRUE(set.db_info.empty());
  EXPECT_EQ(before, document_of(set));
}

TEST(PostgresBackupSet, NonObjectForObjectKeysLeavesTheFieldUnchanged) {
  Postgres_Backup_Set set;
  set.db_size = Object{{"keep", Value(1)}};
  set.tablespace_path = Object{{"keep", Value(2)}};
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_json(0, "db_size", Value(7)));
  EXPECT_TRUE(set.print_json(0, "tablespace_path", Value(Array())));
  EXPECT_TRUE(set.print_json(0, "tablespace_path", Value()));
  EXPECT_EQ((Object{{"keep", Value(1)}}), set.db_size);
  EXPECT_EQ((Object{{"keep", Value(2)}}), set.tablespace_path);
  EXPECT_EQ(before, document_of(set));
}

TEST(PostgresBackupSet, OtherJsonColumnsGoToTheBase) {
  Postgres_Backup_Set set;
  Object const obj{{"k", Value("v")}};
  EXPECT_TRUE(set.print_json(0, "extended_attrs", Value(obj)));
  EXPECT_TRUE(set.print_json(0, "resource_tree", Value(obj)));
  EXPECT_TRUE(set.print_json(0, "uname", Value(obj)));
  EXPECT_TRUE(set.print_json(0, "lsb", Value(obj)));
  EXPECT_EQ(obj, set.extended_attrs);
  EXPECT_EQ(obj, set.resource_tree);
  EXPECT_EQ(obj, set.uname);
  EXPECT_EQ(obj, set.lsb);
  EXPECT_TRUE(set.db_info.empty());
}

TEST(PostgresBackupSet, ListKeysAreNeverTakenFromJsonColumns) {
  Postgres_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_json(0, "archive_log", Value(Array{Value(Object{{"file", Value("w1")}})})));
  EXPECT_TRUE(set.print_json(0, "backup_files", Value(Array{Value(Object{{"file", Value("f1")}})})));
  EXPECT_TRUE(set.archive_log.empty());
  EXPECT_TRUE(set.backup_files.empty());
  EXPECT_EQ(before, document_of(set));
}

// ---- no print_uint / print_bool of its own --------------------------------

TEST(PostgresBackupSet, UnsignedAndFlagColumnsAreAcceptedAndIgnored) {
  Postgres_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_uint(0, "seq", 5));
  EXPECT_TRUE(set.print_uint(0, "channels", 5));
  EXPECT_TRUE(set.print_uint(0, "size", 5));
  EXPECT_TRUE(set.print_bool(0, "mtf", true));
  EXPECT_TRUE(set.print_bool(0, "has_meta", true));
  EXPECT_TRUE(set.print_bool(0, "contain_log", true));
  EXPECT_TRUE(set.print_bool(0, "multi_init", true));
  EXPECT_EQ(0, set.size);
  EXPECT_EQ(before, document_of(set));
}

// ---- guards ---------------------------------------------------------------

TEST(PostgresBackupSet, NullOrEmptyKeyIsRefusedAndLogged) {
  Log_Capture capture;
  Postgres_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_FALSE(set.print_cstr(0, nullptr, "x", 1));
  EXPECT_FALSE(set.print_cstr(0, "", "x", 1));
  EXPECT_FALSE(set.print_int(0, nullptr, 1));
  EXPECT_FALSE(set.print_int(0, "", 1));
  EXPECT_FALSE(set.print_json(0, nullptr, Value(Object{{"a", Value(1)}})));
  EXPECT_FALSE(set.print_json(0, "", Value(Object{{"a", Value(1)}})));
  expect_key_refusals(capture, 6, "postgres_backup_set.cpp");
  EXPECT_EQ(before, document_of(set));
}

TEST(PostgresBackupSet, ValuesInsideOpenMapOrArrayAreIgnored) {
  Postgres_Backup_Set set;
  database::sql::Query_Result_Printer& printer = set;
  printer.start_map(0, "db_info");
  EXPECT_TRUE(printer.print_cstr(0, "log_branch", "inner", 5));
  EXPECT_TRUE(printer.print_cstr(1, "backup_label_time", "2023-11-14 22:13:20", 19));
  EXPECT_TRUE(printer.print_int(2, "seq", 7));
  EXPECT_TRUE(printer.print_int(3, "mtf", 1));
  printer.start_array(4, "list");
  EXPECT_TRUE(printer.print_json(0, "db_size", Value(Object{{"a", Value(1)}})));
  EXPECT_TRUE(printer.print_json(1, "tablespace_path", Value(Object{{"a", Value(1)}})));
  printer.end_array();
  printer.end_map();
  EXPECT_EQ(base_prefix("postgres") + DEFAULT_KEYS, document_of(set));
  EXPECT_TRUE(printer.print_int(2, "seq", 7));
  EXPECT_EQ(7u, set.seq);
}

TEST(PostgresBackupSet, OverridesAreReachedThroughThePrinterBase) {
  Postgres_Backup_Set set;
  database::sql::Query_Result_Printer& printer = set;
  EXPECT_TRUE(printer.print_cstr(0, "timeline", "3", 1));
  EXPECT_TRUE(printer.print_int(1, "multi_init", 1));
  EXPECT_TRUE(printer.print_json(2, "tablespace_path", Value(Object{{"a", Value("/a")}})));
  EXPECT_EQ("3", set.timeline);
  EXPECT_TRUE(set.multi_init);
  EXPECT_EQ((Object{{"a", Value("/a")}}), set.tablespace_path);
  Log_Capture capture;
  EXPECT_FALSE(printer.print_json(0, "", Value()));
  EXPECT_FALSE(printer.print_cstr(0, nullptr, "x", 1));
  expect_key_refusals(capture, 2, "postgres_backup_set.cpp");
}

TEST(PostgresBackupSet, RowTakenThroughIntakeIsWrittenBack) {
  Postgres_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "seq", 3));
  EXPECT_TRUE(set.print_json(0, "db_info", Value(Object{{"db", Value("app")}})));
  EXPECT_TRUE(set.print_json(0, "db_size", Value(Object{{"app", Value(42)}})));
  EXPECT_TRUE(set.print_int(0, "mtf", 1));
  EXPECT_TRUE(cstr(set, "flavor", "F"));
  EXPECT_TRUE(cstr(set, "grade", "G"));
  EXPECT_TRUE(cstr(set, "format", "M"));
  EXPECT_TRUE(cstr(set, "log_branch", "L"));
  EXPECT_TRUE(cstr(set, "start_wal_file", "W"));
  EXPECT_TRUE(set.print_json(0, "tablespace_path", Value(Object{{"1", Value("/t")}})));
  EXPECT_TRUE(set.print_int(0, "channels", 2));
  EXPECT_TRUE(set.print_int(0, "contain_log", 1));
  EXPECT_EQ(base_prefix("postgres") +
                R"("seq":3,"mtf":true,"channels":2,"has_meta":false,"contain_log":true,"multi_init":false,)"
                R"("db_info":{"db":"app"},"db_size":{"app":42},"log_branch":"L","start_wal_file":"W",)"
                R"("flavor":"F","grade":"G","format":"M","tablespace_path":{"1":"/t"}})",
            document_of(set));
}

// ---- statement ------------------------------------------------------------

TEST(PostgresBackupSet, StatementReadsBothTablesUnderTheGivenAliases) {
  Select_SQL sql("backup_set", "b");
  Postgres_Backup_Set::init_select_sql(sql, "p", "ph", "b");
  Select_SQL base("backup_set", "b");
  Backup_Set::init_select_sql(base, "b");
  ASSERT_GT(sql.columns().size(), base.columns().size());
  EXPECT_TRUE(std::equal(base.columns().begin(), base.columns().end(), sql.columns().begin()));
  EXPECT_EQ("backup_set", sql.from_table());
  EXPECT_EQ("b", sql.from_alias());
  EXPECT_EQ(expected_columns("p", "ph"), own_columns(sql));
  ASSERT_EQ(2u, sql.joins().size());
  EXPECT_EQ("postgres_backup_set", sql.joins()[0].table);
  EXPECT_EQ("p", sql.joins()[0].alias);
  EXPECT_EQ("p.set_uuid=b.uuid", sql.joins()[0].condition);
  EXPECT_EQ("postgres_physical_set", sql.joins()[1].table);
  EXPECT_EQ("ph", sql.joins()[1].alias);
  EXPECT_EQ("ph.set_uuid=b.uuid", sql.joins()[1].condition);
  EXPECT_FALSE(sql.inner(0));
  EXPECT_FALSE(sql.inner(1));
}

TEST(PostgresBackupSet, StatementFollowsOtherAliases) {
  Select_SQL sql("x", "y");
  Postgres_Backup_Set::init_select_sql(sql, "pg", "phy", "s");
  Select_SQL base("x", "y");
  Backup_Set::init_select_sql(base, "s");
  EXPECT_TRUE(std::equal(base.columns().begin(), base.columns().end(), sql.columns().begin()));
  EXPECT_EQ("s", sql.from_alias());
  EXPECT_EQ(expected_columns("pg", "phy"), own_columns(sql));
  ASSERT_EQ(2u, sql.joins().size());
  EXPECT_EQ("pg", sql.joins()[0].alias);
  EXPECT_EQ("pg.set_uuid=s.uuid", sql.joins()[0].condition);
  EXPECT_EQ("phy", sql.joins()[1].alias);
  EXPECT_EQ("phy.set_uuid=s.uuid", sql.joins()[1].condition);
}

TEST(PostgresBackupSet, NullPhysicalAliasLeavesOutPhysicalColumnsAndSecondJoin) {
  Select_SQL sql("backup_set", "b");
  Postgres_Backup_Set::init_select_sql(sql, "p", nullptr, "b");
  EXPECT_EQ(expected_columns("p", nullptr), own_columns(sql));
  ASSERT_EQ(1u, sql.joins().size());
  EXPECT_EQ("postgres_backup_set", sql.joins()[0].table);
  EXPECT_EQ("p", sql.joins()[0].alias);
  EXPECT_EQ("p.set_uuid=b.uuid", sql.joins()[0].condition);
}

TEST(PostgresBackupSet, EmptyPhysicalAliasKeepsPhysicalColumnsAndJoinWithEmptyAlias) {
  Select_SQL sql("backup_set", "b");
  Postgres_Backup_Set::init_select_sql(sql, "p", "", "b");
  Columns const own = own_columns(sql);
  EXPECT_EQ(expected_columns("p", ""), own);
  ASSERT_EQ(22u, own.size());
  EXPECT_EQ((Select_SQL::Column{".log_branch", "log_branch"}), own[7]);
  EXPECT_EQ((Select_SQL::Column{".contain_log", "contain_log"}), own.back());
  ASSERT_EQ(2u, sql.joins().size());
  EXPECT_EQ("postgres_physical_set", sql.joins()[1].table);
  EXPECT_EQ("", sql.joins()[1].alias);
  EXPECT_EQ(".set_uuid=b.uuid", sql.joins()[1].condition);
}

TEST(PostgresBackupSet, KindStatementUsesAliasesPAndPh) {
  Select_SQL by_kind("backup_set", "b");
  Postgres_Backup_Set::kind().init_select_sql(by_kind, "b");
  Select_SQL direct("backup_set", "b");
  Postgres_Backup_Set::init_select_sql(direct, "p", "ph", "b");
  EXPECT_EQ(direct.columns(), by_kind.columns());
  ASSERT_EQ(2u, by_kind.joins().size());
  for (size_t i = 0; i < 2; ++i) {
    EXPECT_EQ(direct.joins()[i].table, by_kind.joins()[i].table);
    EXPECT_EQ(direct.joins()[i].alias, by_kind.joins()[i].alias);
    EXPECT_EQ(direct.joins()[i].condition, by_kind.joins()[i].condition);
  }
  EXPECT_EQ(Backup_Set_Kind::OWN, Postgres_Backup_Set::kind().selection());

  Select_SQL other("backup_set", "s");
  Postgres_Backup_Set::kind().init_select_sql(other, "s");
  EXPECT_EQ("s", other.from_alias());
  EXPECT_EQ(expected_columns("p", "ph"), own_columns(other));
  ASSERT_EQ(2u, other.joins().size());
  EXPECT_EQ("p.set_uuid=s.uuid", other.joins()[0].condition);
  EXPECT_EQ("ph.set_uuid=s.uuid", other.joins()[1].condition);
}

TEST(PostgresBackupSet, KindKeepsItsColumnsInTwoMemberTables) {
  auto const& tables = Postgres_Backup_Set::kind().member_tables();
  ASSERT_EQ(2u, tables.size());
  EXPECT_STREQ("postgres_backup_set", tables[0].table);
  EXPECT_STREQ("p", tables[0].alias);
  EXPECT_STREQ("postgres_physical_set", tables[1].table);
  EXPECT_STREQ("ph", tables[1].alias);
  std::vector<std::string> first, second;
  for (Kind_Field const* f : tables[0].columns) first.push_back(f->key);
  for (Kind_Field const* f : tables[1].columns) second.push_back(f->key);
  EXPECT_EQ(std::vector<std::string>(std::begin(SET_COLUMNS), std::end(SET_COLUMNS)), first);
  EXPECT_EQ(std::vector<std::string>(std::begin(PHYSICAL_COLUMNS), std::end(PHYSICAL_COLUMNS)), second);
}

// ---- kind -----------------------------------------------------------------

TEST(PostgresBackupSet, CatalogueModuleIsPostgres) {
  expect_catalogue_module<Postgres_Backup_Set>("postgres");
  EXPECT_STREQ("Postgres_Backup_Set", Postgres_Backup_Set::kind().class_name());
  EXPECT_STREQ("postgres_backup_set", Postgres_Backup_Set::kind().table());
  EXPECT_STREQ("p", Postgres_Backup_Set::kind().alias());
}

TEST(PostgresBackupSet, KindIsListedInTheRegistry) {
  expect_listed_in_registry<Postgres_Backup_Set>();
  EXPECT_EQ(&Postgres_Backup_Set::kind(), Backup_Set_Kinds::find("postgres"));
}
