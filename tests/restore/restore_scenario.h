#ifndef TESTS_RESTORE_RESTORE_SCENARIO_H
#define TESTS_RESTORE_RESTORE_SCENARIO_H

#include <string>
#include <vector>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_state.h"
#include "backup/backup_set/common/backup_set_storage.h"

// Three days of one database: a full on day 1, an incremental on day 2 and
// another on day 3, each applied on the one before, and archive logs that
// cover every day without a gap up to day 3, 20:00:
//
//   FULL  d1 01:00-02:00          LOG1 d1 02:00-12:00   LOG2 d1 12:00-d2 00:00
//   INC1  d2 01:00-02:00 on FULL  LOG3 d2 00:00-12:00   LOG4 d2 12:00-d3 00:00
//   INC2  d3 01:00-02:00 on INC1  LOG5 d3 00:00-12:00   LOG6 d3 12:00-20:00
//
// The same sets carry SCNs in step with their times (one SCN a second from
// day 1 00:00, SCN 1000 then), so position targets can use them too.
namespace restore_scenario {

char const HOST[] = "0b0b0b0b-0000-4000-8000-00000000000b";
char const RESOURCE[] = "0e0e0e0e-0000-4000-8000-00000000000e";
char const POOL_A[] = "aaaaaaaa-0000-4000-8000-000000000001";
char const POOL_B[] = "bbbbbbbb-0000-4000-8000-000000000002";
char const POOL_C[] = "cccccccc-0000-4000-8000-000000000003";

char const FULL[] = "f0000000-0000-4000-8000-000000000001";
char const INC1[] = "f0000000-0000-4000-8000-000000000002";
char const INC2[] = "f0000000-0000-4000-8000-000000000003";
char const LOG1[] = "10000000-0000-4000-8000-000000000001";
char const LOG2[] = "10000000-0000-4000-8000-000000000002";
char const LOG3[] = "10000000-0000-4000-8000-000000000003";
char const LOG4[] = "10000000-0000-4000-8000-000000000004";
char const LOG5[] = "10000000-0000-4000-8000-000000000005";
char const LOG6[] = "10000000-0000-4000-8000-000000000006";

long long const DAY1 = 1709251200;  // 2024-03-01 00:00:00 UTC

// POSIX seconds of day `day` (1-based) at `hour`:`minute`.
inline long long at(int day, int hour, int minute = 0) {
  return DAY1 + (day - 1) * 86400LL + hour * 3600LL + minute * 60LL;
}
// The SCN that goes with a time.
inline long long scn_at(long long seconds) { return 1000 + (seconds - DAY1); }

inline Backup_Set_Storage storage(char const* pool, unsigned long long state, char const* upstream = "") {
  Backup_Set_Storage s;
  s.pool_uuid = pool;
  s.size = 4096;
  s.state = Backup_Set_State(state);
  s.upstream_pool_uuid = upstream;
  return s;
}

inline Backup_Set make_set(char const* module, char const* uuid, char const* type, long long first, long long last,
                           std::vector<std::string> parents = {}) {
  Backup_Set s(module);
  s.uuid = uuid;
  s.name = std::string(type) + " " + uuid;
  s.host_uuid = HOST;
  s.resource_uuid = RESOURCE;
  s.type = type;
  s.first_time = first;
  s.last_time = last;
  s.backup_start_time = last;
  s.backup_end_time = last + 600;
  s.first_scn = scn_at(first);
  s.last_scn = scn_at(last);
  s.parents = std::move(parents);
  s.add_storage(storage(POOL_A, Backup_Set_State::ONLINE));
  return s;
}

inline Backup_Set data_set(char const* uuid, char const* type, long long first, long long last,
                           std::vector<std::string> parents = {}) {
  return make_set("dmdb", uuid, type, first, last, std::move(parents));
}

inline Backup_Set log_set(char const* uuid, long long first, long long last) {
  return make_set("dmdb_log", uuid, "archive", first, last);
}

inline std::vector<Backup_Set> three_days() {
  return {data_set(FULL, "full", at(1, 1), at(1, 2)),
          log_set(LOG1, at(1, 2), at(1, 12)),
          log_set(LOG2, at(1, 12), at(2, 0)),
          data_set(INC1, "incremental", at(2, 1), at(2, 2), {FULL}),
          log_set(LOG3, at(2, 0), at(2, 12)),
          log_set(LOG4, at(2, 12), at(3, 0)),
          data_set(INC2, "incremental", at(3, 1), at(3, 2), {INC1}),
          log_set(LOG5, at(3, 0), at(3, 12)),
          log_set(LOG6, at(3, 12), at(3, 20))};
}

inline Backup_Set* find(std::vector<Backup_Set>& sets, std::string const& uuid) {
  for (Backup_Set& s : sets)
    if (s.uuid == uuid) return &s;
  return nullptr;
}

}  // namespace restore_scenario

#endif
