#include "backup/backup_set/common/informix_backup_set.h"

#include <algorithm>
#include <cstring>

#include <ace/OS_NS_string.h>

#include "backup/backup_set/common/column_intake.h"
#include "platform/time/iso8601.h"

Backup_Set_Kind const& Informix_Backup_Set::kind() {
  typedef Informix_Backup_Set K;
  static Kind_Field const fields[] = {
      // Taken by print_cstr below, through a 32-byte buffer.
      Kind_Field::time("pre_seal_time", &K::pre_seal_time, Kind_Field::COLUMN | Kind_Field::NO_INTAKE),
  };
  static Backup_Set_Kind const kind("Informix_Backup_Set", "informix", Backup_Set_Kind::JOIN, "informix_backup_set",
                                    "ifx", fields);
  return kind;
}

Informix_Backup_Set::Informix_Backup_Set() : Backup_Set("informix") {}
Informix_Backup_Set::~Informix_Backup_Set() = default;

void Informix_Backup_Set::init_select_sql(Select_SQL& sql, char const* alias) { kind().init_select_sql(sql, alias); }

// Deliberately through a 32-byte buffer: at most 31 characters of the text
// reach the time parser. The lengths our rows deliver do not count a
// terminating zero, so the copy's limit is one more than the length.
bool Informix_Backup_Set::print_cstr(int index, char const* key, char const* value, unsigned long long length) {
  if (!Column_Intake::accept(*this, key)) return Column_Intake::refused(key);
  if (std::strcmp(key, "pre_seal_time") != 0) return Backup_Set::print_cstr(index, key, value, length);
  char buf[32] = {0};
  if (value) ACE_OS::strsncpy(buf, value, static_cast<size_t>(std::min<unsigned long long>(length + 1, sizeof buf)));
  iso8601_to_posix_time(buf, pre_seal_time);
  return true;
}

bool Informix_Backup_Set::generate_i(YAJL_Gen& gen) { return kind().generate(*this, gen); }
