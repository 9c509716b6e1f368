#ifndef BACKUP_BACKUP_SET_COMMON_DMDB_LOGICAL_BACKUP_SET_H
#define BACKUP_BACKUP_SET_COMMON_DMDB_LOGICAL_BACKUP_SET_H

#include <string>
#include <vector>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kind.h"

// One file of a logical export and whose data it holds (any may be empty).
struct BSET_API Logical_Backup_File {
  std::string instance;
  std::string file;
  std::string owner;
  std::string schema;
  std::string table;
};

// A logical export of a DM database: the export mode and the export files.
// Module "dmdb_logical", table "dmdb_logical_backup_set" as "dm". Unlike
// the physical set, case_sensitive is a bool defaulting to true and dm_type
// is text.
class BSET_API DMDB_Logical_Backup_Set : public Backup_Set {
 public:
  DMDB_Logical_Backup_Set();
  ~DMDB_Logical_Backup_Set() override;

  static void init_select_sql(Select_SQL& sql, char const* alias);
  bool print_cstr(int index, char const* key, char const* value, unsigned long long length) override;
  bool print_int(int index, char const* key, long long value) override;
  bool generate_i(YAJL_Gen& gen) override;
  static Backup_Set_Kind const& kind();

  unsigned int seq = 0;
  unsigned int backup_version = 0;
  bool case_sensitive = true;
  std::string backup_set;
  std::string dm_type;
  std::string exp_mode;
  // Filled by the producer, in export order.
  std::vector<Logical_Backup_File> backup_files;
};

#endif
