#include <gtest/gtest.h>

#include <string>

#include "platform/json/json_text.h"
#include "platform/rest/json_restful_client.h"
#include "tests/net_support/fake_http_server.h"
#include "tests/net_support/tls_test_certificate.h"
#include "tests/support/log_capture.h"

using json_spirit::Object;
using json_spirit::Value;

namespace {

class Doc : public JSON_Generator {
 public:
  explicit Doc(bool ok = true) : ok_(ok) {}
  bool generate(yajl_gen_t* g) override {
    if (!ok_) return false;
    yajl_gen_map_open(g);
    yajl_gen_string(g, reinterpret_cast<unsigned char const*>("z"), 1);
    yajl_gen_integer(g, 1);
    yajl_gen_string(g, reinterpret_cast<unsigned char const*>("a"), 1);
    yajl_gen_integer(g, 2);
    yajl_gen_map_close(g);
    return true;
  }

 private:
  bool ok_;
};

void answer(httplib::Response& res, std::string const& body, int status = 200) {
  Fake_HTTP_Server::reply_json(res, body, status);
}

}  // namespace

TEST(JSONRESTfulClient, GetSendsPathAndQueryAsBuiltAndParsesTheAnswer) {
  Fake_HTTP_Server server([](auto const&, auto& res) { answer(res, R"({"rows":[1]})"); });
  JSON_RESTful_Client client("127.0.0.1", static_cast<unsigned short>(server.port()), false, true);
  HTTP_Request request(3, "/d2/r/v2/sets/select?module=m&view=v&d=x+y&e=%2f", true);
  Value result;
  ASSERT_TRUE(client.get(request, &result));
  EXPECT_EQ(R"({"rows":[1]})", JSON_Dump(result));
  auto got = server.last();
  EXPECT_EQ("GET", got.method);
  EXPECT_EQ("/d2/r/v2/sets/select?module=m&view=v&d=x+y&e=%2f", got.target);
  EXPECT_EQ("application/json", got.header("Accept"));
  EXPECT_FALSE(got.has_header("Expect"));
}

TEST(JSONRESTfulClient, GetWithoutResultNeedsNoJSON) {
  Fake_HTTP_Server server([](auto const&, auto& res) { res.set_content("yes", "text/plain"); });
  JSON_RESTful_Client client("127.0.0.1", static_cast<unsigned short>(server.port()), false, true);
  HTTP_Request request(3, "/d2/r/v2/sets/exists", false);
  request.query_string_buffer() = "uuid=u1";
  EXPECT_TRUE(client.get(request, nullptr));
  EXPECT_EQ("/d2/r/v2/sets/exists?uuid=u1", server.last().target);
  EXPECT_NE("application/json", server.last().header("Accept"));
}

TEST(JSONRESTfulClient, NonSuccessStatusIsFailureAndIsNotRetried) {
  Fake_HTTP_Server server([](auto const&, auto& res) { answer(res, R"({"error":"no such set"})", 404); });
  JSON_RESTful_Client client("127.0.0.1", static_cast<unsigned short>(server.port()), false, true);
  client.retries(-1);
  Log_Capture capture;
  HTTP_Request request(3, "/d2/r/v2/sets/exists?uuid=x", false);
  Value result;
  EXPECT_FALSE(client.get(request, &result));
  EXPECT_EQ(1u, server.count());
  EXPECT_TRUE(capture.has(LM_ERROR, "answered 404")) << capture.dump();
  // The server's own words are kept for the caller's message.
  EXPECT_EQ(R"({"error":"no such set"})", JSON_Dump(result));
}

TEST(JSONRESTfulClient, SuccessWithBodyThatIsNotJSONFailsWhereAResultIsWanted) {
  Fake_HTTP_Server server([](auto const&, auto& res) { res.set_content("<html>ok</html>", "text/html"); });
  JSON_RESTful_Client client("127.0.0.1", static_cast<unsigned short>(server.port()), false, true);
  Log_Capture capture;
  HTTP_Request request(3, "/x", true);
  Value result = "untouched";
  EXPECT_FALSE(client.get(request, &result));
  EXPECT_EQ("untouched", result.get_str());
  EXPECT_TRUE(capture.has(LM_ERROR, "not JSON"));
  EXPECT_EQ(1u, server.count());
}

TEST(JSONRESTfulClient, SuccessWithEmptyBodyFailsWhereAResultIsWanted) {
  Fake_HTTP_Server server([](auto const&, auto& res) { res.status = 200; });
  JSON_RESTful_Client client("127.0.0.1", static_cast<unsigned short>(server.port()), false, true);
  Log_Capture capture;
  HTTP_Request request(3, "/x", true);
  Value result;
  EXPECT_FALSE(client.get(request, &result));
  EXPECT_TRUE(client.get(request, nullptr));
}

TEST(JSONRESTfulClient, PostOfADocumentSendsItsBytesAsWritten) {
  Fake_HTTP_Server server([](auto const&, auto& res) { answer(res, R"({"result":true})"); });
  JSON_RESTful_Client client("127.0.0.1", static_cast<unsigned short>(server.port()), false, true);
  Doc doc;
  Value result;
  ASSERT_TRUE(client.post("/d2/r/v2/sets?action=Initialize", doc, &result));
  EXPECT_EQ(R"({"result":true})", JSON_Dump(result));
  auto got = server.last();
  EXPECT_EQ("POST", got.method);
  EXPECT_EQ("/d2/r/v2/sets?action=Initialize", got.target);
  EXPECT_EQ(R"({"z":1,"a":2})", got.body);
  EXPECT_EQ("application/json", got.header("Content-Type"));
}

TEST(JSONRESTfulClient, PostOfAValueSendsItsCompactText) {
  Fake_HTTP_Server server([](auto const&, auto& res) { answer(res, "[1,2]"); });
  JSON_RESTful_Client client("127.0.0.1", static_cast<unsigned short>(server.port()), false, true);
  Object o;
  o["uuid"] = "u";
  o["pieces"] = json_spirit::Array{Value(1)};
  Value body(o);
  Value result;
  ASSERT_TRUE(client.post("/p", &body, &result));
  EXPECT_EQ(R"({"pieces":[1],"uuid":"u"})", server.last().body);
  EXPECT_EQ("[1,2]", JSON_Dump(result));
}

TEST(JSONRESTfulClient, PostWithoutBodyOrAnswer) {
  Fake_HTTP_Server server([](auto const&, auto& res) { res.set_content("fine", "text/plain"); });
  JSON_RESTful_Client client("127.0.0.1", static_cast<unsigned short>(server.port()), false, true);
  EXPECT_TRUE(client.post("/p", static_cast<Value const*>(nullptr), nullptr));
  EXPECT_EQ("POST", server.last().method);
  EXPECT_EQ("", server.last().body);
}

TEST(JSONRESTfulClient, DocumentThatCannotBeWrittenIsNotSent) {
  Fake_HTTP_Server server([](auto const&, auto& res) { answer(res, "{}"); });
  JSON_RESTful_Client client("127.0.0.1", static_cast<unsigned short>(server.port()), false, true);
  Log_Capture capture;
  Doc bad(false);
  EXPECT_FALSE(client.post("/p", bad, nullptr));
  HTTP_Request request(8, "/p", true);
  Value result;
  EXPECT_FALSE(client.request(request, bad, result));
  EXPECT_FALSE(client.request(request, bad));
  EXPECT_EQ(0u, server.count());
}

TEST(JSONRESTfulClient, MethodCodeNineGoesOutAsPut) {
  Fake_HTTP_Server server([](auto const&, auto& res) { res.set_content("not json", "text/plain"); });
  JSON_RESTful_Client client("127.0.0.1", static_cast<unsigned short>(server.port()), false, true);
  Doc doc;
  HTTP_Request request(9, "/d2/r/v2/sets?uuid=u%2f1", true);
  // No result wanted: the answer's body is not read.
  EXPECT_TRUE(client.request(request, doc));
  auto got = server.last();
  EXPECT_EQ("PUT", got.method);
  EXPECT_EQ("/d2/r/v2/sets?uuid=u%2f1", got.target);
  EXPECT_EQ(R"({"z":1,"a":2})", got.body);
}

TEST(JSONRESTfulClient, ValueRequestFillsTheHTTPResponse) {
  Fake_HTTP_Server server([](auto const&, auto& res) {
    res.set_header("X-Served-By", "fake");
    answer(res, R"({"result":false})", 409);
  });
  JSON_RESTful_Client client("127.0.0.1", static_cast<unsigned short>(server.port()), false, true);
  Log_Capture capture;
  HTTP_Request request(8, "/d2/r/v2/sets", true);
  HTTP_Response response;
  Value result;
  EXPECT_FALSE(client.request(request, Value(Object()), &response, result));
  EXPECT_EQ(409, response.status());
  EXPECT_EQ("fake", response.header("x-served-by"));
  EXPECT_EQ(R"({"result":false})", response.body());
  EXPECT_EQ("POST", server.last().method);
  EXPECT_EQ("{}", server.last().body);
}

TEST(JSONRESTfulClient, SetHeaderFortyEightIsAuthorization) {
  Fake_HTTP_Server server([](auto const&, auto& res) { answer(res, "{}"); });
  JSON_RESTful_Client client("127.0.0.1", static_cast<unsigned short>(server.port()), false, true);
  EXPECT_TRUE(client.set_header(48, "Bearer abc"));
  EXPECT_FALSE(client.set_header(9999, "x"));
  HTTP_Request request(3, "/x", true);
  ASSERT_TRUE(client.get(request, nullptr));
  EXPECT_EQ("Bearer abc", server.last().header("Authorization"));
  // Set again: replaced, not repeated. Null: removed.
  client.set_header(48, "Bearer def");
  ASSERT_TRUE(client.get(request, nullptr));
  EXPECT_EQ("Bearer def", server.last().header("Authorization"));
  EXPECT_EQ(1u, server.last().headers.count("Authorization"));
  client.set_header(48, nullptr);
  ASSERT_TRUE(client.get(request, nullptr));
  EXPECT_FALSE(server.last().has_header("Authorization"));
}

TEST(JSONRESTfulClient, KeepAliveReusesOneConnection) {
  Fake_HTTP_Server server([](auto const&, auto& res) { answer(res, "{}"); });
  JSON_RESTful_Client client("127.0.0.1", static_cast<unsigned short>(server.port()), false, true);
  HTTP_Request request(3, "/x", true);
  for (int i = 0; i < 4; ++i) ASSERT_TRUE(client.get(request, nullptr));
  auto got = server.received();
  for (auto const& r : got) EXPECT_EQ(got[0].remote_port, r.remote_port);
}

TEST(JSONRESTfulClient, WithoutKeepAliveEachRequestHasItsOwnConnection) {
  Fake_HTTP_Server server([](auto const&, auto& res) { answer(res, "{}"); });
  JSON_RESTful_Client client("127.0.0.1", static_cast<unsigned short>(server.port()), false, false);
  HTTP_Request request(3, "/x", true);
  for (int i = 0; i < 3; ++i) ASSERT_TRUE(client.get(request, nullptr));
  auto got = server.received();
  ASSERT_EQ(3u, got.size());
  EXPECT_NE(got[0].remote_port, got[1].remote_port);
  EXPECT_NE(got[1].remote_port, got[2].remote_port);
}

TEST(JSONRESTfulClient, LoggingOffSilencesFailures) {
  Fake_HTTP_Server server([](auto const&, auto& res) { answer(res, "{}", 500); });
  JSON_RESTful_Client client("127.0.0.1", static_cast<unsigned short>(server.port()), false, true);
  client.logging_error(false);
  EXPECT_FALSE(client.logging_error());
  Log_Capture capture;
  HTTP_Request request(3, "/x", true);
  EXPECT_FALSE(client.get(request, nullptr));
  EXPECT_EQ(0u, capture.size()) << capture.dump();
  client.logging_error(true);
  EXPECT_FALSE(client.get(request, nullptr));
  EXPECT_TRUE(capture.has(LM_ERROR, "answered 500"));
}

TEST(JSONRESTfulClient, EmptyHostFailsEveryRequestAtOnce) {
  JSON_RESTful_Client client("", 80, false, true);
  Log_Capture capture;
  HTTP_Request request(3, "/x", true);
  EXPECT_FALSE(client.get(request, nullptr));
  EXPECT_TRUE(capture.has(LM_ERROR, "not sent"));
  EXPECT_TRUE(client.base_urls().empty());
}

TEST(JSONRESTfulClient, UnsupportedMethodCodeIsRefused) {
  Fake_HTTP_Server server([](auto const&, auto& res) { answer(res, "{}"); });
  JSON_RESTful_Client client("127.0.0.1", static_cast<unsigned short>(server.port()), false, true);
  Log_Capture capture;
  Doc doc;
  HTTP_Request request(42, "/x", true);
  EXPECT_FALSE(client.request(request, doc));
  EXPECT_EQ(0u, server.count());
}

TEST(JSONRESTfulClient, SecureClientSpeaksTLSAndChecksTheCertificate) {
  TLS_Test_Certificate cert;
  ASSERT_TRUE(cert.ok());
  Fake_HTTP_Server server([](auto const&, auto& res) { answer(res, R"({"tls":true})"); }, 0, cert.cert(), cert.key());
  ASSERT_TRUE(server.ok());
  JSON_RESTful_Client client("127.0.0.1", static_cast<unsigned short>(server.port()), true, true);
  EXPECT_EQ("https://127.0.0.1:" + std::to_string(server.port()), client.base_urls()[0]);
  HTTP_Client_Options options;
  options.request_timeout_ms = 5000;
  client.retries(0);
  client.logging_error(false);
  HTTP_Request request(3, "/x", true);
  Value result;
  // Unknown issuer: refused.
  client.options(options);
  EXPECT_FALSE(client.get(request, &result));
  // Trusting the test's own certificate.
  options.ca_file = cert.cert();
  client.options(options);
  ASSERT_TRUE(client.get(request, &result));
  EXPECT_EQ(R"({"tls":true})", JSON_Dump(result));
}
