#include "platform/database/sqlite_connection.h"

#include <sqlite3.h>

#include <cctype>

#include "platform/database/result_delivery.h"

namespace database {
namespace sql {

namespace {
// Enough for every statement of the catalogue; beyond it texts are
// prepared and finalized each time instead of growing the cache.
size_t const kCacheLimit = 256;

// SQLite has no boolean, unsigned or JSON storage: the declared type of a
// table column is what says an integer or a text is one of them.
enum Column_Kind : char { plain_column, boolean_column, unsigned_column, json_column };

// The declared type keeps the DDL's spelling: case and spacing may vary.
bool same_type_name(char const* declared, char const* name) {
  for (;;) {
    bool declared_space = std::isspace(static_cast<unsigned char>(*declared));
    bool name_space = *name == ' ';
    if (declared_space != name_space) return false;
    if (name_space) {
      while (std::isspace(static_cast<unsigned char>(*declared))) ++declared;
      ++name;
      continue;
    }
    if (std::toupper(static_cast<unsigned char>(*declared)) != *name) return false;
    if (!*name) return true;
    ++declared;
    ++name;
  }
}

Column_Kind column_kind(sqlite3_stmt* stmt, int column) {
  char const* declared = sqlite3_column_decltype(stmt, column);
  if (!declared) return plain_column;
  if (same_type_name(declared, "BOOLEAN")) return boolean_column;
  if (same_type_name(declared, "UNSIGNED BIG INT")) return unsigned_column;
  if (same_type_name(declared, "JSON")) return json_column;
  return plain_column;
}
}  // namespace

struct SQLite_Connection::Cached {
  sqlite3_stmt* stmt = nullptr;
  bool busy = false;
  ~Cached() { sqlite3_finalize(stmt); }
};

// A statement in use: a cached one is reset and handed back on destruction,
// an uncached one finalized.
class SQLite_Connection::Statement {
 public:
  Statement() = default;
  ~Statement() { release(); }
  Statement(Statement const&) = delete;
  Statement& operator=(Statement const&) = delete;

  void own(sqlite3_stmt* stmt) {
    stmt_ = stmt;
    cached_ = nullptr;
  }
  void borrow(Cached* cached) {
    cached_ = cached;
    cached_->busy = true;
    stmt_ = cached->stmt;
  }
  sqlite3_stmt* get() const { return stmt_; }
  void release() {
    if (!stmt_) return;
    if (cached_) {
      sqlite3_reset(stmt_);
      sqlite3_clear_bindings(stmt_);
      cached_->busy = false;
    } else {
      sqlite3_finalize(stmt_);
    }
    stmt_ = nullptr;
    cached_ = nullptr;
  }

 private:
  sqlite3_stmt* stmt_ = nullptr;
  Cached* cached_ = nullptr;
};

SQLite_Connection::SQLite_Connection(std::string const& path, int busy_timeout_ms, bool wal) : db_(nullptr) {
  sqlite3* db = nullptr;
  int rc = sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX,
                           nullptr);
  if (rc != SQLITE_OK) {
    std::string message = "cannot open SQLite database '" + path + "': " + (db ? sqlite3_errmsg(db) : sqlite3_errstr(rc));
    sqlite3_close(db);
    fail(message);
    return;
  }
  db_ = db;
  sqlite3_extended_result_codes(db_, 1);
  sqlite3_busy_timeout(db_, busy_timeout_ms);
  // Cascading deletes of pieces and storages depend on this.
  if (!simple("PRAGMA foreign_keys=ON")) {
    sqlite3_close(db_);
    db_ = nullptr;
    return;
  }
  bool memory = path.empty() || path == ":memory:" || path.compare(0, 5, "file:") == 0;
  if (wal && !memory) {
    simple("PRAGMA journal_mode=WAL");
    simple("PRAGMA synchronous=NORMAL");
  }
}

SQLite_Connection::~SQLite_Connection() {
  cache_.clear();
  if (db_) sqlite3_close_v2(db_);
}

bool SQLite_Connection::simple(char const* text) {
  char* message = nullptr;
  if (sqlite3_exec(db_, text, nullptr, nullptr, &message) != SQLITE_OK) {
    std::string what = std::string(text) + ": " + (message ? message : sqlite3_errmsg(db_));
    sqlite3_free(message);
    return fail(what);
  }
  return true;
}

bool SQLite_Connection::prepare(SQL const& sql, Statement& statement) {
  if (!db_) return fail("the SQLite database is not open");
  std::vector<std::string> names;
  std::string text = sql.text(Dialect::SQLite, names);
  auto it = cache_.find(text);
  if (it != cache_.end() && !it->second->busy) {
    statement.borrow(it->second.get());
  } else {
    sqlite3_stmt* stmt = nullptr;
    if (sqlite3_prepare_v2(db_, text.c_str(), static_cast<int>(text.size()), &stmt, nullptr) != SQLITE_OK) {
      return fail(std::string(sqlite3_errmsg(db_)) + " in: " + text);
    }
    if (!stmt) return fail("no statement in: " + text);
    if (it == cache_.end() && cache_.size() < kCacheLimit) {
      std::unique_ptr<Cached> cached(new Cached);
      cached->stmt = stmt;
      Cached* raw = cached.get();
      cache_.emplace(text, std::move(cached));
      statement.borrow(raw);
    } else {
      statement.own(stmt);
    }
  }
  sqlite3_stmt* stmt = statement.get();
  int count = sqlite3_bind_parameter_count(stmt);
  // SQLite numbers named parameters in order of first appearance, as the
  // scan that built `names` does; asking SQLite for each name instead costs
  // time linear in the count, per parameter.
  bool same_numbers = static_cast<size_t>(count) == names.size();
  for (int i = 1; i <= count; ++i) {
    char const* name = same_numbers ? names[i - 1].c_str() : sqlite3_bind_parameter_name(stmt, i);
    if (!name) return fail("unnamed parameter " + std::to_string(i) + " in: " + text);
    Binding_Value const* value = sql.binding(name);
    if (!value) return fail(std::string("parameter ") + name + " is not bound in: " + text);
    int rc = SQLITE_OK;
    switch (value->kind()) {
      case Binding_Value::null_kind:
        rc = sqlite3_bind_null(stmt, i);
        break;
      case Binding_Value::integer_kind:
        rc = sqlite3_bind_int64(stmt, i, value->integer());
        break;
      case Binding_Value::boolean_kind:
        rc = sqlite3_bind_int64(stmt, i, value->boolean() ? 1 : 0);
        break;
      case Binding_Value::unsigned_kind:
        // The bit pattern; reading an unsigned column turns it back.
        rc = sqlite3_bind_int64(stmt, i, static_cast<sqlite3_int64>(value->uinteger()));
        break;
      case Binding_Value::text_kind:
        rc = sqlite3_bind_text(stmt, i, value->bytes().data(), static_cast<int>(value->bytes().size()), SQLITE_STATIC);
        break;
      case Binding_Value::binary_kind:
        rc = sqlite3_bind_blob(stmt, i, value->bytes().data(), static_cast<int>(value->bytes().size()), SQLITE_STATIC);
        break;
    }
    if (rc != SQLITE_OK) return fail(std::string("cannot bind ") + name + ": " + sqlite3_errmsg(db_));
  }
  return true;
}

bool SQLite_Connection::query(SQL const& sql, Query_Result_Printer& printer, int mode, Query_Result_Handler* handler,
                              int limit) {
  if (!Result_Delivery::known_mode(mode)) return fail("unknown query mode " + std::to_string(mode));
  Statement statement;
  if (!prepare(sql, statement)) return false;
  sqlite3_stmt* stmt = statement.get();

  int columns = sqlite3_column_count(stmt);
  std::vector<std::string> keys;
  std::vector<std::string> const* given = sql.keys();
  if (!given || given->size() != static_cast<size_t>(columns)) {
    given = &keys;
    keys.reserve(columns);
    for (int c = 0; c < columns; ++c) {
      char const* name = sqlite3_column_name(stmt, c);
      keys.emplace_back(name ? name : "");
    }
  }
  std::vector<Column_Kind> kinds(columns);
  for (int c = 0; c < columns; ++c) kinds[c] = column_kind(stmt, c);
  Result_Delivery delivery(*this, printer, mode, handler);
  if (!delivery.names(*given)) return fail("query " + delivery.stop_reason());

  int row = 0;
  for (;;) {
    if (limit > 0 && row >= limit) break;
    int rc = sqlite3_step(stmt);
    if (rc == SQLITE_DONE) break;
    if (rc != SQLITE_ROW) return fail(sqlite3_errmsg(db_));
    if (!delivery.begin_row(row)) return fail("query " + delivery.stop_reason());
    for (int c = 0; c < columns; ++c) {
      if (!delivery.wanted(c)) continue;
      bool ok = true;
      int type = sqlite3_column_type(stmt, c);
      // A column declared JSON has numeric affinity: a document that is a
      // bare number was stored as one, and is read back as its text.
      if (kinds[c] == json_column && (type == SQLITE_INTEGER || type == SQLITE_FLOAT)) type = SQLITE_TEXT;
      switch (type) {
        case SQLITE_INTEGER: {
          sqlite3_int64 v = sqlite3_column_int64(stmt, c);
          switch (kinds[c]) {
            case boolean_column:
              ok = delivery.value_bool(c, v != 0);
              break;
            case unsigned_column:
              ok = delivery.value_unsigned(c, static_cast<unsigned long long>(v));
              break;
            case json_column:
            case plain_column:
              ok = delivery.value_integer(c, v);
              break;
          }
          break;
        }
        case SQLITE_FLOAT:
          ok = delivery.value_double(c, sqlite3_column_double(stmt, c));
          break;
        case SQLITE_TEXT: {
          char const* text = reinterpret_cast<char const*>(sqlite3_column_text(stmt, c));
          size_t length = static_cast<size_t>(sqlite3_column_bytes(stmt, c));
          ok = kinds[c] == json_column ? delivery.value_json(c, text ? text : "", length)
                                       : delivery.value_text(c, text ? text : "", length);
          break;
        }
        case SQLITE_BLOB: {
          static unsigned char const empty = 0;
          unsigned char const* data = static_cast<unsigned char const*>(sqlite3_column_blob(stmt, c));
          ok = delivery.value_binary(c, data ? data : &empty, static_cast<size_t>(sqlite3_column_bytes(stmt, c)));
          break;
        }
        default:
          ok = delivery.value_null(c);
          break;
      }
      if (!ok) return fail("query " + delivery.stop_reason());
    }
    if (!delivery.end_row(row)) return fail("query " + delivery.stop_reason());
    ++row;
  }
  if (!delivery.end(row)) return fail("query " + delivery.stop_reason());
  clear_error();
  return true;
}

bool SQLite_Connection::execute(SQL const& sql, long long* affected) {
  Statement statement;
  if (!prepare(sql, statement)) return false;
  int rc;
  while ((rc = sqlite3_step(statement.get())) == SQLITE_ROW) {
  }
  if (rc != SQLITE_DONE) return fail(sqlite3_errmsg(db_));
  if (affected) *affected = sqlite3_changes64(db_);
  clear_error();
  return true;
}

bool SQLite_Connection::execute_script(std::string const& script) {
  if (!db_) return fail("the SQLite database is not open");
  if (!simple(script.c_str())) return false;
  clear_error();
  return true;
}

bool SQLite_Connection::begin() { return db_ ? simple("BEGIN IMMEDIATE") : fail("the SQLite database is not open"); }
bool SQLite_Connection::commit() { return db_ ? simple("COMMIT") : fail("the SQLite database is not open"); }
bool SQLite_Connection::rollback() { return db_ ? simple("ROLLBACK") : fail("the SQLite database is not open"); }

long long SQLite_Connection::last_insert_id() const { return db_ ? sqlite3_last_insert_rowid(db_) : 0; }

}  // namespace sql
}  // namespace database
