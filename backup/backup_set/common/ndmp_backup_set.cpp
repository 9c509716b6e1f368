#include "backup/backup_set/common/ndmp_backup_set.h"

Backup_Set_Kind const& NDMP_Backup_Set::kind() {
  typedef NDMP_Backup_Set K;
  unsigned const COLUMN = Kind_Field::COLUMN;
  static Kind_Field const fields[] = {
      {"backup_type", &K::backup_type, COLUMN}, {"seq", &K::seq, COLUMN},   {"level", &K::level, COLUMN},
      {"compression", &K::compression, COLUMN}, {"vols", &K::vols, COLUMN},
  };
  // The member table's alias is fixed; the caller's alias names the base
  // table only.
  static Backup_Set_Kind const kind("NDMP_Backup_Set", "", Backup_Set_Kind::JOIN, "ndmp_backup_set", "ndmp", fields);
  return kind;
}

NDMP_Backup_Set::NDMP_Backup_Set() : Backup_Set("") {}
NDMP_Backup_Set::~NDMP_Backup_Set() = default;

void NDMP_Backup_Set::init_select_sql(Select_SQL& sql, char const* alias) { kind().init_select_sql(sql, alias); }

bool NDMP_Backup_Set::print_cstr(int index, char const* key, char const* value, unsigned long long length) {
  return kind().print_cstr(*this, index, key, value, length);
}

// Unknown unsigned columns end at the printer's default.
bool NDMP_Backup_Set::print_uint(int, char const* key, unsigned long long value) {
  return kind().print_uint(*this, key, value);
}

bool NDMP_Backup_Set::generate_i(YAJL_Gen& gen) { return kind().generate(*this, gen); }
