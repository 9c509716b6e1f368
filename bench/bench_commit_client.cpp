// Commits per second of a 100-piece set through the two catalogue operators
// against a minimal in-process HTTP server that accepts every commit, next
// to plain libcurl POSTing the same bytes (checked once, before timing) to
// the same server over one reused handle. The operators' cost over the
// yardstick is what they add: writing the document, the JSON-RPC envelope, a
// session per attempt, reading the answer into a value and checking it.
//
// The "prewritten" rows commit a set whose document was written once and is
// replayed: they show the transport's own cost, without the document's.
// BM_Document_Only is the document's cost alone.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <httplib.h>
#include <yajl/yajl_gen.h>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/catalog_operator.h"
#include "backup/backup_set/common/restful_catalog_operator.h"
#include "bench/commit_sample.h"
#include "bench/raw_curl_poster.h"
#include "platform/rpc/global_json_rpc_channel.h"

namespace {

// Answers JSON-RPC calls on /rpc with {"result":true} under the caller's id
// and REST commits on /d2/r/v2/sets with {"result":true}.
class Accepting_Server {
 public:
  Accepting_Server() {
    server_.set_tcp_nodelay(true);
    server_.set_keep_alive_max_count(1000000000);
    server_.Post("/rpc", [this](httplib::Request const& req, httplib::Response& res) {
      keep(req.body);
      // The id is the last member the clients write.
      std::string id = "null";
      auto at = req.body.rfind("\"id\":");
      if (at != std::string::npos) id = req.body.substr(at + 5, req.body.size() - at - 6);
      res.set_content(R"({"jsonrpc":"2.0","result":{"result":true},"id":)" + id + "}", "application/json");
    });
    server_.Post("/d2/r/v2/sets", [this](httplib::Request const& req, httplib::Response& res) {
      keep(req.body);
      res.set_content(R"({"result":true})", "application/json");
    });
    port_ = server_.bind_to_any_port("127.0.0.1");
    thread_ = std::thread([this] { server_.listen_after_bind(); });
    while (!server_.is_running()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  ~Accepting_Server() {
    server_.stop();
    thread_.join();
  }
  int port() const { return port_; }
  std::string url(char const* path) const { return "http://127.0.0.1:" + std::to_string(port_) + path; }

  // Keeps the body of the next request (outside the timed loops only).
  void arm() {
    std::lock_guard<std::mutex> lock(mutex_);
    armed_ = true;
    kept_.clear();
  }
  std::string kept() {
    std::lock_guard<std::mutex> lock(mutex_);
    return kept_;
  }

 private:
  void keep(std::string const& body) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!armed_) return;
    kept_ = body;
    armed_ = false;
  }

  std::mutex mutex_;
  bool armed_ = false;
  std::string kept_;
  httplib::Server server_;
  int port_ = 0;
  std::thread thread_;
};

Accepting_Server& server() {
  static Accepting_Server s;
  return s;
}

void fill(Backup_Set& set) { fill_commit_sample(set, "pool-0001"); }

// The same set, but its document is written once and then replayed
// verbatim: what the operators cost apart from writing the document.
class Prewritten_Set : public Backup_Set {
 public:
  Prewritten_Set() : Backup_Set("file") {
    fill(*this);
    text_ = document_of(*this);
  }
  bool generate(yajl_gen_t* gen) override {
    // yajl writes a number's text as given: the document goes in unchanged.
    return yajl_gen_number(gen, text_.data(), text_.size()) == yajl_gen_status_ok;
  }

 private:
  std::string text_;
};

// A JSON-RPC body up to its id, which differs from call to call.
std::string without_id(std::string const& body) { return body.substr(0, body.rfind("\"id\":")); }

// The operator must put on the wire exactly what the yardstick sends.
bool same_bytes_as_raw(std::string const& raw, bool json_rpc) {
  std::string sent = server().kept();
  return json_rpc ? without_id(sent) == without_id(raw) : sent == raw;
}

std::mutex rates_mutex;
std::map<std::string, std::vector<double>> rates;  // commits per second, each run

void record(benchmark::State& state, std::string const& name, std::chrono::steady_clock::duration took) {
  double seconds = std::chrono::duration<double>(took).count();
  double rate = seconds > 0 ? static_cast<double>(state.iterations()) / seconds : 0;
  state.counters["commits/s"] = benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
  std::lock_guard<std::mutex> lock(rates_mutex);
  rates[name].push_back(rate);
}

void BM_Raw_Curl_JSON_RPC(benchmark::State& state) {
  Backup_Set set("file");
  fill(set);
  // The operator's ids run into the millions at most here: seven digits.
  std::string body = Raw_Curl_Poster::json_rpc_body("backup_set.commit", document_of(set), 1000000);
  Raw_Curl_Poster poster(server().url("/rpc"));
  if (!poster.post(body)) state.SkipWithError("raw POST failed");
  auto start = std::chrono::steady_clock::now();
  for (auto _ : state) {
    if (!poster.post(body)) state.SkipWithError("raw POST failed");
    benchmark::DoNotOptimize(poster.answer().data());
  }
  record(state, "json-rpc raw", std::chrono::steady_clock::now() - start);
}

void BM_Catalog_Operator_Commit(benchmark::State& state) {
  Global_JSON_RPC_Channel::open(server().url("/rpc").c_str());
  Backup_Set set("file");
  fill(set);
  Catalog_Operator op(0, -1);
  server().arm();
  if (!op.commit(set, false)) state.SkipWithError("commit failed");
  if (!same_bytes_as_raw(Raw_Curl_Poster::json_rpc_body("backup_set.commit", document_of(set), 0), true))
    state.SkipWithError("the operator's bytes differ from the raw bytes");
  auto start = std::chrono::steady_clock::now();
  for (auto _ : state) {
    if (!op.commit(set, false)) state.SkipWithError("commit failed");
  }
  record(state, "json-rpc operator", std::chrono::steady_clock::now() - start);
  Global_JSON_RPC_Channel::close();
}

void BM_Catalog_Operator_Commit_Prewritten(benchmark::State& state) {
  Global_JSON_RPC_Channel::open(server().url("/rpc").c_str());
  Prewritten_Set set;
  Catalog_Operator op(0, -1);
  if (!op.commit(set, false)) state.SkipWithError("commit failed");
  auto start = std::chrono::steady_clock::now();
  for (auto _ : state) {
    if (!op.commit(set, false)) state.SkipWithError("commit failed");
  }
  record(state, "json-rpc prewritten", std::chrono::steady_clock::now() - start);
  Global_JSON_RPC_Channel::close();
}

void BM_Raw_Curl_REST(benchmark::State& state) {
  Backup_Set set("file");
  fill(set);
  std::string body = document_of(set);
  Raw_Curl_Poster poster(server().url("/d2/r/v2/sets"));
  if (!poster.post(body)) state.SkipWithError("raw POST failed");
  auto start = std::chrono::steady_clock::now();
  for (auto _ : state) {
    if (!poster.post(body)) state.SkipWithError("raw POST failed");
    benchmark::DoNotOptimize(poster.answer().data());
  }
  record(state, "rest raw", std::chrono::steady_clock::now() - start);
}

void BM_RESTful_Catalog_Operator_Commit(benchmark::State& state) {
  Backup_Set set("file");
  fill(set);
  RESTful_Catalog_Operator op("127.0.0.1", static_cast<unsigned short>(server().port()), false, nullptr, 0, -1);
  server().arm();
  if (!op.commit(set, false)) state.SkipWithError("commit failed");
  if (!same_bytes_as_raw(document_of(set), false)) state.SkipWithError("the operator's bytes differ from the raw bytes");
  auto start = std::chrono::steady_clock::now();
  for (auto _ : state) {
    if (!op.commit(set, false)) state.SkipWithError("commit failed");
  }
  record(state, "rest operator", std::chrono::steady_clock::now() - start);
}

// For reading the table: what writing the document alone costs.
void BM_Document_Only(benchmark::State& state) {
  Backup_Set set("file");
  fill(set);
  yajl_gen g = yajl_gen_alloc(nullptr);
  for (auto _ : state) {
    yajl_gen_clear(g);
    yajl_gen_reset(g, nullptr);
    set.generate(g);
  }
  yajl_gen_free(g);
}

BENCHMARK(BM_Document_Only)->UseRealTime();
void BM_RESTful_Catalog_Operator_Commit_Prewritten(benchmark::State& state) {
  Prewritten_Set set;
  RESTful_Catalog_Operator op("127.0.0.1", static_cast<unsigned short>(server().port()), false, nullptr, 0, -1);
  if (!op.commit(set, false)) state.SkipWithError("commit failed");
  auto start = std::chrono::steady_clock::now();
  for (auto _ : state) {
    if (!op.commit(set, false)) state.SkipWithError("commit failed");
  }
  record(state, "rest prewritten", std::chrono::steady_clock::now() - start);
}

BENCHMARK(BM_Raw_Curl_JSON_RPC)->UseRealTime()->MinTime(1.0)->Repetitions(5);
BENCHMARK(BM_Catalog_Operator_Commit)->UseRealTime()->MinTime(1.0)->Repetitions(5);
BENCHMARK(BM_Catalog_Operator_Commit_Prewritten)->UseRealTime()->MinTime(1.0)->Repetitions(5);
BENCHMARK(BM_Raw_Curl_REST)->UseRealTime()->MinTime(1.0)->Repetitions(5);
BENCHMARK(BM_RESTful_Catalog_Operator_Commit)->UseRealTime()->MinTime(1.0)->Repetitions(5);
BENCHMARK(BM_RESTful_Catalog_Operator_Commit_Prewritten)->UseRealTime()->MinTime(1.0)->Repetitions(5);

double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v.empty() ? 0 : v[v.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
  // Runs of the raw loop and the operators take turns, so that a machine
  // busy with other work slows them alike.
  std::vector<char*> args(argv, argv + argc);
  char interleave[] = "--benchmark_enable_random_interleaving=true";
  args.insert(args.begin() + 1, interleave);
  int count = static_cast<int>(args.size());
  benchmark::Initialize(&count, args.data());
  if (benchmark::ReportUnrecognizedArguments(count, args.data())) return 1;
  server();
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();

  std::lock_guard<std::mutex> lock(rates_mutex);
  auto ratio = [](char const* op, char const* raw) {
    auto o = rates.find(op);
    auto r = rates.find(raw);
    if (o == rates.end() || r == rates.end()) return;
    double rm = median(r->second), om = median(o->second);
    if (rm <= 0) return;
    std::printf("%-20s %12.0f %18.0f %8.2f\n", op, rm, om, om / rm);
  };
  std::printf("\n(medians of the runs)\n%-20s %12s %18s %8s\n", "", "raw commits/s", "operator commits/s", "ratio");
  ratio("json-rpc operator", "json-rpc raw");
  ratio("json-rpc prewritten", "json-rpc raw");
  ratio("rest operator", "rest raw");
  ratio("rest prewritten", "rest raw");
  return 0;
}
