#ifndef SERVER_PIECE_LOADER_H
#define SERVER_PIECE_LOADER_H

#include "platform/json/value.h"
#include "platform/sql/binding_value.h"

namespace database {
namespace sql {
class Connection;
}
}  // namespace database

// Appends checked pieces to a set inside the caller's transaction: their
// rows, and the counts and sizes of the directories above them. PostgreSQL
// takes the rows by COPY, SQLite by prepared multi-row INSERTs; both stream
// the batch, so the memory used does not grow with it.
class Piece_Loader {
 public:
  static bool append(database::sql::Connection& c, Binding_Value const& set, json_spirit::Array const& pieces);
};

#endif
