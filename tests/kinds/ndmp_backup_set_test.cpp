#include <algorithm>
#include <climits>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/ndmp_backup_set.h"
#include "platform/database/query_result_token_printer.h"
#include "platform/sql/select_sql.h"
#include "tests/kinds/kind_test_support.h"
#include "tests/records/document.h"
#include "tests/support/log_capture.h"

using json_spirit::Object;
using json_spirit::Value;

namespace {

char const DEFAULT_KEYS[] = R"("backup_type":"","seq":0,"level":0,"compression":"","vols":""})";

// The refusals of the operations NDMP leaves to Backup_Set name the base's
// source file.
char const BASE_SOURCE[] = "/backup_set.cpp";

}  // namespace

TEST(NDMPBackupSet, DefaultDocumentIsBaseThenEmptyOwnKeys) {
  expect_default_document<NDMP_Backup_Set>("", DEFAULT_KEYS);
}

TEST(NDMPBackupSet, FilledDocumentHasEveryKeyInOrder) {
  NDMP_Backup_Set set;
  set.backup_type = "dump";
  set.seq = 18446744073709551615ULL;
  set.level = 9;
  set.compression = "gzip \"fast\"";
  set.vols = "/vol/vol0,/vol/\xE6\x95\xB0\xE6\x8D\xAE";  // two CJK characters
  Generated doc = generate_text(set);
  EXPECT_TRUE(doc.ok);
  EXPECT_EQ(base_prefix("") +
                R"("backup_type":"dump","seq":18446744073709551615,"level":9,"compression":"gzip \"fast\"",)"
                R"("vols":"/vol/vol0,/vol/)"
                "\xE6\x95\xB0\xE6\x8D\xAE"
                R"("})",
            doc.text);
}

TEST(NDMPBackupSet, EveryKeyIsWrittenEvenWhenEmpty) {
  NDMP_Backup_Set set;
  set.level = 1;
  EXPECT_EQ(R"("backup_type":"","seq":0,"level":1,"compression":"","vols":""})", own_keys(set, ""));
}

TEST(NDMPBackupSet, ModuleNameIsEmpty) {
  expect_catalogue_module<NDMP_Backup_Set>("");
  EXPECT_STREQ("NDMP_Backup_Set", NDMP_Backup_Set::kind().class_name());
  EXPECT_STREQ("ndmp_backup_set", NDMP_Backup_Set::kind().table());
  EXPECT_STREQ("ndmp", NDMP_Backup_Set::kind().alias());
}

TEST(NDMPBackupSet, KindIsListedInTheRegistry) {
  expect_listed_in_registry<NDMP_Backup_Set>();
  EXPECT_EQ(nullptr, Backup_Set_Kinds::find(""));
}

TEST(NDMPBackupSet, StatementAddsFiveColumnsThenTheJoin) {
  expect_statement_joins_its_table<NDMP_Backup_Set>({{"ndmp.backup_type", "backup_type"},
                                                     {"ndmp.seq", "seq"},
                                                     {"ndmp.level", "level"},
                                                     {"ndmp.compression", "compression"},
                                                     {"ndmp.vols", "vols"}},
                                                    "ndmp_backup_set", "ndmp");
  EXPECT_EQ(Backup_Set_Kind::JOIN, NDMP_Backup_Set::kind().selection());
}

TEST(NDMPBackupSet, MemberAliasIsFixedWhateverTheCallersAlias) {
  expect_statement_keeps_its_alias<NDMP_Backup_Set>(5, {"ndmp.backup_type", "backup_type"}, "ndmp");
  for (char const* alias : {"b", "s", "x1"}) {
    Select_SQL sql("backup_set", alias);
    NDMP_Backup_Set::init_select_sql(sql, alias);
    Select_SQL base("backup_set", alias);
    Backup_Set::init_select_sql(base, alias);
    // The base table keeps the caller's alias.
    EXPECT_EQ("backup_set", sql.from_table());
    EXPECT_EQ(alias, sql.from_alias());
    EXPECT_EQ(std::string(alias) + ".uuid", sql.columns().front().first);
    EXPECT_TRUE(std::equal(base.columns().begin(), base.columns().end(), sql.columns().begin()));
    EXPECT_EQ((Columns{{"ndmp.backup_type", "backup_type"},
                       {"ndmp.seq", "seq"},
                       {"ndmp.level", "level"},
                       {"ndmp.compression", "compression"},
                       {"ndmp.vols", "vols"}}),
              own_columns(sql));
    ASSERT_EQ(1u, sql.joins().size());
    EXPECT_EQ("ndmp_backup_set", sql.joins()[0].table);
    EXPECT_EQ("ndmp", sql.joins()[0].alias);
    EXPECT_EQ("uuid=ndmp.set_uuid", sql.joins()[0].condition);
  }
}

TEST(NDMPBackupSet, TextColumnsAreTakenByPrintCstr) {
  NDMP_Backup_Set set;
  EXPECT_TRUE(cstr(set, "backup_type", "tar"));
  EXPECT_TRUE(cstr(set, "compression", "none"));
  EXPECT_TRUE(cstr(set, "vols", "/vol/a"));
  EXPECT_EQ("tar", set.backup_type);
  EXPECT_EQ("none", set.compression);
  EXPECT_EQ("/vol/a", set.vols);
}

TEST(NDMPBackupSet, TextColumnTakesOnlyTheGivenLength) {
  NDMP_Backup_Set set;
  EXPECT_TRUE(set.print_cstr(0, "vols", "/vol/a,/vol/b", 6));
  EXPECT_EQ("/vol/a", set.vols);
  EXPECT_TRUE(set.print_cstr(0, "backup_type", "d\0mp", 4));
  EXPECT_EQ(std::string("d\0mp", 4), set.backup_type);
}

TEST(NDMPBackupSet, UnknownTextColumnGoesToTheBase) {
  NDMP_Backup_Set set;
  EXPECT_TRUE(cstr(set, "name", "filer"));
  EXPECT_TRUE(cstr(set, "uri", "ndmp://filer/vol0"));
  EXPECT_TRUE(cstr(set, "backup_end_time", "2023-11-15 00:13:20"));
  EXPECT_EQ("filer", set.name);
  EXPECT_EQ("ndmp://filer/vol0", set.uri);
  EXPECT_EQ(1700007200, set.backup_end_time);
}

TEST(NDMPBackupSet, NumbersAsTextAreNotTaken) {
  NDMP_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(cstr(set, "seq", "5"));
  EXPECT_TRUE(cstr(set, "level", "1"));
  EXPECT_EQ(0u, set.seq);
  EXPECT_EQ(0u, set.level);
  EXPECT_EQ(before, document_of(set));
}

TEST(NDMPBackupSet, UnsignedColumnsAreTakenByPrintUint) {
  NDMP_Backup_Set set;
  EXPECT_TRUE(set.print_uint(0, "seq", 18446744073709551615ULL));
  EXPECT_TRUE(set.print_uint(1, "level", 9223372036854775808ULL));
  EXPECT_EQ(18446744073709551615ULL, set.seq);
  EXPECT_EQ(9223372036854775808ULL, set.level);
  EXPECT_EQ(R"("backup_type":"","seq":18446744073709551615,"level":9223372036854775808,)"
            R"("compression":"","vols":""})",
            own_keys(set, ""));
}

TEST(NDMPBackupSet, UnknownUnsignedColumnEndsAtThePrintersDefault) {
  NDMP_Backup_Set set;
  std::string const before = document_of(set);
  database::sql::Query_Result_Token_Printer fresh;
  EXPECT_EQ(fresh.print_uint(0, "size", 5), set.print_uint(0, "size", 5));
  EXPECT_TRUE(set.print_uint(0, "size", 5));
  EXPECT_TRUE(set.print_uint(0, "Seq", 5));
  EXPECT_TRUE(set.print_uint(0, "vols", 5));
  // Not the base's integer intake either.
  EXPECT_EQ(0, set.size);
  EXPECT_EQ(before, document_of(set));
}

TEST(NDMPBackupSet, SignedIntegersGoToTheBaseOnly) {
  NDMP_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "seq", 5));
  EXPECT_TRUE(set.print_int(0, "level", 1));
  EXPECT_EQ(0u, set.seq);
  EXPECT_EQ(0u, set.level);
  EXPECT_TRUE(set.print_int(0, "size", 4096));
  EXPECT_EQ(4096, set.size);
}

TEST(NDMPBackupSet, BoolAndJsonColumnsAreNotTheKinds) {
  NDMP_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_bool(0, "compression", true));
  EXPECT_TRUE(set.print_json(0, "vols", Value("/vol/x")));
  EXPECT_EQ(before, document_of(set));
  EXPECT_TRUE(set.print_json(0, "lsb", Value(Object{{"id", Value("debian")}})));
  EXPECT_EQ((Object{{"id", Value("debian")}}), set.lsb);
}

TEST(NDMPBackupSet, KeysMatchCaseSensitively) {
  NDMP_Backup_Set set;
  EXPECT_TRUE(cstr(set, "Backup_Type", "x"));
  EXPECT_TRUE(set.print_uint(0, "LEVEL", 3));
  EXPECT_EQ("", set.backup_type);
  EXPECT_EQ(0u, set.level);
}

TEST(NDMPBackupSet, NullOrEmptyKeyIsRefusedAndLogged) {
  Log_Capture capture;
  NDMP_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_FALSE(set.print_cstr(0, nullptr, "x", 1));
  EXPECT_FALSE(set.print_cstr(0, "", "x", 1));
  EXPECT_FALSE(set.print_uint(0, nullptr, 1));
  EXPECT_FALSE(set.print_uint(0, "", 1));
  expect_key_refusals(capture, 4, "ndmp_backup_set.cpp");
  capture.clear();
  EXPECT_FALSE(set.print_int(0, nullptr, 1));
  EXPECT_FALSE(set.print_int(0, "", 1));
  expect_key_refusals(capture, 2, BASE_SOURCE);
  EXPECT_EQ(before, document_of(set));
}

TEST(NDMPBackupSet, ValuesInsideAnOpenMapOrArrayAreIgnored) {
  NDMP_Backup_Set set;
  database::sql::Query_Result_Printer& p = set;
  std::string const before = document_of(set);
  ASSERT_TRUE(p.start_array(0, "pieces"));
  ASSERT_TRUE(p.start_map(0, ""));
  EXPECT_TRUE(cstr(p, "backup_type", "nested"));
  EXPECT_TRUE(cstr(p, "name", "nested"));
  EXPECT_TRUE(p.print_uint(1, "seq", 5));
  EXPECT_TRUE(p.print_uint(2, "level", 5));
  ASSERT_TRUE(p.end_map());
  EXPECT_TRUE(cstr(p, "vols", "in-array"));
  ASSERT_TRUE(p.end_array());
  EXPECT_EQ(before, document_of(set));
  EXPECT_TRUE(p.print_uint(0, "level", 2));
  EXPECT_EQ(2u, set.level);
}

TEST(NDMPBackupSet, OverridesAreReachedThroughThePrinterBase) {
  NDMP_Backup_Set set;
  database::sql::Query_Result_Printer& p = set;
  EXPECT_TRUE(cstr(p, "compression", "lz"));
  EXPECT_TRUE(p.print_uint(0, "seq", 11));
  EXPECT_TRUE(cstr(p, "host", "filer-2"));
  EXPECT_EQ("lz", set.compression);
  EXPECT_EQ(11u, set.seq);
  EXPECT_EQ("filer-2", set.host);
  Log_Capture capture;
  EXPECT_FALSE(p.print_uint(0, "", 1));
  EXPECT_FALSE(p.print_cstr(0, nullptr, "x", 1));
  expect_key_refusals(capture, 2, "ndmp_backup_set.cpp");
}

TEST(NDMPBackupSet, RowTakenThroughIntakeIsWrittenBack) {
  NDMP_Backup_Set set;
  EXPECT_TRUE(cstr(set, "backup_type", "dump"));
  EXPECT_TRUE(set.print_uint(0, "seq", 3));
  EXPECT_TRUE(set.print_uint(0, "level", 2));
  EXPECT_TRUE(cstr(set, "compression", "none"));
  EXPECT_TRUE(cstr(set, "vols", "v"));
  EXPECT_EQ(base_prefix("") + R"("backup_type":"dump","seq":3,"level":2,"compression":"none","vols":"v"})",
            document_of(set));
}
