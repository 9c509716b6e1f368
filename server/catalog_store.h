#ifndef SERVER_CATALOG_STORE_H
#define SERVER_CATALOG_STORE_H

#include <array>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/json/value.h"
#include "platform/sql/binding_value.h"
#include "server/catalog_error.h"
#include "server/set_document.h"

namespace database {
namespace sql {
class Connection;
}
}  // namespace database

// The catalogue behind catalogd. Every write runs in one transaction on one
// database::sql::Connection, so a set is never seen half-written; views are
// read through the records' own select statements and result handlers.
// Documents are checked by Set_Document_Validator before anything is written.
//
// A set is "staged" after initialize (and add_piece) and becomes visible to
// views and to exists() only when it is complete (complete, or commit).
// Connections are pooled, one per concurrent request; with SQLite the
// writers take turns in-process instead of queueing on the file lock, with
// PostgreSQL only the writers of the same set do.
class Catalog_Store {
 public:
  // Opens the catalogue named by `db` (an SQLite file path, or a
  // postgresql:// URI) and creates its tables when they are missing. Null,
  // with `error` set, when that fails.
  // At most `max_connections` database connections are open at once
  // (0: one per concurrent request); further requests wait for one.
  static std::unique_ptr<Catalog_Store> open(std::string const& db, std::string& error, int max_connections = 0);
  ~Catalog_Store();
  Catalog_Store(Catalog_Store const&) = delete;
  Catalog_Store& operator=(Catalog_Store const&) = delete;

  // Checks a whole set document (common part and the kind's keys) as
  // initialize, complete and commit do, before anything is written.
  static bool check(Set_Document const& doc, Catalog_Error& error);

  // Each of these stores the application part of the document with the
  // set: whole, as JSON, and in the kind's member table as far as the
  // kind's select statement reads it (Set_Document). A Value is taken as a
  // document without repeated keys.
  //
  // Stores a staged set with its storages and any pieces it already has. A
  // repeated initialize of a staged set updates it; of a complete set is a
  // conflict.
  bool initialize(Set_Document const& doc, Catalog_Error& error);
  bool initialize(json_spirit::Value const& doc, Catalog_Error& error) { return initialize(Set_Document(doc), error); }
  // Appends pieces to a staged set. A batch with a `batch` key (non-empty)
  // is stored once: when the set has taken a batch of that key already (a
  // retry whose first answer was lost), nothing is stored, `duplicate` is
  // set and the call succeeds, even if the set was completed since.
  bool add_pieces(std::string const& uuid, json_spirit::Value const& pieces, std::string const& batch,
                  bool& duplicate, Catalog_Error& error);
  bool add_pieces(std::string const& uuid, json_spirit::Value const& pieces, Catalog_Error& error) {
    bool duplicate = false;
    return add_pieces(uuid, pieces, std::string(), duplicate, error);
  }
  // Takes the set's members from the document, replaces its storages when
  // the document has any, appends the document's pieces, and makes the set
  // visible. Completing a set that is complete already (a retry) updates its
  // members and storages and adds no pieces.
  bool complete(Set_Document const& doc, Catalog_Error& error);
  bool complete(json_spirit::Value const& doc, Catalog_Error& error) { return complete(Set_Document(doc), error); }
  // Removes a staged set; `pieces` gets the pieces it had, in their order.
  bool abort(std::string const& uuid, json_spirit::Array& pieces, Catalog_Error& error);
  // Stores a whole set at once. A set of the same uuid is replaced in the
  // same transaction, so a retried commit leaves exactly one set.
  bool commit(Set_Document const& doc, Catalog_Error& error);
  bool commit(json_spirit::Value const& doc, Catalog_Error& error) { return commit(Set_Document(doc), error); }
  // Changes the members the document holds of a complete set, and its
  // storages when the document has any; pieces are left as they are. The
  // kind's keys it holds are merged into those stored.
  bool update(std::string const& uuid, json_spirit::Value const& doc, Set_Document::Later_Values const& later,
              Catalog_Error& error);
  bool update(std::string const& uuid, json_spirit::Value const& doc, Catalog_Error& error) {
    return update(uuid, doc, Set_Document::Later_Values(), error);
  }
  // A view of module "backup_set": "sets" (Set_View), "pieces", "children"
  // and "path" (Piece_View), each answering {"rows": [...]} a page at a
  // time, and "restore_plan" (Restore_Plan_View; the plan itself).
  bool select(std::string const& module, std::string const& view, json_spirit::Object const& params,
              json_spirit::Value& result, Catalog_Error& error);
  // Whether a complete set of this uuid is stored.
  bool exists(std::string const& uuid, bool& found, Catalog_Error& error);

  // Aborts the staged sets not written to for `max_age` seconds or more
  // before `now` (seconds since the epoch); `aborted` gets their uuids.
  // Safe beside other servers on the same catalogue: each set is checked
  // again under its lock before it goes.
  bool expire_staged(long long max_age, long long now, std::vector<std::string>& aborted, Catalog_Error& error);
  // How many staged sets there are, and the oldest one's last write
  // (seconds since the epoch; 0 when there are none).
  bool staged_sets(long long& count, long long& oldest_touch, Catalog_Error& error);

  // Folds SQLite's write-ahead log back into the catalogue file, so that
  // the file alone holds every stored set (a copy of it is a whole
  // catalogue). Nothing to do on PostgreSQL. False, with `error`, when the
  // log could not be folded in whole.
  bool checkpoint(Catalog_Error& error);

  bool postgres() const { return postgres_; }

 private:
  class Lease;
  friend class Lease;

  Catalog_Store(std::string db, bool postgres);
  std::unique_ptr<database::sql::Connection> connect(std::string& error) const;
  bool restore_plan(json_spirit::Object const& params, json_spirit::Value& result, Catalog_Error& error);
  // Runs `body` inside one transaction on a pooled connection, with the
  // writes of the same set taking turns.
  template <typename Body>
  bool write(Binding_Value const& set, Catalog_Error& error, Body body);

  std::string db_;
  bool postgres_;
  std::mutex pool_mutex_;
  std::condition_variable pool_freed_;
  std::vector<std::unique_ptr<database::sql::Connection>> idle_;
  int max_connections_ = 0;
  int leased_ = 0;
  std::mutex write_mutex_;
  std::array<std::mutex, 64> set_locks_;
};

#endif
