#ifndef SERVER_PIECE_VIEW_H
#define SERVER_PIECE_VIEW_H

#include <string>

#include "platform/json/value.h"
#include "server/catalog_error.h"

namespace database {
namespace sql {
class Connection;
}
}  // namespace database

// The piece views of module "backup_set", over the pieces of one complete
// set (param uuid). Paths compare byte by byte on both engines.
//
// "pieces": the set's pieces by path (then by id), a page per call: limit
// (default 1000, at most 10000), cursor or offset; {"rows", "next"}.
//
// "children": the entries right inside a directory (param dir; "" is the
// root, and so is "/" unless the set has a directory of that name; see
// Piece_Path::directories), by path, directories before a piece of the same
// path, a page per call with limit and cursor. An entry is
// {"type": "dir", "name", "path", "pieces", "size"} (pieces and bytes
// anywhere beneath) or {"type": "file", "name", "path", "id", "object",
// "size", "extended_attrs"}. The first page reads two index ranges, so it
// costs the same in a set of ten pieces or ten million.
//
// "path": the entries of one path (param path): the directory of that path
// if there is one, then every piece stored under it.
class Piece_View {
 public:
  static bool answer(database::sql::Connection& c, std::string const& view, json_spirit::Object const& params,
                     json_spirit::Value& result, Catalog_Error& error);
};

#endif
