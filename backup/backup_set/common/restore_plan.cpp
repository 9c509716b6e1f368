#include "backup/backup_set/common/restore_plan.h"

#include <ace/Log_Msg.h>

#include "platform/json/json_text.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

Restore_Plan::Restore_Plan() : reached(0) {}

Restore_Plan::~Restore_Plan() = default;

Value Restore_Plan::value() const {
  Array rows;
  rows.reserve(steps.size());
  for (Step const& s : steps) {
    Object o;
    o["uuid"] = s.uuid;
    o["role"] = s.role;
    o["catalog_module"] = s.catalog_module;
    o["type"] = s.type;
    o["start"] = s.has_start ? target.value(s.start) : Value();
    o["end"] = target.value(s.end);
    o["pool_uuid"] = s.pool_uuid;
    rows.push_back(Value(std::move(o)));
  }
  Object plan;
  plan["target_kind"] = target.kind_name();
  plan["target"] = target.value(target.key());
  plan["reached"] = target.value(reached);
  plan["complete"] = complete();
  plan["steps"] = Value(std::move(rows));
  return Value(std::move(plan));
}

bool Restore_Plan::generate(yajl_gen_t* gen) {
  if (!gen) {
    ACE_ERROR((LM_EMERGENCY, "Unexpected error in %N:%l, gen is NULL:\n%?\n"));
    return false;
  }
  return yajl_gen_value(gen, value()) == yajl_gen_status_ok;
}
