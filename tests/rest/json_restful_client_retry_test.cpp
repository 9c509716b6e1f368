#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "platform/json/json_text.h"
#include "platform/rest/json_restful_client.h"
#include "tests/net_support/fake_http_server.h"
#include "tests/net_support/raw_tcp_server.h"
#include "tests/net_support/virtual_clock.h"
#include "tests/support/log_capture.h"

using json_spirit::Value;

namespace {

HTTP_Client_Options quick() {
  HTTP_Client_Options o;
  o.connect_timeout_ms = 1000;
  o.request_timeout_ms = 300;
  return o;
}

std::unique_ptr<JSON_RESTful_Client> client_to(int port) {
  std::unique_ptr<JSON_RESTful_Client> c(
      new JSON_RESTful_Client("127.0.0.1", static_cast<unsigned short>(port), false, true));
  c->options(quick());
  return c;
}

// Every attempt reaches this server, which hangs up without answering.
struct Hanging_Up {
  Raw_TCP_Server server{[](int fd, Raw_TCP_Server&) { Raw_TCP_Server::read_request(fd); }};
};

}  // namespace

TEST(JSONRESTfulClientRetry, RetriesZeroMakesOneAttemptAndLogsTheFailure) {
  Hanging_Up down;
  Virtual_Clock clock;
  Log_Capture capture;
  auto client = client_to(down.server.port());
  client->retries(0);
  HTTP_Request request(3, "/x", true);
  EXPECT_FALSE(client->get(request, nullptr));
  EXPECT_EQ(1, down.server.connections());
  EXPECT_EQ(0u, clock.count());
  EXPECT_EQ(0u, capture.count(LM_INFO, "Retry("));
  EXPECT_TRUE(capture.has(LM_ERROR, "HTTP GET '/x' failed after 0 retries")) << capture.dump();
}

TEST(JSONRESTfulClientRetry, RetriesTwoMakesThreeAttemptsWithNumberedRetryLines) {
  Hanging_Up down;
  Virtual_Clock clock;
  Log_Capture capture;
  auto client = client_to(down.server.port());
  client->retries(2);
  client->retry_timeout(-1);
  HTTP_Request request(3, "/x", true);
  EXPECT_FALSE(client->get(request, nullptr));
  EXPECT_EQ(3, down.server.connections());
  EXPECT_EQ((std::vector<unsigned>{1, 2}), clock.sleeps());
  EXPECT_EQ(1u, capture.count(LM_INFO, "Retry(1) "));
  EXPECT_EQ(1u, capture.count(LM_INFO, "at 1 second(s) later.\n"));
  EXPECT_EQ(1u, capture.count(LM_INFO, "Retry(2) "));
  EXPECT_EQ(1u, capture.count(LM_INFO, "at 2 second(s) later.\n"));
  EXPECT_TRUE(capture.has(LM_INFO, "json_restful_client.cpp:"));
  EXPECT_TRUE(capture.has(LM_ERROR, "failed after 2 retries"));
}

TEST(JSONRESTfulClientRetry, UnlimitedRetriesStopAtTheTimeBound) {
  Virtual_Clock clock;
  Log_Capture capture;
  auto client = client_to(unused_loopback_port());
  client->retries(-1);
  client->retry_timeout(10);
  HTTP_Request request(3, "/x", true);
  EXPECT_FALSE(client->get(request, nullptr));
  // 1+2+4 = 7 < 10 goes on; 7+8 = 15 >= 10 stops: five attempts.
  EXPECT_EQ((std::vector<unsigned>{1, 2, 4, 8}), clock.sleeps());
  EXPECT_EQ(15u, clock.total());
  EXPECT_EQ(4u, capture.count(LM_INFO, "Retry("));
  EXPECT_TRUE(capture.has(LM_ERROR, "failed after -1 retries"));
}

TEST(JSONRESTfulClientRetry, DelaysAreHeldAtSixtySeconds) {
  Virtual_Clock clock;
  auto client = client_to(unused_loopback_port());
  client->logging_error(false);
  client->retries(9);
  client->retry_timeout(-1);
  HTTP_Request request(3, "/x", true);
  EXPECT_FALSE(client->get(request, nullptr));
  EXPECT_EQ((std::vector<unsigned>{1, 2, 4, 8, 16, 32, 60, 60, 60}), clock.sleeps());
}

TEST(JSONRESTfulClientRetry, ServerThatStartsListeningWhileWaitingIsReached) {
  int port = unused_loopback_port();
  std::unique_ptr<Fake_HTTP_Server> late;
  Virtual_Clock clock;
  clock.on_sleep = [&](size_t n, unsigned) {
    if (n == 2)
      late.reset(new Fake_HTTP_Server([](auto const&, auto& res) { Fake_HTTP_Server::reply_json(res, "{\"up\":1}"); },
                                      port));
  };
  Log_Capture capture;
  auto client = client_to(port);
  client->retries(5);
  HTTP_Request request(3, "/x", true);
  Value result;
  ASSERT_TRUE(client->get(request, &result));
  ASSERT_TRUE(late && late->ok());
  EXPECT_EQ(R"({"up":1})", JSON_Dump(result));
  EXPECT_EQ(2u, clock.count());
  EXPECT_EQ(1u, late->count());
  EXPECT_EQ(0u, capture.count(LM_ERROR, ""));
}

TEST(JSONRESTfulClientRetry, ServerKilledMidRequestIsRetried) {
  // First connection: read the request and hang up. Later ones: answer.
  std::atomic<int> seen{0};
  Raw_TCP_Server server([&](int fd, Raw_TCP_Server&) {
    Raw_TCP_Server::read_request(fd);
    if (seen++ == 0) return;
    Raw_TCP_Server::write_all(fd,
                              "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: 11\r\n"
                              "Connection: close\r\n\r\n{\"ok\":true}");
  });
  Virtual_Clock clock;
  auto client = client_to(server.port());
  client->retries(3);
  HTTP_Request request(8, "/d2/r/v2/sets", true);
  Value result;
  json_spirit::Value body(json_spirit::Object{});
  ASSERT_TRUE(client->request(request, body, nullptr, result));
  EXPECT_EQ(R"({"ok":true})", JSON_Dump(result));
  EXPECT_EQ(2, seen.load());
  EXPECT_EQ(1u, clock.count());
}

TEST(JSONRESTfulClientRetry, ServerThatNeverAnswersTimesOut) {
  Raw_TCP_Server server([](int fd, Raw_TCP_Server& self) { self.hold(fd); });
  Virtual_Clock clock;
  Log_Capture capture;
  auto client = client_to(server.port());
  client->retries(1);
  HTTP_Request request(3, "/x", true);
  auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(client->get(request, nullptr));
  auto took = std::chrono::steady_clock::now() - start;
  EXPECT_LT(took, std::chrono::seconds(3));
  EXPECT_GE(took, std::chrono::milliseconds(550));  // two attempts of 300 ms
  EXPECT_EQ(1u, clock.count());
  EXPECT_TRUE(capture.has(LM_ERROR, "failed after 1 retries")) << capture.dump();
}

TEST(JSONRESTfulClientRetry, AnswerCutShortIsRetried) {
  Raw_TCP_Server server([](int fd, Raw_TCP_Server&) {
    Raw_TCP_Server::read_request(fd);
    Raw_TCP_Server::write_all(fd, "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n{\"ok\":");
  });
  Virtual_Clock clock;
  auto client = client_to(server.port());
  client->logging_error(false);
  client->retries(2);
  HTTP_Request request(3, "/x", true);
  Value result = "untouched";
  EXPECT_FALSE(client->get(request, &result));
  EXPECT_EQ(3, server.connections());
  EXPECT_EQ("untouched", result.get_str());
}

TEST(JSONRESTfulClientRetry, LoggingOffSilencesRetryLinesToo) {
  Virtual_Clock clock;
  Log_Capture capture;
  auto client = client_to(unused_loopback_port());
  client->logging_error(false);
  client->retries(2);
  HTTP_Request request(3, "/x", true);
  EXPECT_FALSE(client->get(request, nullptr));
  EXPECT_EQ(2u, clock.count());
  EXPECT_EQ(0u, capture.size()) << capture.dump();
}

TEST(JSONRESTfulClientRetry, ErrorStatusIsNeverRetriedEvenWithoutLimits) {
  Fake_HTTP_Server server([](auto const&, auto& res) { Fake_HTTP_Server::reply_json(res, "{}", 503); });
  Virtual_Clock clock;
  Log_Capture capture;
  auto client = client_to(server.port());
  client->retries(-1);
  client->retry_timeout(-1);
  HTTP_Request request(3, "/x", true);
  EXPECT_FALSE(client->get(request, nullptr));
  EXPECT_EQ(1u, server.count());
  EXPECT_EQ(0u, clock.count());
}
