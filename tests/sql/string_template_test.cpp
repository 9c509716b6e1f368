#include <gtest/gtest.h>

#include "platform/sql/string_template.h"

TEST(StringTemplate, ExpandsBoundVariable) {
  String_Template t("", "{{", "}}", 0);
  t("b", "b1");
  t("{{b}}.uuid");
  std::string out;
  EXPECT_TRUE(t.str(out));
  EXPECT_EQ("b1.uuid", out);
}

TEST(StringTemplate, ReusedWithNewTextKeepsVariables) {
  String_Template t("", "{{", "}}", 0);
  t("b", "x");
  std::string out;
  t("{{b}}.a").str(out);
  EXPECT_EQ("x.a", out);
  t("{{b}}.b").str(out);
  EXPECT_EQ("x.b", out);
}

TEST(StringTemplate, NullValueBindsEmpty) {
  String_Template t("{{b}}.uuid", "{{", "}}", 0);
  t("b", static_cast<char const*>(nullptr));
  std::string out;
  EXPECT_TRUE(t.str(out));
  EXPECT_EQ(".uuid", out);
}

TEST(StringTemplate, UnboundPlaceholderStaysVisibleByDefault) {
  String_Template t("{{p}}.set_uuid={{b}}.uuid", "{{", "}}", 0);
  t("b", "b");
  std::string out;
  EXPECT_FALSE(t.str(out));
  EXPECT_EQ("{{p}}.set_uuid=b.uuid", out);
}

TEST(StringTemplate, UnboundPlaceholderDroppedWithFlag) {
  String_Template t("[{{x}}]", "{{", "}}", String_Template::ST_DROP_UNBOUND);
  std::string out;
  EXPECT_FALSE(t.str(out));
  EXPECT_EQ("[]", out);
}

TEST(StringTemplate, UnclosedPlaceholderKeptAsText) {
  String_Template t("a {{b", "{{", "}}", 0);
  t("b", "z");
  std::string out;
  EXPECT_FALSE(t.str(out));
  EXPECT_EQ("a {{b", out);
}

TEST(StringTemplate, OtherDelimitersAndRepeats) {
  String_Template t("<%a%>-<%a%>-<%c%>", "<%", "%>", 0);
  t("a", std::string("1"))("c", "3");
  EXPECT_EQ("1-1-3", t.str());
}

TEST(StringTemplate, OutputIsReplacedNotAppended) {
  String_Template t("x", "{{", "}}", 0);
  std::string out = "old";
  t.str(out);
  EXPECT_EQ("x", out);
}
