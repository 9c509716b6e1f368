#ifndef PLATFORM_JSON_JSON_TEXT_H
#define PLATFORM_JSON_JSON_TEXT_H

#include <cstddef>
#include <string>
#include <vector>

#include <yajl/yajl_gen.h>

#include "platform/export.h"
#include "platform/json/value.h"

// Text of a value: compact, keys in the object's (sorted) order; "" when
// the value cannot be written (nested too deep, a number not finite).
BSET_API std::string JSON_Dump(json_spirit::Value const& value);

// Parses one complete JSON text. On failure `out` is unchanged and, when
// `error` is given, it receives yajl's description of the fault. Only what
// JSON_Dump can write back is accepted: nesting deeper than 127 levels and
// numbers beyond the range of a double are refused.
BSET_API bool JSON_Parse(std::string const& text, json_spirit::Value& out);
BSET_API bool JSON_Parse(char const* text, size_t length, json_spirit::Value& out, std::string* error);

// A later value of a key its object already holds. `path` names that object
// from the root: member names, and array indices in decimal (the root
// object's path is empty). Inside a value that is itself a repeat, the path
// still reads from the root through the repeated key's name.
struct JSON_Repeated_Key {
  std::vector<std::string> path;
  std::string key;
  json_spirit::Value value;
};

// As above; with `repeats` given, an object keeps the first value of a key
// it holds more than once and every later value is appended to `repeats`
// in document order (set documents write some keys twice on purpose). With
// `repeats` null the last value wins, as for the other overloads. On
// failure `repeats` is unchanged too.
BSET_API bool JSON_Parse(char const* text, size_t length, json_spirit::Value& out, std::string* error,
                         std::vector<JSON_Repeated_Key>* repeats);

// Writes a value into an open generator. Integers made unsigned are written
// as unsigned, secure strings as plain strings.
BSET_API yajl_gen_status yajl_gen_value(yajl_gen gen, json_spirit::Value const& value);

#endif
