#ifndef BACKUP_BACKUP_SET_COMMON_MYSQL_BACKUP_SET_H
#define BACKUP_BACKUP_SET_COMMON_MYSQL_BACKUP_SET_H

#include <string>
#include <vector>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kind.h"

// One file of a MySQL-type backup: the database it belongs to, its name or
// path, and an optional further name.
struct BSET_API MySQL_Backup_File {
  std::string database;
  std::string file;
  std::string vc_name;
};

// A full or binlog backup of a MySQL-type database (GBase clusters too):
// log positions, GTID ranges, replication channels, the files written.
// Its module name is "" and its statement adds nothing; most keys are
// written only when they hold a value (-1, 0 or "" mean not known).
class BSET_API MySQL_Backup_Set : public Backup_Set {
 public:
  MySQL_Backup_Set();
  ~MySQL_Backup_Set() override;

  static void init_select_sql(Select_SQL& sql, char const* alias);
  bool print_cstr(int index, char const* key, char const* value, unsigned long long length) override;
  bool print_int(int index, char const* key, long long value) override;
  bool print_json(int index, char const* key, json_spirit::Value const& value) override;
  bool generate_i(YAJL_Gen& gen) override;
  static Backup_Set_Kind const& kind();

  // `vc_name` may be null (then empty).
  void add_file(std::string const& database, std::string const& file, std::string const* vc_name);
  // Only the file: database and vc_name stay empty.
  void add_file(std::string const& file);

  long long backup_time = 0;  // POSIX seconds; 0 = not known
  int cycle = -1;
  int point = -1;
  int level = -1;
  unsigned int seq = 0;
  int timezone_offset = -1;
  std::string log_branch;
  bool mtf = false;
  std::string start_log;
  std::string next_log;
  std::string object;
  std::string gbase_cluster_uuid;
  long long start_log_pos = -1;
  long long next_log_pos = -1;
  int channels = 0;
  std::string stage_id;
  std::string snapshot_id;
  std::string server_uuid;
  std::string charset;
  std::string data_type;
  long long binlog_create_time = 0;
  bool gtid_type = false;
  int group_id = 0;
  std::vector<MySQL_Backup_File> backup_files;
  json_spirit::Array start_gtids;
  json_spirit::Array end_gtids;
};

#endif
