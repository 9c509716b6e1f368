#ifndef PLATFORM_JSON_UTF8_TEXT_H
#define PLATFORM_JSON_UTF8_TEXT_H

#include <cstddef>
#include <string>

#include "platform/export.h"

// Text that a JSON document can carry. The rule is the JSON parser's: a
// lead byte followed by as many continuation bytes as it announces.
class BSET_API UTF8_Text {
 public:
  static bool valid(char const* text, size_t length);
  static bool valid(std::string const& text) { return valid(text.data(), text.size()); }
  // Stricter, as the standard has it and as databases check it: no
  // overlong forms, no surrogates, nothing beyond U+10FFFF.
  static bool well_formed(char const* text, size_t length);
  static bool well_formed(std::string const& text) { return well_formed(text.data(), text.size()); }
  // The text with every byte that breaks the rule replaced by U+FFFD, for
  // echoing what a client sent inside an answer.
  static std::string scrub(std::string const& text);
};

#endif
