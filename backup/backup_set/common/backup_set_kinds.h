#ifndef BACKUP_BACKUP_SET_COMMON_BACKUP_SET_KINDS_H
#define BACKUP_BACKUP_SET_COMMON_BACKUP_SET_KINDS_H

#include <memory>
#include <string>
#include <vector>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kind.h"
#include "platform/export.h"
#include "platform/json/value.h"

// Every application kind the library knows, for code that meets a set only
// as a document (catalogd, command-line tools).
class BSET_API Backup_Set_Kinds {
 public:
  static std::vector<Backup_Set_Kind const*> const& all();
  // A fresh record of the kind (the class whose generate writes its
  // documents); null for a kind not in all().
  static std::unique_ptr<Backup_Set> create(Backup_Set_Kind const& kind);

  // The kind of a document from its module name and its keys. A named
  // module is that kind's (null when no kind has the name). Several kinds
  // use the empty module name; among them the document is the first kind's
  // that knows every key of the document beyond the common ones (there must
  // be one at least) and whose always-written keys are all there.
  static Backup_Set_Kind const* find(char const* module, std::vector<std::string> const& keys);
  // Whether Backup_Set itself writes `key` (then it is no kind's own,
  // unless the kind writes it too).
  static bool common_key(std::string const& key);
  // The kind of a named module, or null (also for "").
  static Backup_Set_Kind const* find(char const* module);
};

#endif
