#include "backup/backup_set/common/backup_set_kinds.h"

#include <cstring>

#include "backup/backup_set/common/cachedb_backup_set.h"
#include "backup/backup_set/common/db2_backup_set.h"
#include "backup/backup_set/common/dmdb_backup_set.h"
#include "backup/backup_set/common/dmdb_log_backup_set.h"
#include "backup/backup_set/common/dmdb_logical_backup_set.h"
#include "backup/backup_set/common/exchange_backup_set.h"
#include "backup/backup_set/common/file_backup_set.h"
#include "backup/backup_set/common/gaussdb_backup_set.h"
#include "backup/backup_set/common/hana_backup_set.h"
#include "backup/backup_set/common/informix_backup_set.h"
#include "backup/backup_set/common/mssql_backup_set.h"
#include "backup/backup_set/common/mysql_backup_set.h"
#include "backup/backup_set/common/sharepoint_backup_set.h"
#include "backup/backup_set/common/sybase_backup_set.h"

std::vector<Backup_Set_Kind const*> const& Backup_Set_Kinds::all() {
  static std::vector<Backup_Set_Kind const*> const kinds = {
      &DMDB_Backup_Set::kind(),    &DMDB_Log_Backup_Set::kind(), &DMDB_Logical_Backup_Set::kind(),
      &MySQL_Backup_Set::kind(),   &MSSQL_Backup_Set::kind(),    &HANA_Backup_Set::kind(),
      &DB2_Backup_Set::kind(),     &GaussDB_Backup_Set::kind(),  &CacheDB_Backup_Set::kind(),
      &File_Backup_Set::kind(),    &Informix_Backup_Set::kind(), &Sybase_Backup_Set::kind(),
      &SharePoint_Backup_Set::kind(), &Exchange_Backup_Set::kind(),
  };
  return kinds;
}

Backup_Set_Kind const* Backup_Set_Kinds::find(char const* module) {
  if (!module || !*module) return nullptr;
  for (Backup_Set_Kind const* kind : all())
    if (std::strcmp(kind->module(), module) == 0) return kind;
  return nullptr;
}

Backup_Set_Kind const* Backup_Set_Kinds::find(char const* module, std::vector<std::string> const& keys) {
  if (module && *module) return find(module);
  if (keys.empty()) return nullptr;
  for (Backup_Set_Kind const* kind : all()) {
    if (*kind->module()) continue;
    bool fits = true;
    for (std::string const& key : keys) fits = fits && kind->field(key.c_str()) != nullptr;
    for (Kind_Field const& f : *kind) {
      if (!fits) break;
      if (!f.always_written()) continue;
      bool present = false;
      for (std::string const& key : keys) present = present || key == f.key;
      fits = present;
    }
    if (fits) return kind;
  }
  return nullptr;
}
