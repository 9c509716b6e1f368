#include "bench/load/agent_load.h"

#include <curl/curl.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>
#include <thread>

#include <yajl/yajl_gen.h>

#include "backup/backup_set/common/backup_set.h"
#include "platform/database/pg_connection.h"
#include "platform/database/query_result_handler.h"
#include "platform/database/sqlite_connection.h"
#include "platform/json/json_text.h"
#include "platform/sql/sql.h"
#include "tests/server/catalogd_process.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

typedef std::chrono::steady_clock Clock;

char const kPoolA[] = "a0a0a0a0-0000-4000-8000-00000000000a";
char const kPoolB[] = "b0b0b0b0-0000-4000-8000-00000000000b";
size_t const kKeptErrors = 5;

double seconds_between(Clock::time_point a, Clock::time_point b) { return std::chrono::duration<double>(b - a).count(); }

bool postgres_uri(std::string const& db) { return db.rfind("postgresql://", 0) == 0 || db.rfind("postgres://", 0) == 0; }

// Whether this catalogd takes an option (the options grow while agents
// already run against older builds).
bool catalogd_has_option(std::string const& option) {
  static std::string help = [] {
    std::string text;
    FILE* p = popen((Catalogd_Process::program() + " --help 2>&1").c_str(), "r");
    if (!p) return text;
    char buf[4096];
    size_t n;
    while ((n = fread(buf, 1, sizeof buf, p)) > 0) text.append(buf, n);
    pclose(p);
    return text;
  }();
  return help.find(option + " ") != std::string::npos || help.find(option + "\n") != std::string::npos;
}

double percentile(std::vector<double> const& sorted, double p) {
  if (sorted.empty()) return 0;
  size_t at = static_cast<size_t>(std::ceil(p * static_cast<double>(sorted.size())));
  at = at == 0 ? 0 : at - 1;
  return sorted[std::min(at, sorted.size() - 1)];
}

Value const* member(Value const& v, char const* key) {
  if (v.type() != json_spirit::obj_type) return nullptr;
  auto it = v.get_obj().find(key);
  return it == v.get_obj().end() ? nullptr : &it->second;
}

std::string shorten(std::string text, size_t at_most = 300) {
  if (text.size() > at_most) text = text.substr(0, at_most) + "...";
  for (char& ch : text)
    if (ch == '\n' || ch == '\r') ch = ' ';
  return text;
}

// Errors seen by many threads: all counted, the first few kept in words.
struct Error_Log {
  std::mutex mutex;
  long long count = 0;
  std::vector<std::string> first;
  void add(std::string const& why) {
    std::lock_guard<std::mutex> lock(mutex);
    ++count;
    if (first.size() < kKeptErrors) first.push_back(why);
  }
};

}  // namespace

// One row of the check's statement: a stored set and what it holds.
struct Agent_Load::Record {
  std::string uuid, status, name, first_path, last_path, pool;
  long long pieces = 0, paths = 0, bytes = 0, storages = 0, dirs = 0, dir_pieces = 0;
};

// An agent's HTTP connection: one libcurl handle, kept alive, or made to
// open a new connection for every request.
class Agent_Load::Poster {
 public:
  Poster(std::string url, bool rest, bool new_connection, int timeout_ms) : url_(std::move(url)), rest_(rest) {
    handle_ = curl_easy_init();
    headers_ = curl_slist_append(headers_, "Content-Type: application/json");
    headers_ = curl_slist_append(headers_, "Accept: application/json");
    headers_ = curl_slist_append(headers_, "Expect:");
    curl_easy_setopt(handle_, CURLOPT_URL, url_.c_str());
    curl_easy_setopt(handle_, CURLOPT_POST, 1L);
    curl_easy_setopt(handle_, CURLOPT_HTTPHEADER, headers_);
    curl_easy_setopt(handle_, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle_, CURLOPT_TCP_NODELAY, 1L);
    curl_easy_setopt(handle_, CURLOPT_TIMEOUT_MS, static_cast<long>(timeout_ms));
    curl_easy_setopt(handle_, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(timeout_ms));
    curl_easy_setopt(handle_, CURLOPT_WRITEFUNCTION, &Poster::collect);
    curl_easy_setopt(handle_, CURLOPT_WRITEDATA, &answer_);
    if (new_connection) {
      curl_easy_setopt(handle_, CURLOPT_FRESH_CONNECT, 1L);
      curl_easy_setopt(handle_, CURLOPT_FORBID_REUSE, 1L);
    }
  }
  ~Poster() {
    curl_easy_cleanup(handle_);
    curl_slist_free_all(headers_);
  }
  Poster(Poster const&) = delete;
  Poster& operator=(Poster const&) = delete;

  // False on a transport failure (`why` says which); otherwise the status
  // and the answer's body.
  bool post(std::string const& body, long& status, std::string& answer, std::string& why) {
    answer_.clear();
    curl_easy_setopt(handle_, CURLOPT_POSTFIELDS, body.data());
    curl_easy_setopt(handle_, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
    CURLcode rc = curl_easy_perform(handle_);
    if (rc != CURLE_OK) {
      why = std::string("transport: ") + curl_easy_strerror(rc);
      return false;
    }
    curl_easy_getinfo(handle_, CURLINFO_RESPONSE_CODE, &status);
    answer.swap(answer_);
    return true;
  }

  // Whether the body is the set's document itself (REST) or a JSON-RPC call.
  bool rest() const { return rest_; }

 private:
  static size_t collect(char* data, size_t size, size_t count, void* user) {
    static_cast<std::string*>(user)->append(data, size * count);
    return size * count;
  }

  std::string url_;
  bool rest_;
  CURL* handle_ = nullptr;
  curl_slist* headers_ = nullptr;
  std::string answer_;
};

Agent_Load::Agent_Load(Options options) : options_(std::move(options)) {
  curl_global_init(CURL_GLOBAL_DEFAULT);
  std::random_device random;
  run_id_ = random();
}

Agent_Load::~Agent_Load() { stop(); }

bool Agent_Load::start(std::string& error) {
  if (options_.servers < 1) {
    error = "at least one server is needed";
    return false;
  }
  if (options_.pieces < 1) {
    error = "at least one piece per set is needed";
    return false;
  }
  if (options_.db.empty()) {
    target_ = std::make_unique<Catalog_Target>(options_.engine);
    if (!target_->prepare(error)) return false;
    db_ = target_->db();
    fresh_ = true;
  } else {
    db_ = options_.db;
    options_.engine = postgres_uri(db_) ? Catalog_Target::POSTGRESQL : Catalog_Target::SQLITE;
    fresh_ = false;
  }
  std::vector<std::string> args = {"--db", db_};
  if (options_.queue_commits) args.push_back("--queue-commits");
  if (options_.server_threads > 0) {
    args.push_back("--threads");
    args.push_back(std::to_string(options_.server_threads));
  }
  int connections = options_.db_connections;
  // The private cluster takes 30 connections: several servers share 24 of
  // them, the rest is for the check and the cluster's own administration.
  // One server keeps its own default.
  if (connections < 0 && target_ && options_.engine == Catalog_Target::POSTGRESQL && options_.servers > 1)
    connections = std::max(2, 24 / options_.servers);
  if (connections > 0 && catalogd_has_option("--db-connections")) {
    args.push_back("--db-connections");
    args.push_back(std::to_string(connections));
  }
  args.insert(args.end(), options_.server_args.begin(), options_.server_args.end());
  for (int i = 0; i < options_.servers; ++i) {
    servers_.push_back(std::make_unique<Catalogd_Process>());
    if (!servers_.back()->start(args)) {
      error = "catalogd " + std::to_string(i) + " did not start: " + servers_.back()->error();
      return false;
    }
  }
  return true;
}

void Agent_Load::stop() {
  for (auto& s : servers_)
    if (s->running()) s->stop();
}

std::string Agent_Load::server_log(int i, size_t bytes) const {
  std::string text = servers_.at(static_cast<size_t>(i))->stderr_text();
  return text.size() > bytes ? text.substr(text.size() - bytes) : text;
}

long Agent_Load::peak_rss_kb(int i) const { return servers_.at(static_cast<size_t>(i))->peak_rss_kb(); }

std::string Agent_Load::next_uuid() {
  char buf[40];
  std::snprintf(buf, sizeof buf, "%08x-0000-4000-8000-%012llx", run_id_,
                static_cast<unsigned long long>(serial_++) & 0xffffffffffffULL);
  return buf;
}

std::string Agent_Load::path_prefix(std::string const& uuid, char variant) const {
  return "/load/" + uuid + "/" + variant + "-piece-";
}

std::string Agent_Load::piece_number(int i) const {
  int width = std::max(3, static_cast<int>(std::to_string(options_.pieces - 1).size()));
  char buf[32];
  std::snprintf(buf, sizeof buf, "%0*d", width, i);
  return buf;
}

// Piece i of document a is 4096 + i bytes, of document b 8192 + i: the sum
// tells which document's pieces a set holds.
long long Agent_Load::piece_bytes(char variant) const {
  long long n = options_.pieces;
  long long base = variant == 'a' ? 4096 : 8192;
  return n * base + n * (n - 1) / 2;
}

// The document an agent sends: the library's own set record written by
// its generator, with its pieces under a directory named after the set.
std::string Agent_Load::document(std::string const& uuid, char variant) const {
  Backup_Set set("file");
  set.uuid = uuid;
  set.name = std::string("load-") + variant;
  set.definition_uuid = "0b7e1d9c-3a5f-4c2e-9d1b-7f6a5e4d3c2b";
  set.job_instance_uuid = "a1b2c3d4-e5f6-4789-abcd-ef0123456789";
  set.host_uuid = "11111111-2222-4333-8444-555555555555";
  set.resource_uuid = "66666666-7777-4888-9999-aaaaaaaaaaaa";
  set.agent = "load-agent";
  set.type = "full";
  set.host = "db01.example";
  set.backup_start_time = 1700000000;
  set.backup_end_time = 1700003600;
  set.size = piece_bytes(variant);
  set.source_size = set.size;
  std::string prefix = path_prefix(uuid, variant);
  long long base = variant == 'a' ? 4096 : 8192;
  for (int i = 0; i < options_.pieces; ++i)
    set.add_piece(prefix + piece_number(i) + ".dat", static_cast<unsigned long long>(base + i));
  set.add_storage(variant == 'a' ? kPoolA : kPoolB, set.size);
  yajl_gen g = yajl_gen_alloc(nullptr);
  std::string out;
  if (set.generate(g)) {
    unsigned char const* buf = nullptr;
    size_t len = 0;
    yajl_gen_get_buf(g, &buf, &len);
    out.assign(reinterpret_cast<char const*>(buf), len);
  }
  yajl_gen_free(g);
  return out;
}

std::string Agent_Load::server_url(int server) const {
  return servers_.at(static_cast<size_t>(server) % servers_.size())->url();
}

std::unique_ptr<Agent_Load::Poster> Agent_Load::poster(int server, Mode mode, Transport transport) const {
  std::string url = server_url(server) + (transport == RPC ? "/rpc" : "/d2/r/v2/sets");
  return std::make_unique<Poster>(url, transport == REST, mode == NEW_CONNECTION, options_.request_timeout_ms);
}

// One commit; true when the answer says the set is stored (or queued).
bool Agent_Load::commit(Poster& poster, std::string const& uuid, char variant, std::string& why) const {
  std::string doc = document(uuid, variant);
  if (doc.empty()) {
    why = "the set's document could not be written";
    return false;
  }
  static std::atomic<long long> ids{1};
  std::string body = poster.rest() ? doc
                                   : R"({"jsonrpc":"2.0","method":"backup_set.commit","params":)" + doc +
                                         R"(,"id":)" + std::to_string(ids++) + "}";
  long status = 0;
  std::string answer;
  if (!poster.post(body, status, answer, why)) return false;
  Value parsed;
  if (status != 200 || !JSON_Parse(answer, parsed)) {
    why = "HTTP " + std::to_string(status) + ": " + shorten(answer);
    return false;
  }
  Value const* result = poster.rest() ? &parsed : member(parsed, "result");
  if (!result) {
    Value const* error = member(parsed, "error");
    why = "refused: " + shorten(error ? JSON_Dump(*error) : answer);
    return false;
  }
  Value const* ok = member(*result, "result");
  Value const* named = member(*result, "uuid");
  Value const* queued = member(*result, "queued");
  bool acknowledged = ok && ok->type() == json_spirit::bool_type && ok->get_bool() && named &&
                      named->type() == json_spirit::str_type && named->get_str() == uuid;
  if (acknowledged && options_.queue_commits)
    acknowledged = queued && queued->type() == json_spirit::bool_type && queued->get_bool();
  if (!acknowledged) why = "unexpected answer: " + shorten(answer);
  return acknowledged;
}

void Agent_Load::note(std::string const& uuid, char variant, bool acknowledged) {
  std::lock_guard<std::mutex> lock(sent_mutex_);
  sent_[uuid] = variant;
  if (acknowledged) acknowledged_.insert(uuid);
}

Agent_Load::Figures Agent_Load::run(int agents, double seconds, Mode mode, Transport transport) {
  Figures f;
  f.mode = mode;
  f.transport = transport;
  f.agents = agents;
  Error_Log errors;
  std::vector<std::vector<double>> latencies(static_cast<size_t>(agents));
  std::atomic<long long> acknowledged{0}, requests{0};
  std::atomic<int> ready{0};
  std::atomic<bool> go{false};
  Clock::time_point start, deadline;
  std::vector<std::thread> threads;
  for (int a = 0; a < agents; ++a) {
    threads.emplace_back([&, a] {
      std::unique_ptr<Poster> p = poster(a, mode, transport);
      std::vector<double>& mine = latencies[static_cast<size_t>(a)];
      mine.reserve(4096);
      ++ready;
      while (!go) std::this_thread::sleep_for(std::chrono::microseconds(200));
      while (Clock::now() < deadline) {
        std::string uuid = next_uuid(), why;
        note(uuid, 'a', false);
        Clock::time_point t0 = Clock::now();
        bool ok = commit(*p, uuid, 'a', why);
        mine.push_back(seconds_between(t0, Clock::now()) * 1000.0);
        ++requests;
        if (ok) {
          note(uuid, 'a', true);
          ++acknowledged;
        } else {
          errors.add("agent " + std::to_string(a) + ", set " + uuid + ": " + why);
          // An agent backs off before it tries again.
          std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
      }
    });
  }
  while (ready < agents) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  start = Clock::now();
  deadline = start + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
  go = true;
  for (auto& t : threads) t.join();
  f.seconds = seconds_between(start, Clock::now());
  std::vector<double> all;
  for (auto& v : latencies) all.insert(all.end(), v.begin(), v.end());
  std::sort(all.begin(), all.end());
  f.requests = requests;
  f.acknowledged = acknowledged;
  f.errors = errors.count;
  f.first_errors = errors.first;
  f.sets_per_second = f.seconds > 0 ? static_cast<double>(f.acknowledged) / f.seconds : 0;
  f.p50_ms = percentile(all, 0.50);
  f.p99_ms = percentile(all, 0.99);
  f.max_ms = all.empty() ? 0 : all.back();
  return f;
}

std::unique_ptr<database::sql::Connection> Agent_Load::connect(std::string& error) const {
  std::unique_ptr<database::sql::Connection> c;
  if (options_.engine == Catalog_Target::POSTGRESQL)
    c = std::make_unique<database::sql::PG_Connection>(target_ ? target_->conninfo() : db_);
  else
    c = std::make_unique<database::sql::SQLite_Connection>(db_);
  if (!c->is_open()) {
    error = "cannot open the catalogue: " + c->last_error();
    return nullptr;
  }
  return c;
}

Binding_Value Agent_Load::run_prefix() const {
  std::basic_string<unsigned char> run;
  for (int shift = 24; shift >= 0; shift -= 8) run.push_back(static_cast<unsigned char>(run_id_ >> shift));
  return Binding_Value(run);
}

bool Agent_Load::stored_rows(std::vector<Record>& rows, std::string& error) const {
  std::unique_ptr<database::sql::Connection> c = connect(error);
  if (!c) return false;
  std::string where = fresh_ ? "" : " WHERE substr(s.uuid, 1, 4) = :run";
  SQL sql(
      "SELECT s.uuid AS uuid, s.status AS status, s.name AS name, count(p.id) AS pieces,"
      " count(DISTINCT p.path) AS paths, min(p.path) AS first_path, max(p.path) AS last_path,"
      " CAST(coalesce(sum(p.size), 0) AS bigint) AS bytes,"
      " (SELECT count(*) FROM backup_set_storage t WHERE t.set_uuid = s.uuid) AS storages,"
      " (SELECT t.pool_uuid FROM backup_set_storage t WHERE t.set_uuid = s.uuid ORDER BY t.pool_uuid LIMIT 1) AS pool,"
      " (SELECT count(*) FROM backup_piece_dir d WHERE d.set_uuid = s.uuid) AS dirs,"
      " (SELECT max(d.pieces) FROM backup_piece_dir d WHERE d.set_uuid = s.uuid) AS dir_pieces"
      " FROM backup_set s LEFT JOIN backup_piece p ON p.set_uuid = s.uuid" +
      where + " GROUP BY s.uuid, s.status, s.name");
  if (!fresh_) sql.bind(":run", run_prefix());
  static Key2_Value_T<int> const uuids[] = {{"uuid", 5}, {"pool", 5}, {nullptr, 0}};
  database::sql::Query_Result_Handler handler(nullptr, uuids, -1, -1);
  Array out;
  if (!c->query_rows(sql, out, &handler)) {
    error = "cannot read the stored sets: " + c->last_error();
    return false;
  }
  rows.clear();
  rows.reserve(out.size());
  auto text = [](Object const& o, char const* key) {
    auto it = o.find(key);
    return it != o.end() && it->second.type() == json_spirit::str_type ? it->second.get_str() : std::string();
  };
  auto number = [](Object const& o, char const* key) {
    auto it = o.find(key);
    return it != o.end() && it->second.type() == json_spirit::int_type ? it->second.get_int64() : -1LL;
  };
  for (Value const& v : out) {
    Object const& o = v.get_obj();
    Record r;
    r.uuid = text(o, "uuid");
    r.status = text(o, "status");
    r.name = text(o, "name");
    r.first_path = text(o, "first_path");
    r.last_path = text(o, "last_path");
    r.pool = text(o, "pool");
    r.pieces = number(o, "pieces");
    r.paths = number(o, "paths");
    r.bytes = number(o, "bytes");
    r.storages = number(o, "storages");
    r.dirs = number(o, "dirs");
    r.dir_pieces = number(o, "dir_pieces");
    rows.push_back(std::move(r));
  }
  // Pieces left behind by a set that went away.
  Value orphans;
  SQL lost(
      "SELECT count(*) FROM backup_piece p WHERE NOT EXISTS (SELECT 1 FROM backup_set s WHERE s.uuid = p.set_uuid)");
  if (!c->query_value(lost, orphans) || orphans.type() != json_spirit::int_type) {
    error = "cannot count pieces without a set: " + c->last_error();
    return false;
  }
  if (orphans.get_int64() > 0) {
    Record r;
    r.uuid = "";
    r.pieces = orphans.get_int64();
    rows.push_back(r);
  }
  return true;
}

long long Agent_Load::stored_count(database::sql::Connection* c) const {
  std::string error;
  std::unique_ptr<database::sql::Connection> own;
  if (!c) {
    own = connect(error);
    if (!own) return -1;
    c = own.get();
  }
  SQL sql(std::string("SELECT count(*) FROM backup_set s WHERE s.status = 'complete'") +
          (fresh_ ? "" : " AND substr(s.uuid, 1, 4) = :run"));
  if (!fresh_) sql.bind(":run", run_prefix());
  Value n;
  if (!c->query_value(sql, n) || n.type() != json_spirit::int_type) return -1;
  return n.get_int64();
}

std::string Agent_Load::flaw(Record const& r, char variant) const {
  std::vector<std::string> wrong;
  std::string prefix = path_prefix(r.uuid, variant);
  long long n = options_.pieces;
  if (r.status != "complete") wrong.push_back("status '" + r.status + "'");
  if (r.name != std::string("load-") + variant) wrong.push_back("name '" + r.name + "'");
  if (r.pieces != n) wrong.push_back(std::to_string(r.pieces) + " pieces");
  if (r.paths != n) wrong.push_back(std::to_string(r.paths) + " distinct paths");
  // Paths that share a prefix sort together: when the first and the last
  // have the set's own prefix and numbers 0 and n-1, and all n are
  // distinct, they are exactly the set's pieces.
  if (r.first_path != prefix + piece_number(0) + ".dat") wrong.push_back("first piece '" + r.first_path + "'");
  if (r.last_path != prefix + piece_number(static_cast<int>(n - 1)) + ".dat")
    wrong.push_back("last piece '" + r.last_path + "'");
  if (r.bytes != piece_bytes(variant)) wrong.push_back(std::to_string(r.bytes) + " bytes of pieces");
  if (r.storages != 1) wrong.push_back(std::to_string(r.storages) + " storages");
  if (r.pool != (variant == 'a' ? kPoolA : kPoolB)) wrong.push_back("pool " + r.pool);
  // "/load" and "/load/<uuid>", each with all the set's pieces beneath.
  if (r.dirs != 2 || r.dir_pieces != n)
    wrong.push_back(std::to_string(r.dirs) + " directories holding " + std::to_string(r.dir_pieces) + " pieces");
  std::string out;
  for (auto const& w : wrong) out += (out.empty() ? "" : ", ") + w;
  return out;
}

Agent_Load::Count Agent_Load::check(double drain_seconds) {
  Count count;
  {
    std::lock_guard<std::mutex> lock(sent_mutex_);
    count.acknowledged = static_cast<long long>(acknowledged_.size());
  }
  if (options_.queue_commits) {
    // Queued commits are stored shortly after their answer; wait while the
    // catalogue still catches up.
    long long last = -1;
    Clock::time_point began = Clock::now(), progress = began;
    for (;;) {
      long long now = stored_count();
      if (now < 0 || now >= count.acknowledged) break;
      if (now != last) {
        last = now;
        progress = Clock::now();
      } else if (seconds_between(progress, Clock::now()) > drain_seconds) {
        break;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    count.waited_seconds = seconds_between(began, Clock::now());
  }
  std::vector<Record> rows;
  std::string error;
  auto problem = [&count](std::string const& text) {
    if (count.problems.size() < kKeptErrors) count.problems.push_back(text);
  };
  if (!stored_rows(rows, error)) {
    count.missing = count.acknowledged;
    problem(error);
    return count;
  }
  std::lock_guard<std::mutex> lock(sent_mutex_);
  std::unordered_set<std::string> seen;
  for (Record const& r : rows) {
    if (r.uuid.empty()) {
      count.orphan_pieces += r.pieces;
      problem(std::to_string(r.pieces) + " pieces belong to no set");
      continue;
    }
    if (!seen.insert(r.uuid).second) {
      ++count.damaged;
      problem("set " + r.uuid + " is stored more than once");
      continue;
    }
    auto sent = sent_.find(r.uuid);
    if (sent == sent_.end()) {
      ++count.unexpected;
      problem("set " + r.uuid + " is stored but no agent sent it");
      continue;
    }
    char variant = sent->second;
    if (variant == '?') variant = r.name == "load-b" ? 'b' : 'a';
    std::string why = flaw(r, variant);
    bool acknowledged = acknowledged_.count(r.uuid) > 0;
    if (!why.empty()) {
      ++count.damaged;
      problem("set " + r.uuid + (acknowledged ? "" : " (not acknowledged)") + " is stored with " + why);
    } else if (acknowledged) {
      ++count.found;
    } else {
      ++count.unacknowledged;
    }
  }
  for (std::string const& uuid : acknowledged_)
    if (!seen.count(uuid)) {
      ++count.missing;
      problem("acknowledged set " + uuid + " is not stored");
    }
  return count;
}

Agent_Load::Same_Uuid Agent_Load::same_uuid(int rounds, Transport transport) {
  Same_Uuid out;
  if (servers_.size() < 2) {
    out.problems.push_back("two servers are needed");
    return out;
  }
  std::unique_ptr<Poster> posters[2] = {poster(0, KEEP_ALIVE, transport), poster(1, KEEP_ALIVE, transport)};
  std::vector<std::string> uuids;
  std::vector<int> acked_mask;
  for (int round = 0; round < rounds; ++round) {
    std::string uuid = next_uuid();
    note(uuid, '?', false);
    std::atomic<int> ready{0};
    std::atomic<bool> go{false};
    bool ok[2] = {false, false};
    std::string why[2];
    std::thread sides[2];
    for (int side = 0; side < 2; ++side) {
      sides[side] = std::thread([&, side] {
        std::string doc_uuid = uuid;
        ++ready;
        // Both wait for the same moment, spinning so neither sleeps past it.
        while (!go) {
        }
        ok[side] = commit(*posters[side], doc_uuid, side == 0 ? 'a' : 'b', why[side]);
      });
    }
    while (ready < 2) std::this_thread::yield();
    go = true;
    for (auto& t : sides) t.join();
    int mask = (ok[0] ? 1 : 0) | (ok[1] ? 2 : 0);
    if (mask == 3) {
      ++out.both_acknowledged;
      note(uuid, '?', true);
    } else if (mask != 0) {
      ++out.one_acknowledged;
      note(uuid, ok[0] ? 'a' : 'b', true);
    } else {
      ++out.none_acknowledged;
    }
    for (int side = 0; side < 2; ++side)
      if (!ok[side] && out.refusals.size() < kKeptErrors)
        out.refusals.push_back("round " + std::to_string(round) + ", server " + std::to_string(side) + ": " +
                               why[side]);
    uuids.push_back(uuid);
    acked_mask.push_back(mask);
  }
  out.rounds = rounds;
  std::vector<Record> rows;
  std::string error;
  if (!stored_rows(rows, error)) {
    out.problems.push_back(error);
    return out;
  }
  for (size_t i = 0; i < uuids.size(); ++i) {
    int found = 0;
    for (Record const& r : rows) {
      if (r.uuid != uuids[i]) continue;
      ++found;
      char variant = r.name == "load-b" ? 'b' : 'a';
      std::string why = flaw(r, variant);
      bool allowed = acked_mask[i] == 3 || (acked_mask[i] == 1 && variant == 'a') || (acked_mask[i] == 2 && variant == 'b');
      if (!why.empty())
        out.problems.push_back("round " + std::to_string(i) + ": set " + uuids[i] + " is a mixture: " + why);
      else if (!allowed)
        out.problems.push_back("round " + std::to_string(i) + ": set " + uuids[i] + " holds document " + variant +
                               ", whose commit was refused");
      else
        ++out.whole;
    }
    if (found != 1)
      out.problems.push_back("round " + std::to_string(i) + ": set " + uuids[i] + " is stored " +
                             std::to_string(found) + " times");
  }
  return out;
}

Agent_Load::Shutdown Agent_Load::sigterm(int active, int idle, double seconds, int pause_ms, Transport transport) {
  Shutdown out;
  out.active_agents = active;
  out.idle_agents = idle;
  if (servers_.empty() || !servers_[0]->running() || !options_.queue_commits) {
    out.first_errors.push_back("needs a running server that queues commits");
    return out;
  }
  Error_Log errors;
  std::atomic<bool> signalled{false}, stop{false};
  std::atomic<long long> after_signal{0};
  Clock::time_point signal_at;
  std::mutex signal_mutex;
  std::vector<std::thread> threads;
  for (int a = 0; a < active; ++a) {
    threads.emplace_back([&, a] {
      std::unique_ptr<Poster> p = poster(0, KEEP_ALIVE, transport);
      while (!stop) {
        std::string uuid = next_uuid(), why;
        note(uuid, 'a', false);
        bool ok = commit(*p, uuid, 'a', why);
        Clock::time_point done = Clock::now();
        if (ok) {
          note(uuid, 'a', true);
          if (pause_ms > 0) std::this_thread::sleep_for(std::chrono::milliseconds(pause_ms));
          continue;
        }
        bool late;
        {
          std::lock_guard<std::mutex> lock(signal_mutex);
          late = signalled && done >= signal_at;
        }
        if (late) {
          // Cut off by the shutdown: this agent has seen the server go.
          ++after_signal;
          return;
        }
        errors.add("active agent " + std::to_string(a) + ", set " + uuid + ": " + why);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
      }
    });
  }
  // Idle agents: one commit each just before the signal, then their
  // connection stays open (catalogd closes idle ones after its keep-alive
  // time-out, so earlier they would be gone by the signal).
  std::this_thread::sleep_for(std::chrono::duration<double>(std::max(0.0, seconds - 0.2)));
  std::string why;
  std::unique_ptr<database::sql::Connection> watch = connect(why);
  std::vector<std::unique_ptr<Poster>> idle_posters;
  for (int i = 0; i < idle; ++i) {
    idle_posters.push_back(poster(0, KEEP_ALIVE, transport));
    std::string uuid = next_uuid(), why;
    note(uuid, 'a', false);
    bool ok = commit(*idle_posters.back(), uuid, 'a', why);
    note(uuid, 'a', ok);
    if (!ok) errors.add("idle agent " + std::to_string(i) + ": " + why);
  }
  out.stored_at_signal = stored_count(watch.get());
  Catalogd_Process& server = *servers_[0];
  {
    std::lock_guard<std::mutex> lock(signal_mutex);
    signal_at = Clock::now();
    signalled = true;
  }
  // Watches the catalogue fill while catalogd stops, to tell the drain
  // from the rest of the stopping.
  std::atomic<bool> exited{false};
  std::thread watcher([&] {
    long long last = out.stored_at_signal;
    for (bool final_look = false;; final_look = exited) {
      long long now = stored_count(watch.get());
      if (now > last) {
        last = now;
        out.drained_seconds = seconds_between(signal_at, Clock::now());
      }
      if (final_look) return;
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
  });
  out.exit_status = server.stop();
  out.exit_seconds = seconds_between(signal_at, Clock::now());
  exited = true;
  watcher.join();
  stop = true;
  for (auto& t : threads) t.join();
  idle_posters.clear();
  out.errors_before_signal = errors.count;
  out.failed_after_signal = after_signal;
  out.first_errors = errors.first;
  out.stored_after_exit = stored_count();
  {
    std::lock_guard<std::mutex> lock(sent_mutex_);
    out.acknowledged = static_cast<long long>(acknowledged_.size());
  }
  // Nothing can arrive any more: count without waiting.
  bool queued = options_.queue_commits;
  options_.queue_commits = false;
  out.count = check(0);
  options_.queue_commits = queued;
  return out;
}
