#include "server/view_params.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "platform/sql/uuid_binary.h"
#include "server/set_document_validator.h"

using json_spirit::Value;

bool View_Params::only(std::vector<std::string> const& known, Catalog_Error& error) const {
  for (auto const& p : params_)
    if (std::find(known.begin(), known.end(), p.first) == known.end())
      return invalid(error, "param: unknown parameter '" + p.first + "' of view '" + view_ + "'");
  return true;
}

Value const* View_Params::given(char const* key) const {
  auto it = params_.find(key);
  if (it == params_.end()) return nullptr;
  Value const* v = &it->second;
  if (v->is_null() || (v->type() == json_spirit::str_type && v->get_str().empty())) return nullptr;
  return v;
}

bool View_Params::uuid(char const* key, Binding_Value& out, bool& present, Catalog_Error& error) const {
  Value const* v = given(key);
  present = v != nullptr;
  if (!v) return true;
  std::basic_string<unsigned char> bytes;
  if (v->type() != json_spirit::str_type || !Set_Document_Validator::is_uuid(v->get_str()) ||
      !UUID_Binary::parse(v->get_str(), bytes))
    return invalid(error, std::string(key) + ": not a UUID");
  out = Binding_Value(bytes);
  return true;
}

bool View_Params::text(char const* key, std::string& out, bool& present, Catalog_Error& error) const {
  Value const* v = given(key);
  present = v != nullptr;
  if (!v) return true;
  if (v->type() != json_spirit::str_type) return invalid(error, std::string(key) + ": not a string");
  out = v->get_str();
  return true;
}

bool View_Params::time(char const* key, std::string& out, bool& present, Catalog_Error& error) const {
  if (!text(key, out, present, error)) return false;
  long long seconds = 0;
  if (present && !Set_Document_Validator::parse_time(out, seconds))
    return invalid(error, std::string(key) + ": not a time \"YYYY-MM-DD HH:MM:SS\"");
  return true;
}

bool View_Params::count(char const* key, long long& out, Catalog_Error& error) const {
  Value const* v = given(key);
  if (!v) return true;
  if (v->type() == json_spirit::int_type && !v->is_uint64()) {
    out = v->get_int64();
  } else if (v->type() == json_spirit::str_type) {
    std::string const& t = v->get_str();
    char* end = nullptr;
    errno = 0;
    out = std::strtoll(t.c_str(), &end, 10);
    if (errno != 0 || !end || *end != 0) return invalid(error, std::string(key) + ": not an integer");
  } else {
    return invalid(error, std::string(key) + ": not an integer");
  }
  if (out < 0) return invalid(error, std::string(key) + ": negative");
  return true;
}

bool View_Params::page_size(long long& out, Catalog_Error& error) const {
  out = DEFAULT_PAGE;
  if (!count("limit", out, error)) return false;
  if (out < 1 || out > LARGEST_PAGE)
    return invalid(error, "limit: pages hold 1 to " + std::to_string(LARGEST_PAGE) + " rows; follow \"next\" for more");
  return true;
}
