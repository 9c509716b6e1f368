#include "backup/backup_set/common/oracle_backup_set.h"

#include <cstring>

#include "backup/backup_set/common/column_intake.h"

Backup_Set_Kind const& Oracle_Backup_Set::kind() {
  typedef Oracle_Backup_Set K;
  unsigned const COLUMN = Kind_Field::COLUMN;
  static Kind_Field const fields[] = {
      {"archivelog", &K::archivelog, COLUMN},
      {"cluster", &K::cluster, COLUMN},
      {"standby", &K::standby, COLUMN},
      {"cdb", &K::cdb, COLUMN},
      Kind_Field::time("reset_time", &K::reset_time, COLUMN),
      Kind_Field::time("controlfile_time", &K::controlfile_time, COLUMN),
      Kind_Field::time("checkpoint_time", &K::checkpoint_time, COLUMN),
      {"dbid", &K::dbid, COLUMN},
      {"db_incarnation", &K::db_incarnation, COLUMN},
      {"reset_scn", &K::reset_scn, COLUMN},
      {"controlfile_scn", &K::controlfile_scn, COLUMN},
      {"checkpoint_scn", &K::checkpoint_scn, COLUMN},
      {"backup_type", &K::backup_type, COLUMN},
      {"database", &K::database, COLUMN},
      {"compatible", &K::compatible, COLUMN},
      {"scsipool_id", &K::scsipool_id, COLUMN},
      {"stage_id", &K::stage_id, COLUMN},
      {"snapshot_id", &K::snapshot_id, COLUMN},
      {"merge_tag", &K::merge_tag, COLUMN},
      // Written to the server, never read back; its one intake is the
      // flag in print_bool below.
      {"merge_size", &K::merge_size, Kind_Field::NO_INTAKE},
      {"timezone_offset", &K::timezone_offset, COLUMN},
      {"special_files", &K::special_files, COLUMN},
      {"pdbs", &K::pdbs, Kind_Field::NO_INTAKE},
  };
  // The statement reads timezone_offset among the times, not where the
  // document writes it.
  static char const* const column_order[] = {
      "archivelog",     "cluster",         "standby",        "cdb",         "reset_time",  "controlfile_time",
      "checkpoint_time", "timezone_offset", "dbid",          "db_incarnation", "reset_scn", "controlfile_scn",
      "checkpoint_scn", "backup_type",     "database",       "compatible",  "scsipool_id", "stage_id",
      "snapshot_id",    "merge_tag",       "special_files",  nullptr};
  static Backup_Set_Kind const kind("Oracle_Backup_Set", "oracle", Backup_Set_Kind::JOIN, "oracle_backup_set", "o",
                                    fields, column_order);
  return kind;
}

Oracle_Backup_Set::Oracle_Backup_Set() : Backup_Set("oracle") {}
Oracle_Backup_Set::~Oracle_Backup_Set() = default;

void Oracle_Backup_Set::init_select_sql(Select_SQL& sql, char const* alias) { kind().init_select_sql(sql, alias); }

bool Oracle_Backup_Set::print_cstr(int index, char const* key, char const* value, unsigned long long length) {
  return kind().print_cstr(*this, index, key, value, length);
}

bool Oracle_Backup_Set::print_int(int index, char const* key, long long value) {
  return kind().print_int(*this, index, key, value);
}

// Unlike the archive-log set, unknown unsigned and boolean columns go on to
// the base as signed integers (0 or 1 for a flag).
bool Oracle_Backup_Set::print_uint(int index, char const* key, unsigned long long value) {
  if (!Column_Intake::accept(*this, key)) return Column_Intake::refused(key);
  if (kind().take_uint(*this, key, value)) return true;
  return Backup_Set::print_int(index, key, static_cast<long long>(value));
}

bool Oracle_Backup_Set::print_bool(int index, char const* key, bool value) {
  if (!Column_Intake::accept(*this, key)) return Column_Intake::refused(key);
  if (kind().take_bool(*this, key, value)) return true;
  // Kept as it stands: the one flag-to-number intake, which the kind's own
  // statement never reaches (it does not select merge_size).
  if (std::strcmp(key, "merge_size") == 0) {
    merge_size = value ? 1 : 0;
    return true;
  }
  return Backup_Set::print_int(index, key, value ? 1 : 0);
}

// Deliberately never passes a column on: "special_files" is taken when it
// is an object, every other JSON column (the base's own included) dropped.
bool Oracle_Backup_Set::print_json(int, char const* key, json_spirit::Value const& value) {
  if (!Column_Intake::accept(*this, key)) return Column_Intake::refused(key);
  kind().take_json(*this, key, value);
  return true;
}

bool Oracle_Backup_Set::generate_i(YAJL_Gen& gen) { return kind().generate(*this, gen); }
