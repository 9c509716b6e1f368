#ifndef BACKUP_BACKUP_SET_COMMON_WINDOWS_BMR_BACKUP_SET_H
#define BACKUP_BACKUP_SET_COMMON_WINDOWS_BMR_BACKUP_SET_H

#include <string>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kind.h"

// A bare-metal recovery backup of a Windows machine: the system saved, how
// its disks are re-created (the "diskpart_set") and the files it holds.
// Module "windows_bmr". Written only: its statement adds nothing and its
// text intake takes nothing, so a set read back carries the base's columns.
//
// Its "extended_attrs" is text and follows the base's object of that name,
// so its document carries the key twice.
class BSET_API Windows_BMR_Backup_Set : public Backup_Set {
 public:
  Windows_BMR_Backup_Set();
  ~Windows_BMR_Backup_Set() override;

  // Leaves the statement as it is (the base's columns are not added either).
  static void init_select_sql(Select_SQL& sql, char const* alias);
  // Accepts every column, whatever its key, and stores nothing.
  bool print_cstr(int index, char const* key, char const* value, unsigned long long length) override;
  bool generate_i(YAJL_Gen& gen) override;
  static Backup_Set_Kind const& kind();

  std::string meta_file;
  std::string system_version;
  std::string arch;
  std::string firmware_type;
  std::string install_dir;
  // Each element an object; only its text and integer members are written.
  json_spirit::Array backup_files;
  bool is_valid_data = false;  // the job must set it
  std::string app_data_dir;
  std::string extended_attrs;  // hides Backup_Set::extended_attrs
  bool is_mbr_boot = false;    // the job must set it
  std::string boot_code;
  std::string diskpart_info;
  std::string module_version;
  int action_type = 0;  // the job must set it
};

#endif
