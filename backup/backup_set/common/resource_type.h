#ifndef BACKUP_BACKUP_SET_COMMON_RESOURCE_TYPE_H
#define BACKUP_BACKUP_SET_COMMON_RESOURCE_TYPE_H

#include <cstddef>

#include "platform/export.h"

// The kinds of resource a backup set can be made of. 5, 14 and 15 are not
// used; 0 means "no type".
enum Resource_Type {
  RESOURCE_TYPE_NONE = 0,
  RESOURCE_TYPE_STORAGE = 1,
  RESOURCE_TYPE_FILE = 2,
  RESOURCE_TYPE_DMDB = 3,
  RESOURCE_TYPE_CACHEDB = 4,
  RESOURCE_TYPE_OS = 6,
  RESOURCE_TYPE_HANA = 7,
  RESOURCE_TYPE_POSTGRES = 8,
  RESOURCE_TYPE_ORACLE = 9,
  RESOURCE_TYPE_MONGODB = 10,
  RESOURCE_TYPE_NDMP = 11,
  RESOURCE_TYPE_MYSQL = 12,
  RESOURCE_TYPE_GBASE = 13,
  RESOURCE_TYPE_KINGBASE = 16,
  RESOURCE_TYPE_DB2 = 17,
  RESOURCE_TYPE_OSCAR = 18,
  RESOURCE_TYPE_K8S = 19
};

// One row of the name table; the table ends with {nullptr, 0, 0}.
struct Resource_Type_Name {
  char const* name;
  size_t length;
  Resource_Type value;
};

// Rows ordered by how often the names are looked up, not by value.
BSET_API extern Resource_Type_Name const RESOURCE_TYPE_NAMES[];

// The name of a type, or null when the type has none.
BSET_API char const* resource_type_to_name(Resource_Type type);

// The type of an exact (case-sensitive) name; RESOURCE_TYPE_NONE for null,
// "" or an unknown name.
BSET_API Resource_Type name_to_resource_type(char const* name);

#endif
