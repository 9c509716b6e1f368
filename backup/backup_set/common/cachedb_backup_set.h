#ifndef BACKUP_BACKUP_SET_COMMON_CACHEDB_BACKUP_SET_H
#define BACKUP_BACKUP_SET_COMMON_CACHEDB_BACKUP_SET_H

#include <map>
#include <string>
#include <vector>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kind.h"

// An InterSystems Cache backup with its journal files. Module "cachedb",
// table "cachedb_backup_set" as "c".
class BSET_API CacheDB_Backup_Set : public Backup_Set {
 public:
  CacheDB_Backup_Set();
  ~CacheDB_Backup_Set() override;

  static void init_select_sql(Select_SQL& sql, char const* alias);
  bool print_cstr(int index, char const* key, char const* value, unsigned long long length) override;
  bool generate_i(YAJL_Gen& gen) override;
  static Backup_Set_Kind const& kind();

  std::string start_log;
  std::string end_log;
  std::string current_log;
  std::string journal_dir;
  // Each element an object whose members are strings; anything else makes
  // generate throw the JSON library's std::runtime_error (a caller error).
  std::vector<json_spirit::Value> backup_files;
  // The producer's own; nothing here reads or writes it.
  std::map<std::string, std::string> file_map;
};

#endif
