#include "backup/backup_set/common/oracle_exp_backup_set.h"

Backup_Set_Kind const& Oracle_Exp_Backup_Set::kind() {
  typedef Oracle_Exp_Backup_Set K;
  unsigned const COLUMN = Kind_Field::COLUMN;
  static Kind_Field const fields[] = {
      {"exp_type", &K::exp_type, COLUMN},
      {"exp_mode", &K::exp_mode, COLUMN},
      {"object_name", &K::object_name, COLUMN},
      {"database", &K::database, COLUMN},
  };
  static Backup_Set_Kind const kind("Oracle_Exp_Backup_Set", "oracle_exp", Backup_Set_Kind::JOIN,
                                    "oracle_exp_backup_set", "o", fields);
  return kind;
}

Oracle_Exp_Backup_Set::Oracle_Exp_Backup_Set() : Backup_Set("oracle_exp") {}
Oracle_Exp_Backup_Set::~Oracle_Exp_Backup_Set() = default;

void Oracle_Exp_Backup_Set::init_select_sql(Select_SQL& sql, char const* alias) {
  kind().init_select_sql(sql, alias);
}

bool Oracle_Exp_Backup_Set::print_cstr(int index, char const* key, char const* value, unsigned long long length) {
  return kind().print_cstr(*this, index, key, value, length);
}

bool Oracle_Exp_Backup_Set::generate_i(YAJL_Gen& gen) { return kind().generate(*this, gen); }
