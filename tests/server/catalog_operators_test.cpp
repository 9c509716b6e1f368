// End to end: the library's two catalogue operators against catalogd on
// loopback, with every set read back from the catalogue through the
// records' own select statements and result handlers.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>
#include <tuple>

#include "tests/support/common_fields.h"
#include "backup/backup_set/common/backup_piece.h"
#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_result_handler.h"
#include "backup/backup_set/common/backup_set_storage.h"
#include "backup/backup_set/common/catalog_operator.h"
#include "backup/backup_set/common/restful_catalog_operator.h"
#include "platform/json/json_text.h"
#include "platform/rest/upstream_json_restful_client.h"
#include "platform/rpc/global_json_rpc_channel.h"
#include "platform/sql/select_sql.h"
#include "platform/sql/uuid_binary.h"
#include "server/catalog_server.h"
#include "tests/server/catalog_target.h"
#include "tests/server/catalogd_process.h"
#include "tests/server/set_reader.h"
#include "tests/support/log_capture.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

enum Protocol { JSON_RPC, REST };

char const kPool1[] = "aaaaaaaa-0000-0000-0000-000000000001";
char const kPool2[] = "aaaaaaaa-0000-0000-0000-000000000002";
char const kHost[] = "bbbbbbbb-0000-0000-0000-00000000000b";

std::string uuid_of(int n) {
  char text[40];
  std::snprintf(text, sizeof text, "6f1c2a4e-8b0d-4c3e-9a51-%012d", n);
  return text;
}

Object object(std::string const& json) {
  Value v;
  EXPECT_TRUE(JSON_Parse(json, v)) << json;
  return v.type() == json_spirit::obj_type ? v.get_obj() : Object();
}

// A set with every common member given, two storages and three pieces.
Backup_Set full_set(std::string const& uuid) {
  Backup_Set s("file");
  s.uuid = uuid;
  s.name = "nightly files";
  s.definition_uuid = "11111111-0000-0000-0000-000000000001";
  s.job_instance_uuid = "11111111-0000-0000-0000-000000000002";
  s.uid = "11111111-0000-0000-0000-000000000003";
  s.host_uuid = kHost;
  s.resource_uuid = "11111111-0000-0000-0000-000000000005";
  s.minor_resource_id = "vol-7";
  s.minor_resource_name = "Volume 7";
  s.agent = "agent-linux-1";
  s.incarnation = "11111111-0000-0000-0000-000000000006";
  s.type = "full";
  s.first_time = 1709251200;
  s.last_time = 1709254800;
  s.backup_start_time = 1709258400;
  s.backup_end_time = 1709259000;
  s.source_size = 4096000;
  s.size = 2048000;
  s.uri = "file:///data";
  s.host = "db-host-1";
  s.instance = "inst1";
  s.instance_version = "15.2";
  s.first_scn = 100;
  s.last_scn = 200;
  s.resource_tree = object(R"({"root": {"children": ["a", "b"]}})");
  s.extended_attrs = object(R"({"compression": "zstd", "level": 3})");
  s.parents = {"22222222-0000-0000-0000-000000000001"};
  Backup_Set_Storage primary;
  primary.pool_uuid = kPool1;
  primary.size = 2048000;
  primary.state = Backup_Set_State(Backup_Set_State::ONLINE);
  primary.extended_attrs = object(R"({"tier": "hot"})");
  s.add_storage(primary);
  Backup_Set_Storage replica;
  replica.pool_uuid = kPool2;
  replica.size = 2048000;
  replica.state = Backup_Set_State(Backup_Set_State::OFFLINE | Backup_Set_State::REPLICATED);
  replica.upstream_pool_uuid = kPool1;
  s.add_storage(replica);
  s.add_piece("/data/a.bin", 1000);
  s.add_directory_piece("/data/dir", 0);
  Backup_Piece with_attrs;
  with_attrs.path = "/data/b.bin";
  with_attrs.size = 2000;
  with_attrs.extended_attrs = object(R"({"checksum": "abc"})");
  s.add_piece(with_attrs);
  s.uname = object(R"({"sysname": "Linux", "release": "6.1"})");
  s.lsb = object(R"({"id": "Debian", "release": "12"})");
  return s;
}

Value piece_value(std::string const& path, long long size) {
  Object p;
  p["path"] = path;
  p["object"] = "";
  p["size"] = size;
  p["extended_attrs"] = Value(Object());
  return Value(std::move(p));
}

class CatalogOperatorsTest : public ::testing::TestWithParam<std::tuple<Catalog_Target::Engine, Protocol>> {
 protected:
  CatalogOperatorsTest() : target_(std::get<0>(GetParam())), protocol_(std::get<1>(GetParam())) {}

  void SetUp() override {
    std::string error;
    ASSERT_TRUE(target_.prepare(error)) << error;
    start_server({});
  }

  void TearDown() override {
    op_.reset();
    Global_JSON_RPC_Channel::close();
    Upstream_JSON_RESTful_Client::unconfigure();
    server_.reset();
  }

  void start_server(Server_Options options) {
    server_.reset();
    options.listen = "127.0.0.1";
    options.port = 0;
    options.db = target_.db();
    server_ = std::make_unique<Catalog_Server>(options);
    std::string error;
    ASSERT_TRUE(server_->start(error)) << error;
    connect(options.token.empty() ? "" : "Bearer " + options.token);
  }

  // Points the process's channel, its upstream client and a fresh operator
  // of the protocol under test at the server.
  void connect(std::string const& authorization, int retries = 1, int retry_timeout = 2) {
    int port = server_ ? server_->port() : port_;
    Global_JSON_RPC_Channel::Options channel;
    channel.authorization = authorization;
    ASSERT_TRUE(Global_JSON_RPC_Channel::open(("http://127.0.0.1:" + std::to_string(port) + "/rpc").c_str(), channel));
    ASSERT_TRUE(Upstream_JSON_RESTful_Client::configure("127.0.0.1", static_cast<unsigned short>(port), false,
                                                        authorization.c_str()));
    if (protocol_ == JSON_RPC)
      op_ = std::make_unique<Catalog_Operator>(retries, retry_timeout);
    else
      op_ = std::make_unique<RESTful_Catalog_Operator>("127.0.0.1", static_cast<unsigned short>(port), false,
                                                       authorization.c_str(), retries, retry_timeout);
  }

  // The set as the catalogue holds it, read with the library's read path:
  // the set's statement with its storages and pieces nested, through the
  // set's result handler (with "uname" and "lsb" taken as JSON).
  bool read_set(std::string const& uuid, Backup_Set& out) {
    static std::vector<Key2_Value_T<int>> const values = [] {
      std::vector<Key2_Value_T<int>> t;
      for (auto const* r = Backup_Set_Result_Handler::DEFAULT_VALUES; r->key; ++r) t.push_back(*r);
      t.push_back({"uname", 4});
      t.push_back({"lsb", 4});
      t.push_back({nullptr, 0});
      return t;
    }();
    static Backup_Set_Result_Handler handler(nullptr, values.data(), nullptr, 0);
    Select_SQL sql("backup_set", "b");
    Backup_Set::init_select_sql(sql, "b");
    sql.add_key("b.uuid", "storages");
    sql.add_key("b.uuid", "pieces");
    std::basic_string<unsigned char> key;
    EXPECT_TRUE(UUID_Binary::parse(uuid, key));
    sql.where("b.uuid=:uuid", false);
    sql.bind(":uuid", Binding_Value(key));
    auto c = target_.connect();
    // Each row arrives as a map; the reader needs no array around them.
    Set_Reader printer;
    EXPECT_TRUE(c->query(sql, printer, database::sql::Connection::QM_ROWS, &handler, 0)) << c->last_error();
    if (printer.sets.size() != 1) return false;
    out = printer.sets.front();
    return true;
  }

  // Storage and piece rows through their own records' statements, which also
  // carry the members the set's nested queries leave out.
  Array read_rows(char const* table, std::string const& uuid) {
    bool pieces = std::string(table) == "backup_piece";
    Select_SQL sql(table, "t");
    if (pieces)
      Backup_Piece::init_select_sql(sql, "t");
    else
      Backup_Set_Storage::init_select_sql(sql, "t");
    std::basic_string<unsigned char> key;
    UUID_Binary::parse(uuid, key);
    sql.where("t.set_uuid=:uuid", false);
    sql.bind(":uuid", Binding_Value(key));
    sql.order_by("t.id");
    auto c = target_.connect();
    Array rows;
    EXPECT_TRUE(c->query_rows(sql, rows, pieces ? Backup_Piece::result_handler() : Backup_Set_Storage::result_handler()))
        << c->last_error();
    return rows;
  }

  long long count(std::string const& text) {
    auto c = target_.connect();
    Value v;
    EXPECT_TRUE(c->query_value(SQL(text), v)) << c->last_error();
    return v.type() == json_spirit::int_type ? v.get_int64() : -1;
  }

  static void expect_same_set(Backup_Set const& want, Backup_Set const& got) {
    expect_common_fields(want, got);
    EXPECT_TRUE(want.uname == got.uname) << JSON_Dump(Value(got.uname));
    EXPECT_TRUE(want.lsb == got.lsb) << JSON_Dump(Value(got.lsb));
    ASSERT_EQ(want.storages.size(), got.storages.size());
    for (size_t i = 0; i < want.storages.size(); ++i) {
      EXPECT_EQ(want.storages[i].pool_uuid, got.storages[i].pool_uuid) << i;
      EXPECT_EQ(want.storages[i].size, got.storages[i].size) << i;
      EXPECT_EQ(want.storages[i].state.bits(), got.storages[i].state.bits()) << i;
      EXPECT_EQ(want.storages[i].upstream_pool_uuid, got.storages[i].upstream_pool_uuid) << i;
    }
    ASSERT_EQ(want.pieces.size(), got.pieces.size());
    for (size_t i = 0; i < want.pieces.size(); ++i) {
      EXPECT_EQ(want.pieces[i].path, got.pieces[i].path) << i;
      EXPECT_EQ(want.pieces[i].object, got.pieces[i].object) << i;
      EXPECT_EQ(want.pieces[i].size, got.pieces[i].size) << i;
    }
  }

  // What the nested queries leave out: the storages' and pieces' own
  // extended attributes, and the storages' set_uuid.
  void expect_same_rows(Backup_Set const& want) {
    Array storages = read_rows("backup_set_storage", want.uuid);
    ASSERT_EQ(want.storages.size(), storages.size());
    for (size_t i = 0; i < storages.size(); ++i) {
      Backup_Set_Storage got;
      for (auto const& m : storages[i].get_obj()) {
        if (m.second.type() == json_spirit::str_type)
          got.print_cstr(0, m.first.c_str(), m.second.get_str().data(), m.second.get_str().size());
        else if (m.second.type() == json_spirit::int_type)
          got.print_int(0, m.first.c_str(), m.second.get_int64());
        else if (m.second.type() == json_spirit::obj_type)
          got.print_json(0, m.first.c_str(), m.second);
      }
      EXPECT_EQ(want.uuid, got.set_uuid);
      EXPECT_EQ(want.storages[i].state.bits(), got.state.bits());
      EXPECT_TRUE(want.storages[i].extended_attrs == got.extended_attrs) << JSON_Dump(storages[i]);
    }
    Array pieces = read_rows("backup_piece", want.uuid);
    ASSERT_EQ(want.pieces.size(), pieces.size());
    for (size_t i = 0; i < pieces.size(); ++i) {
      Object const& p = pieces[i].get_obj();
      EXPECT_EQ(want.uuid, p.at("set_uuid").get_str());
      EXPECT_EQ(want.pieces[i].path, p.at("path").get_str());
      EXPECT_TRUE(Value(want.pieces[i].extended_attrs) == p.at("extended_attrs")) << JSON_Dump(pieces[i]);
    }
  }

  Value view(char const* view_name, std::map<std::string, Value> const& param) {
    Value result;
    EXPECT_TRUE(op_->get_view("backup_set", view_name, param, result));
    return result;
  }

  size_t rows_of(Value const& result) {
    if (result.type() != json_spirit::obj_type || !result.get_obj().count("rows")) return 0;
    return result.get_obj().at("rows").get_array().size();
  }

  Catalog_Target target_;
  Protocol protocol_;
  int port_ = 0;
  std::unique_ptr<Catalog_Server> server_;
  std::unique_ptr<Catalog_Operator> op_;
};

}  // namespace

TEST_P(CatalogOperatorsTest, ACommittedSetReadsBackWithEveryField) {
  Backup_Set set = full_set(uuid_of(1));
  ASSERT_TRUE(op_->commit(set, false));
  Backup_Set got;
  ASSERT_TRUE(read_set(set.uuid, got));
  expect_same_set(set, got);
  expect_same_rows(set);

  // The view shows what the records do not read: module and parents.
  Value result = view("sets", {{"uuid", set.uuid}});
  ASSERT_EQ(1u, rows_of(result)) << JSON_Dump(result);
  Object const& row = result.get_obj().at("rows").get_array()[0].get_obj();
  EXPECT_EQ("file", row.at("catalog_module").get_str());
  ASSERT_EQ(json_spirit::array_type, row.at("parents").type()) << JSON_Dump(result);
  EXPECT_EQ(set.parents[0], row.at("parents").get_array()[0].get_str());
  EXPECT_EQ("2024-03-01 02:00:00", row.at("backup_start_time").get_str());

  // Committing it again leaves one set with the same pieces.
  ASSERT_TRUE(op_->commit(set, false));
  EXPECT_EQ(1, count("SELECT count(*) FROM backup_set"));
  EXPECT_EQ(3, count("SELECT count(*) FROM backup_piece"));
}

TEST_P(CatalogOperatorsTest, ADocumentCommitReadsBackToo) {
  Value doc = Value(object(R"({"catalog_module": "dmdb", "uuid": ")" + uuid_of(2) +
                           R"(", "name": "doc", "backup_start_time": "2024-01-02 03:04:05", "size": 7,
                              "storage": {"pool_uuid": ")" + kPool1 + R"(", "size": 7, "state": ["nearline"]},
                              "pieces": [{"path": "/p", "size": 7}]})"));
  ASSERT_TRUE(op_->commit(doc, false));
  Backup_Set got;
  ASSERT_TRUE(read_set(uuid_of(2), got));
  EXPECT_EQ("doc", got.name);
  EXPECT_EQ(1704164645, got.backup_start_time);
  ASSERT_EQ(1u, got.storages.size());
  EXPECT_EQ(Backup_Set_State::NEARLINE, got.storages[0].state.bits());
  ASSERT_EQ(1u, got.pieces.size());
  EXPECT_EQ("/p", got.pieces[0].path);
}

TEST_P(CatalogOperatorsTest, AnUpdateChangesTheMembersAndStoragesButNotThePieces) {
  Backup_Set set = full_set(uuid_of(3));
  ASSERT_TRUE(op_->commit(set, false));
  set.name = "renamed";
  set.size = 42;
  set.backup_end_time = 1709262000;
  set.storages[0].state = Backup_Set_State(Backup_Set_State::ONLINE | Backup_Set_State::EXPIRED);
  set.pieces.clear();
  ASSERT_TRUE(op_->update(set));
  Backup_Set got;
  ASSERT_TRUE(read_set(set.uuid, got));
  EXPECT_EQ("renamed", got.name);
  EXPECT_EQ(42, got.size);
  EXPECT_EQ(1709262000, got.backup_end_time);
  ASSERT_EQ(2u, got.storages.size());
  EXPECT_EQ(Backup_Set_State::ONLINE | Backup_Set_State::EXPIRED, got.storages[0].state.bits());
  EXPECT_EQ(3u, got.pieces.size());
  // Fields the update did not touch are as committed.
  EXPECT_EQ(set.agent, got.agent);
  EXPECT_EQ(set.host_uuid, got.host_uuid);

  // The document form goes over JSON-RPC for both operators.
  Value doc(object(R"({"uuid": ")" + set.uuid + R"(", "name": "by document"})"));
  ASSERT_TRUE(op_->update(doc));
  ASSERT_TRUE(read_set(set.uuid, got));
  EXPECT_EQ("by document", got.name);
  EXPECT_EQ(42, got.size);
}

TEST_P(CatalogOperatorsTest, AStagedSetAppearsOnlyWhenComplete) {
  Backup_Set set = full_set(uuid_of(4));
  std::vector<Backup_Piece> all = set.pieces;
  set.pieces.clear();
  ASSERT_TRUE(op_->initialize(set));
  EXPECT_EQ(0u, rows_of(view("sets", {{"uuid", set.uuid}})));
  std::vector<Value> batch1{piece_value("/s/1", 1), piece_value("/s/2", 2)};
  std::vector<Value> batch2{piece_value("/s/3", 3)};
  ASSERT_TRUE(op_->add_piece(set.uuid, batch1));
  ASSERT_TRUE(op_->add_piece(set.uuid, batch2));
  EXPECT_EQ(0u, rows_of(view("sets", {{"uuid", set.uuid}})));
  EXPECT_EQ(0u, rows_of(view("pieces", {{"uuid", set.uuid}})));
  set.backup_end_time = 1709260000;
  ASSERT_TRUE(op_->complete(set));
  EXPECT_EQ(1u, rows_of(view("sets", {{"uuid", set.uuid}})));
  Value pieces = view("pieces", {{"uuid", set.uuid}});
  ASSERT_EQ(3u, rows_of(pieces));
  EXPECT_EQ("/s/3", pieces.get_obj().at("rows").get_array()[2].get_obj().at("path").get_str());
  Backup_Set got;
  ASSERT_TRUE(read_set(set.uuid, got));
  set.pieces.clear();
  for (Value const& p : batch1) set.add_piece(p.get_obj().at("path").get_str(), p.get_obj().at("size").get_int64());
  for (Value const& p : batch2) set.add_piece(p.get_obj().at("path").get_str(), p.get_obj().at("size").get_int64());
  expect_same_set(set, got);
}

TEST_P(CatalogOperatorsTest, AbortAnswersTheStagedPiecesAndLeavesNothing) {
  Backup_Set set = full_set(uuid_of(5));
  set.pieces.clear();
  ASSERT_TRUE(op_->initialize(set));
  std::vector<Value> batch{piece_value("/x/1", 10), piece_value("/x/2", 20)};
  ASSERT_TRUE(op_->add_piece(set.uuid, batch));
  std::vector<Value> pieces{Value("stale")};
  ASSERT_TRUE(op_->abort(set.uuid, pieces));
  ASSERT_EQ(2u, pieces.size());
  EXPECT_EQ("/x/1", pieces[0].get_obj().at("path").get_str());
  EXPECT_EQ(20, pieces[1].get_obj().at("size").get_int64());
  EXPECT_EQ(0, count("SELECT count(*) FROM backup_set"));
  EXPECT_EQ(0, count("SELECT count(*) FROM backup_piece"));
  // A second abort finds nothing and leaves the vector alone.
  std::vector<Value> again{Value("kept")};
  EXPECT_FALSE(op_->abort(set.uuid, again));
  ASSERT_EQ(1u, again.size());
  EXPECT_EQ("kept", again[0].get_str());
}

TEST_P(CatalogOperatorsTest, ViewsFilterOrderAndLimit) {
  for (int i = 0; i < 3; ++i) {
    Backup_Set set = full_set(uuid_of(10 + i));
    set.backup_start_time = 1709258400 + i * 3600;
    if (i == 2) set.host_uuid = "cccccccc-0000-0000-0000-00000000000c";
    ASSERT_TRUE(op_->commit(set, false));
  }
  Value all = view("sets", {});
  ASSERT_EQ(3u, rows_of(all));
  // Newest first.
  EXPECT_EQ(uuid_of(12), all.get_obj().at("rows").get_array()[0].get_obj().at("uuid").get_str());
  EXPECT_EQ(2u, rows_of(view("sets", {{"host_uuid", kHost}})));
  EXPECT_EQ(1u, rows_of(view("sets", {{"host_uuid", kHost}, {"limit", 1}})));
  Value row;
  ASSERT_TRUE(op_->get_first_view("backup_set", "sets", {{"host_uuid", kHost}, {"offset", 1}}, row));
  EXPECT_EQ(uuid_of(10), row.get_obj().at("uuid").get_str());
  ASSERT_EQ(2u, row.get_obj().at("storages").get_array().size());
  Array const& states = row.get_obj().at("storages").get_array()[1].get_obj().at("state").get_array();
  ASSERT_EQ(2u, states.size());
  EXPECT_EQ("offline", states[0].get_str());
  EXPECT_EQ("replicated", states[1].get_str());
  EXPECT_EQ(3u, rows_of(view("sets", {{"name", "nightly files"}})));

  Value none;
  EXPECT_FALSE(op_->get_first_view("backup_set", "sets", {{"name", "no such set"}}, none));
  EXPECT_TRUE(none.is_null());
  Value unknown;
  EXPECT_FALSE(op_->get_view("backup_set", "no_such_view", {}, unknown));
}

TEST_P(CatalogOperatorsTest, ACommitWithConfirmWaitsForAQueuedSet) {
  Server_Options o;
  o.queue_commits = true;
  o.queue_delay_ms = 300;
  start_server(o);
  Backup_Set set = full_set(uuid_of(20));
  auto started = std::chrono::steady_clock::now();
  ASSERT_TRUE(op_->commit(set, true));
  // Confirmed means there: no waiting after the call.
  EXPECT_EQ(1, count("SELECT count(*) FROM backup_set WHERE status='complete'"));
  EXPECT_GE(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(300));
  Backup_Set got;
  ASSERT_TRUE(read_set(set.uuid, got));
  expect_same_set(set, got);
}

TEST_P(CatalogOperatorsTest, AQueuedCommitThatNeverLandsIsNotConfirmed) {
  Server_Options o;
  o.queue_commits = true;
  o.queue_delay_ms = 100;
  start_server(o);
  {
    auto c = target_.connect();
    ASSERT_TRUE(c->execute_script("DROP TABLE backup_piece")) << c->last_error();
  }
  // The poll's own limits: at most 2 polls (retry_timeout) and 3 seconds.
  op_->init(3, 2);
  Backup_Set set = full_set(uuid_of(21));
  EXPECT_FALSE(op_->commit(set, true));
  EXPECT_EQ(0, count("SELECT count(*) FROM backup_set"));
}

TEST_P(CatalogOperatorsTest, BadDocumentsAreRefusedWithTheMemberNamed) {
  Backup_Set set = full_set(uuid_of(30));
  set.storages[1].pool_uuid = "pool-two";
  Log_Capture capture;
  EXPECT_FALSE(op_->commit(set, false));
  EXPECT_TRUE(capture.has(LM_ERROR, "storages[1].pool_uuid: not a UUID")) << capture.dump();
  EXPECT_EQ(0, count("SELECT count(*) FROM backup_set"));

  Backup_Set bad_piece = full_set(uuid_of(31));
  bad_piece.pieces.clear();
  ASSERT_TRUE(op_->initialize(bad_piece));
  std::vector<Value> pieces{piece_value("/ok", 1), Value(object(R"({"path": "/no-size"})"))};
  EXPECT_FALSE(op_->add_piece(bad_piece.uuid, pieces));
  EXPECT_EQ(0, count("SELECT count(*) FROM backup_piece"));
}

TEST_P(CatalogOperatorsTest, ATokenServerRefusesOperatorsWithoutIt) {
  Server_Options o;
  o.token = "agent-token-1";
  start_server(o);
  Backup_Set set = full_set(uuid_of(40));
  ASSERT_TRUE(op_->commit(set, false));
  EXPECT_EQ(1, count("SELECT count(*) FROM backup_set"));

  connect("Bearer wrong-token", 0, 0);
  Backup_Set other = full_set(uuid_of(41));
  EXPECT_FALSE(op_->commit(other, false));
  connect("", 0, 0);
  EXPECT_FALSE(op_->commit(other, false));
  Value result;
  EXPECT_FALSE(op_->get_view("backup_set", "sets", {}, result));
  EXPECT_EQ(1, count("SELECT count(*) FROM backup_set"));
}

TEST_P(CatalogOperatorsTest, ACommitRetriesUntilTheServerComesUp) {
  // Down: a free port with nothing on it.
  server_.reset();
  {
    Catalogd_Process probe;
    ASSERT_TRUE(probe.start({"--db", target_.db()})) << probe.error();
    port_ = probe.port();
    probe.stop();
  }
  connect("", 0, 0);
  Backup_Set set = full_set(uuid_of(50));
  EXPECT_FALSE(op_->commit(set, false));

  // Up again a little later, on the same port, while the commit retries.
  connect("", 5, -1);
  Catalogd_Process process;
  std::thread later([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    EXPECT_TRUE(process.start({"--db", target_.db(), "--port", std::to_string(port_), "--keep-alive-timeout", "1"}))
        << process.error();
  });
  bool committed = op_->commit(set, false);
  later.join();
  EXPECT_TRUE(committed);
  EXPECT_EQ(1, count("SELECT count(*) FROM backup_set WHERE status='complete'"));
  EXPECT_EQ(0, process.stop());
}

TEST_P(CatalogOperatorsTest, ManyAgentsCommitAtOnce) {
  int const kAgents = 6, kSets = 10;
  std::vector<std::thread> agents;
  std::atomic<int> committed{0};
  int port = server_->port();
  for (int a = 0; a < kAgents; ++a) {
    agents.emplace_back([&, a] {
      // Each agent has an operator of its own; half of them speak the other
      // protocol, so both run side by side.
      std::unique_ptr<Catalog_Operator> op;
      if ((a % 2 == 0) == (protocol_ == JSON_RPC))
        op = std::make_unique<Catalog_Operator>(1, 2);
      else
        op = std::make_unique<RESTful_Catalog_Operator>("127.0.0.1", static_cast<unsigned short>(port), false,
                                                        nullptr, 1, 2);
      for (int i = 0; i < kSets; ++i) {
        Backup_Set set = full_set(uuid_of(1000 + a * 100 + i));
        if (op->commit(set, false)) ++committed;
      }
    });
  }
  for (auto& t : agents) t.join();
  EXPECT_EQ(kAgents * kSets, committed.load());
  EXPECT_EQ(kAgents * kSets, count("SELECT count(*) FROM backup_set WHERE status='complete'"));
  EXPECT_EQ(3 * kAgents * kSets, count("SELECT count(*) FROM backup_piece"));
  EXPECT_EQ(2 * kAgents * kSets, count("SELECT count(*) FROM backup_set_storage"));
}

TEST_P(CatalogOperatorsTest, TheSameSetCommittedAtOnceByManyEndsUpOnce) {
  std::vector<std::thread> agents;
  std::atomic<int> committed{0};
  int port = server_->port();
  for (int a = 0; a < 6; ++a) {
    agents.emplace_back([&] {
      std::unique_ptr<Catalog_Operator> op;
      if (protocol_ == JSON_RPC)
        op = std::make_unique<Catalog_Operator>(1, 2);
      else
        op = std::make_unique<RESTful_Catalog_Operator>("127.0.0.1", static_cast<unsigned short>(port), false,
                                                        nullptr, 1, 2);
      for (int i = 0; i < 5; ++i) {
        Backup_Set set = full_set(uuid_of(2000));
        if (op->commit(set, false)) ++committed;
      }
    });
  }
  for (auto& t : agents) t.join();
  EXPECT_EQ(30, committed.load());
  EXPECT_EQ(1, count("SELECT count(*) FROM backup_set"));
  EXPECT_EQ(3, count("SELECT count(*) FROM backup_piece"));
  EXPECT_EQ(2, count("SELECT count(*) FROM backup_set_storage"));
}

INSTANTIATE_TEST_SUITE_P(
    EnginesAndProtocols, CatalogOperatorsTest,
    ::testing::Combine(::testing::Values(Catalog_Target::SQLITE, Catalog_Target::POSTGRESQL),
                       ::testing::Values(JSON_RPC, REST)),
    [](::testing::TestParamInfo<std::tuple<Catalog_Target::Engine, Protocol>> const& info) {
      return std::string(Catalog_Target::name(std::get<0>(info.param))) +
             (std::get<1>(info.param) == JSON_RPC ? "_JsonRpc" : "_Rest");
    });
