#ifndef TESTS_OPERATORS_OPERATOR_FIXTURE_H
#define TESTS_OPERATORS_OPERATOR_FIXTURE_H

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include <yajl/yajl_gen.h>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/catalog_operator.h"
#include "platform/json/json_text.h"
#include "platform/rest/upstream_json_restful_client.h"
#include "platform/rpc/global_json_rpc_channel.h"
#include "tests/net_support/fake_http_server.h"
#include "tests/net_support/rpc_answers.h"

// Reaches the operator's protected helpers and numbers.
class Testable_Operator : public Catalog_Operator {
 public:
  Testable_Operator(int r, int t) : Catalog_Operator(r, t) {}
  using Catalog_Operator::check_request_result;
  using Catalog_Operator::get_first_row;
  using Catalog_Operator::global_json_rpc_request;
  int own_retries() const { return retries; }
  int own_retry_timeout() const { return retry_timeout; }
};

// A set with a few fields and pieces, as an agent would fill it.
inline void fill_set(Backup_Set& set, char const* uuid = "6f1c1c2e-8f9e-4a55-9a41-0c1d2e3f4a5b") {
  set.uuid = uuid;
  set.name = "nightly";
  set.agent = "agent-7";
  set.host = "db01";
  set.size = 4096;
  set.add_piece("/backup/p1", 1024);
  set.add_piece("/backup/p2", 3072);
  set.add_storage("pool-1", 4096);
}

// The set's document as its generate writes it.
inline std::string document_of(Backup_Set& set) {
  yajl_gen g = yajl_gen_alloc(nullptr);
  set.generate(g);
  unsigned char const* buf = nullptr;
  size_t len = 0;
  yajl_gen_get_buf(g, &buf, &len);
  std::string out(reinterpret_cast<char const*>(buf), len);
  yajl_gen_free(g);
  return out;
}

inline json_spirit::Value parse(std::string const& text) {
  json_spirit::Value v;
  EXPECT_TRUE(JSON_Parse(text, v)) << text;
  return v;
}

// Leaves no channel and no upstream server behind for the next test.
class Operator_Test : public ::testing::Test {
 protected:
  void SetUp() override { Fake_HTTP_Server::before_stop() = &Operator_Test::let_go; }
  void TearDown() override {
    let_go();
    Fake_HTTP_Server::before_stop() = nullptr;
  }
  // Closes what holds connections open for the whole process.
  static void let_go() {
    Global_JSON_RPC_Channel::close();
    Upstream_JSON_RESTful_Client::unconfigure();
  }

  static void open_channel(std::string const& url) {
    Global_JSON_RPC_Channel::Options options;
    options.connect_timeout_ms = 1000;
    options.request_timeout_ms = 500;
    ASSERT_TRUE(Global_JSON_RPC_Channel::open(url.c_str(), options));
  }

  static void configure_upstream(int port) {
    HTTP_Client_Options options;
    options.connect_timeout_ms = 1000;
    options.request_timeout_ms = 500;
    ASSERT_TRUE(
        Upstream_JSON_RESTful_Client::configure("127.0.0.1", static_cast<unsigned short>(port), false, nullptr, options));
  }
};

#endif
