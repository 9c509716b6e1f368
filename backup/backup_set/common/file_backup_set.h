#ifndef BACKUP_BACKUP_SET_COMMON_FILE_BACKUP_SET_H
#define BACKUP_BACKUP_SET_COMMON_FILE_BACKUP_SET_H

#include <string>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kind.h"

// A file-system backup: stream count, hash and encryption settings, the
// kind of pool written to. Module "file". Its columns are read from the DM
// table "dmdb_backup_set" joined as "file" (there is no file table).
class BSET_API File_Backup_Set : public Backup_Set {
 public:
  File_Backup_Set();
  ~File_Backup_Set() override;

  static void init_select_sql(Select_SQL& sql, char const* alias);
  bool print_cstr(int index, char const* key, char const* value, unsigned long long length) override;
  bool print_int(int index, char const* key, long long value) override;
  bool print_bool(int index, char const* key, bool value) override;
  bool generate_i(YAJL_Gen& gen) override;
  static Backup_Set_Kind const& kind();

  unsigned int seq = 0;
  unsigned int channels = 0;
  std::string hash_algorithm;
  std::string pool_type;
  bool multidevice = false;
  std::string encryption;
};

#endif
