#include "backup/backup_set/common/dmdb_logical_backup_set.h"

#include "backup/backup_set/common/document_members.h"
#include "platform/json/yajl_array_guard.h"
#include "platform/json/yajl_map_guard.h"

namespace {

void write_backup_files(Backup_Set const& set, YAJL_Gen& g, char const* key) {
  g << key;
  YAJL_Array_Guard array(g.get());
  for (Logical_Backup_File const& f : static_cast<DMDB_Logical_Backup_Set const&>(set).backup_files) {
    YAJL_Map_Guard map(g.get());
    g << "instance" << f.instance << "file" << f.file << "owner" << f.owner << "schema" << f.schema << "table"
      << f.table;
  }
}

// The statement follows the field order; the document writes "backup_set"
// before "case_sensitive". Both orders are part of the contract.
char const* const COLUMN_ORDER[] = {"seq", "backup_version", "case_sensitive", "backup_set", "dm_type", "exp_mode",
                                    nullptr};

bool read_backup_files(Backup_Set& set, json_spirit::Value const& value, std::string const& name, std::string& error) {
  return Document_Members::records(value, name, error, static_cast<DMDB_Logical_Backup_Set&>(set).backup_files,
                                   [](Document_Members& m, Logical_Backup_File& f) {
                                     m.take("instance", f.instance).take("file", f.file).take("owner", f.owner);
                                     m.take("schema", f.schema).take("table", f.table);
                                   });
}

}  // namespace

Backup_Set_Kind const& DMDB_Logical_Backup_Set::kind() {
  typedef DMDB_Logical_Backup_Set K;
  static Kind_Field const fields[] = {
      {"seq", &K::seq, Kind_Field::COLUMN},
      {"backup_version", &K::backup_version, Kind_Field::COLUMN},
      {"backup_set", &K::backup_set, Kind_Field::COLUMN},
      {"case_sensitive", &K::case_sensitive, Kind_Field::COLUMN | Kind_Field::INTAKE_INT},
      {"dm_type", &K::dm_type, Kind_Field::COLUMN},
      {"exp_mode", &K::exp_mode, Kind_Field::COLUMN},
      Kind_Field::custom("backup_files", json_spirit::array_type, write_backup_files).read_by(read_backup_files),
  };
  static Backup_Set_Kind const kind("DMDB_Logical_Backup_Set", "dmdb_logical", Backup_Set_Kind::JOIN,
                                    "dmdb_logical_backup_set", "dm", fields, COLUMN_ORDER);
  return kind;
}

DMDB_Logical_Backup_Set::DMDB_Logical_Backup_Set() : Backup_Set("dmdb_logical") {}
DMDB_Logical_Backup_Set::~DMDB_Logical_Backup_Set() = default;

void DMDB_Logical_Backup_Set::init_select_sql(Select_SQL& sql, char const* alias) {
  kind().init_select_sql(sql, alias);
}

bool DMDB_Logical_Backup_Set::print_cstr(int index, char const* key, char const* value, unsigned long long length) {
  return kind().print_cstr(*this, index, key, value, length);
}

bool DMDB_Logical_Backup_Set::print_int(int index, char const* key, long long value) {
  return kind().print_int(*this, index, key, value);
}

bool DMDB_Logical_Backup_Set::generate_i(YAJL_Gen& gen) { return kind().generate(*this, gen); }
