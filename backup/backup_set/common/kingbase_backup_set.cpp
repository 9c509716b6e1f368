#include "backup/backup_set/common/kingbase_backup_set.h"

#include "backup/backup_set/common/document_members.h"
#include "platform/json/yajl_map_guard.h"

namespace {

void write_backup_files(Backup_Set const& set, YAJL_Gen& g, char const* key) {
  g << key;
  YAJL_Map_Guard map(g.get());
  for (auto const& file : static_cast<Kingbase_Backup_Set const&>(set).backup_files) g << file.first << file.second;
}

// One string per member, as the writer writes the map.
bool read_backup_files(Backup_Set& set, json_spirit::Value const& value, std::string const& name, std::string& error) {
  std::map<std::string, std::string> files;
  bool const ok = Document_Members::each_member(
      value, name, error, [&](std::string const& key, json_spirit::Value const& v, std::string const& at) {
        return Document_Members::read(v, at, files[key], error);
      });
  if (ok) static_cast<Kingbase_Backup_Set&>(set).backup_files = std::move(files);
  return ok;
}

}  // namespace

Backup_Set_Kind const& Kingbase_Backup_Set::kind() {
  typedef Kingbase_Backup_Set K;
  static Kind_Field const fields[] = {
      {"seq", &K::seq, Kind_Field::COLUMN},
      // Written to the server, not read back.
      Kind_Field::custom("backup_files", json_spirit::obj_type, write_backup_files).read_by(read_backup_files),
  };
  static Backup_Set_Kind const kind("Kingbase_Backup_Set", "kingbase", Backup_Set_Kind::JOIN, "kingbase_backup_set",
                                    "kb", fields);
  return kind;
}

Kingbase_Backup_Set::Kingbase_Backup_Set() : Backup_Set("kingbase") {}
Kingbase_Backup_Set::~Kingbase_Backup_Set() = default;

void Kingbase_Backup_Set::init_select_sql(Select_SQL& sql, char const* alias) { kind().init_select_sql(sql, alias); }

// Takes no text column of its own: the guards, then the base.
bool Kingbase_Backup_Set::print_cstr(int index, char const* key, char const* value, unsigned long long length) {
  return kind().print_cstr(*this, index, key, value, length);
}

bool Kingbase_Backup_Set::print_int(int index, char const* key, long long value) {
  return kind().print_int(*this, index, key, value);
}

bool Kingbase_Backup_Set::generate_i(YAJL_Gen& gen) { return kind().generate(*this, gen); }
