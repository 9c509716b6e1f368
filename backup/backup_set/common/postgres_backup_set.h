#ifndef BACKUP_BACKUP_SET_COMMON_POSTGRES_BACKUP_SET_H
#define BACKUP_BACKUP_SET_COMMON_POSTGRES_BACKUP_SET_H

#include <set>
#include <string>
#include <vector>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kind.h"

// One file of a logical PostgreSQL backup.
struct BSET_API Postgres_Backup_File {
  std::string database;
  std::string file;
  std::string schema;
  std::string table;
};

// A PostgreSQL backup. The facts of every set live in the table
// "postgres_backup_set", those of a physical (base backup plus WAL) set in
// "postgres_physical_set"; the document carries both, the logical files and
// the archived WAL names. Module "postgres", the resource-type name of
// PostgreSQL (the kind names no module of its own).
class BSET_API Postgres_Backup_Set : public Backup_Set {
 public:
  Postgres_Backup_Set();
  ~Postgres_Backup_Set() override;

  // `p` aliases "postgres_backup_set", `ph` "postgres_physical_set" (left
  // out, with its columns, when null), `b` the set's own table.
  static void init_select_sql(Select_SQL& sql, char const* p, char const* ph, char const* b);
  bool print_cstr(int index, char const* key, char const* value, unsigned long long length) override;
  bool print_int(int index, char const* key, long long value) override;
  bool print_json(int index, char const* key, json_spirit::Value const& value) override;
  bool generate_i(YAJL_Gen& gen) override;
  static Backup_Set_Kind const& kind();

  unsigned int seq = 0;
  unsigned int channels = 0;
  json_spirit::Object db_info;
  json_spirit::Object db_size;
  bool mtf = false;
  bool contain_log = false;
  bool multi_init = false;
  long long backup_label_time = 0;  // POSIX seconds; 0 = none
  std::string log_branch;
  std::string checkpoint_location;
  std::string timeline;
  std::string start_wal_file;
  std::string start_wal_location;
  std::string stop_wal_file;
  std::string stop_wal_location;
  std::string data_dir;
  std::string archivelog_dir;
  std::string os_user;
  json_spirit::Object tablespace_path;
  std::string suffix;
  std::string from_wal_location;
  std::string flavor;
  std::string grade;
  std::string format;
  std::string cluster_name;
  std::string meta_path;
  std::string mnt;
  bool has_meta = false;
  std::vector<Postgres_Backup_File> backup_files;
  std::set<std::string> archive_log;  // WAL file names, unique and sorted
};

#endif
