#include "backup/backup_set/common/dmdb_log_backup_set.h"

Backup_Set_Kind const& DMDB_Log_Backup_Set::kind() {
  typedef DMDB_Log_Backup_Set K;
  static Kind_Field const fields[] = {
      {"seq", &K::seq, Kind_Field::COLUMN},
      {"backup_version", &K::backup_version, Kind_Field::COLUMN},
      {"dm_type", &K::dm_type, Kind_Field::COLUMN},
      {"compression", &K::compression, Kind_Field::COLUMN},
      {"backup_set", &K::backup_set, Kind_Field::COLUMN},
      {"arch_start_time", &K::arch_start_time, Kind_Field::COLUMN},
      {"arch_end_time", &K::arch_end_time, Kind_Field::COLUMN},
      {"permanent_db_magic", &K::permanent_db_magic, Kind_Field::COLUMN},
      {"db_magic", &K::db_magic, Kind_Field::COLUMN},
      {"timezone_offset", &K::timezone_offset, Kind_Field::COLUMN},
      {"number", &K::number, Kind_Field::COLUMN},
      {"active", &K::active, Kind_Field::COLUMN},
  };
  static Backup_Set_Kind const kind("DMDB_Log_Backup_Set", "dmdb_log", Backup_Set_Kind::JOIN, "dmdb_log_backup_set",
                                    "dm", fields);
  return kind;
}

DMDB_Log_Backup_Set::DMDB_Log_Backup_Set() : Backup_Set("dmdb_log") {}
DMDB_Log_Backup_Set::~DMDB_Log_Backup_Set() = default;

void DMDB_Log_Backup_Set::init_select_sql(Select_SQL& sql, char const* alias) { kind().init_select_sql(sql, alias); }

bool DMDB_Log_Backup_Set::print_cstr(int index, char const* key, char const* value, unsigned long long length) {
  return kind().print_cstr(*this, index, key, value, length);
}

bool DMDB_Log_Backup_Set::print_int(int index, char const* key, long long value) {
  return kind().print_int(*this, index, key, value);
}

bool DMDB_Log_Backup_Set::print_bool(int, char const* key, bool value) { return kind().print_bool(*this, key, value); }

bool DMDB_Log_Backup_Set::generate_i(YAJL_Gen& gen) { return kind().generate(*this, gen); }
