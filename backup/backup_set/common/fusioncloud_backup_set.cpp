#include "backup/backup_set/common/fusioncloud_backup_set.h"

#include "backup/backup_set/common/catalog_columns.h"
#include "platform/sql/select_sql.h"

namespace {

void select_base_and_own_table(Select_SQL& select, char const* alias) {
  Backup_Set::init_select_sql(select, "b");
  select.table("fusioncloud_backup_set", alias);
  Catalog_Columns::add(select, alias, "set_uuid", "set_uuid");
  for (Kind_Field const* f : FusionCloud_Backup_Set::kind().columns()) Catalog_Columns::add(select, alias, f->key, f->key);
}

}  // namespace

Backup_Set_Kind const& FusionCloud_Backup_Set::kind() {
  typedef FusionCloud_Backup_Set K;
  unsigned const COLUMN = Kind_Field::COLUMN | Kind_Field::NO_INTAKE;
  static Kind_Field const fields[] = {
      {"vm_id", &K::vm_id, COLUMN},
      {"vm_name", &K::vm_name, COLUMN},
      {"project_id", &K::project_id, COLUMN},
      {"project_name", &K::project_name, COLUMN},
      {"vm_profile", &K::vm_profile, COLUMN},
      {"flavor_profile", &K::flavor_profile, COLUMN},
      {"interfaces_profile", &K::interfaces_profile, COLUMN},
      {"image_profile", &K::image_profile, COLUMN},
      {"volumes_profile", &K::volumes_profile, COLUMN},
  };
  static Backup_Set_Kind const kind =
      Backup_Set_Kind("FusionCloud_Backup_Set", "fusioncloud", Backup_Set_Kind::JOIN, "fusioncloud_backup_set",
                      nullptr, fields)
          .own_select(select_base_and_own_table);
  return kind;
}

FusionCloud_Backup_Set::FusionCloud_Backup_Set() : Backup_Set("fusioncloud") {}
FusionCloud_Backup_Set::~FusionCloud_Backup_Set() = default;

void FusionCloud_Backup_Set::init_select_sql(Select_SQL& select, char const* alias) {
  kind().init_select_sql(select, alias);
}

bool FusionCloud_Backup_Set::generate_i(YAJL_Gen& gen) { return kind().generate(*this, gen); }
