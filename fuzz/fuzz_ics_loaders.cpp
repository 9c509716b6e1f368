// The nested records of an ICS set: the first byte picks the record, the
// rest is its JSON. A record that loads must convert back to an object that
// loads again into the same record.
#include <cstddef>
#include <cstdint>
#include <string>

#include "backup/backup_set/common/ics_backup_set.h"
#include "fuzz/fuzz_support.h"
#include "platform/json/json_text.h"
#include "platform/json/value.h"

using json_spirit::Object;
using json_spirit::Value;

namespace {

// Every key a record writes is one it requires, so each must be in the
// input; text and flags come back as they were read.
void check_taken_from(Object const& out, Value const& input) {
  Object const& in = input.get_obj();
  for (auto const& m : out) {
    auto it = in.find(m.first);
    if (it == in.end()) fuzz_fail("a record wrote a key its input lacks", m.first);
    json_spirit::Value_type const t = m.second.type();
    if ((t == json_spirit::str_type || t == json_spirit::bool_type) && !(it->second == m.second))
      fuzz_fail("a record changed a text or a flag", m.first);
  }
}

template <typename Record>
void round_trip(Value const& input) {
  Record record;
  if (!record.from_json(input)) return;
  if (input.type() != json_spirit::obj_type) fuzz_fail("a record loaded from a value that is not an object");
  Object const out = record.to_json();
  if (out.empty()) fuzz_fail("a loaded record converts to an empty object");
  check_taken_from(out, input);

  Record again;
  if (!again.from_json(Value(out))) fuzz_fail("a record's own object does not load", JSON_Dump(Value(out)));
  Object const out_again = again.to_json();
  if (!(out_again == out)) {
    fuzz_fail("a record's object loads into another record",
              JSON_Dump(Value(out)) + "\n" + JSON_Dump(Value(out_again)));
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzz_quiet_ace_log();
  // Each record's first failure logs; its message and ACE's buffers stay.
  Value none;
  ICS_Backup_Set::VM_Base().from_json(none);
  ICS_Backup_Set::CPU_Info().from_json(none);
  ICS_Backup_Set::Mem_Info().from_json(none);
  ICS_Backup_Set::Aggregate_Info().from_json(none);
  ICS_Backup_Set::kind();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
  if (size < 1) return 0;
  Value input;
  if (!JSON_Parse(reinterpret_cast<char const*>(data + 1), size - 1, input, nullptr)) return 0;
  switch (data[0] % 4) {
    case 0: round_trip<ICS_Backup_Set::VM_Base>(input); break;
    case 1: round_trip<ICS_Backup_Set::CPU_Info>(input); break;
    case 2: round_trip<ICS_Backup_Set::Mem_Info>(input); break;
    case 3: round_trip<ICS_Backup_Set::Aggregate_Info>(input); break;
  }
  return 0;
}
