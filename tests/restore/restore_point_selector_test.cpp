#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "backup/backup_set/common/restore_point_selector.h"
#include "platform/json/json_text.h"
#include "tests/restore/restore_scenario.h"

using namespace restore_scenario;

namespace {

std::vector<std::string> uuids(Restore_Plan const& plan) {
  std::vector<std::string> out;
  for (auto const& s : plan.steps) out.push_back(s.uuid);
  return out;
}

std::vector<std::string> roles(Restore_Plan const& plan) {
  std::vector<std::string> out;
  for (auto const& s : plan.steps) out.push_back(s.role);
  return out;
}

std::vector<std::string> pools(Restore_Plan const& plan) {
  std::vector<std::string> out;
  for (auto const& s : plan.steps) out.push_back(s.pool_uuid);
  return out;
}

// The plan, or a failed expectation with the selector's reason.
Restore_Plan plan_for(std::vector<Backup_Set> const& sets, Restore_Target const& target) {
  Restore_Plan plan;
  std::string error;
  EXPECT_TRUE(Restore_Point_Selector::plan(sets, target, plan, error)) << error;
  return plan;
}

std::string error_for(std::vector<Backup_Set> const& sets, Restore_Target const& target) {
  Restore_Plan plan;
  plan.reached = 77;
  std::string error;
  EXPECT_FALSE(Restore_Point_Selector::plan(sets, target, plan, error));
  // A refused plan leaves the caller's plan alone.
  EXPECT_EQ(77u, plan.reached);
  EXPECT_TRUE(plan.steps.empty());
  return error;
}

}  // namespace

TEST(RestorePointSelector, LogSetsAreKnownByModuleOrTypeWordInAnyCase) {
  EXPECT_TRUE(Restore_Point_Selector::is_log_set(Backup_Set("oracle_arch")));
  EXPECT_TRUE(Restore_Point_Selector::is_log_set(Backup_Set("dmdb_log")));
  for (char const* type : {"log", "archive", "ArchiveLog", "ARCH", "binlog", "WAL"}) {
    Backup_Set s("mysql");
    s.type = type;
    EXPECT_TRUE(Restore_Point_Selector::is_log_set(s)) << type;
  }
  for (char const* type : {"full", "incremental", "differential", "logs", "walk", ""}) {
    Backup_Set s("dmdb");
    s.type = type;
    EXPECT_FALSE(Restore_Point_Selector::is_log_set(s)) << type;
  }
  EXPECT_FALSE(Restore_Point_Selector::is_log_set(Backup_Set("oracle")));
  EXPECT_FALSE(Restore_Point_Selector::is_log_set(Backup_Set()));
}

TEST(RestorePointSelector, ATargetBeforeTheFirstFullHasNoPlan) {
  EXPECT_EQ("no full or incremental backup of this resource ends at or before 2024-03-01 01:30:00",
            error_for(three_days(), Restore_Target::at_time(at(1, 1, 30))));
}

TEST(RestorePointSelector, NoSetsAtAllHasNoPlan) {
  EXPECT_EQ("no full or incremental backup of this resource ends at or before 2024-03-05 00:00:00",
            error_for({}, Restore_Target::at_time(at(5, 0))));
}

TEST(RestorePointSelector, ATargetBetweenSetsTakesTheChainThenTheLogsUpToIt) {
  Restore_Plan plan = plan_for(three_days(), Restore_Target::at_time(at(2, 18)));
  EXPECT_EQ((std::vector<std::string>{FULL, INC1, LOG3, LOG4}), uuids(plan));
  EXPECT_EQ((std::vector<std::string>{"full", "incremental", "log", "log"}), roles(plan));
  EXPECT_TRUE(plan.complete());
  EXPECT_EQ("2024-03-03 00:00:00", plan.target.text(plan.reached));
  EXPECT_EQ("dmdb", plan.steps[0].catalog_module);
  EXPECT_EQ("incremental", plan.steps[1].type);
  EXPECT_EQ("dmdb_log", plan.steps[2].catalog_module);
  EXPECT_EQ("archive", plan.steps[2].type);
  EXPECT_EQ("2024-03-02 00:00:00", plan.target.text(plan.steps[2].start));
  EXPECT_EQ("2024-03-02 12:00:00", plan.target.text(plan.steps[2].end));
}

TEST(RestorePointSelector, ATargetOnTheEndOfASetNeedsNoLogs) {
  Restore_Plan plan = plan_for(three_days(), Restore_Target::at_time(at(3, 2)));
  EXPECT_EQ((std::vector<std::string>{FULL, INC1, INC2}), uuids(plan));
  EXPECT_TRUE(plan.complete());
  EXPECT_EQ(plan.target.key(), plan.reached);
}

TEST(RestorePointSelector, ATargetOnTheFirstDayUsesTheFullAndItsLogs) {
  Restore_Plan plan = plan_for(three_days(), Restore_Target::at_time(at(1, 12, 30)));
  EXPECT_EQ((std::vector<std::string>{FULL, LOG1, LOG2}), uuids(plan));
  EXPECT_EQ((std::vector<std::string>{"full", "log", "log"}), roles(plan));
  EXPECT_TRUE(plan.complete());
}

TEST(RestorePointSelector, ATargetAfterTheLastLogReachesOnlyThatLog) {
  Restore_Plan plan = plan_for(three_days(), Restore_Target::at_time(at(4, 0)));
  EXPECT_EQ((std::vector<std::string>{FULL, INC1, INC2, LOG5, LOG6}), uuids(plan));
  EXPECT_FALSE(plan.complete());
  EXPECT_EQ("2024-03-03 20:00:00", plan.target.text(plan.reached));
}

TEST(RestorePointSelector, TheChainIsOrderedParentsFirstWhateverTheInputOrder) {
  std::vector<Backup_Set> sets = three_days();
  std::vector<Backup_Set> reversed(sets.rbegin(), sets.rend());
  EXPECT_EQ((std::vector<std::string>{FULL, INC1, INC2, LOG5}),
            uuids(plan_for(reversed, Restore_Target::at_time(at(3, 6)))));
}

TEST(RestorePointSelector, ADifferentialOnSeveralParentsListsEachOnceParentsFirst) {
  std::vector<Backup_Set> sets = three_days();
  // Upper-case parent text and a parent named twice change nothing.
  std::string upper = INC1;
  for (char& c : upper) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
  find(sets, INC2)->parents = {upper, FULL, INC1};
  Restore_Plan plan = plan_for(sets, Restore_Target::at_time(at(3, 2)));
  EXPECT_EQ((std::vector<std::string>{FULL, INC1, INC2}), uuids(plan));
}

TEST(RestorePointSelector, AMissingParentIsNamedWithTheSetThatNeedsIt) {
  std::vector<Backup_Set> sets = three_days();
  std::string const lost = "deadbeef-0000-4000-8000-000000000099";
  find(sets, INC1)->parents = {lost};
  EXPECT_EQ("backup set " + lost + " (parent of " + INC1 + ") is not in the catalogue",
            error_for(sets, Restore_Target::at_time(at(3, 6))));
  // A target before INC1 does not need it.
  EXPECT_EQ((std::vector<std::string>{FULL, LOG1}), uuids(plan_for(sets, Restore_Target::at_time(at(1, 4)))));
}

TEST(RestorePointSelector, TheRootOfAChainMustBeAFull) {
  std::vector<Backup_Set> sets = three_days();
  find(sets, INC1)->parents = {LOG2};
  EXPECT_EQ(std::string("backup set ") + LOG2 + " starts the chain of " + INC2 + " but is not a full backup",
            error_for(sets, Restore_Target::at_time(at(3, 2))));
}

TEST(RestorePointSelector, ParentsInACycleAreRefused) {
  std::vector<Backup_Set> sets = three_days();
  find(sets, INC1)->parents = {INC2};
  EXPECT_EQ(std::string("the parents of backup set ") + INC2 + " depend on each other in a cycle",
            error_for(sets, Restore_Target::at_time(at(3, 2))));
}

TEST(RestorePointSelector, AGapInTheLogsIsAnErrorThatNamesIt) {
  std::vector<Backup_Set> sets = three_days();
  sets.erase(sets.begin() + 4);  // LOG3, day 2 00:00-12:00
  EXPECT_EQ("archive logs leave a gap from 2024-03-02 02:00:00 to 2024-03-02 12:00:00 before the target "
            "2024-03-02 18:00:00",
            error_for(sets, Restore_Target::at_time(at(2, 18))));
  // Before the gap's far side there is no log to come, so the plan stops.
  Restore_Plan plan = plan_for(sets, Restore_Target::at_time(at(2, 11)));
  EXPECT_EQ((std::vector<std::string>{FULL, INC1}), uuids(plan));
  EXPECT_FALSE(plan.complete());
  EXPECT_EQ("2024-03-02 02:00:00", plan.target.text(plan.reached));
}

TEST(RestorePointSelector, OverlappingLogsTakeTheOneThatReachesFurthest) {
  std::vector<Backup_Set> sets = three_days();
  // One log over all of day 2 beside LOG3 and LOG4.
  sets.push_back(log_set("10000000-0000-4000-8000-0000000000aa", at(2, 0), at(3, 0)));
  EXPECT_EQ((std::vector<std::string>{FULL, INC1, "10000000-0000-4000-8000-0000000000aa"}),
            uuids(plan_for(sets, Restore_Target::at_time(at(2, 18)))));
}

TEST(RestorePointSelector, ALogMayStartOneSecondAfterThePointReached) {
  std::vector<Backup_Set> sets = {data_set(FULL, "full", at(1, 1), at(1, 2)),
                                  log_set(LOG1, at(1, 2) + 1, at(1, 6)),
                                  log_set(LOG2, at(1, 6) + 2, at(1, 9))};
  Restore_Plan plan = plan_for(sets, Restore_Target::at_time(at(1, 5)));
  EXPECT_EQ((std::vector<std::string>{FULL, LOG1}), uuids(plan));
  // Two seconds is a gap.
  EXPECT_EQ("archive logs leave a gap from 2024-03-01 06:00:00 to 2024-03-01 06:00:02 before the target "
            "2024-03-01 08:00:00",
            error_for(sets, Restore_Target::at_time(at(1, 8))));
}

TEST(RestorePointSelector, EqualEndsPreferTheLaterBackupThenTheGreaterUuid) {
  std::vector<Backup_Set> sets = {data_set(FULL, "full", at(1, 1), at(1, 2)),
                                  data_set("f0000000-0000-4000-8000-0000000000ff", "full", at(1, 1), at(1, 2))};
  sets[0].backup_end_time += 60;
  EXPECT_EQ((std::vector<std::string>{FULL}), uuids(plan_for(sets, Restore_Target::at_time(at(1, 3)))));
  sets[0].backup_end_time = sets[1].backup_end_time;
  EXPECT_EQ((std::vector<std::string>{"f0000000-0000-4000-8000-0000000000ff"}),
            uuids(plan_for(sets, Restore_Target::at_time(at(1, 3)))));
}

TEST(RestorePointSelector, WithoutLastTimeTheBackupEndTimeIsTheEnd) {
  std::vector<Backup_Set> sets = {data_set(FULL, "full", at(1, 1), at(1, 2))};
  sets[0].first_time = sets[0].last_time = 0;
  sets[0].backup_start_time = at(1, 5);
  sets[0].backup_end_time = at(1, 6);
  EXPECT_EQ("no full or incremental backup of this resource ends at or before 2024-03-01 05:59:59",
            error_for(sets, Restore_Target::at_time(at(1, 6) - 1)));
  Restore_Plan plan = plan_for(sets, Restore_Target::at_time(at(1, 6)));
  ASSERT_EQ(1u, plan.steps.size());
  EXPECT_EQ("2024-03-01 05:00:00", plan.target.text(plan.steps[0].start));
  EXPECT_EQ("2024-03-01 06:00:00", plan.target.text(plan.steps[0].end));
}

TEST(RestorePointSelector, ASetWithoutTimesIsNoCandidateForATime) {
  std::vector<Backup_Set> sets = three_days();
  Backup_Set timeless = data_set("f0000000-0000-4000-8000-0000000000ee", "full", 0, 0);
  timeless.backup_start_time = timeless.backup_end_time = 0;
  sets.push_back(timeless);
  EXPECT_EQ((std::vector<std::string>{FULL, INC1, INC2}), uuids(plan_for(sets, Restore_Target::at_time(at(3, 2)))));
}

TEST(RestorePointSelector, TheSelectorPicksEachSetsPool) {
  std::vector<Backup_Set> sets = three_days();
  // An offline primary and an online primary: the online one.
  find(sets, FULL)->storages = {storage(POOL_A, Backup_Set_State::OFFLINE), storage(POOL_B, Backup_Set_State::ONLINE)};
  // An offline primary and an online replica of it: the replica.
  find(sets, INC1)->storages = {storage(POOL_A, Backup_Set_State::OFFLINE),
                                storage(POOL_C, Backup_Set_State::ONLINE | Backup_Set_State::REPLICATED, POOL_A)};
  // An online primary wins over an online replica.
  find(sets, LOG3)->storages = {storage(POOL_C, Backup_Set_State::ONLINE, POOL_B),
                                storage(POOL_B, Backup_Set_State::ONLINE)};
  // Only a nearline primary: it is still where the set is read from.
  find(sets, LOG4)->storages = {storage(POOL_C, Backup_Set_State::NEARLINE)};
  Restore_Plan plan = plan_for(sets, Restore_Target::at_time(at(2, 18)));
  EXPECT_EQ((std::vector<std::string>{FULL, INC1, LOG3, LOG4}), uuids(plan));
  EXPECT_EQ((std::vector<std::string>{POOL_B, POOL_C, POOL_B, POOL_C}), pools(plan));
}

TEST(RestorePointSelector, ASetWithNothingToReadFromIsAnError) {
  std::vector<Backup_Set> sets = three_days();
  find(sets, INC1)->storages.clear();
  EXPECT_EQ(std::string("backup set ") + INC1 + " has no storage copy to read from",
            error_for(sets, Restore_Target::at_time(at(2, 18))));
  // A virtual replica holds no data.
  find(sets, INC1)->storages = {
      storage(POOL_C, Backup_Set_State::ONLINE | Backup_Set_State::VIRTUAL | Backup_Set_State::REPLICATED, POOL_A)};
  EXPECT_EQ(std::string("backup set ") + INC1 + " has no storage copy to read from",
            error_for(sets, Restore_Target::at_time(at(2, 18))));
  // The log after the target is no part of the plan, so its copies do not matter.
  find(sets, INC1)->storages = {storage(POOL_A, Backup_Set_State::ONLINE)};
  find(sets, LOG5)->storages.clear();
  EXPECT_EQ((std::vector<std::string>{FULL, INC1, LOG3, LOG4}),
            uuids(plan_for(sets, Restore_Target::at_time(at(2, 18)))));
}

TEST(RestorePointSelector, ScnTargetsUseTheSetsLogPositions) {
  std::vector<Backup_Set> sets = three_days();
  // The time columns say nothing here: positions alone decide.
  for (Backup_Set& s : sets) s.first_time = s.last_time = s.backup_start_time = s.backup_end_time = 0;
  long long const inc1_end = scn_at(at(2, 2));
  Restore_Plan on_end = plan_for(sets, Restore_Target::at_scn(inc1_end));
  EXPECT_EQ((std::vector<std::string>{FULL, INC1}), uuids(on_end));
  EXPECT_TRUE(on_end.complete());
  EXPECT_EQ(std::to_string(scn_at(at(2, 1))), on_end.target.text(on_end.steps[1].start));

  Restore_Plan between = plan_for(sets, Restore_Target::at_scn(inc1_end + 1));
  EXPECT_EQ((std::vector<std::string>{FULL, INC1, LOG3}), uuids(between));
  EXPECT_EQ(std::to_string(scn_at(at(2, 12))), between.target.text(between.reached));

  EXPECT_EQ("no full or incremental backup of this resource ends at or before 999",
            error_for(sets, Restore_Target::at_scn(999)));
  Restore_Plan beyond = plan_for(sets, Restore_Target::at_scn(scn_at(at(5, 0))));
  EXPECT_EQ((std::vector<std::string>{FULL, INC1, INC2, LOG5, LOG6}), uuids(beyond));
  EXPECT_FALSE(beyond.complete());
}

TEST(RestorePointSelector, ArchivedLogsFollowOnAtTheNextScn) {
  Backup_Set full("oracle");
  full.uuid = FULL;
  full.type = "full";
  full.first_scn = 5000;
  full.last_scn = 5400;
  full.add_storage(storage(POOL_A, Backup_Set_State::ONLINE));
  Backup_Set arch1 = full, arch2 = full, file("file");
  arch1.catalog_module = arch2.catalog_module = "oracle_arch";
  arch1.uuid = LOG1;
  arch1.type = "";
  arch1.first_scn = 5401;
  arch1.last_scn = 6000;
  arch2.uuid = LOG2;
  arch2.type = "";
  arch2.first_scn = 6000;
  arch2.last_scn = 7000;
  // A set with no positions at all takes no part in a position target.
  file.uuid = INC1;
  file.type = "full";
  file.add_storage(storage(POOL_B, Backup_Set_State::ONLINE));
  Restore_Plan plan = plan_for({file, arch2, arch1, full}, Restore_Target::at_scn(6500));
  EXPECT_EQ((std::vector<std::string>{FULL, LOG1, LOG2}), uuids(plan));
  EXPECT_EQ((std::vector<std::string>{"full", "log", "log"}), roles(plan));
  EXPECT_EQ("oracle_arch", plan.steps[1].catalog_module);
  EXPECT_EQ("7000", plan.target.text(plan.reached));
}

TEST(RestorePointSelector, NegativeScnsKeepTheirOrder) {
  Backup_Set full = data_set(FULL, "full", at(1, 1), at(1, 2));
  full.first_scn = -500;
  full.last_scn = -100;
  Backup_Set log = log_set(LOG1, at(1, 2), at(1, 3));
  log.first_scn = -100;
  log.last_scn = 50;
  EXPECT_EQ((std::vector<std::string>{FULL, LOG1}), uuids(plan_for({full, log}, Restore_Target::at_scn(10))));
  EXPECT_EQ((std::vector<std::string>{FULL}), uuids(plan_for({full, log}, Restore_Target::at_scn(-100))));
  EXPECT_EQ("no full or incremental backup of this resource ends at or before -101",
            error_for({full, log}, Restore_Target::at_scn(-101)));
}

// WAL positions as a PostgreSQL agent records them: the 64-bit LSN in the
// signed SCN members, so those beyond 8000000/0 read as negative numbers.
TEST(RestorePointSelector, LsnTargetsCompareWholeUnsignedPositions) {
  unsigned long long const base = 0x7FFFFFFFull << 32;
  auto wal = [](char const* uuid, char const* type, char const* module, unsigned long long first,
                unsigned long long last) {
    Backup_Set s = make_set(module, uuid, type, 0, 0);
    s.first_scn = static_cast<long long>(first);
    s.last_scn = static_cast<long long>(last);
    return s;
  };
  std::vector<Backup_Set> sets = {wal(FULL, "full", "postgresql", base, base + 0x1000),
                                  wal(LOG1, "wal", "postgresql", base + 0x1000, 0x80000000ull << 32),
                                  wal(LOG2, "WAL", "postgresql", 0x80000000ull << 32, 0x80000002ull << 32)};
  ASSERT_LT(sets[2].last_scn, 0);
  unsigned long long lsn = 0;
  ASSERT_TRUE(Restore_Target::parse_lsn("80000001/10", lsn));
  Restore_Plan plan = plan_for(sets, Restore_Target::at_lsn(lsn));
  EXPECT_EQ((std::vector<std::string>{FULL, LOG1, LOG2}), uuids(plan));
  EXPECT_EQ("80000002/0", plan.target.text(plan.reached));
  EXPECT_EQ("7FFFFFFF/1000", plan.target.text(plan.steps[1].start));
  EXPECT_TRUE(plan.complete());
  EXPECT_EQ("no full or incremental backup of this resource ends at or before 7FFFFFFF/FFF",
            error_for(sets, Restore_Target::at_lsn(base + 0xFFF)));
}

TEST(RestorePointSelector, ThePlanWritesItselfAsJson) {
  std::vector<Backup_Set> sets = three_days();
  find(sets, INC1)->storages = {storage(POOL_A, Backup_Set_State::OFFLINE),
                                storage(POOL_C, Backup_Set_State::ONLINE, POOL_A)};
  Restore_Plan plan = plan_for(sets, Restore_Target::at_time(at(2, 6)));
  std::string const want =
      std::string(R"({"complete":true,"reached":"2024-03-02 12:00:00","steps":[)") +
      R"({"catalog_module":"dmdb","end":"2024-03-01 02:00:00","pool_uuid":")" + POOL_A +
      R"(","role":"full","start":"2024-03-01 01:00:00","type":"full","uuid":")" + FULL + R"("},)" +
      R"({"catalog_module":"dmdb","end":"2024-03-02 02:00:00","pool_uuid":")" + POOL_C +
      R"(","role":"incremental","start":"2024-03-02 01:00:00","type":"incremental","uuid":")" + INC1 + R"("},)" +
      R"({"catalog_module":"dmdb_log","end":"2024-03-02 12:00:00","pool_uuid":")" + POOL_A +
      R"(","role":"log","start":"2024-03-02 00:00:00","type":"archive","uuid":")" + LOG3 + R"("}],)" +
      R"("target":"2024-03-02 06:00:00","target_kind":"time"})";
  EXPECT_EQ(want, JSON_Dump(plan.value()));

  // generate() writes the same document through yajl.
  yajl_gen gen = yajl_gen_alloc(nullptr);
  ASSERT_TRUE(plan.generate(gen));
  unsigned char const* buf = nullptr;
  size_t length = 0;
  ASSERT_EQ(yajl_gen_status_ok, yajl_gen_get_buf(gen, &buf, &length));
  EXPECT_EQ(want, std::string(reinterpret_cast<char const*>(buf), length));
  yajl_gen_free(gen);
}

TEST(RestorePointSelector, PositionsAreWrittenInTheTargetsOwnForm) {
  std::vector<Backup_Set> sets = three_days();
  Restore_Plan scn = plan_for(sets, Restore_Target::at_scn(scn_at(at(1, 2))));
  json_spirit::Object o = scn.value().get_obj();
  EXPECT_EQ("scn", o.at("target_kind").get_str());
  EXPECT_EQ(scn_at(at(1, 2)), o.at("target").get_int64());
  EXPECT_EQ(scn_at(at(1, 1)), o.at("steps").get_array()[0].get_obj().at("start").get_int64());

  unsigned long long lsn = 0;
  ASSERT_TRUE(Restore_Target::parse_lsn("0/1000", lsn));
  for (Backup_Set& s : sets) {
    s.first_scn = 0x800;
    s.last_scn = 0x1000;
  }
  Restore_Plan wal = plan_for({sets[0]}, Restore_Target::at_lsn(lsn));
  o = wal.value().get_obj();
  EXPECT_EQ("lsn", o.at("target_kind").get_str());
  EXPECT_EQ("0/1000", o.at("target").get_str());
  EXPECT_EQ("0/800", o.at("steps").get_array()[0].get_obj().at("start").get_str());

  // A full that does not say where its range starts.
  Backup_Set full = data_set(FULL, "full", 0, at(1, 2));
  full.backup_start_time = 0;
  Restore_Plan no_start = plan_for({full}, Restore_Target::at_time(at(1, 2)));
  EXPECT_FALSE(no_start.steps[0].has_start);
  EXPECT_TRUE(no_start.value().get_obj().at("steps").get_array()[0].get_obj().at("start").is_null());
}
