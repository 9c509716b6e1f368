#include "tools/bsetctl/view_text.h"

#include <cctype>
#include <cstdio>

#include "platform/json/json_text.h"
#include "platform/time/iso8601.h"

using json_spirit::Value;

std::string View_Text::cell(json_spirit::Object const& row, char const* key) {
  auto it = row.find(key);
  return it == row.end() ? std::string() : cell(it->second);
}

std::string View_Text::cell(Value const& v) {
  switch (v.type()) {
    case json_spirit::str_type: return v.get_str();
    case json_spirit::null_type: return std::string();
    case json_spirit::bool_type: return v.get_bool() ? "true" : "false";
    case json_spirit::int_type: return v.is_uint64() ? std::to_string(v.get_uint64()) : std::to_string(v.get_int64());
    case json_spirit::array_type: {
      // Lists of names (states, parents) read best as words.
      std::string words;
      for (Value const& e : v.get_array()) {
        if (e.type() != json_spirit::str_type) return JSON_Dump(v);
        words += (words.empty() ? "" : ",") + e.get_str();
      }
      return words;
    }
    default: return JSON_Dump(v);
  }
}

long long View_Text::number(json_spirit::Object const& row, char const* key) {
  auto it = row.find(key);
  if (it == row.end() || it->second.type() != json_spirit::int_type) return 0;
  return it->second.get_int64();
}

std::string View_Text::bytes(json_spirit::Object const& row, char const* key) {
  auto it = row.find(key);
  if (it == row.end() || it->second.type() != json_spirit::int_type) return cell(row, key);
  double n = static_cast<double>(it->second.get_int64());
  static char const* const units[] = {"B", "KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
  int unit = 0;
  while ((n >= 1024 || n <= -1024) && unit < 6) {
    n /= 1024;
    ++unit;
  }
  char text[32];
  if (unit == 0)
    std::snprintf(text, sizeof text, "%lld B", it->second.get_int64());
  else
    std::snprintf(text, sizeof text, "%.1f %s", n, units[unit]);
  return text;
}

bool View_Text::time_bound(std::string const& text, std::string& out) {
  std::string t = text.size() == 10 ? text + " 00:00:00" : text;
  static char const pattern[] = "dddd-dd-dd dd:dd:dd";
  if (t.size() != sizeof pattern - 1) return false;
  for (size_t i = 0; i < t.size(); ++i) {
    bool const digit = std::isdigit(static_cast<unsigned char>(t[i])) != 0;
    if (pattern[i] == 'd' ? !digit : t[i] != pattern[i]) return false;
  }
  long long seconds = 0;
  if (!iso8601_to_posix_time(t.c_str(), seconds)) return false;
  out = t;
  return true;
}
