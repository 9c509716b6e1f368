#ifndef PLATFORM_RPC_JSON_RPC_SESSION_H
#define PLATFORM_RPC_JSON_RPC_SESSION_H

#include <string>

#include "platform/export.h"
#include "platform/json/json_generator.h"
#include "platform/json/value.h"
#include "platform/rpc/global_json_rpc_channel.h"
#include "platform/rpc/json_rpc_object.h"

// A short-lived conversation over a channel: build requests, send them and
// wait for their answers. Meant to be made for one attempt and dropped; the
// connection outlives it in the channel.
class BSET_API JSON_RPC_Session {
 public:
  explicit JSON_RPC_Session(Global_JSON_RPC_Channel::Ptr const& channel);
  ~JSON_RPC_Session();
  JSON_RPC_Session(JSON_RPC_Session const&) = delete;
  JSON_RPC_Session& operator=(JSON_RPC_Session const&) = delete;

  // A request object with a fresh id. False for a null or empty method.
  bool make_rpc_request(char const* method, json_spirit::Value const& params, JSON_RPC_Object_Ptr& request);

  // Sends a request and waits up to `timeout` seconds (<= 0: no limit of its
  // own; the channel's cap still applies). True when an answer arrived;
  // false on no channel, a transport failure, a time-out, or a body that is
  // not JSON. Any JSON that came back is in `response`: look at its kind.
  bool request(JSON_RPC_Object_Ptr const& request, JSON_RPC_Object_Ptr& response, long long timeout);

  // The same, with the parameters written straight from `params` into the
  // request body (no intermediate value); null sends no parameters.
  bool request(char const* method, JSON_Generator* params, JSON_RPC_Object_Ptr& response, long long timeout);

  // What went wrong with the last request that returned false.
  std::string const& last_error() const { return last_error_; }

 private:
  bool send(char const* body, size_t size, long long id, JSON_RPC_Object_Ptr& response, long long timeout);

  Global_JSON_RPC_Channel::Ptr channel_;
  CURL* handle_;
  std::string answer_;
  std::string last_error_;
};

#endif
