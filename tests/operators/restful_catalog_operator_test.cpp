#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <map>
#include <string>
#include <vector>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/restful_catalog_operator.h"
#include "platform/json/json_text.h"
#include "platform/rest/http_session.h"
#include "platform/rest/json_restful_client.h"
#include "tests/net_support/raw_tcp_server.h"
#include "tests/net_support/virtual_clock.h"
#include "tests/operators/operator_fixture.h"
#include "tests/support/log_capture.h"

using json_spirit::Object;
using json_spirit::Value;

namespace {

class RESTfulCatalogOperator : public Operator_Test {};

// Exposes the operator's own limits.
class Testable_REST_Operator : public RESTful_Catalog_Operator {
 public:
  using RESTful_Catalog_Operator::RESTful_Catalog_Operator;
  int own_retries() const { return retries; }
  int own_retry_timeout() const { return retry_timeout; }
};

// A REST catalogue that answers every request with `body` and `status`.
struct REST_Server {
  explicit REST_Server(std::string body, int status = 200)
      : body_(std::move(body)), status_(status), server([this](httplib::Request const&, httplib::Response& res) {
          Fake_HTTP_Server::reply_json(res, body_, status_);
        }) {}
  unsigned short port() const { return static_cast<unsigned short>(server.port()); }
  std::string body_;
  int status_;
  Fake_HTTP_Server server;
};

}  // namespace

TEST_F(RESTfulCatalogOperator, EmptyHostLogsTheHostMessageAndLeavesNoClient) {
  Log_Capture capture;
  RESTful_Catalog_Operator a("", 80, false, "Bearer x", 3, 10);
  RESTful_Catalog_Operator b(nullptr, 80, false, nullptr, 3, 10);
  EXPECT_FALSE(static_cast<bool>(a));
  EXPECT_FALSE(static_cast<bool>(b));
  EXPECT_EQ(nullptr, a.client());
  EXPECT_EQ(2u, capture.count(LM_EMERGENCY, "Unexpected error in "));
  EXPECT_EQ(2u, capture.count(LM_EMERGENCY, ", host is NULL or \"\":\n"));
}

TEST_F(RESTfulCatalogOperator, OperatorWithoutClientFailsRequests) {
  Log_Capture capture;
  RESTful_Catalog_Operator op("", 80, false, nullptr, 0, -1);
  Backup_Set set("file");
  EXPECT_FALSE(op.commit(set, false));
  EXPECT_FALSE(op.initialize(set));
}

TEST_F(RESTfulCatalogOperator, HeaderIsSentAsAuthorization) {
  REST_Server rest(R"({"result":true})");
  RESTful_Catalog_Operator op("127.0.0.1", rest.port(), false, "Bearer s3cret", 0, -1);
  ASSERT_TRUE(static_cast<bool>(op));
  Backup_Set set("file");
  fill_set(set);
  EXPECT_TRUE(op.commit(set, false));
  EXPECT_EQ("Bearer s3cret", rest.server.last().header("Authorization"));
}

TEST_F(RESTfulCatalogOperator, EmptyOrNullHeaderSetsNoHeader) {
  REST_Server rest(R"({"result":true})");
  RESTful_Catalog_Operator a("127.0.0.1", rest.port(), false, "", 0, -1);
  RESTful_Catalog_Operator b("127.0.0.1", rest.port(), false, nullptr, 0, -1);
  Backup_Set set("file");
  fill_set(set);
  EXPECT_TRUE(a.commit(set, false));
  EXPECT_FALSE(rest.server.last().has_header("Authorization"));
  EXPECT_TRUE(b.commit(set, false));
  EXPECT_FALSE(rest.server.last().has_header("Authorization"));
}

TEST_F(RESTfulCatalogOperator, ConstructorNumbersGoToTheClientAndTheOperatorKeepsMinusOne) {
  Testable_REST_Operator op("127.0.0.1", 1, false, nullptr, 3, 25);
  ASSERT_TRUE(op.client());
  EXPECT_EQ(3, op.client()->retries());
  EXPECT_EQ(25, op.client()->retry_timeout());
  EXPECT_EQ(-1, op.own_retries());
  EXPECT_EQ(-1, op.own_retry_timeout());
  op.init(2, 9);
  EXPECT_EQ(2, op.own_retries());
  EXPECT_EQ(3, op.client()->retries());
  EXPECT_EQ(25, op.client()->retry_timeout());
}

TEST_F(RESTfulCatalogOperator, CommitOfASetPostsItsDocumentToTheSets) {
  REST_Server rest(R"({"result":true})");
  RESTful_Catalog_Operator op("127.0.0.1", rest.port(), false, nullptr, 0, -1);
  Backup_Set set("file");
  fill_set(set);
  EXPECT_TRUE(op.commit(set, false));
  auto got = rest.server.last();
  EXPECT_EQ("POST", got.method);
  EXPECT_EQ("/d2/r/v2/sets", got.target);
  EXPECT_EQ(document_of(set), got.body);
  EXPECT_EQ("application/json", got.header("Content-Type"));
}

TEST_F(RESTfulCatalogOperator, CommitOfADocumentPostsIt) {
  REST_Server rest(R"({"result":true})");
  RESTful_Catalog_Operator op("127.0.0.1", rest.port(), false, nullptr, 0, -1);
  Value doc = parse(R"({"uuid":"u","pieces":[]})");
  EXPECT_TRUE(op.commit(doc, false));
  EXPECT_EQ("POST", rest.server.last().method);
  EXPECT_EQ("/d2/r/v2/sets", rest.server.last().target);
  EXPECT_EQ(doc, parse(rest.server.last().body));
}

TEST_F(RESTfulCatalogOperator, CommitOfASetThatFailsLogsUuidAndAnswer) {
  REST_Server rest(R"({"error":"storages[1].pool_uuid: not a UUID"})", 400);
  RESTful_Catalog_Operator op("127.0.0.1", rest.port(), false, nullptr, 0, -1);
  Log_Capture capture;
  Backup_Set set("file");
  fill_set(set, "u-77");
  EXPECT_FALSE(op.commit(set, false));
  EXPECT_TRUE(capture.has(
      LM_ERROR, R"(Failed to commit backup set, uuid u-77, msg {"error":"storages[1].pool_uuid: not a UUID"}.)"))
      << capture.dump();
}

TEST_F(RESTfulCatalogOperator, CommitOfASetWithNoAnswerLogsANullMessage) {
  RESTful_Catalog_Operator op("127.0.0.1", static_cast<unsigned short>(unused_loopback_port()), false, nullptr, 0, -1);
  Log_Capture capture;
  Backup_Set set("file");
  fill_set(set, "u-78");
  EXPECT_FALSE(op.commit(set, true));
  EXPECT_TRUE(capture.has(LM_ERROR, "Failed to commit backup set, uuid u-78, msg null.\n")) << capture.dump();
}

TEST_F(RESTfulCatalogOperator, CommitOfADocumentThatFailsLogsTheResponseState) {
  REST_Server rest(R"({"error":"disk full"})", 500);
  RESTful_Catalog_Operator op("127.0.0.1", rest.port(), false, nullptr, 0, -1);
  Log_Capture capture;
  EXPECT_FALSE(op.commit(parse(R"({"uuid":"u"})"), false));
  EXPECT_TRUE(capture.has(LM_ERROR, R"(Failed to commit backup set, response state 500, msg {"error":"disk full"}.)"))
      << capture.dump();
}

TEST_F(RESTfulCatalogOperator, CommittedButRejectedResultFails) {
  REST_Server rest(R"({"result":false})");
  RESTful_Catalog_Operator op("127.0.0.1", rest.port(), false, nullptr, 0, -1);
  Log_Capture capture;
  Backup_Set set("file");
  EXPECT_FALSE(op.commit(set, false));
  EXPECT_FALSE(op.commit(parse("{}"), true));
  EXPECT_TRUE(capture.has(LM_ERROR, "Failed to commit backup set, result: '{\"result\":false}'.\n"));
  rest.body_ = "[1]";
  EXPECT_FALSE(op.commit(set, false));
  EXPECT_TRUE(capture.has(LM_ERROR, "Invalid commit backup set result '[1]'.\n"));
}

TEST_F(RESTfulCatalogOperator, UpdateOfASetPutsItWithTheUuidInTheQuery) {
  REST_Server rest(R"({"result":false})");
  RESTful_Catalog_Operator op("127.0.0.1", rest.port(), false, nullptr, 0, -1);
  Backup_Set set("file");
  fill_set(set, "a b/c");
  // The answer is not checked.
  EXPECT_TRUE(op.update(set));
  auto got = rest.server.last();
  EXPECT_EQ("PUT", got.method);
  EXPECT_EQ("/d2/r/v2/sets?uuid=a+b%2fc", got.target);
  EXPECT_EQ(document_of(set), got.body);
  rest.status_ = 404;
  Log_Capture capture;
  EXPECT_FALSE(op.update(set));
}

TEST_F(RESTfulCatalogOperator, UpdateOfADocumentGoesOutAsJSONRPC) {
  REST_Server rest(R"({"result":true})");
  Fake_HTTP_Server rpc([](auto const& req, auto& res) { rpc_answers::result(req, res, R"({"result":false})"); });
  open_channel(rpc.url("/rpc"));
  RESTful_Catalog_Operator op("127.0.0.1", rest.port(), false, nullptr, 0, -1);
  Value doc = parse(R"({"uuid":"u","name":"n"})");
  EXPECT_TRUE(op.update(doc));
  EXPECT_EQ(0u, rest.server.count());
  ASSERT_EQ(1u, rpc.count());
  EXPECT_EQ("backup_set.update", rpc_answers::method_of(rpc.last().body));
  EXPECT_EQ(doc, rpc_answers::params_of(rpc.last().body));
}

TEST_F(RESTfulCatalogOperator, StagedStepsPostToTheirActions) {
  REST_Server rest(R"({"result":true})");
  RESTful_Catalog_Operator op("127.0.0.1", rest.port(), false, nullptr, 0, -1);
  Backup_Set set("file");
  fill_set(set);
  Value doc = parse(R"({"uuid":"u"})");
  EXPECT_TRUE(op.initialize(set));
  EXPECT_TRUE(op.initialize(doc));
  EXPECT_TRUE(op.add_piece("u", {parse(R"({"path":"/p"})")}));
  EXPECT_TRUE(op.complete(set));
  EXPECT_TRUE(op.complete(doc));
  auto got = rest.server.received();
  ASSERT_EQ(5u, got.size());
  for (auto const& r : got) EXPECT_EQ("POST", r.method);
  EXPECT_EQ("/d2/r/v2/sets?action=Initialize", got[0].target);
  EXPECT_EQ(document_of(set), got[0].body);
  EXPECT_EQ("/d2/r/v2/sets?action=Initialize", got[1].target);
  EXPECT_EQ(R"({"uuid":"u"})", got[1].body);
  EXPECT_EQ("/d2/r/v2/sets?action=AddPiece", got[2].target);
  EXPECT_EQ(R"({"pieces":[{"path":"/p"}],"uuid":"u"})", got[2].body);
  EXPECT_EQ("/d2/r/v2/sets?action=Complete", got[3].target);
  EXPECT_EQ(document_of(set), got[3].body);
  EXPECT_EQ("/d2/r/v2/sets?action=Complete", got[4].target);
}

TEST_F(RESTfulCatalogOperator, InitializeAnsweredWithResultFalseStillSucceeds) {
  REST_Server rest(R"({"result":false})");
  RESTful_Catalog_Operator op("127.0.0.1", rest.port(), false, nullptr, 0, -1);
  Log_Capture capture;
  Backup_Set set("file");
  EXPECT_TRUE(op.initialize(set));
  EXPECT_TRUE(op.complete(set));
  EXPECT_TRUE(op.add_piece("u", {}));
  EXPECT_EQ(0u, capture.count(LM_ERROR, ""));
}

TEST_F(RESTfulCatalogOperator, StagedStepsFailWhenTheServerRefuses) {
  REST_Server rest(R"({"error":"unknown set"})", 404);
  RESTful_Catalog_Operator op("127.0.0.1", rest.port(), false, nullptr, 0, -1);
  Log_Capture capture;
  Backup_Set set("file");
  EXPECT_FALSE(op.initialize(set));
  EXPECT_FALSE(op.add_piece("u", {}));
  EXPECT_FALSE(op.complete(parse("{}")));
  // The client reports them; the operator adds nothing.
  EXPECT_EQ(3u, capture.count(LM_ERROR, "answered 404"));
  EXPECT_EQ(3u, capture.count(LM_ERROR, ""));
}

TEST_F(RESTfulCatalogOperator, AbortTakesThePiecesFromTheArrayAnswer) {
  REST_Server rest(R"([{"path":"/a"},{"path":"/b"}])");
  RESTful_Catalog_Operator op("127.0.0.1", rest.port(), false, nullptr, 0, -1);
  std::vector<Value> pieces;
  EXPECT_TRUE(op.abort("u-5", pieces));
  ASSERT_EQ(2u, pieces.size());
  EXPECT_EQ(R"({"path":"/b"})", JSON_Dump(pieces[1]));
  EXPECT_EQ("/d2/r/v2/sets?action=Abort", rest.server.last().target);
  EXPECT_EQ(R"({"uuid":"u-5"})", rest.server.last().body);
}

TEST_F(RESTfulCatalogOperator, AbortAnsweredWithAnObjectReturnsFalseAndLeavesTheVector) {
  REST_Server rest(R"({"result":true,"pieces":[1]})");
  RESTful_Catalog_Operator op("127.0.0.1", rest.port(), false, nullptr, 0, -1);
  Log_Capture capture;
  std::vector<Value> pieces{Value("kept")};
  EXPECT_FALSE(op.abort("u", pieces));
  ASSERT_EQ(1u, pieces.size());
  EXPECT_EQ("kept", pieces[0].get_str());
  EXPECT_EQ(0u, capture.count(LM_ERROR, ""));
}

TEST_F(RESTfulCatalogOperator, GetViewBuildsTheQueryByValueType) {
  REST_Server rest(R"({"rows":[]})");
  RESTful_Catalog_Operator op("127.0.0.1", rest.port(), false, nullptr, 0, -1);
  std::map<std::string, Value> param{{"a", Value(1.5)}, {"b", Value()}, {"c", Value(true)}, {"d", Value("x y")}};
  Value result;
  EXPECT_TRUE(op.get_view("m", "v", param, result));
  EXPECT_EQ("GET", rest.server.last().method);
  EXPECT_EQ("/d2/r/v2/sets/select?module=m&view=v&b=&c=1&d=x+y", rest.server.last().target);
  EXPECT_EQ(R"({"rows":[]})", JSON_Dump(result));
}

TEST_F(RESTfulCatalogOperator, GetViewWritesIntegersSecureStringsAndEncodedKeys) {
  REST_Server rest(R"({"rows":[]})");
  RESTful_Catalog_Operator op("127.0.0.1", rest.port(), false, nullptr, 0, -1);
  std::map<std::string, Value> param{{"n", Value(-42LL)},
                                     {"big", Value(static_cast<unsigned long long>(ULLONG_MAX))},
                                     {"f", Value(false)},
                                     {"my key", Value(json_spirit::Secure_String("p&w/d"))},
                                     {"o", Value(Object())},
                                     {"l", Value(json_spirit::Array{Value(1)})}};
  Value result;
  EXPECT_TRUE(op.get_view("backup set", "a/b", param, result));
  EXPECT_EQ("/d2/r/v2/sets/select?module=backup+set&view=a%2fb&big=-1&f=0&my+key=p%26w%2fd&n=-42",
            rest.server.last().target);
}

TEST_F(RESTfulCatalogOperator, GetViewAnswerIsNotChecked) {
  REST_Server rest(R"({"result":false})");
  RESTful_Catalog_Operator op("127.0.0.1", rest.port(), false, nullptr, 0, -1);
  Log_Capture capture;
  Value result;
  EXPECT_TRUE(op.get_view("m", "v", {}, result));
  EXPECT_EQ(R"({"result":false})", JSON_Dump(result));
  EXPECT_EQ(0u, capture.size());
}

TEST_F(RESTfulCatalogOperator, GetViewFailureLeavesTheResult) {
  REST_Server rest(R"({"error":"unknown view"})", 400);
  RESTful_Catalog_Operator op("127.0.0.1", rest.port(), false, nullptr, 0, -1);
  Log_Capture capture;
  Value result = "unchanged";
  EXPECT_FALSE(op.get_view("m", "v", {}, result));
  EXPECT_EQ("unchanged", result.get_str());
}

TEST_F(RESTfulCatalogOperator, GetViewChecksModuleBeforeView) {
  REST_Server rest(R"({"rows":[]})");
  RESTful_Catalog_Operator op("127.0.0.1", rest.port(), false, nullptr, 0, -1);
  Log_Capture capture;
  Value result;
  EXPECT_FALSE(op.get_view("", nullptr, {}, result));
  EXPECT_TRUE(capture.has(LM_EMERGENCY, ", module is NULL or \"\":\n"));
  EXPECT_FALSE(op.get_view("m", "", {}, result));
  EXPECT_TRUE(capture.has(LM_EMERGENCY, ", view is NULL or \"\":\n"));
  EXPECT_EQ(1u, capture.count(LM_EMERGENCY, "module is NULL"));
  EXPECT_EQ(0u, rest.server.count());
}

TEST_F(RESTfulCatalogOperator, GetFirstViewGivesTheFirstRowOrLogsLackOfRows) {
  REST_Server rest(R"({"rows":[{"n":1},{"n":2}]})");
  RESTful_Catalog_Operator op("127.0.0.1", rest.port(), false, nullptr, 0, -1);
  Value row;
  EXPECT_TRUE(op.get_first_view("m", "v", {}, row));
  EXPECT_EQ(R"({"n":1})", JSON_Dump(row));
  rest.body_ = R"({"sets":[]})";
  Log_Capture capture;
  EXPECT_FALSE(op.get_first_view("m", "v", {}, row));
  EXPECT_TRUE(capture.has(LM_ERROR, "Invalid catalog data, lack of rows\n"));
  EXPECT_EQ(R"({"n":1})", JSON_Dump(row));
}

TEST_F(RESTfulCatalogOperator, CommitWithConfirmPollsWithTheOperatorsOwnUnlimitedNumbers) {
  std::atomic<int> polls{0};
  Fake_HTTP_Server server([&](httplib::Request const& req, httplib::Response& res) {
    if (req.path == "/d2/r/v2/sets") {
      Fake_HTTP_Server::reply_json(res, R"({"result":true,"queued":true,"uuid":"q-1"})");
    } else if (++polls >= 6) {
      Fake_HTTP_Server::reply_json(res, "{}");
    } else {
      Fake_HTTP_Server::reply_json(res, "{}", 404);
    }
  });
  Virtual_Clock clock;
  Log_Capture capture;
  Testable_REST_Operator op("127.0.0.1", static_cast<unsigned short>(server.port()), false, nullptr, 3, 3);
  Backup_Set set("file");
  fill_set(set, "q-1");
  // Limits of 3 would have stopped the poll long before its sixth try.
  EXPECT_TRUE(op.commit(set, true));
  EXPECT_EQ(6, polls.load());
  EXPECT_EQ((std::vector<unsigned>{1, 1, 2, 4, 8, 16}), clock.sleeps());
  EXPECT_EQ("/d2/r/v2/sets/exists?uuid=q-1", server.last().target);
  // The operator's client was used for the poll and has its logging back.
  EXPECT_TRUE(op.client()->logging_error());
  EXPECT_EQ(0u, capture.count(LM_ERROR, "")) << capture.dump();

  // Once init sets them, they bound the poll.
  polls = -100;
  op.init(-1, 2);
  EXPECT_FALSE(op.commit(parse(R"({"uuid":"q-1"})"), true));
  EXPECT_EQ(-97, polls.load());
}

TEST_F(RESTfulCatalogOperator, ClientRetriesEachRequestByTheConstructorNumbers) {
  std::atomic<int> seen{0};
  Raw_TCP_Server server([&](int fd, Raw_TCP_Server&) {
    Raw_TCP_Server::read_request(fd);
    if (++seen < 3) return;  // hang up on the first two
    Raw_TCP_Server::write_all(fd,
                              "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: 15\r\n"
                              "Connection: close\r\n\r\n{\"result\":true}");
  });
  Virtual_Clock clock;
  Log_Capture capture;
  RESTful_Catalog_Operator op("127.0.0.1", static_cast<unsigned short>(server.port()), false, nullptr, 3, -1);
  Backup_Set set("file");
  fill_set(set);
  EXPECT_TRUE(op.commit(set, false));
  EXPECT_EQ(3, seen.load());
  EXPECT_EQ((std::vector<unsigned>{1, 2}), clock.sleeps());
  EXPECT_EQ(2u, capture.count(LM_INFO, "Retry("));
}

TEST_F(RESTfulCatalogOperator, UpstreamOperatorGoesToTheConfiguredServer) {
  REST_Server rest(R"({"result":true})");
  configure_upstream(rest.server.port());
  RESTful_Catalog_Operator op(2, 30);
  ASSERT_TRUE(static_cast<bool>(op));
  EXPECT_EQ(2, op.client()->retries());
  EXPECT_EQ(30, op.client()->retry_timeout());
  Backup_Set set("file");
  fill_set(set);
  EXPECT_TRUE(op.commit(set, false));
  EXPECT_EQ("/d2/r/v2/sets", rest.server.last().target);
}

TEST_F(RESTfulCatalogOperator, UpstreamOperatorWithoutConfigurationFails) {
  Log_Capture capture;
  RESTful_Catalog_Operator op(0, -1);
  EXPECT_TRUE(static_cast<bool>(op));
  Backup_Set set("file");
  EXPECT_FALSE(op.initialize(set));
  EXPECT_TRUE(capture.has(LM_ERROR, "no upstream backup server configured"));
}

TEST_F(RESTfulCatalogOperator, NetworkOperatorGoesToItsTarget) {
  REST_Server rest(R"({"result":true})");
  HTTP_Client_Options options;
  options.authorization = "Bearer session";
  ACE_Intrusive_Auto_Ptr<HTTP_Session> session(new HTTP_Session(options));
  RESTful_Catalog_Operator op("127.0.0.1:" + std::to_string(rest.server.port()), session, true, 1, 5);
  EXPECT_EQ(1, op.client()->retries());
  EXPECT_EQ(5, op.client()->retry_timeout());
  Backup_Set set("file");
  fill_set(set);
  EXPECT_TRUE(op.commit(set, false));
  EXPECT_EQ("Bearer session", rest.server.last().header("Authorization"));
}

TEST_F(RESTfulCatalogOperator, NetworkOperatorWithTwoTargetsUsesTheOneThatAnswers) {
  REST_Server rest(R"([])");
  ACE_Intrusive_Auto_Ptr<HTTP_Session> session(new HTTP_Session());
  RESTful_Catalog_Operator op("127.0.0.1:" + std::to_string(unused_loopback_port()), rest.server.url(""), session,
                              true, 0, -1);
  EXPECT_EQ(0, op.client()->retries());
  std::vector<Value> pieces{Value(1)};
  EXPECT_TRUE(op.abort("u", pieces));
  EXPECT_TRUE(pieces.empty());
  EXPECT_EQ(1u, rest.server.count());
}
