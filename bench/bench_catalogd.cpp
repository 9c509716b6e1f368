// catalogd under load, run as a child process on a fresh SQLite file:
//
// 1. Commits per second of a 100-piece set through each catalogue operator,
//    next to plain libcurl POSTing the same bytes to the same server in the
//    same run (alternating rounds, medians compared). The server's work is
//    the same for both, so the ratio shows what the operators add end to end.
// 2. Ingest: a staged set of 1,000,000 pieces sent in add_piece batches of
//    10,000 through each operator (pieces per second, counting only the
//    time of the calls), with catalogd's peak resident set (VmHWM).

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <yajl/yajl_gen.h>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/catalog_operator.h"
#include "backup/backup_set/common/restful_catalog_operator.h"
#include "bench/commit_sample.h"
#include "bench/raw_curl_poster.h"
#include "platform/rest/upstream_json_restful_client.h"
#include "platform/rpc/global_json_rpc_channel.h"
#include "tests/server/catalogd_process.h"
#include "tests/server/temp_dir.h"

using json_spirit::Object;
using json_spirit::Value;

namespace {

// One catalogd on its own catalogue file, for the life of the holder.
struct Catalogd {
  Temp_Dir dir;
  Catalogd_Process process;
  bool ok = false;

  Catalogd() {
    ok = process.start({"--db", dir.path() + "/catalog.db"});
    if (!ok) std::fprintf(stderr, "catalogd did not start: %s\n", process.error().c_str());
  }
  std::string url(char const* path) const { return process.url() + path; }
  unsigned short port() const { return static_cast<unsigned short>(process.port()); }
};

Catalogd& commit_server() {
  static Catalogd s;
  return s;
}

void fill(Backup_Set& set) { fill_commit_sample(set, "0a0a0a0a-0000-4000-8000-000000000001"); }

double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v.empty() ? 0 : v[v.size() / 2];
}

struct Paired {
  double raw = 0, op = 0, ratio = 0;
};
std::map<std::string, Paired> paired_results;

// Rounds of `block` raw POSTs then `block` operator commits, each round
// timed on its own: the two loops see the same machine, the same server
// and the same catalogue, and the ratio is the median of the rounds' ratios.
// Every commit replaces the set of the same uuid: one transaction that
// deletes the earlier copy and writes the set, its storage and 100 pieces.
void paired(benchmark::State& state, bool rest) {
  int const kRounds = 25, kBlock = 100;
  Catalogd& server = commit_server();
  if (!server.ok) return state.SkipWithError("no catalogd");
  Backup_Set set("file");
  fill(set);
  std::string doc = document_of(set);
  // The bytes the operator sends: the document itself (REST), or the
  // JSON-RPC envelope around it as the sessions write it.
  std::string body = rest ? doc : Raw_Curl_Poster::json_rpc_body("backup_set.commit", doc, 1000000);
  Raw_Curl_Poster poster(server.url(rest ? "/d2/r/v2/sets" : "/rpc"));
  if (!poster.post(body) || poster.answer().find("\"result\":true") == std::string::npos)
    return state.SkipWithError(("raw commit refused: " + poster.answer()).c_str());

  Global_JSON_RPC_Channel::open(server.url("/rpc").c_str());
  std::unique_ptr<Catalog_Operator> op;
  if (rest)
    op = std::make_unique<RESTful_Catalog_Operator>("127.0.0.1", server.port(), false, nullptr, 0, -1);
  else
    op = std::make_unique<Catalog_Operator>(0, -1);
  if (!op->commit(set, false)) return state.SkipWithError("operator commit failed");

  std::vector<double> raw_rates, op_rates, ratios;
  for (auto _ : state) {
    for (int round = 0; round < kRounds; ++round) {
      auto t0 = std::chrono::steady_clock::now();
      for (int i = 0; i < kBlock; ++i)
        if (!poster.post(body)) return state.SkipWithError("raw POST failed");
      auto t1 = std::chrono::steady_clock::now();
      for (int i = 0; i < kBlock; ++i)
        if (!op->commit(set, false)) return state.SkipWithError("operator commit failed");
      auto t2 = std::chrono::steady_clock::now();
      double raw = kBlock / std::chrono::duration<double>(t1 - t0).count();
      double by_op = kBlock / std::chrono::duration<double>(t2 - t1).count();
      raw_rates.push_back(raw);
      op_rates.push_back(by_op);
      ratios.push_back(by_op / raw);
    }
  }
  Paired p{median(raw_rates), median(op_rates), median(ratios)};
  paired_results[rest ? "rest" : "json-rpc"] = p;
  state.counters["raw_commits/s"] = p.raw;
  state.counters["operator_commits/s"] = p.op;
  state.counters["operator/raw"] = p.ratio;
  op.reset();
  Global_JSON_RPC_Channel::close();
}

void BM_Commit_100_Pieces_JSON_RPC_vs_Raw(benchmark::State& state) { paired(state, false); }
void BM_Commit_100_Pieces_REST_vs_Raw(benchmark::State& state) { paired(state, true); }

// A staged set of 1,000,000 pieces in batches of 10,000 into a catalogd of
// its own, so that its peak resident set is this ingest's.
void ingest(benchmark::State& state, bool rest) {
  long const kPieces = 1000000, kBatch = 10000;
  for (auto _ : state) {
    Catalogd server;
    if (!server.ok) return state.SkipWithError("no catalogd");
    Global_JSON_RPC_Channel::open(server.url("/rpc").c_str());
    std::unique_ptr<Catalog_Operator> op;
    if (rest)
      op = std::make_unique<RESTful_Catalog_Operator>("127.0.0.1", server.port(), false, nullptr, 0, -1);
    else
      op = std::make_unique<Catalog_Operator>(0, -1);

    Backup_Set set("file");
    fill(set);
    set.uuid = "7e2d2d3f-9a0f-4b66-8b52-1d2e3f4a5b6c";
    set.pieces.clear();
    if (!op->initialize(set)) return state.SkipWithError("initialize failed");

    std::vector<Value> batch(static_cast<size_t>(kBatch));
    for (auto& piece : batch) {
      Object p;
      p["path"] = "";
      p["object"] = "";
      p["size"] = 1048576;
      p["extended_attrs"] = Value(Object());
      piece = Value(std::move(p));
    }
    std::chrono::steady_clock::duration sending{};
    for (long sent = 0; sent < kPieces; sent += kBatch) {
      for (long i = 0; i < kBatch; ++i)
        batch[static_cast<size_t>(i)].get_obj()["path"] = "/backup/big/file-" + std::to_string(sent + i) + ".dat";
      auto start = std::chrono::steady_clock::now();
      bool ok = op->add_piece(set.uuid, batch);
      sending += std::chrono::steady_clock::now() - start;
      if (!ok) return state.SkipWithError("add_piece failed");
    }
    auto start = std::chrono::steady_clock::now();
    if (!op->complete(set)) return state.SkipWithError("complete failed");
    auto completing = std::chrono::steady_clock::now() - start;

    // All pieces landed: the last one is there, in its place.
    Value last;
    if (!op->get_first_view("backup_set", "pieces", {{"uuid", set.uuid}, {"offset", kPieces - 1}}, last) ||
        last.get_obj().at("path").get_str() != "/backup/big/file-" + std::to_string(kPieces - 1) + ".dat")
      return state.SkipWithError("the catalogue does not hold every piece");

    double seconds = std::chrono::duration<double>(sending).count();
    state.SetIterationTime(seconds + std::chrono::duration<double>(completing).count());
    state.counters["pieces/s"] = static_cast<double>(kPieces) / seconds;
    state.counters["complete_s"] = std::chrono::duration<double>(completing).count();
    state.counters["catalogd_peak_rss_MB"] = static_cast<double>(server.process.peak_rss_kb()) / 1024.0;
    op.reset();
    Global_JSON_RPC_Channel::close();
  }
}

void BM_Ingest_1M_Pieces_JSON_RPC(benchmark::State& state) { ingest(state, false); }
void BM_Ingest_1M_Pieces_REST(benchmark::State& state) { ingest(state, true); }

BENCHMARK(BM_Commit_100_Pieces_JSON_RPC_vs_Raw)->UseRealTime()->Iterations(1)->Unit(benchmark::kSecond);
BENCHMARK(BM_Commit_100_Pieces_REST_vs_Raw)->UseRealTime()->Iterations(1)->Unit(benchmark::kSecond);
BENCHMARK(BM_Ingest_1M_Pieces_JSON_RPC)->UseManualTime()->Iterations(1)->Unit(benchmark::kSecond);
BENCHMARK(BM_Ingest_1M_Pieces_REST)->UseManualTime()->Iterations(1)->Unit(benchmark::kSecond);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  std::printf("\ncatalogd on SQLite, 100-piece sets (medians of 25 rounds of 100 commits each way)\n"
              "%-10s %14s %19s %15s\n", "", "raw commits/s", "operator commits/s", "operator/raw");
  for (auto const& r : paired_results)
    std::printf("%-10s %14.0f %19.0f %15.2f\n", r.first.c_str(), r.second.raw, r.second.op, r.second.ratio);
  return 0;
}
