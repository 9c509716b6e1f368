#include <algorithm>
#include <climits>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/ics_backup_set.h"
#include "platform/database/query_result_token_printer.h"
#include "platform/sql/select_sql.h"
#include "tests/kinds/kind_test_support.h"
#include "tests/records/document.h"
#include "tests/support/log_capture.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

typedef ICS_Backup_Set::VM_Base VM_Base;
typedef ICS_Backup_Set::CPU_Info CPU_Info;
typedef ICS_Backup_Set::Mem_Info Mem_Info;
typedef ICS_Backup_Set::Aggregate_Info Aggregate_Info;

namespace {

unsigned long const ERROR_PRIORITY = 128;  // LM_ERROR

char const VM_BASE_MESSAGE[] = "Failed to load ICS_Backup_Set::VM_Base from JSON: ";
char const CPU_MESSAGE[] = "Failed to load ICS_Backup_Set::CPU_Info from JSON: ";
char const MEM_MESSAGE[] = "Failed to load ICS_Backup_Set::Mem_Info from JSON: ";
char const AGGREGATE_MESSAGE[] = "Failed to load ICS_Backup_Set::Aggregate_Info from JSON: ";

// What a set writes behind the base keys once the producer has zeroed the
// machine description.
char const DEFAULT_KEYS[] =
    R"("vm_name":"","vm_id":"","vm_uuid":"","vm_version":"","datacenter_id":"","owner_host_id":"",)"
    R"("owner_host_ip":"","owner_host_name":"",)"
    R"("base_info":{"boot_mode":"","guest_os_type":"","guest_os_label":"","panick_policy":"",)"
    R"("start_priority":"","vnc_password":"","vnc_shared_policy":"","vm_description":"","splash_time":0},)"
    R"("cpu_info":{"cpu_arch":"","cpu_shares":0,"cpu_count":0,"cpu_cores":0,"cpu_socket":0,)"
    R"("cpu_core_num_per_socket":0,"cpu_reservation":0,"cpu_limit":0,"cpu_model":"",)"
    R"("cpu_hot_plug_enabled":false,"cpu_model_enabled":false},)"
    R"("mem_info":{"mem_mbytes":0,"mem_reservation":0,"enable_huge_page":false,"mem_balloon_enabled":false,)"
    R"("mem_hot_add_enabled":false,"mem_hot_plug_enabled":false},)"
    R"("aggregates":[],"boot_devices":[],"floppys":[],"cdroms":[],"nics":[],"gpus":[],"usbs":[],)"
    R"("vm_extended_attrs":{}})";

char const* const COLUMN_KEYS[] = {
    "vm_name",        "vm_id",     "vm_uuid",    "vm_version", "datacenter_id", "owner_host_id", "owner_host_ip",
    "owner_host_name", "base_info", "cpu_info",   "mem_info",   "aggregates",    "boot_devices",  "floppys",
    "cdroms",         "nics",      "gpus",       "usbs",       "vm_extended_attrs"};

Columns ics_columns(std::string const& alias) {
  Columns out;
  for (char const* key : COLUMN_KEYS) out.emplace_back(alias + "." + key, key);
  return out;
}

// The producer's part: the numbers and flags of the machine description
// have no value of their own until it gives them one.
void zero_machine_description(ICS_Backup_Set& set) {
  set.base_info.splash_time = 0;
  set.cpu_info.cpu_shares = 0;
  set.cpu_info.cpu_count = 0;
  set.cpu_info.cpu_cores = 0;
  set.cpu_info.cpu_socket = 0;
  set.cpu_info.cpu_core_num_per_socket = 0;
  set.cpu_info.cpu_reservation = 0;
  set.cpu_info.cpu_limit = 0;
  set.cpu_info.cpu_hot_plug_enabled = false;
  set.cpu_info.cpu_model_enabled = false;
  set.mem_info.mem_mbytes = 0;
  set.mem_info.mem_reservation = 0;
  set.mem_info.enable_huge_page = false;
  set.mem_info.mem_balloon_enabled = false;
  set.mem_info.mem_hot_add_enabled = false;
  set.mem_info.mem_hot_plug_enabled = false;
}

// One key of a nested record and its field as a JSON value.
template <typename R>
struct Member {
  char const* key;
  Value (*field)(R const&);
};

#define MEMBER(R, name) {#name, [](R const& r) { return Value(r.name); }}

Member<VM_Base> const VM_BASE_MEMBERS[] = {
    MEMBER(VM_Base, boot_mode),      MEMBER(VM_Base, guest_os_type),     MEMBER(VM_Base, guest_os_label),
    MEMBER(VM_Base, panick_policy),  MEMBER(VM_Base, start_priority),    MEMBER(VM_Base, vnc_password),
    MEMBER(VM_Base, vnc_shared_policy), MEMBER(VM_Base, vm_description), MEMBER(VM_Base, splash_time),
};

Member<CPU_Info> const CPU_MEMBERS[] = {
    MEMBER(CPU_Info, cpu_arch),        MEMBER(CPU_Info, cpu_shares),
    MEMBER(CPU_Info, cpu_count),       MEMBER(CPU_Info, cpu_cores),
    MEMBER(CPU_Info, cpu_socket),      MEMBER(CPU_Info, cpu_core_num_per_socket),
    MEMBER(CPU_Info, cpu_reservation), MEMBER(CPU_Info, cpu_limit),
    MEMBER(CPU_Info, cpu_model),       MEMBER(CPU_Info, cpu_hot_plug_enabled),
    MEMBER(CPU_Info, cpu_model_enabled),
};

Member<Mem_Info> const MEM_MEMBERS[] = {
    MEMBER(Mem_Info, mem_mbytes),          MEMBER(Mem_Info, mem_reservation),
    MEMBER(Mem_Info, enable_huge_page),    MEMBER(Mem_Info, mem_balloon_enabled),
    MEMBER(Mem_Info, mem_hot_add_enabled), MEMBER(Mem_Info, mem_hot_plug_enabled),
};

Member<Aggregate_Info> const AGGREGATE_MEMBERS[] = {
    MEMBER(Aggregate_Info, id),
    MEMBER(Aggregate_Info, type),
};

#undef MEMBER

// Two complete descriptions of each record, every value different between
// the two, so that a field shows which one it was last loaded from.
Object vm_base_object(bool second) {
  return Object{{"boot_mode", Value(second ? "bios" : "uefi")},
                {"guest_os_type", Value(second ? "windows" : "linux")},
                {"guest_os_label", Value(second ? "Windows 2019" : "CentOS 7")},
                {"panick_policy", Value(second ? "pause" : "restart")},
                {"start_priority", Value(second ? "low" : "high")},
                {"vnc_password", Value(second ? "secret" : "p@ss\"w")},
                {"vnc_shared_policy", Value(second ? "exclusive" : "shared")},
                {"vm_description", Value(second ? "other" : "line1\nline2")},
                {"splash_time", Value(second ? 5ULL : 18446744073709551615ULL)}};
}

Object cpu_object(bool second) {
  return Object{{"cpu_arch", Value(second ? "aarch64" : "x86_64")},
                {"cpu_shares", Value(second ? 2048ULL : 1024ULL)},
                {"cpu_count", Value(second ? 16ULL : 8ULL)},
                {"cpu_cores", Value(second ? 8ULL : 4ULL)},
                {"cpu_socket", Value(second ? 4ULL : 2ULL)},
                {"cpu_core_num_per_socket", Value(second ? 3ULL : 2ULL)},
                {"cpu_reservation", Value(second ? 500ULL : 100ULL)},
                {"cpu_limit", Value(second ? 7ULL : 18446744073709551615ULL)},
                {"cpu_model", Value(second ? "custom" : "host-passthrough")},
                {"cpu_hot_plug_enabled", Value(!second)},
                {"cpu_model_enabled", Value(second)}};
}

Object mem_object(bool second) {
  return Object{{"mem_mbytes", Value(second ? 1024ULL : 4294967296ULL)},
                {"mem_reservation", Value(second ? 2ULL : 1ULL)},
                {"enable_huge_page", Value(!second)},
                {"mem_balloon_enabled", Value(second)},
                {"mem_hot_add_enabled", Value(!second)},
                {"mem_hot_plug_enabled", Value(second)}};
}

Object aggregate_object(bool second) {
  return Object{{"id", Value(second ? "a9" : "a1")}, {"type", Value(second ? 9ULL : 2ULL)}};
}

// Loads `full` less each key in turn over a record first loaded from
// `other`: exactly one error record with the record's message, and the keys
// before the missing one hold `full`'s values, the rest `other`'s.
template <typename R, size_t N>
void expect_each_missing_key_fails(Member<R> const (&members)[N], Object const& full, Object const& other,
                                   char const* message) {
  ASSERT_EQ(N, full.size());
  for (size_t missing = 0; missing < N; ++missing) {
    R record;
    ASSERT_TRUE(record.from_json(Value(other)));
    Object doc = full;
    ASSERT_EQ(1u, doc.erase(members[missing].key)) << members[missing].key;
    Log_Capture capture;
    EXPECT_FALSE(record.from_json(Value(doc))) << members[missing].key;
    auto const records = capture.records();
    ASSERT_EQ(1u, records.size()) << members[missing].key << "\n" << capture.dump();
    EXPECT_EQ(ERROR_PRIORITY, records[0].priority);
    EXPECT_EQ(0u, records[0].text.find(message)) << records[0].text;
    EXPECT_EQ('\n', records[0].text.back()) << records[0].text;
    for (size_t j = 0; j < N; ++j) {
      Object const& source = j < missing ? full : other;
      EXPECT_EQ(source.at(members[j].key), members[j].field(record))
          << "missing " << members[missing].key << ", member " << members[j].key;
    }
  }
}

// A load that must fail with the record's message and leave the record as
// it was (checked through its conversion).
template <typename R>
void expect_refused(R& record, Value const& value, char const* message, std::string const& context) {
  Object const before = record.to_json();
  Log_Capture capture;
  EXPECT_FALSE(record.from_json(value)) << context;
  auto const records = capture.records();
  ASSERT_EQ(1u, records.size()) << context << "\n" << capture.dump();
  EXPECT_EQ(ERROR_PRIORITY, records[0].priority) << context;
  EXPECT_EQ(0u, records[0].text.find(message)) << context << ": " << records[0].text;
  EXPECT_EQ(before, record.to_json()) << context;
}

std::set<std::string> keys_of(Object const& o) {
  std::set<std::string> out;
  for (auto const& m : o) out.insert(m.first);
  return out;
}

template <typename R, size_t N>
std::set<std::string> keys_of(Member<R> const (&members)[N]) {
  std::set<std::string> out;
  for (Member<R> const& m : members) out.insert(m.key);
  return out;
}

}  // namespace

// ---- document -------------------------------------------------------------

TEST(ICSBackupSet, DefaultSetWritesEmptyTextsZerosFalseAndEmptyContainers) {
  ICS_Backup_Set set;
  zero_machine_description(set);
  Generated doc = generate_text(set);
  EXPECT_TRUE(doc.ok);
  EXPECT_EQ(base_prefix("incloud") + DEFAULT_KEYS, doc.text);
}

TEST(ICSBackupSet, FreshSetHasEmptyTextsAndContainers) {
  ICS_Backup_Set set;
  for (std::string const* s : {&set.vm_id, &set.vm_uuid, &set.vm_name, &set.vm_version, &set.datacenter_id,
                               &set.owner_host_id, &set.owner_host_ip, &set.owner_host_name, &set.base_info.boot_mode,
                               &set.base_info.vnc_password, &set.base_info.vm_description, &set.cpu_info.cpu_arch,
                               &set.cpu_info.cpu_model})
    EXPECT_EQ("", *s);
  EXPECT_TRUE(set.aggregates.empty());
  EXPECT_TRUE(set.boot_devices.empty());
  EXPECT_TRUE(set.floppys.empty());
  EXPECT_TRUE(set.cdroms.empty());
  EXPECT_TRUE(set.nics.empty());
  EXPECT_TRUE(set.gpus.empty());
  EXPECT_TRUE(set.usbs.empty());
  EXPECT_TRUE(set.vm_extended_attrs.empty());
}

TEST(ICSBackupSet, FilledDocumentHasEveryKeyInOrder) {
  ICS_Backup_Set set;
  set.vm_name = "vm \"1\"";
  set.vm_id = "id-1";
  set.vm_uuid = "uuid-1";
  set.vm_version = "v7";
  set.datacenter_id = "dc-1";
  set.owner_host_id = "h-1";
  set.owner_host_ip = "10.0.0.1";
  set.owner_host_name = "host\\one \xE5\xBA\x93";  // one CJK character
  ASSERT_TRUE(set.base_info.from_json(Value(vm_base_object(false))));
  ASSERT_TRUE(set.cpu_info.from_json(Value(cpu_object(false))));
  ASSERT_TRUE(set.mem_info.from_json(Value(mem_object(false))));
  Aggregate_Info a1;
  a1.id = "a1";
  a1.type = 2;
  Aggregate_Info low;
  low.id = "";
  low.type = INT_MIN;
  set.aggregates = {a1, low};
  set.boot_devices = Array{Value(Object{{"dev", Value("hd")}, {"order", Value(1)}})};
  set.cdroms = Array{Value("iso")};
  set.nics = Array{Value(Object{{"mac", Value("00:11")}}), Value(Object{{"mac", Value("22:33")}})};
  set.gpus = Array{Value()};
  set.usbs = Array{Value(1), Value(true)};
  set.vm_extended_attrs = Object{{"z", Value(1)}, {"a", Value("x")}};
  Generated doc = generate_text(set);
  EXPECT_TRUE(doc.ok);
  EXPECT_EQ(base_prefix("incloud") +
                R"("vm_name":"vm \"1\"","vm_id":"id-1","vm_uuid":"uuid-1","vm_version":"v7","datacenter_id":"dc-1",)"
                R"("owner_host_id":"h-1","owner_host_ip":"10.0.0.1","owner_host_name":"host\\one )"
                "\xE5\xBA\x93"
                R"(","base_info":{"boot_mode":"uefi","guest_os_type":"linux","guest_os_label":"CentOS 7",)"
                R"("panick_policy":"restart","start_priority":"high","vnc_password":"p@ss\"w",)"
                R"("vnc_shared_policy":"shared","vm_description":"line1\nline2","splash_time":18446744073709551615},)"
                R"("cpu_info":{"cpu_arch":"x86_64","cpu_shares":1024,"cpu_count":8,"cpu_cores":4,"cpu_socket":2,)"
                R"("cpu_core_num_per_socket":2,"cpu_reservation":100,"cpu_limit":18446744073709551615,)"
                R"("cpu_model":"host-passthrough","cpu_hot_plug_enabled":true,"cpu_model_enabled":false},)"
                R"("mem_info":{"mem_mbytes":4294967296,"mem_reservation":1,"enable_huge_page":true,)"
                R"("mem_balloon_enabled":false,"mem_hot_add_enabled":true,"mem_hot_plug_enabled":false},)"
                R"("aggregates":[{"id":"a1","type":2},{"id":"","type":-2147483648}],)"
                R"("boot_devices":[{"dev":"hd","order":1}],"floppys":[],"cdroms":["iso"],)"
                R"("nics":[{"mac":"00:11"},{"mac":"22:33"}],"gpus":[null],"usbs":[1,true],)"
                R"("vm_extended_attrs":{"a":"x","z":1}})",
            doc.text);
}

TEST(ICSBackupSet, CatalogModuleKeyIsIncloud) {
  ICS_Backup_Set set;
  EXPECT_EQ(0u, document_of(set).find(R"({"catalog_module":"incloud",)"));
  EXPECT_STREQ("incloud", set.catalog_module);
}

TEST(ICSBackupSet, AggregateIsWrittenBackAsIdAndType) {
  ICS_Backup_Set set;
  zero_machine_description(set);
  Aggregate_Info a;
  ASSERT_TRUE(a.from_json(Value(Object{{"id", Value("a1")}, {"type", Value(2)}})));
  set.aggregates.push_back(a);
  std::string const keys = own_keys(set, "incloud");
  EXPECT_NE(std::string::npos, keys.find(R"("aggregates":[{"id":"a1","type":2}],"boot_devices":[])")) << keys;
}

TEST(ICSBackupSet, VncPasswordIsWrittenAsStored) {
  ICS_Backup_Set set;
  zero_machine_description(set);
  set.base_info.vnc_password = "plain text";
  std::string const keys = own_keys(set, "incloud");
  EXPECT_NE(std::string::npos, keys.find(R"("vnc_password":"plain text",)")) << keys;
}

// ---- kind -----------------------------------------------------------------

TEST(ICSBackupSet, CatalogueModuleIsIncloud) {
  expect_kind_names<ICS_Backup_Set>("incloud", "ICS_Backup_Set", "ics_backup_set");
}

TEST(ICSBackupSet, KindIsListedInTheRegistry) {
  expect_registered_as<ICS_Backup_Set>("incloud");
}

// ---- statement ------------------------------------------------------------

TEST(ICSBackupSet, StatementReadsItsOwnTableAloneUnderTheCallersAlias) {
  expect_own_table_statement<ICS_Backup_Set>("ics_backup_set", ics_columns, {"i"}, "backup_set", "b");
}

TEST(ICSBackupSet, StatementFollowsOtherAliases) {
  expect_own_table_statement<ICS_Backup_Set>("ics_backup_set", ics_columns, {"ics", "x2", "b"});
}

TEST(ICSBackupSet, StatementHasNoSetUuidAndNoBaseColumns) {
  Select_SQL sql("x", "y");
  ICS_Backup_Set::init_select_sql(sql, "i");
  ASSERT_EQ(19u, sql.columns().size());
  for (auto const& c : sql.columns()) {
    EXPECT_NE("set_uuid", c.second);
    EXPECT_NE("uuid", c.second);
  }
  EXPECT_EQ((Select_SQL::Column{"i.vm_name", "vm_name"}), sql.columns().front());
  EXPECT_EQ((Select_SQL::Column{"i.vm_extended_attrs", "vm_extended_attrs"}), sql.columns().back());
}

// ---- column intake --------------------------------------------------------

TEST(ICSBackupSet, RowCarryingVmNameOrCpuInfoLeavesTheRecordUnchanged) {
  ICS_Backup_Set set;
  zero_machine_description(set);
  std::string const before = document_of(set);
  EXPECT_TRUE(cstr(set, "vm_name", "from-row"));
  EXPECT_TRUE(set.print_json(0, "cpu_info", Value(cpu_object(false))));
  EXPECT_TRUE(cstr(set, "cpu_info", "{}"));
  EXPECT_EQ("", set.vm_name);
  EXPECT_EQ("", set.cpu_info.cpu_arch);
  EXPECT_EQ(before, document_of(set));
}

TEST(ICSBackupSet, NoOwnColumnIsTaken) {
  ICS_Backup_Set set;
  zero_machine_description(set);
  std::string const before = document_of(set);
  for (char const* key : {"vm_name", "vm_id", "vm_uuid", "vm_version", "datacenter_id", "owner_host_id",
                          "owner_host_ip", "owner_host_name"})
    EXPECT_TRUE(cstr(set, key, "v")) << key;
  EXPECT_TRUE(set.print_json(0, "base_info", Value(vm_base_object(false))));
  EXPECT_TRUE(set.print_json(0, "mem_info", Value(mem_object(false))));
  EXPECT_TRUE(set.print_json(0, "aggregates", Value(Array{Value(aggregate_object(false))})));
  for (char const* key : {"boot_devices", "floppys", "cdroms", "nics", "gpus", "usbs"})
    EXPECT_TRUE(set.print_json(0, key, Value(Array{Value(1)}))) << key;
  EXPECT_TRUE(set.print_json(0, "vm_extended_attrs", Value(Object{{"a", Value(1)}})));
  EXPECT_TRUE(set.print_int(0, "vm_id", 5));
  EXPECT_EQ(before, document_of(set));
}

TEST(ICSBackupSet, BaseColumnsAreTakenByTheBase) {
  ICS_Backup_Set set;
  EXPECT_TRUE(cstr(set, "uuid", "set-1"));
  EXPECT_TRUE(cstr(set, "name", "vm backup"));
  EXPECT_TRUE(set.print_int(0, "size", 42));
  EXPECT_TRUE(set.print_json(0, "extended_attrs", Value(Object{{"k", Value("v")}})));
  EXPECT_EQ("set-1", set.uuid);
  EXPECT_EQ("vm backup", set.name);
  EXPECT_EQ(42, set.size);
  EXPECT_EQ((Object{{"k", Value("v")}}), set.extended_attrs);
}

TEST(ICSBackupSet, NullOrEmptyKeyIsRefusedByTheBase) {
  Log_Capture capture;
  ICS_Backup_Set set;
  EXPECT_FALSE(set.print_cstr(0, nullptr, "x", 1));
  EXPECT_FALSE(set.print_cstr(0, "", "x", 1));
  EXPECT_FALSE(set.print_json(0, "", Value(Object())));
  expect_key_refusals(capture, 3, "/backup_set.cpp");
}

// ---- nested records: loading ----------------------------------------------

TEST(ICSBackupSet, VmBaseLoadsWhole) {
  VM_Base r;
  Log_Capture capture;
  EXPECT_TRUE(r.from_json(Value(vm_base_object(false))));
  EXPECT_EQ(0u, capture.size()) << capture.dump();
  EXPECT_EQ("uefi", r.boot_mode);
  EXPECT_EQ("linux", r.guest_os_type);
  EXPECT_EQ("CentOS 7", r.guest_os_label);
  EXPECT_EQ("restart", r.panick_policy);
  EXPECT_EQ("high", r.start_priority);
  EXPECT_EQ("p@ss\"w", r.vnc_password);
  EXPECT_EQ("shared", r.vnc_shared_policy);
  EXPECT_EQ("line1\nline2", r.vm_description);
  EXPECT_EQ(18446744073709551615ULL, r.splash_time);
}

TEST(ICSBackupSet, CpuInfoLoadsWhole) {
  CPU_Info r;
  Log_Capture capture;
  EXPECT_TRUE(r.from_json(Value(cpu_object(false))));
  EXPECT_EQ(0u, capture.size()) << capture.dump();
  EXPECT_EQ("x86_64", r.cpu_arch);
  EXPECT_EQ(1024u, r.cpu_shares);
  EXPECT_EQ(8u, r.cpu_count);
  EXPECT_EQ(4u, r.cpu_cores);
  EXPECT_EQ(2u, r.cpu_socket);
  EXPECT_EQ(2u, r.cpu_core_num_per_socket);
  EXPECT_EQ(100u, r.cpu_reservation);
  EXPECT_EQ(18446744073709551615ULL, r.cpu_limit);
  EXPECT_EQ("host-passthrough", r.cpu_model);
  EXPECT_TRUE(r.cpu_hot_plug_enabled);
  EXPECT_FALSE(r.cpu_model_enabled);
}

TEST(ICSBackupSet, MemInfoLoadsWhole) {
  Mem_Info r;
  Log_Capture capture;
  EXPECT_TRUE(r.from_json(Value(mem_object(false))));
  EXPECT_EQ(0u, capture.size()) << capture.dump();
  EXPECT_EQ(4294967296ULL, r.mem_mbytes);
  EXPECT_EQ(1u, r.mem_reservation);
  EXPECT_TRUE(r.enable_huge_page);
  EXPECT_FALSE(r.mem_balloon_enabled);
  EXPECT_TRUE(r.mem_hot_add_enabled);
  EXPECT_FALSE(r.mem_hot_plug_enabled);
}

TEST(ICSBackupSet, AggregateLoadsWhole) {
  Aggregate_Info r;
  Log_Capture capture;
  EXPECT_TRUE(r.from_json(Value(aggregate_object(false))));
  EXPECT_EQ(0u, capture.size()) << capture.dump();
  EXPECT_EQ("a1", r.id);
  EXPECT_EQ(2, r.type);
}

TEST(ICSBackupSet, LoadersIgnoreMembersTheyDoNotKnow) {
  Object doc = cpu_object(false);
  doc["cpu_vendor"] = "someone";
  CPU_Info r;
  EXPECT_TRUE(r.from_json(Value(doc)));
  EXPECT_EQ("x86_64", r.cpu_arch);
}

TEST(ICSBackupSet, VmBaseLackingEachKeyFailsKeepingWhatWasReadBefore) {
  expect_each_missing_key_fails(VM_BASE_MEMBERS, vm_base_object(false), vm_base_object(true), VM_BASE_MESSAGE);
}

TEST(ICSBackupSet, CpuInfoLackingEachKeyFailsKeepingWhatWasReadBefore) {
  expect_each_missing_key_fails(CPU_MEMBERS, cpu_object(false), cpu_object(true), CPU_MESSAGE);
}

TEST(ICSBackupSet, MemInfoLackingEachKeyFailsKeepingWhatWasReadBefore) {
  expect_each_missing_key_fails(MEM_MEMBERS, mem_object(false), mem_object(true), MEM_MESSAGE);
}

TEST(ICSBackupSet, AggregateLackingEachKeyFailsKeepingWhatWasReadBefore) {
  expect_each_missing_key_fails(AGGREGATE_MEMBERS, aggregate_object(false), aggregate_object(true),
                                AGGREGATE_MESSAGE);
}

TEST(ICSBackupSet, CpuDescriptionLackingCpuLimitFailsWithTheCpuMessage) {
  Object doc = cpu_object(false);
  doc.erase("cpu_limit");
  CPU_Info r;
  r.cpu_limit = 77;
  r.cpu_model = "before";
  r.cpu_hot_plug_enabled = false;
  r.cpu_model_enabled = true;
  Log_Capture capture;
  EXPECT_FALSE(r.from_json(Value(doc)));
  auto const records = capture.records();
  ASSERT_EQ(1u, records.size()) << capture.dump();
  EXPECT_EQ(ERROR_PRIORITY, records[0].priority);
  EXPECT_EQ(0u, records[0].text.find(CPU_MESSAGE)) << records[0].text;
  EXPECT_EQ("x86_64", r.cpu_arch);
  EXPECT_EQ(1024u, r.cpu_shares);
  EXPECT_EQ(8u, r.cpu_count);
  EXPECT_EQ(4u, r.cpu_cores);
  EXPECT_EQ(2u, r.cpu_socket);
  EXPECT_EQ(2u, r.cpu_core_num_per_socket);
  EXPECT_EQ(100u, r.cpu_reservation);
  EXPECT_EQ(77u, r.cpu_limit);
  EXPECT_EQ("before", r.cpu_model);
  EXPECT_FALSE(r.cpu_hot_plug_enabled);
  EXPECT_TRUE(r.cpu_model_enabled);
}

TEST(ICSBackupSet, MembersOfTheWrongTypeFail) {
  struct Wrong {
    char const* key;
    Value value;
  };
  for (Wrong const& w : {Wrong{"boot_mode", Value(1)}, Wrong{"vm_description", Value()},
                         Wrong{"splash_time", Value("0")}, Wrong{"splash_time", Value(true)}}) {
    VM_Base r;
    Object doc = vm_base_object(false);
    doc[w.key] = w.value;
    Log_Capture capture;
    EXPECT_FALSE(r.from_json(Value(doc))) << w.key;
    EXPECT_EQ(1u, capture.size()) << w.key;
    EXPECT_EQ(1u, capture.count(ERROR_PRIORITY, VM_BASE_MESSAGE)) << w.key << "\n" << capture.dump();
    // The members before the mistyped one were read.
    if (std::string(w.key) != "boot_mode") {
      EXPECT_EQ("uefi", r.boot_mode) << w.key;
    }
  }
  for (Wrong const& w : {Wrong{"cpu_arch", Value(5)}, Wrong{"cpu_count", Value("8")},
                         Wrong{"cpu_limit", Value(Array())}, Wrong{"cpu_hot_plug_enabled", Value(1)},
                         Wrong{"cpu_model_enabled", Value("true")}}) {
    CPU_Info r;
    Object doc = cpu_object(false);
    doc[w.key] = w.value;
    Log_Capture capture;
    EXPECT_FALSE(r.from_json(Value(doc))) << w.key;
    EXPECT_EQ(1u, capture.size()) << w.key;
    EXPECT_EQ(1u, capture.count(ERROR_PRIORITY, CPU_MESSAGE)) << w.key << "\n" << capture.dump();
  }
  for (Wrong const& w : {Wrong{"mem_mbytes", Value(true)}, Wrong{"enable_huge_page", Value(0)},
                         Wrong{"mem_hot_plug_enabled", Value(Object())}}) {
    Mem_Info r;
    Object doc = mem_object(false);
    doc[w.key] = w.value;
    Log_Capture capture;
    EXPECT_FALSE(r.from_json(Value(doc))) << w.key;
    EXPECT_EQ(1u, capture.size()) << w.key;
    EXPECT_EQ(1u, capture.count(ERROR_PRIORITY, MEM_MESSAGE)) << w.key << "\n" << capture.dump();
  }
  for (Wrong const& w : {Wrong{"id", Value(1)}, Wrong{"type", Value("2")}, Wrong{"type", Value(false)}}) {
    Aggregate_Info r;
    Object doc = aggregate_object(false);
    doc[w.key] = w.value;
    Log_Capture capture;
    EXPECT_FALSE(r.from_json(Value(doc))) << w.key;
    EXPECT_EQ(1u, capture.size()) << w.key;
    EXPECT_EQ(1u, capture.count(ERROR_PRIORITY, AGGREGATE_MESSAGE)) << w.key << "\n" << capture.dump();
  }
}

TEST(ICSBackupSet, TextWhereANumberIsExpectedKeepsTheTextsBefore) {
  Object doc = cpu_object(false);
  doc["cpu_shares"] = "1024";
  CPU_Info r;
  r.cpu_arch = "before";
  r.cpu_shares = 5;
  r.cpu_count = 6;
  Log_Capture capture;
  EXPECT_FALSE(r.from_json(Value(doc)));
  EXPECT_EQ(1u, capture.size()) << capture.dump();
  EXPECT_EQ(1u, capture.count(ERROR_PRIORITY, CPU_MESSAGE)) << capture.dump();
  EXPECT_EQ("x86_64", r.cpu_arch);
  EXPECT_EQ(5u, r.cpu_shares);
  EXPECT_EQ(6u, r.cpu_count);
}

TEST(ICSBackupSet, ValueThatIsNotAnObjectFails) {
  Value const not_objects[] = {Value("text"), Value(Array{Value(vm_base_object(false))}), Value(), Value(5),
                               Value(true)};
  for (Value const& v : not_objects) {
    VM_Base base;
    ASSERT_TRUE(base.from_json(Value(vm_base_object(true))));
    expect_refused(base, v, VM_BASE_MESSAGE, "VM_Base");
    CPU_Info cpu;
    ASSERT_TRUE(cpu.from_json(Value(cpu_object(true))));
    expect_refused(cpu, v, CPU_MESSAGE, "CPU_Info");
    Mem_Info mem;
    ASSERT_TRUE(mem.from_json(Value(mem_object(true))));
    expect_refused(mem, v, MEM_MESSAGE, "Mem_Info");
    Aggregate_Info aggregate;
    ASSERT_TRUE(aggregate.from_json(Value(aggregate_object(true))));
    expect_refused(aggregate, v, AGGREGATE_MESSAGE, "Aggregate_Info");
  }
}

TEST(ICSBackupSet, EmptyObjectFailsAtTheFirstKey) {
  CPU_Info r;
  ASSERT_TRUE(r.from_json(Value(cpu_object(true))));
  expect_refused(r, Value(Object()), CPU_MESSAGE, "empty CPU_Info");
  EXPECT_EQ("aarch64", r.cpu_arch);
}

TEST(ICSBackupSet, AggregateTypeIsReadUnsignedAndCutTo32Bits) {
  Aggregate_Info r;
  ASSERT_TRUE(r.from_json(Value(Object{{"id", Value("a")}, {"type", Value(4294967298ULL)}})));
  EXPECT_EQ(2, r.type);
  ASSERT_TRUE(r.from_json(Value(Object{{"id", Value("a")}, {"type", Value(4294967295ULL)}})));
  EXPECT_EQ(-1, r.type);
  ASSERT_TRUE(r.from_json(Value(Object{{"id", Value("a")}, {"type", Value(2147483648ULL)}})));
  EXPECT_EQ(INT_MIN, r.type);
  ASSERT_TRUE(r.from_json(Value(Object{{"id", Value("a")}, {"type", Value(2147483647)}})));
  EXPECT_EQ(INT_MAX, r.type);
}

// ---- nested records: converting -------------------------------------------

TEST(ICSBackupSet, VmBaseConvertsToEveryKey) {
  VM_Base r;
  r.boot_mode = "uefi";
  r.guest_os_type = "linux";
  r.guest_os_label = "label";
  r.panick_policy = "restart";
  r.start_priority = "high";
  r.vnc_password = "pw";
  r.vnc_shared_policy = "shared";
  r.vm_description = "d";
  r.splash_time = 18446744073709551615ULL;
  Object const o = r.to_json();
  EXPECT_EQ(keys_of(VM_BASE_MEMBERS), keys_of(o));
  EXPECT_EQ("uefi", o.at("boot_mode").get_str());
  EXPECT_EQ("linux", o.at("guest_os_type").get_str());
  EXPECT_EQ("label", o.at("guest_os_label").get_str());
  EXPECT_EQ("restart", o.at("panick_policy").get_str());
  EXPECT_EQ("high", o.at("start_priority").get_str());
  EXPECT_EQ("pw", o.at("vnc_password").get_str());
  EXPECT_EQ("shared", o.at("vnc_shared_policy").get_str());
  EXPECT_EQ("d", o.at("vm_description").get_str());
  EXPECT_EQ(json_spirit::int_type, o.at("splash_time").type());
  EXPECT_EQ(18446744073709551615ULL, o.at("splash_time").get_uint64());
}

TEST(ICSBackupSet, CpuInfoConvertsToEveryKey) {
  CPU_Info r;
  r.cpu_arch = "x86_64";
  r.cpu_shares = 1;
  r.cpu_count = 2;
  r.cpu_cores = 3;
  r.cpu_socket = 4;
  r.cpu_core_num_per_socket = 5;
  r.cpu_reservation = 6;
  r.cpu_limit = 18446744073709551615ULL;
  r.cpu_model = "m";
  r.cpu_hot_plug_enabled = true;
  r.cpu_model_enabled = false;
  Object const o = r.to_json();
  EXPECT_EQ(keys_of(CPU_MEMBERS), keys_of(o));
  EXPECT_EQ("x86_64", o.at("cpu_arch").get_str());
  EXPECT_EQ(1u, o.at("cpu_shares").get_uint64());
  EXPECT_EQ(2u, o.at("cpu_count").get_uint64());
  EXPECT_EQ(3u, o.at("cpu_cores").get_uint64());
  EXPECT_EQ(4u, o.at("cpu_socket").get_uint64());
  EXPECT_EQ(5u, o.at("cpu_core_num_per_socket").get_uint64());
  EXPECT_EQ(6u, o.at("cpu_reservation").get_uint64());
  EXPECT_EQ(18446744073709551615ULL, o.at("cpu_limit").get_uint64());
  EXPECT_EQ("m", o.at("cpu_model").get_str());
  EXPECT_EQ(json_spirit::bool_type, o.at("cpu_hot_plug_enabled").type());
  EXPECT_TRUE(o.at("cpu_hot_plug_enabled").get_bool());
  EXPECT_EQ(json_spirit::bool_type, o.at("cpu_model_enabled").type());
  EXPECT_FALSE(o.at("cpu_model_enabled").get_bool());
}

TEST(ICSBackupSet, MemInfoConvertsToEveryKey) {
  Mem_Info r;
  r.mem_mbytes = 4294967296ULL;
  r.mem_reservation = 7;
  r.enable_huge_page = false;
  r.mem_balloon_enabled = true;
  r.mem_hot_add_enabled = false;
  r.mem_hot_plug_enabled = true;
  Object const o = r.to_json();
  EXPECT_EQ(keys_of(MEM_MEMBERS), keys_of(o));
  EXPECT_EQ(4294967296ULL, o.at("mem_mbytes").get_uint64());
  EXPECT_EQ(7u, o.at("mem_reservation").get_uint64());
  EXPECT_FALSE(o.at("enable_huge_page").get_bool());
  EXPECT_TRUE(o.at("mem_balloon_enabled").get_bool());
  EXPECT_FALSE(o.at("mem_hot_add_enabled").get_bool());
  EXPECT_TRUE(o.at("mem_hot_plug_enabled").get_bool());
}

TEST(ICSBackupSet, AggregateConvertsToIdAndType) {
  Aggregate_Info r;
  r.id = "a1";
  r.type = -7;
  Object const o = r.to_json();
  EXPECT_EQ(keys_of(AGGREGATE_MEMBERS), keys_of(o));
  EXPECT_EQ("a1", o.at("id").get_str());
  EXPECT_EQ(json_spirit::int_type, o.at("type").type());
  EXPECT_EQ(-7, o.at("type").get_int64());
}

TEST(ICSBackupSet, ConversionsLoadBackToEqualRecords) {
  VM_Base base;
  ASSERT_TRUE(base.from_json(Value(vm_base_object(false))));
  VM_Base base_again;
  ASSERT_TRUE(base_again.from_json(Value(base.to_json())));
  EXPECT_EQ(base.to_json(), base_again.to_json());
  EXPECT_EQ(base.vnc_password, base_again.vnc_password);
  EXPECT_EQ(base.splash_time, base_again.splash_time);

  CPU_Info cpu;
  ASSERT_TRUE(cpu.from_json(Value(cpu_object(false))));
  CPU_Info cpu_again;
  ASSERT_TRUE(cpu_again.from_json(Value(cpu.to_json())));
  for (Member<CPU_Info> const& m : CPU_MEMBERS) EXPECT_EQ(m.field(cpu), m.field(cpu_again)) << m.key;

  Mem_Info mem;
  ASSERT_TRUE(mem.from_json(Value(mem_object(false))));
  Mem_Info mem_again;
  ASSERT_TRUE(mem_again.from_json(Value(mem.to_json())));
  for (Member<Mem_Info> const& m : MEM_MEMBERS) EXPECT_EQ(m.field(mem), m.field(mem_again)) << m.key;

  Aggregate_Info aggregate;
  aggregate.id = "agg";
  aggregate.type = 12;
  Aggregate_Info aggregate_again;
  ASSERT_TRUE(aggregate_again.from_json(Value(aggregate.to_json())));
  EXPECT_EQ("agg", aggregate_again.id);
  EXPECT_EQ(12, aggregate_again.type);
}

TEST(ICSBackupSet, VmBaseRoundTripKeepsEveryField) {
  VM_Base r;
  ASSERT_TRUE(r.from_json(Value(vm_base_object(true))));
  VM_Base again;
  ASSERT_TRUE(again.from_json(Value(r.to_json())));
  for (Member<VM_Base> const& m : VM_BASE_MEMBERS) EXPECT_EQ(m.field(r), m.field(again)) << m.key;
}
