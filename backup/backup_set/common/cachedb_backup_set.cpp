#include "backup/backup_set/common/cachedb_backup_set.h"

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

}  // namespace

Backup_Set_Kind const& CacheDB_Backup_Set::kind() {
  typedef CacheDB_Backup_Set K;
  static Kind_Field const fields[] = {
      {"start_log", &K::start_log, Kind_Field::COLUMN},
      {"end_log", &K::end_log, Kind_Field::COLUMN},
      {"current_log", &K::current_log, Kind_Field::COLUMN},
      {"journal_dir", &K::journal_dir, Kind_Field::COLUMN},
      Kind_Field::custom("backup_files", json_spirit::array_type, write_backup_files),
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
