#ifndef BACKUP_BACKUP_SET_COMMON_BACKUP_SET_STATE_H
#define BACKUP_BACKUP_SET_COMMON_BACKUP_SET_STATE_H

#include <cstddef>
#include <string>
#include <vector>

#include "platform/export.h"
#include "platform/json/value.h"

// The state of one storage copy of a backup set: a word of bits, each with a
// name used in documents and catalogue rows. Bits without a name are kept but
// never named.
class BSET_API Backup_Set_State {
 public:
  enum : unsigned long long {
    ONLINE = 1,
    OFFLINE = 2,
    NEARLINE = 4,
    EXPIRED = 8,
    REPLICATED = 16,
    WARMUP = 32,
    INCOMPLETE = 64,
    UNSYNC = 128,
    VIRTUAL = 256
  };

  // One row of the name table; the table ends with {nullptr, 0, 0}.
  struct Name {
    char const* name;
    size_t length;
    unsigned long long bit;
  };
  static Name const NAMES[];

  Backup_Set_State(unsigned long long bits = 0) : bits_(bits) {}
  // Sets the bit of every known name; unknown names are passed over quietly.
  explicit Backup_Set_State(std::vector<std::string> const& names);
  // The same for the string elements of a JSON array; other elements are skipped.
  explicit Backup_Set_State(std::vector<json_spirit::Value> const& names);

  unsigned long long bits() const { return bits_; }

  // Names of the set bits, lowest bit first, as JSON strings.
  std::vector<json_spirit::Value> states() const;

  Backup_Set_State& set_bits(unsigned long long mask) {
    bits_ |= mask;
    return *this;
  }
  Backup_Set_State& unset_bits(unsigned long long mask) {
    bits_ &= ~mask;
    return *this;
  }
  // True when any bit of the mask is set.
  bool get_bit(unsigned long long mask) const { return (bits_ & mask) != 0; }

  bool operator==(Backup_Set_State const& other) const { return bits_ == other.bits_; }
  bool operator!=(Backup_Set_State const& other) const { return bits_ != other.bits_; }

  // The row of a single bit, or null when the bit has no name.
  static Name const* name_of(unsigned long long bit);
  // The bit of an exact name, or 0.
  static unsigned long long bit_of(char const* name, size_t length);

 private:
  unsigned long long bits_;
};

#endif
