#include "backup/backup_set/common/oscar_brcmd_backup_set.h"

Backup_Set_Kind const& Oscar_Brcmd_Backup_Set::kind() {
  typedef Oscar_Brcmd_Backup_Set K;
  unsigned const COLUMN = Kind_Field::COLUMN;
  static Kind_Field const fields[] = {
      {"backup_id", &K::backup_id, COLUMN},
      {"last_backup_id", &K::last_backup_id, COLUMN},
      {"last_full_backup_id", &K::last_full_backup_id, COLUMN},
      {"backup_file", &K::backup_file, COLUMN},
      {"backup_lsn", &K::backup_lsn, COLUMN},
      {"backup_scn", &K::backup_scn, COLUMN},
      {"last_backup_lsn", &K::last_backup_lsn, COLUMN},
      {"last_backup_scn", &K::last_backup_scn, COLUMN},
      {"last_full_backup_lsn", &K::last_full_backup_lsn, COLUMN},
      {"last_full_backup_scn", &K::last_full_backup_scn, COLUMN},
  };
  static Backup_Set_Kind const kind("Oscar_Brcmd_Backup_Set", "oscar_brcmd", Backup_Set_Kind::JOIN,
                                    "oscar_brcmd_backup_set", "brcmd", fields);
  return kind;
}

Oscar_Brcmd_Backup_Set::Oscar_Brcmd_Backup_Set() : Backup_Set("oscar_brcmd") {}
Oscar_Brcmd_Backup_Set::~Oscar_Brcmd_Backup_Set() = default;

void Oscar_Brcmd_Backup_Set::init_select_sql(Select_SQL& sql, char const* alias) {
  kind().init_select_sql(sql, alias);
}

bool Oscar_Brcmd_Backup_Set::print_cstr(int index, char const* key, char const* value, unsigned long long length) {
  return kind().print_cstr(*this, index, key, value, length);
}

bool Oscar_Brcmd_Backup_Set::print_int(int index, char const* key, long long value) {
  return kind().print_int(*this, index, key, value);
}

bool Oscar_Brcmd_Backup_Set::generate_i(YAJL_Gen& gen) { return kind().generate(*this, gen); }
