#include <gtest/gtest.h>

#include <string>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/restore_target.h"

TEST(RestoreTarget, LsnTextIsTwoHexHalves) {
  unsigned long long lsn = 0;
  ASSERT_TRUE(Restore_Target::parse_lsn("0/16B3748", lsn));
  EXPECT_EQ(0x16B3748ull, lsn);
  ASSERT_TRUE(Restore_Target::parse_lsn("16/b374d848", lsn));
  EXPECT_EQ(0x16ull << 32 | 0xB374D848ull, lsn);
  ASSERT_TRUE(Restore_Target::parse_lsn("FFFFFFFF/FFFFFFFF", lsn));
  EXPECT_EQ(~0ull, lsn);
  ASSERT_TRUE(Restore_Target::parse_lsn("00000001/00000000", lsn));
  EXPECT_EQ(1ull << 32, lsn);
  ASSERT_TRUE(Restore_Target::parse_lsn("0/0", lsn));
  EXPECT_EQ(0ull, lsn);
}

TEST(RestoreTarget, MalformedLsnTextIsRefusedAndLeavesTheValue) {
  for (char const* bad : {"", "/", "0/", "/0", "16", "16B3748", "0x1/2", "1/0x2", "1/2/3", " 1/2", "1/2 ", "-1/2",
                          "+1/2", "1/-2", "G/1", "1/g", "123456789/0", "0/123456789", "1 /2", "1\\2", "1:2"}) {
    unsigned long long lsn = 42;
    EXPECT_FALSE(Restore_Target::parse_lsn(bad, lsn)) << bad;
    EXPECT_EQ(42ull, lsn) << bad;
  }
  unsigned long long lsn = 42;
  EXPECT_FALSE(Restore_Target::parse_lsn(std::string("1/2\0", 4), lsn));
  EXPECT_EQ(42ull, lsn);
}

TEST(RestoreTarget, LsnTextIsWrittenAsPostgresqlDoes) {
  EXPECT_EQ("0/16B3748", Restore_Target::format_lsn(0x16B3748ull));
  EXPECT_EQ("16/B374D848", Restore_Target::format_lsn(0x16ull << 32 | 0xB374D848ull));
  EXPECT_EQ("FFFFFFFF/FFFFFFFF", Restore_Target::format_lsn(~0ull));
  unsigned long long back = 0;
  ASSERT_TRUE(Restore_Target::parse_lsn(Restore_Target::format_lsn(0x123456789ABCull), back));
  EXPECT_EQ(0x123456789ABCull, back);
}

TEST(RestoreTarget, EachKindNamesAndWritesItsPoints) {
  Restore_Target t = Restore_Target::at_time(1709251200);
  EXPECT_EQ(Restore_Target::TIME, t.kind());
  EXPECT_STREQ("time", t.kind_name());
  EXPECT_EQ("2024-03-01 00:00:00", t.text(t.key()));
  EXPECT_EQ("2024-03-01 00:00:00", t.value(t.key()).get_str());

  Restore_Target s = Restore_Target::at_scn(-42);
  EXPECT_STREQ("scn", s.kind_name());
  EXPECT_EQ("-42", s.text(s.key()));
  EXPECT_EQ(-42, s.value(s.key()).get_int64());

  Restore_Target l = Restore_Target::at_lsn(0x80000000ull << 32);
  EXPECT_STREQ("lsn", l.kind_name());
  EXPECT_EQ("80000000/0", l.text(l.key()));
  EXPECT_EQ("80000000/0", l.value(l.key()).get_str());

  EXPECT_STREQ("time", Restore_Target().kind_name());
  EXPECT_EQ("1970-01-01 00:00:00", Restore_Target().text(Restore_Target().key()));
}

TEST(RestoreTarget, KeysKeepTheOrderOfThePoints) {
  EXPECT_LT(Restore_Target::at_scn(-5).key(), Restore_Target::at_scn(-4).key());
  EXPECT_LT(Restore_Target::at_scn(-1).key(), Restore_Target::at_scn(0).key());
  EXPECT_LT(Restore_Target::at_scn(0).key(), Restore_Target::at_scn(1).key());
  EXPECT_LT(Restore_Target::at_scn(-9223372036854775807LL - 1).key(),
            Restore_Target::at_scn(9223372036854775807LL).key());
  EXPECT_LT(Restore_Target::at_time(-1).key(), Restore_Target::at_time(0).key());
  EXPECT_LT(Restore_Target::at_lsn(0x7FFFFFFFFFFFFFFFull).key(), Restore_Target::at_lsn(0x8000000000000000ull).key());
}

TEST(RestoreTarget, ASetsPointsFollowTheTargetsKind) {
  Backup_Set s;
  Restore_Target time = Restore_Target::at_time(0);
  unsigned long long key = 7;
  EXPECT_FALSE(time.end_of(s, key));
  EXPECT_FALSE(time.start_of(s, key));
  EXPECT_EQ(7u, key);
  s.backup_start_time = 1709251200;
  s.backup_end_time = 1709254800;
  ASSERT_TRUE(time.start_of(s, key));
  EXPECT_EQ("2024-03-01 00:00:00", time.text(key));
  ASSERT_TRUE(time.end_of(s, key));
  EXPECT_EQ("2024-03-01 01:00:00", time.text(key));
  s.first_time = 1709164800;
  s.last_time = 1709168400;
  ASSERT_TRUE(time.start_of(s, key));
  EXPECT_EQ("2024-02-29 00:00:00", time.text(key));
  ASSERT_TRUE(time.end_of(s, key));
  EXPECT_EQ("2024-02-29 01:00:00", time.text(key));

  Restore_Target scn = Restore_Target::at_scn(0);
  EXPECT_FALSE(scn.end_of(s, key));
  s.last_scn = 900;
  ASSERT_TRUE(scn.start_of(s, key));
  EXPECT_EQ("0", scn.text(key));
  ASSERT_TRUE(scn.end_of(s, key));
  EXPECT_EQ("900", scn.text(key));

  Restore_Target lsn = Restore_Target::at_lsn(0);
  s.last_scn = -1;
  ASSERT_TRUE(lsn.end_of(s, key));
  EXPECT_EQ("FFFFFFFF/FFFFFFFF", lsn.text(key));
}
