#include "platform/rpc/global_json_rpc_channel.h"

#include <curl/curl.h>

namespace {

std::mutex& global_mutex() {
  static std::mutex m;
  return m;
}

Global_JSON_RPC_Channel::Ptr& global_channel() {
  static Global_JSON_RPC_Channel::Ptr channel;
  return channel;
}

bool curl_ready() {
  static std::once_flag once;
  static bool ok = false;
  std::call_once(once, [] { ok = curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK; });
  return ok;
}

}  // namespace

bool Global_JSON_RPC_Channel::open(char const* url, Options const& options) {
  if (!url || !*url || !curl_ready()) return false;
  Ptr fresh(new Global_JSON_RPC_Channel(url, options));
  std::lock_guard<std::mutex> lock(global_mutex());
  global_channel() = fresh;
  return true;
}

void Global_JSON_RPC_Channel::close() {
  Ptr old;
  {
    std::lock_guard<std::mutex> lock(global_mutex());
    old = global_channel();
    global_channel() = Ptr();
  }
  // `old` lets go of the channel outside the lock.
}

Global_JSON_RPC_Channel::Ptr Global_JSON_RPC_Channel::instance() {
  std::lock_guard<std::mutex> lock(global_mutex());
  return global_channel();
}

Global_JSON_RPC_Channel::Global_JSON_RPC_Channel(std::string const& url, Options const& options)
    : url_(url), options_(options), headers_(nullptr) {
  headers_ = curl_slist_append(headers_, "Content-Type: application/json");
  headers_ = curl_slist_append(headers_, "Accept: application/json");
  // Without this libcurl holds large bodies back waiting for "100 Continue".
  headers_ = curl_slist_append(headers_, "Expect:");
  if (!options_.authorization.empty())
    headers_ = curl_slist_append(headers_, ("Authorization: " + options_.authorization).c_str());
  for (auto const& h : options_.headers) headers_ = curl_slist_append(headers_, h.c_str());
}

Global_JSON_RPC_Channel::~Global_JSON_RPC_Channel() {
  for (CURL* h : idle_) curl_easy_cleanup(h);
  curl_slist_free_all(headers_);
}

CURL* Global_JSON_RPC_Channel::make_handle() const {
  CURL* h = curl_easy_init();
  if (!h) return nullptr;
  curl_easy_setopt(h, CURLOPT_URL, url_.c_str());
  curl_easy_setopt(h, CURLOPT_POST, 1L);
  curl_easy_setopt(h, CURLOPT_HTTPHEADER, headers_);
  curl_easy_setopt(h, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(h, CURLOPT_TCP_NODELAY, 1L);
  curl_easy_setopt(h, CURLOPT_TCP_KEEPALIVE, 1L);
  if (options_.connect_timeout_ms > 0) curl_easy_setopt(h, CURLOPT_CONNECTTIMEOUT_MS, options_.connect_timeout_ms);
  curl_easy_setopt(h, CURLOPT_SSL_VERIFYPEER, options_.verify_peer ? 1L : 0L);
  curl_easy_setopt(h, CURLOPT_SSL_VERIFYHOST, options_.verify_host ? 2L : 0L);
  if (!options_.ca_file.empty()) curl_easy_setopt(h, CURLOPT_CAINFO, options_.ca_file.c_str());
  return h;
}

CURL* Global_JSON_RPC_Channel::acquire() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!idle_.empty()) {
      CURL* h = idle_.back();
      idle_.pop_back();
      return h;
    }
  }
  return make_handle();
}

void Global_JSON_RPC_Channel::release(CURL* handle) {
  if (!handle) return;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (idle_.size() < options_.max_idle_handles) {
      idle_.push_back(handle);
      return;
    }
  }
  curl_easy_cleanup(handle);
}
