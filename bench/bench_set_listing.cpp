// Listing a catalogue of 1,000,000 complete sets (BENCH_SCALE scales it)
// through catalogd's "sets" view, a page of 10,000 at a time following
// "next", on each engine: the time of the whole walk, of the first page,
// and the peak resident sets of catalogd and of this client (which parses
// every page, as a client would).
//
// The sets are written straight into the catalogue (schema by
// Catalog_Schema::create) before catalogd starts, each with one storage;
// 1% have no start time, so the walk crosses both stretches of the view's
// order. The yardstick, in the same run: one pass over the same rows with
// the engine's own API (sqlite3_step, libpq in single-row mode) reading the
// columns the view reads in the view's order, plus one pass over the
// storages, every value copied out.

#include <libpq-fe.h>
#include <sqlite3.h>

#include "backup/backup_set/common/backup_set.h"
#include "bench/catalogd_bench.h"
#include "platform/json/json_text.h"
#include "platform/sql/select_sql.h"

using json_spirit::Value;
using namespace bench;

namespace {

long long g_page = 10000;
double g_answer_seconds = 0;  // waiting for catalogd's answers, parsing left out

char const SQLITE_FILL[] = R"(
WITH RECURSIVE seq(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM seq WHERE i < :n)
INSERT INTO backup_set (uuid, catalog_module, name, job_instance_uuid, definition_uuid, host_uuid, resource_uuid,
  agent, type, backup_start_time, backup_end_time, source_size, size, uri, host, extended_attrs)
SELECT CAST(printf('S%015d', i) AS BLOB), 'dmdb', 'set ' || i, CAST(printf('J%015d', i) AS BLOB),
  CAST(printf('D%015d', i % 100) AS BLOB), CAST(printf('H%015d', i % 50) AS BLOB),
  CAST(printf('R%015d', i % 500) AS BLOB), 'agent-' || (i % 3), 'full',
  CASE WHEN i % 100 = 0 THEN NULL ELSE strftime('%Y-%m-%d %H:%M:%S', 1600000000 + i * 60, 'unixepoch') END,
  strftime('%Y-%m-%d %H:%M:%S', 1600000045 + i * 60, 'unixepoch'),
  i * 1000, i * 500, 'dm://host/' || i, 'host-' || (i % 50), '{"k": "v", "n": ' || i || '}'
FROM seq;
)";
char const SQLITE_FILL_STORAGES[] =
    "INSERT INTO backup_set_storage (set_uuid, pool_uuid, size, state) "
    "SELECT uuid, CAST('P000000000000001' AS BLOB), size, 1 FROM backup_set; ANALYZE;";

char const PG_FILL[] = R"(
INSERT INTO backup_set (uuid, catalog_module, name, job_instance_uuid, definition_uuid, host_uuid, resource_uuid,
  agent, type, backup_start_time, backup_end_time, source_size, size, uri, host, extended_attrs)
SELECT convert_to('S' || lpad(i::text, 15, '0'), 'UTF8'), 'dmdb', 'set ' || i,
  convert_to('J' || lpad(i::text, 15, '0'), 'UTF8'), convert_to('D' || lpad((i % 100)::text, 15, '0'), 'UTF8'),
  convert_to('H' || lpad((i % 50)::text, 15, '0'), 'UTF8'), convert_to('R' || lpad((i % 500)::text, 15, '0'), 'UTF8'),
  'agent-' || (i % 3), 'full',
  CASE WHEN i % 100 = 0 THEN NULL ELSE to_timestamp(1600000000 + i * 60) AT TIME ZONE 'UTC' END,
  to_timestamp(1600000045 + i * 60) AT TIME ZONE 'UTC',
  i * 1000, i * 500, 'dm://host/' || i, 'host-' || (i % 50), ('{"k": "v", "n": ' || i || '}')::jsonb
FROM generate_series(1, :n::bigint) AS i;
)";
char const PG_FILL_STORAGES[] =
    "INSERT INTO backup_set_storage (set_uuid, pool_uuid, size, state) "
    "SELECT uuid, convert_to('P000000000000001', 'UTF8'), size, 1 FROM backup_set; ANALYZE;";

bool fill(Catalogue const& catalogue, long long n, std::string& error) {
  auto c = catalogue.connect();
  bool pg = catalogue.engine() == POSTGRESQL;
  SQL sql(pg ? PG_FILL : SQLITE_FILL);
  sql.bind(":n", Binding_Value(n));
  bool ok = c->begin() && c->execute(sql) && c->commit() &&
            c->execute_script(pg ? PG_FILL_STORAGES : SQLITE_FILL_STORAGES);
  if (!ok) error = c->last_error();
  return ok;
}

// The columns the view reads, in the view's order, as the engine sees them.
std::string raw_statement(Dialect dialect) {
  Select_SQL sql("backup_set", "b");
  Backup_Set::init_select_sql(sql, "b");
  sql.add_key("b.catalog_module", "catalog_module");
  sql.add_key("b.parents", "parents");
  sql.add_key("b.application", "application");
  sql.where("b.status='complete'", false);
  if (dialect == Dialect::PostgreSQL)
    sql.order_by("b.backup_start_time DESC NULLS LAST");
  else
    sql.order_by("b.backup_start_time", true);  // SQLite sorts nulls last when descending
  sql.order_by("b.uuid");
  return sql.text(dialect);
}
char const STORAGES[] = "SELECT set_uuid,pool_uuid,state,size,upstream_pool_uuid FROM backup_set_storage ORDER BY set_uuid,id";

long long raw_sqlite(std::string const& file) {
  sqlite3* db = nullptr;
  sqlite3_open(file.c_str(), &db);
  long long sets = 0;
  std::string keep;
  for (std::string const& text : {raw_statement(Dialect::SQLite), std::string(STORAGES)}) {
    sqlite3_stmt* s = nullptr;
    if (sqlite3_prepare_v2(db, text.c_str(), -1, &s, nullptr) != SQLITE_OK) {
      std::fprintf(stderr, "raw SQLite: %s\n", sqlite3_errmsg(db));
      break;
    }
    bool first = sets == 0;
    while (sqlite3_step(s) == SQLITE_ROW) {
      for (int i = 0; i < sqlite3_column_count(s); ++i) {
        void const* b = sqlite3_column_blob(s, i);
        keep.assign(b ? static_cast<char const*>(b) : "", static_cast<size_t>(sqlite3_column_bytes(s, i)));
      }
      if (first) ++sets;
    }
    sqlite3_finalize(s);
  }
  sqlite3_close(db);
  return sets;
}

long long raw_pg(std::string const& conninfo) {
  PGconn* c = PQconnectdb(conninfo.c_str());
  long long sets = 0;
  std::string keep;
  for (std::string const& text : {raw_statement(Dialect::PostgreSQL), std::string(STORAGES)}) {
    bool first = sets == 0;
    if (!PQsendQuery(c, text.c_str()) || !PQsetSingleRowMode(c)) break;
    while (PGresult* r = PQgetResult(c)) {
      if (PQresultStatus(r) == PGRES_SINGLE_TUPLE) {
        for (int k = 0; k < PQnfields(r); ++k) keep.assign(PQgetvalue(r, 0, k), PQgetlength(r, 0, k));
        if (first) ++sets;
      } else if (PQresultStatus(r) != PGRES_TUPLES_OK) {
        std::fprintf(stderr, "raw PostgreSQL: %s\n", PQerrorMessage(c));
      }
      PQclear(r);
    }
  }
  PQfinish(c);
  return sets;
}

std::string page_url(Catalogd const& server, std::string const& cursor) {
  std::string url = server.url("/d2/r/v2/sets/select?module=backup_set&view=sets&limit=" + std::to_string(g_page));
  if (!cursor.empty()) url += "&cursor=" + Http::escape(cursor);
  return url;
}

// One page: its rows counted, its "next" taken ("" on the last page).
bool fetch(Http& http, Catalogd const& server, std::string const& cursor, long long& rows, std::string& next) {
  auto t = Clock::now();
  bool got = http.get(page_url(server, cursor));
  g_answer_seconds += seconds_since(t);
  if (!got) {
    std::fprintf(stderr, "page refused (%ld): %.300s\n", http.status(), http.body().c_str());
    return false;
  }
  Value page;
  if (!JSON_Parse(http.body(), page)) return false;
  http.release();
  auto const& o = page.get_obj();
  rows = static_cast<long long>(o.at("rows").get_array().size());
  auto it = o.find("next");
  next = it == o.end() ? std::string() : it->second.get_str();
  return true;
}

void run_engine(Engine engine) {
  long long const n = scaled(1000000, 100);
  std::string error;
  Catalogue catalogue(engine);
  if (!catalogue.prepare(error)) return (void)std::fprintf(stderr, "%s: %s\n", engine_name(engine), error.c_str());
  auto t = Clock::now();
  if (!fill(catalogue, n, error)) return (void)std::fprintf(stderr, "fill failed: %s\n", error.c_str());
  std::printf("== %s: %lld sets written in %.1f s\n", engine_name(engine), n, seconds_since(t));

  // The yardstick, before catalogd runs.
  t = Clock::now();
  long long raw_sets = engine == SQLITE ? raw_sqlite(catalogue.file()) : raw_pg(catalogue.conninfo());
  double raw_seconds = seconds_since(t);
  if (raw_sets != n) return (void)std::fprintf(stderr, "the raw pass read %lld sets, not %lld\n", raw_sets, n);

  Catalogd server(catalogue);
  if (!server.ok) return;
  Http http;
  reset_self_peak_rss();
  long long listed = 0, pages = 0, rows = 0;
  std::string cursor, next;
  double first_page_ms = 0;
  g_page = 10000;
  g_answer_seconds = 0;
  t = Clock::now();
  for (;;) {
    auto p = Clock::now();
    if (!fetch(http, server, cursor, rows, next)) {
      if (pages > 0 || g_page < 10000) return;
      // Measured and reported as refused; the walk is then measured with
      // the largest page the server answers, so the other figures exist.
      result("2 list sets", engine, "page of 10000 answered", 0, "bool", -1, "yes", 0);
      g_page = 5000;
      t = Clock::now();
      g_answer_seconds = 0;
      continue;
    }
    if (pages == 0) first_page_ms = seconds_since(p) * 1000;
    listed += rows;
    ++pages;
    cursor = next;
    if (cursor.empty()) break;
  }
  double total = seconds_since(t);
  double answers = g_answer_seconds;
  double client_mb = static_cast<double>(self_peak_rss_kb()) / 1024.0;
  if (listed != n) return (void)std::fprintf(stderr, "listed %lld sets, not %lld\n", listed, n);

  // The first page again, warm.
  std::vector<double> again;
  for (int i = 0; i < 10; ++i) {
    auto p = Clock::now();
    if (!fetch(http, server, "", rows, next)) return;
    again.push_back(seconds_since(p) * 1000);
  }
  double server_mb = server.peak_rss_mb();
  std::printf("%lld sets in %lld pages of %lld: %.2f s (%.2f s waiting for answers; raw pass %.2f s); first page "
              "%.1f ms (warm median %.1f ms); peak RSS catalogd %.1f MB, client %.1f MB\n",
              listed, pages, g_page, total, answers, raw_seconds, first_page_ms, median(again), server_mb, client_mb);
  std::string page = " (pages of " + std::to_string(g_page) + ")";
  result("2 list sets", engine, "all pages" + page, total, "s", raw_seconds, "<5 s", total < 5);
  result("2 list sets", engine, "all pages, answers only" + page, answers, "s", raw_seconds);
  result("2 list sets", engine, "first page" + page + " (first request)", first_page_ms, "ms", -1, "<50 ms", first_page_ms < 50);
  result("2 list sets", engine, "first page" + page + " (warm median of 10)", median(again), "ms", -1, "<50 ms",
         median(again) < 50);
  result("2 list sets", engine, "catalogd peak RSS", server_mb, "MB", -1, "<64 MB", server_mb < 64);
  result("2 list sets", engine, "client peak RSS", client_mb, "MB", -1, "<64 MB", client_mb < 64);
}

}  // namespace

int main() {
  for (Engine e : engines()) run_engine(e);
  return 0;
}
