#include <algorithm>
#include <climits>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_piece.h"
#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/hyper_v_backup_set.h"
#include "platform/database/query_result_token_printer.h"
#include "platform/sql/select_sql.h"
#include "tests/kinds/kind_test_support.h"
#include "tests/records/document.h"
#include "tests/support/log_capture.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

// What a new set writes behind the base keys.
char const DEFAULT_KEYS[] =
    R"("vm_name":"","vm_guid":"","vm_setting_id":"","vm_prev_setting_id":"","vm_config_version":"",)"
    R"("memory_mbytes":0,"cpu_count":1,"vm_generation":1,"vhd_chains":{},"network_adapters":[],)"
    R"("controllers":[],"drives":[]})";

// The keys in front of "vhd_chains" for a new set.
char const LEADING[] =
    R"("vm_name":"","vm_guid":"","vm_setting_id":"","vm_prev_setting_id":"","vm_config_version":"",)"
    R"("memory_mbytes":0,"cpu_count":1,"vm_generation":1,)";

char const* const COLUMN_KEYS[] = {"set_uuid",          "vm_name",       "vm_guid",          "vm_setting_id",
                                   "vm_prev_setting_id", "vm_config_version", "vm_generation", "memory_mbytes",
                                   "cpu_count",         "network_adapters", "controllers",     "drives",
                                   "vhd_chains"};

// The statement's columns under `alias`, in order.
Columns hyper_v_columns(std::string const& alias) {
  Columns out;
  for (char const* key : COLUMN_KEYS) out.emplace_back(alias + "." + key, key);
  return out;
}

Hyper_V_VHD vhd(std::string parent_path, std::string path, unsigned long long file_size) {
  Hyper_V_VHD v;
  v.parent_path = std::move(parent_path);
  v.path = std::move(path);
  v.file_size = file_size;
  return v;
}

Hyper_V_VHD_Chain chain(std::vector<Hyper_V_VHD> vhds, std::string id, std::string rct_id,
                        std::string controller_type, unsigned long long total_size, int address_0, int address_1) {
  Hyper_V_VHD_Chain c;
  c.vhds = std::move(vhds);
  c.id = std::move(id);
  c.rct_id = std::move(rct_id);
  c.controller_type = std::move(controller_type);
  c.total_size = total_size;
  c.address_0 = address_0;
  c.address_1 = address_1;
  return c;
}

Hyper_V_Network_Adapter adapter(std::string mac, std::string name, std::string virtual_switch, bool is_static_mac) {
  Hyper_V_Network_Adapter a;
  a.mac = std::move(mac);
  a.name = std::move(name);
  a.virtual_switch = std::move(virtual_switch);
  a.is_static_mac = is_static_mac;
  return a;
}

Hyper_V_Controller controller(std::string type, int address) {
  Hyper_V_Controller c;
  c.type = std::move(type);
  c.address = address;
  return c;
}

Hyper_V_Drive drive(int controller_address, int controller_type, int address) {
  Hyper_V_Drive d;
  d.controller_address = controller_address;
  d.controller_type = controller_type;
  d.address = address;
  return d;
}

Backup_Piece piece(std::string path, std::string object, long long size) {
  Backup_Piece p;
  p.path = std::move(path);
  p.object = std::move(object);
  p.size = size;
  return p;
}

// The refusals of the intake, which is all Backup_Set's, name the base's
// source file.
char const BASE_SOURCE[] = "/backup_set.cpp";

}  // namespace

// ---- document -------------------------------------------------------------

TEST(HyperVBackupSet, DefaultDocumentIsBaseThenOwnKeys) {
  expect_default_document<Hyper_V_Backup_Set>("hyperv", DEFAULT_KEYS);
}

TEST(HyperVBackupSet, NewSetWritesMemoryZeroOneCpuGenerationOneAndEmptyContainers) {
  Hyper_V_Backup_Set set;
  std::string const keys = own_keys(set, "hyperv");
  EXPECT_EQ(DEFAULT_KEYS, keys);
  EXPECT_NE(std::string::npos,
            keys.find(R"("memory_mbytes":0,"cpu_count":1,"vm_generation":1,"vhd_chains":{},)"
                      R"("network_adapters":[],"controllers":[],"drives":[]})"))
      << keys;
}

TEST(HyperVBackupSet, FreshSetDefaults) {
  Hyper_V_Backup_Set set;
  EXPECT_EQ("", set.vm_name);
  EXPECT_EQ("", set.vm_guid);
  EXPECT_EQ("", set.vm_setting_id);
  EXPECT_EQ("", set.vm_prev_setting_id);
  EXPECT_EQ("", set.vm_config_version);
  EXPECT_TRUE(set.vhd_chains.empty());
  EXPECT_TRUE(set.network_adapters.empty());
  EXPECT_TRUE(set.controllers.empty());
  EXPECT_TRUE(set.drives.empty());
  EXPECT_EQ(0, set.memory_mbytes);
  EXPECT_EQ(1, set.cpu_count);
  EXPECT_EQ(1, set.vm_generation);
}

TEST(HyperVBackupSet, FilledDocumentHasEveryKeyInOrder) {
  Hyper_V_Backup_Set set;
  set.vm_name = "hv-\"01\"";
  set.vm_guid = "5F1C0A2B-0000-4000-8000-00000000000A";
  set.vm_setting_id = "s1";
  set.vm_prev_setting_id = "";
  set.vm_config_version = "9.0";
  set.memory_mbytes = INT_MAX;
  set.cpu_count = INT_MIN;
  set.vm_generation = 2;
  set.vhd_chains["scsi-0-1"] =
      chain({vhd("", "C:\\vm\\a.vhdx", UINT64_MAX), vhd("C:\\vm\\a.vhdx", "C:\\vm\\a_1.avhdx", 0)}, "c1", "rct/1",
            "SCSI", UINT64_MAX, -1, INT_MAX);
  set.vhd_chains["ide-0-0"] = chain({}, "", "", "", 0, 0, 0);
  set.network_adapters.push_back(adapter("00-15-5D-01-02-03", "Network Adapter", "Default Switch", true));
  set.network_adapters.push_back(adapter("", "", "", false));
  set.controllers.push_back(controller("IDE", 0));
  set.controllers.push_back(controller("SCSI", INT_MIN));
  set.drives.push_back(drive(1, 2, 3));
  Generated doc = generate_text(set);
  EXPECT_TRUE(doc.ok);
  EXPECT_EQ(base_prefix("hyperv") +
                R"("vm_name":"hv-\"01\"","vm_guid":"5F1C0A2B-0000-4000-8000-00000000000A","vm_setting_id":"s1",)"
                R"("vm_prev_setting_id":"","vm_config_version":"9.0","memory_mbytes":2147483647,)"
                R"("cpu_count":-2147483648,"vm_generation":2,"vhd_chains":{)"
                R"("ide-0-0":{"address_0":0,"address_1":0,"controller_type":"","total_size":0,"id":"","rct_id":"",)"
                R"("vhds":[]},)"
                R"("scsi-0-1":{"address_0":-1,"address_1":2147483647,"controller_type":"SCSI",)"
                R"("total_size":18446744073709551615,"id":"c1","rct_id":"rct/1","vhds":[)"
                R"({"path":"C:\\vm\\a.vhdx","parent_path":"","file_size":18446744073709551615},)"
                R"({"path":"C:\\vm\\a_1.avhdx","parent_path":"C:\\vm\\a.vhdx","file_size":0}]}},)"
                R"("network_adapters":[{"mac":"00-15-5D-01-02-03","name":"Network Adapter",)"
                R"("virtual_switch":"Default Switch","is_static_mac":true},)"
                R"({"mac":"","name":"","virtual_switch":"","is_static_mac":false}],)"
                R"("controllers":[{"address":0,"type":"IDE"},{"address":-2147483648,"type":"SCSI"}],)"
                R"("drives":[{"address":3,"controller_type":2,"controller_address":1}]})",
            doc.text);
}

TEST(HyperVBackupSet, ChainsKeyedBAndAAreWrittenAFirst) {
  Hyper_V_Backup_Set set;
  set.vhd_chains["b"] = chain({}, "chain-b", "", "IDE", 2, 0, 1);
  set.vhd_chains["a"] = chain({}, "chain-a", "", "SCSI", 1, 0, 0);
  EXPECT_EQ(std::string(LEADING) +
                R"("vhd_chains":{"a":{"address_0":0,"address_1":0,"controller_type":"SCSI","total_size":1,)"
                R"("id":"chain-a","rct_id":"","vhds":[]},"b":{"address_0":0,"address_1":1,"controller_type":"IDE",)"
                R"("total_size":2,"id":"chain-b","rct_id":"","vhds":[]}},)"
                R"("network_adapters":[],"controllers":[],"drives":[]})",
            own_keys(set, "hyperv"));
}

TEST(HyperVBackupSet, ChainKeysAreOrderedBytewise) {
  Hyper_V_Backup_Set set;
  set.vhd_chains["b"] = chain({}, "", "", "", 0, 0, 0);
  set.vhd_chains["B"] = chain({}, "", "", "", 0, 0, 0);
  set.vhd_chains["a10"] = chain({}, "", "", "", 0, 0, 0);
  set.vhd_chains["a2"] = chain({}, "", "", "", 0, 0, 0);
  std::string const keys = own_keys(set, "hyperv");
  size_t const upper_b = keys.find(R"("B":{)");
  size_t const a10 = keys.find(R"("a10":{)");
  size_t const a2 = keys.find(R"("a2":{)");
  size_t const lower_b = keys.find(R"("b":{)");
  ASSERT_NE(std::string::npos, upper_b);
  ASSERT_NE(std::string::npos, a10);
  ASSERT_NE(std::string::npos, a2);
  ASSERT_NE(std::string::npos, lower_b);
  EXPECT_LT(upper_b, a10);
  EXPECT_LT(a10, a2);
  EXPECT_LT(a2, lower_b);
}

TEST(HyperVBackupSet, DisksOfAChainKeepTheOrderTheJobAddedThem) {
  Hyper_V_Backup_Set set;
  set.vhd_chains["k"] = chain({vhd("p", "z.avhdx", 3), vhd("", "a.vhdx", 1), vhd("p", "z.avhdx", 3)}, "", "", "",
                              0, 0, 0);
  EXPECT_EQ(std::string(LEADING) +
                R"("vhd_chains":{"k":{"address_0":0,"address_1":0,"controller_type":"","total_size":0,"id":"",)"
                R"("rct_id":"","vhds":[{"path":"z.avhdx","parent_path":"p","file_size":3},)"
                R"({"path":"a.vhdx","parent_path":"","file_size":1},)"
                R"({"path":"z.avhdx","parent_path":"p","file_size":3}]}},)"
                R"("network_adapters":[],"controllers":[],"drives":[]})",
            own_keys(set, "hyperv"));
}

TEST(HyperVBackupSet, DriveWritesAddressFirstThoughItDeclaresControllerAddressFirst) {
  Hyper_V_Backup_Set set;
  set.drives.push_back(drive(INT_MIN, -1, INT_MAX));
  set.drives.push_back(drive(0, 0, 0));
  EXPECT_EQ(std::string(LEADING) +
                R"("vhd_chains":{},"network_adapters":[],"controllers":[],"drives":[)"
                R"({"address":2147483647,"controller_type":-1,"controller_address":-2147483648},)"
                R"({"address":0,"controller_type":0,"controller_address":0}]})",
            own_keys(set, "hyperv"));
}

TEST(HyperVBackupSet, ControllerWritesAddressThenTypeInSequenceOrder) {
  Hyper_V_Backup_Set set;
  set.controllers.push_back(controller("SCSI", 1));
  set.controllers.push_back(controller("IDE", 0));
  EXPECT_EQ(std::string(LEADING) +
                R"("vhd_chains":{},"network_adapters":[],"controllers":[{"address":1,"type":"SCSI"},)"
                R"({"address":0,"type":"IDE"}],"drives":[]})",
            own_keys(set, "hyperv"));
}

TEST(HyperVBackupSet, NetworkAdaptersAreWrittenInSequenceOrder) {
  Hyper_V_Backup_Set set;
  set.network_adapters.push_back(adapter("m2", "n2", "sw\\2", false));
  set.network_adapters.push_back(adapter("m1", "n1", "sw1", true));
  EXPECT_EQ(std::string(LEADING) +
                R"("vhd_chains":{},"network_adapters":[)"
                R"({"mac":"m2","name":"n2","virtual_switch":"sw\\2","is_static_mac":false},)"
                R"({"mac":"m1","name":"n1","virtual_switch":"sw1","is_static_mac":true}],)"
                R"("controllers":[],"drives":[]})",
            own_keys(set, "hyperv"));
}

TEST(HyperVBackupSet, GenerateDoesNotChangeTheRecord) {
  Hyper_V_Backup_Set set;
  set.vhd_chains["k"] = chain({vhd("", "a", 1)}, "i", "r", "IDE", 1, 0, 0);
  set.drives.push_back(drive(1, 2, 3));
  std::string const first = document_of(set);
  EXPECT_EQ(first, document_of(set));
  ASSERT_EQ(1u, set.vhd_chains.size());
  EXPECT_EQ(1u, set.vhd_chains["k"].vhds.size());
  EXPECT_EQ(1u, set.drives.size());
}

// ---- look-ups ---------------------------------------------------------------

TEST(HyperVBackupSet, PoolUuidWithoutStoragesIsFalseAndLeavesTheOutputAlone) {
  Hyper_V_Backup_Set set;
  std::string pool = "unchanged";
  EXPECT_FALSE(set.get_pool_uuid(pool));
  EXPECT_EQ("unchanged", pool);
}

TEST(HyperVBackupSet, PoolUuidIsTheFirstStoragesPool) {
  Hyper_V_Backup_Set set;
  set.add_storage("pool-1", 10);
  set.add_storage("pool-2", 20);
  std::string pool = "old";
  EXPECT_TRUE(set.get_pool_uuid(pool));
  EXPECT_EQ("pool-1", pool);
}

TEST(HyperVBackupSet, EmptyFirstPoolIsFalseThoughTheOutputIsAssigned) {
  Hyper_V_Backup_Set set;
  set.add_storage("", 10);
  set.add_storage("pool-2", 20);
  std::string pool = "old";
  EXPECT_FALSE(set.get_pool_uuid(pool));
  EXPECT_EQ("", pool);
}

TEST(HyperVBackupSet, PieceOfTwoWithTheSameObjectIsTheFirstInListOrder) {
  Hyper_V_Backup_Set set;
  set.add_piece(piece("/p/first.vhdx", "disk-1", 100));
  set.add_piece(piece("/p/other.vhdx", "disk-2", 200));
  set.add_piece(piece("/p/second.vhdx", "disk-1", 300));
  Backup_Piece found;
  EXPECT_TRUE(set.get_piece("disk-1", found));
  EXPECT_EQ("/p/first.vhdx", found.path);
  EXPECT_EQ("disk-1", found.object);
  EXPECT_EQ(100, found.size);
  EXPECT_TRUE(set.get_piece("disk-2", found));
  EXPECT_EQ("/p/other.vhdx", found.path);
  EXPECT_EQ(200, found.size);
}

TEST(HyperVBackupSet, PieceIsACopyWithItsAttributes) {
  Hyper_V_Backup_Set set;
  Backup_Piece p = piece("/p/a", "disk", 7);
  p.extended_attrs = Object{{"rct", Value("r1")}};
  set.add_piece(p);
  Backup_Piece found;
  ASSERT_TRUE(set.get_piece("disk", found));
  EXPECT_EQ((Object{{"rct", Value("r1")}}), found.extended_attrs);
  found.path = "changed";
  EXPECT_EQ("/p/a", set.pieces.front().path);
}

TEST(HyperVBackupSet, PieceMissIsFalseAndLeavesThePieceAlone) {
  Hyper_V_Backup_Set set;
  set.add_piece(piece("/p/a", "Disk", 1));
  set.add_piece(piece("/p/b", "disk-10", 2));
  Backup_Piece found = piece("keep", "keep-object", 42);
  EXPECT_FALSE(set.get_piece("disk", found));
  EXPECT_FALSE(set.get_piece("disk-1", found));
  EXPECT_FALSE(set.get_piece("", found));
  EXPECT_EQ("keep", found.path);
  EXPECT_EQ("keep-object", found.object);
  EXPECT_EQ(42, found.size);
}

TEST(HyperVBackupSet, PieceOnASetWithoutPiecesIsFalse) {
  Hyper_V_Backup_Set set;
  Backup_Piece found = piece("keep", "o", 1);
  EXPECT_FALSE(set.get_piece("o", found));
  EXPECT_EQ("keep", found.path);
}

// ---- module and registry ----------------------------------------------------

TEST(HyperVBackupSet, CatalogueModuleIsHyperv) {
  expect_kind_names<Hyper_V_Backup_Set>("hyperv", "Hyper_V_Backup_Set", "hyperv_backup_set");
}

TEST(HyperVBackupSet, KindIsListedInTheRegistry) {
  expect_registered_as<Hyper_V_Backup_Set>("hyperv");
}

// ---- statement --------------------------------------------------------------

TEST(HyperVBackupSet, StatementReadsTheHyperVTableAloneUnderTheCallersAlias) {
  expect_own_table_statement<Hyper_V_Backup_Set>("hyperv_backup_set", hyper_v_columns, {"h"}, "backup_set", "b");
}

TEST(HyperVBackupSet, StatementFollowsAnotherAlias) {
  expect_own_table_statement<Hyper_V_Backup_Set>("hyperv_backup_set", hyper_v_columns, {"hv", "b", "x2"});
}

TEST(HyperVBackupSet, StatementCarriesNoColumnOfTheBaseTable) {
  expect_no_base_column<Hyper_V_Backup_Set>(13u);
}

TEST(HyperVBackupSet, StatementTextSelectsFromTheHyperVTableOnly) {
  Select_SQL sql("backup_set", "b");
  Hyper_V_Backup_Set::init_select_sql(sql, "h");
  std::string const expected =
      "SELECT h.set_uuid,h.vm_name,h.vm_guid,h.vm_setting_id,h.vm_prev_setting_id,h.vm_config_version,"
      "h.vm_generation,h.memory_mbytes,h.cpu_count,h.network_adapters,h.controllers,h.drives,h.vhd_chains "
      "FROM hyperv_backup_set h";
  EXPECT_EQ(expected, sql.text(Dialect::SQLite));
  EXPECT_EQ(expected, sql.text(Dialect::PostgreSQL));
}

TEST(HyperVBackupSet, AddKeysAppendsTheColumnsAndLeavesTheTableToTheCaller) {
  Select_SQL sql("hyperv_view", "v");
  sql.add_key("v.extra", "extra");
  Hyper_V_Backup_Set::add_keys(sql, "hv");
  EXPECT_EQ("hyperv_view", sql.from_table());
  EXPECT_EQ("v", sql.from_alias());
  EXPECT_TRUE(sql.joins().empty());
  Columns expected{{"v.extra", "extra"}};
  for (auto const& column : hyper_v_columns("hv")) expected.push_back(column);
  EXPECT_EQ(expected, sql.columns());
}

// ---- intake (all Backup_Set's) ---------------------------------------------

TEST(HyperVBackupSet, OwnKeysInARowAreNotTaken) {
  Hyper_V_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(cstr(set, "vm_name", "row-vm"));
  EXPECT_TRUE(cstr(set, "vm_guid", "g"));
  EXPECT_TRUE(cstr(set, "vm_config_version", "9.0"));
  EXPECT_TRUE(cstr(set, "set_uuid", "s"));
  EXPECT_TRUE(set.print_int(0, "memory_mbytes", 4096));
  EXPECT_TRUE(set.print_int(0, "cpu_count", 4));
  EXPECT_TRUE(set.print_int(0, "vm_generation", 2));
  EXPECT_TRUE(set.print_json(0, "vhd_chains", Value(Object{{"a", Value(Object())}})));
  EXPECT_TRUE(set.print_json(0, "drives", Value(Array{Value(Object{{"address", Value(1)}})})));
  EXPECT_TRUE(set.print_uint(0, "memory_mbytes", 4096));
  EXPECT_TRUE(set.print_bool(0, "is_static_mac", true));
  EXPECT_EQ("", set.vm_name);
  EXPECT_EQ(0, set.memory_mbytes);
  EXPECT_EQ(1, set.cpu_count);
  EXPECT_EQ(1, set.vm_generation);
  EXPECT_TRUE(set.vhd_chains.empty());
  EXPECT_TRUE(set.drives.empty());
  EXPECT_EQ(before, document_of(set));
}

TEST(HyperVBackupSet, BaseColumnsReachTheBase) {
  Hyper_V_Backup_Set set;
  EXPECT_TRUE(cstr(set, "uuid", "3b1f0c2e-5d7a-4e8b-9c0d-1e2f3a4b5c6d"));
  EXPECT_TRUE(cstr(set, "name", "hv-nightly"));
  EXPECT_TRUE(set.print_int(0, "size", 1LL << 35));
  EXPECT_TRUE(set.print_json(0, "extended_attrs", Value(Object{{"k", Value("v")}})));
  EXPECT_EQ("3b1f0c2e-5d7a-4e8b-9c0d-1e2f3a4b5c6d", set.uuid);
  EXPECT_EQ("hv-nightly", set.name);
  EXPECT_EQ(1LL << 35, set.size);
  EXPECT_EQ((Object{{"k", Value("v")}}), set.extended_attrs);
}

TEST(HyperVBackupSet, UnsignedAndBoolColumnsEndAtThePrinterDefault) {
  expect_unsigned_and_bool_end_at_printer_default<Hyper_V_Backup_Set>();
}

TEST(HyperVBackupSet, NullOrEmptyKeyIsRefusedByTheBase) {
  expect_null_or_empty_key_refused_by_base<Hyper_V_Backup_Set>(Value(Object()), BASE_SOURCE);
}

TEST(HyperVBackupSet, BaseColumnInsideAnOpenMapIsIgnored) {
  Hyper_V_Backup_Set set;
  database::sql::Query_Result_Printer& p = set;
  ASSERT_TRUE(p.start_map(0, "vhd_chains"));
  EXPECT_TRUE(cstr(p, "name", "nested"));
  EXPECT_TRUE(p.print_int(0, "size", 9));
  ASSERT_TRUE(p.end_map());
  EXPECT_EQ("", set.name);
  EXPECT_EQ(0, set.size);
  EXPECT_TRUE(cstr(p, "name", "top"));
  EXPECT_EQ("top", set.name);
}

TEST(HyperVBackupSet, LogsNothingWhileWritingOrLookingUp) {
  Log_Capture capture;
  Hyper_V_Backup_Set set;
  std::string pool;
  Backup_Piece found;
  EXPECT_FALSE(set.get_pool_uuid(pool));
  EXPECT_FALSE(set.get_piece("x", found));
  set.add_storage("", 1);
  EXPECT_FALSE(set.get_pool_uuid(pool));
  EXPECT_TRUE(generate_text(set).ok);
  EXPECT_EQ(0u, capture.size()) << capture.dump();
}
