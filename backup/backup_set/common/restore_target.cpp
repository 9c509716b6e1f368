#include "backup/backup_set/common/restore_target.h"

#include <cinttypes>
#include <cstdio>

#include "backup/backup_set/common/backup_set.h"
#include "platform/time/iso8601.h"

namespace {

unsigned long long const SIGN = 1ULL << 63;

// Order-preserving between signed points and unsigned keys.
unsigned long long signed_key(long long point) { return static_cast<unsigned long long>(point) ^ SIGN; }
long long signed_point(unsigned long long key) { return static_cast<long long>(key ^ SIGN); }

int hex_digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// One half of an LSN: 1 to 8 hex digits from `at` up to `end`.
bool lsn_half(std::string const& text, size_t at, size_t end, unsigned long long& out) {
  if (end <= at || end - at > 8) return false;
  out = 0;
  for (size_t i = at; i < end; ++i) {
    int d = hex_digit(text[i]);
    if (d < 0) return false;
    out = out << 4 | static_cast<unsigned long long>(d);
  }
  return true;
}

}  // namespace

Restore_Target::Restore_Target() : kind_(TIME), key_(signed_key(0)) {}

Restore_Target Restore_Target::at_time(long long seconds) { return Restore_Target(TIME, signed_key(seconds)); }

Restore_Target Restore_Target::at_scn(long long scn) { return Restore_Target(SCN, signed_key(scn)); }

Restore_Target Restore_Target::at_lsn(unsigned long long lsn) { return Restore_Target(LSN, lsn); }

bool Restore_Target::parse_lsn(std::string const& text, unsigned long long& lsn) {
  size_t slash = text.find('/');
  if (slash == std::string::npos) return false;
  unsigned long long high = 0, low = 0;
  if (!lsn_half(text, 0, slash, high) || !lsn_half(text, slash + 1, text.size(), low)) return false;
  lsn = high << 32 | low;
  return true;
}

std::string Restore_Target::format_lsn(unsigned long long lsn) {
  char text[24];
  std::snprintf(text, sizeof text, "%X/%X", static_cast<unsigned>(lsn >> 32), static_cast<unsigned>(lsn & 0xFFFFFFFFu));
  return text;
}

char const* Restore_Target::kind_name() const {
  switch (kind_) {
    case TIME: return "time";
    case SCN: return "scn";
    case LSN: return "lsn";
  }
  return "";
}

unsigned long long Restore_Target::key_of(long long point) const {
  return kind_ == LSN ? static_cast<unsigned long long>(point) : signed_key(point);
}

// A set's point under the target's kind: a time falls back on the backup's
// own time; a set with neither SCN has no position.
bool Restore_Target::point_of(Backup_Set const& set, bool end, unsigned long long& key) const {
  if (kind_ == TIME) {
    long long t = end ? (set.last_time != 0 ? set.last_time : set.backup_end_time)
                      : (set.first_time != 0 ? set.first_time : set.backup_start_time);
    if (t == 0) return false;
    key = key_of(t);
    return true;
  }
  if (set.first_scn == 0 && set.last_scn == 0) return false;
  key = key_of(end ? set.last_scn : set.first_scn);
  return true;
}

bool Restore_Target::end_of(Backup_Set const& set, unsigned long long& key) const { return point_of(set, true, key); }

bool Restore_Target::start_of(Backup_Set const& set, unsigned long long& key) const {
  return point_of(set, false, key);
}

std::string Restore_Target::text(unsigned long long key) const {
  switch (kind_) {
    case TIME: return POSIX_Time_To_ISO8601(signed_point(key), "%Y-%m-%d %H:%M:%S");
    case SCN: return std::to_string(signed_point(key));
    case LSN: return format_lsn(key);
  }
  return std::string();
}

json_spirit::Value Restore_Target::value(unsigned long long key) const {
  if (kind_ == SCN) return json_spirit::Value(signed_point(key));
  return json_spirit::Value(text(key));
}
