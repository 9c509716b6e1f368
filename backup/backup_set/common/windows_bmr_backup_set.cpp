#include "backup/backup_set/common/windows_bmr_backup_set.h"

#include "backup/backup_set/common/document_members.h"
#include "platform/json/yajl_array_guard.h"
#include "platform/json/yajl_map_guard.h"

namespace {

Windows_BMR_Backup_Set const& bmr(Backup_Set const& set) { return static_cast<Windows_BMR_Backup_Set const&>(set); }

void write_diskpart_set(Backup_Set const& set, YAJL_Gen& g, char const* key) {
  Windows_BMR_Backup_Set const& s = bmr(set);
  g << key;
  YAJL_Map_Guard map(g.get());
  g << "diskpart_info" << s.diskpart_info << "boot_code" << s.boot_code << "module_version" << s.module_version
    << "action_type" << s.action_type << "is_mbr_boot" << s.is_mbr_boot;
}

// Only the text and integer members of a file's description reach the
// server; flags, reals and nested values are dropped on purpose. Members
// come in name order (an Object is ordered by key). An element that is not
// an object throws, as get_obj does.
void write_backup_files(Backup_Set const& set, YAJL_Gen& g, char const* key) {
  g << key;
  YAJL_Array_Guard array(g.get());
  for (json_spirit::Value const& file : bmr(set).backup_files) {
    json_spirit::Object const& members = file.get_obj();
    YAJL_Map_Guard map(g.get());
    for (auto const& m : members) {
      if (m.second.type() == json_spirit::str_type) {
        g << m.first << m.second.get_str();
      } else if (m.second.type() == json_spirit::int_type) {
        g << m.first;
        if (m.second.is_uint64())
          g << m.second.get_uint64();
        else
          g << m.second.get_int64();
      }
    }
  }
}

// The members of the "diskpart_set" object are fields of the set itself.
bool read_diskpart_set(Backup_Set& set, json_spirit::Value const& value, std::string const& name, std::string& error) {
  Windows_BMR_Backup_Set& s = static_cast<Windows_BMR_Backup_Set&>(set);
  Document_Members m(value, name, error);
  m.take("diskpart_info", s.diskpart_info).take("boot_code", s.boot_code);
  m.take("module_version", s.module_version).take("action_type", s.action_type);
  m.take("is_mbr_boot", s.is_mbr_boot);
  return m.done();
}

// Objects of text and integer members: any other member would be dropped by
// the writer, so the file would not come back as it was.
bool read_backup_files(Backup_Set& set, json_spirit::Value const& value, std::string const& name, std::string& error) {
  auto text_or_integer = [&error](std::string const&, json_spirit::Value const& v, std::string const& at) {
    if (v.type() == json_spirit::str_type || v.type() == json_spirit::int_type) return true;
    return Document_Members::fail(error, at,
                                  std::string("not a string or an integer but ") +
                                      Document_Members::type_word(v.type()));
  };
  auto file = [&](json_spirit::Value const& v, std::string const& at) {
    return Document_Members::each_member(v, at, error, text_or_integer);
  };
  bool const ok = Document_Members::each(value, name, error, file);
  if (ok) static_cast<Windows_BMR_Backup_Set&>(set).backup_files = value.get_array();
  return ok;
}

}  // namespace

Backup_Set_Kind const& Windows_BMR_Backup_Set::kind() {
  typedef Windows_BMR_Backup_Set K;
  unsigned const OUT = Kind_Field::NO_INTAKE;
  static Kind_Field const fields[] = {
      Kind_Field::custom("diskpart_set", json_spirit::obj_type, write_diskpart_set).read_by(read_diskpart_set),
      {"meta_file", &K::meta_file, OUT},
      {"system_version", &K::system_version, OUT},
      {"firmware_type", &K::firmware_type, OUT},
      {"install_dir", &K::install_dir, OUT},
      {"is_valid_data", &K::is_valid_data, OUT},
      {"arch", &K::arch, OUT},
      {"app_data_dir", &K::app_data_dir, OUT},
      {"extended_attrs", &K::extended_attrs, OUT},
      Kind_Field::custom("backup_files", json_spirit::array_type, write_backup_files).read_by(read_backup_files),
  };
  static Backup_Set_Kind const kind("Windows_BMR_Backup_Set", "windows_bmr", Backup_Set_Kind::EMPTY, nullptr, nullptr,
                                    fields);
  return kind;
}

Windows_BMR_Backup_Set::Windows_BMR_Backup_Set() : Backup_Set("windows_bmr") {}
Windows_BMR_Backup_Set::~Windows_BMR_Backup_Set() = default;

void Windows_BMR_Backup_Set::init_select_sql(Select_SQL& sql, char const* alias) { kind().init_select_sql(sql, alias); }

// Deliberately without the key checks of the other kinds.
bool Windows_BMR_Backup_Set::print_cstr(int, char const*, char const*, unsigned long long) { return true; }

bool Windows_BMR_Backup_Set::generate_i(YAJL_Gen& gen) { return kind().generate(*this, gen); }
