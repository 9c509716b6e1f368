#ifndef BACKUP_BACKUP_SET_COMMON_RESTORE_TARGET_H
#define BACKUP_BACKUP_SET_COMMON_RESTORE_TARGET_H

#include <string>

#include "platform/export.h"
#include "platform/json/value.h"

class Backup_Set;

// The point a restore must reach: a time (POSIX seconds, UTC), an Oracle
// SCN (signed 64-bit) or a PostgreSQL LSN (unsigned 64-bit).
//
// Every point of the target's kind is compared as a "key", an unsigned
// 64-bit number in the same order as the points themselves: signed values
// have their sign bit flipped, an LSN is its own key. A set's SCN columns
// hold an LSN as its 64-bit pattern, which is how agents store it.
class BSET_API Restore_Target {
 public:
  enum Kind { TIME, SCN, LSN };

  // Time 0 (1970-01-01 00:00:00).
  Restore_Target();

  static Restore_Target at_time(long long seconds);
  static Restore_Target at_scn(long long scn);
  static Restore_Target at_lsn(unsigned long long lsn);

  // PostgreSQL's text form "X/Y": two hexadecimal halves of 1 to 8 digits,
  // the position being X<<32 | Y. False (and `lsn` unchanged) for anything
  // else, signs, blanks and "0x" prefixes included.
  static bool parse_lsn(std::string const& text, unsigned long long& lsn);
  // "%X/%X", as PostgreSQL writes it.
  static std::string format_lsn(unsigned long long lsn);

  Kind kind() const { return kind_; }
  // "time", "scn" or "lsn".
  char const* kind_name() const;
  unsigned long long key() const { return key_; }

  // The point a set covers up to / from, as a key of this target's kind.
  // Times: last_time (backup_end_time when 0) / first_time
  // (backup_start_time when 0); unknown when that is 0. Positions:
  // last_scn / first_scn; unknown when the set records neither.
  bool end_of(Backup_Set const& set, unsigned long long& key) const;
  bool start_of(Backup_Set const& set, unsigned long long& key) const;

  // A key as people read it: "YYYY-MM-DD HH:MM:SS", a decimal SCN, "X/Y".
  std::string text(unsigned long long key) const;
  // A key as a document holds it: the time text, the SCN as an integer,
  // the LSN text.
  json_spirit::Value value(unsigned long long key) const;

 private:
  Restore_Target(Kind kind, unsigned long long key) : kind_(kind), key_(key) {}
  unsigned long long key_of(long long point) const;
  bool point_of(Backup_Set const& set, bool end, unsigned long long& key) const;

  Kind kind_;
  unsigned long long key_;
};

#endif
