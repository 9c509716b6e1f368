#include "backup/backup_set/common/backup_set.h"

#include <cstring>

#include <ace/Log_Msg.h>

#include "backup/backup_set/common/backup_set_result_handler.h"
#include "backup/backup_set/common/catalog_columns.h"
#include "backup/backup_set/common/column_intake.h"
#include "platform/json/yajl_array_guard.h"
#include "platform/json/yajl_map_guard.h"
#include "platform/time/iso8601.h"

namespace {

template <size_t N>
inline YAJL_Gen::Str key(char const (&text)[N]) {
  return YAJL_Gen::Str(text, N - 1);
}

char const TIME_FORMAT[] = "%Y-%m-%d %H:%M:%S";

using Text_Column = Column_Intake::Column<Backup_Set, std::string>;
using Int_Column = Column_Intake::Column<Backup_Set, long long>;
using Object_Column = Column_Intake::Column<Backup_Set, json_spirit::Object>;

Text_Column const TEXT_COLUMNS[] = {
    {"uuid", &Backup_Set::uuid},
    {"name", &Backup_Set::name},
    {"definition_uuid", &Backup_Set::definition_uuid},
    {"job_instance_uuid", &Backup_Set::job_instance_uuid},
    {"uid", &Backup_Set::uid},
    {"host_uuid", &Backup_Set::host_uuid},
    {"agent", &Backup_Set::agent},
    {"resource_uuid", &Backup_Set::resource_uuid},
    {"minor_resource_id", &Backup_Set::minor_resource_id},
    {"minor_resource_name", &Backup_Set::minor_resource_name},
    {"incarnation", &Backup_Set::incarnation},
    {"type", &Backup_Set::type},
    {"uri", &Backup_Set::uri},
    {"host", &Backup_Set::host},
    {"instance", &Backup_Set::instance},
    {"instance_version", &Backup_Set::instance_version},
};

// Times arrive as text.
Int_Column const TIME_COLUMNS[] = {
    {"first_time", &Backup_Set::first_time},
    {"last_time", &Backup_Set::last_time},
    {"backup_start_time", &Backup_Set::backup_start_time},
    {"backup_end_time", &Backup_Set::backup_end_time},
};

Int_Column const INT_COLUMNS[] = {
    {"source_size", &Backup_Set::source_size},
    {"size", &Backup_Set::size},
    {"first_scn", &Backup_Set::first_scn},
    {"last_scn", &Backup_Set::last_scn},
};

Object_Column const OBJECT_COLUMNS[] = {
    {"extended_attrs", &Backup_Set::extended_attrs},
    {"resource_tree", &Backup_Set::resource_tree},
    {"uname", &Backup_Set::uname},
    {"lsb", &Backup_Set::lsb},
};

void write_time(YAJL_Gen& g, long long seconds) { g << POSIX_Time_To_ISO8601(seconds, TIME_FORMAT); }

}  // namespace

Backup_Set::Backup_Set(char const* catalog_module)
    : catalog_module(catalog_module ? catalog_module : ""),
      first_time(0),
      last_time(0),
      backup_start_time(0),
      backup_end_time(0),
      source_size(0),
      size(0),
      first_scn(0),
      last_scn(0) {}

Backup_Set::~Backup_Set() = default;

bool Backup_Set::generate(yajl_gen_t* gen) {
  if (!gen) {
    ACE_ERROR((LM_EMERGENCY, "Unexpected error in %N:%l, gen is NULL:\n%?\n"));
    return false;
  }
  YAJL_Gen g(gen, false);
  YAJL_Map_Guard map(gen);

  // The key order is part of the document's contract; it is not the field
  // order.
  g << key("catalog_module") << catalog_module;
  g << key("uuid") << uuid << key("name") << name;
  g << key("job_instance_uuid") << job_instance_uuid << key("definition_uuid") << definition_uuid;
  g << key("uid") << uid << key("host_uuid") << host_uuid << key("resource_uuid") << resource_uuid;
  g << key("minor_resource_id") << minor_resource_id << key("minor_resource_name") << minor_resource_name;
  g << key("agent") << agent << key("incarnation") << incarnation << key("type") << type;
  g << key("backup_start_time");
  write_time(g, backup_start_time);
  g << key("uri") << uri << key("host") << host << key("instance") << instance;
  g << key("instance_version") << instance_version;
  g << key("first_scn") << first_scn << key("last_scn") << last_scn;

  if (first_time != 0) {
    g << key("first_time");
    write_time(g, first_time);
  }
  if (last_time != 0) {
    g << key("last_time");
    write_time(g, last_time);
  }
  if (backup_end_time != 0) {
    g << key("backup_end_time");
    write_time(g, backup_end_time);
  }

  g << key("size") << size << key("source_size") << source_size;
  g << key("resource_tree") << resource_tree << key("extended_attrs") << extended_attrs;

  if (!parents.empty()) {
    g << key("parents");
    YAJL_Array_Guard array(gen);
    for (auto const& parent : parents) g << parent;
  }

  // One copy is written as an object, several as an array.
  bool written = true;
  if (storages.size() == 1) {
    g << key("storage");
    written = storages.front().generate(gen);
  } else if (storages.size() > 1) {
    g << key("storages");
    YAJL_Array_Guard array(gen);
    for (auto& storage : storages)
      if (!storage.generate(gen)) written = false;
  }

  g << key("pieces");
  {
    YAJL_Array_Guard array(gen);
    // The vector holds exactly Backup_Piece objects, so the call is bound
    // statically: a set can carry millions of pieces.
    for (auto& piece : pieces)
      if (!piece.Backup_Piece::generate(gen)) written = false;
  }

  g << key("lsb") << lsb << key("uname") << uname;

  if (!generate_i(g)) {
    ACE_ERROR((LM_ERROR, "Failed to generate backup set with agent '%s'.\n", agent.c_str()));
    return false;
  }
  // A value nested too deep or a number that is not finite leaves the text
  // broken: refuse the document rather than send it.
  if (!written || !g.ok()) {
    ACE_ERROR((LM_ERROR, "Failed to generate backup set '%s': a value cannot be written as JSON.\n", uuid.c_str()));
    return false;
  }
  return true;
}

bool Backup_Set::generate_i(YAJL_Gen&) { return true; }

void Backup_Set::add_piece(std::string const& path, unsigned long long size) {
  Backup_Piece piece;
  piece.path = path;
  piece.size = static_cast<long long>(size);
  pieces.push_back(std::move(piece));
}

void Backup_Set::add_directory_piece(std::string const& path, unsigned long long size) {
  Backup_Piece piece;
  piece.path = path;
  piece.size = static_cast<long long>(size);
  piece.object = "dir";
  pieces.push_back(std::move(piece));
}

void Backup_Set::add_piece(Backup_Piece const& piece) { pieces.push_back(piece); }

void Backup_Set::add_storage(Backup_Set_Storage const& storage) { storages.push_back(storage); }

void Backup_Set::add_storage(std::string const& pool_uuid, long long size) {
  Backup_Set_Storage storage;
  storage.pool_uuid = pool_uuid;
  storage.size = size;
  storages.push_back(std::move(storage));
}

void Backup_Set::add_storage(std::string const& pool_uuid, long long size,
                             std::map<std::string, json_spirit::Value> const& extended_attrs) {
  Backup_Set_Storage storage;
  storage.pool_uuid = pool_uuid;
  storage.size = size;
  storage.extended_attrs = extended_attrs;
  add_storage(storage);
}

bool Backup_Set::print_cstr(int, char const* key, char const* value, unsigned long long length) {
  if (!Column_Intake::accept(*this, key)) return Column_Intake::refused(key);
  if (!Column_Intake::text(*this, TEXT_COLUMNS, key, value, length))
    Column_Intake::time(*this, TIME_COLUMNS, key, value, length);
  return true;
}

bool Backup_Set::print_int(int, char const* key, long long value) {
  if (!Column_Intake::accept(*this, key)) return Column_Intake::refused(key);
  Column_Intake::integer(*this, INT_COLUMNS, key, value);
  return true;
}

bool Backup_Set::print_json(int, char const* key, json_spirit::Value const& value) {
  if (!Column_Intake::accept(*this, key)) return Column_Intake::refused(key);
  Column_Intake::object(*this, OBJECT_COLUMNS, key, value);
  return true;
}

// Catalogue reading: the columns of table "backup_set"; "parents", "storages"
// and "pieces" are not columns of it.
namespace {
char const* const SELECT_COLUMNS[] = {
    "uuid",          "name",           "job_instance_uuid", "definition_uuid",   "uid",
    "host_uuid",     "resource_uuid",  "minor_resource_id", "minor_resource_name", "agent",
    "incarnation",   "type",           "first_time",        "last_time",         "backup_start_time",
    "backup_end_time", "source_size",  "size",              "uri",               "host",
    "instance",      "instance_version", "first_scn",       "last_scn",          "resource_tree",
    "extended_attrs", "uname",         "lsb"};
}  // namespace

void Backup_Set::init_select_sql(Select_SQL& sql, char const* alias) {
  Catalog_Columns::select(sql, "backup_set", alias, SELECT_COLUMNS);
}

Backup_Set_Result_Handler Backup_Set::result_handler_(nullptr, nullptr, nullptr, 0);

database::sql::Query_Result_Handler* Backup_Set::result_handler() { return &result_handler_; }
