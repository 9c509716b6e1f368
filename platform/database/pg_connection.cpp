#include "platform/database/pg_connection.h"

#include <ace/Log_Msg.h>
#include <libpq-fe.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <strings.h>
#include <ctime>
#include <memory>
#include <vector>

#include "platform/database/result_delivery.h"
#include "platform/sql/uuid_binary.h"

namespace database {
namespace sql {

namespace {

// Type oids of the built-in types (pg_type.h is a server header).
enum : Oid {
  BOOLOID = 16,
  BYTEAOID = 17,
  CHAROID = 18,
  NAMEOID = 19,
  INT8OID = 20,
  INT2OID = 21,
  INT4OID = 23,
  TEXTOID = 25,
  OIDOID = 26,
  JSONOID = 114,
  FLOAT4OID = 700,
  FLOAT8OID = 701,
  UNKNOWNOID = 705,
  BPCHAROID = 1042,
  VARCHAROID = 1043,
  DATEOID = 1082,
  TIMESTAMPOID = 1114,
  TIMESTAMPTZOID = 1184,
  NUMERICOID = 1700,
  UUIDOID = 2950,
  JSONBOID = 3802,
};

size_t const kCacheLimit = 256;
long long const kEpoch2000 = 946684800;  // 2000-01-01 in POSIX seconds
// The type modifier of numeric(20,0): precision << 16 | scale, plus the
// header size the server adds. Exactly this column type holds unsigned
// 64-bit values.
int const kUnsignedNumericMod = ((20 << 16) | 0) + 4;

bool binary_decodable(Oid type) {
  switch (type) {
    case BOOLOID: case BYTEAOID: case CHAROID: case NAMEOID: case INT8OID: case INT2OID: case INT4OID:
    case TEXTOID: case OIDOID: case JSONOID: case FLOAT4OID: case FLOAT8OID: case UNKNOWNOID:
    case BPCHAROID: case VARCHAROID: case DATEOID: case TIMESTAMPOID: case TIMESTAMPTZOID: case UUIDOID:
    case JSONBOID:
      return true;
    default:
      return false;
  }
}

unsigned long long read_be(char const* p, int n) {
  unsigned long long v = 0;
  for (int i = 0; i < n; ++i) v = v << 8 | static_cast<unsigned char>(p[i]);
  return v;
}

std::string message_of(PGresult const* result, PGconn const* conn) {
  std::string m = result ? PQresultErrorMessage(result) : "";
  if (m.empty()) m = PQerrorMessage(conn);
  while (!m.empty() && (m.back() == '\n' || m.back() == ' ')) m.pop_back();
  return m;
}

void ignore_notice(void*, char const* message) {
  ACE_DEBUG((LM_DEBUG, "PostgreSQL notice: %s", message));
}

// Time text as the server writes it in ISO style and UTC: the fraction only
// when there is one, trailing zeros dropped.
int format_timestamp(long long micros_2000, bool zone, char* out, size_t size) {
  if (micros_2000 == INT64_MAX) return std::snprintf(out, size, "infinity");
  if (micros_2000 == INT64_MIN) return std::snprintf(out, size, "-infinity");
  long long seconds = micros_2000 / 1000000;
  long long micros = micros_2000 % 1000000;
  if (micros < 0) {
    micros += 1000000;
    seconds -= 1;
  }
  time_t t = static_cast<time_t>(seconds + kEpoch2000);
  struct tm tm;
  if (!gmtime_r(&t, &tm)) return std::snprintf(out, size, "%lld", micros_2000);
  int n = std::snprintf(out, size, "%04d-%02d-%02d %02d:%02d:%02d", tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday,
                        tm.tm_hour, tm.tm_min, tm.tm_sec);
  if (micros) {
    char fraction[8];
    std::snprintf(fraction, sizeof fraction, ".%06lld", micros);
    size_t len = std::strlen(fraction);
    while (len > 1 && fraction[len - 1] == '0') fraction[--len] = 0;
    n += std::snprintf(out + n, size - n, "%s", fraction);
  }
  if (zone) n += std::snprintf(out + n, size - n, "+00");
  return n;
}

int format_date(int days_2000, char* out, size_t size) {
  time_t t = static_cast<time_t>(static_cast<long long>(days_2000) * 86400 + kEpoch2000);
  struct tm tm;
  if (!gmtime_r(&t, &tm)) return std::snprintf(out, size, "%d", days_2000);
  return std::snprintf(out, size, "%04d-%02d-%02d", tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday);
}

int hex_digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Decodes the text form of bytea ("\x..." hex, or the old escape form).
bool decode_bytea(char const* text, size_t length, std::vector<unsigned char>& out) {
  out.clear();
  if (length >= 2 && text[0] == '\\' && text[1] == 'x') {
    out.reserve((length - 2) / 2);
    for (size_t i = 2; i + 1 < length; i += 2) {
      int hi = hex_digit(text[i]), lo = hex_digit(text[i + 1]);
      if (hi < 0 || lo < 0) return false;
      out.push_back(static_cast<unsigned char>(hi << 4 | lo));
    }
    return true;
  }
  size_t n = 0;
  unsigned char* raw = PQunescapeBytea(reinterpret_cast<unsigned char const*>(text), &n);
  if (!raw) return false;
  out.assign(raw, raw + n);
  PQfreemem(raw);
  return true;
}

}  // namespace

struct PG_Connection::Prepared {
  std::string name;
  std::vector<Oid> column_types;
  bool binary = false;
};

struct PG_Connection::Run {
  Prepared* prepared = nullptr;
  PGresult* result = nullptr;
  ~Run() { PQclear(result); }
};

PG_Connection::PG_Connection(std::string const& conninfo) : conn_(nullptr), next_statement_(0) {
  PGconn* conn = PQconnectdb(conninfo.c_str());
  if (!conn || PQstatus(conn) != CONNECTION_OK) {
    std::string message = conn ? PQerrorMessage(conn) : "out of memory";
    while (!message.empty() && (message.back() == '\n' || message.back() == ' ')) message.pop_back();
    PQfinish(conn);
    fail("cannot connect to PostgreSQL: " + message);
    return;
  }
  conn_ = conn;
  PQsetNoticeProcessor(conn_, ignore_notice, nullptr);
  // Streamed reads go through cursors and are read to the end: planned for
  // the whole result, like any other query, not for its first rows.
  if (!simple("SET client_encoding TO 'UTF8'; SET DateStyle TO 'ISO, YMD'; SET TimeZone TO 'UTC'; "
              "SET client_min_messages TO warning; SET cursor_tuple_fraction TO 1")) {
    PQfinish(conn_);
    conn_ = nullptr;
  }
}

PG_Connection::~PG_Connection() {
  for (auto& entry : cache_) delete entry.second;
  if (conn_) PQfinish(conn_);
}

bool PG_Connection::is_open() const { return conn_ && PQstatus(conn_) == CONNECTION_OK; }

bool PG_Connection::simple(char const* text) {
  PGresult* result = PQexec(conn_, text);
  ExecStatusType status = PQresultStatus(result);
  bool ok = status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK || status == PGRES_EMPTY_QUERY;
  std::string message = ok ? std::string() : message_of(result, conn_);
  PQclear(result);
  if (!ok) return fail(message);
  return true;
}

struct PG_Connection::Params {
  std::string text;
  std::string key;  // the text and the parameter kinds: one prepared statement each
  int n = 0;
  std::vector<Oid> types;
  std::vector<char const*> values;
  std::vector<int> lengths;
  std::vector<int> formats;
  std::vector<unsigned long long> integers;
  std::vector<std::string> digits;  // decimal text of unsigned values, made on demand
};

bool PG_Connection::bind(SQL const& sql, Params& p) {
  if (!conn_) return fail("the PostgreSQL connection is not open");
  std::vector<std::string> names;
  p.text = sql.text(Dialect::PostgreSQL, names);

  size_t const n = names.size();
  p.n = static_cast<int>(n);
  p.types.assign(n, 0);
  p.values.assign(n, nullptr);
  p.lengths.assign(n, 0);
  p.formats.assign(n, 0);
  p.integers.assign(n, 0);
  p.key = p.text;
  p.key += '\0';
  for (size_t i = 0; i < n; ++i) {
    Binding_Value const* value = sql.binding(names[i]);
    if (!value) return fail("parameter " + names[i] + " is not bound in: " + p.text);
    switch (value->kind()) {
      case Binding_Value::null_kind:
        p.key += 'n';
        break;
      case Binding_Value::integer_kind: {
        // int8 in network byte order.
        unsigned long long v = static_cast<unsigned long long>(value->integer());
        unsigned char* b = reinterpret_cast<unsigned char*>(&p.integers[i]);
        for (int k = 7; k >= 0; --k, v >>= 8) b[k] = static_cast<unsigned char>(v & 0xff);
        p.types[i] = INT8OID;
        p.values[i] = reinterpret_cast<char const*>(&p.integers[i]);
        p.lengths[i] = 8;
        p.formats[i] = 1;
        p.key += 'i';
        break;
      }
      case Binding_Value::boolean_kind: {
        unsigned char* b = reinterpret_cast<unsigned char*>(&p.integers[i]);
        b[0] = value->boolean() ? 1 : 0;
        p.types[i] = BOOLOID;
        p.values[i] = reinterpret_cast<char const*>(b);
        p.lengths[i] = 1;
        p.formats[i] = 1;
        p.key += 'l';
        break;
      }
      case Binding_Value::unsigned_kind:
        // int8 cannot hold the upper half; untyped text lets the server
        // read it as the column's numeric.
        if (p.digits.empty()) p.digits.resize(n);
        p.digits[i] = std::to_string(value->uinteger());
        p.values[i] = p.digits[i].c_str();
        p.lengths[i] = static_cast<int>(p.digits[i].size());
        p.key += 'u';
        break;
      case Binding_Value::text_kind:
        // Left untyped, so the server reads it as whatever the context
        // wants (text, jsonb, timestamp).
        p.values[i] = value->bytes().c_str();
        p.lengths[i] = static_cast<int>(value->bytes().size());
        p.key += 't';
        break;
      case Binding_Value::binary_kind:
        p.types[i] = BYTEAOID;
        p.values[i] = value->bytes().data();
        p.lengths[i] = static_cast<int>(value->bytes().size());
        p.formats[i] = 1;
        p.key += 'b';
        break;
    }
  }
  return true;
}

PG_Connection::Prepared* PG_Connection::prepare(Params const& p) {
  auto it = cache_.find(p.key);
  if (it != cache_.end()) return it->second;
  if (cache_.size() >= kCacheLimit) {
    for (auto& entry : cache_) delete entry.second;
    cache_.clear();
    if (PQtransactionStatus(conn_) == PQTRANS_IDLE) PQclear(PQexec(conn_, "DEALLOCATE ALL"));
  }
  std::unique_ptr<Prepared> fresh(new Prepared);
  fresh->name = "bset_" + std::to_string(++next_statement_);
  PGresult* result = PQprepare(conn_, fresh->name.c_str(), p.text.c_str(), p.n, p.types.data());
  if (PQresultStatus(result) != PGRES_COMMAND_OK) {
    std::string message = message_of(result, conn_);
    PQclear(result);
    fail(message + " in: " + p.text);
    return nullptr;
  }
  PQclear(result);
  result = PQdescribePrepared(conn_, fresh->name.c_str());
  if (PQresultStatus(result) != PGRES_COMMAND_OK) {
    std::string message = message_of(result, conn_);
    PQclear(result);
    fail(message + " in: " + p.text);
    return nullptr;
  }
  int fields = PQnfields(result);
  fresh->binary = true;
  for (int c = 0; c < fields; ++c) {
    Oid type = PQftype(result, c);
    fresh->column_types.push_back(type);
    if (!binary_decodable(type)) fresh->binary = false;
  }
  PQclear(result);
  Prepared* prepared = fresh.release();
  cache_[p.key] = prepared;
  return prepared;
}

bool PG_Connection::run(SQL const& sql, Run& run) {
  Params p;
  return bind(sql, p) && exec(p, run);
}

bool PG_Connection::exec(Params const& p, Run& run) {
  for (int attempt = 0; attempt < 2; ++attempt) {
    Prepared* prepared = prepare(p);
    if (!prepared) return false;
    PGresult* result = PQexecPrepared(conn_, prepared->name.c_str(), p.n, p.values.data(), p.lengths.data(),
                                      p.formats.data(), prepared->binary ? 1 : 0);
    ExecStatusType status = PQresultStatus(result);
    if (status == PGRES_TUPLES_OK || status == PGRES_COMMAND_OK) {
      run.prepared = prepared;
      run.result = result;
      return true;
    }
    // The state lives in the result: copied before the result is freed.
    char const* field = PQresultErrorField(result, PG_DIAG_SQLSTATE);
    std::string const state = field ? field : "";
    std::string message = message_of(result, conn_);
    PQclear(result);
    // A table changed under a prepared statement ("cached plan must not
    // change result type"): prepare it again, once.
    if (attempt == 0 && state == "0A000") {
      delete prepared;
      cache_.erase(p.key);
      continue;
    }
    return fail(message + " in: " + p.text);
  }
  return fail("cannot run: " + p.text);
}

namespace {

// Delivers the rows of one result, numbering them on from `row`; false
// when the delivery stops (its stop_reason says why).
bool deliver_rows(PGresult* result, bool binary, Result_Delivery& delivery, int& row, int limit) {
  int columns = PQnfields(result);
  int rows = PQntuples(result);
  std::vector<Oid> types(columns);
  std::vector<bool> unsigned_column(columns, false);
  for (int c = 0; c < columns; ++c) {
    types[c] = PQftype(result, c);
    unsigned_column[c] = types[c] == NUMERICOID && PQfmod(result, c) == kUnsignedNumericMod;
  }
  std::vector<unsigned char> bytes;
  char text[64];
  for (int i = 0; i < rows; ++i, ++row) {
    if (limit > 0 && row >= limit) break;
    if (!delivery.begin_row(row)) return false;
    for (int c = 0; c < columns; ++c) {
      if (!delivery.wanted(c)) continue;
      bool ok;
      if (PQgetisnull(result, i, c)) {
        ok = delivery.value_null(c);
      } else {
        char const* v = PQgetvalue(result, i, c);
        size_t len = static_cast<size_t>(PQgetlength(result, i, c));
        Oid type = types[c];
        if (binary) {
          switch (type) {
            case BOOLOID:
              ok = delivery.value_bool(c, len > 0 && v[0] != 0);
              break;
            case INT2OID:
              ok = delivery.value_integer(c, static_cast<short>(read_be(v, 2)));
              break;
            case INT4OID:
              ok = delivery.value_integer(c, static_cast<int>(read_be(v, 4)));
              break;
            case OIDOID:
              ok = delivery.value_integer(c, static_cast<long long>(read_be(v, 4)));
              break;
            case INT8OID:
              ok = delivery.value_integer(c, static_cast<long long>(read_be(v, 8)));
              break;
            case FLOAT4OID: {
              unsigned int bits = static_cast<unsigned int>(read_be(v, 4));
              float f;
              std::memcpy(&f, &bits, 4);
              ok = delivery.value_double(c, f);
              break;
            }
            case FLOAT8OID: {
              unsigned long long bits = read_be(v, 8);
              double d;
              std::memcpy(&d, &bits, 8);
              ok = delivery.value_double(c, d);
              break;
            }
            case BYTEAOID:
            case UUIDOID:
              ok = delivery.value_binary(c, reinterpret_cast<unsigned char const*>(v), len);
              break;
            case JSONBOID:
              // Version byte, then the document's text.
              ok = len > 0 ? delivery.value_text(c, v + 1, len - 1) : delivery.value_text(c, "", 0);
              break;
            case JSONOID:
              ok = delivery.value_json(c, v, len);
              break;
            case TIMESTAMPOID:
            case TIMESTAMPTZOID: {
              int n = format_timestamp(static_cast<long long>(read_be(v, 8)), type == TIMESTAMPTZOID, text, sizeof text);
              ok = delivery.value_text(c, text, static_cast<size_t>(n));
              break;
            }
            case DATEOID: {
              int n = format_date(static_cast<int>(read_be(v, 4)), text, sizeof text);
              ok = delivery.value_text(c, text, static_cast<size_t>(n));
              break;
            }
            default:
              ok = delivery.value_text(c, v, len);
              break;
          }
        } else {
          switch (type) {
            case BOOLOID:
              ok = delivery.value_bool(c, v[0] == 't');
              break;
            case INT2OID:
            case INT4OID:
            case INT8OID:
            case OIDOID:
              ok = delivery.value_integer(c, std::strtoll(v, nullptr, 10));
              break;
            case FLOAT4OID:
            case FLOAT8OID:
              ok = delivery.value_double(c, std::strtod(v, nullptr));
              break;
            case NUMERICOID: {
              char* end = nullptr;
              errno = 0;
              // A negative value (or NaN) in an unsigned column is not one
              // this library wrote: it falls through to the plain numeric
              // reading rather than wrap.
              if (unsigned_column[c] && v[0] != '-') {
                unsigned long long u = std::strtoull(v, &end, 10);
                if (end && *end == 0 && errno == 0 && end != v) {
                  ok = delivery.value_unsigned(c, u);
                  break;
                }
                errno = 0;
              }
              long long i = std::strtoll(v, &end, 10);
              if (end && *end == 0 && errno == 0 && end != v) {
                ok = delivery.value_integer(c, i);
              } else {
                ok = delivery.value_double(c, std::strtod(v, nullptr));
              }
              break;
            }
            case BYTEAOID:
              if (decode_bytea(v, len, bytes)) {
                ok = delivery.value_binary(c, bytes.data(), bytes.size());
              } else {
                ok = delivery.value_null(c);
              }
              break;
            case UUIDOID: {
              unsigned char raw[16];
              ok = UUID_Binary::parse(v, len, raw) ? delivery.value_binary(c, raw, 16) : delivery.value_text(c, v, len);
              break;
            }
            case JSONOID:
              ok = delivery.value_json(c, v, len);
              break;
            default:
              ok = delivery.value_text(c, v, len);
              break;
          }
        }
      }
      if (!ok) return false;
    }
    if (!delivery.end_row(row)) return false;
  }
  return true;
}

// The statement's own keys, or the result's column names when it has none.
std::vector<std::string> column_keys(SQL const& sql, PGresult* result) {
  int columns = PQnfields(result);
  std::vector<std::string> const* given = sql.keys();
  if (given && given->size() == static_cast<size_t>(columns)) return *given;
  std::vector<std::string> keys;
  keys.reserve(columns);
  for (int c = 0; c < columns; ++c) keys.emplace_back(PQfname(result, c));
  return keys;
}

// Rows per FETCH of a streamed query: large enough that the round trips
// cost little next to the rows, small enough to hold in memory.
int const kFetchRows = 2000;

// Only plain SELECTs can be read through a cursor.
bool cursor_readable(std::string const& text) {
  size_t at = text.find_first_not_of(" \t\r\n(");
  return at != std::string::npos && strncasecmp(text.c_str() + at, "SELECT", 6) == 0;
}

}  // namespace

bool PG_Connection::query(SQL const& sql, Query_Result_Printer& printer, int mode, Query_Result_Handler* handler,
                          int limit) {
  if (!Result_Delivery::known_mode(mode)) return fail("unknown query mode " + std::to_string(mode));
  Params p;
  if (!bind(sql, p)) return false;
  // Queries a handler runs between the rows of a stream are read whole:
  // they are small (a row's storages, say), and a cursor each would cost
  // two more round trips per row.
  if (streaming_ == 0 && (limit == 0 || limit > kFetchRows) && cursor_readable(p.text))
    return stream(sql, p, printer, mode, handler, limit);
  Run r;
  if (!exec(p, r)) return false;
  std::vector<std::string> keys = column_keys(sql, r.result);
  Result_Delivery delivery(*this, printer, mode, handler);
  if (!delivery.names(keys)) return fail("query " + delivery.stop_reason());
  int row = 0;
  if (!deliver_rows(r.result, r.prepared->binary, delivery, row, limit) || !delivery.end(row))
    return fail("query " + delivery.stop_reason());
  clear_error();
  return true;
}

// A result of any size goes through a cursor, a chunk of rows per FETCH, so
// memory stays bounded, and the connection is free between chunks for the
// nested queries of the handler. Outside a transaction the cursor gets one
// of its own, which also gives the whole read one snapshot.
bool PG_Connection::stream(SQL const& sql, Params& p, Query_Result_Printer& printer, int mode,
                           Query_Result_Handler* handler, int limit) {
  // The column types say whether rows can come binary. The prepared entry
  // itself may go from the cache while the rows are read.
  Prepared* prepared = prepare(p);
  if (!prepared) return false;
  bool const binary = prepared->binary;
  bool own = PQtransactionStatus(conn_) == PQTRANS_IDLE;
  if (own && !simple("BEGIN")) return false;
  std::string cursor = "bset_cursor_" + std::to_string(++next_cursor_);
  std::string declare = "DECLARE " + cursor + " NO SCROLL CURSOR FOR " + p.text;
  PGresult* declared = PQexecParams(conn_, declare.c_str(), p.n, p.types.data(), p.values.data(), p.lengths.data(),
                                    p.formats.data(), 0);
  bool ok = PQresultStatus(declared) == PGRES_COMMAND_OK;
  std::string failure = ok ? std::string() : message_of(declared, conn_) + " in: " + p.text;
  PQclear(declared);

  Result_Delivery delivery(*this, printer, mode, handler);
  std::vector<std::string> keys;
  std::string fetch = "FETCH FORWARD " + std::to_string(kFetchRows) + " FROM " + cursor;
  int row = 0;
  bool exhausted = false;
  while (ok && !exhausted) {
    PGresult* chunk = PQexecParams(conn_, fetch.c_str(), 0, nullptr, nullptr, nullptr, nullptr, binary ? 1 : 0);
    if (PQresultStatus(chunk) != PGRES_TUPLES_OK) {
      ok = false;
      failure = message_of(chunk, conn_) + " in: " + p.text;
    } else {
      if (row == 0 && keys.empty()) {
        keys = column_keys(sql, chunk);
        if (!delivery.names(keys)) ok = false;
      }
      exhausted = PQntuples(chunk) < kFetchRows;
      ++streaming_;
      if (ok && !deliver_rows(chunk, binary, delivery, row, limit)) ok = false;
      --streaming_;
      if (limit > 0 && row >= limit) exhausted = true;
      if (!ok) failure = "query " + delivery.stop_reason();
    }
    PQclear(chunk);
  }
  if (ok && !delivery.end(row)) {
    ok = false;
    failure = "query " + delivery.stop_reason();
  }
  // A cursor lives until its transaction ends: one in the caller's
  // transaction is closed here.
  if (own) {
    if (ok) {
      ok = simple("COMMIT");
      if (!ok) return false;
    } else {
      PQclear(PQexec(conn_, "ROLLBACK"));
    }
  } else {
    PQclear(PQexec(conn_, ("CLOSE " + cursor).c_str()));
  }
  if (!ok) return fail(failure);
  clear_error();
  return true;
}

bool PG_Connection::execute(SQL const& sql, long long* affected) {
  Run r;
  if (!run(sql, r)) return false;
  if (affected) {
    char const* tuples = PQcmdTuples(r.result);
    *affected = tuples && *tuples ? std::strtoll(tuples, nullptr, 10) : 0;
  }
  clear_error();
  return true;
}

bool PG_Connection::execute_script(std::string const& script) {
  if (!conn_) return fail("the PostgreSQL connection is not open");
  if (!simple(script.c_str())) return false;
  clear_error();
  return true;
}

bool PG_Connection::copy_begin(std::string const& statement) {
  if (!conn_) return fail("the PostgreSQL connection is not open");
  if (copying_) return fail("a COPY is in progress already");
  PGresult* result = PQexec(conn_, statement.c_str());
  bool ok = PQresultStatus(result) == PGRES_COPY_IN;
  std::string message = ok ? std::string() : message_of(result, conn_);
  PQclear(result);
  if (!ok) return fail(message + " in: " + statement);
  copying_ = true;
  return true;
}

bool PG_Connection::copy_put(char const* data, size_t length) {
  if (!copying_) return fail("no COPY is in progress");
  while (length > 0) {
    // The length is an int: large buffers go in pieces.
    int n = length > (1u << 30) ? (1 << 30) : static_cast<int>(length);
    if (PQputCopyData(conn_, data, n) != 1) {
      std::string message = message_of(nullptr, conn_);
      copy_end(false);
      return fail("COPY: " + message);
    }
    data += n;
    length -= static_cast<size_t>(n);
  }
  return true;
}

bool PG_Connection::copy_end(bool keep) {
  if (!copying_) return fail("no COPY is in progress");
  copying_ = false;
  if (PQputCopyEnd(conn_, keep ? nullptr : "abandoned by the client") != 1) {
    std::string message = message_of(nullptr, conn_);
    while (PGresult* r = PQgetResult(conn_)) PQclear(r);
    return fail("COPY: " + message);
  }
  bool ok = true;
  std::string message;
  while (PGresult* result = PQgetResult(conn_)) {
    if (PQresultStatus(result) != PGRES_COMMAND_OK && ok) {
      ok = false;
      message = message_of(result, conn_);
    }
    PQclear(result);
  }
  if (!keep) return true;
  if (!ok) return fail("COPY: " + message);
  clear_error();
  return true;
}

bool PG_Connection::begin() { return conn_ ? simple("BEGIN") : fail("the PostgreSQL connection is not open"); }

bool PG_Connection::commit() {
  if (!conn_) return fail("the PostgreSQL connection is not open");
  PGresult* result = PQexec(conn_, "COMMIT");
  bool ok = PQresultStatus(result) == PGRES_COMMAND_OK;
  // COMMIT of a failed transaction succeeds as a ROLLBACK: that is a failure.
  bool rolled_back = ok && std::strcmp(PQcmdStatus(result), "ROLLBACK") == 0;
  std::string message = ok ? std::string() : message_of(result, conn_);
  PQclear(result);
  if (!ok) return fail(message);
  if (rolled_back) return fail("the transaction was rolled back after an earlier error");
  return true;
}

bool PG_Connection::rollback() { return conn_ ? simple("ROLLBACK") : fail("the PostgreSQL connection is not open"); }

}  // namespace sql
}  // namespace database
