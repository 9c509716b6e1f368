#ifndef BACKUP_BACKUP_SET_COMMON_SHAREPOINT_BACKUP_SET_H
#define BACKUP_BACKUP_SET_COMMON_SHAREPOINT_BACKUP_SET_H

#include <string>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kind.h"

// One SharePoint content database in a farm domain, backed up through a
// backup device. Module "sharepoint", table "sharepoint_backup_set" as "s".
class BSET_API SharePoint_Backup_Set : public Backup_Set {
 public:
  SharePoint_Backup_Set();
  ~SharePoint_Backup_Set() override;

  static void init_select_sql(Select_SQL& sql, char const* alias);
  bool print_cstr(int index, char const* key, char const* value, unsigned long long length) override;
  bool print_int(int index, char const* key, long long value) override;
  bool generate_i(YAJL_Gen& gen) override;
  static Backup_Set_Kind const& kind();

  std::string device_uuid;
  // Selected under ".database", so a catalogue row never fills it.
  std::string database;
  std::string domain;
  std::string backup_method;
  long long rev = 0;
};

#endif
