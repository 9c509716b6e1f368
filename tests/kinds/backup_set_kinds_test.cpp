#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/cachedb_backup_set.h"
#include "backup/backup_set/common/db2_backup_set.h"
#include "backup/backup_set/common/dmdb_backup_set.h"
#include "backup/backup_set/common/domino_backup_set.h"
#include "backup/backup_set/common/exchange_backup_set.h"
#include "backup/backup_set/common/gaussdb_backup_set.h"
#include "backup/backup_set/common/hana_backup_set.h"
#include "backup/backup_set/common/mongodb_backup_set.h"
#include "backup/backup_set/common/mssql_backup_set.h"
#include "backup/backup_set/common/mysql_backup_set.h"
#include "backup/backup_set/common/ndmp_backup_set.h"
#include "platform/json/json_text.h"
#include "tests/records/document.h"

using json_spirit::Value;

namespace {

typedef std::vector<std::string> Keys;

// The application keys each default record writes after the common ones.
Keys const DB2_KEYS{"database",          "base_start_point", "meta_file",          "archive_dir",
                    "archive_first_log", "archive_last_log", "archive_start_time", "archive_end_time",
                    "is_archive_set"};
Keys const MYSQL_KEYS{"seq", "mtf", "channels", "gtid_type", "group_id"};
Keys const MSSQL_KEYS{"username",
                      "resource_name",
                      "database",
                      "database_type",
                      "backup_set_uuid",
                      "first_lsn",
                      "last_lsn",
                      "checkpoint_lsn",
                      "database_backup_lsn",
                      "recovery_model",
                      "has_bulk_logged_data",
                      "first_recovery_fork_guid",
                      "last_recovery_fork_guid",
                      "fork_point_lsn",
                      "database_guid",
                      "differential_base_lsn",
                      "differential_base_guid",
                      "backup_type",
                      "compression",
                      "merged",
                      "vss_backupstamp",
                      "stage_id",
                      "snapshot_id",
                      "vss_group",
                      "channels",
                      "piece_name",
                      "pool_retention",
                      "pool_url",
                      "file_list"};
Keys const EXCHANGE_KEYS{"device_uuid", "database", "backup_method", "rev",
                         "exchange_build", "channels", "storages", "mailboxes"};
// The kinds without a module name written for the server alone: what a
// fresh record writes, and what a filled one adds.
Keys const MONGODB_KEYS{"seq", "archive", "backup_files"};
Keys const MONGODB_FILLED_KEYS{"seq",          "arch_log_start", "arch_log_start_i", "arch_log_end",
                               "arch_log_end_i", "archive",      "backup_files"};
Keys const NDMP_KEYS{"backup_type", "seq", "level", "compression", "vols"};
Keys const DOMINO_KEYS{"seq", "source_type", "data_path", "compression", "daos", "archive_logs"};

// Class name → catalogue module name of every kind the registry holds.
std::map<std::string, std::string> const MODULES{
    {"DMDB_Backup_Set", "dmdb"},
    {"DMDB_Log_Backup_Set", "dmdb_log"},
    {"DMDB_Logical_Backup_Set", "dmdb_logical"},
    {"MySQL_Backup_Set", ""},
    {"MSSQL_Backup_Set", ""},
    {"HANA_Backup_Set", "hana"},
    {"DB2_Backup_Set", ""},
    {"GaussDB_Backup_Set", "gaussdb"},
    {"CacheDB_Backup_Set", "cachedb"},
    {"File_Backup_Set", "file"},
    {"Informix_Backup_Set", "informix"},
    {"Sybase_Backup_Set", "sybase"},
    {"SharePoint_Backup_Set", "sharepoint"},
    {"Exchange_Backup_Set", ""},
    {"Oracle_Backup_Set", "oracle"},
    {"Oracle_Arch_Backup_Set", "oracle_arch"},
    {"Oracle_Exp_Backup_Set", "oracle_exp"},
    {"Postgres_Backup_Set", "postgres"},
    {"MongoDB_Backup_Set", ""},
    {"NDMP_Backup_Set", ""},
    {"Domino_Backup_Set", ""},
    {"Kingbase_Backup_Set", "kingbase"},
    {"Oscar_Backup_Set", "oscar"},
    {"Oscar_Brcmd_Backup_Set", "oscar_brcmd"},
    {"Hive_Backup_Set", "hive"},
    {"OceanBase_Backup_Set", "oceanbase"},
    {"VMware_Backup_Set", "vmware"},
    {"Hyper_V_Backup_Set", "hyperv"},
    {"Windows_BMR_Backup_Set", "windows_bmr"},
    {"OpenStack_Backup_Set", "openstack"},
    {"FusionCompute_Backup_Set", "fusioncompute"},
    {"FusionCloud_Backup_Set", "fusioncloud"},
    {"ICS_Backup_Set", "incloud"},
    {"H3C_CAS_Backup_Set", "h3ccas"},
    {"CloudOS_Backup_Set", "cloudos"},
    {"K8S_Backup_Set", "kubernetes"},
};

std::set<std::string> top_level_keys(JSON_Generator& record) {
  std::string const text = document_of(record);
  Value doc;
  EXPECT_TRUE(JSON_Parse(text, doc)) << text;
  std::set<std::string> keys;
  if (doc.type() != json_spirit::obj_type) return keys;
  for (auto const& member : doc.get_obj()) keys.insert(member.first);
  return keys;
}

// The keys a record's document carries beyond those of a plain set.
std::set<std::string> application_keys(JSON_Generator& record) {
  Backup_Set plain("");
  std::set<std::string> const common = top_level_keys(plain);
  std::set<std::string> out;
  for (std::string const& key : top_level_keys(record))
    if (!common.count(key)) out.insert(key);
  return out;
}

std::set<std::string> as_set(Keys const& keys) { return std::set<std::string>(keys.begin(), keys.end()); }

char const* class_of(Backup_Set_Kind const* kind) { return kind ? kind->class_name() : "(none)"; }

}  // namespace

TEST(BackupSetKinds, AllHoldsEveryKind) {
  auto const& all = Backup_Set_Kinds::all();
  ASSERT_EQ(MODULES.size(), all.size());
  std::set<std::string> names;
  for (Backup_Set_Kind const* kind : all) {
    ASSERT_NE(nullptr, kind);
    names.insert(kind->class_name());
  }
  EXPECT_EQ(MODULES.size(), names.size());
  std::set<std::string> expected;
  for (auto const& entry : MODULES) expected.insert(entry.first);
  EXPECT_EQ(expected, names);
}

TEST(BackupSetKinds, EveryKindHasItsModuleName) {
  for (Backup_Set_Kind const* kind : Backup_Set_Kinds::all()) {
    auto const it = MODULES.find(kind->class_name());
    ASSERT_NE(MODULES.end(), it) << kind->class_name();
    EXPECT_EQ(it->second, kind->module()) << kind->class_name();
  }
}

TEST(BackupSetKinds, KindsAreThoseOfTheClasses) {
  auto const& all = Backup_Set_Kinds::all();
  for (Backup_Set_Kind const* kind :
       {&DMDB_Backup_Set::kind(), &MySQL_Backup_Set::kind(), &MSSQL_Backup_Set::kind(), &HANA_Backup_Set::kind(),
        &DB2_Backup_Set::kind(), &GaussDB_Backup_Set::kind(), &CacheDB_Backup_Set::kind(),
        &Exchange_Backup_Set::kind()})
    EXPECT_NE(all.end(), std::find(all.begin(), all.end(), kind)) << kind->class_name();
}

TEST(BackupSetKinds, FindByModuleNamesEachNamedKind) {
  EXPECT_EQ(&DMDB_Backup_Set::kind(), Backup_Set_Kinds::find("dmdb"));
  EXPECT_EQ(&HANA_Backup_Set::kind(), Backup_Set_Kinds::find("hana"));
  EXPECT_EQ(&GaussDB_Backup_Set::kind(), Backup_Set_Kinds::find("gaussdb"));
  EXPECT_EQ(&CacheDB_Backup_Set::kind(), Backup_Set_Kinds::find("cachedb"));
  for (auto const& entry : MODULES) {
    if (entry.second.empty()) continue;
    Backup_Set_Kind const* kind = Backup_Set_Kinds::find(entry.second.c_str());
    EXPECT_STREQ(entry.first.c_str(), class_of(kind)) << entry.second;
  }
}

TEST(BackupSetKinds, FindOfEmptyOrNullModuleIsNull) {
  EXPECT_EQ(nullptr, Backup_Set_Kinds::find(""));
  EXPECT_EQ(nullptr, Backup_Set_Kinds::find(nullptr));
}

TEST(BackupSetKinds, FindOfUnknownModuleIsNull) {
  EXPECT_EQ(nullptr, Backup_Set_Kinds::find("no_such_module"));
  EXPECT_EQ(nullptr, Backup_Set_Kinds::find("DMDB"));
  EXPECT_EQ(nullptr, Backup_Set_Kinds::find("dmdb "));
}

TEST(BackupSetKinds, DefaultDocumentsCarryTheListedKeys) {
  DB2_Backup_Set db2;
  MySQL_Backup_Set mysql;
  MSSQL_Backup_Set mssql;
  Exchange_Backup_Set exchange;
  EXPECT_EQ(as_set(DB2_KEYS), application_keys(db2));
  EXPECT_EQ(as_set(MYSQL_KEYS), application_keys(mysql));
  EXPECT_EQ(as_set(MSSQL_KEYS), application_keys(mssql));
  EXPECT_EQ(as_set(EXCHANGE_KEYS), application_keys(exchange));
}

TEST(BackupSetKinds, DefaultDB2KeysFindTheDB2Kind) {
  EXPECT_STREQ("DB2_Backup_Set", class_of(Backup_Set_Kinds::find("", DB2_KEYS)));
  EXPECT_EQ(&DB2_Backup_Set::kind(), Backup_Set_Kinds::find(nullptr, DB2_KEYS));
}

TEST(BackupSetKinds, DefaultMySQLKeysFindTheMySQLKind) {
  EXPECT_STREQ("MySQL_Backup_Set", class_of(Backup_Set_Kinds::find("", MYSQL_KEYS)));
}

TEST(BackupSetKinds, DefaultMSSQLKeysFindTheMSSQLKind) {
  EXPECT_STREQ("MSSQL_Backup_Set", class_of(Backup_Set_Kinds::find("", MSSQL_KEYS)));
}

TEST(BackupSetKinds, DefaultExchangeKeysFindTheExchangeKind) {
  EXPECT_STREQ("Exchange_Backup_Set", class_of(Backup_Set_Kinds::find("", EXCHANGE_KEYS)));
}

TEST(BackupSetKinds, KeysOfAFilledMySQLDocumentStillFindMySQL) {
  Keys keys = MYSQL_KEYS;
  for (char const* key : {"timezone_offset", "log_branch", "start_gtids", "backup_files", "backup_time"})
    keys.push_back(key);
  EXPECT_STREQ("MySQL_Backup_Set", class_of(Backup_Set_Kinds::find("", keys)));
}

TEST(BackupSetKinds, KeyOrderDoesNotMatter) {
  Keys keys(DB2_KEYS.rbegin(), DB2_KEYS.rend());
  EXPECT_STREQ("DB2_Backup_Set", class_of(Backup_Set_Kinds::find("", keys)));
}

TEST(BackupSetKinds, KeysOfTwoKindsMixedFindNothing) {
  Keys db2_and_mysql = DB2_KEYS;
  db2_and_mysql.push_back("seq");
  EXPECT_EQ(nullptr, Backup_Set_Kinds::find("", db2_and_mysql));

  Keys mysql_and_exchange = MYSQL_KEYS;
  mysql_and_exchange.push_back("device_uuid");
  EXPECT_EQ(nullptr, Backup_Set_Kinds::find("", mysql_and_exchange));

  Keys halves(DB2_KEYS.begin(), DB2_KEYS.begin() + 4);
  halves.insert(halves.end(), EXCHANGE_KEYS.begin() + 4, EXCHANGE_KEYS.end());
  EXPECT_EQ(nullptr, Backup_Set_Kinds::find("", halves));
}

TEST(BackupSetKinds, MissingAlwaysWrittenKeyFindsNothing) {
  Keys keys(DB2_KEYS.begin(), DB2_KEYS.end() - 1);  // without "is_archive_set"
  EXPECT_EQ(nullptr, Backup_Set_Kinds::find("", keys));
}

TEST(BackupSetKinds, UnknownKeyFindsNothing) {
  Keys keys = EXCHANGE_KEYS;
  keys.push_back("no_such_key");
  EXPECT_EQ(nullptr, Backup_Set_Kinds::find("", keys));
}

TEST(BackupSetKinds, EmptyKeyListWithEmptyModuleFindsNothing) {
  EXPECT_EQ(nullptr, Backup_Set_Kinds::find("", Keys()));
  EXPECT_EQ(nullptr, Backup_Set_Kinds::find(nullptr, Keys()));
}

TEST(BackupSetKinds, NamedModuleIgnoresTheKeys) {
  EXPECT_EQ(&HANA_Backup_Set::kind(), Backup_Set_Kinds::find("hana", DB2_KEYS));
  EXPECT_EQ(&DMDB_Backup_Set::kind(), Backup_Set_Kinds::find("dmdb", Keys()));
  EXPECT_EQ(&CacheDB_Backup_Set::kind(), Backup_Set_Kinds::find("cachedb", Keys{"no_such_key"}));
  EXPECT_EQ(nullptr, Backup_Set_Kinds::find("no_such_module", DB2_KEYS));
}

TEST(BackupSetKinds, DefaultDocumentsOfTheServerOnlyKindsCarryTheListedKeys) {
  MongoDB_Backup_Set mongodb;
  NDMP_Backup_Set ndmp;
  Domino_Backup_Set domino;
  EXPECT_EQ(as_set(MONGODB_KEYS), application_keys(mongodb));
  EXPECT_EQ(as_set(NDMP_KEYS), application_keys(ndmp));
  EXPECT_EQ(as_set(DOMINO_KEYS), application_keys(domino));
}

TEST(BackupSetKinds, FilledDocumentsOfTheServerOnlyKindsCarryTheListedKeys) {
  MongoDB_Backup_Set mongodb;
  mongodb.arch_log_start = 1;
  mongodb.arch_log_start_i = 2;
  mongodb.arch_log_end = 3;
  mongodb.arch_log_end_i = 4;
  mongodb.backup_files.push_back(MongoDB_Backup_File());
  NDMP_Backup_Set ndmp;
  ndmp.backup_type = "dump";
  ndmp.level = 1;
  Domino_Backup_Set domino;
  domino.daos = "on";
  domino.archive_logs.push_back(Domino_Archive_Log());
  EXPECT_EQ(as_set(MONGODB_FILLED_KEYS), application_keys(mongodb));
  EXPECT_EQ(as_set(NDMP_KEYS), application_keys(ndmp));
  EXPECT_EQ(as_set(DOMINO_KEYS), application_keys(domino));
}

TEST(BackupSetKinds, DefaultMongoDBKeysFindTheMongoDBKind) {
  EXPECT_STREQ("MongoDB_Backup_Set", class_of(Backup_Set_Kinds::find("", MONGODB_KEYS)));
  EXPECT_EQ(&MongoDB_Backup_Set::kind(), Backup_Set_Kinds::find(nullptr, MONGODB_KEYS));
}

TEST(BackupSetKinds, FilledMongoDBKeysFindTheMongoDBKind) {
  EXPECT_STREQ("MongoDB_Backup_Set", class_of(Backup_Set_Kinds::find("", MONGODB_FILLED_KEYS)));
}

TEST(BackupSetKinds, MongoDBStartWithoutCompanionsStillFindsMongoDB) {
  // A start with no end writes "arch_log_end" but no companion numbers.
  EXPECT_STREQ("MongoDB_Backup_Set",
               class_of(Backup_Set_Kinds::find("", Keys{"seq", "arch_log_start", "arch_log_end", "archive",
                                                        "backup_files"})));
}

TEST(BackupSetKinds, NDMPKeysFindTheNDMPKind) {
  EXPECT_STREQ("NDMP_Backup_Set", class_of(Backup_Set_Kinds::find("", NDMP_KEYS)));
  Keys reversed(NDMP_KEYS.rbegin(), NDMP_KEYS.rend());
  EXPECT_EQ(&NDMP_Backup_Set::kind(), Backup_Set_Kinds::find(nullptr, reversed));
}

TEST(BackupSetKinds, DominoKeysFindTheDominoKind) {
  EXPECT_STREQ("Domino_Backup_Set", class_of(Backup_Set_Kinds::find("", DOMINO_KEYS)));
  EXPECT_EQ(&Domino_Backup_Set::kind(), Backup_Set_Kinds::find(nullptr, DOMINO_KEYS));
}

TEST(BackupSetKinds, ServerOnlyKindsAreFoundFromTheirWholeDocuments) {
  // Every key of the document, common ones included, as catalogd sees it.
  MongoDB_Backup_Set mongodb;
  mongodb.arch_log_start = 5;
  NDMP_Backup_Set ndmp;
  Domino_Backup_Set domino;
  std::vector<std::pair<JSON_Generator*, char const*>> const records{
      {&mongodb, "MongoDB_Backup_Set"}, {&ndmp, "NDMP_Backup_Set"}, {&domino, "Domino_Backup_Set"}};
  for (auto const& record : records) {
    std::set<std::string> const all = top_level_keys(*record.first);
    EXPECT_STREQ(record.second, class_of(Backup_Set_Kinds::find("", Keys(all.begin(), all.end()))));
  }
}

TEST(BackupSetKinds, KeysOfTwoServerOnlyKindsMixedFindNothing) {
  Keys mongodb_and_ndmp = MONGODB_KEYS;
  mongodb_and_ndmp.push_back("vols");
  EXPECT_EQ(nullptr, Backup_Set_Kinds::find("", mongodb_and_ndmp));

  Keys ndmp_and_domino = NDMP_KEYS;
  ndmp_and_domino.push_back("daos");
  EXPECT_EQ(nullptr, Backup_Set_Kinds::find("", ndmp_and_domino));

  Keys domino_and_mongodb = DOMINO_KEYS;
  domino_and_mongodb.push_back("archive");
  EXPECT_EQ(nullptr, Backup_Set_Kinds::find("", domino_and_mongodb));

  Keys mongodb_and_db2 = MONGODB_FILLED_KEYS;
  mongodb_and_db2.push_back("meta_file");
  EXPECT_EQ(nullptr, Backup_Set_Kinds::find("", mongodb_and_db2));
}

TEST(BackupSetKinds, ServerOnlyKindMissingAnAlwaysWrittenKeyFindsNothing) {
  EXPECT_EQ(nullptr, Backup_Set_Kinds::find("", Keys{"seq", "backup_files"}));  // MongoDB without "archive"
  EXPECT_EQ(nullptr, Backup_Set_Kinds::find("", Keys(NDMP_KEYS.begin(), NDMP_KEYS.end() - 1)));
  EXPECT_EQ(nullptr, Backup_Set_Kinds::find("", Keys(DOMINO_KEYS.begin(), DOMINO_KEYS.end() - 1)));
}
