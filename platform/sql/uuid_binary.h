#ifndef PLATFORM_SQL_UUID_BINARY_H
#define PLATFORM_SQL_UUID_BINARY_H

#include <cstddef>
#include <string>

#include "platform/export.h"

// The catalogue stores UUIDs as their 16 raw bytes; callers see the canonical
// lower-case 8-4-4-4-12 text. These two conversions are the only bridge.
class BSET_API UUID_Binary {
 public:
  // Accepts the 8-4-4-4-12 form in either case. False (and `out` unchanged)
  // for anything else.
  static bool parse(std::string const& text, std::basic_string<unsigned char>& out);
  static bool parse(char const* text, size_t length, unsigned char out[16]);
  // Writes the canonical text of 16 bytes; false (and `out` unchanged) when
  // `length` is not 16.
  static bool format(unsigned char const* data, size_t length, std::string& out);
  // Writes exactly 36 characters (no terminator) into `out`.
  static void format16(unsigned char const* data, char* out);
};

#endif
