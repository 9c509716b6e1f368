#include "backup/backup_set/common/file_backup_set.h"

#include "backup/backup_set/common/column_intake.h"

Backup_Set_Kind const& File_Backup_Set::kind() {
  typedef File_Backup_Set K;
  unsigned const COLUMN = Kind_Field::COLUMN;
  static Kind_Field const fields[] = {
      {"seq", &K::seq, COLUMN},
      {"channels", &K::channels, COLUMN},
      {"hash_algorithm", &K::hash_algorithm, COLUMN},
      {"pool_type", &K::pool_type, COLUMN},
      {"multidevice", &K::multidevice, COLUMN},
      {"encryption", &K::encryption, COLUMN},
  };
  // Deliberately the DM table, under the alias "file" ("uuid=file.set_uuid").
  static Backup_Set_Kind const kind("File_Backup_Set", "file", Backup_Set_Kind::JOIN, "dmdb_backup_set", "file",
                                    fields);
  return kind;
}

File_Backup_Set::File_Backup_Set() : Backup_Set("file") {}
File_Backup_Set::~File_Backup_Set() = default;

void File_Backup_Set::init_select_sql(Select_SQL& sql, char const* alias) { kind().init_select_sql(sql, alias); }

// "host" lands in the base record's host field, as the base would put it.
bool File_Backup_Set::print_cstr(int index, char const* key, char const* value, unsigned long long length) {
  return kind().print_cstr(*this, index, key, value, length);
}

bool File_Backup_Set::print_int(int index, char const* key, long long value) {
  return kind().print_int(*this, index, key, value);
}

// Deliberately unlike the other kinds: a boolean this set does not know
// goes on to the printer base, whose answer is returned.
bool File_Backup_Set::print_bool(int index, char const* key, bool value) {
  if (!Column_Intake::accept(*this, key)) return Column_Intake::refused(key);
  if (kind().take_bool(*this, key, value)) return true;
  return database::sql::Query_Result_Token_Printer::print_bool(index, key, value);
}

bool File_Backup_Set::generate_i(YAJL_Gen& gen) { return kind().generate(*this, gen); }
