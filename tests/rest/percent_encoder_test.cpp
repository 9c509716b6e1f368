#include <gtest/gtest.h>

#include <string>

#include "platform/rest/percent_encoder.h"

namespace {

std::string enc(char const* text, unsigned options) {
  std::string out;
  Percent_Encoder::encode(text, options, out);
  return out;
}

}  // namespace

TEST(PercentEncoder, QueryOptionEncodesSlashAndMakesSpacePlusInLowerCase) {
  EXPECT_EQ("a+b%2fc", enc("a b/c", 3));
}

TEST(PercentEncoder, UnreservedCharactersPassUnchanged) {
  EXPECT_EQ("AZaz09-_.~", enc("AZaz09-_.~", 0));
}

TEST(PercentEncoder, SlashIsKeptWhenBitOneIsClear) {
  EXPECT_EQ("/d2/r", enc("/d2/r", 0));
  EXPECT_EQ("%2fd2%2fr", enc("/d2/r", 1));
}

TEST(PercentEncoder, SpaceIsEncodedUnlessBitTwo) {
  EXPECT_EQ("a%20b", enc("a b", 0));
  EXPECT_EQ("a+b", enc("a b", 2));
}

TEST(PercentEncoder, BitFourChoosesUpperCaseHex) {
  EXPECT_EQ("%2F%3A", enc("/:", 1 | 4));
  EXPECT_EQ("%2f%3a", enc("/:", 1));
}

TEST(PercentEncoder, EachKeepBitLetsItsCharacterThrough) {
  struct Case {
    unsigned bit;
    char const* c;
  } cases[] = {{8, ":"},     {16, "("},     {32, ")"},     {64, "'"},     {128, "*"},
               {512, "!"},   {1024, "#"},   {2048, "$"},   {4096, "&"},   {8192, "+"},
               {16384, ","}, {32768, ";"}, {65536, "="}, {131072, "?"}, {262144, "@"}};
  for (auto const& c : cases) {
    EXPECT_EQ(c.c, enc(c.c, c.bit)) << c.bit;
    EXPECT_EQ('%', enc(c.c, 0)[0]) << c.bit;
    // Another character's bit does not let it through.
    EXPECT_EQ('%', enc(c.c, 0x7fffe & ~c.bit & ~256u)[0]) << c.bit;
  }
}

TEST(PercentEncoder, PlusIsEncodedSoItIsNotReadAsSpace) {
  EXPECT_EQ("a%2bb", enc("a+b", 3));
}

TEST(PercentEncoder, HighBytesAreEncodedLikeAnyOther) {
  EXPECT_EQ("caf%c3%a9", enc("caf\xc3\xa9", 3));
  EXPECT_EQ("%C3%A9", enc("\xc3\xa9", 7));
}

TEST(PercentEncoder, NullOrEmptyTextAppendsNothingAndFails) {
  std::string out = "x=";
  EXPECT_FALSE(Percent_Encoder::encode(nullptr, 3, out));
  EXPECT_FALSE(Percent_Encoder::encode("", 3, out));
  EXPECT_EQ("x=", out);
}

TEST(PercentEncoder, AppendsToWhatTheTargetHolds) {
  std::string out = "uuid=";
  EXPECT_TRUE(Percent_Encoder::encode("a&b", 3, out));
  EXPECT_EQ("uuid=a%26b", out);
}
