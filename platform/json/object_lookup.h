#ifndef PLATFORM_JSON_OBJECT_LOOKUP_H
#define PLATFORM_JSON_OBJECT_LOOKUP_H

#include <string>

#include "platform/export.h"
#include "platform/json/value.h"

namespace json_spirit {

// Typed look-ups of an object's members. The plain forms answer false and
// leave `out` alone when the member is missing or of another type; the
// _or_throw forms throw std::runtime_error naming the key.

// The member itself when present with the given type, else null (no copy).
BSET_API Value const* object_find(Object const& obj, std::string const& key, Value_type type);

BSET_API bool object_get_str(Object const& obj, std::string const& key, std::string& out);
BSET_API bool object_get_secure_str(Object const& obj, std::string const& key, Secure_String& out);
BSET_API bool object_get_bool(Object const& obj, std::string const& key, bool& out);
BSET_API bool object_get_int(Object const& obj, std::string const& key, int& out);
BSET_API bool object_get_int64(Object const& obj, std::string const& key, long long& out);
BSET_API bool object_get_uint64(Object const& obj, std::string const& key, unsigned long long& out);
BSET_API bool object_get_real(Object const& obj, std::string const& key, double& out);
BSET_API bool object_get_object(Object const& obj, std::string const& key, Object& out);
BSET_API bool object_get_array(Object const& obj, std::string const& key, Array& out);

BSET_API std::string const& object_get_str_or_throw(Object const& obj, std::string const& key);
BSET_API long long object_get_int64_or_throw(Object const& obj, std::string const& key);
BSET_API unsigned long long object_get_uint64_or_throw(Object const& obj, std::string const& key);
BSET_API bool object_get_bool_or_throw(Object const& obj, std::string const& key);
BSET_API Object const& object_get_object_or_throw(Object const& obj, std::string const& key);
BSET_API Array const& object_get_array_or_throw(Object const& obj, std::string const& key);

}  // namespace json_spirit

#endif
