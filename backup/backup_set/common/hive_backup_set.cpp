#include "backup/backup_set/common/hive_backup_set.h"

#include "backup/backup_set/common/catalog_columns.h"
#include "backup/backup_set/common/document_members.h"
#include "platform/json/yajl_array_guard.h"
#include "platform/json/yajl_map_guard.h"
#include "platform/sql/select_sql.h"

namespace {

void write_files(Backup_Set const& set, YAJL_Gen& g, char const* key) {
  g << key;
  YAJL_Array_Guard array(g.get());
  for (Hive_Backup_File const& f : static_cast<Hive_Backup_Set const&>(set).files) {
    YAJL_Map_Guard map(g.get());
    g << "database" << f.database << "dump_dir_path" << f.dump_dir_path << "origin_location_path"
      << f.origin_location_path;
  }
}

void write_tables(Backup_Set const& set, YAJL_Gen& g, char const* key) {
  g << key;
  YAJL_Array_Guard array(g.get());
  for (Hive_Backup_Table const& t : static_cast<Hive_Backup_Set const&>(set).tables) {
    YAJL_Map_Guard map(g.get());
    g << "database" << t.database << "tablename" << t.tablename;
  }
}

// The base columns and the Hive columns under the one alias: the statement
// reads "hive_backup_set" in place of the set's own table.
void select_one_table(Select_SQL& sql, char const* alias) {
  Backup_Set::init_select_sql(sql, alias);
  sql.table("hive_backup_set", alias);
  for (Kind_Field const* f : Hive_Backup_Set::kind().columns()) Catalog_Columns::add(sql, alias, f->key, f->key);
}

bool read_files(Backup_Set& set, json_spirit::Value const& value, std::string const& name, std::string& error) {
  return Document_Members::records(value, name, error, static_cast<Hive_Backup_Set&>(set).files,
                                   [](Document_Members& m, Hive_Backup_File& f) {
                                     m.take("database", f.database).take("dump_dir_path", f.dump_dir_path);
                                     m.take("origin_location_path", f.origin_location_path);
                                   });
}

bool read_tables(Backup_Set& set, json_spirit::Value const& value, std::string const& name, std::string& error) {
  return Document_Members::records(value, name, error, static_cast<Hive_Backup_Set&>(set).tables,
                                   [](Document_Members& m, Hive_Backup_Table& t) {
                                     m.take("database", t.database).take("tablename", t.tablename);
                                   });
}

}  // namespace

Backup_Set_Kind const& Hive_Backup_Set::kind() {
  typedef Hive_Backup_Set K;
  unsigned const COLUMN = Kind_Field::COLUMN;
  static Kind_Field const fields[] = {
      {"last_repl_id", &K::last_repl_id, COLUMN},
      {"seq", &K::seq, COLUMN},
      {"channels", &K::channels, COLUMN},
      {"hash_algorithm", &K::hash_algorithm, COLUMN},
      {"pool_type", &K::pool_type, COLUMN},
      {"multidevice", &K::multidevice, COLUMN},
      {"encryption", &K::encryption, COLUMN},
      Kind_Field::custom("backup_files", json_spirit::array_type, write_files).read_by(read_files),
      Kind_Field::custom("backup_tables", json_spirit::array_type, write_tables).read_by(read_tables),
  };
  // The catalogue's "hive_backup_set" is a view of each Hive set's row with
  // its Hive columns; catalogd keeps those columns in "hive_member".
  static Backup_Set_Kind const kind =
      Backup_Set_Kind("Hive_Backup_Set", "hive", Backup_Set_Kind::JOIN, "hive_backup_set", nullptr, fields)
          .own_select(select_one_table)
          .stored_in("hive_member");
  return kind;
}

Hive_Backup_Set::Hive_Backup_Set() : Backup_Set("hive") {}
Hive_Backup_Set::~Hive_Backup_Set() = default;

void Hive_Backup_Set::init_select_sql(Select_SQL& sql, char const* alias) { kind().init_select_sql(sql, alias); }

bool Hive_Backup_Set::print_cstr(int index, char const* key, char const* value, unsigned long long length) {
  return kind().print_cstr(*this, index, key, value, length);
}

bool Hive_Backup_Set::print_int(int index, char const* key, long long value) {
  return kind().print_int(*this, index, key, value);
}

// An unknown flag ends at the printer's default, not at the base.
bool Hive_Backup_Set::print_bool(int, char const* key, bool value) { return kind().print_bool(*this, key, value); }

bool Hive_Backup_Set::generate_i(YAJL_Gen& gen) { return kind().generate(*this, gen); }

void Hive_Backup_Set::add_file(std::string const& database, std::string const& dump_dir_path,
                               std::string const& origin_location_path) {
  files.push_back(Hive_Backup_File{database, dump_dir_path, origin_location_path});
}

void Hive_Backup_Set::add_table(std::string const& database, std::string const& tablename) {
  tables.push_back(Hive_Backup_Table{database, tablename});
}
