#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_set_state.h"
#include "backup/backup_set/common/bset_commit_action.h"
#include "backup/backup_set/common/resource_type.h"

using json_spirit::Value;

TEST(ResourceTypeNames, NameLookupIsCaseSensitive) {
  EXPECT_EQ(RESOURCE_TYPE_NONE, name_to_resource_type("Oracle"));
  EXPECT_EQ(9, name_to_resource_type("oracle"));
}

TEST(ResourceTypeNames, ValuesWithoutRowHaveNullName) {
  EXPECT_EQ(nullptr, resource_type_to_name(static_cast<Resource_Type>(5)));
  EXPECT_EQ(nullptr, resource_type_to_name(static_cast<Resource_Type>(0)));
  EXPECT_EQ(nullptr, resource_type_to_name(static_cast<Resource_Type>(14)));
  EXPECT_EQ(nullptr, resource_type_to_name(static_cast<Resource_Type>(15)));
}

TEST(ResourceTypeNames, EveryNamedValueRoundTrips) {
  struct {
    int value;
    char const* name;
  } const expected[] = {{1, "storage"}, {2, "file"},   {3, "dmdb"},   {4, "cachedb"}, {6, "os"},
                        {7, "hana"},    {8, "postgres"}, {9, "oracle"}, {10, "mongodb"}, {11, "ndmp"},
                        {12, "mysql"},  {13, "gbase"}, {16, "kingbase"}, {17, "db2"},  {18, "oscar"},
                        {19, "k8s"}};
  for (auto const& e : expected) {
    ASSERT_NE(nullptr, resource_type_to_name(static_cast<Resource_Type>(e.value))) << e.value;
    EXPECT_STREQ(e.name, resource_type_to_name(static_cast<Resource_Type>(e.value)));
    EXPECT_EQ(e.value, name_to_resource_type(e.name));
  }
}

TEST(ResourceTypeNames, TableRowsInStoredOrderEndWithNullRow) {
  char const* const order[] = {"storage", "file",   "dmdb", "postgres", "cachedb",  "mongodb", "mysql", "gbase",
                               "os",      "hana",   "oracle", "ndmp",   "kingbase", "db2",     "oscar", "k8s"};
  size_t i = 0;
  for (; RESOURCE_TYPE_NAMES[i].name; ++i) {
    ASSERT_LT(i, sizeof order / sizeof order[0]);
    EXPECT_STREQ(order[i], RESOURCE_TYPE_NAMES[i].name);
    EXPECT_EQ(strlen(order[i]), RESOURCE_TYPE_NAMES[i].length);
  }
  EXPECT_EQ(16u, i);
  EXPECT_EQ(0u, RESOURCE_TYPE_NAMES[i].length);
  EXPECT_EQ(RESOURCE_TYPE_NONE, RESOURCE_TYPE_NAMES[i].value);
}

TEST(ResourceTypeNames, NullEmptyPrefixAndLongerTextsAreNone) {
  EXPECT_EQ(RESOURCE_TYPE_NONE, name_to_resource_type(nullptr));
  EXPECT_EQ(RESOURCE_TYPE_NONE, name_to_resource_type(""));
  EXPECT_EQ(RESOURCE_TYPE_NONE, name_to_resource_type("orac"));
  EXPECT_EQ(RESOURCE_TYPE_NONE, name_to_resource_type("oracle "));
  EXPECT_EQ(RESOURCE_TYPE_NONE, name_to_resource_type("k8"));
}

TEST(CommitActionNames, EmptyAndNullNameAreNoAction) {
  EXPECT_EQ(BSET_COMMIT_ACTION_NONE, name_to_commit_action(""));
  EXPECT_EQ(BSET_COMMIT_ACTION_NONE, name_to_commit_action(nullptr));
  EXPECT_EQ(0, name_to_commit_action(""));
}

TEST(CommitActionNames, FourActionsRoundTripExactly) {
  EXPECT_STREQ("Initialize", commit_action_to_name(BSET_COMMIT_ACTION_INITIALIZE));
  EXPECT_STREQ("AddPiece", commit_action_to_name(BSET_COMMIT_ACTION_ADD_PIECE));
  EXPECT_STREQ("Complete", commit_action_to_name(BSET_COMMIT_ACTION_COMPLETE));
  EXPECT_STREQ("Abort", commit_action_to_name(BSET_COMMIT_ACTION_ABORT));
  EXPECT_EQ(1, name_to_commit_action("Initialize"));
  EXPECT_EQ(2, name_to_commit_action("AddPiece"));
  EXPECT_EQ(3, name_to_commit_action("Complete"));
  EXPECT_EQ(4, name_to_commit_action("Abort"));
  EXPECT_EQ(BSET_COMMIT_ACTION_NONE, name_to_commit_action("abort"));
  EXPECT_EQ(nullptr, commit_action_to_name(BSET_COMMIT_ACTION_NONE));
  EXPECT_EQ(nullptr, commit_action_to_name(static_cast<BSET_COMMIT_ACTION>(5)));
}

TEST(CommitActionNames, TableEndsWithNullRow) {
  EXPECT_STREQ("Initialize", BSET_COMMIT_ACTION_NAMES[0].name);
  EXPECT_EQ(10u, BSET_COMMIT_ACTION_NAMES[0].length);
  EXPECT_STREQ("Abort", BSET_COMMIT_ACTION_NAMES[3].name);
  EXPECT_EQ(nullptr, BSET_COMMIT_ACTION_NAMES[4].name);
  EXPECT_EQ(0u, BSET_COMMIT_ACTION_NAMES[4].length);
  EXPECT_EQ(0, BSET_COMMIT_ACTION_NAMES[4].value);
}

TEST(BackupSetState, NamesWithUnknownOneSetOnlyKnownBits) {
  Backup_Set_State state(std::vector<std::string>{"online", "no-such-state", "virtual"});
  EXPECT_EQ(0x101u, state.bits());
}

TEST(BackupSetState, UnnamedBitIsKeptButNotNamed) {
  Backup_Set_State state(0x200 | 0x2);
  EXPECT_EQ(0x202u, state.bits());
  EXPECT_EQ((std::vector<Value>{Value("offline")}), state.states());
}

TEST(BackupSetState, GetBitOfSeveralBitsMeansAny) {
  Backup_Set_State state(0x2);
  EXPECT_TRUE(state.get_bit(0x3));
  EXPECT_FALSE(state.get_bit(0x5));
}

TEST(BackupSetState, JsonArraySkipsNonStrings) {
  Backup_Set_State state(std::vector<Value>{Value("online"), Value(5), Value("expired")});
  EXPECT_EQ(0x9u, state.bits());
}

TEST(BackupSetState, JsonArrayOfOnlyOtherTypesIsZero) {
  Backup_Set_State state(std::vector<Value>{Value(true), Value(), Value(json_spirit::Object()), Value(256)});
  EXPECT_EQ(0u, state.bits());
}

TEST(BackupSetState, NamesMatchCaseSensitively) {
  Backup_Set_State state(std::vector<std::string>{"Online", "OFFLINE", "", "virtual "});
  EXPECT_EQ(0u, state.bits());
}

TEST(BackupSetState, AllNamesLowestBitFirst) {
  Backup_Set_State state(0x1FF);
  EXPECT_EQ((std::vector<Value>{Value("online"), Value("offline"), Value("nearline"), Value("expired"),
                                Value("replicated"), Value("warmup"), Value("incomplete"), Value("unsync"),
                                Value("virtual")}),
            state.states());
  EXPECT_EQ(0x1FFu, Backup_Set_State(std::vector<std::string>{"virtual", "unsync", "incomplete", "warmup",
                                                              "replicated", "expired", "nearline", "offline",
                                                              "online"})
                        .bits());
}

TEST(BackupSetState, EmptyStateHasNoNames) {
  EXPECT_TRUE(Backup_Set_State().states().empty());
  EXPECT_TRUE(Backup_Set_State(0xFFFFFFFFFFFFFE00ULL).states().empty());
}

TEST(BackupSetState, SetAndUnsetBitsChain) {
  Backup_Set_State state;
  state.set_bits(Backup_Set_State::ONLINE | 0x400).set_bits(Backup_Set_State::REPLICATED);
  EXPECT_EQ(0x411u, state.bits());
  state.unset_bits(0x401).unset_bits(0);
  EXPECT_EQ(0x10u, state.bits());
  EXPECT_TRUE(state.get_bit(Backup_Set_State::REPLICATED));
  EXPECT_FALSE(state.get_bit(Backup_Set_State::ONLINE));
}
