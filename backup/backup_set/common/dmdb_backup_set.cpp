#include "backup/backup_set/common/dmdb_backup_set.h"

#include "backup/backup_set/common/document_members.h"
#include "platform/json/yajl_map_guard.h"

namespace {

// An object, one member per entry, in the map's (byte-wise) key order.
void write_backup_files(Backup_Set const& set, YAJL_Gen& g, char const* key) {
  g << key;
  YAJL_Map_Guard map(g.get());
  for (auto const& file : static_cast<DMDB_Backup_Set const&>(set).backup_files) g << file.first << file.second;
}

// One string per member, as the writer writes the map.
bool read_backup_files(Backup_Set& set, json_spirit::Value const& value, std::string const& name, std::string& error) {
  std::map<std::string, std::string> files;
  bool const ok = Document_Members::each_member(
      value, name, error, [&](std::string const& key, json_spirit::Value const& v, std::string const& at) {
        return Document_Members::read(v, at, files[key], error);
      });
  if (ok) static_cast<DMDB_Backup_Set&>(set).backup_files = std::move(files);
  return ok;
}

}  // namespace

Backup_Set_Kind const& DMDB_Backup_Set::kind() {
  typedef DMDB_Backup_Set K;
  static Kind_Field const fields[] = {
      {"seq", &K::seq, Kind_Field::COLUMN},
      {"backup_version", &K::backup_version, Kind_Field::COLUMN},
      {"object", &K::object, Kind_Field::COLUMN},
      {"compression", &K::compression, Kind_Field::COLUMN},
      {"backup_set", &K::backup_set, Kind_Field::COLUMN},
      {"backup_base", &K::backup_base, Kind_Field::COLUMN},
      {"arch_log_start", &K::arch_log_start, Kind_Field::COLUMN},
      {"arch_log_end", &K::arch_log_end, Kind_Field::COLUMN},
      {"permanent_db_magic", &K::permanent_db_magic, Kind_Field::COLUMN},
      {"db_magic", &K::db_magic, Kind_Field::COLUMN},
      {"case_sensitive", &K::case_sensitive, Kind_Field::COLUMN},
      {"unicode_flag", &K::unicode_flag, Kind_Field::COLUMN},
      {"page_size", &K::page_size, Kind_Field::COLUMN},
      {"extent_size", &K::extent_size, Kind_Field::COLUMN},
      Kind_Field::custom("backup_files", json_spirit::obj_type, write_backup_files).read_by(read_backup_files),
  };
  static Backup_Set_Kind const kind("DMDB_Backup_Set", "dmdb", Backup_Set_Kind::JOIN, "dmdb_backup_set", "dm", fields);
  return kind;
}

DMDB_Backup_Set::DMDB_Backup_Set() : Backup_Set("dmdb") {}
DMDB_Backup_Set::~DMDB_Backup_Set() = default;

void DMDB_Backup_Set::init_select_sql(Select_SQL& sql, char const* alias) { kind().init_select_sql(sql, alias); }

bool DMDB_Backup_Set::print_cstr(int index, char const* key, char const* value, unsigned long long length) {
  return kind().print_cstr(*this, index, key, value, length);
}

bool DMDB_Backup_Set::print_int(int index, char const* key, long long value) {
  return kind().print_int(*this, index, key, value);
}

bool DMDB_Backup_Set::generate_i(YAJL_Gen& gen) { return kind().generate(*this, gen); }
