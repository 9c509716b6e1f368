#ifndef BACKUP_BACKUP_SET_COMMON_DOMINO_BACKUP_SET_H
#define BACKUP_BACKUP_SET_COMMON_DOMINO_BACKUP_SET_H

#include <string>
#include <vector>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kind.h"

// One archived transaction log a Domino backup saved: its identifier as two
// file and two note segments, its sequence, name and modification time.
class BSET_API Domino_Archive_Log {
 public:
  Domino_Archive_Log();
  ~Domino_Archive_Log();

  long long logid_file_seg0 = 0;
  long long logid_file_seg1 = 0;
  long long logid_note_seg0 = 0;
  long long logid_note_seg1 = 0;
  long long log_seq = 0;
  std::string name;
  long long mtime = 0;  // POSIX seconds
};

// A Domino backup: sequence number, kind of source, data path, compression,
// DAOS setting and the archive logs it saved. Its module name is "",
// deliberately. Table "domino_backup_set" as "do".
class BSET_API Domino_Backup_Set : public Backup_Set {
 public:
  Domino_Backup_Set();
  ~Domino_Backup_Set() override;

  static void init_select_sql(Select_SQL& sql, char const* alias);
  bool print_cstr(int index, char const* key, char const* value, unsigned long long length) override;
  bool print_int(int index, char const* key, long long value) override;
  bool generate_i(YAJL_Gen& gen) override;
  static Backup_Set_Kind const& kind();

  unsigned int seq = 0;
  std::string source_type;
  std::string data_path;
  std::string compression;
  std::string daos;
  std::vector<Domino_Archive_Log> archive_logs;  // in the order the job adds them
};

#endif
