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
  // The directories a caller may mean by `given`, most literal first: the
  // name itself, then, when it ends in '/', the name without it ("/" also
  // names the root, ""). A path may hold "//", so "/" and "a/" can be
  // directories of their own.
  static std::vector<std::string> directories(std::string const& given);
};

#endif
