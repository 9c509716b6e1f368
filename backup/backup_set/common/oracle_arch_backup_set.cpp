#include "backup/backup_set/common/oracle_arch_backup_set.h"

Backup_Set_Kind const& Oracle_Arch_Backup_Set::kind() {
  typedef Oracle_Arch_Backup_Set K;
  unsigned const COLUMN = Kind_Field::COLUMN;
  static Kind_Field const fields[] = {
      {"thread", &K::thread, COLUMN},
      {"sequence", &K::sequence, COLUMN},
      {"reset_scn", &K::reset_scn, COLUMN},
      Kind_Field::time("reset_time", &K::reset_time, COLUMN),
      {"next_scn", &K::next_scn, COLUMN},
      Kind_Field::time("next_time", &K::next_time, COLUMN),
      {"timezone_offset", &K::timezone_offset, COLUMN},
      {"archived", &K::archived, COLUMN},
  };
  // The statement reads the flag before the offset, the document after.
  static char const* const column_order[] = {"thread",   "sequence",  "reset_scn", "reset_time", "next_scn",
                                             "next_time", "archived", "timezone_offset", nullptr};
  static Backup_Set_Kind const kind("Oracle_Arch_Backup_Set", "oracle_arch", Backup_Set_Kind::JOIN,
                                    "oracle_arch_backup_set", "o", fields, column_order);
  return kind;
}

Oracle_Arch_Backup_Set::Oracle_Arch_Backup_Set() : Backup_Set("oracle_arch") {}
Oracle_Arch_Backup_Set::~Oracle_Arch_Backup_Set() = default;

void Oracle_Arch_Backup_Set::init_select_sql(Select_SQL& sql, char const* alias) {
  kind().init_select_sql(sql, alias);
}

bool Oracle_Arch_Backup_Set::print_cstr(int index, char const* key, char const* value, unsigned long long length) {
  return kind().print_cstr(*this, index, key, value, length);
}

bool Oracle_Arch_Backup_Set::print_int(int index, char const* key, long long value) {
  return kind().print_int(*this, index, key, value);
}

// Unknown unsigned and boolean columns end at the printer's defaults.
bool Oracle_Arch_Backup_Set::print_uint(int, char const* key, unsigned long long value) {
  return kind().print_uint(*this, key, value);
}

bool Oracle_Arch_Backup_Set::print_bool(int, char const* key, bool value) {
  return kind().print_bool(*this, key, value);
}

bool Oracle_Arch_Backup_Set::generate_i(YAJL_Gen& gen) { return kind().generate(*this, gen); }
