#include "backup/backup_set/common/oscar_backup_set.h"

#include "platform/json/yajl_array_guard.h"
#include "platform/json/yajl_map_guard.h"

namespace {

void write_backup_files(Backup_Set const& set, YAJL_Gen& g, char const* key) {
  g << key;
  YAJL_Array_Guard array(g.get());
  for (Oscar_Backup_File const& f : static_cast<Oscar_Backup_Set const&>(set).backup_files) {
    YAJL_Map_Guard map(g.get());
    g << "database" << f.database << "file" << f.file << "schema" << f.schema << "tablename" << f.tablename;
  }
}

// Each element is read as a string: one of another type makes the JSON
// library's accessor throw, and that passes out of generate_i.
void write_tablespaces(Backup_Set const& set, YAJL_Gen& g, char const* key) {
  g << key;
  YAJL_Array_Guard array(g.get());
  for (json_spirit::Value const& v : static_cast<Oscar_Backup_Set const&>(set).tablespaces) g << v.get_str();
}

}  // namespace

Backup_Set_Kind const& Oscar_Backup_Set::kind() {
  typedef Oscar_Backup_Set K;
  static Kind_Field const fields[] = {
      {"seq", &K::seq, Kind_Field::COLUMN},
      // Taken when a reader supplies it, though the statement does not.
      {"grade", &K::grade},
      Kind_Field::custom("backup_files", json_spirit::array_type, write_backup_files),
      Kind_Field("tablespaces", &K::tablespaces, Kind_Field::COLUMN).written_by(write_tablespaces),
  };
  static Backup_Set_Kind const kind("Oscar_Backup_Set", "oscar", Backup_Set_Kind::JOIN, "oscar_backup_set", "oscar",
                                    fields);
  return kind;
}

Oscar_Backup_Set::Oscar_Backup_Set() : Backup_Set("oscar") {}
Oscar_Backup_Set::~Oscar_Backup_Set() = default;

void Oscar_Backup_Set::init_select_sql(Select_SQL& sql, char const* alias) { kind().init_select_sql(sql, alias); }

bool Oscar_Backup_Set::print_cstr(int index, char const* key, char const* value, unsigned long long length) {
  return kind().print_cstr(*this, index, key, value, length);
}

bool Oscar_Backup_Set::print_int(int index, char const* key, long long value) {
  return kind().print_int(*this, index, key, value);
}

bool Oscar_Backup_Set::print_json(int index, char const* key, json_spirit::Value const& value) {
  return kind().print_json(*this, index, key, value);
}

bool Oscar_Backup_Set::generate_i(YAJL_Gen& gen) { return kind().generate(*this, gen); }
