#ifndef BENCH_LOAD_AGENT_LOAD_H
#define BENCH_LOAD_AGENT_LOAD_H

// Many backup agents against catalogd at once, and the proof afterwards that
// what was acknowledged is in the catalogue. One catalogue (a fresh one on
// either engine, or one named by URI), one or more catalogd processes over
// it, agent threads committing fresh sets (the library's own Backup_Set
// document, a new uuid each) on kept-alive connections or a new connection
// per request, and a count check through a connection of its own: every
// acknowledged set is there once, complete, with exactly its pieces, and
// nothing is there that no agent sent.
//
// It also drives two races: the same uuid committed through two servers at
// once (one document wins whole), and SIGTERM with agents connected (what
// was acknowledged as queued is stored before catalogd exits).
//
// Used by the load_agents program and by the load tests.

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "platform/sql/binding_value.h"
#include "tests/server/catalog_target.h"

class Catalogd_Process;

class Agent_Load {
 public:
  enum Mode { KEEP_ALIVE, NEW_CONNECTION };
  enum Transport { RPC, REST };

  struct Options {
    Catalog_Target::Engine engine = Catalog_Target::SQLITE;
    // An existing catalogue (SQLite path or postgresql:// URI) instead of a
    // fresh one; the check then covers only the sets of this run.
    std::string db;
    int servers = 1;
    bool queue_commits = false;
    int pieces = 100;
    // One request's time limit; an agent starved of a server thread shows
    // up as errors instead of hanging the run.
    int request_timeout_ms = 30000;
    int server_threads = 0;   // 0: catalogd's own default
    // Database connections per catalogd. -1: with several servers on the
    // private cluster a share of its 30 connections (if catalogd has the
    // option), else catalogd's default.
    int db_connections = -1;
    std::vector<std::string> server_args;  // passed to every catalogd
  };

  // One timed run of agents.
  struct Figures {
    Mode mode = KEEP_ALIVE;
    Transport transport = RPC;
    int agents = 0;
    double seconds = 0;            // first request to last answer
    long long requests = 0;
    long long acknowledged = 0;
    long long errors = 0;          // refusals and transport failures
    double sets_per_second = 0;    // acknowledged / seconds
    double p50_ms = 0, p99_ms = 0, max_ms = 0;
    std::vector<std::string> first_errors;
  };

  // The catalogue against what the agents were told.
  struct Count {
    long long acknowledged = 0;  // sets the agents were told are stored (or queued)
    long long found = 0;         // of those, stored whole
    long long missing = 0;       // acknowledged, not stored at all
    long long damaged = 0;       // stored, but not complete or not exactly its pieces
    long long unexpected = 0;    // stored, but no agent ever sent it
    long long unacknowledged = 0;  // stored whole, sent, answer lost (allowed)
    long long orphan_pieces = 0;   // pieces whose set is gone
    double waited_seconds = 0;     // for queued commits to be stored
    std::vector<std::string> problems;  // the first few, in words
    bool ok() const { return missing == 0 && damaged == 0 && unexpected == 0 && orphan_pieces == 0 && found == acknowledged; }
  };

  // Rounds of one uuid committed through two servers at the same moment.
  struct Same_Uuid {
    int rounds = 0;
    int both_acknowledged = 0;  // both answered success (the later one stays)
    int one_acknowledged = 0;   // the other was refused
    int none_acknowledged = 0;
    int whole = 0;              // rounds whose set is exactly one document
    std::vector<std::string> refusals;  // what the losers were told (first few)
    std::vector<std::string> problems;
    bool ok() const { return rounds > 0 && whole == rounds && none_acknowledged == 0 && problems.empty(); }
  };

  // SIGTERM with agents connected, commits queued.
  struct Shutdown {
    int active_agents = 0, idle_agents = 0;
    double exit_seconds = -1;       // SIGTERM to the process's end
    int exit_status = -1;
    long long acknowledged = 0;     // queued commits answered before the exit
    long long stored_at_signal = 0;
    long long stored_after_exit = 0;
    long long errors_before_signal = 0;  // answered before the signal: must be 0
    long long failed_after_signal = 0;   // cut off by the shutdown (expected)
    // When the last set appeared in the catalogue, counted from the signal
    // (-1: none appeared): the queue's drain, as seen from outside.
    double drained_seconds = -1;
    Count count;
    std::vector<std::string> first_errors;
    // Stopping may take a second beyond the drain, not the idle time-out
    // of the connections that agents keep open.
    static constexpr double kStopAllowance = 2.0;
    bool prompt() const { return exit_seconds >= 0 && exit_seconds <= kStopAllowance + std::max(0.0, drained_seconds); }
    bool ok() const { return prompt() && exit_status == 0 && errors_before_signal == 0 && count.ok(); }
  };

  explicit Agent_Load(Options options);
  ~Agent_Load();
  Agent_Load(Agent_Load const&) = delete;
  Agent_Load& operator=(Agent_Load const&) = delete;

  // Prepares the catalogue and starts the servers.
  bool start(std::string& error);
  // SIGTERM to every server; exit statuses are not kept.
  void stop();

  // `agents` threads committing sets for `seconds`; agent i talks to server
  // i mod servers.
  Figures run(int agents, double seconds, Mode mode, Transport transport);

  // Waits for queued commits to be stored (up to `drain_seconds` without
  // progress), then counts.
  Count check(double drain_seconds = 10);

  // Needs two servers; the same uuid in two documents that differ in name,
  // pieces, sizes and pool, sent through servers 0 and 1 together.
  Same_Uuid same_uuid(int rounds, Transport transport = RPC);

  // Server 0 (which must queue commits): `active` agents committing on
  // kept-alive connections, `pause_ms` between an agent's commits, and
  // `idle` agents holding one open after one commit; after `seconds`,
  // SIGTERM. The server is gone afterwards.
  //
  // Queued commits are answered at once and stored by one worker: agents
  // that do not pause queue faster than it stores, and the drain then
  // takes as long as the backlog.
  Shutdown sigterm(int active, int idle, double seconds, int pause_ms, Transport transport = RPC);

  std::string const& db() const { return db_; }
  int servers() const { return static_cast<int>(servers_.size()); }
  Catalogd_Process& server(int i) { return *servers_.at(static_cast<size_t>(i)); }
  // catalogd's stderr, its last `bytes` (for reports when something failed).
  std::string server_log(int i, size_t bytes = 2000) const;
  long peak_rss_kb(int i) const;

  static char const* name(Mode mode) { return mode == KEEP_ALIVE ? "keepalive" : "new-connection"; }
  static char const* name(Transport transport) { return transport == RPC ? "rpc" : "rest"; }
  static char const* name(Catalog_Target::Engine engine) { return Catalog_Target::name(engine); }

 private:
  struct Record;
  class Poster;

  std::string next_uuid();
  std::string document(std::string const& uuid, char variant) const;
  std::string path_prefix(std::string const& uuid, char variant) const;
  std::string piece_number(int i) const;
  long long piece_bytes(char variant) const;
  std::string server_url(int server) const;
  std::unique_ptr<Poster> poster(int server, Mode mode, Transport transport) const;
  bool commit(Poster& poster, std::string const& uuid, char variant, std::string& why) const;
  std::unique_ptr<database::sql::Connection> connect(std::string& error) const;
  // The first four bytes of every uuid of this run.
  Binding_Value run_prefix() const;
  // The sets of this run now stored, as rows of the check's statement.
  bool stored_rows(std::vector<Record>& rows, std::string& error) const;
  // Complete sets of this run now stored (-1 when it cannot tell); on `c`
  // when given, else on a connection of its own.
  long long stored_count(database::sql::Connection* c = nullptr) const;
  // Why a stored row is not the whole document `variant` of its uuid ("" if it is).
  std::string flaw(Record const& row, char variant) const;
  // `variant` is the document sent ('a', 'b'), or '?' when either may win.
  void note(std::string const& uuid, char variant, bool acknowledged);

  Options options_;
  std::unique_ptr<Catalog_Target> target_;
  std::string db_;
  bool fresh_ = true;  // the catalogue holds only what this run sent
  unsigned run_id_ = 0;
  std::atomic<unsigned long long> serial_{0};
  std::vector<std::unique_ptr<Catalogd_Process>> servers_;

  std::mutex sent_mutex_;
  std::unordered_map<std::string, char> sent_;    // every uuid an agent sent, and which document
  std::unordered_set<std::string> acknowledged_;  // and those it was told are stored
};

#endif
