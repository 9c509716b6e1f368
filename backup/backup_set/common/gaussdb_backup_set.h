#ifndef BACKUP_BACKUP_SET_COMMON_GAUSSDB_BACKUP_SET_H
#define BACKUP_BACKUP_SET_COMMON_GAUSSDB_BACKUP_SET_H

#include <string>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kind.h"

// A GaussDB (cluster) backup with its backup key chain and the tables it
// covers. Module "gaussdb", table "gaussdb_backup_set" as "g".
class BSET_API GaussDB_Backup_Set : public Backup_Set {
 public:
  GaussDB_Backup_Set();
  ~GaussDB_Backup_Set() override;

  static void init_select_sql(Select_SQL& sql, char const* alias);
  bool print_cstr(int index, char const* key, char const* value, unsigned long long length) override;
  bool print_int(int index, char const* key, long long value) override;
  bool print_json(int index, char const* key, json_spirit::Value const& value) override;
  bool generate_i(YAJL_Gen& gen) override;
  static Backup_Set_Kind const& kind();

  long long seq = 0;
  std::string meta_destination;
  std::string backup_key;
  std::string prior_backup_key;
  std::string timeline;
  std::string compression;
  std::string granularity;
  std::string database;
  int nodes_count = 0;
  int series = 0;
  json_spirit::Array tables;
};

#endif
