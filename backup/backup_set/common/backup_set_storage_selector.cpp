#include "backup/backup_set/common/backup_set_storage_selector.h"

#include <ace/Log_Msg.h>

#include "backup/backup_set/common/backup_set_state.h"
#include "platform/json/object_lookup.h"

Backup_Set_Storage_Selector::Backup_Set_Storage_Selector(std::vector<json_spirit::Value> const& storages, MODE mode) {
  if (mode == MODE_SOURCE_POOL) {
    get_source_pool(storages);
    return;
  }
  ACE_ERROR((LM_ERROR, "Unknown mode '%d' to select backup set.\n", static_cast<int>(mode)));
}

void Backup_Set_Storage_Selector::get_source_pool(std::vector<json_spirit::Value> const& storages) {
  std::string replicated;
  std::string fallback;
  std::string pool;
  for (auto const& element : storages) {
    if (element.type() != json_spirit::obj_type) continue;
    json_spirit::Object const& storage = element.get_obj();

    pool.clear();
    json_spirit::object_get_str(storage, "pool_uuid", pool);

    json_spirit::Value const* names = json_spirit::object_find(storage, "state", json_spirit::array_type);
    if (!names) continue;
    Backup_Set_State const state(names->get_array());
    bool const online = state.get_bit(Backup_Set_State::ONLINE);
    bool const is_virtual = state.get_bit(Backup_Set_State::VIRTUAL);

    json_spirit::Value const* upstream = json_spirit::object_find(storage, "upstream_pool_uuid", json_spirit::str_type);
    if (upstream && !upstream->get_str().empty()) {
      // A replica counts only while it is online and holds real data.
      if (online && !is_virtual) {
        ACE_DEBUG((LM_DEBUG, "Hit online replicated pool(%s).\n", pool.c_str()));
        replicated = pool;
      }
      continue;
    }
    if (online) {
      pool_uuid_ = pool;
      return;
    }
    fallback = pool;
  }
  pool_uuid_ = !replicated.empty() ? replicated : fallback;
}
