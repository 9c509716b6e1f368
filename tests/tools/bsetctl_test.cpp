// bsetctl as a user runs it: the real program, a real catalogd (SQLite and
// PostgreSQL), its output, its --json output parsed back, its exit codes.
#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/file_backup_set.h"
#include "backup/backup_set/common/library_version.h"
#include "platform/json/json_text.h"
#include "platform/time/iso8601.h"
#include "tests/records/document.h"
#include "tests/server/catalog_target.h"
#include "tests/server/catalogd_process.h"
#include "tests/server/temp_dir.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

struct Outcome {
  int status = -1;
  std::string out;
  std::string err;
};

std::string slurp(std::string const& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

// bsetctl started with `args`, its stdout and stderr going to files in
// `dir` (kept apart), its stdin empty.
pid_t start_bsetctl(std::vector<std::string> const& args, std::string const& dir,
                    std::vector<std::string> const& env = {}) {
  std::string const out_path = dir + "/out", err_path = dir + "/err";
  std::vector<std::string> text{BSETCTL_PROGRAM};
  text.insert(text.end(), args.begin(), args.end());
  std::vector<char*> argv;
  for (auto& a : text) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  pid_t pid = fork();
  if (pid == 0) {
    int out = open(out_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    int err = open(err_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    int none = open("/dev/null", O_RDONLY);
    dup2(out, 1);
    dup2(err, 2);
    dup2(none, 0);
    unsetenv("BSETCTL_SERVER");
    unsetenv("BSETCTL_TOKEN");
    for (auto const& e : env) putenv(const_cast<char*>(e.c_str()));
    execv(argv[0], argv.data());
    _exit(127);
  }
  return pid;
}

// Waits for a started bsetctl; one that takes over two minutes is killed
// (status -1).
Outcome finish_bsetctl(pid_t pid, std::string const& dir) {
  Outcome r;
  auto const deadline = std::chrono::steady_clock::now() + std::chrono::minutes(2);
  int status = 0;
  bool killed = false;
  while (waitpid(pid, &status, WNOHANG) == 0) {
    if (std::chrono::steady_clock::now() > deadline) {
      kill(pid, SIGKILL);
      waitpid(pid, &status, 0);
      killed = true;
      break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  r.status = !killed && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  r.out = slurp(dir + "/out");
  r.err = slurp(dir + "/err") + (killed ? "\n(killed after two minutes)" : "");
  return r;
}

Outcome bsetctl(std::vector<std::string> const& args, std::vector<std::string> const& env = {}) {
  static Temp_Dir dir;
  return finish_bsetctl(start_bsetctl(args, dir.path(), env), dir.path());
}

std::string describe(Outcome const& r) { return "exit " + std::to_string(r.status) + "\nstdout:\n" + r.out + "\nstderr:\n" + r.err; }

std::vector<std::string> lines(std::string const& text) {
  std::vector<std::string> out;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);)
    if (!line.empty()) out.push_back(line);
  return out;
}

Value parse(std::string const& text) {
  Value v;
  EXPECT_TRUE(JSON_Parse(text, v)) << text;
  return v;
}

void write_file(std::string const& path, std::string const& text) { std::ofstream(path, std::ios::binary) << text; }

std::string uuid_of(int n) {
  char text[40];
  std::snprintf(text, sizeof text, "5a0c1d2e-3f40-4152-8637-%012d", n);
  return text;
}

constexpr char kHost[] = "c1e2d3f4-0000-4000-8000-00000000ab01";
constexpr char kPool[] = "d0d0d0d0-0000-4000-8000-0000000000a1";
constexpr char kReplica[] = "d0d0d0d0-0000-4000-8000-0000000000a2";

// A file-system set document as an agent writes it.
std::string file_set(std::string const& uuid, char const* start, int pieces = 3, char const* host = "fs01.example.lan") {
  File_Backup_Set set;
  set.uuid = uuid;
  set.name = "fs01 /srv nightly";
  set.host_uuid = kHost;
  set.resource_uuid = "c1e2d3f4-0000-4000-8000-00000000ab02";
  set.host = host;
  set.type = "full";
  iso8601_to_posix_time(start, set.backup_start_time);
  set.backup_end_time = set.backup_start_time + 900;
  set.size = set.source_size = 4096LL * pieces;
  set.seq = 7;
  set.channels = 2;
  set.hash_algorithm = "sha256";
  set.add_storage(kPool, set.size);
  for (int i = 0; i < pieces; ++i) set.add_piece("/srv/data/part-" + std::to_string(i) + ".dat", 4096);
  return document_of(set);
}

class BsetctlTest : public ::testing::TestWithParam<Catalog_Target::Engine> {
 protected:
  void SetUp() override {
    std::string error;
    ASSERT_TRUE(target_.prepare(error)) << error;
  }

  void serve(std::vector<std::string> extra = {}) {
    extra.insert(extra.begin(), {"--db", target_.db()});
    ASSERT_TRUE(catalogd_.start(extra)) << catalogd_.error();
    server_ = catalogd_.url();
  }

  // Every set the catalogue lists, through the server.
  std::vector<Value> listed(std::vector<std::string> extra = {}) {
    std::vector<std::string> args{"list", "--json", "--server", server_};
    args.insert(args.end(), extra.begin(), extra.end());
    Outcome r = bsetctl(args);
    EXPECT_EQ(0, r.status) << describe(r);
    std::vector<Value> out;
    for (auto const& l : lines(r.out)) out.push_back(parse(l));
    return out;
  }

  std::string file(std::string const& name, std::string const& text) {
    std::string path = dir_.path() + "/" + name;
    write_file(path, text);
    return path;
  }

  Catalog_Target target_{GetParam()};
  Catalogd_Process catalogd_;
  Temp_Dir dir_;
  std::string server_;
};

}  // namespace

TEST(Bsetctl, HelpListsEveryCommandAndExitsZero) {
  Outcome r = bsetctl({"--help"});
  EXPECT_EQ(0, r.status) << describe(r);
  for (char const* c : {"serve", "commit", "stage", "list", "show", "pieces", "restore-pool"})
    EXPECT_NE(std::string::npos, r.out.find(c)) << c << "\n" << r.out;
}

TEST(Bsetctl, EveryCommandHasHelpNamingItsOptions) {
  std::vector<std::pair<char const*, std::vector<char const*>>> const commands = {
      {"serve", {"--db", "--listen", "--token", "--tls-cert", "--tls-key", "--queue-commits"}},
      {"commit", {"FILE", "--rest", "--rpc", "--confirm", "--server", "--token", "--kind"}},
      {"stage", {"FILE", "--pieces", "--batch", "--server"}},
      {"list", {"--db", "--server", "--kind", "--host", "--since", "--until", "--json"}},
      {"show", {"UUID", "--json", "--db", "--server"}},
      {"pieces", {"UUID", "--dir", "--json"}},
      {"restore-pool", {"UUID", "--db", "--server"}},
  };
  for (auto const& [command, options] : commands) {
    Outcome r = bsetctl({command, "--help"});
    EXPECT_EQ(0, r.status) << command << "\n" << describe(r);
    for (char const* o : options) EXPECT_NE(std::string::npos, r.out.find(o)) << command << " " << o << "\n" << r.out;
  }
}

TEST(Bsetctl, VersionIsTheLibrarysVersion) {
  Outcome r = bsetctl({"--version"});
  EXPECT_EQ(0, r.status) << describe(r);
  EXPECT_EQ(std::string("bsetctl ") + backupset_version() + "\n", r.out);
}

TEST(Bsetctl, BadUsageExitsTwoWithAMessageOnStderr) {
  std::vector<std::vector<std::string>> const bad = {
      {},
      {"no-such-command"},
      {"commit"},
      {"commit", "/nonexistent/set.json"},
      {"list", "--db", "x.db", "--server", "http://127.0.0.1:1"},
      {"list", "--since", "yesterday", "--db", "/nonexistent.db"},
      {"list", "--kind", "No_Such_Backup_Set", "--db", "/nonexistent.db"},
      {"stage", "/etc/hostname"},
      {"stage", "/etc/hostname", "--pieces", "/etc/hostname", "--batch", "0"},
      {"serve", "--listen", "127.0.0.1:http"},
      {"commit", "/etc/hostname", "--rest", "--rpc"},
      {"commit", "/etc/hostname", "--server", "ftp://127.0.0.1"},
  };
  for (auto const& args : bad) {
    Outcome r = bsetctl(args);
    std::string shown;
    for (auto const& a : args) shown += a + " ";
    EXPECT_EQ(2, r.status) << shown << "\n" << describe(r);
    EXPECT_FALSE(r.err.empty()) << shown;
    EXPECT_TRUE(r.out.empty() || args.empty()) << shown << "\n" << r.out;
  }
}

TEST(Bsetctl, AReadingCommandWithoutACatalogueSaysWhatToDo) {
  Outcome r = bsetctl({"list", "--db", "/nonexistent/catalog.db"});
  EXPECT_EQ(1, r.status) << describe(r);
  EXPECT_EQ(1u, lines(r.err).size()) << r.err;
  EXPECT_NE(std::string::npos, r.err.find("/nonexistent/catalog.db")) << r.err;
  EXPECT_NE(std::string::npos, r.err.find("--server")) << r.err;
}

TEST(Bsetctl, AnUnreachableServerFailsInOneLineAndStoresNothing) {
  Temp_Dir dir;
  std::string doc = dir.path() + "/set.json";
  write_file(doc, file_set(uuid_of(1), "2026-11-01 01:00:00"));
  for (char const* transport : {"--rpc", "--rest"}) {
    Outcome r = bsetctl({"commit", doc, transport, "--server", "http://127.0.0.1:1", "--retries", "0"});
    EXPECT_EQ(1, r.status) << describe(r);
    EXPECT_EQ(1u, lines(r.err).size()) << r.err;
    EXPECT_NE(std::string::npos, r.err.find(uuid_of(1))) << r.err;
  }
  Outcome r = bsetctl({"list", "--server", "http://127.0.0.1:1", "--retries", "0"});
  EXPECT_EQ(2, r.status) << "list takes no --retries\n" << describe(r);
  r = bsetctl({"show", uuid_of(1), "--server", "http://127.0.0.1:1"});
  EXPECT_EQ(1, r.status) << describe(r);
  EXPECT_EQ(1u, lines(r.err).size()) << r.err;
}

TEST_P(BsetctlTest, CommitsThroughBothTransportsAndReadsBackThroughServerAndDatabase) {
  serve();
  std::string a = file("a.json", file_set(uuid_of(1), "2026-11-01 01:00:00"));
  std::string b = file("b.json", file_set(uuid_of(2), "2026-11-02 01:00:00"));
  Outcome r = bsetctl({"commit", a, "--rpc", "--server", server_});
  ASSERT_EQ(0, r.status) << describe(r);
  EXPECT_NE(std::string::npos, r.out.find("committed " + uuid_of(1) + " (File_Backup_Set, 3 pieces")) << r.out;
  EXPECT_NE(std::string::npos, r.out.find("JSON-RPC")) << r.out;
  r = bsetctl({"commit", b, "--rest", "--server", server_});
  ASSERT_EQ(0, r.status) << describe(r);
  EXPECT_NE(std::string::npos, r.out.find("REST")) << r.out;

  std::vector<Value> sets = listed();
  ASSERT_EQ(2u, sets.size());
  // Newest first.
  EXPECT_EQ(uuid_of(2), sets[0].get_obj().at("uuid").get_str());
  EXPECT_EQ(uuid_of(1), sets[1].get_obj().at("uuid").get_str());
  Object const& app = sets[1].get_obj().at("application").get_obj();
  EXPECT_EQ(7, app.at("seq").get_int());
  EXPECT_EQ("sha256", app.at("hash_algorithm").get_str());

  // The database itself gives the same rows as the server (a server named
  // in the environment does not count against --db).
  Outcome direct = bsetctl({"list", "--json", "--db", target_.db()}, {"BSETCTL_SERVER=http://127.0.0.1:1"});
  ASSERT_EQ(0, direct.status) << describe(direct);
  std::vector<std::string> got = lines(direct.out);
  ASSERT_EQ(2u, got.size());
  EXPECT_EQ(sets[0], parse(got[0]));
  EXPECT_EQ(sets[1], parse(got[1]));

  // The table for people: a heading, one line a set, the count on stderr.
  Outcome table = bsetctl({"list", "--server", server_});
  ASSERT_EQ(0, table.status) << describe(table);
  std::vector<std::string> rows = lines(table.out);
  ASSERT_EQ(3u, rows.size()) << table.out;
  EXPECT_EQ(0u, rows[0].find("UUID ")) << rows[0];
  EXPECT_EQ(rows[0].find("START"), rows[1].find("2026-11-02 01:00:00")) << table.out;
  EXPECT_NE(std::string::npos, rows[2].find("fs01.example.lan"));
  EXPECT_NE(std::string::npos, table.err.find("2 sets")) << table.err;

  Outcome show = bsetctl({"show", uuid_of(1), "--json", "--db", target_.db()});
  ASSERT_EQ(0, show.status) << describe(show);
  EXPECT_EQ(sets[1], parse(show.out));
  show = bsetctl({"show", uuid_of(1), "--server", server_});
  ASSERT_EQ(0, show.status) << describe(show);
  EXPECT_NE(std::string::npos, show.out.find("hash_algorithm  sha256")) << show.out;
  EXPECT_NE(std::string::npos, show.out.find(kPool)) << show.out;
}

TEST_P(BsetctlTest, ListFiltersByKindHostAndTime) {
  serve();
  Outcome r = bsetctl({"commit", file("a.json", file_set(uuid_of(1), "2026-11-01 01:00:00")), "--server", server_});
  ASSERT_EQ(0, r.status) << describe(r);
  r = bsetctl({"commit", file("b.json", file_set(uuid_of(2), "2026-11-03 01:00:00", 1, "fs02.example.lan")),
               "--server", server_});
  ASSERT_EQ(0, r.status) << describe(r);
  EXPECT_EQ(2u, listed({"--kind", "file"}).size());
  EXPECT_EQ(2u, listed({"--kind", "File_Backup_Set"}).size());
  EXPECT_EQ(0u, listed({"--kind", "oracle"}).size());
  EXPECT_EQ(2u, listed({"--host", kHost}).size());
  std::vector<Value> fs02 = listed({"--host", "fs02.example.lan"});
  ASSERT_EQ(1u, fs02.size());
  EXPECT_EQ(uuid_of(2), fs02[0].get_obj().at("uuid").get_str());
  std::vector<Value> early = listed({"--until", "2026-11-02"});
  ASSERT_EQ(1u, early.size());
  EXPECT_EQ(uuid_of(1), early[0].get_obj().at("uuid").get_str());
  EXPECT_EQ(1u, listed({"--since", "2026-11-02 00:00:00"}).size());
  // Pages of one set still list every set once.
  EXPECT_EQ(2u, listed({"--page", "1"}).size());
}

TEST_P(BsetctlTest, AConfirmedCommitToAQueueingServerIsStoredWhenItReturns) {
  serve({"--queue-commits", "--queue-delay-ms", "400"});
  for (char const* transport : {"--rpc", "--rest"}) {
    int const n = transport[2] == 'r' ? 1 : 2;
    Outcome r = bsetctl({"commit", file("q.json", file_set(uuid_of(n), "2026-11-01 01:00:00")), transport, "--confirm",
                     "--server", server_});
    ASSERT_EQ(0, r.status) << transport << "\n" << describe(r);
    EXPECT_NE(std::string::npos, r.out.find("confirmed")) << r.out;
    Outcome show = bsetctl({"show", uuid_of(n), "--json", "--server", server_});
    EXPECT_EQ(0, show.status) << transport << "\n" << describe(show);
  }
}

TEST_P(BsetctlTest, ABadDocumentNamesTheMemberAndStoresNothing) {
  serve();
  std::string text = file_set(uuid_of(1), "2026-11-01 01:00:00");
  std::string const wrong = text.replace(text.find("\"seq\":7"), 7, "\"seq\":\"seven\"");
  Outcome r = bsetctl({"commit", file("bad.json", wrong), "--server", server_});
  EXPECT_EQ(1, r.status) << describe(r);
  EXPECT_EQ(1u, lines(r.err).size()) << r.err;
  EXPECT_NE(std::string::npos, r.err.find("seq")) << r.err;
  EXPECT_NE(std::string::npos, r.err.find("bad.json")) << r.err;

  r = bsetctl({"commit", file("notjson.json", "{\"uuid\": "), "--server", server_});
  EXPECT_EQ(1, r.status) << describe(r);
  EXPECT_NE(std::string::npos, r.err.find("notjson.json")) << r.err;
  EXPECT_TRUE(listed().empty());
}

TEST_P(BsetctlTest, ARefusingServerFailsInOneLineAndStoresNothing) {
  serve({"--token", "s3cret"});
  std::string doc = file("a.json", file_set(uuid_of(1), "2026-11-01 01:00:00"));
  for (char const* transport : {"--rpc", "--rest"}) {
    Outcome r = bsetctl({"commit", doc, transport, "--server", server_, "--token", "wrong"});
    EXPECT_EQ(1, r.status) << transport << "\n" << describe(r);
    EXPECT_EQ(1u, lines(r.err).size()) << r.err;
    EXPECT_NE(std::string::npos, r.err.find("not committed")) << r.err;
  }
  Outcome r = bsetctl({"list", "--server", server_});
  EXPECT_EQ(1, r.status) << describe(r);
  // With the token (here from the environment) it goes through.
  r = bsetctl({"commit", doc, "--server", server_}, {"BSETCTL_TOKEN=s3cret"});
  EXPECT_EQ(0, r.status) << describe(r);
  r = bsetctl({"list", "--json", "--server", server_, "--token", "s3cret"});
  EXPECT_EQ(0, r.status) << describe(r);
  EXPECT_EQ(1u, lines(r.out).size()) << r.out;
}

TEST_P(BsetctlTest, StagesPiecesInBatchesAndBrowsesThem) {
  serve();
  std::string doc = file("big.json", file_set(uuid_of(9), "2026-11-05 01:00:00", 2));
  std::string pieces;
  for (int i = 0; i < 2500; ++i)
    pieces += "{\"path\":\"/srv/big/d" + std::to_string(i % 5) + "/f" + std::to_string(i) +
              ".dat\",\"object\":\"\",\"size\":100,\"extended_attrs\":{}}\n";
  Outcome r = bsetctl({"stage", doc, "--pieces", file("big.jsonl", pieces), "--batch", "300", "--rest", "--server", server_});
  ASSERT_EQ(0, r.status) << describe(r);
  EXPECT_NE(std::string::npos, r.out.find("staged " + uuid_of(9) + " (File_Backup_Set, 2500 pieces")) << r.out;
  // Not a terminal: plain progress lines, the last one at 100%.
  std::vector<std::string> progress = lines(r.err);
  ASSERT_FALSE(progress.empty());
  EXPECT_EQ(0u, progress.back().find("progress: 100%")) << r.err;

  Outcome all = bsetctl({"pieces", uuid_of(9), "--json", "--page", "700", "--server", server_});
  ASSERT_EQ(0, all.status) << describe(all);
  std::vector<std::string> got = lines(all.out);
  ASSERT_EQ(2502u, got.size());  // the document's two and the staged ones
  std::string previous;
  for (auto const& l : got) {
    std::string path = parse(l).get_obj().at("path").get_str();
    EXPECT_LT(previous, path);
    previous = path;
  }

  Outcome top = bsetctl({"pieces", uuid_of(9), "--dir", "/srv/big", "--db", target_.db()});
  ASSERT_EQ(0, top.status) << describe(top);
  std::vector<std::string> rows = lines(top.out);
  ASSERT_EQ(6u, rows.size()) << top.out;
  EXPECT_NE(std::string::npos, rows[1].find("/srv/big/d0/")) << top.out;
  EXPECT_NE(std::string::npos, rows[1].find("500")) << top.out;
}

TEST_P(BsetctlTest, AStageThatFailsIsAbortedAndLeavesNothing) {
  serve();
  std::string doc = file("s.json", file_set(uuid_of(4), "2026-11-05 01:00:00", 1));
  std::string pieces = "{\"path\":\"/a\",\"object\":\"\",\"size\":1,\"extended_attrs\":{}}\nnot json\n";
  Outcome r = bsetctl({"stage", doc, "--pieces", file("bad.jsonl", pieces), "--server", server_});
  EXPECT_EQ(1, r.status) << describe(r);
  EXPECT_NE(std::string::npos, r.err.find("bad.jsonl:2")) << r.err;
  EXPECT_NE(std::string::npos, r.err.find("aborted")) << r.err;
  // A piece catalogd refuses aborts it too.
  pieces = "{\"path\":\"/a\",\"object\":\"\",\"size\":\"big\",\"extended_attrs\":{}}\n";
  r = bsetctl({"stage", doc, "--pieces", file("refused.jsonl", pieces), "--rest", "--server", server_});
  EXPECT_EQ(1, r.status) << describe(r);
  EXPECT_NE(std::string::npos, r.err.find("aborted")) << r.err;
  EXPECT_TRUE(listed().empty());
  // The uuid is free again: the same set stages cleanly afterwards.
  r = bsetctl({"stage", doc, "--pieces", file("good.jsonl", "{\"path\":\"/b\",\"object\":\"\",\"size\":1}\n"),
               "--server", server_});
  EXPECT_EQ(0, r.status) << describe(r);
  EXPECT_EQ(1u, listed().size());
}

TEST_P(BsetctlTest, CtrlCWhileStagingAbortsTheStagedSet) {
  serve();
  std::string doc = file("s.json", file_set(uuid_of(3), "2026-11-05 01:00:00", 1));
  std::string pieces;
  for (int i = 0; i < 200000; ++i) pieces += "{\"path\":\"/p/" + std::to_string(i) + "\",\"size\":1}\n";
  std::string const lines_path = file("many.jsonl", pieces);
  Temp_Dir run_dir;
  pid_t pid = start_bsetctl({"stage", doc, "--pieces", lines_path, "--batch", "50", "--server", server_}, run_dir.path());
  // Interrupted once the first progress line shows that pieces are going out.
  auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (slurp(run_dir.path() + "/err").find("progress:") == std::string::npos &&
         std::chrono::steady_clock::now() < deadline)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  kill(pid, SIGINT);
  Outcome r = finish_bsetctl(pid, run_dir.path());
  EXPECT_EQ(1, r.status) << describe(r);
  EXPECT_NE(std::string::npos, r.err.find("interrupted after")) << r.err;
  EXPECT_NE(std::string::npos, r.err.find("staged set " + uuid_of(3) + " aborted")) << r.err;
  EXPECT_TRUE(listed().empty());
  Outcome show = bsetctl({"pieces", uuid_of(3), "--db", target_.db()});
  EXPECT_EQ(1, show.status) << describe(show);
}

TEST_P(BsetctlTest, RestorePoolNamesTheChosenCopyAndTheRule) {
  serve();
  File_Backup_Set set;
  set.uuid = uuid_of(5);
  set.host_uuid = kHost;
  set.backup_start_time = 1790000000;
  Backup_Set_Storage primary;
  primary.pool_uuid = kPool;
  primary.size = 10;
  primary.state = Backup_Set_State(std::vector<std::string>{"offline"});
  Backup_Set_Storage replica;
  replica.pool_uuid = kReplica;
  replica.size = 10;
  replica.state = Backup_Set_State(std::vector<std::string>{"online"});
  replica.upstream_pool_uuid = kPool;
  set.add_storage(primary);
  set.add_storage(replica);
  Outcome r = bsetctl({"commit", file("r.json", document_of(set)), "--server", server_});
  ASSERT_EQ(0, r.status) << describe(r);

  r = bsetctl({"restore-pool", uuid_of(5), "--server", server_});
  ASSERT_EQ(0, r.status) << describe(r);
  EXPECT_NE(std::string::npos, r.out.find("reads from pool " + std::string(kReplica))) << r.out;
  EXPECT_NE(std::string::npos, r.out.find("replica of " + std::string(kPool))) << r.out;
  EXPECT_NE(std::string::npos, r.out.find("last online replica")) << r.out;

  r = bsetctl({"restore-pool", uuid_of(5), "--json", "--db", target_.db()});
  ASSERT_EQ(0, r.status) << describe(r);
  Object const answer = parse(r.out).get_obj();
  EXPECT_EQ(kReplica, answer.at("pool_uuid").get_str());
  ASSERT_EQ(2u, answer.at("copies").get_array().size());
  EXPECT_FALSE(answer.at("copies").get_array()[0].get_obj().at("chosen").get_bool());
  EXPECT_TRUE(answer.at("copies").get_array()[1].get_obj().at("chosen").get_bool());

  r = bsetctl({"restore-pool", uuid_of(6), "--server", server_});
  EXPECT_EQ(1, r.status) << describe(r);
  EXPECT_NE(std::string::npos, r.err.find(uuid_of(6))) << r.err;
}

TEST_P(BsetctlTest, ServeRunsCatalogdAndStopsOnSigterm) {
  Catalogd_Process served(BSETCTL_PROGRAM, {"serve"});
  ASSERT_TRUE(served.start({"--db", target_.db(), "--listen", "127.0.0.1:0"})) << served.error();
  Outcome r = bsetctl({"commit", file("a.json", file_set(uuid_of(1), "2026-11-01 01:00:00")), "--server", served.url()});
  EXPECT_EQ(0, r.status) << describe(r);
  EXPECT_EQ(0, served.stop());
  r = bsetctl({"show", uuid_of(1), "--json", "--db", target_.db()});
  EXPECT_EQ(0, r.status) << describe(r);
}

// Every sample document commits as the record of its kind and reads back
// with its kind's keys as written.
TEST_P(BsetctlTest, EverySampleDocumentCommitsAndReadsBack) {
  serve();
  std::vector<std::string> names;
  if (DIR* d = opendir(EXAMPLES_DIR)) {
    while (dirent* e = readdir(d)) {
      std::string n = e->d_name;
      if (n.size() > 5 && n.compare(n.size() - 5, 5, ".json") == 0) names.push_back(n);
    }
    closedir(d);
  }
  std::sort(names.begin(), names.end());
  ASSERT_GE(names.size(), Backup_Set_Kinds::all().size());
  int n = 0;
  for (std::string const& name : names) {
    std::string const path = std::string(EXAMPLES_DIR) + "/" + name;
    Value doc = parse(slurp(path));
    ASSERT_EQ(json_spirit::obj_type, doc.type()) << name;
    Object const& o = doc.get_obj();
    Outcome r = bsetctl({"commit", path, ++n % 2 ? "--rpc" : "--rest", "--server", server_});
    ASSERT_EQ(0, r.status) << name << "\n" << describe(r);
    std::string const uuid = o.at("uuid").get_str();
    Outcome show = bsetctl({"show", uuid, "--json", "--server", server_});
    ASSERT_EQ(0, show.status) << name << "\n" << describe(show);
    Object const row = parse(show.out).get_obj();
    EXPECT_EQ(o.at("name"), row.at("name")) << name;
    Object const& app = row.at("application").get_obj();
    for (auto const& member : o) {
      if (Backup_Set_Kinds::common_key(member.first)) continue;
      auto it = app.find(member.first);
      ASSERT_NE(app.end(), it) << name << ": " << member.first;
      EXPECT_EQ(member.second, it->second) << name << ": " << member.first;
    }
    if (o.count("pieces")) {
      Outcome pieces = bsetctl({"pieces", uuid, "--json", "--db", target_.db()});
      ASSERT_EQ(0, pieces.status) << name << "\n" << describe(pieces);
      EXPECT_EQ(o.at("pieces").get_array().size(), lines(pieces.out).size()) << name;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Engines, BsetctlTest, ::testing::Values(Catalog_Target::SQLITE, Catalog_Target::POSTGRESQL),
                         [](::testing::TestParamInfo<Catalog_Target::Engine> const& info) {
                           return std::string(Catalog_Target::name(info.param));
                         });
