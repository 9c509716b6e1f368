#include "platform/json/value.h"

#include <stdexcept>

namespace json_spirit {

Value const Value::null;

char const* value_type_name(Value_type type) {
  switch (type) {
    case obj_type: return "object";
    case array_type: return "array";
    case str_type: return "string";
    case secure_str_type: return "secure string";
    case bool_type: return "boolean";
    case int_type: return "integer";
    case real_type: return "real";
    case null_type: return "null";
  }
  return "unknown";
}

Value::Value(char const* text) : type_(str_type), uint64_(false) { u_.s = new std::string(text ? text : ""); }
Value::Value(std::string const& text) : type_(str_type), uint64_(false) { u_.s = new std::string(text); }
Value::Value(std::string&& text) : type_(str_type), uint64_(false) { u_.s = new std::string(std::move(text)); }
Value::Value(Secure_String const& text) : type_(secure_str_type), uint64_(false) { u_.ss = new Secure_String(text); }
Value::Value(Object const& obj) : type_(obj_type), uint64_(false) { u_.o = new Object(obj); }
Value::Value(Object&& obj) : type_(obj_type), uint64_(false) { u_.o = new Object(std::move(obj)); }
Value::Value(Array const& arr) : type_(array_type), uint64_(false) { u_.a = new Array(arr); }
Value::Value(Array&& arr) : type_(array_type), uint64_(false) { u_.a = new Array(std::move(arr)); }

Value::Value(Value const& other) : type_(null_type), uint64_(false) { copy_from(other); }

Value::Value(Value&& other) noexcept : type_(other.type_), uint64_(other.uint64_), u_(other.u_) {
  other.type_ = null_type;
  other.uint64_ = false;
  other.u_.i = 0;
}

Value& Value::operator=(Value const& other) {
  if (this != &other) {
    Value copy(other);
    *this = std::move(copy);
  }
  return *this;
}

Value& Value::operator=(Value&& other) noexcept {
  if (this != &other) {
    destroy();
    type_ = other.type_;
    uint64_ = other.uint64_;
    u_ = other.u_;
    other.type_ = null_type;
    other.uint64_ = false;
    other.u_.i = 0;
  }
  return *this;
}

Value::~Value() { destroy(); }

void Value::destroy() noexcept {
  switch (type_) {
    case str_type: delete u_.s; break;
    case secure_str_type: delete u_.ss; break;
    case obj_type: delete u_.o; break;
    case array_type: delete u_.a; break;
    default: break;
  }
  type_ = null_type;
  u_.i = 0;
}

void Value::copy_from(Value const& other) {
  switch (other.type_) {
    case str_type: u_.s = new std::string(*other.u_.s); break;
    case secure_str_type: u_.ss = new Secure_String(*other.u_.ss); break;
    case obj_type: u_.o = new Object(*other.u_.o); break;
    case array_type: u_.a = new Array(*other.u_.a); break;
    default: u_ = other.u_; break;
  }
  type_ = other.type_;
  uint64_ = other.uint64_;
}

void Value::type_error(Value_type wanted) const {
  throw std::runtime_error(std::string("JSON value is ") + value_type_name(type_) + ", not " +
                           value_type_name(wanted));
}

std::string const& Value::get_str() const {
  if (type_ != str_type) type_error(str_type);
  return *u_.s;
}

Secure_String const& Value::get_secure_str() const {
  if (type_ != secure_str_type) type_error(secure_str_type);
  return *u_.ss;
}

Object const& Value::get_obj() const {
  if (type_ != obj_type) type_error(obj_type);
  return *u_.o;
}

Object& Value::get_obj() {
  if (type_ != obj_type) type_error(obj_type);
  return *u_.o;
}

Array const& Value::get_array() const {
  if (type_ != array_type) type_error(array_type);
  return *u_.a;
}

Array& Value::get_array() {
  if (type_ != array_type) type_error(array_type);
  return *u_.a;
}

bool Value::get_bool() const {
  if (type_ != bool_type) type_error(bool_type);
  return u_.b;
}

int Value::get_int() const {
  if (type_ != int_type) type_error(int_type);
  return static_cast<int>(u_.i);
}

long long Value::get_int64() const {
  if (type_ != int_type) type_error(int_type);
  return u_.i;
}

unsigned long long Value::get_uint64() const {
  if (type_ != int_type) type_error(int_type);
  return u_.u;
}

double Value::get_real() const {
  if (type_ == int_type) return uint64_ ? static_cast<double>(u_.u) : static_cast<double>(u_.i);
  if (type_ != real_type) type_error(real_type);
  return u_.d;
}

bool Value::operator==(Value const& other) const {
  if (type_ != other.type_) return false;
  switch (type_) {
    case null_type: return true;
    case bool_type: return u_.b == other.u_.b;
    case int_type:
      // Same bits mean the same number unless one side is negative signed and
      // the other a large unsigned.
      if (uint64_ != other.uint64_ && (uint64_ ? other.u_.i < 0 : u_.i < 0)) return false;
      return u_.u == other.u_.u;
    case real_type: return u_.d == other.u_.d;
    case str_type: return *u_.s == *other.u_.s;
    case secure_str_type: return *u_.ss == *other.u_.ss;
    case obj_type: return *u_.o == *other.u_.o;
    case array_type: return *u_.a == *other.u_.a;
  }
  return false;
}

}  // namespace json_spirit
