#ifndef PLATFORM_REST_PERCENT_ENCODER_H
#define PLATFORM_REST_PERCENT_ENCODER_H

#include <string>

#include "platform/export.h"

// Percent-encoding of URL parts. Letters, digits and "-_.~" always pass;
// the option bits choose what else passes and how the rest is written.
class BSET_API Percent_Encoder {
 public:
  enum Option : unsigned {
    ENCODE_SLASH = 1,      // '/' is encoded (kept when clear)
    SPACE_AS_PLUS = 2,     // ' ' becomes '+'
    UPPER_HEX = 4,         // "%2F" rather than "%2f"
    KEEP_COLON = 8,
    KEEP_LEFT_PAREN = 16,
    KEEP_RIGHT_PAREN = 32,
    KEEP_APOSTROPHE = 64,
    KEEP_ASTERISK = 128,
    KEEP_EXCLAMATION = 512,
    KEEP_HASH = 1024,
    KEEP_DOLLAR = 2048,
    KEEP_AMPERSAND = 4096,
    KEEP_PLUS = 8192,
    KEEP_COMMA = 16384,
    KEEP_SEMICOLON = 32768,
    KEEP_EQUALS = 65536,
    KEEP_QUESTION = 131072,
    KEEP_AT = 262144,
    // What query names and values use.
    QUERY = ENCODE_SLASH | SPACE_AS_PLUS
  };

  // Appends the encoding of `text` to `target`. False, with nothing
  // appended, for a null or empty text.
  static bool encode(char const* text, unsigned options, std::string& target);
};

#endif
