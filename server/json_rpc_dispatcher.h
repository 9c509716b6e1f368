#ifndef SERVER_JSON_RPC_DISPATCHER_H
#define SERVER_JSON_RPC_DISPATCHER_H

#include <string>
#include <vector>

#include "platform/json/value.h"
#include "server/catalog_error.h"
#include "server/set_document.h"

class Catalog_Store;
class Commit_Queue;

// JSON-RPC 2.0 over the catalogue: parses a request body (one call or a
// batch), runs the "backup_set.*" methods and writes the answer body. The REST
// routes run the same methods through call(), so both protocols share one
// meaning of every operation.
class Json_Rpc_Dispatcher {
 public:
  // `queue` may be null: commits are then stored before they are answered.
  Json_Rpc_Dispatcher(Catalog_Store& store, Commit_Queue* queue);

  // One HTTP body in; the answer body out. Empty when the body held only
  // notifications (nothing to answer). `request_key` is the idempotency
  // key the request came with ("" for none): an add_piece without a
  // "batch" member of its own takes it as its batch key (in a batch of
  // calls, suffixed with the call's position).
  std::string handle(std::string const& body, std::string const& request_key = std::string()) const;

  // One method with its parameters; `result` gets the method's result object.
  // `later` are the later values of keys the parameters' object repeats.
  bool call(std::string const& method, json_spirit::Value const& params, json_spirit::Value& result,
            Catalog_Error& error, Set_Document::Later_Values const& later = Set_Document::Later_Values(),
            std::string const& request_key = std::string()) const;

  // The longest batch or idempotency key taken.
  static size_t const LONGEST_KEY = 200;

  // The error object of an answer, {"jsonrpc": "2.0", "error": {...}, "id": id}.
  static json_spirit::Value error_answer(Catalog_Error const& error, json_spirit::Value const& id);

  // Logs a refused call: storage failures as errors, bad requests as notices.
  static void log_refusal(std::string const& what, Catalog_Error const& error);

 private:
  // One element of a request: false when it is a notification (no answer).
  // `repeats` of the whole body; `path` is where the request stands in it.
  bool handle_one(json_spirit::Value const& request, json_spirit::Value& answer,
                  std::vector<JSON_Repeated_Key> const& repeats, std::vector<std::string> path,
                  std::string const& request_key) const;

  bool commit(Set_Document const& doc, json_spirit::Value& result, Catalog_Error& error) const;

  Catalog_Store& store_;
  Commit_Queue* queue_;
};

#endif
