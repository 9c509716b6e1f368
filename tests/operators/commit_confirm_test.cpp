#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <vector>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/catalog_operator.h"
#include "platform/rest/json_restful_client.h"
#include "tests/net_support/raw_tcp_server.h"
#include "tests/net_support/virtual_clock.h"
#include "tests/operators/operator_fixture.h"
#include "tests/support/log_capture.h"

using json_spirit::Object;
using json_spirit::Value;

namespace {

class CommitConfirm : public Operator_Test {};

// A catalogue that queues commits: JSON-RPC commits and REST commits are
// answered as queued, and "/d2/r/v2/sets/exists" says 404 until it has
// been asked `polls_until_present` times.
class Queueing_Server {
 public:
  explicit Queueing_Server(int polls_until_present, std::string uuid = "6f1c1c2e-8f9e-4a55-9a41-0c1d2e3f4a5b")
      : uuid_(uuid),
        polls_until_present_(polls_until_present),
        server([this](httplib::Request const& req, httplib::Response& res) { handle(req, res); }) {}

  int polls() const { return polls_; }
  std::vector<std::string> poll_targets() const {
    std::vector<std::string> out;
    for (auto const& r : server.received())
      if (r.path == "/d2/r/v2/sets/exists") out.push_back(r.target);
    return out;
  }

 private:
  void handle(httplib::Request const& req, httplib::Response& res) {
    std::string queued = R"({"result":true,"queued":true,"uuid":")" + uuid_ + R"("})";
    if (req.path == "/rpc") {
      rpc_answers::result(req, res, queued);
    } else if (req.path == "/d2/r/v2/sets" && req.method == "POST") {
      Fake_HTTP_Server::reply_json(res, queued);
    } else if (req.path == "/d2/r/v2/sets/exists") {
      int n = ++polls_;
      if (n >= polls_until_present_)
        Fake_HTTP_Server::reply_json(res, "{}");
      else
        Fake_HTTP_Server::reply_json(res, R"({"error":"not yet"})", 404);
    } else {
      res.status = 400;
    }
  }

  std::string uuid_;
  int polls_until_present_;
  std::atomic<int> polls_{0};

 public:
  Fake_HTTP_Server server;
};

}  // namespace

TEST_F(CommitConfirm, ResultWithoutQueuedIsConfirmedWithoutARequest) {
  Queueing_Server catalog(1);
  configure_upstream(catalog.server.port());
  Virtual_Clock clock;
  Log_Capture capture;
  Catalog_Operator op(-1, -1);
  EXPECT_TRUE(op.commit_confirm(parse(R"({"result":true})"), nullptr));
  EXPECT_EQ(0u, catalog.server.count());
  EXPECT_EQ(0u, clock.count());
  EXPECT_EQ(0u, capture.size());
}

TEST_F(CommitConfirm, QueuedWithEmptyUuidIsConfirmedWithoutARequest) {
  Queueing_Server catalog(1);
  configure_upstream(catalog.server.port());
  Virtual_Clock clock;
  Catalog_Operator op(-1, -1);
  EXPECT_TRUE(op.commit_confirm(parse(R"({"result":true,"queued":true,"uuid":""})"), nullptr));
  EXPECT_TRUE(op.commit_confirm(parse(R"({"result":true,"queued":true})"), nullptr));
  EXPECT_EQ(0u, catalog.server.count());
  EXPECT_EQ(0u, clock.count());
}

TEST_F(CommitConfirm, QueuedThatIsNotABooleanCountsAsNotQueued) {
  Queueing_Server catalog(1);
  configure_upstream(catalog.server.port());
  Virtual_Clock clock;
  Catalog_Operator op(-1, -1);
  EXPECT_TRUE(op.commit_confirm(parse(R"({"result":true,"queued":"yes","uuid":"x"})"), nullptr));
  EXPECT_TRUE(op.commit_confirm(parse(R"({"result":true,"queued":false,"uuid":"x"})"), nullptr));
  EXPECT_EQ(0u, catalog.server.count());
}

TEST_F(CommitConfirm, RejectedResultIsFalseWithTheResultLineAndNoRequest) {
  Queueing_Server catalog(1);
  configure_upstream(catalog.server.port());
  Virtual_Clock clock;
  Log_Capture capture;
  Catalog_Operator op(-1, -1);
  EXPECT_FALSE(op.commit_confirm(parse(R"({"result":false,"queued":true,"uuid":"x"})"), nullptr));
  EXPECT_TRUE(capture.has(LM_ERROR, R"(Failed to commit backup set, result: '{"queued":true,"result":false,"uuid":"x"}'.)"))
      << capture.dump();
  EXPECT_EQ(0u, catalog.server.count());
  EXPECT_EQ(0u, clock.count());
}

TEST_F(CommitConfirm, ResultThatIsNotAnObjectIsRejected) {
  Log_Capture capture;
  Catalog_Operator op(-1, -1);
  EXPECT_FALSE(op.commit_confirm(parse("true"), nullptr));
  EXPECT_TRUE(capture.has(LM_ERROR, "Invalid commit backup set result 'true'.\n"));
}

TEST_F(CommitConfirm, UuidIsSentPercentEncodedInTheQuery) {
  Queueing_Server catalog(1, "a b/c");
  configure_upstream(catalog.server.port());
  Virtual_Clock clock;
  Catalog_Operator op(-1, -1);
  EXPECT_TRUE(op.commit_confirm(parse(R"({"result":true,"queued":true,"uuid":"a b/c"})"), nullptr));
  auto got = catalog.server.last();
  EXPECT_EQ("GET", got.method);
  EXPECT_EQ("/d2/r/v2/sets/exists?uuid=a+b%2fc", got.target);
  EXPECT_EQ("uuid=a+b%2fc", got.query);
}

TEST_F(CommitConfirm, SleepsOneSecondBeforeTheFirstPoll) {
  Queueing_Server catalog(1);
  configure_upstream(catalog.server.port());
  int polls_when_slept = -1;
  Virtual_Clock clock;
  clock.on_sleep = [&](size_t n, unsigned) {
    if (n == 1) polls_when_slept = catalog.polls();
  };
  Catalog_Operator op(-1, -1);
  EXPECT_TRUE(op.commit_confirm(parse(R"({"result":true,"queued":true,"uuid":"u"})"), nullptr));
  EXPECT_EQ((std::vector<unsigned>{1}), clock.sleeps());
  EXPECT_EQ(0, polls_when_slept);
  EXPECT_EQ(1, catalog.polls());
}

TEST_F(CommitConfirm, TimeoutBoundsThePollsWhateverTheRetriesSay) {
  Queueing_Server catalog(100);
  configure_upstream(catalog.server.port());
  Virtual_Clock clock;
  Log_Capture capture;
  Catalog_Operator op(5, 2);
  EXPECT_FALSE(op.commit_confirm(parse(R"({"result":true,"queued":true,"uuid":"u"})"), nullptr));
  // Polls 1 and 2 may be followed (2 < n fails), poll 3 is the last.
  EXPECT_EQ(3, catalog.polls());
  EXPECT_EQ((std::vector<unsigned>{1, 1, 2}), clock.sleeps());
  EXPECT_EQ(2u, capture.count(LM_INFO, "Retry("));
  EXPECT_TRUE(capture.has(LM_INFO, "Retry(1) "));
  EXPECT_TRUE(capture.has(LM_INFO, "Retry(2) "));
  // No error line of its own, and the client's own errors are off.
  EXPECT_EQ(0u, capture.count(LM_ERROR, "")) << capture.dump();
}

TEST_F(CommitConfirm, RetriesBoundTheSecondsSleptWhenTheyComeFirst) {
  Queueing_Server catalog(100);
  configure_upstream(catalog.server.port());
  Virtual_Clock clock;
  Log_Capture capture;
  Catalog_Operator op(3, 10);
  EXPECT_FALSE(op.commit_confirm(parse(R"({"result":true,"queued":true,"uuid":"u"})"), nullptr));
  // After polls 1 and 2 the delays slept are 1 and 3; 3 >= 3 stops at poll 3.
  EXPECT_EQ(3, catalog.polls());
  EXPECT_EQ((std::vector<unsigned>{1, 1, 2}), clock.sleeps());
}

TEST_F(CommitConfirm, UnlimitedPollingContinuesUntilTheSetExists) {
  Queueing_Server catalog(7);
  configure_upstream(catalog.server.port());
  Virtual_Clock clock;
  Log_Capture capture;
  Catalog_Operator op(-1, -1);
  EXPECT_TRUE(op.commit_confirm(parse(R"({"result":true,"queued":true,"uuid":"u"})"), nullptr));
  EXPECT_EQ(7, catalog.polls());
  EXPECT_EQ((std::vector<unsigned>{1, 1, 2, 4, 8, 16, 32}), clock.sleeps());
  EXPECT_EQ(6u, capture.count(LM_INFO, "Retry("));
  EXPECT_EQ(0u, capture.count(LM_ERROR, ""));
}

TEST_F(CommitConfirm, JSONRPCCommitWithConfirmPollsUntilTheQueuedSetExists) {
  Queueing_Server catalog(4);
  open_channel(catalog.server.url("/rpc"));
  configure_upstream(catalog.server.port());
  Virtual_Clock clock;
  Log_Capture capture;
  Catalog_Operator op(-1, -1);
  Backup_Set set("file");
  fill_set(set);
  EXPECT_TRUE(op.commit(set, true));
  EXPECT_EQ(4, catalog.polls());
  auto targets = catalog.poll_targets();
  ASSERT_EQ(4u, targets.size());
  EXPECT_EQ("/d2/r/v2/sets/exists?uuid=6f1c1c2e-8f9e-4a55-9a41-0c1d2e3f4a5b", targets[0]);
  EXPECT_EQ((std::vector<unsigned>{1, 1, 2, 4}), clock.sleeps());
  EXPECT_TRUE(op.commit(Value(Object()), true));
}

TEST_F(CommitConfirm, JSONRPCCommitWithConfirmFailsWhenTheSetNeverAppears) {
  Queueing_Server catalog(1000);
  open_channel(catalog.server.url("/rpc"));
  configure_upstream(catalog.server.port());
  Virtual_Clock clock;
  Log_Capture capture;
  Catalog_Operator op(-1, 4);  // polls 1 to 4 may be followed: five in all
  Backup_Set set("file");
  fill_set(set);
  EXPECT_FALSE(op.commit(set, true));
  EXPECT_EQ(5, catalog.polls());
  EXPECT_EQ(4u, capture.count(LM_INFO, "Retry("));
  EXPECT_EQ(0u, capture.count(LM_ERROR, "")) << capture.dump();
}

TEST_F(CommitConfirm, LocalClientTakesTheOperatorsNumbersInTheirOrdinaryRoles) {
  // The upstream server is down: each poll's client retries on its own by
  // `retries`, and the poll itself stops by its inverted limits.
  configure_upstream(unused_loopback_port());
  Virtual_Clock clock;
  Log_Capture capture;
  Catalog_Operator op(4, 3);
  EXPECT_FALSE(op.commit_confirm(parse(R"({"result":true,"queued":true,"uuid":"u"})"), nullptr));
  // The client (4 retries, 3 seconds) waits 1, 2 on each poll; the poll (3
  // polls may be followed, 4 seconds) waits 1, 2, 4 between polls.
  EXPECT_EQ((std::vector<unsigned>{1, 1, 2, 1, 1, 2, 2, 1, 2, 4, 1, 2}), clock.sleeps());
  // Only the poll's own retry lines are logged; the client is silent.
  EXPECT_EQ(3u, capture.count(LM_INFO, "Retry(")) << capture.dump();
  EXPECT_TRUE(capture.has(LM_INFO, "catalog_operator.cpp:"));
  EXPECT_EQ(0u, capture.count(LM_ERROR, ""));
}

TEST_F(CommitConfirm, WithoutUpstreamConfigurationPollingFails) {
  Virtual_Clock clock;
  Log_Capture capture;
  Catalog_Operator op(-1, 2);
  EXPECT_FALSE(op.commit_confirm(parse(R"({"result":true,"queued":true,"uuid":"u"})"), nullptr));
  EXPECT_EQ((std::vector<unsigned>{1, 1, 2}), clock.sleeps());
}

TEST_F(CommitConfirm, GivenClientIsUsedAndLeftWithErrorLoggingOn) {
  Queueing_Server catalog(3);
  Virtual_Clock clock;
  Log_Capture capture;
  JSON_RESTful_Client client("127.0.0.1", static_cast<unsigned short>(catalog.server.port()), false, true);
  client.logging_error(false);
  Catalog_Operator op(-1, -1);
  EXPECT_TRUE(op.commit_confirm(parse(R"({"result":true,"queued":true,"uuid":"u"})"), &client));
  EXPECT_EQ(3, catalog.polls());
  EXPECT_TRUE(client.logging_error());
  EXPECT_EQ(0u, capture.count(LM_ERROR, "")) << capture.dump();
}

TEST_F(CommitConfirm, GivenClientHasLoggingOffDuringThePollAndOnAfterAFailure) {
  Queueing_Server catalog(1000);
  Virtual_Clock clock;
  Log_Capture capture;
  JSON_RESTful_Client client("127.0.0.1", static_cast<unsigned short>(catalog.server.port()), false, true);
  std::vector<bool> logging_seen;
  clock.on_sleep = [&](size_t, unsigned) { logging_seen.push_back(client.logging_error()); };
  Catalog_Operator op(-1, 3);
  EXPECT_FALSE(op.commit_confirm(parse(R"({"result":true,"queued":true,"uuid":"u"})"), &client));
  // The first wait is before the client is chosen; the others are polls.
  ASSERT_EQ(4u, logging_seen.size());
  EXPECT_FALSE(logging_seen[1]);
  EXPECT_FALSE(logging_seen[3]);
  EXPECT_TRUE(client.logging_error());
  EXPECT_EQ(0u, capture.count(LM_ERROR, ""));
}
