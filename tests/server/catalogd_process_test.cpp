#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <thread>

#include <httplib.h>

#include "platform/json/json_text.h"
#include "platform/sql/sql.h"
#include "tests/server/catalog_target.h"
#include "tests/server/catalogd_process.h"

using json_spirit::Value;

namespace {

char const kSet[] = "6f1c2a4e-8b0d-4c3e-9a51-0d7e3c2b1a90";
char const kPool[] = "aaaaaaaa-0000-0000-0000-000000000001";

// A set document with `pieces` pieces, written as text directly so that
// large ones are cheap to make.
std::string set_doc(std::string const& uuid, size_t pieces) {
  std::string doc = R"({"catalog_module": "file", "uuid": ")" + uuid +
                    R"(", "name": "big", "backup_start_time": "2024-03-01 02:00:00", "size": 1, "source_size": 1,
      "storage": {"pool_uuid": ")" + kPool + R"(", "size": 1, "state": ["online"]}, "pieces": [)";
  for (size_t i = 0; i < pieces; ++i) {
    if (i) doc += ",";
    doc += R"({"path": "/data/dir/file-)" + std::to_string(i) + R"(.bin", "object": "", "size": )" +
           std::to_string(i) + R"(, "extended_attrs": {}})";
  }
  return doc + "]}";
}

std::string rpc(std::string const& method, std::string const& params) {
  return R"({"jsonrpc": "2.0", "method": ")" + method + R"(", "params": )" + params + R"(, "id": 1})";
}

struct Program_Run {
  int status;
  std::string out;
  std::string err;
};

std::string slurp(std::string const& path) {
  std::ifstream in(path);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

// Runs catalogd to its end (for the options it refuses).
Program_Run run_catalogd(std::string const& dir, std::string const& args) {
  std::string out = dir + "/out.txt", err = dir + "/err.txt";
  std::string command = Catalogd_Process::program() + " " + args + " >" + out + " 2>" + err;
  int status = std::system(command.c_str());
  return Program_Run{WIFEXITED(status) ? WEXITSTATUS(status) : -1, slurp(out), slurp(err)};
}

class CatalogdProcessTest : public ::testing::TestWithParam<Catalog_Target::Engine> {
 protected:
  CatalogdProcessTest() : target_(GetParam()) {}

  void SetUp() override {
    std::string error;
    ASSERT_TRUE(target_.prepare(error)) << error;
  }

  bool start(std::vector<std::string> args = {}) {
    args.insert(args.begin(), {"--db", target_.db()});
    bool ok = process_.start(args);
    EXPECT_TRUE(ok) << process_.error();
    if (ok) client_ = std::make_unique<httplib::Client>("127.0.0.1", process_.port());
    return ok;
  }

  long long count(std::string const& sql_text) {
    auto c = target_.connect();
    Value v;
    EXPECT_TRUE(c->query_value(SQL(sql_text), v)) << c->last_error();
    return v.type() == json_spirit::int_type ? v.get_int64() : -1;
  }

  int exists(std::string const& uuid) {
    auto res = client_->Get(("/d2/r/v2/sets/exists?uuid=" + uuid).c_str());
    return res ? res->status : -1;
  }

  Catalog_Target target_;
  Catalogd_Process process_;
  std::unique_ptr<httplib::Client> client_;
};

}  // namespace

TEST_P(CatalogdProcessTest, PrintsItsPortLogsItsStartAndStopsCleanlyOnSigterm) {
  ASSERT_TRUE(start());
  EXPECT_GT(process_.port(), 0);
  EXPECT_EQ(404, exists(kSet));
  auto res = client_->Post("/rpc", rpc("backup_set.commit", set_doc(kSet, 3)), "application/json");
  ASSERT_TRUE(res);
  EXPECT_EQ(200, exists(kSet));
  EXPECT_EQ(0, process_.stop());
  std::string log = process_.stderr_text();
  EXPECT_NE(std::string::npos, log.find("catalogd serving HTTP on 127.0.0.1:" + std::to_string(process_.port())))
      << log;
  EXPECT_NE(std::string::npos, log.find(target_.engine() == Catalog_Target::SQLITE ? "SQLite" : "PostgreSQL")) << log;
  EXPECT_NE(std::string::npos, log.find("catalogd stopped.")) << log;
}

TEST_P(CatalogdProcessTest, SigtermWithAnIdleKeptAliveConnectionStopsWithinTheKeepAliveTimeout) {
  ASSERT_TRUE(start({"--keep-alive-timeout", "2"}));
  client_->set_keep_alive(true);
  EXPECT_EQ(404, exists(kSet));  // leaves the connection open and idle
  auto started = std::chrono::steady_clock::now();
  EXPECT_EQ(0, process_.stop());
  EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(5));
}

TEST_P(CatalogdProcessTest, SigtermStoresTheCommitsStillQueued) {
  ASSERT_TRUE(start({"--queue-commits", "--queue-delay-ms", "600000"}));
  auto res = client_->Post("/d2/r/v2/sets", set_doc(kSet, 5), "application/json");
  ASSERT_TRUE(res);
  EXPECT_EQ(200, res->status) << res->body;
  EXPECT_NE(std::string::npos, res->body.find("\"queued\":true")) << res->body;
  EXPECT_EQ(404, exists(kSet));
  EXPECT_EQ(0, process_.stop());
  EXPECT_EQ(1, count("SELECT count(*) FROM backup_set WHERE status='complete'"));
  EXPECT_EQ(5, count("SELECT count(*) FROM backup_piece"));
}

TEST_P(CatalogdProcessTest, AfterSigtermTheCatalogueFileAloneHoldsEverySet) {
  if (target_.engine() != Catalog_Target::SQLITE) GTEST_SKIP() << "a file catalogue only";
  ASSERT_TRUE(start());
  for (int i = 0; i < 3; ++i) {
    std::string uuid = std::string(kSet).substr(0, 35) + std::to_string(i);
    auto res = client_->Post("/rpc", rpc("backup_set.commit", set_doc(uuid, 50)), "application/json");
    ASSERT_TRUE(res);
    ASSERT_EQ(200, exists(uuid));
  }
  EXPECT_EQ(0, process_.stop());
  struct stat wal;
  if (::stat((target_.db() + "-wal").c_str(), &wal) == 0) {
    EXPECT_EQ(0, wal.st_size);
  }
  // A copy of the file alone, as a backup of the catalogue would take it.
  std::string const copy = target_.dir() + "/copy.db";
  {
    std::ifstream in(target_.db(), std::ios::binary);
    std::ofstream out(copy, std::ios::binary);
    out << in.rdbuf();
  }
  Catalogd_Process again;
  ASSERT_TRUE(again.start({"--db", copy})) << again.error();
  httplib::Client client("127.0.0.1", again.port());
  for (int i = 0; i < 3; ++i) {
    auto res = client.Get(("/d2/r/v2/sets/exists?uuid=" + std::string(kSet).substr(0, 35) + std::to_string(i)).c_str());
    ASSERT_TRUE(res);
    EXPECT_EQ(200, res->status) << i;
  }
  EXPECT_EQ(0, again.stop());
}

TEST_P(CatalogdProcessTest, AQueuedCommitThatFailsWhenStoredIsLogged) {
  ASSERT_TRUE(start({"--queue-commits", "--queue-delay-ms", "300"}));
  // Taking the pieces' table away makes the store fail after the answer.
  {
    auto c = target_.connect();
    ASSERT_TRUE(c->execute_script("DROP TABLE backup_piece")) << c->last_error();
  }
  auto res = client_->Post("/rpc", rpc("backup_set.commit", set_doc(kSet, 2)), "application/json");
  ASSERT_TRUE(res);
  EXPECT_NE(std::string::npos, res->body.find("\"queued\":true")) << res->body;
  std::string needle = std::string("Queued commit of backup set ") + kSet + " failed";
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (process_.stderr_text().find(needle) == std::string::npos && std::chrono::steady_clock::now() < deadline)
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_NE(std::string::npos, process_.stderr_text().find(needle)) << process_.stderr_text();
  EXPECT_EQ(404, exists(kSet));
  EXPECT_EQ(0, count("SELECT count(*) FROM backup_set"));
}

TEST_P(CatalogdProcessTest, KilledInTheMiddleOfACommitLeavesNoHalfWrittenSet) {
  ASSERT_TRUE(start());
  size_t const pieces = 300000;
  std::string body = rpc("backup_set.commit", set_doc(kSet, pieces));
  std::atomic<bool> done{false};
  std::thread sender([&] {
    httplib::Client c("127.0.0.1", process_.port());
    c.set_read_timeout(120);
    c.Post("/rpc", body, "application/json");
    done = true;
  });

  // Wait until the commit's transaction is under way, then kill.
  auto mid_transaction = [&] {
    if (target_.engine() == Catalog_Target::SQLITE) {
      // Pages of the open transaction spill into the write-ahead log.
      struct stat st {};
      return ::stat((target_.db() + "-wal").c_str(), &st) == 0 && st.st_size > 4 * 1024 * 1024;
    }
    auto c = target_.connect();
    Value v;
    c->query_value(SQL("SELECT count(*) FROM pg_stat_activity WHERE datname=current_database() AND "
                       "state='active' AND (query LIKE 'INSERT INTO backup_piece%' OR query LIKE 'COPY backup_piece%')"),
                   v);
    return v.type() == json_spirit::int_type && v.get_int64() > 0;
  };
  bool caught = false;
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (!done && std::chrono::steady_clock::now() < deadline) {
    if (mid_transaction()) {
      caught = true;
      break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  process_.kill();
  sender.join();
  ASSERT_TRUE(caught) << "the commit finished before it could be interrupted";

  // Nothing of the interrupted commit is there, and the catalogue still works.
  EXPECT_EQ(0, count("SELECT count(*) FROM backup_set"));
  EXPECT_EQ(0, count("SELECT count(*) FROM backup_piece"));
  EXPECT_EQ(0, count("SELECT count(*) FROM backup_set_storage"));
  ASSERT_TRUE(start());
  EXPECT_EQ(404, exists(kSet));
  auto res = client_->Post("/rpc", rpc("backup_set.commit", set_doc(kSet, 10)), "application/json");
  ASSERT_TRUE(res);
  EXPECT_EQ(200, exists(kSet));
  EXPECT_EQ(10, count("SELECT count(*) FROM backup_piece"));
}

TEST_P(CatalogdProcessTest, AnUnopenableCatalogueStopsTheStartWithAReason) {
  std::string db = target_.engine() == Catalog_Target::SQLITE ? "/nonexistent-dir/catalog.db"
                                                               : "postgresql://postgres@127.0.0.1:1/none";
  Program_Run r = run_catalogd(target_.dir(), "--port 0 --db " + db);
  EXPECT_EQ(1, r.status);
  EXPECT_NE(std::string::npos, r.err.find("cannot open the catalogue")) << r.err;
  EXPECT_EQ(std::string::npos, r.out.find("listening on")) << r.out;
}

TEST(CatalogdProgram, HelpAndBadOptions) {
  Temp_Dir dir;
  Program_Run help = run_catalogd(dir.path(), "--help");
  EXPECT_EQ(0, help.status);
  EXPECT_NE(std::string::npos, help.out.find("--queue-commits")) << help.out;

  Program_Run bad = run_catalogd(dir.path(), "--port eighty");
  EXPECT_NE(0, bad.status);
  EXPECT_NE(std::string::npos, bad.err.find("--port")) << bad.err;

  Program_Run unknown = run_catalogd(dir.path(), "--frobnicate");
  EXPECT_NE(0, unknown.status);
  EXPECT_NE(std::string::npos, unknown.err.find("--frobnicate")) << unknown.err;
}

INSTANTIATE_TEST_SUITE_P(Engines, CatalogdProcessTest,
                         ::testing::Values(Catalog_Target::SQLITE, Catalog_Target::POSTGRESQL),
                         [](::testing::TestParamInfo<Catalog_Target::Engine> const& info) {
                           return std::string(Catalog_Target::name(info.param));
                         });
