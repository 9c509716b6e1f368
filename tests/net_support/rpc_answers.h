#ifndef TESTS_NET_SUPPORT_RPC_ANSWERS_H
#define TESTS_NET_SUPPORT_RPC_ANSWERS_H

#include <string>

#include <httplib.h>

#include "platform/json/json_text.h"
#include "platform/json/object_lookup.h"

// Answers for fake JSON-RPC servers, echoing the id of the request read.
namespace rpc_answers {

inline std::string id_of(std::string const& body) {
  json_spirit::Value v;
  if (!JSON_Parse(body, v) || v.type() != json_spirit::obj_type) return "null";
  auto it = v.get_obj().find("id");
  return it == v.get_obj().end() ? "null" : JSON_Dump(it->second);
}

inline std::string method_of(std::string const& body) {
  json_spirit::Value v;
  std::string m;
  if (JSON_Parse(body, v) && v.type() == json_spirit::obj_type) json_spirit::object_get_str(v.get_obj(), "method", m);
  return m;
}

inline json_spirit::Value params_of(std::string const& body) {
  json_spirit::Value v;
  if (!JSON_Parse(body, v) || v.type() != json_spirit::obj_type) return json_spirit::Value();
  auto it = v.get_obj().find("params");
  return it == v.get_obj().end() ? json_spirit::Value() : it->second;
}

inline void result(httplib::Request const& req, httplib::Response& res, std::string const& result_json) {
  res.set_content(R"({"jsonrpc":"2.0","result":)" + result_json + R"(,"id":)" + id_of(req.body) + "}",
                  "application/json");
}

inline void error(httplib::Request const& req, httplib::Response& res, int code, std::string const& message) {
  json_spirit::Value msg(message);
  res.set_content(R"({"jsonrpc":"2.0","error":{"code":)" + std::to_string(code) + R"(,"message":)" + JSON_Dump(msg) +
                      R"(},"id":)" + id_of(req.body) + "}",
                  "application/json");
}

}  // namespace rpc_answers

#endif
