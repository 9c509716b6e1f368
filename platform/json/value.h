#ifndef PLATFORM_JSON_VALUE_H
#define PLATFORM_JSON_VALUE_H

#include <map>
#include <string>
#include <vector>

#include "platform/export.h"
#include "platform/json/secure_string.h"

namespace json_spirit {

enum Value_type {
  obj_type = 0,
  array_type = 1,
  str_type = 2,
  secure_str_type = 3,
  bool_type = 4,
  int_type = 5,
  real_type = 6,
  null_type = 7
};

class Value;
typedef std::map<std::string, Value> Object;  // members ordered by key
typedef std::vector<Value> Array;

// One JSON value. Scalars live inline; strings and containers on the heap, so
// a Value is two words and moves are cheap. Integers keep whether they were
// made unsigned, so 64-bit unsigned numbers survive a round trip.
class BSET_API Value {
 public:
  Value() noexcept : type_(null_type), uint64_(false) { u_.i = 0; }
  Value(char const* text);
  Value(std::string const& text);
  Value(std::string&& text);
  Value(Secure_String const& text);
  Value(bool b) noexcept : type_(bool_type), uint64_(false) { u_.b = b; }
  Value(int i) noexcept : type_(int_type), uint64_(false) { u_.i = i; }
  Value(unsigned int i) noexcept : type_(int_type), uint64_(false) { u_.i = i; }
  Value(long i) noexcept : type_(int_type), uint64_(false) { u_.i = i; }
  Value(long long i) noexcept : type_(int_type), uint64_(false) { u_.i = i; }
  Value(unsigned long i) noexcept : type_(int_type), uint64_(true) { u_.u = i; }
  Value(unsigned long long i) noexcept : type_(int_type), uint64_(true) { u_.u = i; }
  Value(double d) noexcept : type_(real_type), uint64_(false) { u_.d = d; }
  Value(Object const& obj);
  Value(Object&& obj);
  Value(Array const& arr);
  Value(Array&& arr);
  // A pointer of any other kind must not quietly become a bool.
  template <typename T>
  Value(T const*) = delete;

  Value(Value const& other);
  Value(Value&& other) noexcept;
  Value& operator=(Value const& other);
  Value& operator=(Value&& other) noexcept;
  ~Value();

  Value_type type() const { return type_; }
  bool is_null() const { return type_ == null_type; }
  bool is_uint64() const { return type_ == int_type && uint64_; }

  // Each get_* throws std::runtime_error when the value is of another type;
  // the integer getters also accept the other integer representation.
  std::string const& get_str() const;
  Secure_String const& get_secure_str() const;
  Object const& get_obj() const;
  Object& get_obj();
  Array const& get_array() const;
  Array& get_array();
  bool get_bool() const;
  int get_int() const;
  long long get_int64() const;
  unsigned long long get_uint64() const;
  double get_real() const;  // integers convert

  bool operator==(Value const& other) const;
  bool operator!=(Value const& other) const { return !(*this == other); }

  static Value const null;

 private:
  void destroy() noexcept;
  void copy_from(Value const& other);
  [[noreturn]] void type_error(Value_type wanted) const;

  Value_type type_;
  bool uint64_;
  union {
    bool b;
    long long i;
    unsigned long long u;
    double d;
    std::string* s;
    Secure_String* ss;
    Object* o;
    Array* a;
  } u_;
};

BSET_API char const* value_type_name(Value_type type);

}  // namespace json_spirit

#endif
