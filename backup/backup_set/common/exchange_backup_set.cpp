#include "backup/backup_set/common/exchange_backup_set.h"

Backup_Set_Kind const& Exchange_Backup_Set::kind() {
  typedef Exchange_Backup_Set K;
  unsigned const WRITE = Kind_Field::NO_INTAKE;
  static Kind_Field const fields[] = {
      {"device_uuid", &K::device_uuid, WRITE},
      {"database", &K::database, WRITE},
      {"backup_method", &K::backup_method, WRITE},
      {"rev", &K::rev, WRITE},
      {"exchange_build", &K::exchange_build, WRITE},
      {"channels", &K::channels, WRITE},
      {"storages", &K::storages, WRITE},
      {"mailboxes", &K::mailboxes, WRITE},
  };
  static Backup_Set_Kind const kind("Exchange_Backup_Set", "", Backup_Set_Kind::NONE, nullptr, nullptr, fields);
  return kind;
}

Exchange_Backup_Set::Exchange_Backup_Set() : Backup_Set("") {}
Exchange_Backup_Set::~Exchange_Backup_Set() = default;

bool Exchange_Backup_Set::generate_i(YAJL_Gen& gen) { return kind().generate(*this, gen); }
