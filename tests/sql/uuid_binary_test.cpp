#include <gtest/gtest.h>

#include "platform/sql/uuid_binary.h"

TEST(UuidBinary, RoundTripGivesLowerCaseCanonical) {
  std::basic_string<unsigned char> raw;
  ASSERT_TRUE(UUID_Binary::parse("ABCDEF01-2345-6789-aBcD-ef0123456789", raw));
  ASSERT_EQ(16u, raw.size());
  EXPECT_EQ(0xab, raw[0]);
  std::string text;
  ASSERT_TRUE(UUID_Binary::format(raw.data(), raw.size(), text));
  EXPECT_EQ("abcdef01-2345-6789-abcd-ef0123456789", text);
}

TEST(UuidBinary, RejectsOtherForms) {
  std::basic_string<unsigned char> raw{1};
  EXPECT_FALSE(UUID_Binary::parse("abcdef0123456789abcdef0123456789", raw));
  EXPECT_FALSE(UUID_Binary::parse("abcdef01-2345-6789-abcd-ef012345678g", raw));
  EXPECT_FALSE(UUID_Binary::parse("abcdef01-2345-6789-abcd-ef01234567890", raw));
  EXPECT_FALSE(UUID_Binary::parse("abcdef012-345-6789-abcd-ef0123456789", raw));
  EXPECT_FALSE(UUID_Binary::parse("", raw));
  EXPECT_EQ(1u, raw.size());
}

TEST(UuidBinary, FormatNeedsSixteenBytes) {
  unsigned char bytes[17] = {0};
  std::string text = "keep";
  EXPECT_FALSE(UUID_Binary::format(bytes, 15, text));
  EXPECT_FALSE(UUID_Binary::format(bytes, 17, text));
  EXPECT_FALSE(UUID_Binary::format(nullptr, 16, text));
  EXPECT_EQ("keep", text);
  EXPECT_TRUE(UUID_Binary::format(bytes, 16, text));
  EXPECT_EQ("00000000-0000-0000-0000-000000000000", text);
}
