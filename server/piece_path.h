#ifndef SERVER_PIECE_PATH_H
#define SERVER_PIECE_PATH_H

#include <string>
#include <vector>

// How the catalogue splits a piece's path into directories, so that the
// pieces of a set can be browsed one directory at a time. Only '/' separates:
// a piece's directory is its path up to the last '/' ("" when it has none,
// the root), and its name what follows. The directories above a path are
// its prefixes that end before each '/' but the first character.
class Piece_Path {
 public:
  static std::string dir(std::string const& path);
  static std::string name(std::string const& path);
  // The directories that hold `path`, innermost last, the root left out:
  // "/a/b/c" is in "/a" and "/a/b".
  static std::vector<std::string> ancestors(std::string const& path);
  // A directory as the caller names it: "/" and "" are the root, and a
  // trailing '/' is dropped ("/a/b/" is "/a/b").
  static std::string directory(std::string const& given);
};

#endif
