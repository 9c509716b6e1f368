#include "platform/json/secure_string.h"

namespace json_spirit {

Secure_String::Secure_String(Secure_String&& other) noexcept : text_(other.text_) { other.wipe(); }

Secure_String& Secure_String::operator=(Secure_String const& other) {
  if (this != &other) {
    wipe();
    text_ = other.text_;
  }
  return *this;
}

Secure_String& Secure_String::operator=(Secure_String&& other) noexcept {
  if (this != &other) {
    wipe();
    text_ = other.text_;
    other.wipe();
  }
  return *this;
}

Secure_String::~Secure_String() { wipe(); }

void Secure_String::wipe() {
  // volatile keeps the compiler from dropping stores to memory about to be freed
  volatile char* p = &text_[0];
  for (size_t i = 0; i < text_.size(); ++i) p[i] = 0;
  text_.clear();
}

}  // namespace json_spirit
