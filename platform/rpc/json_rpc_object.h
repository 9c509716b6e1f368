#ifndef PLATFORM_RPC_JSON_RPC_OBJECT_H
#define PLATFORM_RPC_JSON_RPC_OBJECT_H

#include <cstddef>
#include <string>

#include <ace/Recursive_Thread_Mutex.h>
#include <ace/Refcounted_Auto_Ptr.h>
#include <yajl/yajl_gen.h>

#include "platform/export.h"
#include "platform/json/value.h"

class JSON_RPC_Object;
// Requests and answers are shared between the caller and the transport.
typedef ACE_Refcounted_Auto_Ptr<JSON_RPC_Object, ACE_Recursive_Thread_Mutex> JSON_RPC_Object_Ptr;

// One JSON-RPC 2.0 message: a request, a notification, a result answer, an
// error answer, or something that arrived and is none of these.
class BSET_API JSON_RPC_Object {
 public:
  enum Kind {
    JSON_RPC_INVALID = 0,
    JSON_RPC_REQUEST = 1,
    JSON_RPC_NOTIFICATION = 2,
    JSON_RPC_RESULT = 3,
    JSON_RPC_ERROR = 4
  };

  static JSON_RPC_Object* make_request(std::string const& method, json_spirit::Value const& params, long long id);

  // Classifies an answer's text. Returns null when the text is not JSON (or
  // is cut short); JSON that is not a well-formed answer to `expected_id`
  // gives an object of kind JSON_RPC_INVALID that keeps the parsed value.
  static JSON_RPC_Object* parse_response(char const* text, size_t length, long long expected_id);

  int kind() const { return kind_; }
  long long id() const { return id_; }
  bool has_id() const { return has_id_; }
  std::string const& method() const { return method_; }
  json_spirit::Value const& params() const { return params_; }
  json_spirit::Value const& result() const { return result_; }
  int error_code() const { return error_code_; }
  std::string const& error_message() const { return error_message_; }
  json_spirit::Value const& error_data() const { return error_data_; }
  // The whole message as received (answers only).
  json_spirit::Value const& raw() const { return raw_; }

  // Writes a request or notification as its wire object.
  bool write(yajl_gen gen) const;

 private:
  JSON_RPC_Object() = default;

  int kind_ = JSON_RPC_INVALID;
  long long id_ = 0;
  bool has_id_ = false;
  std::string method_;
  json_spirit::Value params_;
  json_spirit::Value result_;
  int error_code_ = 0;
  std::string error_message_;
  json_spirit::Value error_data_;
  json_spirit::Value raw_;
};

#endif
