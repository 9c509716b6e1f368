#ifndef BACKUP_BACKUP_SET_COMMON_RESTFUL_CATALOG_OPERATOR_H
#define BACKUP_BACKUP_SET_COMMON_RESTFUL_CATALOG_OPERATOR_H

#include <map>
#include <memory>
#include <string>
#include <vector>

#include <ace/Intrusive_Auto_Ptr.h>

#include "backup/backup_set/common/catalog_operator.h"
#include "platform/export.h"
#include "platform/json/value.h"

class HTTP_Session;
class JSON_RESTful_Client;

// The catalogue operations over the server's REST resources under
// "/d2/r/v2/sets". The retry limits given to a constructor are the REST
// client's (it retries each request itself); the operator's own limits,
// which bound the confirmation poll of a queued commit, stay unlimited until
// init() sets them. update(doc) is not a REST call: it still goes over the
// JSON-RPC channel.
class BSET_API RESTful_Catalog_Operator : public Catalog_Operator {
 public:
  // To the process's upstream backup server.
  RESTful_Catalog_Operator(int retries, int retry_timeout);
  // To host:port; `header`, when not empty, is sent as "Authorization". An
  // empty host leaves the operator without a client (it converts to false).
  RESTful_Catalog_Operator(char const* host, unsigned short port, bool secure, char const* header, int retries,
                           int retry_timeout);
  // To a target within an HTTP session (see Network_JSON_RESTful_Client).
  RESTful_Catalog_Operator(std::string const& target, ACE_Intrusive_Auto_Ptr<HTTP_Session> session, bool flag,
                           int retries, int retry_timeout);
  RESTful_Catalog_Operator(std::string const& target, std::string const& second,
                           ACE_Intrusive_Auto_Ptr<HTTP_Session> session, bool flag, int retries, int retry_timeout);
  ~RESTful_Catalog_Operator() override;

  using Catalog_Operator::update;

  bool commit(Backup_Set& set, bool confirm) override;
  bool commit(json_spirit::Value const& doc, bool confirm) override;
  bool update(Backup_Set& set) override;
  // The staged steps report whether the server took the request; their
  // answers are not examined.
  bool initialize(Backup_Set& set) override;
  bool initialize(json_spirit::Value const& doc) override;
  bool add_piece(std::string const& uuid, std::vector<json_spirit::Value> const& pieces) override;
  bool complete(Backup_Set& set) override;
  bool complete(json_spirit::Value const& doc) override;
  // The server answers the set's pieces as a JSON array.
  bool abort(std::string const& uuid, std::vector<json_spirit::Value>& pieces) override;
  bool get_view(char const* module, char const* view, std::map<std::string, json_spirit::Value> const& param,
                json_spirit::Value& result) const override;
  bool get_first_view(char const* module, char const* view, std::map<std::string, json_spirit::Value> const& param,
                      json_spirit::Value& row) const override;

  explicit operator bool() const { return client_ != nullptr; }
  JSON_RESTful_Client* client() const { return client_.get(); }

 private:
  bool usable() const;

  std::unique_ptr<JSON_RESTful_Client> client_;
};

#endif
