#include <string>

#include <gtest/gtest.h>

#include <ace/Log_Msg.h>

#include "backup/backup_set/common/backup_set_storage.h"
#include "platform/json/json_text.h"
#include "tests/records/document.h"
#include "tests/support/log_capture.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

TEST(BackupSetStorage, DefaultStorageWritesFourKeys) {
  Backup_Set_Storage storage;
  EXPECT_EQ(R"({"pool_uuid":"","size":0,"state":[],"extended_attrs":{}})", document_of(storage));
}

TEST(BackupSetStorage, State0x11WritesOnlineAndReplicated) {
  Backup_Set_Storage storage;
  storage.state = Backup_Set_State(0x11);
  EXPECT_EQ(R"({"pool_uuid":"","size":0,"state":["online","replicated"],"extended_attrs":{}})",
            document_of(storage));
}

TEST(BackupSetStorage, StateBitsWithoutNameAreLeftOut) {
  Log_Capture capture;
  Backup_Set_Storage storage;
  storage.state = Backup_Set_State(0x200 | 0x400 | 0x8000000000000000ULL | 0x100);
  EXPECT_EQ(R"({"pool_uuid":"","size":0,"state":["virtual"],"extended_attrs":{}})", document_of(storage));
  EXPECT_EQ(0u, capture.size());
}

TEST(BackupSetStorage, StateArrayMatchesStatesOfTheState) {
  Backup_Set_Storage storage;
  storage.state = Backup_Set_State(0x1FF | 0x1000);
  Value doc;
  ASSERT_TRUE(JSON_Parse(document_of(storage), doc));
  EXPECT_EQ(Value(storage.state.states()), doc.get_obj().at("state"));
}

TEST(BackupSetStorage, EmptyUpstreamPoolLeavesKeyOut) {
  Backup_Set_Storage storage;
  storage.pool_uuid = "p1";
  storage.upstream_pool_uuid = "";
  EXPECT_EQ(std::string::npos, document_of(storage).find("upstream_pool_uuid"));
}

TEST(BackupSetStorage, NonEmptyUpstreamPoolIsWrittenBeforeExtendedAttrs) {
  Backup_Set_Storage storage;
  storage.set_uuid = "never-written";
  storage.pool_uuid = "p1";
  storage.size = 77;
  storage.state = Backup_Set_State(Backup_Set_State::ONLINE);
  storage.upstream_pool_uuid = "p0";
  storage.extended_attrs["copy"] = Value(2);
  EXPECT_EQ(R"({"pool_uuid":"p1","size":77,"state":["online"],"upstream_pool_uuid":"p0","extended_attrs":{"copy":2}})",
            document_of(storage));
  storage.upstream_pool_uuid = " ";
  EXPECT_NE(std::string::npos, document_of(storage).find(R"("upstream_pool_uuid":" ")"));
}

TEST(BackupSetStorage, NullGeneratorFailsWithEmergencyMessage) {
  Log_Capture capture;
  Backup_Set_Storage storage;
  EXPECT_FALSE(storage.generate(nullptr));
  ASSERT_EQ(1u, capture.size());
  EXPECT_TRUE(capture.has(LM_EMERGENCY, "Unexpected error in "));
  EXPECT_TRUE(capture.has(LM_EMERGENCY, "backup_set_storage.cpp:"));
  EXPECT_TRUE(capture.has(LM_EMERGENCY, ", gen is NULL:\n"));
}

TEST(BackupSetStorage, ColumnsFillTheFields) {
  Backup_Set_Storage storage;
  database::sql::Query_Result_Printer& printer = storage;
  EXPECT_TRUE(printer.print_int(0, "id", 5));
  EXPECT_TRUE(printer.print_cstr(1, "set_uuid", "set-1xx", 5));
  EXPECT_TRUE(printer.print_cstr(2, "pool_uuid", "pool-1", 6));
  EXPECT_TRUE(printer.print_int(3, "size", 4096));
  EXPECT_TRUE(printer.print_int(4, "state", 0x211));
  EXPECT_TRUE(printer.print_cstr(5, "upstream_pool_uuid", "pool-0", 6));
  EXPECT_TRUE(printer.print_json(6, "extended_attrs", Value(Object{{"a", Value(1)}})));
  EXPECT_EQ("set-1", storage.set_uuid);
  EXPECT_EQ("pool-1", storage.pool_uuid);
  EXPECT_EQ(4096, storage.size);
  EXPECT_EQ(0x211u, storage.state.bits());
  EXPECT_EQ("pool-0", storage.upstream_pool_uuid);
  EXPECT_EQ((Object{{"a", Value(1)}}), storage.extended_attrs);
}

TEST(BackupSetStorage, ExtendedAttrsOtherThanObjectIgnored) {
  Backup_Set_Storage storage;
  storage.extended_attrs["k"] = Value("v");
  EXPECT_TRUE(storage.print_json(0, "extended_attrs", Value(Array{Value("x")})));
  EXPECT_TRUE(storage.print_json(0, "extended_attrs", Value(3)));
  EXPECT_EQ((Object{{"k", Value("v")}}), storage.extended_attrs);
}

TEST(BackupSetStorage, UnknownKeysAcceptedWithoutChange) {
  Backup_Set_Storage storage;
  std::string const before = document_of(storage);
  EXPECT_TRUE(storage.print_cstr(0, "path", "/x", 2));
  EXPECT_TRUE(storage.print_int(0, "pool_uuid", 1));
  EXPECT_TRUE(storage.print_json(0, "state", Value(Array{Value("online")})));
  EXPECT_EQ(before, document_of(storage));
}

TEST(BackupSetStorage, NullOrEmptyKeyFailsInEveryIntake) {
  Log_Capture capture;
  Backup_Set_Storage storage;
  EXPECT_FALSE(storage.print_cstr(0, nullptr, "x", 1));
  EXPECT_FALSE(storage.print_cstr(0, "", "x", 1));
  EXPECT_FALSE(storage.print_int(0, nullptr, 1));
  EXPECT_FALSE(storage.print_int(0, "", 1));
  EXPECT_FALSE(storage.print_json(0, nullptr, Value(Object())));
  EXPECT_FALSE(storage.print_json(0, "", Value(Object())));
  EXPECT_EQ(6u, capture.count(LM_EMERGENCY, "Unexpected error in "));
  EXPECT_EQ(6u, capture.count(LM_EMERGENCY, ", key is NULL or \"\":\n"));
}

TEST(BackupSetStorage, ValuesInsideOpenArrayAreIgnored) {
  Backup_Set_Storage storage;
  storage.start_array(0, "storages");
  EXPECT_TRUE(storage.print_cstr(0, "pool_uuid", "nested", 6));
  EXPECT_TRUE(storage.print_int(0, "state", 1));
  storage.end_array();
  EXPECT_EQ("", storage.pool_uuid);
  EXPECT_EQ(0u, storage.state.bits());
}
