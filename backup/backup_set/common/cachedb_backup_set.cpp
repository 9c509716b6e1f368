#include "backup/backup_set/common/cachedb_backup_set.h"

#include "backup/backup_set/common/document_members.h"
#include "platform/json/yajl_array_guard.h"
#include "platform/json/yajl_map_guard.h"

namespace {

void write_backup_files(Backup_Set const& set, YAJL_Gen& g, char const* key) {
  g << key;
  YAJL_Array_Guard array(g.get());
  for (json_spirit::Value const& file : static_cast<CacheDB_Backup_Set const&>(set).backup_files) {
    json_spirit::Object const& members = file.get_obj();
    YAJL_Map_Guard map(g.get());
    for (auto const& member : members) g << member.first << member.second.get_str();
  }
}

// Objects whose members are all strings: the writer takes nothing else.
bool read_backup_files(Backup_Set& set, json_spirit::Value const& value, std::string const& name,
                       std::string& error) {
  auto text = [&error](std::string const&, json_spirit::Value const& v, std::string const& at) {
    return Document_Members::is(v, json_spirit::str_type, at, error);
  };
  std::vector<json_spirit::Value> files;
  auto record = [&](json_spirit::Value const& file, std::string const& at) {
    if (!Document_Members::each_member(file, at, error, text)) return false;
    files.push_back(file);
    return true;
  };
  bool const ok = Document_Members::each(value, name, error, record);
  if (ok) static_cast<CacheDB_Backup_Set&>(set).backup_files = std::move(files);
  return ok;
}

}  // namespace

Backup_Set_Kind const& CacheDB_Backup_Set::kind() {
  typedef CacheDB_Backup_Set K;
  static Kind_Field const fields[] = {
      {"start_log", &K::start_log, Kind_Field::COLUMN},
      {"end_log", &K::end_log, Kind_Field::COLUMN},
      {"current_log", &K::current_log, Kind_Field::COLUMN},
      {"journal_dir", &K::journal_dir, Kind_Field::COLUMN},
      Kind_Field::custom("backup_files", json_spirit::array_type, write_backup_files).read_by(read_backup_files),
  };
  static Backup_Set_Kind const kind("CacheDB_Backup_Set", "cachedb", Backup_Set_Kind::JOIN, "cachedb_backup_set", "c",
                                    fields);
  return kind;
}

CacheDB_Backup_Set::CacheDB_Backup_Set() : Backup_Set("cachedb") {}
CacheDB_Backup_Set::~CacheDB_Backup_Set() = default;

void CacheDB_Backup_Set::init_select_sql(Select_SQL& sql, char const* alias) { kind().init_select_sql(sql, alias); }

bool CacheDB_Backup_Set::print_cstr(int index, char const* key, char const* value, unsigned long long length) {
  return kind().print_cstr(*this, index, key, value, length);
}

bool CacheDB_Backup_Set::generate_i(YAJL_Gen& gen) { return kind().generate(*this, gen); }
