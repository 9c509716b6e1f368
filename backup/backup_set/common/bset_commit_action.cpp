#include "backup/backup_set/common/bset_commit_action.h"

#include <cstring>

#define CA_ROW(text, value) {text, sizeof(text) - 1, value}

BSET_Commit_Action_Name const BSET_COMMIT_ACTION_NAMES[] = {
    CA_ROW("Initialize", BSET_COMMIT_ACTION_INITIALIZE),
    CA_ROW("AddPiece", BSET_COMMIT_ACTION_ADD_PIECE),
    CA_ROW("Complete", BSET_COMMIT_ACTION_COMPLETE),
    CA_ROW("Abort", BSET_COMMIT_ACTION_ABORT),
    {nullptr, 0, BSET_COMMIT_ACTION_NONE},
};

#undef CA_ROW

char const* commit_action_to_name(BSET_COMMIT_ACTION action) {
  BSET_Commit_Action_Name const* row = BSET_COMMIT_ACTION_NAMES;
  while (row->name && row->value != action) ++row;
  return row->name;
}

BSET_COMMIT_ACTION name_to_commit_action(char const* name) {
  if (!name || !*name) return BSET_COMMIT_ACTION_NONE;
  size_t const length = strlen(name);
  BSET_Commit_Action_Name const* row = BSET_COMMIT_ACTION_NAMES;
  while (row->name && (row->length != length || memcmp(row->name, name, length) != 0)) ++row;
  return row->value;
}
