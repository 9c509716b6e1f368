#ifndef SERVER_SET_VIEW_H
#define SERVER_SET_VIEW_H

#include "platform/json/value.h"
#include "server/catalog_error.h"

namespace database {
namespace sql {
class Connection;
}
}  // namespace database

// The view "sets" of module "backup_set": complete sets, newest first (by
// backup_start_time, then uuid; sets without a start time last, by uuid),
// one page per call. Params: uuid, host_uuid, resource_uuid, name,
// catalog_module ("" selects the kinds without a module name), since and
// until (start time in [since, until)), limit (page size, default 1000, at
// most 10000), cursor (the "next" of the page before) or offset.
//
// The answer is {"rows": [...], "next": token}; "next" is there only when
// more rows follow. Each row has its storages and its kind's keys under
// "application". A page costs a few statements whatever the size of the
// catalogue: the sets, by an index in the view's order (two when the page
// reaches the sets without a start time), and the storages of the page, one
// statement per 1,000 sets.
class Set_View {
 public:
  static bool answer(database::sql::Connection& c, json_spirit::Object const& params, json_spirit::Value& result,
                     Catalog_Error& error);
};

#endif
