#ifndef PLATFORM_TEXT_STRING_CHECKER_H
#define PLATFORM_TEXT_STRING_CHECKER_H

#include <string>

#include "platform/export.h"

// Checks text against one of a few fixed rules.
class BSET_API String_Checker {
 public:
  enum SC_Type {
    SC_NOT_EMPTY = 1,  // at least one byte
    SC_PRINTABLE = 2,  // no control characters (bytes below 0x20 or 0x7f)
    SC_UUID = 4,       // canonical 8-4-4-4-12 hex form
    SC_NAME = 8,       // usable as a file name: none of | < > / \ : * ? "
  };

  static bool check(std::string const& text, SC_Type type);
};

#endif
