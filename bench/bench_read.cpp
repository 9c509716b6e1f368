// Reading sets back from the catalogue: the library's read path (the set's
// select, Connection::query, the set handler with its nested "storages"
// query, Backup_Set records) against a hand-written loop over the same
// statements with the engine's own API copying the same columns into plain
// structs. Both sides convert UUIDs to text, times to POSIX seconds and parse
// the two JSON columns the set handler parses (the raw side with yajl's own
// tree), and must arrive at the same checksum.
//
// Environment: BSET_BENCH_SETS (default 200000) sets, each with one or two
// storages. PostgreSQL runs in a private cluster started for this program.

#include <benchmark/benchmark.h>
#include <libpq-fe.h>
#include <sqlite3.h>
#include <unistd.h>
#include <yajl/yajl_tree.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "backup/backup_set/common/backup_set.h"
#include "platform/database/pg_connection.h"
#include "platform/database/sqlite_connection.h"
#include "platform/sql/select_sql.h"
#include "schema/catalog_schema.h"
#include "tests/support/pg_cluster.h"
#include "tests/support/set_rows_printer.h"

namespace {

long long set_count() {
  char const* n = std::getenv("BSET_BENCH_SETS");
  long long v = n ? std::atoll(n) : 0;
  return v > 0 ? v : 200000;
}

// ---- the data -------------------------------------------------------------

char const SQLITE_FILL[] = R"(
WITH RECURSIVE seq(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM seq WHERE i < :n)
INSERT INTO backup_set (uuid, catalog_module, name, job_instance_uuid, definition_uuid, uid, host_uuid,
  resource_uuid, minor_resource_id, minor_resource_name, agent, incarnation, type, first_time, last_time,
  backup_start_time, backup_end_time, source_size, size, uri, host, instance, instance_version, first_scn,
  last_scn, resource_tree, extended_attrs, uname, lsb)
SELECT CAST(printf('S%015d', i) AS BLOB), 'dmdb', 'set ' || i, CAST(printf('J%015d', i) AS BLOB),
  CAST(printf('D%015d', i % 100) AS BLOB), CAST(printf('U%015d', i) AS BLOB), CAST(printf('H%015d', i % 50) AS BLOB),
  CAST(printf('R%015d', i % 500) AS BLOB), 'db' || (i % 7), 'Database ' || (i % 7), 'agent-' || (i % 3),
  CAST(printf('I%015d', i % 9) AS BLOB), 'full',
  strftime('%Y-%m-%d %H:%M:%S', 1600000000 + i * 60, 'unixepoch'),
  strftime('%Y-%m-%d %H:%M:%S', 1600000030 + i * 60, 'unixepoch'),
  strftime('%Y-%m-%d %H:%M:%S', 1600000000 + i * 60, 'unixepoch'),
  strftime('%Y-%m-%d %H:%M:%S', 1600000045 + i * 60, 'unixepoch'),
  i * 1000, i * 500, 'dm://host/' || i, 'host-' || (i % 50), 'inst', '8.1', i, i + 100,
  '{"db": {"n": ' || i || '}}', '{"k": "v", "n": ' || i || '}', '{"sysname": "Linux"}', '{"id": "Debian"}'
FROM seq;
INSERT INTO backup_set_storage (set_uuid, pool_uuid, size, state)
  SELECT uuid, CAST('P000000000000001' AS BLOB), size, 1 FROM backup_set;
INSERT INTO backup_set_storage (set_uuid, pool_uuid, size, state, upstream_pool_uuid)
  SELECT uuid, CAST('P000000000000002' AS BLOB), size, 17, CAST('P000000000000001' AS BLOB)
  FROM backup_set WHERE first_scn % 2 = 0;
)";

char const PG_FILL[] = R"(
INSERT INTO backup_set (uuid, catalog_module, name, job_instance_uuid, definition_uuid, uid, host_uuid,
  resource_uuid, minor_resource_id, minor_resource_name, agent, incarnation, type, first_time, last_time,
  backup_start_time, backup_end_time, source_size, size, uri, host, instance, instance_version, first_scn,
  last_scn, resource_tree, extended_attrs, uname, lsb)
SELECT convert_to('S' || lpad(i::text, 15, '0'), 'UTF8'), 'dmdb', 'set ' || i,
  convert_to('J' || lpad(i::text, 15, '0'), 'UTF8'), convert_to('D' || lpad((i % 100)::text, 15, '0'), 'UTF8'),
  convert_to('U' || lpad(i::text, 15, '0'), 'UTF8'), convert_to('H' || lpad((i % 50)::text, 15, '0'), 'UTF8'),
  convert_to('R' || lpad((i % 500)::text, 15, '0'), 'UTF8'), 'db' || (i % 7), 'Database ' || (i % 7),
  'agent-' || (i % 3), convert_to('I' || lpad((i % 9)::text, 15, '0'), 'UTF8'), 'full',
  to_timestamp(1600000000 + i * 60) AT TIME ZONE 'UTC', to_timestamp(1600000030 + i * 60) AT TIME ZONE 'UTC',
  to_timestamp(1600000000 + i * 60) AT TIME ZONE 'UTC', to_timestamp(1600000045 + i * 60) AT TIME ZONE 'UTC',
  i * 1000, i * 500, 'dm://host/' || i, 'host-' || (i % 50), 'inst', '8.1', i, i + 100,
  ('{"db": {"n": ' || i || '}}')::jsonb, ('{"k": "v", "n": ' || i || '}')::jsonb, '{"sysname": "Linux"}',
  '{"id": "Debian"}'
FROM generate_series(1, :n::bigint) AS i;
)";

char const PG_FILL_STORAGES[] = R"(
INSERT INTO backup_set_storage (set_uuid, pool_uuid, size, state)
  SELECT uuid, convert_to('P000000000000001', 'UTF8'), size, 1 FROM backup_set;
INSERT INTO backup_set_storage (set_uuid, pool_uuid, size, state, upstream_pool_uuid)
  SELECT uuid, convert_to('P000000000000002', 'UTF8'), size, 17, convert_to('P000000000000001', 'UTF8')
  FROM backup_set WHERE first_scn % 2 = 0;
ANALYZE;
)";

char const STORAGES_RAW_SQLITE[] =
    "SELECT pool_uuid,state,size,upstream_pool_uuid FROM backup_set_storage WHERE (set_uuid=?1)";
char const STORAGES_RAW_PG[] =
    "SELECT pool_uuid,state,size,upstream_pool_uuid FROM backup_set_storage WHERE (set_uuid=$1)";

// The statement both sides run for the sets: the set's own select plus the
// column that makes the handler read the storages.
std::string sets_statement(Dialect dialect) {
  Select_SQL sql(nullptr, nullptr);
  Backup_Set::init_select_sql(sql, "b");
  sql.add_key("b.uuid", "storages");
  return sql.text(dialect);
}

// ---- the hand-written side --------------------------------------------------

struct Raw_Storage {
  std::string pool_uuid;
  long long state = 0;
  long long size = 0;
  std::string upstream_pool_uuid;
};

// A parsed JSON column, as yajl's own tree; null when the text is not JSON.
struct Raw_Json {
  yajl_val tree = nullptr;
  Raw_Json() = default;
  Raw_Json(Raw_Json const&) = delete;
  Raw_Json& operator=(Raw_Json const&) = delete;
  ~Raw_Json() { yajl_tree_free(tree); }
  void parse(char const* text, size_t length) {
    std::string zero_ended(text, length);
    yajl_tree_free(tree);
    tree = yajl_tree_parse(zero_ended.c_str(), nullptr, 0);
  }
  bool object() const { return tree && YAJL_IS_OBJECT(tree); }
};

struct Raw_Set {
  std::string uuid, name, job_instance_uuid, definition_uuid, uid, host_uuid, resource_uuid, minor_resource_id,
      minor_resource_name, agent, incarnation, type;
  long long first_time = 0, last_time = 0, backup_start_time = 0, backup_end_time = 0;
  long long source_size = 0, size = 0;
  std::string uri, host, instance, instance_version;
  long long first_scn = 0, last_scn = 0;
  // The record holds these two parsed (the set handler's value table names
  // them as JSON); the other two stay text as the handler delivers them.
  Raw_Json resource_tree, extended_attrs;
  std::string uname, lsb;
  std::vector<Raw_Storage> storages;
};

void uuid_text(unsigned char const* b, size_t n, std::string& out) {
  static char const d[] = "0123456789abcdef";
  if (n != 16) {
    out.clear();
    return;
  }
  char t[36];
  char* p = t;
  for (int i = 0; i < 16; ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) *p++ = '-';
    *p++ = d[b[i] >> 4];
    *p++ = d[b[i] & 15];
  }
  out.assign(t, 36);
}

long long days_from_civil(long long y, unsigned m, unsigned d) {
  y -= m <= 2;
  long long era = (y >= 0 ? y : y - 399) / 400;
  unsigned yoe = static_cast<unsigned>(y - era * 400);
  unsigned doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<long long>(doe) - 719468;
}

long long time_of(char const* t) {
  int y, mo, d, h, mi, s;
  if (std::sscanf(t, "%d-%d-%d %d:%d:%d", &y, &mo, &d, &h, &mi, &s) != 6) return 0;
  return days_from_civil(y, mo, d) * 86400 + h * 3600 + mi * 60 + s;
}

unsigned long long checksum_of(Raw_Set const& s) {
  unsigned long long c = s.size + s.first_time + s.backup_end_time + s.name.size() + s.uuid[0] + s.last_scn;
  c += s.extended_attrs.object() ? 1 : 0;
  for (auto const& st : s.storages) c += 7 + st.state + st.size + st.pool_uuid[1] + st.upstream_pool_uuid.size();
  return c;
}

unsigned long long checksum_of(Backup_Set const& s) {
  unsigned long long c = s.size + s.first_time + s.backup_end_time + s.name.size() + s.uuid[0] + s.last_scn;
  c += s.extended_attrs.empty() ? 0 : 1;
  for (auto const& st : s.storages)
    c += 7 + st.state.bits() + st.size + st.pool_uuid[1] + st.upstream_pool_uuid.size();
  return c;
}

std::string sqlite_text(sqlite3_stmt* st, int c) {
  char const* t = reinterpret_cast<char const*>(sqlite3_column_text(st, c));
  return t ? std::string(t, sqlite3_column_bytes(st, c)) : std::string();
}

void sqlite_uuid(sqlite3_stmt* st, int c, std::string& out) {
  uuid_text(static_cast<unsigned char const*>(sqlite3_column_blob(st, c)), sqlite3_column_bytes(st, c), out);
}

unsigned long long raw_sqlite(std::string const& path, long long& sets) {
  sqlite3* db = nullptr;
  sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
  std::string outer = sets_statement(Dialect::SQLite);
  sqlite3_stmt* st = nullptr;
  sqlite3_stmt* inner = nullptr;
  sqlite3_prepare_v2(db, outer.c_str(), -1, &st, nullptr);
  sqlite3_prepare_v2(db, STORAGES_RAW_SQLITE, -1, &inner, nullptr);
  unsigned long long sum = 0;
  sets = 0;
  while (sqlite3_step(st) == SQLITE_ROW) {
    Raw_Set s;
    sqlite_uuid(st, 0, s.uuid);
    s.name = sqlite_text(st, 1);
    sqlite_uuid(st, 2, s.job_instance_uuid);
    sqlite_uuid(st, 3, s.definition_uuid);
    sqlite_uuid(st, 4, s.uid);
    sqlite_uuid(st, 5, s.host_uuid);
    sqlite_uuid(st, 6, s.resource_uuid);
    s.minor_resource_id = sqlite_text(st, 7);
    s.minor_resource_name = sqlite_text(st, 8);
    s.agent = sqlite_text(st, 9);
    sqlite_uuid(st, 10, s.incarnation);
    s.type = sqlite_text(st, 11);
    s.first_time = time_of(sqlite_text(st, 12).c_str());
    s.last_time = time_of(sqlite_text(st, 13).c_str());
    s.backup_start_time = time_of(sqlite_text(st, 14).c_str());
    s.backup_end_time = time_of(sqlite_text(st, 15).c_str());
    s.source_size = sqlite3_column_int64(st, 16);
    s.size = sqlite3_column_int64(st, 17);
    s.uri = sqlite_text(st, 18);
    s.host = sqlite_text(st, 19);
    s.instance = sqlite_text(st, 20);
    s.instance_version = sqlite_text(st, 21);
    s.first_scn = sqlite3_column_int64(st, 22);
    s.last_scn = sqlite3_column_int64(st, 23);
    s.resource_tree.parse(reinterpret_cast<char const*>(sqlite3_column_text(st, 24)), sqlite3_column_bytes(st, 24));
    s.extended_attrs.parse(reinterpret_cast<char const*>(sqlite3_column_text(st, 25)), sqlite3_column_bytes(st, 25));
    s.uname = sqlite_text(st, 26);
    s.lsb = sqlite_text(st, 27);
    sqlite3_bind_blob(inner, 1, sqlite3_column_blob(st, 28), sqlite3_column_bytes(st, 28), SQLITE_STATIC);
    while (sqlite3_step(inner) == SQLITE_ROW) {
      Raw_Storage r;
      sqlite_uuid(inner, 0, r.pool_uuid);
      r.state = sqlite3_column_int64(inner, 1);
      r.size = sqlite3_column_int64(inner, 2);
      if (sqlite3_column_type(inner, 3) != SQLITE_NULL) sqlite_uuid(inner, 3, r.upstream_pool_uuid);
      s.storages.push_back(std::move(r));
    }
    sqlite3_reset(inner);
    sum += checksum_of(s);
    ++sets;
  }
  sqlite3_finalize(inner);
  sqlite3_finalize(st);
  sqlite3_close(db);
  return sum;
}

int hex(char c) { return c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10; }

// bytea in text form ("\x..."), straight into UUID text.
void pg_uuid(PGresult* r, int row, int c, std::string& out) {
  char const* v = PQgetvalue(r, row, c);
  int n = PQgetlength(r, row, c);
  if (n != 34 || v[0] != '\\' || v[1] != 'x') {
    out.clear();
    return;
  }
  unsigned char b[16];
  for (int i = 0; i < 16; ++i) b[i] = static_cast<unsigned char>(hex(v[2 + 2 * i]) << 4 | hex(v[3 + 2 * i]));
  uuid_text(b, 16, out);
}

std::string pg_text(PGresult* r, int row, int c) { return std::string(PQgetvalue(r, row, c), PQgetlength(r, row, c)); }
long long pg_int(PGresult* r, int row, int c) { return std::strtoll(PQgetvalue(r, row, c), nullptr, 10); }

unsigned long long raw_pg(std::string const& conninfo, long long& sets) {
  PGconn* conn = PQconnectdb(conninfo.c_str());
  std::string outer = sets_statement(Dialect::PostgreSQL);
  PGresult* r = PQexecParams(conn, outer.c_str(), 0, nullptr, nullptr, nullptr, nullptr, 0);
  unsigned long long sum = 0;
  sets = 0;
  if (PQresultStatus(r) != PGRES_TUPLES_OK) {
    std::fprintf(stderr, "raw PostgreSQL read failed: %s\n", PQerrorMessage(conn));
    PQclear(r);
    PQfinish(conn);
    return 0;
  }
  std::vector<unsigned char> key(16);
  Oid bytea = 17;
  int rows = PQntuples(r);
  for (int row = 0; row < rows; ++row) {
    Raw_Set s;
    pg_uuid(r, row, 0, s.uuid);
    s.name = pg_text(r, row, 1);
    pg_uuid(r, row, 2, s.job_instance_uuid);
    pg_uuid(r, row, 3, s.definition_uuid);
    pg_uuid(r, row, 4, s.uid);
    pg_uuid(r, row, 5, s.host_uuid);
    pg_uuid(r, row, 6, s.resource_uuid);
    s.minor_resource_id = pg_text(r, row, 7);
    s.minor_resource_name = pg_text(r, row, 8);
    s.agent = pg_text(r, row, 9);
    pg_uuid(r, row, 10, s.incarnation);
    s.type = pg_text(r, row, 11);
    s.first_time = time_of(PQgetvalue(r, row, 12));
    s.last_time = time_of(PQgetvalue(r, row, 13));
    s.backup_start_time = time_of(PQgetvalue(r, row, 14));
    s.backup_end_time = time_of(PQgetvalue(r, row, 15));
    s.source_size = pg_int(r, row, 16);
    s.size = pg_int(r, row, 17);
    s.uri = pg_text(r, row, 18);
    s.host = pg_text(r, row, 19);
    s.instance = pg_text(r, row, 20);
    s.instance_version = pg_text(r, row, 21);
    s.first_scn = pg_int(r, row, 22);
    s.last_scn = pg_int(r, row, 23);
    s.resource_tree.parse(PQgetvalue(r, row, 24), PQgetlength(r, row, 24));
    s.extended_attrs.parse(PQgetvalue(r, row, 25), PQgetlength(r, row, 25));
    s.uname = pg_text(r, row, 26);
    s.lsb = pg_text(r, row, 27);
    char const* v = PQgetvalue(r, row, 28);
    for (int i = 0; i < 16; ++i) key[i] = static_cast<unsigned char>(hex(v[2 + 2 * i]) << 4 | hex(v[3 + 2 * i]));
    char const* values[1] = {reinterpret_cast<char const*>(key.data())};
    int lengths[1] = {16};
    int formats[1] = {1};
    PGresult* in = PQexecParams(conn, STORAGES_RAW_PG, 1, &bytea, values, lengths, formats, 0);
    int n = PQntuples(in);
    for (int i = 0; i < n; ++i) {
      Raw_Storage st;
      pg_uuid(in, i, 0, st.pool_uuid);
      st.state = pg_int(in, i, 1);
      st.size = pg_int(in, i, 2);
      if (!PQgetisnull(in, i, 3)) pg_uuid(in, i, 3, st.upstream_pool_uuid);
      s.storages.push_back(std::move(st));
    }
    PQclear(in);
    sum += checksum_of(s);
    ++sets;
  }
  PQclear(r);
  PQfinish(conn);
  return sum;
}

// ---- the library side -------------------------------------------------------

unsigned long long library_read(database::sql::Connection& db, long long& sets) {
  Select_SQL sql(nullptr, nullptr);
  Backup_Set::init_select_sql(sql, "b");
  sql.add_key("b.uuid", "storages");
  unsigned long long sum = 0;
  sets = 0;
  Set_Rows_Printer<> printer;
  printer.on_set = [&](Backup_Set& s) {
    sum += checksum_of(s);
    ++sets;
  };
  if (!db.query(sql, printer, database::sql::Connection::QM_ROWS, Backup_Set::result_handler(), 0)) {
    std::fprintf(stderr, "library read failed: %s\n", db.last_error().c_str());
    return 0;
  }
  return sum;
}

// ---- fixtures ----------------------------------------------------------------

struct Result {
  double seconds = 0;
  long long sets = 0;
  unsigned long long checksum = 0;
};
std::map<std::string, Result> g_results;

std::string g_sqlite_path;
bool sqlite_ready() {
  if (!g_sqlite_path.empty()) return true;
  g_sqlite_path = "/tmp/bset_bench_read_" + std::to_string(::getpid()) + ".db";
  database::sql::SQLite_Connection db(g_sqlite_path);
  SQL fill(SQLITE_FILL);
  fill.bind(":n", Binding_Value(set_count()));
  bool ok = Catalog_Schema::create(db) && db.begin() && db.execute(fill);
  // The storage inserts are plain statements after the first one.
  ok = ok && db.execute_script(std::strstr(SQLITE_FILL, "INSERT INTO backup_set_storage")) && db.commit();
  ok = ok && db.execute_script("ANALYZE");
  if (!ok) std::fprintf(stderr, "SQLite fill failed: %s\n", db.last_error().c_str());
  return ok;
}

PG_Cluster* g_cluster = nullptr;
bool pg_ready() {
  if (g_cluster) return true;
  std::string error;
  g_cluster = PG_Cluster::shared(&error);
  if (!g_cluster) {
    std::fprintf(stderr, "PostgreSQL did not start: %s\n", error.c_str());
    return false;
  }
  database::sql::PG_Connection db(g_cluster->conninfo());
  SQL fill(PG_FILL);
  fill.bind(":n", Binding_Value(set_count()));
  bool ok = db.is_open() && Catalog_Schema::create(db) && db.execute(fill);
  ok = ok && db.execute_script(PG_FILL_STORAGES);
  if (!ok) std::fprintf(stderr, "PostgreSQL fill failed: %s\n", db.last_error().c_str());
  return ok;
}

template <typename F>
void run(benchmark::State& state, char const* name, F read) {
  for (auto _ : state) {
    Result r;
    auto start = std::chrono::steady_clock::now();
    r.checksum = read(r.sets);
    r.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    auto it = g_results.find(name);
    if (it == g_results.end() || r.seconds < it->second.seconds) g_results[name] = r;
    state.SetItemsProcessed(state.items_processed() + r.sets);
    if (r.sets != set_count()) state.SkipWithError("not every set was read");
  }
  state.counters["sets"] = static_cast<double>(g_results[name].sets);
}

void BM_Library_SQLite(benchmark::State& state) {
  if (!sqlite_ready()) return state.SkipWithError("no SQLite catalogue");
  database::sql::SQLite_Connection db(g_sqlite_path);
  run(state, "library SQLite", [&](long long& sets) { return library_read(db, sets); });
}

void BM_Raw_SQLite(benchmark::State& state) {
  if (!sqlite_ready()) return state.SkipWithError("no SQLite catalogue");
  run(state, "raw SQLite", [&](long long& sets) { return raw_sqlite(g_sqlite_path, sets); });
}

void BM_Library_PostgreSQL(benchmark::State& state) {
  if (!pg_ready()) return state.SkipWithError("no PostgreSQL catalogue");
  database::sql::PG_Connection db(g_cluster->conninfo());
  run(state, "library PostgreSQL", [&](long long& sets) { return library_read(db, sets); });
}

void BM_Raw_PostgreSQL(benchmark::State& state) {
  if (!pg_ready()) return state.SkipWithError("no PostgreSQL catalogue");
  run(state, "raw PostgreSQL", [&](long long& sets) { return raw_pg(g_cluster->conninfo(), sets); });
}

BENCHMARK(BM_Raw_SQLite)->Iterations(1)->Repetitions(3)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Library_SQLite)->Iterations(1)->Repetitions(3)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Raw_PostgreSQL)->Iterations(1)->Repetitions(2)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Library_PostgreSQL)->Iterations(1)->Repetitions(2)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();

  // Best of the repetitions, side by side.
  std::printf("\n%-20s %12s %14s %10s %s\n", "reader", "sets", "sets/s", "x raw", "checksum");
  for (char const* engine : {"SQLite", "PostgreSQL"}) {
    auto raw = g_results.find(std::string("raw ") + engine);
    auto lib = g_results.find(std::string("library ") + engine);
    if (raw == g_results.end() || lib == g_results.end()) continue;
    std::printf("%-20s %12lld %14.0f %10s %llu\n", raw->first.c_str(), raw->second.sets,
                raw->second.sets / raw->second.seconds, "1.00", raw->second.checksum);
    char ratio[32];
    std::snprintf(ratio, sizeof ratio, "%.2f", lib->second.seconds / raw->second.seconds);
    std::printf("%-20s %12lld %14.0f %10s %llu%s\n", lib->first.c_str(), lib->second.sets,
                lib->second.sets / lib->second.seconds, ratio, lib->second.checksum,
                lib->second.checksum == raw->second.checksum ? "" : "  CHECKSUM DIFFERS");
  }
  if (!g_sqlite_path.empty()) {
    std::remove(g_sqlite_path.c_str());
    std::remove((g_sqlite_path + "-wal").c_str());
    std::remove((g_sqlite_path + "-shm").c_str());
  }
  return 0;
}
