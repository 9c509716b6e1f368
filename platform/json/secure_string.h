#ifndef PLATFORM_JSON_SECURE_STRING_H
#define PLATFORM_JSON_SECURE_STRING_H

#include <string>

#include "platform/export.h"

namespace json_spirit {

// A string for secrets (passwords, tokens): its bytes are overwritten before
// the memory is given back, so a secret does not linger in freed heap.
class BSET_API Secure_String {
 public:
  Secure_String() = default;
  explicit Secure_String(std::string text) : text_(std::move(text)) {}
  Secure_String(char const* text) : text_(text ? text : "") {}
  Secure_String(Secure_String const&) = default;
  Secure_String(Secure_String&& other) noexcept;
  Secure_String& operator=(Secure_String const& other);
  Secure_String& operator=(Secure_String&& other) noexcept;
  ~Secure_String();

  std::string const& str() const { return text_; }
  char const* c_str() const { return text_.c_str(); }
  size_t size() const { return text_.size(); }
  bool empty() const { return text_.empty(); }
  bool operator==(Secure_String const& other) const { return text_ == other.text_; }

 private:
  void wipe();
  std::string text_;
};

}  // namespace json_spirit

#endif
