#include "backup/backup_set/common/oscar_backup_set.h"

#include "backup/backup_set/common/document_members.h"
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

bool read_backup_files(Backup_Set& set, json_spirit::Value const& value, std::string const& name, std::string& error) {
  return Document_Members::records(value, name, error, static_cast<Oscar_Backup_Set&>(set).backup_files,
                                   [](Document_Members& m, Oscar_Backup_File& f) {
                                     m.take("database", f.database).take("file", f.file);
                                     m.take("schema", f.schema).take("tablename", f.tablename);
                                   });
}

// Strings only: the writer reads each element as one.
bool read_tablespaces(Backup_Set& set, json_spirit::Value const& value, std::string const& name, std::string& error) {
  bool const ok = Document_Members::each(value, name, error, [&](json_spirit::Value const& v, std::string const& at) {
    return Document_Members::is(v, json_spirit::str_type, at, error);
  });
  if (ok) static_cast<Oscar_Backup_Set&>(set).tablespaces = value.get_array();
  return ok;
}

}  // namespace

Backup_Set_Kind const& Oscar_Backup_Set::kind() {
  typedef Oscar_Backup_Set K;
  static Kind_Field const fields[] = {
      {"seq", &K::seq, Kind_Field::COLUMN},
      // Taken when a reader supplies it, though the statement does not.
      {"grade", &K::grade},
      Kind_Field::custom("backup_files", json_spirit::array_type, write_backup_files).read_by(read_backup_files),
      Kind_Field("tablespaces", &K::tablespaces, Kind_Field::COLUMN)
          .written_by(write_tablespaces)
          .read_by(read_tablespaces),
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
