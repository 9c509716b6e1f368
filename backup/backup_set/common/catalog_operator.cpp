#include "backup/backup_set/common/catalog_operator.h"

#include <memory>

#include <ace/Log_Msg.h>

#include "backup/backup_set/common/backup_set.h"
#include "platform/json/json_text.h"
#include "platform/json/object_lookup.h"
#include "platform/rest/http_request.h"
#include "platform/rest/json_restful_client.h"
#include "platform/rest/query_string_builder.h"
#include "platform/rest/upstream_json_restful_client.h"
#include "platform/retry/exponential_backoff_iterator.h"
#include "platform/retry/retry_sleep.h"
#include "platform/rpc/global_json_rpc_channel.h"
#include "platform/rpc/json_rpc_session.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

// Seconds the server may take to answer one attempt.
long long const RPC_TIMEOUT = 600;

// The back-off of every retry loop: 1, 2, 4, ... held at 60 seconds.
Exponential_Backoff_Iterator backoff() { return Exponential_Backoff_Iterator(1, 4294967295u, 60, true); }

// Switches a caller's client back to logging its errors, on every way out.
struct Logging_Restorer {
  JSON_RESTful_Client* client;
  ~Logging_Restorer() {
    if (client) client->logging_error(true);
  }
};

}  // namespace

Catalog_Operator::Catalog_Operator(int retries, int retry_timeout) : retries(retries), retry_timeout(retry_timeout) {}

Catalog_Operator::~Catalog_Operator() = default;

void Catalog_Operator::init(int retries, int retry_timeout) {
  this->retries = retries;
  this->retry_timeout = retry_timeout;
}

namespace {

// The one retry loop of both request forms; they differ only in what one
// attempt sends and in the words of their error lines.
struct Rpc_Messages {
  char const* error;    // error answer
  char const* invalid;  // answer of another kind
  char const* given_up;
};

template <typename Send>
bool rpc_request_loop(char const* method, int retries, int retry_timeout, Rpc_Messages const& messages,
                      Send const& send, Value& result) {
  int n = 1;
  Exponential_Backoff_Iterator it = backoff(), end;
  for (;;) {
    JSON_RPC_Object_Ptr response;
    bool answered = false;
    {
      // Taken afresh each time: a channel opened while we waited is used.
      Global_JSON_RPC_Channel::Ptr channel = Global_JSON_RPC_Channel::instance();
      if (channel.get()) {
        JSON_RPC_Session session(channel);
        answered = send(session, response);
      }
    }
    if (answered) {
      switch (response->kind()) {
        case JSON_RPC_Object::JSON_RPC_RESULT:
          result = response->result();
          return true;
        case JSON_RPC_Object::JSON_RPC_ERROR:
          if (messages.error == nullptr)
            ACE_ERROR((LM_ERROR, "JSON-RPC '%s' response error, code: %d, msg: %s.\n", method,
                       response->error_code(), response->error_message().c_str()));
          else
            ACE_ERROR((LM_ERROR, messages.error, response->error_code(), response->error_message().c_str()));
          return false;
        default:
          ACE_ERROR((LM_ERROR, "Invalid JSON-RPC response type '%d' of '%s'.\n", response->kind(),
                     messages.invalid ? messages.invalid : method));
          return false;
      }
    }
    if ((retries != -1 && retries < n) ||
        (retry_timeout != -1 && it.cumulation() >= static_cast<unsigned>(retry_timeout)) || !(it != end)) {
      if (messages.given_up == nullptr)
        ACE_ERROR((LM_ERROR, "JSON-RPC '%s' failed after %d retries.\n", method, retries));
      else
        ACE_ERROR((LM_ERROR, messages.given_up));
      return false;
    }
    unsigned delay = *it;
    ACE_DEBUG((LM_INFO, "Retry(%d) %N:%l at %u second(s) later.\n", n, delay));
    retry_sleep(delay);
    ++n;
    ++it;
  }
}

// The document form names its method in every line.
Rpc_Messages const VALUE_MESSAGES = {nullptr, nullptr, nullptr};
// The set form speaks of the commit whatever the method: its lines are
// shared by commit, update, initialize and complete.
Rpc_Messages const SET_MESSAGES = {"Commit catalog error[%d: %s].\n", "backup_set.commit",
                                   "Failed to commit catalog to backup server\n"};

}  // namespace

bool Catalog_Operator::global_json_rpc_request(char const* method, Value const& params, Value& result) const {
  if (!method || !*method) {
    ACE_ERROR((LM_EMERGENCY, "Unexpected error in %N:%l, method is NULL or \"\":\n%?\n"));
    return false;
  }
  JSON_RPC_Object_Ptr request;
  if (!JSON_RPC_Session(Global_JSON_RPC_Channel::Ptr()).make_rpc_request(method, params, request)) {
    ACE_ERROR((LM_ERROR, "Failed to make rpc request for '%s'.\n", method));
    return false;
  }
  auto send = [&request](JSON_RPC_Session& session, JSON_RPC_Object_Ptr& response) {
    JSON_RPC_Object_Ptr sent(request);
    return session.request(sent, response, RPC_TIMEOUT);
  };
  return rpc_request_loop(method, retries, retry_timeout, VALUE_MESSAGES, send, result);
}

bool Catalog_Operator::global_json_rpc_request(char const* method, Backup_Set& set, Value& result) const {
  if (!method || !*method) {
    ACE_ERROR((LM_EMERGENCY, "Unexpected error in %N:%l, method is NULL or \"\":\n%?\n"));
    return false;
  }
  auto send = [method, &set](JSON_RPC_Session& session, JSON_RPC_Object_Ptr& response) {
    return session.request(method, &set, response, RPC_TIMEOUT);
  };
  return rpc_request_loop(method, retries, retry_timeout, SET_MESSAGES, send, result);
}

bool Catalog_Operator::check_request_result(Value const& result) const {
  if (result.type() != json_spirit::obj_type) {
    ACE_ERROR((LM_ERROR, "Invalid commit backup set result '%s'.\n", JSON_Dump(result).c_str()));
    return false;
  }
  Value const* ok = json_spirit::object_find(result.get_obj(), "result", json_spirit::bool_type);
  if (!ok || !ok->get_bool()) {
    ACE_ERROR((LM_ERROR, "Failed to commit backup set, result: '%s'.\n", JSON_Dump(result).c_str()));
    return false;
  }
  return true;
}

bool Catalog_Operator::get_first_row(Value const& result, Value& row) const {
  if (result.type() != json_spirit::obj_type) return false;
  Value const* rows = json_spirit::object_find(result.get_obj(), "rows", json_spirit::array_type);
  if (!rows) {
    ACE_ERROR((LM_ERROR, "Invalid catalog data, lack of rows\n"));
    return false;
  }
  if (rows->get_array().empty()) return false;
  row = rows->get_array().front();
  return true;
}

bool Catalog_Operator::commit(Backup_Set& set, bool confirm) {
  Value result;
  if (!global_json_rpc_request("backup_set.commit", set, result)) return false;
  return confirm ? commit_confirm(result, nullptr) : check_request_result(result);
}

bool Catalog_Operator::commit(Value const& doc, bool confirm) {
  Value result;
  if (!global_json_rpc_request("backup_set.commit", doc, result)) return false;
  return confirm ? commit_confirm(result, nullptr) : check_request_result(result);
}

bool Catalog_Operator::update(Backup_Set& set) {
  Value result;
  return global_json_rpc_request("backup_set.update", set, result);
}

bool Catalog_Operator::update(Value const& doc) {
  Value result;
  return global_json_rpc_request("backup_set.update", doc, result);
}

bool Catalog_Operator::initialize(Backup_Set& set) {
  Value result;
  return global_json_rpc_request("backup_set.initialize", set, result) && check_request_result(result);
}

bool Catalog_Operator::initialize(Value const& doc) {
  Value result;
  return global_json_rpc_request("backup_set.initialize", doc, result) && check_request_result(result);
}

bool Catalog_Operator::add_piece(std::string const& uuid, std::vector<Value> const& pieces) {
  Object params;
  params["uuid"] = uuid;
  params["pieces"] = Array(pieces);
  Value result;
  return global_json_rpc_request("backup_set.add_piece", Value(std::move(params)), result) &&
         check_request_result(result);
}

bool Catalog_Operator::complete(Backup_Set& set) {
  Value result;
  return global_json_rpc_request("backup_set.complete", set, result) && check_request_result(result);
}

bool Catalog_Operator::complete(Value const& doc) {
  Value result;
  return global_json_rpc_request("backup_set.complete", doc, result) && check_request_result(result);
}

bool Catalog_Operator::abort(std::string const& uuid, std::vector<Value>& pieces) {
  Object params;
  params["uuid"] = uuid;
  Value result;
  if (!global_json_rpc_request("backup_set.abort", Value(std::move(params)), result) || !check_request_result(result))
    return false;
  Value const* staged = json_spirit::object_find(result.get_obj(), "pieces", json_spirit::array_type);
  if (!staged) return false;
  pieces = staged->get_array();
  return true;
}

bool Catalog_Operator::get_view(char const* module, char const* view, std::map<std::string, Value> const& param,
                                Value& result) const {
  if (!module || !*module) {
    ACE_ERROR((LM_EMERGENCY, "Unexpected error in %N:%l, module is NULL or \"\":\n%?\n"));
    return false;
  }
  if (!view || !*view) {
    ACE_ERROR((LM_EMERGENCY, "Unexpected error in %N:%l, view is NULL or \"\":\n%?\n"));
    return false;
  }
  Object params;
  params["module"] = module;
  params["view"] = view;
  params["param"] = Object(param.begin(), param.end());
  return global_json_rpc_request("backup_set.select", Value(std::move(params)), result);
}

bool Catalog_Operator::get_first_view(char const* module, char const* view, std::map<std::string, Value> const& param,
                                      Value& row) const {
  Value result;
  return get_view(module, view, param, result) && get_first_row(result, row);
}

bool Catalog_Operator::commit_confirm(Value const& result, JSON_RESTful_Client* client) {
  if (!check_request_result(result)) return false;

  // Only a queued commit of a named set needs following.
  bool queued = false;
  std::string uuid;
  json_spirit::object_get_bool(result.get_obj(), "queued", queued);
  json_spirit::object_get_str(result.get_obj(), "uuid", uuid);
  if (!queued || uuid.empty()) return true;

  HTTP_Request request(HTTP_Request::HTTP_GET, "/d2/r/v2/sets/exists", false);
  std::string& query = request.query_string_buffer();
  Query_String_Builder(query, !query.empty()).append("uuid", uuid.c_str(), true, true, nullptr);

  // The server has only just queued it.
  retry_sleep(1);

  std::unique_ptr<Upstream_JSON_RESTful_Client> local;
  Logging_Restorer restorer{client};
  if (!client) {
    local.reset(new Upstream_JSON_RESTful_Client());
    local->retries(retries);
    local->retry_timeout(retry_timeout);
    local->logging_error(false);
    client = local.get();
  } else {
    // Failed polls are expected; they are not errors to report.
    client->logging_error(false);
  }

  int n = 1;
  Exponential_Backoff_Iterator it = backoff(), end;
  for (;;) {
    if (client->get(request, nullptr)) return true;
    // Deliberately the other way round from the request loop: the time-out
    // counts polls and the retries count seconds.
    if ((retry_timeout != -1 && retry_timeout < n) ||
        (retries != -1 && it.cumulation() >= static_cast<unsigned>(retries)) || !(it != end))
      return false;
    unsigned delay = *it;
    ACE_DEBUG((LM_INFO, "Retry(%d) %N:%l at %u second(s) later.\n", n, delay));
    retry_sleep(delay);
    ++n;
    ++it;
  }
}
