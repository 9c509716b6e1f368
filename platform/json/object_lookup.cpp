#include "platform/json/object_lookup.h"

#include <stdexcept>

namespace json_spirit {

Value const* object_find(Object const& obj, std::string const& key, Value_type type) {
  auto it = obj.find(key);
  if (it == obj.end() || it->second.type() != type) return nullptr;
  return &it->second;
}

bool object_get_str(Object const& obj, std::string const& key, std::string& out) {
  Value const* v = object_find(obj, key, str_type);
  if (!v) return false;
  out = v->get_str();
  return true;
}

bool object_get_secure_str(Object const& obj, std::string const& key, Secure_String& out) {
  Value const* v = object_find(obj, key, secure_str_type);
  if (!v) return false;
  out = v->get_secure_str();
  return true;
}

bool object_get_bool(Object const& obj, std::string const& key, bool& out) {
  Value const* v = object_find(obj, key, bool_type);
  if (!v) return false;
  out = v->get_bool();
  return true;
}

bool object_get_int(Object const& obj, std::string const& key, int& out) {
  Value const* v = object_find(obj, key, int_type);
  if (!v) return false;
  out = v->get_int();
  return true;
}

bool object_get_int64(Object const& obj, std::string const& key, long long& out) {
  Value const* v = object_find(obj, key, int_type);
  if (!v) return false;
  out = v->get_int64();
  return true;
}

bool object_get_uint64(Object const& obj, std::string const& key, unsigned long long& out) {
  Value const* v = object_find(obj, key, int_type);
  if (!v) return false;
  out = v->get_uint64();
  return true;
}

bool object_get_real(Object const& obj, std::string const& key, double& out) {
  auto it = obj.find(key);
  if (it == obj.end()) return false;
  if (it->second.type() != real_type && it->second.type() != int_type) return false;
  out = it->second.get_real();
  return true;
}

bool object_get_object(Object const& obj, std::string const& key, Object& out) {
  Value const* v = object_find(obj, key, obj_type);
  if (!v) return false;
  out = v->get_obj();
  return true;
}

bool object_get_array(Object const& obj, std::string const& key, Array& out) {
  Value const* v = object_find(obj, key, array_type);
  if (!v) return false;
  out = v->get_array();
  return true;
}

namespace {

Value const& find_or_throw(Object const& obj, std::string const& key, Value_type type) {
  auto it = obj.find(key);
  if (it == obj.end()) throw std::runtime_error("JSON member '" + key + "' is missing");
  if (it->second.type() != type)
    throw std::runtime_error("JSON member '" + key + "' is " + value_type_name(it->second.type()) + ", not " +
                             value_type_name(type));
  return it->second;
}

}  // namespace

std::string const& object_get_str_or_throw(Object const& obj, std::string const& key) {
  return find_or_throw(obj, key, str_type).get_str();
}

long long object_get_int64_or_throw(Object const& obj, std::string const& key) {
  return find_or_throw(obj, key, int_type).get_int64();
}

unsigned long long object_get_uint64_or_throw(Object const& obj, std::string const& key) {
  return find_or_throw(obj, key, int_type).get_uint64();
}

bool object_get_bool_or_throw(Object const& obj, std::string const& key) {
  return find_or_throw(obj, key, bool_type).get_bool();
}

Object const& object_get_object_or_throw(Object const& obj, std::string const& key) {
  return find_or_throw(obj, key, obj_type).get_obj();
}

Array const& object_get_array_or_throw(Object const& obj, std::string const& key) {
  return find_or_throw(obj, key, array_type).get_array();
}

}  // namespace json_spirit
