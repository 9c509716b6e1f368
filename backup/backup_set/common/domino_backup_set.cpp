#include "backup/backup_set/common/domino_backup_set.h"

#include "backup/backup_set/common/document_members.h"
#include "platform/json/yajl_array_guard.h"
#include "platform/json/yajl_map_guard.h"
#include "platform/time/iso8601.h"

Domino_Archive_Log::Domino_Archive_Log() = default;
Domino_Archive_Log::~Domino_Archive_Log() = default;

namespace {

void write_archive_logs(Backup_Set const& set, YAJL_Gen& g, char const* key) {
  g << key;
  YAJL_Array_Guard array(g.get());
  for (Domino_Archive_Log const& l : static_cast<Domino_Backup_Set const&>(set).archive_logs) {
    YAJL_Map_Guard map(g.get());
    g << "logid_file_seg0" << l.logid_file_seg0 << "logid_file_seg1" << l.logid_file_seg1 << "logid_note_seg0"
      << l.logid_note_seg0 << "logid_note_seg1" << l.logid_note_seg1 << "log_seq" << l.log_seq << "name" << l.name
      << "mtime" << POSIX_Time_To_ISO8601(l.mtime, "%Y-%m-%d %H:%M:%S");
  }
}

bool read_archive_logs(Backup_Set& set, json_spirit::Value const& value, std::string const& name, std::string& error) {
  return Document_Members::records(value, name, error, static_cast<Domino_Backup_Set&>(set).archive_logs,
                                   [](Document_Members& m, Domino_Archive_Log& l) {
                                     m.take("logid_file_seg0", l.logid_file_seg0);
                                     m.take("logid_file_seg1", l.logid_file_seg1);
                                     m.take("logid_note_seg0", l.logid_note_seg0);
                                     m.take("logid_note_seg1", l.logid_note_seg1);
                                     m.take("log_seq", l.log_seq).take("name", l.name).take_time("mtime", l.mtime);
                                   });
}

}  // namespace

Backup_Set_Kind const& Domino_Backup_Set::kind() {
  typedef Domino_Backup_Set K;
  unsigned const COLUMN = Kind_Field::COLUMN;
  static Kind_Field const fields[] = {
      {"seq", &K::seq, COLUMN},
      {"source_type", &K::source_type, COLUMN},
      {"data_path", &K::data_path, COLUMN},
      {"compression", &K::compression, COLUMN},
      {"daos", &K::daos, COLUMN},
      // Written to the server, never read back.
      Kind_Field::custom("archive_logs", json_spirit::array_type, write_archive_logs).read_by(read_archive_logs),
  };
  static Backup_Set_Kind const kind("Domino_Backup_Set", "", Backup_Set_Kind::JOIN, "domino_backup_set", "do",
                                    fields);
  return kind;
}

Domino_Backup_Set::Domino_Backup_Set() : Backup_Set("") {}
Domino_Backup_Set::~Domino_Backup_Set() = default;

void Domino_Backup_Set::init_select_sql(Select_SQL& sql, char const* alias) { kind().init_select_sql(sql, alias); }

bool Domino_Backup_Set::print_cstr(int index, char const* key, char const* value, unsigned long long length) {
  return kind().print_cstr(*this, index, key, value, length);
}

bool Domino_Backup_Set::print_int(int index, char const* key, long long value) {
  return kind().print_int(*this, index, key, value);
}

bool Domino_Backup_Set::generate_i(YAJL_Gen& gen) { return kind().generate(*this, gen); }
