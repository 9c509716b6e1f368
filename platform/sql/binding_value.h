#ifndef PLATFORM_SQL_BINDING_VALUE_H
#define PLATFORM_SQL_BINDING_VALUE_H

#include <cstddef>
#include <string>
#include <type_traits>

#include "platform/export.h"

// One parameter value of a statement: null, a 64-bit integer, a text or a
// binary string (raw UUIDs), a boolean, or an unsigned 64-bit integer.
// Values always travel as bound parameters, never pasted into statement text.
class BSET_API Binding_Value {
 public:
  enum Kind { null_kind = 0, integer_kind = 1, text_kind = 2, binary_kind = 3, boolean_kind = 4, unsigned_kind = 5 };

  Binding_Value() : kind_(null_kind), integer_(0) {}
  Binding_Value(long long value) : kind_(integer_kind), integer_(value) {}
  Binding_Value(int value) : kind_(integer_kind), integer_(value) {}
  Binding_Value(std::string const& text) : kind_(text_kind), integer_(0), bytes_(text) {}
  Binding_Value(std::string&& text) : kind_(text_kind), integer_(0), bytes_(std::move(text)) {}
  // Explicit, so that a literal never turns into anything but text.
  explicit Binding_Value(char const* text);
  Binding_Value(std::basic_string<unsigned char> const& binary);
  Binding_Value(unsigned char const* data, size_t length);
  // Only an argument that is already a bool gets here: pointers, literals,
  // enums and integers keep the overloads above.
  template <typename B, typename std::enable_if<std::is_same<B, bool>::value, int>::type = 0>
  Binding_Value(B value) : kind_(boolean_kind), integer_(value ? 1 : 0) {}
  // Unsigned values get no constructor: an unsigned argument is ambiguous
  // today and must stay so rather than pick a kind by accident.
  static Binding_Value unsigned_integer(unsigned long long value);

  Kind kind() const { return kind_; }
  bool is_null() const { return kind_ == null_kind; }
  // An integer; for a boolean 0 or 1, for an unsigned value its bit pattern.
  long long integer() const { return integer_; }
  bool boolean() const { return integer_ != 0; }
  unsigned long long uinteger() const { return static_cast<unsigned long long>(integer_); }
  // The bytes of a text or binary value ("" for the others).
  std::string const& bytes() const { return bytes_; }
  std::basic_string<unsigned char> binary() const;

  bool operator==(Binding_Value const& other) const {
    return kind_ == other.kind_ && integer_ == other.integer_ && bytes_ == other.bytes_;
  }
  bool operator!=(Binding_Value const& other) const { return !(*this == other); }

 private:
  Kind kind_;
  long long integer_;
  std::string bytes_;
};

#endif
