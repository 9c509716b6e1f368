#include <string>

#include <gtest/gtest.h>

#include <ace/Log_Msg.h>

#include "backup/backup_set/common/backup_set.h"
#include "platform/json/json_text.h"
#include "platform/time/iso8601.h"
#include "tests/records/document.h"
#include "tests/support/log_capture.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

bool cstr(Backup_Set& set, char const* key, std::string const& text) {
  return set.print_cstr(0, key, text.data(), text.size());
}

}  // namespace

TEST(ColumnIntake, TextColumnTakesOnlyGivenLength) {
  Backup_Set set("file");
  EXPECT_TRUE(set.print_cstr(0, "name", "abcdef", 3));
  EXPECT_EQ("abc", set.name);
}

TEST(ColumnIntake, TextKeptWithEmbeddedZero) {
  Backup_Set set("file");
  EXPECT_TRUE(set.print_cstr(0, "uid", "a\0b", 3));
  EXPECT_EQ(std::string("a\0b", 3), set.uid);
}

TEST(ColumnIntake, IntegerUnderTextKeyChangesNothing) {
  Backup_Set set("file");
  set.uuid = "keep";
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_int(0, "uuid", 5));
  EXPECT_EQ("keep", set.uuid);
  EXPECT_EQ(before, document_of(set));
}

TEST(ColumnIntake, ValuesInsideOpenMapOrArrayAreIgnored) {
  Backup_Set set("file");
  database::sql::Query_Result_Printer& printer = set;
  printer.start_array(0, "storages");
  printer.start_map(0, "");
  EXPECT_TRUE(printer.print_cstr(0, "name", "nested", 6));
  EXPECT_TRUE(printer.print_int(1, "size", 77));
  EXPECT_TRUE(printer.print_json(2, "lsb", Value(Object{{"a", Value(1)}})));
  EXPECT_TRUE(printer.print_cstr(3, "first_time", "2023-11-14 22:13:20", 19));
  printer.end_map();
  EXPECT_TRUE(printer.print_cstr(0, "name", "in-array", 8));
  printer.end_array();
  EXPECT_EQ("", set.name);
  EXPECT_EQ(0, set.size);
  EXPECT_TRUE(set.lsb.empty());
  EXPECT_EQ(0, set.first_time);
  EXPECT_TRUE(printer.print_cstr(0, "name", "top", 3));
  EXPECT_EQ("top", set.name);
}

TEST(ColumnIntake, JsonColumnNotObjectLeavesFieldUnchanged) {
  Backup_Set set("file");
  set.lsb["DISTRIB_ID"] = Value("Debian");
  Object const before = set.lsb;
  EXPECT_TRUE(set.print_json(0, "lsb", Value(Array{Value(1)})));
  EXPECT_EQ(before, set.lsb);
  EXPECT_TRUE(set.print_json(0, "lsb", Value("text")));
  EXPECT_TRUE(set.print_json(0, "lsb", Value()));
  EXPECT_EQ(before, set.lsb);
}

TEST(ColumnIntake, JsonObjectColumnsReplaceTheirMaps) {
  Backup_Set set("file");
  set.uname["old"] = Value(1);
  Object const tree{{"disk", Value(Array{Value("sda")})}};
  EXPECT_TRUE(set.print_json(0, "resource_tree", Value(tree)));
  EXPECT_TRUE(set.print_json(1, "extended_attrs", Value(Object{{"e", Value(2)}})));
  EXPECT_TRUE(set.print_json(2, "uname", Value(Object{{"sysname", Value("Linux")}})));
  EXPECT_TRUE(set.print_json(3, "lsb", Value(Object{{"id", Value("x")}})));
  EXPECT_EQ(tree, set.resource_tree);
  EXPECT_EQ((Object{{"e", Value(2)}}), set.extended_attrs);
  EXPECT_EQ((Object{{"sysname", Value("Linux")}}), set.uname);
  EXPECT_EQ((Object{{"id", Value("x")}}), set.lsb);
}

TEST(ColumnIntake, EveryTextColumnOfTheSetIsTaken) {
  Backup_Set set("file");
  char const* const keys[] = {"uuid",          "name",        "definition_uuid",     "job_instance_uuid",
                              "uid",           "host_uuid",   "agent",               "resource_uuid",
                              "minor_resource_id", "minor_resource_name", "incarnation", "type",
                              "uri",           "host",        "instance",            "instance_version"};
  for (char const* key : keys) EXPECT_TRUE(cstr(set, key, std::string("v-") + key));
  EXPECT_EQ("v-uuid", set.uuid);
  EXPECT_EQ("v-name", set.name);
  EXPECT_EQ("v-definition_uuid", set.definition_uuid);
  EXPECT_EQ("v-job_instance_uuid", set.job_instance_uuid);
  EXPECT_EQ("v-uid", set.uid);
  EXPECT_EQ("v-host_uuid", set.host_uuid);
  EXPECT_EQ("v-agent", set.agent);
  EXPECT_EQ("v-resource_uuid", set.resource_uuid);
  EXPECT_EQ("v-minor_resource_id", set.minor_resource_id);
  EXPECT_EQ("v-minor_resource_name", set.minor_resource_name);
  EXPECT_EQ("v-incarnation", set.incarnation);
  EXPECT_EQ("v-type", set.type);
  EXPECT_EQ("v-uri", set.uri);
  EXPECT_EQ("v-host", set.host);
  EXPECT_EQ("v-instance", set.instance);
  EXPECT_EQ("v-instance_version", set.instance_version);
}

TEST(ColumnIntake, TimeColumnsAreParsedFromText) {
  Backup_Set set("file");
  EXPECT_TRUE(cstr(set, "first_time", "2023-11-14 19:26:40"));
  EXPECT_TRUE(cstr(set, "last_time", "2023-11-14 23:13:20"));
  EXPECT_TRUE(cstr(set, "backup_start_time", "2023-11-14 22:13:20"));
  EXPECT_TRUE(cstr(set, "backup_end_time", "2023-11-15 00:13:20"));
  EXPECT_EQ(1699990000, set.first_time);
  EXPECT_EQ(1700003600, set.last_time);
  EXPECT_EQ(1700000000, set.backup_start_time);
  EXPECT_EQ(1700007200, set.backup_end_time);
}

TEST(ColumnIntake, TimeTextNeedNotBeZeroEnded) {
  Backup_Set set("file");
  char const text[] = "2023-11-14 22:13:20garbage";
  EXPECT_TRUE(set.print_cstr(0, "backup_start_time", text, 19));
  EXPECT_EQ(1700000000, set.backup_start_time);
}

TEST(ColumnIntake, UnparsableTimeLeavesWhatTheParserLeft) {
  Backup_Set set("file");
  set.first_time = 123;
  EXPECT_TRUE(cstr(set, "first_time", "yesterday"));
  // The parser in use leaves its output alone on failure.
  EXPECT_EQ(123, set.first_time);
  EXPECT_TRUE(cstr(set, "last_time", ""));
  EXPECT_EQ(0, set.last_time);
}

TEST(ColumnIntake, IntegerColumnsOfTheSet) {
  Backup_Set set("file");
  EXPECT_TRUE(set.print_int(0, "source_size", 1LL << 40));
  EXPECT_TRUE(set.print_int(0, "size", -1));
  EXPECT_TRUE(set.print_int(0, "first_scn", 11));
  EXPECT_TRUE(set.print_int(0, "last_scn", 22));
  EXPECT_TRUE(set.print_int(0, "first_time", 99));
  EXPECT_EQ(1LL << 40, set.source_size);
  EXPECT_EQ(-1, set.size);
  EXPECT_EQ(11, set.first_scn);
  EXPECT_EQ(22, set.last_scn);
  EXPECT_EQ(0, set.first_time);
}

TEST(ColumnIntake, NestedCollectionsAreNotTakenBySet) {
  Backup_Set set("file");
  EXPECT_TRUE(set.print_json(0, "parents", Value(Object{{"a", Value(1)}})));
  EXPECT_TRUE(set.print_json(0, "storages", Value(Object{{"pool_uuid", Value("p")}})));
  EXPECT_TRUE(set.print_json(0, "pieces", Value(Object{{"path", Value("/x")}})));
  EXPECT_TRUE(cstr(set, "parents", "p-1"));
  EXPECT_TRUE(set.parents.empty());
  EXPECT_TRUE(set.storages.empty());
  EXPECT_TRUE(set.pieces.empty());
}

TEST(ColumnIntake, KeysMatchCaseSensitively) {
  Backup_Set set("file");
  EXPECT_TRUE(cstr(set, "Name", "x"));
  EXPECT_TRUE(set.print_int(0, "SIZE", 5));
  EXPECT_TRUE(set.print_json(0, "Lsb", Value(Object{{"a", Value(1)}})));
  EXPECT_EQ("", set.name);
  EXPECT_EQ(0, set.size);
  EXPECT_TRUE(set.lsb.empty());
}

TEST(ColumnIntake, NullOrEmptyKeyFailsInEveryIntakeOfTheSet) {
  Log_Capture capture;
  Backup_Set set("file");
  std::string const before = document_of(set);
  EXPECT_FALSE(set.print_cstr(0, nullptr, "x", 1));
  EXPECT_FALSE(set.print_cstr(0, "", "x", 1));
  EXPECT_FALSE(set.print_int(0, nullptr, 1));
  EXPECT_FALSE(set.print_int(0, "", 1));
  EXPECT_FALSE(set.print_json(0, nullptr, Value(Object())));
  EXPECT_FALSE(set.print_json(0, "", Value(Object())));
  ASSERT_EQ(6u, capture.size());
  for (auto const& record : capture.records()) {
    EXPECT_EQ(static_cast<unsigned long>(LM_EMERGENCY), record.priority);
    EXPECT_EQ(0u, record.text.find("Unexpected error in ")) << record.text;
    EXPECT_NE(std::string::npos, record.text.find("backup_set.cpp:")) << record.text;
    EXPECT_NE(std::string::npos, record.text.find(", key is NULL or \"\":\n")) << record.text;
  }
  EXPECT_EQ(before, document_of(set));
}

TEST(ColumnIntake, RowOfTheSetRoundTripsThroughItsDocument) {
  Backup_Set set("file");
  set.print_cstr(0, "uuid", "u-1", 3);
  set.print_cstr(1, "backup_start_time", "2023-11-14 22:13:20", 19);
  set.print_int(2, "size", 900);
  set.print_json(3, "extended_attrs", Value(Object{{"k", Value("v")}}));
  Value doc;
  ASSERT_TRUE(JSON_Parse(document_of(set), doc));
  Object const& o = doc.get_obj();
  EXPECT_EQ(Value("u-1"), o.at("uuid"));
  EXPECT_EQ(Value("2023-11-14 22:13:20"), o.at("backup_start_time"));
  EXPECT_EQ(Value(900), o.at("size"));
  EXPECT_EQ(Value(Object{{"k", Value("v")}}), o.at("extended_attrs"));
}
