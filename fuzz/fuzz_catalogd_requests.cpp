// catalogd's request handling, in-process: one Catalog_Server per process on
// an SQLite catalogue in a temporary folder, and one request per input.
//
// Input: a route byte, a flag byte, then what the route takes.
//   route % 7  0  a JSON-RPC body handed to the dispatcher directly (no HTTP)
//              1  POST /rpc with the rest as body
//              2  POST /d2/r/v2/sets (a commit), the rest as body
//              3  POST /d2/r/v2/sets?action=A, the rest as body; A is picked
//                 by flags & 7 from the commit actions, or is the text up to
//                 the first newline
//              4  PUT  /d2/r/v2/sets?uuid=U, U up to the first newline
//              5  GET  /d2/r/v2/sets/select?module=backup_set&view=V&...; V
//                 picked by flags & 7 (or the first line), the module the
//                 first line when flags & 8; the rest is name=value pairs
//                 joined by '&', each name and value sent percent-encoded
//              6  GET  /d2/r/v2/sets/exists?uuid=U, U the rest
//   flags & 16: POST and PUT carry an Idempotency-Key header whose value is
//   the next line (printable characters only), read before anything else.
//
// Whatever the input, catalogd must answer: never HTTP 500 or a storage
// failure (-32000), JSON for everything but a 204, JSON-RPC answers of the
// right shape for the request, refusals that name their code with the HTTP
// status it maps to. A commit that succeeded must have stored exactly its
// document's pieces, and every so often the catalogue is checked for rows
// whose set is gone and for directory totals that do not add up.
#include <stdlib.h>
#include <unistd.h>

#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <httplib.h>

#include "fuzz/fuzz_support.h"
#include "platform/database/sqlite_connection.h"
#include "platform/json/json_text.h"
#include "platform/json/value.h"
#include "platform/sql/sql.h"
#include "platform/sql/uuid_binary.h"
#include "server/catalog_error.h"
#include "server/catalog_server.h"
#include "server/json_rpc_dispatcher.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

// Inputs between two checks of the whole catalogue, and between two
// clearings of it (so it stays small and every check cheap).
unsigned const kCheckEvery = 64;
unsigned const kClearEvery = 512;

struct Harness {
  std::string dir;
  std::string db;
  std::unique_ptr<Catalog_Server> server;
  std::unique_ptr<Json_Rpc_Dispatcher> dispatcher;
  std::unique_ptr<httplib::Client> client;
  std::unique_ptr<database::sql::SQLite_Connection> check;  // our own look at the file
  unsigned inputs = 0;
};

Harness* harness = nullptr;

void shut_down() {
  if (!harness) return;
  harness->client.reset();
  harness->dispatcher.reset();
  harness->check.reset();
  if (harness->server) harness->server->stop();
  harness->server.reset();
  for (char const* suffix : {"", "-wal", "-shm", "-journal"}) unlink((harness->db + suffix).c_str());
  rmdir(harness->dir.c_str());
}

// A run that crashes leaves its folder behind, like the rest of its work.
std::string make_temp_dir() {
  char const* tmp = getenv("TMPDIR");
  std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/fuzz_catalogd.XXXXXX";
  std::vector<char> buf(pattern.begin(), pattern.end());
  buf.push_back('\0');
  if (!mkdtemp(buf.data())) fuzz_fail("no temporary folder for the catalogue", pattern);
  return buf.data();
}

// Every byte but the unreserved ones as %XX, so the server gets back exactly
// the bytes the input held.
std::string encode(std::string const& text) {
  static char const hex[] = "0123456789ABCDEF";
  std::string out;
  for (unsigned char c : text) {
    if (isalnum(c) || c == '-' || c == '_' || c == '.' || c == '~') {
      out += static_cast<char>(c);
    } else {
      out += '%';
      out += hex[c >> 4];
      out += hex[c & 15];
    }
  }
  return out;
}

std::string printable(std::string const& text) {
  std::string out;
  for (unsigned char c : text)
    if (c >= 0x20 && c < 0x7f) out += static_cast<char>(c);
  return out;
}

Value const* member(Value const& v, char const* key) {
  if (v.type() != json_spirit::obj_type) return nullptr;
  auto const& o = v.get_obj();
  auto it = o.find(key);
  return it == o.end() ? nullptr : &it->second;
}

// The body as the server reads it: a key written twice keeps its first value.
bool parse_like_server(std::string const& text, Value& out) {
  std::vector<JSON_Repeated_Key> repeats;
  return JSON_Parse(text.data(), text.size(), out, nullptr, &repeats);
}

std::string describe(std::string const& request, std::string const& answer) {
  return "request: " + request + "\nanswer: " + answer;
}

// One answer object of a JSON-RPC body.
void check_answer_object(Value const& a, std::string const& context) {
  if (a.type() != json_spirit::obj_type) fuzz_fail("a JSON-RPC answer is not an object", context);
  Value const* version = member(a, "jsonrpc");
  if (!version || version->type() != json_spirit::str_type || version->get_str() != "2.0")
    fuzz_fail("a JSON-RPC answer without \"jsonrpc\": \"2.0\"", context);
  if (!member(a, "id")) fuzz_fail("a JSON-RPC answer without an id", context);
  bool const has_result = member(a, "result") != nullptr;
  Value const* error = member(a, "error");
  if (has_result == (error != nullptr)) fuzz_fail("a JSON-RPC answer needs exactly one of result and error", context);
  if (!error) return;
  Value const* code = member(*error, "code");
  Value const* message = member(*error, "message");
  if (!code || code->type() != json_spirit::int_type || !message || message->type() != json_spirit::str_type)
    fuzz_fail("a JSON-RPC error without an integer code and a message", context);
  if (code->get_int64() == -32000) fuzz_fail("a request made the catalogue fail (-32000)", context);
}

bool is_call(Value const& v) { return v.type() != json_spirit::obj_type || member(v, "id") != nullptr; }

// A JSON-RPC answer body against the body it answers.
void check_rpc_answer(std::string const& request_text, std::string const& answer_text) {
  std::string const context = describe(request_text, answer_text);
  Value request;
  bool const parsed = parse_like_server(request_text, request);
  if (answer_text.empty()) {
    // Nothing to answer: only notifications were sent.
    bool only_notifications = parsed && ((request.type() == json_spirit::obj_type && !is_call(request)) ||
                                         (request.type() == json_spirit::array_type && !request.get_array().empty()));
    if (only_notifications && request.type() == json_spirit::array_type)
      for (Value const& call : request.get_array()) only_notifications = only_notifications && !is_call(call);
    if (!only_notifications) fuzz_fail("a request that is not all notifications got no answer", context);
    return;
  }
  Value answer;
  if (!JSON_Parse(answer_text, answer)) fuzz_fail("a JSON-RPC answer is not JSON", context);
  if (answer.type() == json_spirit::array_type) {
    if (!parsed || request.type() != json_spirit::array_type || request.get_array().empty())
      fuzz_fail("an answer array to something that is not a batch", context);
    Array const& calls = request.get_array();
    Array const& answers = answer.get_array();
    size_t calls_with_ids = 0;
    for (Value const& call : calls) calls_with_ids += is_call(call);
    if (answers.size() > calls.size() || answers.size() < calls_with_ids)
      fuzz_fail("a batch answered with the wrong number of answers", context);
    for (Value const& a : answers) check_answer_object(a, context);
    return;
  }
  check_answer_object(answer, context);
  if (parsed && request.type() == json_spirit::array_type && !request.get_array().empty())
    fuzz_fail("a batch answered with a single object", context);
  if (!parsed || request.type() != json_spirit::obj_type) return;
  Value const* id = member(request, "id");
  Value const& answered = *member(answer, "id");
  if (!id) {
    // A notification is answered only when it is not a valid request.
    if (!member(answer, "error") || !answered.is_null()) fuzz_fail("a notification got a result", context);
  } else if ((id->type() == json_spirit::str_type || id->type() == json_spirit::int_type) && !(answered == *id)) {
    fuzz_fail("an answer carries another id than its request", context);
  }
}

long long count_of(SQL const& sql) {
  Value v;
  if (!harness->check->query_value(sql, v)) fuzz_fail("the check's own query failed", harness->check->last_error());
  if (v.type() != json_spirit::int_type) fuzz_fail("a count that is not an integer", JSON_Dump(v));
  return v.get_int64();
}

// A commit that was answered as done stored its set, complete, with exactly
// the pieces its document sent.
void check_committed(Value const& params, std::string const& context);

// The same for a JSON-RPC call object.
void check_committed_call(Value const& call, std::string const& context) {
  Value const* params = member(call, "params");
  if (!params) fuzz_fail("a commit without params succeeded", context);
  check_committed(*params, context);
}

void check_committed(Value const& params, std::string const& context) {
  Value const* uuid = member(params, "uuid");
  if (!uuid || uuid->type() != json_spirit::str_type) fuzz_fail("a commit without a uuid succeeded", context);
  std::basic_string<unsigned char> bytes;
  if (!UUID_Binary::parse(uuid->get_str(), bytes)) fuzz_fail("a commit with a bad uuid succeeded", context);
  Value const* pieces = member(params, "pieces");
  long long const sent = pieces && pieces->type() == json_spirit::array_type
                             ? static_cast<long long>(pieces->get_array().size())
                             : 0;
  SQL stored("SELECT count(*) FROM backup_piece WHERE set_uuid=:u");
  stored.bind(":u", Binding_Value(bytes));
  long long const have = count_of(stored);
  if (have != sent)
    fuzz_fail("a committed set holds another number of pieces than its document sent",
              context + "\nsent " + std::to_string(sent) + ", stored " + std::to_string(have));
  SQL complete("SELECT count(*) FROM backup_set WHERE uuid=:u AND status='complete'");
  complete.bind(":u", Binding_Value(bytes));
  if (count_of(complete) != 1) fuzz_fail("a committed set is not stored as complete", context);
}

// What the catalogue as a whole must hold after any request.
void check_catalogue() {
  Array tables;
  SQL list(
      "SELECT m.name AS name FROM sqlite_master m WHERE m.type='table' AND "
      "EXISTS (SELECT 1 FROM pragma_table_info(m.name) c WHERE c.name='set_uuid')");
  if (!harness->check->query_rows(list, tables)) fuzz_fail("cannot list the tables", harness->check->last_error());
  if (tables.empty()) fuzz_fail("no table refers to a set");
  for (Value const& row : tables) {
    std::string const table = row.get_obj().at("name").get_str();
    long long orphans =
        count_of(SQL("SELECT count(*) FROM \"" + table +
                     "\" t WHERE NOT EXISTS (SELECT 1 FROM backup_set s WHERE s.uuid=t.set_uuid)"));
    if (orphans != 0) fuzz_fail("rows belong to a set that is not in backup_set", table);
  }
  // Every piece is either in the root or beneath exactly one top directory.
  long long const off = count_of(
      SQL("SELECT count(*) FROM backup_set s WHERE "
          "(SELECT count(*) FROM backup_piece p WHERE p.set_uuid=s.uuid) <> "
          "(SELECT count(*) FROM backup_piece p WHERE p.set_uuid=s.uuid AND p.dir='') + "
          "coalesce((SELECT sum(d.pieces) FROM backup_piece_dir d WHERE d.set_uuid=s.uuid AND d.parent=''), 0)"));
  if (off != 0) fuzz_fail("directory totals do not add up to a set's pieces");
}

void clear_catalogue() {
  if (!harness->check->execute(SQL("DELETE FROM backup_set")))
    fuzz_fail("cannot clear the catalogue", harness->check->last_error());
}

// A REST refusal: {"result": false, "code", "message"} with the status its
// code maps to.
void check_refusal(Value const& body, int status, std::string const& context) {
  Value const* result = member(body, "result");
  Value const* code = member(body, "code");
  Value const* message = member(body, "message");
  if (!result || result->type() != json_spirit::bool_type || result->get_bool() || !code ||
      code->type() != json_spirit::int_type || !message || message->type() != json_spirit::str_type)
    fuzz_fail("a refusal without result false, a code and a message", context);
  static long long const known[] = {Catalog_Error::PARSE_ERROR,    Catalog_Error::INVALID_REQUEST,
                                    Catalog_Error::METHOD_NOT_FOUND, Catalog_Error::INVALID_PARAMS,
                                    Catalog_Error::STORAGE_FAILED,   Catalog_Error::NOT_FOUND,
                                    Catalog_Error::CONFLICT};
  bool is_known = false;
  for (long long k : known) is_known = is_known || k == code->get_int64();
  if (!is_known) fuzz_fail("a refusal with an unknown code", context);
  // 413 is the body limit's own answer.
  if (status == 413) return;
  Catalog_Error e(static_cast<Catalog_Error::Code>(code->get_int64()), "");
  if (e.http_status() != status) fuzz_fail("a refusal's status is not the one its code maps to", context);
}

// An answer of the HTTP service; with `rest`, statuses from 400 up must be
// refusals.
Value check_http(httplib::Result const& res, bool rest, std::string const& request) {
  if (!res) fuzz_fail("catalogd did not answer", request + "\n" + httplib::to_string(res.error()));
  std::string const context = describe(request, std::to_string(res->status) + " " + res->body);
  if (res->status == 500) fuzz_fail("catalogd answered 500", context);
  if (res->status == 204) {
    if (!res->body.empty()) fuzz_fail("a 204 with a body", context);
    return Value();
  }
  Value body;
  if (!JSON_Parse(res->body, body)) fuzz_fail("an answer that is not JSON", context);
  Value const* code = member(body, "code");
  if (code && code->type() == json_spirit::int_type && code->get_int64() == -32000)
    fuzz_fail("a request made the catalogue fail (-32000)", context);
  if (rest && res->status >= 400) check_refusal(body, res->status, context);
  return body;
}

httplib::Headers headers_with(std::string const& key) {
  httplib::Headers h;
  if (!key.empty()) h.emplace("Idempotency-Key", key);
  return h;
}

// Route 0: the dispatcher itself.
void direct_rpc(std::string const& body) {
  std::string const answer = harness->dispatcher->handle(body);
  check_rpc_answer(body, answer);
  Value request, reply;
  if (!parse_like_server(body, request) || !JSON_Parse(answer, reply)) return;
  Value const* method = member(request, "method");
  if (method && method->type() == json_spirit::str_type && method->get_str() == "backup_set.commit" &&
      member(reply, "result"))
    check_committed_call(request, describe(body, answer));
}

// Route 1: the same over HTTP.
void http_rpc(std::string const& body, std::string const& key) {
  auto res = harness->client->Post("/rpc", headers_with(key), body, "application/json");
  check_http(res, false, "POST /rpc " + body);
  if (res->status == 413) return;
  if (res->status != 200 && res->status != 204) fuzz_fail("POST /rpc answered neither 200 nor 204", res->body);
  check_rpc_answer(body, res->body);
  Value request, reply;
  if (!parse_like_server(body, request) || !JSON_Parse(res->body, reply)) return;
  Value const* method = member(request, "method");
  if (method && method->type() == json_spirit::str_type && method->get_str() == "backup_set.commit" &&
      member(reply, "result"))
    check_committed_call(request, describe(body, res->body));
}

void rest_commit(std::string const& body, std::string const& key) {
  auto res = harness->client->Post("/d2/r/v2/sets", headers_with(key), body, "application/json");
  Value answer = check_http(res, true, "POST /d2/r/v2/sets " + body);
  if (res->status != 200) return;
  Value const* result = member(answer, "result");
  if (!result || result->type() != json_spirit::bool_type || !result->get_bool())
    fuzz_fail("a commit answered 200 without result true", res->body);
  Value doc;
  if (!parse_like_server(body, doc)) fuzz_fail("a body that is not JSON was committed", body);
  check_committed(doc, describe(body, res->body));
}

void rest_action(std::string const& action, std::string const& body, std::string const& key) {
  std::string const path = "/d2/r/v2/sets?action=" + encode(action);
  auto res = harness->client->Post(path, headers_with(key), body, "application/json");
  Value answer = check_http(res, true, "POST " + path + " " + body);
  if (res->status != 200) return;
  // Abort answers the staged pieces; the other actions {"result": true}.
  if (action == "Abort") {
    if (answer.type() != json_spirit::array_type) fuzz_fail("an abort answered 200 without its pieces", res->body);
    return;
  }
  Value const* result = member(answer, "result");
  if (!result || result->type() != json_spirit::bool_type || !result->get_bool())
    fuzz_fail("an action answered 200 without result true", res->body);
}

void rest_update(std::string const& uuid, std::string const& body, std::string const& key) {
  std::string const path = "/d2/r/v2/sets?uuid=" + encode(uuid);
  auto res = harness->client->Put(path, headers_with(key), body, "application/json");
  check_http(res, true, "PUT " + path + " " + body);
}

void rest_select(std::string const& module, std::string const& view, std::string const& pairs) {
  std::string path = "/d2/r/v2/sets/select?module=" + encode(module) + "&view=" + encode(view);
  size_t from = 0;
  while (from < pairs.size()) {
    size_t amp = pairs.find('&', from);
    std::string const pair = pairs.substr(from, amp == std::string::npos ? std::string::npos : amp - from);
    from = amp == std::string::npos ? pairs.size() : amp + 1;
    size_t eq = pair.find('=');
    path += "&" + encode(pair.substr(0, eq));
    if (eq != std::string::npos) path += "=" + encode(pair.substr(eq + 1));
  }
  auto res = harness->client->Get(path);
  check_http(res, true, "GET " + path);
}

void rest_exists(std::string const& uuid) {
  std::string const path = "/d2/r/v2/sets/exists?uuid=" + encode(uuid);
  auto res = harness->client->Get(path);
  // A set that is not there is a 404 of its own shape.
  Value answer = check_http(res, false, "GET " + path);
  std::string const context = describe("GET " + path, std::to_string(res->status) + " " + res->body);
  if (res->status != 200 && res->status != 404) {
    if (res->status >= 400) check_refusal(answer, res->status, context);
    return;
  }
  Value const* exists = member(answer, "exists");
  Value const* named = member(answer, "uuid");
  if (!exists || exists->type() != json_spirit::bool_type || exists->get_bool() != (res->status == 200))
    fuzz_fail("exists answered a status that disagrees with its body", context);
  if (!named || !(*named == Value(uuid))) fuzz_fail("exists answered for another uuid", context);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzz_quiet_ace_log();
  harness = new Harness;
  harness->dir = make_temp_dir();
  harness->db = harness->dir + "/catalog.db";
  atexit(shut_down);

  Server_Options options;
  options.listen = "127.0.0.1";
  options.port = 0;
  options.db = harness->db;
  harness->server = std::make_unique<Catalog_Server>(options);
  std::string error;
  if (!harness->server->start(error)) fuzz_fail("catalogd did not start", error);
  harness->dispatcher = std::make_unique<Json_Rpc_Dispatcher>(*harness->server->store(), harness->server->queue());
  harness->client = std::make_unique<httplib::Client>("127.0.0.1", harness->server->port());
  harness->client->set_keep_alive(true);
  // Headers and body go out in two writes; without this the body waits
  // for the delayed ACK of the headers.
  harness->client->set_tcp_nodelay(true);
  harness->client->set_read_timeout(60, 0);
  harness->client->set_write_timeout(60, 0);
  harness->check = std::make_unique<database::sql::SQLite_Connection>(harness->db);
  if (!harness->check->is_open()) fuzz_fail("cannot open the catalogue", harness->check->last_error());
  check_catalogue();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
  Fuzz_Input in(data, size);
  int const route = in.byte() % 7;
  uint8_t const flags = in.byte();
  std::string const key = (flags & 16) ? printable(in.until('\n')) : std::string();

  static char const* const actions[] = {"Initialize", "AddPiece", "Complete", "Abort"};
  static char const* const views[] = {"sets", "pieces", "children", "path", "restore_plan"};
  switch (route) {
    case 0: direct_rpc(in.rest()); break;
    case 1: http_rpc(in.rest(), key); break;
    case 2: rest_commit(in.rest(), key); break;
    case 3: {
      std::string const action = (flags & 7) < 4 ? std::string(actions[flags & 7]) : in.until('\n');
      rest_action(action, in.rest(), key);
      break;
    }
    case 4: {
      std::string const uuid = in.until('\n');
      rest_update(uuid, in.rest(), key);
      break;
    }
    case 5: {
      std::string const module = (flags & 8) ? in.until('\n') : std::string("backup_set");
      std::string const view = (flags & 7) < 5 ? std::string(views[flags & 7]) : in.until('\n');
      rest_select(module, view, in.rest());
      break;
    }
    case 6: rest_exists(in.rest()); break;
  }

  ++harness->inputs;
  if (harness->inputs % kCheckEvery == 0) check_catalogue();
  if (harness->inputs % kClearEvery == 0) clear_catalogue();
  return 0;
}
