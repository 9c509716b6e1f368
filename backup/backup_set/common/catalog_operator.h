#ifndef BACKUP_BACKUP_SET_COMMON_CATALOG_OPERATOR_H
#define BACKUP_BACKUP_SET_COMMON_CATALOG_OPERATOR_H

#include <map>
#include <string>
#include <vector>

#include "platform/export.h"
#include "platform/json/value.h"

class Backup_Set;
class JSON_RESTful_Client;

// Sends backup sets to the backup server's catalogue over the process's
// JSON-RPC channel: whole commits, the staged initialize / add_piece /
// complete (or abort) sequence, updates, and catalogue views.
//
// A request that gets no answer is tried again after 1, 2, 4, ... (at most
// 60) seconds, until `retries` further attempts were made or the delays
// already slept reach `retry_timeout` seconds (-1: no such limit). An answer
// of any kind ends the request. Every operation returns false on failure,
// which it has logged; nothing is thrown.
class BSET_API Catalog_Operator {
 public:
  Catalog_Operator(int retries, int retry_timeout);
  virtual ~Catalog_Operator();

  // New limits for the requests that follow.
  void init(int retries, int retry_timeout);

  // With `confirm`, a commit the server only queued is followed until the
  // set exists (commit_confirm).
  virtual bool commit(Backup_Set& set, bool confirm);
  virtual bool commit(json_spirit::Value const& doc, bool confirm);
  // The server's answer to an update is not examined.
  virtual bool update(Backup_Set& set);
  virtual bool update(json_spirit::Value const& doc);
  virtual bool initialize(Backup_Set& set);
  virtual bool initialize(json_spirit::Value const& doc);
  virtual bool add_piece(std::string const& uuid, std::vector<json_spirit::Value> const& pieces);
  virtual bool complete(Backup_Set& set);
  virtual bool complete(json_spirit::Value const& doc);
  // On success `pieces` becomes the pieces the server had for the set.
  virtual bool abort(std::string const& uuid, std::vector<json_spirit::Value>& pieces);
  // The rows of a catalogue view, as the server answered them.
  virtual bool get_view(char const* module, char const* view, std::map<std::string, json_spirit::Value> const& param,
                        json_spirit::Value& result) const;
  // The first of those rows.
  virtual bool get_first_view(char const* module, char const* view,
                              std::map<std::string, json_spirit::Value> const& param, json_spirit::Value& row) const;
  // Accepts a commit's result and, when the server only queued the commit,
  // polls "/d2/r/v2/sets/exists" for the set through `client` (or a client
  // to the upstream server when null) until it is there or the limits run
  // out. Note the limits' roles here: `retry_timeout` bounds the number of
  // polls and `retries` the seconds slept.
  virtual bool commit_confirm(json_spirit::Value const& result, JSON_RESTful_Client* client);

 protected:
  // One JSON-RPC call with the retry loop; `result` is set only on a result
  // answer.
  bool global_json_rpc_request(char const* method, json_spirit::Value const& params,
                               json_spirit::Value& result) const;
  // The same with the set's document streamed as the parameters.
  bool global_json_rpc_request(char const* method, Backup_Set& set, json_spirit::Value& result) const;
  // True for an object whose "result" is the boolean true.
  bool check_request_result(json_spirit::Value const& result) const;
  // The first element of the "rows" of a view's result.
  bool get_first_row(json_spirit::Value const& result, json_spirit::Value& row) const;

  int retries;
  int retry_timeout;
};

#endif
