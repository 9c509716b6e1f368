#include "backup/backup_set/common/backup_set_kinds.h"

#include <cstring>
#include <memory>
#include <set>

#include <yajl/yajl_gen.h>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/cachedb_backup_set.h"
#include "backup/backup_set/common/cloudos_backup_set.h"
#include "backup/backup_set/common/db2_backup_set.h"
#include "backup/backup_set/common/dmdb_backup_set.h"
#include "backup/backup_set/common/dmdb_log_backup_set.h"
#include "backup/backup_set/common/dmdb_logical_backup_set.h"
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

namespace {

template <typename Set>
std::unique_ptr<Backup_Set> make() {
  return std::unique_ptr<Backup_Set>(new Set());
}

// One row per kind: its table and the record it describes, so that the
// list of kinds and the records made for them cannot drift apart.
struct Entry {
  Backup_Set_Kind const& (*kind)();
  std::unique_ptr<Backup_Set> (*make)();
};

#define BSET_KIND(Set) \
  { &Set::kind, &make<Set> }

Entry const ENTRIES[] = {
    BSET_KIND(DMDB_Backup_Set),          BSET_KIND(DMDB_Log_Backup_Set),      BSET_KIND(DMDB_Logical_Backup_Set),
    BSET_KIND(MySQL_Backup_Set),         BSET_KIND(MSSQL_Backup_Set),         BSET_KIND(HANA_Backup_Set),
    BSET_KIND(DB2_Backup_Set),           BSET_KIND(GaussDB_Backup_Set),       BSET_KIND(CacheDB_Backup_Set),
    BSET_KIND(File_Backup_Set),          BSET_KIND(Informix_Backup_Set),      BSET_KIND(Sybase_Backup_Set),
    BSET_KIND(SharePoint_Backup_Set),    BSET_KIND(Exchange_Backup_Set),      BSET_KIND(Oracle_Backup_Set),
    BSET_KIND(Oracle_Arch_Backup_Set),   BSET_KIND(Oracle_Exp_Backup_Set),    BSET_KIND(Postgres_Backup_Set),
    BSET_KIND(MongoDB_Backup_Set),       BSET_KIND(NDMP_Backup_Set),          BSET_KIND(Domino_Backup_Set),
    BSET_KIND(Kingbase_Backup_Set),      BSET_KIND(Oscar_Backup_Set),         BSET_KIND(Oscar_Brcmd_Backup_Set),
    BSET_KIND(Hive_Backup_Set),          BSET_KIND(OceanBase_Backup_Set),     BSET_KIND(VMware_Backup_Set),
    BSET_KIND(Hyper_V_Backup_Set),       BSET_KIND(Windows_BMR_Backup_Set),   BSET_KIND(OpenStack_Backup_Set),
    BSET_KIND(FusionCompute_Backup_Set), BSET_KIND(FusionCloud_Backup_Set),   BSET_KIND(ICS_Backup_Set),
    BSET_KIND(H3C_CAS_Backup_Set),       BSET_KIND(CloudOS_Backup_Set),       BSET_KIND(K8S_Backup_Set),
};

#undef BSET_KIND

}  // namespace

std::vector<Backup_Set_Kind const*> const& Backup_Set_Kinds::all() {
  static std::vector<Backup_Set_Kind const*> const kinds = [] {
    std::vector<Backup_Set_Kind const*> out;
    for (Entry const& e : ENTRIES) out.push_back(&e.kind());
    return out;
  }();
  return kinds;
}

std::unique_ptr<Backup_Set> Backup_Set_Kinds::create(Backup_Set_Kind const& kind) {
  for (Entry const& e : ENTRIES)
    if (&e.kind() == &kind) return e.make();
  return nullptr;
}

Backup_Set_Kind const* Backup_Set_Kinds::find(char const* module) {
  if (!module || !*module) return nullptr;
  for (Backup_Set_Kind const* kind : all())
    if (std::strcmp(kind->module(), module) == 0) return kind;
  return nullptr;
}

namespace {

// Read off the document of a set that writes every optional common key
// too, so the list cannot drift from what Backup_Set writes.
std::set<std::string> const& common_keys() {
  static std::set<std::string> const keys = [] {
    Backup_Set set;
    set.first_time = set.last_time = set.backup_end_time = 1;
    set.parents.push_back("p");
    set.add_storage("a", 0);
    yajl_gen g = yajl_gen_alloc(nullptr);
    set.generate(g);
    unsigned char const* buf = nullptr;
    size_t len = 0;
    yajl_gen_get_buf(g, &buf, &len);
    json_spirit::Value doc;
    JSON_Parse(reinterpret_cast<char const*>(buf), len, doc, nullptr);
    yajl_gen_free(g);
    std::set<std::string> out;
    for (auto const& member : doc.get_obj()) out.insert(member.first);
    out.insert("storages");  // the form of two or more copies
    return out;
  }();
  return keys;
}

}  // namespace

bool Backup_Set_Kinds::common_key(std::string const& key) { return common_keys().count(key) != 0; }

Backup_Set_Kind const* Backup_Set_Kinds::find(char const* module, std::vector<std::string> const& keys) {
  if (module && *module) return find(module);
  for (Backup_Set_Kind const* kind : all()) {
    if (*kind->module()) continue;
    bool fits = false;
    for (std::string const& key : keys) {
      if (kind->field(key.c_str())) {
        fits = fits || !common_key(key);
      } else if (!common_key(key)) {
        fits = false;
        break;
      }
    }
    for (Kind_Field const& f : *kind) {
      if (!fits) break;
      if (!f.always_written()) continue;
      bool present = false;
      for (std::string const& key : keys) present = present || key == f.key;
      fits = present;
    }
    if (fits) return kind;
  }
  return nullptr;
}
