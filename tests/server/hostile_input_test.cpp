// catalogd against hostile request bodies, on both catalogue engines: every
// bad input is either refused with an answer that names the member at fault
// and leaves the catalogue exactly as it was, or stored and read back byte
// for byte, through the views and through a connection of the test's own.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <chrono>
#include <climits>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <httplib.h>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_storage.h"
#include "backup/backup_set/common/dmdb_backup_set.h"
#include "backup/backup_set/common/dmdb_log_backup_set.h"
#include "platform/json/json_text.h"
#include "platform/sql/sql.h"
#include "platform/sql/uuid_binary.h"
#include "server/catalog_server.h"
#include "tests/records/document.h"
#include "tests/server/catalog_target.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

char const kSet[] = "5e4d3c2b-1a09-4f8e-8d7c-6b5a49382716";
char const kPool1[] = "aaaaaaaa-0000-0000-0000-0000000000c1";
char const kPool2[] = "aaaaaaaa-0000-0000-0000-0000000000c2";

enum Transport { JSON_RPC, REST };

char const* transport_name(Transport t) { return t == JSON_RPC ? "JSON-RPC" : "REST"; }

Value parse(std::string const& text) {
  Value v;
  EXPECT_TRUE(JSON_Parse(text, v)) << text.substr(0, 500);
  return v;
}

std::string rpc(std::string const& method, std::string const& params) {
  return R"({"jsonrpc": "2.0", "method": ")" + method + R"(", "params": )" + params + R"(, "id": 1})";
}

// Printable text that no compressor shrinks much: a large value must reach
// the catalogue as large as it was sent.
std::string noise(size_t size, unsigned seed) {
  static char const alphabet[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_.";
  std::string s(size, 'x');
  unsigned long long state = 0x9E3779B97F4A7C15ULL ^ seed;
  for (size_t i = 0; i < size; ++i) {
    state = state * 6364136223846793005ULL + 1442695040888963407ULL;
    s[i] = alphabet[(state >> 33) % (sizeof alphabet - 1)];
  }
  return s;
}

// The common part of every set here: each member given, two storage
// copies, three pieces.
void fill_common(Backup_Set& s, std::string const& uuid) {
  s.uuid = uuid;
  s.name = "hostile";
  s.definition_uuid = "31313131-0000-0000-0000-000000000001";
  s.job_instance_uuid = "31313131-0000-0000-0000-000000000002";
  s.uid = "31313131-0000-0000-0000-000000000003";
  s.host_uuid = "31313131-0000-0000-0000-000000000004";
  s.resource_uuid = "31313131-0000-0000-0000-000000000005";
  s.minor_resource_id = "db-1";
  s.minor_resource_name = "Database One";
  s.agent = "agent-h";
  s.incarnation = "31313131-0000-0000-0000-000000000006";
  s.type = "full";
  s.first_time = 1709251200;
  s.last_time = 1709254800;
  s.backup_start_time = 1709258400;
  s.backup_end_time = 1709259000;
  s.source_size = 5000;
  s.size = 2500;
  s.uri = "dm://host/db";
  s.host = "db-host";
  s.instance = "inst";
  s.instance_version = "8.1";
  s.first_scn = 10;
  s.last_scn = 20;
  s.resource_tree = parse(R"({"root": {"children": ["x"]}})").get_obj();
  s.extended_attrs = parse(R"({"n": 3, "s": "t"})").get_obj();
  s.parents = {"32323232-0000-0000-0000-000000000001"};
  Backup_Set_Storage primary;
  primary.pool_uuid = kPool1;
  primary.size = 2500;
  primary.state = Backup_Set_State(Backup_Set_State::ONLINE);
  primary.extended_attrs = parse(R"({"tier": "hot"})").get_obj();
  s.add_storage(primary);
  Backup_Set_Storage replica;
  replica.pool_uuid = kPool2;
  replica.size = 2500;
  replica.state = Backup_Set_State(Backup_Set_State::OFFLINE | Backup_Set_State::REPLICATED);
  replica.upstream_pool_uuid = kPool1;
  s.add_storage(replica);
  s.add_piece("/h/a.bin", 1000);
  s.add_directory_piece("/h/dir", 0);
  Backup_Piece with_attrs;
  with_attrs.path = "/h/b.bin";
  with_attrs.size = 1500;
  with_attrs.extended_attrs = parse(R"({"checksum": "abc"})").get_obj();
  s.add_piece(with_attrs);
  s.uname = parse(R"({"sysname": "Linux"})").get_obj();
  s.lsb = parse(R"({"id": "Debian"})").get_obj();
}

// A DM physical set, its document exactly as the library writes it.
Value dmdb_document(std::string const& uuid) {
  DMDB_Backup_Set s;
  fill_common(s, uuid);
  s.seq = 7;
  s.backup_version = 3;
  s.object = "DB";
  s.compression = "zstd";
  s.backup_set = "BS_FULL";
  s.backup_base = "BS_BASE";
  s.arch_log_start = 100;
  s.arch_log_end = 200;
  s.permanent_db_magic = 12345;
  s.db_magic = 67890;
  s.case_sensitive = 1;
  s.unicode_flag = 1;
  s.page_size = 8192;
  s.extent_size = 16;
  s.backup_files = {{"a.dbf", "/data/a"}, {"b.dbf", "/data/b"}};
  Generated g = generate_text(s);
  EXPECT_TRUE(g.ok);
  return parse(g.text);
}

// A DM archive-log set: a kind with a flag and times of its own.
Value dmdb_log_document(std::string const& uuid) {
  DMDB_Log_Backup_Set s;
  fill_common(s, uuid);
  s.seq = 1;
  s.backup_version = 2;
  s.dm_type = 3;
  s.compression = "lz4";
  s.backup_set = "BS_LOG";
  s.arch_start_time = "2024-02-29 23:59:59";
  s.arch_end_time = "2024-03-01 00:30:00";
  s.permanent_db_magic = 1;
  s.db_magic = 2;
  s.timezone_offset = -28800;
  s.number = 44;
  s.active = true;
  Generated g = generate_text(s);
  EXPECT_TRUE(g.ok);
  return parse(g.text);
}

// A plain set (no application kind) with the given module.
Value plain_document(std::string const& uuid, std::string const& module = "hostile") {
  Backup_Set s(module.c_str());
  fill_common(s, uuid);
  Generated g = generate_text(s);
  EXPECT_TRUE(g.ok);
  return parse(g.text);
}

// One step into a document: a member of an object or an element of an array.
struct Step {
  std::string key;
  int index = -1;
};

Value& at(Value& v, std::vector<Step> const& path) {
  Value* cur = &v;
  for (Step const& s : path) cur = s.index < 0 ? &cur->get_obj().at(s.key) : &cur->get_array().at(s.index);
  return *cur;
}

char const* type_word(Value const& v) {
  switch (v.type()) {
    case json_spirit::obj_type:
      return "object";
    case json_spirit::array_type:
      return "array";
    case json_spirit::str_type:
    case json_spirit::secure_str_type:
      return "string";
    case json_spirit::bool_type:
      return "boolean";
    case json_spirit::int_type:
      return "integer";
    case json_spirit::real_type:
      return "real";
    case json_spirit::null_type:
      return "null";
  }
  return "?";
}

// One value of each JSON type; an integer and a fraction count as two.
std::vector<Value> one_of_each_type() {
  Object o;
  o["k"] = 1;
  return {Value("x"), Value(7), Value(1.5), Value(true), Value(), Value(Array{Value(1)}), Value(std::move(o))};
}

// What a request came to.
struct Outcome {
  bool answered = false;  // an HTTP answer came at all
  int status = 0;
  bool ok = false;      // the call succeeded
  int code = 0;         // its error code when refused
  std::string message;  // its error message when refused
  Value result;         // the call's result when it succeeded
  std::string body;

  std::string describe() const {
    return std::string(answered ? "HTTP " + std::to_string(status) : "no answer") + ": " + body.substr(0, 400);
  }
};

class HostileInputTest : public ::testing::TestWithParam<Catalog_Target::Engine> {
 protected:
  HostileInputTest() : target_(GetParam()) {}

  void SetUp() override {
    std::string error;
    ASSERT_TRUE(target_.prepare(error)) << error;
    start({});
  }

  void start(Server_Options options) {
    server_.reset();
    options.listen = "127.0.0.1";
    options.port = 0;
    options.db = target_.db();
    server_ = std::make_unique<Catalog_Server>(options);
    std::string error;
    ASSERT_TRUE(server_->start(error)) << error;
    client_ = std::make_unique<httplib::Client>("127.0.0.1", server_->port());
    client_->set_read_timeout(60, 0);
    client_->set_write_timeout(60, 0);
    connection_ = target_.connect();
    ASSERT_TRUE(connection_->is_open()) << connection_->last_error();
  }

  // --- requests ---------------------------------------------------------

  static Outcome from_rpc(httplib::Result const& res) {
    Outcome out;
    if (!res) return out;
    out.answered = true;
    out.status = res->status;
    out.body = res->body;
    Value v;
    if (!JSON_Parse(res->body, v) || v.type() != json_spirit::obj_type) return out;
    Object const& o = v.get_obj();
    auto e = o.find("error");
    if (e != o.end() && e->second.type() == json_spirit::obj_type) {
      Object const& eo = e->second.get_obj();
      if (eo.count("code") && eo.at("code").type() == json_spirit::int_type) out.code = eo.at("code").get_int();
      if (eo.count("message") && eo.at("message").type() == json_spirit::str_type)
        out.message = eo.at("message").get_str();
      return out;
    }
    auto r = o.find("result");
    if (r != o.end()) {
      out.ok = res->status == 200;
      out.result = r->second;
    }
    return out;
  }

  static Outcome from_rest(httplib::Result const& res) {
    Outcome out;
    if (!res) return out;
    out.answered = true;
    out.status = res->status;
    out.body = res->body;
    Value v;
    bool json = JSON_Parse(res->body, v);
    if (res->status >= 200 && res->status < 300) {
      out.ok = json;
      out.result = v;
      return out;
    }
    if (json && v.type() == json_spirit::obj_type) {
      Object const& o = v.get_obj();
      if (o.count("code") && o.at("code").type() == json_spirit::int_type) out.code = o.at("code").get_int();
      if (o.count("message") && o.at("message").type() == json_spirit::str_type)
        out.message = o.at("message").get_str();
    }
    return out;
  }

  Outcome post_rpc(std::string const& body) { return from_rpc(client_->Post("/rpc", body, "application/json")); }

  Outcome post_rest(std::string const& path, std::string const& body) {
    return from_rest(client_->Post(path.c_str(), body, "application/json"));
  }

  Outcome put_rest(std::string const& uuid, std::string const& body) {
    return from_rest(client_->Put(("/d2/r/v2/sets?uuid=" + uuid).c_str(), body, "application/json"));
  }

  // A commit of the document text, over either transport.
  Outcome commit(Transport t, std::string const& doc) {
    return t == JSON_RPC ? post_rpc(rpc("backup_set.commit", doc)) : post_rest("/d2/r/v2/sets", doc);
  }

  // A view's result, over either transport.
  Outcome select(Transport t, std::string const& view, Object const& param) {
    if (t == JSON_RPC) {
      Object params;
      params["module"] = "backup_set";
      params["view"] = view;
      params["param"] = Value(param);
      return post_rpc(rpc("backup_set.select", JSON_Dump(Value(std::move(params)))));
    }
    httplib::Params query{{"module", "backup_set"}, {"view", view}};
    for (auto const& p : param)
      query.emplace(p.first, p.second.type() == json_spirit::str_type ? p.second.get_str() : JSON_Dump(p.second));
    return from_rest(client_->Get("/d2/r/v2/sets/select", query, httplib::Headers()));
  }

  // The set's row of the "sets" view (an empty object when there is none).
  Object view_row(Transport t, std::string const& uuid) {
    Object param;
    param["uuid"] = uuid;
    Outcome o = select(t, "sets", param);
    EXPECT_TRUE(o.ok) << o.describe();
    if (!o.ok || o.result.type() != json_spirit::obj_type || !o.result.get_obj().count("rows")) return Object();
    Array const& rows = o.result.get_obj().at("rows").get_array();
    EXPECT_EQ(1u, rows.size()) << o.describe();
    return rows.size() == 1 ? rows[0].get_obj() : Object();
  }

  // The set's rows of the "pieces" view.
  Array view_pieces(Transport t, std::string const& uuid) {
    Object param;
    param["uuid"] = uuid;
    Outcome o = select(t, "pieces", param);
    EXPECT_TRUE(o.ok) << o.describe();
    if (!o.ok || o.result.type() != json_spirit::obj_type || !o.result.get_obj().count("rows")) return Array();
    return o.result.get_obj().at("rows").get_array();
  }

  // --- the catalogue, read directly ---------------------------------------

  // A bounded read is run as one prepared statement, not through a cursor:
  // these run after every request.
  Array rows(SQL const& sql) {
    Array out;
    EXPECT_TRUE(connection_->query_rows(sql, out, nullptr, 1000)) << connection_->last_error();
    return out;
  }

  SQL for_set(std::string const& text, std::string const& uuid) {
    std::basic_string<unsigned char> key;
    EXPECT_TRUE(UUID_Binary::parse(uuid, key));
    SQL sql(text);
    sql.bind(":uuid", Binding_Value(key));
    return sql;
  }

  // The set's own row, its text and integer columns as stored.
  Object stored_set(std::string const& uuid) {
    Array r = rows(
        for_set("SELECT catalog_module, status, name, minor_resource_id, minor_resource_name, agent, type, uri, host, "
                "instance, instance_version, size, source_size, first_scn, last_scn FROM backup_set WHERE uuid=:uuid",
                uuid));
    EXPECT_EQ(1u, r.size());
    return r.size() == 1 ? r[0].get_obj() : Object();
  }

  Array stored_pieces(std::string const& uuid) {
    return rows(
        for_set("SELECT path, object, size, extended_attrs FROM backup_piece WHERE set_uuid=:uuid ORDER BY id", uuid));
  }

  Array stored_storages(std::string const& uuid) {
    return rows(for_set("SELECT size, extended_attrs FROM backup_set_storage WHERE set_uuid=:uuid ORDER BY id", uuid));
  }

  // A JSON column as stored, parsed (PostgreSQL hands jsonb over as text).
  static Value json_column(Value const& v) {
    if (v.type() != json_spirit::str_type) return v;
    Value parsed;
    EXPECT_TRUE(JSON_Parse(v.get_str(), parsed)) << v.get_str().substr(0, 200);
    return parsed;
  }

  // Every table of the catalogue.
  std::vector<std::string> const& tables() {
    if (tables_.empty()) {
      SQL sql(target_.engine() == Catalog_Target::SQLITE
                  ? "SELECT name AS t FROM sqlite_master WHERE type='table' AND name NOT LIKE 'sqlite_%' ORDER BY name"
                  : "SELECT tablename AS t FROM pg_tables WHERE schemaname='public' ORDER BY tablename");
      for (Value const& row : rows(sql)) tables_.push_back(row.get_obj().at("t").get_str());
      EXPECT_GT(tables_.size(), 20u);
    }
    return tables_;
  }

  // The state of the whole catalogue: the rows of every table counted, and
  // the sets' own rows in full (a refused update changes no count).
  std::string snapshot() {
    std::string text;
    std::string counts = "SELECT ";
    for (size_t i = 0; i < tables().size(); ++i)
      counts += (i ? ", " : "") + std::string("(SELECT count(*) FROM ") + tables()[i] + ") AS c" + std::to_string(i);
    Array r = rows(SQL(counts));
    if (r.size() == 1)
      for (size_t i = 0; i < tables().size(); ++i)
        text += tables()[i] + "=" + JSON_Dump(r[0].get_obj().at("c" + std::to_string(i))) + "\n";
    for (Value const& row : rows(SQL("SELECT * FROM backup_set ORDER BY uuid"))) text += JSON_Dump(row) + "\n";
    return text;
  }

  long long count(std::string const& table) {
    Value v;
    EXPECT_TRUE(connection_->query_value(SQL("SELECT count(*) FROM " + table), v)) << connection_->last_error();
    return v.type() == json_spirit::int_type ? v.get_int64() : -1;
  }

  // --- expectations ---------------------------------------------------------

  // Refused as bad params or a bad request (never as a failure of the
  // service), with the member named first in the message, and nothing
  // changed in the catalogue.
  void expect_refused(Outcome const& o, std::string const& member, std::string const& before) {
    expect_refusal(o, member);
    EXPECT_EQ(before, snapshot()) << "the catalogue changed";
  }

  // The answer alone of such a refusal.
  void expect_refusal(Outcome const& o, std::string const& member) {
    EXPECT_TRUE(o.answered) << "no answer";
    EXPECT_FALSE(o.ok) << "accepted: " << o.describe();
    EXPECT_TRUE(o.status == 200 || (o.status >= 400 && o.status < 500)) << o.describe();
    EXPECT_TRUE(o.code == -32602 || o.code == -32600 || o.code == -32700) << o.describe();
    // The member itself, or an element of it ("storages[1].state[0]: ...").
    bool named = o.message.rfind(member + ": ", 0) == 0 || o.message.rfind(member + "[", 0) == 0;
    EXPECT_TRUE(named) << "the message does not start with '" << member << ": ': " << o.describe();
  }

  // The rows of all tables together, in one short statement.
  long long rows_stored() {
    std::string text = "SELECT 0";
    for (std::string const& t : tables()) text += " + (SELECT count(*) FROM " + t + ")";
    Value v;
    EXPECT_TRUE(connection_->query_value(SQL(text), v)) << connection_->last_error();
    return v.type() == json_spirit::int_type ? v.get_int64() : -1;
  }

  // A parse error: the body is not JSON the service takes.
  void expect_not_json(Transport t, Outcome const& o, std::string const& why, std::string const& before) {
    EXPECT_TRUE(o.answered);
    EXPECT_FALSE(o.ok) << o.describe();
    EXPECT_EQ(-32700, o.code) << o.describe();
    EXPECT_EQ(t == JSON_RPC ? 200 : 400, o.status) << o.describe();
    EXPECT_NE(std::string::npos, o.message.find(why)) << o.describe();
    EXPECT_EQ(before, snapshot()) << "the catalogue changed";
  }

  Catalog_Target target_;
  std::unique_ptr<Catalog_Server> server_;
  std::unique_ptr<httplib::Client> client_;
  std::unique_ptr<database::sql::Connection> connection_;
  std::vector<std::string> tables_;
};

std::string nested(size_t depth, std::string const& open, std::string const& close, std::string const& inner) {
  std::string s;
  s.reserve(depth * (open.size() + close.size()) + inner.size());
  for (size_t i = 0; i < depth; ++i) s += open;
  s += inner;
  for (size_t i = 0; i < depth; ++i) s += close;
  return s;
}

}  // namespace

// --- nesting --------------------------------------------------------------

// A document as deep as the service takes is one it can also give back:
// the views wrap a set's members in more levels than the commit did.
TEST_P(HostileInputTest, TheDeepestDocumentTakenIsReadBackThroughBothTransports) {
  // Find the deepest free-form value a REST commit takes (the body is the
  // document itself, the shallowest wrapping of any route).
  Value doc = plain_document(kSet);
  std::string text = JSON_Dump(doc);
  size_t const at = text.find("\"extended_attrs\":{");
  ASSERT_NE(std::string::npos, at);
  size_t deepest = 0;
  for (size_t depth = 140; depth > 0; --depth) {
    std::string deep = text;
    deep.replace(at, 18, "\"extended_attrs\":{\"deep\":" + nested(depth, "[", "]", "\"bottom\"") + ",");
    Outcome o = commit(REST, deep);
    if (o.ok) {
      deepest = depth;
      break;
    }
    ASSERT_EQ(-32700, o.code) << "depth " << depth << ": " << o.describe();
  }
  ASSERT_GT(deepest, 100u);
  Value want = parse(nested(deepest, "[", "]", "\"bottom\""));
  for (Transport t : {JSON_RPC, REST}) {
    SCOPED_TRACE(transport_name(t));
    Object row = view_row(t, kSet);
    EXPECT_TRUE(row.count("extended_attrs")) << "depth " << deepest;
    if (!row.count("extended_attrs")) continue;
    Value const& attrs = row.at("extended_attrs");
    ASSERT_EQ(json_spirit::obj_type, attrs.type());
    ASSERT_TRUE(attrs.get_obj().count("deep"));
    EXPECT_TRUE(want == attrs.get_obj().at("deep")) << "depth " << deepest;
  }
}

// --- large values -----------------------------------------------------------

TEST_P(HostileInputTest, HugeStringsAreStoredWholeOrRefusedClearly) {
  // The 16 MB name goes once (a commit of it takes seconds), a 1 MB one
  // and the 1 MB path over both transports.
  struct Huge {
    Transport transport;
    std::string member;
    size_t size;
  };
  std::vector<Huge> const cases = {
      {JSON_RPC, "name", 16u << 20},
      {REST, "name", 1u << 20},
      {JSON_RPC, "pieces[0].path", 1u << 20},
      {REST, "pieces[0].path", 1u << 20},
  };
  unsigned seed = 0;
  for (Huge const& h : cases) {
    SCOPED_TRACE(std::string(transport_name(h.transport)) + " " + std::to_string(h.size) + " bytes in " + h.member);
    std::string const text = (h.member == "name" ? "" : "/") + noise(h.size, ++seed);
    std::string const before = snapshot();
    Value doc = plain_document(kSet);
    if (h.member == "name")
      doc.get_obj()["name"] = text;
    else
      doc.get_obj()["pieces"].get_array()[0].get_obj()["path"] = text;
    auto started = std::chrono::steady_clock::now();
    Outcome o = commit(h.transport, JSON_Dump(doc));
    std::printf("[ huge     ] %-8s %-14s %8zu bytes: HTTP %d in %.2f s\n", transport_name(h.transport),
                h.member.c_str(), h.size, o.status,
                std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count());
    if (!o.ok) {
      // Refused: that may be, but clearly, as bad input naming the member,
      // and with nothing kept.
      expect_refused(o, h.member, before);
      continue;
    }
    if (h.member == "name") {
      Object row = view_row(h.transport, kSet);
      ASSERT_TRUE(row.count("name"));
      EXPECT_EQ(text.size(), row.at("name").get_str().size());
      EXPECT_TRUE(text == row.at("name").get_str()) << "the name came back changed";
      EXPECT_TRUE(text == stored_set(kSet).at("name").get_str());
    } else {
      bool found = false;
      for (Value const& p : view_pieces(h.transport, kSet))
        if (p.get_obj().at("path").get_str() == text) found = true;
      EXPECT_TRUE(found) << "the path is not among the pieces";
      Array stored = stored_pieces(kSet);
      ASSERT_EQ(3u, stored.size());
      EXPECT_TRUE(text == stored[0].get_obj().at("path").get_str());
    }
  }
}

// --- numbers --------------------------------------------------------------

namespace {

// Where a number goes and what the member accepts.
struct Number_Member {
  std::vector<Step> path;
  std::string name;  // as an error names it
  enum Range { SIGNED64, UNSIGNED32, SIGNED32, TIME } range;
};

// A number as the client wrote it, and what it is.
struct Number_Text {
  char const* text;
  enum What { TOO_LARGE_FOR_JSON, INTEGER, FRACTION } what;
  long double value;  // for the range checks
};

bool fits(Number_Member::Range r, long double v) {
  switch (r) {
    case Number_Member::SIGNED64:
      return v >= -9223372036854775808.0L && v <= 9223372036854775807.0L;
    case Number_Member::UNSIGNED32:
      return v >= 0 && v <= 4294967295.0L;
    case Number_Member::SIGNED32:
      return v >= -2147483648.0L && v <= 2147483647.0L;
    case Number_Member::TIME:
      return false;
  }
  return false;
}

}  // namespace

// Numbers out of range in size, position and kind members, times that do
// not exist, and page counts out of range: refused by name; what is in
// range is stored and read back as sent.
TEST_P(HostileInputTest, NumbersTimesAndPageCountsOutOfRangeAreRefusedByNameAndTheRestStoredExactly) {
  {
    std::vector<Number_Member> const members = {
        {{{"size"}}, "size", Number_Member::SIGNED64},
        {{{"source_size"}}, "source_size", Number_Member::SIGNED64},
        {{{"first_scn"}}, "first_scn", Number_Member::SIGNED64},
        {{{"last_scn"}}, "last_scn", Number_Member::SIGNED64},
        {{{"storages"}, {"", 0}, {"size"}}, "storages[0].size", Number_Member::SIGNED64},
        {{{"pieces"}, {"", 1}, {"size"}}, "pieces[1].size", Number_Member::SIGNED64},
        {{{"seq"}}, "seq", Number_Member::UNSIGNED32},
        {{{"page_size"}}, "page_size", Number_Member::SIGNED32},
        {{{"arch_log_start"}}, "arch_log_start", Number_Member::SIGNED64},
        {{{"backup_start_time"}}, "backup_start_time", Number_Member::TIME},
        {{{"backup_end_time"}}, "backup_end_time", Number_Member::TIME},
    };
    std::vector<Number_Text> const numbers = {
        {"1e400", Number_Text::TOO_LARGE_FOR_JSON, 0},
        {"-1e400", Number_Text::TOO_LARGE_FOR_JSON, 0},
        {"-1", Number_Text::INTEGER, -1.0L},
        {"-0", Number_Text::INTEGER, 0.0L},
        {"4294967296", Number_Text::INTEGER, 4294967296.0L},
        {"-2147483649", Number_Text::INTEGER, -2147483649.0L},
        {"9223372036854775807", Number_Text::INTEGER, 9223372036854775807.0L},
        {"9223372036854775808", Number_Text::INTEGER, 9223372036854775808.0L},
        {"18446744073709551615", Number_Text::INTEGER, 18446744073709551615.0L},
        {"18446744073709551616", Number_Text::INTEGER, 18446744073709551616.0L},
        {"-9223372036854775808", Number_Text::INTEGER, -9223372036854775808.0L},
        {"-9223372036854775809", Number_Text::INTEGER, -9223372036854775809.0L},
        {"1.5", Number_Text::FRACTION, 1.5L},
        {"1e2", Number_Text::FRACTION, 100.0L},
    };
    int cases = 0;
    for (Transport t : {JSON_RPC, REST}) {
      for (Number_Member const& m : members) {
        for (Number_Text const& n : numbers) {
          // Each pair over one transport, alternating: both meet every
          // member and every number.
          if (((&m - &members[0]) + (&n - &numbers[0]) + t) % 2) continue;
          SCOPED_TRACE(std::string(transport_name(t)) + " " + m.name + " = " + n.text);
          ++cases;
          // The value goes into the text as written, so that the parser sees
          // exactly the client's digits.
          Value doc = dmdb_document(kSet);
          at(doc, m.path) = "@@NUMBER@@";
          std::string text = JSON_Dump(doc);
          text.replace(text.find("\"@@NUMBER@@\""), 12, n.text);
          std::string const before = snapshot();
          Outcome o = commit(t, text);
          if (n.what == Number_Text::TOO_LARGE_FOR_JSON) {
            expect_not_json(t, o, std::string("number out of range: ") + n.text, before);
            continue;
          }
          // JSON integers beyond 64 bits come in as fractions.
          bool integral = n.what == Number_Text::INTEGER && n.value >= -9223372036854775808.0L &&
                          n.value <= 18446744073709551615.0L;
          if (!integral || !fits(m.range, n.value)) {
            expect_refused(o, m.name, before);
            continue;
          }
          ASSERT_TRUE(o.ok) << o.describe();
          // Read back as the same number, through the view and directly.
          long long want = static_cast<long long>(n.value);
          Object row = view_row(t, kSet);
          Value got;
          if (m.path.size() == 1 && row.count(m.name))
            got = row.at(m.name);
          else if (m.path.size() == 1 && row.count("application"))
            got = row.at("application").get_obj().at(m.name);
          else if (m.path[0].key == "storages")
            got = row.at("storages").get_array().at(0).get_obj().at("size");
          else
            for (Value const& p : view_pieces(t, kSet))
              if (p.get_obj().at("path").get_str() == "/h/dir") got = p.get_obj().at("size");
          ASSERT_EQ(json_spirit::int_type, got.type()) << JSON_Dump(got);
          EXPECT_EQ(want, got.get_int64());
          if (m.path.size() == 1 && m.range == Number_Member::SIGNED64 && m.name != "arch_log_start") {
            EXPECT_EQ(want, stored_set(kSet).at(m.name).get_int64());
          } else if (m.path[0].key == "storages") {
            EXPECT_EQ(want, stored_storages(kSet).at(0).get_obj().at("size").get_int64());
          } else if (m.path[0].key == "pieces") {
            EXPECT_EQ(want, stored_pieces(kSet).at(1).get_obj().at("size").get_int64());
          }
        }
      }
    }
    EXPECT_EQ(11 * 14, cases);
  }

  // Times are text of one form; a date that does not exist is not a time.
  {
    struct Time_Text {
      char const* text;
      bool exists;
    };
    std::vector<Time_Text> const times = {
        {"2024-02-29 12:00:00", true},   {"1970-01-01 00:00:00", true},
        {"9999-12-31 23:59:59", true},   {"2023-02-29 12:00:00", false},
        {"2024-02-30 00:00:00", false},  {"2024-13-01 00:00:00", false},
        {"2024-00-10 00:00:00", false},  {"2024-01-00 00:00:00", false},
        {"2024-01-01 24:00:00", false},  {"2024-01-01 23:60:00", false},
        {"2024-01-01 23:59:61", false},  {"2024-01-01T00:00:00", false},
        {"2024-01-01 00:00:00Z", false}, {"", false},
        {"0000-00-00 00:00:00", false},
    };
    for (Transport t : {JSON_RPC, REST}) {
      for (Time_Text const& tt : times) {
        if (((&tt - &times[0]) + t) % 2) continue;  // each over one transport, alternating
        SCOPED_TRACE(std::string(transport_name(t)) + " backup_start_time = \"" + tt.text + "\"");
        Value doc = dmdb_document(kSet);
        doc.get_obj()["backup_start_time"] = tt.text;
        std::string const before = snapshot();
        Outcome o = commit(t, JSON_Dump(doc));
        if (!tt.exists) {
          expect_refused(o, "backup_start_time", before);
          continue;
        }
        ASSERT_TRUE(o.ok) << o.describe();
        Object row = view_row(t, kSet);
        ASSERT_TRUE(row.count("backup_start_time")) << JSON_Dump(Value(row));
        EXPECT_EQ(tt.text, row.at("backup_start_time").get_str());
      }
    }
  }

  // The counts of a view's page: JSON-RPC takes them as numbers (or text),
  // REST as query text; out of range is refused by name, never run.
  {
    ASSERT_TRUE(commit(REST, JSON_Dump(dmdb_document(kSet))).ok);
    struct Count {
      char const* key;
      char const* text;
      bool taken;
    };
    std::vector<Count> const counts = {
        {"limit", "1", true},
        {"limit", "10000", true},
        {"limit", "0", false},
        {"limit", "10001", false},
        {"limit", "-1", false},
        {"limit", "1.5", false},
        {"limit", "1e2", false},
        {"limit", "9223372036854775808", false},
        {"limit", "18446744073709551615", false},
        {"limit", "18446744073709551616", false},
        {"limit", "-9223372036854775809", false},
        {"offset", "0", true},
        {"offset", "9223372036854775807", true},
        {"offset", "-1", false},
        {"offset", "-9223372036854775808", false},
        {"offset", "1.5", false},
        {"offset", "18446744073709551616", false},
    };
    int cases = 0;
    for (Transport t : {JSON_RPC, REST}) {
      for (char const* view : {"sets", "pieces", "children"}) {
        for (Count const& c : counts) {
          // Pages of a directory are cut by cursor only.
          if (std::string(view) == "children" && std::string(c.key) == "offset") continue;
          SCOPED_TRACE(std::string(transport_name(t)) + " " + view + " " + c.key + "=" + c.text);
          ++cases;
          Outcome o;
          if (t == JSON_RPC) {
            // The number goes into the text as written.
            std::string params = std::string(R"({"module": "backup_set", "view": ")") + view +
                                 R"(", "param": {"uuid": ")" + kSet + R"(", ")" + c.key + "\": " + c.text + "}}";
            o = post_rpc(rpc("backup_set.select", params));
          } else {
            o = from_rest(
                client_->Get("/d2/r/v2/sets/select",
                             httplib::Params{{"module", "backup_set"}, {"view", view}, {"uuid", kSet}, {c.key, c.text}},
                             httplib::Headers()));
          }
          bool json_number_too_large = false;
          if (!c.taken && t == JSON_RPC && o.code == -32700) json_number_too_large = true;
          if (c.taken) {
            EXPECT_TRUE(o.ok) << o.describe();
            if (o.ok) {
              ASSERT_EQ(json_spirit::obj_type, o.result.type()) << o.describe();
              EXPECT_TRUE(o.result.get_obj().count("rows")) << o.describe();
            }
          } else if (!json_number_too_large) {
            expect_refusal(o, c.key);
            EXPECT_EQ(t == JSON_RPC ? 200 : 400, o.status) << o.describe();
          } else {
            ADD_FAILURE() << "a 64-bit number is not JSON to the service: " << o.describe();
          }
        }
      }
    }
    EXPECT_EQ(2 * (3 * 11 + 2 * 6), cases);
  }
}

// --- wrong types ------------------------------------------------------------

namespace {

// Every member of a set document, as a path and the name an error gives
// it: the set's own members, each member of each storage and piece, the
// parents and storage states one by one, and the kind's keys. Free-form
// objects are members; what they hold is not checked.
void members_of(Value const& doc, std::vector<std::pair<std::vector<Step>, std::string>>& out) {
  for (auto const& m : doc.get_obj()) {
    out.push_back({{{m.first}}, m.first});
    if (m.first == "parents") {
      for (size_t i = 0; i < m.second.get_array().size(); ++i)
        out.push_back({{{m.first}, {"", static_cast<int>(i)}}, m.first + "[" + std::to_string(i) + "]"});
    }
    if (m.first == "storages" || m.first == "pieces") {
      Array const& items = m.second.get_array();
      for (size_t i = 0; i < items.size(); ++i) {
        std::string item = m.first + "[" + std::to_string(i) + "]";
        for (auto const& inner : items[i].get_obj()) {
          out.push_back({{{m.first}, {"", static_cast<int>(i)}, {inner.first}}, item + "." + inner.first});
          if (inner.first == "state")
            for (size_t k = 0; k < inner.second.get_array().size(); ++k)
              out.push_back(
                  {{{m.first}, {"", static_cast<int>(i)}, {inner.first}, {"", static_cast<int>(k)}}, item + ".state"});
        }
      }
    }
  }
}

bool same_type(Value const& a, Value const& b) {
  auto kind = [](Value const& v) {
    return v.type() == json_spirit::secure_str_type ? json_spirit::str_type : v.type();
  };
  return kind(a) == kind(b);
}

}  // namespace

// Every member of a full set document, of two application kinds, given a
// value of each wrong type: refused with the member named and nothing
// stored. What a free-form member holds is the client's: any JSON is kept.
TEST_P(HostileInputTest, WrongTypesAreRefusedByNameAndFreeFormMembersKeepAnyType) {
  {
    std::string const before = snapshot();
    ASSERT_EQ(0, count("backup_set"));
    long long const rows_before = rows_stored();  // the schema's own rows
    Object const common = plain_document(kSet).get_obj();
    int cases = 0;
    for (auto const& make : {dmdb_document, dmdb_log_document}) {
      Value const doc = make(kSet);
      bool const first_kind = cases == 0;
      std::vector<std::pair<std::vector<Step>, std::string>> members;
      members_of(doc, members);
      ASSERT_GT(members.size(), 40u);
      for (Transport t : {JSON_RPC, REST}) {
        for (auto const& m : members) {
          // The second kind's common members are the first one's again.
          if (!first_kind && common.count(m.first[0].key)) continue;
          Value bad = doc;
          Value const original = at(bad, m.first);
          for (Value const& wrong : one_of_each_type()) {
            if (same_type(original, wrong)) continue;
            SCOPED_TRACE(std::string(transport_name(t)) + " " + doc.get_obj().at("catalog_module").get_str() + " " +
                         m.second + " = " + JSON_Dump(wrong) + " (was " + type_word(original) + ")");
            at(bad, m.first) = wrong;
            ++cases;
            expect_refusal(commit(t, JSON_Dump(bad)), m.second);
            // Nothing was stored: no row in any table.
            EXPECT_EQ(rows_before, rows_stored());
          }
          EXPECT_EQ(before, snapshot()) << m.second;
        }
      }
    }
    EXPECT_GT(cases, 500);
    std::printf("[ hostile  ] %d documents with one member of a wrong type, each refused by name\n", cases);
    // The unchanged document is taken: the refusals were about the members.
    EXPECT_TRUE(commit(JSON_RPC, JSON_Dump(dmdb_document(kSet))).ok);
    EXPECT_TRUE(commit(REST, JSON_Dump(dmdb_log_document(kSet))).ok);
  }

  // Free-form members keep values of every type, as sent.
  {
    int cases = 0;
    for (Transport t : {JSON_RPC, REST}) {
      for (Value const& v : one_of_each_type()) {
        SCOPED_TRACE(std::string(transport_name(t)) + " value " + JSON_Dump(v));
        Value doc = dmdb_document(kSet);
        Object& o = doc.get_obj();
        o["extended_attrs"].get_obj()["n"] = v;
        o["resource_tree"].get_obj()["root"] = v;
        o["uname"].get_obj()["sysname"] = v;
        o["storages"].get_array()[0].get_obj()["extended_attrs"].get_obj()["tier"] = v;
        o["pieces"].get_array()[2].get_obj()["extended_attrs"].get_obj()["checksum"] = v;
        ++cases;
        Outcome r = commit(t, JSON_Dump(doc));
        ASSERT_TRUE(r.ok) << r.describe();
        Object row = view_row(t, kSet);
        EXPECT_TRUE(o["extended_attrs"] == row["extended_attrs"]) << JSON_Dump(row["extended_attrs"]);
        EXPECT_TRUE(o["resource_tree"] == row["resource_tree"]) << JSON_Dump(row["resource_tree"]);
        EXPECT_TRUE(o["uname"] == row["uname"]) << JSON_Dump(row["uname"]);
        Value stored_attrs = json_column(stored_storages(kSet).at(0).get_obj().at("extended_attrs"));
        EXPECT_TRUE(o["storages"].get_array()[0].get_obj()["extended_attrs"] == stored_attrs)
            << JSON_Dump(stored_attrs);
        Array pieces = view_pieces(t, kSet);
        bool found = false;
        for (Value const& p : pieces)
          if (p.get_obj().at("path").get_str() == "/h/b.bin") {
            found = true;
            EXPECT_TRUE(o["pieces"].get_array()[2].get_obj()["extended_attrs"] == p.get_obj().at("extended_attrs"))
                << JSON_Dump(p);
          }
        EXPECT_TRUE(found);
      }
    }
    EXPECT_EQ(14, cases);
  }
}

// --- text ---------------------------------------------------------------------

namespace {

// Strings that break queries pasted together, patterns, C strings and
// terminals; JSON carries each of them. The ones with a NUL byte come last.
std::vector<std::string> hostile_strings(bool with_nul = true) {
  std::vector<std::string> all = {
      "'",
      "''",
      "\"",
      "\\",
      "\\'",
      "';--",
      "'; DROP TABLE backup_set; --",
      "\" OR 1=1 --",
      "%",
      "_",
      "%_%",
      "a%b_c",
      ":uuid",
      "$1",
      "?",
      "/*",
      "\x01\x02\x03\x07\x08\x0b\x0c\x1b\x1f\x7f",
      "tab\there\nnew\rline",
      "back\\slash\\\\double",
      "\\x00\\N\\.",
      "\xe2\x82\xac \xf0\x9f\x98\x80 \xc3\xbc",
      std::string("a\0b", 3),
      std::string("\0", 1),
  };
  if (!with_nul) all.resize(all.size() - 2);
  return all;
}

std::string printable(std::string const& s) {
  std::string out;
  for (unsigned char c : s) {
    if (c < 0x20 || c == 0x7f) {
      char buf[8];
      std::snprintf(buf, sizeof buf, "\\x%02x", c);
      out += buf;
    } else {
      out += static_cast<char>(c);
    }
  }
  return out;
}

// The string members of a set that hold any text.
char const* const kTextMembers[] = {"name", "minor_resource_id", "minor_resource_name", "agent", "type", "uri",
                                    "host", "instance",          "instance_version"};

}  // namespace

// Text that breaks pasted queries, patterns and terminals: kept byte for
// byte wherever a member holds text, refused by name where a member holds
// a UUID, a time or a state.
TEST_P(HostileInputTest, HostileTextIsStoredExactlyInTextMembersAndRefusedByNameElsewhere) {
  {
    int cases = 0;
    Transport t = JSON_RPC;
    // A NUL byte has a test of its own, member by member.
    for (std::string const& s : hostile_strings(false)) {
      t = t == JSON_RPC ? REST : JSON_RPC;
      SCOPED_TRACE(std::string(transport_name(t)) + " text \"" + printable(s) + "\"");
      ++cases;
      // A plain set whose module is the text itself, every text member and
      // every free-form key and value made of it, and pieces named by it.
      Value doc = plain_document(kSet);
      Object& o = doc.get_obj();
      o["catalog_module"] = "m" + s;
      for (char const* key : kTextMembers) o[key] = s;
      Object attrs;
      attrs[s] = s;
      attrs["k"] = s;
      o["extended_attrs"] = Value(attrs);
      o["storages"].get_array()[0].get_obj()["extended_attrs"] = Value(attrs);
      Array& pieces = o["pieces"].get_array();
      pieces[0].get_obj()["path"] = "/x/" + s;
      pieces[0].get_obj()["object"] = s;
      pieces[0].get_obj()["extended_attrs"] = Value(attrs);
      pieces[1].get_obj()["path"] = "/y/" + s + "/z";
      pieces[2].get_obj()["path"] = s;
      std::string const before = snapshot();
      Outcome r = commit(t, JSON_Dump(doc));
      EXPECT_TRUE(r.ok) << r.describe();
      if (!r.ok) {
        EXPECT_EQ(before, snapshot()) << "a failed commit left rows behind";
        continue;
      }

      // Through the view, over both transports.
      for (Transport v : {JSON_RPC, REST}) {
        SCOPED_TRACE(std::string("read over ") + transport_name(v));
        Object row = view_row(v, kSet);
        for (char const* key : kTextMembers) {
          ASSERT_TRUE(row.count(key)) << key;
          EXPECT_EQ(printable(s), printable(row.at(key).get_str())) << key;
        }
        EXPECT_EQ(printable("m" + s), printable(row.at("catalog_module").get_str()));
        EXPECT_TRUE(Value(attrs) == row.at("extended_attrs")) << JSON_Dump(row.at("extended_attrs"));
        Array got = view_pieces(v, kSet);
        std::set<std::string> paths;
        for (Value const& p : got) paths.insert(p.get_obj().at("path").get_str());
        EXPECT_EQ((std::set<std::string>{"/x/" + s, "/y/" + s + "/z", s}), paths);
        for (Value const& p : got)
          if (p.get_obj().at("path").get_str() == "/x/" + s) {
            EXPECT_EQ(printable(s), printable(p.get_obj().at("object").get_str()));
            EXPECT_TRUE(Value(attrs) == p.get_obj().at("extended_attrs")) << JSON_Dump(p);
          }
      }
      // Directly, as the catalogue holds it.
      Object stored = stored_set(kSet);
      for (char const* key : kTextMembers) EXPECT_EQ(printable(s), printable(stored.at(key).get_str())) << key;
      EXPECT_EQ(printable("m" + s), printable(stored.at("catalog_module").get_str()));
      Array stored_p = stored_pieces(kSet);
      ASSERT_EQ(3u, stored_p.size());
      EXPECT_EQ(printable("/x/" + s), printable(stored_p[0].get_obj().at("path").get_str()));
      EXPECT_EQ(printable(s), printable(stored_p[0].get_obj().at("object").get_str()));
      EXPECT_TRUE(Value(attrs) == json_column(stored_p[0].get_obj().at("extended_attrs")));
      EXPECT_TRUE(Value(attrs) == json_column(stored_storages(kSet).at(0).get_obj().at("extended_attrs")));
      // Nothing else was touched: one set, its own rows.
      EXPECT_EQ(1, count("backup_set"));
      EXPECT_EQ(3, count("backup_piece"));
      EXPECT_EQ(2, count("backup_set_storage"));
    }
    EXPECT_EQ(static_cast<int>(hostile_strings(false).size()), cases);
  }

  // Members that hold UUIDs, times or states take no other text.
  {
    std::string const before = snapshot();
    long long const rows_before = rows_stored();
    std::vector<std::pair<std::vector<Step>, std::string>> const members = {
        {{{"uuid"}}, "uuid"},
        {{{"host_uuid"}}, "host_uuid"},
        {{{"incarnation"}}, "incarnation"},
        {{{"backup_start_time"}}, "backup_start_time"},
        {{{"first_time"}}, "first_time"},
        {{{"parents"}, {"", 0}}, "parents[0]"},
        {{{"storages"}, {"", 0}, {"pool_uuid"}}, "storages[0].pool_uuid"},
        {{{"storages"}, {"", 1}, {"upstream_pool_uuid"}}, "storages[1].upstream_pool_uuid"},
        {{{"storages"}, {"", 1}, {"state"}, {"", 0}}, "storages[1].state"},
    };
    int cases = 0;
    for (Transport t : {JSON_RPC, REST}) {
      for (auto const& m : members) {
        for (std::string const& s : hostile_strings()) {
          SCOPED_TRACE(std::string(transport_name(t)) + " " + m.second + " = \"" + printable(s) + "\"");
          Value doc = plain_document(kSet);
          at(doc, m.first) = s;
          ++cases;
          expect_refusal(commit(t, JSON_Dump(doc)), m.second);
          EXPECT_EQ(rows_before, rows_stored()) << "rows were stored";
        }
        EXPECT_EQ(before, snapshot()) << m.second;
      }
    }
    EXPECT_EQ(static_cast<int>(2 * members.size() * hostile_strings().size()), cases);
  }
}

// A NUL byte (JSON's \u0000) member by member, so that each place that
// stores text shows what it does with one: kept, or refused by name.
TEST_P(HostileInputTest, ANulByteInAnyTextMemberIsKeptOrRefusedByName) {
  std::string const nul("a\0b", 3);
  std::vector<std::string> const members = {"name",
                                            "agent",
                                            "catalog_module",
                                            "pieces[0].path",
                                            "pieces[0].object",
                                            "extended_attrs.k",
                                            "extended_attrs key",
                                            "storages[0].extended_attrs.k",
                                            "pieces[0].extended_attrs.k"};
  int kept = 0, refused = 0;
  for (std::string const& member : members) {
    for (Transport t : {JSON_RPC, REST}) {
      SCOPED_TRACE(std::string(transport_name(t)) + " NUL in " + member);
      Value doc = plain_document(kSet);
      Object& o = doc.get_obj();
      Object& piece = o["pieces"].get_array()[0].get_obj();
      Object attrs;
      attrs["k"] = nul;
      Object keyed;
      keyed[nul] = "v";
      if (member == "pieces[0].path")
        piece["path"] = nul;
      else if (member == "pieces[0].object")
        piece["object"] = nul;
      else if (member == "extended_attrs.k")
        o["extended_attrs"] = Value(attrs);
      else if (member == "extended_attrs key")
        o["extended_attrs"] = Value(keyed);
      else if (member == "storages[0].extended_attrs.k")
        o["storages"].get_array()[0].get_obj()["extended_attrs"] = Value(attrs);
      else if (member == "pieces[0].extended_attrs.k")
        piece["extended_attrs"] = Value(attrs);
      else
        o[member] = nul;
      std::string const before = snapshot();
      Outcome r = commit(t, JSON_Dump(doc));
      if (!r.ok) {
        ++refused;
        // Named as the member or as the object that holds it.
        std::string const head = member.substr(0, member.find_first_of(". "));
        std::string const named = r.message.substr(0, r.message.find(": "));
        EXPECT_TRUE(named == member || named == head) << r.describe();
        expect_refusal(r, named);
        EXPECT_EQ(before, snapshot()) << "the catalogue changed";
        continue;
      }
      ++kept;
      Object row = view_row(t, kSet);
      Array pieces = stored_pieces(kSet);
      Object stored = stored_set(kSet);
      ASSERT_EQ(3u, pieces.size());
      Object const& p0 = pieces[0].get_obj();
      if (member == "pieces[0].path") {
        EXPECT_EQ(printable(nul), printable(p0.at("path").get_str()));
      } else if (member == "pieces[0].object") {
        EXPECT_EQ(printable(nul), printable(p0.at("object").get_str()));
      } else if (member == "extended_attrs.k" || member == "extended_attrs key") {
        EXPECT_TRUE(o["extended_attrs"] == row["extended_attrs"]) << JSON_Dump(row["extended_attrs"]);
      } else if (member == "storages[0].extended_attrs.k") {
        EXPECT_TRUE(Value(attrs) == json_column(stored_storages(kSet).at(0).get_obj().at("extended_attrs")));
      } else if (member == "pieces[0].extended_attrs.k") {
        EXPECT_TRUE(Value(attrs) == json_column(p0.at("extended_attrs")));
      } else {
        EXPECT_EQ(printable(nul), printable(row.at(member).get_str())) << "through the view";
        EXPECT_EQ(printable(nul), printable(stored.at(member).get_str())) << "as stored";
      }
    }
  }
  std::printf("[ nul      ] %d members kept a NUL byte, %d refused it\n", kept, refused);
}

// --- the size limit ---------------------------------------------------------

namespace {

// A call padded with trailing blanks to exactly `size` bytes.
std::string padded(std::string body, size_t size) {
  if (body.size() < size) body.append(size - body.size(), ' ');
  return body;
}

// One raw HTTP exchange: sends `request`, reads until the server closes or
// `seconds` pass. The answer's text ("" when none came).
std::string raw_exchange(int port, std::string const& request, int seconds) {
  int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  if (fd < 0) return "";
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_port = htons(static_cast<uint16_t>(port));
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  timeval tv{seconds, 0};
  ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
  ::setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &tv, sizeof tv);
  std::string answer;
  if (::connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0) {
    size_t sent = 0;
    while (sent < request.size()) {
      ssize_t n = ::send(fd, request.data() + sent, request.size() - sent, MSG_NOSIGNAL);
      if (n <= 0) break;
      sent += static_cast<size_t>(n);
    }
    char buf[4096];
    for (;;) {
      ssize_t n = ::recv(fd, buf, sizeof buf, 0);
      if (n <= 0) break;
      answer.append(buf, static_cast<size_t>(n));
      // One answer is all these exchanges wait for.
      size_t head = answer.find("\r\n\r\n");
      if (head != std::string::npos) {
        size_t cl = answer.find("Content-Length: ");
        if (cl != std::string::npos && cl < head &&
            answer.size() >= head + 4 + std::strtoul(answer.c_str() + cl + 16, nullptr, 10))
          break;
      }
    }
  }
  ::close(fd);
  return answer;
}

}  // namespace

// Bodies the service must not take whole: nested beyond what its parser
// takes, or larger than --max-body. Each is refused with a clear answer
// and the catalogue stays as it was.
TEST_P(HostileInputTest, BodiesNestedTooDeepOrOverTheLimitAreRefusedAndNothingIsStored) {
  // Nesting far beyond the parser's depth, on every route that takes a body.
  {
    std::string const before = snapshot();
    std::string const arrays = std::string(100000, '[');
    std::string const objects = nested(100000, R"({"a":)", "}", "1");
    for (Transport t : {JSON_RPC, REST}) {
      SCOPED_TRACE(transport_name(t));
      for (std::string const* body : {&arrays, &objects}) {
        Outcome o = t == JSON_RPC ? post_rpc(*body) : post_rest("/d2/r/v2/sets", *body);
        expect_not_json(t, o, "nested deeper than", before);
      }
      // The same nesting inside a set document: in a free-form member, in a
      // kind's object and as the params of a call.
      Value doc = dmdb_document(kSet);
      std::string text = JSON_Dump(doc);
      std::string deep_attrs = text;
      deep_attrs.replace(deep_attrs.find("\"extended_attrs\":{"), 18,
                         "\"extended_attrs\":{\"deep\":" + nested(100000, "[", "]", "0") + ",");
      expect_not_json(t, commit(t, deep_attrs), "nested deeper than", before);
      std::string deep_kind = text;
      deep_kind.replace(deep_kind.find("\"backup_files\":{"), 16,
                        "\"backup_files\":{\"deep\":" + nested(100000, R"({"a":)", "}", "0") + ",");
      expect_not_json(t, commit(t, deep_kind), "nested deeper than", before);
    }
    Outcome o =
        from_rest(client_->Put((std::string("/d2/r/v2/sets?uuid=") + kSet).c_str(), arrays, "application/json"));
    expect_not_json(REST, o, "nested deeper than", before);
    o = from_rpc(client_->Post("/", rpc("backup_set.commit", nested(100000, "[", "]", "")), "application/json"));
    expect_not_json(JSON_RPC, o, "nested deeper than", before);
    // The service is still there.
    EXPECT_TRUE(commit(REST, JSON_Dump(dmdb_document(kSet))).ok);
  }

  // Bodies over the limit (1 MiB here): 413 with the JSON answer.
  {
    size_t const limit = 1u << 20;
    Server_Options options;
    options.max_body = static_cast<long long>(limit);
    start(options);
    std::string const message = "body: larger than the limit of " + std::to_string(limit) + " bytes (--max-body)";
    auto expect_413 = [&](httplib::Result const& res, std::string const& before) {
      ASSERT_TRUE(res) << httplib::to_string(res.error());
      EXPECT_EQ(413, res->status) << res->body.substr(0, 300);
      Value a;
      ASSERT_TRUE(JSON_Parse(res->body, a)) << res->body.substr(0, 300);
      ASSERT_EQ(json_spirit::obj_type, a.type());
      Object const& o = a.get_obj();
      ASSERT_TRUE(o.count("result") && o.count("code") && o.count("message")) << res->body;
      EXPECT_FALSE(o.at("result").get_bool());
      EXPECT_EQ(-32600, o.at("code").get_int());
      EXPECT_EQ(message, o.at("message").get_str());
      EXPECT_EQ(before, snapshot());
    };

    std::string const doc = JSON_Dump(dmdb_document(kSet));
    std::string const rpc_body = rpc("backup_set.commit", doc);
    std::string const update = R"({"name": "renamed"})";
    // One byte over, on each route that takes a body.
    std::string before = snapshot();
    expect_413(client_->Post("/rpc", padded(rpc_body, limit + 1), "application/json"), before);
    expect_413(client_->Post("/", padded(rpc_body, limit + 1), "application/json"), before);
    expect_413(client_->Post("/d2/r/v2/sets", padded(doc, limit + 1), "application/json"), before);
    expect_413(client_->Post("/d2/r/v2/sets?action=Initialize", padded(doc, limit + 1), "application/json"), before);
    // Far over: the refusal still comes as an answer.
    expect_413(client_->Post("/d2/r/v2/sets", padded(doc, 3 * limit), "application/json"), before);
    // Sent in chunks, with no length declared up front.
    std::string const chunked = padded(doc, 2 * limit);
    auto res = client_->Post(
        "/d2/r/v2/sets",
        [&chunked](size_t offset, httplib::DataSink& sink) {
          size_t n = std::min<size_t>(64 * 1024, chunked.size() - offset);
          sink.write(chunked.data() + offset, n);
          if (offset + n == chunked.size()) sink.done();
          return true;
        },
        "application/json");
    expect_413(res, before);

    // Exactly at the limit: taken, over both transports.
    res = client_->Post("/rpc", padded(rpc_body, limit), "application/json");
    ASSERT_TRUE(res);
    Outcome o = from_rpc(res);
    EXPECT_TRUE(o.ok) << o.describe();
    EXPECT_EQ(1, count("backup_set"));
    before = snapshot();
    expect_413(client_->Put((std::string("/d2/r/v2/sets?uuid=") + kSet).c_str(), padded(update, limit + 1),
                            "application/json"),
               before);
    o = put_rest(kSet, padded(update, limit));
    EXPECT_TRUE(o.ok) << o.describe();
    EXPECT_EQ("renamed", stored_set(kSet).at("name").get_str());
    Value second = dmdb_document("5e4d3c2b-1a09-4f8e-8d7c-000000000002");
    o = post_rest("/d2/r/v2/sets", padded(JSON_Dump(second), limit));
    EXPECT_TRUE(o.ok) << o.describe();
    EXPECT_EQ(2, count("backup_set"));

    // And the service goes on.
    o = commit(JSON_RPC, doc);
    EXPECT_TRUE(o.ok) << o.describe();
  }
}

INSTANTIATE_TEST_SUITE_P(Engines, HostileInputTest,
                         ::testing::Values(Catalog_Target::SQLITE, Catalog_Target::POSTGRESQL),
                         [](::testing::TestParamInfo<Catalog_Target::Engine> const& info) {
                           return std::string(Catalog_Target::name(info.param));
                         });

// A length declared far beyond the limit (and beyond any memory) with
// hardly a byte behind it is refused, and nothing is reserved for it. The
// HTTP layer alone answers this, whatever the catalogue.
TEST(HostileInputHttpTest, ADeclaredLengthBeyondTheLimitIsRefusedWith413) {
  Catalog_Target target(Catalog_Target::SQLITE);
  std::string error;
  ASSERT_TRUE(target.prepare(error)) << error;
  Server_Options options;
  options.listen = "127.0.0.1";
  options.port = 0;
  options.db = target.db();
  options.max_body = 1 << 20;
  Catalog_Server server(options);
  ASSERT_TRUE(server.start(error)) << error;
  std::string const message = "body: larger than the limit of 1048576 bytes (--max-body)";
  // Both at once, since the service waits for the body that never comes.
  std::string answers[2];
  auto started = std::chrono::steady_clock::now();
  std::thread one([&] {
    answers[0] = raw_exchange(server.port(),
                              "POST /d2/r/v2/sets HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: application/json\r\n"
                              "Content-Length: 99999999999999\r\n\r\n{}",
                              15);
  });
  std::thread two([&] {
    answers[1] = raw_exchange(server.port(),
                              "POST /rpc HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: application/json\r\n"
                              "Content-Length: 18446744073709551615\r\n\r\n{}",
                              15);
  });
  one.join();
  two.join();
  for (std::string const& answer : answers) {
    EXPECT_EQ(0u, answer.rfind("HTTP/1.1 413", 0)) << answer.substr(0, 300);
    EXPECT_NE(std::string::npos, answer.find(message)) << answer.substr(0, 300);
  }
  std::printf("[ limit    ] bodies declared of 10^14 and 2^64-1 bytes refused after %.1f s\n",
              std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count());
  auto c = target.connect();
  Value v;
  ASSERT_TRUE(c->query_value(SQL("SELECT count(*) FROM backup_set"), v)) << c->last_error();
  EXPECT_EQ(0, v.get_int64());
  // And the service goes on.
  httplib::Client client("127.0.0.1", server.port());
  auto res = client.Post("/d2/r/v2/sets", JSON_Dump(dmdb_document(kSet)), "application/json");
  ASSERT_TRUE(res);
  EXPECT_EQ(200, res->status) << res->body;
}

// --- both engines alike -----------------------------------------------------

namespace {

// What became of a text sent to the catalogue.
enum Fate { FATE_REFUSED, FATE_KEPT, FATE_CHANGED, FATE_FAILED };

char const* fate_word(Fate f) {
  switch (f) {
    case FATE_REFUSED:
      return "refused as bad input";
    case FATE_KEPT:
      return "stored as sent";
    case FATE_CHANGED:
      return "stored changed";
    case FATE_FAILED:
      return "failed in the service";
  }
  return "?";
}

// One catalogd on one engine, for comparing the engines on the same input.
class Engine_Probe {
 public:
  explicit Engine_Probe(Catalog_Target::Engine engine) : target_(engine) {}

  bool start(std::string& error) {
    if (!target_.prepare(error)) return false;
    Server_Options options;
    options.listen = "127.0.0.1";
    options.port = 0;
    options.db = target_.db();
    server_ = std::make_unique<Catalog_Server>(options);
    if (!server_->start(error)) return false;
    client_ = std::make_unique<httplib::Client>("127.0.0.1", server_->port());
    return true;
  }

  // Commits the text (raw JSON string content, quotes included) as a set's
  // name, a piece's path and a free-form value, and reads each back.
  Fate commit(Transport t, std::string const& json_string, std::string& detail) {
    std::string doc;
    auto put = [&doc](std::string const& marker, std::string const& with) {
      size_t at = doc.find(marker);
      if (at != std::string::npos) doc.replace(at, marker.size(), with);
    };
    Value tagged = plain_document(kSet);
    tagged.get_obj()["name"] = "@@NAME@@";
    tagged.get_obj()["pieces"].get_array()[0].get_obj()["path"] = "@@PATH@@";
    tagged.get_obj()["extended_attrs"].get_obj()["s"] = "@@ATTR@@";
    doc = JSON_Dump(tagged);
    put("\"@@NAME@@\"", json_string);
    put("\"@@PATH@@\"", json_string.substr(0, 1) + "/" + json_string.substr(1));
    put("\"@@ATTR@@\"", json_string);
    // What the service's own parser makes of the document: what must come
    // back when it is taken.
    Value sent;
    std::string why;
    bool readable = JSON_Parse(doc.data(), doc.size(), sent, &why);

    httplib::Result res = t == JSON_RPC ? client_->Post("/rpc", rpc("backup_set.commit", doc), "application/json")
                                        : client_->Post("/d2/r/v2/sets", doc, "application/json");
    if (!res) {
      detail = "no answer";
      return FATE_FAILED;
    }
    detail = "HTTP " + std::to_string(res->status) + " " + res->body.substr(0, 300);
    Value a;
    if (!JSON_Parse(res->body, a) || a.type() != json_spirit::obj_type) return FATE_FAILED;
    Object const& o = a.get_obj();
    Value const* error =
        t == JSON_RPC ? (o.count("error") ? &o.at("error") : nullptr) : (res->status == 200 ? nullptr : &a);
    if (error) {
      int code = error->get_obj().count("code") ? error->get_obj().at("code").get_int() : 0;
      return code == -32700 || code == -32600 || code == -32602 ? FATE_REFUSED : FATE_FAILED;
    }
    if (!readable) return FATE_CHANGED;
    // Read back through the view and directly.
    auto view = client_->Get((std::string("/d2/r/v2/sets/select?module=backup_set&view=sets&uuid=") + kSet).c_str());
    Value rows;
    if (!view || view->status != 200 || !JSON_Parse(view->body, rows)) {
      detail += "; the view failed: " + (view ? view->body.substr(0, 200) : std::string("no answer"));
      return FATE_CHANGED;
    }
    Object const& row = rows.get_obj().at("rows").get_array().at(0).get_obj();
    Object const& want = sent.get_obj();
    bool same = row.at("name") == want.at("name") && row.at("extended_attrs") == want.at("extended_attrs");
    auto c = target_.connect();
    std::basic_string<unsigned char> key;
    UUID_Binary::parse(kSet, key);
    SQL sql("SELECT path FROM backup_piece WHERE set_uuid=:uuid ORDER BY id");
    sql.bind(":uuid", Binding_Value(key));
    Array stored;
    if (!c->query_rows(sql, stored) || stored.empty()) return FATE_CHANGED;
    same = same && stored[0].get_obj().at("path") == want.at("pieces").get_array()[0].get_obj().at("path");
    return same ? FATE_KEPT : FATE_CHANGED;
  }

 private:
  Catalog_Target target_;
  std::unique_ptr<Catalog_Server> server_;
  std::unique_ptr<httplib::Client> client_;
};

}  // namespace

// Text that is not UTF-8 (or is UTF-8 of what is no character) meets the
// same fate on either engine, and that fate is a clear refusal or the bytes
// kept as they were sent.
TEST(HostileInputEnginesTest, InvalidUtf8IsTreatedAlikeOnBothEngines) {
  Engine_Probe sqlite(Catalog_Target::SQLITE), postgres(Catalog_Target::POSTGRESQL);
  std::string error;
  ASSERT_TRUE(sqlite.start(error)) << error;
  ASSERT_TRUE(postgres.start(error)) << error;
  struct Input {
    char const* what;
    std::string json;  // the JSON string as sent, quotes included
  };
  std::vector<Input> const inputs = {
      {"valid: two, three and four bytes", "\"\xc3\xbc \xe2\x82\xac \xf0\x9f\x98\x80\""},
      {"valid: an escaped surrogate pair", "\"\\ud83d\\ude00\""},
      {"a lone continuation byte", "\"a\x80z\""},
      {"a lone last continuation byte", "\"a\xbfz\""},
      {"a lead byte without continuation", "\"a\xc3z\""},
      {"a truncated sequence at the end", "\"a\xe2\x82\""},
      {"an invalid byte", "\"a\xffz\""},
      {"an overlong NUL", "\"a\xc0\x80z\""},
      {"an overlong slash", "\"a\xc0\xafz\""},
      {"a three-byte overlong", "\"a\xe0\x80\xafz\""},
      {"a four-byte overlong", "\"a\xf0\x80\x80\xafz\""},
      {"an encoded high surrogate", "\"a\xed\xa0\x80z\""},
      {"an encoded low surrogate", "\"a\xed\xbf\xbfz\""},
      {"beyond U+10FFFF", "\"a\xf4\x90\x80\x80z\""},
      {"a five-byte lead", "\"a\xf8\x88\x80\x80\x80z\""},
      {"an escaped lone high surrogate", "\"a\\ud800z\""},
      {"an escaped lone low surrogate", "\"a\\udc00z\""},
      {"an escaped high surrogate before a letter", "\"a\\ud800\\u0041z\""},
      {"an escaped NUL", "\"a\\u0000z\""},
  };
  int differences = 0, unclear = 0;
  for (Transport t : {JSON_RPC, REST}) {
    for (Input const& in : inputs) {
      SCOPED_TRACE(std::string(transport_name(t)) + ": " + in.what);
      std::string d1, d2;
      Fate f1 = sqlite.commit(t, in.json, d1);
      Fate f2 = postgres.commit(t, in.json, d2);
      std::printf("[ utf-8    ] %-8s %-42s SQLite: %-22s PostgreSQL: %s\n", transport_name(t), in.what, fate_word(f1),
                  fate_word(f2));
      if (f1 != f2) ++differences;
      if (f1 != FATE_REFUSED && f1 != FATE_KEPT) ++unclear;
      if (f2 != FATE_REFUSED && f2 != FATE_KEPT) ++unclear;
      EXPECT_EQ(fate_word(f1), std::string(fate_word(f2))) << "SQLite: " << d1 << "\nPostgreSQL: " << d2;
      EXPECT_TRUE(f1 == FATE_REFUSED || f1 == FATE_KEPT) << "SQLite: " << d1;
      EXPECT_TRUE(f2 == FATE_REFUSED || f2 == FATE_KEPT) << "PostgreSQL: " << d2;
      if (std::string(in.what).rfind("valid", 0) == 0) {
        EXPECT_EQ(FATE_KEPT, f1);
      }
    }
  }
  std::printf("[ utf-8    ] %d inputs treated differently by the engines, %d answers neither a refusal nor kept\n",
              differences, unclear);
}
