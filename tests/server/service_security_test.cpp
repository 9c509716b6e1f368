// catalogd's guards, on both catalogue engines: the bearer token on every
// route (a request without the right token changes nothing and learns
// nothing), and TLS with a certificate the test makes itself, through the
// library's own JSON-RPC channel and REST client.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include <httplib.h>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_storage.h"
#include "backup/backup_set/common/catalog_operator.h"
#include "backup/backup_set/common/restful_catalog_operator.h"
#include "platform/json/json_text.h"
#include "platform/rest/json_restful_client.h"
#include "platform/rpc/global_json_rpc_channel.h"
#include "platform/sql/sql.h"
#include "server/catalog_server.h"
#include "tests/records/document.h"
#include "tests/server/catalog_target.h"
#include "tests/server/test_certificate.h"
#include "tests/support/log_capture.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

char const kToken[] = "Zq8-vL2xR7mN4pT9wK3sH6jD1fG5bC0a";
char const kHost[] = "41414141-0000-0000-0000-00000000000a";
char const kResource[] = "41414141-0000-0000-0000-00000000000b";
char const kPool[] = "41414141-0000-0000-0000-00000000000c";

std::string uuid_of(int n) {
  char text[40];
  std::snprintf(text, sizeof text, "42424242-1111-4222-8333-%012d", n);
  return text;
}

Backup_Set full_set(std::string const& uuid, std::string const& name) {
  Backup_Set s("file");
  s.uuid = uuid;
  s.name = name;
  s.host_uuid = kHost;
  s.resource_uuid = kResource;
  s.type = "full";
  s.backup_start_time = 1709258400;
  s.backup_end_time = 1709259000;
  s.size = 30;
  Backup_Set_Storage storage;
  storage.pool_uuid = kPool;
  storage.size = 30;
  storage.state = Backup_Set_State(Backup_Set_State::ONLINE);
  s.add_storage(storage);
  s.add_piece("/s/a", 10);
  s.add_piece("/s/d/b", 20);
  return s;
}

std::string document(std::string const& uuid, std::string const& name = "guarded") {
  Backup_Set s = full_set(uuid, name);
  return document_of(s);
}

std::string rpc(std::string const& method, std::string const& params) {
  return R"({"jsonrpc": "2.0", "method": ")" + method + R"(", "params": )" + params + R"(, "id": 1})";
}

std::string base64(std::string const& in) {
  static char const table[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  size_t i = 0;
  for (; i + 2 < in.size(); i += 3) {
    unsigned v = (static_cast<unsigned char>(in[i]) << 16) | (static_cast<unsigned char>(in[i + 1]) << 8) |
                 static_cast<unsigned char>(in[i + 2]);
    for (int k = 18; k >= 0; k -= 6) out += table[(v >> k) & 63];
  }
  if (i < in.size()) {
    unsigned v = static_cast<unsigned char>(in[i]) << 16;
    if (i + 1 < in.size()) v |= static_cast<unsigned char>(in[i + 1]) << 8;
    out += table[(v >> 18) & 63];
    out += table[(v >> 12) & 63];
    out += i + 1 < in.size() ? table[(v >> 6) & 63] : '=';
    out += '=';
  }
  return out;
}

// One request to one route.
struct Route {
  std::string name;
  std::string method;  // GET, POST, PUT, DELETE
  std::string path;    // with its query
  std::string body;
};

class ServiceSecurityTest : public ::testing::TestWithParam<Catalog_Target::Engine> {
 protected:
  ServiceSecurityTest() : target_(GetParam()) {}

  void SetUp() override {
    std::string error;
    ASSERT_TRUE(target_.prepare(error)) << error;
  }

  void TearDown() override {
    Global_JSON_RPC_Channel::close();
    server_.reset();
  }

  void start(Server_Options options) {
    server_.reset();
    options.listen = "127.0.0.1";
    options.port = 0;
    options.db = target_.db();
    server_ = std::make_unique<Catalog_Server>(options);
    std::string error;
    ASSERT_TRUE(server_->start(error)) << error;
    connection_ = target_.connect();
    ASSERT_TRUE(connection_->is_open()) << connection_->last_error();
  }

  // Sends the route's request with the given Authorization header (none
  // when `authorization` is null).
  httplib::Result send(Route const& r, char const* authorization) {
    httplib::Client c("127.0.0.1", server_->port());
    c.set_read_timeout(20, 0);
    httplib::Headers headers;
    if (authorization) headers.emplace("Authorization", authorization);
    if (r.method == "GET") return c.Get(r.path.c_str(), headers);
    if (r.method == "POST") return c.Post(r.path.c_str(), headers, r.body, "application/json");
    if (r.method == "PUT") return c.Put(r.path.c_str(), headers, r.body, "application/json");
    return c.Delete(r.path.c_str(), headers, r.body, "application/json");
  }

  // A bounded read is run as one prepared statement, not through a cursor:
  // these run after every request.
  Array rows(std::string const& text) {
    Array out;
    EXPECT_TRUE(connection_->query_rows(SQL(text), out, nullptr, 1000)) << connection_->last_error();
    return out;
  }

  // The whole catalogue: the rows of every table counted, and every set's
  // own row in full.
  std::string snapshot() {
    if (tables_.empty()) {
      for (Value const& row : rows(
               target_.engine() == Catalog_Target::SQLITE
                   ? "SELECT name AS t FROM sqlite_master WHERE type='table' AND name NOT LIKE 'sqlite_%' ORDER BY name"
                   : "SELECT tablename AS t FROM pg_tables WHERE schemaname='public' ORDER BY tablename"))
        tables_.push_back(row.get_obj().at("t").get_str());
      EXPECT_GT(tables_.size(), 20u);
    }
    std::string counts = "SELECT ";
    for (size_t i = 0; i < tables_.size(); ++i)
      counts += (i ? ", " : "") + std::string("(SELECT count(*) FROM ") + tables_[i] + ") AS c" + std::to_string(i);
    std::string text;
    Array r = rows(counts);
    if (r.size() == 1)
      for (size_t i = 0; i < tables_.size(); ++i)
        text += tables_[i] + "=" + JSON_Dump(r[0].get_obj().at("c" + std::to_string(i))) + "\n";
    for (Value const& row : rows("SELECT * FROM backup_set ORDER BY uuid")) text += JSON_Dump(row) + "\n";
    return text;
  }

  long long count(std::string const& where) {
    Value v;
    EXPECT_TRUE(connection_->query_value(SQL("SELECT count(*) FROM backup_set WHERE " + where), v));
    return v.type() == json_spirit::int_type ? v.get_int64() : -1;
  }

  Catalog_Target target_;
  std::unique_ptr<Catalog_Server> server_;
  std::unique_ptr<database::sql::Connection> connection_;
  std::vector<std::string> tables_;
};

}  // namespace

// --- the bearer token -------------------------------------------------------

TEST_P(ServiceSecurityTest, EveryRouteRefusesEveryWrongCredentialAndChangesNothing) {
  Server_Options options;
  options.token = kToken;
  start(options);
  std::string const bearer = std::string("Bearer ") + kToken;
  std::string const complete = uuid_of(1), staged = uuid_of(2), staged_too = uuid_of(3);

  // What is there before: a complete set and a staged one.
  Route const setup[] = {
      {"commit", "POST", "/d2/r/v2/sets", document(complete)},
      {"initialize", "POST", "/d2/r/v2/sets?action=Initialize", document(staged)},
      {"initialize another", "POST", "/d2/r/v2/sets?action=Initialize", document(staged_too)},
  };
  for (Route const& r : setup) {
    auto res = send(r, bearer.c_str());
    ASSERT_TRUE(res);
    ASSERT_EQ(200, res->status) << r.name << ": " << res->body;
  }

  std::string const add = R"({"uuid": ")" + staged + R"(", "pieces": [{"path": "/s/new", "size": 5}]})";
  std::string const plan = "/d2/r/v2/sets/select?module=backup_set&view=restore_plan&host_uuid=" + std::string(kHost) +
                           "&resource_uuid=" + kResource + "&time=2024-03-02%2000:00:00";
  // Every route, each with a request that would change the catalogue or
  // tell something of it.
  std::vector<Route> const routes = {
      {"POST /rpc commit", "POST", "/rpc", rpc("backup_set.commit", document(uuid_of(10)))},
      {"POST /rpc update", "POST", "/rpc", rpc("backup_set.update", R"({"uuid": ")" + complete + R"(", "name": "x"})")},
      {"POST /rpc add_piece", "POST", "/rpc", rpc("backup_set.add_piece", add)},
      {"POST /rpc abort", "POST", "/rpc", rpc("backup_set.abort", R"({"uuid": ")" + staged + R"("})")},
      {"POST /rpc select", "POST", "/rpc",
       rpc("backup_set.select", R"({"module": "backup_set", "view": "sets", "param": {}})")},
      {"POST / commit", "POST", "/", rpc("backup_set.commit", document(uuid_of(11)))},
      {"POST sets commit", "POST", "/d2/r/v2/sets", document(uuid_of(12))},
      {"POST sets Initialize", "POST", "/d2/r/v2/sets?action=Initialize", document(uuid_of(13))},
      {"POST sets AddPiece", "POST", "/d2/r/v2/sets?action=AddPiece", add},
      {"POST sets Complete", "POST", "/d2/r/v2/sets?action=Complete", document(staged)},
      {"POST sets Abort", "POST", "/d2/r/v2/sets?action=Abort", R"({"uuid": ")" + staged_too + R"("})"},
      {"PUT sets", "PUT", "/d2/r/v2/sets?uuid=" + complete, R"({"name": "stolen"})"},
      {"GET select sets", "GET", "/d2/r/v2/sets/select?module=backup_set&view=sets", ""},
      {"GET select pieces", "GET", "/d2/r/v2/sets/select?module=backup_set&view=pieces&uuid=" + complete, ""},
      {"GET select children", "GET",
       "/d2/r/v2/sets/select?module=backup_set&view=children&uuid=" + complete + "&dir=", ""},
      {"GET select path", "GET", "/d2/r/v2/sets/select?module=backup_set&view=path&uuid=" + complete + "&path=/s/d",
       ""},
      {"GET select restore_plan", "GET", plan, ""},
      {"GET exists", "GET", "/d2/r/v2/sets/exists?uuid=" + complete, ""},
      {"GET unknown path", "GET", "/d2/r/v2/nothing/here", ""},
      {"POST unknown path", "POST", "/admin", "{}"},
      {"DELETE sets", "DELETE", "/d2/r/v2/sets?uuid=" + complete, ""},
  };

  std::string const token = kToken;
  std::string changed_first = token, changed_middle = token, changed_last = token;
  changed_first[0] = static_cast<char>(changed_first[0] ^ 1);
  changed_middle[token.size() / 2] = static_cast<char>(changed_middle[token.size() / 2] ^ 1);
  changed_last[token.size() - 1] = static_cast<char>(changed_last[token.size() - 1] ^ 1);
  struct Credential {
    char const* what;
    bool present;
    std::string header;
  };
  std::vector<Credential> const wrong = {
      {"no Authorization header", false, ""},
      {"a wrong token", true, "Bearer not-the-token"},
      {"the first byte changed", true, "Bearer " + changed_first},
      {"a middle byte changed", true, "Bearer " + changed_middle},
      {"the last byte changed", true, "Bearer " + changed_last},
      {"a prefix of the token", true, "Bearer " + token.substr(0, token.size() - 1)},
      {"a one-byte prefix", true, "Bearer " + token.substr(0, 1)},
      {"the token and one byte more", true, "Bearer " + token + "0"},
      {"the token twice", true, "Bearer " + token + token},
      {"Basic with the token as password", true, "Basic " + base64("catalog:" + token)},
      {"Basic with the token alone", true, "Basic " + base64(token)},
      {"an empty bearer", true, "Bearer "},
      {"the scheme alone", true, "Bearer"},
      {"the token without a scheme", true, token},
      {"an empty header", true, ""},
      {"another scheme with the token", true, "Token " + token},
  };

  std::string const before = snapshot();
  int refused = 0;
  for (Route const& r : routes) {
    for (Credential const& c : wrong) {
      SCOPED_TRACE(r.name + " with " + c.what);
      auto res = send(r, c.present ? c.header.c_str() : nullptr);
      ASSERT_TRUE(res) << httplib::to_string(res.error());
      EXPECT_EQ(401, res->status) << res->body;
      EXPECT_EQ("Bearer", res->get_header_value("WWW-Authenticate"));
      Value a;
      ASSERT_TRUE(JSON_Parse(res->body, a)) << res->body;
      EXPECT_FALSE(a.get_obj().at("result").get_bool());
      // Nothing of the catalogue is told to a client without the token.
      EXPECT_EQ(std::string::npos, res->body.find(complete)) << res->body;
      EXPECT_EQ(std::string::npos, res->body.find("guarded")) << res->body;
      ++refused;
    }
    EXPECT_EQ(before, snapshot()) << r.name << " changed the catalogue without the token";
  }
  EXPECT_EQ(static_cast<int>(routes.size() * wrong.size()), refused);
  std::printf("[ token    ] %d requests without the right token refused (%zu routes x %zu credentials)\n", refused,
              routes.size(), wrong.size());

  // The right token opens each route; each does what it is for.
  std::map<std::string, int> const status = {
      {"GET unknown path", 404}, {"POST unknown path", 404}, {"DELETE sets", 404}};
  for (Route const& r : routes) {
    SCOPED_TRACE(r.name + " with the token");
    auto res = send(r, bearer.c_str());
    ASSERT_TRUE(res);
    auto it = status.find(r.name);
    int want = it == status.end() ? 200 : it->second;
    EXPECT_EQ(want, res->status) << res->body;
    if (r.path == "/rpc" || r.path == "/") {
      Value a;
      ASSERT_TRUE(JSON_Parse(res->body, a)) << res->body;
      EXPECT_TRUE(a.get_obj().count("result")) << res->body;
    }
    // After the abort the staged set is gone: stage it again for the REST
    // steps that follow.
    if (r.name == "POST /rpc abort") {
      auto again = send(setup[1], bearer.c_str());
      ASSERT_TRUE(again && again->status == 200);
    }
  }
  EXPECT_EQ(1, count("name='stolen'"));
  // The first set, three commits and the completed stage; the set staged
  // by REST.
  EXPECT_EQ(5, count("status='complete'"));
  EXPECT_EQ(1, count("status='staged'"));
  // The scheme's name is not case-sensitive.
  std::string lower = std::string("bearer ") + kToken;
  auto res = send(routes[17], lower.c_str());
  ASSERT_TRUE(res);
  EXPECT_EQ(200, res->status);
}

// --- TLS --------------------------------------------------------------------

namespace {

// Bytes to a port, and whatever comes back until the peer closes or half a
// second passes in silence.
std::string raw_bytes(int port, std::string const& bytes) {
  int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  if (fd < 0) return "";
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_port = htons(static_cast<uint16_t>(port));
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  timeval tv{0, 500000};
  ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
  std::string answer;
  if (::connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0) {
    if (!bytes.empty()) ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    char buf[1024];
    ssize_t n;
    while ((n = ::recv(fd, buf, sizeof buf, 0)) > 0) answer.append(buf, static_cast<size_t>(n));
  }
  ::close(fd);
  return answer;
}

}  // namespace

TEST_P(ServiceSecurityTest, TlsServesTrustingClientsRefusesTheOthersCleanlyAndKeepsTheToken) {
  Test_Certificate cert, stranger;
  std::string error;
  ASSERT_TRUE(cert.create(target_.dir(), "catalogd", "127.0.0.1", error)) << error;
  ASSERT_TRUE(stranger.create(target_.dir(), "stranger", "127.0.0.1", error)) << error;
  Server_Options options;
  options.tls_cert = cert.cert_file();
  options.tls_key = cert.key_file();
  start(options);
  int const port = server_->port();
  std::string const url = "https://127.0.0.1:" + std::to_string(port) + "/rpc";

  // The library's JSON-RPC channel, trusting the certificate: a commit and
  // a view read back.
  Global_JSON_RPC_Channel::Options trusting;
  trusting.ca_file = cert.cert_file();
  ASSERT_TRUE(Global_JSON_RPC_Channel::open(url.c_str(), trusting));
  Catalog_Operator rpc_op(0, 0);
  Backup_Set first = full_set(uuid_of(1), "over tls by json-rpc");
  EXPECT_TRUE(rpc_op.commit(first, false));
  Value row;
  ASSERT_TRUE(rpc_op.get_first_view("backup_set", "sets", {{"uuid", Value(uuid_of(1))}}, row));
  EXPECT_EQ("over tls by json-rpc", row.get_obj().at("name").get_str());

  // The library's REST client, trusting it.
  RESTful_Catalog_Operator rest_op("127.0.0.1", static_cast<unsigned short>(port), true, "", 0, 0);
  ASSERT_TRUE(static_cast<bool>(rest_op));
  HTTP_Client_Options rest_trusting;
  rest_trusting.ca_file = cert.cert_file();
  rest_op.client()->options(rest_trusting);
  Backup_Set second = full_set(uuid_of(2), "over tls by rest");
  EXPECT_TRUE(rest_op.commit(second, false));
  ASSERT_TRUE(rest_op.get_first_view("backup_set", "sets", {{"uuid", Value(uuid_of(2))}}, row));
  EXPECT_EQ("over tls by rest", row.get_obj().at("name").get_str());
  EXPECT_EQ(2, count("status='complete'"));

  // Clients that do not trust it: the system's CAs only, or another
  // self-signed certificate for the same address. Nothing gets through.
  std::string const before = snapshot();
  {
    Log_Capture quiet;
    for (std::string const& ca : {std::string(), stranger.cert_file()}) {
      SCOPED_TRACE(ca.empty() ? "system CAs" : "another certificate");
      Global_JSON_RPC_Channel::Options distrusting;
      distrusting.ca_file = ca;
      ASSERT_TRUE(Global_JSON_RPC_Channel::open(url.c_str(), distrusting));
      Backup_Set refused = full_set(uuid_of(3), "must not arrive");
      EXPECT_FALSE(Catalog_Operator(0, 0).commit(refused, false));
      RESTful_Catalog_Operator rest_refused("127.0.0.1", static_cast<unsigned short>(port), true, "", 0, 0);
      HTTP_Client_Options rest_distrusting;
      rest_distrusting.ca_file = ca;
      rest_refused.client()->options(rest_distrusting);
      EXPECT_FALSE(rest_refused.commit(refused, false));
      EXPECT_FALSE(rest_refused.get_first_view("backup_set", "sets", {{"uuid", Value(uuid_of(1))}}, row));
    }
    EXPECT_GT(quiet.size(), 0u);  // each failure was logged
  }
  EXPECT_EQ(before, snapshot());

  // Plain HTTP to the TLS port gets no HTTP answer; nor do stray bytes, a
  // half handshake or a connection that says nothing.
  {
    httplib::Client plain("127.0.0.1", port);
    plain.set_read_timeout(2, 0);
    auto res = plain.Post("/rpc", rpc("backup_set.commit", document(uuid_of(4))), "application/json");
    EXPECT_FALSE(res && res->status == 200);
    res = plain.Get(("/d2/r/v2/sets/exists?uuid=" + uuid_of(1)).c_str());
    EXPECT_FALSE(res && res->status == 200);
  }
  std::string answer = raw_bytes(port, "GET /d2/r/v2/sets/exists?uuid=" + uuid_of(1) + " HTTP/1.1\r\nHost: x\r\n\r\n");
  EXPECT_EQ(std::string::npos, answer.find("HTTP/1.1 200")) << answer;
  raw_bytes(port, std::string("\x16\x03\x01\x00\x05\x01\x00\x00\x01\x00", 10));  // a ClientHello cut short
  raw_bytes(port, std::string(4096, '\0'));
  raw_bytes(port, "");
  EXPECT_EQ(before, snapshot());

  // The service goes on serving the clients that trust it.
  ASSERT_TRUE(Global_JSON_RPC_Channel::open(url.c_str(), trusting));
  Backup_Set third = full_set(uuid_of(5), "after the noise");
  EXPECT_TRUE(Catalog_Operator(0, 0).commit(third, false));
  Backup_Set fourth = full_set(uuid_of(6), "after the noise by rest");
  EXPECT_TRUE(rest_op.commit(fourth, false));
  ASSERT_TRUE(rest_op.get_first_view("backup_set", "sets", {{"uuid", Value(uuid_of(5))}}, row));
  EXPECT_EQ("after the noise", row.get_obj().at("name").get_str());
  EXPECT_EQ(4, count("status='complete'"));

  // TLS and the token together: the token still decides, inside TLS.
  {
    Server_Options options;
    options.tls_cert = cert.cert_file();
    options.tls_key = cert.key_file();
    options.token = kToken;
    start(options);
    std::string const token_url = "https://127.0.0.1:" + std::to_string(server_->port()) + "/rpc";
    Global_JSON_RPC_Channel::Options o;
    o.ca_file = cert.cert_file();
    o.authorization = "Bearer wrong";
    ASSERT_TRUE(Global_JSON_RPC_Channel::open(token_url.c_str(), o));
    Backup_Set s = full_set(uuid_of(7), "tls and token");
    {
      Log_Capture quiet;
      EXPECT_FALSE(Catalog_Operator(0, 0).commit(s, false));
    }
    EXPECT_EQ(0, count("name='tls and token'"));
    o.authorization = std::string("Bearer ") + kToken;
    ASSERT_TRUE(Global_JSON_RPC_Channel::open(token_url.c_str(), o));
    EXPECT_TRUE(Catalog_Operator(0, 0).commit(s, false));
    EXPECT_EQ(1, count("name='tls and token'"));
  }
}

INSTANTIATE_TEST_SUITE_P(Engines, ServiceSecurityTest,
                         ::testing::Values(Catalog_Target::SQLITE, Catalog_Target::POSTGRESQL),
                         [](::testing::TestParamInfo<Catalog_Target::Engine> const& info) {
                           return std::string(Catalog_Target::name(info.param));
                         });
