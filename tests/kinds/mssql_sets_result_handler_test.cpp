#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <ace/Log_Msg.h>

#include "backup/backup_set/common/mssql_backup_set.h"
#include "backup/backup_set/common/mssql_sets_result_handler.h"
#include "platform/database/connection.h"
#include "platform/database/printer_array_guard.h"
#include "platform/database/query_result_value_printer.h"
#include "platform/database/sqlite_connection.h"
#include "platform/json/json_text.h"
#include "platform/sql/sql.h"
#include "tests/support/log_capture.h"

using database::sql::Connection;
using database::sql::Query_Result_Handler;
using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

// Keeps every event it receives, and answers what the test tells it to.
class Recording_Printer : public database::sql::Query_Result_Printer {
 public:
  struct Event {
    std::string what;
    int index;
    std::string key;
    Value value;
  };

  bool start_map(int index, char const* key) override { return note("start_map", index, key, Value()); }
  bool end_map() override { return note("end_map", -1, nullptr, Value()); }
  bool start_array(int index, char const* key) override { return note("start_array", index, key, Value()); }
  bool end_array() override { return note("end_array", -1, nullptr, Value()); }
  bool print_key(int index, char const* key) override { return note("key", index, key, Value()); }
  bool print_name(int index, char const* name) override { return note("name", index, name, Value()); }
  bool print_null(int index, char const* key) override { return note("null", index, key, Value()); }
  bool print_bool(int index, char const* key, bool value) override { return note("bool", index, key, Value(value)); }
  bool print_int(int index, char const* key, long long value) override {
    return note("int", index, key, Value(value));
  }
  bool print_uint(int index, char const* key, unsigned long long value) override {
    return note("uint", index, key, Value(value));
  }
  bool print_double(int index, char const* key, double value) override {
    return note("double", index, key, Value(value));
  }
  bool print_str(int index, char const* key, std::string const& value) override {
    return note("str", index, key, Value(value));
  }
  bool print_cstr(int index, char const* key, char const* value, unsigned long long length) override {
    return note("cstr", index, key, Value(std::string(value, static_cast<size_t>(length))));
  }
  bool print_custr(int index, char const* key, unsigned char const*, unsigned long long length) override {
    return note("custr", index, key, Value(static_cast<long long>(length)));
  }
  bool print_ustr(int index, char const* key, std::basic_string<unsigned char> const& value) override {
    return note("ustr", index, key, Value(static_cast<long long>(value.size())));
  }
  bool print_json(int index, char const* key, Value const& value) override {
    return note("json", index, key, value);
  }

  std::vector<Event> events;
  bool answer = true;

 private:
  bool note(char const* what, int index, char const* key, Value value) {
    events.push_back(Event{what, index, key ? key : "<null>", std::move(value)});
    return answer;
  }
};

// The value codes of SQL Server listings, in table order (5 UUID, 4 JSON,
// 1 boolean).
std::vector<std::pair<std::string, int>> const VALUE_CODES = {
    {"uuid", 5},
    {"pool_uuid", 5},
    {"file_list", 4},
    {"merged", 1},
    {"has_bulk_logged_data", 1},
    {"job_instance_uuid", 5},
    {"definition_uuid", 5},
    {"uid", 5},
    {"host_uuid", 5},
    {"resource_uuid", 5},
    {"set_uuid", 5},
    {"upstream_pool_uuid", 5},
    {"incarnation", 5},
    {"extended_attrs", 4},
};

class MSSQLSetsResultHandler : public ::testing::Test {
 protected:
  MSSQLSetsResultHandler() : db_(":memory:") {}

  bool deliver(char const* name, long long value, int index = 0) {
    return handler_.handle_integer_i(db_, index, name, value, printer_);
  }

  database::sql::SQLite_Connection db_;
  MSSQL_Sets_Result_Handler handler_;
  Recording_Printer printer_;
};

}  // namespace

TEST_F(MSSQLSetsResultHandler, StateWordIsDeliveredAsItsNames) {
  ASSERT_TRUE(db_.is_open());
  EXPECT_TRUE(deliver("state", 0x9, 3));
  ASSERT_EQ(1u, printer_.events.size());
  EXPECT_EQ("json", printer_.events[0].what);
  EXPECT_EQ(3, printer_.events[0].index);
  EXPECT_EQ("state", printer_.events[0].key);
  EXPECT_EQ(Value(Array{Value("online"), Value("expired")}), printer_.events[0].value);
}

TEST_F(MSSQLSetsResultHandler, StateBitsWithoutNameAreLeftOut) {
  EXPECT_TRUE(deliver("state", 0x200 | 0x2));
  ASSERT_EQ(1u, printer_.events.size());
  EXPECT_EQ(Value(Array{Value("offline")}), printer_.events[0].value);
}

TEST_F(MSSQLSetsResultHandler, StateWordZeroIsAnEmptyArray) {
  EXPECT_TRUE(deliver("state", 0));
  ASSERT_EQ(1u, printer_.events.size());
  EXPECT_EQ("json", printer_.events[0].what);
  EXPECT_EQ(Value(Array()), printer_.events[0].value);
}

TEST_F(MSSQLSetsResultHandler, OnlineAndOfflineIsRestorable) {
  EXPECT_TRUE(deliver("restorable", 0x3, 5));
  ASSERT_EQ(1u, printer_.events.size());
  EXPECT_EQ("bool", printer_.events[0].what);
  EXPECT_EQ(5, printer_.events[0].index);
  EXPECT_EQ("restorable", printer_.events[0].key);
  EXPECT_EQ(Value(true), printer_.events[0].value);
}

TEST_F(MSSQLSetsResultHandler, OfflineAloneIsNotRestorable) {
  // The printer accepted the value, so the handler answers that it delivered it.
  EXPECT_TRUE(deliver("restorable", 0x2));
  ASSERT_EQ(1u, printer_.events.size());
  EXPECT_EQ("bool", printer_.events[0].what);
  EXPECT_EQ("restorable", printer_.events[0].key);
  EXPECT_EQ(Value(false), printer_.events[0].value);
}

TEST_F(MSSQLSetsResultHandler, RestorableLooksOnlyAtTheOnlineBit) {
  EXPECT_TRUE(deliver("restorable", 0x1));
  EXPECT_TRUE(deliver("restorable", 0x8 | 0x4 | 0x100));
  EXPECT_TRUE(deliver("restorable", 0));
  ASSERT_EQ(3u, printer_.events.size());
  EXPECT_EQ(Value(true), printer_.events[0].value);
  EXPECT_EQ(Value(false), printer_.events[1].value);
  EXPECT_EQ(Value(false), printer_.events[2].value);
}

TEST_F(MSSQLSetsResultHandler, PrintersRefusalIsTheAnswer) {
  printer_.answer = false;
  EXPECT_FALSE(deliver("state", 0x1));
  EXPECT_FALSE(deliver("restorable", 0x1));
  EXPECT_EQ(2u, printer_.events.size());
}

TEST_F(MSSQLSetsResultHandler, OtherNamesAreLeftToDefaultDelivery) {
  Log_Capture capture;
  EXPECT_FALSE(deliver("media_tags", 7));
  EXPECT_FALSE(deliver("size", 7));
  EXPECT_FALSE(deliver("merged", 1));
  EXPECT_FALSE(deliver("State", 1));
  EXPECT_FALSE(deliver("restorable_", 1));
  EXPECT_TRUE(printer_.events.empty());
  EXPECT_EQ(0u, capture.size()) << capture.dump();
}

TEST_F(MSSQLSetsResultHandler, NullOrEmptyNameFailsAndLogsEmergency) {
  Log_Capture capture;
  EXPECT_FALSE(deliver(nullptr, 0x9));
  EXPECT_FALSE(deliver("", 0x9));
  EXPECT_TRUE(printer_.events.empty());
  ASSERT_EQ(2u, capture.size()) << capture.dump();
  for (auto const& record : capture.records()) {
    EXPECT_EQ(static_cast<unsigned long>(LM_EMERGENCY), record.priority);
    EXPECT_EQ(0u, record.text.find("Unexpected error in ")) << record.text;
    EXPECT_NE(std::string::npos, record.text.find("mssql_sets_result_handler.cpp:")) << record.text;
    EXPECT_NE(std::string::npos, record.text.find("name is NULL or \"\"")) << record.text;
  }
}

TEST_F(MSSQLSetsResultHandler, ReachedThroughTheHandlerInterface) {
  Query_Result_Handler& handler = handler_;
  EXPECT_TRUE(handler.handle_integer_i(db_, 1, "state", 0x10, printer_));
  ASSERT_EQ(1u, printer_.events.size());
  EXPECT_EQ(Value(Array{Value("replicated")}), printer_.events[0].value);
}

TEST_F(MSSQLSetsResultHandler, StaticHandlerBehavesTheSame) {
  Query_Result_Handler* handler = MSSQL_Backup_Set::result_handler();
  ASSERT_NE(nullptr, handler);
  EXPECT_TRUE(handler->handle_integer_i(db_, 0, "restorable", 0x3, printer_));
  EXPECT_FALSE(handler->handle_integer_i(db_, 0, "media_tags", 1, printer_));
  ASSERT_EQ(1u, printer_.events.size());
  EXPECT_EQ(Value(true), printer_.events[0].value);
}

TEST_F(MSSQLSetsResultHandler, ResultHandlerTwiceIsTheSameAddress) {
  EXPECT_EQ(MSSQL_Backup_Set::result_handler(), MSSQL_Backup_Set::result_handler());
}

TEST_F(MSSQLSetsResultHandler, ValueCodesOfItsTable) {
  Query_Result_Handler* shared = MSSQL_Backup_Set::result_handler();
  for (auto const& row : VALUE_CODES) {
    EXPECT_EQ(row.second, handler_.value_code(row.first.c_str())) << row.first;
    EXPECT_EQ(row.second, shared->value_code(row.first.c_str())) << row.first;
  }
}

TEST_F(MSSQLSetsResultHandler, TableRowsAreInOrderAndEndWithNullKey) {
  std::vector<std::pair<std::string, int>> rows;
  Key2_Value_T<Query_Result_Handler::Val_Tran> const* row = MSSQL_Sets_Result_Handler::VALUES;
  for (; row->key && rows.size() <= VALUE_CODES.size(); ++row) rows.emplace_back(row->key, row->value);
  EXPECT_EQ(VALUE_CODES, rows);
  EXPECT_EQ(nullptr, row->key);
}

TEST_F(MSSQLSetsResultHandler, KeysOutsideItsTableHaveNoCode) {
  // Unlike the default sets table, these are not translated in SQL Server listings.
  EXPECT_EQ(0, handler_.value_code("media_tags"));
  EXPECT_EQ(0, handler_.value_code("state"));
  EXPECT_EQ(0, handler_.value_code("restorable"));
  EXPECT_EQ(0, handler_.value_code("resource_tree"));
  EXPECT_EQ(0, handler_.value_code("backup_server_uuid"));
  EXPECT_EQ(0, handler_.value_code("tablespaces"));
  EXPECT_EQ(0, handler_.value_code("Merged"));
}

TEST_F(MSSQLSetsResultHandler, KeysAreNotTranslated) {
  EXPECT_STREQ("state", handler_.translate_key("state"));
  EXPECT_STREQ("uuid", handler_.translate_key("uuid"));
  EXPECT_STREQ("restorable", handler_.translate_key("restorable"));
}

TEST_F(MSSQLSetsResultHandler, NoPoolFilterAndNoFlags) {
  EXPECT_EQ(nullptr, handler_.pool_uuids());
  EXPECT_EQ(0, handler_.flags());
  auto* shared = dynamic_cast<MSSQL_Sets_Result_Handler*>(MSSQL_Backup_Set::result_handler());
  ASSERT_NE(nullptr, shared);
  EXPECT_EQ(nullptr, shared->pool_uuids());
  EXPECT_EQ(0, shared->flags());
}

TEST_F(MSSQLSetsResultHandler, ListingRowDeliversStateNamesAndRestorableFlag) {
  ASSERT_TRUE(db_.execute_script("CREATE TABLE listing (state INTEGER, restorable INTEGER);"
                                 "INSERT INTO listing (state, restorable) VALUES (9, 9);"))
      << db_.last_error();
  database::sql::Query_Result_Value_Printer printer;
  ASSERT_TRUE(db_.query(SQL("SELECT state, restorable FROM listing"), printer, Connection::QM_FLAT,
                        MSSQL_Backup_Set::result_handler(), 0))
      << db_.last_error();
  EXPECT_EQ(Value(Object{{"state", Value(Array{Value("online"), Value("expired")})}, {"restorable", Value(true)}}),
            printer.value())
      << JSON_Dump(printer.value());
}

TEST_F(MSSQLSetsResultHandler, ListingRowsDeliverRestorableFromTheOnlineBit) {
  ASSERT_TRUE(db_.execute_script("CREATE TABLE listing (id INTEGER, state INTEGER, restorable INTEGER);"
                                 "INSERT INTO listing VALUES (1, 3, 3);"
                                 "INSERT INTO listing VALUES (2, 2, 2);"))
      << db_.last_error();
  database::sql::Query_Result_Value_Printer printer;
  {
    database::sql::Printer_Array_Guard rows(printer, 0, "rows");
    ASSERT_TRUE(db_.query(SQL("SELECT state, restorable FROM listing ORDER BY id"), printer, Connection::QM_ROWS,
                          MSSQL_Backup_Set::result_handler(), 0))
        << db_.last_error();
  }
  EXPECT_EQ(R"({"rows":[{"restorable":true,"state":["online","offline"]},{"restorable":false,"state":["offline"]}]})",
            JSON_Dump(printer.value()));
}

TEST_F(MSSQLSetsResultHandler, ListingTranslatesFlagJsonAndUuidColumnsButNotMediaTags) {
  ASSERT_TRUE(db_.execute_script("CREATE TABLE listing (uuid BLOB, merged INTEGER, file_list TEXT, media_tags INTEGER);"
                                 "INSERT INTO listing VALUES (X'00112233445566778899AABBCCDDEEFF', 1, "
                                 "'[\"a.mdf\",2]', 7);"))
      << db_.last_error();
  database::sql::Query_Result_Value_Printer printer;
  ASSERT_TRUE(db_.query(SQL("SELECT uuid, merged, file_list, media_tags FROM listing"), printer,
                        Connection::QM_FLAT, MSSQL_Backup_Set::result_handler(), 0))
      << db_.last_error();
  EXPECT_EQ(Value(Object{{"uuid", Value("00112233-4455-6677-8899-aabbccddeeff")},
                         {"merged", Value(true)},
                         {"file_list", Value(Array{Value("a.mdf"), Value(2)})},
                         {"media_tags", Value(7)}}),
            printer.value())
      << JSON_Dump(printer.value());
}
