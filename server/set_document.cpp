#include "server/set_document.h"

#include "backup/backup_set/common/backup_set_kinds.h"
#include "platform/json/json_text.h"

using json_spirit::Object;
using json_spirit::Value;

bool Set_Document::common_key(std::string const& key) { return Backup_Set_Kinds::common_key(key); }

namespace {

// Whether a value has the JSON type the kind's field writes.
bool fits(Kind_Field const& f, Value const& v) { return v.type() == f.json_type(); }

}  // namespace

Set_Document::Later_Values Set_Document::later_values(std::vector<JSON_Repeated_Key> const& repeats,
                                                      std::vector<std::string> const& path) {
  Later_Values out;
  for (JSON_Repeated_Key const& r : repeats)
    if (r.path == path) out.emplace_back(r.key, r.value);
  return out;
}

Set_Document::Set_Document(Value doc, Later_Values const& later) {
  if (doc.type() != json_spirit::obj_type) {
    common_ = std::move(doc);
    return;
  }
  Object& o = doc.get_obj();
  auto last_later = [&later](std::string const& key) -> Value const* {
    Value const* found = nullptr;
    for (auto const& l : later)
      if (l.first == key) found = &l.second;
    return found;
  };

  std::vector<std::string> keys;
  for (auto const& member : o) keys.push_back(member.first);
  auto module = o.find("catalog_module");
  std::string name = module != o.end() && module->second.type() == json_spirit::str_type ? module->second.get_str() : "";
  kind_ = Backup_Set_Kinds::find(name.c_str(), keys);

  Object common;
  for (auto& member : o) {
    std::string const& key = member.first;
    Value const* again = last_later(key);
    bool is_common = common_key(key);
    Kind_Field const* field = kind_ ? kind_->field(key.c_str()) : nullptr;
    if (!is_common) {
      application_[key] = again ? *again : std::move(member.second);
    } else if (field && again) {
      application_[key] = *again;
      common[key] = std::move(member.second);
    } else if (field && field->always_written() && fits(*field, member.second)) {
      application_[key] = std::move(member.second);
    } else {
      common[key] = std::move(member.second);
    }
  }
  common_ = Value(std::move(common));
}
