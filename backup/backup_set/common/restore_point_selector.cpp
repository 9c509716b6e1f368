#include "backup/backup_set/common/restore_point_selector.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <map>
#include <set>

#include <yajl/yajl_gen.h>

#include "backup/backup_set/common/backup_set_storage_selector.h"
#include "backup/backup_set/common/restore_candidate_reader.h"
#include "platform/json/json_text.h"

namespace {

char const* const LOG_MODULES[] = {"oracle_arch", "dmdb_log"};
char const* const LOG_TYPES[] = {"log", "archive", "archivelog", "arch", "binlog", "wal"};

// Agents write parents as they like; the catalogue answers lower case.
std::string lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

// A set with its points under the target's kind.
struct Candidate {
  Backup_Set const* set;
  std::string uuid;  // lower case
  bool log;
  bool has_start;
  unsigned long long start;
  bool has_end;
  unsigned long long end;
};

// Which of two sets covering the same ground is preferred: the one that
// ends further, then the one backed up later, then the greater uuid, so
// that equal catalogues always give the same plan.
bool preferred(Candidate const& a, Candidate const& b) {
  if (a.end != b.end) return a.end > b.end;
  if (a.set->backup_end_time != b.set->backup_end_time) return a.set->backup_end_time > b.set->backup_end_time;
  return a.uuid > b.uuid;
}

// The storages as the catalogue delivers them to a reader, in JSON.
std::vector<json_spirit::Value> storage_values(Backup_Set const& set) {
  std::vector<json_spirit::Value> out;
  for (Backup_Set_Storage storage : set.storages) {
    yajl_gen gen = yajl_gen_alloc(nullptr);
    if (!gen) continue;
    unsigned char const* buf = nullptr;
    size_t length = 0;
    json_spirit::Value value;
    if (storage.generate(gen) && yajl_gen_get_buf(gen, &buf, &length) == yajl_gen_status_ok &&
        JSON_Parse(std::string(reinterpret_cast<char const*>(buf), length), value))
      out.push_back(std::move(value));
    yajl_gen_free(gen);
  }
  return out;
}

bool fail(std::string& error, std::string const& why) {
  error = why;
  return false;
}

}  // namespace

bool Restore_Point_Selector::is_log_set(Backup_Set const& set) {
  char const* module = set.catalog_module ? set.catalog_module : "";
  for (char const* m : LOG_MODULES)
    if (std::strcmp(module, m) == 0) return true;
  std::string type = lower(set.type);
  for (char const* t : LOG_TYPES)
    if (type == t) return true;
  return false;
}

bool Restore_Point_Selector::plan(std::vector<Backup_Set> const& sets, Restore_Target const& target,
                                  Restore_Plan& out, std::string& error) {
  std::vector<Candidate> all;
  all.reserve(sets.size());
  std::map<std::string, size_t> by_uuid;
  for (Backup_Set const& s : sets) {
    Candidate c{&s, lower(s.uuid), is_log_set(s), false, 0, false, 0};
    c.has_start = target.start_of(s, c.start);
    c.has_end = target.end_of(s, c.end);
    by_uuid[c.uuid] = all.size();
    all.push_back(c);
  }
  unsigned long long const goal = target.key();

  // The data set to start from.
  Candidate const* base = nullptr;
  for (Candidate const& c : all)
    if (!c.log && c.has_end && c.end <= goal && (!base || preferred(c, *base))) base = &c;
  if (!base)
    return fail(error, "no full or incremental backup of this resource ends at or before " + target.text(goal));

  // Its chain: every ancestor, each of which must be there.
  std::set<size_t> chain{static_cast<size_t>(base - all.data())};
  std::vector<size_t> pending(chain.begin(), chain.end());
  while (!pending.empty()) {
    Candidate const& child = all[pending.back()];
    pending.pop_back();
    for (std::string const& parent : child.set->parents) {
      auto found = by_uuid.find(lower(parent));
      if (found == by_uuid.end())
        return fail(error, "backup set " + parent + " (parent of " + child.set->uuid + ") is not in the catalogue");
      if (chain.insert(found->second).second) pending.push_back(found->second);
    }
  }

  // Parents first; among the sets ready at once, the one that ends first.
  std::map<size_t, std::set<size_t>> waits_on;  // set -> its parents not yet placed
  std::map<size_t, std::vector<size_t>> children;
  for (size_t i : chain) {
    std::set<size_t>& parents = waits_on[i];
    for (std::string const& parent : all[i].set->parents) {
      size_t p = by_uuid.at(lower(parent));
      if (parents.insert(p).second) children[p].push_back(i);
    }
    if (parents.empty() && all[i].log)
      return fail(error, "backup set " + all[i].set->uuid + " starts the chain of " + base->set->uuid +
                             " but is not a full backup");
  }
  std::vector<size_t> order;
  std::vector<size_t> ready;
  for (auto const& w : waits_on)
    if (w.second.empty()) ready.push_back(w.first);
  auto later_first = [&all](size_t a, size_t b) { return preferred(all[a], all[b]); };
  while (!ready.empty()) {
    // The last element is the earliest one.
    std::sort(ready.begin(), ready.end(), later_first);
    size_t next = ready.back();
    ready.pop_back();
    order.push_back(next);
    for (size_t child : children[next]) {
      std::set<size_t>& parents = waits_on[child];
      parents.erase(next);
      if (parents.empty()) ready.push_back(child);
    }
  }
  if (order.size() != chain.size())
    return fail(error, "the parents of backup set " + base->set->uuid + " depend on each other in a cycle");

  Restore_Plan plan;
  plan.target = target;
  auto add_step = [&plan](Candidate const& c, char const* role) {
    Restore_Plan::Step step;
    step.uuid = c.set->uuid;
    step.role = role;
    step.catalog_module = c.set->catalog_module ? c.set->catalog_module : "";
    step.type = c.set->type;
    step.has_start = c.has_start;
    step.start = c.start;
    step.end = c.end;
    plan.steps.push_back(step);
  };
  for (size_t i : order) {
    Candidate const& c = all[i];
    add_step(c, c.log ? "log" : c.set->parents.empty() ? "full" : "incremental");
  }

  // Roll forward with logs.
  unsigned long long reached = base->end;
  while (reached < goal) {
    Candidate const* next = nullptr;
    unsigned long long gap_end = 0;
    bool gap = false;
    for (size_t i = 0; i < all.size(); ++i) {
      Candidate const& c = all[i];
      if (!c.log || !c.has_start || !c.has_end || chain.count(i)) continue;
      // reached < goal, so reached + 1 cannot overflow.
      if (c.start <= reached + 1 && c.end > reached) {
        if (!next || preferred(c, *next)) next = &c;
      } else if (c.start > reached && c.start <= goal && (!gap || c.start < gap_end)) {
        gap = true;
        gap_end = c.start;
      }
    }
    if (!next) {
      if (gap)
        return fail(error, "archive logs leave a gap from " + target.text(reached) + " to " + target.text(gap_end) +
                               " before the target " + target.text(goal));
      break;
    }
    add_step(*next, "log");
    reached = next->end;
  }
  plan.reached = reached;

  for (Restore_Plan::Step& step : plan.steps) {
    Backup_Set const& set = *all[by_uuid.at(lower(step.uuid))].set;
    Backup_Set_Storage_Selector selector(storage_values(set), Backup_Set_Storage_Selector::MODE_SOURCE_POOL);
    if (selector.pool_uuid().empty())
      return fail(error, "backup set " + step.uuid + " has no storage copy to read from");
    step.pool_uuid = selector.pool_uuid();
  }
  out = std::move(plan);
  return true;
}

bool Restore_Point_Selector::plan(database::sql::Connection& connection, std::string const& host_uuid,
                                  std::string const& resource_uuid, Restore_Target const& target, Restore_Plan& out,
                                  std::string& error) {
  Restore_Candidate_Reader reader;
  return reader.read(connection, host_uuid, resource_uuid, error) && plan(reader.sets(), target, out, error);
}
