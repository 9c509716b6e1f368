#include "server/restore_plan_view.h"

#include <cerrno>
#include <cstdlib>

#include "backup/backup_set/common/restore_candidate_reader.h"
#include "backup/backup_set/common/restore_plan.h"
#include "backup/backup_set/common/restore_point_selector.h"
#include "platform/time/iso8601.h"
#include "server/set_document_validator.h"

using json_spirit::Object;
using json_spirit::Value;

namespace {

char const* const KNOWN[] = {"host_uuid", "resource_uuid", "time", "scn", "lsn"};

bool invalid(Catalog_Error& error, std::string const& why) { return error.set(Catalog_Error::INVALID_PARAMS, why); }

// Absent, null and "" all mean "not given", as for the other views.
Value const* given(Object const& params, char const* key) {
  auto it = params.find(key);
  if (it == params.end()) return nullptr;
  Value const& v = it->second;
  if (v.is_null() || (v.type() == json_spirit::str_type && v.get_str().empty())) return nullptr;
  return &v;
}

bool uuid_param(Object const& params, char const* key, std::string& out, Catalog_Error& error) {
  Value const* v = given(params, key);
  if (!v) return invalid(error, std::string(key) + ": missing");
  if (v->type() != json_spirit::str_type || !Set_Document_Validator::is_uuid(v->get_str()))
    return invalid(error, std::string(key) + ": not a UUID");
  out = v->get_str();
  return true;
}

bool scn_param(Value const& v, long long& scn, Catalog_Error& error) {
  if (v.type() == json_spirit::int_type && !v.is_uint64()) {
    scn = v.get_int64();
    return true;
  }
  if (v.type() == json_spirit::str_type) {
    std::string const& t = v.get_str();
    char* end = nullptr;
    errno = 0;
    scn = std::strtoll(t.c_str(), &end, 10);
    if (errno == 0 && end && *end == 0 && end != t.c_str()) return true;
  }
  return invalid(error, "scn: not a 64-bit integer");
}

}  // namespace

bool Restore_Plan_View::parse(Object const& params, Request& request, Catalog_Error& error) {
  for (auto const& p : params) {
    bool known = false;
    for (char const* k : KNOWN) known = known || p.first == k;
    if (!known) return invalid(error, "param: unknown parameter '" + p.first + "' of view 'restore_plan'");
  }
  if (!uuid_param(params, "host_uuid", request.host_uuid, error) ||
      !uuid_param(params, "resource_uuid", request.resource_uuid, error))
    return false;

  Value const* time = given(params, "time");
  Value const* scn = given(params, "scn");
  Value const* lsn = given(params, "lsn");
  int targets = (time ? 1 : 0) + (scn ? 1 : 0) + (lsn ? 1 : 0);
  if (targets == 0) return invalid(error, "target: missing; give one of time, scn and lsn");
  if (targets > 1) return invalid(error, "target: give only one of time, scn and lsn");

  if (time) {
    long long seconds = 0;
    if (time->type() != json_spirit::str_type || !iso8601_to_posix_time(time->get_str().c_str(), seconds))
      return invalid(error, "time: not a time \"YYYY-MM-DD HH:MM:SS\"");
    request.target = Restore_Target::at_time(seconds);
  } else if (scn) {
    long long value = 0;
    if (!scn_param(*scn, value, error)) return false;
    request.target = Restore_Target::at_scn(value);
  } else {
    unsigned long long value = 0;
    if (lsn->type() != json_spirit::str_type || !Restore_Target::parse_lsn(lsn->get_str(), value))
      return invalid(error, "lsn: not a log sequence number \"X/Y\"");
    request.target = Restore_Target::at_lsn(value);
  }
  return true;
}

bool Restore_Plan_View::answer(database::sql::Connection& connection, Request const& request, Value& result,
                               Catalog_Error& error) {
  std::string why;
  Restore_Candidate_Reader reader;
  if (!reader.read(connection, request.host_uuid, request.resource_uuid, why))
    return error.set(Catalog_Error::STORAGE_FAILED, why);
  Restore_Plan plan;
  if (!Restore_Point_Selector::plan(reader.sets(), request.target, plan, why))
    return error.set(Catalog_Error::NOT_FOUND, why);
  result = plan.value();
  return true;
}
