#include "platform/rpc/json_rpc_session.h"

#include <atomic>
#include <cstring>

#include <ace/Log_Msg.h>
#include <curl/curl.h>
#include <yajl/yajl_gen.h>

#include "platform/text/request_key.h"

namespace {

std::atomic<long long> next_id{1};

size_t collect(char* data, size_t size, size_t count, void* user) {
  static_cast<std::string*>(user)->append(data, size * count);
  return size * count;
}

// Owns a yajl generator for the length of one request body.
struct Body {
  Body() : gen(yajl_gen_alloc(nullptr)) {}
  ~Body() {
    if (gen) yajl_gen_free(gen);
  }
  yajl_gen gen;
};

void key(yajl_gen g, char const* k) { yajl_gen_string(g, reinterpret_cast<unsigned char const*>(k), strlen(k)); }

}  // namespace

JSON_RPC_Session::JSON_RPC_Session(Global_JSON_RPC_Channel::Ptr const& channel) : channel_(channel), handle_(nullptr) {}

JSON_RPC_Session::~JSON_RPC_Session() {
  if (handle_ && channel_.get()) channel_->release(handle_);
}

bool JSON_RPC_Session::make_rpc_request(char const* method, json_spirit::Value const& params,
                                        JSON_RPC_Object_Ptr& request) {
  if (!method || !*method) return false;
  request.reset(JSON_RPC_Object::make_request(method, params, next_id.fetch_add(1)));
  return true;
}

bool JSON_RPC_Session::request(JSON_RPC_Object_Ptr const& request, JSON_RPC_Object_Ptr& response,
                               long long timeout) {
  if (!request.get() || request->kind() != JSON_RPC_Object::JSON_RPC_REQUEST) {
    last_error_ = "not a request";
    return false;
  }
  Body body;
  if (!body.gen || !request->write(body.gen)) {
    last_error_ = "request could not be written";
    return false;
  }
  unsigned char const* buf = nullptr;
  size_t len = 0;
  yajl_gen_get_buf(body.gen, &buf, &len);
  return send(reinterpret_cast<char const*>(buf), len, request->id(), response, timeout);
}

bool JSON_RPC_Session::request(char const* method, JSON_Generator* params, JSON_RPC_Object_Ptr& response,
                               long long timeout) {
  if (!method || !*method) {
    last_error_ = "no method";
    return false;
  }
  Body body;
  if (!body.gen) return false;
  long long id = next_id.fetch_add(1);
  yajl_gen g = body.gen;
  yajl_gen_map_open(g);
  key(g, "jsonrpc");
  key(g, "2.0");
  key(g, "method");
  key(g, method);
  if (params) {
    key(g, "params");
    if (!params->generate(g)) {
      last_error_ = "parameters could not be written";
      return false;
    }
  }
  key(g, "id");
  yajl_gen_integer(g, id);
  // A generator that left its value unbalanced shows up here: either the
  // close fails or the envelope is still open after it.
  if (yajl_gen_map_close(g) != yajl_gen_status_ok || yajl_gen_null(g) != yajl_gen_generation_complete) {
    last_error_ = "parameters are not one JSON value";
    return false;
  }
  unsigned char const* buf = nullptr;
  size_t len = 0;
  if (yajl_gen_get_buf(g, &buf, &len) != yajl_gen_status_ok) {
    last_error_ = "request could not be written";
    return false;
  }
  return send(reinterpret_cast<char const*>(buf), len, id, response, timeout);
}

bool JSON_RPC_Session::send(char const* body, size_t size, long long id, JSON_RPC_Object_Ptr& response,
                            long long timeout) {
  if (!channel_.get()) {
    last_error_ = "no channel";
    return false;
  }
  if (!handle_) handle_ = channel_->acquire();
  if (!handle_) {
    last_error_ = "no libcurl handle";
    return false;
  }

  long limit_ms = timeout > 0 ? static_cast<long>(timeout > 2000000 ? 2000000000L : timeout * 1000) : 0;
  long cap_ms = channel_->options().request_timeout_ms;
  if (cap_ms > 0 && (limit_ms == 0 || cap_ms < limit_ms)) limit_ms = cap_ms;

  // The channel's headers plus the request's name: the id is the same in
  // every attempt of a call made from one request object, so the server
  // stores a retried batch of pieces once.
  curl_slist* headers = nullptr;
  for (curl_slist* h = channel_->headers(); h; h = h->next) headers = curl_slist_append(headers, h->data);
  headers = curl_slist_append(headers, (std::string(Request_Key::HEADER) + ": " + Request_Key::of(id)).c_str());
  curl_easy_setopt(handle_, CURLOPT_HTTPHEADER, headers);

  answer_.clear();
  curl_easy_setopt(handle_, CURLOPT_POSTFIELDS, body);
  curl_easy_setopt(handle_, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(size));
  curl_easy_setopt(handle_, CURLOPT_TIMEOUT_MS, limit_ms);
  curl_easy_setopt(handle_, CURLOPT_WRITEFUNCTION, &collect);
  curl_easy_setopt(handle_, CURLOPT_WRITEDATA, &answer_);

  CURLcode rc = curl_easy_perform(handle_);
  curl_easy_setopt(handle_, CURLOPT_HTTPHEADER, channel_->headers());
  curl_slist_free_all(headers);
  if (rc != CURLE_OK) {
    last_error_ = curl_easy_strerror(rc);
    ACE_DEBUG((LM_DEBUG, "JSON-RPC request to '%s' failed: %s.\n", channel_->url().c_str(), last_error_.c_str()));
    return false;
  }
  long status = 0;
  curl_easy_getinfo(handle_, CURLINFO_RESPONSE_CODE, &status);

  JSON_RPC_Object* answer = JSON_RPC_Object::parse_response(answer_.data(), answer_.size(), id);
  if (!answer) {
    last_error_ = "HTTP " + std::to_string(status) + " with a body that is not JSON";
    ACE_DEBUG((LM_DEBUG, "JSON-RPC answer from '%s' unreadable: %s.\n", channel_->url().c_str(), last_error_.c_str()));
    return false;
  }
  int kind = answer->kind();
  // An HTTP error that carries no JSON-RPC answer is a failed exchange.
  if ((status < 200 || status > 299) && kind != JSON_RPC_Object::JSON_RPC_RESULT &&
      kind != JSON_RPC_Object::JSON_RPC_ERROR) {
    delete answer;
    last_error_ = "HTTP " + std::to_string(status);
    ACE_DEBUG((LM_DEBUG, "JSON-RPC request to '%s' failed: %s.\n", channel_->url().c_str(), last_error_.c_str()));
    return false;
  }
  response.reset(answer);
  return true;
}
