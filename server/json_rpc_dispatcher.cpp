#include "server/json_rpc_dispatcher.h"

#include <ace/Log_Msg.h>

#include "platform/json/json_text.h"
#include "server/catalog_store.h"
#include "server/commit_queue.h"
#include "server/set_document_validator.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

Value const* member(Value const& obj, char const* key) {
  if (obj.type() != json_spirit::obj_type) return nullptr;
  auto const& o = obj.get_obj();
  auto it = o.find(key);
  return it == o.end() ? nullptr : &it->second;
}

// A "uuid" member that must name a set.
bool uuid_param(Value const& params, std::string& uuid, Catalog_Error& error) {
  Value const* v = member(params, "uuid");
  if (!v) return error.set(Catalog_Error::INVALID_PARAMS, "uuid: missing");
  if (v->type() != json_spirit::str_type) return error.set(Catalog_Error::INVALID_PARAMS, "uuid: not a string");
  if (!Set_Document_Validator::is_uuid(v->get_str()))
    return error.set(Catalog_Error::INVALID_PARAMS, "uuid: not a UUID");
  uuid = v->get_str();
  return true;
}

bool text_param(Value const& params, char const* key, std::string& out, Catalog_Error& error) {
  Value const* v = member(params, key);
  if (!v) return error.set(Catalog_Error::INVALID_PARAMS, std::string(key) + ": missing");
  if (v->type() != json_spirit::str_type || v->get_str().empty())
    return error.set(Catalog_Error::INVALID_PARAMS, std::string(key) + ": not a non-empty string");
  out = v->get_str();
  return true;
}

// The key a batch of pieces is stored once under: its own "batch" member (a
// non-empty string or a whole number), else the key of the request.
bool batch_param(Value const& params, std::string const& request_key, std::string& batch, Catalog_Error& error) {
  Value const* v = member(params, "batch");
  if (!v) {
    batch = request_key;
  } else if (v->type() == json_spirit::str_type && !v->get_str().empty()) {
    batch = v->get_str();
  } else if (v->type() == json_spirit::int_type && (v->is_uint64() || v->get_int64() >= 0)) {
    batch = v->is_uint64() ? std::to_string(v->get_uint64()) : std::to_string(v->get_int64());
  } else {
    return error.set(Catalog_Error::INVALID_PARAMS, "batch: not a non-empty string or a whole number");
  }
  if (batch.size() > Json_Rpc_Dispatcher::LONGEST_KEY)
    return error.set(Catalog_Error::INVALID_PARAMS,
                     (v ? "batch" : "Idempotency-Key") + std::string(": longer than ") +
                         std::to_string(Json_Rpc_Dispatcher::LONGEST_KEY) + " bytes");
  return true;
}

Value true_result() {
  Object o;
  o["result"] = true;
  return Value(std::move(o));
}

}  // namespace

Json_Rpc_Dispatcher::Json_Rpc_Dispatcher(Catalog_Store& store, Commit_Queue* queue) : store_(store), queue_(queue) {}

Value Json_Rpc_Dispatcher::error_answer(Catalog_Error const& error, Value const& id) {
  Object e;
  e["code"] = static_cast<int>(error.code);
  e["message"] = error.message;
  Object answer;
  answer["jsonrpc"] = "2.0";
  answer["error"] = Value(std::move(e));
  answer["id"] = id;
  return Value(std::move(answer));
}

void Json_Rpc_Dispatcher::log_refusal(std::string const& what, Catalog_Error const& error) {
  if (error.code == Catalog_Error::STORAGE_FAILED)
    ACE_ERROR((LM_ERROR, "%s failed: %s.\n", what.c_str(), error.message.c_str()));
  else
    ACE_DEBUG((LM_INFO, "%s refused (%d): %s.\n", what.c_str(), static_cast<int>(error.code), error.message.c_str()));
}

std::string Json_Rpc_Dispatcher::handle(std::string const& body, std::string const& request_key) const {
  Value request;
  std::string parse_error;
  std::vector<JSON_Repeated_Key> repeats;
  if (!JSON_Parse(body.data(), body.size(), request, &parse_error, &repeats)) {
    while (!parse_error.empty() && (parse_error.back() == '\n' || parse_error.back() == ' ')) parse_error.pop_back();
    return JSON_Dump(error_answer(Catalog_Error(Catalog_Error::PARSE_ERROR, "Parse error: " + parse_error), Value()));
  }
  if (request.type() == json_spirit::array_type) {
    Array const& calls = request.get_array();
    if (calls.empty())
      return JSON_Dump(
          error_answer(Catalog_Error(Catalog_Error::INVALID_REQUEST, "Invalid Request: empty batch"), Value()));
    Array answers;
    for (size_t i = 0; i < calls.size(); ++i) {
      Value answer;
      std::string key = request_key.empty() ? request_key : request_key + "#" + std::to_string(i);
      if (handle_one(calls[i], answer, repeats, {std::to_string(i)}, key)) answers.push_back(std::move(answer));
    }
    return answers.empty() ? std::string() : JSON_Dump(Value(std::move(answers)));
  }
  Value answer;
  if (!handle_one(request, answer, repeats, {}, request_key)) return std::string();
  std::string text = JSON_Dump(answer);
  if (text.empty())
    text = JSON_Dump(error_answer(
        Catalog_Error(Catalog_Error::STORAGE_FAILED, "the answer cannot be written as JSON"),
        answer.get_obj().count("id") ? answer.get_obj().at("id") : Value()));
  return text;
}

bool Json_Rpc_Dispatcher::handle_one(Value const& request, Value& answer, std::vector<JSON_Repeated_Key> const& repeats,
                                     std::vector<std::string> path, std::string const& request_key) const {
  auto invalid = [&answer](std::string const& why, Value const& id) {
    answer = error_answer(Catalog_Error(Catalog_Error::INVALID_REQUEST, "Invalid Request: " + why), id);
    return true;
  };
  if (request.type() != json_spirit::obj_type) return invalid("not an object", Value());
  Object const& o = request.get_obj();

  // The id first, so that every later error can be matched to its call.
  Value id;
  auto it = o.find("id");
  bool notification = it == o.end();
  if (!notification) {
    auto t = it->second.type();
    if (t != json_spirit::str_type && t != json_spirit::int_type && t != json_spirit::real_type &&
        t != json_spirit::null_type)
      return invalid("id: not a string, number or null", Value());
    id = it->second;
  }
  it = o.find("jsonrpc");
  if (it == o.end()) return invalid("jsonrpc: missing", id);
  if (it->second.type() != json_spirit::str_type || it->second.get_str() != "2.0")
    return invalid("jsonrpc: not \"2.0\"", id);
  it = o.find("method");
  if (it == o.end()) return invalid("method: missing", id);
  if (it->second.type() != json_spirit::str_type) return invalid("method: not a string", id);
  std::string const& method = it->second.get_str();
  it = o.find("params");
  Value const* params = nullptr;
  if (it != o.end()) {
    auto t = it->second.type();
    if (t != json_spirit::obj_type && t != json_spirit::array_type) return invalid("params: not an object or array", id);
    params = &it->second;
  }

  Value result;
  Catalog_Error error;
  path.push_back("params");
  bool ok = call(method, params ? *params : Value(), result, error, Set_Document::later_values(repeats, path),
                 request_key);
  if (!ok) log_refusal(method, error);
  if (notification) return false;
  if (!ok) {
    answer = error_answer(error, id);
    return true;
  }
  Object a;
  a["jsonrpc"] = "2.0";
  a["result"] = std::move(result);
  a["id"] = id;
  answer = Value(std::move(a));
  return true;
}

bool Json_Rpc_Dispatcher::call(std::string const& method, Value const& params, Value& result, Catalog_Error& error,
                               Set_Document::Later_Values const& later, std::string const& request_key) const {
  static char const prefix[] = "backup_set.";
  if (method.rfind(prefix, 0) != 0) return error.set(Catalog_Error::METHOD_NOT_FOUND, "Method not found: " + method);
  std::string const name = method.substr(sizeof prefix - 1);
  bool known = name == "initialize" || name == "add_piece" || name == "complete" || name == "abort" ||
               name == "commit" || name == "update" || name == "select";
  if (!known) return error.set(Catalog_Error::METHOD_NOT_FOUND, "Method not found: " + method);
  if (params.type() != json_spirit::obj_type) {
    if (params.is_null()) return error.set(Catalog_Error::INVALID_PARAMS, "params: missing");
    return error.set(Catalog_Error::INVALID_PARAMS, "params: not an object");
  }

  bool too_deep = false;
  std::string why;
  if (!Set_Document_Validator::validate_tree(params, "", too_deep, why))
    return error.set(too_deep ? Catalog_Error::PARSE_ERROR : Catalog_Error::INVALID_PARAMS, why);

  if (name == "commit") return commit(Set_Document(params, later), result, error);
  if (name == "initialize" || name == "complete") {
    Set_Document doc(params, later);
    bool ok = name == "initialize" ? store_.initialize(doc, error) : store_.complete(doc, error);
    if (!ok) return false;
    result = true_result();
    return true;
  }
  if (name == "update") {
    std::string uuid;
    if (!uuid_param(params, uuid, error) || !store_.update(uuid, params, later, error)) return false;
    result = true_result();
    return true;
  }
  if (name == "add_piece") {
    std::string uuid;
    if (!uuid_param(params, uuid, error)) return false;
    Value const* pieces = member(params, "pieces");
    if (!pieces) return error.set(Catalog_Error::INVALID_PARAMS, "pieces: missing");
    std::string batch;
    if (!batch_param(params, request_key, batch, error)) return false;
    bool duplicate = false;
    if (!store_.add_pieces(uuid, *pieces, batch, duplicate, error)) return false;
    result = true_result();
    if (duplicate) result.get_obj()["duplicate"] = true;
    return true;
  }
  if (name == "abort") {
    std::string uuid;
    Array pieces;
    if (!uuid_param(params, uuid, error) || !store_.abort(uuid, pieces, error)) return false;
    Object o;
    o["result"] = true;
    o["pieces"] = Value(std::move(pieces));
    result = Value(std::move(o));
    return true;
  }
  // select
  std::string module, view;
  if (!text_param(params, "module", module, error) || !text_param(params, "view", view, error)) return false;
  Object none;
  Object const* param = &none;
  if (Value const* p = member(params, "param")) {
    if (p->type() == json_spirit::obj_type)
      param = &p->get_obj();
    else if (!p->is_null())
      return error.set(Catalog_Error::INVALID_PARAMS, "param: not an object");
  }
  return store_.select(module, view, *param, result, error);
}

bool Json_Rpc_Dispatcher::commit(Set_Document const& doc, Value& result, Catalog_Error& error) const {
  Object o;
  o["result"] = true;
  if (!queue_) {
    if (!store_.commit(doc, error)) return false;
  } else {
    // Checked now, so that a bad document is answered with its bad member
    // instead of being dropped by the worker.
    if (!Catalog_Store::check(doc, error)) return false;
    if (!queue_->push(doc.common().get_obj().at("uuid").get_str(), doc))
      return error.set(Catalog_Error::STORAGE_FAILED, "the service is shutting down");
    o["queued"] = true;
  }
  o["uuid"] = doc.common().get_obj().at("uuid").get_str();
  result = Value(std::move(o));
  return true;
}
