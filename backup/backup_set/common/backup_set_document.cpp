#include "backup/backup_set/common/backup_set_document.h"

#include <strings.h>

#include <map>

#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/backup_set_state.h"
#include "backup/backup_set/common/document_members.h"
#include "platform/json/json_text.h"

using json_spirit::Object;
using json_spirit::Value;

namespace {

bool fail(std::string& error, std::string const& name, std::string const& what) {
  return Document_Members::fail(error, name, what);
}

bool read_piece(Value const& v, std::string const& name, Backup_Piece& piece, std::string& error) {
  Document_Members m(v, name, error);
  m.take("path", piece.path).take("object", piece.object).take("size", piece.size);
  m.take("extended_attrs", piece.extended_attrs);
  return m.done();
}

// State names, each a known one: a name the record has no bit for would be
// lost on writing.
bool read_state(Value const& v, std::string const& name, Backup_Set_State& state, std::string& error) {
  unsigned long long bits = 0;
  bool ok = Document_Members::each(v, name, error, [&](Value const& item, std::string const& at) {
    std::string text;
    if (!Document_Members::read(item, at, text, error)) return false;
    unsigned long long const bit = Backup_Set_State::bit_of(text.data(), text.size());
    if (bit == 0) return fail(error, at, "\"" + text + "\" is not a state of a storage copy");
    bits |= bit;
    return true;
  });
  if (ok) state = Backup_Set_State(bits);
  return ok;
}

bool read_storage(Value const& v, std::string const& name, Backup_Set_Storage& storage, std::string& error) {
  Document_Members m(v, name, error);
  m.take("pool_uuid", storage.pool_uuid).take("size", storage.size);
  m.take_by("state", [&](Value const& s, std::string const& at) { return read_state(s, at, storage.state, error); });
  m.take("upstream_pool_uuid", storage.upstream_pool_uuid).take("extended_attrs", storage.extended_attrs);
  return m.done();
}

// Every key Backup_Set::generate writes.
bool read_common(Object const& common, Backup_Set& set, std::string& error) {
  if (common.count("storage") && common.count("storages"))
    return fail(error, "storages", "given together with \"storage\"");
  Document_Members m(common, "", error);
  std::string module;  // checked against the kind before
  m.take("catalog_module", module).take("uuid", set.uuid).take("name", set.name);
  m.take("job_instance_uuid", set.job_instance_uuid).take("definition_uuid", set.definition_uuid);
  m.take("uid", set.uid).take("host_uuid", set.host_uuid).take("resource_uuid", set.resource_uuid);
  m.take("minor_resource_id", set.minor_resource_id).take("minor_resource_name", set.minor_resource_name);
  m.take("agent", set.agent).take("incarnation", set.incarnation).take("type", set.type);
  m.take_time("backup_start_time", set.backup_start_time);
  m.take("uri", set.uri).take("host", set.host).take("instance", set.instance);
  m.take("instance_version", set.instance_version);
  m.take("first_scn", set.first_scn).take("last_scn", set.last_scn);
  m.take_time("first_time", set.first_time).take_time("last_time", set.last_time);
  m.take_time("backup_end_time", set.backup_end_time);
  m.take("size", set.size).take("source_size", set.source_size);
  m.take("resource_tree", set.resource_tree).take("extended_attrs", set.extended_attrs);
  m.take_by("parents", [&](Value const& v, std::string const& name) {
    return Document_Members::each(v, name, error, [&](Value const& item, std::string const& at) {
      std::string parent;
      if (!Document_Members::read(item, at, parent, error)) return false;
      set.parents.push_back(std::move(parent));
      return true;
    });
  });
  m.take_by("storage", [&](Value const& v, std::string const& name) {
    Backup_Set_Storage storage;
    if (!read_storage(v, name, storage, error)) return false;
    set.storages.push_back(std::move(storage));
    return true;
  });
  m.take_by("storages", [&](Value const& v, std::string const& name) {
    return Document_Members::each(v, name, error, [&](Value const& item, std::string const& at) {
      Backup_Set_Storage storage;
      if (!read_storage(item, at, storage, error)) return false;
      set.storages.push_back(std::move(storage));
      return true;
    });
  });
  m.take_by("pieces", [&](Value const& v, std::string const& name) {
    if (v.type() == json_spirit::array_type) set.pieces.reserve(v.get_array().size());
    return Document_Members::each(v, name, error, [&](Value const& item, std::string const& at) {
      set.pieces.emplace_back();
      return read_piece(item, at, set.pieces.back(), error);
    });
  });
  m.take("lsb", set.lsb).take("uname", set.uname);
  return m.done();
}

// The name of a repeated key inside the document, "pieces[2].path" style:
// the path is walked through the document to tell indices from keys.
std::string repeat_name(Value const& doc, JSON_Repeated_Key const& r) {
  std::string name;
  Value const* at = &doc;
  for (std::string const& step : r.path) {
    if (at && at->type() == json_spirit::array_type) {
      name += "[" + step + "]";
      size_t const i = std::stoul(step);
      at = i < at->get_array().size() ? &at->get_array()[i] : nullptr;
    } else {
      name = Document_Members::member_name(name, step);
      Value const* next = nullptr;
      if (at && at->type() == json_spirit::obj_type) {
        auto it = at->get_obj().find(step);
        if (it != at->get_obj().end()) next = &it->second;
      }
      at = next;
    }
  }
  return Document_Members::member_name(name, r.key);
}

}  // namespace

Backup_Set_Kind const* Backup_Set_Document::kind_of(Object const& doc) {
  std::vector<std::string> keys;
  keys.reserve(doc.size());
  for (auto const& member : doc) keys.push_back(member.first);
  auto module = doc.find("catalog_module");
  std::string const name =
      module != doc.end() && module->second.type() == json_spirit::str_type ? module->second.get_str() : "";
  return Backup_Set_Kinds::find(name.c_str(), keys);
}

bool Backup_Set_Document::kind_of(Value const& doc, std::string const& kind, Backup_Set_Kind const*& found,
                                  std::string& error) {
  if (!kind.empty()) {
    if (strcasecmp(kind.c_str(), "Backup_Set") == 0) {
      found = nullptr;
      return true;
    }
    for (Backup_Set_Kind const* k : Backup_Set_Kinds::all()) {
      bool const by_module = *k->module() && strcasecmp(kind.c_str(), k->module()) == 0;
      if (by_module || strcasecmp(kind.c_str(), k->class_name()) == 0) {
        found = k;
        return true;
      }
    }
    return fail(error, "kind \"" + kind + "\"", "no kind of set has that class or module name");
  }
  if (!Document_Members::is(doc, json_spirit::obj_type, "document", error)) return false;
  Object const& o = doc.get_obj();
  auto module = o.find("catalog_module");
  if (module != o.end()) {
    std::string name;
    if (!Document_Members::read(module->second, "catalog_module", name, error)) return false;
    if (!name.empty() && !Backup_Set_Kinds::find(name.c_str()))
      return fail(error, "catalog_module", "no kind of set has the module \"" + name + "\"");
  }
  found = kind_of(o);
  return true;
}

std::unique_ptr<Backup_Set> Backup_Set_Document::read(std::string const& text, std::string const& kind,
                                                      std::string& error) {
  Value doc;
  std::string why;
  std::vector<JSON_Repeated_Key> repeats;
  if (!JSON_Parse(text.data(), text.size(), doc, &why, &repeats)) {
    fail(error, "document", "not JSON: " + why);
    return nullptr;
  }
  Later_Values later;
  for (JSON_Repeated_Key& r : repeats) {
    // Only the top of the document holds keys written twice on purpose.
    if (!r.path.empty()) {
      fail(error, repeat_name(doc, r), "given twice");
      return nullptr;
    }
    later.emplace_back(r.key, std::move(r.value));
  }
  return read(doc, later, kind, error);
}

std::unique_ptr<Backup_Set> Backup_Set_Document::read(Value const& doc, std::string const& kind, std::string& error) {
  return read(doc, Later_Values(), kind, error);
}

std::unique_ptr<Backup_Set> Backup_Set_Document::read(Value const& doc, Later_Values const& later,
                                                      std::string const& kind, std::string& error) {
  if (!Document_Members::is(doc, json_spirit::obj_type, "document", error)) return nullptr;
  Backup_Set_Kind const* found = nullptr;
  if (!kind_of(doc, kind, found, error)) return nullptr;
  Object const& o = doc.get_obj();

  // A record writes its own kind's module: a document of another module
  // would not come back as it was.
  std::string const expected = found ? found->module() : "";
  auto module = o.find("catalog_module");
  if (module != o.end()) {
    std::string name;
    if (!Document_Members::read(module->second, "catalog_module", name, error)) return nullptr;
    if (name != expected) {
      fail(error, "catalog_module",
           "\"" + name + "\" is not the module of " + (found ? found->class_name() : "a plain set") + " (\"" +
               expected + "\")");
      return nullptr;
    }
  }

  // A key may come twice only where the kind writes a key the common part
  // writes too, and then twice at most.
  std::map<std::string, int> repeated;
  for (auto const& l : later) {
    bool const shared = found && found->field(l.first.c_str()) && Backup_Set_Kinds::common_key(l.first);
    if (!shared) {
      fail(error, l.first, "given twice");
      return nullptr;
    }
    if (++repeated[l.first] > 1) {
      fail(error, l.first, "given more than twice");
      return nullptr;
    }
  }

  Object members = o;
  Object common, application;
  split(members, found, later, common, application);

  std::unique_ptr<Backup_Set> set =
      found ? Backup_Set_Kinds::create(*found) : std::unique_ptr<Backup_Set>(new Backup_Set(""));
  if (!set) {
    fail(error, found->class_name(), "no record can be made of this kind");
    return nullptr;
  }
  if (!read_common(common, *set, error)) return nullptr;
  for (auto const& member : application) {
    if (!found) {
      fail(error, member.first, "a key the common part does not write, and no kind of set fits the document");
      return nullptr;
    }
    if (!found->read(*set, member.first, member.second, error)) return nullptr;
  }
  return set;
}

void Backup_Set_Document::split(Object& doc, Backup_Set_Kind const* kind, Later_Values const& later, Object& common,
                                Object& application) {
  auto last_later = [&later](std::string const& key) -> Value const* {
    Value const* found = nullptr;
    for (auto const& l : later)
      if (l.first == key) found = &l.second;
    return found;
  };
  for (auto& member : doc) {
    std::string const& key = member.first;
    Value const* again = last_later(key);
    bool const is_common = Backup_Set_Kinds::common_key(key);
    Kind_Field const* field = kind ? kind->field(key.c_str()) : nullptr;
    if (!is_common) {
      application[key] = again ? *again : std::move(member.second);
    } else if (field && again) {
      application[key] = *again;
      common[key] = std::move(member.second);
    } else if (field && field->always_written() && member.second.type() == field->json_type()) {
      application[key] = std::move(member.second);
    } else {
      common[key] = std::move(member.second);
    }
  }
  doc.clear();
}
