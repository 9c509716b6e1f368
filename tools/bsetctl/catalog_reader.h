#ifndef TOOLS_BSETCTL_CATALOG_READER_H
#define TOOLS_BSETCTL_CATALOG_READER_H

#include <functional>
#include <memory>
#include <string>

#include "platform/json/value.h"
#include "tools/bsetctl/catalog_endpoint.h"

namespace CLI {
class App;
}
class Catalog_Operator;
class Catalog_Store;

// The catalogue views of module "backup_set" as the reading commands see
// them, either straight from the catalogue database (--db PATH|URL, read
// through the same store and views catalogd answers with) or from a running
// catalogd (--server URL). Both give the same rows.
class Catalog_Reader {
 public:
  struct Options {
    std::string db;
    Catalog_Endpoint::Options server;
    bool verbose = false;
  };
  // Declares --db and --server/--token (one or the other) on `cmd`.
  static void declare(CLI::App* cmd, Options& o);

  Catalog_Reader();
  ~Catalog_Reader();
  Catalog_Reader(Catalog_Reader const&) = delete;
  Catalog_Reader& operator=(Catalog_Reader const&) = delete;

  // False, with `error` saying what to do, when the catalogue or server
  // cannot be reached (an SQLite file that does not exist is not created).
  bool open(Options const& options, std::string& error);

  // One answer of a view: {"rows": [...], "next": ...} for the paged views.
  bool select(char const* view, json_spirit::Object const& params, json_spirit::Value& result, std::string& error);
  // Every row of a paged view, handed over a page at a time (in order) so
  // that a large catalogue never sits in memory whole; `page` returns false
  // to stop early. `params` may hold "limit" (the page size).
  bool each_page(char const* view, json_spirit::Object params,
                 std::function<bool(json_spirit::Array const& rows)> const& page, std::string& error);

  // The row of the complete set `uuid` in the "sets" view (with its
  // storages and its kind's keys). False with `error` when it is not there
  // or the catalogue failed.
  bool find_set(std::string const& uuid, json_spirit::Object& row, std::string& error);

  // Where the rows come from, for messages.
  std::string const& source() const { return source_; }

 private:
  std::unique_ptr<Catalog_Store> store_;
  Catalog_Endpoint endpoint_;
  std::unique_ptr<Catalog_Operator> reader_;
  std::string source_;
  bool verbose_ = false;
};

#endif
