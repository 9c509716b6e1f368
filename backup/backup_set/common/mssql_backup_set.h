#ifndef BACKUP_BACKUP_SET_COMMON_MSSQL_BACKUP_SET_H
#define BACKUP_BACKUP_SET_COMMON_MSSQL_BACKUP_SET_H

#include <string>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kind.h"

namespace database {
namespace sql {
class Query_Result_Handler;
}
}  // namespace database

// One full, differential or log backup of one SQL Server database: the LSN
// chain a restore needs, VSS snapshot data and the file list (LSNs and GUIDs
// kept as the server reports them). Module "". It has no statement or
// column intake of its own: SQL Server listings are read through
// result_handler() into any printer.
class BSET_API MSSQL_Backup_Set : public Backup_Set {
 public:
  MSSQL_Backup_Set();
  ~MSSQL_Backup_Set() override;

  bool generate_i(YAJL_Gen& gen) override;
  // The one MSSQL_Sets_Result_Handler, made on first use.
  static database::sql::Query_Result_Handler* result_handler();
  static Backup_Set_Kind const& kind();

  std::string username;
  std::string resource_name;
  std::string database;
  std::string database_type;
  json_spirit::Array file_list;
  std::string backup_set_uuid;
  std::string first_lsn;
  std::string last_lsn;
  std::string checkpoint_lsn;
  std::string database_backup_lsn;
  int recovery_model = 0;
  bool has_bulk_logged_data = false;
  std::string first_recovery_fork_guid;
  std::string last_recovery_fork_guid;
  std::string fork_point_lsn;
  std::string database_guid;
  std::string differential_base_lsn;
  std::string differential_base_guid;
  std::string backup_type;
  std::string compression;
  bool merged = false;
  std::string vss_backupstamp;
  std::string stage_id;
  std::string snapshot_id;
  int vss_group = 0;
  int channels = 1;  // one stream unless the producer says more
  std::string piece_name;
  int pool_retention = 0;
  std::string pool_url;
};

#endif
