#include "backup/backup_set/common/mssql_backup_set.h"

#include "backup/backup_set/common/mssql_sets_result_handler.h"

Backup_Set_Kind const& MSSQL_Backup_Set::kind() {
  typedef MSSQL_Backup_Set K;
  // Nothing is taken from rows; the table gives the document and catalogd's
  // checks. "file_list" is written last.
  unsigned const WRITE = Kind_Field::NO_INTAKE;
  static Kind_Field const fields[] = {
      {"username", &K::username, WRITE},
      {"resource_name", &K::resource_name, WRITE},
      {"database", &K::database, WRITE},
      {"database_type", &K::database_type, WRITE},
      {"backup_set_uuid", &K::backup_set_uuid, WRITE},
      {"first_lsn", &K::first_lsn, WRITE},
      {"last_lsn", &K::last_lsn, WRITE},
      {"checkpoint_lsn", &K::checkpoint_lsn, WRITE},
      {"database_backup_lsn", &K::database_backup_lsn, WRITE},
      {"recovery_model", &K::recovery_model, WRITE},
      {"has_bulk_logged_data", &K::has_bulk_logged_data, WRITE},
      {"first_recovery_fork_guid", &K::first_recovery_fork_guid, WRITE},
      {"last_recovery_fork_guid", &K::last_recovery_fork_guid, WRITE},
      {"fork_point_lsn", &K::fork_point_lsn, WRITE},
      {"database_guid", &K::database_guid, WRITE},
      {"differential_base_lsn", &K::differential_base_lsn, WRITE},
      {"differential_base_guid", &K::differential_base_guid, WRITE},
      {"backup_type", &K::backup_type, WRITE},
      {"compression", &K::compression, WRITE},
      {"merged", &K::merged, WRITE},
      {"vss_backupstamp", &K::vss_backupstamp, WRITE},
      {"stage_id", &K::stage_id, WRITE},
      {"snapshot_id", &K::snapshot_id, WRITE},
      {"vss_group", &K::vss_group, WRITE},
      {"channels", &K::channels, WRITE},
      {"piece_name", &K::piece_name, WRITE},
      {"pool_retention", &K::pool_retention, WRITE},
      {"pool_url", &K::pool_url, WRITE},
      {"file_list", &K::file_list, WRITE},
  };
  static Backup_Set_Kind const kind("MSSQL_Backup_Set", "", Backup_Set_Kind::NONE, nullptr, nullptr, fields);
  return kind;
}

MSSQL_Backup_Set::MSSQL_Backup_Set() : Backup_Set("") {}
MSSQL_Backup_Set::~MSSQL_Backup_Set() = default;

bool MSSQL_Backup_Set::generate_i(YAJL_Gen& gen) { return kind().generate(*this, gen); }

database::sql::Query_Result_Handler* MSSQL_Backup_Set::result_handler() {
  static MSSQL_Sets_Result_Handler handler;
  return &handler;
}
