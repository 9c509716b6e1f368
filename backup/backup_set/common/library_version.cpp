#include "backup/backup_set/common/library_version.h"

char const* backupset_version() { return "0.1.0"; }
