#ifndef BENCH_CRASH_CRASH_ROUNDS_H
#define BENCH_CRASH_CRASH_ROUNDS_H

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "tests/server/catalog_target.h"
#include "tests/server/catalogd_process.h"

class Backup_Set;

// Faults put to catalogd while agents use the library's own catalogue
// operators against it, each followed by a check of the whole catalogue:
//
//  - kill_loop: catalogd is killed with SIGKILL at random moments (some of
//    them timed to land while a commit or a batch of pieces is on the wire)
//    and started again on the same port, while agents commit whole sets and
//    stage others batch by batch, and a reader checks that every set it can
//    see holds all its pieces;
//  - pg_restart: the PostgreSQL cluster under catalogd is restarted while
//    agents commit; catalogd itself keeps running;
//  - read_only: the catalogue refuses writes (the SQLite files made
//    immutable, the PostgreSQL database made read-only for its sessions),
//    then takes them again.
//
// Every set's content follows from its uuid, so the reader and the final
// check know what a set must hold without asking the agents. The agents
// retry as the library does (retries -1, a retry time-out); nothing of the
// retry logic is replaced.
class Crash_Rounds {
 public:
  struct Options {
    Catalog_Target::Engine engine = Catalog_Target::SQLITE;
    int agents = 4;
    int rounds = 5;
    unsigned seed = 0;  // 0: from the clock
    // catalogd's up time between kills when a kill is not timed to a call,
    // and the pause before it is started again.
    int min_uptime_ms = 200;
    int max_uptime_ms = 1500;
    int min_pause_ms = 50;
    int max_pause_ms = 500;
    // The operators' limits (seconds of back-off slept per call).
    int retry_timeout = 60;
    bool verbose = false;
  };

  struct Report {
    double seconds = 0;
    int rounds = 0;  // kills (kill_loop), restarts (pg_restart)
    // Kills while an agent's first attempt of a call was under way, by call.
    int kills_in_commit = 0;
    int kills_in_batch = 0;
    int kills_in_other = 0;  // initialize or complete
    // PostgreSQL: kills with a transaction of catalogd open just before.
    int kills_with_open_transaction = 0;
    // Calls whose work was in the catalogue when catalogd was killed while
    // their agent still waited for the answer: their retries must be
    // recognised (a commit replaced, a batch not stored again).
    int stored_unanswered_commits = 0;
    int stored_unanswered_batches = 0;
    int stored_unanswered_other = 0;

    long commits_acknowledged = 0;
    long ingests_acknowledged = 0;  // staged sets whose complete was answered
    long batches_acknowledged = 0;
    long failed_calls = 0;     // calls the operator answered false
    long outage_errors = 0;    // pg_restart: of those, while PostgreSQL was away
    long acknowledged_after_restart = 0;
    long outage_ms = 0;

    long reader_polls = 0;      // complete walks of the sets view
    long reader_sets_checked = 0;
    long half_visible = 0;      // a visible set without exactly its pieces
    long vanished = 0;          // a set seen once and missing later

    long lost = 0;          // acknowledged, but absent, not complete or short of pieces
    long duplicates = 0;    // piece rows stored twice, sets listed twice
    long strangers = 0;     // sets in the catalogue no agent wrote, or with wrong content
    std::vector<std::string> left_staged;      // agents inside their staging when the run ended
    std::vector<std::string> staged_found;     // staged sets in the catalogue at the end
    std::vector<std::string> problems;         // each violation in words

    bool catalogd_survived = true;  // pg_restart, read_only: the same process throughout
    long refused_while_faulty = 0;  // read_only: calls answered false during the fault
    long accepted_while_faulty = 0; // read_only: calls that succeeded during the fault (must be 0)
    long failures_after_repair = 0; // read_only: calls that failed after the fault was removed

    // No violation of any kind.
    bool clean() const;
    std::string summary() const;
  };

  explicit Crash_Rounds(Options const& options);
  ~Crash_Rounds();
  Crash_Rounds(Crash_Rounds const&) = delete;
  Crash_Rounds& operator=(Crash_Rounds const&) = delete;

  // A fresh catalogue and catalogd on a port that stays the same across
  // restarts. False (with the reason) when either cannot be had.
  bool prepare(std::string& error);

  bool kill_loop(Report& report);
  // PostgreSQL only.
  bool pg_restart(Report& report);
  bool read_only(Report& report);

  // The content a set of this run must have, rebuilt from its uuid (false
  // for a uuid no agent of this run writes).
  bool planned_set(std::string const& uuid, Backup_Set& set) const;

  // The uuid of an agent's seq'th set of this run.
  std::string set_uuid(int agent, bool staged, long seq) const;

  // Reads the whole catalogue and compares it with what the agents were
  // answered: every acknowledged set complete, once, with exactly its
  // pieces and its storage; every staged set one that `left_staged` names,
  // with exactly its acknowledged batches; nothing else. The sets view of
  // catalogd must list each complete set once. Findings go into `report`.
  void check_catalogue(Report& report, std::map<std::string, long> const& acknowledged_batches,
                       std::set<std::string> const& acknowledged, std::set<std::string> const& left_staged);

  // A set's numbers and pieces, by batch (a whole commit is one batch).
  struct Plan {
    int agent = 0;
    bool staged = false;
    long seq = 0;
    std::vector<std::vector<std::pair<std::string, long long>>> batches;  // path, size
  };
  // What the uuid says of its set; false when this run made no such uuid.
  static bool decode(std::string const& uuid, unsigned run_tag, Plan& plan);

  Catalog_Target const& target() const { return target_; }
  Catalogd_Process const& process() const { return process_; }
  int port() const { return port_; }

 private:
  class Agent;
  class Reader;
  friend class Agent;
  friend class Reader;

  enum Call { NO_CALL = 0, COMMIT, INITIALIZE, ADD_PIECE, COMPLETE };

  bool start_catalogd(std::string& error);
  void log(std::string const& line) const;
  long open_transactions();
  // Waits (up to a second) until a killed catalogd's PostgreSQL sessions are
  // gone, so that what they committed is there to see.
  void wait_for_sessions_to_end();
  // Whether the work of a call is in the catalogue.
  bool stored(Call call, std::string const& uuid, int batch);

  Options options_;
  unsigned run_tag_;
  Catalog_Target target_;
  Catalogd_Process process_;
  int port_ = 0;
  mutable std::mutex log_mutex_;
};

#endif
