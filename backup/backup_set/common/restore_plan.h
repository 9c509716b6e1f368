#ifndef BACKUP_BACKUP_SET_COMMON_RESTORE_PLAN_H
#define BACKUP_BACKUP_SET_COMMON_RESTORE_PLAN_H

#include <string>
#include <vector>

#include <yajl/yajl_gen.h>

#include "backup/backup_set/common/restore_target.h"
#include "platform/export.h"
#include "platform/json/json_generator.h"
#include "platform/json/value.h"

// The sets to restore, in the order they are applied, to bring one
// resource to a target: a full, the incrementals on it, then the log sets
// that roll it forward. Made by Restore_Point_Selector.
class BSET_API Restore_Plan : public JSON_Generator {
 public:
  struct Step {
    std::string uuid;
    std::string role;  // "full", "incremental" or "log"
    std::string catalog_module;
    std::string type;
    bool has_start = false;  // a full may not say where it starts
    unsigned long long start = 0;  // keys of the target's kind
    unsigned long long end = 0;
    std::string pool_uuid;  // where the set is read from
  };

  Restore_Plan();
  ~Restore_Plan() override;

  // Whether the steps reach the target; otherwise they stop at `reached`,
  // the furthest point the catalogue's sets cover without a gap.
  bool complete() const { return reached >= target.key(); }

  // {"complete", "reached", "steps": [{"uuid", "role", "catalog_module",
  // "type", "start", "end", "pool_uuid"}], "target", "target_kind"}; points
  // as Restore_Target::value writes them, an unknown start as null.
  json_spirit::Value value() const;
  bool generate(yajl_gen_t* gen) override;

  Restore_Target target;
  unsigned long long reached;
  std::vector<Step> steps;
};

#endif
