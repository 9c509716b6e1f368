#include "platform/rpc/json_rpc_object.h"

#include <climits>

#include "platform/json/json_text.h"

using json_spirit::Object;
using json_spirit::Value;

namespace {

yajl_gen_status gen_key(yajl_gen gen, char const* key, size_t n) {
  return yajl_gen_string(gen, reinterpret_cast<unsigned char const*>(key), n);
}

}  // namespace

JSON_RPC_Object* JSON_RPC_Object::make_request(std::string const& method, Value const& params, long long id) {
  JSON_RPC_Object* o = new JSON_RPC_Object;
  o->kind_ = JSON_RPC_REQUEST;
  o->method_ = method;
  o->params_ = params;
  o->id_ = id;
  o->has_id_ = true;
  return o;
}

bool JSON_RPC_Object::write(yajl_gen gen) const {
  if (kind_ != JSON_RPC_REQUEST && kind_ != JSON_RPC_NOTIFICATION) return false;
  if (yajl_gen_map_open(gen) != yajl_gen_status_ok) return false;
  gen_key(gen, "jsonrpc", 7);
  gen_key(gen, "2.0", 3);
  gen_key(gen, "method", 6);
  yajl_gen_string(gen, reinterpret_cast<unsigned char const*>(method_.data()), method_.size());
  if (!params_.is_null()) {
    gen_key(gen, "params", 6);
    if (yajl_gen_value(gen, params_) != yajl_gen_status_ok) return false;
  }
  if (kind_ == JSON_RPC_REQUEST) {
    gen_key(gen, "id", 2);
    yajl_gen_integer(gen, id_);
  }
  return yajl_gen_map_close(gen) == yajl_gen_status_ok;
}

JSON_RPC_Object* JSON_RPC_Object::parse_response(char const* text, size_t length, long long expected_id) {
  Value doc;
  if (!JSON_Parse(text, length, doc, nullptr)) return nullptr;

  JSON_RPC_Object* o = new JSON_RPC_Object;
  o->raw_ = doc;
  if (doc.type() != json_spirit::obj_type) return o;
  Object const& obj = doc.get_obj();

  auto version = obj.find("jsonrpc");
  if (version != obj.end() && !(version->second.type() == json_spirit::str_type && version->second.get_str() == "2.0"))
    return o;

  auto id = obj.find("id");
  if (id != obj.end() && id->second.type() == json_spirit::int_type && !id->second.is_uint64()) {
    o->id_ = id->second.get_int64();
    o->has_id_ = true;
  }

  auto result = obj.find("result");
  auto error = obj.find("error");
  if (result != obj.end() && error == obj.end()) {
    // An answer to someone else's request is not ours to take.
    if (!o->has_id_ || o->id_ != expected_id) return o;
    o->result_ = result->second;
    o->kind_ = JSON_RPC_RESULT;
    return o;
  }
  if (error != obj.end() && result == obj.end()) {
    // The server may not know the id of a request it could not read.
    if (id != obj.end() && !id->second.is_null() && (!o->has_id_ || o->id_ != expected_id)) return o;
    if (error->second.type() != json_spirit::obj_type) return o;
    Object const& e = error->second.get_obj();
    auto code = e.find("code");
    auto message = e.find("message");
    if (code == e.end() || code->second.type() != json_spirit::int_type || code->second.is_uint64()) return o;
    long long c = code->second.get_int64();
    if (c < INT_MIN || c > INT_MAX) return o;
    o->error_code_ = static_cast<int>(c);
    if (message != e.end() && message->second.type() == json_spirit::str_type) o->error_message_ = message->second.get_str();
    auto data = e.find("data");
    if (data != e.end()) o->error_data_ = data->second;
    o->kind_ = JSON_RPC_ERROR;
    return o;
  }
  auto method = obj.find("method");
  if (method != obj.end() && method->second.type() == json_spirit::str_type && result == obj.end() &&
      error == obj.end()) {
    o->method_ = method->second.get_str();
    auto params = obj.find("params");
    if (params != obj.end()) o->params_ = params->second;
    o->kind_ = id == obj.end() ? JSON_RPC_NOTIFICATION : JSON_RPC_REQUEST;
  }
  return o;
}
