#ifndef SERVER_RESTORE_PLAN_VIEW_H
#define SERVER_RESTORE_PLAN_VIEW_H

#include <string>

#include "backup/backup_set/common/restore_target.h"
#include "platform/json/value.h"
#include "server/catalog_error.h"

namespace database {
namespace sql {
class Connection;
}
}  // namespace database

// The view "restore_plan" of module "backup_set": which sets restore a
// resource to a point, in order, and the pool each is read from
// (Restore_Point_Selector). Params host_uuid, resource_uuid and exactly one
// of time ("YYYY-MM-DD HH:MM:SS", UTC), scn (an integer) and lsn ("X/Y");
// the answer is the plan's document (Restore_Plan::value).
class Restore_Plan_View {
 public:
  // The view's parameters, checked before the catalogue is touched. Values
  // come typed over JSON-RPC and as text over REST; both are taken.
  struct Request {
    std::string host_uuid;
    std::string resource_uuid;
    Restore_Target target;
  };
  static bool parse(json_spirit::Object const& params, Request& request, Catalog_Error& error);

  // A catalogue that cannot be read is STORAGE_FAILED; a resource that
  // cannot be restored to the target is NOT_FOUND, with the reason.
  static bool answer(database::sql::Connection& connection, Request const& request, json_spirit::Value& result,
                     Catalog_Error& error);
};

#endif
