#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "platform/json/json_text.h"
#include "platform/rpc/json_rpc_object.h"

using json_spirit::Object;
using json_spirit::Value;

namespace {

JSON_RPC_Object_Ptr parse(std::string const& text, long long id = 7) {
  return JSON_RPC_Object_Ptr(JSON_RPC_Object::parse_response(text.data(), text.size(), id));
}

}  // namespace

TEST(JSONRPCObject, ResultAnswerIsKindThreeWithItsValue) {
  auto o = parse(R"({"jsonrpc":"2.0","result":{"result":true,"n":2},"id":7})");
  ASSERT_TRUE(o.get());
  EXPECT_EQ(3, o->kind());
  EXPECT_EQ(R"({"n":2,"result":true})", JSON_Dump(o->result()));
}

TEST(JSONRPCObject, ErrorAnswerIsKindFourWithCodeAndMessage) {
  auto o = parse(R"({"jsonrpc":"2.0","error":{"code":-32601,"message":"no such method","data":[1]},"id":7})");
  ASSERT_TRUE(o.get());
  EXPECT_EQ(4, o->kind());
  EXPECT_EQ(-32601, o->error_code());
  EXPECT_EQ("no such method", o->error_message());
  EXPECT_EQ("[1]", JSON_Dump(o->error_data()));
}

TEST(JSONRPCObject, ErrorAnswerWithNullIdIsAccepted) {
  auto o = parse(R"({"jsonrpc":"2.0","error":{"code":-32700,"message":"parse error"},"id":null})");
  ASSERT_TRUE(o.get());
  EXPECT_EQ(4, o->kind());
}

TEST(JSONRPCObject, TextThatIsNotJSONGivesNoObject) {
  EXPECT_EQ(nullptr, parse("<html>busy</html>").get());
  EXPECT_EQ(nullptr, parse("").get());
}

TEST(JSONRPCObject, AnswerCutShortGivesNoObject) {
  EXPECT_EQ(nullptr, parse(R"({"jsonrpc":"2.0","result":{"res)").get());
}

TEST(JSONRPCObject, AnswerForAnotherIdIsInvalid) {
  auto o = parse(R"({"jsonrpc":"2.0","result":true,"id":8})");
  ASSERT_TRUE(o.get());
  EXPECT_EQ(0, o->kind());
}

TEST(JSONRPCObject, ResultWithoutIdIsInvalid) {
  auto o = parse(R"({"jsonrpc":"2.0","result":true})");
  ASSERT_TRUE(o.get());
  EXPECT_EQ(0, o->kind());
}

TEST(JSONRPCObject, BothResultAndErrorIsInvalid) {
  auto o = parse(R"({"jsonrpc":"2.0","result":true,"error":{"code":1,"message":"x"},"id":7})");
  ASSERT_TRUE(o.get());
  EXPECT_EQ(0, o->kind());
}

TEST(JSONRPCObject, ErrorWithoutIntegerCodeIsInvalid) {
  auto o = parse(R"({"jsonrpc":"2.0","error":{"code":"bad","message":"x"},"id":7})");
  ASSERT_TRUE(o.get());
  EXPECT_EQ(0, o->kind());
  auto p = parse(R"({"jsonrpc":"2.0","error":"boom","id":7})");
  ASSERT_TRUE(p.get());
  EXPECT_EQ(0, p->kind());
}

TEST(JSONRPCObject, WrongProtocolVersionIsInvalid) {
  auto o = parse(R"({"jsonrpc":"1.0","result":true,"id":7})");
  ASSERT_TRUE(o.get());
  EXPECT_EQ(0, o->kind());
}

TEST(JSONRPCObject, ArrayOrScalarIsInvalidAndKeptRaw) {
  auto o = parse(R"([{"jsonrpc":"2.0","result":true,"id":7}])");
  ASSERT_TRUE(o.get());
  EXPECT_EQ(0, o->kind());
  EXPECT_EQ(json_spirit::array_type, o->raw().type());
  auto n = parse("42");
  ASSERT_TRUE(n.get());
  EXPECT_EQ(0, n->kind());
}

TEST(JSONRPCObject, IncomingRequestAndNotificationAreTheirOwnKinds) {
  auto r = parse(R"({"jsonrpc":"2.0","method":"ping","params":[],"id":7})");
  ASSERT_TRUE(r.get());
  EXPECT_EQ(1, r->kind());
  EXPECT_EQ("ping", r->method());
  auto n = parse(R"({"jsonrpc":"2.0","method":"ping"})");
  ASSERT_TRUE(n.get());
  EXPECT_EQ(2, n->kind());
}

TEST(JSONRPCObject, RequestWritesTheJSONRPCTwoEnvelope) {
  Object params;
  params["uuid"] = "u1";
  JSON_RPC_Object_Ptr req(JSON_RPC_Object::make_request("backup_set.abort", Value(params), 12));
  EXPECT_EQ(1, req->kind());
  yajl_gen g = yajl_gen_alloc(nullptr);
  ASSERT_TRUE(req->write(g));
  unsigned char const* buf;
  size_t len;
  yajl_gen_get_buf(g, &buf, &len);
  EXPECT_EQ(R"({"jsonrpc":"2.0","method":"backup_set.abort","params":{"uuid":"u1"},"id":12})",
            std::string(reinterpret_cast<char const*>(buf), len));
  yajl_gen_free(g);
}

TEST(JSONRPCObject, RequestWithNullParamsLeavesThemOut) {
  JSON_RPC_Object_Ptr req(JSON_RPC_Object::make_request("m", Value(), 3));
  yajl_gen g = yajl_gen_alloc(nullptr);
  ASSERT_TRUE(req->write(g));
  unsigned char const* buf;
  size_t len;
  yajl_gen_get_buf(g, &buf, &len);
  EXPECT_EQ(R"({"jsonrpc":"2.0","method":"m","id":3})", std::string(reinterpret_cast<char const*>(buf), len));
  yajl_gen_free(g);
}

TEST(JSONRPCObject, AnswersAreNotWrittenAsRequests) {
  auto o = parse(R"({"jsonrpc":"2.0","result":true,"id":7})");
  yajl_gen g = yajl_gen_alloc(nullptr);
  EXPECT_FALSE(o->write(g));
  yajl_gen_free(g);
}

TEST(JSONRPCObject, SharedHandleCountsReferences) {
  JSON_RPC_Object_Ptr a(JSON_RPC_Object::make_request("m", Value(), 1));
  long alone = a.count();
  {
    JSON_RPC_Object_Ptr b(a);
    EXPECT_EQ(alone + 1, a.count());
    EXPECT_EQ(a.get(), b.get());
  }
  EXPECT_EQ(alone, a.count());
}
