// JSON text in, value out, and back: whatever parses must dump to a text
// that parses again and dumps the same.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/fuzz_support.h"
#include "platform/json/json_text.h"
#include "platform/json/value.h"

using json_spirit::Value;

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzz_quiet_ace_log();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
  char const* text = reinterpret_cast<char const*>(data);

  Value value;
  std::string error;
  bool const ok = JSON_Parse(text, size, value, &error);
  if (!ok && error.empty()) fuzz_fail("a refused text comes without a reason");

  // Keeping repeated keys changes which value an object keeps, never whether
  // the text parses; without repeats both readings are the same value.
  Value first_wins;
  std::vector<JSON_Repeated_Key> repeats;
  bool const ok_repeats = JSON_Parse(text, size, first_wins, nullptr, &repeats);
  if (ok_repeats != ok) fuzz_fail("keeping repeated keys changed whether the text parses");
  if (!ok) {
    if (!repeats.empty()) fuzz_fail("a refused text reported repeated keys");
    return 0;
  }
  if (repeats.empty() && !(first_wins == value)) fuzz_fail("no repeated key, yet the two readings differ");

  // The parser takes nothing the writer would refuse (too deep, not finite).
  std::string const dump = JSON_Dump(value);
  if (dump.empty()) fuzz_fail("a parsed value did not dump");

  Value again;
  if (!JSON_Parse(dump.data(), dump.size(), again, &error)) fuzz_fail("a dump does not parse", dump + "\n" + error);
  if (!(again == value)) fuzz_fail("a dump parses to another value", dump);
  std::string const dump_again = JSON_Dump(again);
  if (dump_again != dump) fuzz_fail("a dump's dump differs", dump + "\n" + dump_again);
  return 0;
}
