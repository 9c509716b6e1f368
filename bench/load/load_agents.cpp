// load_agents: many backup agents committing sets to catalogd at once, then
// a count of what the catalogue holds against what the agents were told.
//
//   load_agents --engine postgresql --agents 50 --seconds 60 --mode both
//   load_agents --engine postgresql --servers 2 --same-uuid-rounds 20
//   load_agents --engine sqlite --sigterm
//
// Each figure is also printed as one line
//   RESULT|check|what was tried|how long|figures|sets lost|pass or FAIL
// which bench/reliability.sh gathers into a table. The exit status is 0 only
// when every run had no error and every count check held.

#include <cstdio>
#include <iostream>
#include <string>

#include <CLI/CLI.hpp>

#include "bench/load/agent_load.h"

namespace {

std::string fixed(double v, int decimals = 1) {
  char buf[64];
  std::snprintf(buf, sizeof buf, "%.*f", decimals, v);
  return buf;
}

void result(std::string const& check, std::string const& tried, std::string const& duration,
            std::string const& figures, long long lost, bool pass) {
  std::printf("RESULT|%s|%s|%s|%s|%lld|%s\n", check.c_str(), tried.c_str(), duration.c_str(), figures.c_str(), lost,
              pass ? "pass" : "FAIL");
  std::fflush(stdout);
}

bool print_count(Agent_Load::Count const& c) {
  std::printf("count check: %lld acknowledged, %lld stored whole, %lld missing, %lld damaged, %lld unexpected, "
              "%lld orphan pieces, %lld stored without an answer -> %s\n",
              c.acknowledged, c.found, c.missing, c.damaged, c.unexpected, c.orphan_pieces, c.unacknowledged,
              c.ok() ? "OK" : "FAILED");
  if (c.waited_seconds > 0) std::printf("  (queued commits: all stored %.1f s after the run)\n", c.waited_seconds);
  for (auto const& p : c.problems) std::printf("  %s\n", p.c_str());
  return c.ok();
}

void print_logs(Agent_Load& load) {
  for (int i = 0; i < load.servers(); ++i) {
    std::string log = load.server_log(i, 1500);
    if (!log.empty()) std::printf("catalogd %d, end of its log:\n%s\n", i, log.c_str());
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::string engine = "sqlite", mode = "keepalive", transport = "rpc";
  Agent_Load::Options o;
  int agents = 50;
  double seconds = 60;
  int same_rounds = 0;
  bool sigterm = false;
  int sigterm_active = 8, sigterm_idle = 4;
  double sigterm_after = 3;
  int sigterm_pause_ms = 250;

  CLI::App app("load_agents: many agents commit sets to catalogd at once; then every acknowledged set is counted "
               "in the catalogue", "load_agents");
  app.option_defaults()->always_capture_default();
  app.add_option("--engine", engine, "catalogue engine of a fresh catalogue (PostgreSQL in a private cluster)")
      ->check(CLI::IsMember({"sqlite", "postgresql"}));
  app.add_option("--db", o.db, "an existing catalogue instead: SQLite path or postgresql:// URI");
  app.add_option("--agents", agents, "agent threads")->check(CLI::Range(1, 2000));
  app.add_option("--seconds", seconds, "seconds each mode runs")->check(CLI::Range(0.1, 86400.0));
  app.add_option("--pieces", o.pieces, "pieces per set")->check(CLI::Range(1, 1000000));
  app.add_option("--mode", mode, "one kept-alive connection per agent, a new connection per request, or both in turn")
      ->check(CLI::IsMember({"keepalive", "new-connection", "both"}));
  app.add_option("--transport", transport, "JSON-RPC backup_set.commit or REST POST /d2/r/v2/sets")
      ->check(CLI::IsMember({"rpc", "rest"}));
  app.add_option("--servers", o.servers, "catalogd processes over the one catalogue (agents round-robin)")
      ->check(CLI::Range(1, 16));
  app.add_flag("--queue-commits", o.queue_commits, "run catalogd with --queue-commits");
  app.add_option("--same-uuid-rounds", same_rounds,
                 "afterwards: rounds of one uuid committed through servers 0 and 1 at once (needs --servers 2+)")
      ->check(CLI::Range(0, 100000));
  app.add_flag("--sigterm", sigterm,
               "afterwards: SIGTERM to a queueing catalogd with agents connected, on a catalogue of its own");
  app.add_option("--sigterm-active", sigterm_active, "agents committing when the signal comes")->check(CLI::Range(0, 500));
  app.add_option("--sigterm-idle", sigterm_idle, "agents holding an idle connection")->check(CLI::Range(0, 500));
  app.add_option("--sigterm-after", sigterm_after, "seconds of load before the signal")->check(CLI::Range(0.1, 3600.0));
  app.add_option("--sigterm-pause-ms", sigterm_pause_ms,
                 "pause between an agent's commits (0: back to back, which queues faster than catalogd stores)")
      ->check(CLI::Range(0, 600000));
  app.add_option("--timeout-ms", o.request_timeout_ms, "time limit of one request")->check(CLI::Range(100, 3600000));
  app.add_option("--threads", o.server_threads, "catalogd --threads (0: its default)")->check(CLI::Range(0, 1024));
  app.add_option("--db-connections", o.db_connections,
                 "catalogd --db-connections (-1: a share of the private cluster's connections)")
      ->check(CLI::Range(-1, 1000));
  app.add_option("--catalogd-arg", o.server_args, "one more argument for every catalogd (repeatable)")
      ->allow_extra_args(false);
  try {
    app.parse(argc, argv);
  } catch (CLI::ParseError const& e) {
    return app.exit(e);
  }
  o.engine = engine == "postgresql" ? Catalog_Target::POSTGRESQL : Catalog_Target::SQLITE;
  bool pg = o.db.empty() ? o.engine == Catalog_Target::POSTGRESQL
                         : o.db.rfind("postgresql://", 0) == 0 || o.db.rfind("postgres://", 0) == 0;
  if (o.servers > 1 && !pg) {
    std::cerr << "--servers: several catalogd processes need a PostgreSQL catalogue\n";
    return 2;
  }
  if (same_rounds > 0 && o.servers < 2) {
    std::cerr << "--same-uuid-rounds: needs --servers 2 or more\n";
    return 2;
  }
  Agent_Load::Transport tr = transport == "rest" ? Agent_Load::REST : Agent_Load::RPC;
  std::vector<Agent_Load::Mode> modes;
  if (mode != "new-connection") modes.push_back(Agent_Load::KEEP_ALIVE);
  if (mode != "keepalive") modes.push_back(Agent_Load::NEW_CONNECTION);

  bool all_ok = true;
  std::string where = std::string(pg ? "PostgreSQL" : "SQLite") + ", " + std::to_string(o.servers) + " catalogd" +
                      (o.queue_commits ? " (queued commits)" : "");
  {
    Agent_Load load(o);
    std::string error;
    if (!load.start(error)) {
      std::fprintf(stderr, "load_agents: %s\n", error.c_str());
      return 1;
    }
    for (Agent_Load::Mode m : modes) {
      std::printf("== %s, %s, %d agents x %s s, %d-piece sets, %s\n", Agent_Load::name(m), Agent_Load::name(tr),
                  agents, fixed(seconds, 0).c_str(), o.pieces, where.c_str());
      std::fflush(stdout);
      Agent_Load::Figures f = load.run(agents, seconds, m, tr);
      std::printf("%.1f sets/s; latency p50 %.1f ms, p99 %.1f ms, max %.1f ms; %lld requests, %lld acknowledged, "
                  "%lld errors\n",
                  f.sets_per_second, f.p50_ms, f.p99_ms, f.max_ms, f.requests, f.acknowledged, f.errors);
      for (auto const& e : f.first_errors) std::printf("  error: %s\n", e.c_str());
      Agent_Load::Count c = load.check();
      bool ok = print_count(c) && f.errors == 0;
      if (!ok) print_logs(load);
      all_ok = all_ok && ok;
      result(std::string("load, ") + Agent_Load::name(m),
             where + ", " + std::to_string(agents) + " agents, " +
                 (m == Agent_Load::KEEP_ALIVE ? "kept-alive connections" : "a new connection per request") + ", " +
                 (tr == Agent_Load::RPC ? "JSON-RPC" : "REST") + " commits of " + std::to_string(o.pieces) +
                 "-piece sets",
             fixed(f.seconds, 0) + " s",
             fixed(f.sets_per_second) + " sets/s; p50 " + fixed(f.p50_ms) + " / p99 " + fixed(f.p99_ms) + " / max " +
                 fixed(f.max_ms) + " ms; " + std::to_string(f.errors) + " errors; " +
                 std::to_string(f.acknowledged) + " acknowledged; count: " + std::to_string(c.found) + " of " +
                 std::to_string(c.acknowledged) + " acknowledged sets in the catalogue stored whole" +
                 (c.waited_seconds > 0 ? ", the last " + fixed(c.waited_seconds) + " s after the run" : ""),
             c.missing + c.damaged, ok);
    }
    if (same_rounds > 0) {
      std::printf("== same uuid through servers 0 and 1 at once, %d rounds, %s\n", same_rounds, where.c_str());
      auto t0 = std::chrono::steady_clock::now();
      Agent_Load::Same_Uuid s = load.same_uuid(same_rounds, tr);
      double took = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
      std::printf("%d rounds: both acknowledged %d, one refused %d, both refused %d; %d stored as exactly one "
                  "document -> %s\n",
                  s.rounds, s.both_acknowledged, s.one_acknowledged, s.none_acknowledged, s.whole,
                  s.ok() ? "OK" : "FAILED");
      for (auto const& r : s.refusals) std::printf("  refused: %s\n", r.c_str());
      for (auto const& p : s.problems) std::printf("  %s\n", p.c_str());
      Agent_Load::Count c = load.check();
      bool ok = print_count(c) && s.ok();
      all_ok = all_ok && ok;
      result("same uuid, two servers",
             where + ", one uuid committed through two servers at the same moment, two different documents",
             std::to_string(s.rounds) + " rounds (" + fixed(took) + " s)",
             std::to_string(s.whole) + "/" + std::to_string(s.rounds) + " stored as exactly one document; both "
                 "acknowledged " + std::to_string(s.both_acknowledged) + ", one refused " +
                 std::to_string(s.one_acknowledged),
             s.rounds - s.whole + c.missing + c.damaged, ok);
    }
    load.stop();
  }

  if (sigterm) {
    Agent_Load::Options so = o;
    so.servers = 1;
    so.queue_commits = true;
    Agent_Load load(so);
    std::string error;
    if (!load.start(error)) {
      std::fprintf(stderr, "load_agents: %s\n", error.c_str());
      return 1;
    }
    std::string on = std::string(pg ? "PostgreSQL" : "SQLite") + ", 1 catalogd (queued commits)";
    std::printf("== SIGTERM after %s s with %d agents committing (%d ms between commits) and %d idle, %s\n",
                fixed(sigterm_after, 0).c_str(), sigterm_active, sigterm_pause_ms, sigterm_idle, on.c_str());
    Agent_Load::Shutdown s = load.sigterm(sigterm_active, sigterm_idle, sigterm_after, sigterm_pause_ms, tr);
    std::printf("exit %.2f s after SIGTERM (status %d), the last set stored %.2f s after it (allowed: %.1f s beyond "
                "that) -> %s; stored at the signal %lld, after the exit %lld (%lld stored while stopping); %lld "
                "acknowledged; %lld errors before the signal, %lld requests cut off by it\n",
                s.exit_seconds, s.exit_status, s.drained_seconds, Agent_Load::Shutdown::kStopAllowance,
                s.prompt() ? "OK" : "TOO SLOW", s.stored_at_signal, s.stored_after_exit,
                s.stored_after_exit - s.stored_at_signal, s.acknowledged, s.errors_before_signal,
                s.failed_after_signal);
    for (auto const& e : s.first_errors) std::printf("  error: %s\n", e.c_str());
    bool ok = print_count(s.count) && s.ok();
    if (!ok) print_logs(load);
    all_ok = all_ok && ok;
    result("SIGTERM with agents connected",
           on + ", " + std::to_string(sigterm_active) + " agents committing (" + std::to_string(sigterm_pause_ms) +
               " ms between commits), " + std::to_string(sigterm_idle) + " idle on kept-alive connections",
           fixed(sigterm_after, 0) + " s of load, then SIGTERM",
           "exit " + fixed(s.exit_seconds, 2) + " s after the signal (status " + std::to_string(s.exit_status) +
               "), last set stored at " + fixed(s.drained_seconds, 2) + " s; " + std::to_string(s.stored_after_exit - s.stored_at_signal) + " sets stored while stopping; " +
               std::to_string(s.acknowledged) + " acknowledged, " + std::to_string(s.count.found) + " found whole",
           s.count.missing + s.count.damaged, ok);
  }
  return all_ok ? 0 : 1;
}
