#include "platform/rest/http_session.h"

#include <curl/curl.h>

struct HTTP_Session_Locking {
  static void lock(CURL*, curl_lock_data data, curl_lock_access, void* user) {
    static_cast<HTTP_Session*>(user)->locks_[static_cast<unsigned>(data) % 8].lock();
  }
  static void unlock(CURL*, curl_lock_data data, void* user) {
    static_cast<HTTP_Session*>(user)->locks_[static_cast<unsigned>(data) % 8].unlock();
  }
};

namespace {

bool curl_ready() {
  static std::once_flag once;
  static bool ok = false;
  std::call_once(once, [] { ok = curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK; });
  return ok;
}

}  // namespace

HTTP_Session::HTTP_Session(HTTP_Client_Options const& options) : options_(options), share_(nullptr), refs_(0) {
  init();
}

HTTP_Session::HTTP_Session() : share_(nullptr), refs_(0) { init(); }

void HTTP_Session::init() {
  if (!curl_ready()) return;
  share_ = curl_share_init();
  if (!share_) return;
  curl_share_setopt(share_, CURLSHOPT_LOCKFUNC, &HTTP_Session_Locking::lock);
  curl_share_setopt(share_, CURLSHOPT_UNLOCKFUNC, &HTTP_Session_Locking::unlock);
  curl_share_setopt(share_, CURLSHOPT_USERDATA, this);
  curl_share_setopt(share_, CURLSHOPT_SHARE, CURL_LOCK_DATA_CONNECT);
  curl_share_setopt(share_, CURLSHOPT_SHARE, CURL_LOCK_DATA_DNS);
  curl_share_setopt(share_, CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
}

HTTP_Session::~HTTP_Session() {
  if (share_) curl_share_cleanup(share_);
}

void HTTP_Session::intrusive_add_ref(HTTP_Session* session) {
  if (session) session->refs_.fetch_add(1, std::memory_order_relaxed);
}

void HTTP_Session::intrusive_remove_ref(HTTP_Session* session) {
  if (session && session->refs_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete session;
}
