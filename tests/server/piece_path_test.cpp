#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "server/piece_path.h"

using Dirs = std::vector<std::string>;

TEST(PiecePath, NestedAbsolutePath) {
  EXPECT_EQ("/a/b", Piece_Path::dir("/a/b/c"));
  EXPECT_EQ("c", Piece_Path::name("/a/b/c"));
  EXPECT_EQ((Dirs{"/a", "/a/b"}), Piece_Path::ancestors("/a/b/c"));
  EXPECT_EQ(Dirs{"/a/b/c"}, Piece_Path::directories("/a/b/c"));
}

TEST(PiecePath, NameWithoutSlashIsInTheRoot) {
  EXPECT_EQ("", Piece_Path::dir("a"));
  EXPECT_EQ("a", Piece_Path::name("a"));
  EXPECT_EQ(Dirs{}, Piece_Path::ancestors("a"));
  EXPECT_EQ(Dirs{"a"}, Piece_Path::directories("a"));
}

TEST(PiecePath, TopLevelAbsolutePathIsInTheRoot) {
  EXPECT_EQ("", Piece_Path::dir("/a"));
  EXPECT_EQ("a", Piece_Path::name("/a"));
  // The leading '/' does not make a directory of its own.
  EXPECT_EQ(Dirs{}, Piece_Path::ancestors("/a"));
  EXPECT_EQ(Dirs{"/a"}, Piece_Path::directories("/a"));
}

TEST(PiecePath, TrailingSlashGivesAnEmptyNameInsideTheDirectory) {
  EXPECT_EQ("a/b", Piece_Path::dir("a/b/"));
  EXPECT_EQ("", Piece_Path::name("a/b/"));
  EXPECT_EQ((Dirs{"a", "a/b"}), Piece_Path::ancestors("a/b/"));
  // As a directory name, "a/b/" is itself first, then "a/b".
  EXPECT_EQ((Dirs{"a/b/", "a/b"}), Piece_Path::directories("a/b/"));
  EXPECT_EQ((Dirs{"/a/b/", "/a/b"}), Piece_Path::directories("/a/b/"));
}

TEST(PiecePath, DoubleLeadingSlash) {
  EXPECT_EQ("/", Piece_Path::dir("//y"));
  EXPECT_EQ("y", Piece_Path::name("//y"));
  // Only the very first character is skipped when looking for separators.
  EXPECT_EQ(Dirs{"/"}, Piece_Path::ancestors("//y"));
  EXPECT_EQ((Dirs{"//", "/"}), Piece_Path::directories("//"));
}

TEST(PiecePath, EmptyPath) {
  EXPECT_EQ("", Piece_Path::dir(""));
  EXPECT_EQ("", Piece_Path::name(""));
  EXPECT_EQ(Dirs{}, Piece_Path::ancestors(""));
  EXPECT_EQ(Dirs{""}, Piece_Path::directories(""));
}

TEST(PiecePath, SlashNamesItselfFirstThenTheRoot) {
  EXPECT_EQ((Dirs{"/", ""}), Piece_Path::directories("/"));
  EXPECT_EQ(Dirs{""}, Piece_Path::directories(""));
}

TEST(PiecePath, DirAndNameRebuildThePath) {
  for (std::string p : {"/a/b/c", "a", "/a", "a/b/", "//y", "/x/\xc3\xa9t\xc3\xa9/f.txt", "a//b"}) {
    std::string d = Piece_Path::dir(p);
    std::string rebuilt = p.find('/') == std::string::npos ? Piece_Path::name(p) : d + "/" + Piece_Path::name(p);
    EXPECT_EQ(p, rebuilt) << p;
    // The innermost ancestor is the piece's own directory, when it has one.
    Dirs up = Piece_Path::ancestors(p);
    if (!up.empty()) { EXPECT_EQ(d, up.back()) << p; }
    // Each ancestor's own directory is the ancestor before it.
    for (size_t i = 1; i < up.size(); ++i) { EXPECT_EQ(up[i - 1], Piece_Path::dir(up[i])) << p; }
  }
}

TEST(PiecePath, EmptyComponentsInTheMiddleAreKept) {
  EXPECT_EQ("a/", Piece_Path::dir("a//b"));
  EXPECT_EQ("b", Piece_Path::name("a//b"));
  EXPECT_EQ((Dirs{"a", "a/"}), Piece_Path::ancestors("a//b"));
}
