#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <ace/Log_Msg.h>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_storage_selector.h"
#include "platform/json/json_text.h"
#include "tests/records/document.h"
#include "tests/support/log_capture.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

Value copy(char const* pool, std::vector<char const*> const& states, char const* upstream = nullptr) {
  Array names;
  for (char const* s : states) names.emplace_back(s);
  Object o{{"pool_uuid", Value(pool)}, {"state", Value(names)}};
  if (upstream) o["upstream_pool_uuid"] = Value(upstream);
  return Value(o);
}

std::string select(std::vector<Value> const& storages) {
  return Backup_Set_Storage_Selector(storages, Backup_Set_Storage_Selector::MODE_SOURCE_POOL).pool_uuid();
}

}  // namespace

TEST(StorageSelector, OnlinePrimaryBeatsEarlierOfflinePrimary) {
  EXPECT_EQ("B", select({copy("A", {"offline"}), copy("B", {"online"})}));
}

TEST(StorageSelector, OnlineReplicaBeatsOfflinePrimaryAndLogsHit) {
  Log_Capture capture;
  EXPECT_EQ("A", select({copy("A", {"online"}, "X"), copy("B", {"offline"})}));
  ASSERT_EQ(1u, capture.size());
  EXPECT_EQ(static_cast<unsigned long>(LM_DEBUG), capture.records()[0].priority);
  EXPECT_EQ("Hit online replicated pool(A).\n", capture.records()[0].text);
}

TEST(StorageSelector, VirtualReplicaIsNeverChosen) {
  Log_Capture capture;
  EXPECT_EQ("B", select({copy("A", {"online", "virtual"}, "X"), copy("B", {"nearline"})}));
  EXPECT_EQ(0u, capture.count(LM_DEBUG, "Hit online replicated pool"));
}

TEST(StorageSelector, LastNonOnlinePrimaryIsTheFallback) {
  EXPECT_EQ("B", select({copy("A", {"offline"}), copy("B", {"expired"})}));
}

TEST(StorageSelector, FirstOnlinePrimaryWins) {
  EXPECT_EQ("A", select({copy("A", {"online"}), copy("B", {"online"})}));
}

TEST(StorageSelector, EmptyVectorChoosesNothing) {
  EXPECT_EQ("", select({}));
}

TEST(StorageSelector, ElementsWithoutStateArrayChooseNothing) {
  Log_Capture capture;
  EXPECT_EQ("", select({Value(Object{{"pool_uuid", Value("A")}}),
                        Value(Object{{"pool_uuid", Value("B")}, {"state", Value("online")}}),
                        Value(Object{{"pool_uuid", Value("C")}, {"state", Value(1)}})}));
  EXPECT_EQ(0u, capture.size());
}

TEST(StorageSelector, UnknownModeLogsNumberAndChoosesNothing) {
  Log_Capture capture;
  Backup_Set_Storage_Selector selector({copy("A", {"online"})}, static_cast<Backup_Set_Storage_Selector::MODE>(2));
  EXPECT_EQ("", selector.pool_uuid());
  ASSERT_EQ(1u, capture.size());
  EXPECT_EQ(static_cast<unsigned long>(LM_ERROR), capture.records()[0].priority);
  EXPECT_EQ("Unknown mode '2' to select backup set.\n", capture.records()[0].text);
}

TEST(StorageSelector, NonObjectElementsAreSkipped) {
  Log_Capture capture;
  EXPECT_EQ("B", select({Value("A"), Value(Array{Value("online")}), Value(), Value(7), copy("B", {"online"})}));
  EXPECT_EQ("", select({Value("A"), Value(true), Value(1.5)}));
  EXPECT_EQ(0u, capture.size());
}

TEST(StorageSelector, LaterOnlineReplicaReplacesEarlierOne) {
  Log_Capture capture;
  EXPECT_EQ("R2", select({copy("R1", {"online"}, "X"), copy("P", {"offline"}), copy("R2", {"online", "replicated"}, "X")}));
  EXPECT_EQ(2u, capture.count(LM_DEBUG, "Hit online replicated pool("));
  EXPECT_TRUE(capture.has(LM_DEBUG, "Hit online replicated pool(R1).\n"));
  EXPECT_TRUE(capture.has(LM_DEBUG, "Hit online replicated pool(R2).\n"));
}

TEST(StorageSelector, OnlinePrimaryStopsTheScanBeforeLaterReplicas) {
  Log_Capture capture;
  EXPECT_EQ("P", select({copy("P", {"online"}), copy("R", {"online"}, "X")}));
  EXPECT_EQ(0u, capture.size());
}

TEST(StorageSelector, OnlinePrimaryAfterReplicaStillWins) {
  Log_Capture capture;
  EXPECT_EQ("P", select({copy("R", {"online"}, "X"), copy("P", {"online"})}));
  EXPECT_TRUE(capture.has(LM_DEBUG, "Hit online replicated pool(R).\n"));
}

TEST(StorageSelector, OfflineReplicaIsNeitherCandidateNorFallback) {
  EXPECT_EQ("", select({copy("R", {"offline"}, "X")}));
  EXPECT_EQ("P", select({copy("P", {"nearline"}), copy("R", {"offline"}, "X")}));
}

TEST(StorageSelector, EmptyUpstreamMeansPrimary) {
  EXPECT_EQ("A", select({copy("A", {"online"}, "")}));
}

TEST(StorageSelector, MissingPoolUuidIsAnEmptyPoolThatCanBeChosen) {
  Value no_pool(Object{{"state", Value(Array{Value("online")})}});
  EXPECT_EQ("", select({no_pool, copy("B", {"online"})}));
}

TEST(StorageSelector, UnknownStateNamesCountAsNotOnline) {
  EXPECT_EQ("B", select({copy("A", {"Online", "ONLINE", "up"}), copy("B", {"online"})}));
  EXPECT_EQ("A", select({copy("A", {"Online"})}));
}

TEST(StorageSelector, PicksFromStoragesOfAGeneratedDocument) {
  Backup_Set set("file");
  Backup_Set_Storage replica;
  replica.pool_uuid = "replica-pool";
  replica.upstream_pool_uuid = "primary-pool";
  replica.state = Backup_Set_State(Backup_Set_State::ONLINE | Backup_Set_State::REPLICATED);
  Backup_Set_Storage primary;
  primary.pool_uuid = "primary-pool";
  primary.state = Backup_Set_State(Backup_Set_State::OFFLINE);
  set.add_storage(primary);
  set.add_storage(replica);
  Value doc;
  ASSERT_TRUE(JSON_Parse(document_of(set), doc));
  Log_Capture capture;
  EXPECT_EQ("replica-pool", select(doc.get_obj().at("storages").get_array()));
  EXPECT_TRUE(capture.has(LM_DEBUG, "Hit online replicated pool(replica-pool).\n"));
}

TEST(StorageSelector, GetSourcePoolCanBeCalledAgain) {
  Backup_Set_Storage_Selector selector({copy("A", {"online"})}, Backup_Set_Storage_Selector::MODE_SOURCE_POOL);
  EXPECT_EQ("A", selector.pool_uuid());
  selector.get_source_pool({copy("B", {"offline"})});
  EXPECT_EQ("B", selector.pool_uuid());
  selector.get_source_pool({});
  EXPECT_EQ("", selector.pool_uuid());
}
