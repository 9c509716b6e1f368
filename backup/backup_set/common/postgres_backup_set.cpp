#include "backup/backup_set/common/postgres_backup_set.h"

#include "backup/backup_set/common/document_members.h"
#include "platform/json/yajl_array_guard.h"
#include "platform/json/yajl_map_guard.h"
#include "platform/sql/select_sql.h"
#include "platform/sql/string_template.h"

namespace {

void write_backup_files(Backup_Set const& set, YAJL_Gen& g, char const* key) {
  auto const& files = static_cast<Postgres_Backup_Set const&>(set).backup_files;
  if (files.empty()) return;
  g << key;
  YAJL_Array_Guard array(g.get());
  for (Postgres_Backup_File const& f : files) {
    YAJL_Map_Guard map(g.get());
    g << "database" << f.database << "file" << f.file << "schema" << f.schema << "table" << f.table;
  }
}

void write_archive_log(Backup_Set const& set, YAJL_Gen& g, char const* key) {
  auto const& names = static_cast<Postgres_Backup_Set const&>(set).archive_log;
  if (names.empty()) return;
  g << key;
  YAJL_Array_Guard array(g.get());
  for (std::string const& name : names) {
    YAJL_Map_Guard map(g.get());
    g << "file" << name;
  }
}

void select_with_default_aliases(Select_SQL& sql, char const* alias) {
  Postgres_Backup_Set::init_select_sql(sql, "p", "ph", alias);
}

bool read_backup_files(Backup_Set& set, json_spirit::Value const& value, std::string const& name, std::string& error) {
  return Document_Members::records(value, name, error, static_cast<Postgres_Backup_Set&>(set).backup_files,
                                   [](Document_Members& m, Postgres_Backup_File& f) {
                                     m.take("database", f.database).take("file", f.file);
                                     m.take("schema", f.schema).take("table", f.table);
                                   });
}

// Objects of one member, "file"; the names come back unique and sorted.
bool read_archive_log(Backup_Set& set, json_spirit::Value const& value, std::string const& name, std::string& error) {
  std::set<std::string> names;
  bool const ok = Document_Members::each(value, name, error, [&](json_spirit::Value const& v, std::string const& at) {
    std::string file;
    Document_Members m(v, at, error);
    if (!m.take("file", file).done()) return false;
    names.insert(file);
    return true;
  });
  if (ok) static_cast<Postgres_Backup_Set&>(set).archive_log = std::move(names);
  return ok;
}

}  // namespace

Backup_Set_Kind const& Postgres_Backup_Set::kind() {
  typedef Postgres_Backup_Set K;
  unsigned const P = Kind_Field::COLUMN;
  unsigned const PH = Kind_Field::COLUMN | Kind_Field::SECOND_TABLE;
  unsigned const INT = Kind_Field::INTAKE_INT;
  unsigned const SET = Kind_Field::OMIT_EMPTY;
  static Kind_Field const fields[] = {
      {"seq", &K::seq, P},
      {"mtf", &K::mtf, P | INT},
      {"channels", &K::channels, PH},
      {"has_meta", &K::has_meta, INT},
      {"contain_log", &K::contain_log, PH | INT},
      {"multi_init", &K::multi_init, INT},
      {"db_info", &K::db_info, P | SET},
      {"db_size", &K::db_size, P | SET},
      {"log_branch", &K::log_branch, PH | SET},
      {"checkpoint_location", &K::checkpoint_location, PH | SET},
      {"timeline", &K::timeline, PH | SET},
      {"start_wal_file", &K::start_wal_file, PH | SET},
      {"start_wal_location", &K::start_wal_location, PH | SET},
      {"stop_wal_file", &K::stop_wal_file, PH | SET},
      {"stop_wal_location", &K::stop_wal_location, PH | SET},
      {"data_dir", &K::data_dir, PH | SET},
      {"archivelog_dir", &K::archivelog_dir, PH | SET},
      {"os_user", &K::os_user, PH | SET},
      {"suffix", &K::suffix, PH | SET},
      {"from_wal_location", &K::from_wal_location, PH | SET},
      {"flavor", &K::flavor, P | SET},
      {"grade", &K::grade, P | SET},
      {"format", &K::format, P | SET},
      {"cluster_name", &K::cluster_name, SET},
      {"meta_path", &K::meta_path, SET},
      {"mnt", &K::mnt, SET},
      Kind_Field::time("backup_label_time", &K::backup_label_time, Kind_Field::OMIT_ZERO),
      // Deliberately always written, even empty, unlike db_info and db_size.
      {"tablespace_path", &K::tablespace_path, PH},
      Kind_Field::custom("backup_files", json_spirit::array_type, write_backup_files, SET).read_by(read_backup_files),
      Kind_Field::custom("archive_log", json_spirit::array_type, write_archive_log, SET).read_by(read_archive_log),
  };
  static char const* const column_order[] = {
      "seq", "db_info", "db_size", "mtf", "flavor", "grade", "format",
      // postgres_physical_set
      "log_branch", "checkpoint_location", "timeline", "start_wal_file", "start_wal_location", "stop_wal_file",
      "stop_wal_location", "data_dir", "archivelog_dir", "os_user", "suffix", "tablespace_path",
      "from_wal_location", "channels", "contain_log", nullptr};
  // Two member tables and a statement over three aliases.
  static Backup_Set_Kind const kind =
      Backup_Set_Kind("Postgres_Backup_Set", "postgres", Backup_Set_Kind::JOIN, "postgres_backup_set", "p", fields,
                      column_order)
          .second_table("postgres_physical_set", "ph")
          .own_select(select_with_default_aliases);
  return kind;
}

Postgres_Backup_Set::Postgres_Backup_Set() : Backup_Set("postgres") {}
Postgres_Backup_Set::~Postgres_Backup_Set() = default;

// The joins name the member table first: "<p>.set_uuid=<b>.uuid".
void Postgres_Backup_Set::init_select_sql(Select_SQL& sql, char const* p, char const* ph, char const* b) {
  Backup_Set::init_select_sql(sql, b);
  String_Template t("", "{{", "}}", 0);
  t("b", b)("p", p)("ph", ph);
  std::vector<Backup_Set_Kind::Member_Table> const& tables = kind().member_tables();
  std::string text;
  for (size_t i = 0; i < tables.size(); ++i) {
    // A null physical alias leaves that table out; an empty one does not.
    if (i == 1 && !ph) break;
    std::string a = i == 0 ? "{{p}}" : "{{ph}}";
    for (Kind_Field const* f : tables[i].columns) {
      t(a + "." + f->key);
      t.str(text);
      sql.add_key(text, f->key);
    }
    t(a + ".set_uuid={{b}}.uuid");
    t.str(text);
    sql.join(tables[i].table, i == 0 ? p : ph, text);
  }
}

bool Postgres_Backup_Set::print_cstr(int index, char const* key, char const* value, unsigned long long length) {
  return kind().print_cstr(*this, index, key, value, length);
}

bool Postgres_Backup_Set::print_int(int index, char const* key, long long value) {
  return kind().print_int(*this, index, key, value);
}

bool Postgres_Backup_Set::print_json(int index, char const* key, json_spirit::Value const& value) {
  return kind().print_json(*this, index, key, value);
}

bool Postgres_Backup_Set::generate_i(YAJL_Gen& gen) { return kind().generate(*this, gen); }
