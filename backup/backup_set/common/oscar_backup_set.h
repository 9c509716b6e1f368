#ifndef BACKUP_BACKUP_SET_COMMON_OSCAR_BACKUP_SET_H
#define BACKUP_BACKUP_SET_COMMON_OSCAR_BACKUP_SET_H

#include <string>
#include <vector>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kind.h"

// One file of an Oscar backup: the table it holds.
struct BSET_API Oscar_Backup_File {
  std::string database;
  std::string schema;
  std::string tablename;
  std::string file;
};

// An Oscar backup: sequence number, grade, the files it wrote per table and
// its tablespaces (JSON strings). Module "oscar", table "oscar_backup_set"
// as "oscar".
class BSET_API Oscar_Backup_Set : public Backup_Set {
 public:
  Oscar_Backup_Set();
  ~Oscar_Backup_Set() override;

  static void init_select_sql(Select_SQL& sql, char const* alias);
  bool print_cstr(int index, char const* key, char const* value, unsigned long long length) override;
  bool print_int(int index, char const* key, long long value) override;
  bool print_json(int index, char const* key, json_spirit::Value const& value) override;
  // Throws when an element of `tablespaces` is not a string.
  bool generate_i(YAJL_Gen& gen) override;
  static Backup_Set_Kind const& kind();

  unsigned int seq = 0;
  std::string grade;
  std::vector<Oscar_Backup_File> backup_files;
  json_spirit::Array tablespaces;
};

#endif
