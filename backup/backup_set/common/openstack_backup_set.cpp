#include "backup/backup_set/common/openstack_backup_set.h"

#include <exception>

#include <ace/Log_Msg.h>

#include "backup/backup_set/common/column_intake.h"
#include "platform/json/object_lookup.h"
#include "platform/sql/select_sql.h"
#include "platform/sql/string_template.h"
#include "platform/time/iso8601.h"

namespace {

void select_with_default_alias(Select_SQL& sql, char const* alias) {
  OpenStack_Backup_Set::init_select_sql(sql, "o", alias);
}

// A time text of the loaded document into `field`; an empty text is
// refused before the parser sees it.
bool load_time(std::string const& text, long long& field) {
  if (text.empty()) {
    ACE_ERROR((LM_ERROR, "Failed to convert str to time, 'time_str' is empty.\n"));
    return false;
  }
  return iso8601_to_posix_time(text.c_str(), field);
}

template <typename Piece, typename Pieces>
std::vector<Piece*> pieces_of(Pieces& pieces, std::string const& object) {
  std::vector<Piece*> out;
  for (auto& p : pieces)
    if (p.object == object) out.push_back(&p);
  return out;
}

template <typename Piece, typename Pieces>
Piece* first_piece_of(Pieces& pieces, std::string const& object) {
  for (auto& p : pieces)
    if (p.object == object) return &p;
  return nullptr;
}

}  // namespace

Backup_Set_Kind const& OpenStack_Backup_Set::kind() {
  typedef OpenStack_Backup_Set K;
  unsigned const COLUMN = Kind_Field::COLUMN;
  unsigned const SET = Kind_Field::COLUMN | Kind_Field::OMIT_EMPTY;
  static Kind_Field const fields[] = {
      {"vm_id", &K::vm_id, COLUMN},
      {"vm_name", &K::vm_name, COLUMN},
      // The member table's key column: catalogd fills it with the set's uuid.
      {"set_uuid", &K::set_uuid, COLUMN},
      {"backup_uuid", &K::backup_uuid, COLUMN},
      {"profile", &K::profile, COLUMN},
      {"volumes", &K::volumes, COLUMN},
      {"last_backup_uuid", &K::last_backup_uuid, SET},
      {"last_full_backup_uuid", &K::last_full_backup_uuid, SET},
  };
  static char const* const column_order[] = {"set_uuid",         "vm_id",    "vm_name",  "backup_uuid",
                                             "last_backup_uuid", "last_full_backup_uuid", "profile", "volumes",
                                             nullptr};
  static Backup_Set_Kind const kind =
      Backup_Set_Kind("OpenStack_Backup_Set", "openstack", Backup_Set_Kind::JOIN, "openstack_backup_set", "o", fields,
                      column_order)
          .own_select(select_with_default_alias);
  return kind;
}

OpenStack_Backup_Set::OpenStack_Backup_Set() : Backup_Set("openstack") {}
OpenStack_Backup_Set::~OpenStack_Backup_Set() = default;

void OpenStack_Backup_Set::init_select_sql(Select_SQL& select, char const* alias, char const* base_alias) {
  Backup_Set::init_select_sql(select, base_alias);
  String_Template t("", "{{", "}}", 0);
  t("b", base_alias)("o", alias);
  std::string text;
  for (Kind_Field const* f : kind().columns()) {
    t(std::string("{{o}}.") + f->key);
    t.str(text);
    select.add_key(text, f->key);
  }
  t("{{o}}.set_uuid={{b}}.uuid");
  t.str(text);
  select.join("openstack_backup_set", alias, text);
}

bool OpenStack_Backup_Set::print_cstr(int index, char const* key, char const* value, unsigned long long length) {
  if (!key || !*key) return Column_Intake::refused(key);
  if (tokens().empty()) kind().take_cstr(*this, key, value, length);
  return Backup_Set::print_cstr(index, key, value, length);
}

bool OpenStack_Backup_Set::print_json(int index, char const* key, json_spirit::Value const& value) {
  if (!key || !*key) {
    Column_Intake::refused(key);
    return true;  // unlike print_cstr, on purpose
  }
  if (tokens().empty()) kind().take_json(*this, key, value);
  return Backup_Set::print_json(index, key, value);
}

bool OpenStack_Backup_Set::generate_i(YAJL_Gen& gen) { return kind().generate(*this, gen); }

bool OpenStack_Backup_Set::operator<<(std::map<std::string, json_spirit::Value> const& obj) {
  using namespace json_spirit;
  try {
    uuid = object_get_str_or_throw(obj, "uuid");
    name = object_get_str_or_throw(obj, "name");
    definition_uuid = object_get_str_or_throw(obj, "definition_uuid");
    job_instance_uuid = object_get_str_or_throw(obj, "job_instance_uuid");
    uid = object_get_str_or_throw(obj, "uid");
    host_uuid = object_get_str_or_throw(obj, "host_uuid");
    resource_uuid = object_get_str_or_throw(obj, "resource_uuid");
    minor_resource_id = object_get_str_or_throw(obj, "minor_resource_id");
    minor_resource_name = object_get_str_or_throw(obj, "minor_resource_name");
    agent = object_get_str_or_throw(obj, "agent");
    incarnation = object_get_str_or_throw(obj, "incarnation");
    type = object_get_str_or_throw(obj, "type");

    std::string first_text, last_text, start_text, end_text;
    bool const has_first = object_get_str(obj, "first_time", first_text);
    bool const has_last = object_get_str(obj, "last_time", last_text);
    start_text = object_get_str_or_throw(obj, "backup_start_time");
    bool const has_end = object_get_str(obj, "backup_end_time", end_text);

    source_size = object_get_int64_or_throw(obj, "source_size");
    size = object_get_int64_or_throw(obj, "size");
    uri = object_get_str_or_throw(obj, "uri");
    host = object_get_str_or_throw(obj, "host");
    instance = object_get_str_or_throw(obj, "instance");
    instance_version = object_get_str_or_throw(obj, "instance_version");
    first_scn = object_get_int64_or_throw(obj, "first_scn");
    last_scn = object_get_int64_or_throw(obj, "last_scn");
    resource_tree = object_get_object_or_throw(obj, "resource_tree");
    extended_attrs = object_get_object_or_throw(obj, "extended_attrs");
    Array const& storage_values = object_get_array_or_throw(obj, "storages");
    Array const& piece_values = object_get_array_or_throw(obj, "pieces");
    vm_id = object_get_str_or_throw(obj, "vm_id");
    vm_name = object_get_str_or_throw(obj, "vm_name");
    backup_uuid = object_get_str_or_throw(obj, "backup_uuid");
    set_uuid = object_get_str_or_throw(obj, "set_uuid");
    profile = object_get_object_or_throw(obj, "profile");
    volumes = object_get_array_or_throw(obj, "volumes");

    // Every present time is converted before the verdict.
    bool times = true;
    if (has_first) times = load_time(first_text, first_time) && times;
    if (has_last) times = load_time(last_text, last_time) && times;
    times = load_time(start_text, backup_start_time) && times;
    if (has_end) times = load_time(end_text, backup_end_time) && times;
    if (!times) {
      ACE_ERROR((LM_ERROR, "Failed to load OpenStack backup set, invalid time format.\n"));
      return false;
    }

    for (Value const& v : piece_values) {
      Object const& p = v.get_obj();
      Backup_Piece piece;
      piece.path = object_get_str_or_throw(p, "path");
      piece.size = static_cast<long long>(object_get_uint64_or_throw(p, "size"));
      piece.object = object_get_str_or_throw(p, "object");
      object_get_object(p, "extended_attrs", piece.extended_attrs);
      pieces.push_back(piece);
    }

    for (Value const& v : storage_values) {
      Object const& s = v.get_obj();
      Backup_Set_Storage storage;
      storage.pool_uuid = object_get_str_or_throw(s, "pool_uuid");
      storage.size = object_get_int64_or_throw(s, "size");
      std::vector<std::string> names;
      for (Value const& j : object_get_array_or_throw(s, "state")) {
        if (j.type() != str_type) {
          ACE_ERROR((LM_EMERGENCY,
                     "Unexpected error in backup/backup_set/common/openstack_backup_set:%d, j is not string!\n",
                     __LINE__));
          return false;
        }
        names.push_back(j.get_str());
      }
      storage.state = Backup_Set_State(names);
      storages.push_back(storage);
    }

    object_get_str(obj, "last_full_backup_uuid", last_full_backup_uuid);
    object_get_str(obj, "last_backup_uuid", last_backup_uuid);
    return true;
  } catch (std::exception const& e) {
    ACE_ERROR((LM_ERROR, "Failed to load OpenStack backup set, Unexpected exception occurred while load json str err %s\n",
               e.what()));
    return false;
  }
}

std::vector<Backup_Piece*> OpenStack_Backup_Set::get_pieces(std::string const& object) {
  return pieces_of<Backup_Piece>(pieces, object);
}

std::vector<Backup_Piece const*> OpenStack_Backup_Set::get_pieces(std::string const& object) const {
  return pieces_of<Backup_Piece const>(pieces, object);
}

Backup_Piece* OpenStack_Backup_Set::get_piece(std::string const& object) {
  return first_piece_of<Backup_Piece>(pieces, object);
}

Backup_Piece const* OpenStack_Backup_Set::get_piece(std::string const& object) const {
  return first_piece_of<Backup_Piece const>(pieces, object);
}
