#ifndef PLATFORM_JSON_JSON_TEXT_H
#define PLATFORM_JSON_JSON_TEXT_H

#include <cstddef>
#include <string>

#include <yajl/yajl_gen.h>

#include "platform/export.h"
#include "platform/json/value.h"

// Text of a value: compact, keys in the object's (sorted) order.
BSET_API std::string JSON_Dump(json_spirit::Value const& value);

// Parses one complete JSON text. On failure `out` is unchanged and, when
// `error` is given, it receives yajl's description of the fault.
BSET_API bool JSON_Parse(std::string const& text, json_spirit::Value& out);
BSET_API bool JSON_Parse(char const* text, size_t length, json_spirit::Value& out, std::string* error);

// Writes a value into an open generator. Integers made unsigned are written
// as unsigned, secure strings as plain strings.
BSET_API yajl_gen_status yajl_gen_value(yajl_gen gen, json_spirit::Value const& value);

#endif
