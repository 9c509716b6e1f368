// Retried batches of pieces are stored once, and staged sets that nobody
// finishes are aborted after their expiry, also across a server restart.
#include <gtest/gtest.h>

#include <netinet/in.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <ctime>
#include <mutex>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include <httplib.h>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/catalog_operator.h"
#include "backup/backup_set/common/restful_catalog_operator.h"
#include "platform/json/json_text.h"
#include "platform/json/object_lookup.h"
#include "platform/retry/retry_sleep.h"
#include "platform/rest/upstream_json_restful_client.h"
#include "platform/rpc/global_json_rpc_channel.h"
#include "platform/sql/sql.h"
#include "platform/sql/uuid_binary.h"
#include "server/catalog_server.h"
#include "server/catalog_store.h"
#include "tests/server/catalog_target.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

std::string uuid_of(int n) {
  char text[40];
  std::snprintf(text, sizeof text, "7a2b3c4d-1e2f-4a5b-8c6d-%012d", n);
  return text;
}

std::string staged_doc(std::string const& uuid, std::string const& pieces = "") {
  return R"({"catalog_module": "file", "uuid": ")" + uuid +
         R"(", "name": "staged", "backup_start_time": "2024-03-01 02:00:00", "size": 3)" +
         (pieces.empty() ? "" : R"(, "pieces": )" + pieces) + "}";
}

std::string rpc(std::string const& method, std::string const& params) {
  return R"({"jsonrpc": "2.0", "method": ")" + method + R"(", "params": )" + params + R"(, "id": 1})";
}

std::string add_piece_params(std::string const& uuid, std::string const& path, std::string const& batch = "") {
  return R"({"uuid": ")" + uuid + R"(", "pieces": [{"path": ")" + path + R"(", "size": 1}])" +
         (batch.empty() ? "" : R"(, "batch": )" + batch) + "}";
}

void no_sleep(unsigned) {}

class StagedSetsTest : public ::testing::TestWithParam<Catalog_Target::Engine> {
 protected:
  StagedSetsTest() : target_(GetParam()) {}

  void SetUp() override {
    std::string error;
    ASSERT_TRUE(target_.prepare(error)) << error;
    Server_Options options;
    options.staged_expiry = 0;
    start(options);
  }

  void TearDown() override {
    Global_JSON_RPC_Channel::close();
    Upstream_JSON_RESTful_Client::unconfigure();
    server_.reset();
  }

  void start(Server_Options options) {
    server_.reset();
    options.listen = "127.0.0.1";
    options.port = 0;
    options.db = target_.db();
    server_ = std::make_unique<Catalog_Server>(options);
    std::string error;
    ASSERT_TRUE(server_->start(error)) << error;
    client_ = std::make_unique<httplib::Client>("127.0.0.1", server_->port());
  }

  // The result object of a JSON-RPC call, or its error object.
  Value call(std::string const& body, httplib::Headers const& headers = {}) {
    auto res = client_->Post("/rpc", headers, body, "application/json");
    EXPECT_TRUE(res);
    if (!res) return Value();
    EXPECT_EQ(200, res->status) << res->body;
    Value v;
    EXPECT_TRUE(JSON_Parse(res->body, v)) << res->body;
    Object o = v.type() == json_spirit::obj_type ? v.get_obj() : Object();
    if (o.count("result")) return o["result"];
    return o.count("error") ? o["error"] : Value();
  }

  static bool succeeded(Value const& result) {
    return result.type() == json_spirit::obj_type && result.get_obj().count("result") &&
           result.get_obj().at("result") == Value(true);
  }
  static bool duplicate(Value const& result) {
    return result.type() == json_spirit::obj_type && result.get_obj().count("duplicate") &&
           result.get_obj().at("duplicate") == Value(true);
  }

  long long count(std::string const& text) {
    auto c = target_.connect();
    Value v;
    EXPECT_TRUE(c->query_value(SQL(text), v)) << c->last_error();
    return v.type() == json_spirit::int_type ? v.get_int64() : -1;
  }

  long long pieces_of(std::string const& uuid, std::string const& path = "") {
    std::basic_string<unsigned char> key;
    EXPECT_TRUE(UUID_Binary::parse(uuid, key));
    SQL sql(path.empty() ? "SELECT COUNT(*) FROM backup_piece WHERE set_uuid=:u"
                         : "SELECT COUNT(*) FROM backup_piece WHERE set_uuid=:u AND path=:p");
    sql.bind(":u", Binding_Value(key));
    if (!path.empty()) sql.bind(":p", Binding_Value(path));
    auto c = target_.connect();
    Value v;
    EXPECT_TRUE(c->query_value(sql, v)) << c->last_error();
    return v.type() == json_spirit::int_type ? v.get_int64() : -1;
  }

  std::string status_of(std::string const& uuid) {
    std::basic_string<unsigned char> key;
    EXPECT_TRUE(UUID_Binary::parse(uuid, key));
    SQL sql("SELECT status FROM backup_set WHERE uuid=:u");
    sql.bind(":u", Binding_Value(key));
    auto c = target_.connect();
    Value v;
    EXPECT_TRUE(c->query_value(sql, v)) << c->last_error();
    return v.type() == json_spirit::str_type ? v.get_str() : std::string();
  }

  // Moves a set's last write `seconds` into the past.
  void age(std::string const& uuid, long long seconds) {
    std::basic_string<unsigned char> key;
    ASSERT_TRUE(UUID_Binary::parse(uuid, key));
    SQL sql("UPDATE backup_set SET touched_time = touched_time - :s WHERE uuid=:u");
    sql.bind(":s", Binding_Value(seconds)).bind(":u", Binding_Value(key));
    auto c = target_.connect();
    ASSERT_TRUE(c->execute(sql)) << c->last_error();
  }

  void initialize(std::string const& uuid, std::string const& pieces = "") {
    ASSERT_TRUE(succeeded(call(rpc("backup_set.initialize", staged_doc(uuid, pieces)))));
  }

  Catalog_Target target_;
  std::unique_ptr<Catalog_Server> server_;
  std::unique_ptr<httplib::Client> client_;
};

TEST_P(StagedSetsTest, ABatchSentAgainUnderItsKeyIsStoredOnce) {
  std::string const u = uuid_of(1);
  initialize(u);
  httplib::Headers k1 = {{"Idempotency-Key", "agent-7.batch-1"}};
  Value first = call(rpc("backup_set.add_piece", add_piece_params(u, "/a")), k1);
  EXPECT_TRUE(succeeded(first));
  EXPECT_FALSE(duplicate(first));
  Value again = call(rpc("backup_set.add_piece", add_piece_params(u, "/a")), k1);
  EXPECT_TRUE(succeeded(again));
  EXPECT_TRUE(duplicate(again)) << JSON_Dump(again);
  EXPECT_EQ(1, pieces_of(u, "/a"));

  // Another key is another batch, even with the same pieces.
  EXPECT_FALSE(duplicate(call(rpc("backup_set.add_piece", add_piece_params(u, "/a")),
                              {{"Idempotency-Key", "agent-7.batch-2"}})));
  EXPECT_EQ(2, pieces_of(u, "/a"));
  // Without a key every batch is stored, as clients without keys expect.
  call(rpc("backup_set.add_piece", add_piece_params(u, "/b")));
  call(rpc("backup_set.add_piece", add_piece_params(u, "/b")));
  EXPECT_EQ(2, pieces_of(u, "/b"));
}

TEST_P(StagedSetsTest, TheBatchMemberNamesABatchAndWinsOverTheHeader) {
  std::string const u = uuid_of(2);
  initialize(u);
  EXPECT_FALSE(duplicate(call(rpc("backup_set.add_piece", add_piece_params(u, "/n", "1")))));
  EXPECT_TRUE(duplicate(call(rpc("backup_set.add_piece", add_piece_params(u, "/n", "1")))));
  EXPECT_FALSE(duplicate(call(rpc("backup_set.add_piece", add_piece_params(u, "/n", "2")))));
  EXPECT_FALSE(duplicate(call(rpc("backup_set.add_piece", add_piece_params(u, "/s", "\"x-1\"")),
                              {{"Idempotency-Key", "same"}})));
  // The header is not the key when the member is there.
  EXPECT_FALSE(duplicate(call(rpc("backup_set.add_piece", add_piece_params(u, "/s", "\"x-2\"")),
                              {{"Idempotency-Key", "same"}})));
  EXPECT_EQ(2, pieces_of(u, "/n"));
  EXPECT_EQ(2, pieces_of(u, "/s"));

  for (std::string bad : {"-1", "1.5", "\"\"", "true", "null", "[1]", "{}"}) {
    Value e = call(rpc("backup_set.add_piece", add_piece_params(u, "/bad", bad)));
    ASSERT_EQ(json_spirit::obj_type, e.type()) << bad;
    EXPECT_EQ(-32602, e.get_obj().at("code").get_int()) << bad;
    EXPECT_EQ("batch: not a non-empty string or a whole number", e.get_obj().at("message").get_str()) << bad;
  }
  Value e = call(rpc("backup_set.add_piece", add_piece_params(u, "/bad")), {{"Idempotency-Key", std::string(201, 'k')}});
  ASSERT_EQ(json_spirit::obj_type, e.type());
  EXPECT_EQ("Idempotency-Key: longer than 200 bytes", e.get_obj().at("message").get_str());
  EXPECT_EQ(0, pieces_of(u, "/bad"));
}

TEST_P(StagedSetsTest, ABatchRepeatedOverRestAndAfterCompleteIsAnsweredAsDone) {
  std::string const u = uuid_of(3);
  initialize(u);
  httplib::Headers key = {{"Idempotency-Key", "rest-batch"}};
  std::string body = add_piece_params(u, "/r");
  auto first = client_->Post("/d2/r/v2/sets?action=AddPiece", key, body, "application/json");
  ASSERT_TRUE(first);
  EXPECT_EQ(200, first->status) << first->body;
  EXPECT_TRUE(succeeded(call(rpc("backup_set.complete", staged_doc(u)))));
  // The retry of a batch whose answer was lost, arriving after the set was
  // completed, is the same batch: done, nothing added, no conflict.
  auto again = client_->Post("/d2/r/v2/sets?action=AddPiece", key, body, "application/json");
  ASSERT_TRUE(again);
  EXPECT_EQ(200, again->status) << again->body;
  EXPECT_EQ("{\"duplicate\":true,\"result\":true}", again->body);
  EXPECT_EQ(1, pieces_of(u, "/r"));
  // A new batch to a complete set is still refused.
  auto fresh = client_->Post("/d2/r/v2/sets?action=AddPiece", {{"Idempotency-Key", "later"}}, body, "application/json");
  ASSERT_TRUE(fresh);
  EXPECT_EQ(409, fresh->status) << fresh->body;
  EXPECT_EQ(1, pieces_of(u, "/r"));
}

TEST_P(StagedSetsTest, ARepeatedInitializeDoesNotAddItsPiecesTwice) {
  std::string const u = uuid_of(4);
  std::string pieces = R"([{"path": "/i1", "size": 1}, {"path": "/i2", "size": 2}])";
  initialize(u, pieces);
  initialize(u, pieces);
  EXPECT_EQ(2, pieces_of(u));
  EXPECT_TRUE(succeeded(call(rpc("backup_set.complete", staged_doc(u)))));
  EXPECT_EQ(2, pieces_of(u));
}

TEST_P(StagedSetsTest, BatchRecordsGoWithTheirSet) {
  std::string const u = uuid_of(5);
  initialize(u, R"([{"path": "/x", "size": 1}])");
  call(rpc("backup_set.add_piece", add_piece_params(u, "/y", "9")));
  EXPECT_EQ(2, count("SELECT COUNT(*) FROM backup_piece_batch"));
  Value aborted = call(rpc("backup_set.abort", R"({"uuid": ")" + u + R"("})"));
  EXPECT_TRUE(succeeded(aborted));
  EXPECT_EQ(0, count("SELECT COUNT(*) FROM backup_piece_batch"));
  // A commit replacing a staged set drops what the staged set had taken.
  initialize(u);
  call(rpc("backup_set.add_piece", add_piece_params(u, "/y", "9")));
  EXPECT_TRUE(succeeded(call(rpc("backup_set.commit", staged_doc(u)))));
  EXPECT_EQ(0, count("SELECT COUNT(*) FROM backup_piece_batch"));
  EXPECT_EQ(0, pieces_of(u));
}

TEST_P(StagedSetsTest, StagedSetsUntouchedPastTheirExpiryAreAborted) {
  std::string const old_set = uuid_of(10), recent = uuid_of(11), written = uuid_of(12), done = uuid_of(13);
  for (auto const& u : {old_set, recent, written, done}) initialize(u, R"([{"path": "/p", "size": 1}])");
  EXPECT_TRUE(succeeded(call(rpc("backup_set.complete", staged_doc(done)))));
  age(old_set, 7200);
  age(written, 7200);
  age(done, 7200);
  // A batch counts as a write: the set's expiry starts again.
  EXPECT_TRUE(succeeded(call(rpc("backup_set.add_piece", add_piece_params(written, "/q")))));

  std::vector<std::string> aborted;
  Catalog_Error error;
  long long now = static_cast<long long>(std::time(nullptr));
  ASSERT_TRUE(server_->store()->expire_staged(3600, now, aborted, error)) << error.message;
  ASSERT_EQ(1u, aborted.size());
  EXPECT_EQ(old_set, aborted[0]);
  EXPECT_EQ("", status_of(old_set));
  EXPECT_EQ(0, pieces_of(old_set));
  EXPECT_EQ("staged", status_of(recent));
  EXPECT_EQ("staged", status_of(written));
  EXPECT_EQ("complete", status_of(done));
  EXPECT_EQ(1, pieces_of(done));

  long long staged = -1, oldest = -1;
  ASSERT_TRUE(server_->store()->staged_sets(staged, oldest, error)) << error.message;
  EXPECT_EQ(2, staged);
  EXPECT_GE(oldest, now - 5);
  EXPECT_LE(oldest, now + 5);
}

TEST_P(StagedSetsTest, AStagedSetLeftByAStoppedServerIsResumedOrExpiredAtStart) {
  std::string const resumed = uuid_of(20), expired = uuid_of(21);
  initialize(resumed, R"([{"path": "/r1", "size": 1}])");
  initialize(expired, R"([{"path": "/e1", "size": 1}])");
  age(expired, 7200);
  age(resumed, 60);

  Server_Options options;
  options.staged_expiry = 3600;
  start(options);  // a new server over the same catalogue
  EXPECT_EQ("", status_of(expired));
  EXPECT_EQ(0, pieces_of(expired));
  ASSERT_EQ("staged", status_of(resumed));
  // Its agent carries on where it was.
  EXPECT_TRUE(succeeded(call(rpc("backup_set.add_piece", add_piece_params(resumed, "/r2", "2")))));
  EXPECT_TRUE(succeeded(call(rpc("backup_set.complete", staged_doc(resumed)))));
  EXPECT_EQ("complete", status_of(resumed));
  EXPECT_EQ(2, pieces_of(resumed));
}

TEST_P(StagedSetsTest, ALimitOnDatabaseConnectionsMakesRequestsWaitNotFail) {
  Server_Options options;
  options.staged_expiry = 0;
  options.db_connections = 1;
  start(options);
  std::atomic<int> ok{0};
  std::vector<std::thread> agents;
  for (int a = 0; a < 6; ++a)
    agents.emplace_back([&, a] {
      httplib::Client c("127.0.0.1", server_->port());
      for (int i = 0; i < 5; ++i) {
        std::string u = uuid_of(100 + a * 10 + i);
        auto res = c.Post("/rpc", rpc("backup_set.commit", staged_doc(u, R"([{"path": "/c", "size": 1}])")),
                          "application/json");
        auto seen = c.Get(("/d2/r/v2/sets/exists?uuid=" + u).c_str());
        if (res && res->status == 200 && res->body.find("\"result\":true") != std::string::npos && seen &&
            seen->status == 200)
          ++ok;
      }
    });
  for (auto& t : agents) t.join();
  EXPECT_EQ(30, ok.load());
  EXPECT_EQ(30, count("SELECT COUNT(*) FROM backup_set WHERE status='complete'"));
}

// A front that passes each request on to catalogd but, for the first
// add_piece it sees, drops the connection instead of answering: the request
// arrived and was stored, its answer was lost, and the client retries.
class Answer_Dropping_Proxy {
 public:
  explicit Answer_Dropping_Proxy(int backend) : backend_(backend) {
    fd_ = socket(AF_INET, SOCK_STREAM, 0);
    int one = 1;
    setsockopt(fd_, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    a.sin_port = 0;
    bind(fd_, reinterpret_cast<sockaddr*>(&a), sizeof a);
    listen(fd_, 16);
    socklen_t n = sizeof a;
    getsockname(fd_, reinterpret_cast<sockaddr*>(&a), &n);
    port_ = ntohs(a.sin_port);
    thread_ = std::thread([this] { serve(); });
  }
  ~Answer_Dropping_Proxy() {
    stop_ = true;
    shutdown(fd_, SHUT_RDWR);
    close(fd_);
    thread_.join();
  }
  int port() const { return port_; }
  int dropped() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return dropped_;
  }
  std::vector<std::string> keys() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return keys_;
  }

 private:
  void serve() {
    while (!stop_) {
      int c = accept(fd_, nullptr, nullptr);
      if (c < 0) return;
      handle(c);
      close(c);
    }
  }
  void handle(int c) {
    std::string in;
    char buf[65536];
    size_t head_end = std::string::npos;
    while ((head_end = in.find("\r\n\r\n")) == std::string::npos) {
      ssize_t n = recv(c, buf, sizeof buf, 0);
      if (n <= 0) return;
      in.append(buf, static_cast<size_t>(n));
    }
    std::string head = in.substr(0, head_end);
    size_t length = 0;
    httplib::Headers headers;
    size_t line_start = head.find("\r\n") + 2;
    std::string request_line = head.substr(0, head.find("\r\n"));
    while (line_start < head.size()) {
      size_t line_end = head.find("\r\n", line_start);
      if (line_end == std::string::npos) line_end = head.size();
      std::string line = head.substr(line_start, line_end - line_start);
      size_t colon = line.find(':');
      std::string name = line.substr(0, colon), value = line.substr(colon + 1);
      while (!value.empty() && value[0] == ' ') value.erase(0, 1);
      if (strcasecmp(name.c_str(), "Content-Length") == 0) length = std::stoul(value);
      if (strcasecmp(name.c_str(), "Idempotency-Key") == 0 || strcasecmp(name.c_str(), "Authorization") == 0)
        headers.emplace(name, value);
      line_start = line_end + 2;
    }
    std::string body = in.substr(head_end + 4);
    while (body.size() < length) {
      ssize_t n = recv(c, buf, sizeof buf, 0);
      if (n <= 0) return;
      body.append(buf, static_cast<size_t>(n));
    }
    std::string path = request_line.substr(request_line.find(' ') + 1);
    path = path.substr(0, path.find(' '));
    bool method_post = request_line.rfind("POST", 0) == 0;
    httplib::Client backend("127.0.0.1", backend_);
    auto res = method_post ? backend.Post(path.c_str(), headers, body, "application/json")
                           : backend.Get(path.c_str(), headers);
    if (!res) return;
    bool add_piece = body.find("backup_set.add_piece") != std::string::npos ||
                     path.find("action=AddPiece") != std::string::npos;
    if (add_piece) {
      std::lock_guard<std::mutex> lock(mutex_);
      auto k = headers.find("Idempotency-Key");
      keys_.push_back(k == headers.end() ? std::string() : k->second);
      if (dropped_ == 0) {
        ++dropped_;
        return;  // stored, but the client hears nothing
      }
    }
    std::string out = "HTTP/1.1 " + std::to_string(res->status) +
                      " X\r\nContent-Type: application/json\r\nConnection: close\r\nContent-Length: " +
                      std::to_string(res->body.size()) + "\r\n\r\n" + res->body;
    send(c, out.data(), out.size(), MSG_NOSIGNAL);
  }

  int backend_;
  int fd_ = -1;
  int port_ = 0;
  std::atomic<bool> stop_{false};
  mutable std::mutex mutex_;
  int dropped_ = 0;
  std::vector<std::string> keys_;
  std::thread thread_;
};

TEST_P(StagedSetsTest, TheOperatorsRetryOfABatchWhoseAnswerWasLostIsStoredOnce) {
  Retry_Sleep_Function before = set_retry_sleep_function(&no_sleep);
  for (bool rest : {false, true}) {
    SCOPED_TRACE(rest ? "REST" : "JSON-RPC");
    Answer_Dropping_Proxy proxy(server_->port());
    std::string front = "http://127.0.0.1:" + std::to_string(proxy.port()) + "/rpc";
    ASSERT_TRUE(Global_JSON_RPC_Channel::open(front.c_str()));
    std::unique_ptr<Catalog_Operator> op;
    if (rest)
      op = std::make_unique<RESTful_Catalog_Operator>("127.0.0.1", static_cast<unsigned short>(proxy.port()), false,
                                                      "", 3, -1);
    else
      op = std::make_unique<Catalog_Operator>(3, -1);

    std::string const u = uuid_of(rest ? 31 : 30);
    Backup_Set set("file");
    set.uuid = u;
    set.name = "retried";
    ASSERT_TRUE(op->initialize(set));
    Object p;
    p["path"] = "/lost-answer";
    p["size"] = 5;
    ASSERT_TRUE(op->add_piece(u, {Value(p)}));
    p["path"] = "/second";
    ASSERT_TRUE(op->add_piece(u, {Value(p)}));
    ASSERT_TRUE(op->complete(set));

    EXPECT_EQ(1, proxy.dropped());
    // The first batch came twice under one key; the second once, under another.
    std::vector<std::string> keys = proxy.keys();
    ASSERT_EQ(3u, keys.size());
    EXPECT_FALSE(keys[0].empty());
    EXPECT_EQ(keys[0], keys[1]);
    EXPECT_NE(keys[0], keys[2]);
    EXPECT_EQ(1, pieces_of(u, "/lost-answer"));
    EXPECT_EQ(1, pieces_of(u, "/second"));
    EXPECT_EQ("complete", status_of(u));
    Global_JSON_RPC_Channel::close();
  }
  set_retry_sleep_function(before);
}

INSTANTIATE_TEST_SUITE_P(Engines, StagedSetsTest,
                         ::testing::Values(Catalog_Target::SQLITE, Catalog_Target::POSTGRESQL),
                         [](::testing::TestParamInfo<Catalog_Target::Engine> const& info) {
                           return std::string(Catalog_Target::name(info.param));
                         });

}  // namespace
