#include "backup/backup_set/common/sharepoint_backup_set.h"

Backup_Set_Kind const& SharePoint_Backup_Set::kind() {
  typedef SharePoint_Backup_Set K;
  unsigned const COLUMN = Kind_Field::COLUMN;
  static Kind_Field const fields[] = {
      {"device_uuid", &K::device_uuid, COLUMN},
      // Deliberately selected under ".database" while the intake waits for
      // "database": the base receives the column.
      Kind_Field("database", &K::database, COLUMN).selected_as(".database"),
      {"domain", &K::domain, COLUMN},
      {"backup_method", &K::backup_method, COLUMN},
      {"rev", &K::rev, COLUMN},
  };
  static Backup_Set_Kind const kind("SharePoint_Backup_Set", "sharepoint", Backup_Set_Kind::JOIN,
                                    "sharepoint_backup_set", "s", fields);
  return kind;
}

SharePoint_Backup_Set::SharePoint_Backup_Set() : Backup_Set("sharepoint") {}
SharePoint_Backup_Set::~SharePoint_Backup_Set() = default;

void SharePoint_Backup_Set::init_select_sql(Select_SQL& sql, char const* alias) { kind().init_select_sql(sql, alias); }

bool SharePoint_Backup_Set::print_cstr(int index, char const* key, char const* value, unsigned long long length) {
  return kind().print_cstr(*this, index, key, value, length);
}

bool SharePoint_Backup_Set::print_int(int index, char const* key, long long value) {
  return kind().print_int(*this, index, key, value);
}

bool SharePoint_Backup_Set::generate_i(YAJL_Gen& gen) { return kind().generate(*this, gen); }
