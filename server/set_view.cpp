#include "server/set_view.h"

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_result_handler.h"
#include "platform/database/connection.h"
#include "platform/sql/select_sql.h"
#include "platform/sql/uuid_binary.h"
#include "server/page_cursor.h"
#include "server/set_document_validator.h"
#include "server/view_params.h"

using database::sql::Connection;
using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

char const kView[] = "sets";
// The two stretches of the order: sets with a start time, then those without.
char const kTimed[] = "T";
char const kUntimed[] = "N";

// The set handler's own value table plus the JSON columns a view shows that
// the records do not read ("uname", "lsb" and "parents" as JSON, not text).
Key2_Value_T<int> const* view_values() {
  int const JSON = database::sql::Query_Result_Handler::VT_JSON;
  static std::vector<Key2_Value_T<int>> const table = Backup_Set_Result_Handler::default_values_and(
      {{"uname", JSON}, {"lsb", JSON}, {"parents", JSON}, {"application", JSON}});
  return table.data();
}

Backup_Set_Result_Handler& view_handler() {
  static Backup_Set_Result_Handler handler(nullptr, view_values(), nullptr, 0);
  return handler;
}

Binding_Value uuid_bytes(std::string const& text) {
  std::basic_string<unsigned char> bytes;
  UUID_Binary::parse(text, bytes);
  return Binding_Value(bytes);
}

// The filters of the request, kept to build each statement of a page.
struct Filters {
  std::vector<std::pair<std::string, Binding_Value>> equal;  // column, value
  std::string since, until;
  bool has_since = false, has_until = false;
};

std::unique_ptr<Select_SQL> base_select(Filters const& f) {
  auto sql = std::make_unique<Select_SQL>("backup_set", "b");
  Backup_Set::init_select_sql(*sql, "b");
  sql->add_key("b.catalog_module", "catalog_module");
  sql->add_key("b.parents", "parents");
  sql->add_key("b.application", "application");
  sql->where("b.status='complete'", false);
  for (auto const& e : f.equal) sql->where(("b." + e.first + "=:" + e.first).c_str(), false).bind(":" + e.first, e.second);
  if (f.has_since) sql->where("b.backup_start_time>=:since", false).bind(":since", Binding_Value(f.since));
  if (f.has_until) sql->where("b.backup_start_time<:until", false).bind(":until", Binding_Value(f.until));
  return sql;
}

// Appends up to `rows` sets of one stretch after the key (time, uuid);
// an empty uuid starts the stretch at its beginning.
bool read_stretch(Connection& c, Filters const& f, bool timed, std::string const& time, std::string const& uuid,
                  long long rows, long long offset, Array& out) {
  std::unique_ptr<Select_SQL> sql = base_select(f);
  if (timed) {
    sql->where("b.backup_start_time IS NOT NULL", false);
    if (!uuid.empty()) {
      // The first term bounds the index range; the second only sorts out
      // the sets of the same second.
      sql->where("b.backup_start_time<=:after_time", false).bind(":after_time", Binding_Value(time));
      sql->where("(b.backup_start_time<:after_time OR b.uuid>:after_uuid)", false)
          .bind(":after_uuid", uuid_bytes(uuid));
    }
    // PostgreSQL's DESC puts nulls first unless told; the index says last.
    if (c.dialect() == Dialect::PostgreSQL)
      sql->order_by("b.backup_start_time DESC NULLS LAST");
    else
      sql->order_by("b.backup_start_time", true);
  } else {
    sql->where("b.backup_start_time IS NULL", false);
    if (!uuid.empty()) sql->where("b.uuid>:after_uuid", false).bind(":after_uuid", uuid_bytes(uuid));
  }
  sql->order_by("b.uuid");
  sql->limit(rows);
  if (offset > 0) sql->offset(offset);
  Array got;
  if (!c.query_rows(*sql, got, &view_handler())) return false;
  for (Value& v : got) out.push_back(std::move(v));
  return true;
}

// The storages of a page's sets under each row's "storages" (in the order
// they were stored): one statement per 1,000 sets, since a statement's
// parameters are not unlimited (PostgreSQL's description of 10,000 of them
// is larger than libpq takes).
bool add_storages(Connection& c, Array& rows) {
  size_t const per_statement = 1000;
  std::map<std::string, Array> by_set;
  for (size_t from = 0; from < rows.size(); from += per_statement) {
    size_t to = std::min(rows.size(), from + per_statement);
    Select_SQL sql("backup_set_storage", nullptr);
    sql.select("set_uuid,pool_uuid,state,size,upstream_pool_uuid");
    std::string in = "set_uuid IN (";
    for (size_t i = from; i < to; ++i) {
      std::string name = ":s" + std::to_string(i - from);
      in += (i > from ? "," : "") + name;
      sql.bind(name, uuid_bytes(rows[i].get_obj().at("uuid").get_str()));
    }
    sql.where((in + ")").c_str(), false);
    sql.order_by("set_uuid").order_by("id");
    Array storages;
    if (!c.query_rows(sql, storages, &view_handler())) return false;
    for (Value& s : storages) {
      Object& o = s.get_obj();
      std::string set = o.at("set_uuid").get_str();
      o.erase("set_uuid");
      by_set[set].push_back(std::move(s));
    }
  }
  for (Value& row : rows) {
    Object& o = row.get_obj();
    auto it = by_set.find(o.at("uuid").get_str());
    o["storages"] = it == by_set.end() ? Value(Array()) : Value(std::move(it->second));
  }
  return true;
}

}  // namespace

bool Set_View::answer(Connection& c, Object const& params, Value& result, Catalog_Error& error) {
  View_Params p(params, kView);
  if (!p.only({"uuid", "host_uuid", "resource_uuid", "name", "catalog_module", "since", "until", "limit", "offset",
               "cursor"},
              error))
    return false;
  Filters f;
  for (char const* key : {"uuid", "host_uuid", "resource_uuid"}) {
    Binding_Value v;
    bool present = false;
    if (!p.uuid(key, v, present, error)) return false;
    if (present) f.equal.emplace_back(key, v);
  }
  std::string name, cursor;
  bool has_name = false, has_cursor = false;
  if (!p.text("name", name, has_name, error) || !p.text("cursor", cursor, has_cursor, error) ||
      !p.time("since", f.since, f.has_since, error) || !p.time("until", f.until, f.has_until, error))
    return false;
  if (has_name) f.equal.emplace_back("name", Binding_Value(name));
  // Present and "" selects the sets of the kinds without a module name.
  auto module = params.find("catalog_module");
  if (module != params.end() && !module->second.is_null()) {
    if (module->second.type() != json_spirit::str_type) return View_Params::invalid(error, "catalog_module: not a string");
    f.equal.emplace_back("catalog_module", Binding_Value(module->second.get_str()));
  }
  long long limit = 0, offset = 0;
  if (!p.page_size(limit, error) || !p.count("offset", offset, error)) return false;

  // Where the page starts: a stretch and the key of the row before it.
  bool timed = true;
  std::string after_time, after_uuid;
  if (has_cursor) {
    if (offset > 0) return View_Params::invalid(error, "offset: not with a cursor; the cursor says where to go on");
    std::vector<std::string> key;
    long long seconds = 0;
    if (!Page_Cursor::decode(cursor, kView, 3, key) || (key[0] != kTimed && key[0] != kUntimed) ||
        !Set_Document_Validator::is_uuid(key[2]) ||
        (key[0] == kTimed && !Set_Document_Validator::parse_time(key[1], seconds)) ||
        (key[0] == kUntimed && !key[1].empty()))
      return View_Params::invalid(error, "cursor: not a cursor of view 'sets'; pass \"next\" as it was given");
    timed = key[0] == kTimed;
    after_time = key[1];
    after_uuid = key[2];
  }

  // One row more than the page says whether another page follows.
  Array rows;
  long long want = limit + 1;
  if (timed) {
    if (!read_stretch(c, f, true, after_time, after_uuid, want, offset, rows))
      return error.set(Catalog_Error::STORAGE_FAILED, c.last_error());
  }
  bool untimed_possible = !f.has_since && !f.has_until;
  if (untimed_possible && static_cast<long long>(rows.size()) < want) {
    // An offset beyond the timed sets continues into the untimed ones.
    long long skip = 0;
    if (offset > 0 && rows.empty()) {
      Array n;
      std::unique_ptr<Select_SQL> counted = base_select(f);
      counted->select("count(*) AS n").where("b.backup_start_time IS NOT NULL", false);
      if (!c.query_rows(*counted, n, nullptr)) return error.set(Catalog_Error::STORAGE_FAILED, c.last_error());
      skip = offset - n.at(0).get_obj().at("n").get_int64();
      if (skip < 0) skip = 0;
    }
    if (!read_stretch(c, f, false, std::string(), timed ? std::string() : after_uuid, want - rows.size(), skip,
                      rows))
      return error.set(Catalog_Error::STORAGE_FAILED, c.last_error());
  }
  bool more = static_cast<long long>(rows.size()) > limit;
  if (more) rows.pop_back();
  if (!add_storages(c, rows)) return error.set(Catalog_Error::STORAGE_FAILED, c.last_error());

  Object o;
  if (more) {
    Object const& last = rows.back().get_obj();
    Value const& t = last.at("backup_start_time");
    bool last_timed = t.type() == json_spirit::str_type;
    o["next"] = Page_Cursor::encode(
        kView, {last_timed ? kTimed : kUntimed, last_timed ? t.get_str() : std::string(), last.at("uuid").get_str()});
  }
  o["rows"] = Value(std::move(rows));
  result = Value(std::move(o));
  return true;
}
