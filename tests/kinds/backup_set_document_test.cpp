#include <functional>
#include <memory>
#include <set>
#include <string>
#include <typeinfo>
#include <vector>

#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_document.h"
#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/cachedb_backup_set.h"
#include "backup/backup_set/common/cloudos_backup_set.h"
#include "backup/backup_set/common/db2_backup_set.h"
#include "backup/backup_set/common/dmdb_backup_set.h"
#include "backup/backup_set/common/dmdb_log_backup_set.h"
#include "backup/backup_set/common/dmdb_logical_backup_set.h"
#include "backup/backup_set/common/document_members.h"
#include "backup/backup_set/common/domino_backup_set.h"
#include "backup/backup_set/common/exchange_backup_set.h"
#include "backup/backup_set/common/file_backup_set.h"
#include "backup/backup_set/common/fusioncloud_backup_set.h"
#include "backup/backup_set/common/fusioncompute_backup_set.h"
#include "backup/backup_set/common/gaussdb_backup_set.h"
#include "backup/backup_set/common/h3c_cas_backup_set.h"
#include "backup/backup_set/common/hana_backup_set.h"
#include "backup/backup_set/common/hive_backup_set.h"
#include "backup/backup_set/common/hyper_v_backup_set.h"
#include "backup/backup_set/common/ics_backup_set.h"
#include "backup/backup_set/common/informix_backup_set.h"
#include "backup/backup_set/common/k8s_backup_set.h"
#include "backup/backup_set/common/kingbase_backup_set.h"
#include "backup/backup_set/common/mongodb_backup_set.h"
#include "backup/backup_set/common/mssql_backup_set.h"
#include "backup/backup_set/common/mysql_backup_set.h"
#include "backup/backup_set/common/ndmp_backup_set.h"
#include "backup/backup_set/common/oceanbase_backup_set.h"
#include "backup/backup_set/common/openstack_backup_set.h"
#include "backup/backup_set/common/oracle_arch_backup_set.h"
#include "backup/backup_set/common/oracle_backup_set.h"
#include "backup/backup_set/common/oracle_exp_backup_set.h"
#include "backup/backup_set/common/oscar_backup_set.h"
#include "backup/backup_set/common/oscar_brcmd_backup_set.h"
#include "backup/backup_set/common/postgres_backup_set.h"
#include "backup/backup_set/common/sharepoint_backup_set.h"
#include "backup/backup_set/common/sybase_backup_set.h"
#include "backup/backup_set/common/vmware_backup_set.h"
#include "backup/backup_set/common/windows_bmr_backup_set.h"
#include "platform/json/json_text.h"
#include "platform/time/iso8601.h"
#include "tests/records/document.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

long long at(char const* text) {
  long long seconds = 0;
  EXPECT_TRUE(iso8601_to_posix_time(text, seconds)) << text;
  return seconds;
}

// Every common key with a value other than its default; `copies` storage
// copies (one is written as "storage", more as "storages").
void fill_common(Backup_Set& set, int copies) {
  set.uuid = "3f6c1a52-8e0b-4d47-9a1e-5b2c7d9e0f11";
  set.name = "nightly-full";
  set.job_instance_uuid = "7d2e4f60-1a3b-4c5d-8e9f-0a1b2c3d4e5f";
  set.definition_uuid = "0c9b8a7d-6e5f-4a3b-9c2d-1e0f2a3b4c5d";
  set.uid = "5a4b3c2d-1e0f-4a9b-8c7d-6e5f4a3b2c1d";
  set.host_uuid = "9e8d7c6b-5a4f-4e3d-8c2b-1a0f9e8d7c6b";
  set.resource_uuid = "2b3c4d5e-6f70-4a8b-9cad-beefcafe0001";
  set.minor_resource_id = "42";
  set.minor_resource_name = "orders";
  set.agent = "agent-7.2.1";
  set.incarnation = "6a7b8c9d-0e1f-4a2b-8c3d-4e5f6a7b8c9d";
  set.type = "full";
  set.first_time = at("2026-03-14 01:00:00");
  set.last_time = at("2026-03-14 01:45:30");
  set.backup_start_time = at("2026-03-14 02:00:00");
  set.backup_end_time = at("2026-03-14 02:37:12");
  set.source_size = 8000000000LL;
  set.size = 3200000000LL;
  set.uri = "bset://db01.example.com/orders";
  set.host = "db01.example.com";
  set.instance = "ORCL";
  set.instance_version = "19.21";
  set.first_scn = 1000;
  set.last_scn = -2;
  set.resource_tree = Object{{"cluster", "c1"}, {"nodes", Array{"db01", "db02"}}};
  set.extended_attrs = Object{{"retention_days", 30}, {"encrypted", true}};
  set.parents = {"1d2c3b4a-5f6e-4d7c-8b9a-0f1e2d3c4b5a", "8a9b0c1d-2e3f-4a5b-9c6d-7e8f9a0b1c2d"};
  for (int i = 0; i < copies; ++i) {
    Backup_Set_Storage s;
    s.pool_uuid = i == 0 ? "c0ffee00-1111-4222-8333-444455556666" : "c0ffee00-7777-4888-9999-aaaabbbbcccc";
    s.size = 3200000000LL - i;
    s.state = Backup_Set_State(i ? Backup_Set_State::ONLINE | Backup_Set_State::REPLICATED : Backup_Set_State::ONLINE);
    if (i) s.upstream_pool_uuid = "c0ffee00-1111-4222-8333-444455556666";
    s.extended_attrs = Object{{"tier", i ? "archive" : "disk"}};
    set.add_storage(s);
  }
  for (int i = 0; i < 3; ++i) {
    Backup_Piece p;
    p.path = "/pool/orders/piece-" + std::to_string(i) + ".bak";
    p.size = 1000000000LL + i;
    p.object = i == 2 ? "dir" : "file";
    p.extended_attrs = Object{{"checksum", "sha256:" + std::to_string(i)}};
    set.add_piece(p);
  }
  set.lsb = Object{{"distributor_id", "Debian"}, {"release", "12"}};
  set.uname = Object{{"sysname", "Linux"}, {"machine", "x86_64"}};
}

// Every plain field of the kind with a value other than a fresh record's
// (distinct per field, beyond 32 bits where the field is wider).
void fill_fields(Backup_Set& set, Backup_Set const& fresh, Backup_Set_Kind const& kind) {
  int i = 0;
  for (Kind_Field const& f : kind) {
    ++i;
    std::string const key = f.key;
    switch (f.type) {
      case Kind_Field::TEXT: set.*f.member.text = key + "-value"; break;
      case Kind_Field::U32: set.*f.member.u32 = 1000u + static_cast<unsigned>(i); break;
      case Kind_Field::I32: set.*f.member.i32 = -200 - i; break;
      case Kind_Field::I64: set.*f.member.i64 = 5000000000LL + i; break;
      case Kind_Field::U64: set.*f.member.u64 = 18000000000000000000ULL + static_cast<unsigned>(i); break;
      case Kind_Field::BOOL: set.*f.member.boolean = !(fresh.*f.member.boolean); break;
      case Kind_Field::TIME: set.*f.member.i64 = at("2026-01-01 00:00:00") + 3600LL * i; break;
      case Kind_Field::ARRAY:
        // A field with a writer of its own takes strings only.
        if (f.writer)
          set.*f.member.array = Array{key + "-a", key + "-b"};
        else
          set.*f.member.array = Array{key, i, Object{{"flag", true}}, Array{}};
        break;
      case Kind_Field::OBJECT: set.*f.member.object = Object{{"name", key}, {"n", i}, {"nested", Object{}}}; break;
      case Kind_Field::CUSTOM: break;
    }
  }
}

typedef std::function<std::unique_ptr<Backup_Set>()> Maker;
typedef std::function<void(Backup_Set&)> Custom_Fill;

template <typename Set>
std::unique_ptr<Backup_Set> make() {
  return std::unique_ptr<Backup_Set>(new Set());
}

template <typename Set>
Set& as(Backup_Set& set) {
  return static_cast<Set&>(set);
}

// One row per kind: its class, and how its CUSTOM fields are filled.
struct Kind_Case {
  Backup_Set_Kind const* kind;
  Maker make;
  Custom_Fill fill;
};

void no_custom(Backup_Set&) {}

std::vector<Kind_Case> const& cases() {
  static std::vector<Kind_Case> const rows = {
      {&DMDB_Backup_Set::kind(), make<DMDB_Backup_Set>,
       [](Backup_Set& s) {
         as<DMDB_Backup_Set>(s).backup_files = {{"0001.bak", "/dm/bak/0001.bak"}, {"0002.bak", "/dm/bak/0002.bak"}};
       }},
      {&DMDB_Log_Backup_Set::kind(), make<DMDB_Log_Backup_Set>, no_custom},
      {&DMDB_Logical_Backup_Set::kind(), make<DMDB_Logical_Backup_Set>,
       [](Backup_Set& s) {
         as<DMDB_Logical_Backup_Set>(s).backup_files = {{"DMSERVER", "exp1.dmp", "SYSDBA", "SALES", "ORDERS"},
                                                        {"DMSERVER", "exp2.dmp", "SYSDBA", "SALES", ""}};
       }},
      {&MySQL_Backup_Set::kind(), make<MySQL_Backup_Set>,
       [](Backup_Set& s) {
         as<MySQL_Backup_Set>(s).backup_files = {{"shop", "ibdata1", "vc0"}, {"shop", "orders.ibd", ""}};
       }},
      {&MSSQL_Backup_Set::kind(), make<MSSQL_Backup_Set>, no_custom},
      {&HANA_Backup_Set::kind(), make<HANA_Backup_Set>,
       [](Backup_Set& s) {
         as<HANA_Backup_Set>(s).files = {
             {"EBID-1", "/hana/data/HDB00", "databackup_0_1", 17000000000000000000ULL, "volume", "/pool/h/1"},
             {"EBID-2", "/hana/data/HDB00", "databackup_1_1", 5, "topology", "/pool/h/2"}};
       }},
      {&DB2_Backup_Set::kind(), make<DB2_Backup_Set>, no_custom},
      {&GaussDB_Backup_Set::kind(), make<GaussDB_Backup_Set>, no_custom},
      {&CacheDB_Backup_Set::kind(), make<CacheDB_Backup_Set>,
       [](Backup_Set& s) {
         as<CacheDB_Backup_Set>(s).backup_files = {Value(Object{{"file", "CACHE.DAT"}, {"dir", "/cache/db"}}),
                                                   Value(Object{{"file", "20260314.001"}})};
       }},
      {&File_Backup_Set::kind(), make<File_Backup_Set>, no_custom},
      {&Informix_Backup_Set::kind(), make<Informix_Backup_Set>, no_custom},
      {&Sybase_Backup_Set::kind(), make<Sybase_Backup_Set>, no_custom},
      {&SharePoint_Backup_Set::kind(), make<SharePoint_Backup_Set>, no_custom},
      {&Exchange_Backup_Set::kind(), make<Exchange_Backup_Set>, no_custom},
      {&Oracle_Backup_Set::kind(), make<Oracle_Backup_Set>, no_custom},
      {&Oracle_Arch_Backup_Set::kind(), make<Oracle_Arch_Backup_Set>, no_custom},
      {&Oracle_Exp_Backup_Set::kind(), make<Oracle_Exp_Backup_Set>, no_custom},
      {&Postgres_Backup_Set::kind(), make<Postgres_Backup_Set>,
       [](Backup_Set& s) {
         Postgres_Backup_Set& p = as<Postgres_Backup_Set>(s);
         p.backup_files = {{"shop", "base.tar", "public", "orders"}, {"shop", "toc.dat", "", ""}};
         p.archive_log = {"000000010000000000000003", "000000010000000000000001"};
       }},
      {&MongoDB_Backup_Set::kind(), make<MongoDB_Backup_Set>,
       [](Backup_Set& s) {
         as<MongoDB_Backup_Set>(s).backup_files = {{"shop", "shop.archive", 7000000000LL, "ab12", 1},
                                                   {"admin", "admin.archive", 12, "cd34", -2}};
       }},
      {&NDMP_Backup_Set::kind(), make<NDMP_Backup_Set>, no_custom},
      {&Domino_Backup_Set::kind(), make<Domino_Backup_Set>,
       [](Backup_Set& s) {
         Domino_Archive_Log a;
         a.logid_file_seg0 = 1;
         a.logid_file_seg1 = 2;
         a.logid_note_seg0 = 3;
         a.logid_note_seg1 = 4000000000000LL;
         a.log_seq = 17;
         a.name = "S0000017.TXN";
         a.mtime = at("2026-03-14 01:59:00");
         Domino_Archive_Log b = a;
         b.log_seq = 18;
         b.name = "S0000018.TXN";
         b.mtime = at("2026-03-14 02:10:00");
         as<Domino_Backup_Set>(s).archive_logs = {a, b};
       }},
      {&Kingbase_Backup_Set::kind(), make<Kingbase_Backup_Set>,
       [](Backup_Set& s) {
         as<Kingbase_Backup_Set>(s).backup_files = {{"base.tar", "/kb/base.tar"}, {"wal.tar", "/kb/wal.tar"}};
       }},
      {&Oscar_Backup_Set::kind(), make<Oscar_Backup_Set>,
       [](Backup_Set& s) {
         as<Oscar_Backup_Set>(s).backup_files = {{"OSRDB", "SYSDBA", "T1", "t1.dmp"}, {"OSRDB", "APP", "T2", "t2.dmp"}};
       }},
      {&Oscar_Brcmd_Backup_Set::kind(), make<Oscar_Brcmd_Backup_Set>, no_custom},
      {&Hive_Backup_Set::kind(), make<Hive_Backup_Set>,
       [](Backup_Set& s) {
         Hive_Backup_Set& h = as<Hive_Backup_Set>(s);
         h.add_file("sales", "/dump/sales", "hdfs://nn/warehouse/sales.db");
         h.add_file("hr", "/dump/hr", "hdfs://nn/warehouse/hr.db");
         h.add_table("sales", "orders");
         h.add_table("hr", "staff");
       }},
      {&OceanBase_Backup_Set::kind(), make<OceanBase_Backup_Set>,
       [](Backup_Set& s) {
         OceanBase_Tenant t;
         t.tenant_id = 1002;
         t.tenant_name = "shop";
         t.data_start_time = "2026-03-14 00:00:00.000000";
         t.log_max_next_time = "2026-03-14 02:30:00.000000";
         t.zone_list = "zone1;zone2";
         t.primary_zone = "zone1";
         t.locality = "FULL{1}@zone1, FULL{1}@zone2";
         t.resource_pools = {"pool_shop_1", "pool_shop_2"};
         OceanBase_Tenant u = t;
         u.tenant_id = 1004;
         u.tenant_name = "hr";
         u.resource_pools = {};
         as<OceanBase_Backup_Set>(s).tenants = {t, u};
       }},
      {&VMware_Backup_Set::kind(), make<VMware_Backup_Set>, no_custom},
      {&Hyper_V_Backup_Set::kind(), make<Hyper_V_Backup_Set>,
       [](Backup_Set& s) {
         Hyper_V_Backup_Set& h = as<Hyper_V_Backup_Set>(s);
         Hyper_V_VHD_Chain c;
         c.vhds = {{"", "D:\\vm\\disk0.vhdx", 40000000000ULL}, {"D:\\vm\\disk0.vhdx", "D:\\vm\\disk0-1.avhdx", 7}};
         c.id = "disk0";
         c.rct_id = "rct:1";
         c.controller_type = "scsi";
         c.total_size = 40000000007ULL;
         c.address_0 = 0;
         c.address_1 = 1;
         Hyper_V_VHD_Chain d = c;
         d.id = "disk1";
         d.address_1 = 2;
         d.vhds.pop_back();
         h.vhd_chains = {{"scsi-0-1", c}, {"scsi-0-2", d}};
         h.network_adapters = {{"00:15:5d:01:02:03", "nic0", "external", true},
                               {"00:15:5d:01:02:04", "nic1", "", false}};
         h.controllers = {{"scsi", 0}, {"ide", 1}};
         h.drives = {{0, 1, 1}, {0, 1, 2}};
       }},
      {&Windows_BMR_Backup_Set::kind(), make<Windows_BMR_Backup_Set>,
       [](Backup_Set& s) {
         Windows_BMR_Backup_Set& w = as<Windows_BMR_Backup_Set>(s);
         w.diskpart_info = "select disk 0";
         w.boot_code = "bootmgr";
         w.module_version = "3.1";
         w.action_type = -3;
         w.is_mbr_boot = true;
         w.backup_files = {Value(Object{{"path", "C:\\Windows"}, {"size", 18000000000000000000ULL}}),
                           Value(Object{{"path", "C:\\Users"}, {"size", -1}})};
       }},
      {&OpenStack_Backup_Set::kind(), make<OpenStack_Backup_Set>, no_custom},
      {&FusionCompute_Backup_Set::kind(), make<FusionCompute_Backup_Set>,
       [](Backup_Set& s) {
         FusionCompute_Backup_Set& f = as<FusionCompute_Backup_Set>(s);
         // A sequence number past the signed range comes back through the
         // signed writer.
         f.network_adapters = {{"nic0", "10.0.0.5", "28:6e:d4:88:c6:01", "urn:pg:1", 3000000000u},
                               {"nic1", "10.0.1.5", "28:6e:d4:88:c6:02", "urn:pg:2", 1}};
         FusionCompute_Volume v;
         v.name = "disk0";
         v.urn = "urn:vol:1";
         v.uuid = "vol-1";
         v.pci_type = "VIRTIO";
         v.storage_type = "LOCAL";
         v.datastore_urn = "urn:ds:1";
         v.thin = true;
         v.quantity = 100;
         v.sequence_num = 1;
         v.block_size = 9000000000000000000ULL;
         v.snapshot = {"snap-1", "dev-snap-1", "chg-1"};
         FusionCompute_Volume w = v;
         w.name = "disk1";
         w.thin = false;
         w.sequence_num = 2;
         f.volumes = {v, w};
       }},
      {&FusionCloud_Backup_Set::kind(), make<FusionCloud_Backup_Set>, no_custom},
      {&ICS_Backup_Set::kind(), make<ICS_Backup_Set>,
       [](Backup_Set& s) {
         ICS_Backup_Set& i = as<ICS_Backup_Set>(s);
         i.base_info = {"UEFI", "linux", "CentOS 7", "restart", "high", "secret", "shared", "web tier", 5};
         i.cpu_info = {"x86_64", 1024, 4, 2, 2, 2, 500, 4000, "host-passthrough", true, true};
         i.mem_info = {8192, 1024, true, true, false, true};
         i.aggregates = {{"agg-1", -3}, {"agg-2", 7}};
       }},
      {&H3C_CAS_Backup_Set::kind(), make<H3C_CAS_Backup_Set>, no_custom},
      {&CloudOS_Backup_Set::kind(), make<CloudOS_Backup_Set>, no_custom},
      {&K8S_Backup_Set::kind(), make<K8S_Backup_Set>, no_custom},
  };
  return rows;
}

// A record of the kind with every key filled.
std::unique_ptr<Backup_Set> filled(Kind_Case const& c, int copies) {
  std::unique_ptr<Backup_Set> set = c.make();
  std::unique_ptr<Backup_Set> const fresh = c.make();
  fill_common(*set, copies);
  fill_fields(*set, *fresh, *c.kind);
  c.fill(*set);
  return set;
}

// The keys at the top of a document, those given twice included.
std::set<std::string> top_keys(std::string const& text) {
  Value doc;
  std::string error;
  std::vector<JSON_Repeated_Key> repeats;
  std::set<std::string> keys;
  EXPECT_TRUE(JSON_Parse(text.data(), text.size(), doc, &error, &repeats)) << error;
  if (doc.type() != json_spirit::obj_type) return keys;
  for (auto const& m : doc.get_obj()) keys.insert(m.first);
  for (auto const& r : repeats) keys.insert(r.key);
  return keys;
}

// The kind argument a document of the kind is read with: none where its
// module tells it, the class name where the module is empty.
std::string kind_argument(Backup_Set_Kind const& kind) { return *kind.module() ? "" : kind.class_name(); }

// A filled File_Backup_Set document with `member` of the top object
// replaced by `value` (text of JSON).
std::string file_document_with(std::string const& member, std::string const& value) {
  File_Backup_Set set;
  fill_common(set, 2);
  set.seq = 3;
  std::string text = document_of(set);
  std::string const key = "\"" + member + "\":";
  size_t const start = text.find(key);
  EXPECT_NE(std::string::npos, start) << member;
  if (start == std::string::npos) return text;
  // The old value ends at the next top-level comma or the closing brace.
  size_t end = start + key.size();
  int depth = 0;
  bool in_string = false;
  for (; end < text.size(); ++end) {
    char const c = text[end];
    if (in_string) {
      if (c == '\\') ++end;
      else if (c == '"') in_string = false;
      continue;
    }
    if (c == '"') in_string = true;
    else if (c == '{' || c == '[') ++depth;
    else if (c == '}' || c == ']') {
      if (depth == 0) break;
      --depth;
    } else if (c == ',' && depth == 0) {
      break;
    }
  }
  return text.substr(0, start + key.size()) + value + text.substr(end);
}

// Reading `text` fails and the error is `expected`.
void expect_refused(std::string const& text, std::string const& kind, std::string const& expected) {
  std::string error;
  std::unique_ptr<Backup_Set> set = Backup_Set_Document::read(text, kind, error);
  EXPECT_EQ(nullptr, set.get()) << text;
  EXPECT_EQ(expected, error) << text;
}

}  // namespace

TEST(BackupSetDocument, EveryKindHasACaseHere) {
  std::set<Backup_Set_Kind const*> covered;
  for (Kind_Case const& c : cases()) covered.insert(c.kind);
  for (Backup_Set_Kind const* kind : Backup_Set_Kinds::all()) EXPECT_EQ(1u, covered.count(kind)) << kind->class_name();
  EXPECT_EQ(Backup_Set_Kinds::all().size(), cases().size());
}

TEST(BackupSetDocument, CreateMakesTheRecordOfEachKind) {
  for (Kind_Case const& c : cases()) {
    std::unique_ptr<Backup_Set> made = Backup_Set_Kinds::create(*c.kind);
    ASSERT_NE(nullptr, made.get()) << c.kind->class_name();
    std::unique_ptr<Backup_Set> expected = c.make();
    EXPECT_EQ(type_of(expected), type_of(made)) << c.kind->class_name();
    EXPECT_STREQ(c.kind->module(), made->catalog_module);
  }
}

TEST(BackupSetDocument, CreateOfAKindNotListedIsNull) {
  Kind_Field const fields[] = {{"seq", &File_Backup_Set::seq}};
  Backup_Set_Kind const stranger("Stranger_Backup_Set", "stranger", Backup_Set_Kind::NONE, nullptr, nullptr, fields);
  EXPECT_EQ(nullptr, Backup_Set_Kinds::create(stranger).get());
}

TEST(BackupSetDocument, EveryCustomFieldHasAReader) {
  size_t customs = 0;
  for (Backup_Set_Kind const* kind : Backup_Set_Kinds::all()) {
    for (Kind_Field const& f : *kind) {
      if (f.type != Kind_Field::CUSTOM) continue;
      ++customs;
      EXPECT_NE(nullptr, f.reader) << kind->class_name() << "." << f.key;
    }
  }
  EXPECT_GE(customs, 26u);
}

TEST(BackupSetDocument, FilledRecordsWriteEveryKeyOfTheirKind) {
  for (Kind_Case const& c : cases()) {
    std::unique_ptr<Backup_Set> set = filled(c, 2);
    Generated doc = generate_text(*set);
    ASSERT_TRUE(doc.ok) << c.kind->class_name();
    std::set<std::string> const keys = top_keys(doc.text);
    for (Kind_Field const& f : *c.kind) EXPECT_EQ(1u, keys.count(f.key)) << c.kind->class_name() << "." << f.key;
  }
}

TEST(BackupSetDocument, EveryKindReadsBackIntoItsClassAndWritesTheSameText) {
  for (Kind_Case const& c : cases()) {
    for (int copies : {1, 2}) {
      SCOPED_TRACE(std::string(c.kind->class_name()) + " with " + std::to_string(copies) + " copies");
      std::unique_ptr<Backup_Set> original = filled(c, copies);
      Generated first = generate_text(*original);
      ASSERT_TRUE(first.ok);
      std::string error;
      std::unique_ptr<Backup_Set> read = Backup_Set_Document::read(first.text, kind_argument(*c.kind), error);
      ASSERT_NE(nullptr, read.get()) << error << "\n" << first.text;
      EXPECT_EQ(type_of(original), type_of(read));
      EXPECT_EQ(static_cast<size_t>(copies), read->storages.size());
      EXPECT_EQ(3u, read->pieces.size());
      Generated second = generate_text(*read);
      EXPECT_TRUE(second.ok);
      EXPECT_EQ(first.text, second.text);
    }
  }
}

TEST(BackupSetDocument, FreshRecordsOfEveryKindReadBackToTheSameText) {
  for (Kind_Case const& c : cases()) {
    std::unique_ptr<Backup_Set> original = c.make();
    std::string const text = document_of(*original);
    std::string error;
    std::unique_ptr<Backup_Set> read = Backup_Set_Document::read(text, c.kind->class_name(), error);
    ASSERT_NE(nullptr, read.get()) << c.kind->class_name() << ": " << error;
    EXPECT_EQ(text, document_of(*read)) << c.kind->class_name();
  }
}

TEST(BackupSetDocument, FilledDocumentsOfEveryKindAreFoundByTheDocumentAlone) {
  // By the module, or by the keys where the module is empty.
  for (Kind_Case const& c : cases()) {
    Value doc;
    ASSERT_TRUE(JSON_Parse(document_of(*filled(c, 1)), doc));
    Backup_Set_Kind const* found = nullptr;
    std::string error;
    EXPECT_TRUE(Backup_Set_Document::kind_of(doc, "", found, error)) << error;
    EXPECT_EQ(c.kind, found) << c.kind->class_name();
  }
}

TEST(BackupSetDocument, KindWithEmptyModuleIsFoundByItsKeysAndByName) {
  MongoDB_Backup_Set set;
  fill_common(set, 1);
  set.seq = 4;
  set.arch_log_start = 100;
  set.arch_log_end = 200;
  set.backup_files = {{"shop", "shop.archive", 10, "ab12", 1}};
  std::string const text = document_of(set);
  Value doc;
  ASSERT_TRUE(JSON_Parse(text, doc));

  Backup_Set_Kind const* found = nullptr;
  std::string error;
  ASSERT_TRUE(Backup_Set_Document::kind_of(doc, "", found, error)) << error;
  EXPECT_EQ(&MongoDB_Backup_Set::kind(), found);
  std::unique_ptr<Backup_Set> by_keys = Backup_Set_Document::read(text, "", error);
  ASSERT_NE(nullptr, by_keys.get()) << error;
  EXPECT_EQ(typeid(MongoDB_Backup_Set), type_of(by_keys));
  EXPECT_EQ(text, document_of(*by_keys));

  // Named by its class, in any case.
  for (char const* name : {"MongoDB_Backup_Set", "mongodb_backup_set"}) {
    found = nullptr;
    ASSERT_TRUE(Backup_Set_Document::kind_of(doc, name, found, error)) << error;
    EXPECT_EQ(&MongoDB_Backup_Set::kind(), found) << name;
    std::unique_ptr<Backup_Set> by_name = Backup_Set_Document::read(text, name, error);
    ASSERT_NE(nullptr, by_name.get()) << error;
    EXPECT_EQ(200, static_cast<MongoDB_Backup_Set&>(*by_name).arch_log_end);
    EXPECT_EQ(text, document_of(*by_name));
  }
}

TEST(BackupSetDocument, NameReadsADocumentItsKeysDoNotPlace) {
  // Too few keys for any kind without a module: by the keys it is a plain
  // set with keys of none, by name a Domino set.
  std::string const text = R"({"catalog_module":"","uuid":"3f6c1a52-8e0b-4d47-9a1e-5b2c7d9e0f11","seq":5,"daos":"on"})";
  Value doc;
  ASSERT_TRUE(JSON_Parse(text, doc));
  Backup_Set_Kind const* found = &File_Backup_Set::kind();
  std::string error;
  ASSERT_TRUE(Backup_Set_Document::kind_of(doc, "", found, error)) << error;
  EXPECT_EQ(nullptr, found);
  expect_refused(text, "", "daos: a key the common part does not write, and no kind of set fits the document");

  std::unique_ptr<Backup_Set> read = Backup_Set_Document::read(text, "Domino_Backup_Set", error);
  ASSERT_NE(nullptr, read.get()) << error;
  ASSERT_EQ(typeid(Domino_Backup_Set), type_of(read));
  Domino_Backup_Set const& domino = static_cast<Domino_Backup_Set&>(*read);
  EXPECT_EQ(5u, domino.seq);
  EXPECT_EQ("on", domino.daos);
  EXPECT_EQ("3f6c1a52-8e0b-4d47-9a1e-5b2c7d9e0f11", domino.uuid);

  // A kind with a module is named by it too, in any case.
  File_Backup_Set file;
  fill_common(file, 1);
  file.seq = 9;
  std::unique_ptr<Backup_Set> by_module = Backup_Set_Document::read(document_of(file), "FILE", error);
  ASSERT_NE(nullptr, by_module.get()) << error;
  EXPECT_EQ(typeid(File_Backup_Set), type_of(by_module));
  EXPECT_EQ(9u, static_cast<File_Backup_Set&>(*by_module).seq);
}

TEST(BackupSetDocument, PlainSetReadsBackAsAPlainSet) {
  Backup_Set set("");
  fill_common(set, 2);
  std::string const text = document_of(set);
  std::string error;
  std::unique_ptr<Backup_Set> read = Backup_Set_Document::read(text, "", error);
  ASSERT_NE(nullptr, read.get()) << error;
  EXPECT_EQ(typeid(Backup_Set), type_of(read));
  EXPECT_EQ(text, document_of(*read));
  std::unique_ptr<Backup_Set> named = Backup_Set_Document::read(text, "backup_set", error);
  ASSERT_NE(nullptr, named.get()) << error;
  EXPECT_EQ(text, document_of(*named));
}

TEST(BackupSetDocument, ParsedDocumentReadsLikeItsText) {
  Oracle_Backup_Set set;
  fill_common(set, 1);
  set.dbid = 1234567890123ULL;
  set.reset_time = at("2026-02-01 10:00:00");
  std::string const text = document_of(set);
  Value doc;
  ASSERT_TRUE(JSON_Parse(text, doc));
  std::string error;
  std::unique_ptr<Backup_Set> read = Backup_Set_Document::read(doc, "", error);
  ASSERT_NE(nullptr, read.get()) << error;
  EXPECT_EQ(typeid(Oracle_Backup_Set), type_of(read));
  EXPECT_EQ(text, document_of(*read));
}

TEST(BackupSetDocument, KeyGivenTwiceGoesFirstToTheCommonPartThenToTheKind) {
  HANA_Backup_Set set;
  fill_common(set, 1);
  set.extended_attrs = "hana-own";
  set.Backup_Set::extended_attrs = Object{{"retention_days", 30}};
  std::string const text = document_of(set);
  ASSERT_NE(text.find("\"extended_attrs\":{"), text.rfind("\"extended_attrs\":"));
  std::string error;
  std::unique_ptr<Backup_Set> read = Backup_Set_Document::read(text, "", error);
  ASSERT_NE(nullptr, read.get()) << error;
  HANA_Backup_Set& hana = static_cast<HANA_Backup_Set&>(*read);
  EXPECT_EQ("hana-own", hana.extended_attrs);
  EXPECT_EQ((Object{{"retention_days", 30}}), hana.Backup_Set::extended_attrs);
  EXPECT_EQ(text, document_of(*read));

  // Two storage copies and Exchange's own "storages" after them.
  Exchange_Backup_Set exchange;
  fill_common(exchange, 2);
  exchange.storages = Array{"group-1", "group-2"};
  std::string const both = document_of(exchange);
  read = Backup_Set_Document::read(both, "Exchange_Backup_Set", error);
  ASSERT_NE(nullptr, read.get()) << error;
  EXPECT_EQ(2u, read->Backup_Set::storages.size());
  EXPECT_EQ((Array{"group-1", "group-2"}), static_cast<Exchange_Backup_Set&>(*read).storages);
  EXPECT_EQ(both, document_of(*read));
}

TEST(BackupSetDocument, KeyOnceIsTheKindsWhenItHasTheKindsType) {
  // HANA's text alone: the common part left its object out.
  std::string error;
  std::unique_ptr<Backup_Set> read = Backup_Set_Document::read(
      R"({"catalog_module":"hana","uuid":"3f6c1a52-8e0b-4d47-9a1e-5b2c7d9e0f11","extended_attrs":"own"})", "",
      error);
  ASSERT_NE(nullptr, read.get()) << error;
  EXPECT_EQ("own", static_cast<HANA_Backup_Set&>(*read).extended_attrs);
  EXPECT_TRUE(read->Backup_Set::extended_attrs.empty());
  // An object alone: the common part's.
  read = Backup_Set_Document::read(R"({"catalog_module":"hana","extended_attrs":{"a":1}})", "", error);
  ASSERT_NE(nullptr, read.get()) << error;
  EXPECT_EQ("", static_cast<HANA_Backup_Set&>(*read).extended_attrs);
  EXPECT_EQ((Object{{"a", 1}}), read->Backup_Set::extended_attrs);
}

TEST(BackupSetDocument, SplitRuleIsCatalogdsForKeysGivenTwiceOrOnce) {
  Backup_Set_Document::Later_Values later{{"extended_attrs", Value("own")}};
  Object doc{{"catalog_module", "hana"}, {"extended_attrs", Object{{"a", 1}}}, {"sid", "HDB"}, {"size", 5}};
  Object common, application;
  Backup_Set_Document::split(doc, &HANA_Backup_Set::kind(), later, common, application);
  EXPECT_TRUE(doc.empty());
  EXPECT_EQ((Object{{"catalog_module", "hana"}, {"extended_attrs", Object{{"a", 1}}}, {"size", 5}}), common);
  EXPECT_EQ((Object{{"extended_attrs", "own"}, {"sid", "HDB"}}), application);

  // Without a kind every key the common part does not write is the
  // application's.
  Object plain{{"uuid", "u"}, {"mystery", 1}};
  Object plain_common, plain_application;
  Backup_Set_Document::split(plain, nullptr, {}, plain_common, plain_application);
  EXPECT_EQ((Object{{"uuid", "u"}}), plain_common);
  EXPECT_EQ((Object{{"mystery", 1}}), plain_application);
}

TEST(BackupSetDocument, TextThatIsNotAnObjectIsRefused) {
  expect_refused("[1,2]", "", "document: not an object but an array");
  expect_refused("\"set\"", "File_Backup_Set", "document: not an object but a string");
  std::string error;
  EXPECT_EQ(nullptr, Backup_Set_Document::read("{\"uuid\":", "", error).get());
  EXPECT_EQ(0u, error.find("document: not JSON: ")) << error;
}

TEST(BackupSetDocument, WrongTypeInACommonMemberIsNamed) {
  expect_refused(file_document_with("size", "\"3200\""), "", "size: not an integer but a string");
  expect_refused(file_document_with("uuid", "7"), "", "uuid: not a string but an integer");
  expect_refused(file_document_with("lsb", "[]"), "", "lsb: not an object but an array");
  expect_refused(file_document_with("parents", R"(["a",3])"), "", "parents[1]: not a string but an integer");
  expect_refused(file_document_with("pieces", R"([{"path":"a","size":1},{"path":"b","size":"big"}])"), "",
                 "pieces[1].size: not an integer but a string");
  expect_refused(file_document_with("storages", R"([{"pool_uuid":"p","size":1.5}])"), "",
                 "storages[0].size: not an integer but a real number");
  expect_refused(file_document_with("storages", R"([{"pool_uuid":"p","state":["online","lost"]}])"), "",
                 "storages[0].state[1]: \"lost\" is not a state of a storage copy");
}

TEST(BackupSetDocument, TimeIsTakenOnlyInTheWrittenForm) {
  expect_refused(file_document_with("backup_start_time", "\"2026-03-14T02:00:00Z\""), "",
                 "backup_start_time: \"2026-03-14T02:00:00Z\" is not a time \"YYYY-MM-DD HH:MM:SS\"");
  expect_refused(file_document_with("first_time", "\"2026-02-30 00:00:00\""), "",
                 "first_time: \"2026-02-30 00:00:00\" is not a time \"YYYY-MM-DD HH:MM:SS\"");
  expect_refused(file_document_with("last_time", "1767225600"), "", "last_time: not a string but an integer");
}

TEST(BackupSetDocument, WrongTypeInAKindMemberIsNamed) {
  expect_refused(file_document_with("seq", "\"3\""), "", "seq: not an integer but a string");
  expect_refused(file_document_with("multidevice", "1"), "", "multidevice: not a boolean but an integer");
  expect_refused(R"({"catalog_module":"oracle","reset_time":"yesterday"})", "",
                 "reset_time: \"yesterday\" is not a time \"YYYY-MM-DD HH:MM:SS\"");
  expect_refused(R"({"catalog_module":"oracle","pdbs":{}})", "", "pdbs: not an array but an object");
  expect_refused(R"({"catalog_module":"dmdb","backup_files":[]})", "", "backup_files: not an object but an array");
}

TEST(BackupSetDocument, WrongTypeInANestedCustomMemberIsNamed) {
  expect_refused(
      R"({"catalog_module":"hyperv","vhd_chains":{"scsi-0-1":{"vhds":[{"path":"a"},{"path":"b","file_size":"big"}]}}})",
      "", "vhd_chains.scsi-0-1.vhds[1].file_size: not an integer but a string");
  expect_refused(R"({"catalog_module":"fusioncompute","volumes":[{"snapshot":{"uuid":5}}]})", "",
                 "volumes[0].snapshot.uuid: not a string but an integer");
  expect_refused(R"({"catalog_module":"incloud","cpu_info":{"cpu_count":-1}})", "",
                 "cpu_info.cpu_count: -1 is out of the unsigned 64-bit range");
  expect_refused(R"({"catalog_module":"oscar","tablespaces":["ts1",2]})", "",
                 "tablespaces[1]: not a string but an integer");
  expect_refused(R"({"catalog_module":"cachedb","backup_files":[{"file":1}]})", "",
                 "backup_files[0].file: not a string but an integer");
  expect_refused(R"({"catalog_module":"windows_bmr","backup_files":[{"hidden":true}]})", "",
                 "backup_files[0].hidden: not a string or an integer but a boolean");
  expect_refused(R"({"catalog_module":"oceanbase","tenants":[{"resource_pools":["p1",null]}]})", "",
                 "tenants[0].resource_pools[1]: not a string but null");
  expect_refused(R"({"catalog_module":"","seq":1,"backup_files":[{"seq":"x"}]})", "MongoDB_Backup_Set",
                 "backup_files[0].seq: not an integer but a string");
}

TEST(BackupSetDocument, NumberOutOfThirtyTwoBitRangeIsRefused) {
  expect_refused(file_document_with("seq", "4294967296"), "", "seq: 4294967296 is out of the unsigned 32-bit range");
  expect_refused(file_document_with("seq", "-1"), "", "seq: -1 is out of the unsigned 32-bit range");
  expect_refused(R"({"catalog_module":"","cycle":2147483648})", "MySQL_Backup_Set",
                 "cycle: 2147483648 is out of the signed 32-bit range");
  expect_refused(R"({"catalog_module":"hyperv","drives":[{"address":-2147483649}]})", "",
                 "drives[0].address: -2147483649 is out of the signed 32-bit range");
  expect_refused(R"({"catalog_module":"","first_scn":9223372036854775808})", "",
                 "first_scn: 9223372036854775808 is out of the signed 64-bit range");
  // The signed writer's numbers come back from either form.
  std::string error;
  std::unique_ptr<Backup_Set> read =
      Backup_Set_Document::read(R"({"catalog_module":"fusioncompute","os_version":-1})", "", error);
  ASSERT_NE(nullptr, read.get()) << error;
  EXPECT_EQ(4294967295u, static_cast<FusionCompute_Backup_Set&>(*read).os_version);
  expect_refused(R"({"catalog_module":"fusioncompute","os_version":4294967296})", "",
                 "os_version: 4294967296 is out of the 32-bit range");
}

TEST(BackupSetDocument, UnknownKeyIsNamed) {
  expect_refused(file_document_with("seq", R"(3,"colour":"blue")"), "",
                 "colour: not a key of a File_Backup_Set document");
  expect_refused(file_document_with("pieces", R"([{"path":"a","colour":"blue"}])"), "",
                 "pieces[0].colour: unknown key");
  expect_refused(file_document_with("storages", R"([{"pool_uuid":"p","set_uuid":"s"}])"), "",
                 "storages[0].set_uuid: unknown key");
  expect_refused(R"({"catalog_module":"hive","backup_tables":[{"database":"d","tablename":"t","owner":"o"}]})", "",
                 "backup_tables[0].owner: unknown key");
  expect_refused(R"({"catalog_module":"","uuid":"u","colour":"blue"})", "",
                 "colour: a key the common part does not write, and no kind of set fits the document");
}

TEST(BackupSetDocument, KindNameThatNamesNoKindIsRefused) {
  File_Backup_Set set;
  std::string const text = document_of(set);
  expect_refused(text, "No_Such_Backup_Set",
                 "kind \"No_Such_Backup_Set\": no kind of set has that class or module name");
  Value doc;
  ASSERT_TRUE(JSON_Parse(text, doc));
  Backup_Set_Kind const* found = &File_Backup_Set::kind();
  std::string error;
  EXPECT_FALSE(Backup_Set_Document::kind_of(doc, "nosuch", found, error));
  EXPECT_EQ("kind \"nosuch\": no kind of set has that class or module name", error);
}

TEST(BackupSetDocument, ModuleNoKindHasIsRefused) {
  expect_refused(R"({"catalog_module":"nosuch","uuid":"u"})", "",
                 "catalog_module: no kind of set has the module \"nosuch\"");
  expect_refused(R"({"catalog_module":7})", "", "catalog_module: not a string but an integer");
}

TEST(BackupSetDocument, ModuleOfAnotherKindThanTheNamedOneIsRefused) {
  File_Backup_Set set;
  expect_refused(document_of(set), "DMDB_Backup_Set",
                 "catalog_module: \"file\" is not the module of DMDB_Backup_Set (\"dmdb\")");
  expect_refused(document_of(set), "Backup_Set", "catalog_module: \"file\" is not the module of a plain set (\"\")");
}

TEST(BackupSetDocument, KeyTwiceIsRefusedWhereTheKindDoesNotShareIt) {
  expect_refused(R"({"catalog_module":"file","uuid":"a","uuid":"b"})", "", "uuid: given twice");
  expect_refused(R"({"catalog_module":"file","seq":1,"seq":2})", "", "seq: given twice");
  expect_refused(R"({"catalog_module":"hana","extended_attrs":{},"extended_attrs":"a","extended_attrs":"b"})", "",
                 "extended_attrs: given more than twice");
  expect_refused(R"({"catalog_module":"file","pieces":[{"path":"a"},{"path":"b","path":"c"}]})", "",
                 "pieces[1].path: given twice");
}

TEST(BackupSetDocument, StorageAndStoragesTogetherAreRefused) {
  expect_refused(R"({"catalog_module":"file","storage":{"pool_uuid":"p"},"storages":[]})", "",
                 "storages: given together with \"storage\"");
}
