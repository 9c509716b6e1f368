#include "platform/sql/uuid_binary.h"

namespace {

int hex_value(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool is_dash_position(size_t i) { return i == 8 || i == 13 || i == 18 || i == 23; }

}  // namespace

bool UUID_Binary::parse(char const* text, size_t length, unsigned char out[16]) {
  if (!text || length != 36) return false;
  unsigned char bytes[16];
  size_t n = 0;
  for (size_t i = 0; i < 36;) {
    if (is_dash_position(i)) {
      if (text[i] != '-') return false;
      ++i;
      continue;
    }
    int hi = hex_value(text[i]);
    int lo = hex_value(text[i + 1]);
    if (hi < 0 || lo < 0 || is_dash_position(i + 1)) return false;
    bytes[n++] = static_cast<unsigned char>(hi << 4 | lo);
    i += 2;
  }
  for (size_t i = 0; i < 16; ++i) out[i] = bytes[i];
  return true;
}

bool UUID_Binary::parse(std::string const& text, std::basic_string<unsigned char>& out) {
  unsigned char bytes[16];
  if (!parse(text.data(), text.size(), bytes)) return false;
  out.assign(bytes, 16);
  return true;
}

void UUID_Binary::format16(unsigned char const* data, char* out) {
  static char const digits[] = "0123456789abcdef";
  char* p = out;
  for (size_t i = 0; i < 16; ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) *p++ = '-';
    *p++ = digits[data[i] >> 4];
    *p++ = digits[data[i] & 0xf];
  }
}

bool UUID_Binary::format(unsigned char const* data, size_t length, std::string& out) {
  if (!data || length != 16) return false;
  char text[36];
  format16(data, text);
  out.assign(text, 36);
  return true;
}
