#include "platform/sql/binding_value.h"

// A null pointer is a null value rather than a crash.
Binding_Value::Binding_Value(char const* text) : kind_(text ? text_kind : null_kind), integer_(0) {
  if (text) bytes_ = text;
}

Binding_Value::Binding_Value(std::basic_string<unsigned char> const& binary)
    : kind_(binary_kind), integer_(0), bytes_(reinterpret_cast<char const*>(binary.data()), binary.size()) {}

Binding_Value::Binding_Value(unsigned char const* data, size_t length)
    : kind_(binary_kind), integer_(0), bytes_(data ? reinterpret_cast<char const*>(data) : "", data ? length : 0) {}

Binding_Value Binding_Value::unsigned_integer(unsigned long long value) {
  Binding_Value v;
  v.kind_ = unsigned_kind;
  v.integer_ = static_cast<long long>(value);
  return v;
}

std::basic_string<unsigned char> Binding_Value::binary() const {
  return std::basic_string<unsigned char>(reinterpret_cast<unsigned char const*>(bytes_.data()), bytes_.size());
}
