// Short forms of the load checks that bench/reliability.sh runs for minutes:
// many agents at once on each engine and connection mode, two servers over
// one PostgreSQL catalogue, one uuid raced through two servers, and SIGTERM
// with agents connected. Each asserts no error and an exact count of what
// the catalogue holds against what the agents were told.

#include <gtest/gtest.h>

#include <string>

#include "bench/load/agent_load.h"
#include "platform/database/sqlite_connection.h"
#include "platform/sql/sql.h"

namespace {

int const kAgents = 10;
double const kSeconds = 3;

std::string describe(Agent_Load::Figures const& f) {
  std::string out = std::to_string(f.acknowledged) + " acknowledged of " + std::to_string(f.requests) +
                    " requests, " + std::to_string(f.errors) + " errors, " + std::to_string(f.sets_per_second) +
                    " sets/s, p99 " + std::to_string(f.p99_ms) + " ms";
  for (auto const& e : f.first_errors) out += "\n  " + e;
  return out;
}

std::string describe(Agent_Load::Count const& c) {
  std::string out = std::to_string(c.acknowledged) + " acknowledged, " + std::to_string(c.found) + " found whole, " +
                    std::to_string(c.missing) + " missing, " + std::to_string(c.damaged) + " damaged, " +
                    std::to_string(c.unexpected) + " unexpected, " + std::to_string(c.orphan_pieces) +
                    " orphan pieces";
  for (auto const& p : c.problems) out += "\n  " + p;
  return out;
}

// Every request of the run was acknowledged and every acknowledged set is
// in the catalogue exactly as sent.
void expect_clean(Agent_Load& load, Agent_Load::Figures const& f) {
  EXPECT_EQ(f.errors, 0) << describe(f) << "\n" << load.server_log(0);
  EXPECT_GT(f.acknowledged, 0) << describe(f);
  EXPECT_EQ(f.acknowledged, f.requests) << describe(f);
  Agent_Load::Count c = load.check();
  EXPECT_TRUE(c.ok()) << describe(c);
  EXPECT_EQ(c.found, c.acknowledged) << describe(c);
  EXPECT_GE(c.acknowledged, f.acknowledged) << describe(c);
  EXPECT_EQ(c.unexpected, 0) << describe(c);
}

TEST(LoadCountTest, TheCountNoticesALostPieceALostSetAndASetNoAgentSent) {
  Agent_Load::Options o;
  o.engine = Catalog_Target::SQLITE;
  Agent_Load load(o);
  std::string error;
  ASSERT_TRUE(load.start(error)) << error;
  Agent_Load::Figures f = load.run(2, 0.5, Agent_Load::KEEP_ALIVE, Agent_Load::RPC);
  ASSERT_EQ(f.errors, 0) << describe(f);
  ASSERT_GE(f.acknowledged, 2) << describe(f);
  Agent_Load::Count before = load.check();
  ASSERT_TRUE(before.ok()) << describe(before);

  database::sql::SQLite_Connection c(load.db());
  ASSERT_TRUE(c.is_open()) << c.last_error();
  // One piece of the first set goes, then the whole of the last set.
  ASSERT_TRUE(c.execute(SQL("DELETE FROM backup_piece WHERE id = (SELECT min(id) FROM backup_piece)")))
      << c.last_error();
  Agent_Load::Count damaged = load.check();
  EXPECT_FALSE(damaged.ok());
  EXPECT_EQ(damaged.damaged, 1) << describe(damaged);
  EXPECT_EQ(damaged.found, before.found - 1) << describe(damaged);

  ASSERT_TRUE(c.execute(SQL("DELETE FROM backup_set WHERE uuid = (SELECT set_uuid FROM backup_piece ORDER BY id DESC "
                            "LIMIT 1)")))
      << c.last_error();
  Agent_Load::Count lost = load.check();
  EXPECT_FALSE(lost.ok());
  EXPECT_EQ(lost.missing, 1) << describe(lost);
  EXPECT_EQ(lost.found, before.found - 2) << describe(lost);

  ASSERT_TRUE(c.execute(SQL("INSERT INTO backup_set(uuid, status, name) VALUES(randomblob(16), 'complete', 'stray')")))
      << c.last_error();
  Agent_Load::Count stray = load.check();
  EXPECT_EQ(stray.unexpected, 1) << describe(stray);
}

class LoadTest : public ::testing::TestWithParam<Catalog_Target::Engine> {};

TEST_P(LoadTest, AgentsOnKeptAliveConnectionsAreAllAnsweredAndEverySetIsStoredWhole) {
  Agent_Load::Options o;
  o.engine = GetParam();
  Agent_Load load(o);
  std::string error;
  ASSERT_TRUE(load.start(error)) << error;
  Agent_Load::Figures f = load.run(kAgents, kSeconds, Agent_Load::KEEP_ALIVE, Agent_Load::RPC);
  expect_clean(load, f);
}

TEST_P(LoadTest, AgentsOpeningAConnectionPerRequestAreAllAnsweredAndEverySetIsStoredWhole) {
  Agent_Load::Options o;
  o.engine = GetParam();
  Agent_Load load(o);
  std::string error;
  ASSERT_TRUE(load.start(error)) << error;
  Agent_Load::Figures f = load.run(kAgents, kSeconds, Agent_Load::NEW_CONNECTION, Agent_Load::REST);
  expect_clean(load, f);
}

INSTANTIATE_TEST_SUITE_P(Engines, LoadTest, ::testing::Values(Catalog_Target::SQLITE, Catalog_Target::POSTGRESQL),
                         [](::testing::TestParamInfo<Catalog_Target::Engine> const& info) {
                           return std::string(Catalog_Target::name(info.param));
                         });

TEST(LoadScaleOutTest, TwoServersOverOnePostgreSQLStoreEverySetOnce) {
  Agent_Load::Options o;
  o.engine = Catalog_Target::POSTGRESQL;
  o.servers = 2;
  Agent_Load load(o);
  std::string error;
  ASSERT_TRUE(load.start(error)) << error;
  Agent_Load::Figures f = load.run(kAgents, kSeconds, Agent_Load::KEEP_ALIVE, Agent_Load::RPC);
  expect_clean(load, f);
}

TEST(LoadScaleOutTest, OneUuidCommittedThroughTwoServersAtOnceIsStoredAsExactlyOneDocument) {
  Agent_Load::Options o;
  o.engine = Catalog_Target::POSTGRESQL;
  o.servers = 2;
  Agent_Load load(o);
  std::string error;
  ASSERT_TRUE(load.start(error)) << error;
  Agent_Load::Same_Uuid s = load.same_uuid(5);
  std::string why;
  for (auto const& r : s.refusals) why += "\n  refused: " + r;
  for (auto const& p : s.problems) why += "\n  " + p;
  EXPECT_TRUE(s.ok()) << why;
  EXPECT_EQ(s.rounds, 5);
  EXPECT_EQ(s.whole, 5) << why;
  EXPECT_EQ(s.none_acknowledged, 0) << why;
  // Writers of one set take turns across servers: the later commit
  // replaces the earlier one, neither is refused.
  EXPECT_TRUE(s.refusals.empty()) << why;
  Agent_Load::Count c = load.check();
  EXPECT_TRUE(c.ok()) << describe(c);
  EXPECT_EQ(c.found, 5) << describe(c);
}

TEST(LoadShutdownTest, SigtermWithAgentsConnectedExitsPromptlyAndStoresEveryQueuedCommit) {
  Agent_Load::Options o;
  o.engine = Catalog_Target::SQLITE;
  o.queue_commits = true;
  Agent_Load load(o);
  std::string error;
  ASSERT_TRUE(load.start(error)) << error;
  // Paced below what the queue's one worker stores, so that stopping is
  // not all drain and a wait on the idle connections would show.
  Agent_Load::Shutdown s = load.sigterm(4, 3, 2, 50);
  std::string why;
  for (auto const& e : s.first_errors) why += "\n  " + e;
  EXPECT_EQ(s.exit_status, 0);
  EXPECT_TRUE(s.prompt()) << "exit " << s.exit_seconds << " s after SIGTERM, last set stored at " << s.drained_seconds
                          << " s";
  EXPECT_EQ(s.errors_before_signal, 0) << why;
  EXPECT_GT(s.acknowledged, 3);
  EXPECT_TRUE(s.count.ok()) << describe(s.count);
  EXPECT_EQ(s.count.found, s.acknowledged) << describe(s.count);
}

}  // namespace
