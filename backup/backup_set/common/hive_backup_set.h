#ifndef BACKUP_BACKUP_SET_COMMON_HIVE_BACKUP_SET_H
#define BACKUP_BACKUP_SET_COMMON_HIVE_BACKUP_SET_H

#include <string>
#include <vector>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kind.h"

// One dumped database directory of a Hive backup.
struct BSET_API Hive_Backup_File {
  std::string database;
  std::string dump_dir_path;
  std::string origin_location_path;
};

// One table of a Hive backup.
struct BSET_API Hive_Backup_Table {
  std::string database;
  std::string tablename;
};

// A backup of a Hive warehouse: the replication id it reached, stream and
// hash settings, and the databases and tables it dumped. Module "hive". Its
// statement reads "hive_backup_set" under the caller's own alias, base
// columns and Hive columns alike, with no join.
class BSET_API Hive_Backup_Set : public Backup_Set {
 public:
  Hive_Backup_Set();
  ~Hive_Backup_Set() override;

  static void init_select_sql(Select_SQL& sql, char const* alias);
  bool print_cstr(int index, char const* key, char const* value, unsigned long long length) override;
  bool print_int(int index, char const* key, long long value) override;
  bool print_bool(int index, char const* key, bool value) override;
  bool generate_i(YAJL_Gen& gen) override;
  static Backup_Set_Kind const& kind();

  // Duplicates are kept; output is in insertion order.
  void add_file(std::string const& database, std::string const& dump_dir_path,
                std::string const& origin_location_path);
  void add_table(std::string const& database, std::string const& tablename);

  std::string last_repl_id;
  unsigned int seq = 0;
  unsigned int channels = 0;
  std::string hash_algorithm;
  std::string pool_type;
  bool multidevice = false;
  std::string encryption;
  std::vector<Hive_Backup_File> files;    // "backup_files"
  std::vector<Hive_Backup_Table> tables;  // "backup_tables"
};

#endif
