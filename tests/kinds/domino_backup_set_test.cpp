#include <algorithm>
#include <climits>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/domino_backup_set.h"
#include "platform/database/query_result_token_printer.h"
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

char const DEFAULT_KEYS[] =
    R"("seq":0,"source_type":"","data_path":"","compression":"","daos":"","archive_logs":[]})";

Domino_Archive_Log log_of(long long f0, long long f1, long long n0, long long n1, long long seq, std::string name,
                          long long mtime) {
  Domino_Archive_Log l;
  l.logid_file_seg0 = f0;
  l.logid_file_seg1 = f1;
  l.logid_note_seg0 = n0;
  l.logid_note_seg1 = n1;
  l.log_seq = seq;
  l.name = std::move(name);
  l.mtime = mtime;
  return l;
}

}  // namespace

TEST(DominoBackupSet, DefaultDocumentIsBaseThenEmptyOwnKeys) {
  expect_default_document<Domino_Backup_Set>("", DEFAULT_KEYS);
}

TEST(DominoBackupSet, NewSetWritesSeqZeroFourEmptyTextsAndNoLogs) {
  Domino_Backup_Set set;
  EXPECT_EQ(DEFAULT_KEYS, own_keys(set, ""));
  EXPECT_EQ(0u, set.seq);
  EXPECT_TRUE(set.archive_logs.empty());
}

TEST(DominoBackupSet, FreshArchiveLogIsAllZeroAndEmptyName) {
  Domino_Archive_Log l;
  EXPECT_EQ(0, l.logid_file_seg0);
  EXPECT_EQ(0, l.logid_file_seg1);
  EXPECT_EQ(0, l.logid_note_seg0);
  EXPECT_EQ(0, l.logid_note_seg1);
  EXPECT_EQ(0, l.log_seq);
  EXPECT_EQ("", l.name);
  EXPECT_EQ(0, l.mtime);
}

TEST(DominoBackupSet, FilledDocumentHasEveryKeyInOrder) {
  Domino_Backup_Set set;
  set.seq = 4294967295u;
  set.source_type = "nsf";
  set.data_path = "C:\\Lotus\\Domino\\Data";
  set.compression = "huffman \"lz1\"";
  set.daos = "enabled";
  set.archive_logs.push_back(log_of(1, 2, 3, 4, 5, "S0000001.TXN", 1700000000));
  set.archive_logs.push_back(log_of(LLONG_MIN, LLONG_MAX, -1, 0, -9, "\xE6\x97\xA5\xE5\xBF\x97", 1700007200));
  Generated doc = generate_text(set);
  EXPECT_TRUE(doc.ok);
  EXPECT_EQ(base_prefix("") +
                R"("seq":4294967295,"source_type":"nsf","data_path":"C:\\Lotus\\Domino\\Data",)"
                R"("compression":"huffman \"lz1\"","daos":"enabled","archive_logs":[)"
                R"({"logid_file_seg0":1,"logid_file_seg1":2,"logid_note_seg0":3,"logid_note_seg1":4,)"
                R"("log_seq":5,"name":"S0000001.TXN","mtime":"2023-11-14 22:13:20"},)"
                R"({"logid_file_seg0":-9223372036854775808,"logid_file_seg1":9223372036854775807,)"
                R"("logid_note_seg0":-1,"logid_note_seg1":0,"log_seq":-9,"name":")"
                "\xE6\x97\xA5\xE5\xBF\x97"
                R"(","mtime":"2023-11-15 00:13:20"}]})",
            doc.text);
}

TEST(DominoBackupSet, ZeroMtimeIsStillWrittenAsTheFormattingOfZero) {
  Domino_Backup_Set set;
  set.archive_logs.push_back(Domino_Archive_Log());
  std::string const keys = own_keys(set, "");
  EXPECT_EQ(std::string(R"("seq":0,"source_type":"","data_path":"","compression":"","daos":"","archive_logs":[)") +
                R"({"logid_file_seg0":0,"logid_file_seg1":0,"logid_note_seg0":0,"logid_note_seg1":0,)"
                R"("log_seq":0,"name":"","mtime":")" +
                EPOCH_TEXT + R"("}]})",
            keys);
  EXPECT_EQ(EPOCH_TEXT, POSIX_Time_To_ISO8601(0, "%Y-%m-%d %H:%M:%S"));
}

TEST(DominoBackupSet, MtimeBeforeTheEpochIsWrittenAsItsTime) {
  Domino_Backup_Set set;
  set.archive_logs.push_back(log_of(0, 0, 0, 0, 0, "x", -1));
  EXPECT_NE(std::string::npos, own_keys(set, "").find(R"("mtime":"1969-12-31 23:59:59"})"));
}

TEST(DominoBackupSet, ArchiveLogsKeepTheOrderTheJobAddsThem) {
  Domino_Backup_Set set;
  set.archive_logs.push_back(log_of(0, 0, 0, 0, 3, "c", 0));
  set.archive_logs.push_back(log_of(0, 0, 0, 0, 1, "a", 0));
  set.archive_logs.push_back(log_of(0, 0, 0, 0, 3, "c", 0));
  std::string const keys = own_keys(set, "");
  size_t const c1 = keys.find(R"("log_seq":3,"name":"c")");
  size_t const a = keys.find(R"("log_seq":1,"name":"a")");
  size_t const c2 = keys.find(R"("log_seq":3,"name":"c")", c1 + 1);
  ASSERT_NE(std::string::npos, c1);
  ASSERT_NE(std::string::npos, a);
  ASSERT_NE(std::string::npos, c2);
  EXPECT_LT(c1, a);
  EXPECT_LT(a, c2);
  EXPECT_EQ(3u, occurrences(keys, R"("logid_file_seg0":)"));
}

TEST(DominoBackupSet, CatalogueModuleIsEmpty) {
  expect_catalogue_module<Domino_Backup_Set>("");
  EXPECT_STREQ("Domino_Backup_Set", Domino_Backup_Set::kind().class_name());
  EXPECT_STREQ("domino_backup_set", Domino_Backup_Set::kind().table());
  EXPECT_STREQ("do", Domino_Backup_Set::kind().alias());
}

TEST(DominoBackupSet, KindIsListedInTheRegistry) {
  expect_listed_in_registry<Domino_Backup_Set>();
  EXPECT_EQ(nullptr, Backup_Set_Kinds::find(""));
}

TEST(DominoBackupSet, StatementAddsFiveColumnsThenTheJoin) {
  expect_statement_joins_its_table<Domino_Backup_Set>({{"do.seq", "seq"},
                                                       {"do.source_type", "source_type"},
                                                       {"do.data_path", "data_path"},
                                                       {"do.compression", "compression"},
                                                       {"do.daos", "daos"}},
                                                      "domino_backup_set", "do");
  EXPECT_EQ(Backup_Set_Kind::JOIN, Domino_Backup_Set::kind().selection());
}

TEST(DominoBackupSet, StatementKeepsItsOwnAliasWhateverTheBaseAlias) {
  expect_statement_keeps_its_alias<Domino_Backup_Set>(5, {"do.seq", "seq"}, "do");
}

TEST(DominoBackupSet, TextColumnsAreTakenByPrintCstr) {
  Domino_Backup_Set set;
  EXPECT_TRUE(cstr(set, "source_type", "nsf"));
  EXPECT_TRUE(cstr(set, "data_path", "/local/notesdata"));
  EXPECT_TRUE(cstr(set, "compression", "lz1"));
  EXPECT_TRUE(cstr(set, "daos", "on"));
  EXPECT_EQ("nsf", set.source_type);
  EXPECT_EQ("/local/notesdata", set.data_path);
  EXPECT_EQ("lz1", set.compression);
  EXPECT_EQ("on", set.daos);
}

TEST(DominoBackupSet, TextColumnTakesOnlyTheGivenLength) {
  Domino_Backup_Set set;
  EXPECT_TRUE(set.print_cstr(0, "data_path", "/local/notesdata", 6));
  EXPECT_EQ("/local", set.data_path);
  EXPECT_TRUE(set.print_cstr(0, "daos", "o\0n", 3));
  EXPECT_EQ(std::string("o\0n", 3), set.daos);
}

TEST(DominoBackupSet, SeqIsTakenByPrintInt) {
  Domino_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "seq", 42));
  EXPECT_EQ(42u, set.seq);
}

TEST(DominoBackupSet, SeqAboveThirtyTwoBitsKeepsTheLowBits) {
  Domino_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "seq", 4294967296LL + 3));
  EXPECT_EQ(3u, set.seq);
  EXPECT_TRUE(set.print_int(0, "seq", 4294967295LL));
  EXPECT_EQ(4294967295u, set.seq);
  EXPECT_TRUE(set.print_int(0, "seq", -2));
  EXPECT_EQ(4294967294u, set.seq);
  EXPECT_EQ(0u, own_keys(set, "").find(R"("seq":4294967294,)"));
}

TEST(DominoBackupSet, UnknownKeysGoToTheBase) {
  Domino_Backup_Set set;
  EXPECT_TRUE(cstr(set, "name", "mail"));
  EXPECT_TRUE(cstr(set, "instance", "domino01"));
  EXPECT_TRUE(set.print_int(0, "size", 77));
  EXPECT_TRUE(set.print_json(0, "extended_attrs", Value(Object{{"k", Value(1)}})));
  EXPECT_EQ("mail", set.name);
  EXPECT_EQ("domino01", set.instance);
  EXPECT_EQ(77, set.size);
  EXPECT_EQ((Object{{"k", Value(1)}}), set.extended_attrs);
}

TEST(DominoBackupSet, ValueOfTheWrongOperationForAnOwnKeyIsNotTaken) {
  Domino_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(cstr(set, "seq", "5"));
  EXPECT_TRUE(set.print_int(0, "daos", 1));
  EXPECT_TRUE(set.print_bool(0, "compression", true));
  EXPECT_TRUE(set.print_uint(0, "seq", 5));
  EXPECT_EQ(before, document_of(set));
}

TEST(DominoBackupSet, ArchiveLogsAreNeverReadBack) {
  Domino_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_json(0, "archive_logs", Value(Array{Value(Object{{"name", Value("x")}})})));
  EXPECT_TRUE(cstr(set, "archive_logs", "[]"));
  EXPECT_TRUE(set.archive_logs.empty());
  EXPECT_EQ(before, document_of(set));
}

TEST(DominoBackupSet, UnknownBoolColumnAnswersAsThePrinterBase) {
  Domino_Backup_Set set;
  std::string const before = document_of(set);
  database::sql::Query_Result_Token_Printer fresh;
  EXPECT_EQ(fresh.print_bool(0, "x", true), set.print_bool(0, "x", true));
  EXPECT_EQ(before, document_of(set));
}

TEST(DominoBackupSet, NullOrEmptyKeyIsRefusedAndLogged) {
  Log_Capture capture;
  Domino_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_FALSE(set.print_cstr(0, nullptr, "x", 1));
  EXPECT_FALSE(set.print_cstr(0, "", "x", 1));
  EXPECT_FALSE(set.print_int(0, nullptr, 1));
  EXPECT_FALSE(set.print_int(0, "", 1));
  expect_key_refusals(capture, 4, "domino_backup_set.cpp");
  EXPECT_EQ(before, document_of(set));
}

TEST(DominoBackupSet, ValuesInsideAnOpenMapOrArrayAreIgnored) {
  Domino_Backup_Set set;
  database::sql::Query_Result_Printer& p = set;
  std::string const before = document_of(set);
  ASSERT_TRUE(p.start_map(0, "resource_tree"));
  EXPECT_TRUE(cstr(p, "source_type", "nested"));
  EXPECT_TRUE(p.print_int(0, "seq", 5));
  ASSERT_TRUE(p.start_array(1, "inner"));
  EXPECT_TRUE(cstr(p, "daos", "deeper"));
  ASSERT_TRUE(p.end_array());
  ASSERT_TRUE(p.end_map());
  EXPECT_EQ(before, document_of(set));
  EXPECT_TRUE(cstr(p, "daos", "top"));
  EXPECT_EQ("top", set.daos);
}

TEST(DominoBackupSet, OverridesAreReachedThroughThePrinterBase) {
  Domino_Backup_Set set;
  database::sql::Query_Result_Printer& p = set;
  EXPECT_TRUE(cstr(p, "compression", "lz1"));
  EXPECT_TRUE(p.print_int(0, "seq", 9));
  EXPECT_TRUE(cstr(p, "agent", "domino-agent"));
  EXPECT_EQ("lz1", set.compression);
  EXPECT_EQ(9u, set.seq);
  EXPECT_EQ("domino-agent", set.agent);
  Log_Capture capture;
  EXPECT_FALSE(p.print_cstr(0, "", "x", 1));
  EXPECT_FALSE(p.print_int(0, nullptr, 1));
  expect_key_refusals(capture, 2, "domino_backup_set.cpp");
}

TEST(DominoBackupSet, RowTakenThroughIntakeIsWrittenBack) {
  Domino_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "seq", 4));
  EXPECT_TRUE(cstr(set, "source_type", "S"));
  EXPECT_TRUE(cstr(set, "data_path", "D"));
  EXPECT_TRUE(cstr(set, "compression", "C"));
  EXPECT_TRUE(cstr(set, "daos", "A"));
  EXPECT_EQ(base_prefix("") +
                R"("seq":4,"source_type":"S","data_path":"D","compression":"C","daos":"A","archive_logs":[]})",
            document_of(set));
}
