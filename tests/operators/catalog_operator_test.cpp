#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/catalog_operator.h"
#include "platform/json/json_text.h"
#include "tests/net_support/virtual_clock.h"
#include "tests/operators/operator_fixture.h"
#include "tests/support/log_capture.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

// Answers every JSON-RPC call with the text `answer` gives for its method
// and parameters (a result value), remembering the calls.
class RPC_Server {
 public:
  typedef std::function<void(std::string const& method, Value const& params, httplib::Request const&,
                             httplib::Response&)>
      Reply;
  explicit RPC_Server(Reply reply)
      : server([reply](httplib::Request const& req, httplib::Response& res) {
          reply(rpc_answers::method_of(req.body), rpc_answers::params_of(req.body), req, res);
        }) {}
  std::string method(size_t i) const { return rpc_answers::method_of(server.received().at(i).body); }
  Value params(size_t i) const { return rpc_answers::params_of(server.received().at(i).body); }
  Fake_HTTP_Server server;
};

RPC_Server::Reply always(std::string const& result_json) {
  return [result_json](std::string const&, Value const&, httplib::Request const& req, httplib::Response& res) {
    rpc_answers::result(req, res, result_json);
  };
}

class Confirm_Counter : public Catalog_Operator {
 public:
  using Catalog_Operator::Catalog_Operator;
  bool commit_confirm(Value const&, JSON_RESTful_Client*) override {
    ++calls;
    return true;
  }
  int calls = 0;
};

class CatalogOperator : public Operator_Test {};

}  // namespace

TEST_F(CatalogOperator, ConstructorAndInitSetBothNumbers) {
  Testable_Operator op(3, 30);
  EXPECT_EQ(3, op.own_retries());
  EXPECT_EQ(30, op.own_retry_timeout());
  op.init(-1, 7);
  EXPECT_EQ(-1, op.own_retries());
  EXPECT_EQ(7, op.own_retry_timeout());
}

TEST_F(CatalogOperator, CommitOfASetSendsItsDocumentAsParameters) {
  RPC_Server rpc(always(R"({"result":true,"uuid":"x"})"));
  open_channel(rpc.server.url("/rpc"));
  Backup_Set set("file");
  fill_set(set);
  Catalog_Operator op(0, -1);
  EXPECT_TRUE(op.commit(set, false));
  ASSERT_EQ(1u, rpc.server.count());
  EXPECT_EQ("backup_set.commit", rpc.method(0));
  std::string body = rpc.server.last().body;
  // The document goes out byte for byte as generate wrote it, key order kept.
  EXPECT_NE(std::string::npos, body.find("\"params\":" + document_of(set) + ",")) << body;
}

TEST_F(CatalogOperator, CommitOfADocumentSendsItAsParameters) {
  RPC_Server rpc(always(R"({"result":true})"));
  open_channel(rpc.server.url("/rpc"));
  Value doc = parse(R"({"uuid":"u1","catalog_module":"file","pieces":[]})");
  Catalog_Operator op(0, -1);
  EXPECT_TRUE(op.commit(doc, false));
  EXPECT_EQ("backup_set.commit", rpc.method(0));
  EXPECT_EQ(doc, rpc.params(0));
}

TEST_F(CatalogOperator, CommitWithoutConfirmChecksTheResult) {
  RPC_Server rpc(always(R"({"result":false})"));
  open_channel(rpc.server.url("/rpc"));
  Log_Capture capture;
  Backup_Set set("file");
  fill_set(set);
  Catalog_Operator op(0, -1);
  EXPECT_FALSE(op.commit(set, false));
  EXPECT_TRUE(capture.has(LM_ERROR, "Failed to commit backup set, result: '{\"result\":false}'.\n")) << capture.dump();
}

TEST_F(CatalogOperator, CommitWithConfirmHandsTheResultToCommitConfirm) {
  RPC_Server rpc(always(R"({"result":false})"));
  open_channel(rpc.server.url("/rpc"));
  Backup_Set set("file");
  fill_set(set);
  Confirm_Counter op(0, -1);
  // The result is not checked here: commit_confirm decides.
  EXPECT_TRUE(op.commit(set, true));
  EXPECT_TRUE(op.commit(Value(Object()), true));
  EXPECT_EQ(2, op.calls);
}

TEST_F(CatalogOperator, CommitWithConfirmWhoseCallFailsNeverReachesCommitConfirm) {
  Virtual_Clock clock;
  Log_Capture capture;
  Backup_Set set("file");
  fill_set(set);
  Confirm_Counter op(1, -1);
  // No channel: both attempts fail.
  EXPECT_FALSE(op.commit(set, true));
  EXPECT_FALSE(op.commit(Value(Object()), true));
  EXPECT_EQ(0, op.calls);
  EXPECT_TRUE(capture.has(LM_ERROR, "Failed to commit catalog to backup server\n"));
  EXPECT_TRUE(capture.has(LM_ERROR, "JSON-RPC 'backup_set.commit' failed after 1 retries.\n"));
}

TEST_F(CatalogOperator, UpdateSucceedsOnAnAnswerWhoseResultIsFalse) {
  RPC_Server rpc(always(R"({"result":false})"));
  open_channel(rpc.server.url("/rpc"));
  Log_Capture capture;
  Backup_Set set("file");
  fill_set(set);
  Catalog_Operator op(0, -1);
  EXPECT_TRUE(op.update(set));
  EXPECT_TRUE(op.update(Value(Object())));
  EXPECT_EQ("backup_set.update", rpc.method(0));
  EXPECT_EQ("backup_set.update", rpc.method(1));
  EXPECT_EQ(0u, capture.count(LM_ERROR, ""));
}

TEST_F(CatalogOperator, UpdateFailsWhenTheCallFails) {
  RPC_Server rpc([](std::string const&, Value const&, httplib::Request const& req, httplib::Response& res) {
    rpc_answers::error(req, res, -32602, "bad");
  });
  open_channel(rpc.server.url("/rpc"));
  Log_Capture capture;
  Catalog_Operator op(0, -1);
  EXPECT_FALSE(op.update(Value(Object())));
}

TEST_F(CatalogOperator, InitializeAndCompleteSendTheirMethodsAndCheckTheResult) {
  std::string answer = R"({"result":true})";
  RPC_Server rpc([&](std::string const&, Value const&, httplib::Request const& req, httplib::Response& res) {
    rpc_answers::result(req, res, answer);
  });
  open_channel(rpc.server.url("/rpc"));
  Backup_Set set("file");
  fill_set(set);
  Catalog_Operator op(0, -1);
  EXPECT_TRUE(op.initialize(set));
  EXPECT_TRUE(op.initialize(Value(Object())));
  EXPECT_TRUE(op.complete(set));
  EXPECT_TRUE(op.complete(Value(Object())));
  EXPECT_EQ("backup_set.initialize", rpc.method(0));
  EXPECT_EQ("backup_set.initialize", rpc.method(1));
  EXPECT_EQ("backup_set.complete", rpc.method(2));
  EXPECT_EQ("backup_set.complete", rpc.method(3));
  EXPECT_EQ(parse(document_of(set)), rpc.params(0));

  answer = R"({"result":false})";
  Log_Capture capture;
  EXPECT_FALSE(op.initialize(set));
  EXPECT_FALSE(op.complete(Value(Object())));
  EXPECT_EQ(2u, capture.count(LM_ERROR, "Failed to commit backup set, result: "));
}

TEST_F(CatalogOperator, AddPieceSendsExactlyUuidAndPiecesInOrder) {
  RPC_Server rpc(always(R"({"result":true})"));
  open_channel(rpc.server.url("/rpc"));
  Catalog_Operator op(0, -1);
  std::vector<Value> pieces{parse(R"({"path":"/b","size":2})"), parse(R"({"path":"/a","size":1})")};
  EXPECT_TRUE(op.add_piece("u-9", pieces));
  EXPECT_EQ("backup_set.add_piece", rpc.method(0));
  EXPECT_EQ(R"({"pieces":[{"path":"/b","size":2},{"path":"/a","size":1}],"uuid":"u-9"})", JSON_Dump(rpc.params(0)));
}

TEST_F(CatalogOperator, AbortReplacesPiecesWithThoseOfTheResult) {
  RPC_Server rpc(always(R"({"result":true,"pieces":[{"path":"/x"},{"path":"/y"}]})"));
  open_channel(rpc.server.url("/rpc"));
  Catalog_Operator op(0, -1);
  std::vector<Value> pieces{Value("old")};
  EXPECT_TRUE(op.abort("u-1", pieces));
  ASSERT_EQ(2u, pieces.size());
  EXPECT_EQ(R"({"path":"/y"})", JSON_Dump(pieces[1]));
  EXPECT_EQ("backup_set.abort", rpc.method(0));
  EXPECT_EQ(R"({"uuid":"u-1"})", JSON_Dump(rpc.params(0)));
}

TEST_F(CatalogOperator, AbortOnResultWithoutPiecesReturnsFalseAndLeavesTheVector) {
  RPC_Server rpc(always(R"({"result":true})"));
  open_channel(rpc.server.url("/rpc"));
  Log_Capture capture;
  Catalog_Operator op(0, -1);
  std::vector<Value> pieces{Value("kept")};
  EXPECT_FALSE(op.abort("u-1", pieces));
  ASSERT_EQ(1u, pieces.size());
  EXPECT_EQ("kept", pieces[0].get_str());
}

TEST_F(CatalogOperator, AbortWithPiecesNotAnArrayOrRejectedResultLeavesTheVector) {
  std::string answer = R"({"result":true,"pieces":{"path":"/x"}})";
  RPC_Server rpc([&](std::string const&, Value const&, httplib::Request const& req, httplib::Response& res) {
    rpc_answers::result(req, res, answer);
  });
  open_channel(rpc.server.url("/rpc"));
  Log_Capture capture;
  Catalog_Operator op(0, -1);
  std::vector<Value> pieces{Value("kept")};
  EXPECT_FALSE(op.abort("u-1", pieces));
  answer = R"({"result":false,"pieces":[1,2]})";
  EXPECT_FALSE(op.abort("u-1", pieces));
  ASSERT_EQ(1u, pieces.size());
  EXPECT_EQ("kept", pieces[0].get_str());
}

TEST_F(CatalogOperator, GetViewSendsModuleViewAndParamAndReturnsTheResultUnchecked) {
  RPC_Server rpc(always(R"({"rows":[{"uuid":"a"}],"result":false})"));
  open_channel(rpc.server.url("/rpc"));
  Catalog_Operator op(0, -1);
  std::map<std::string, Value> param{{"limit", Value(5)}, {"x", Value(1.5)}, {"host_uuid", Value("h")}};
  Value result;
  EXPECT_TRUE(op.get_view("backup_set", "sets", param, result));
  EXPECT_EQ("backup_set.select", rpc.method(0));
  EXPECT_EQ(R"({"module":"backup_set","param":{"host_uuid":"h","limit":5,"x":1.5},"view":"sets"})",
            JSON_Dump(rpc.params(0)));
  EXPECT_EQ(R"({"result":false,"rows":[{"uuid":"a"}]})", JSON_Dump(result));
}

TEST_F(CatalogOperator, GetViewWithEmptyModuleLogsTheModuleMessageEvenWhenViewIsEmptyToo) {
  Log_Capture capture;
  Catalog_Operator op(0, -1);
  Value result = "unchanged";
  EXPECT_FALSE(op.get_view("", "", {}, result));
  EXPECT_FALSE(op.get_view(nullptr, "v", {}, result));
  EXPECT_EQ(2u, capture.count(LM_EMERGENCY, "Unexpected error in "));
  EXPECT_EQ(2u, capture.count(LM_EMERGENCY, ", module is NULL or \"\":\n"));
  EXPECT_EQ(0u, capture.count(LM_EMERGENCY, "view is NULL"));
  EXPECT_TRUE(capture.has(LM_EMERGENCY, "catalog_operator.cpp:"));
  EXPECT_EQ("unchanged", result.get_str());
}

TEST_F(CatalogOperator, GetViewWithEmptyViewLogsTheViewMessage) {
  Log_Capture capture;
  Catalog_Operator op(0, -1);
  Value result;
  EXPECT_FALSE(op.get_view("m", "", {}, result));
  EXPECT_FALSE(op.get_view("m", nullptr, {}, result));
  EXPECT_EQ(2u, capture.count(LM_EMERGENCY, ", view is NULL or \"\":\n"));
}

TEST_F(CatalogOperator, GetFirstViewOnEmptyRowsReturnsFalseAndLogsNothing) {
  RPC_Server rpc(always(R"({"rows":[]})"));
  open_channel(rpc.server.url("/rpc"));
  Log_Capture capture;
  Catalog_Operator op(0, -1);
  Value row = "unchanged";
  EXPECT_FALSE(op.get_first_view("m", "v", {}, row));
  EXPECT_EQ(0u, capture.size()) << capture.dump();
  EXPECT_EQ("unchanged", row.get_str());
}

TEST_F(CatalogOperator, GetFirstViewOnObjectWithoutRowsLogsLackOfRows) {
  RPC_Server rpc(always(R"({"result":true})"));
  open_channel(rpc.server.url("/rpc"));
  Log_Capture capture;
  Catalog_Operator op(0, -1);
  Value row;
  EXPECT_FALSE(op.get_first_view("m", "v", {}, row));
  EXPECT_TRUE(capture.has(LM_ERROR, "Invalid catalog data, lack of rows\n"));
}

TEST_F(CatalogOperator, GetFirstViewGivesTheFirstRow) {
  RPC_Server rpc(always(R"({"rows":[{"n":1},{"n":2}]})"));
  open_channel(rpc.server.url("/rpc"));
  Catalog_Operator op(0, -1);
  Value row;
  EXPECT_TRUE(op.get_first_view("m", "v", {}, row));
  EXPECT_EQ(R"({"n":1})", JSON_Dump(row));
}

TEST_F(CatalogOperator, GetFirstViewUsesTheVirtualGetView) {
  struct Canned : Catalog_Operator {
    Canned() : Catalog_Operator(0, -1) {}
    bool get_view(char const*, char const*, std::map<std::string, Value> const&, Value& result) const override {
      result = parse(R"({"rows":["from subclass"]})");
      return true;
    }
  } op;
  Value row;
  EXPECT_TRUE(op.get_first_view("m", "v", {}, row));
  EXPECT_EQ("from subclass", row.get_str());
}

TEST_F(CatalogOperator, GetFirstRowRules) {
  Log_Capture capture;
  Testable_Operator op(0, -1);
  Value row = "unchanged";
  EXPECT_FALSE(op.get_first_row(parse("[1]"), row));
  EXPECT_EQ(0u, capture.size());
  EXPECT_FALSE(op.get_first_row(parse(R"({"rows":{}})"), row));
  EXPECT_TRUE(capture.has(LM_ERROR, "Invalid catalog data, lack of rows\n"));
  EXPECT_EQ("unchanged", row.get_str());
  EXPECT_TRUE(op.get_first_row(parse(R"({"rows":[[1,2]]})"), row));
  EXPECT_EQ("[1,2]", JSON_Dump(row));
}

TEST_F(CatalogOperator, CheckRequestResultAcceptsOnlyATrueBooleanResult) {
  Log_Capture capture;
  Testable_Operator op(0, -1);
  EXPECT_TRUE(op.check_request_result(parse(R"({"result":true,"other":1})")));
  EXPECT_EQ(0u, capture.size());
  EXPECT_FALSE(op.check_request_result(parse(R"([true])")));
  EXPECT_TRUE(capture.has(LM_ERROR, "Invalid commit backup set result '[true]'.\n"));
  EXPECT_FALSE(op.check_request_result(parse(R"({"result":"true"})")));
  EXPECT_TRUE(capture.has(LM_ERROR, "Failed to commit backup set, result: '{\"result\":\"true\"}'.\n"));
  EXPECT_FALSE(op.check_request_result(parse(R"({"ok":true})")));
  EXPECT_TRUE(capture.has(LM_ERROR, "Failed to commit backup set, result: '{\"ok\":true}'.\n"));
  EXPECT_FALSE(op.check_request_result(parse(R"({"result":false})")));
  EXPECT_FALSE(op.check_request_result(Value()));
  EXPECT_TRUE(capture.has(LM_ERROR, "Invalid commit backup set result 'null'.\n"));
}

TEST_F(CatalogOperator, EmptyMethodIsAProgrammingError) {
  Log_Capture capture;
  Testable_Operator op(-1, -1);
  Backup_Set set("file");
  Value result;
  EXPECT_FALSE(op.global_json_rpc_request("", Value(), result));
  EXPECT_FALSE(op.global_json_rpc_request(nullptr, set, result));
  EXPECT_EQ(2u, capture.count(LM_EMERGENCY, "Unexpected error in "));
  EXPECT_EQ(2u, capture.count(LM_EMERGENCY, ", method is NULL or \"\":\n"));
}

TEST_F(CatalogOperator, ErrorAnswerOfTheValueOverloadNamesMethodCodeAndMessage) {
  RPC_Server rpc([](std::string const&, Value const&, httplib::Request const& req, httplib::Response& res) {
    rpc_answers::error(req, res, -32601, "Method not found");
  });
  open_channel(rpc.server.url("/rpc"));
  Log_Capture capture;
  Catalog_Operator op(0, -1);
  EXPECT_FALSE(op.add_piece("u", {}));
  EXPECT_TRUE(capture.has(LM_ERROR, "JSON-RPC 'backup_set.add_piece' response error, code: -32601, msg: Method not found.\n"))
      << capture.dump();
}

TEST_F(CatalogOperator, ErrorAnswerOfTheSetOverloadIsACommitCatalogError) {
  RPC_Server rpc([](std::string const&, Value const&, httplib::Request const& req, httplib::Response& res) {
    rpc_answers::error(req, res, -32602, "uuid: not a UUID");
  });
  open_channel(rpc.server.url("/rpc"));
  Log_Capture capture;
  Backup_Set set("file");
  Catalog_Operator op(0, -1);
  EXPECT_FALSE(op.initialize(set));
  EXPECT_TRUE(capture.has(LM_ERROR, "Commit catalog error[-32602: uuid: not a UUID].\n")) << capture.dump();
}

TEST_F(CatalogOperator, UnexpectedKindOfTheValueOverloadNamesTheMethod) {
  RPC_Server rpc([](std::string const&, Value const&, httplib::Request const&, httplib::Response& res) {
    res.set_content(R"({"jsonrpc":"2.0","method":"notify"})", "application/json");
  });
  open_channel(rpc.server.url("/rpc"));
  Log_Capture capture;
  Catalog_Operator op(-1, -1);
  Value result;
  EXPECT_FALSE(op.get_view("m", "v", {}, result));
  EXPECT_TRUE(capture.has(LM_ERROR, "Invalid JSON-RPC response type '2' of 'backup_set.select'.\n")) << capture.dump();
  EXPECT_EQ(1u, rpc.server.count());
}

TEST_F(CatalogOperator, UnexpectedKindOfTheSetOverloadAlwaysNamesTheCommit) {
  RPC_Server rpc([](std::string const&, Value const&, httplib::Request const&, httplib::Response& res) {
    res.set_content(R"([{"jsonrpc":"2.0","result":true,"id":1}])", "application/json");
  });
  open_channel(rpc.server.url("/rpc"));
  Log_Capture capture;
  Backup_Set set("file");
  Catalog_Operator op(-1, -1);
  EXPECT_FALSE(op.update(set));
  EXPECT_FALSE(op.initialize(set));
  EXPECT_FALSE(op.complete(set));
  EXPECT_EQ(3u, capture.count(LM_ERROR, "Invalid JSON-RPC response type '0' of 'backup_set.commit'.\n"))
      << capture.dump();
  EXPECT_EQ(3u, rpc.server.count());
}

TEST_F(CatalogOperator, AnswerForAnotherRequestIsAnUnexpectedKind) {
  RPC_Server rpc([](std::string const&, Value const&, httplib::Request const&, httplib::Response& res) {
    res.set_content(R"({"jsonrpc":"2.0","result":{"result":true},"id":-5})", "application/json");
  });
  open_channel(rpc.server.url("/rpc"));
  Log_Capture capture;
  Catalog_Operator op(-1, -1);
  EXPECT_FALSE(op.initialize(Value(Object())));
  EXPECT_TRUE(capture.has(LM_ERROR, "Invalid JSON-RPC response type '0' of 'backup_set.initialize'.\n"));
}
