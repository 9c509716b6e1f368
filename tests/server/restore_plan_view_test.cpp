// End to end: sets committed through catalogd by the library's operators,
// then the view "restore_plan" asked over the same transport, on both
// engines. Refusals are read from the raw answers, where their code and
// message are visible.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <tuple>
#include <vector>

#include <httplib.h>

#include "backup/backup_set/common/catalog_operator.h"
#include "backup/backup_set/common/restful_catalog_operator.h"
#include "platform/json/json_text.h"
#include "platform/json/object_lookup.h"
#include "platform/rest/upstream_json_restful_client.h"
#include "platform/rpc/global_json_rpc_channel.h"
#include "server/catalog_server.h"
#include "tests/restore/restore_scenario.h"
#include "tests/server/catalog_target.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;
using namespace restore_scenario;

namespace {

enum Protocol { JSON_RPC, REST };

typedef std::map<std::string, Value> Params;

class RestorePlanViewTest : public ::testing::TestWithParam<std::tuple<Catalog_Target::Engine, Protocol>> {
 protected:
  RestorePlanViewTest() : target_(std::get<0>(GetParam())), protocol_(std::get<1>(GetParam())) {}

  void SetUp() override {
    std::string error;
    ASSERT_TRUE(target_.prepare(error)) << error;
    Server_Options options;
    options.listen = "127.0.0.1";
    options.port = 0;
    options.db = target_.db();
    server_ = std::make_unique<Catalog_Server>(options);
    ASSERT_TRUE(server_->start(error)) << error;
    int port = server_->port();
    ASSERT_TRUE(Global_JSON_RPC_Channel::open(("http://127.0.0.1:" + std::to_string(port) + "/rpc").c_str(),
                                              Global_JSON_RPC_Channel::Options()));
    ASSERT_TRUE(Upstream_JSON_RESTful_Client::configure("127.0.0.1", static_cast<unsigned short>(port), false, ""));
    if (protocol_ == JSON_RPC)
      op_ = std::make_unique<Catalog_Operator>(1, 2);
    else
      op_ = std::make_unique<RESTful_Catalog_Operator>("127.0.0.1", static_cast<unsigned short>(port), false, "", 1, 2);
    client_ = std::make_unique<httplib::Client>("127.0.0.1", port);
  }

  void TearDown() override {
    op_.reset();
    Global_JSON_RPC_Channel::close();
    Upstream_JSON_RESTful_Client::unconfigure();
    server_.reset();
  }

  void commit_all(std::vector<Backup_Set> sets) {
    for (Backup_Set& s : sets) ASSERT_TRUE(op_->commit(s, false)) << s.uuid;
  }

  static Params resource(Params more) {
    more["host_uuid"] = HOST;
    more["resource_uuid"] = RESOURCE;
    return more;
  }

  // The plan the operator of the protocol under test gets.
  Object plan(Params const& params) {
    Value result;
    EXPECT_TRUE(op_->get_view("backup_set", "restore_plan", params, result))
        << JSON_Dump(Value(Object(params.begin(), params.end())));
    return result.type() == json_spirit::obj_type ? result.get_obj() : Object();
  }

  static std::vector<std::string> column(Object const& plan, char const* key) {
    std::vector<std::string> out;
    Array steps;
    json_spirit::object_get_array(plan, "steps", steps);
    for (Value const& s : steps) out.push_back(s.get_obj().at(key).get_str());
    return out;
  }

  // A refusal as (code, message), asked over the raw transport. Params are
  // sent as they are over JSON-RPC and as query text over REST.
  std::pair<int, std::string> refusal(Params const& params) {
    Object answer;
    if (protocol_ == JSON_RPC) {
      Object p;
      p["module"] = "backup_set";
      p["view"] = "restore_plan";
      p["param"] = Object(params.begin(), params.end());
      Object call;
      call["jsonrpc"] = "2.0";
      call["method"] = "backup_set.select";
      call["params"] = Value(std::move(p));
      call["id"] = 1;
      auto res = client_->Post("/rpc", JSON_Dump(Value(std::move(call))), "application/json");
      if (!res) return {0, "no answer"};
      Value v;
      EXPECT_TRUE(JSON_Parse(res->body, v)) << res->body;
      EXPECT_FALSE(v.get_obj().count("result")) << res->body;
      if (!json_spirit::object_get_object(v.get_obj(), "error", answer)) return {0, res->body};
    } else {
      httplib::Params query{{"module", "backup_set"}, {"view", "restore_plan"}};
      for (auto const& p : params)
        query.emplace(p.first, p.second.type() == json_spirit::str_type ? p.second.get_str() : JSON_Dump(p.second));
      auto res = client_->Get("/d2/r/v2/sets/select", query, httplib::Headers());
      if (!res) return {0, "no answer"};
      Value v;
      EXPECT_TRUE(JSON_Parse(res->body, v)) << res->body;
      answer = v.get_obj();
      EXPECT_FALSE(answer.at("result").get_bool());
      // The REST routes answer the code as an HTTP status too.
      EXPECT_EQ(answer.at("code").get_int() == -32001 ? 404 : 400, res->status) << res->body;
    }
    return {answer.at("code").get_int(), answer.at("message").get_str()};
  }

  Catalog_Target target_;
  Protocol protocol_;
  std::unique_ptr<Catalog_Server> server_;
  std::unique_ptr<Catalog_Operator> op_;
  std::unique_ptr<httplib::Client> client_;
};

}  // namespace

TEST_P(RestorePlanViewTest, ATimeTargetAnswersTheOrderedSetsAndTheirPools) {
  std::vector<Backup_Set> sets = three_days();
  // An offline primary beside an online one; an online replica of an
  // offline primary.
  find(sets, FULL)->storages = {storage(POOL_A, Backup_Set_State::OFFLINE), storage(POOL_B, Backup_Set_State::ONLINE)};
  find(sets, INC1)->storages = {storage(POOL_A, Backup_Set_State::OFFLINE),
                                storage(POOL_C, Backup_Set_State::ONLINE | Backup_Set_State::REPLICATED, POOL_A)};
  commit_all(sets);

  Object between = plan(resource({{"time", "2024-03-02 18:00:00"}}));
  EXPECT_EQ((std::vector<std::string>{FULL, INC1, LOG3, LOG4}), column(between, "uuid"));
  EXPECT_EQ((std::vector<std::string>{POOL_B, POOL_C, POOL_A, POOL_A}), column(between, "pool_uuid"));
  EXPECT_EQ((std::vector<std::string>{"full", "incremental", "log", "log"}), column(between, "role"));
  EXPECT_EQ((std::vector<std::string>{"dmdb", "dmdb", "dmdb_log", "dmdb_log"}), column(between, "catalog_module"));
  EXPECT_EQ("time", between["target_kind"].get_str());
  EXPECT_EQ("2024-03-02 18:00:00", between["target"].get_str());
  EXPECT_EQ("2024-03-03 00:00:00", between["reached"].get_str());
  EXPECT_TRUE(between["complete"].get_bool());
  EXPECT_EQ("2024-03-02 01:00:00", between["steps"].get_array()[1].get_obj().at("start").get_str());

  Object on_end = plan(resource({{"time", "2024-03-03 02:00:00"}}));
  EXPECT_EQ((std::vector<std::string>{FULL, INC1, INC2}), column(on_end, "uuid"));
  EXPECT_TRUE(on_end["complete"].get_bool());

  Object after = plan(resource({{"time", "2024-03-05 00:00:00"}}));
  EXPECT_EQ((std::vector<std::string>{FULL, INC1, INC2, LOG5, LOG6}), column(after, "uuid"));
  EXPECT_FALSE(after["complete"].get_bool());
  EXPECT_EQ("2024-03-03 20:00:00", after["reached"].get_str());
}

TEST_P(RestorePlanViewTest, AnScnTargetUsesTheLogPositions) {
  commit_all(three_days());
  Object p = plan(resource({{"scn", scn_at(at(2, 2)) + 1}}));
  EXPECT_EQ((std::vector<std::string>{FULL, INC1, LOG3}), column(p, "uuid"));
  EXPECT_EQ("scn", p["target_kind"].get_str());
  EXPECT_EQ(scn_at(at(2, 2)) + 1, p["target"].get_int64());
  EXPECT_EQ(scn_at(at(2, 12)), p["reached"].get_int64());
}

TEST_P(RestorePlanViewTest, AnLsnTargetComparesWholePositions) {
  // WAL positions beyond 80000000/0 are negative in the signed columns.
  unsigned long long const base = 0x7FFFFFFFull << 32;
  auto wal = [](char const* uuid, char const* type, unsigned long long first, unsigned long long last) {
    Backup_Set s = make_set("postgresql", uuid, type, at(1, 1), at(1, 2));
    s.first_scn = static_cast<long long>(first);
    s.last_scn = static_cast<long long>(last);
    return s;
  };
  commit_all({wal(FULL, "full", base, base + 0x1000), wal(LOG1, "wal", base + 0x1000, 0x80000000ull << 32),
              wal(LOG2, "wal", 0x80000000ull << 32, 0x80000002ull << 32)});
  Object p = plan(resource({{"lsn", "80000001/10"}}));
  EXPECT_EQ((std::vector<std::string>{FULL, LOG1, LOG2}), column(p, "uuid"));
  EXPECT_EQ("lsn", p["target_kind"].get_str());
  EXPECT_EQ("80000001/10", p["target"].get_str());
  EXPECT_EQ("80000002/0", p["reached"].get_str());
  EXPECT_TRUE(p["complete"].get_bool());
  EXPECT_EQ(std::make_pair(-32001, std::string("no full or incremental backup of this resource ends at or before "
                                               "7FFFFFFF/FFF")),
            refusal(resource({{"lsn", "7FFFFFFF/FFF"}})));
}

TEST_P(RestorePlanViewTest, AParentThatIsOnlyStagedIsNamedAsMissing) {
  std::vector<Backup_Set> sets = three_days();
  Backup_Set inc2 = *find(sets, INC2);
  sets.erase(sets.begin() + 6);
  commit_all(sets);
  ASSERT_TRUE(op_->initialize(inc2));
  Backup_Set inc3 = data_set("f0000000-0000-4000-8000-000000000004", "incremental", at(3, 5), at(3, 6), {INC2});
  ASSERT_TRUE(op_->commit(inc3, false));
  EXPECT_EQ(std::make_pair(-32001, std::string("backup set ") + INC2 + " (parent of " + inc3.uuid +
                                       ") is not in the catalogue"),
            refusal(resource({{"time", "2024-03-03 08:00:00"}})));
  // Once complete, the chain is whole.
  ASSERT_TRUE(op_->complete(inc2));
  EXPECT_EQ((std::vector<std::string>{FULL, INC1, INC2, inc3.uuid, LOG5}),
            column(plan(resource({{"time", "2024-03-03 08:00:00"}})), "uuid"));
}

TEST_P(RestorePlanViewTest, AGapAndATargetBeforeEveryFullAreRefusedWithTheirReason) {
  std::vector<Backup_Set> sets = three_days();
  sets.erase(sets.begin() + 4);  // LOG3
  commit_all(sets);
  EXPECT_EQ(std::make_pair(-32001, std::string("archive logs leave a gap from 2024-03-02 02:00:00 to 2024-03-02 "
                                               "12:00:00 before the target 2024-03-02 18:00:00")),
            refusal(resource({{"time", "2024-03-02 18:00:00"}})));
  EXPECT_EQ(std::make_pair(-32001, std::string("no full or incremental backup of this resource ends at or before "
                                               "2024-03-01 00:00:00")),
            refusal(resource({{"time", "2024-03-01 00:00:00"}})));
}

TEST_P(RestorePlanViewTest, MissingOrContradictoryParamsAreRefused) {
  commit_all(three_days());
  auto invalid = [](std::string const& message) { return std::make_pair(-32602, message); };
  EXPECT_EQ(invalid("host_uuid: missing"), refusal({{"resource_uuid", RESOURCE}, {"time", "2024-03-02 00:00:00"}}));
  EXPECT_EQ(invalid("resource_uuid: missing"), refusal({{"host_uuid", HOST}, {"scn", 5}}));
  EXPECT_EQ(invalid("host_uuid: not a UUID"),
            refusal({{"host_uuid", "host-1"}, {"resource_uuid", RESOURCE}, {"scn", 5}}));
  EXPECT_EQ(invalid("target: missing; give one of time, scn and lsn"), refusal(resource({})));
  EXPECT_EQ(invalid("target: give only one of time, scn and lsn"),
            refusal(resource({{"time", "2024-03-02 00:00:00"}, {"scn", 5}})));
  EXPECT_EQ(invalid("target: give only one of time, scn and lsn"), refusal(resource({{"scn", 5}, {"lsn", "0/5"}})));
  EXPECT_EQ(invalid("time: not a time \"YYYY-MM-DD HH:MM:SS\""), refusal(resource({{"time", "yesterday"}})));
  EXPECT_EQ(invalid("scn: not a 64-bit integer"), refusal(resource({{"scn", "12ab"}})));
  EXPECT_EQ(invalid("lsn: not a log sequence number \"X/Y\""), refusal(resource({{"lsn", "0x16/B3"}})));
  EXPECT_EQ(invalid("lsn: not a log sequence number \"X/Y\""), refusal(resource({{"lsn", "123456789/0"}})));
  EXPECT_EQ(invalid("param: unknown parameter 'limit' of view 'restore_plan'"),
            refusal(resource({{"scn", 5}, {"limit", 1}})));
}

INSTANTIATE_TEST_SUITE_P(
    EnginesAndProtocols, RestorePlanViewTest,
    ::testing::Combine(::testing::Values(Catalog_Target::SQLITE, Catalog_Target::POSTGRESQL),
                       ::testing::Values(JSON_RPC, REST)),
    [](::testing::TestParamInfo<std::tuple<Catalog_Target::Engine, Protocol>> const& info) {
      return std::string(Catalog_Target::name(std::get<0>(info.param))) +
             (std::get<1>(info.param) == JSON_RPC ? "_JsonRpc" : "_Rest");
    });
