#include "backup/backup_set/common/hana_backup_set.h"

#include "backup/backup_set/common/document_members.h"
#include "platform/json/yajl_array_guard.h"
#include "platform/json/yajl_map_guard.h"

namespace {

void write_files(Backup_Set const& set, YAJL_Gen& g, char const* key) {
  HANA_Backup_Set const& hana = static_cast<HANA_Backup_Set const&>(set);
  g << key;
  hana.generate_files(g, hana.files);
}

bool read_files(Backup_Set& set, json_spirit::Value const& value, std::string const& name, std::string& error) {
  return Document_Members::records(value, name, error, static_cast<HANA_Backup_Set&>(set).files,
                                   [](Document_Members& m, HANA_Backup_Set::Backup_File& f) {
                                     m.take("extern_backup_id", f.extern_backup_id);
                                     m.take("origin_path", f.origin_path).take("filename", f.filename);
                                     m.take("size", f.size).take("source_type", f.source_type);
                                     m.take("storage_path", f.storage_path);
                                   });
}

}  // namespace

Backup_Set_Kind const& HANA_Backup_Set::kind() {
  typedef HANA_Backup_Set K;
  static Kind_Field const fields[] = {
      {"lifeline", &K::lifeline, Kind_Field::COLUMN},
      {"sid", &K::sid, Kind_Field::COLUMN},
      {"system_version", &K::system_version, Kind_Field::COLUMN},
      {"instance_num", &K::instance_num, Kind_Field::COLUMN},
      {"instance_name", &K::instance_name, Kind_Field::COLUMN},
      {"extended_attrs", &K::extended_attrs, Kind_Field::COLUMN},
      {"database", &K::database, Kind_Field::COLUMN},
      {"database_backup_id", &K::database_backup_id, Kind_Field::COLUMN},
      Kind_Field::custom("files", json_spirit::array_type, write_files).read_by(read_files),
  };
  // Deliberately joined before the columns are added.
  static Backup_Set_Kind const kind("HANA_Backup_Set", "hana", Backup_Set_Kind::JOIN_FIRST, "hana_backup_set", "h",
                                    fields);
  return kind;
}

HANA_Backup_Set::HANA_Backup_Set() : Backup_Set("hana") {}
HANA_Backup_Set::~HANA_Backup_Set() = default;

void HANA_Backup_Set::init_select_sql(Select_SQL& sql, char const* alias) { kind().init_select_sql(sql, alias); }

bool HANA_Backup_Set::print_cstr(int index, char const* key, char const* value, unsigned long long length) {
  return kind().print_cstr(*this, index, key, value, length);
}

bool HANA_Backup_Set::print_uint(int, char const* key, unsigned long long value) {
  return kind().print_uint(*this, key, value);
}

bool HANA_Backup_Set::generate_i(YAJL_Gen& gen) { return kind().generate(*this, gen); }

void HANA_Backup_Set::generate_files(YAJL_Gen& g, std::vector<Backup_File> list) const {
  YAJL_Array_Guard array(g.get());
  for (Backup_File const& f : list) {
    YAJL_Map_Guard map(g.get());
    g << "extern_backup_id" << f.extern_backup_id << "origin_path" << f.origin_path << "filename" << f.filename
      << "size" << f.size << "source_type" << f.source_type << "storage_path" << f.storage_path;
  }
}
