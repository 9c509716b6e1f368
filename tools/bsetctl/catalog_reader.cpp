#include "tools/bsetctl/catalog_reader.h"

#include <sys/stat.h>

#include <CLI/CLI.hpp>

#include "backup/backup_set/common/catalog_operator.h"
#include "server/catalog_error.h"
#include "server/catalog_store.h"
#include "tools/bsetctl/error_log.h"

using json_spirit::Object;
using json_spirit::Value;

namespace {

bool is_postgres(std::string const& db) {
  return db.rfind("postgresql://", 0) == 0 || db.rfind("postgres://", 0) == 0;
}

}  // namespace

void Catalog_Reader::declare(CLI::App* cmd, Options& o) {
  CLI::Option* db = cmd->add_option("--db", o.db, "read the catalogue database itself: an SQLite file or a postgresql:// URI");
  CLI::Option* server = Catalog_Endpoint::declare(cmd, o.server, false);
  db->excludes(server);
  cmd->add_flag("--verbose", o.verbose, "show the library's log on stderr");
}

Catalog_Reader::Catalog_Reader() = default;
Catalog_Reader::~Catalog_Reader() = default;

bool Catalog_Reader::open(Options const& options, std::string& error) {
  verbose_ = options.verbose;
  if (!options.db.empty()) {
    struct stat st;
    if (!is_postgres(options.db) && ::stat(options.db.c_str(), &st) != 0) {
      error = "no catalogue at '" + options.db + "' (give the file catalogd serves, or --server URL)";
      return false;
    }
    store_ = Catalog_Store::open(options.db, error, 1);
    if (!store_) {
      error = "cannot open the catalogue '" + options.db + "': " + error;
      return false;
    }
    source_ = options.db;
    return true;
  }
  if (!endpoint_.open(options.server, error)) return false;
  reader_ = endpoint_.make_reader();
  source_ = endpoint_.url();
  return true;
}

bool Catalog_Reader::select(char const* view, Object const& params, Value& result, std::string& error) {
  if (store_) {
    Catalog_Error e;
    if (store_->select("backup_set", view, params, result, e)) return true;
    error = e.message;
    return false;
  }
  Error_Log log(verbose_);
  if (reader_ && reader_->get_view("backup_set", view, params, result)) return true;
  error = log.explain("catalogd at " + source_ + " did not answer the view '" + std::string(view) + "'");
  return false;
}

bool Catalog_Reader::each_page(char const* view, Object params, std::function<bool(json_spirit::Array const&)> const& page,
                               std::string& error) {
  for (;;) {
    Value result;
    if (!select(view, params, result, error)) return false;
    Value const* rows = nullptr;
    if (result.type() == json_spirit::obj_type) {
      Object const& o = result.get_obj();
      auto r = o.find("rows");
      if (r != o.end() && r->second.type() == json_spirit::array_type) rows = &r->second;
    }
    if (!rows) {
      error = "the view '" + std::string(view) + "' answered without rows";
      return false;
    }
    if (!page(rows->get_array())) return true;
    Object const& o = result.get_obj();
    auto next = o.find("next");
    if (next == o.end() || next->second.type() != json_spirit::str_type || next->second.get_str().empty()) return true;
    params.erase("offset");
    params["cursor"] = next->second;
  }
}

bool Catalog_Reader::find_set(std::string const& uuid, Object& row, std::string& error) {
  Object params;
  params["uuid"] = Value(uuid);
  Value result;
  if (!select("sets", params, result, error)) return false;
  if (result.type() == json_spirit::obj_type) {
    auto rows = result.get_obj().find("rows");
    if (rows != result.get_obj().end() && rows->second.type() == json_spirit::array_type &&
        !rows->second.get_array().empty() && rows->second.get_array()[0].type() == json_spirit::obj_type) {
      row = rows->second.get_array()[0].get_obj();
      return true;
    }
  }
  error = "no complete set " + uuid + " in " + source_;
  return false;
}
