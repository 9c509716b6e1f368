#include <gtest/gtest.h>

#include "platform/json/json_text.h"
#include "server/set_document_validator.h"

using json_spirit::Value;

namespace {

char const kValid[] = R"({
  "catalog_module": "file", "uuid": "6f1c2a4e-8b0d-4c3e-9a51-0d7e3c2b1a90", "name": "nightly",
  "job_instance_uuid": "", "definition_uuid": "11111111-2222-3333-4444-555555555555", "uid": "",
  "host_uuid": "", "resource_uuid": "", "minor_resource_id": "db1", "minor_resource_name": "Db 1",
  "agent": "agent-1", "incarnation": "", "type": "full", "backup_start_time": "2024-03-01 02:00:00",
  "uri": "", "host": "h1", "instance": "", "instance_version": "", "first_scn": 0, "last_scn": 7,
  "backup_end_time": "2024-03-01 02:10:00", "size": 10, "source_size": 20,
  "resource_tree": {}, "extended_attrs": {"k": [1, 2]},
  "parents": ["aaaaaaaa-bbbb-cccc-dddd-eeeeeeeeeeee"],
  "storages": [
    {"pool_uuid": "aaaaaaaa-0000-0000-0000-000000000001", "size": 10, "state": ["online"], "extended_attrs": {}},
    {"pool_uuid": "aaaaaaaa-0000-0000-0000-000000000002", "size": 10, "state": ["offline", "replicated"],
     "upstream_pool_uuid": "aaaaaaaa-0000-0000-0000-000000000001", "extended_attrs": {}}],
  "pieces": [{"path": "/a", "object": "", "size": 5, "extended_attrs": {}}, {"path": "/b", "size": 6}],
  "lsb": {}, "uname": {}, "files": [{"any": "member-specific key"}]
})";

Value parse(std::string const& text) {
  Value v;
  EXPECT_TRUE(JSON_Parse(text, v)) << text;
  return v;
}

// The valid document with one member replaced (or removed when `json` is empty).
Value with(std::string const& key, std::string const& json) {
  Value doc = parse(kValid);
  if (json.empty())
    doc.get_obj().erase(key);
  else
    doc.get_obj()[key] = parse(json);
  return doc;
}

std::string error_of(Value const& doc, bool require_uuid = true) {
  std::string error;
  if (Set_Document_Validator::validate_set(doc, require_uuid, error)) return "(accepted)";
  return error;
}

}  // namespace

TEST(SetDocumentValidator, AcceptsACompleteDocumentWithMemberSpecificKeys) {
  EXPECT_EQ("(accepted)", error_of(parse(kValid)));
}

TEST(SetDocumentValidator, RequiresAUuidUnlessItComesFromElsewhere) {
  EXPECT_EQ("uuid: missing", error_of(with("uuid", "")));
  EXPECT_EQ("(accepted)", error_of(with("uuid", ""), false));
  EXPECT_EQ("uuid: not a UUID", error_of(with("uuid", "\"6f1c2a4e-8b0d-4c3e-9a51\"")));
  EXPECT_EQ("uuid: not a UUID", error_of(with("uuid", "\"\"")));
  EXPECT_EQ("uuid: not a string but an integer", error_of(with("uuid", "5")));
}

TEST(SetDocumentValidator, NamesTheMemberOfTheWrongType) {
  EXPECT_EQ("name: not a string but an integer", error_of(with("name", "12")));
  EXPECT_EQ("catalog_module: not a string but null", error_of(with("catalog_module", "null")));
  EXPECT_EQ("size: not an integer but a string", error_of(with("size", "\"10\"")));
  EXPECT_EQ("last_scn: not an integer but a real number", error_of(with("last_scn", "1.5")));
  EXPECT_EQ("extended_attrs: not an object but an array", error_of(with("extended_attrs", "[]")));
  EXPECT_EQ("host_uuid: not a UUID", error_of(with("host_uuid", "\"host-1\"")));
  EXPECT_EQ("parents[0]: not a UUID", error_of(with("parents", "[\"x\"]")));
  EXPECT_EQ("parents: not an array but a string", error_of(with("parents", "\"x\"")));
}

TEST(SetDocumentValidator, AcceptsEmptyUuidMembersAsUnset) {
  EXPECT_EQ("(accepted)", error_of(with("host_uuid", "\"\"")));
}

TEST(SetDocumentValidator, RejectsIntegersBeyondTheSigned64BitRange) {
  EXPECT_EQ("source_size: out of the signed 64-bit range", error_of(with("source_size", "18446744073709551615")));
  EXPECT_EQ("(accepted)", error_of(with("source_size", "9223372036854775807")));
}

TEST(SetDocumentValidator, TakesTimesOnlyInTheDocumentForm) {
  EXPECT_EQ("(accepted)", error_of(with("first_time", "\"1970-01-01 00:00:00\"")));
  char const* bad[] = {"\"2024-03-01T02:00:00\"", "\"2024-03-01 02:00\"", "\"2024-02-30 00:00:00\"",
                       "\"2024-03-01 24:00:00\"", "\"2024-03-01 02:00:00Z\"", "\"yesterday\""};
  for (char const* b : bad)
    EXPECT_EQ("backup_start_time: not a time \"YYYY-MM-DD HH:MM:SS\"", error_of(with("backup_start_time", b))) << b;
  EXPECT_EQ("backup_end_time: not a string but an integer", error_of(with("backup_end_time", "1700000000")));
  long long seconds = 0;
  ASSERT_TRUE(Set_Document_Validator::parse_time("2024-03-01 02:00:00", seconds));
  EXPECT_EQ(1709258400, seconds);
}

TEST(SetDocumentValidator, NamesTheBadStorageByItsPlace) {
  Value doc = parse(kValid);
  auto& storages = doc.get_obj()["storages"].get_array();
  storages[1].get_obj()["pool_uuid"] = "pool-2";
  EXPECT_EQ("storages[1].pool_uuid: not a UUID", error_of(doc));
  storages[1].get_obj().erase("pool_uuid");
  EXPECT_EQ("storages[1].pool_uuid: missing", error_of(doc));
  storages[1] = Value(7);
  EXPECT_EQ("storages[1]: not an object but an integer", error_of(doc));

  EXPECT_EQ("storages: not an array but an object", error_of(with("storages", "{}")));
  Value one = with("storages", "");
  one.get_obj()["storage"] = parse(R"({"pool_uuid": "aaaaaaaa-0000-0000-0000-000000000001", "size": "1"})");
  EXPECT_EQ("storage.size: not an integer but a string", error_of(one));
}

TEST(SetDocumentValidator, RefusesUnknownStateNames) {
  Value doc = with("storages", "");
  doc.get_obj()["storage"] = parse(R"({"pool_uuid": "aaaaaaaa-0000-0000-0000-000000000001", "size": 1,
                                       "state": ["online", "Offline"]})");
  EXPECT_EQ("storage.state: unknown state Offline", error_of(doc));
  doc.get_obj()["storage"].get_obj()["state"] = parse("[\"online\", 4]");
  EXPECT_EQ("storage.state: unknown state (an integer)", error_of(doc));
  doc.get_obj()["storage"].get_obj()["state"] = parse("\"online\"");
  EXPECT_EQ("storage.state: not an array but a string", error_of(doc));
  doc.get_obj()["storage"].get_obj()["state"] = parse(
      "[\"online\", \"offline\", \"nearline\", \"expired\", \"replicated\", \"warmup\", \"incomplete\", \"unsync\", "
      "\"virtual\"]");
  EXPECT_EQ("(accepted)", error_of(doc));
}

TEST(SetDocumentValidator, RefusesStorageAndStoragesTogether) {
  Value doc = parse(kValid);
  doc.get_obj()["storage"] = parse(R"({"pool_uuid": "aaaaaaaa-0000-0000-0000-000000000001"})");
  EXPECT_EQ("storages: given together with \"storage\"", error_of(doc));
}

TEST(SetDocumentValidator, NamesTheBadPieceByItsPlace) {
  Value doc = parse(kValid);
  auto& pieces = doc.get_obj()["pieces"].get_array();
  pieces[1].get_obj()["size"] = "6";
  EXPECT_EQ("pieces[1].size: not an integer but a string", error_of(doc));
  pieces[1].get_obj().erase("size");
  EXPECT_EQ("pieces[1].size: missing", error_of(doc));
  pieces[0].get_obj().erase("path");
  EXPECT_EQ("pieces[0].path: missing", error_of(doc));
  EXPECT_EQ("pieces: not an array but an object", error_of(with("pieces", "{}")));

  std::string error;
  EXPECT_FALSE(Set_Document_Validator::validate_pieces(parse(R"([{"path": "/x", "size": 1, "object": 3}])"),
                                                       "pieces", error));
  EXPECT_EQ("pieces[0].object: not a string but an integer", error);
  EXPECT_TRUE(Set_Document_Validator::validate_pieces(parse("[]"), "pieces", error));
}

TEST(SetDocumentValidator, RefusesANonObjectDocument) {
  EXPECT_EQ("document: not an object but an array", error_of(parse("[]")));
}

TEST(SetDocumentValidator, RefusesASecondCopyInTheSamePool) {
  Value doc = parse(kValid);
  auto& storages = doc.get_obj()["storages"].get_array();
  storages[1].get_obj()["pool_uuid"] = "AAAAAAAA-0000-0000-0000-000000000001";
  EXPECT_EQ("storages[1].pool_uuid: names the pool of storages[0] again", error_of(doc));
}

TEST(SetDocumentValidator, RefusesPathsAndTextsLongerThanTheCatalogueIndexes) {
  Value doc = parse(kValid);
  doc.get_obj()["pieces"].get_array()[1].get_obj()["path"] = "/" + std::string(4095, 'p');
  EXPECT_EQ("(accepted)", error_of(doc));
  doc.get_obj()["pieces"].get_array()[1].get_obj()["path"] = "/" + std::string(4096, 'p');
  EXPECT_EQ("pieces[1].path: longer than 4096 bytes", error_of(doc));
  EXPECT_EQ("(accepted)", error_of(with("name", "\"" + std::string(2048, 'n') + "\"")));
  EXPECT_EQ("name: longer than 2048 bytes", error_of(with("name", "\"" + std::string(2049, 'n') + "\"")));
}

TEST(SetDocumentValidator, TreesMustHoldWellFormedTextWithoutNulAndStayShallow) {
  bool deep = false;
  std::string error;
  Value doc = parse(kValid);
  EXPECT_TRUE(Set_Document_Validator::validate_tree(doc, "", deep, error)) << error;

  doc.get_obj()["pieces"].get_array()[0].get_obj()["path"] = std::string("/a\0b", 4);
  EXPECT_FALSE(Set_Document_Validator::validate_tree(doc, "", deep, error));
  EXPECT_FALSE(deep);
  EXPECT_EQ("pieces[0].path: the text holds a NUL character", error);

  doc = parse(kValid);
  doc.get_obj()["extended_attrs"].get_obj()["k"] = "\xed\xa0\x80";
  EXPECT_FALSE(Set_Document_Validator::validate_tree(doc, "", deep, error));
  EXPECT_EQ("extended_attrs.k: the text is not well-formed UTF-8", error);

  doc = parse(kValid);
  doc.get_obj()["extended_attrs"].get_obj()["\xc0\xaf"] = 1;
  EXPECT_FALSE(Set_Document_Validator::validate_tree(doc, "", deep, error));
  EXPECT_EQ("extended_attrs: a key is not well-formed UTF-8", error);

  // Levels are counted from the document itself: 120 containers deep is
  // taken, 121 is not.
  Value nested = Value(json_spirit::Array());
  for (int i = 1; i < Set_Document_Validator::DEEPEST; ++i) {
    json_spirit::Array a;
    a.push_back(nested);
    nested = Value(a);
  }
  EXPECT_TRUE(Set_Document_Validator::validate_tree(nested, "", deep, error)) << error;
  json_spirit::Array one_more;
  one_more.push_back(nested);
  EXPECT_FALSE(Set_Document_Validator::validate_tree(Value(one_more), "", deep, error));
  EXPECT_TRUE(deep);
  EXPECT_EQ("Parse error: nested deeper than 120 levels", error);
}
