#ifndef BACKUP_BACKUP_SET_COMMON_BACKUP_SET_STORAGE_SELECTOR_H
#define BACKUP_BACKUP_SET_COMMON_BACKUP_SET_STORAGE_SELECTOR_H

#include <string>
#include <vector>

#include "platform/export.h"
#include "platform/json/value.h"

// Picks, among the storage copies of one backup set (as JSON objects with
// "pool_uuid", "state" names and optionally "upstream_pool_uuid"), the pool
// to read the set from.
class BSET_API Backup_Set_Storage_Selector {
 public:
  // Fixed to int so that any mode a caller passes is a value of the type
  // (an unknown one is refused in words, not undefined).
  enum MODE : int { MODE_SOURCE_POOL = 1 };

  // Chooses at once; an unknown mode is logged and chooses nothing.
  Backup_Set_Storage_Selector(std::vector<json_spirit::Value> const& storages, MODE mode);

  // The chosen pool, "" when no copy qualifies.
  std::string const& pool_uuid() const { return pool_uuid_; }

  // Preference: the first online primary copy, else the last online
  // non-virtual replica, else the last primary copy that is not online.
  void get_source_pool(std::vector<json_spirit::Value> const& storages);

 private:
  std::string pool_uuid_;
};

#endif
