#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "platform/rpc/global_json_rpc_channel.h"
#include "platform/rpc/json_rpc_session.h"
#include "tests/net_support/fake_http_server.h"
#include "tests/net_support/rpc_answers.h"

TEST(GlobalJSONRPCChannel, InstanceIsEmptyUntilOpened) {
  Global_JSON_RPC_Channel::close();
  EXPECT_EQ(nullptr, Global_JSON_RPC_Channel::instance().get());
  ASSERT_TRUE(Global_JSON_RPC_Channel::open("http://127.0.0.1:1/rpc"));
  auto channel = Global_JSON_RPC_Channel::instance();
  ASSERT_NE(nullptr, channel.get());
  EXPECT_EQ("http://127.0.0.1:1/rpc", channel->url());
  Global_JSON_RPC_Channel::close();
  EXPECT_EQ(nullptr, Global_JSON_RPC_Channel::instance().get());
}

TEST(GlobalJSONRPCChannel, OpenRefusesEmptyURL) {
  Global_JSON_RPC_Channel::close();
  EXPECT_FALSE(Global_JSON_RPC_Channel::open(nullptr));
  EXPECT_FALSE(Global_JSON_RPC_Channel::open(""));
  EXPECT_EQ(nullptr, Global_JSON_RPC_Channel::instance().get());
}

TEST(GlobalJSONRPCChannel, ReopeningReplacesTheChannelAndOldHandlesStayUsable) {
  Fake_HTTP_Server a([](auto const& req, auto& res) { rpc_answers::result(req, res, "1"); });
  Fake_HTTP_Server b([](auto const& req, auto& res) { rpc_answers::result(req, res, "2"); });
  ASSERT_TRUE(Global_JSON_RPC_Channel::open(a.url("/rpc").c_str()));
  auto old = Global_JSON_RPC_Channel::instance();
  ASSERT_TRUE(Global_JSON_RPC_Channel::open(b.url("/rpc").c_str()));
  auto fresh = Global_JSON_RPC_Channel::instance();
  Global_JSON_RPC_Channel::close();
  EXPECT_NE(old.get(), fresh.get());

  JSON_RPC_Object_Ptr r1, r2;
  JSON_RPC_Session(old).request("m", nullptr, r1, 600);
  JSON_RPC_Session(fresh).request("m", nullptr, r2, 600);
  ASSERT_TRUE(r1.get() && r2.get());
  EXPECT_EQ(1, r1->result().get_int());
  EXPECT_EQ(2, r2->result().get_int());
}

TEST(GlobalJSONRPCChannel, ThreadsShareTheChannelSafely) {
  Fake_HTTP_Server server([](auto const& req, auto& res) { rpc_answers::result(req, res, "true"); });
  ASSERT_TRUE(Global_JSON_RPC_Channel::open(server.url("/rpc").c_str()));
  std::atomic<int> answered{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      for (int i = 0; i < 25; ++i) {
        JSON_RPC_Session session(Global_JSON_RPC_Channel::instance());
        JSON_RPC_Object_Ptr resp;
        if (session.request("m", nullptr, resp, 600) && resp->kind() == 3) ++answered;
      }
    });
  for (auto& t : threads) t.join();
  Global_JSON_RPC_Channel::close();
  EXPECT_EQ(100, answered.load());
  EXPECT_EQ(100u, server.count());
}
