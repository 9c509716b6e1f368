#include "bench/crash/crash_rounds.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <iostream>
#include <random>
#include <sstream>
#include <thread>
#include <utility>

#include <ace/Log_Msg.h>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/catalog_operator.h"
#include "backup/backup_set/common/restful_catalog_operator.h"
#include "platform/database/connection.h"
#include "platform/database/pg_connection.h"
#include "platform/rest/json_restful_client.h"
#include "platform/rpc/global_json_rpc_channel.h"
#include "platform/sql/sql.h"
#include "platform/sql/uuid_binary.h"
#include "tests/support/pg_cluster.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;
using Clock = std::chrono::steady_clock;

namespace {

char const kHost[] = "c4a5e000-0000-4000-8000-00000000000a";
char const kPool[] = "c4a5e000-0000-4000-8000-0000000000b0";
long long const kEpoch = 1709251200;  // 2024-03-01 00:00:00

long long now_ns() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch()).count();
}

void sleep_ms(long ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

// A small, well-spread hash of the set's numbers: its content depends on
// nothing else.
unsigned long long mix(unsigned long long a, unsigned long long b, unsigned long long c) {
  unsigned long long x = a * 0x9E3779B97F4A7C15ULL ^ (b + 0x632BE59BD9B4E019ULL) * 0xC2B2AE3D27D4EB4FULL ^ c;
  x ^= x >> 31;
  x *= 0xBF58476D1CE4E5B9ULL;
  x ^= x >> 29;
  return x;
}

typedef std::pair<std::string, long long> Piece;  // path, size
typedef Crash_Rounds::Plan Plan;

Value piece_value(Piece const& p) {
  Object o;
  o["path"] = p.first;
  o["object"] = "";
  o["size"] = p.second;
  o["extended_attrs"] = Value(Object());
  return Value(std::move(o));
}

std::vector<Piece> all_pieces(Plan const& plan) {
  std::vector<Piece> out;
  for (auto const& b : plan.batches) out.insert(out.end(), b.begin(), b.end());
  return out;
}

// The uuid as the catalogue's uuid columns deliver it.
Key2_Value_T<int> const kUuidColumns[] = {{"uuid", 5}, {"set_uuid", 5}, {nullptr, 0}};

long long int_of(Value const& v) {
  if (v.type() == json_spirit::int_type) return v.is_uint64() ? static_cast<long long>(v.get_uint64()) : v.get_int64();
  return -1;
}

std::string str_of(Object const& o, char const* key) {
  auto it = o.find(key);
  return it != o.end() && it->second.type() == json_spirit::str_type ? it->second.get_str() : std::string();
}

// The rows of one page of a view's answer, and the cursor to the next.
bool page_rows(Value const& result, Array const*& rows, std::string& next) {
  next.clear();
  if (result.type() != json_spirit::obj_type) return false;
  Object const& o = result.get_obj();
  auto r = o.find("rows");
  if (r == o.end() || r->second.type() != json_spirit::array_type) return false;
  rows = &r->second.get_array();
  next = str_of(o, "next");
  return true;
}

// Every row of a view, page by page; false when any page fails.
bool walk_view(Catalog_Operator const& op, char const* view, std::map<std::string, Value> params, long limit,
               Array& out) {
  out.clear();
  params["limit"] = static_cast<long long>(limit);
  for (;;) {
    Value result;
    if (!op.get_view("backup_set", view, params, result)) return false;
    Array const* rows = nullptr;
    std::string next;
    if (!page_rows(result, rows, next)) return false;
    out.insert(out.end(), rows->begin(), rows->end());
    if (next.empty()) return true;
    params["cursor"] = next;
  }
}

std::vector<Piece> pieces_of_rows(Array const& rows) {
  std::vector<Piece> out;
  for (Value const& r : rows) {
    if (r.type() != json_spirit::obj_type) continue;
    Object const& o = r.get_obj();
    auto size = o.find("size");
    out.emplace_back(str_of(o, "path"), size == o.end() ? -1 : int_of(size->second));
  }
  return out;
}

std::string describe_difference(std::vector<Piece> want, std::vector<Piece> got) {
  std::sort(want.begin(), want.end());
  std::sort(got.begin(), got.end());
  std::ostringstream s;
  s << got.size() << " pieces instead of " << want.size();
  std::vector<Piece> missing, extra;
  std::set_difference(want.begin(), want.end(), got.begin(), got.end(), std::back_inserter(missing));
  std::set_difference(got.begin(), got.end(), want.begin(), want.end(), std::back_inserter(extra));
  if (!missing.empty()) s << ", " << missing.size() << " missing (first " << missing[0].first << ")";
  if (!extra.empty()) s << ", " << extra.size() << " extra (first " << extra[0].first << ")";
  return s.str();
}

// Rows of the same path beyond the first.
long repeated_paths(std::vector<Piece> pieces) {
  std::sort(pieces.begin(), pieces.end());
  long n = 0;
  for (size_t i = 1; i < pieces.size(); ++i)
    if (pieces[i].first == pieces[i - 1].first) ++n;
  return n;
}

bool same_pieces(std::vector<Piece> a, std::vector<Piece> b) {
  std::sort(a.begin(), a.end());
  std::sort(b.begin(), b.end());
  return a == b;
}

// Whether a process is there and not a zombie.
bool alive(pid_t pid) {
  if (pid <= 0) return false;
  std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
  std::string text;
  std::getline(in, text);
  auto close = text.rfind(')');
  return close != std::string::npos && close + 2 < text.size() && text[close + 2] != 'Z';
}

// Quiets the library's retry notes (LM_INFO) for the run; its errors stay.
class Log_Quieter {
 public:
  explicit Log_Quieter(bool verbose) {
    previous_ = ACE_LOG_MSG->priority_mask(ACE_Log_Msg::PROCESS);
    if (!verbose)
      ACE_LOG_MSG->priority_mask(previous_ & ~static_cast<unsigned long>(LM_INFO | LM_DEBUG | LM_TRACE),
                                 ACE_Log_Msg::PROCESS);
  }
  ~Log_Quieter() { ACE_LOG_MSG->priority_mask(previous_, ACE_Log_Msg::PROCESS); }

 private:
  unsigned long previous_;
};

// Sets or clears the immutable attribute of a file: no process, root
// included, can write it, also through descriptors it opened before.
bool set_immutable(std::string const& path, bool on, std::string& error) {
  int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK);
  if (fd < 0) {
    error = path + ": " + std::strerror(errno);
    return false;
  }
  int flags = 0;
  bool ok = ::ioctl(fd, FS_IOC_GETFLAGS, &flags) == 0;
  if (ok) {
    flags = on ? (flags | FS_IMMUTABLE_FL) : (flags & ~FS_IMMUTABLE_FL);
    ok = ::ioctl(fd, FS_IOC_SETFLAGS, &flags) == 0;
  }
  if (!ok)
    error = path + ": cannot " + (on ? "set" : "clear") + " the immutable attribute (" + std::strerror(errno) +
            "; it needs CAP_LINUX_IMMUTABLE and a file system that has it)";
  ::close(fd);
  return ok;
}

}  // namespace

// ---------------------------------------------------------------------------

bool Crash_Rounds::Report::clean() const {
  return problems.empty() && lost == 0 && duplicates == 0 && strangers == 0 && half_visible == 0 && vanished == 0 &&
         accepted_while_faulty == 0 && catalogd_survived;
}

std::string Crash_Rounds::Report::summary() const {
  std::ostringstream s;
  s << "rounds " << rounds << ", " << seconds << " s; acknowledged: " << commits_acknowledged << " commits, "
    << ingests_acknowledged << " staged ingests (" << batches_acknowledged << " batches); failed calls " << failed_calls
    << "; kills during a commit " << kills_in_commit << ", a batch " << kills_in_batch << ", initialize/complete "
    << kills_in_other << ", with a write transaction open " << kills_with_open_transaction
    << "; stored but unanswered at a kill: " << stored_unanswered_commits << " commits, " << stored_unanswered_batches
    << " batches, " << stored_unanswered_other << " others; reader: " << reader_polls
    << " walks, " << reader_sets_checked << " sets checked, " << half_visible << " half-visible, " << vanished
    << " vanished; lost " << lost << ", duplicates " << duplicates << ", strangers " << strangers << "; staged left "
    << left_staged.size() << ", staged found " << staged_found.size();
  if (outage_ms) s << "; outage " << outage_ms << " ms, errors during it " << outage_errors << ", acknowledged after it "
                   << acknowledged_after_restart;
  if (refused_while_faulty || accepted_while_faulty || failures_after_repair)
    s << "; while faulty: " << refused_while_faulty << " refused, " << accepted_while_faulty << " accepted; "
      << failures_after_repair << " failures after repair";
  if (!catalogd_survived) s << "; catalogd did not survive";
  for (auto const& p : problems) s << "\n  problem: " << p;
  return s.str();
}

// ---------------------------------------------------------------------------

// One agent: an operator of its own (JSON-RPC for even numbers, REST for
// odd ones) and a stream of sets, whole commits and staged ingests in turn.
class Crash_Rounds::Agent {
 public:
  enum Policy {
    // Any call answered false is a problem; its set is given up.
    STRICT,
    // A call answered false is tried again (as a new call) after a short
    // pause, until it is taken: what an agent does while its server is
    // known to be in trouble. Whole commits only.
    RETRY_COMMITS,
  };

  Agent(Crash_Rounds& rounds, int index, Policy policy, std::atomic<bool>& stop)
      : rounds_(rounds), index_(index), policy_(policy), stop_(stop) {
    int rt = rounds.options_.retry_timeout;
    if (index % 2 == 0)
      op_ = std::make_unique<Catalog_Operator>(-1, rt);
    else
      op_ = std::make_unique<RESTful_Catalog_Operator>("127.0.0.1", static_cast<unsigned short>(rounds.port_), false,
                                                       nullptr, -1, rt);
  }

  void run() {
    for (long seq = 0; !stop_; ++seq) {
      bool staged = policy_ == STRICT && (seq + index_) % 2 == 1;
      std::string uuid = rounds_.set_uuid(index_, staged, seq);
      Backup_Set set("file");
      rounds_.planned_set(uuid, set);
      if (!staged) {
        if (call(COMMIT, uuid, [&] { return op_->commit(set, false); })) acknowledge(uuid, false);
        continue;
      }
      std::vector<Backup_Piece> pieces;
      pieces.swap(set.pieces);
      if (!call(INITIALIZE, uuid, [&] { return op_->initialize(set); })) continue;
      Plan plan;
      Crash_Rounds::decode(uuid, rounds_.run_tag_, plan);
      bool given_up = false;
      for (size_t b = 0; b < plan.batches.size() && !given_up; ++b) {
        if (stop_) return leave_staged(uuid);
        std::vector<Value> batch;
        for (Piece const& p : plan.batches[b]) batch.push_back(piece_value(p));
        if (call(ADD_PIECE, uuid, [&] { return op_->add_piece(uuid, batch); }, static_cast<int>(b))) {
          std::lock_guard<std::mutex> lock(mutex_);
          ++batches_[uuid];
        } else {
          given_up = true;
        }
      }
      if (given_up) continue;
      if (stop_) return leave_staged(uuid);
      if (call(COMPLETE, uuid, [&] { return op_->complete(set); })) acknowledge(uuid, true);
    }
  }

  // What the killer sees: the call under way and when it began.
  Call current_call() const { return static_cast<Call>(call_.load()); }
  long long call_started_ns() const { return call_started_.load(); }
  // The same with the set and batch it is for.
  struct In_Flight {
    Call call = NO_CALL;
    long long started = 0;
    std::string uuid;
    int batch = -1;
  };
  In_Flight in_flight() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return in_flight_;
  }

  std::set<std::string> acknowledged() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return acknowledged_;
  }
  std::map<std::string, long> batches() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return batches_;
  }
  std::vector<long long> ack_times() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return ack_times_;
  }
  std::vector<long long> failure_times() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return failure_times_;
  }
  std::string left_staged() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return left_staged_;
  }
  std::vector<std::string> problems() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return problems_;
  }
  long commits() const { return commits_; }
  long ingests() const { return ingests_; }

 private:
  static char const* call_name(Call c) {
    switch (c) {
      case COMMIT: return "commit";
      case INITIALIZE: return "initialize";
      case ADD_PIECE: return "add_piece";
      case COMPLETE: return "complete";
      default: return "?";
    }
  }

  bool call(Call kind, std::string const& uuid, std::function<bool()> const& fn, int batch = -1) {
    long long deadline = now_ns() + 120LL * 1000000000LL;
    for (;;) {
      long long started = now_ns();
      {
        std::lock_guard<std::mutex> lock(mutex_);
        in_flight_ = In_Flight{kind, started, uuid, batch};
      }
      call_started_ = started;
      call_ = kind;
      bool ok = fn();
      call_ = NO_CALL;
      {
        std::lock_guard<std::mutex> lock(mutex_);
        in_flight_ = In_Flight();
      }
      if (ok) return true;
      {
        std::lock_guard<std::mutex> lock(mutex_);
        failure_times_.push_back(now_ns());
        if (policy_ == STRICT)
          problems_.push_back(std::string("agent ") + std::to_string(index_) + ": " + call_name(kind) + " of " + uuid +
                              " answered false");
      }
      if (policy_ == STRICT || now_ns() > deadline) return false;
      sleep_ms(100);
    }
  }

  void acknowledge(std::string const& uuid, bool staged) {
    std::lock_guard<std::mutex> lock(mutex_);
    acknowledged_.insert(uuid);
    ack_times_.push_back(now_ns());
    if (staged)
      ++ingests_;
    else
      ++commits_;
  }

  void leave_staged(std::string const& uuid) {
    std::lock_guard<std::mutex> lock(mutex_);
    left_staged_ = uuid;
  }

  Crash_Rounds& rounds_;
  int index_;
  Policy policy_;
  std::atomic<bool>& stop_;
  std::unique_ptr<Catalog_Operator> op_;
  std::atomic<int> call_{NO_CALL};
  std::atomic<long long> call_started_{0};
  mutable std::mutex mutex_;
  In_Flight in_flight_;
  std::set<std::string> acknowledged_;
  std::map<std::string, long> batches_;
  std::vector<long long> ack_times_;
  std::vector<long long> failure_times_;
  std::string left_staged_;
  std::vector<std::string> problems_;
  std::atomic<long> commits_{0};
  std::atomic<long> ingests_{0};
};

// Walks the sets view again and again. A set it sees for the first time must
// show exactly its pieces; a set it saw must still be listed by every later
// complete walk. Failed requests (catalogd away) just end the walk.
class Crash_Rounds::Reader {
 public:
  Reader(Crash_Rounds& rounds, std::atomic<bool>& stop)
      : rounds_(rounds),
        stop_(stop),
        op_("127.0.0.1", static_cast<unsigned short>(rounds.port_), false, nullptr, 0, 0) {
    // Its requests fail whenever catalogd is down; that is expected.
    op_.client()->logging_error(false);
  }

  void run() {
    while (!stop_) {
      poll();
      sleep_ms(50);
    }
  }

  long polls = 0;
  long checked = 0;
  long half_visible = 0;
  long vanished = 0;
  std::vector<std::string> problems;

 private:
  void poll() {
    Array rows;
    if (!walk_view(op_, "sets", {}, 1000, rows)) return;
    std::set<std::string> listed;
    for (Value const& row : rows) {
      if (row.type() != json_spirit::obj_type) continue;
      std::string uuid = str_of(row.get_obj(), "uuid");
      listed.insert(uuid);
      if (verified_.count(uuid)) continue;
      Array piece_rows;
      if (!walk_view(op_, "pieces", {{"uuid", uuid}}, 10000, piece_rows)) return;
      Plan plan;
      if (!Crash_Rounds::decode(uuid, rounds_.run_tag_, plan)) {
        ++half_visible;
        problems.push_back("reader: set " + uuid + " was written by no agent");
      } else {
        std::vector<Piece> got = pieces_of_rows(piece_rows), want = all_pieces(plan);
        if (!same_pieces(want, got)) {
          ++half_visible;
          problems.push_back("reader: visible set " + uuid + " has " + describe_difference(want, got));
        }
      }
      ++checked;
      verified_.insert(uuid);
    }
    ++polls;
    for (std::string const& uuid : verified_) {
      if (!listed.count(uuid) && !reported_vanished_.count(uuid)) {
        ++vanished;
        reported_vanished_.insert(uuid);
        problems.push_back("reader: set " + uuid + " was listed once and is missing now");
      }
    }
  }

  Crash_Rounds& rounds_;
  std::atomic<bool>& stop_;
  RESTful_Catalog_Operator op_;
  std::set<std::string> verified_;
  std::set<std::string> reported_vanished_;
};

// ---------------------------------------------------------------------------

Crash_Rounds::Crash_Rounds(Options const& options) : options_(options), target_(options.engine) {
  if (options_.seed == 0) options_.seed = static_cast<unsigned>(now_ns() ^ (static_cast<long long>(getpid()) << 16));
  run_tag_ = static_cast<unsigned>(mix(options_.seed, 17, 4) & 0xffffffffu);
}

Crash_Rounds::~Crash_Rounds() {
  Global_JSON_RPC_Channel::close();
  process_.kill();
}

std::string Crash_Rounds::set_uuid(int agent, bool staged, long seq) const {
  char text[40];
  std::snprintf(text, sizeof text, "%08x-0000-4000-8000-%02x%01x%09lx", run_tag_, agent & 0xff, staged ? 1 : 0,
                static_cast<unsigned long>(seq) & 0xfffffffffUL);
  return text;
}

bool Crash_Rounds::decode(std::string const& uuid, unsigned run_tag, Plan& plan) {
  unsigned tag = 0, agent = 0, staged = 0;
  unsigned long seq = 0;
  char tail = 0;
  if (uuid.size() != 36 ||
      std::sscanf(uuid.c_str(), "%8x-0000-4000-8000-%2x%1x%9lx%c", &tag, &agent, &staged, &seq, &tail) != 4 ||
      tag != run_tag || staged > 1)
    return false;
  plan.agent = static_cast<int>(agent);
  plan.staged = staged == 1;
  plan.seq = static_cast<long>(seq);
  plan.batches.clear();
  unsigned long long h = mix(agent, seq, staged);
  // Whole commits of 50 to 650 pieces keep a transaction busy long enough
  // for kills to land inside it; staged sets come in 3 to 6 batches.
  int batches = plan.staged ? 3 + static_cast<int>(h % 4) : 1;
  for (int b = 0; b < batches; ++b) {
    unsigned long long hb = mix(h, b, 99);
    int n = plan.staged ? 20 + static_cast<int>(hb % 180) : 50 + static_cast<int>(hb % 600);
    std::vector<Piece> batch;
    for (int i = 0; i < n; ++i) {
      char path[96];
      std::snprintf(path, sizeof path, "/crash/a%u/s%lu/b%d/file-%d.dat", agent, seq, b, i);
      batch.emplace_back(path, static_cast<long long>((mix(hb, i, 7) % 1000000) + 1));
    }
    plan.batches.push_back(std::move(batch));
  }
  return true;
}

bool Crash_Rounds::planned_set(std::string const& uuid, Backup_Set& set) const {
  Plan plan;
  if (!decode(uuid, run_tag_, plan)) return false;
  set.catalog_module = "file";
  set.uuid = uuid;
  set.name = "crash a" + std::to_string(plan.agent) + " s" + std::to_string(plan.seq);
  set.host_uuid = kHost;
  set.type = "full";
  set.backup_start_time = kEpoch + plan.seq * 60 + plan.agent;
  set.backup_end_time = set.backup_start_time + 30;
  long long total = 0;
  set.pieces.clear();
  for (Piece const& p : all_pieces(plan)) {
    set.add_piece(p.first, static_cast<unsigned long long>(p.second));
    total += p.second;
  }
  set.size = total;
  set.source_size = total;
  set.storages.clear();
  set.add_storage(kPool, total);
  return true;
}

void Crash_Rounds::log(std::string const& line) const {
  if (!options_.verbose) return;
  std::lock_guard<std::mutex> lock(log_mutex_);
  std::cerr << line << std::endl;
}

bool Crash_Rounds::start_catalogd(std::string& error) {
  std::vector<std::string> args{"--db", target_.db(), "--port", std::to_string(port_)};
  // The port may still be held a moment by the killed process's sockets.
  for (int attempt = 0; attempt < 10; ++attempt) {
    if (process_.start(args)) return true;
    error = process_.error();
    sleep_ms(200);
  }
  return false;
}

bool Crash_Rounds::prepare(std::string& error) {
  if (!target_.prepare(error)) return false;
  if (!process_.start({"--db", target_.db()})) {
    error = process_.error();
    return false;
  }
  port_ = process_.port();
  Global_JSON_RPC_Channel::Options channel;
  if (!Global_JSON_RPC_Channel::open(("http://127.0.0.1:" + std::to_string(port_) + "/rpc").c_str(), channel)) {
    error = "cannot open the JSON-RPC channel";
    return false;
  }
  return true;
}

long Crash_Rounds::open_transactions() {
  if (options_.engine != Catalog_Target::POSTGRESQL) return -1;
  // Sessions of catalogd's database inside a transaction that has written
  // something (it has a transaction id).
  auto c = target_.connect();
  Value v;
  if (!c->query_value(SQL("SELECT count(*) FROM pg_stat_activity WHERE datname=current_database() AND "
                          "pid<>pg_backend_pid() AND backend_xid IS NOT NULL"),
                      v))
    return -1;
  return static_cast<long>(int_of(v));
}

void Crash_Rounds::wait_for_sessions_to_end() {
  if (options_.engine != Catalog_Target::POSTGRESQL) return;
  auto c = target_.connect();
  for (int i = 0; i < 50; ++i) {
    Value v;
    if (!c->query_value(SQL("SELECT count(*) FROM pg_stat_activity WHERE datname=current_database() AND "
                            "pid<>pg_backend_pid()"),
                        v) ||
        int_of(v) == 0)
      return;
    sleep_ms(20);
  }
}

bool Crash_Rounds::stored(Call call, std::string const& uuid, int batch) {
  Plan plan;
  std::basic_string<unsigned char> key;
  if (!decode(uuid, run_tag_, plan) || !UUID_Binary::parse(uuid, key)) return false;
  SQL sql;
  switch (call) {
    case ADD_PIECE: {
      char prefix[96];
      std::snprintf(prefix, sizeof prefix, "/crash/a%d/s%ld/b%d/%%", plan.agent, plan.seq, batch);
      sql.set_text("SELECT count(*) FROM backup_piece WHERE set_uuid=:uuid AND path LIKE :prefix");
      sql.bind(":prefix", Binding_Value(std::string(prefix)));
      break;
    }
    case COMMIT:
    case COMPLETE: sql.set_text("SELECT count(*) FROM backup_set WHERE uuid=:uuid AND status='complete'"); break;
    case INITIALIZE: sql.set_text("SELECT count(*) FROM backup_set WHERE uuid=:uuid"); break;
    default: return false;
  }
  sql.bind(":uuid", Binding_Value(key));
  auto c = target_.connect();
  Value v;
  return c->query_value(sql, v) && int_of(v) > 0;
}

void Crash_Rounds::check_catalogue(Report& report, std::map<std::string, long> const& acknowledged_batches,
                                   std::set<std::string> const& acknowledged, std::set<std::string> const& left_staged) {
  auto c = target_.connect();
  database::sql::Query_Result_Handler uuids(nullptr, kUuidColumns, -1, -1);
  Array sets, pieces, storages;
  if (!c->query_rows(SQL("SELECT uuid, status FROM backup_set"), sets, &uuids) ||
      !c->query_rows(SQL("SELECT set_uuid, path, size FROM backup_piece"), pieces, &uuids) ||
      !c->query_rows(SQL("SELECT set_uuid FROM backup_set_storage"), storages, &uuids)) {
    report.problems.push_back("cannot read the catalogue: " + c->last_error());
    return;
  }
  std::map<std::string, std::string> status;
  std::map<std::string, long> rows_of_set;
  for (Value const& r : sets) {
    std::string uuid = str_of(r.get_obj(), "uuid");
    status[uuid] = str_of(r.get_obj(), "status");
    ++rows_of_set[uuid];
  }
  std::map<std::string, std::vector<Piece>> stored;
  for (Value const& r : pieces) {
    Object const& o = r.get_obj();
    stored[str_of(o, "set_uuid")].emplace_back(str_of(o, "path"), int_of(o.at("size")));
  }
  std::map<std::string, long> storage_rows;
  for (Value const& r : storages) ++storage_rows[str_of(r.get_obj(), "set_uuid")];

  for (auto const& entry : rows_of_set) {
    if (entry.second > 1) {
      report.duplicates += entry.second - 1;
      report.problems.push_back("set " + entry.first + " is stored " + std::to_string(entry.second) + " times");
    }
  }
  for (auto const& entry : stored) {
    if (!status.count(entry.first)) {
      ++report.strangers;
      report.problems.push_back(std::to_string(entry.second.size()) + " pieces of no set (" + entry.first + ")");
    }
  }

  for (auto const& entry : status) {
    std::string const& uuid = entry.first;
    Plan plan;
    if (!decode(uuid, run_tag_, plan)) {
      ++report.strangers;
      report.problems.push_back("set " + uuid + " was written by no agent");
      continue;
    }
    std::vector<Piece> const& got = stored[uuid];
    long repeats = repeated_paths(got);
    if (repeats) {
      report.duplicates += repeats;
      report.problems.push_back("set " + uuid + " holds " + std::to_string(repeats) + " pieces twice");
    }
    if (entry.second == "staged") {
      report.staged_found.push_back(uuid);
      if (!left_staged.count(uuid)) {
        ++report.strangers;
        report.problems.push_back("staged set " + uuid + " left behind by no agent still staging it");
      }
      // Exactly the batches the agent was answered, each once.
      auto b = acknowledged_batches.find(uuid);
      long taken = b == acknowledged_batches.end() ? 0 : b->second;
      std::vector<Piece> want;
      for (long i = 0; i < taken && i < static_cast<long>(plan.batches.size()); ++i)
        want.insert(want.end(), plan.batches[i].begin(), plan.batches[i].end());
      if (!same_pieces(want, got) && repeats == 0) {
        ++report.strangers;
        report.problems.push_back("staged set " + uuid + " has " + describe_difference(want, got));
      }
      continue;
    }
    if (entry.second != "complete") {
      ++report.strangers;
      report.problems.push_back("set " + uuid + " has status '" + entry.second + "'");
      continue;
    }
    std::vector<Piece> want = all_pieces(plan);
    if (!same_pieces(want, got) && repeats == 0) {
      bool short_of = got.size() < want.size();
      if (acknowledged.count(uuid) && short_of)
        ++report.lost;
      else
        ++report.strangers;
      report.problems.push_back("complete set " + uuid + " has " + describe_difference(want, got));
    }
    if (storage_rows[uuid] != 1) {
      ++report.strangers;
      report.problems.push_back("complete set " + uuid + " has " + std::to_string(storage_rows[uuid]) + " storages");
    }
  }
  for (std::string const& uuid : acknowledged) {
    auto it = status.find(uuid);
    if (it == status.end() || it->second != "complete") {
      ++report.lost;
      report.problems.push_back("acknowledged set " + uuid + (it == status.end() ? " is missing" : " is not complete"));
    }
  }
  for (std::string const& uuid : left_staged) {
    auto it = status.find(uuid);
    if (it == status.end() || it->second != "staged")
      report.problems.push_back("set " + uuid + " left inside its staging is " +
                                (it == status.end() ? "missing" : it->second));
  }

  // The same through catalogd's own view: each complete set listed once.
  RESTful_Catalog_Operator op("127.0.0.1", static_cast<unsigned short>(port_), false, nullptr, 5, 30);
  Array rows;
  if (!walk_view(op, "sets", {}, 1000, rows)) {
    report.problems.push_back("the sets view cannot be walked at the end");
    return;
  }
  std::map<std::string, long> listed;
  for (Value const& r : rows) ++listed[str_of(r.get_obj(), "uuid")];
  for (auto const& entry : listed) {
    if (entry.second > 1) {
      report.duplicates += entry.second - 1;
      report.problems.push_back("set " + entry.first + " is listed " + std::to_string(entry.second) + " times");
    }
  }
  for (auto const& entry : status) {
    if (entry.second == "complete" && !listed.count(entry.first))
      report.problems.push_back("complete set " + entry.first + " is not in the sets view");
    if (entry.second != "complete" && listed.count(entry.first))
      report.problems.push_back("set " + entry.first + " (" + entry.second + ") is in the sets view");
  }
}

// ---------------------------------------------------------------------------

bool Crash_Rounds::kill_loop(Report& report) {
  Log_Quieter quiet(options_.verbose);
  auto started = Clock::now();
  std::mt19937 random(options_.seed);
  auto between = [&random](int lo, int hi) { return std::uniform_int_distribution<int>(lo, std::max(lo, hi))(random); };

  std::atomic<bool> stop{false}, stop_reader{false};
  std::vector<std::unique_ptr<Agent>> agents;
  for (int i = 0; i < options_.agents; ++i)
    agents.push_back(std::make_unique<Agent>(*this, i, Agent::STRICT, stop));
  Reader reader(*this, stop_reader);
  std::vector<std::thread> threads;
  for (auto& a : agents) threads.emplace_back([&a] { a->run(); });
  std::thread reader_thread([&reader] { reader.run(); });

  long long up_since = now_ns();
  std::set<std::pair<size_t, long long>> counted;  // (agent, call start) found stored and unanswered
  std::string error;
  bool ok = true;
  for (int round = 0; round < options_.rounds && ok; ++round) {
    // Every other kill waits for a commit or a batch that went out since the
    // last start (a first attempt, so it is on the wire or being stored)
    // and lands a few milliseconds into it.
    bool timed = round % 2 == 0;
    if (timed) {
      long long give_up = now_ns() + 10LL * 1000000000LL;
      bool seen = false;
      while (!seen && now_ns() < give_up) {
        for (auto const& a : agents) {
          Call c = a->current_call();
          if ((c == COMMIT || c == ADD_PIECE) && a->call_started_ns() > up_since) seen = true;
        }
        if (!seen) sleep_ms(1);
      }
      sleep_ms(between(0, 20));
    } else {
      sleep_ms(between(options_.min_uptime_ms, options_.max_uptime_ms));
    }
    if (open_transactions() > 0) ++report.kills_with_open_transaction;
    bool in_commit = false, in_batch = false, in_other = false;
    std::vector<Agent::In_Flight> calls;
    for (auto const& a : agents) {
      Agent::In_Flight f = a->in_flight();
      calls.push_back(f);
      if (f.call == NO_CALL || f.started <= up_since) continue;
      in_commit = in_commit || f.call == COMMIT;
      in_batch = in_batch || f.call == ADD_PIECE;
      in_other = in_other || f.call == INITIALIZE || f.call == COMPLETE;
    }
    process_.kill();
    long long killed_at = now_ns();
    report.kills_in_commit += in_commit;
    report.kills_in_batch += in_batch;
    report.kills_in_other += in_other;
    ++report.rounds;

    // A call still waiting for its answer a moment after the kill did not
    // get it; if its work is in the catalogue all the same, its retry after
    // the restart repeats work already done.
    wait_for_sessions_to_end();
    sleep_ms(20);
    int stored_now = 0;
    for (size_t i = 0; i < agents.size(); ++i) {
      Agent::In_Flight const& before = calls[i];
      if (before.call == NO_CALL || agents[i]->in_flight().started != before.started) continue;
      // A call waiting out its back-off through several kills counts once.
      if (counted.count({i, before.started}) || !stored(before.call, before.uuid, before.batch)) continue;
      counted.insert({i, before.started});
      ++stored_now;
      if (before.call == COMMIT)
        ++report.stored_unanswered_commits;
      else if (before.call == ADD_PIECE)
        ++report.stored_unanswered_batches;
      else
        ++report.stored_unanswered_other;
    }
    log("round " + std::to_string(round + 1) + ": killed" + (in_commit ? " during a commit" : "") +
        (in_batch ? " during a batch" : "") + "; " + std::to_string(stored_now) + " calls stored but not answered");
    long pause = between(options_.min_pause_ms, options_.max_pause_ms) - (now_ns() - killed_at) / 1000000;
    if (pause > 0) sleep_ms(pause);
    if (!start_catalogd(error)) {
      report.problems.push_back("catalogd did not start again: " + error);
      ok = false;
    }
    up_since = now_ns();
  }

  // Let the agents come back from their back-off, then end the run: each
  // finishes the call it is in and stops.
  sleep_ms(1500);
  stop = true;
  for (auto& t : threads) t.join();
  stop_reader = true;
  reader_thread.join();

  std::set<std::string> acknowledged, left;
  std::map<std::string, long> batches;
  for (auto const& a : agents) {
    auto acks = a->acknowledged();
    acknowledged.insert(acks.begin(), acks.end());
    for (auto const& b : a->batches()) batches[b.first] += b.second;
    report.commits_acknowledged += a->commits();
    report.ingests_acknowledged += a->ingests();
    report.failed_calls += static_cast<long>(a->failure_times().size());
    if (!a->left_staged().empty()) {
      left.insert(a->left_staged());
      report.left_staged.push_back(a->left_staged());
    }
    for (auto const& p : a->problems()) report.problems.push_back(p);
  }
  for (auto const& b : batches) report.batches_acknowledged += b.second;
  report.reader_polls = reader.polls;
  report.reader_sets_checked = reader.checked;
  report.half_visible = reader.half_visible;
  report.vanished = reader.vanished;
  report.problems.insert(report.problems.end(), reader.problems.begin(), reader.problems.end());
  if (ok) check_catalogue(report, batches, acknowledged, left);
  report.seconds = std::chrono::duration<double>(Clock::now() - started).count();
  return ok;
}

bool Crash_Rounds::pg_restart(Report& report) {
  if (options_.engine != Catalog_Target::POSTGRESQL) {
    report.problems.push_back("the PostgreSQL restart needs the PostgreSQL engine");
    return false;
  }
  std::string error;
  PG_Cluster* cluster = PG_Cluster::shared(&error);
  if (!cluster) {
    report.problems.push_back(error);
    return false;
  }
  Log_Quieter quiet(options_.verbose);
  auto started = Clock::now();
  pid_t pid = process_.pid();

  std::atomic<bool> stop{false}, stop_reader{false};
  std::vector<std::unique_ptr<Agent>> agents;
  for (int i = 0; i < options_.agents; ++i)
    agents.push_back(std::make_unique<Agent>(*this, i, Agent::RETRY_COMMITS, stop));
  Reader reader(*this, stop_reader);
  std::vector<std::thread> threads;
  for (auto& a : agents) threads.emplace_back([&a] { a->run(); });
  std::thread reader_thread([&reader] { reader.run(); });

  // A staged set begun before the restart and finished after it. Its own
  // agent number keeps it apart from the committing agents' sets.
  int const staging_agent = options_.agents;
  std::string staged_uuid = set_uuid(staging_agent, true, 0);
  Plan plan;
  decode(staged_uuid, run_tag_, plan);
  Backup_Set head("file");
  planned_set(staged_uuid, head);
  head.pieces.clear();
  Catalog_Operator staging(-1, options_.retry_timeout);
  auto batch_of = [&plan](size_t b) {
    std::vector<Value> batch;
    for (Piece const& p : plan.batches[b]) batch.push_back(piece_value(p));
    return batch;
  };
  bool staged_ok = staging.initialize(head) && staging.add_piece(staged_uuid, batch_of(0));
  if (!staged_ok) report.problems.push_back("the staged set could not be begun before the restart");

  sleep_ms(1500);
  long long restart_begin = now_ns();
  bool restarted = cluster->restart(error);
  long long restart_end = now_ns();
  report.outage_ms = (restart_end - restart_begin) / 1000000;
  ++report.rounds;
  if (!restarted) report.problems.push_back("PostgreSQL did not restart: " + error);
  log("PostgreSQL restarted in " + std::to_string(report.outage_ms) + " ms");

  // Serving again: wait for commits acknowledged after the restart.
  auto acknowledged_after = [&] {
    long n = 0;
    for (auto const& a : agents)
      for (long long t : a->ack_times()) n += t > restart_end;
    return n;
  };
  long long wait_until = now_ns() + 30LL * 1000000000LL;
  while (acknowledged_after() < 2L * options_.agents && now_ns() < wait_until) sleep_ms(50);

  // The staged set goes on where it was; a call refused by a catalogd still
  // reconnecting is tried again (initialize and complete repeat safely, and
  // a refused batch was not stored).
  auto until_taken = [&](std::function<bool()> const& fn) {
    for (int i = 0; i < 50; ++i) {
      if (fn()) return true;
      ++report.failed_calls;
      sleep_ms(100);
    }
    return false;
  };
  if (staged_ok) {
    for (size_t b = 1; b < plan.batches.size() && staged_ok; ++b) {
      auto batch = batch_of(b);
      staged_ok = until_taken([&] { return staging.add_piece(staged_uuid, batch); });
    }
    staged_ok = staged_ok && until_taken([&] { return staging.complete(head); });
    if (!staged_ok) report.problems.push_back("the staged set could not be finished after the restart");
  }

  stop = true;
  for (auto& t : threads) t.join();
  stop_reader = true;
  reader_thread.join();

  report.catalogd_survived = pid == process_.pid() && alive(pid);
  std::set<std::string> acknowledged;
  std::map<std::string, long> batches;
  if (staged_ok) {
    acknowledged.insert(staged_uuid);
    ++report.ingests_acknowledged;
    report.batches_acknowledged += static_cast<long>(plan.batches.size());
  }
  for (auto const& a : agents) {
    auto acks = a->acknowledged();
    acknowledged.insert(acks.begin(), acks.end());
    report.commits_acknowledged += a->commits();
    for (long long t : a->failure_times()) {
      ++report.failed_calls;
      report.outage_errors += t >= restart_begin && t <= restart_end;
    }
  }
  report.acknowledged_after_restart = acknowledged_after();
  if (report.acknowledged_after_restart == 0) report.problems.push_back("nothing was committed after the restart");
  report.reader_polls = reader.polls;
  report.reader_sets_checked = reader.checked;
  report.half_visible = reader.half_visible;
  report.vanished = reader.vanished;
  report.problems.insert(report.problems.end(), reader.problems.begin(), reader.problems.end());
  check_catalogue(report, batches, acknowledged, {});
  report.seconds = std::chrono::duration<double>(Clock::now() - started).count();
  return restarted;
}

bool Crash_Rounds::read_only(Report& report) {
  Log_Quieter quiet(options_.verbose);
  auto started = Clock::now();
  pid_t pid = process_.pid();
  std::string error;

  Catalog_Operator rpc(-1, options_.retry_timeout);
  RESTful_Catalog_Operator rest("127.0.0.1", static_cast<unsigned short>(port_), false, nullptr, -1,
                                options_.retry_timeout);
  Catalog_Operator* ops[2] = {&rpc, &rest};

  std::set<std::string> acknowledged;
  auto set_of = [this](std::string const& uuid) {
    Backup_Set s("file");
    planned_set(uuid, s);
    return s;
  };
  auto batch_of = [this](std::string const& uuid, size_t b) {
    Plan plan;
    decode(uuid, run_tag_, plan);
    std::vector<Value> batch;
    if (b < plan.batches.size())
      for (Piece const& p : plan.batches[b]) batch.push_back(piece_value(p));
    return batch;
  };
  auto batch_count = [this](std::string const& uuid) {
    Plan plan;
    decode(uuid, run_tag_, plan);
    return plan.batches.size();
  };

  // Before the fault: a commit on each protocol, and a staged set begun.
  std::string const staged = set_uuid(1, true, 0);
  for (int p = 0; p < 2; ++p) {
    std::string uuid = set_uuid(p, false, 0);
    Backup_Set s = set_of(uuid);
    if (ops[p]->commit(s, false))
      acknowledged.insert(uuid);
    else
      report.problems.push_back("commit of " + uuid + " failed before the fault");
  }
  Backup_Set staged_head = set_of(staged);
  staged_head.pieces.clear();
  if (!rest.initialize(staged_head) || !rest.add_piece(staged, batch_of(staged, 0)))
    report.problems.push_back("the staged set could not be begun before the fault");

  // The fault.
  std::string db_name;
  std::unique_ptr<database::sql::Connection> admin;
  std::vector<std::string> immutable;
  auto end_sessions = [&]() -> bool {
    // The setting reaches new sessions only: end catalogd's, and wait until
    // they are gone.
    std::string text = "SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE datname='" + db_name + "'";
    Array ignored;
    if (!admin->query_rows(SQL(text), ignored)) return false;
    for (int i = 0; i < 100; ++i) {
      Value n;
      if (!admin->query_value(SQL("SELECT count(*) FROM pg_stat_activity WHERE datname='" + db_name + "'"), n))
        return false;
      if (int_of(n) == 0) return true;
      sleep_ms(20);
    }
    return false;
  };
  bool faulty = false;
  if (options_.engine == Catalog_Target::SQLITE) {
    faulty = true;
    for (std::string suffix : {"", "-wal"}) {
      std::string path = target_.db() + suffix;
      struct stat st {};
      if (::stat(path.c_str(), &st) != 0) continue;
      if (!set_immutable(path, true, error)) {
        faulty = false;
        report.problems.push_back(error);
        break;
      }
      immutable.push_back(path);
    }
  } else {
    std::string cluster_error;
    PG_Cluster* cluster = PG_Cluster::shared(&cluster_error);
    db_name = target_.db().substr(target_.db().rfind('/') + 1);
    if (cluster) admin = std::make_unique<database::sql::PG_Connection>(cluster->conninfo());
    faulty = admin && admin->is_open() &&
             admin->execute_script("ALTER DATABASE " + db_name + " SET default_transaction_read_only = on") &&
             end_sessions();
    if (!faulty) report.problems.push_back("cannot make the database read-only: " + (admin ? admin->last_error() : cluster_error));
  }

  // While it lasts every write is refused, on both protocols; reads go on.
  auto refused = [&](bool taken, std::string const& what) {
    if (taken) {
      ++report.accepted_while_faulty;
      report.problems.push_back(what + " succeeded on a catalogue that takes no writes");
    } else {
      ++report.refused_while_faulty;
    }
  };
  if (faulty) {
    for (int p = 0; p < 2; ++p) {
      for (int attempt = 0; attempt < 3; ++attempt) {
        std::string uuid = set_uuid(p, false, 1);
        Backup_Set s = set_of(uuid);
        refused(ops[p]->commit(s, false), "commit of " + uuid);
      }
      std::string fresh = set_uuid(p, true, 1);
      Backup_Set head = set_of(fresh);
      head.pieces.clear();
      refused(ops[p]->initialize(head), "initialize of " + fresh);
      refused(ops[p]->add_piece(staged, batch_of(staged, 1)), "add_piece to " + staged);
      refused(ops[p]->complete(staged_head), "complete of " + staged);
    }
    Array rows;
    if (!walk_view(rest, "sets", {}, 1000, rows) || rows.size() != acknowledged.size())
      report.problems.push_back("the sets view did not answer the " + std::to_string(acknowledged.size()) +
                                " sets while the catalogue took no writes");
  }

  // Repair.
  if (options_.engine == Catalog_Target::SQLITE) {
    for (std::string const& path : immutable)
      if (!set_immutable(path, false, error)) report.problems.push_back(error);
  } else if (admin) {
    if (!admin->execute_script("ALTER DATABASE " + db_name + " RESET default_transaction_read_only") ||
        !end_sessions())
      report.problems.push_back("cannot make the database writable again: " + admin->last_error());
  }

  // Writes are taken again; a call refused on the way (a session ended
  // under catalogd) is counted and tried again.
  auto until_taken = [&](std::function<bool()> const& fn, std::string const& what) {
    for (int i = 0; i < 20; ++i) {
      if (fn()) return true;
      ++report.failures_after_repair;
      sleep_ms(100);
    }
    report.problems.push_back(what + " was still refused after the repair");
    return false;
  };
  for (int p = 0; p < 2; ++p) {
    std::string uuid = set_uuid(p, false, 1);
    Backup_Set s = set_of(uuid);
    if (until_taken([&] { return ops[p]->commit(s, false); }, "commit of " + uuid)) acknowledged.insert(uuid);
  }
  bool staged_ok = true;
  for (size_t b = 1; b < batch_count(staged) && staged_ok; ++b) {
    auto batch = batch_of(staged, b);
    staged_ok = until_taken([&] { return rpc.add_piece(staged, batch); }, "add_piece to " + staged);
  }
  if (staged_ok && until_taken([&] { return rpc.complete(staged_head); }, "complete of " + staged))
    acknowledged.insert(staged);
  // A staged set begun and finished after the repair, over REST.
  std::string fresh = set_uuid(0, true, 2);
  Backup_Set head = set_of(fresh);
  head.pieces.clear();
  bool fresh_ok = until_taken([&] { return rest.initialize(head); }, "initialize of " + fresh);
  for (size_t b = 0; b < batch_count(fresh) && fresh_ok; ++b) {
    auto batch = batch_of(fresh, b);
    fresh_ok = until_taken([&] { return rest.add_piece(fresh, batch); }, "add_piece to " + fresh);
  }
  if (fresh_ok && until_taken([&] { return rest.complete(head); }, "complete of " + fresh)) acknowledged.insert(fresh);

  report.commits_acknowledged = 0;
  for (std::string const& uuid : acknowledged) {
    Plan plan;
    decode(uuid, run_tag_, plan);
    if (plan.staged)
      ++report.ingests_acknowledged;
    else
      ++report.commits_acknowledged;
  }
  report.catalogd_survived = pid == process_.pid() && alive(pid);
  // The sets whose initialize was refused while the catalogue took no
  // writes must not be there: check_catalogue counts any set that nobody was
  // answered for and nobody left staged.
  check_catalogue(report, {}, acknowledged, {});
  report.seconds = std::chrono::duration<double>(Clock::now() - started).count();
  return faulty;
}
