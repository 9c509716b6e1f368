#include <algorithm>
#include <climits>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/oracle_backup_set.h"
#include "platform/sql/select_sql.h"
#include "platform/time/iso8601.h"
#include "tests/kinds/kind_test_support.h"
#include "tests/records/document.h"
#include "tests/support/log_capture.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

// Time 0 in the document's time format, worked out by hand.
char const EPOCH_TEXT[] = "1970-01-01 00:00:00";

// Every key a fresh set writes behind the base keys, closing brace included.
char const DEFAULT_KEYS[] =
    R"("archivelog":false,"cluster":false,"standby":false,"cdb":false,)"
    R"("reset_time":"1970-01-01 00:00:00","controlfile_time":"1970-01-01 00:00:00",)"
    R"("checkpoint_time":"1970-01-01 00:00:00",)"
    R"("dbid":0,"db_incarnation":0,"reset_scn":0,"controlfile_scn":0,"checkpoint_scn":0,)"
    R"("backup_type":"","database":"","compatible":"","scsipool_id":"","stage_id":"","snapshot_id":"",)"
    R"("merge_tag":"","merge_size":0,"timezone_offset":0,"special_files":{},"pdbs":[]})";

struct Text_Key {
  char const* key;
  std::string Oracle_Backup_Set::*field;
};

// Document order of the string keys.
Text_Key const TEXT_KEYS[] = {
    {"backup_type", &Oracle_Backup_Set::backup_type}, {"database", &Oracle_Backup_Set::database},
    {"compatible", &Oracle_Backup_Set::compatible},   {"scsipool_id", &Oracle_Backup_Set::scsipool_id},
    {"stage_id", &Oracle_Backup_Set::stage_id},       {"snapshot_id", &Oracle_Backup_Set::snapshot_id},
    {"merge_tag", &Oracle_Backup_Set::merge_tag},
};

struct Time_Key {
  char const* key;
  long long Oracle_Backup_Set::*field;
};

Time_Key const TIME_KEYS[] = {
    {"reset_time", &Oracle_Backup_Set::reset_time},
    {"controlfile_time", &Oracle_Backup_Set::controlfile_time},
    {"checkpoint_time", &Oracle_Backup_Set::checkpoint_time},
};

struct Scn_Key {
  char const* key;
  unsigned long long Oracle_Backup_Set::*field;
};

Scn_Key const UNSIGNED_KEYS[] = {
    {"dbid", &Oracle_Backup_Set::dbid},
    {"db_incarnation", &Oracle_Backup_Set::db_incarnation},
    {"reset_scn", &Oracle_Backup_Set::reset_scn},
    {"controlfile_scn", &Oracle_Backup_Set::controlfile_scn},
    {"checkpoint_scn", &Oracle_Backup_Set::checkpoint_scn},
};

struct Flag_Key {
  char const* key;
  bool Oracle_Backup_Set::*field;
};

Flag_Key const FLAG_KEYS[] = {
    {"archivelog", &Oracle_Backup_Set::archivelog},
    {"cluster", &Oracle_Backup_Set::cluster},
    {"standby", &Oracle_Backup_Set::standby},
    {"cdb", &Oracle_Backup_Set::cdb},
};

// The kind's columns in statement order, on alias "o".
Columns const OWN_COLUMNS = {
    {"o.archivelog", "archivelog"},
    {"o.cluster", "cluster"},
    {"o.standby", "standby"},
    {"o.cdb", "cdb"},
    {"o.reset_time", "reset_time"},
    {"o.controlfile_time", "controlfile_time"},
    {"o.checkpoint_time", "checkpoint_time"},
    {"o.timezone_offset", "timezone_offset"},
    {"o.dbid", "dbid"},
    {"o.db_incarnation", "db_incarnation"},
    {"o.reset_scn", "reset_scn"},
    {"o.controlfile_scn", "controlfile_scn"},
    {"o.checkpoint_scn", "checkpoint_scn"},
    {"o.backup_type", "backup_type"},
    {"o.database", "database"},
    {"o.compatible", "compatible"},
    {"o.scsipool_id", "scsipool_id"},
    {"o.stage_id", "stage_id"},
    {"o.snapshot_id", "snapshot_id"},
    {"o.merge_tag", "merge_tag"},
    {"o.special_files", "special_files"},
};

}  // namespace

// ---- document -------------------------------------------------------------

TEST(OracleBackupSet, DefaultDocumentIsBaseThenAllTwentyThreeOwnKeys) {
  expect_default_document<Oracle_Backup_Set>("oracle", DEFAULT_KEYS);
}

TEST(OracleBackupSet, DefaultSetWritesEmptySpecialFilesObjectAndEmptyPdbsArray) {
  Oracle_Backup_Set set;
  std::string const keys = own_keys(set, "oracle");
  EXPECT_NE(std::string::npos, keys.find(R"("special_files":{},"pdbs":[]})")) << keys;
  // 23 own keys, each written once.
  size_t const expected_keys = 23;
  EXPECT_EQ(expected_keys, occurrences(keys, "\":")) << keys;
  EXPECT_EQ(EPOCH_TEXT, POSIX_Time_To_ISO8601(0, "%Y-%m-%d %H:%M:%S"));
}

TEST(OracleBackupSet, FilledDocumentHasEveryKeyInOrder) {
  Oracle_Backup_Set set;
  set.archivelog = true;
  set.cluster = true;
  set.standby = false;
  set.cdb = true;
  set.reset_time = 946684800;         // 2000-01-01 00:00:00
  set.controlfile_time = 1700000000;  // 2023-11-14 22:13:20
  set.checkpoint_time = 1700007200;   // two hours later
  set.timezone_offset = -28800;
  set.dbid = 1234567890ULL;
  set.db_incarnation = 2;
  set.reset_scn = 4294967296ULL;
  set.controlfile_scn = 9007199254740993ULL;
  set.checkpoint_scn = 12345678901234ULL;
  set.merge_size = 1048576;
  set.backup_type = "incremental";
  set.database = "ORCL";
  set.compatible = "19.0.0";
  set.scsipool_id = "pool \"1\"";
  set.stage_id = "C:\\stage";
  set.snapshot_id = "snap-\xE5\xBF\xAB";  // one CJK character
  set.merge_tag = "TAG_1";
  set.special_files = Object{{"spfile", Value("/u01/spfile.ora")}, {"controlfile", Value(Array{Value("a")})}};
  set.pdbs = Array{Value(Object{{"name", Value("PDB1")}, {"con_id", Value(3)}}), Value("PDB2")};
  Generated doc = generate_text(set);
  EXPECT_TRUE(doc.ok);
  EXPECT_EQ(base_prefix("oracle") +
                R"("archivelog":true,"cluster":true,"standby":false,"cdb":true,)"
                R"("reset_time":"2000-01-01 00:00:00","controlfile_time":"2023-11-14 22:13:20",)"
                R"("checkpoint_time":"2023-11-15 00:13:20",)"
                R"("dbid":1234567890,"db_incarnation":2,"reset_scn":4294967296,)"
                R"("controlfile_scn":9007199254740993,"checkpoint_scn":12345678901234,)"
                R"("backup_type":"incremental","database":"ORCL","compatible":"19.0.0",)"
                R"("scsipool_id":"pool \"1\"","stage_id":"C:\\stage","snapshot_id":"snap-)"
                "\xE5\xBF\xAB"
                R"(","merge_tag":"TAG_1","merge_size":1048576,"timezone_offset":-28800,)"
                R"("special_files":{"controlfile":["a"],"spfile":"/u01/spfile.ora"},)"
                R"("pdbs":[{"con_id":3,"name":"PDB1"},"PDB2"]})",
            doc.text);
}

TEST(OracleBackupSet, UnsignedValuesAboveTwoToTheSixtyThirdAreWrittenUnsigned) {
  Oracle_Backup_Set set;
  set.dbid = 18446744073709551615ULL;
  set.db_incarnation = 9223372036854775808ULL;
  set.reset_scn = 18446744073709551614ULL;
  set.controlfile_scn = 9223372036854775809ULL;
  set.checkpoint_scn = 18446744073709551615ULL;
  set.merge_size = 9223372036854775808ULL;
  std::string const keys = own_keys(set, "oracle");
  EXPECT_NE(std::string::npos,
            keys.find(R"("dbid":18446744073709551615,"db_incarnation":9223372036854775808,)"
                      R"("reset_scn":18446744073709551614,"controlfile_scn":9223372036854775809,)"
                      R"("checkpoint_scn":18446744073709551615,)"))
      << keys;
  EXPECT_NE(std::string::npos, keys.find(R"("merge_size":9223372036854775808,)")) << keys;
  EXPECT_EQ(std::string::npos, keys.find("\":-")) << keys;
}

TEST(OracleBackupSet, TimezoneOffsetKeepsTheFullSignedRange) {
  Oracle_Backup_Set set;
  set.timezone_offset = LLONG_MIN;
  EXPECT_NE(std::string::npos, own_keys(set, "oracle").find(R"("timezone_offset":-9223372036854775808,)"));
  set.timezone_offset = LLONG_MAX;
  EXPECT_NE(std::string::npos, own_keys(set, "oracle").find(R"("timezone_offset":9223372036854775807,)"));
}

TEST(OracleBackupSet, TimesBeforeTheEpochAreWrittenAsText) {
  Oracle_Backup_Set set;
  set.reset_time = -1;
  EXPECT_NE(std::string::npos, own_keys(set, "oracle").find(R"("reset_time":"1969-12-31 23:59:59",)"));
}

TEST(OracleBackupSet, GenerateDoesNotChangeTheRecord) {
  Oracle_Backup_Set set;
  set.database = "ORCL";
  set.pdbs = Array{Value("PDB1")};
  std::string const first = document_of(set);
  EXPECT_EQ(first, document_of(set));
  EXPECT_EQ("ORCL", set.database);
  EXPECT_EQ((Array{Value("PDB1")}), set.pdbs);
}

// ---- print_cstr -----------------------------------------------------------

TEST(OracleBackupSet, TimeColumnsAreReadFromIsoText) {
  Oracle_Backup_Set set;
  EXPECT_TRUE(cstr(set, "reset_time", "2000-01-01 00:00:00"));
  EXPECT_TRUE(cstr(set, "controlfile_time", "2023-11-14 22:13:20"));
  EXPECT_TRUE(cstr(set, "checkpoint_time", "2023-11-14T22:13:20+08:00"));
  EXPECT_EQ(946684800, set.reset_time);
  EXPECT_EQ(1700000000, set.controlfile_time);
  EXPECT_EQ(1700000000 - 8 * 3600, set.checkpoint_time);
  EXPECT_EQ(0, set.backup_start_time);
  std::string const keys = own_keys(set, "oracle");
  EXPECT_NE(std::string::npos,
            keys.find(R"("reset_time":"2000-01-01 00:00:00","controlfile_time":"2023-11-14 22:13:20",)"
                      R"("checkpoint_time":"2023-11-14 14:13:20",)"))
      << keys;
}

TEST(OracleBackupSet, TimeTextIsReadOnlyUpToItsLength) {
  Oracle_Backup_Set set;
  char const text[] = "2023-11-14 22:13:20999";
  for (Time_Key const& t : TIME_KEYS) {
    EXPECT_TRUE(set.print_cstr(0, t.key, text, 19)) << t.key;
    EXPECT_EQ(1700000000, set.*t.field) << t.key;
  }
}

TEST(OracleBackupSet, TextColumnsAreTaken) {
  Oracle_Backup_Set set;
  for (Text_Key const& t : TEXT_KEYS) EXPECT_TRUE(cstr(set, t.key, std::string("v-") + t.key)) << t.key;
  for (Text_Key const& t : TEXT_KEYS) EXPECT_EQ(std::string("v-") + t.key, set.*t.field) << t.key;
  // The base's own "name" and "instance" are untouched.
  EXPECT_EQ("", set.name);
  EXPECT_EQ("", set.instance);
}

TEST(OracleBackupSet, TextColumnTakesOnlyGivenLength) {
  Oracle_Backup_Set set;
  EXPECT_TRUE(set.print_cstr(0, "database", "ORCLCDB", 4));
  EXPECT_EQ("ORCL", set.database);
  EXPECT_TRUE(set.print_cstr(0, "merge_tag", "a\0b", 3));
  EXPECT_EQ(std::string("a\0b", 3), set.merge_tag);
}

TEST(OracleBackupSet, UnknownTextColumnGoesToTheBase) {
  Oracle_Backup_Set set;
  EXPECT_TRUE(cstr(set, "name", "nightly"));
  EXPECT_TRUE(cstr(set, "uuid", "u-1"));
  EXPECT_TRUE(cstr(set, "backup_start_time", "2023-11-14 22:13:20"));
  EXPECT_EQ("nightly", set.name);
  EXPECT_EQ("u-1", set.uuid);
  EXPECT_EQ(1700000000, set.backup_start_time);
}

TEST(OracleBackupSet, NumberAndFlagKeysGivenAsTextAreNotTaken) {
  Oracle_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(cstr(set, "dbid", "5"));
  EXPECT_TRUE(cstr(set, "timezone_offset", "6"));
  EXPECT_TRUE(cstr(set, "merge_size", "7"));
  EXPECT_TRUE(cstr(set, "archivelog", "true"));
  EXPECT_TRUE(cstr(set, "special_files", "{}"));
  EXPECT_TRUE(cstr(set, "pdbs", "[\"PDB1\"]"));
  EXPECT_EQ(before, document_of(set));
}

// ---- print_int ------------------------------------------------------------

TEST(OracleBackupSet, TimezoneOffsetIsTakenByPrintInt) {
  Oracle_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "timezone_offset", -28800));
  EXPECT_EQ(-28800, set.timezone_offset);
  EXPECT_TRUE(set.print_int(0, "timezone_offset", LLONG_MIN));
  EXPECT_EQ(LLONG_MIN, set.timezone_offset);
  EXPECT_TRUE(set.print_int(0, "timezone_offset", LLONG_MAX));
  EXPECT_EQ(LLONG_MAX, set.timezone_offset);
}

TEST(OracleBackupSet, UnknownIntegerColumnGoesToTheBase) {
  Oracle_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "size", 4096));
  EXPECT_TRUE(set.print_int(0, "first_scn", -5));
  EXPECT_EQ(4096, set.size);
  EXPECT_EQ(-5, set.first_scn);
  EXPECT_EQ(0, set.timezone_offset);
}

TEST(OracleBackupSet, UnsignedAndFlagKeysAreNotTakenByPrintInt) {
  Oracle_Backup_Set set;
  std::string const before = document_of(set);
  for (Scn_Key const& k : UNSIGNED_KEYS) EXPECT_TRUE(set.print_int(0, k.key, 5)) << k.key;
  for (Flag_Key const& k : FLAG_KEYS) EXPECT_TRUE(set.print_int(0, k.key, 1)) << k.key;
  EXPECT_TRUE(set.print_int(0, "merge_size", 9));
  EXPECT_TRUE(set.print_int(0, "reset_time", 1700000000));
  EXPECT_EQ(before, document_of(set));
}

// ---- print_uint -----------------------------------------------------------

TEST(OracleBackupSet, UnsignedColumnsAreTakenByPrintUint) {
  Oracle_Backup_Set set;
  unsigned long long value = 18446744073709551615ULL;
  for (Scn_Key const& k : UNSIGNED_KEYS) EXPECT_TRUE(set.print_uint(0, k.key, value--)) << k.key;
  EXPECT_EQ(18446744073709551615ULL, set.dbid);
  EXPECT_EQ(18446744073709551614ULL, set.db_incarnation);
  EXPECT_EQ(18446744073709551613ULL, set.reset_scn);
  EXPECT_EQ(18446744073709551612ULL, set.controlfile_scn);
  EXPECT_EQ(18446744073709551611ULL, set.checkpoint_scn);
  EXPECT_EQ(0, set.size);
}

TEST(OracleBackupSet, UnknownUnsignedColumnReachesTheBaseAsSignedInteger) {
  Oracle_Backup_Set set;
  EXPECT_TRUE(set.print_uint(0, "size", 7));
  EXPECT_EQ(7, set.size);
  EXPECT_TRUE(set.print_uint(0, "source_size", 4294967296ULL));
  EXPECT_EQ(4294967296LL, set.source_size);
  // Read as a signed 64-bit value.
  EXPECT_TRUE(set.print_uint(0, "last_scn", 18446744073709551615ULL));
  EXPECT_EQ(-1, set.last_scn);
  EXPECT_TRUE(set.print_uint(0, "first_scn", 9223372036854775808ULL));
  EXPECT_EQ(LLONG_MIN, set.first_scn);
}

TEST(OracleBackupSet, UnsignedValueOfOtherOwnKeysIsNotTaken) {
  Oracle_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_uint(0, "merge_size", 9));
  EXPECT_TRUE(set.print_uint(0, "timezone_offset", 9));
  EXPECT_TRUE(set.print_uint(0, "archivelog", 1));
  EXPECT_TRUE(set.print_uint(0, "database", 1));
  EXPECT_EQ(0u, set.merge_size);
  EXPECT_EQ(0, set.timezone_offset);
  EXPECT_FALSE(set.archivelog);
  EXPECT_EQ(before, document_of(set));
}

// ---- print_bool -----------------------------------------------------------

TEST(OracleBackupSet, FlagsAreTakenByPrintBool) {
  for (Flag_Key const& k : FLAG_KEYS) {
    Oracle_Backup_Set set;
    EXPECT_TRUE(set.print_bool(0, k.key, true)) << k.key;
    EXPECT_TRUE(set.*k.field) << k.key;
    for (Flag_Key const& other : FLAG_KEYS)
      if (other.field != k.field) {
        EXPECT_FALSE(set.*other.field) << k.key << " set " << other.key;
      }
    EXPECT_TRUE(set.print_bool(0, k.key, false)) << k.key;
    EXPECT_FALSE(set.*k.field) << k.key;
  }
}

TEST(OracleBackupSet, MergeSizeTakesAFlagAsZeroOrOne) {
  Oracle_Backup_Set set;
  set.merge_size = 12345;
  EXPECT_TRUE(set.print_bool(0, "merge_size", true));
  EXPECT_EQ(1u, set.merge_size);
  EXPECT_NE(std::string::npos, own_keys(set, "oracle").find(R"("merge_size":1,)"));
  EXPECT_TRUE(set.print_bool(0, "merge_size", false));
  EXPECT_EQ(0u, set.merge_size);
  EXPECT_EQ(0, set.size);
}

TEST(OracleBackupSet, UnknownFlagColumnReachesTheBaseAsZeroOrOne) {
  Oracle_Backup_Set set;
  EXPECT_TRUE(set.print_bool(0, "size", true));
  EXPECT_EQ(1, set.size);
  EXPECT_TRUE(set.print_bool(0, "last_scn", true));
  EXPECT_EQ(1, set.last_scn);
  EXPECT_TRUE(set.print_bool(0, "size", false));
  EXPECT_EQ(0, set.size);
  EXPECT_EQ(0u, set.merge_size);
}

TEST(OracleBackupSet, FlagValueOfOtherOwnKeysIsNotTaken) {
  Oracle_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_bool(0, "dbid", true));
  EXPECT_TRUE(set.print_bool(0, "timezone_offset", true));
  EXPECT_TRUE(set.print_bool(0, "database", true));
  EXPECT_TRUE(set.print_bool(0, "Archivelog", true));
  EXPECT_EQ(before, document_of(set));
}

// ---- print_json -----------------------------------------------------------

TEST(OracleBackupSet, SpecialFilesObjectReplacesTheField) {
  Oracle_Backup_Set set;
  set.special_files = Object{{"old", Value(1)}};
  Object const files{{"spfile", Value("/u01/spfile.ora")}, {"pwfile", Value("/u01/orapw")}};
  EXPECT_TRUE(set.print_json(0, "special_files", Value(files)));
  EXPECT_EQ(files, set.special_files);
  EXPECT_NE(std::string::npos,
            own_keys(set, "oracle").find(R"("special_files":{"pwfile":"/u01/orapw","spfile":"/u01/spfile.ora"},)"));
  EXPECT_TRUE(set.print_json(0, "special_files", Value(Object())));
  EXPECT_TRUE(set.special_files.empty());
}

TEST(OracleBackupSet, SpecialFilesArrayIsAcceptedAndLeavesTheFieldUnchanged) {
  Oracle_Backup_Set set;
  set.special_files = Object{{"spfile", Value("/keep")}};
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_json(0, "special_files", Value(Array{Value("/u01/spfile.ora")})));
  EXPECT_TRUE(set.print_json(0, "special_files", Value("/u01/spfile.ora")));
  EXPECT_TRUE(set.print_json(0, "special_files", Value()));
  EXPECT_EQ((Object{{"spfile", Value("/keep")}}), set.special_files);
  EXPECT_EQ(before, document_of(set));
}

TEST(OracleBackupSet, ReadingNeverFillsTheBaseJsonColumns) {
  Oracle_Backup_Set set;
  Object const obj{{"k", Value("v")}};
  EXPECT_TRUE(set.print_json(0, "extended_attrs", Value(obj)));
  EXPECT_TRUE(set.print_json(0, "resource_tree", Value(obj)));
  EXPECT_TRUE(set.print_json(0, "uname", Value(obj)));
  EXPECT_TRUE(set.print_json(0, "lsb", Value(obj)));
  EXPECT_TRUE(set.extended_attrs.empty());
  EXPECT_TRUE(set.resource_tree.empty());
  EXPECT_TRUE(set.uname.empty());
  EXPECT_TRUE(set.lsb.empty());
  EXPECT_EQ(base_prefix("oracle") + DEFAULT_KEYS, document_of(set));
}

TEST(OracleBackupSet, OtherJsonColumnsAreAcceptedAndDropped) {
  Oracle_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_json(0, "pdbs", Value(Array{Value("PDB1")})));
  EXPECT_TRUE(set.print_json(0, "pdbs", Value(Object{{"name", Value("PDB1")}})));
  EXPECT_TRUE(set.print_json(0, "database", Value("ORCL")));
  EXPECT_TRUE(set.print_json(0, "whatever", Value(Object{{"a", Value(1)}})));
  EXPECT_TRUE(set.pdbs.empty());
  EXPECT_EQ("", set.database);
  EXPECT_EQ(before, document_of(set));
}

// ---- guards ---------------------------------------------------------------

TEST(OracleBackupSet, NullOrEmptyKeyIsRefusedAndLoggedByEveryOperation) {
  Log_Capture capture;
  Oracle_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_FALSE(set.print_cstr(0, nullptr, "x", 1));
  EXPECT_FALSE(set.print_cstr(0, "", "x", 1));
  EXPECT_FALSE(set.print_int(0, nullptr, 1));
  EXPECT_FALSE(set.print_int(0, "", 1));
  EXPECT_FALSE(set.print_uint(0, nullptr, 1));
  EXPECT_FALSE(set.print_uint(0, "", 1));
  EXPECT_FALSE(set.print_bool(0, nullptr, true));
  EXPECT_FALSE(set.print_bool(0, "", true));
  EXPECT_FALSE(set.print_json(0, nullptr, Value(Object{{"a", Value(1)}})));
  EXPECT_FALSE(set.print_json(0, "", Value(Object{{"a", Value(1)}})));
  expect_key_refusals(capture, 10, "oracle_backup_set.cpp");
  EXPECT_EQ(before, document_of(set));
}

TEST(OracleBackupSet, ValuesInsideOpenMapOrArrayAreIgnored) {
  Oracle_Backup_Set set;
  database::sql::Query_Result_Printer& printer = set;
  printer.start_array(0, "pieces");
  printer.start_map(0, "");
  EXPECT_TRUE(printer.print_cstr(0, "database", "inner", 5));
  EXPECT_TRUE(printer.print_cstr(1, "reset_time", "2023-11-14 22:13:20", 19));
  EXPECT_TRUE(printer.print_int(2, "timezone_offset", 7));
  EXPECT_TRUE(printer.print_uint(3, "dbid", 8));
  EXPECT_TRUE(printer.print_uint(4, "size", 9));
  EXPECT_TRUE(printer.print_bool(5, "archivelog", true));
  EXPECT_TRUE(printer.print_bool(6, "merge_size", true));
  EXPECT_TRUE(printer.print_json(7, "special_files", Value(Object{{"a", Value(1)}})));
  printer.end_map();
  EXPECT_TRUE(printer.print_cstr(0, "name", "inner", 5));
  printer.end_array();
  EXPECT_EQ(base_prefix("oracle") + DEFAULT_KEYS, document_of(set));
  EXPECT_TRUE(printer.print_bool(5, "archivelog", true));
  EXPECT_TRUE(set.archivelog);
}

TEST(OracleBackupSet, OverridesAreReachedThroughThePrinterBase) {
  Oracle_Backup_Set set;
  database::sql::Query_Result_Printer& printer = set;
  EXPECT_TRUE(printer.print_cstr(0, "compatible", "19.0.0", 6));
  EXPECT_TRUE(printer.print_int(1, "timezone_offset", 3600));
  EXPECT_TRUE(printer.print_uint(2, "checkpoint_scn", 18446744073709551615ULL));
  EXPECT_TRUE(printer.print_bool(3, "standby", true));
  EXPECT_TRUE(printer.print_json(4, "special_files", Value(Object{{"a", Value(1)}})));
  EXPECT_EQ("19.0.0", set.compatible);
  EXPECT_EQ(3600, set.timezone_offset);
  EXPECT_EQ(18446744073709551615ULL, set.checkpoint_scn);
  EXPECT_TRUE(set.standby);
  EXPECT_EQ((Object{{"a", Value(1)}}), set.special_files);
  Log_Capture capture;
  EXPECT_FALSE(printer.print_uint(0, "", 1));
  EXPECT_FALSE(printer.print_json(0, nullptr, Value()));
  expect_key_refusals(capture, 2, "oracle_backup_set.cpp");
}

TEST(OracleBackupSet, RowTakenThroughIntakeIsWrittenBack) {
  Oracle_Backup_Set set;
  EXPECT_TRUE(set.print_bool(0, "archivelog", true));
  EXPECT_TRUE(set.print_bool(0, "cluster", false));
  EXPECT_TRUE(set.print_bool(0, "standby", true));
  EXPECT_TRUE(set.print_bool(0, "cdb", true));
  EXPECT_TRUE(cstr(set, "reset_time", "2000-01-01 00:00:00"));
  EXPECT_TRUE(cstr(set, "controlfile_time", "2023-11-14 22:13:20"));
  EXPECT_TRUE(cstr(set, "checkpoint_time", "2023-11-15 00:13:20"));
  EXPECT_TRUE(set.print_int(0, "timezone_offset", 28800));
  EXPECT_TRUE(set.print_uint(0, "dbid", 1));
  EXPECT_TRUE(set.print_uint(0, "db_incarnation", 2));
  EXPECT_TRUE(set.print_uint(0, "reset_scn", 3));
  EXPECT_TRUE(set.print_uint(0, "controlfile_scn", 4));
  EXPECT_TRUE(set.print_uint(0, "checkpoint_scn", 18446744073709551615ULL));
  EXPECT_TRUE(cstr(set, "backup_type", "full"));
  EXPECT_TRUE(cstr(set, "database", "D"));
  EXPECT_TRUE(cstr(set, "compatible", "C"));
  EXPECT_TRUE(cstr(set, "scsipool_id", "P"));
  EXPECT_TRUE(cstr(set, "stage_id", "S"));
  EXPECT_TRUE(cstr(set, "snapshot_id", "N"));
  EXPECT_TRUE(cstr(set, "merge_tag", "T"));
  EXPECT_TRUE(set.print_json(0, "special_files", Value(Object{{"spfile", Value("/s")}})));
  EXPECT_EQ(base_prefix("oracle") +
                R"("archivelog":true,"cluster":false,"standby":true,"cdb":true,)"
                R"("reset_time":"2000-01-01 00:00:00","controlfile_time":"2023-11-14 22:13:20",)"
                R"("checkpoint_time":"2023-11-15 00:13:20",)"
                R"("dbid":1,"db_incarnation":2,"reset_scn":3,"controlfile_scn":4,)"
                R"("checkpoint_scn":18446744073709551615,)"
                R"("backup_type":"full","database":"D","compatible":"C","scsipool_id":"P","stage_id":"S",)"
                R"("snapshot_id":"N","merge_tag":"T","merge_size":0,"timezone_offset":28800,)"
                R"("special_files":{"spfile":"/s"},"pdbs":[]})",
            document_of(set));
}

// ---- statement ------------------------------------------------------------

TEST(OracleBackupSet, StatementAddsTwentyOneColumnsThenTheJoin) {
  expect_statement_joins_its_table<Oracle_Backup_Set>(OWN_COLUMNS, "oracle_backup_set", "o");
  EXPECT_EQ(Backup_Set_Kind::JOIN, Oracle_Backup_Set::kind().selection());
}

TEST(OracleBackupSet, StatementKeepsItsOwnAliasWhateverTheBaseAlias) {
  expect_statement_keeps_its_alias<Oracle_Backup_Set>(21, {"o.archivelog", "archivelog"}, "o");
  Select_SQL sql("x", "y");
  Oracle_Backup_Set::init_select_sql(sql, "bs");
  EXPECT_EQ("bs", sql.from_alias());
  EXPECT_EQ(OWN_COLUMNS, own_columns(sql));
  ASSERT_EQ(1u, sql.joins().size());
  EXPECT_EQ("oracle_backup_set", sql.joins()[0].table);
  EXPECT_EQ("o", sql.joins()[0].alias);
}

TEST(OracleBackupSet, MergeSizeAndPdbsAreNotSelected) {
  Select_SQL sql("backup_set", "b");
  Oracle_Backup_Set::init_select_sql(sql, "b");
  for (auto const& column : sql.columns()) {
    EXPECT_NE("merge_size", column.second);
    EXPECT_NE("pdbs", column.second);
    EXPECT_EQ(std::string::npos, column.first.find("merge_size")) << column.first;
    EXPECT_EQ(std::string::npos, column.first.find("pdbs")) << column.first;
  }
}

// ---- kind -----------------------------------------------------------------

TEST(OracleBackupSet, CatalogueModuleIsOracle) {
  expect_catalogue_module<Oracle_Backup_Set>("oracle");
  EXPECT_STREQ("Oracle_Backup_Set", Oracle_Backup_Set::kind().class_name());
  EXPECT_STREQ("oracle_backup_set", Oracle_Backup_Set::kind().table());
  EXPECT_STREQ("o", Oracle_Backup_Set::kind().alias());
}

TEST(OracleBackupSet, KindIsListedInTheRegistry) {
  expect_listed_in_registry<Oracle_Backup_Set>();
  EXPECT_EQ(&Oracle_Backup_Set::kind(), Backup_Set_Kinds::find("oracle"));
}
