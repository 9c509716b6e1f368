#include "backup/backup_set/common/library_version.h"

// The top CMakeLists.txt's project version is the only copy of the number.
#ifndef BSET_VERSION
#error "BSET_VERSION must be defined by the build"
#endif

char const* backupset_version() { return BSET_VERSION; }
