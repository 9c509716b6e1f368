#include "backup/backup_set/common/mysql_backup_set.h"

#include "backup/backup_set/common/document_members.h"
#include "platform/json/yajl_array_guard.h"
#include "platform/json/yajl_map_guard.h"

namespace {

void write_backup_files(Backup_Set const& set, YAJL_Gen& g, char const* key) {
  auto const& files = static_cast<MySQL_Backup_Set const&>(set).backup_files;
  if (files.empty()) return;
  g << key;
  YAJL_Array_Guard array(g.get());
  for (MySQL_Backup_File const& f : files) {
    YAJL_Map_Guard map(g.get());
    g << "database" << f.database << "vc_name" << f.vc_name << "file" << f.file;
  }
}

bool read_backup_files(Backup_Set& set, json_spirit::Value const& value, std::string const& name, std::string& error) {
  return Document_Members::records(value, name, error, static_cast<MySQL_Backup_Set&>(set).backup_files,
                                   [](Document_Members& m, MySQL_Backup_File& f) {
                                     m.take("database", f.database).take("vc_name", f.vc_name).take("file", f.file);
                                   });
}

}  // namespace

Backup_Set_Kind const& MySQL_Backup_Set::kind() {
  typedef MySQL_Backup_Set K;
  unsigned const KNOWN = Kind_Field::OMIT_MINUS_ONE;
  unsigned const SET = Kind_Field::OMIT_EMPTY;
  unsigned const TIME = Kind_Field::OMIT_ZERO;
  static Kind_Field const fields[] = {
      {"seq", &K::seq},
      {"mtf", &K::mtf, Kind_Field::INTAKE_INT},
      {"channels", &K::channels},
      {"gtid_type", &K::gtid_type, Kind_Field::INTAKE_INT},
      {"group_id", &K::group_id},
      {"timezone_offset", &K::timezone_offset, KNOWN},
      {"start_log_pos", &K::start_log_pos, KNOWN},
      {"next_log_pos", &K::next_log_pos, KNOWN},
      {"cycle", &K::cycle, KNOWN},
      {"point", &K::point, KNOWN},
      {"level", &K::level, KNOWN},
      {"log_branch", &K::log_branch, SET},
      {"start_log", &K::start_log, SET},
      {"next_log", &K::next_log, SET},
      {"stage_id", &K::stage_id, SET},
      {"snapshot_id", &K::snapshot_id, SET},
      {"server_uuid", &K::server_uuid, SET},
      {"charset", &K::charset, SET},
      {"object", &K::object, SET},
      {"gbase_cluster_uuid", &K::gbase_cluster_uuid, SET},
      {"data_type", &K::data_type, SET},
      Kind_Field::time("binlog_create_time", &K::binlog_create_time, TIME),
      Kind_Field::time("backup_time", &K::backup_time, TIME),
      Kind_Field::custom("backup_files", json_spirit::array_type, write_backup_files, SET).read_by(read_backup_files),
      {"start_gtids", &K::start_gtids, SET},
      {"end_gtids", &K::end_gtids, SET},
  };
  // Deliberately a statement that adds nothing: a MySQL set is read
  // through rows that already carry its keys.
  static Backup_Set_Kind const kind("MySQL_Backup_Set", "", Backup_Set_Kind::EMPTY, nullptr, nullptr, fields);
  return kind;
}

MySQL_Backup_Set::MySQL_Backup_Set() : Backup_Set("") {}
MySQL_Backup_Set::~MySQL_Backup_Set() = default;

void MySQL_Backup_Set::init_select_sql(Select_SQL& sql, char const* alias) { kind().init_select_sql(sql, alias); }

bool MySQL_Backup_Set::print_cstr(int index, char const* key, char const* value, unsigned long long length) {
  return kind().print_cstr(*this, index, key, value, length);
}

bool MySQL_Backup_Set::print_int(int index, char const* key, long long value) {
  return kind().print_int(*this, index, key, value);
}

bool MySQL_Backup_Set::print_json(int index, char const* key, json_spirit::Value const& value) {
  return kind().print_json(*this, index, key, value);
}

bool MySQL_Backup_Set::generate_i(YAJL_Gen& gen) { return kind().generate(*this, gen); }

void MySQL_Backup_Set::add_file(std::string const& database, std::string const& file, std::string const* vc_name) {
  backup_files.push_back(MySQL_Backup_File{database, file, vc_name ? *vc_name : std::string()});
}

void MySQL_Backup_Set::add_file(std::string const& file) {
  backup_files.push_back(MySQL_Backup_File{std::string(), file, std::string()});
}
