#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "server/page_cursor.h"

namespace {

using Fields = std::vector<std::string>;

std::string hex_of(std::string const& raw) {
  static char const digits[] = "0123456789abcdef";
  std::string out;
  for (char ch : raw) {
    unsigned char b = static_cast<unsigned char>(ch);
    out += digits[b >> 4];
    out += digits[b & 0xf];
  }
  return out;
}

// Decodes `token` as view `view` with `count` fields into `out`.
bool decodes(std::string const& token, std::string const& view, size_t count, Fields& out) {
  out.clear();
  return Page_Cursor::decode(token, view, count, out);
}

}  // namespace

TEST(PageCursor, RoundTripKeepsEveryByte) {
  std::string all_bytes;
  for (int b = 0; b < 256; ++b) all_bytes += static_cast<char>(b);
  std::vector<Fields> cases = {
      {},
      {""},
      {"", "", ""},
      {"plain", "42"},
      {"a:b", "1:x", ":", "::::"},
      {std::string("nul\0inside", 10), std::string(1, '\0'), "line\nbreak\r\n"},
      {"tab\there", "\\N", "'quote'\"", "\xf0\x9f\x98\x80 emoji \xc3\xa9"},
      {all_bytes, std::string(5000, 'x') + ":" + std::string(3, '\0')},
  };
  for (Fields const& fields : cases) {
    std::string token = Page_Cursor::encode("view-1", fields);
    // Safe in a URL query as it is.
    for (char ch : token) { EXPECT_TRUE((ch >= '0' && ch <= '9') || (ch >= 'a' && ch <= 'f')) << token; }
    Fields back;
    ASSERT_TRUE(decodes(token, "view-1", fields.size(), back)) << token;
    EXPECT_EQ(fields, back);
  }
}

TEST(PageCursor, ViewNameWithSeparatorsRoundTrips) {
  std::string view = std::string("children:/a:b\n\0", 15);
  Fields fields = {"/a:b/c", "file", "7"};
  Fields back;
  ASSERT_TRUE(decodes(Page_Cursor::encode(view, fields), view, 3, back));
  EXPECT_EQ(fields, back);
  EXPECT_FALSE(decodes(Page_Cursor::encode(view, fields), "children:/a:b", 3, back));
}

TEST(PageCursor, TokenOfAnotherViewIsRefused) {
  std::string token = Page_Cursor::encode("sets", {"T", "2024-01-01 00:00:00", "x"});
  Fields back;
  EXPECT_FALSE(decodes(token, "pieces", 3, back));
  EXPECT_FALSE(decodes(token, "set", 3, back));
  EXPECT_FALSE(decodes(token, "setsT", 2, back));
  EXPECT_FALSE(decodes(token, "", 3, back));
  EXPECT_TRUE(decodes(token, "sets", 3, back));
  // Another directory's cursor is another view.
  std::string child = Page_Cursor::encode("children:/a", {"/a/x", "dir", "0"});
  EXPECT_FALSE(decodes(child, "children:/b", 3, back));
  EXPECT_FALSE(decodes(child, "children:/a/x", 3, back));
  EXPECT_TRUE(decodes(child, "children:/a", 3, back));
}

TEST(PageCursor, WrongFieldCountIsRefused) {
  std::string token = Page_Cursor::encode("pieces", {"/p", "12"});
  Fields back;
  EXPECT_FALSE(decodes(token, "pieces", 1, back));
  EXPECT_FALSE(decodes(token, "pieces", 3, back));
  EXPECT_FALSE(decodes(token, "pieces", 0, back));
  EXPECT_TRUE(decodes(token, "pieces", 2, back));
  EXPECT_EQ((Fields{"/p", "12"}), back);
}

TEST(PageCursor, OddLengthIsRefused) {
  std::string token = Page_Cursor::encode("pieces", {"/p", "12"});
  Fields back;
  EXPECT_FALSE(decodes(token.substr(0, token.size() - 1), "pieces", 2, back));
  EXPECT_FALSE(decodes(token + "0", "pieces", 2, back));
  EXPECT_FALSE(decodes("a", "pieces", 2, back));
}

TEST(PageCursor, NonHexIsRefused) {
  std::string token = Page_Cursor::encode("pieces", {"/p", "12"});
  Fields back;
  for (char bad : {'g', 'z', ' ', '-', ':', '\0', 'G'}) {
    for (size_t at : {size_t(0), size_t(1), token.size() - 1}) {
      std::string t = token;
      t[at] = bad;
      EXPECT_FALSE(decodes(t, "pieces", 2, back)) << "'" << bad << "' at " << at;
    }
  }
  EXPECT_FALSE(decodes("not a cursor", "pieces", 2, back));
}

TEST(PageCursor, TruncatedTokensAreRefused) {
  std::string token = Page_Cursor::encode("pieces", {"/some/path", "123"});
  Fields back;
  // Every whole-byte prefix but the token itself lacks something.
  for (size_t n = 0; n + 2 <= token.size(); n += 2) {
    if (n == token.size()) continue;
    EXPECT_FALSE(decodes(token.substr(0, n), "pieces", 2, back)) << n;
  }
  EXPECT_TRUE(decodes(token, "pieces", 2, back));
}

TEST(PageCursor, MalformedLengthsAreRefused) {
  Fields back;
  // A length running past the end.
  EXPECT_FALSE(decodes(hex_of("6:pieces2:/p9:12"), "pieces", 2, back));
  EXPECT_FALSE(decodes(hex_of("6:pieces2:/p3:12"), "pieces", 2, back));
  // A length shorter than the field leaves bytes that do not parse.
  EXPECT_FALSE(decodes(hex_of("6:pieces1:/p2:12"), "pieces", 2, back));
  // No colon, an empty length, a sign, a non-digit.
  EXPECT_FALSE(decodes(hex_of("6:pieces2/p2:12"), "pieces", 2, back));
  EXPECT_FALSE(decodes(hex_of("6:pieces:/p2:12"), "pieces", 2, back));
  EXPECT_FALSE(decodes(hex_of("6:pieces+2:/p2:12"), "pieces", 2, back));
  EXPECT_FALSE(decodes(hex_of("6:pieces-2:/p2:12"), "pieces", 2, back));
  EXPECT_FALSE(decodes(hex_of("6:piecesx:/p2:12"), "pieces", 2, back));
  // A huge length does not wrap around.
  EXPECT_FALSE(decodes(hex_of("6:pieces99999999999999999999:/p2:12"), "pieces", 2, back));
  EXPECT_FALSE(decodes(hex_of("6:pieces18446744073709551615:/p2:12"), "pieces", 2, back));
  // The well-formed text of the same fields is taken.
  EXPECT_TRUE(decodes(hex_of("6:pieces2:/p2:12"), "pieces", 2, back));
  EXPECT_EQ((Fields{"/p", "12"}), back);
  // Leading zeros in a length still count the same bytes.
  EXPECT_TRUE(decodes(hex_of("06:pieces002:/p2:12"), "pieces", 2, back));
  EXPECT_EQ((Fields{"/p", "12"}), back);
}

TEST(PageCursor, EmptyTokenIsRefused) {
  Fields back;
  EXPECT_FALSE(decodes("", "pieces", 2, back));
  EXPECT_FALSE(decodes("", "", 0, back));
}
