#include "platform/rest/query_string_builder.h"

#include <cstdio>

#include "platform/rest/percent_encoder.h"

Query_String_Builder::Query_String_Builder(std::string& target, bool has_params)
    : target_(target), has_params_(has_params) {}

bool Query_String_Builder::begin(char const* name, bool encode_name, char const* prefix) {
  if (!name || !*name) return false;
  if (has_params_)
    target_.push_back('&');
  else
    has_params_ = true;
  if (prefix && *prefix) {
    if (encode_name)
      Percent_Encoder::encode(prefix, Percent_Encoder::QUERY, target_);
    else
      target_.append(prefix);
  }
  if (encode_name)
    Percent_Encoder::encode(name, Percent_Encoder::QUERY, target_);
  else
    target_.append(name);
  return true;
}

Query_String_Builder& Query_String_Builder::append(char const* name, char const* value, bool encode_name,
                                                   bool encode_value, char const* prefix) {
  if (!begin(name, encode_name, prefix)) return *this;
  if (value) {
    target_.push_back('=');
    if (*value) {
      if (encode_value)
        Percent_Encoder::encode(value, Percent_Encoder::QUERY, target_);
      else
        target_.append(value);
    }
  }
  return *this;
}

Query_String_Builder& Query_String_Builder::append(char const* name, long long number, bool encode_name,
                                                   char const* prefix) {
  if (!begin(name, encode_name, prefix)) return *this;
  char buf[32];
  int n = snprintf(buf, sizeof buf, "=%lld", number);
  target_.append(buf, static_cast<size_t>(n));
  return *this;
}

Query_String_Builder& Query_String_Builder::append(char const* name, bool flag, bool encode_name, char const* prefix) {
  if (!begin(name, encode_name, prefix)) return *this;
  target_.append(flag ? "=1" : "=0");
  return *this;
}
