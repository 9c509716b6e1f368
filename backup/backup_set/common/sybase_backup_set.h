#ifndef BACKUP_BACKUP_SET_COMMON_SYBASE_BACKUP_SET_H
#define BACKUP_BACKUP_SET_COMMON_SYBASE_BACKUP_SET_H

#include <string>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kind.h"

// An SAP ASE (Sybase) database dump. Module "sybase"; written only, read
// through the base. The dump dates are the producer's text.
class BSET_API Sybase_Backup_Set : public Backup_Set {
 public:
  Sybase_Backup_Set();
  ~Sybase_Backup_Set() override;

  bool generate_i(YAJL_Gen& gen) override;
  static Backup_Set_Kind const& kind();

  // The dump file name as a per-stream pattern: "_%d" before the last
  // point, or at the end when there is none (db.dmp -> db_%d.dmp).
  static std::string multi_channels_uri_format(std::string uri);

  std::string resource_name;
  std::string database;
  std::string dbtype;
  std::string last_dumptrdate;
  std::string current_dumptrdate;
  std::string fork_point_uuid;
  std::string recovery_fork_guid;
  std::string compression;
  std::string piece_name;
  long long dev_size = 0;
};

#endif
