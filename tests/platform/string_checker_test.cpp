#include <gtest/gtest.h>

#include "platform/text/string_checker.h"

TEST(StringChecker, NameRejectsEachForbiddenCharacter) {
  auto const name = static_cast<String_Checker::SC_Type>(8);
  EXPECT_TRUE(String_Checker::check("backup 2024-01-01", name));
  EXPECT_TRUE(String_Checker::check("", name));
  for (char c : std::string("|<>/\\:*?\"")) {
    EXPECT_FALSE(String_Checker::check(std::string("a") + c + "b", name)) << c;
  }
}

TEST(StringChecker, OtherRules) {
  EXPECT_TRUE(String_Checker::check("0f8fad5b-d9cb-469f-a165-70867728950e", String_Checker::SC_UUID));
  EXPECT_FALSE(String_Checker::check("0f8fad5b-d9cb-469f-a165-70867728950", String_Checker::SC_UUID));
  EXPECT_FALSE(String_Checker::check("", String_Checker::SC_NOT_EMPTY));
  EXPECT_FALSE(String_Checker::check("a\tb", String_Checker::SC_PRINTABLE));
}
