#include "backup/backup_set/common/cloudos_backup_set.h"

#include "backup/backup_set/common/catalog_columns.h"
#include "platform/sql/select_sql.h"

namespace {

void select_own_table(Select_SQL& select, char const* alias) {
  select.table("cloudos_backup_set", alias);
  Catalog_Columns::add(select, alias, "set_uuid", "set_uuid");
  for (Kind_Field const* f : CloudOS_Backup_Set::kind().columns()) Catalog_Columns::add(select, alias, f->key, f->key);
}

}  // namespace

Backup_Set_Kind const& CloudOS_Backup_Set::kind() {
  typedef CloudOS_Backup_Set K;
  unsigned const COLUMN = Kind_Field::COLUMN | Kind_Field::NO_INTAKE;
  // The disks come before the configuration, though declared after it.
  static Kind_Field const fields[] = {
      {"host_id", &K::host_id, COLUMN},
      {"host_name", &K::host_name, COLUMN},
      {"vm_id", &K::vm_id, COLUMN},
      {"vm_name", &K::vm_name, COLUMN},
      {"snapshot_id", &K::snapshot_id, COLUMN},
      {"vm_disks", &K::vm_disks, COLUMN},
      {"vm_config", &K::vm_config, COLUMN},
  };
  static char const* const column_order[] = {"host_id", "host_name", "vm_id",      "vm_name",
                                             "vm_disks", "vm_config", "snapshot_id", nullptr};
  static Backup_Set_Kind const kind =
      Backup_Set_Kind("CloudOS_Backup_Set", "cloudos", Backup_Set_Kind::JOIN, "cloudos_backup_set", nullptr, fields,
                      column_order)
          .own_select(select_own_table);
  return kind;
}

CloudOS_Backup_Set::CloudOS_Backup_Set() : Backup_Set("cloudos") {}
CloudOS_Backup_Set::~CloudOS_Backup_Set() = default;

void CloudOS_Backup_Set::init_select_sql(Select_SQL& select, char const* alias) {
  kind().init_select_sql(select, alias);
}

bool CloudOS_Backup_Set::generate_i(YAJL_Gen& gen) { return kind().generate(*this, gen); }
