#include "server/set_document.h"

#include "backup/backup_set/common/backup_set_document.h"
#include "backup/backup_set/common/backup_set_kinds.h"
#include "platform/json/json_text.h"

using json_spirit::Object;
using json_spirit::Value;

bool Set_Document::common_key(std::string const& key) { return Backup_Set_Kinds::common_key(key); }

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
  kind_ = Backup_Set_Document::kind_of(o);
  Object common;
  Backup_Set_Document::split(o, kind_, later, common, application_);
  common_ = Value(std::move(common));
}
