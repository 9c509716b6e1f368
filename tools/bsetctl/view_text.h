#ifndef TOOLS_BSETCTL_VIEW_TEXT_H
#define TOOLS_BSETCTL_VIEW_TEXT_H

#include <string>

#include "platform/json/value.h"

// How the reading commands show the values of view rows to people.
class View_Text {
 public:
  // A member of a row: text as it is, numbers in decimal, null and a
  // missing member as "", a list of texts joined by commas, anything else
  // as compact JSON.
  static std::string cell(json_spirit::Object const& row, char const* key);
  static std::string cell(json_spirit::Value const& value);
  // Bytes for people: "734003200" becomes "700.0 MiB".
  static std::string bytes(json_spirit::Object const& row, char const* key);
  // A member holding a whole number (0 when missing or not a number).
  static long long number(json_spirit::Object const& row, char const* key);
  // A time bound from the command line: "YYYY-MM-DD HH:MM:SS", or a day
  // "YYYY-MM-DD" (its midnight, UTC). False when it is neither.
  static bool time_bound(std::string const& text, std::string& out);
};

#endif
