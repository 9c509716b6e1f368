// crash_loop: catalogd killed and restarted under agents that commit and
// stage sets through the library's operators, then the catalogue checked
// set by set; optionally the PostgreSQL cluster restarted under load, and the
// catalogue made to refuse writes. Exit status 0 when nothing was lost,
// stored twice or shown half-written.
#include <cstdio>
#include <iostream>
#include <sstream>
#include <string>

#include <CLI/CLI.hpp>

#include "bench/crash/crash_rounds.h"

namespace {

std::string join(std::vector<std::string> const& items) {
  std::string out;
  for (auto const& s : items) out += (out.empty() ? "" : ", ") + s;
  return out.empty() ? "none" : out;
}

char const* engine_name(Catalog_Target::Engine e) { return e == Catalog_Target::SQLITE ? "SQLite" : "PostgreSQL"; }

void print_problems(Crash_Rounds::Report const& r) {
  size_t shown = 0;
  for (auto const& p : r.problems) {
    if (++shown > 20) {
      std::printf("  ... %zu problems in all\n", r.problems.size());
      break;
    }
    std::printf("  problem: %s\n", p.c_str());
  }
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"catalogd crash and fault rounds"};
  std::string engine = "sqlite";
  Crash_Rounds::Options o;
  bool pg_restart = false, read_only = false, kill_loop = true;
  app.add_option("--engine", engine, "sqlite or postgresql")->check(CLI::IsMember({"sqlite", "postgresql"}));
  app.add_option("--rounds", o.rounds, "kills of catalogd")->check(CLI::Range(0, 100000));
  app.add_option("--agents", o.agents, "agent threads")->check(CLI::Range(1, 64));
  app.add_option("--seed", o.seed, "random seed (0: from the clock)");
  app.add_option("--min-uptime-ms", o.min_uptime_ms, "shortest up time between untimed kills");
  app.add_option("--max-uptime-ms", o.max_uptime_ms, "longest up time between untimed kills");
  app.add_option("--min-pause-ms", o.min_pause_ms, "shortest pause before the restart");
  app.add_option("--max-pause-ms", o.max_pause_ms, "longest pause before the restart");
  app.add_option("--retry-timeout", o.retry_timeout, "the operators' retry time-out (seconds)");
  app.add_flag("--pg-restart", pg_restart, "also restart the PostgreSQL cluster under load (postgresql only)");
  app.add_flag("--read-only", read_only, "also make the catalogue refuse writes for a while");
  app.add_flag("!--no-kill", kill_loop, "skip the kill loop");
  app.add_flag("--verbose", o.verbose, "log each round and the library's retries");
  CLI11_PARSE(app, argc, argv);
  o.engine = engine == "sqlite" ? Catalog_Target::SQLITE : Catalog_Target::POSTGRESQL;
  if (pg_restart && o.engine != Catalog_Target::POSTGRESQL) {
    std::cerr << "--pg-restart needs --engine postgresql\n";
    return 2;
  }

  bool clean = true;
  std::ostringstream table;
  table << "| check | engine | figures | lost | duplicates | half-visible |\n|---|---|---|---|---|---|\n";

  if (kill_loop) {
    Crash_Rounds rounds(o);
    std::string error;
    if (!rounds.prepare(error)) {
      std::cerr << "cannot prepare: " << error << "\n";
      return 2;
    }
    Crash_Rounds::Report r;
    rounds.kill_loop(r);
    std::printf("kill -9 loop on %s, %d agents: rounds done %d in %.1f s\n", engine_name(o.engine), o.agents, r.rounds,
                r.seconds);
    std::printf("  commits acknowledged %ld, staged ingests acknowledged %ld (%ld batches), failed calls %ld\n",
                r.commits_acknowledged, r.ingests_acknowledged, r.batches_acknowledged, r.failed_calls);
    std::printf("  kills during a commit %d, during a batch %d, during initialize/complete %d", r.kills_in_commit,
                r.kills_in_batch, r.kills_in_other);
    if (o.engine == Catalog_Target::POSTGRESQL)
      std::printf(", with a write transaction open %d", r.kills_with_open_transaction);
    std::printf("\n  stored in the catalogue but unanswered when killed (retried after the restart): %d commits, %d "
                "batches, %d initialize/complete\n",
                r.stored_unanswered_commits, r.stored_unanswered_batches, r.stored_unanswered_other);
    std::printf("  reader: %ld complete walks of the sets view, %ld sets checked, %ld half-visible, %ld vanished\n",
                r.reader_polls, r.reader_sets_checked, r.half_visible, r.vanished);
    std::printf("  sets lost %ld, duplicates %ld, strangers %ld\n", r.lost, r.duplicates, r.strangers);
    std::printf("  staged sets left by agents still staging at the end: %s\n", join(r.left_staged).c_str());
    std::printf("  staged sets in the catalogue at the end: %s\n", join(r.staged_found).c_str());
    print_problems(r);
    clean = clean && r.clean() && r.failed_calls == 0;
    table << "| kill -9 loop, " << o.agents << " agents | " << engine_name(o.engine) << " | " << r.rounds
          << " kills (" << r.kills_in_commit << " during a commit, " << r.kills_in_batch << " during a batch"
          << (o.engine == Catalog_Target::POSTGRESQL
                  ? ", " + std::to_string(r.kills_with_open_transaction) + " with a write transaction open"
                  : std::string())
          << "; " << r.stored_unanswered_commits << " commits and " << r.stored_unanswered_batches
          << " batches stored but unanswered at the kill); " << r.commits_acknowledged << " commits and "
          << r.ingests_acknowledged
          << " staged ingests acknowledged; " << r.left_staged.size() << " staged sets left by agents still staging, "
          << r.staged_found.size() << " found; " << r.failed_calls << " failed calls; " << r.seconds << " s | " << r.lost
          << " | " << r.duplicates << " | " << r.half_visible << " |\n";
  }

  if (pg_restart) {
    Crash_Rounds rounds(o);
    std::string error;
    if (!rounds.prepare(error)) {
      std::cerr << "cannot prepare: " << error << "\n";
      return 2;
    }
    Crash_Rounds::Report r;
    rounds.pg_restart(r);
    std::printf("PostgreSQL restart (pg_ctl restart -m fast) under %d agents: restart took %ld ms\n", o.agents,
                r.outage_ms);
    std::printf("  catalogd %s; commits acknowledged %ld (%ld after the restart), staged set across it %s\n",
                r.catalogd_survived ? "kept running" : "DID NOT SURVIVE", r.commits_acknowledged,
                r.acknowledged_after_restart, r.ingests_acknowledged ? "completed" : "NOT completed");
    std::printf("  error answers: %ld in all, %ld while pg_ctl restart ran\n", r.failed_calls, r.outage_errors);
    std::printf("  sets lost %ld, duplicates %ld, strangers %ld, half-visible %ld\n", r.lost, r.duplicates,
                r.strangers, r.half_visible);
    print_problems(r);
    clean = clean && r.clean();
    table << "| PostgreSQL restart under load, " << o.agents << " agents | PostgreSQL | restart " << r.outage_ms
          << " ms; catalogd " << (r.catalogd_survived ? "kept running" : "died") << "; " << r.failed_calls
          << " error answers (" << r.outage_errors << " while pg_ctl ran); " << r.commits_acknowledged
          << " commits acknowledged, " << r.acknowledged_after_restart << " after the restart | " << r.lost << " | "
          << r.duplicates << " | " << r.half_visible << " |\n";
  }

  if (read_only) {
    Crash_Rounds rounds(o);
    std::string error;
    if (!rounds.prepare(error)) {
      std::cerr << "cannot prepare: " << error << "\n";
      return 2;
    }
    Crash_Rounds::Report r;
    rounds.read_only(r);
    std::printf("catalogue refusing writes on %s: %ld calls refused, %ld accepted while faulty; %ld failures after "
                "the repair; %ld commits and %ld staged ingests acknowledged; catalogd %s\n",
                engine_name(o.engine), r.refused_while_faulty, r.accepted_while_faulty, r.failures_after_repair,
                r.commits_acknowledged, r.ingests_acknowledged, r.catalogd_survived ? "kept running" : "DID NOT SURVIVE");
    std::printf("  sets lost %ld, duplicates %ld, strangers %ld\n", r.lost, r.duplicates, r.strangers);
    print_problems(r);
    clean = clean && r.clean();
    table << "| catalogue refusing writes (" << (o.engine == Catalog_Target::SQLITE ? "files immutable" : "database read-only")
          << ") | " << engine_name(o.engine) << " | " << r.refused_while_faulty << " calls refused, "
          << r.accepted_while_faulty << " accepted while faulty; " << r.failures_after_repair
          << " failures after the repair | " << r.lost << " | " << r.duplicates << " | " << r.strangers << " |\n";
  }

  std::printf("\n%s", table.str().c_str());
  std::printf("%s\n", clean ? "clean" : "PROBLEMS FOUND");
  return clean ? 0 : 1;
}
