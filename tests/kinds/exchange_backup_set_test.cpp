#include <algorithm>
#include <climits>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/exchange_backup_set.h"
#include "platform/sql/select_sql.h"
#include "tests/kinds/kind_test_support.h"
#include "tests/records/document.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

char const DEFAULT_KEYS[] =
    R"("device_uuid":"","database":"","backup_method":"","rev":0,"exchange_build":0,"channels":1,)"
    R"("storages":[],"mailboxes":[]})";

// A default set's document up to its storage key, and from "pieces" on.
char const BASE_HEAD[] =
    R"({"catalog_module":"","uuid":"","name":"","job_instance_uuid":"","definition_uuid":"","uid":"",)"
    R"("host_uuid":"","resource_uuid":"","minor_resource_id":"","minor_resource_name":"","agent":"",)"
    R"("incarnation":"","type":"","backup_start_time":"1970-01-01 00:00:00","uri":"","host":"","instance":"",)"
    R"("instance_version":"","first_scn":0,"last_scn":0,"size":0,"source_size":0,"resource_tree":{},)"
    R"("extended_attrs":{},)";
char const BASE_TAIL[] = R"("pieces":[],"lsb":{},"uname":{},)";

}  // namespace

TEST(ExchangeBackupSet, FreshSetWritesZerosOneChannelAndEmptyArrays) {
  Exchange_Backup_Set set;
  EXPECT_EQ(0, set.rev);
  EXPECT_EQ(0, set.exchange_build);
  EXPECT_EQ(1, set.channels);
  EXPECT_EQ(base_prefix("") + DEFAULT_KEYS, document_of(set));
  EXPECT_EQ(std::string(BASE_HEAD) + BASE_TAIL + DEFAULT_KEYS, document_of(set));
}

TEST(ExchangeBackupSet, FilledDocumentWritesEveryFieldInOrder) {
  Exchange_Backup_Set set;
  set.device_uuid = "dev-\"x\"";
  set.database = "Mailbox Database «1»";
  set.backup_method = "copy";
  set.storages = Array{Value("First Storage Group"), Value(Object{{"name", Value("SG2")}, {"edb", Value(-1)}}),
                       Value(LLONG_MIN), Value(true), Value(), Value(0.5)};
  set.mailboxes = Array{Value(Array{Value("a@b"), Value(2)}), Value(18446744073709551615ULL), Value(false),
                        Value("Ünïcode \"q\"")};
  set.rev = INT_MIN;
  set.exchange_build = INT_MAX;
  set.channels = -1;
  EXPECT_EQ(base_prefix("") +
                R"("device_uuid":"dev-\"x\"","database":"Mailbox Database «1»","backup_method":"copy",)"
                R"("rev":-2147483648,"exchange_build":2147483647,"channels":-1,)"
                R"("storages":["First Storage Group",{"edb":-1,"name":"SG2"},-9223372036854775808,true,null,0.5],)"
                R"("mailboxes":[["a@b",2],18446744073709551615,false,"Ünïcode \"q\""]})",
            document_of(set));
}

TEST(ExchangeBackupSet, RevisionIsThirtyTwoBits) {
  static_assert(std::is_same<decltype(Exchange_Backup_Set::rev), int>::value, "rev is signed 32-bit here");
  static_assert(std::is_same<decltype(Exchange_Backup_Set::exchange_build), int>::value, "signed 32-bit");
  static_assert(std::is_same<decltype(Exchange_Backup_Set::channels), int>::value, "signed 32-bit");
  Exchange_Backup_Set set;
  set.rev = -1;
  std::string const text = document_of(set);
  EXPECT_NE(std::string::npos, text.find(R"("rev":-1,"exchange_build":0,)"));
}

TEST(ExchangeBackupSet, TwoStorageCopiesWriteStoragesTwice) {
  Exchange_Backup_Set set;
  set.add_storage("p1", 10);
  set.add_storage("p2", 20);
  set.storages = Array{Value("SG1")};
  EXPECT_EQ(std::string(BASE_HEAD) +
                R"("storages":[{"pool_uuid":"p1","size":10,"state":[],"extended_attrs":{}},)"
                R"({"pool_uuid":"p2","size":20,"state":[],"extended_attrs":{}}],)" +
                BASE_TAIL +
                R"("device_uuid":"","database":"","backup_method":"","rev":0,"exchange_build":0,"channels":1,)"
                R"("storages":["SG1"],"mailboxes":[]})",
            document_of(set));
}

TEST(ExchangeBackupSet, OneStorageCopyLeavesStoragesToTheStorageGroups) {
  Exchange_Backup_Set set;
  set.add_storage("p1", 10);
  std::string const text = document_of(set);
  EXPECT_EQ(std::string(BASE_HEAD) + R"("storage":{"pool_uuid":"p1","size":10,"state":[],"extended_attrs":{}},)" +
                BASE_TAIL + DEFAULT_KEYS,
            text);
  EXPECT_EQ(1u, occurrences(text, R"("storages":)"));
}

TEST(ExchangeBackupSet, CatalogueModuleIsEmpty) {
  expect_catalogue_module<Exchange_Backup_Set>("");
}

TEST(ExchangeBackupSet, KindIsRegistered) {
  expect_listed_in_registry<Exchange_Backup_Set>();
  EXPECT_EQ(nullptr, Backup_Set_Kinds::find(""));
}

TEST(ExchangeBackupSet, DocumentKeysNameTheKind) {
  std::vector<std::string> const keys = {"device_uuid", "database", "backup_method", "rev",
                                         "exchange_build", "channels", "storages", "mailboxes"};
  EXPECT_EQ(&Exchange_Backup_Set::kind(), Backup_Set_Kinds::find("", keys));
}

TEST(ExchangeBackupSet, HasNoStatementOfItsOwn) {
  void (*own)(Select_SQL&, char const*) = &Exchange_Backup_Set::init_select_sql;
  void (*base)(Select_SQL&, char const*) = &Backup_Set::init_select_sql;
  EXPECT_EQ(base, own);
  EXPECT_EQ(Backup_Set_Kind::NONE, Exchange_Backup_Set::kind().selection());
  EXPECT_TRUE(Exchange_Backup_Set::kind().columns().empty());

  Select_SQL sql("backup_set", "b");
  Exchange_Backup_Set::kind().init_select_sql(sql, "b");
  EXPECT_TRUE(own_columns(sql).empty());
  EXPECT_TRUE(sql.joins().empty());
}

TEST(ExchangeBackupSet, OwnKeysAreNotTakenFromRows) {
  Exchange_Backup_Set set;
  database::sql::Query_Result_Printer& p = set;
  std::string const before = document_of(set);
  EXPECT_TRUE(p.print_cstr(0, "database", "DB1", 3));
  EXPECT_TRUE(p.print_cstr(0, "device_uuid", "dev", 3));
  EXPECT_TRUE(p.print_int(0, "rev", 4));
  EXPECT_TRUE(p.print_int(0, "channels", 4));
  EXPECT_TRUE(p.print_json(0, "mailboxes", Value(Array{Value("a")})));
  EXPECT_TRUE(p.print_json(0, "storages", Value(Array{Value("SG")})));
  EXPECT_EQ(before, document_of(set));
  EXPECT_TRUE(p.print_cstr(0, "name", "exch", 4));
  EXPECT_EQ("exch", set.name);
}
