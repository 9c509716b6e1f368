#include <limits>
#include <string>

#include <gtest/gtest.h>

#include <ace/Log_Msg.h>

#include "backup/backup_set/common/backup_set.h"
#include "platform/json/json_text.h"
#include "platform/json/object_lookup.h"
#include "platform/json/yajl_array_guard.h"
#include "platform/json/yajl_map_guard.h"
#include "tests/records/document.h"
#include "tests/support/log_capture.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

// An application kind of set, as the members write their own keys.
class Sample_Set : public Backup_Set {
 public:
  Sample_Set() : Backup_Set("sample") {}
  bool generate_i(YAJL_Gen& gen) override {
    gen << "sample_seq" << 7u << "sample_files";
    YAJL_Array_Guard files(gen.get());
    gen << "f1" << "f2";
    return true;
  }
};

// A member whose hook fails half-way.
class Failing_Set : public Backup_Set {
 public:
  Failing_Set() : Backup_Set("failing") {}
  bool generate_i(YAJL_Gen& gen) override {
    gen << "partial" << 1;
    return false;
  }
};

char const DEFAULT_DOCUMENT[] =
    R"({"catalog_module":"","uuid":"","name":"","job_instance_uuid":"","definition_uuid":"","uid":"",)"
    R"("host_uuid":"","resource_uuid":"","minor_resource_id":"","minor_resource_name":"","agent":"",)"
    R"("incarnation":"","type":"","backup_start_time":"1970-01-01 00:00:00","uri":"","host":"","instance":"",)"
    R"("instance_version":"","first_scn":0,"last_scn":0,"size":0,"source_size":0,"resource_tree":{},)"
    R"("extended_attrs":{},"pieces":[],"lsb":{},"uname":{}})";

Value parse(std::string const& text) {
  Value v;
  EXPECT_TRUE(JSON_Parse(text, v)) << text;
  return v;
}

}  // namespace

TEST(BackupSet, DefaultSetWritesEmptyDocument) {
  Backup_Set set(nullptr);
  EXPECT_STREQ("", set.catalog_module);
  Generated doc = generate_text(set);
  EXPECT_TRUE(doc.ok);
  EXPECT_EQ(DEFAULT_DOCUMENT, doc.text);
}

TEST(BackupSet, DefaultConstructorIsTheNullName) {
  Backup_Set set;
  EXPECT_EQ(DEFAULT_DOCUMENT, document_of(set));
}

TEST(BackupSet, ConstructorKeepsTheModuleName) {
  static char const module[] = "dmdb";
  Backup_Set set(module);
  EXPECT_EQ(module, set.catalog_module);
  EXPECT_EQ(0u, document_of(set).find(R"({"catalog_module":"dmdb","uuid":"")"));
}

TEST(BackupSet, FullyFilledDocumentHasExactKeyOrder) {
  Sample_Set set;
  set.uuid = "3b1f0c2e-5d7a-4e8b-9c0d-1e2f3a4b5c6d";
  set.name = "nightly";
  set.definition_uuid = "def-1";
  set.job_instance_uuid = "job-1";
  set.uid = "uid-1";
  set.host_uuid = "host-1";
  set.resource_uuid = "res-1";
  set.minor_resource_id = "db7";
  set.minor_resource_name = "sales";
  set.agent = "agent-x";
  set.incarnation = "inc-2";
  set.type = "full";
  set.first_time = 1699990000;
  set.last_time = 1700003600;
  set.backup_start_time = 1700000000;
  set.backup_end_time = 1700007200;
  set.source_size = 1000;
  set.size = 900;
  set.uri = "sample://host/db";
  set.host = "db-host";
  set.instance = "inst";
  set.instance_version = "12.1";
  set.first_scn = 100;
  set.last_scn = 200;
  set.resource_tree["b"] = Value(2);
  set.resource_tree["a"] = Value(Array{Value("x")});
  set.extended_attrs["e"] = Value(true);
  set.parents = {"p-1", "p-2"};
  Backup_Set_Storage storage;
  storage.pool_uuid = "pool-1";
  storage.size = 900;
  storage.state = Backup_Set_State(Backup_Set_State::ONLINE);
  set.add_storage(storage);
  set.add_piece("/backup/f1", 10);
  set.add_directory_piece("/backup/d", 0);
  set.lsb["DISTRIB_ID"] = Value("Debian");
  set.uname["sysname"] = Value("Linux");
  set.uname["machine"] = Value("x86_64");

  Generated doc = generate_text(set);
  EXPECT_TRUE(doc.ok);
  EXPECT_EQ(
      R"({"catalog_module":"sample","uuid":"3b1f0c2e-5d7a-4e8b-9c0d-1e2f3a4b5c6d","name":"nightly",)"
      R"("job_instance_uuid":"job-1","definition_uuid":"def-1","uid":"uid-1","host_uuid":"host-1",)"
      R"("resource_uuid":"res-1","minor_resource_id":"db7","minor_resource_name":"sales","agent":"agent-x",)"
      R"("incarnation":"inc-2","type":"full","backup_start_time":"2023-11-14 22:13:20","uri":"sample://host/db",)"
      R"("host":"db-host","instance":"inst","instance_version":"12.1","first_scn":100,"last_scn":200,)"
      R"("first_time":"2023-11-14 19:26:40","last_time":"2023-11-14 23:13:20",)"
      R"("backup_end_time":"2023-11-15 00:13:20","size":900,"source_size":1000,)"
      R"("resource_tree":{"a":["x"],"b":2},"extended_attrs":{"e":true},"parents":["p-1","p-2"],)"
      R"("storage":{"pool_uuid":"pool-1","size":900,"state":["online"],"extended_attrs":{}},)"
      R"("pieces":[{"path":"/backup/f1","object":"","size":10,"extended_attrs":{}},)"
      R"({"path":"/backup/d","object":"dir","size":0,"extended_attrs":{}}],)"
      R"("lsb":{"DISTRIB_ID":"Debian"},"uname":{"machine":"x86_64","sysname":"Linux"},)"
      R"("sample_seq":7,"sample_files":["f1","f2"]})",
      doc.text);
}

TEST(BackupSet, OneStorageIsWrittenAsStorageObject) {
  Backup_Set set("file");
  set.add_storage("pool-a", 5);
  Value doc = parse(document_of(set));
  Object const& o = doc.get_obj();
  EXPECT_EQ(0u, o.count("storages"));
  ASSERT_EQ(1u, o.count("storage"));
  ASSERT_EQ(json_spirit::obj_type, o.at("storage").type());
  EXPECT_EQ("pool-a", json_spirit::object_get_str_or_throw(o.at("storage").get_obj(), "pool_uuid"));
  EXPECT_EQ(5, json_spirit::object_get_int64_or_throw(o.at("storage").get_obj(), "size"));
}

TEST(BackupSet, TwoStoragesAreWrittenAsStoragesArray) {
  Backup_Set set("file");
  set.add_storage("pool-a", 5);
  set.add_storage("pool-b", 6);
  std::string const text = document_of(set);
  EXPECT_NE(std::string::npos,
            text.find(R"("storages":[{"pool_uuid":"pool-a","size":5,"state":[],"extended_attrs":{}},)"
                      R"({"pool_uuid":"pool-b","size":6,"state":[],"extended_attrs":{}}],"pieces":[])"));
  Value const doc = parse(text);
  Object const& o = doc.get_obj();
  EXPECT_EQ(0u, o.count("storage"));
  ASSERT_EQ(json_spirit::array_type, o.at("storages").type());
  EXPECT_EQ(2u, o.at("storages").get_array().size());
}

TEST(BackupSet, NoStorageWritesNeitherKey) {
  Backup_Set set("file");
  std::string const text = document_of(set);
  EXPECT_EQ(std::string::npos, text.find("\"storage"));
}

TEST(BackupSet, AddDirectoryPieceMakesDirPiece) {
  Backup_Set set("file");
  set.add_directory_piece("/a", 5);
  ASSERT_EQ(1u, set.pieces.size());
  EXPECT_EQ("/a", set.pieces[0].path);
  EXPECT_EQ("dir", set.pieces[0].object);
  EXPECT_EQ(5, set.pieces[0].size);
  EXPECT_TRUE(set.pieces[0].extended_attrs.empty());
  EXPECT_NE(std::string::npos,
            document_of(set).find(R"("pieces":[{"path":"/a","object":"dir","size":5,"extended_attrs":{}}])"));
}

TEST(BackupSet, AddPieceOverloadsAppendInOrder) {
  Backup_Set set("file");
  set.add_piece("/one", 1);
  Backup_Piece piece;
  piece.path = "/two";
  piece.object = "blob";
  piece.extended_attrs["k"] = Value("v");
  set.add_piece(piece);
  piece.path = "/changed-after-adding";
  ASSERT_EQ(2u, set.pieces.size());
  EXPECT_EQ("/one", set.pieces[0].path);
  EXPECT_EQ("", set.pieces[0].object);
  EXPECT_EQ(1, set.pieces[0].size);
  EXPECT_EQ("/two", set.pieces[1].path);
  EXPECT_EQ("blob", set.pieces[1].object);
  EXPECT_EQ((Object{{"k", Value("v")}}), set.pieces[1].extended_attrs);
}

TEST(BackupSet, AddStorageOverloadsFillOnlyWhatTheyAreGiven) {
  Backup_Set set("file");
  set.add_storage("pool-a", 10);
  set.add_storage("pool-b", 20, Object{{"tier", Value("cold")}});
  Backup_Set_Storage storage;
  storage.pool_uuid = "pool-c";
  storage.upstream_pool_uuid = "pool-a";
  storage.state = Backup_Set_State(Backup_Set_State::ONLINE | Backup_Set_State::REPLICATED);
  set.add_storage(storage);
  ASSERT_EQ(3u, set.storages.size());
  EXPECT_EQ("pool-a", set.storages[0].pool_uuid);
  EXPECT_EQ(10, set.storages[0].size);
  EXPECT_EQ(0u, set.storages[0].state.bits());
  EXPECT_TRUE(set.storages[0].set_uuid.empty());
  EXPECT_TRUE(set.storages[0].upstream_pool_uuid.empty());
  EXPECT_TRUE(set.storages[0].extended_attrs.empty());
  EXPECT_EQ("pool-b", set.storages[1].pool_uuid);
  EXPECT_EQ(20, set.storages[1].size);
  EXPECT_EQ((Object{{"tier", Value("cold")}}), set.storages[1].extended_attrs);
  EXPECT_EQ("pool-a", set.storages[2].upstream_pool_uuid);
  EXPECT_EQ(0x11u, set.storages[2].state.bits());
}

TEST(BackupSet, TimesOfZeroAreLeftOutExceptStartTime) {
  Backup_Set set("file");
  set.last_time = 1700003600;
  std::string const text = document_of(set);
  EXPECT_NE(std::string::npos, text.find(R"("backup_start_time":"1970-01-01 00:00:00")"));
  EXPECT_EQ(std::string::npos, text.find("first_time"));
  EXPECT_EQ(std::string::npos, text.find("backup_end_time"));
  EXPECT_NE(std::string::npos, text.find(R"("last_scn":0,"last_time":"2023-11-14 23:13:20","size":0)"));
}

TEST(BackupSet, NegativeTimeIsWrittenToo) {
  Backup_Set set("file");
  set.first_time = -86400;
  EXPECT_NE(std::string::npos, document_of(set).find(R"("first_time":"1969-12-31 00:00:00")"));
}

TEST(BackupSet, EmptyParentsLeaveKeyOut) {
  Backup_Set set("file");
  EXPECT_EQ(std::string::npos, document_of(set).find("parents"));
  set.parents.push_back("");
  EXPECT_NE(std::string::npos, document_of(set).find(R"("extended_attrs":{},"parents":[""],"pieces")"));
}

TEST(BackupSet, SubclassKeysFollowUnameInsideTheSameObject) {
  Sample_Set set;
  Generated doc = generate_text(set);
  EXPECT_TRUE(doc.ok);
  std::string const tail = R"("lsb":{},"uname":{},"sample_seq":7,"sample_files":["f1","f2"]})";
  ASSERT_GE(doc.text.size(), tail.size());
  EXPECT_EQ(tail, doc.text.substr(doc.text.size() - tail.size()));
  Value const parsed = parse(doc.text);
  Object const& o = parsed.get_obj();
  EXPECT_EQ(7, json_spirit::object_get_int64_or_throw(o, "sample_seq"));
  EXPECT_EQ("sample", json_spirit::object_get_str_or_throw(o, "catalog_module"));
}

TEST(BackupSet, FailingSubclassHookMakesGenerateFailAndLogsAgent) {
  Log_Capture capture;
  Failing_Set set;
  set.agent = "agent-007";
  Generated doc = generate_text(set);
  EXPECT_FALSE(doc.ok);
  ASSERT_EQ(1u, capture.size());
  EXPECT_TRUE(capture.has(LM_ERROR, "Failed to generate backup set with agent 'agent-007'.\n"));
  EXPECT_EQ("Failed to generate backup set with agent 'agent-007'.\n", capture.records()[0].text);
  // What was written stays, and the object is still closed.
  std::string const tail = R"("uname":{},"partial":1})";
  EXPECT_EQ(tail, doc.text.substr(doc.text.size() - tail.size()));
  EXPECT_EQ(json_spirit::obj_type, parse(doc.text).type());
}

TEST(BackupSet, NullGeneratorFailsWritesNothingAndLogsEmergency) {
  Log_Capture capture;
  Sample_Set set;
  set.add_piece("/x", 1);
  EXPECT_FALSE(set.generate(nullptr));
  ASSERT_EQ(1u, capture.size());
  EXPECT_EQ(static_cast<unsigned long>(LM_EMERGENCY), capture.records()[0].priority);
  EXPECT_EQ(0u, capture.records()[0].text.find("Unexpected error in "));
  EXPECT_TRUE(capture.has(LM_EMERGENCY, "backup_set.cpp:"));
  EXPECT_TRUE(capture.has(LM_EMERGENCY, ", gen is NULL:\n"));
}

TEST(BackupSet, GenerateDoesNotChangeTheRecord) {
  Sample_Set set;
  set.add_piece("/x", 1);
  set.add_storage("p", 1);
  std::string const first = document_of(set);
  EXPECT_EQ(first, document_of(set));
}

TEST(BackupSet, SetCanBeWrittenInsideAnOuterDocument) {
  Backup_Set set("file");
  set.add_piece("/x", 1);
  yajl_gen g = yajl_gen_alloc(nullptr);
  {
    YAJL_Gen outer(g, false);
    YAJL_Map_Guard map(g);
    outer << "set";
    EXPECT_TRUE(set.generate(g));
    outer << "after" << 1;
  }
  unsigned char const* buf;
  size_t len;
  yajl_gen_get_buf(g, &buf, &len);
  Value doc = parse(std::string(reinterpret_cast<char const*>(buf), len));
  yajl_gen_free(g);
  ASSERT_EQ(json_spirit::obj_type, doc.type());
  EXPECT_EQ(1, json_spirit::object_get_int64_or_throw(doc.get_obj(), "after"));
  EXPECT_EQ(1u, doc.get_obj().at("set").get_obj().at("pieces").get_array().size());
}

namespace {

json_spirit::Value nested_past_the_writer(int levels) {
  json_spirit::Value v = json_spirit::Value(json_spirit::Array());
  for (int i = 0; i < levels; ++i) v = json_spirit::Value(json_spirit::Array{v});
  return v;
}

// Generates `set` expecting the refusal of an unwritable value.
void expect_unwritable(Backup_Set& set) {
  Log_Capture capture;
  Generated doc = generate_text(set);
  EXPECT_FALSE(doc.ok) << doc.text;
  ASSERT_EQ(1u, capture.size()) << capture.dump();
  EXPECT_EQ(static_cast<unsigned long>(LM_ERROR), capture.records()[0].priority);
  EXPECT_EQ("Failed to generate backup set '" + set.uuid + "': a value cannot be written as JSON.\n",
            capture.records()[0].text);
}

}  // namespace

TEST(BackupSet, ANumberThatIsNotFiniteInTheSetFailsTheDocument) {
  Backup_Set set("file");
  set.uuid = "u-1";
  set.extended_attrs["ratio"] = json_spirit::Value(std::numeric_limits<double>::infinity());
  expect_unwritable(set);
}

TEST(BackupSet, AValueNestedTooDeepInAPieceFailsTheDocument) {
  Backup_Set set("file");
  set.uuid = "u-2";
  set.add_piece("/a", 1);
  Backup_Piece deep;
  deep.path = "/b";
  deep.extended_attrs["tree"] = nested_past_the_writer(130);
  set.add_piece(deep);
  set.add_piece("/c", 3);
  expect_unwritable(set);
}

TEST(BackupSet, AnUnwritableValueInOneOfSeveralStoragesFailsTheDocument) {
  Backup_Set set("file");
  set.uuid = "u-3";
  set.add_storage("p1", 1);
  set.add_storage("p2", 2, {{"nan", json_spirit::Value(std::numeric_limits<double>::quiet_NaN())}});
  expect_unwritable(set);
}

TEST(BackupSet, AnUnwritableValueInTheOnlyStorageFailsTheDocument) {
  Backup_Set set("file");
  set.uuid = "u-4";
  set.add_storage("p1", 1, {{"inf", json_spirit::Value(-std::numeric_limits<double>::infinity())}});
  expect_unwritable(set);
}

TEST(BackupSet, AnUnwritableValueOfAKindFailsTheDocument) {
  struct Kind_With_A_Real : Backup_Set {
    Kind_With_A_Real() : Backup_Set("x") {}
    bool generate_i(YAJL_Gen& g) override {
      g << "ratio" << std::numeric_limits<double>::infinity();
      return true;
    }
  } set;
  set.uuid = "u-5";
  expect_unwritable(set);
}

TEST(BackupSet, TheDeepestWritableValueStillMakesADocument) {
  Backup_Set set("file");
  set.uuid = "u-6";
  // The document's object and "resource_tree" take two levels.
  set.resource_tree["t"] = nested_past_the_writer(124);
  Generated doc = generate_text(set);
  ASSERT_TRUE(doc.ok);
  json_spirit::Value parsed;
  EXPECT_TRUE(JSON_Parse(doc.text, parsed)) << doc.text.substr(0, 200);
}
