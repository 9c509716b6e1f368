#include "backup/backup_set/common/mongodb_backup_set.h"

#include "backup/backup_set/common/document_members.h"
#include "platform/json/yajl_array_guard.h"
#include "platform/json/yajl_map_guard.h"

namespace {

// Deliberately tests the start, not the end: a set with a start and no end
// writes "arch_log_end": -1, one with an end and no start no end at all.
void write_arch_log_end(Backup_Set const& set, YAJL_Gen& g, char const* key) {
  MongoDB_Backup_Set const& m = static_cast<MongoDB_Backup_Set const&>(set);
  if (m.arch_log_start != -1) g << key << m.arch_log_end;
}

void write_backup_files(Backup_Set const& set, YAJL_Gen& g, char const* key) {
  g << key;
  YAJL_Array_Guard array(g.get());
  for (MongoDB_Backup_File const& f : static_cast<MongoDB_Backup_Set const&>(set).backup_files) {
    YAJL_Map_Guard map(g.get());
    g << "database" << f.database << "file" << f.file << "original_size" << f.original_size << "backup_host_uuid"
      << f.backup_host_uuid << "seq" << f.seq;
  }
}

bool read_backup_files(Backup_Set& set, json_spirit::Value const& value, std::string const& name, std::string& error) {
  return Document_Members::records(value, name, error, static_cast<MongoDB_Backup_Set&>(set).backup_files,
                                   [](Document_Members& m, MongoDB_Backup_File& f) {
                                     m.take("database", f.database).take("file", f.file);
                                     m.take("original_size", f.original_size);
                                     m.take("backup_host_uuid", f.backup_host_uuid).take("seq", f.seq);
                                   });
}

}  // namespace

Backup_Set_Kind const& MongoDB_Backup_Set::kind() {
  typedef MongoDB_Backup_Set K;
  unsigned const COLUMN = Kind_Field::COLUMN;
  unsigned const KNOWN = Kind_Field::COLUMN | Kind_Field::OMIT_MINUS_ONE;
  static Kind_Field const fields[] = {
      {"seq", &K::seq, COLUMN},
      {"arch_log_start", &K::arch_log_start, KNOWN},
      {"arch_log_start_i", &K::arch_log_start_i, KNOWN},
      Kind_Field("arch_log_end", &K::arch_log_end, KNOWN).written_by(write_arch_log_end),
      {"arch_log_end_i", &K::arch_log_end_i, KNOWN},
      {"archive", &K::archive, COLUMN | Kind_Field::INTAKE_INT},
      Kind_Field::custom("backup_files", json_spirit::array_type, write_backup_files).read_by(read_backup_files),
  };
  static char const* const column_order[] = {"seq",          "arch_log_start",   "arch_log_end", "arch_log_start_i",
                                             "arch_log_end_i", "archive", nullptr};
  static Backup_Set_Kind const kind("MongoDB_Backup_Set", "", Backup_Set_Kind::JOIN, "mongodb_backup_set", "m",
                                    fields, column_order);
  return kind;
}

MongoDB_Backup_Set::MongoDB_Backup_Set() : Backup_Set("") {}
MongoDB_Backup_Set::~MongoDB_Backup_Set() = default;

void MongoDB_Backup_Set::init_select_sql(Select_SQL& sql, char const* alias) { kind().init_select_sql(sql, alias); }

bool MongoDB_Backup_Set::print_int(int index, char const* key, long long value) {
  return kind().print_int(*this, index, key, value);
}

bool MongoDB_Backup_Set::generate_i(YAJL_Gen& gen) { return kind().generate(*this, gen); }
