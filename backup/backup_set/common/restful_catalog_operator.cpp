#include "backup/backup_set/common/restful_catalog_operator.h"

#include <ace/Log_Msg.h>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/bset_commit_action.h"
#include "platform/json/json_text.h"
#include "platform/rest/http_request.h"
#include "platform/rest/http_response.h"
#include "platform/rest/http_session.h"
#include "platform/rest/json_restful_client.h"
#include "platform/rest/network_json_restful_client.h"
#include "platform/rest/query_string_builder.h"
#include "platform/rest/upstream_json_restful_client.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

char const SETS[] = "/d2/r/v2/sets";
char const SETS_QUERY[] = "/d2/r/v2/sets?";
char const SELECT_QUERY[] = "/d2/r/v2/sets/select?";

// "/d2/r/v2/sets?action=<name>"
std::string action_path(BSET_COMMIT_ACTION action) {
  std::string path = SETS_QUERY;
  Query_String_Builder(path, false).append("action", commit_action_to_name(action), true, true, nullptr);
  return path;
}

}  // namespace

RESTful_Catalog_Operator::RESTful_Catalog_Operator(int retries, int retry_timeout)
    : Catalog_Operator(-1, -1), client_(new Upstream_JSON_RESTful_Client()) {
  client_->retries(retries);
  client_->retry_timeout(retry_timeout);
}

RESTful_Catalog_Operator::RESTful_Catalog_Operator(char const* host, unsigned short port, bool secure,
                                                   char const* header, int retries, int retry_timeout)
    : Catalog_Operator(-1, -1) {
  if (!host || !*host) {
    ACE_ERROR((LM_EMERGENCY, "Unexpected error in %N:%l, host is NULL or \"\":\n%?\n"));
    return;
  }
  client_.reset(new JSON_RESTful_Client(host, port, secure, true));
  if (header && *header) client_->set_header(JSON_RESTful_Client::HEADER_AUTHORIZATION, header);
  client_->retries(retries);
  client_->retry_timeout(retry_timeout);
}

RESTful_Catalog_Operator::RESTful_Catalog_Operator(std::string const& target,
                                                   ACE_Intrusive_Auto_Ptr<HTTP_Session> session, bool flag,
                                                   int retries, int retry_timeout)
    : Catalog_Operator(-1, -1), client_(new Network_JSON_RESTful_Client(target, session, flag)) {
  client_->retries(retries);
  client_->retry_timeout(retry_timeout);
}

RESTful_Catalog_Operator::RESTful_Catalog_Operator(std::string const& target, std::string const& second,
                                                   ACE_Intrusive_Auto_Ptr<HTTP_Session> session, bool flag,
                                                   int retries, int retry_timeout)
    : Catalog_Operator(-1, -1), client_(new Network_JSON_RESTful_Client(target, second, session, flag)) {
  client_->retries(retries);
  client_->retry_timeout(retry_timeout);
}

RESTful_Catalog_Operator::~RESTful_Catalog_Operator() = default;

bool RESTful_Catalog_Operator::usable() const {
  if (client_) return true;
  ACE_ERROR((LM_ERROR, "The REST catalog operator has no client.\n"));
  return false;
}

bool RESTful_Catalog_Operator::commit(Backup_Set& set, bool confirm) {
  if (!usable()) return false;
  HTTP_Request request(HTTP_Request::HTTP_POST, SETS, true);
  Value result;
  if (!client_->request(request, set, result)) {
    ACE_ERROR((LM_ERROR, "Failed to commit backup set, uuid %s, msg %s.\n", set.uuid.c_str(), JSON_Dump(result).c_str()));
    return false;
  }
  return confirm ? commit_confirm(result, client_.get()) : check_request_result(result);
}

bool RESTful_Catalog_Operator::commit(Value const& doc, bool confirm) {
  if (!usable()) return false;
  HTTP_Request request(HTTP_Request::HTTP_POST, SETS, true);
  HTTP_Response response;
  Value result;
  if (!client_->request(request, doc, &response, result)) {
    ACE_ERROR((LM_ERROR, "Failed to commit backup set, response state %d, msg %s.\n", response.status(),
               JSON_Dump(result).c_str()));
    return false;
  }
  return confirm ? commit_confirm(result, client_.get()) : check_request_result(result);
}

bool RESTful_Catalog_Operator::update(Backup_Set& set) {
  if (!usable()) return false;
  std::string path = SETS_QUERY;
  Query_String_Builder(path, false).append("uuid", set.uuid.c_str(), true, true, nullptr);
  HTTP_Request request(HTTP_Request::HTTP_PUT, path.c_str(), true);
  return client_->request(request, set);
}

bool RESTful_Catalog_Operator::initialize(Backup_Set& set) {
  if (!usable()) return false;
  return client_->post(action_path(BSET_COMMIT_ACTION_INITIALIZE).c_str(), set, nullptr);
}

bool RESTful_Catalog_Operator::initialize(Value const& doc) {
  if (!usable()) return false;
  return client_->post(action_path(BSET_COMMIT_ACTION_INITIALIZE).c_str(), &doc, nullptr);
}

bool RESTful_Catalog_Operator::add_piece(std::string const& uuid, std::vector<Value> const& pieces) {
  if (!usable()) return false;
  Object body;
  body["uuid"] = uuid;
  body["pieces"] = Array(pieces);
  Value doc(std::move(body));
  return client_->post(action_path(BSET_COMMIT_ACTION_ADD_PIECE).c_str(), &doc, nullptr);
}

bool RESTful_Catalog_Operator::complete(Backup_Set& set) {
  if (!usable()) return false;
  return client_->post(action_path(BSET_COMMIT_ACTION_COMPLETE).c_str(), set, nullptr);
}

bool RESTful_Catalog_Operator::complete(Value const& doc) {
  if (!usable()) return false;
  return client_->post(action_path(BSET_COMMIT_ACTION_COMPLETE).c_str(), &doc, nullptr);
}

bool RESTful_Catalog_Operator::abort(std::string const& uuid, std::vector<Value>& pieces) {
  if (!usable()) return false;
  Object body;
  body["uuid"] = uuid;
  Value doc(std::move(body));
  Value answer;
  if (!client_->post(action_path(BSET_COMMIT_ACTION_ABORT).c_str(), &doc, &answer)) return false;
  if (answer.type() != json_spirit::array_type) return false;
  pieces = answer.get_array();
  return true;
}

bool RESTful_Catalog_Operator::get_view(char const* module, char const* view, std::map<std::string, Value> const& param,
                                        Value& result) const {
  if (!module || !*module) {
    ACE_ERROR((LM_EMERGENCY, "Unexpected error in %N:%l, module is NULL or \"\":\n%?\n"));
    return false;
  }
  if (!view || !*view) {
    ACE_ERROR((LM_EMERGENCY, "Unexpected error in %N:%l, view is NULL or \"\":\n%?\n"));
    return false;
  }
  if (!usable()) return false;

  std::string path = SELECT_QUERY;
  Query_String_Builder query(path, false);
  query.append("module", module, true, true, nullptr).append("view", view, true, true, nullptr);
  for (auto const& entry : param) {
    char const* key = entry.first.c_str();
    Value const& v = entry.second;
    switch (v.type()) {
      case json_spirit::str_type: query.append(key, v.get_str().c_str(), true, true, nullptr); break;
      case json_spirit::secure_str_type: query.append(key, v.get_secure_str().c_str(), true, true, nullptr); break;
      case json_spirit::bool_type: query.append(key, v.get_bool(), true, nullptr); break;
      case json_spirit::int_type:
        // Signed 64-bit text, whatever the value was made from.
        query.append(key, v.is_uint64() ? static_cast<long long>(v.get_uint64()) : v.get_int64(), true, nullptr);
        break;
      case json_spirit::null_type: query.append(key, "", true, true, nullptr); break;
      default: break;  // reals, objects and arrays have no query form
    }
  }
  HTTP_Request request(HTTP_Request::HTTP_GET, path.c_str(), true);
  Value answer;
  if (!client_->get(request, &answer)) return false;
  result = std::move(answer);
  return true;
}

bool RESTful_Catalog_Operator::get_first_view(char const* module, char const* view,
                                              std::map<std::string, Value> const& param, Value& row) const {
  Value result;
  return get_view(module, view, param, result) && get_first_row(result, row);
}
