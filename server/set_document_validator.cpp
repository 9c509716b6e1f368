#include "server/set_document_validator.h"

#include <strings.h>

#include <cctype>
#include <climits>

#include "backup/backup_set/common/backup_set_kind.h"
#include "backup/backup_set/common/backup_set_state.h"
#include "backup/backup_set/common/document_members.h"
#include "platform/json/utf8_text.h"
#include "platform/text/string_checker.h"
#include "platform/time/iso8601.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

// The library's words for JSON types, so catalogd and the document reader
// describe a wrong member alike.
char const* type_word(Value const& v) { return Document_Members::type_word(v.type()); }

bool fail(std::string& error, std::string const& name, std::string const& what) {
  error = name + ": " + what;
  return false;
}

bool is_text(Value const& v) { return v.type() == json_spirit::str_type; }

// Integers of the catalogue are signed 64-bit; an unsigned value beyond that
// cannot be stored as it was meant.
bool check_integer(Value const& v, std::string const& name, std::string& error) {
  if (v.type() != json_spirit::int_type) return fail(error, name, std::string("not an integer but ") + type_word(v));
  if (v.is_uint64() && v.get_uint64() > static_cast<unsigned long long>(LLONG_MAX))
    return fail(error, name, "out of the signed 64-bit range");
  return true;
}

bool check_text(Value const& v, std::string const& name, std::string& error) {
  if (!is_text(v)) return fail(error, name, std::string("not a string but ") + type_word(v));
  return true;
}

// An empty UUID member means "unset" (records write "" for unset strings).
// UUIDs are taken in either case.
bool same_uuid(std::string const& a, std::string const& b) {
  return a.size() == b.size() && strncasecmp(a.c_str(), b.c_str(), a.size()) == 0;
}

bool check_uuid(Value const& v, std::string const& name, bool allow_empty, std::string& error) {
  if (!check_text(v, name, error)) return false;
  std::string const& s = v.get_str();
  if (s.empty() && allow_empty) return true;
  if (!Set_Document_Validator::is_uuid(s)) return fail(error, name, "not a UUID");
  return true;
}

bool check_object(Value const& v, std::string const& name, std::string& error) {
  if (v.type() != json_spirit::obj_type) return fail(error, name, std::string("not an object but ") + type_word(v));
  return true;
}

bool check_time(Value const& v, std::string const& name, std::string& error) {
  if (!check_text(v, name, error)) return false;
  long long seconds = 0;
  if (!Set_Document_Validator::parse_time(v.get_str(), seconds))
    return fail(error, name, "not a time \"YYYY-MM-DD HH:MM:SS\"");
  return true;
}

}  // namespace

std::vector<Set_Document_Validator::Member> const& Set_Document_Validator::set_members() {
  static std::vector<Member> const members = {
      {"uuid", UUID},
      {"name", TEXT},
      {"job_instance_uuid", UUID},
      {"definition_uuid", UUID},
      {"uid", UUID},
      {"host_uuid", UUID},
      {"resource_uuid", UUID},
      {"minor_resource_id", TEXT},
      {"minor_resource_name", TEXT},
      {"agent", TEXT},
      {"incarnation", UUID},
      {"type", TEXT},
      {"first_time", TIME},
      {"last_time", TIME},
      {"backup_start_time", TIME},
      {"backup_end_time", TIME},
      {"source_size", INTEGER},
      {"size", INTEGER},
      {"uri", TEXT},
      {"host", TEXT},
      {"instance", TEXT},
      {"instance_version", TEXT},
      {"first_scn", INTEGER},
      {"last_scn", INTEGER},
      {"resource_tree", OBJECT},
      {"extended_attrs", OBJECT},
      {"uname", OBJECT},
      {"lsb", OBJECT},
  };
  return members;
}

bool Set_Document_Validator::is_uuid(std::string const& text) {
  return String_Checker::check(text, String_Checker::SC_UUID);
}

bool Set_Document_Validator::parse_time(std::string const& text, long long& seconds) {
  // The documents carry one fixed form; the parser underneath accepts more.
  static char const pattern[] = "dddd-dd-dd dd:dd:dd";
  if (text.size() != sizeof pattern - 1) return false;
  for (size_t i = 0; i < text.size(); ++i) {
    bool digit = isdigit(static_cast<unsigned char>(text[i])) != 0;
    if (pattern[i] == 'd' ? !digit : text[i] != pattern[i]) return false;
  }
  return iso8601_to_posix_time(text.c_str(), seconds);
}

bool Set_Document_Validator::known_states(Array const& names, std::string& bad) {
  for (Value const& v : names) {
    if (!is_text(v)) {
      bad = std::string("(") + type_word(v) + ")";
      return false;
    }
    std::string const& name = v.get_str();
    if (Backup_Set_State::bit_of(name.data(), name.size()) == 0) {
      bad = v.get_str();
      return false;
    }
  }
  return true;
}

bool Set_Document_Validator::validate_storage(Value const& storage, std::string const& name, std::string& error) {
  if (!check_object(storage, name, error)) return false;
  Object const& o = storage.get_obj();
  auto it = o.find("pool_uuid");
  if (it == o.end()) return fail(error, name + ".pool_uuid", "missing");
  if (!check_uuid(it->second, name + ".pool_uuid", false, error)) return false;
  it = o.find("size");
  if (it != o.end() && !check_integer(it->second, name + ".size", error)) return false;
  it = o.find("state");
  if (it != o.end()) {
    if (it->second.type() != json_spirit::array_type)
      return fail(error, name + ".state", std::string("not an array but ") + type_word(it->second));
    std::string bad;
    if (!known_states(it->second.get_array(), bad)) return fail(error, name + ".state", "unknown state " + bad);
  }
  it = o.find("upstream_pool_uuid");
  if (it != o.end() && !check_uuid(it->second, name + ".upstream_pool_uuid", true, error)) return false;
  it = o.find("extended_attrs");
  if (it != o.end() && !check_object(it->second, name + ".extended_attrs", error)) return false;
  return true;
}

bool Set_Document_Validator::validate_pieces(Value const& pieces, std::string const& name, std::string& error) {
  if (pieces.type() != json_spirit::array_type)
    return fail(error, name, std::string("not an array but ") + type_word(pieces));
  Array const& a = pieces.get_array();
  for (size_t i = 0; i < a.size(); ++i) {
    std::string item = name + "[" + std::to_string(i) + "]";
    if (!check_object(a[i], item, error)) return false;
    Object const& o = a[i].get_obj();
    auto it = o.find("path");
    if (it == o.end()) return fail(error, item + ".path", "missing");
    if (!check_text(it->second, item + ".path", error)) return false;
    if (it->second.get_str().size() > LONGEST_PATH)
      return fail(error, item + ".path", "longer than " + std::to_string(LONGEST_PATH) + " bytes");
    it = o.find("size");
    if (it == o.end()) return fail(error, item + ".size", "missing");
    if (!check_integer(it->second, item + ".size", error)) return false;
    it = o.find("object");
    if (it != o.end() && !check_text(it->second, item + ".object", error)) return false;
    it = o.find("extended_attrs");
    if (it != o.end() && !check_object(it->second, item + ".extended_attrs", error)) return false;
  }
  return true;
}

namespace {

bool text_ok(std::string const& text, std::string const& name, char const* what, std::string& error) {
  if (text.find('\0') != std::string::npos) return fail(error, name, std::string(what) + " holds a NUL character");
  if (!UTF8_Text::well_formed(text)) return fail(error, name, std::string(what) + " is not well-formed UTF-8");
  return true;
}

bool tree_ok(Value const& v, std::string const& name, int depth, bool& too_deep, std::string& error) {
  switch (v.type()) {
    case json_spirit::str_type: return text_ok(v.get_str(), name, "the text", error);
    case json_spirit::obj_type:
    case json_spirit::array_type:
      if (depth >= Set_Document_Validator::DEEPEST) {
        too_deep = true;
        error = "Parse error: nested deeper than " + std::to_string(Set_Document_Validator::DEEPEST) + " levels";
        return false;
      }
      if (v.type() == json_spirit::array_type) {
        Array const& a = v.get_array();
        for (size_t i = 0; i < a.size(); ++i)
          if (!tree_ok(a[i], name + "[" + std::to_string(i) + "]", depth + 1, too_deep, error)) return false;
        return true;
      }
      for (auto const& member : v.get_obj()) {
        if (!text_ok(member.first, name.empty() ? "document" : name, "a key", error)) return false;
        std::string inner = name.empty() ? member.first : name + "." + member.first;
        if (!tree_ok(member.second, inner, depth + 1, too_deep, error)) return false;
      }
      return true;
    default: return true;
  }
}

}  // namespace

bool Set_Document_Validator::validate_tree(Value const& value, std::string const& name, bool& too_deep,
                                           std::string& error) {
  too_deep = false;
  return tree_ok(value, name, 0, too_deep, error);
}

bool Set_Document_Validator::validate_set(Value const& doc, bool require_uuid, std::string& error) {
  if (doc.type() != json_spirit::obj_type) {
    error = std::string("document: not an object but ") + type_word(doc);
    return false;
  }
  Object const& o = doc.get_obj();
  auto it = o.find("uuid");
  if (it == o.end()) {
    if (require_uuid) return fail(error, "uuid", "missing");
  } else if (!check_uuid(it->second, "uuid", false, error)) {
    return false;
  }
  it = o.find("catalog_module");
  if (it != o.end() && !check_text(it->second, "catalog_module", error)) return false;
  for (Member const& m : set_members()) {
    if (m.kind == UUID && std::string(m.key) == "uuid") continue;
    it = o.find(m.key);
    if (it == o.end()) continue;
    bool ok = true;
    switch (m.kind) {
      case TEXT:
        ok = check_text(it->second, m.key, error);
        if (ok && it->second.get_str().size() > LONGEST_TEXT)
          ok = fail(error, m.key, "longer than " + std::to_string(LONGEST_TEXT) + " bytes");
        break;
      case UUID: ok = check_uuid(it->second, m.key, true, error); break;
      case TIME: ok = check_time(it->second, m.key, error); break;
      case INTEGER: ok = check_integer(it->second, m.key, error); break;
      case OBJECT: ok = check_object(it->second, m.key, error); break;
    }
    if (!ok) return false;
  }
  it = o.find("parents");
  if (it != o.end()) {
    if (it->second.type() != json_spirit::array_type)
      return fail(error, "parents", std::string("not an array but ") + type_word(it->second));
    Array const& a = it->second.get_array();
    for (size_t i = 0; i < a.size(); ++i)
      if (!check_uuid(a[i], "parents[" + std::to_string(i) + "]", false, error)) return false;
  }
  auto one = o.find("storage");
  auto many = o.find("storages");
  if (one != o.end() && many != o.end()) return fail(error, "storages", "given together with \"storage\"");
  if (one != o.end() && !validate_storage(one->second, "storage", error)) return false;
  if (many != o.end()) {
    if (many->second.type() != json_spirit::array_type)
      return fail(error, "storages", std::string("not an array but ") + type_word(many->second));
    Array const& a = many->second.get_array();
    for (size_t i = 0; i < a.size(); ++i)
      if (!validate_storage(a[i], "storages[" + std::to_string(i) + "]", error)) return false;
    // A set has one copy per pool; a second would replace the first.
    for (size_t i = 1; i < a.size(); ++i)
      for (size_t j = 0; j < i; ++j)
        if (same_uuid(a[i].get_obj().at("pool_uuid").get_str(), a[j].get_obj().at("pool_uuid").get_str()))
          return fail(error, "storages[" + std::to_string(i) + "].pool_uuid",
                      "names the pool of storages[" + std::to_string(j) + "] again");
  }
  it = o.find("pieces");
  if (it != o.end() && !validate_pieces(it->second, "pieces", error)) return false;
  return true;
}

namespace {

// An integer within [low, high]; unsigned values beyond the signed range
// only where `high` allows them.
bool check_range(Value const& v, std::string const& name, long long low, unsigned long long high, char const* what,
                 std::string& error) {
  if (v.type() != json_spirit::int_type) return fail(error, name, std::string("not ") + what + " but " + type_word(v));
  bool ok = v.is_uint64() ? v.get_uint64() <= high
                          : v.get_int64() >= low && (v.get_int64() < 0 || static_cast<unsigned long long>(v.get_int64()) <= high);
  if (!ok) return fail(error, name, std::string("not ") + what);
  return true;
}

}  // namespace

bool Set_Document_Validator::validate_application(Backup_Set_Kind const* kind, Object const& application,
                                                  std::string& error) {
  if (!kind) return true;
  for (auto const& member : application) {
    Kind_Field const* f = kind->field(member.first.c_str());
    if (!f) continue;
    Value const& v = member.second;
    std::string const& name = member.first;
    bool ok = true;
    switch (f->type) {
      case Kind_Field::TEXT: ok = check_text(v, name, error); break;
      case Kind_Field::U32:
        // One written by the signed writer may come negative.
        if (f->flags & Kind_Field::AS_I32)
          ok = check_range(v, name, INT_MIN, 4294967295ULL, "a 32-bit integer", error);
        else
          ok = check_range(v, name, 0, 4294967295ULL, "an unsigned 32-bit integer", error);
        break;
      case Kind_Field::I32:
        ok = check_range(v, name, INT_MIN, static_cast<unsigned long long>(INT_MAX), "a 32-bit integer", error);
        break;
      case Kind_Field::I64:
        ok = check_range(v, name, LLONG_MIN, static_cast<unsigned long long>(LLONG_MAX), "a 64-bit integer", error);
        break;
      case Kind_Field::U64: ok = check_range(v, name, 0, ULLONG_MAX, "an unsigned 64-bit integer", error); break;
      case Kind_Field::BOOL:
        if (v.type() != json_spirit::bool_type) ok = fail(error, name, std::string("not a boolean but ") + type_word(v));
        break;
      case Kind_Field::TIME: ok = check_time(v, name, error); break;
      case Kind_Field::ARRAY:
      case Kind_Field::OBJECT:
      case Kind_Field::CUSTOM:
        if (v.type() != f->json_type())
          ok = fail(error, name,
                    std::string(f->json_type() == json_spirit::obj_type ? "not an object but " : "not an array but ") +
                        type_word(v));
        break;
    }
    if (!ok) return false;
  }
  return true;
}
