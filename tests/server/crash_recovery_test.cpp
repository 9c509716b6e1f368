// catalogd under faults, with agents using the library's own operators:
// killed with SIGKILL and restarted, its PostgreSQL restarted, its catalogue
// refusing writes. Short forms of bench/crash/crash_loop.
#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <string>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/catalog_operator.h"
#include "bench/crash/crash_rounds.h"
#include "platform/sql/sql.h"

namespace {

class CrashRecoveryTest : public ::testing::TestWithParam<Catalog_Target::Engine> {
 protected:
  Crash_Rounds::Options options() const {
    Crash_Rounds::Options o;
    o.engine = GetParam();
    o.agents = 4;
    o.rounds = 5;
    o.min_uptime_ms = 200;
    o.max_uptime_ms = 800;
    o.min_pause_ms = 50;
    o.max_pause_ms = 300;
    return o;
  }
};

std::set<std::string> as_set(std::vector<std::string> const& v) { return std::set<std::string>(v.begin(), v.end()); }

}  // namespace

TEST_P(CrashRecoveryTest, KilledAgainAndAgainLosesNoAcknowledgedSetAndStoresNoBatchTwice) {
  Crash_Rounds rounds(options());
  std::string error;
  ASSERT_TRUE(rounds.prepare(error)) << error;
  Crash_Rounds::Report r;
  ASSERT_TRUE(rounds.kill_loop(r)) << r.summary();

  EXPECT_EQ(5, r.rounds);
  EXPECT_GE(r.kills_in_commit + r.kills_in_batch, 1) << r.summary();
  EXPECT_GT(r.commits_acknowledged, 0) << r.summary();
  EXPECT_GT(r.ingests_acknowledged, 0) << r.summary();
  EXPECT_GT(r.reader_sets_checked, 0) << r.summary();
  // Every call came back answered true in the end: the retries carried them
  // over each kill.
  EXPECT_EQ(0, r.failed_calls) << r.summary();
  EXPECT_EQ(0, r.lost) << r.summary();
  EXPECT_EQ(0, r.duplicates) << r.summary();
  EXPECT_EQ(0, r.strangers) << r.summary();
  EXPECT_EQ(0, r.half_visible) << r.summary();
  EXPECT_EQ(0, r.vanished) << r.summary();
  // Staged sets remain exactly where an agent was still inside its staging.
  EXPECT_EQ(as_set(r.left_staged), as_set(r.staged_found)) << r.summary();
  EXPECT_TRUE(r.problems.empty()) << r.summary();
}

TEST_P(CrashRecoveryTest, ACatalogueThatRefusesWritesRefusesEveryCallAndTakesThemAgainAfterwards) {
  Crash_Rounds rounds(options());
  std::string error;
  ASSERT_TRUE(rounds.prepare(error)) << error;
  Crash_Rounds::Report r;
  ASSERT_TRUE(rounds.read_only(r)) << r.summary();

  // Two protocols, each: three commits, an initialize, a batch, a complete.
  EXPECT_EQ(12, r.refused_while_faulty) << r.summary();
  EXPECT_EQ(0, r.accepted_while_faulty) << r.summary();
  EXPECT_TRUE(r.catalogd_survived);
  // Before, after: a commit on each protocol; the staged set spanning the
  // fault and one begun after it.
  EXPECT_EQ(4, r.commits_acknowledged) << r.summary();
  EXPECT_EQ(2, r.ingests_acknowledged) << r.summary();
  EXPECT_EQ(0, r.lost) << r.summary();
  EXPECT_EQ(0, r.duplicates) << r.summary();
  EXPECT_EQ(0, r.strangers) << r.summary();
  EXPECT_TRUE(r.staged_found.empty()) << r.summary();
  EXPECT_TRUE(r.problems.empty()) << r.summary();
}

// The check at the end of every round must see what it is there for.
TEST_P(CrashRecoveryTest, TheFinalCheckFindsAPieceStoredTwiceALostSetAShortSetAndAStrayStagedSet) {
  Crash_Rounds rounds(options());
  std::string error;
  ASSERT_TRUE(rounds.prepare(error)) << error;
  Catalog_Operator op(1, 2);
  std::set<std::string> acknowledged;
  for (long seq = 0; seq < 4; ++seq) {
    std::string uuid = rounds.set_uuid(0, false, seq);
    Backup_Set set("file");
    ASSERT_TRUE(rounds.planned_set(uuid, set));
    ASSERT_TRUE(op.commit(set, false));
    acknowledged.insert(uuid);
  }
  std::string stray = rounds.set_uuid(1, true, 0);
  Backup_Set head("file");
  ASSERT_TRUE(rounds.planned_set(stray, head));
  head.pieces.clear();
  ASSERT_TRUE(op.initialize(head));

  Crash_Rounds::Report untouched;
  rounds.check_catalogue(untouched, {}, acknowledged, {stray});
  EXPECT_TRUE(untouched.clean()) << untouched.summary();

  {
    auto c = rounds.target().connect();
    // Set 0: one piece twice. Set 1: gone. Set 2: a piece short.
    ASSERT_TRUE(c->execute(SQL("INSERT INTO backup_piece(set_uuid, path, object, size, dir) "
                               "SELECT set_uuid, path, object, size, dir FROM backup_piece WHERE id = "
                               "(SELECT min(id) FROM backup_piece WHERE path LIKE '/crash/a0/s0/%')")))
        << c->last_error();
    ASSERT_TRUE(c->execute(SQL("DELETE FROM backup_set WHERE uuid IN "
                               "(SELECT set_uuid FROM backup_piece WHERE path LIKE '/crash/a0/s1/%')")))
        << c->last_error();
    ASSERT_TRUE(c->execute(SQL("DELETE FROM backup_piece WHERE id = "
                               "(SELECT min(id) FROM backup_piece WHERE path LIKE '/crash/a0/s2/%')")))
        << c->last_error();
  }
  Crash_Rounds::Report r;
  rounds.check_catalogue(r, {}, acknowledged, {});
  EXPECT_EQ(1, r.duplicates) << r.summary();
  EXPECT_EQ(2, r.lost) << r.summary();
  EXPECT_EQ(1, r.strangers) << r.summary();  // the staged set nobody is staging
  EXPECT_FALSE(r.clean());
}

TEST(CrashRecoveryPostgreSQL, ARestartOfThePostgreSQLClusterUnderLoadLosesNoAcknowledgedSet) {
  Crash_Rounds::Options o;
  o.engine = Catalog_Target::POSTGRESQL;
  o.agents = 4;
  Crash_Rounds rounds(o);
  std::string error;
  ASSERT_TRUE(rounds.prepare(error)) << error;
  Crash_Rounds::Report r;
  ASSERT_TRUE(rounds.pg_restart(r)) << r.summary();

  EXPECT_TRUE(r.catalogd_survived) << r.summary();
  EXPECT_GE(r.acknowledged_after_restart, 2L * o.agents) << r.summary();
  EXPECT_EQ(1, r.ingests_acknowledged) << r.summary();  // the staged set across the restart
  EXPECT_EQ(0, r.lost) << r.summary();
  EXPECT_EQ(0, r.duplicates) << r.summary();
  EXPECT_EQ(0, r.strangers) << r.summary();
  EXPECT_EQ(0, r.half_visible) << r.summary();
  EXPECT_EQ(0, r.vanished) << r.summary();
  EXPECT_TRUE(r.staged_found.empty()) << r.summary();
  EXPECT_TRUE(r.problems.empty()) << r.summary();
  // Error answers while PostgreSQL is away are allowed; report them.
  RecordProperty("error_answers", static_cast<int>(r.failed_calls));
  std::printf("PostgreSQL restart: %s\n", r.summary().c_str());
}

INSTANTIATE_TEST_SUITE_P(Engines, CrashRecoveryTest,
                         ::testing::Values(Catalog_Target::SQLITE, Catalog_Target::POSTGRESQL),
                         [](::testing::TestParamInfo<Catalog_Target::Engine> const& info) {
                           return std::string(Catalog_Target::name(info.param));
                         });
