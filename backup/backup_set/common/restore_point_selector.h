#ifndef BACKUP_BACKUP_SET_COMMON_RESTORE_POINT_SELECTOR_H
#define BACKUP_BACKUP_SET_COMMON_RESTORE_POINT_SELECTOR_H

#include <string>
#include <vector>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/restore_plan.h"
#include "backup/backup_set/common/restore_target.h"
#include "platform/export.h"

namespace database {
namespace sql {
class Connection;
}
}  // namespace database

// Works out which sets bring one resource back to a target, in order, and
// the pool each is read from:
//
// - the data set (a full, or an incremental on its parents) that ends
//   latest at or before the target (ties: the later backup_end_time, then
//   the greater uuid);
// - its parents, recursively, parents first; each must be among the sets,
//   and the sets that have no parents must be fulls;
// - then log sets, each starting at most one past the point reached so far
//   and ending beyond it (the one that ends furthest), until the target is
//   reached. When no log continues and none starts further on before the
//   target, the plan stops where it is (Restore_Plan::complete() is false);
//   a log that does start further on means the logs have a gap, an error.
//
// A set whose points the target's kind cannot place (no times for a time,
// no SCNs for a position) is not a candidate. Each set's pool is the
// Backup_Set_Storage_Selector's choice (MODE_SOURCE_POOL) among its
// storages; a set with none to read from is an error.
class BSET_API Restore_Point_Selector {
 public:
  // Log sets: modules "oracle_arch" and "dmdb_log", and the type words
  // "log", "archive", "archivelog", "arch", "binlog", "wal" in any case.
  static bool is_log_set(Backup_Set const& set);

  // The plan from the sets of one host and resource. False, with `error`
  // saying why in words, when there is none; `plan` is then unchanged.
  static bool plan(std::vector<Backup_Set> const& sets, Restore_Target const& target, Restore_Plan& plan,
                   std::string& error);

  // The same from the catalogue: the complete sets of the host and the
  // resource, read through Restore_Candidate_Reader.
  static bool plan(database::sql::Connection& connection, std::string const& host_uuid,
                   std::string const& resource_uuid, Restore_Target const& target, Restore_Plan& plan,
                   std::string& error);
};

#endif
