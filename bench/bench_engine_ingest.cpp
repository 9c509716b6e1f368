// A large staged set through catalogd on each engine, then browsed.
//
// Ingest: 1,000,000 pieces (BENCH_SCALE scales it) laid out as directories
// of 1,000 files ("/dNNNN/fNNNNNN.dat"), sent the way an agent sends them:
// initialize, add_piece batches of 10,000 through the library's JSON-RPC
// operator, complete. Timed from the first batch to the answer of complete,
// client work included. The yardstick, in the same run and on a catalogue of
// its own: the same rows written straight into backup_piece, by one COPY
// (text format, PQputCopyData) on PostgreSQL and by one prepared INSERT
// stepped per row in one transaction on SQLite. catalogd does more than the
// yardstick (it parses JSON and keeps the directory totals), which is the
// cost being measured.
//
// Browse: the first page (1,000 entries) of the "children" view of the root
// (1,000 directories) and of one nested directory (1,000 files) of that
// set, through GET /d2/r/v2/sets/select; the first request and the median of
// the repeats. The yardstick reads the same two index ranges with the
// engine's own API.

#include <libpq-fe.h>
#include <sqlite3.h>

#include <map>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/catalog_operator.h"
#include "bench/catalogd_bench.h"
#include "bench/commit_sample.h"
#include "platform/json/json_text.h"
#include "platform/rpc/global_json_rpc_channel.h"
#include "platform/sql/uuid_binary.h"

using json_spirit::Object;
using json_spirit::Value;
using namespace bench;

namespace {

long long const kFilesPerDir = 1000;
long long const kBatch = 10000;

struct Layout {
  long long pieces;
  long long dirs;
};

Layout layout() {
  long long pieces = scaled(1000000, kFilesPerDir);
  return {pieces, (pieces + kFilesPerDir - 1) / kFilesPerDir};
}

std::string piece_path(long long i) {
  char buf[48];
  std::snprintf(buf, sizeof buf, "/d%04lld/f%06lld.dat", i / kFilesPerDir, i);
  return buf;
}
std::string piece_dir(long long i) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "/d%04lld", i / kFilesPerDir);
  return buf;
}

std::basic_string<unsigned char> uuid_bytes(std::string const& text) {
  std::basic_string<unsigned char> out;
  UUID_Binary::parse(text, out);
  return out;
}

// ---- the yardstick: the same rows straight into the engine -------------------

bool raw_sqlite_ingest(std::string const& file, std::string const& uuid, long long n, std::string& error) {
  sqlite3* db = nullptr;
  if (sqlite3_open(file.c_str(), &db) != SQLITE_OK) return error = "open", false;
  // The pragmas catalogd's connections use.
  sqlite3_exec(db, "PRAGMA foreign_keys=ON; PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL", nullptr, nullptr,
               nullptr);
  auto key = uuid_bytes(uuid);
  sqlite3_stmt* set = nullptr;
  sqlite3_stmt* ins = nullptr;
  bool ok = sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr) == SQLITE_OK &&
            sqlite3_prepare_v2(db, "INSERT INTO backup_set(uuid,status) VALUES(?1,'staged')", -1, &set, nullptr) ==
                SQLITE_OK &&
            sqlite3_bind_blob(set, 1, key.data(), 16, SQLITE_STATIC) == SQLITE_OK && sqlite3_step(set) == SQLITE_DONE &&
            sqlite3_prepare_v2(db,
                               "INSERT INTO backup_piece(set_uuid,path,object,size,extended_attrs,dir) "
                               "VALUES(?1,?2,?3,?4,?5,?6)",
                               -1, &ins, nullptr) == SQLITE_OK;
  for (long long i = 0; ok && i < n; ++i) {
    std::string path = piece_path(i), dir = piece_dir(i);
    sqlite3_bind_blob(ins, 1, key.data(), 16, SQLITE_STATIC);
    sqlite3_bind_text(ins, 2, path.data(), static_cast<int>(path.size()), SQLITE_STATIC);
    sqlite3_bind_text(ins, 3, "", 0, SQLITE_STATIC);
    sqlite3_bind_int64(ins, 4, 1048576);
    sqlite3_bind_text(ins, 5, "{}", 2, SQLITE_STATIC);
    sqlite3_bind_text(ins, 6, dir.data(), static_cast<int>(dir.size()), SQLITE_STATIC);
    ok = sqlite3_step(ins) == SQLITE_DONE && sqlite3_reset(ins) == SQLITE_OK;
  }
  ok = ok && sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr) == SQLITE_OK;
  if (!ok) error = sqlite3_errmsg(db);
  sqlite3_finalize(set);
  sqlite3_finalize(ins);
  sqlite3_close(db);
  return ok;
}

bool pg_ok(PGconn* c, char const* sql, ExecStatusType want, std::string& error) {
  PGresult* r = PQexec(c, sql);
  bool ok = PQresultStatus(r) == want;
  if (!ok) error = PQerrorMessage(c);
  PQclear(r);
  return ok;
}

bool raw_pg_ingest(std::string const& conninfo, std::string const& uuid, long long n, std::string& error) {
  PGconn* c = PQconnectdb(conninfo.c_str());
  if (PQstatus(c) != CONNECTION_OK) {
    error = PQerrorMessage(c);
    PQfinish(c);
    return false;
  }
  std::string hex = "\\\\x";
  for (unsigned char b : uuid_bytes(uuid)) {
    static char const digits[] = "0123456789abcdef";
    hex += digits[b >> 4];
    hex += digits[b & 15];
  }
  std::string set_row = "INSERT INTO backup_set(uuid,status) VALUES('" + hex.substr(1) + "','staged')";
  bool ok = pg_ok(c, "BEGIN", PGRES_COMMAND_OK, error) && pg_ok(c, set_row.c_str(), PGRES_COMMAND_OK, error) &&
            pg_ok(c, "COPY backup_piece(set_uuid,path,object,size,extended_attrs,dir) FROM STDIN", PGRES_COPY_IN,
                  error);
  std::string buffer;
  buffer.reserve(300 * 1024);
  for (long long i = 0; ok && i < n; ++i) {
    buffer += hex;
    buffer += '\t';
    buffer += piece_path(i);
    buffer += "\t\t1048576\t{}\t";
    buffer += piece_dir(i);
    buffer += '\n';
    if (buffer.size() >= 256 * 1024 || i + 1 == n) {
      ok = PQputCopyData(c, buffer.data(), static_cast<int>(buffer.size())) == 1;
      buffer.clear();
    }
  }
  if (ok) {
    ok = PQputCopyEnd(c, nullptr) == 1;
    PGresult* r = PQgetResult(c);
    ok = ok && PQresultStatus(r) == PGRES_COMMAND_OK;
    if (!ok) error = PQerrorMessage(c);
    PQclear(r);
    while ((r = PQgetResult(c)) != nullptr) PQclear(r);
  }
  ok = ok && pg_ok(c, "COMMIT", PGRES_COMMAND_OK, error);
  PQfinish(c);
  return ok;
}

// The first page of a directory read straight from the engine: the same
// two index ranges the view reads, every column copied out.
struct Raw_Browser {
  virtual ~Raw_Browser() = default;
  virtual bool page(std::string const& dir, long long& rows) = 0;
};

struct Raw_SQLite_Browser : Raw_Browser {
  sqlite3* db = nullptr;
  sqlite3_stmt* dirs = nullptr;
  sqlite3_stmt* files = nullptr;
  std::basic_string<unsigned char> key;
  Raw_SQLite_Browser(std::string const& file, std::string const& uuid) : key(uuid_bytes(uuid)) {
    sqlite3_open(file.c_str(), &db);
    sqlite3_prepare_v2(db,
                       "SELECT path,pieces,size FROM backup_piece_dir WHERE set_uuid=?1 AND parent=?2 "
                       "ORDER BY path LIMIT 1001",
                       -1, &dirs, nullptr);
    sqlite3_prepare_v2(db,
                       "SELECT id,path,object,size,extended_attrs FROM backup_piece WHERE set_uuid=?1 AND dir=?2 "
                       "ORDER BY path,id LIMIT 1001",
                       -1, &files, nullptr);
  }
  ~Raw_SQLite_Browser() override {
    sqlite3_finalize(dirs);
    sqlite3_finalize(files);
    sqlite3_close(db);
  }
  bool page(std::string const& dir, long long& rows) override {
    rows = 0;
    for (sqlite3_stmt* s : {dirs, files}) {
      if (!s) return false;
      sqlite3_bind_blob(s, 1, key.data(), 16, SQLITE_STATIC);
      sqlite3_bind_text(s, 2, dir.data(), static_cast<int>(dir.size()), SQLITE_STATIC);
      int rc;
      std::string keep;
      while ((rc = sqlite3_step(s)) == SQLITE_ROW) {
        for (int i = 0; i < sqlite3_column_count(s); ++i) {
          char const* t = reinterpret_cast<char const*>(sqlite3_column_text(s, i));
          keep.assign(t ? t : "");
        }
        ++rows;
      }
      sqlite3_reset(s);
      if (rc != SQLITE_DONE) return false;
    }
    rows = std::min(rows, 1000LL);
    return true;
  }
};

struct Raw_PG_Browser : Raw_Browser {
  PGconn* c = nullptr;
  std::basic_string<unsigned char> key;
  Raw_PG_Browser(std::string const& conninfo, std::string const& uuid) : key(uuid_bytes(uuid)) {
    c = PQconnectdb(conninfo.c_str());
    PQclear(PQprepare(c, "dirs",
                      "SELECT path,pieces,size FROM backup_piece_dir WHERE set_uuid=$1 AND parent=$2 "
                      "ORDER BY path LIMIT 1001",
                      2, nullptr));
    PQclear(PQprepare(c, "files",
                      "SELECT id,path,object,size,extended_attrs FROM backup_piece WHERE set_uuid=$1 AND dir=$2 "
                      "ORDER BY path,id LIMIT 1001",
                      2, nullptr));
  }
  ~Raw_PG_Browser() override { PQfinish(c); }
  bool page(std::string const& dir, long long& rows) override {
    rows = 0;
    char const* values[2] = {reinterpret_cast<char const*>(key.data()), dir.c_str()};
    int lengths[2] = {16, static_cast<int>(dir.size())};
    int formats[2] = {1, 0};
    for (char const* name : {"dirs", "files"}) {
      PGresult* r = PQexecPrepared(c, name, 2, values, lengths, formats, 0);
      if (PQresultStatus(r) != PGRES_TUPLES_OK) {
        std::fprintf(stderr, "raw browse: %s\n", PQerrorMessage(c));
        PQclear(r);
        return false;
      }
      std::string keep;
      for (int i = 0; i < PQntuples(r); ++i)
        for (int k = 0; k < PQnfields(r); ++k) keep.assign(PQgetvalue(r, i, k), PQgetlength(r, i, k));
      rows += PQntuples(r);
      PQclear(r);
    }
    rows = std::min(rows, 1000LL);
    return true;
  }
};

// ---- through catalogd ---------------------------------------------------------

struct Ingest {
  double seconds = 0;
  double rss_mb = 0;
};

bool catalogd_ingest(Catalogd& server, std::string const& uuid, Layout const& l, Ingest& out) {
  Global_JSON_RPC_Channel::open(server.url("/rpc").c_str());
  bool ok = true;
  {
    Catalog_Operator op(0, -1);
    Backup_Set set("file");
    fill_commit_sample(set, "0a0a0a0a-0000-4000-8000-000000000001");
    set.uuid = uuid;
    set.pieces.clear();
    ok = op.initialize(set);
    std::vector<Value> batch;
    auto start = Clock::now();
    for (long long sent = 0; ok && sent < l.pieces; sent += kBatch) {
      batch.clear();
      for (long long i = sent; i < std::min(l.pieces, sent + kBatch); ++i) {
        Object p;
        p["path"] = piece_path(i);
        p["object"] = "";
        p["size"] = 1048576;
        p["extended_attrs"] = Value(Object());
        batch.emplace_back(std::move(p));
      }
      ok = op.add_piece(set.uuid, batch);
    }
    ok = ok && op.complete(set);
    out.seconds = seconds_since(start);
  }
  Global_JSON_RPC_Channel::close();
  out.rss_mb = server.peak_rss_mb();
  return ok;
}

std::string children_url(Catalogd const& server, std::string const& uuid, std::string const& dir) {
  return server.url("/d2/r/v2/sets/select?module=backup_set&view=children&limit=1000&uuid=" + uuid +
                    "&dir=" + Http::escape(dir));
}

// The first request and the median of the repeats, in milliseconds.
template <typename F>
bool timed_repeats(int repeats, double& first_ms, double& median_ms, F once) {
  std::vector<double> ms;
  for (int i = 0; i <= repeats; ++i) {
    auto t = Clock::now();
    if (!once()) return false;
    double took = seconds_since(t) * 1000;
    if (i == 0)
      first_ms = took;
    else
      ms.push_back(took);
  }
  median_ms = median(ms);
  return true;
}

void run_engine(Engine engine) {
  Layout l = layout();
  std::string const uuid = "7e2d2d3f-9a0f-4b66-8b52-1d2e3f4a5b6c";
  std::string error;
  std::printf("== %s: %lld pieces in %lld directories\n", engine_name(engine), l.pieces, l.dirs);

  // The yardstick first, on its own catalogue.
  double raw_seconds = 0;
  {
    Catalogue raw(engine);
    if (!raw.prepare(error)) return (void)std::fprintf(stderr, "%s: %s\n", engine_name(engine), error.c_str());
    auto start = Clock::now();
    bool ok = engine == SQLITE ? raw_sqlite_ingest(raw.file(), uuid, l.pieces, error)
                               : raw_pg_ingest(raw.conninfo(), uuid, l.pieces, error);
    raw_seconds = seconds_since(start);
    if (!ok) return (void)std::fprintf(stderr, "raw ingest failed: %s\n", error.c_str());
  }

  Catalogue catalogue(engine);
  if (!catalogue.prepare(error)) return (void)std::fprintf(stderr, "%s: %s\n", engine_name(engine), error.c_str());
  Catalogd server(catalogue);
  if (!server.ok) return;
  Ingest got;
  if (!catalogd_ingest(server, uuid, l, got)) return (void)std::fprintf(stderr, "catalogd ingest failed\n");

  // Every piece is there: the root's directories count them all.
  Http http;
  if (!http.get(children_url(server, uuid, ""))) return (void)std::fprintf(stderr, "root: %s\n", http.body().c_str());
  Value root;
  long long counted = 0;
  if (JSON_Parse(http.body(), root))
    for (Value const& row : root.get_obj().at("rows").get_array()) counted += row.get_obj().at("pieces").get_int64();
  if (counted != l.pieces)
    return (void)std::fprintf(stderr, "the catalogue holds %lld pieces, not %lld\n", counted, l.pieces);

  double rate = static_cast<double>(l.pieces) / got.seconds;
  double raw_rate = static_cast<double>(l.pieces) / raw_seconds;
  std::printf("catalogd %.2f s (%.0f pieces/s), raw %.2f s (%.0f pieces/s), ratio %.2f, catalogd peak RSS %.1f MB\n",
              got.seconds, rate, raw_seconds, raw_rate, rate / raw_rate, got.rss_mb);
  bool pg = engine == POSTGRESQL;
  result("1 ingest", engine, "pieces/s vs raw", rate, "pieces/s", raw_rate, pg ? ">=0.7x raw" : "",
         pg ? rate >= 0.7 * raw_rate : -1);
  result("1 ingest", engine, "pieces/s absolute", rate, "pieces/s", raw_rate, pg ? ">=300000" : "", pg ? rate >= 300000 : -1);
  result("1 ingest", engine, "catalogd peak RSS", got.rss_mb, "MB");

  // Browsing the set just written, through catalogd and straight.
  std::unique_ptr<Raw_Browser> raw;
  if (engine == SQLITE)
    raw = std::make_unique<Raw_SQLite_Browser>(catalogue.file(), uuid);
  else
    raw = std::make_unique<Raw_PG_Browser>(catalogue.conninfo(), uuid);
  std::string nested = piece_dir(l.pieces / 2);
  for (std::string const& dir : {std::string(), nested}) {
    double first = 0, med = 0, raw_first = 0, raw_med = 0;
    long long rows = 0, raw_rows = 0;
    std::string url = children_url(server, uuid, dir);
    bool ok = timed_repeats(20, first, med, [&] {
      if (!http.get(url)) return false;
      Value page;
      if (!JSON_Parse(http.body(), page)) return false;
      rows = static_cast<long long>(page.get_obj().at("rows").get_array().size());
      return true;
    });
    ok = ok && timed_repeats(20, raw_first, raw_med, [&] { return raw->page(dir, raw_rows); });
    if (!ok || rows != raw_rows) {
      std::fprintf(stderr, "browsing '%s' failed (%lld rows, raw %lld)\n", dir.c_str(), rows, raw_rows);
      continue;
    }
    std::string what = dir.empty() ? "root first page" : "nested dir first page";
    std::printf("%s '%s': %lld entries, first %.2f ms, median %.2f ms; raw first %.2f ms, median %.2f ms\n",
                what.c_str(), dir.c_str(), rows, first, med, raw_first, raw_med);
    result("3 browse", engine, what + " (first request)", first, "ms", raw_first, "<20 ms", first < 20);
    result("3 browse", engine, what + " (median of 20)", med, "ms", raw_med, "<20 ms", med < 20);
  }
}

}  // namespace

int main() {
  for (Engine e : engines()) run_engine(e);
  return 0;
}
