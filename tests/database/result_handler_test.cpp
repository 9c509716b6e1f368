#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_piece.h"
#include "backup/backup_set/common/backup_piece_result_handler.h"
#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_result_handler.h"
#include "backup/backup_set/common/backup_set_storage.h"
#include "backup/backup_set/common/backup_set_storage_result_handler.h"
#include "platform/database/sqlite_connection.h"
#include "tests/database/event_printer.h"
#include "tests/support/log_capture.h"

using database::sql::Query_Result_Handler;

namespace {

class Result_Handler_Test : public ::testing::Test {
 protected:
  // No catalogue tables: nested reads fail, which some tests want.
  database::sql::SQLite_Connection db{":memory:"};
  Event_Printer printer;
  unsigned char raw[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
};

}  // namespace

TEST_F(Result_Handler_Test, NullOrEmptyNameLogsEmergencyAndIsNotHandled) {
  Backup_Set_Result_Handler h(nullptr, nullptr, nullptr, 0);
  for (char const* name : {static_cast<char const*>(nullptr), ""}) {
    Log_Capture capture;
    EXPECT_FALSE(h.handle_binary_i(db, 0, name, raw, 16, printer));
    EXPECT_FALSE(h.handle_integer_i(db, 0, name, 1, printer));
    EXPECT_EQ(2u, capture.count(LM_EMERGENCY, "Unexpected error in "));
    EXPECT_EQ(2u, capture.count(LM_EMERGENCY, ", name is NULL or \"\":\n"));
    EXPECT_TRUE(capture.has(LM_EMERGENCY, "backup_set_result_handler.cpp:"));
  }
  EXPECT_TRUE(printer.events.empty());
}

TEST_F(Result_Handler_Test, OtherNamesAreLeftToTheDefaultDelivery) {
  Backup_Set_Result_Handler h(nullptr, nullptr, nullptr, 1);
  EXPECT_FALSE(h.handle_binary_i(db, 0, "uuid", raw, 16, printer));
  EXPECT_FALSE(h.handle_integer_i(db, 0, "size", 5, printer));
  EXPECT_FALSE(h.handle_string_i(db, 0, "uri", "a/b", 3, printer));
  EXPECT_FALSE(h.handle_string_i(db, 0, nullptr, "a/b", 3, printer));
  EXPECT_TRUE(printer.events.empty());
}

TEST_F(Result_Handler_Test, StateBecomesItsNames) {
  Backup_Set_Result_Handler h(nullptr, nullptr, nullptr, 0);
  EXPECT_TRUE(h.handle_integer_i(db, 3, "state", 0x9, printer));
  EXPECT_TRUE(h.handle_integer_i(db, 4, "state", 0, printer));
  EXPECT_TRUE(h.handle_integer_i(db, 5, "state", 0x400 | 0x100, printer));
  EXPECT_EQ((std::vector<std::string>{"json 3 state [\"online\",\"expired\"]", "json 4 state []",
                                       "json 5 state [\"virtual\"]"}),
            printer.events);
}

TEST_F(Result_Handler_Test, StateAnswersWhatThePrinterAnswers) {
  Backup_Set_Result_Handler h(nullptr, nullptr, nullptr, 0);
  printer.stop_after = 0;
  EXPECT_FALSE(h.handle_integer_i(db, 0, "state", 1, printer));
}

TEST_F(Result_Handler_Test, NameCleanedOnlyWithFlagOne) {
  Backup_Set_Result_Handler clean(nullptr, nullptr, nullptr, 1);
  Backup_Set_Result_Handler plain(nullptr, nullptr, nullptr, 0);
  EXPECT_FALSE(plain.handle_string_i(db, 1, "name", "a/b:c", 5, printer));
  EXPECT_TRUE(printer.events.empty());
  EXPECT_TRUE(clean.handle_string_i(db, 1, "name", "a/b:c", 5, printer));
  EXPECT_TRUE(clean.handle_string_i(db, 2, "minor_resource_name", "|<>/\\:*?\"", 9, printer));
  EXPECT_TRUE(clean.handle_string_i(db, 3, "name", "a//bXYZ", 4, printer));
  EXPECT_EQ((std::vector<std::string>{"str 1 name a b c", "str 2 minor_resource_name          ", "str 3 name a  b"}),
            printer.events);
}

TEST_F(Result_Handler_Test, AcceptableNameIsLeftToTheDefaultDelivery) {
  Backup_Set_Result_Handler clean(nullptr, nullptr, nullptr, 1);
  EXPECT_FALSE(clean.handle_string_i(db, 1, "name", "ok name-1.2", 11, printer));
  // Only the given length is checked: the bad tail is not part of the value.
  EXPECT_FALSE(clean.handle_string_i(db, 1, "name", "ok/bad", 2, printer));
  EXPECT_TRUE(printer.events.empty());
}

TEST_F(Result_Handler_Test, NestedArrayIsClosedWhenTheNestedQueryFails) {
  Log_Capture capture;
  Backup_Set_Result_Handler h(nullptr, nullptr, nullptr, 0);
  EXPECT_TRUE(h.handle_binary_i(db, 7, "storages", raw, 16, printer));
  EXPECT_TRUE(h.handle_binary_i(db, 8, "pieces", raw, 16, printer));
  EXPECT_TRUE(h.handle_integer_i(db, 9, "media_tags", 3, printer));
  EXPECT_EQ((std::vector<std::string>{"start_array 7 storages", "end_array", "start_array 8 pieces", "end_array",
                                       "start_array 9 media_tags", "end_array"}),
            printer.events);
  EXPECT_EQ(3u, capture.count(LM_ERROR, "no such table"));
}

TEST_F(Result_Handler_Test, DefaultTablesOfTheSetHandler) {
  Backup_Set_Result_Handler h(nullptr, nullptr, nullptr, 0);
  for (char const* uuid : {"uuid", "job_instance_uuid", "definition_uuid", "uid", "host_uuid", "resource_uuid",
                           "set_uuid", "pool_uuid", "upstream_pool_uuid", "incarnation", "backup_server_uuid"})
    EXPECT_EQ(5, h.value_code(uuid)) << uuid;
  for (char const* json : {"resource_tree", "extended_attrs", "tablespaces"}) EXPECT_EQ(4, h.value_code(json)) << json;
  for (char const* other : {"name", "uname", "lsb", "state", "storages", "server_uuid"})
    EXPECT_EQ(0, h.value_code(other)) << other;
  char const* key = "uuid";
  EXPECT_EQ(key, h.translate_key(key));
  EXPECT_EQ(nullptr, h.pool_uuids());
  EXPECT_EQ(0, h.flags());
}

TEST_F(Result_Handler_Test, GivenTablesReplaceTheDefaults) {
  static Key2_Value_T<Query_Result_Handler::Key_Tran> const keys[] = {{"a", "b"}, {nullptr, nullptr}};
  static Key2_Value_T<Query_Result_Handler::Val_Tran> const values[] = {{"b", 1}, {nullptr, 0}};
  std::vector<json_spirit::Value> pools = {json_spirit::Value("x")};
  Backup_Set_Result_Handler h(keys, values, &pools, 3);
  EXPECT_STREQ("b", h.translate_key("a"));
  EXPECT_EQ(1, h.value_code("b"));
  EXPECT_EQ(0, h.value_code("uuid"));
  EXPECT_EQ(&pools, h.pool_uuids());
  EXPECT_EQ(3, h.flags());
}

TEST_F(Result_Handler_Test, PieceAndStorageHandlerTables) {
  Backup_Piece_Result_Handler piece;
  EXPECT_EQ(5, piece.value_code("set_uuid"));
  EXPECT_EQ(4, piece.value_code("extended_attrs"));
  EXPECT_EQ(0, piece.value_code("pool_uuid"));
  EXPECT_EQ(0, piece.value_code("path"));
  Backup_Set_Storage_Result_Handler storage;
  for (char const* uuid : {"set_uuid", "pool_uuid", "server_uuid", "upstream_pool_uuid"})
    EXPECT_EQ(5, storage.value_code(uuid)) << uuid;
  EXPECT_EQ(4, storage.value_code("extended_attrs"));
  EXPECT_EQ(0, storage.value_code("state"));
  EXPECT_EQ(0, storage.value_code("uuid"));
  char const* key = "state";
  EXPECT_EQ(key, storage.translate_key(key));
}

TEST_F(Result_Handler_Test, StaticHandlersOfTheRecords) {
  Query_Result_Handler* set = Backup_Set::result_handler();
  ASSERT_NE(nullptr, set);
  EXPECT_EQ(set, Backup_Set::result_handler());
  auto* typed = dynamic_cast<Backup_Set_Result_Handler*>(set);
  ASSERT_NE(nullptr, typed);
  EXPECT_EQ(nullptr, typed->pool_uuids());
  EXPECT_EQ(0, typed->flags());
  EXPECT_EQ(5, typed->value_code("uuid"));
  EXPECT_NE(nullptr, dynamic_cast<Backup_Piece_Result_Handler*>(Backup_Piece::result_handler()));
  EXPECT_NE(nullptr, dynamic_cast<Backup_Set_Storage_Result_Handler*>(Backup_Set_Storage::result_handler()));
  EXPECT_NE(static_cast<void*>(Backup_Piece::result_handler()), static_cast<void*>(Backup_Set_Storage::result_handler()));
}
