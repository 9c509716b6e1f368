// The catalogue operators against whatever a server answers. An HTTP server
// in this process answers each request with the next status and body the
// input gives; the JSON-RPC operator (over the process's channel) and the
// REST operator run one call against it, and the call's outcome and outputs
// are checked against the answers it got.
//
// A call must succeed exactly when its answers say so by the operators'
// rules. A JSON-RPC call ends at the first attempt that was answered (a
// result or an error for its id, or any JSON with a success status) and
// tries again, as its limits allow, only when one was not; commit,
// initialize, add_piece, complete and abort want a result whose "result" is
// true, abort and views hand over what the result holds, an update takes
// any result. A REST commit wants a success status and that same result;
// the staged steps and updates over REST want a success status only; a REST
// abort wants a JSON array. A queued commit with a uuid, when confirmed,
// polls "exists" for that uuid until a success, as often as the limits
// allow. Every request goes where it should with what it should carry, and
// a failed call leaves its outputs alone.
//
// Input: an operation byte, a flag byte, a limits byte, then the answers,
// separated by the byte 0x1e. An answer starting with three digits has that
// status (read into 200..599) and may have one space before its body;
// otherwise its first byte picks a status from a table. In a body "@id"
// stands for the id of the JSON-RPC request being answered. When the
// answers run out the server says 503 with no body.
//   flags & 1: commit with confirmation; flags & 6: the view parameters;
//   flags & 8: a set uuid that needs percent-encoding.
//   limits & 3: retries; (limits >> 2) & 7, minus one: retry_timeout.
#include <cctype>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <httplib.h>
#include <yajl/yajl_gen.h>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/catalog_operator.h"
#include "backup/backup_set/common/restful_catalog_operator.h"
#include "fuzz/fuzz_support.h"
#include "platform/json/json_text.h"
#include "platform/json/secure_string.h"
#include "platform/json/value.h"
#include "platform/rest/http_client_options.h"
#include "platform/rest/upstream_json_restful_client.h"
#include "platform/retry/retry_sleep.h"
#include "platform/rpc/global_json_rpc_channel.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

char const kUuid[] = "6f1c1c2e-8f9e-4a55-9a41-0c1d2e3f4a5b";
char const kOddUuid[] = "a b/c+\xc3\xa9~";

// One request as the server saw it, and what it answered.
struct Exchange {
  std::string method;
  std::string path;
  std::string query;  // raw, after '?'
  std::string body;
  int status = 0;
  std::string answer;
};

struct Answer {
  int status;
  std::string body;
};

class Script_Server {
 public:
  Script_Server() {
    server_.set_tcp_nodelay(true);
    server_.set_keep_alive_max_count(1000000);
    // The operators keep their connections; one closed under them between
    // two inputs would show as a request the server never saw.
    server_.set_keep_alive_timeout(600);
    // A kept connection holds a worker; leave room for every client.
    server_.new_task_queue = [] { return new httplib::ThreadPool(32); };
    auto handle = [this](httplib::Request const& req, httplib::Response& res) { answer(req, res); };
    server_.Get(".*", handle);
    server_.Post(".*", handle);
    server_.Put(".*", handle);
    port_ = server_.bind_to_any_port("127.0.0.1");
    if (port_ <= 0) fuzz_fail("the answering server cannot listen");
    thread_ = std::thread([this] { server_.listen_after_bind(); });
    while (!server_.is_running()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }

  int port() const { return port_; }

  void start(std::deque<Answer> answers) {
    std::lock_guard<std::mutex> lock(mutex_);
    answers_ = std::move(answers);
    log_.clear();
  }
  std::vector<Exchange> log() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return log_;
  }

 private:
  static std::string id_of(std::string const& body) {
    Value v;
    if (!JSON_Parse(body, v) || v.type() != json_spirit::obj_type) return "null";
    auto it = v.get_obj().find("id");
    return it == v.get_obj().end() ? "null" : JSON_Dump(it->second);
  }

  void answer(httplib::Request const& req, httplib::Response& res) {
    Exchange e;
    e.method = req.method;
    e.path = req.path;
    size_t q = req.target.find('?');
    if (q != std::string::npos) e.query = req.target.substr(q + 1);
    e.body = req.body;
    std::lock_guard<std::mutex> lock(mutex_);
    Answer a{503, std::string()};
    if (!answers_.empty()) {
      a = std::move(answers_.front());
      answers_.pop_front();
    }
    std::string const id = id_of(req.body);
    for (size_t at = a.body.find("@id"); at != std::string::npos; at = a.body.find("@id", at + id.size()))
      a.body.replace(at, 3, id);
    // These statuses carry no body.
    if (a.status == 204 || a.status == 304) a.body.clear();
    e.status = a.status;
    e.answer = a.body;
    res.status = a.status;
    res.set_content(a.body, "application/json");
    log_.push_back(std::move(e));
  }

  httplib::Server server_;
  std::thread thread_;
  int port_ = -1;
  mutable std::mutex mutex_;
  std::deque<Answer> answers_;
  std::vector<Exchange> log_;
};

Script_Server* server = nullptr;
RESTful_Catalog_Operator* rest = nullptr;

void no_sleep(unsigned) {}

// ---- what the operators must make of an answer ----

bool success(int status) { return status >= 200 && status <= 299; }

Value const* member(Value const& v, char const* key) {
  if (v.type() != json_spirit::obj_type) return nullptr;
  auto const& o = v.get_obj();
  auto it = o.find(key);
  return it == o.end() ? nullptr : &it->second;
}

long long request_id(Exchange const& e) {
  Value v;
  if (!JSON_Parse(e.body, v)) fuzz_fail("a JSON-RPC request that is not JSON", e.body);
  Value const* id = member(v, "id");
  if (!id || id->type() != json_spirit::int_type) fuzz_fail("a JSON-RPC request without an integer id", e.body);
  return id->get_int64();
}

bool version_ok(Value const& a) {
  Value const* v = member(a, "jsonrpc");
  return !v || (v->type() == json_spirit::str_type && v->get_str() == "2.0");
}

bool our_id(Value const* id, long long expected) {
  return id && id->type() == json_spirit::int_type && !id->is_uint64() && id->get_int64() == expected;
}

// A result answer to the request: `result` gets its result.
bool rpc_result(Exchange const& e, Value& result) {
  Value a;
  if (!JSON_Parse(e.answer, a) || a.type() != json_spirit::obj_type || !version_ok(a)) return false;
  Value const* r = member(a, "result");
  if (!r || member(a, "error") || !our_id(member(a, "id"), request_id(e))) return false;
  result = *r;
  return true;
}

// An error answer to the request (the id may be null: the server could not
// read it).
bool rpc_error(Exchange const& e) {
  Value a;
  if (!JSON_Parse(e.answer, a) || a.type() != json_spirit::obj_type || !version_ok(a)) return false;
  Value const* error = member(a, "error");
  if (!error || member(a, "result")) return false;
  Value const* id = member(a, "id");
  if (id && !id->is_null() && !our_id(id, request_id(e))) return false;
  Value const* code = member(*error, "code");
  return code && code->type() == json_spirit::int_type && !code->is_uint64() && code->get_int64() >= INT32_MIN &&
         code->get_int64() <= INT32_MAX;
}

// Whether an attempt got an answer at all (anything else is retried): JSON
// that is a result or an error, or any JSON with a success status.
bool rpc_answered(Exchange const& e) {
  Value a;
  if (!JSON_Parse(e.answer, a)) return false;
  Value ignored;
  return success(e.status) || rpc_result(e, ignored) || rpc_error(e);
}

// A commit's (and the staged steps') result: an object whose "result" is
// the boolean true.
bool result_true(Value const& r) {
  Value const* ok = member(r, "result");
  return ok && ok->type() == json_spirit::bool_type && ok->get_bool();
}

// The seconds of the n-th back-off step: 1, 2, 4, ... held at 60.
unsigned long long delay(int n) { return n >= 7 ? 60 : (1ULL << (n - 1)); }

// How many attempts a request loop makes when none is answered.
int request_attempts(int retries, int retry_timeout) {
  unsigned long long slept = 0;
  for (int n = 1;; ++n) {
    if ((retries != -1 && retries < n) || (retry_timeout != -1 && slept >= static_cast<unsigned>(retry_timeout)))
      return n;
    slept += delay(n);
  }
}

// How many polls the confirmation makes when none succeeds: there the
// time-out counts polls and the retries count seconds.
int confirm_polls(int retries, int retry_timeout) {
  unsigned long long slept = 0;
  for (int n = 1;; ++n) {
    if ((retry_timeout != -1 && retry_timeout < n) || (retries != -1 && slept >= static_cast<unsigned>(retries)))
      return n;
    slept += delay(n);
  }
}

// The query-string form of a text: letters, digits and -_.~ as they are,
// a space as '+', every other byte as %xx in lower case.
std::string encoded(std::string const& text) {
  static char const hex[] = "0123456789abcdef";
  std::string out;
  for (unsigned char c : text) {
    if (isalnum(c) || c == '-' || c == '_' || c == '.' || c == '~') {
      out += static_cast<char>(c);
    } else if (c == ' ') {
      out += '+';
    } else {
      out += '%';
      out += hex[c >> 4];
      out += hex[c & 15];
    }
  }
  return out;
}

// ---- the calls ----

enum Op {
  RPC_COMMIT_SET, RPC_COMMIT_DOC, RPC_UPDATE_SET, RPC_UPDATE_DOC, RPC_INITIALIZE_SET, RPC_INITIALIZE_DOC,
  RPC_ADD_PIECE, RPC_COMPLETE_SET, RPC_COMPLETE_DOC, RPC_ABORT, RPC_GET_VIEW, RPC_GET_FIRST_VIEW,
  REST_COMMIT_SET, REST_COMMIT_DOC, REST_UPDATE_SET, REST_UPDATE_DOC, REST_INITIALIZE_SET, REST_INITIALIZE_DOC,
  REST_ADD_PIECE, REST_COMPLETE_SET, REST_COMPLETE_DOC, REST_ABORT, REST_GET_VIEW, REST_GET_FIRST_VIEW,
  OP_COUNT
};

char const* const kOpNames[OP_COUNT] = {
    "rpc commit(set)", "rpc commit(doc)", "rpc update(set)", "rpc update(doc)", "rpc initialize(set)",
    "rpc initialize(doc)", "rpc add_piece", "rpc complete(set)", "rpc complete(doc)", "rpc abort",
    "rpc get_view", "rpc get_first_view", "rest commit(set)", "rest commit(doc)", "rest update(set)",
    "rest update(doc)", "rest initialize(set)", "rest initialize(doc)", "rest add_piece", "rest complete(set)",
    "rest complete(doc)", "rest abort", "rest get_view", "rest get_first_view"};

struct Call {
  int op = 0;
  bool confirm = false;
  int retries = 0;
  int retry_timeout = -1;
  std::string uuid;
  std::map<std::string, Value> param;
  std::string param_query;  // the query form of `param`
  Value doc;                // the set's document as a value
  std::string doc_text;     // as the set writes it
  std::vector<Value> pieces;
};

Value const kUnset = Value("unchanged");

struct Outcome {
  bool ok = false;
  Value out = kUnset;  // result or row of a view
  std::vector<Value> pieces{kUnset};
};

void fill_set(Backup_Set& set, std::string const& uuid) {
  set.uuid = uuid;
  set.name = "nightly";
  set.agent = "agent-7";
  set.host = "db01";
  set.size = 4096;
  set.add_piece("/backup/p1", 1024);
  set.add_piece("/backup/p2", 3072);
  set.add_storage("pool-1", 4096);
}

std::string document_of(Backup_Set& set) {
  yajl_gen g = yajl_gen_alloc(nullptr);
  if (!g || !set.generate(g)) fuzz_fail("the set's document cannot be written");
  unsigned char const* buf = nullptr;
  size_t len = 0;
  yajl_gen_get_buf(g, &buf, &len);
  std::string out(reinterpret_cast<char const*>(buf), len);
  yajl_gen_free(g);
  return out;
}

Outcome run(Call const& call) {
  Backup_Set set("file");
  fill_set(set, call.uuid);
  Catalog_Operator rpc(call.retries, call.retry_timeout);
  rest->client()->retries(call.retries);
  rest->client()->retry_timeout(call.retry_timeout);
  rest->init(call.retries, call.retry_timeout);
  Outcome o;
  char const* const module = "backup_set";
  char const* const view = "sets";
  switch (call.op) {
    case RPC_COMMIT_SET: o.ok = rpc.commit(set, call.confirm); break;
    case RPC_COMMIT_DOC: o.ok = rpc.commit(call.doc, call.confirm); break;
    case RPC_UPDATE_SET: o.ok = rpc.update(set); break;
    case RPC_UPDATE_DOC: o.ok = rpc.update(call.doc); break;
    case RPC_INITIALIZE_SET: o.ok = rpc.initialize(set); break;
    case RPC_INITIALIZE_DOC: o.ok = rpc.initialize(call.doc); break;
    case RPC_ADD_PIECE: o.ok = rpc.add_piece(call.uuid, call.pieces); break;
    case RPC_COMPLETE_SET: o.ok = rpc.complete(set); break;
    case RPC_COMPLETE_DOC: o.ok = rpc.complete(call.doc); break;
    case RPC_ABORT: o.ok = rpc.abort(call.uuid, o.pieces); break;
    case RPC_GET_VIEW: o.ok = rpc.get_view(module, view, call.param, o.out); break;
    case RPC_GET_FIRST_VIEW: o.ok = rpc.get_first_view(module, view, call.param, o.out); break;
    case REST_COMMIT_SET: o.ok = rest->commit(set, call.confirm); break;
    case REST_COMMIT_DOC: o.ok = rest->commit(call.doc, call.confirm); break;
    case REST_UPDATE_SET: o.ok = rest->update(set); break;
    case REST_UPDATE_DOC: o.ok = rest->update(call.doc); break;
    case REST_INITIALIZE_SET: o.ok = rest->initialize(set); break;
    case REST_INITIALIZE_DOC: o.ok = rest->initialize(call.doc); break;
    case REST_ADD_PIECE: o.ok = rest->add_piece(call.uuid, call.pieces); break;
    case REST_COMPLETE_SET: o.ok = rest->complete(set); break;
    case REST_COMPLETE_DOC: o.ok = rest->complete(call.doc); break;
    case REST_ABORT: o.ok = rest->abort(call.uuid, o.pieces); break;
    case REST_GET_VIEW: o.ok = rest->get_view(module, view, call.param, o.out); break;
    case REST_GET_FIRST_VIEW: o.ok = rest->get_first_view(module, view, call.param, o.out); break;
  }
  return o;
}

// ---- the checks ----

std::string dump_log(std::vector<Exchange> const& log) {
  std::string out;
  for (Exchange const& e : log)
    out += e.method + " " + e.path + (e.query.empty() ? "" : "?" + e.query) + " " + e.body + "\n  -> " +
           std::to_string(e.status) + " " + e.answer + "\n";
  return out;
}

class Checker {
 public:
  Checker(Call const& call, Outcome const& outcome, std::vector<Exchange> log)
      : call_(call), outcome_(outcome), log_(std::move(log)) {}

  [[noreturn]] void fail(char const* what) const {
    fuzz_fail(what, std::string(kOpNames[call_.op]) + " returned " + (outcome_.ok ? "true" : "false") +
                        " after:\n" + dump_log(log_));
  }

  void expect(bool condition, char const* what) const {
    if (!condition) fail(what);
  }

  // The JSON-RPC exchanges come first; `method` and `params` are what each
  // attempt must send. Returns whether the last attempt was a result answer
  // and its result; `next` is the first exchange after the attempts.
  bool rpc_attempts(char const* method, Value const& params, Value& result, size_t& next) const {
    size_t n = 0;
    while (n < log_.size() && log_[n].path == "/rpc") ++n;
    expect(n > 0, "no JSON-RPC request was sent");
    for (size_t i = 0; i < n; ++i) {
      Exchange const& e = log_[i];
      Value request;
      expect(e.method == "POST" && JSON_Parse(e.body, request), "a JSON-RPC request is not a POST of JSON");
      Value const* m = member(request, "method");
      expect(m && m->type() == json_spirit::str_type && m->get_str() == method,
             "a JSON-RPC request names another method");
      Value const* p = member(request, "params");
      expect(p && *p == params, "a JSON-RPC request carries other parameters");
      expect(version_ok(request) && member(request, "jsonrpc"), "a JSON-RPC request without \"jsonrpc\": \"2.0\"");
      if (i + 1 < n) expect(!rpc_answered(e), "an attempt was made again after an answer");
    }
    if (!rpc_answered(log_[n - 1]))
      expect(static_cast<int>(n) == request_attempts(call_.retries, call_.retry_timeout),
             "unanswered requests were not tried as often as the limits say");
    next = n;
    return rpc_result(log_[n - 1], result);
  }

  // The one REST request of a call.
  Exchange const& rest_request(char const* method, char const* path, std::string const& query) const {
    expect(!log_.empty(), "no REST request was sent");
    Exchange const& e = log_[0];
    expect(e.method == method && e.path == path, "a REST request went to another method or path");
    expect(e.query == query, "a REST request has another query");
    return e;
  }

  // A commit's result, with or without confirmation: the whole outcome.
  // `next` is where the polls would start.
  bool committed(Value const& result, size_t next) const {
    if (!result_true(result)) return false;
    Value const* queued = member(result, "queued");
    Value const* uuid = member(result, "uuid");
    bool const poll = call_.confirm && queued && queued->type() == json_spirit::bool_type && queued->get_bool() &&
                      uuid && uuid->type() == json_spirit::str_type && !uuid->get_str().empty();
    if (!poll) return true;
    polled_ = true;
    std::string const text = uuid->get_str();
    // The uuid goes out as a C string.
    std::string const query = "uuid=" + encoded(text.substr(0, text.find('\0')));
    expect(log_.size() > next, "a queued commit was not polled for");
    for (size_t i = next; i < log_.size(); ++i) {
      Exchange const& e = log_[i];
      expect(e.method == "GET" && e.path == "/d2/r/v2/sets/exists", "a poll went to another method or path");
      expect(e.query == query, "a poll asks for another query");
      if (i + 1 < log_.size()) expect(!success(e.status), "polling went on after the set was there");
    }
    bool const found = success(log_.back().status);
    if (!found)
      expect(static_cast<int>(log_.size() - next) == confirm_polls(call_.retries, call_.retry_timeout),
             "polls were not made as often as the limits say");
    return found;
  }

  void check() const {
    Value result;
    size_t next = 0;
    Value const pieces_params(
        Object{{"pieces", Value(Array(call_.pieces.begin(), call_.pieces.end()))}, {"uuid", Value(call_.uuid)}});
    Value const uuid_params(Object{{"uuid", Value(call_.uuid)}});
    // On the wire a secure string is a string like any other.
    Object param;
    for (auto const& p : call_.param)
      param[p.first] = p.second.type() == json_spirit::secure_str_type ? Value(p.second.get_secure_str().str())
                                                                       : p.second;
    Value const view_params(
        Object{{"module", Value("backup_set")}, {"param", Value(param)}, {"view", Value("sets")}});
    bool expected = false;
    switch (call_.op) {
      case RPC_COMMIT_SET:
      case RPC_COMMIT_DOC:
        expected = rpc_attempts("backup_set.commit", call_.doc, result, next) && committed(result, next);
        break;
      case RPC_UPDATE_SET:
      case RPC_UPDATE_DOC:
      case REST_UPDATE_DOC:
        // An update's result is not looked at.
        expected = rpc_attempts("backup_set.update", call_.doc, result, next);
        break;
      case RPC_INITIALIZE_SET:
      case RPC_INITIALIZE_DOC:
        expected = rpc_attempts("backup_set.initialize", call_.doc, result, next) && result_true(result);
        break;
      case RPC_COMPLETE_SET:
      case RPC_COMPLETE_DOC:
        expected = rpc_attempts("backup_set.complete", call_.doc, result, next) && result_true(result);
        break;
      case RPC_ADD_PIECE:
        expected = rpc_attempts("backup_set.add_piece", pieces_params, result, next) && result_true(result);
        break;
      case RPC_ABORT: {
        expected = rpc_attempts("backup_set.abort", uuid_params, result, next) && result_true(result);
        Value const* staged = member(result, "pieces");
        expected = expected && staged && staged->type() == json_spirit::array_type;
        if (expected && outcome_.ok)
          expect(outcome_.pieces == staged->get_array(), "abort did not hand over the pieces");
        break;
      }
      case RPC_GET_VIEW:
        expected = rpc_attempts("backup_set.select", view_params, result, next);
        if (expected && outcome_.ok) expect(outcome_.out == result, "get_view did not hand over the result");
        break;
      case RPC_GET_FIRST_VIEW:
        expected = rpc_attempts("backup_set.select", view_params, result, next) && first_row(result);
        break;
      case REST_COMMIT_SET:
      case REST_COMMIT_DOC: {
        Exchange const& e = rest_request("POST", "/d2/r/v2/sets", "");
        Value body;
        expect(JSON_Parse(e.body, body) && body == call_.doc, "a commit sent another document");
        expected = success(e.status) && JSON_Parse(e.answer, result) && committed(result, 1);
        break;
      }
      case REST_UPDATE_SET: {
        Exchange const& e = rest_request("PUT", "/d2/r/v2/sets", "uuid=" + encoded(call_.uuid));
        expect(e.body == call_.doc_text, "an update sent another document");
        expected = success(e.status);
        break;
      }
      case REST_INITIALIZE_SET:
      case REST_INITIALIZE_DOC:
      case REST_COMPLETE_SET:
      case REST_COMPLETE_DOC: {
        bool const init = call_.op == REST_INITIALIZE_SET || call_.op == REST_INITIALIZE_DOC;
        Exchange const& e =
            rest_request("POST", "/d2/r/v2/sets", init ? "action=Initialize" : "action=Complete");
        Value body;
        expect(JSON_Parse(e.body, body) && body == call_.doc, "a staged step sent another document");
        // The staged steps do not read their answers.
        expected = success(e.status);
        break;
      }
      case REST_ADD_PIECE: {
        Exchange const& e = rest_request("POST", "/d2/r/v2/sets", "action=AddPiece");
        Value body;
        expect(JSON_Parse(e.body, body) && body == pieces_params, "add_piece sent another body");
        expected = success(e.status);
        break;
      }
      case REST_ABORT: {
        Exchange const& e = rest_request("POST", "/d2/r/v2/sets", "action=Abort");
        Value body;
        expect(JSON_Parse(e.body, body) && body == uuid_params, "abort sent another body");
        expected = success(e.status) && JSON_Parse(e.answer, result) && result.type() == json_spirit::array_type;
        if (expected && outcome_.ok)
          expect(outcome_.pieces == result.get_array(), "abort did not hand over the pieces");
        break;
      }
      case REST_GET_VIEW:
      case REST_GET_FIRST_VIEW: {
        Exchange const& e =
            rest_request("GET", "/d2/r/v2/sets/select", "module=backup_set&view=sets" + call_.param_query);
        expected = success(e.status) && JSON_Parse(e.answer, result);
        if (call_.op == REST_GET_FIRST_VIEW)
          expected = expected && first_row(result);
        else if (expected && outcome_.ok)
          expect(outcome_.out == result, "get_view did not hand over the result");
        break;
      }
    }
    if (outcome_.ok != expected) fail(expected ? "a successful answer was refused" : "a failed answer was taken");
    bool const rest_op = call_.op >= REST_COMMIT_SET && call_.op != REST_UPDATE_DOC;
    if (rest_op) next = 1;
    if (!polled_) expect(log_.size() == next, "more requests were sent than the call makes");
    // A failed call leaves its outputs alone.
    if (!outcome_.ok) {
      expect(outcome_.out == kUnset, "a failed call changed its result");
      expect(outcome_.pieces.size() == 1 && outcome_.pieces[0] == kUnset, "a failed abort changed its pieces");
    }
  }

 private:
  // Whether the first row of a view's result exists; when the call took
  // it, it must be that row.
  bool first_row(Value const& result) const {
    Value const* rows = member(result, "rows");
    if (!rows || rows->type() != json_spirit::array_type || rows->get_array().empty()) return false;
    if (outcome_.ok) expect(outcome_.out == rows->get_array().front(), "get_first_view took another row");
    return true;
  }

  Call const& call_;
  Outcome const& outcome_;
  std::vector<Exchange> log_;
  mutable bool polled_ = false;  // a queued commit was followed
};

int const kStatuses[] = {200, 201, 202, 204, 206, 299, 300, 301, 304, 400,
                         401, 403, 404, 409, 413, 429, 500, 502, 503, 599};

std::deque<Answer> answers_of(Fuzz_Input& in) {
  std::deque<Answer> out;
  while (!in.empty() && out.size() < 16) {
    std::string piece = in.until('\x1e');
    Answer a{200, std::string()};
    if (piece.size() >= 3 && isdigit(static_cast<unsigned char>(piece[0])) &&
        isdigit(static_cast<unsigned char>(piece[1])) && isdigit(static_cast<unsigned char>(piece[2]))) {
      a.status = std::stoi(piece.substr(0, 3));
      // No interim (1xx) answers: the client would wait for the final one.
      if (a.status < 200 || a.status > 599) a.status = 200 + a.status % 400;
      piece.erase(0, piece.size() > 3 && piece[3] == ' ' ? 4 : 3);
    } else if (!piece.empty()) {
      a.status = kStatuses[static_cast<unsigned char>(piece[0]) % (sizeof kStatuses / sizeof kStatuses[0])];
      piece.erase(0, 1);
    }
    a.body = std::move(piece);
    out.push_back(std::move(a));
  }
  return out;
}

// The view parameters, and their query form by the operators' rules (keys
// in order; reals, objects and arrays left out; null as an empty value).
void view_params(int variant, Call& call) {
  std::map<std::string, Value>& p = call.param;
  switch (variant) {
    case 0: break;
    case 1:
      p["a"] = Value(1.5);
      p["b"] = Value();
      p["c"] = Value(true);
      p["d"] = Value("x y");
      call.param_query = "&b=&c=1&d=x+y";
      break;
    case 2:
      p["big"] = Value(18446744073709551615ULL);
      p["cursor"] = Value("a/b?c&d=\xc3\xa9");
      p["f"] = Value(false);
      p["limit"] = Value(5);
      p["neg"] = Value(static_cast<long long>(INT64_MIN));
      call.param_query = "&big=-1&cursor=a%2fb%3fc%26d%3d%c3%a9&f=0&limit=5&neg=-9223372036854775808";
      break;
    case 3:
      p["k y"] = Value(json_spirit::Secure_String("s/1"));
      p["o"] = Value(Object{{"x", Value(1)}});
      p["v"] = Value(Array{Value(1)});
      call.param_query = "&k+y=s%2f1";
      break;
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzz_quiet_ace_log();
  set_retry_sleep_function(&no_sleep);
  server = new Script_Server;
  std::string const base = "http://127.0.0.1:" + std::to_string(server->port());
  Global_JSON_RPC_Channel::Options channel;
  channel.connect_timeout_ms = 10000;
  channel.request_timeout_ms = 30000;
  if (!Global_JSON_RPC_Channel::open((base + "/rpc").c_str(), channel)) fuzz_fail("the JSON-RPC channel does not open");
  HTTP_Client_Options options;
  options.connect_timeout_ms = 10000;
  options.request_timeout_ms = 30000;
  if (!Upstream_JSON_RESTful_Client::configure("127.0.0.1", static_cast<unsigned short>(server->port()), false,
                                               nullptr, options))
    fuzz_fail("the upstream server cannot be configured");
  rest = new RESTful_Catalog_Operator("127.0.0.1", static_cast<unsigned short>(server->port()), false, nullptr, 0, 0);
  if (!*rest) fuzz_fail("the REST operator has no client");
  rest->client()->options(options);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
  Fuzz_Input in(data, size);
  Call call;
  call.op = in.byte() % OP_COUNT;
  uint8_t const flags = in.byte();
  uint8_t const limits = in.byte();
  call.confirm = flags & 1;
  call.retries = limits & 3;
  call.retry_timeout = ((limits >> 2) & 7) - 1;
  call.uuid = (flags & 8) ? kOddUuid : kUuid;
  view_params((flags >> 1) & 3, call);
  Backup_Set set("file");
  fill_set(set, call.uuid);
  call.doc_text = document_of(set);
  if (!JSON_Parse(call.doc_text, call.doc)) fuzz_fail("the set's document does not parse", call.doc_text);
  call.pieces = {Value(Object{{"path", Value("/p1")}, {"size", Value(1)}}),
                 Value(Object{{"path", Value("/\xc3\xa9")}, {"size", Value(-1)}})};

  server->start(answers_of(in));
  Outcome const outcome = run(call);
  Checker(call, outcome, server->log()).check();
  return 0;
}
