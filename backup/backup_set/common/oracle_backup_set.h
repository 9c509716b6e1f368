#ifndef BACKUP_BACKUP_SET_COMMON_ORACLE_BACKUP_SET_H
#define BACKUP_BACKUP_SET_COMMON_ORACLE_BACKUP_SET_H

#include <string>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kind.h"

// A physical backup of one Oracle database: its identity, the SCNs and
// times of its reset point, control file and checkpoint, its container
// layout and the bookkeeping of image merges and SCSI pools. Module
// "oracle", table "oracle_backup_set" as "o".
class BSET_API Oracle_Backup_Set : public Backup_Set {
 public:
  Oracle_Backup_Set();
  ~Oracle_Backup_Set() override;

  static void init_select_sql(Select_SQL& sql, char const* alias);
  bool print_cstr(int index, char const* key, char const* value, unsigned long long length) override;
  bool print_int(int index, char const* key, long long value) override;
  bool print_uint(int index, char const* key, unsigned long long value) override;
  bool print_bool(int index, char const* key, bool value) override;
  bool print_json(int index, char const* key, json_spirit::Value const& value) override;
  bool generate_i(YAJL_Gen& gen) override;
  static Backup_Set_Kind const& kind();

  bool archivelog = false;
  bool cluster = false;
  bool standby = false;
  bool cdb = false;
  long long reset_time = 0;  // POSIX seconds
  long long controlfile_time = 0;
  long long checkpoint_time = 0;
  long long timezone_offset = 0;
  unsigned long long dbid = 0;
  unsigned long long db_incarnation = 0;
  unsigned long long reset_scn = 0;
  unsigned long long controlfile_scn = 0;
  unsigned long long checkpoint_scn = 0;
  unsigned long long merge_size = 0;
  std::string backup_type;
  std::string database;
  std::string compatible;
  std::string scsipool_id;
  std::string stage_id;
  std::string snapshot_id;
  std::string merge_tag;
  json_spirit::Object special_files;  // free form
  json_spirit::Array pdbs;            // free form
};

#endif
