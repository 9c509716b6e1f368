#include "backup/backup_set/common/resource_type.h"

#include <cstring>

#define RT_ROW(text, value) {text, sizeof(text) - 1, value}

Resource_Type_Name const RESOURCE_TYPE_NAMES[] = {
    RT_ROW("storage", RESOURCE_TYPE_STORAGE),
    RT_ROW("file", RESOURCE_TYPE_FILE),
    RT_ROW("dmdb", RESOURCE_TYPE_DMDB),
    RT_ROW("postgres", RESOURCE_TYPE_POSTGRES),
    RT_ROW("cachedb", RESOURCE_TYPE_CACHEDB),
    RT_ROW("mongodb", RESOURCE_TYPE_MONGODB),
    RT_ROW("mysql", RESOURCE_TYPE_MYSQL),
    RT_ROW("gbase", RESOURCE_TYPE_GBASE),
    RT_ROW("os", RESOURCE_TYPE_OS),
    RT_ROW("hana", RESOURCE_TYPE_HANA),
    RT_ROW("oracle", RESOURCE_TYPE_ORACLE),
    RT_ROW("ndmp", RESOURCE_TYPE_NDMP),
    RT_ROW("kingbase", RESOURCE_TYPE_KINGBASE),
    RT_ROW("db2", RESOURCE_TYPE_DB2),
    RT_ROW("oscar", RESOURCE_TYPE_OSCAR),
    RT_ROW("k8s", RESOURCE_TYPE_K8S),
    {nullptr, 0, RESOURCE_TYPE_NONE},
};

#undef RT_ROW

// Both look-ups scan to the terminating row; a miss returns that row's null
// name or zero value.
char const* resource_type_to_name(Resource_Type type) {
  Resource_Type_Name const* row = RESOURCE_TYPE_NAMES;
  while (row->name && row->value != type) ++row;
  return row->name;
}

Resource_Type name_to_resource_type(char const* name) {
  if (!name || !*name) return RESOURCE_TYPE_NONE;
  size_t const length = strlen(name);
  Resource_Type_Name const* row = RESOURCE_TYPE_NAMES;
  while (row->name && (row->length != length || memcmp(row->name, name, length) != 0)) ++row;
  return row->value;
}
