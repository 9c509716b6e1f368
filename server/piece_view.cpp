#include "server/piece_view.h"

#include <memory>
#include <string>
#include <vector>

#include "backup/backup_set/common/backup_piece.h"
#include "platform/database/connection.h"
#include "platform/sql/select_sql.h"
#include "server/page_cursor.h"
#include "server/piece_path.h"
#include "server/view_params.h"

using database::sql::Connection;
using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

char const kDir[] = "dir";
char const kFile[] = "file";

bool failed(Connection& c, Catalog_Error& error) { return error.set(Catalog_Error::STORAGE_FAILED, c.last_error()); }

// The cursor after a piece: its path and id.
bool piece_key(std::string const& token, std::string const& view, std::string& path, long long& id,
               Catalog_Error& error) {
  std::vector<std::string> key;
  char* end = nullptr;
  if (Page_Cursor::decode(token, view, 2, key) && !key[1].empty()) {
    id = std::strtoll(key[1].c_str(), &end, 10);
    if (end && *end == 0) {
      path = key[0];
      return true;
    }
  }
  return View_Params::invalid(error, "cursor: not a cursor of view '" + view + "'; pass \"next\" as it was given");
}

// Whether the set is stored and complete: the views show nothing of the
// others.
bool complete_set(Connection& c, Binding_Value const& set, std::string const& uuid, Catalog_Error& error) {
  SQL sql("SELECT 1 FROM backup_set WHERE uuid=:uuid AND status='complete'");
  sql.bind(":uuid", set);
  Value v;
  if (!c.query_value(sql, v)) return failed(c, error);
  if (v.is_null()) return error.set(Catalog_Error::NOT_FOUND, "uuid: no complete set " + uuid);
  return true;
}

std::unique_ptr<Select_SQL> piece_select(Binding_Value const& set) {
  auto sql = std::make_unique<Select_SQL>("backup_piece", "p");
  Backup_Piece::init_select_sql(*sql, "p");
  sql->where("p.set_uuid=:uuid", false).bind(":uuid", set);
  return sql;
}

// Pieces after (path, id) in (path, id) order; the first term bounds the
// index range, the second sorts out the pieces of the same path.
void after_piece(Select_SQL& sql, char const* path_column, std::string const& path, long long id, bool same_path_too) {
  sql.where((std::string(path_column) + ">=:after_path").c_str(), false).bind(":after_path", Binding_Value(path));
  if (!same_path_too)
    sql.where(("(" + std::string(path_column) + ">:after_path OR p.id>:after_id)").c_str(), false)
        .bind(":after_id", Binding_Value(id));
}

bool pieces(Connection& c, View_Params const& p, Binding_Value const& set, Value& result, Catalog_Error& error) {
  long long limit = 0, offset = 0;
  std::string cursor;
  bool has_cursor = false;
  if (!p.page_size(limit, error) || !p.count("offset", offset, error) ||
      !p.text("cursor", cursor, has_cursor, error))
    return false;
  std::unique_ptr<Select_SQL> sql = piece_select(set);
  // Pieces of a staged set are not shown, like the set itself.
  sql->inner_join("backup_set", "b", "b.uuid=p.set_uuid");
  sql->where("b.status='complete'", false);
  if (has_cursor) {
    if (offset > 0) return View_Params::invalid(error, "offset: not with a cursor; the cursor says where to go on");
    std::string path;
    long long id = 0;
    if (!piece_key(cursor, "pieces", path, id, error)) return false;
    after_piece(*sql, "p.path", path, id, false);
  }
  sql->order_by("p.path").order_by("p.id").limit(limit + 1);
  if (offset > 0) sql->offset(offset);
  Array rows;
  if (!c.query_rows(*sql, rows, Backup_Piece::result_handler())) return failed(c, error);
  Object o;
  if (static_cast<long long>(rows.size()) > limit) {
    rows.pop_back();
    Object const& last = rows.back().get_obj();
    o["next"] = Page_Cursor::encode(
        "pieces", {last.at("path").get_str(), std::to_string(last.at("id").get_int64())});
  }
  o["rows"] = Value(std::move(rows));
  result = Value(std::move(o));
  return true;
}

Value dir_entry(Object const& row) {
  Object e;
  std::string path = row.at("path").get_str();
  e["type"] = kDir;
  e["name"] = Piece_Path::name(path);
  e["path"] = path;
  e["pieces"] = row.at("pieces");
  e["size"] = row.at("size");
  return Value(std::move(e));
}

Value file_entry(Value piece) {
  Object& e = piece.get_obj();
  e.erase("set_uuid");
  e["type"] = kFile;
  e["name"] = Piece_Path::name(e.at("path").get_str());
  return piece;
}

bool dirs(Connection& c, Binding_Value const& set, char const* condition, std::string const& value,
          std::string const* after, long long rows, Array& out) {
  Select_SQL sql("backup_piece_dir", "d");
  sql.select("d.path,d.pieces,d.size");
  sql.where("d.set_uuid=:uuid", false).bind(":uuid", set);
  sql.where(condition, false).bind(":value", Binding_Value(value));
  if (after) sql.where("d.path>:after_path", false).bind(":after_path", Binding_Value(*after));
  sql.order_by("d.path").limit(rows);
  return c.query_rows(sql, out, nullptr);
}

bool children(Connection& c, View_Params const& p, Binding_Value const& set, std::string const& uuid, Value& result,
              Catalog_Error& error) {
  long long limit = 0;
  std::string given_dir, cursor;
  bool has_dir = false, has_cursor = false;
  if (!p.page_size(limit, error) || !p.text("dir", given_dir, has_dir, error) ||
      !p.text("cursor", cursor, has_cursor, error))
    return false;
  // The cursor: the last entry's path, its type, and its id when a piece.
  bool after = false, after_was_dir = false;
  std::string after_path;
  long long after_id = 0;
  if (!complete_set(c, set, uuid, error)) return false;
  // The directory meant: the first of the names the caller may mean that
  // the set has (the root always is).
  std::string dir;
  bool found = false;
  for (std::string const& d : Piece_Path::directories(given_dir)) {
    Array hit;
    if (!d.empty() && !dirs(c, set, "d.path=:value", d, nullptr, 1, hit)) return failed(c, error);
    if (d.empty() || !hit.empty()) {
      dir = d;
      found = true;
      break;
    }
  }
  if (!found) return error.set(Catalog_Error::NOT_FOUND, "dir: no directory '" + given_dir + "' in set " + uuid);
  if (has_cursor) {
    std::vector<std::string> key;
    char* end = nullptr;
    if (!Page_Cursor::decode(cursor, "children:" + dir, 3, key) || (key[1] != kDir && key[1] != kFile))
      return View_Params::invalid(error, "cursor: not a cursor of this directory; pass \"next\" as it was given");
    after = true;
    after_path = key[0];
    after_was_dir = key[1] == kDir;
    after_id = std::strtoll(key[2].c_str(), &end, 10);
    if (key[2].empty() || !end || *end != 0)
      return View_Params::invalid(error, "cursor: not a cursor of this directory; pass \"next\" as it was given");
  }

  // Both kinds of entry come by path from their own index; a page merges
  // the first limit + 1 of each.
  long long want = limit + 1;
  Array sub;
  if (!dirs(c, set, "d.parent=:value", dir, after ? &after_path : nullptr, want, sub)) return failed(c, error);
  std::unique_ptr<Select_SQL> sql = piece_select(set);
  sql->where("p.dir=:dir", false).bind(":dir", Binding_Value(dir));
  if (after) after_piece(*sql, "p.path", after_path, after_id, after_was_dir);
  sql->order_by("p.path").order_by("p.id").limit(want);
  Array files;
  if (!c.query_rows(*sql, files, Backup_Piece::result_handler())) return failed(c, error);

  Array rows;
  size_t d = 0, f = 0;
  while (static_cast<long long>(rows.size()) < want && (d < sub.size() || f < files.size())) {
    bool take_dir = f == files.size() ||
                    (d < sub.size() && sub[d].get_obj().at("path").get_str() <= files[f].get_obj().at("path").get_str());
    rows.push_back(take_dir ? dir_entry(sub[d++].get_obj()) : file_entry(std::move(files[f++])));
  }
  Object o;
  if (static_cast<long long>(rows.size()) > limit) {
    rows.pop_back();
    Object const& last = rows.back().get_obj();
    bool last_dir = last.at("type").get_str() == kDir;
    o["next"] = Page_Cursor::encode("children:" + dir,
                                    {last.at("path").get_str(), last_dir ? kDir : kFile,
                                     last_dir ? std::string("0") : std::to_string(last.at("id").get_int64())});
  }
  o["rows"] = Value(std::move(rows));
  result = Value(std::move(o));
  return true;
}

bool path_entries(Connection& c, View_Params const& p, Binding_Value const& set, std::string const& uuid,
                  Value& result, Catalog_Error& error) {
  std::string path;
  bool has_path = false;
  if (!p.text("path", path, has_path, error)) return false;
  if (!has_path) return View_Params::invalid(error, "path: missing");
  if (!complete_set(c, set, uuid, error)) return false;
  Array found, rows;
  if (!dirs(c, set, "d.path=:value", path, nullptr, 1, found)) return failed(c, error);
  for (Value const& d : found) rows.push_back(dir_entry(d.get_obj()));
  std::unique_ptr<Select_SQL> sql = piece_select(set);
  sql->where("p.path=:path", false).bind(":path", Binding_Value(path));
  sql->order_by("p.id");
  Array files;
  if (!c.query_rows(*sql, files, Backup_Piece::result_handler())) return failed(c, error);
  for (Value& f : files) rows.push_back(file_entry(std::move(f)));
  Object o;
  o["rows"] = Value(std::move(rows));
  result = Value(std::move(o));
  return true;
}

}  // namespace

bool Piece_View::answer(Connection& c, std::string const& view, Object const& params, Value& result,
                        Catalog_Error& error) {
  View_Params p(params, view);
  std::vector<std::string> known = {"uuid", "limit", "cursor"};
  if (view == "pieces") known.push_back("offset");
  if (view == "children") known.push_back("dir");
  if (view == "path") known = {"uuid", "path"};
  if (!p.only(known, error)) return false;
  Binding_Value set;
  bool has_uuid = false;
  if (!p.uuid("uuid", set, has_uuid, error)) return false;
  if (!has_uuid) return View_Params::invalid(error, "uuid: missing");
  std::string uuid = p.given("uuid")->get_str();
  if (view == "pieces") return pieces(c, p, set, result, error);
  if (view == "children") return children(c, p, set, uuid, result, error);
  return path_entries(c, p, set, uuid, result, error);
}
