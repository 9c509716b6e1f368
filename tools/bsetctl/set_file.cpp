#include "tools/bsetctl/set_file.h"

#include <fstream>
#include <sstream>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_document.h"
#include "backup/backup_set/common/backup_set_kind.h"
#include "platform/json/json_text.h"

std::unique_ptr<Backup_Set> Set_File::load(std::string const& path, std::string const& kind, std::string& kind_class,
                                           std::string& error) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    error = path + ": cannot be read";
    return nullptr;
  }
  std::ostringstream text;
  text << in.rdbuf();
  std::string why;
  std::unique_ptr<Backup_Set> set = Backup_Set_Document::read(text.str(), kind, why);
  if (!set) {
    error = path + ": " + why;
    return nullptr;
  }
  json_spirit::Value doc;
  Backup_Set_Kind const* found = nullptr;
  JSON_Parse(text.str(), doc);
  kind_class = Backup_Set_Document::kind_of(doc, kind, found, why) && found ? found->class_name() : "Backup_Set";
  return set;
}
