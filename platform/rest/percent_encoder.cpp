#include "platform/rest/percent_encoder.h"

namespace {

bool unreserved(unsigned char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '_' ||
         c == '.' || c == '~';
}

// The option bit that lets `c` through unencoded, or 0.
unsigned keep_bit(unsigned char c) {
  switch (c) {
    case ':': return Percent_Encoder::KEEP_COLON;
    case '(': return Percent_Encoder::KEEP_LEFT_PAREN;
    case ')': return Percent_Encoder::KEEP_RIGHT_PAREN;
    case '\'': return Percent_Encoder::KEEP_APOSTROPHE;
    case '*': return Percent_Encoder::KEEP_ASTERISK;
    case '!': return Percent_Encoder::KEEP_EXCLAMATION;
    case '#': return Percent_Encoder::KEEP_HASH;
    case '$': return Percent_Encoder::KEEP_DOLLAR;
    case '&': return Percent_Encoder::KEEP_AMPERSAND;
    case '+': return Percent_Encoder::KEEP_PLUS;
    case ',': return Percent_Encoder::KEEP_COMMA;
    case ';': return Percent_Encoder::KEEP_SEMICOLON;
    case '=': return Percent_Encoder::KEEP_EQUALS;
    case '?': return Percent_Encoder::KEEP_QUESTION;
    case '@': return Percent_Encoder::KEEP_AT;
    default: return 0;
  }
}

}  // namespace

bool Percent_Encoder::encode(char const* text, unsigned options, std::string& target) {
  if (!text || !*text) return false;
  char const* digits = (options & UPPER_HEX) ? "0123456789ABCDEF" : "0123456789abcdef";
  for (unsigned char const* p = reinterpret_cast<unsigned char const*>(text); *p; ++p) {
    unsigned char c = *p;
    unsigned keep = keep_bit(c);
    if (unreserved(c) || (keep && (options & keep)) || (c == '/' && !(options & ENCODE_SLASH))) {
      target.push_back(static_cast<char>(c));
    } else if (c == ' ' && (options & SPACE_AS_PLUS)) {
      target.push_back('+');
    } else {
      target.push_back('%');
      target.push_back(digits[c >> 4]);
      target.push_back(digits[c & 0x0f]);
    }
  }
  return true;
}
