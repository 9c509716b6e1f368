#ifndef BENCH_COMMIT_SAMPLE_H
#define BENCH_COMMIT_SAMPLE_H

// The set both commit benchmarks send: 100 pieces and one storage, about 13 KB.

#include <string>

#include <yajl/yajl_gen.h>

#include "backup/backup_set/common/backup_set.h"

inline void fill_commit_sample(Backup_Set& set, char const* pool_uuid) {
  set.uuid = "6f1c1c2e-8f9e-4a55-9a41-0c1d2e3f4a5b";
  set.name = "nightly-full";
  set.definition_uuid = "0b7e1d9c-3a5f-4c2e-9d1b-7f6a5e4d3c2b";
  set.job_instance_uuid = "a1b2c3d4-e5f6-4789-abcd-ef0123456789";
  set.host_uuid = "11111111-2222-4333-8444-555555555555";
  set.resource_uuid = "66666666-7777-4888-9999-aaaaaaaaaaaa";
  set.agent = "agent-7";
  set.type = "full";
  set.host = "db01.example";
  set.backup_start_time = 1700000000;
  set.backup_end_time = 1700003600;
  set.size = 100LL * 1048576;
  set.source_size = 200LL * 1048576;
  for (int i = 0; i < 100; ++i) set.add_piece("/backup/db01/2023-11-14/piece-" + std::to_string(i) + ".dat", 1048576);
  set.add_storage(pool_uuid, set.size);
}

// The set's document as the transports put it on the wire.
inline std::string document_of(Backup_Set& set) {
  yajl_gen g = yajl_gen_alloc(nullptr);
  set.generate(g);
  unsigned char const* buf = nullptr;
  size_t len = 0;
  yajl_gen_get_buf(g, &buf, &len);
  std::string out(reinterpret_cast<char const*>(buf), len);
  yajl_gen_free(g);
  return out;
}

#endif
