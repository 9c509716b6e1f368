#ifndef BACKUP_BACKUP_SET_COMMON_HANA_BACKUP_SET_H
#define BACKUP_BACKUP_SET_COMMON_HANA_BACKUP_SET_H

#include <string>
#include <vector>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kind.h"

// An SAP HANA data backup: the system's identity and the backup files HANA
// reported. Module "hana", table "hana_backup_set" as "h", joined before
// its columns are added.
class BSET_API HANA_Backup_Set : public Backup_Set {
 public:
  // One file of the backup with HANA's external backup identifier.
  struct BSET_API Backup_File {
    std::string extern_backup_id;
    std::string origin_path;
    std::string filename;
    unsigned long long size = 0;
    std::string source_type;
    std::string storage_path;
  };

  HANA_Backup_Set();
  ~HANA_Backup_Set() override;

  static void init_select_sql(Select_SQL& sql, char const* alias);
  bool print_cstr(int index, char const* key, char const* value, unsigned long long length) override;
  bool print_uint(int index, char const* key, unsigned long long value) override;
  bool generate_i(YAJL_Gen& gen) override;
  static Backup_Set_Kind const& kind();

  // Writes a file list as an array of objects ([] when empty).
  void generate_files(YAJL_Gen& gen, std::vector<Backup_File> files) const;

  std::string lifeline;
  std::string sid;
  std::string system_version;
  unsigned long long instance_num = 0;
  std::string instance_name;
  // Text of its own; the document then carries "extended_attrs" twice, the
  // base's object first and this string later.
  std::string extended_attrs;
  std::string database;
  unsigned long long database_backup_id = 0;
  std::vector<Backup_File> files;
};

#endif
