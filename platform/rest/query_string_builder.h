#ifndef PLATFORM_REST_QUERY_STRING_BUILDER_H
#define PLATFORM_REST_QUERY_STRING_BUILDER_H

#include <string>

#include "platform/export.h"

// Appends name=value pairs to a query string it refers to, joining them with
// '&'. Names and values are percent-encoded (option 3) when asked.
class BSET_API Query_String_Builder {
 public:
  // `has_params`: the target holds a pair already, so the next one needs '&'.
  Query_String_Builder(std::string& target, bool has_params);

  // A null or empty name appends nothing. A null value leaves the bare name;
  // an empty one leaves "name=". `prefix` goes before the name.
  Query_String_Builder& append(char const* name, char const* value, bool encode_name, bool encode_value,
                               char const* prefix);
  // The number in decimal, never encoded.
  Query_String_Builder& append(char const* name, long long number, bool encode_name, char const* prefix);
  Query_String_Builder& append(char const* name, int number, bool encode_name, char const* prefix) {
    return append(name, static_cast<long long>(number), encode_name, prefix);
  }
  // 1 or 0.
  Query_String_Builder& append(char const* name, bool flag, bool encode_name, char const* prefix);
  // A text value needs both encoding switches; this keeps it from quietly
  // becoming the boolean form.
  template <typename T>
  Query_String_Builder& append(char const*, T const*, bool, char const*) = delete;

  bool has_params() const { return has_params_; }
  std::string const& str() const { return target_; }

 private:
  bool begin(char const* name, bool encode_name, char const* prefix);

  std::string& target_;
  bool has_params_;
};

#endif
