#include "server/catalog_service.h"

#include <httplib.h>

#include <sys/socket.h>

#include <chrono>
#include <cstdlib>

#include <ace/Log_Msg.h>

#include "backup/backup_set/common/bset_commit_action.h"
#include "platform/json/json_text.h"
#include "server/catalog_error.h"
#include "server/catalog_store.h"
#include "server/json_rpc_dispatcher.h"
#include "server/set_document.h"
#include "server/set_document_validator.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

char const kJson[] = "application/json";
// The header a client names a request with, the same in each of its
// retries, so that a retried batch of pieces is stored once.
char const kIdempotencyKey[] = "Idempotency-Key";

void answer(httplib::Response& res, int status, Value const& body) {
  std::string text = JSON_Dump(body);
  if (text.empty()) {
    // Never an empty success: the value cannot be written (nested too deep).
    res.status = 500;
    res.set_content(R"({"code":-32000,"message":"the answer cannot be written as JSON","result":false})", kJson);
    return;
  }
  res.status = status;
  res.set_content(std::move(text), kJson);
}

void refuse(httplib::Response& res, Catalog_Error const& error) {
  Object o;
  o["result"] = false;
  o["code"] = static_cast<int>(error.code);
  o["message"] = error.message;
  answer(res, error.http_status(), Value(std::move(o)));
}

// A set document keeps a key written twice (the common value and a kind's)
// as its first value plus `later`.
bool parse_body(std::string const& body, Value& doc, Set_Document::Later_Values& later, Catalog_Error& error) {
  std::string why;
  std::vector<JSON_Repeated_Key> repeats;
  if (JSON_Parse(body.data(), body.size(), doc, &why, &repeats)) {
    later = Set_Document::later_values(repeats, {});
    return true;
  }
  while (!why.empty() && (why.back() == '\n' || why.back() == ' ')) why.pop_back();
  return error.set(Catalog_Error::PARSE_ERROR, "body: not JSON: " + why);
}

// Compares without stopping at the first difference, so the time taken does
// not tell how much of a guessed token was right.
bool same_secret(std::string const& a, std::string const& b) {
  unsigned char diff = a.size() == b.size() ? 0 : 1;
  for (size_t i = 0; i < a.size(); ++i) diff |= static_cast<unsigned char>(a[i] ^ (i < b.size() ? b[i] : 0));
  return diff == 0;
}

Value true_result() {
  Object o;
  o["result"] = true;
  return Value(std::move(o));
}

}  // namespace

Catalog_Service::Catalog_Service(Server_Options const& options, Json_Rpc_Dispatcher const& dispatcher,
                                 Catalog_Store& store)
    : options_(options), dispatcher_(dispatcher), store_(store) {}

Catalog_Service::~Catalog_Service() { stop(); }

bool Catalog_Service::start(std::string& error) {
  if (!options_.tls_cert.empty()) {
    auto tls = std::make_unique<httplib::SSLServer>(options_.tls_cert.c_str(), options_.tls_key.c_str());
    if (!tls->is_valid()) {
      error = "cannot load the TLS certificate '" + options_.tls_cert + "' or key '" + options_.tls_key + "'";
      return false;
    }
    server_ = std::move(tls);
  } else {
    server_ = std::make_unique<httplib::Server>();
  }
  // Small JSON-RPC posts on loopback otherwise wait on Nagle plus delayed
  // ACKs (tens of milliseconds each); agents keep their connection open.
  server_->set_tcp_nodelay(true);
  // The library listens with a backlog of 5: a burst of agents that each
  // connect anew would find the queue full. Its socket is kept to listen
  // again with the system's maximum once bound.
  int listening = -1;
  server_->set_socket_options([&listening](socket_t sock) {
    httplib::default_socket_options(sock);
    listening = sock;
  });
  server_->set_payload_max_length(static_cast<size_t>(options_.max_body));
  server_->set_keep_alive_max_count(static_cast<size_t>(options_.keep_alive_max));
  server_->set_keep_alive_timeout(options_.keep_alive_timeout);
  size_t threads = static_cast<size_t>(options_.threads);
  server_->new_task_queue = [threads] { return new httplib::ThreadPool(threads); };
  routes();

  if (options_.port == 0) {
    port_ = server_->bind_to_any_port(options_.listen);
  } else {
    port_ = server_->bind_to_port(options_.listen, options_.port) ? options_.port : -1;
  }
  if (port_ < 0) {
    error = "cannot listen on " + options_.listen + ":" + std::to_string(options_.port);
    server_.reset();
    return false;
  }
  if (listening >= 0) ::listen(listening, SOMAXCONN);
  listening_done_ = false;
  listener_ = std::thread([this] {
    server_->listen_after_bind();
    listening_done_ = true;
  });
  // stop() only reaches a server that runs already; wait for it to, so that
  // a stop right after start cannot be lost.
  while (!server_->is_running() && !listening_done_) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  if (!server_->is_running()) {
    listener_.join();
    error = "cannot serve on " + options_.listen + ":" + std::to_string(port_);
    server_.reset();
    return false;
  }
  return true;
}

void Catalog_Service::stop_taking() {
  if (server_) server_->stop();
  std::unique_lock<std::mutex> lock(busy_mutex_);
  idle_.wait(lock, [this] { return busy_ == 0; });
}

void Catalog_Service::stop() {
  stop_taking();
  if (listener_.joinable()) listener_.join();
}

Catalog_Service::In_Flight::In_Flight(Catalog_Service const& service) : service_(service) {
  std::lock_guard<std::mutex> lock(service_.busy_mutex_);
  ++service_.busy_;
}

Catalog_Service::In_Flight::~In_Flight() {
  {
    std::lock_guard<std::mutex> lock(service_.busy_mutex_);
    --service_.busy_;
  }
  service_.idle_.notify_all();
}

bool Catalog_Service::authorized(httplib::Request const& req) const {
  if (options_.token.empty()) return true;
  auto it = req.headers.find("Authorization");
  if (it == req.headers.end()) return false;
  static char const scheme[] = "Bearer ";
  std::string const& value = it->second;
  if (value.size() < sizeof scheme - 1 || strncasecmp(value.c_str(), scheme, sizeof scheme - 1) != 0) return false;
  return same_secret(value.substr(sizeof scheme - 1), options_.token);
}

void Catalog_Service::routes() {
  httplib::Server& s = *server_;
  s.set_pre_routing_handler([this](httplib::Request const& req, httplib::Response& res) {
    if (authorized(req)) return httplib::Server::HandlerResponse::Unhandled;
    res.set_header("WWW-Authenticate", "Bearer");
    Object o;
    o["result"] = false;
    o["message"] = "Authorization: a valid bearer token is required";
    answer(res, 401, Value(std::move(o)));
    ACE_DEBUG((LM_INFO, "Refused %s %s from %s: no valid bearer token.\n", req.method.c_str(), req.path.c_str(),
               req.remote_addr.c_str()));
    return httplib::Server::HandlerResponse::Handled;
  });
  s.set_exception_handler([](httplib::Request const& req, httplib::Response& res, std::exception_ptr ep) {
    std::string what = "unknown exception";
    try {
      std::rethrow_exception(ep);
    } catch (std::exception const& e) {
      what = e.what();
    } catch (...) {
    }
    ACE_ERROR((LM_ERROR, "%s %s failed: %s.\n", req.method.c_str(), req.path.c_str(), what.c_str()));
    refuse(res, Catalog_Error(Catalog_Error::STORAGE_FAILED, "internal error: " + what));
  });

  // Bodies are read by the routes themselves, whatever their content type:
  // the library would otherwise refuse a large body that a client labelled
  // as a form.
  typedef void (Catalog_Service::*Body_Route)(httplib::Request const&, std::string const&, httplib::Response&) const;
  auto with_body = [this](Body_Route route) {
    return [this, route](httplib::Request const& req, httplib::Response& res, httplib::ContentReader const& reader) {
      In_Flight busy(*this);
      size_t const limit = static_cast<size_t>(options_.max_body);
      std::string body;
      if (req.has_header("Content-Length")) {
        unsigned long long declared = std::strtoull(req.get_header_value("Content-Length").c_str(), nullptr, 10);
        if (declared > 4 * static_cast<unsigned long long>(limit)) {
          // Far too large to read and drop: refused before a byte of it is
          // read, rather than holding a worker while it trickles in.
          res.set_header("Connection", "close");
          return too_large(req, res);
        }
        if (declared <= limit) body.reserve(static_cast<size_t>(declared));
      }
      // A body over the limit is read on and dropped (up to a bound), so the
      // client sees the refusal instead of a reset connection.
      size_t seen = 0;
      bool whole = reader([&body, &seen, limit](char const* data, size_t length) {
        seen += length;
        if (seen <= limit) body.append(data, length);
        return seen <= 4 * limit;
      });
      if (seen > limit) return too_large(req, res);
      if (!whole) return;  // the connection broke; nobody is left to answer
      (this->*route)(req, body, res);
    };
  };
  s.set_error_handler([this](httplib::Request const& req, httplib::Response& res) {
    if (!res.body.empty()) return;
    if (res.status == 413) return too_large(req, res);
    int status = res.status;
    if (status == 404)
      refuse(res, Catalog_Error(Catalog_Error::METHOD_NOT_FOUND, "no resource " + req.method + " " + req.path));
    else
      refuse(res, Catalog_Error(Catalog_Error::INVALID_REQUEST,
                                "the request was refused (HTTP " + std::to_string(status) + ")"));
    res.status = status;
  });
  s.Post("/rpc", with_body(&Catalog_Service::rpc));
  s.Post("/", with_body(&Catalog_Service::rpc));
  s.Post("/d2/r/v2/sets", with_body(&Catalog_Service::post_sets));
  s.Put("/d2/r/v2/sets", with_body(&Catalog_Service::put_sets));
  s.Get("/d2/r/v2/sets/select", [this](httplib::Request const& req, httplib::Response& res) {
    In_Flight busy(*this);
    select(req, res);
  });
  s.Get("/d2/r/v2/sets/exists", [this](httplib::Request const& req, httplib::Response& res) {
    In_Flight busy(*this);
    exists(req, res);
  });
}

void Catalog_Service::too_large(httplib::Request const& req, httplib::Response& res) const {
  Catalog_Error error(Catalog_Error::INVALID_REQUEST, "body: larger than the limit of " +
                                                          std::to_string(options_.max_body) + " bytes (--max-body)");
  Json_Rpc_Dispatcher::log_refusal(req.method + " " + req.path, error);
  refuse(res, error);
  res.status = 413;
}

void Catalog_Service::rpc(httplib::Request const& req, std::string const& body, httplib::Response& res) const {
  std::string answer = dispatcher_.handle(body, req.get_header_value(kIdempotencyKey));
  if (answer.empty()) {
    res.status = 204;  // notifications only
    return;
  }
  res.status = 200;
  res.set_content(std::move(answer), kJson);
}

void Catalog_Service::post_sets(httplib::Request const& req, std::string const& body, httplib::Response& res) const {
  Catalog_Error error;
  Value doc;
  std::string method = "backup_set.commit";
  if (req.has_param("action")) {
    std::string action = req.get_param_value("action");
    switch (name_to_commit_action(action.c_str())) {
      case BSET_COMMIT_ACTION_INITIALIZE: method = "backup_set.initialize"; break;
      case BSET_COMMIT_ACTION_ADD_PIECE: method = "backup_set.add_piece"; break;
      case BSET_COMMIT_ACTION_COMPLETE: method = "backup_set.complete"; break;
      case BSET_COMMIT_ACTION_ABORT: method = "backup_set.abort"; break;
      default:
        error.set(Catalog_Error::INVALID_PARAMS, "action: unknown action '" + action + "'");
        Json_Rpc_Dispatcher::log_refusal("POST /d2/r/v2/sets", error);
        return refuse(res, error);
    }
  }
  Value result;
  Set_Document::Later_Values later;
  if (!parse_body(body, doc, later, error) ||
      !dispatcher_.call(method, doc, result, error, later, req.get_header_value(kIdempotencyKey))) {
    Json_Rpc_Dispatcher::log_refusal("POST /d2/r/v2/sets " + method, error);
    return refuse(res, error);
  }
  if (method == "backup_set.abort") {
    // The REST abort answers the staged pieces themselves.
    Value pieces = result.get_obj().at("pieces");
    return answer(res, 200, pieces);
  }
  answer(res, 200, result);
}

void Catalog_Service::put_sets(httplib::Request const& req, std::string const& body, httplib::Response& res) const {
  Catalog_Error error;
  Value doc;
  std::string uuid = req.get_param_value("uuid");
  bool ok = true;
  if (!req.has_param("uuid"))
    ok = error.set(Catalog_Error::INVALID_PARAMS, "uuid: missing from the query");
  else if (!Set_Document_Validator::is_uuid(uuid))
    ok = error.set(Catalog_Error::INVALID_PARAMS, "uuid: not a UUID");
  Set_Document::Later_Values later;
  ok = ok && parse_body(body, doc, later, error);
  bool too_deep = false;
  std::string why;
  if (ok && !Set_Document_Validator::validate_tree(doc, "", too_deep, why))
    ok = error.set(too_deep ? Catalog_Error::PARSE_ERROR : Catalog_Error::INVALID_PARAMS, why);
  ok = ok && store_.update(uuid, doc, later, error);
  if (!ok) {
    Json_Rpc_Dispatcher::log_refusal("PUT /d2/r/v2/sets", error);
    return refuse(res, error);
  }
  answer(res, 200, true_result());
}

void Catalog_Service::select(httplib::Request const& req, httplib::Response& res) const {
  Catalog_Error error;
  Object params;
  std::string module, view;
  for (auto const& p : req.params) {
    if (p.first == "module")
      module = p.second;
    else if (p.first == "view")
      view = p.second;
    else
      params[p.first] = p.second;  // typed by the view that reads it
  }
  Value result;
  bool ok = true;
  if (module.empty())
    ok = error.set(Catalog_Error::INVALID_PARAMS, "module: missing");
  else if (view.empty())
    ok = error.set(Catalog_Error::INVALID_PARAMS, "view: missing");
  ok = ok && store_.select(module, view, params, result, error);
  if (!ok) {
    Json_Rpc_Dispatcher::log_refusal("GET /d2/r/v2/sets/select", error);
    return refuse(res, error);
  }
  answer(res, 200, result);
}

void Catalog_Service::exists(httplib::Request const& req, httplib::Response& res) const {
  Catalog_Error error;
  std::string uuid = req.get_param_value("uuid");
  bool found = false;
  bool ok = true;
  if (!req.has_param("uuid"))
    ok = error.set(Catalog_Error::INVALID_PARAMS, "uuid: missing from the query");
  else if (!Set_Document_Validator::is_uuid(uuid))
    ok = error.set(Catalog_Error::INVALID_PARAMS, "uuid: not a UUID");
  ok = ok && store_.exists(uuid, found, error);
  if (!ok) {
    Json_Rpc_Dispatcher::log_refusal("GET /d2/r/v2/sets/exists", error);
    return refuse(res, error);
  }
  Object o;
  o["uuid"] = uuid;
  o["exists"] = found;
  answer(res, found ? 200 : 404, Value(std::move(o)));
}
