#ifndef BACKUP_BACKUP_SET_COMMON_BSET_COMMIT_ACTION_H
#define BACKUP_BACKUP_SET_COMMON_BSET_COMMIT_ACTION_H

#include <cstddef>

#include "platform/export.h"

// The steps of committing a set piece by piece; 0 means "no action".
enum BSET_COMMIT_ACTION {
  BSET_COMMIT_ACTION_NONE = 0,
  BSET_COMMIT_ACTION_INITIALIZE = 1,
  BSET_COMMIT_ACTION_ADD_PIECE = 2,
  BSET_COMMIT_ACTION_COMPLETE = 3,
  BSET_COMMIT_ACTION_ABORT = 4
};

// One row of the name table; the table ends with {nullptr, 0, 0}.
struct BSET_Commit_Action_Name {
  char const* name;
  size_t length;
  BSET_COMMIT_ACTION value;
};

BSET_API extern BSET_Commit_Action_Name const BSET_COMMIT_ACTION_NAMES[];

// The name of an action ("Initialize", "AddPiece", ...), or null.
BSET_API char const* commit_action_to_name(BSET_COMMIT_ACTION action);

// The action of an exact (case-sensitive) name; BSET_COMMIT_ACTION_NONE for
// null, "" or an unknown name.
BSET_API BSET_COMMIT_ACTION name_to_commit_action(char const* name);

#endif
