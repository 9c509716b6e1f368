#include "backup/backup_set/common/h3c_cas_backup_set.h"

#include "backup/backup_set/common/catalog_columns.h"
#include "platform/sql/select_sql.h"

namespace {

void select_own_table(Select_SQL& select, char const* alias) {
  select.table("h3ccas_backup_set", alias);
  Catalog_Columns::add(select, alias, "set_uuid", "set_uuid");
  for (Kind_Field const* f : H3C_CAS_Backup_Set::kind().columns()) Catalog_Columns::add(select, alias, f->key, f->key);
}

}  // namespace

Backup_Set_Kind const& H3C_CAS_Backup_Set::kind() {
  typedef H3C_CAS_Backup_Set K;
  unsigned const COLUMN = Kind_Field::COLUMN | Kind_Field::NO_INTAKE;
  static Kind_Field const fields[] = {
      {"cvk_host_id", &K::cvk_host_id, COLUMN},
      {"cvk_host_name", &K::cvk_host_name, COLUMN},
      {"cvk_host_ip", &K::cvk_host_ip, COLUMN},
      {"vm_id", &K::vm_id, COLUMN},
      {"vm_title", &K::vm_title, COLUMN},
      {"vm_name", &K::vm_name, COLUMN},
      {"vm_config_path", &K::vm_config_path, COLUMN},
      {"cbt_name", &K::cbt_name, COLUMN},
      {"cpu_count", &K::cpu_count, COLUMN},
      {"cpu_cores", &K::cpu_cores, COLUMN},
      {"memory_mbytes", &K::memory_mbytes, COLUMN},
      {"vm_disks", &K::vm_disks, COLUMN},
  };
  static char const* const column_order[] = {"cvk_host_id", "cvk_host_name", "cvk_host_ip", "vm_id",
                                             "vm_title",    "vm_name",       "vm_config_path", "cbt_name",
                                             "vm_disks",    "cpu_count",     "cpu_cores",   "memory_mbytes",
                                             nullptr};
  static Backup_Set_Kind const kind =
      Backup_Set_Kind("H3C_CAS_Backup_Set", "h3ccas", Backup_Set_Kind::JOIN, "h3ccas_backup_set", nullptr, fields,
                      column_order)
          .own_select(select_own_table);
  return kind;
}

H3C_CAS_Backup_Set::H3C_CAS_Backup_Set() : Backup_Set("h3ccas") {}
H3C_CAS_Backup_Set::~H3C_CAS_Backup_Set() = default;

void H3C_CAS_Backup_Set::init_select_sql(Select_SQL& select, char const* alias) {
  kind().init_select_sql(select, alias);
}

bool H3C_CAS_Backup_Set::generate_i(YAJL_Gen& gen) { return kind().generate(*this, gen); }
