#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/catalog_operator.h"
#include "tests/net_support/raw_tcp_server.h"
#include "tests/net_support/virtual_clock.h"
#include "tests/operators/operator_fixture.h"
#include "tests/support/log_capture.h"

using json_spirit::Object;
using json_spirit::Value;

namespace {

class CatalogOperatorRetry : public Operator_Test {};

// Takes each request and hangs up: an attempt that gets no answer, counted
// by the connections made (a dropped connection is never reused).
struct Unanswering_Server {
  Raw_TCP_Server server{[](int fd, Raw_TCP_Server&) { Raw_TCP_Server::read_request(fd); }};
};

std::string ok_answer(std::string const& request) {
  std::string body = R"({"jsonrpc":"2.0","result":{"result":true},"id":)" + rpc_answers::id_of(request) + "}";
  return "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: " + std::to_string(body.size()) +
         "\r\nConnection: close\r\n\r\n" + body;
}

}  // namespace

TEST_F(CatalogOperatorRetry, RetriesZeroMakesOneAttemptThenTheFailureLineNamingZero) {
  Unanswering_Server down;
  open_channel(down.server.url("/rpc"));
  Virtual_Clock clock;
  Log_Capture capture;
  Catalog_Operator op(0, -1);
  EXPECT_FALSE(op.initialize(Value(Object())));
  EXPECT_EQ(1, down.server.connections());
  EXPECT_EQ(0u, clock.count());
  EXPECT_EQ(0u, capture.count(LM_INFO, "Retry("));
  EXPECT_EQ(1u, capture.count(LM_ERROR, "JSON-RPC 'backup_set.initialize' failed after 0 retries.\n"))
      << capture.dump();
}

TEST_F(CatalogOperatorRetry, RetriesTwoMakesThreeAttemptsWithTwoNumberedRetryLines) {
  Unanswering_Server down;
  open_channel(down.server.url("/rpc"));
  Virtual_Clock clock;
  Log_Capture capture;
  Catalog_Operator op(2, -1);
  EXPECT_FALSE(op.complete(Value(Object())));
  EXPECT_EQ(3, down.server.connections());
  EXPECT_EQ((std::vector<unsigned>{1, 2}), clock.sleeps());
  auto records = capture.records();
  std::vector<std::string> retry_lines;
  for (auto const& r : records)
    if (r.priority == LM_INFO) retry_lines.push_back(r.text);
  ASSERT_EQ(2u, retry_lines.size());
  EXPECT_EQ(0u, retry_lines[0].find("Retry(1) "));
  EXPECT_NE(std::string::npos, retry_lines[0].find("catalog_operator.cpp:"));
  EXPECT_NE(std::string::npos, retry_lines[0].find(" at 1 second(s) later.\n"));
  EXPECT_EQ(0u, retry_lines[1].find("Retry(2) "));
  EXPECT_NE(std::string::npos, retry_lines[1].find(" at 2 second(s) later.\n"));
  EXPECT_EQ(1u, capture.count(LM_ERROR, "JSON-RPC 'backup_set.complete' failed after 2 retries.\n"));
}

TEST_F(CatalogOperatorRetry, UnlimitedRetriesContinueUntilTheDelaysSleptReachTheTimeout) {
  Unanswering_Server down;
  open_channel(down.server.url("/rpc"));
  Virtual_Clock clock;
  Log_Capture capture;
  Catalog_Operator op(-1, 10);
  EXPECT_FALSE(op.add_piece("u", {}));
  // Slept 0, 1, 3, 7 (< 10: go on), then 15 (>= 10: stop): five attempts.
  EXPECT_EQ(5, down.server.connections());
  EXPECT_EQ((std::vector<unsigned>{1, 2, 4, 8}), clock.sleeps());
  // The line names the configured retries, not the attempts made.
  EXPECT_TRUE(capture.has(LM_ERROR, "JSON-RPC 'backup_set.add_piece' failed after -1 retries.\n"));
}

TEST_F(CatalogOperatorRetry, TimeoutBoundIsReachedExactly) {
  Unanswering_Server down;
  open_channel(down.server.url("/rpc"));
  Virtual_Clock clock;
  Log_Capture capture;
  Catalog_Operator op(-1, 7);
  EXPECT_FALSE(op.add_piece("u", {}));
  // 1 + 2 + 4 = 7 >= 7 stops after the fourth attempt.
  EXPECT_EQ(4, down.server.connections());
  EXPECT_EQ(7u, clock.total());
}

TEST_F(CatalogOperatorRetry, CountLimitWinsOverALargerTimeLimit) {
  Unanswering_Server down;
  open_channel(down.server.url("/rpc"));
  Virtual_Clock clock;
  Log_Capture capture;
  Catalog_Operator op(3, 1000);
  EXPECT_FALSE(op.add_piece("u", {}));
  EXPECT_EQ(4, down.server.connections());
  EXPECT_EQ((std::vector<unsigned>{1, 2, 4}), clock.sleeps());
}

TEST_F(CatalogOperatorRetry, ErrorAnswerIsNeverRetriedEvenWithUnlimitedRetries) {
  Fake_HTTP_Server server([](auto const& req, auto& res) { rpc_answers::error(req, res, -32000, "store failed"); });
  open_channel(server.url("/rpc"));
  Virtual_Clock clock;
  Log_Capture capture;
  Catalog_Operator op(-1, -1);
  Backup_Set set("file");
  EXPECT_FALSE(op.commit(set, false));
  EXPECT_FALSE(op.complete(Value(Object())));
  EXPECT_EQ(2u, server.count());
  EXPECT_EQ(0u, clock.count());
  EXPECT_EQ(0u, capture.count(LM_INFO, "Retry("));
}

TEST_F(CatalogOperatorRetry, SetOverloadGivesUpWithTheCommitCatalogLine) {
  Unanswering_Server down;
  open_channel(down.server.url("/rpc"));
  Virtual_Clock clock;
  Log_Capture capture;
  Catalog_Operator op(1, -1);
  Backup_Set set("file");
  fill_set(set);
  EXPECT_FALSE(op.update(set));
  EXPECT_EQ(2, down.server.connections());
  EXPECT_EQ(1u, capture.count(LM_INFO, "Retry(1) "));
  EXPECT_EQ(1u, capture.count(LM_ERROR, "Failed to commit catalog to backup server\n"));
}

TEST_F(CatalogOperatorRetry, NoChannelCountsAsAFailedAttempt) {
  Virtual_Clock clock;
  Log_Capture capture;
  Catalog_Operator op(2, -1);
  EXPECT_FALSE(op.initialize(Value(Object())));
  EXPECT_EQ(2u, clock.count());
  EXPECT_TRUE(capture.has(LM_ERROR, "JSON-RPC 'backup_set.initialize' failed after 2 retries.\n"));
}

TEST_F(CatalogOperatorRetry, ChannelOpenedWhileWaitingIsUsedOnTheNextAttempt) {
  Fake_HTTP_Server server([](auto const& req, auto& res) { rpc_answers::result(req, res, R"({"result":true})"); });
  Virtual_Clock clock;
  clock.on_sleep = [&](size_t n, unsigned) {
    if (n == 2) open_channel(server.url("/rpc"));
  };
  Log_Capture capture;
  Catalog_Operator op(5, -1);
  Backup_Set set("file");
  fill_set(set);
  EXPECT_TRUE(op.commit(set, false));
  EXPECT_EQ(2u, clock.count());
  EXPECT_EQ(1u, server.count());
  EXPECT_EQ(0u, capture.count(LM_ERROR, ""));
}

TEST_F(CatalogOperatorRetry, ServerThatStartsListeningWhileWaitingIsReached) {
  int port = unused_loopback_port();
  std::unique_ptr<Fake_HTTP_Server> late;
  open_channel("http://127.0.0.1:" + std::to_string(port) + "/rpc");
  Virtual_Clock clock;
  clock.on_sleep = [&](size_t n, unsigned) {
    if (n == 3)
      late.reset(new Fake_HTTP_Server(
          [](auto const& req, auto& res) { rpc_answers::result(req, res, R"({"result":true})"); }, port));
  };
  Log_Capture capture;
  Catalog_Operator op(-1, -1);
  EXPECT_TRUE(op.initialize(Value(Object())));
  ASSERT_TRUE(late && late->ok());
  EXPECT_EQ((std::vector<unsigned>{1, 2, 4}), clock.sleeps());
  EXPECT_EQ(3u, capture.count(LM_INFO, "Retry("));
}

TEST_F(CatalogOperatorRetry, ServerKilledMidRequestIsRetriedAndTheNextAttemptAnswers) {
  std::atomic<int> seen{0};
  Raw_TCP_Server server([&](int fd, Raw_TCP_Server&) {
    std::string request = Raw_TCP_Server::read_request(fd);
    if (seen++ == 0) return;  // gone before answering
    Raw_TCP_Server::write_all(fd, ok_answer(request.substr(request.find("\r\n\r\n") + 4)));
  });
  open_channel(server.url("/rpc"));
  Virtual_Clock clock;
  Log_Capture capture;
  Catalog_Operator op(3, -1);
  Backup_Set set("file");
  fill_set(set);
  EXPECT_TRUE(op.complete(set));
  EXPECT_EQ(2, seen.load());
  EXPECT_EQ((std::vector<unsigned>{1}), clock.sleeps());
}

TEST_F(CatalogOperatorRetry, ServerThatNeverAnswersTimesOutAndIsRetried) {
  Raw_TCP_Server server([](int fd, Raw_TCP_Server& self) { self.hold(fd); });
  open_channel(server.url("/rpc"));  // 500 ms cap on each attempt
  Virtual_Clock clock;
  Log_Capture capture;
  Catalog_Operator op(1, -1);
  auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(op.initialize(Value(Object())));
  auto took = std::chrono::steady_clock::now() - start;
  EXPECT_GE(took, std::chrono::milliseconds(900));
  EXPECT_LT(took, std::chrono::seconds(4));
  EXPECT_EQ(2, server.connections());
  EXPECT_TRUE(capture.has(LM_ERROR, "failed after 1 retries"));
}

TEST_F(CatalogOperatorRetry, BodyThatIsNotJSONIsRetriedAsNoAnswer) {
  Fake_HTTP_Server server([](auto const&, auto& res) { res.set_content("<html>gateway</html>", "text/html"); });
  open_channel(server.url("/rpc"));
  Virtual_Clock clock;
  Log_Capture capture;
  Catalog_Operator op(2, -1);
  EXPECT_FALSE(op.initialize(Value(Object())));
  EXPECT_EQ(3u, server.count());
  EXPECT_EQ(2u, clock.count());
}

TEST_F(CatalogOperatorRetry, AnswerCutShortIsRetriedAsNoAnswer) {
  Raw_TCP_Server server([](int fd, Raw_TCP_Server&) {
    Raw_TCP_Server::read_request(fd);
    Raw_TCP_Server::write_all(fd, "HTTP/1.1 200 OK\r\nContent-Length: 500\r\n\r\n{\"jsonrpc\":\"2.0\",\"result\":");
  });
  open_channel(server.url("/rpc"));
  Virtual_Clock clock;
  Log_Capture capture;
  Catalog_Operator op(1, -1);
  Backup_Set set("file");
  EXPECT_FALSE(op.commit(set, false));
  EXPECT_EQ(2, server.connections());
  EXPECT_TRUE(capture.has(LM_ERROR, "Failed to commit catalog to backup server\n"));
}

TEST_F(CatalogOperatorRetry, DelaysAreHeldAtSixtySeconds) {
  Virtual_Clock clock;
  Log_Capture capture;
  Catalog_Operator op(9, -1);
  EXPECT_FALSE(op.initialize(Value(Object())));
  EXPECT_EQ((std::vector<unsigned>{1, 2, 4, 8, 16, 32, 60, 60, 60}), clock.sleeps());
}
