#include "platform/rest/json_restful_client.h"

#include <strings.h>

#include <cstring>
#include <mutex>

#include <ace/Log_Msg.h>
#include <curl/curl.h>
#include <yajl/yajl_gen.h>

#include "platform/json/json_text.h"
#include "platform/retry/exponential_backoff_iterator.h"
#include "platform/retry/retry_sleep.h"
#include "platform/text/request_key.h"

using json_spirit::Value;

namespace {

bool curl_ready() {
  static std::once_flag once;
  static bool ok = false;
  std::call_once(once, [] { ok = curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK; });
  return ok;
}

size_t collect_body(char* data, size_t size, size_t count, void* user) {
  static_cast<CGI_Response*>(user)->body_buffer().append(data, size * count);
  return size * count;
}

size_t collect_header(char* data, size_t size, size_t count, void* user) {
  size_t n = size * count;
  CGI_Response* answer = static_cast<CGI_Response*>(user);
  std::string line(data, n);
  while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
  if (line.compare(0, 5, "HTTP/") == 0) {
    // A new status line (after "100 Continue" or a redirect) starts over.
    answer->body_buffer().clear();
    answer->clear_headers();
    return n;
  }
  auto colon = line.find(':');
  if (colon != std::string::npos) {
    size_t v = colon + 1;
    while (v < line.size() && (line[v] == ' ' || line[v] == '\t')) ++v;
    answer->add_header(line.substr(0, colon), line.substr(v));
  }
  return n;
}

// The document of a generator as text, or false when it could not be
// written as one complete JSON value.
bool generate_body(JSON_Generator& body, yajl_gen gen, char const*& text, size_t& size) {
  if (!gen || !body.generate(gen)) return false;
  // One complete value leaves the generator unable to take another.
  if (yajl_gen_null(gen) != yajl_gen_generation_complete) return false;
  unsigned char const* buf = nullptr;
  if (yajl_gen_get_buf(gen, &buf, &size) != yajl_gen_status_ok) return false;
  text = reinterpret_cast<char const*>(buf);
  return true;
}

struct Gen_Holder {
  Gen_Holder() : gen(yajl_gen_alloc(nullptr)) {}
  ~Gen_Holder() {
    if (gen) yajl_gen_free(gen);
  }
  yajl_gen gen;
};

std::string excerpt(std::string const& body) {
  return body.size() <= 512 ? body : body.substr(0, 512) + "...";
}

char const* header_name(int header) {
  switch (header) {
    case JSON_RESTful_Client::HEADER_ACCEPT: return "Accept";
    case JSON_RESTful_Client::HEADER_USER_AGENT: return "User-Agent";
    case JSON_RESTful_Client::HEADER_AUTHORIZATION: return "Authorization";
    default: return nullptr;
  }
}

std::string base_url_of(char const* host, unsigned short port, bool secure) {
  std::string h = host;
  if (h.find(':') != std::string::npos && h[0] != '[') h = "[" + h + "]";  // IPv6 literal
  return std::string(secure ? "https://" : "http://") + h + ":" + std::to_string(port);
}

}  // namespace

JSON_RESTful_Client::JSON_RESTful_Client(char const* host, unsigned short port, bool secure, bool keep_alive)
    : keep_alive_(keep_alive) {
  curl_ready();
  if (host && *host)
    base_urls_.push_back(base_url_of(host, port, secure));
  else
    unusable_ = "no server host";
}

JSON_RESTful_Client::JSON_RESTful_Client(std::vector<std::string> const& base_urls, HTTP_Session_Ptr const& session,
                                         bool keep_alive)
    : base_urls_(base_urls), session_(session), keep_alive_(keep_alive) {
  curl_ready();
  if (session_.get()) options_ = session_->options();
  if (base_urls_.empty()) unusable_ = "no server address";
}

JSON_RESTful_Client::~JSON_RESTful_Client() {
  // Before the session (and its shared connection cache) can go.
  if (handle_) curl_easy_cleanup(handle_);
}

void JSON_RESTful_Client::options(HTTP_Client_Options const& options) { options_ = options; }

bool JSON_RESTful_Client::set_header(int header, char const* value) {
  char const* name = header_name(header);
  if (!name) return false;
  return set_header(name, value);
}

bool JSON_RESTful_Client::set_header(char const* name, char const* value) {
  if (!name || !*name) return false;
  for (auto it = headers_.begin(); it != headers_.end(); ++it) {
    if (strcasecmp(it->first.c_str(), name) == 0) {
      headers_.erase(it);
      break;
    }
  }
  if (value) headers_.emplace_back(name, value);
  return true;
}

bool JSON_RESTful_Client::get(HTTP_Request& request, Value* response) {
  if (request.method() == HTTP_Request::HTTP_GET) return perform(request, nullptr, 0, nullptr, response);
  // A request made with another method still goes out as a GET here.
  HTTP_Request as_get(HTTP_Request::HTTP_GET, request.path().c_str(), request.accept_json());
  as_get.query_string_buffer() = request.query_string();
  for (auto const& h : request.headers()) as_get.add_header(h.first, h.second);
  return perform(as_get, nullptr, 0, nullptr, response);
}

bool JSON_RESTful_Client::post(char const* path, JSON_Generator& body, Value* answer) {
  HTTP_Request request(HTTP_Request::HTTP_POST, path, true);
  Gen_Holder g;
  char const* text = nullptr;
  size_t size = 0;
  if (!generate_body(body, g.gen, text, size)) {
    if (logging_error_) ACE_ERROR((LM_ERROR, "HTTP POST '%s' not sent: the body could not be written.\n", path));
    return false;
  }
  return perform(request, text, size, nullptr, answer);
}

bool JSON_RESTful_Client::post(char const* path, Value const* body, Value* answer) {
  HTTP_Request request(HTTP_Request::HTTP_POST, path, true);
  if (!body) return perform(request, nullptr, 0, nullptr, answer);
  std::string text = JSON_Dump(*body);
  return perform(request, text.data(), text.size(), nullptr, answer);
}

bool JSON_RESTful_Client::request(HTTP_Request& request, JSON_Generator& body, Value& result) {
  Gen_Holder g;
  char const* text = nullptr;
  size_t size = 0;
  if (!generate_body(body, g.gen, text, size)) {
    if (logging_error_)
      ACE_ERROR((LM_ERROR, "HTTP request '%s' not sent: the body could not be written.\n", request.target().c_str()));
    return false;
  }
  return perform(request, text, size, nullptr, &result);
}

bool JSON_RESTful_Client::request(HTTP_Request& request, Value const& body, HTTP_Response* response, Value& result) {
  std::string text = JSON_Dump(body);
  return perform(request, text.data(), text.size(), response, &result);
}

bool JSON_RESTful_Client::request(HTTP_Request& request, JSON_Generator& body) {
  Gen_Holder g;
  char const* text = nullptr;
  size_t size = 0;
  if (!generate_body(body, g.gen, text, size)) {
    if (logging_error_)
      ACE_ERROR((LM_ERROR, "HTTP request '%s' not sent: the body could not be written.\n", request.target().c_str()));
    return false;
  }
  return perform(request, text, size, nullptr, nullptr);
}

void JSON_RESTful_Client::prepare_handle() {
  if (!handle_) handle_ = curl_easy_init();
}

JSON_RESTful_Client::Outcome JSON_RESTful_Client::attempt(HTTP_Request& request, std::string const& base_url,
                                                          char const* body, size_t size, std::string const& key,
                                                          HTTP_Response& answer, std::string& error) {
  prepare_handle();
  if (!handle_) {
    error = "no libcurl handle";
    return NO_ANSWER;
  }
  CURL* h = handle_;
  std::string url = base_url + request.target();
  curl_easy_setopt(h, CURLOPT_URL, url.c_str());
  curl_easy_setopt(h, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(h, CURLOPT_TCP_NODELAY, 1L);
  curl_easy_setopt(h, CURLOPT_TCP_KEEPALIVE, 1L);
  curl_easy_setopt(h, CURLOPT_FORBID_REUSE, keep_alive_ ? 0L : 1L);
  curl_easy_setopt(h, CURLOPT_CONNECTTIMEOUT_MS, options_.connect_timeout_ms > 0 ? options_.connect_timeout_ms : 0L);
  curl_easy_setopt(h, CURLOPT_TIMEOUT_MS, options_.request_timeout_ms > 0 ? options_.request_timeout_ms : 0L);
  curl_easy_setopt(h, CURLOPT_SSL_VERIFYPEER, options_.verify_peer ? 1L : 0L);
  curl_easy_setopt(h, CURLOPT_SSL_VERIFYHOST, options_.verify_host ? 2L : 0L);
  curl_easy_setopt(h, CURLOPT_CAINFO, options_.ca_file.empty() ? nullptr : options_.ca_file.c_str());
  if (session_.get() && session_->share()) curl_easy_setopt(h, CURLOPT_SHARE, session_->share());

  curl_slist* headers = nullptr;
  // Without this libcurl holds large bodies back waiting for "100 Continue".
  headers = curl_slist_append(headers, "Expect:");
  if (request.accept_json()) headers = curl_slist_append(headers, "Accept: application/json");
  if (body) headers = curl_slist_append(headers, "Content-Type: application/json");
  bool own_authorization = false;
  for (auto const& hv : headers_) {
    if (strcasecmp(hv.first.c_str(), "Authorization") == 0) own_authorization = true;
    headers = curl_slist_append(headers, (hv.first + ": " + hv.second).c_str());
  }
  if (!own_authorization && !options_.authorization.empty())
    headers = curl_slist_append(headers, ("Authorization: " + options_.authorization).c_str());
  for (auto const& hv : request.headers()) headers = curl_slist_append(headers, (hv.first + ": " + hv.second).c_str());
  if (!key.empty()) headers = curl_slist_append(headers, (std::string(Request_Key::HEADER) + ": " + key).c_str());
  curl_easy_setopt(h, CURLOPT_HTTPHEADER, headers);

  switch (request.method()) {
    case HTTP_Request::HTTP_GET:
      curl_easy_setopt(h, CURLOPT_HTTPGET, 1L);
      curl_easy_setopt(h, CURLOPT_CUSTOMREQUEST, nullptr);
      break;
    default:
      curl_easy_setopt(h, CURLOPT_POST, 1L);
      curl_easy_setopt(h, CURLOPT_POSTFIELDS, body ? body : "");
      curl_easy_setopt(h, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body ? size : 0));
      curl_easy_setopt(h, CURLOPT_CUSTOMREQUEST, request.method() == HTTP_Request::HTTP_PUT ? "PUT" : nullptr);
      break;
  }
  curl_easy_setopt(h, CURLOPT_WRITEFUNCTION, &collect_body);
  curl_easy_setopt(h, CURLOPT_WRITEDATA, static_cast<CGI_Response*>(&answer));
  curl_easy_setopt(h, CURLOPT_HEADERFUNCTION, &collect_header);
  curl_easy_setopt(h, CURLOPT_HEADERDATA, static_cast<CGI_Response*>(&answer));

  answer.clear();
  CURLcode rc = curl_easy_perform(h);
  curl_easy_setopt(h, CURLOPT_HTTPHEADER, nullptr);
  curl_slist_free_all(headers);
  if (rc != CURLE_OK) {
    error = curl_easy_strerror(rc);
    error += " (" + url + ")";
    answer.clear();
    return NO_ANSWER;
  }
  long status = 0;
  curl_easy_getinfo(h, CURLINFO_RESPONSE_CODE, &status);
  answer.status(static_cast<int>(status));
  answer.url(url);
  return ANSWERED;
}

bool JSON_RESTful_Client::perform(HTTP_Request& request, char const* body, size_t size, HTTP_Response* response,
                                  Value* result) {
  char const* method = request.method_name();
  if (!unusable_.empty()) {
    if (logging_error_)
      ACE_ERROR((LM_ERROR, "HTTP request '%s' not sent: %s.\n", request.target().c_str(), unusable_.c_str()));
    return false;
  }
  if (!method) {
    if (logging_error_) ACE_ERROR((LM_ERROR, "HTTP method %d is not supported.\n", request.method()));
    return false;
  }

  HTTP_Response local;
  HTTP_Response& answer = response ? *response : local;
  std::string error;
  // A write is named once for all its attempts: the server stores a retry
  // whose first attempt did arrive only once.
  std::string const key = request.method() == HTTP_Request::HTTP_GET ? std::string() : Request_Key::next();
  int n = 1;
  Exponential_Backoff_Iterator it(1, 4294967295u, 60, true), end;
  for (;;) {
    Outcome outcome = NO_ANSWER;
    // Every server in turn, the one that answered last first.
    for (size_t i = 0; i < base_urls_.size() && outcome != ANSWERED; ++i) {
      size_t k = (preferred_ + i) % base_urls_.size();
      outcome = attempt(request, base_urls_[k], body, size, key, answer, error);
      if (outcome == ANSWERED) preferred_ = k;
    }
    if (outcome == ANSWERED) break;

    bool give_up = (retries_ != -1 && retries_ < n) ||
                   (retry_timeout_ != -1 && it.cumulation() >= static_cast<unsigned>(retry_timeout_)) || !(it != end);
    if (give_up) {
      if (logging_error_)
        ACE_ERROR((LM_ERROR, "HTTP %s '%s' failed after %d retries: %s.\n", method, request.target().c_str(), retries_,
                   error.c_str()));
      return false;
    }
    unsigned delay = *it;
    if (logging_error_) ACE_DEBUG((LM_INFO, "Retry(%d) %N:%l at %u second(s) later.\n", n, delay));
    retry_sleep(delay);
    ++n;
    ++it;
  }

  if (!answer.success()) {
    if (result) {
      Value parsed;
      if (JSON_Parse(answer.body(), parsed)) *result = std::move(parsed);
    }
    if (logging_error_)
      ACE_ERROR((LM_ERROR, "HTTP %s '%s' answered %d: %s\n", method, answer.url().c_str(), answer.status(),
                 excerpt(answer.body()).c_str()));
    return false;
  }
  if (result) {
    Value parsed;
    if (!JSON_Parse(answer.body(), parsed)) {
      if (logging_error_)
        ACE_ERROR((LM_ERROR, "HTTP %s '%s' answered %d with a body that is not JSON: %s\n", method,
                   answer.url().c_str(), answer.status(), excerpt(answer.body()).c_str()));
      return false;
    }
    *result = std::move(parsed);
  }
  return true;
}
