#ifndef TESTS_SERVER_KIND_COMMIT_FIXTURE_H
#define TESTS_SERVER_KIND_COMMIT_FIXTURE_H

// What the end-to-end tests of application kinds share: a catalogd on
// loopback over a fresh catalogue of either engine, the library's operator
// of either transport pointed at it, a set's common part, the kind's part
// of a document, and the reads back through a kind's own statement and
// through the "sets" view.
#include <gtest/gtest.h>

#include <ace/Log_Msg.h>

#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_storage.h"
#include "backup/backup_set/common/catalog_operator.h"
#include "backup/backup_set/common/restful_catalog_operator.h"
#include "platform/database/query_result_printer.h"
#include "platform/json/json_text.h"
#include "platform/rest/upstream_json_restful_client.h"
#include "platform/rpc/global_json_rpc_channel.h"
#include "platform/sql/select_sql.h"
#include "platform/sql/uuid_binary.h"
#include "server/catalog_server.h"
#include "tests/records/document.h"
#include "tests/server/catalog_target.h"
#include "tests/support/common_fields.h"
#include "tests/support/log_capture.h"

namespace kind_commit {

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

enum Protocol { JSON_RPC, REST };

inline constexpr char kPool1[] = "aaaaaaaa-0000-0000-0000-0000000000a1";
inline constexpr char kPool2[] = "aaaaaaaa-0000-0000-0000-0000000000a2";

inline std::string uuid_of(int n) {
  char text[40];
  std::snprintf(text, sizeof text, "7e2d3b5f-9c1e-4d4f-8b62-%012d", n);
  return text;
}

inline Object object(std::string const& json) {
  Value v;
  EXPECT_TRUE(JSON_Parse(json, v)) << json;
  return v.type() == json_spirit::obj_type ? v.get_obj() : Object();
}

inline Value json(std::string const& text) {
  Value v;
  EXPECT_TRUE(JSON_Parse(text, v)) << text;
  return v;
}

// Long enough to leave any small fixed buffer, with characters that need
// escaping in JSON and SQL.
inline std::string long_text(char const* tag) {
  std::string s = std::string(tag) + " 'quoted' \"double\" back\\slash \xc3\xbc ";
  while (s.size() < 4000) s += tag;
  return s;
}

// The common part every set of these tests carries: every member given,
// two storage copies and two pieces.
inline void fill_common(Backup_Set& s, std::string const& uuid) {
  // Filled again for each case of a reused record: copies and pieces are
  // replaced, not added to (a set has one copy per pool).
  s.storages.clear();
  s.pieces.clear();
  s.uuid = uuid;
  s.name = "kind set " + uuid.substr(uuid.size() - 4);
  s.definition_uuid = "12121212-0000-0000-0000-000000000001";
  s.job_instance_uuid = "12121212-0000-0000-0000-000000000002";
  s.uid = "12121212-0000-0000-0000-000000000003";
  s.host_uuid = "12121212-0000-0000-0000-000000000004";
  s.resource_uuid = "12121212-0000-0000-0000-000000000005";
  s.minor_resource_id = "db-9";
  s.minor_resource_name = "Database Nine";
  s.agent = "agent-kinds";
  s.incarnation = "12121212-0000-0000-0000-000000000006";
  s.type = "full";
  s.first_time = 1709251200;
  s.last_time = 1709254800;
  s.backup_start_time = 1709258400;
  s.backup_end_time = 1709259000;
  s.source_size = 5000000000LL;
  s.size = 2500000000LL;
  s.uri = "kind://" + uuid;
  s.host = "kind-host";
  s.instance = "inst-k";
  s.instance_version = "9.9";
  s.first_scn = -7;
  s.last_scn = 9007199254740993LL;
  s.resource_tree = object(R"({"root": {"children": ["x", "y"]}})");
  s.extended_attrs = object(R"({"base": true, "n": 3})");
  s.parents = {"23232323-0000-0000-0000-000000000001"};
  Backup_Set_Storage primary;
  primary.pool_uuid = kPool1;
  primary.size = 2500000000LL;
  primary.state = Backup_Set_State(Backup_Set_State::ONLINE);
  s.add_storage(primary);
  Backup_Set_Storage replica;
  replica.pool_uuid = kPool2;
  replica.size = 2500000000LL;
  replica.state = Backup_Set_State(Backup_Set_State::OFFLINE | Backup_Set_State::REPLICATED);
  replica.upstream_pool_uuid = kPool1;
  s.add_storage(replica);
  s.add_piece("/kind/a.bin", 1000);
  s.add_piece("/kind/b.bin", 2000);
  s.uname = object(R"({"sysname": "Linux"})");
  s.lsb = object(R"({"id": "Debian"})");
}

// The set's document as the operators send it. `repeats` gets the later
// values of keys the document writes twice.
inline Value parsed_document(Backup_Set& set, std::vector<JSON_Repeated_Key>* repeats) {
  std::string text = document_of(set);
  Value doc;
  std::string why;
  EXPECT_TRUE(JSON_Parse(text.data(), text.size(), doc, &why, repeats)) << why << "\n" << text;
  return doc;
}

// The kind's part of the set's document: the keys a plain set with the same
// common members does not write, and the later value of each key the
// document writes twice (the kind's own value of a common key).
inline Object application_part(Backup_Set& set) {
  std::vector<JSON_Repeated_Key> repeats;
  Value doc = parsed_document(set, &repeats);
  Backup_Set plain(static_cast<Backup_Set const&>(set));
  Value common = parsed_document(plain, nullptr);
  Object out;
  for (auto const& m : doc.get_obj())
    if (!common.get_obj().count(m.first)) out[m.first] = m.second;
  for (JSON_Repeated_Key const& r : repeats)
    if (r.path.empty()) out[r.key] = r.value;
  return out;
}

// The document as one JSON object, each key with its first value.
inline Object document_object(Backup_Set& set) {
  std::vector<JSON_Repeated_Key> repeats;
  Value doc = parsed_document(set, &repeats);
  return doc.type() == json_spirit::obj_type ? doc.get_obj() : Object();
}

// The row's value of `key` is `want`.
inline void expect_column(Object const& row, std::string const& key, Value const& want) {
  auto it = row.find(key);
  if (it == row.end()) {
    ADD_FAILURE() << "no column " << key << " in " << JSON_Dump(Value(row));
    return;
  }
  EXPECT_TRUE(want == it->second) << key << ": want " << JSON_Dump(want) << "\ngot  " << JSON_Dump(it->second);
}

// The row's keys are exactly `keys`.
inline void expect_columns(Object const& row, std::set<std::string> const& keys) {
  std::set<std::string> got;
  for (auto const& m : row) got.insert(m.first);
  EXPECT_EQ(keys, got);
}

// Hands every event of a result on to `to` and counts the column values
// offered, so a read that leaves a record alone can still show that the
// row reached it.
class Counting_Printer : public database::sql::Query_Result_Printer {
 public:
  explicit Counting_Printer(database::sql::Query_Result_Printer& to) : to_(to) {}

  int columns = 0;

  bool start_map(int i, char const* key) override { return to_.start_map(i, key); }
  bool end_map() override { return to_.end_map(); }
  bool start_array(int i, char const* key) override { return to_.start_array(i, key); }
  bool end_array() override { return to_.end_array(); }
  bool print_key(int i, char const* key) override { return to_.print_key(i, key); }
  bool print_name(int i, char const* name) override { return to_.print_name(i, name); }
  bool print_null(int i, char const* key) override {
    ++columns;
    return to_.print_null(i, key);
  }
  bool print_bool(int i, char const* key, bool v) override {
    ++columns;
    return to_.print_bool(i, key, v);
  }
  bool print_int(int i, char const* key, long long v) override {
    ++columns;
    return to_.print_int(i, key, v);
  }
  bool print_uint(int i, char const* key, unsigned long long v) override {
    ++columns;
    return to_.print_uint(i, key, v);
  }
  bool print_double(int i, char const* key, double v) override {
    ++columns;
    return to_.print_double(i, key, v);
  }
  bool print_str(int i, char const* key, std::string const& v) override {
    ++columns;
    return to_.print_str(i, key, v);
  }
  bool print_cstr(int i, char const* key, char const* v, unsigned long long n) override {
    ++columns;
    return to_.print_cstr(i, key, v, n);
  }
  bool print_custr(int i, char const* key, unsigned char const* v, unsigned long long n) override {
    ++columns;
    return to_.print_custr(i, key, v, n);
  }
  bool print_ustr(int i, char const* key, std::basic_string<unsigned char> const& v) override {
    ++columns;
    return to_.print_ustr(i, key, v);
  }
  bool print_json(int i, char const* key, Value const& v) override {
    ++columns;
    return to_.print_json(i, key, v);
  }

 private:
  database::sql::Query_Result_Printer& to_;
};

class Kind_Commit_Test : public ::testing::TestWithParam<std::tuple<Catalog_Target::Engine, Protocol>> {
 protected:
  Kind_Commit_Test() : target_(std::get<0>(GetParam())), protocol_(std::get<1>(GetParam())) {}

  void SetUp() override {
    std::string error;
    ASSERT_TRUE(target_.prepare(error)) << error;
    Server_Options options;
    options.listen = "127.0.0.1";
    options.port = 0;
    options.db = target_.db();
    server_ = std::make_unique<Catalog_Server>(options);
    ASSERT_TRUE(server_->start(error)) << error;
    int port = server_->port();
    ASSERT_TRUE(Global_JSON_RPC_Channel::open(("http://127.0.0.1:" + std::to_string(port) + "/rpc").c_str(), {}));
    ASSERT_TRUE(Upstream_JSON_RESTful_Client::configure("127.0.0.1", static_cast<unsigned short>(port), false, ""));
    op_ = make_operator(protocol_);
  }

  void TearDown() override {
    op_.reset();
    Global_JSON_RPC_Channel::close();
    Upstream_JSON_RESTful_Client::unconfigure();
    server_.reset();
  }

  std::unique_ptr<Catalog_Operator> make_operator(Protocol protocol) {
    if (protocol == JSON_RPC) return std::make_unique<Catalog_Operator>(1, 2);
    return std::make_unique<RESTful_Catalog_Operator>("127.0.0.1", static_cast<unsigned short>(server_->port()), false,
                                                      "", 1, 2);
  }

  // One row of the set, read from the catalogue by the statement `init`
  // builds over the set's table as "b", straight into `out`.
  bool read_set(std::function<void(Select_SQL&)> const& init, std::string const& uuid, Backup_Set& out) {
    Select_SQL sql("backup_set", "b");
    init(sql);
    std::basic_string<unsigned char> key;
    EXPECT_TRUE(UUID_Binary::parse(uuid, key));
    sql.where("b.uuid=:uuid", false);
    sql.bind(":uuid", Binding_Value(key));
    auto c = target_.connect();
    bool ok = c->query(sql, out, database::sql::Connection::QM_FLAT, Backup_Set::result_handler(), 0);
    EXPECT_TRUE(ok) << c->last_error();
    return ok && out.uuid == uuid;
  }

  // The set as the kind's own statement reads it from the catalogue, one
  // row straight into a fresh record of the kind.
  template <typename Kind>
  bool read_kind(std::string const& uuid, Kind& out) {
    return read_set([](Select_SQL& sql) { Kind::init_select_sql(sql, "b"); }, uuid, out);
  }

  // The statement `init` builds (from the set's table as "b"), narrowed to
  // the one set whose raw uuid the statement's expression `key` holds.
  static void build(Select_SQL& sql, std::function<void(Select_SQL&)> const& init, std::string const& key,
                    std::string const& uuid) {
    init(sql);
    std::basic_string<unsigned char> raw;
    EXPECT_TRUE(UUID_Binary::parse(uuid, raw));
    sql.where((key + "=:uuid").c_str(), false);
    sql.bind(":uuid", Binding_Value(raw));
  }

  // The rows of such a statement, each as key -> value the way the set
  // handler delivers them (UUIDs as text, JSON columns parsed).
  std::vector<Object> rows_of(std::function<void(Select_SQL&)> const& init, std::string const& key,
                              std::string const& uuid) {
    Select_SQL sql("backup_set", "b");
    build(sql, init, key, uuid);
    auto c = target_.connect();
    Array rows;
    EXPECT_TRUE(c->query_rows(sql, rows, Backup_Set::result_handler())) << c->last_error();
    std::vector<Object> out;
    for (Value const& row : rows)
      if (row.type() == json_spirit::obj_type) out.push_back(row.get_obj());
    return out;
  }

  // The rows of such a statement straight into one record, as read_set
  // does; answers how many column values reached the record (-1 when the
  // query failed).
  int read_rows_into(std::function<void(Select_SQL&)> const& init, std::string const& key, std::string const& uuid,
                     Backup_Set& out) {
    Select_SQL sql("backup_set", "b");
    build(sql, init, key, uuid);
    auto c = target_.connect();
    Counting_Printer counter(out);
    bool ok = c->query(sql, counter, database::sql::Connection::QM_FLAT, Backup_Set::result_handler(), 0);
    EXPECT_TRUE(ok) << c->last_error();
    return ok ? counter.columns : -1;
  }

  // The first column of the first row of a statement of the test's own.
  Value value_of(std::string const& text) {
    auto c = target_.connect();
    Value v;
    EXPECT_TRUE(c->query_value(SQL(text), v)) << c->last_error();
    return v;
  }

  long long count(std::string const& text) {
    auto c = target_.connect();
    Value v;
    EXPECT_TRUE(c->query_value(SQL(text), v)) << c->last_error();
    return v.type() == json_spirit::int_type ? v.get_int64() : -1;
  }

  // Every stored row of the catalogue that belongs to some set.
  long long stored_rows(std::vector<std::string> const& member_tables) {
    long long n = count("SELECT count(*) FROM backup_set") + count("SELECT count(*) FROM backup_set_storage") +
                  count("SELECT count(*) FROM backup_piece");
    for (std::string const& t : member_tables) n += count("SELECT count(*) FROM " + t);
    return n;
  }

  // A document whose kind key `key` holds the mistyped value `bad`, and the
  // member tables that must stay empty when it is refused.
  struct Mistyped {
    Object doc;
    char const* key;
    Value bad;
    std::vector<std::string> tables;
  };

  // Each document is refused with its key named, and nothing of any of them
  // is stored: no set, piece, storage copy or member row.
  void expect_each_refused(std::vector<Mistyped> const& cases) {
    std::set<std::string> all_tables;
    for (Mistyped const& c : cases) {
      SCOPED_TRACE(std::string(c.key) + " = " + JSON_Dump(c.bad));
      Log_Capture capture;
      EXPECT_FALSE(op_->commit(Value(c.doc), false));
      EXPECT_TRUE(capture.has(LM_ERROR, std::string(c.key) + ": not")) << capture.dump();
      EXPECT_EQ(0, count("SELECT count(*) FROM backup_set"));
      for (std::string const& t : c.tables) EXPECT_EQ(0, count("SELECT count(*) FROM " + t)) << t;
      all_tables.insert(c.tables.begin(), c.tables.end());
    }
    EXPECT_EQ(0, stored_rows(std::vector<std::string>(all_tables.begin(), all_tables.end())));
  }

  // The set's row of the "sets" view, or an empty object.
  Object view_row(std::string const& uuid) {
    Value result;
    EXPECT_TRUE(op_->get_view("backup_set", "sets", {{"uuid", uuid}}, result));
    if (result.type() != json_spirit::obj_type || !result.get_obj().count("rows")) return Object();
    Array const& rows = result.get_obj().at("rows").get_array();
    EXPECT_EQ(1u, rows.size()) << JSON_Dump(result);
    return rows.size() == 1 ? rows[0].get_obj() : Object();
  }

  std::vector<std::string> view_uuids(std::map<std::string, Value> const& param) {
    Value result;
    EXPECT_TRUE(op_->get_view("backup_set", "sets", param, result));
    std::set<std::string> sorted;
    if (result.type() == json_spirit::obj_type && result.get_obj().count("rows"))
      for (Value const& row : result.get_obj().at("rows").get_array())
        sorted.insert(row.get_obj().at("uuid").get_str());
    return std::vector<std::string>(sorted.begin(), sorted.end());
  }

  // The row's "application" equals the kind's part of the set's document.
  void expect_application(Backup_Set& set) {
    Object row = view_row(set.uuid);
    ASSERT_TRUE(row.count("application")) << JSON_Dump(Value(row));
    Value want(application_part(set));
    ASSERT_FALSE(want.get_obj().empty());
    EXPECT_TRUE(want == row.at("application"))
        << "want " << JSON_Dump(want) << "\ngot  " << JSON_Dump(row.at("application"));
    EXPECT_EQ(std::string(set.catalog_module), row.at("catalog_module").get_str());
  }

  // What the statement's base columns deliver into a record (the default
  // handler takes "uname" and "lsb" as text, which the record ignores).
  static void expect_common(Backup_Set const& want, Backup_Set const& got, bool with_extended_attrs = true) {
    expect_common_fields(want, got, with_extended_attrs);
  }

  Catalog_Target target_;
  Protocol protocol_;
  std::unique_ptr<Catalog_Server> server_;
  std::unique_ptr<Catalog_Operator> op_;
};

inline std::string param_name(::testing::TestParamInfo<std::tuple<Catalog_Target::Engine, Protocol>> const& info) {
  return std::string(Catalog_Target::name(std::get<0>(info.param))) +
         (std::get<1>(info.param) == JSON_RPC ? "_JsonRpc" : "_Rest");
}

}  // namespace kind_commit

#endif
