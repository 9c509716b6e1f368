// An OpenStack set loaded from any JSON object, into an empty set and into
// one that already holds pieces and storages, then written as a document.
// The loader must answer true or false, never throw.
#include <cstddef>
#include <cstdint>
#include <string>

#include <yajl/yajl_gen.h>

#include "backup/backup_set/common/backup_set_state.h"
#include "backup/backup_set/common/openstack_backup_set.h"
#include "fuzz/fuzz_support.h"
#include "platform/json/json_text.h"
#include "platform/json/object_lookup.h"
#include "platform/json/value.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

size_t array_size(Object const& obj, char const* key) {
  Value const* v = json_spirit::object_find(obj, key, json_spirit::array_type);
  return v ? v->get_array().size() : 0;
}

// A set as an agent has it before it loads a document into it.
void fill(OpenStack_Backup_Set& set) {
  set.add_piece("/backup/vm-7/disk0.qcow2", 1ULL << 33);
  set.add_directory_piece("/backup/vm-7/meta", 0);
  Backup_Piece piece;
  piece.path = "volume-3";
  piece.size = 4096;
  piece.object = "volume";
  piece.extended_attrs["format"] = "raw";
  set.add_piece(piece);
  set.add_storage("pool-a", 1 << 20);
  Object attrs;
  attrs["tier"] = "cold";
  set.add_storage("pool-b", 2 << 20, attrs);
  set.storages.back().state = Backup_Set_State(Backup_Set_State::ONLINE | Backup_Set_State::REPLICATED);
}

// What a successful load must have taken from `obj`.
void check_loaded(OpenStack_Backup_Set const& set, Object const& obj, size_t pieces_before, size_t storages_before) {
  if (set.pieces.size() != pieces_before + array_size(obj, "pieces")) fuzz_fail("pieces lost or invented by a load");
  if (set.storages.size() != storages_before + array_size(obj, "storages"))
    fuzz_fail("storages lost or invented by a load");
  if (set.uuid != json_spirit::object_get_str_or_throw(obj, "uuid")) fuzz_fail("uuid not taken");
  if (set.set_uuid != json_spirit::object_get_str_or_throw(obj, "set_uuid")) fuzz_fail("set_uuid not taken");
  if (set.size != json_spirit::object_get_int64_or_throw(obj, "size")) fuzz_fail("size not taken");
  for (Backup_Piece const& p : set.pieces) {
    Backup_Piece const* first = set.get_piece(p.object);
    if (!first || first->object != p.object) fuzz_fail("a piece is not found by its object");
    size_t same = 0;
    for (Backup_Piece const& q : set.pieces) same += q.object == p.object;
    if (set.get_pieces(p.object).size() != same) fuzz_fail("get_pieces misses pieces of an object");
  }
}

// Writes the set. Whatever was loaded came from parsed text, so it can be
// written back: the document must parse and carry the set's identity, its
// pieces and its storages.
void check_document(OpenStack_Backup_Set& set) {
  yajl_gen gen = yajl_gen_alloc(nullptr);
  if (!gen) return;
  bool const ok = set.generate(gen);
  unsigned char const* buf = nullptr;
  size_t len = 0;
  yajl_gen_get_buf(gen, &buf, &len);
  std::string const text(reinterpret_cast<char const*>(buf), len);
  yajl_gen_free(gen);
  if (!ok) fuzz_fail("generate failed on a loaded set", text);

  Value doc;
  std::string error;
  if (!JSON_Parse(text.data(), text.size(), doc, &error))
    fuzz_fail("the set's document does not parse", error + "\n" + text);
  if (doc.type() != json_spirit::obj_type) fuzz_fail("the set's document is not an object", text);
  Object const& o = doc.get_obj();
  std::string s;
  if (!json_spirit::object_get_str(o, "catalog_module", s) || s != "openstack") fuzz_fail("catalog_module", text);
  if (!json_spirit::object_get_str(o, "uuid", s) || s != set.uuid) fuzz_fail("uuid not written", text);
  if (!json_spirit::object_get_str(o, "vm_id", s) || s != set.vm_id) fuzz_fail("vm_id not written", text);
  if (array_size(o, "pieces") != set.pieces.size()) fuzz_fail("pieces not all written", text);
  // One copy is written as an object, several as an array.
  size_t const storages = set.storages.size() == 1
                              ? (json_spirit::object_find(o, "storage", json_spirit::obj_type) ? 1 : 0)
                              : array_size(o, "storages");
  if (storages != set.storages.size()) fuzz_fail("storages not all written", text);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzz_quiet_ace_log();
  // The kind's tables are built on first use and kept.
  OpenStack_Backup_Set set;
  fill(set);
  check_document(set);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
  Value input;
  if (!JSON_Parse(reinterpret_cast<char const*>(data), size, input, nullptr)) return 0;
  if (input.type() != json_spirit::obj_type) return 0;
  Object const& obj = input.get_obj();

  OpenStack_Backup_Set fresh;
  bool const loaded = fresh << obj;
  if (loaded) check_loaded(fresh, obj, 0, 0);
  check_document(fresh);

  OpenStack_Backup_Set held;
  fill(held);
  size_t const pieces_before = held.pieces.size();
  size_t const storages_before = held.storages.size();
  if ((held << obj) != loaded) fuzz_fail("an object loads into one set and not into another");
  if (loaded) check_loaded(held, obj, pieces_before, storages_before);
  check_document(held);
  return 0;
}
