#ifndef PLATFORM_REST_JSON_RESTFUL_CLIENT_H
#define PLATFORM_REST_JSON_RESTFUL_CLIENT_H

#include <string>
#include <utility>
#include <vector>

#include "platform/export.h"
#include "platform/json/json_generator.h"
#include "platform/json/value.h"
#include "platform/rest/http_client_options.h"
#include "platform/rest/http_request.h"
#include "platform/rest/http_response.h"
#include "platform/rest/http_session.h"

typedef void CURL;

// A client of one server's REST resources that sends JSON and reads JSON
// answers over libcurl, keeping its connection open between requests.
//
// Each request is retried on transport failures (no connection, no answer in
// time, an answer cut short) with exponential back-off, by the retries and
// retry_timeout settings (-1: no limit), waiting through retry_sleep. An
// answer is never retried: a status outside 2xx is a failure, and so is a
// 2xx whose body is not JSON where a result is wanted. Failures are logged
// unless logging_error(false).
class BSET_API JSON_RESTful_Client {
 public:
  // Header numbers of set_header.
  enum Header { HEADER_ACCEPT = 1, HEADER_USER_AGENT = 45, HEADER_AUTHORIZATION = 48 };

  // `secure`: https. `keep_alive` false closes the connection after each
  // request.
  JSON_RESTful_Client(char const* host, unsigned short port, bool secure, bool keep_alive);
  virtual ~JSON_RESTful_Client();
  JSON_RESTful_Client(JSON_RESTful_Client const&) = delete;
  JSON_RESTful_Client& operator=(JSON_RESTful_Client const&) = delete;

  // GET; when `response` is given the answer must be JSON and lands there.
  bool get(HTTP_Request& request, json_spirit::Value* response);
  // POST of a document; when `answer` is given it receives the JSON answer.
  bool post(char const* path, JSON_Generator& body, json_spirit::Value* answer);
  // POST of a value (null: no body).
  bool post(char const* path, json_spirit::Value const* body, json_spirit::Value* answer);

  // The request with the document as body, the JSON answer into `result`.
  virtual bool request(HTTP_Request& request, JSON_Generator& body, json_spirit::Value& result);
  // The same with a value as body, filling `response` (when given) too.
  virtual bool request(HTTP_Request& request, json_spirit::Value const& body, HTTP_Response* response,
                       json_spirit::Value& result);
  // The request with the document as body; the answer's body is not read.
  virtual bool request(HTTP_Request& request, JSON_Generator& body);

  // Sets a header sent with every request, by number (48 "Authorization")
  // or by name; a null value removes it. False for an unknown number.
  bool set_header(int header, char const* value);
  bool set_header(char const* name, char const* value);

  void retries(int n) { retries_ = n; }
  int retries() const { return retries_; }
  void retry_timeout(int seconds) { retry_timeout_ = seconds; }
  int retry_timeout() const { return retry_timeout_; }
  void logging_error(bool on) { logging_error_ = on; }
  bool logging_error() const { return logging_error_; }

  // Time-outs, credentials and TLS settings (see HTTP_Client_Options).
  void options(HTTP_Client_Options const& options);
  HTTP_Client_Options const& options() const { return options_; }

  // The server(s) requests go to, "scheme://host:port" each.
  std::vector<std::string> const& base_urls() const { return base_urls_; }

 protected:
  // For subclasses that name their server(s) themselves.
  JSON_RESTful_Client(std::vector<std::string> const& base_urls, HTTP_Session_Ptr const& session, bool keep_alive);

  // Outcome of one round of a request over the servers.
  enum Outcome { ANSWERED, NO_ANSWER, REFUSED };

  // The whole request with its retry loop.
  bool perform(HTTP_Request& request, char const* body, size_t size, HTTP_Response* response,
               json_spirit::Value* result);

  // Set when the client cannot send anything (e.g. no server known); every
  // request then fails at once with this text.
  void unusable(std::string const& why) { unusable_ = why; }

 private:
  // `key` names the request (the same in each of its attempts); "" for none.
  Outcome attempt(HTTP_Request& request, std::string const& base_url, char const* body, size_t size,
                  std::string const& key, HTTP_Response& answer, std::string& error);
  void prepare_handle();

  std::vector<std::string> base_urls_;
  size_t preferred_ = 0;
  HTTP_Session_Ptr session_;
  HTTP_Client_Options options_;
  bool keep_alive_;
  std::vector<std::pair<std::string, std::string>> headers_;
  int retries_ = 3;
  int retry_timeout_ = -1;
  bool logging_error_ = true;
  std::string unusable_;
  CURL* handle_ = nullptr;
};

#endif
