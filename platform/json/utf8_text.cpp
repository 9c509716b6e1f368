#include "platform/json/utf8_text.h"

namespace {

// The length of the sequence that starts at `p` (1..4), or 0 when the bytes
// there do not form one.
size_t sequence(unsigned char const* p, unsigned char const* end) {
  unsigned char c = *p;
  size_t n = c < 0x80 ? 1 : (c >> 5) == 0x6 ? 2 : (c >> 4) == 0xe ? 3 : (c >> 3) == 0x1e ? 4 : 0;
  if (n == 0 || static_cast<size_t>(end - p) < n) return 0;
  for (size_t i = 1; i < n; ++i)
    if ((p[i] & 0xc0) != 0x80) return 0;
  return n;
}

}  // namespace

bool UTF8_Text::valid(char const* text, size_t length) {
  auto p = reinterpret_cast<unsigned char const*>(text);
  auto end = p + length;
  while (p < end) {
    size_t n = sequence(p, end);
    if (n == 0) return false;
    p += n;
  }
  return true;
}

bool UTF8_Text::well_formed(char const* text, size_t length) {
  auto p = reinterpret_cast<unsigned char const*>(text);
  auto end = p + length;
  while (p < end) {
    size_t n = sequence(p, end);
    if (n == 0) return false;
    if (n > 1) {
      unsigned long cp = p[0] & (0x7f >> n);
      for (size_t i = 1; i < n; ++i) cp = (cp << 6) | (p[i] & 0x3f);
      static unsigned long const least[] = {0, 0, 0x80, 0x800, 0x10000};
      if (cp < least[n] || cp > 0x10ffff || (cp >= 0xd800 && cp <= 0xdfff)) return false;
    }
    p += n;
  }
  return true;
}

std::string UTF8_Text::scrub(std::string const& text) {
  if (valid(text)) return text;
  std::string out;
  auto p = reinterpret_cast<unsigned char const*>(text.data());
  auto end = p + text.size();
  while (p < end) {
    size_t n = sequence(p, end);
    if (n == 0) {
      out += "\xef\xbf\xbd";
      ++p;
    } else {
      out.append(reinterpret_cast<char const*>(p), n);
      p += n;
    }
  }
  return out;
}
