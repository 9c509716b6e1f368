#ifndef BACKUP_BACKUP_SET_COMMON_BACKUP_SET_KINDS_H
#define BACKUP_BACKUP_SET_COMMON_BACKUP_SET_KINDS_H

#include <vector>

#include "backup/backup_set/common/backup_set_kind.h"
#include "platform/export.h"
#include "platform/json/value.h"

// Every application kind the library knows, for code that meets a set only
// as a document (catalogd, command-line tools).
class BSET_API Backup_Set_Kinds {
 public:
  static std::vector<Backup_Set_Kind const*> const& all();

  // The kind of a document from its module name and keys. A named module
  // is that kind's (null when no kind has the name: a plain set). Several
  // kinds use the empty module name; among them the document is the first
  // kind's that writes every key the document carries beyond the common
  // ones and whose always-written keys are all there. `keys` are the
  // document's keys beyond the common ones.
  static Backup_Set_Kind const* find(char const* module, std::vector<std::string> const& keys);
  // The kind of a named module, or null (also for "").
  static Backup_Set_Kind const* find(char const* module);
};

#endif
