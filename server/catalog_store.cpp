#include "server/catalog_store.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>

#include "backup/backup_set/common/backup_piece.h"
#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kind.h"
#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/backup_set_result_handler.h"
#include "backup/backup_set/common/backup_set_state.h"
#include "platform/database/pg_connection.h"
#include "platform/database/printer_array_guard.h"
#include "platform/database/query_result_value_printer.h"
#include "platform/database/sqlite_connection.h"
#include "platform/json/json_text.h"
#include "platform/sql/select_sql.h"
#include "platform/sql/sql.h"
#include "platform/sql/uuid_binary.h"
#include "schema/catalog_schema.h"
#include "server/piece_loader.h"
#include "server/piece_view.h"
#include "server/restore_plan_view.h"
#include "server/set_document_validator.h"
#include "server/set_view.h"

using database::sql::Connection;
using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

// The catalogue's name as messages show it: a PostgreSQL URI without its
// password, since messages reach clients and logs.
std::string shown(std::string const& db) {
  size_t const scheme = db.find("://");
  if (scheme == std::string::npos) return db;
  size_t const at = db.find('@', scheme + 3);
  size_t const colon = db.find(':', scheme + 3);
  if (at == std::string::npos || colon == std::string::npos || colon > at) return db;
  return db.substr(0, colon + 1) + "***" + db.substr(at);
}

typedef Set_Document_Validator::Member Member;

char const kStaged[] = "staged";
char const kComplete[] = "complete";

Binding_Value uuid_binding(std::string const& text) {
  std::basic_string<unsigned char> bytes;
  if (text.empty() || !UUID_Binary::parse(text, bytes)) return Binding_Value();
  return Binding_Value(bytes);
}

Value const* find(Object const& o, char const* key) {
  auto it = o.find(key);
  return it == o.end() ? nullptr : &it->second;
}

// A checked member as the value of its column. Members the document lacks
// are null, except the integers, whose columns default to 0.
Binding_Value member_binding(Set_Document_Validator::Kind kind, Value const* v) {
  switch (kind) {
    case Set_Document_Validator::TEXT:
    case Set_Document_Validator::TIME: return v ? Binding_Value(v->get_str()) : Binding_Value();
    case Set_Document_Validator::UUID: return v ? uuid_binding(v->get_str()) : Binding_Value();
    case Set_Document_Validator::INTEGER: return Binding_Value(v ? v->get_int64() : 0LL);
    case Set_Document_Validator::OBJECT: return v ? Binding_Value(JSON_Dump(*v)) : Binding_Value();
  }
  return Binding_Value();
}

// Parameter names are the column names, which are plain identifiers.
std::string param(char const* column) { return std::string(":") + column; }

// The application part as its column's value (null when there is none).
Binding_Value application_binding(Object const& application) {
  return application.empty() ? Binding_Value() : Binding_Value(JSON_Dump(Value(application)));
}

// The set's own row: the common members, the module, the status, the
// parents and the application part.
bool insert_set(Connection& c, Object const& doc, char const* status, Object const& application) {
  static std::string const text = [] {
    std::string columns = "uuid,catalog_module,status,parents,application",
                values = ":uuid,:catalog_module,:status,:parents,:application";
    for (Member const& m : Set_Document_Validator::set_members()) {
      if (std::string(m.key) == "uuid") continue;
      columns += std::string(",") + m.key;
      values += "," + param(m.key);
    }
    return "INSERT INTO backup_set(" + columns + ") VALUES(" + values + ")";
  }();
  SQL sql(text);
  Value const* module = find(doc, "catalog_module");
  Value const* parents = find(doc, "parents");
  sql.bind(":uuid", uuid_binding(doc.at("uuid").get_str()))
      .bind(":catalog_module", Binding_Value(module ? module->get_str() : std::string()))
      .bind(":status", Binding_Value(status))
      .bind(":parents", parents ? Binding_Value(JSON_Dump(*parents)) : Binding_Value())
      .bind(":application", application_binding(application));
  for (Member const& m : Set_Document_Validator::set_members())
    if (std::string(m.key) != "uuid") sql.bind(param(m.key), member_binding(m.kind, find(doc, m.key)));
  return c.execute(sql);
}

// Sets the columns of the members the document holds (and the status and
// the application part, when given); the uuid names the row and is never
// changed.
bool update_set(Connection& c, Binding_Value const& uuid, Object const& doc, char const* status,
                Object const* application) {
  std::string sets;
  SQL sql;
  auto add = [&sets, &sql](char const* column, Binding_Value const& value) {
    if (!sets.empty()) sets += ",";
    sets += std::string(column) + "=" + param(column);
    sql.bind(param(column), value);
  };
  if (Value const* v = find(doc, "catalog_module")) add("catalog_module", Binding_Value(v->get_str()));
  if (Value const* v = find(doc, "parents")) add("parents", Binding_Value(JSON_Dump(*v)));
  if (status) add("status", Binding_Value(status));
  if (application) add("application", application_binding(*application));
  for (Member const& m : Set_Document_Validator::set_members()) {
    if (std::string(m.key) == "uuid") continue;
    if (Value const* v = find(doc, m.key)) add(m.key, member_binding(m.kind, v));
  }
  if (sets.empty()) return true;
  sql.set_text("UPDATE backup_set SET " + sets + " WHERE uuid=:uuid");
  sql.bind(":uuid", uuid);
  return c.execute(sql);
}

// A key of the application part as the value of its member-table column.
Binding_Value column_binding(Kind_Field const& f, Value const* v) {
  if (!v) return Binding_Value();
  switch (f.type) {
    case Kind_Field::TEXT:
    case Kind_Field::TIME: return Binding_Value(v->get_str());
    case Kind_Field::U32:
    case Kind_Field::I32:
    case Kind_Field::I64: return Binding_Value(v->get_int64());
    case Kind_Field::U64:
      return Binding_Value::unsigned_integer(v->is_uint64() ? v->get_uint64()
                                                            : static_cast<unsigned long long>(v->get_int64()));
    case Kind_Field::BOOL:
      // A flag the kind reads back as an integer lives in an integer column.
      if (f.flags & Kind_Field::INTAKE_INT) return Binding_Value(v->get_bool() ? 1LL : 0LL);
      return Binding_Value(v->get_bool());
    case Kind_Field::ARRAY:
    case Kind_Field::OBJECT:
    case Kind_Field::CUSTOM: return Binding_Value(JSON_Dump(*v));
  }
  return Binding_Value();
}

// The kind's member-table rows: what its select statement reads, taken
// from the application part. A table none of whose keys the document holds
// gets no row (the statement's LEFT JOIN reads the set all the same).
bool replace_member_row(Connection& c, Binding_Value const& set, Backup_Set_Kind const* kind,
                        Object const& application) {
  if (!kind) return true;
  for (Backup_Set_Kind::Member_Table const& t : kind->member_tables()) {
    std::string table = t.table;
    SQL del("DELETE FROM " + table + " WHERE set_uuid=:set_uuid");
    del.bind(":set_uuid", set);
    if (!c.execute(del)) return false;
    std::string columns = "set_uuid", values = ":set_uuid";
    SQL sql;
    sql.bind(":set_uuid", set);
    bool any = false;
    for (Kind_Field const* f : t.columns) {
      // The key column is the set's own uuid, whatever the kind's key of
      // that name holds (the statement joins on it).
      if (std::strcmp(f->key, "set_uuid") == 0) continue;
      auto it = application.find(f->key);
      any = any || it != application.end();
      columns += std::string(",") + f->key;
      values += "," + param(f->key);
      sql.bind(param(f->key), column_binding(*f, it == application.end() ? nullptr : &it->second));
    }
    if (!any) continue;
    sql.set_text("INSERT INTO " + table + "(" + columns + ") VALUES(" + values + ")");
    if (!c.execute(sql)) return false;
  }
  return true;
}

// The storage objects of a document: its "storage", or its "storages".
std::vector<Value const*> storages_of(Object const& doc) {
  std::vector<Value const*> out;
  if (Value const* one = find(doc, "storage")) out.push_back(one);
  if (Value const* many = find(doc, "storages"))
    for (Value const& s : many->get_array()) out.push_back(&s);
  return out;
}

bool has_storages(Object const& doc) { return find(doc, "storage") || find(doc, "storages"); }

bool replace_storages(Connection& c, Binding_Value const& set, std::vector<Value const*> const& storages) {
  SQL del("DELETE FROM backup_set_storage WHERE set_uuid=:set_uuid");
  del.bind(":set_uuid", set);
  if (!c.execute(del)) return false;
  SQL sql(
      "INSERT INTO backup_set_storage(set_uuid,pool_uuid,size,state,upstream_pool_uuid,extended_attrs) "
      "VALUES(:set_uuid,:pool_uuid,:size,:state,:upstream_pool_uuid,:extended_attrs)");
  sql.bind(":set_uuid", set);
  for (Value const* s : storages) {
    Object const& o = s->get_obj();
    Value const* size = find(o, "size");
    Value const* state = find(o, "state");
    Value const* upstream = find(o, "upstream_pool_uuid");
    Value const* attrs = find(o, "extended_attrs");
    unsigned long long bits = state ? Backup_Set_State(state->get_array()).bits() : 0;
    sql.bind(":pool_uuid", uuid_binding(o.at("pool_uuid").get_str()))
        .bind(":size", Binding_Value(size ? size->get_int64() : 0LL))
        .bind(":state", Binding_Value(static_cast<long long>(bits)))
        .bind(":upstream_pool_uuid", upstream ? uuid_binding(upstream->get_str()) : Binding_Value())
        .bind(":extended_attrs", attrs ? Binding_Value(JSON_Dump(*attrs)) : Binding_Value());
    if (!c.execute(sql)) return false;
  }
  return true;
}

// The status of a set ("" when there is none). PostgreSQL locks the row for
// the rest of the transaction; SQLite's writers are serialised already.
bool status_of(Connection& c, Binding_Value const& uuid, std::string& status) {
  SQL sql(c.dialect() == Dialect::PostgreSQL ? "SELECT status FROM backup_set WHERE uuid=:uuid FOR UPDATE"
                                             : "SELECT status FROM backup_set WHERE uuid=:uuid");
  sql.bind(":uuid", uuid);
  Value v;
  if (!c.query_value(sql, v)) return false;
  status = v.type() == json_spirit::str_type ? v.get_str() : std::string();
  return true;
}

bool delete_set(Connection& c, Binding_Value const& uuid) {
  // Pieces, storages and media go with it (ON DELETE CASCADE).
  SQL sql("DELETE FROM backup_set WHERE uuid=:uuid");
  sql.bind(":uuid", uuid);
  return c.execute(sql);
}

// The advisory lock of a set's writers: FNV-1a of its uuid bytes, the same
// in every server process.
long long set_lock_key(std::string const& bytes) {
  unsigned long long h = 1469598103934665603ULL;
  for (char b : bytes) {
    h ^= static_cast<unsigned char>(b);
    h *= 1099511628211ULL;
  }
  return static_cast<long long>(h);
}

long long now_seconds() { return static_cast<long long>(std::time(nullptr)); }

// A staged set's last write, which its expiry counts from.
bool touch(Connection& c, Binding_Value const& uuid) {
  SQL sql("UPDATE backup_set SET touched_time=:now WHERE uuid=:uuid");
  sql.bind(":now", Binding_Value(now_seconds())).bind(":uuid", uuid);
  return c.execute(sql);
}

// Records a batch of pieces under its key; `fresh` is false when the set
// has taken a batch of that key before.
bool record_batch(Connection& c, Binding_Value const& uuid, std::string const& batch, size_t pieces, bool& fresh) {
  SQL add(
      "INSERT INTO backup_piece_batch(set_uuid,batch,pieces) VALUES(:set_uuid,:batch,:pieces) "
      "ON CONFLICT(set_uuid,batch) DO NOTHING");
  add.bind(":set_uuid", uuid).bind(":batch", Binding_Value(batch)).bind(":pieces",
                                                                         Binding_Value(static_cast<long long>(pieces)));
  long long added = 0;
  if (!c.execute(add, &added)) return false;
  fresh = added > 0;
  return true;
}

// The pieces an initialize brings are a batch of their own, under a key no
// client can give (clients' keys are never empty), so a retried initialize
// does not add them twice.
char const kInitializeBatch[] = "";

bool invalid(Catalog_Error& error, std::string const& why) { return error.set(Catalog_Error::INVALID_PARAMS, why); }

}  // namespace

class Catalog_Store::Lease {
 public:
  Lease(Catalog_Store& store, std::string& error) : store_(store) {
    {
      std::unique_lock<std::mutex> lock(store_.pool_mutex_);
      if (store_.max_connections_ > 0)
        store_.pool_freed_.wait(lock, [this] { return store_.leased_ < store_.max_connections_; });
      ++store_.leased_;
      if (!store_.idle_.empty()) {
        connection_ = std::move(store_.idle_.back());
        store_.idle_.pop_back();
      }
    }
    if (!connection_) connection_ = store_.connect(error);
  }
  ~Lease() {
    {
      std::lock_guard<std::mutex> lock(store_.pool_mutex_);
      --store_.leased_;
      // A connection whose session broke is dropped; the next lease opens anew.
      if (connection_ && connection_->is_open()) store_.idle_.push_back(std::move(connection_));
    }
    store_.pool_freed_.notify_one();
  }
  Lease(Lease const&) = delete;
  Lease& operator=(Lease const&) = delete;

  explicit operator bool() const { return connection_ != nullptr; }
  // Drops the connection held for a new one.
  bool renew(std::string& error) {
    connection_ = store_.connect(error);
    return connection_ != nullptr;
  }
  Connection& operator*() const { return *connection_; }
  Connection* operator->() const { return connection_.get(); }

 private:
  Catalog_Store& store_;
  std::unique_ptr<Connection> connection_;
};

Catalog_Store::Catalog_Store(std::string db, bool postgres) : db_(std::move(db)), postgres_(postgres) {}

Catalog_Store::~Catalog_Store() = default;

std::unique_ptr<Connection> Catalog_Store::connect(std::string& error) const {
  std::unique_ptr<Connection> c;
  if (postgres_)
    c = std::make_unique<database::sql::PG_Connection>(db_);
  else
    c = std::make_unique<database::sql::SQLite_Connection>(db_);
  if (!c->is_open()) {
    error = "cannot open the catalogue '" + shown(db_) + "': " + c->last_error();
    return nullptr;
  }
  return c;
}

std::unique_ptr<Catalog_Store> Catalog_Store::open(std::string const& db, std::string& error, int max_connections) {
  bool postgres = db.rfind("postgresql://", 0) == 0 || db.rfind("postgres://", 0) == 0;
  std::unique_ptr<Catalog_Store> store(new Catalog_Store(db, postgres));
  store->max_connections_ = max_connections;
  std::unique_ptr<Connection> c = store->connect(error);
  if (!c) return nullptr;
  if (!Catalog_Schema::create(*c)) {
    error = "cannot create the catalogue tables in '" + shown(db) + "': " + c->last_error();
    return nullptr;
  }
  store->idle_.push_back(std::move(c));
  return store;
}

template <typename Body>
bool Catalog_Store::write(Binding_Value const& set, Catalog_Error& error, Body body) {
  // SQLite has one writer at a time anyway; PostgreSQL runs writes of
  // different sets side by side, but two writes of one set (a commit and
  // its retry) would both find no row and both insert it.
  std::mutex& lock = postgres_ ? set_locks_[std::hash<std::string>()(set.bytes()) % set_locks_.size()] : write_mutex_;
  std::lock_guard<std::mutex> writer(lock);
  std::string why;
  Lease c(*this, why);
  if (!c) return error.set(Catalog_Error::STORAGE_FAILED, why);
  if (!c->begin()) {
    // A pooled session the database has ended (a restart, a terminated
    // backend) fails here, before anything was done: once more on a new one.
    if (!c.renew(why)) return error.set(Catalog_Error::STORAGE_FAILED, why);
    if (!c->begin()) return error.set(Catalog_Error::STORAGE_FAILED, c->last_error());
  }
  if (postgres_) {
    // Other servers over the same catalogue write too: writers of one set
    // take turns across all of them, so two first commits of a uuid do not
    // race to insert it.
    SQL turn("SELECT pg_advisory_xact_lock(:key)");
    turn.bind(":key", Binding_Value(set_lock_key(set.bytes())));
    Value ignored;
    if (!c->query_value(turn, ignored)) {
      std::string failure = c->last_error();
      c->rollback();
      return error.set(Catalog_Error::STORAGE_FAILED, failure);
    }
  }
  if (!body(*c)) {
    std::string failure = c->last_error();
    c->rollback();
    if (error.code == Catalog_Error::NONE) error.set(Catalog_Error::STORAGE_FAILED, failure);
    return false;
  }
  if (!c->commit()) {
    std::string failure = c->last_error();
    c->rollback();
    return error.set(Catalog_Error::STORAGE_FAILED, failure);
  }
  return true;
}

bool Catalog_Store::check(Set_Document const& doc, Catalog_Error& error) {
  std::string why;
  if (!Set_Document_Validator::validate_set(doc.common(), true, why) ||
      !Set_Document_Validator::validate_application(doc.kind(), doc.application(), why))
    return invalid(error, why);
  return true;
}

bool Catalog_Store::initialize(Set_Document const& doc, Catalog_Error& error) {
  if (!check(doc, error)) return false;
  Object const& o = doc.common().get_obj();
  std::string const& uuid = o.at("uuid").get_str();
  Binding_Value key = uuid_binding(uuid);
  Value const* pieces = find(o, "pieces");
  return write(key, error, [&](Connection& c) {
    std::string status;
    if (!status_of(c, key, status)) return false;
    if (status == kComplete) return error.set(Catalog_Error::CONFLICT, "uuid: set " + uuid + " is complete already");
    if (status.empty()) {
      if (!insert_set(c, o, kStaged, doc.application())) return false;
    } else if (!update_set(c, key, o, nullptr, &doc.application())) {
      return false;
    }
    if (!touch(c, key) || !replace_member_row(c, key, doc.kind(), doc.application())) return false;
    if (has_storages(o) && !replace_storages(c, key, storages_of(o))) return false;
    if (!pieces) return true;
    bool fresh = true;
    if (!record_batch(c, key, kInitializeBatch, pieces->get_array().size(), fresh)) return false;
    return !fresh || Piece_Loader::append(c, key, pieces->get_array());
  });
}

bool Catalog_Store::add_pieces(std::string const& uuid, Value const& pieces, std::string const& batch,
                               bool& duplicate, Catalog_Error& error) {
  std::string why;
  duplicate = false;
  if (!Set_Document_Validator::is_uuid(uuid)) return invalid(error, "uuid: not a UUID");
  if (!Set_Document_Validator::validate_pieces(pieces, "pieces", why)) return invalid(error, why);
  Binding_Value key = uuid_binding(uuid);
  return write(key, error, [&](Connection& c) {
    std::string status;
    if (!status_of(c, key, status)) return false;
    if (status.empty()) return error.set(Catalog_Error::NOT_FOUND, "uuid: no staged set " + uuid);
    bool fresh = true;
    if (!batch.empty() && !record_batch(c, key, batch, pieces.get_array().size(), fresh)) return false;
    if (!fresh) {
      duplicate = true;
      return true;
    }
    if (status != kStaged) return error.set(Catalog_Error::CONFLICT, "uuid: set " + uuid + " is not staged");
    return touch(c, key) && Piece_Loader::append(c, key, pieces.get_array());
  });
}

bool Catalog_Store::complete(Set_Document const& doc, Catalog_Error& error) {
  if (!check(doc, error)) return false;
  Object const& o = doc.common().get_obj();
  std::string const& uuid = o.at("uuid").get_str();
  Binding_Value key = uuid_binding(uuid);
  Value const* pieces = find(o, "pieces");
  return write(key, error, [&](Connection& c) {
    std::string status;
    if (!status_of(c, key, status)) return false;
    if (status.empty()) return error.set(Catalog_Error::NOT_FOUND, "uuid: no staged set " + uuid);
    bool retry = status == kComplete;
    if (!update_set(c, key, o, kComplete, &doc.application())) return false;
    if (!replace_member_row(c, key, doc.kind(), doc.application())) return false;
    if (has_storages(o) && !replace_storages(c, key, storages_of(o))) return false;
    return retry || !pieces || Piece_Loader::append(c, key, pieces->get_array());
  });
}

bool Catalog_Store::abort(std::string const& uuid, Array& pieces, Catalog_Error& error) {
  if (!Set_Document_Validator::is_uuid(uuid)) return invalid(error, "uuid: not a UUID");
  Binding_Value key = uuid_binding(uuid);
  Array staged;
  bool ok = write(key, error, [&](Connection& c) {
    std::string status;
    if (!status_of(c, key, status)) return false;
    if (status.empty()) return error.set(Catalog_Error::NOT_FOUND, "uuid: no staged set " + uuid);
    if (status != kStaged)
      return error.set(Catalog_Error::CONFLICT, "uuid: set " + uuid + " is complete; only staged sets are aborted");
    SQL sql("SELECT path, object, size, extended_attrs FROM backup_piece WHERE set_uuid=:set_uuid ORDER BY id");
    sql.bind(":set_uuid", key);
    static Key2_Value_T<int> const json_attrs[] = {{"extended_attrs", 4}, {nullptr, 0}};
    database::sql::Query_Result_Handler handler(nullptr, json_attrs, -1, -1);
    return c.query_rows(sql, staged, &handler) && delete_set(c, key);
  });
  if (ok) pieces = std::move(staged);
  return ok;
}

bool Catalog_Store::commit(Set_Document const& doc, Catalog_Error& error) {
  if (!check(doc, error)) return false;
  Object const& o = doc.common().get_obj();
  Binding_Value key = uuid_binding(o.at("uuid").get_str());
  Value const* pieces = find(o, "pieces");
  return write(key, error, [&](Connection& c) {
    // Whatever was stored under this uuid (an earlier attempt of the same
    // commit, or a staged set) is replaced, not duplicated.
    return delete_set(c, key) && insert_set(c, o, kComplete, doc.application()) &&
           replace_member_row(c, key, doc.kind(), doc.application()) && replace_storages(c, key, storages_of(o)) &&
           (!pieces || Piece_Loader::append(c, key, pieces->get_array()));
  });
}

bool Catalog_Store::update(std::string const& uuid, Value const& doc, Set_Document::Later_Values const& later,
                           Catalog_Error& error) {
  std::string why;
  if (!Set_Document_Validator::is_uuid(uuid)) return invalid(error, "uuid: not a UUID");
  if (doc.type() != json_spirit::obj_type) {
    Set_Document_Validator::validate_set(doc, false, why);
    return invalid(error, why);
  }
  Object const& given = doc.get_obj();
  if (Value const* inner = find(given, "uuid")) {
    if (inner->type() != json_spirit::str_type || uuid_binding(inner->get_str()) != uuid_binding(uuid))
      return invalid(error, "uuid: the document names another set than the request");
  }
  Binding_Value key = uuid_binding(uuid);
  return write(key, error, [&](Connection& c) {
    std::string status;
    if (!status_of(c, key, status)) return false;
    if (status != kComplete) return error.set(Catalog_Error::NOT_FOUND, "uuid: no complete set " + uuid);
    // The stored module and application part: a partial document is split
    // by the set's kind, and its keys of the kind merge into those stored.
    SQL stored("SELECT catalog_module, application FROM backup_set WHERE uuid=:uuid");
    stored.bind(":uuid", key);
    Array rows;
    if (!c.query_rows(stored, rows, nullptr)) return false;
    Object const& row = rows.at(0).get_obj();
    Object merged;
    Value const& text = row.at("application");
    if (text.type() == json_spirit::str_type) {
      Value parsed;
      if (JSON_Parse(text.get_str(), parsed) && parsed.type() == json_spirit::obj_type) merged = parsed.get_obj();
    }
    Object with_module = given;
    if (!find(with_module, "catalog_module")) with_module["catalog_module"] = row.at("catalog_module");
    for (auto const& member : merged)
      if (!find(with_module, member.first.c_str()) && !Set_Document::common_key(member.first))
        with_module[member.first] = member.second;
    Set_Document split(Value(std::move(with_module)), later);
    if (!Set_Document_Validator::validate_set(split.common(), false, why) ||
        !Set_Document_Validator::validate_application(split.kind(), split.application(), why))
      return invalid(error, why);
    for (auto const& member : split.application()) merged[member.first] = member.second;
    Object const& o = split.common().get_obj();
    return update_set(c, key, o, nullptr, &merged) && replace_member_row(c, key, split.kind(), merged) &&
           (!has_storages(o) || replace_storages(c, key, storages_of(o)));
  });
}

bool Catalog_Store::restore_plan(Object const& params, Value& result, Catalog_Error& error) {
  Restore_Plan_View::Request request;
  if (!Restore_Plan_View::parse(params, request, error)) return false;
  std::string why;
  Lease c(*this, why);
  if (!c) return error.set(Catalog_Error::STORAGE_FAILED, why);
  return Restore_Plan_View::answer(*c, request, result, error);
}

bool Catalog_Store::checkpoint(Catalog_Error& error) {
  if (postgres_) return true;
  std::string why;
  Lease c(*this, why);
  if (!c) return error.set(Catalog_Error::STORAGE_FAILED, why);
  // The first column says whether a reader or writer kept the log from
  // being folded in whole (1) or not (0).
  Value busy;
  if (!c->query_value(SQL("PRAGMA wal_checkpoint(TRUNCATE)"), busy))
    return error.set(Catalog_Error::STORAGE_FAILED, c->last_error());
  if (busy.type() == json_spirit::int_type && busy.get_int64() != 0)
    return error.set(Catalog_Error::STORAGE_FAILED, "the write-ahead log is still in use");
  return true;
}

bool Catalog_Store::exists(std::string const& uuid, bool& found, Catalog_Error& error) {
  if (!Set_Document_Validator::is_uuid(uuid)) return invalid(error, "uuid: not a UUID");
  std::string why;
  Lease c(*this, why);
  if (!c) return error.set(Catalog_Error::STORAGE_FAILED, why);
  SQL sql("SELECT 1 FROM backup_set WHERE uuid=:uuid AND status='complete'");
  sql.bind(":uuid", uuid_binding(uuid));
  Value v;
  if (!c->query_value(sql, v)) return error.set(Catalog_Error::STORAGE_FAILED, c->last_error());
  found = !v.is_null();
  return true;
}

bool Catalog_Store::expire_staged(long long max_age, long long now, std::vector<std::string>& aborted,
                                  Catalog_Error& error) {
  Binding_Value cutoff(now - max_age);
  Array rows;
  {
    std::string why;
    Lease c(*this, why);
    if (!c) return error.set(Catalog_Error::STORAGE_FAILED, why);
    SQL sql("SELECT uuid FROM backup_set WHERE status='staged' AND touched_time <= :cutoff");
    sql.bind(":cutoff", cutoff);
    static Key2_Value_T<int> const uuids[] = {{"uuid", database::sql::Query_Result_Handler::VT_UUID}, {nullptr, 0}};
    database::sql::Query_Result_Handler handler(nullptr, uuids, -1, -1);
    if (!c->query_rows(sql, rows, &handler)) return error.set(Catalog_Error::STORAGE_FAILED, c->last_error());
  }
  for (Value const& row : rows) {
    Value const& u = row.get_obj().at("uuid");
    if (u.type() != json_spirit::str_type) continue;
    Binding_Value key = uuid_binding(u.get_str());
    bool gone = false;
    // Looked at again under the set's lock: its agent (on this server or
    // another) may have written to it since.
    bool ok = write(key, error, [&](Connection& c) {
      SQL again("DELETE FROM backup_set WHERE uuid=:uuid AND status='staged' AND touched_time <= :cutoff");
      again.bind(":uuid", key).bind(":cutoff", cutoff);
      long long changed = 0;
      if (!c.execute(again, &changed)) return false;
      gone = changed > 0;
      return true;
    });
    if (!ok) return false;
    if (gone) aborted.push_back(u.get_str());
  }
  return true;
}

bool Catalog_Store::staged_sets(long long& count, long long& oldest_touch, Catalog_Error& error) {
  std::string why;
  Lease c(*this, why);
  if (!c) return error.set(Catalog_Error::STORAGE_FAILED, why);
  Array rows;
  SQL sql("SELECT COUNT(*) AS n, MIN(touched_time) AS oldest FROM backup_set WHERE status='staged'");
  if (!c->query_rows(sql, rows, nullptr) || rows.empty())
    return error.set(Catalog_Error::STORAGE_FAILED, c->last_error());
  auto number = [](Value const& v) -> long long {
    if (v.type() == json_spirit::int_type) return v.get_int64();
    if (v.type() == json_spirit::str_type) return std::atoll(v.get_str().c_str());
    return 0;
  };
  Object const& r = rows[0].get_obj();
  count = number(r.at("n"));
  oldest_touch = number(r.at("oldest"));
  return true;
}

bool Catalog_Store::select(std::string const& module, std::string const& view, Object const& params, Value& result,
                           Catalog_Error& error) {
  if (module != "backup_set") return invalid(error, "module: unknown module '" + module + "'");
  if (view == "restore_plan") return restore_plan(params, result, error);
  bool sets = view == "sets";
  if (!sets && view != "pieces" && view != "children" && view != "path")
    return invalid(error, "view: unknown view '" + view + "' of module 'backup_set'");
  std::string why;
  Lease c(*this, why);
  if (!c) return error.set(Catalog_Error::STORAGE_FAILED, why);
  return sets ? Set_View::answer(*c, params, result, error) : Piece_View::answer(*c, view, params, result, error);
}
