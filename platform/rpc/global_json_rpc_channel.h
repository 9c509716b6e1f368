#ifndef PLATFORM_RPC_GLOBAL_JSON_RPC_CHANNEL_H
#define PLATFORM_RPC_GLOBAL_JSON_RPC_CHANNEL_H

#include <mutex>
#include <string>
#include <vector>

#include <ace/Refcounted_Auto_Ptr.h>
#include <ace/Thread_Mutex.h>

#include "platform/export.h"
#include "platform/rpc/json_rpc_channel_options.h"

typedef void CURL;
struct curl_slist;

// The process's one JSON-RPC endpoint on the backup server (HTTP POST of
// JSON-RPC 2.0). Opening it makes it available to every session; sessions
// borrow libcurl handles from the channel and give them back, so the
// connection to the server stays open from one request to the next.
class BSET_API Global_JSON_RPC_Channel {
 public:
  typedef JSON_RPC_Channel_Options Options;

  typedef ACE_Refcounted_Auto_Ptr<Global_JSON_RPC_Channel, ACE_Thread_Mutex> Ptr;

  // Makes `url` the process's channel (replacing one opened before; sessions
  // still using the old one keep it until they end). False for a null or
  // empty URL or when libcurl cannot be set up.
  static bool open(char const* url, Options const& options = Options());
  // The process has no channel afterwards; sessions still open finish.
  static void close();
  // The channel now open, or an empty handle.
  static Ptr instance();

  ~Global_JSON_RPC_Channel();
  Global_JSON_RPC_Channel(Global_JSON_RPC_Channel const&) = delete;
  Global_JSON_RPC_Channel& operator=(Global_JSON_RPC_Channel const&) = delete;

  std::string const& url() const { return url_; }
  Options const& options() const { return options_; }

  // The headers every request of the channel carries (set on its handles).
  curl_slist* headers() const { return headers_; }

  // A handle set up for this channel (reused when one is idle), and back.
  CURL* acquire();
  void release(CURL* handle);

 private:
  Global_JSON_RPC_Channel(std::string const& url, Options const& options);
  CURL* make_handle() const;

  std::string url_;
  Options options_;
  curl_slist* headers_;
  std::mutex mutex_;
  std::vector<CURL*> idle_;
};

#endif
