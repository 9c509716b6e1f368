#include "platform/text/string_checker.h"

#include <cctype>

bool String_Checker::check(std::string const& text, SC_Type type) {
  switch (type) {
    case SC_NOT_EMPTY: return !text.empty();
    case SC_PRINTABLE:
      for (unsigned char c : text)
        if (c < 0x20 || c == 0x7f) return false;
      return true;
    case SC_UUID: {
      if (text.size() != 36) return false;
      for (size_t i = 0; i < text.size(); ++i) {
        bool dash = i == 8 || i == 13 || i == 18 || i == 23;
        if (dash ? text[i] != '-' : !isxdigit(static_cast<unsigned char>(text[i]))) return false;
      }
      return true;
    }
    case SC_NAME: return text.find_first_of("|<>/\\:*?\"") == std::string::npos;
  }
  return false;
}
