#ifndef SERVER_VIEW_PARAMS_H
#define SERVER_VIEW_PARAMS_H

#include <string>
#include <vector>

#include "platform/json/value.h"
#include "platform/sql/binding_value.h"
#include "server/catalog_error.h"

// The parameters of a catalogue view, as JSON-RPC gives them (typed) and as
// REST gives them (query text): absent, null and "" all mean "not given".
// Each reader answers false with INVALID_PARAMS naming the parameter.
class View_Params {
 public:
  View_Params(json_spirit::Object const& params, std::string view) : params_(params), view_(std::move(view)) {}

  // Refuses a parameter that is not in `known`.
  bool only(std::vector<std::string> const& known, Catalog_Error& error) const;
  json_spirit::Value const* given(char const* key) const;
  // A UUID as its 16 bytes; `present` says whether it was given.
  bool uuid(char const* key, Binding_Value& out, bool& present, Catalog_Error& error) const;
  // A text as it is; `present` says whether it was given.
  bool text(char const* key, std::string& out, bool& present, Catalog_Error& error) const;
  // A time "YYYY-MM-DD HH:MM:SS".
  bool time(char const* key, std::string& out, bool& present, Catalog_Error& error) const;
  // A count of rows: 0 or more; `out` keeps its value when none is given.
  bool count(char const* key, long long& out, Catalog_Error& error) const;
  // The page size ("limit"): DEFAULT_PAGE when none is given, 1 to
  // LARGEST_PAGE. Every paged view takes the same sizes.
  static constexpr long long DEFAULT_PAGE = 1000;
  static constexpr long long LARGEST_PAGE = 10000;
  bool page_size(long long& out, Catalog_Error& error) const;

  static bool invalid(Catalog_Error& error, std::string const& why) {
    return error.set(Catalog_Error::INVALID_PARAMS, why);
  }

 private:
  json_spirit::Object const& params_;
  std::string view_;
};

#endif
