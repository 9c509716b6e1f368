#include <gtest/gtest.h>

#include <string>

#include "platform/json/json_text.h"
#include "platform/rest/network_json_restful_client.h"
#include "platform/rest/upstream_json_restful_client.h"
#include "tests/net_support/fake_http_server.h"
#include "tests/net_support/raw_tcp_server.h"
#include "tests/net_support/virtual_clock.h"
#include "tests/support/log_capture.h"

using json_spirit::Value;

namespace {

void ok_json(httplib::Response& res) { Fake_HTTP_Server::reply_json(res, R"({"ok":true})"); }

}  // namespace

TEST(UpstreamJSONRESTfulClient, UnconfiguredClientFailsAtOnce) {
  Upstream_JSON_RESTful_Client::unconfigure();
  EXPECT_FALSE(Upstream_JSON_RESTful_Client::configured());
  Virtual_Clock clock;
  Log_Capture capture;
  Upstream_JSON_RESTful_Client client;
  client.retries(-1);
  HTTP_Request request(3, "/d2/r/v2/sets/exists", false);
  EXPECT_FALSE(client.get(request, nullptr));
  EXPECT_EQ(0u, clock.count());
  EXPECT_TRUE(capture.has(LM_ERROR, "no upstream backup server configured")) << capture.dump();
}

TEST(UpstreamJSONRESTfulClient, ConfigureRefusesEmptyHost) {
  EXPECT_FALSE(Upstream_JSON_RESTful_Client::configure(nullptr, 1, false, nullptr));
  EXPECT_FALSE(Upstream_JSON_RESTful_Client::configure("", 1, false, nullptr));
}

TEST(UpstreamJSONRESTfulClient, ClientsGoToTheConfiguredServerWithItsCredentials) {
  Fake_HTTP_Server server([](auto const&, auto& res) { ok_json(res); });
  ASSERT_TRUE(Upstream_JSON_RESTful_Client::configure("127.0.0.1", static_cast<unsigned short>(server.port()), false,
                                                      "Bearer up"));
  EXPECT_TRUE(Upstream_JSON_RESTful_Client::configured());
  {
    Upstream_JSON_RESTful_Client a;
    HTTP_Request request(3, "/d2/r/v2/sets/exists?uuid=u", false);
    EXPECT_TRUE(a.get(request, nullptr));
  }
  {
    // A client made later reuses the connection the first one left open.
    Upstream_JSON_RESTful_Client b;
    Value result;
    HTTP_Request request(3, "/d2/r/v2/sets/select?module=m", true);
    EXPECT_TRUE(b.get(request, &result));
    EXPECT_EQ(R"({"ok":true})", JSON_Dump(result));
  }
  Upstream_JSON_RESTful_Client::unconfigure();
  auto got = server.received();
  ASSERT_EQ(2u, got.size());
  EXPECT_EQ("/d2/r/v2/sets/exists?uuid=u", got[0].target);
  EXPECT_EQ("Bearer up", got[0].header("Authorization"));
  EXPECT_EQ("Bearer up", got[1].header("Authorization"));
  EXPECT_EQ(got[0].remote_port, got[1].remote_port);
}

TEST(UpstreamJSONRESTfulClient, ConfigurationOptionsApply) {
  Raw_TCP_Server server([](int fd, Raw_TCP_Server& self) { self.hold(fd); });
  HTTP_Client_Options options;
  options.request_timeout_ms = 200;
  ASSERT_TRUE(Upstream_JSON_RESTful_Client::configure("127.0.0.1", static_cast<unsigned short>(server.port()), false,
                                                      nullptr, options));
  Upstream_JSON_RESTful_Client client;
  Upstream_JSON_RESTful_Client::unconfigure();
  EXPECT_EQ(200, client.options().request_timeout_ms);
  client.retries(0);
  client.logging_error(false);
  auto start = std::chrono::steady_clock::now();
  HTTP_Request request(3, "/x", false);
  EXPECT_FALSE(client.get(request, nullptr));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}

TEST(NetworkJSONRESTfulClient, TargetWithoutSchemeIsPlainHTTP) {
  EXPECT_EQ("http://10.0.0.5:80", Network_JSON_RESTful_Client::base_url("10.0.0.5:80"));
  EXPECT_EQ("https://h:1/prefix", Network_JSON_RESTful_Client::base_url("https://h:1/prefix/"));
  EXPECT_EQ("", Network_JSON_RESTful_Client::base_url(""));
}

TEST(NetworkJSONRESTfulClient, SendsToTheTargetWithTheSessionsCredentials) {
  Fake_HTTP_Server server([](auto const&, auto& res) { ok_json(res); });
  HTTP_Client_Options options;
  options.authorization = "Bearer net";
  ACE_Intrusive_Auto_Ptr<HTTP_Session> session(new HTTP_Session(options));
  Network_JSON_RESTful_Client client("127.0.0.1:" + std::to_string(server.port()), session, true);
  Value result;
  HTTP_Request request(3, "/d2/r/v2/sets/select?module=m", true);
  ASSERT_TRUE(client.get(request, &result));
  EXPECT_EQ("Bearer net", server.last().header("Authorization"));
  EXPECT_EQ("/d2/r/v2/sets/select?module=m", server.last().target);
}

TEST(NetworkJSONRESTfulClient, TargetPathPrefixGoesBeforeEveryPath) {
  Fake_HTTP_Server server([](auto const&, auto& res) { ok_json(res); });
  ACE_Intrusive_Auto_Ptr<HTTP_Session> session(new HTTP_Session());
  Network_JSON_RESTful_Client client(server.url("/node/7"), session, true);
  HTTP_Request request(3, "/d2/r/v2/sets/exists?uuid=u", false);
  ASSERT_TRUE(client.get(request, nullptr));
  EXPECT_EQ("/node/7/d2/r/v2/sets/exists?uuid=u", server.last().target);
}

TEST(NetworkJSONRESTfulClient, ClientsOfOneSessionShareConnections) {
  Fake_HTTP_Server server([](auto const&, auto& res) { ok_json(res); });
  ACE_Intrusive_Auto_Ptr<HTTP_Session> session(new HTTP_Session());
  HTTP_Request request(3, "/x", true);
  {
    Network_JSON_RESTful_Client a(server.url(""), session, true);
    ASSERT_TRUE(a.get(request, nullptr));
  }
  {
    Network_JSON_RESTful_Client b(server.url(""), session, true);
    ASSERT_TRUE(b.get(request, nullptr));
  }
  auto got = server.received();
  ASSERT_EQ(2u, got.size());
  EXPECT_EQ(got[0].remote_port, got[1].remote_port);
}

TEST(NetworkJSONRESTfulClient, SessionLivesAsLongAsItsClients) {
  Fake_HTTP_Server server([](auto const&, auto& res) { ok_json(res); });
  std::unique_ptr<Network_JSON_RESTful_Client> client;
  {
    ACE_Intrusive_Auto_Ptr<HTTP_Session> session(new HTTP_Session());
    client.reset(new Network_JSON_RESTful_Client(server.url(""), session, true));
  }
  HTTP_Request request(3, "/x", true);
  EXPECT_TRUE(client->get(request, nullptr));
  client.reset();
}

TEST(NetworkJSONRESTfulClient, SecondTargetAnswersWhenTheFirstIsDown) {
  Fake_HTTP_Server second([](auto const&, auto& res) { ok_json(res); });
  ACE_Intrusive_Auto_Ptr<HTTP_Session> session(new HTTP_Session());
  Network_JSON_RESTful_Client client("127.0.0.1:" + std::to_string(unused_loopback_port()), second.url(""), session,
                                     true);
  client.retries(0);
  Virtual_Clock clock;
  Value result;
  HTTP_Request request(3, "/x", true);
  ASSERT_TRUE(client.get(request, &result));
  ASSERT_TRUE(client.get(request, &result));
  EXPECT_EQ(2u, second.count());
  EXPECT_EQ(0u, clock.count());
  ASSERT_EQ(2u, client.base_urls().size());
}

TEST(NetworkJSONRESTfulClient, EmptyTargetsFailAtOnce) {
  ACE_Intrusive_Auto_Ptr<HTTP_Session> session(new HTTP_Session());
  Network_JSON_RESTful_Client client("", session, true);
  Log_Capture capture;
  HTTP_Request request(3, "/x", true);
  EXPECT_FALSE(client.get(request, nullptr));
  EXPECT_TRUE(capture.has(LM_ERROR, "no server address"));
}
