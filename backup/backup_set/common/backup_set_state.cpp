#include "backup/backup_set/common/backup_set_state.h"

#include <cstring>

#define ST_ROW(text, bit) {text, sizeof(text) - 1, bit}

Backup_Set_State::Name const Backup_Set_State::NAMES[] = {
    ST_ROW("online", ONLINE),
    ST_ROW("offline", OFFLINE),
    ST_ROW("nearline", NEARLINE),
    ST_ROW("expired", EXPIRED),
    ST_ROW("replicated", REPLICATED),
    ST_ROW("warmup", WARMUP),
    ST_ROW("incomplete", INCOMPLETE),
    ST_ROW("unsync", UNSYNC),
    ST_ROW("virtual", VIRTUAL),
    {nullptr, 0, 0},
};

#undef ST_ROW

Backup_Set_State::Name const* Backup_Set_State::name_of(unsigned long long bit) {
  for (Name const* row = NAMES; row->name; ++row)
    if (row->bit == bit) return row;
  return nullptr;
}

unsigned long long Backup_Set_State::bit_of(char const* name, size_t length) {
  if (!name) return 0;
  Name const* row = NAMES;
  while (row->name && (row->length != length || memcmp(row->name, name, length) != 0)) ++row;
  return row->bit;
}

Backup_Set_State::Backup_Set_State(std::vector<std::string> const& names) : bits_(0) {
  for (auto const& name : names) bits_ |= bit_of(name.data(), name.size());
}

Backup_Set_State::Backup_Set_State(std::vector<json_spirit::Value> const& names) : bits_(0) {
  for (auto const& name : names) {
    if (name.type() != json_spirit::str_type) continue;
    std::string const& text = name.get_str();
    bits_ |= bit_of(text.data(), text.size());
  }
}

std::vector<json_spirit::Value> Backup_Set_State::states() const {
  std::vector<json_spirit::Value> names;
  // Take the lowest set bit each round until none is left.
  for (unsigned long long bits = bits_; bits != 0;) {
    unsigned long long const next = bits & (bits - 1);
    if (Name const* row = name_of(bits - next)) names.emplace_back(std::string(row->name, row->length));
    bits = next;
  }
  return names;
}
