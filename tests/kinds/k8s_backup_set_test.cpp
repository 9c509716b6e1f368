#include <algorithm>
#include <climits>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/k8s_backup_set.h"
#include "platform/database/query_result_token_printer.h"
#include "platform/sql/select_sql.h"
#include "tests/kinds/kind_test_support.h"
#include "tests/records/document.h"
#include "tests/support/log_capture.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

// A set with the stream count its producer must always give.
struct Ready_Set : K8S_Backup_Set {
  explicit Ready_Set(long long stream_count = 0) { channels = stream_count; }
};

// The intake is all Backup_Set's: its refusals name the base's source file.
char const BASE_SOURCE[] = "/backup_set.cpp";

}  // namespace

// ---- document -------------------------------------------------------------

TEST(K8SBackupSet, DocumentOfAnUnfilledSetIsBaseThenOwnKeys) {
  Ready_Set set(4);
  Generated doc = generate_text(set);
  EXPECT_TRUE(doc.ok);
  EXPECT_EQ(base_prefix("kubernetes") + R"("seq":0,"channels":4,"pvc_backup_type":"","backup_details":[]})",
            doc.text);
}

TEST(K8SBackupSet, FreshSetHasSeqZeroAndNothingElse) {
  K8S_Backup_Set set;
  EXPECT_EQ(0, set.seq);
  EXPECT_EQ("", set.pvc_backup_type);
  EXPECT_TRUE(set.backup_details.empty());
}

TEST(K8SBackupSet, FilledDocumentHasEveryKeyInOrder) {
  Ready_Set set(LLONG_MAX);
  set.seq = LLONG_MIN;
  set.pvc_backup_type = "csi-\"snapshot\"\\fs";
  set.backup_details = Array{Value(Object{{"namespace", Value("prod")},
                                          {"pvc", Value("data-0")},
                                          {"bytes", Value(UINT64_MAX)},
                                          {"ready", Value(true)},
                                          {"labels", Value(Object{{"app", Value("db")}})}}),
                             Value(), Value(0.5), Value("\xE6\x9C\xBA")};  // one CJK character
  Generated doc = generate_text(set);
  EXPECT_TRUE(doc.ok);
  EXPECT_EQ(base_prefix("kubernetes") +
                R"("seq":-9223372036854775808,"channels":9223372036854775807,)"
                R"("pvc_backup_type":"csi-\"snapshot\"\\fs","backup_details":[)"
                R"({"bytes":18446744073709551615,"labels":{"app":"db"},"namespace":"prod","pvc":"data-0",)"
                R"("ready":true},null,0.5,")"
                "\xE6\x9C\xBA"
                R"("]})",
            doc.text);
}

TEST(K8SBackupSet, SeqComesBeforeChannelsAndBothBeforePvcBackupType) {
  Ready_Set set(3);
  set.seq = 2;
  set.pvc_backup_type = "fs";
  std::string const keys = own_keys(set, "kubernetes");
  size_t const seq = keys.find(R"("seq":2)");
  size_t const channels = keys.find(R"("channels":3)");
  size_t const type = keys.find(R"("pvc_backup_type":"fs")");
  ASSERT_NE(std::string::npos, seq);
  ASSERT_NE(std::string::npos, channels);
  ASSERT_NE(std::string::npos, type);
  EXPECT_LT(seq, channels);
  EXPECT_LT(channels, type);
  EXPECT_EQ(R"("seq":2,"channels":3,"pvc_backup_type":"fs","backup_details":[]})", keys);
}

TEST(K8SBackupSet, NegativeNumbersAreWrittenSigned) {
  Ready_Set set(-1);
  set.seq = -7;
  EXPECT_EQ(R"("seq":-7,"channels":-1,"pvc_backup_type":"","backup_details":[]})", own_keys(set, "kubernetes"));
}

TEST(K8SBackupSet, DetailsAreWrittenInTheirOrder) {
  Ready_Set set(1);
  set.backup_details.push_back(Value("b"));
  set.backup_details.push_back(Value("a"));
  set.backup_details.push_back(Value(Array{Value(2), Value(1)}));
  EXPECT_EQ(R"("seq":0,"channels":1,"pvc_backup_type":"","backup_details":["b","a",[2,1]]})",
            own_keys(set, "kubernetes"));
}

TEST(K8SBackupSet, GenerateDoesNotChangeTheRecord) {
  Ready_Set set(1);
  set.backup_details.push_back(Value(Object{{"k", Value(1)}}));
  std::string const first = document_of(set);
  EXPECT_EQ(first, document_of(set));
  EXPECT_EQ(1u, set.backup_details.size());
}

// ---- module and registry ----------------------------------------------------

TEST(K8SBackupSet, CatalogueModuleIsKubernetes) {
  Ready_Set set;
  EXPECT_STREQ("kubernetes", set.catalog_module);
  EXPECT_STREQ("kubernetes", K8S_Backup_Set::kind().module());
  EXPECT_EQ(0u, document_of(set).find(R"({"catalog_module":"kubernetes",)"));
  EXPECT_STREQ("K8S_Backup_Set", K8S_Backup_Set::kind().class_name());
}

TEST(K8SBackupSet, KindIsListedInTheRegistry) {
  expect_registered_as<K8S_Backup_Set>("kubernetes");
}

// ---- statement --------------------------------------------------------------

TEST(K8SBackupSet, StatementIsTheBasesAlone) {
  Select_SQL sql("backup_set", "b");
  K8S_Backup_Set::init_select_sql(sql, "b");
  Select_SQL base("backup_set", "b");
  Backup_Set::init_select_sql(base, "b");
  EXPECT_EQ(base.columns(), sql.columns());
  EXPECT_EQ("backup_set", sql.from_table());
  EXPECT_EQ("b", sql.from_alias());
  EXPECT_TRUE(sql.joins().empty());
  EXPECT_EQ(base.text(Dialect::SQLite), sql.text(Dialect::SQLite));
}

// ---- intake (all Backup_Set's) ---------------------------------------------

TEST(K8SBackupSet, OwnKeysInARowAreNotTaken) {
  Ready_Set set(2);
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_int(0, "seq", 9));
  EXPECT_TRUE(set.print_int(0, "channels", 9));
  EXPECT_TRUE(set.print_uint(0, "seq", 9));
  EXPECT_TRUE(cstr(set, "pvc_backup_type", "csi"));
  EXPECT_TRUE(set.print_json(0, "backup_details", Value(Array{Value("x")})));
  EXPECT_EQ(0, set.seq);
  EXPECT_EQ(2, set.channels);
  EXPECT_EQ("", set.pvc_backup_type);
  EXPECT_TRUE(set.backup_details.empty());
  EXPECT_EQ(before, document_of(set));
}

TEST(K8SBackupSet, BaseColumnsReachTheBase) {
  Ready_Set set;
  EXPECT_TRUE(cstr(set, "uuid", "3b1f0c2e-5d7a-4e8b-9c0d-1e2f3a4b5c6d"));
  EXPECT_TRUE(cstr(set, "instance", "cluster-1"));
  EXPECT_TRUE(set.print_int(0, "last_scn", LLONG_MAX));
  EXPECT_TRUE(set.print_json(0, "uname", Value(Object{{"sysname", Value("Linux")}})));
  EXPECT_EQ("3b1f0c2e-5d7a-4e8b-9c0d-1e2f3a4b5c6d", set.uuid);
  EXPECT_EQ("cluster-1", set.instance);
  EXPECT_EQ(LLONG_MAX, set.last_scn);
  EXPECT_EQ((Object{{"sysname", Value("Linux")}}), set.uname);
}

TEST(K8SBackupSet, UnsignedAndBoolColumnsEndAtThePrinterDefault) {
  expect_unsigned_and_bool_end_at_printer_default<Ready_Set>();
}

TEST(K8SBackupSet, NullOrEmptyKeyIsRefusedByTheBase) {
  expect_null_or_empty_key_refused_by_base<Ready_Set>(Value(Array()), BASE_SOURCE);
}

TEST(K8SBackupSet, BaseColumnInsideAnOpenMapIsIgnored) {
  Ready_Set set;
  database::sql::Query_Result_Printer& p = set;
  ASSERT_TRUE(p.start_map(0, "backup_details"));
  EXPECT_TRUE(cstr(p, "instance", "nested"));
  EXPECT_TRUE(p.print_int(0, "size", 5));
  ASSERT_TRUE(p.end_map());
  EXPECT_EQ("", set.instance);
  EXPECT_EQ(0, set.size);
  EXPECT_TRUE(p.print_int(0, "size", 5));
  EXPECT_EQ(5, set.size);
}
