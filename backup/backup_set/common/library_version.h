#ifndef BACKUP_BACKUP_SET_COMMON_LIBRARY_VERSION_H
#define BACKUP_BACKUP_SET_COMMON_LIBRARY_VERSION_H

#include "platform/export.h"

// The library's version, for logs and the tools' --version.
BSET_API char const* backupset_version();

#endif
