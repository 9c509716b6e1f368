#ifndef PLATFORM_REST_HTTP_SESSION_H
#define PLATFORM_REST_HTTP_SESSION_H

#include <atomic>
#include <mutex>

#include <ace/Intrusive_Auto_Ptr.h>

#include "platform/export.h"
#include "platform/rest/http_client_options.h"

typedef void CURLSH;

// What several REST clients to the same place have in common: credentials,
// TLS settings, time-outs, and one cache of open connections, TLS sessions
// and name look-ups, so a client made for one job reuses the connection the
// previous one left open. Shared through ACE_Intrusive_Auto_Ptr.
class BSET_API HTTP_Session {
 public:
  explicit HTTP_Session(HTTP_Client_Options const& options);
  HTTP_Session();
  HTTP_Session(HTTP_Session const&) = delete;
  HTTP_Session& operator=(HTTP_Session const&) = delete;

  HTTP_Client_Options const& options() const { return options_; }
  CURLSH* share() const { return share_; }

  static void intrusive_add_ref(HTTP_Session* session);
  static void intrusive_remove_ref(HTTP_Session* session);

 private:
  ~HTTP_Session();  // through the last reference only
  void init();

  HTTP_Client_Options options_;
  CURLSH* share_;
  std::atomic<long> refs_;
  std::mutex locks_[8];  // one per kind of data libcurl shares

  friend struct HTTP_Session_Locking;
};

typedef ACE_Intrusive_Auto_Ptr<HTTP_Session> HTTP_Session_Ptr;

#endif
