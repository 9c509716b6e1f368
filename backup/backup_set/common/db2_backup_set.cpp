#include "backup/backup_set/common/db2_backup_set.h"

Backup_Set_Kind const& DB2_Backup_Set::kind() {
  typedef DB2_Backup_Set K;
  unsigned const COLUMN = Kind_Field::COLUMN;
  static Kind_Field const fields[] = {
      {"database", &K::database, COLUMN},
      {"base_start_point", &K::base_start_point, COLUMN},
      {"meta_file", &K::meta_file, COLUMN},
      {"archive_dir", &K::archive_dir, COLUMN},
      {"archive_first_log", &K::archive_first_log, COLUMN},
      {"archive_last_log", &K::archive_last_log, COLUMN},
      // Deliberately selected but not taken back (they reach the base).
      Kind_Field::time("archive_start_time", &K::archive_start_time, COLUMN | Kind_Field::NO_INTAKE),
      Kind_Field::time("archive_end_time", &K::archive_end_time, COLUMN | Kind_Field::NO_INTAKE),
      {"is_archive_set", &K::is_archive_set, COLUMN},
  };
  static Backup_Set_Kind const kind("DB2_Backup_Set", "", Backup_Set_Kind::JOIN, "db2_backup_set", "ds", fields);
  return kind;
}

DB2_Backup_Set::DB2_Backup_Set() : Backup_Set("") {}
DB2_Backup_Set::~DB2_Backup_Set() = default;

void DB2_Backup_Set::init_select_sql(Select_SQL& sql, char const* alias) { kind().init_select_sql(sql, alias); }

bool DB2_Backup_Set::print_cstr(int index, char const* key, char const* value, unsigned long long length) {
  return kind().print_cstr(*this, index, key, value, length);
}

bool DB2_Backup_Set::print_int(int index, char const* key, long long value) {
  return kind().print_int(*this, index, key, value);
}

bool DB2_Backup_Set::print_bool(int, char const* key, bool value) { return kind().print_bool(*this, key, value); }

bool DB2_Backup_Set::generate_i(YAJL_Gen& gen) { return kind().generate(*this, gen); }
