#include <gtest/gtest.h>

#include <string>

#include <yajl/yajl_gen.h>

#include "platform/json/json_text.h"
#include "platform/json/utf8_text.h"
#include "platform/json/yajl_gen.h"

namespace {

TEST(UTF8TextTest, TheParsersRuleTakesWhatItsSequencesAnnounce) {
  EXPECT_TRUE(UTF8_Text::valid(""));
  EXPECT_TRUE(UTF8_Text::valid("plain"));
  EXPECT_TRUE(UTF8_Text::valid("\xc3\xbc \xe2\x82\xac \xf0\x9f\x98\x80"));
  EXPECT_FALSE(UTF8_Text::valid("a\x80z"));
  EXPECT_FALSE(UTF8_Text::valid("a\xc3"));
  EXPECT_FALSE(UTF8_Text::valid("a\xe2\x82"));
  EXPECT_FALSE(UTF8_Text::valid("a\xffz"));
  EXPECT_FALSE(UTF8_Text::valid("\xf8\x88\x80\x80\x80"));
  // Structure only: these pass the parser's rule.
  EXPECT_TRUE(UTF8_Text::valid("\xc0\x80"));
  EXPECT_TRUE(UTF8_Text::valid("\xed\xa0\x80"));
}

TEST(UTF8TextTest, WellFormedRefusesOverlongFormsSurrogatesAndTooLargeCodePoints) {
  EXPECT_TRUE(UTF8_Text::well_formed("\xc3\xbc \xe2\x82\xac \xf0\x9f\x98\x80 \xf4\x8f\xbf\xbf"));
  EXPECT_TRUE(UTF8_Text::well_formed(std::string("a\0b", 3)));  // NUL is a character; callers decide
  EXPECT_FALSE(UTF8_Text::well_formed("\xc0\x80"));
  EXPECT_FALSE(UTF8_Text::well_formed("\xc1\xbf"));
  EXPECT_FALSE(UTF8_Text::well_formed("\xe0\x80\xaf"));
  EXPECT_FALSE(UTF8_Text::well_formed("\xf0\x80\x80\xaf"));
  EXPECT_FALSE(UTF8_Text::well_formed("\xed\xa0\x80"));
  EXPECT_FALSE(UTF8_Text::well_formed("\xed\xbf\xbf"));
  EXPECT_FALSE(UTF8_Text::well_formed("\xf4\x90\x80\x80"));
  EXPECT_FALSE(UTF8_Text::well_formed("a\x80"));
  EXPECT_TRUE(UTF8_Text::well_formed("\xed\x9f\xbf"));  // U+D7FF, just below the surrogates
  EXPECT_TRUE(UTF8_Text::well_formed("\xee\x80\x80"));  // U+E000, just above
}

TEST(UTF8TextTest, ScrubReplacesEachBrokenByteAndKeepsTheRest) {
  EXPECT_EQ("ok \xc3\xbc", UTF8_Text::scrub("ok \xc3\xbc"));
  EXPECT_EQ("a\xef\xbf\xbdz", UTF8_Text::scrub("a\xffz"));
  EXPECT_EQ("\xef\xbf\xbd\xef\xbf\xbd", UTF8_Text::scrub("\xe2\x82"));
  std::string scrubbed = UTF8_Text::scrub("x\x80\xc3\xbc\xfe");
  EXPECT_EQ("x\xef\xbf\xbd\xc3\xbc\xef\xbf\xbd", scrubbed);
  EXPECT_TRUE(UTF8_Text::valid(scrubbed));
}

TEST(UTF8TextTest, TheStreamingWriterRefusesTextNoParserWouldTakeBack) {
  yajl_gen gen = yajl_gen_alloc(nullptr);
  {
    YAJL_Gen g(gen, false);
    yajl_gen_array_open(gen);
    g << "fine \xc3\xbc";
    EXPECT_TRUE(g.ok());
    g << std::string("a\xff", 2);
    EXPECT_FALSE(g.ok());
  }
  yajl_gen_free(gen);

  // What it does take parses back.
  gen = yajl_gen_alloc(nullptr);
  {
    YAJL_Gen g(gen, false);
    yajl_gen_array_open(gen);
    g << "\xe2\x82\xac" << "\xf0\x9f\x98\x80";
    yajl_gen_array_close(gen);
    ASSERT_TRUE(g.ok());
    unsigned char const* buf = nullptr;
    size_t len = 0;
    yajl_gen_get_buf(gen, &buf, &len);
    json_spirit::Value v;
    EXPECT_TRUE(JSON_Parse(std::string(reinterpret_cast<char const*>(buf), len), v));
  }
  yajl_gen_free(gen);
}

}  // namespace
