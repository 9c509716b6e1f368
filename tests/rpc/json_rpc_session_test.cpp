#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "platform/json/json_text.h"
#include "platform/rpc/global_json_rpc_channel.h"
#include "platform/rpc/json_rpc_session.h"
#include "tests/net_support/fake_http_server.h"
#include "tests/net_support/raw_tcp_server.h"
#include "tests/net_support/rpc_answers.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

// A document written straight into the generator, in its own key order.
class Ordered_Doc : public JSON_Generator {
 public:
  bool generate(yajl_gen_t* g) override {
    yajl_gen_map_open(g);
    yajl_gen_string(g, reinterpret_cast<unsigned char const*>("zeta"), 4);
    yajl_gen_integer(g, 1);
    yajl_gen_string(g, reinterpret_cast<unsigned char const*>("alpha"), 5);
    yajl_gen_bool(g, 1);
    yajl_gen_map_close(g);
    return true;
  }
};

class Failing_Doc : public JSON_Generator {
 public:
  bool generate(yajl_gen_t*) override { return false; }
};

class Unbalanced_Doc : public JSON_Generator {
 public:
  bool generate(yajl_gen_t* g) override {
    yajl_gen_map_open(g);
    return true;
  }
};

Global_JSON_RPC_Channel::Ptr channel_to(std::string const& url, long request_timeout_ms = 0) {
  Global_JSON_RPC_Channel::Options options;
  options.request_timeout_ms = request_timeout_ms;
  options.connect_timeout_ms = 2000;
  EXPECT_TRUE(Global_JSON_RPC_Channel::open(url.c_str(), options));
  Global_JSON_RPC_Channel::Ptr channel = Global_JSON_RPC_Channel::instance();
  Global_JSON_RPC_Channel::close();
  return channel;
}

Value object_param(char const* key, Value v) {
  Object o;
  o[key] = v;
  return Value(o);
}

}  // namespace

TEST(JSONRPCSession, MakeRequestRefusesEmptyMethod) {
  JSON_RPC_Session session((Global_JSON_RPC_Channel::Ptr()));
  JSON_RPC_Object_Ptr req;
  EXPECT_FALSE(session.make_rpc_request(nullptr, Value(), req));
  EXPECT_FALSE(session.make_rpc_request("", Value(), req));
  EXPECT_EQ(nullptr, req.get());
}

TEST(JSONRPCSession, EachRequestGetsAFreshId) {
  JSON_RPC_Session session((Global_JSON_RPC_Channel::Ptr()));
  JSON_RPC_Object_Ptr a, b;
  ASSERT_TRUE(session.make_rpc_request("m", Value(), a));
  ASSERT_TRUE(session.make_rpc_request("m", Value(), b));
  EXPECT_NE(a->id(), b->id());
  EXPECT_EQ("m", a->method());
}

TEST(JSONRPCSession, WithoutChannelThereIsNoAnswer) {
  JSON_RPC_Session session((Global_JSON_RPC_Channel::Ptr()));
  JSON_RPC_Object_Ptr req, resp;
  ASSERT_TRUE(session.make_rpc_request("m", Value(), req));
  EXPECT_FALSE(session.request(req, resp, 600));
  EXPECT_EQ(nullptr, resp.get());
}

TEST(JSONRPCSession, PostsTheJSONRPCEnvelopeAndReadsTheResult) {
  Fake_HTTP_Server server([](auto const& req, auto& res) { rpc_answers::result(req, res, R"({"result":true})"); });
  auto channel = channel_to(server.url("/rpc"));
  JSON_RPC_Session session(channel);
  JSON_RPC_Object_Ptr req, resp;
  ASSERT_TRUE(session.make_rpc_request("backup_set.abort", object_param("uuid", "u-1"), req));
  ASSERT_TRUE(session.request(req, resp, 600));
  ASSERT_TRUE(resp.get());
  EXPECT_EQ(3, resp->kind());
  EXPECT_EQ(R"({"result":true})", JSON_Dump(resp->result()));

  auto got = server.last();
  EXPECT_EQ("POST", got.method);
  EXPECT_EQ("/rpc", got.path);
  EXPECT_EQ("application/json", got.header("Content-Type"));
  EXPECT_EQ(R"({"jsonrpc":"2.0","method":"backup_set.abort","params":{"uuid":"u-1"},"id":)" +
                std::to_string(req->id()) + "}",
            got.body);
}

TEST(JSONRPCSession, GeneratorFormStreamsTheDocumentInItsOwnKeyOrder) {
  Fake_HTTP_Server server([](auto const& req, auto& res) { rpc_answers::result(req, res, "true"); });
  auto channel = channel_to(server.url("/rpc"));
  JSON_RPC_Session session(channel);
  Ordered_Doc doc;
  JSON_RPC_Object_Ptr resp;
  ASSERT_TRUE(session.request("backup_set.commit", &doc, resp, 600));
  EXPECT_EQ(3, resp->kind());
  std::string body = server.last().body;
  EXPECT_NE(std::string::npos,
            body.find(R"({"jsonrpc":"2.0","method":"backup_set.commit","params":{"zeta":1,"alpha":true},"id":)"))
      << body;
  EXPECT_EQ(resp->id(), std::stoll(rpc_answers::id_of(body)));
}

TEST(JSONRPCSession, GeneratorFormWithoutParamsSendsNone) {
  Fake_HTTP_Server server([](auto const& req, auto& res) { rpc_answers::result(req, res, "true"); });
  auto channel = channel_to(server.url("/rpc"));
  JSON_RPC_Session session(channel);
  JSON_RPC_Object_Ptr resp;
  ASSERT_TRUE(session.request("ping", nullptr, resp, 600));
  EXPECT_EQ(std::string::npos, server.last().body.find("params"));
}

TEST(JSONRPCSession, FailingGeneratorSendsNothing) {
  Fake_HTTP_Server server([](auto const& req, auto& res) { rpc_answers::result(req, res, "true"); });
  auto channel = channel_to(server.url("/rpc"));
  JSON_RPC_Session session(channel);
  Failing_Doc bad;
  Unbalanced_Doc open_map;
  JSON_RPC_Object_Ptr resp;
  EXPECT_FALSE(session.request("m", &bad, resp, 600));
  EXPECT_FALSE(session.request("m", &open_map, resp, 600));
  EXPECT_EQ(0u, server.count());
}

TEST(JSONRPCSession, ErrorAnswerArrivesAsKindFour) {
  Fake_HTTP_Server server([](auto const& req, auto& res) { rpc_answers::error(req, res, -32602, "bad uuid"); });
  auto channel = channel_to(server.url("/rpc"));
  JSON_RPC_Session session(channel);
  JSON_RPC_Object_Ptr req, resp;
  session.make_rpc_request("m", Value(), req);
  ASSERT_TRUE(session.request(req, resp, 600));
  EXPECT_EQ(4, resp->kind());
  EXPECT_EQ(-32602, resp->error_code());
  EXPECT_EQ("bad uuid", resp->error_message());
}

TEST(JSONRPCSession, ErrorAnswerWithHTTPErrorStatusIsStillAnAnswer) {
  Fake_HTTP_Server server([](auto const& req, auto& res) {
    rpc_answers::error(req, res, -32000, "store failed");
    res.status = 500;
  });
  auto channel = channel_to(server.url("/rpc"));
  JSON_RPC_Session session(channel);
  JSON_RPC_Object_Ptr req, resp;
  session.make_rpc_request("m", Value(), req);
  ASSERT_TRUE(session.request(req, resp, 600));
  EXPECT_EQ(4, resp->kind());
}

TEST(JSONRPCSession, HTTPErrorWithoutAnswerIsNoAnswer) {
  Fake_HTTP_Server server([](auto const&, auto& res) {
    res.status = 503;
    res.set_content("{}", "application/json");
  });
  auto channel = channel_to(server.url("/rpc"));
  JSON_RPC_Session session(channel);
  JSON_RPC_Object_Ptr req, resp;
  session.make_rpc_request("m", Value(), req);
  EXPECT_FALSE(session.request(req, resp, 600));
  EXPECT_EQ(nullptr, resp.get());
  EXPECT_NE(std::string::npos, session.last_error().find("503"));
}

TEST(JSONRPCSession, BodyThatIsNotJSONIsNoAnswer) {
  Fake_HTTP_Server server([](auto const&, auto& res) { res.set_content("<html>proxy</html>", "text/html"); });
  auto channel = channel_to(server.url("/rpc"));
  JSON_RPC_Session session(channel);
  JSON_RPC_Object_Ptr req, resp;
  session.make_rpc_request("m", Value(), req);
  EXPECT_FALSE(session.request(req, resp, 600));
  EXPECT_EQ(nullptr, resp.get());
}

TEST(JSONRPCSession, JSONOfTheWrongKindIsAnAnswerOfAnotherKind) {
  Fake_HTTP_Server server([](auto const&, auto& res) { res.set_content(R"([1,2,3])", "application/json"); });
  auto channel = channel_to(server.url("/rpc"));
  JSON_RPC_Session session(channel);
  JSON_RPC_Object_Ptr req, resp;
  session.make_rpc_request("m", Value(), req);
  ASSERT_TRUE(session.request(req, resp, 600));
  EXPECT_NE(3, resp->kind());
  EXPECT_NE(4, resp->kind());
}

TEST(JSONRPCSession, AnswerCutShortIsNoAnswer) {
  // Promises 200 bytes, sends a few, hangs up.
  Raw_TCP_Server server([](int fd, Raw_TCP_Server&) {
    Raw_TCP_Server::read_request(fd);
    Raw_TCP_Server::write_all(fd,
                              "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: 200\r\n\r\n"
                              "{\"jsonrpc\":\"2.0\",\"res");
  });
  auto channel = channel_to(server.url("/rpc"));
  JSON_RPC_Session session(channel);
  JSON_RPC_Object_Ptr req, resp;
  session.make_rpc_request("m", Value(), req);
  EXPECT_FALSE(session.request(req, resp, 600));
}

TEST(JSONRPCSession, AnswerCutShortByClosingTheConnectionIsNoAnswer) {
  // No length given: the body ends where the server hangs up, mid-value.
  Raw_TCP_Server server([](int fd, Raw_TCP_Server&) {
    Raw_TCP_Server::read_request(fd);
    Raw_TCP_Server::write_all(fd,
                              "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nConnection: close\r\n\r\n"
                              "{\"jsonrpc\":\"2.0\",\"result\":{\"result\":tr");
  });
  auto channel = channel_to(server.url("/rpc"));
  JSON_RPC_Session session(channel);
  JSON_RPC_Object_Ptr req, resp;
  session.make_rpc_request("m", Value(), req);
  EXPECT_FALSE(session.request(req, resp, 600));
  EXPECT_EQ(nullptr, resp.get());
}

TEST(JSONRPCSession, ServerHangingUpMidRequestIsNoAnswer) {
  Raw_TCP_Server server([](int fd, Raw_TCP_Server&) { Raw_TCP_Server::read_request(fd); });
  auto channel = channel_to(server.url("/rpc"));
  JSON_RPC_Session session(channel);
  JSON_RPC_Object_Ptr req, resp;
  session.make_rpc_request("m", Value(), req);
  EXPECT_FALSE(session.request(req, resp, 600));
  EXPECT_FALSE(session.last_error().empty());
}

TEST(JSONRPCSession, ServerThatNeverAnswersTimesOutAtTheChannelCap) {
  Raw_TCP_Server server([](int fd, Raw_TCP_Server& self) { self.hold(fd); });
  auto channel = channel_to(server.url("/rpc"), 300);
  JSON_RPC_Session session(channel);
  JSON_RPC_Object_Ptr req, resp;
  session.make_rpc_request("m", Value(), req);
  auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(session.request(req, resp, 600));
  auto took = std::chrono::steady_clock::now() - start;
  EXPECT_GE(took, std::chrono::milliseconds(250));
  EXPECT_LT(took, std::chrono::seconds(3));
}

TEST(JSONRPCSession, RequestTimeOutShorterThanTheCapWins) {
  Raw_TCP_Server server([](int fd, Raw_TCP_Server& self) { self.hold(fd); });
  auto channel = channel_to(server.url("/rpc"), 10000);
  JSON_RPC_Session session(channel);
  JSON_RPC_Object_Ptr req, resp;
  session.make_rpc_request("m", Value(), req);
  auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(session.request(req, resp, 1));
  auto took = std::chrono::steady_clock::now() - start;
  EXPECT_GE(took, std::chrono::milliseconds(900));
  EXPECT_LT(took, std::chrono::seconds(4));
}

TEST(JSONRPCSession, RefusedConnectionIsNoAnswer) {
  auto channel = channel_to("http://127.0.0.1:" + std::to_string(unused_loopback_port()) + "/rpc");
  JSON_RPC_Session session(channel);
  JSON_RPC_Object_Ptr req, resp;
  session.make_rpc_request("m", Value(), req);
  EXPECT_FALSE(session.request(req, resp, 600));
}

TEST(JSONRPCSession, LargeBodyIsSentWithoutWaitingForContinue) {
  Fake_HTTP_Server server([](auto const& req, auto& res) { rpc_answers::result(req, res, "true"); });
  auto channel = channel_to(server.url("/rpc"));
  JSON_RPC_Session session(channel);
  Array big(20000, Value(std::string(100, 'x')));
  JSON_RPC_Object_Ptr req, resp;
  session.make_rpc_request("m", object_param("pieces", Value(big)), req);
  ASSERT_TRUE(session.request(req, resp, 600));
  auto got = server.last();
  EXPECT_GT(got.body.size(), 2000000u);
  EXPECT_FALSE(got.has_header("Expect"));
}

TEST(JSONRPCSession, SessionsReuseOneConnection) {
  Fake_HTTP_Server server([](auto const& req, auto& res) { rpc_answers::result(req, res, "true"); });
  auto channel = channel_to(server.url("/rpc"));
  for (int i = 0; i < 5; ++i) {
    JSON_RPC_Session session(channel);  // one per attempt, as the operators do
    JSON_RPC_Object_Ptr resp;
    ASSERT_TRUE(session.request("m", nullptr, resp, 600));
  }
  auto got = server.received();
  ASSERT_EQ(5u, got.size());
  for (auto const& r : got) EXPECT_EQ(got[0].remote_port, r.remote_port);
}

TEST(JSONRPCSession, ChannelOptionsAddAuthorizationAndHeaders) {
  Fake_HTTP_Server server([](auto const& req, auto& res) { rpc_answers::result(req, res, "true"); });
  Global_JSON_RPC_Channel::Options options;
  options.authorization = "Bearer t0k3n";
  options.headers.push_back("X-Agent: test");
  ASSERT_TRUE(Global_JSON_RPC_Channel::open(server.url("/rpc").c_str(), options));
  JSON_RPC_Session session(Global_JSON_RPC_Channel::instance());
  Global_JSON_RPC_Channel::close();
  JSON_RPC_Object_Ptr resp;
  ASSERT_TRUE(session.request("m", nullptr, resp, 600));
  EXPECT_EQ("Bearer t0k3n", server.last().header("Authorization"));
  EXPECT_EQ("test", server.last().header("X-Agent"));
}
