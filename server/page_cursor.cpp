#include "server/page_cursor.h"

namespace {

int hex_value(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

}  // namespace

// Fields are length-prefixed ("<length>:<bytes>"), the view's name first.
std::string Page_Cursor::encode(std::string const& view, std::vector<std::string> const& fields) {
  std::string raw = std::to_string(view.size()) + ":" + view;
  for (std::string const& f : fields) raw += std::to_string(f.size()) + ":" + f;
  static char const hex[] = "0123456789abcdef";
  std::string out;
  out.reserve(raw.size() * 2);
  for (char ch : raw) {
    unsigned char b = static_cast<unsigned char>(ch);
    out += hex[b >> 4];
    out += hex[b & 0xf];
  }
  return out;
}

bool Page_Cursor::decode(std::string const& token, std::string const& view, size_t count,
                         std::vector<std::string>& fields) {
  if (token.size() % 2 != 0) return false;
  std::string raw;
  raw.reserve(token.size() / 2);
  for (size_t i = 0; i < token.size(); i += 2) {
    int hi = hex_value(token[i]), lo = hex_value(token[i + 1]);
    if (hi < 0 || lo < 0) return false;
    raw += static_cast<char>(hi << 4 | lo);
  }
  std::vector<std::string> all;
  size_t at = 0;
  while (at < raw.size()) {
    size_t colon = raw.find(':', at);
    if (colon == std::string::npos || colon == at || colon - at > 9) return false;
    size_t length = 0;
    for (size_t i = at; i < colon; ++i) {
      if (raw[i] < '0' || raw[i] > '9') return false;
      length = length * 10 + static_cast<size_t>(raw[i] - '0');
    }
    if (length > raw.size() - colon - 1) return false;
    all.push_back(raw.substr(colon + 1, length));
    at = colon + 1 + length;
  }
  if (all.size() != count + 1 || all[0] != view) return false;
  fields.assign(all.begin() + 1, all.end());
  return true;
}
