// Commits per second with 1, 2, 4 and 8 agents at once, on each engine.
//
// Each agent is a thread with a keep-alive connection of its own, POSTing
// JSON-RPC backup_set.commit of a 100-piece set (bench/commit_sample.h, a
// new uuid every time) to one catalogd, for a fixed time (BENCH_SECONDS,
// default 5 x BENCH_SCALE, at least 1). The yardstick, in the same run and
// on the same catalogue just before: as many threads, each with a
// connection of its own to the engine, writing the same rows (the set, its
// storage, its 100 pieces) in one transaction per set with prepared
// statements (the pieces by one COPY on PostgreSQL); on SQLite with BEGIN
// IMMEDIATE and a busy timeout, as writers of one file must.

#include <libpq-fe.h>
#include <sqlite3.h>

#include <functional>
#include <thread>

#include "backup/backup_set/common/backup_set.h"
#include "bench/catalogd_bench.h"
#include "bench/commit_sample.h"
#include "bench/raw_curl_poster.h"
#include "platform/sql/uuid_binary.h"

using namespace bench;

namespace {

double run_seconds() {
  char const* s = std::getenv("BENCH_SECONDS");
  double v = s ? std::atof(s) : 5.0 * scale();
  return std::max(1.0, v);
}

std::string const kSampleUuid = "6f1c1c2e-8f9e-4a55-9a41-0c1d2e3f4a5b";

std::basic_string<unsigned char> uuid_bytes(std::string const& text) {
  std::basic_string<unsigned char> out;
  UUID_Binary::parse(text, out);
  return out;
}

// Runs `agents` threads for the run time; each calls commit(agent, serial)
// until the time is up. Commits per second, or -1 when one failed.
template <typename Make>
double drive(int agents, Make make) {
  std::atomic<bool> stop{false}, failed{false};
  std::atomic<long long> done{0};
  std::vector<std::thread> threads;
  auto start = Clock::now();
  for (int a = 0; a < agents; ++a) {
    threads.emplace_back([&, a] {
      auto commit = make(a);
      for (unsigned long long serial = 0; !stop; ++serial) {
        if (!commit(serial)) {
          failed = true;
          stop = true;
          return;
        }
        ++done;
      }
    });
  }
  std::this_thread::sleep_for(std::chrono::duration<double>(run_seconds()));
  stop = true;
  for (auto& t : threads) t.join();
  double took = seconds_since(start);
  return failed ? -1 : static_cast<double>(done) / took;
}

// ---- the yardstick -------------------------------------------------------------

struct Row_Set {
  std::vector<std::string> paths;
  Row_Set() {
    for (int i = 0; i < 100; ++i) paths.push_back("/backup/db01/2023-11-14/piece-" + std::to_string(i) + ".dat");
  }
};
Row_Set const& rows() {
  static Row_Set r;
  return r;
}
std::string const kDir = "/backup/db01/2023-11-14";

struct Raw_SQLite_Agent {
  sqlite3* db = nullptr;
  sqlite3_stmt *set = nullptr, *storage = nullptr, *piece = nullptr;
  unsigned agent;
  explicit Raw_SQLite_Agent(std::string const& file, unsigned a) : agent(a) {
    sqlite3_open(file.c_str(), &db);
    sqlite3_busy_timeout(db, 60000);
    sqlite3_exec(db, "PRAGMA foreign_keys=ON; PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL", nullptr, nullptr,
                 nullptr);
    sqlite3_prepare_v2(db,
                       "INSERT INTO backup_set(uuid,name,definition_uuid,job_instance_uuid,host_uuid,resource_uuid,"
                       "agent,type,host,backup_start_time,backup_end_time,size,source_size,catalog_module) "
                       "VALUES(?1,'nightly-full',?2,?2,?2,?2,'agent-7','full','db01.example',"
                       "'2023-11-14 22:13:20','2023-11-14 23:13:20',104857600,209715200,'')",
                       -1, &set, nullptr);
    sqlite3_prepare_v2(db, "INSERT INTO backup_set_storage(set_uuid,pool_uuid,size,state) VALUES(?1,?2,104857600,0)",
                       -1, &storage, nullptr);
    sqlite3_prepare_v2(db,
                       "INSERT INTO backup_piece(set_uuid,path,object,size,extended_attrs,dir) "
                       "VALUES(?1,?2,'',1048576,NULL,?3)",
                       -1, &piece, nullptr);
  }
  ~Raw_SQLite_Agent() {
    for (auto* s : {set, storage, piece}) sqlite3_finalize(s);
    sqlite3_close(db);
  }
  bool step(sqlite3_stmt* s) {
    bool ok = sqlite3_step(s) == SQLITE_DONE;
    sqlite3_reset(s);
    return ok;
  }
  bool commit(unsigned long long serial) {
    auto key = uuid_bytes(make_uuid(0x80000000u + agent, serial));
    auto other = uuid_bytes(kSampleUuid);
    bool ok = sqlite3_exec(db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr) == SQLITE_OK;
    sqlite3_bind_blob(set, 1, key.data(), 16, SQLITE_TRANSIENT);
    sqlite3_bind_blob(set, 2, other.data(), 16, SQLITE_TRANSIENT);
    ok = ok && step(set);
    sqlite3_bind_blob(storage, 1, key.data(), 16, SQLITE_TRANSIENT);
    sqlite3_bind_blob(storage, 2, other.data(), 16, SQLITE_TRANSIENT);
    ok = ok && step(storage);
    for (std::string const& p : rows().paths) {
      sqlite3_bind_blob(piece, 1, key.data(), 16, SQLITE_TRANSIENT);
      sqlite3_bind_text(piece, 2, p.data(), static_cast<int>(p.size()), SQLITE_STATIC);
      sqlite3_bind_text(piece, 3, kDir.data(), static_cast<int>(kDir.size()), SQLITE_STATIC);
      ok = ok && step(piece);
    }
    ok = ok && sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr) == SQLITE_OK;
    if (!ok) {
      std::fprintf(stderr, "raw SQLite commit: %s\n", sqlite3_errmsg(db));
      sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
    }
    return ok;
  }
};

struct Raw_PG_Agent {
  PGconn* c = nullptr;
  unsigned agent;
  Raw_PG_Agent(std::string const& conninfo, unsigned a) : agent(a) {
    c = PQconnectdb(conninfo.c_str());
    PQclear(PQprepare(c, "set",
                      "INSERT INTO backup_set(uuid,name,definition_uuid,job_instance_uuid,host_uuid,resource_uuid,"
                      "agent,type,host,backup_start_time,backup_end_time,size,source_size,catalog_module) "
                      "VALUES($1,'nightly-full',$2,$2,$2,$2,'agent-7','full','db01.example',"
                      "'2023-11-14 22:13:20','2023-11-14 23:13:20',104857600,209715200,'')",
                      2, nullptr));
    PQclear(PQprepare(c, "storage",
                      "INSERT INTO backup_set_storage(set_uuid,pool_uuid,size,state) VALUES($1,$2,104857600,0)", 2,
                      nullptr));
  }
  ~Raw_PG_Agent() { PQfinish(c); }
  bool exec(char const* sql) {
    PGresult* r = PQexec(c, sql);
    bool ok = PQresultStatus(r) == PGRES_COMMAND_OK;
    PQclear(r);
    return ok;
  }
  bool prepared(char const* name, int n, char const* const* values, int const* lengths, int const* formats) {
    PGresult* r = PQexecPrepared(c, name, n, values, lengths, formats, 0);
    bool ok = PQresultStatus(r) == PGRES_COMMAND_OK;
    PQclear(r);
    return ok;
  }
  bool commit(unsigned long long serial) {
    auto key = uuid_bytes(make_uuid(0x80000000u + agent, serial));
    auto other = uuid_bytes(kSampleUuid);
    char const* two[2] = {reinterpret_cast<char const*>(key.data()), reinterpret_cast<char const*>(other.data())};
    int lengths[3] = {16, 16, static_cast<int>(kDir.size())};
    int formats[3] = {1, 1, 0};
    bool ok = exec("BEGIN") && prepared("set", 2, two, lengths, formats) && prepared("storage", 2, two, lengths, formats);
    // The pieces by one COPY, as the engine takes many rows fastest.
    static char const digits[] = "0123456789abcdef";
    std::string hex = "\\\\x";
    for (unsigned char b : key) {
      hex += digits[b >> 4];
      hex += digits[b & 15];
    }
    std::string data;
    for (std::string const& p : rows().paths) data += hex + "\t" + p + "\t\t1048576\t\\N\t" + kDir + "\n";
    PGresult* r = ok ? PQexec(c, "COPY backup_piece(set_uuid,path,object,size,extended_attrs,dir) FROM STDIN") : nullptr;
    ok = ok && PQresultStatus(r) == PGRES_COPY_IN;
    PQclear(r);
    ok = ok && PQputCopyData(c, data.data(), static_cast<int>(data.size())) == 1 && PQputCopyEnd(c, nullptr) == 1;
    if (ok) {
      r = PQgetResult(c);
      ok = PQresultStatus(r) == PGRES_COMMAND_OK;
      PQclear(r);
      while ((r = PQgetResult(c)) != nullptr) PQclear(r);
    }
    ok = ok && exec("COMMIT");
    if (!ok) {
      std::fprintf(stderr, "raw PostgreSQL commit: %s\n", PQerrorMessage(c));
      exec("ROLLBACK");
    }
    return ok;
  }
};

void run_engine(Engine engine) {
  std::string error;
  Catalogue catalogue(engine);
  if (!catalogue.prepare(error)) return (void)std::fprintf(stderr, "%s: %s\n", engine_name(engine), error.c_str());
  Catalogd server(catalogue);
  if (!server.ok) return;
  Backup_Set sample("file");
  fill_commit_sample(sample, "0a0a0a0a-0000-4000-8000-000000000001");
  std::string const doc = document_of(sample);
  size_t const at = doc.find(kSampleUuid);
  if (at == std::string::npos) return (void)std::fprintf(stderr, "no uuid in the sample document\n");
  std::printf("== %s: commits of a 100-piece set (%zu bytes), %.0f s per run\n", engine_name(engine), doc.size(),
              run_seconds());

  for (int agents : {1, 2, 4, 8}) {
    double raw = drive(agents, [&](int a) {
      std::function<bool(unsigned long long)> f;
      if (engine == SQLITE) {
        auto agent = std::make_shared<Raw_SQLite_Agent>(catalogue.file(), static_cast<unsigned>(agents * 100 + a));
        f = [agent](unsigned long long s) { return agent->commit(s); };
      } else {
        auto agent = std::make_shared<Raw_PG_Agent>(catalogue.conninfo(), static_cast<unsigned>(agents * 100 + a));
        f = [agent](unsigned long long s) { return agent->commit(s); };
      }
      return f;
    });
    double served = drive(agents, [&](int a) {
      auto poster = std::make_shared<Raw_Curl_Poster>(server.url("/rpc"));
      std::string body = doc;
      unsigned id = static_cast<unsigned>(agents * 100 + a);
      return [poster, body, id, at](unsigned long long serial) mutable {
        body.replace(at, kSampleUuid.size(), make_uuid(id, serial));
        std::string rpc = Raw_Curl_Poster::json_rpc_body("backup_set.commit", body, static_cast<long long>(serial));
        if (!poster->post(rpc) || poster->answer().find("\"result\":true") == std::string::npos) {
          std::fprintf(stderr, "commit refused: %.300s\n", poster->answer().c_str());
          return false;
        }
        return true;
      };
    });
    std::printf("%d agent(s): catalogd %.0f commits/s, raw %.0f commits/s\n", agents, served, raw);
    result("4 commits", engine, std::to_string(agents) + " agent(s)", served, "commits/s", raw);
  }
  std::printf("catalogd peak RSS %.1f MB\n", server.peak_rss_mb());
}

}  // namespace

int main() {
  for (Engine e : engines()) run_engine(e);
  return 0;
}
