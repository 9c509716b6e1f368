// The library call against a catalogue on both engines: the candidate sets
// come through the read path (the set's statement, its result handler and
// the nested storages), filtered to one host, one resource and complete sets.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "backup/backup_set/common/restore_candidate_reader.h"
#include "backup/backup_set/common/restore_point_selector.h"
#include "platform/json/json_text.h"
#include "platform/time/iso8601.h"
#include "tests/database/catalog_rows.h"
#include "tests/database/engine_fixture.h"
#include "tests/restore/restore_scenario.h"

using namespace restore_scenario;

namespace {

class Restore_Catalog_Test : public Engine_Test {
 protected:
  // One set as the catalogue keeps it: its row, parents as a JSON array of
  // UUID texts, and a row per storage copy.
  void store(Backup_Set const& s, char const* status = "complete") {
    SQL sql(
        "INSERT INTO backup_set (uuid, catalog_module, status, name, host_uuid, resource_uuid, type, first_time, "
        "last_time, backup_start_time, backup_end_time, first_scn, last_scn, parents) VALUES (:uuid, :module, "
        ":status, :name, :host, :resource, :type, :t1, :t2, :t3, :t4, :scn1, :scn2, :parents)");
    auto time = [](long long t) {
      return t == 0 ? Binding_Value() : text_value(POSIX_Time_To_ISO8601(t, "%Y-%m-%d %H:%M:%S"));
    };
    json_spirit::Array parents;
    for (std::string const& p : s.parents) parents.push_back(json_spirit::Value(p));
    sql.bind(":uuid", uuid_value(s.uuid)).bind(":module", text_value(s.catalog_module));
    sql.bind(":status", text_value(status)).bind(":name", text_value(s.name));
    sql.bind(":host", uuid_value(s.host_uuid)).bind(":resource", uuid_value(s.resource_uuid));
    sql.bind(":type", text_value(s.type)).bind(":t1", time(s.first_time)).bind(":t2", time(s.last_time));
    sql.bind(":t3", time(s.backup_start_time)).bind(":t4", time(s.backup_end_time));
    sql.bind(":scn1", Binding_Value(s.first_scn)).bind(":scn2", Binding_Value(s.last_scn));
    sql.bind(":parents", s.parents.empty() ? Binding_Value() : text_value(JSON_Dump(json_spirit::Value(parents))));
    exec(sql);
    for (Backup_Set_Storage const& st : s.storages)
      ASSERT_TRUE(insert_storage(db(), ++storage_id_, s.uuid, st.pool_uuid, st.size,
                                 static_cast<long long>(st.state.bits()), st.upstream_pool_uuid))
          << db().last_error();
  }

  void store_all(std::vector<Backup_Set> const& sets) {
    for (Backup_Set const& s : sets) store(s);
  }

  std::vector<std::string> planned(Restore_Target const& target, std::vector<std::string>* pools = nullptr) {
    Restore_Plan plan;
    std::string error;
    EXPECT_TRUE(Restore_Point_Selector::plan(db(), HOST, RESOURCE, target, plan, error)) << error;
    std::vector<std::string> out;
    for (auto const& step : plan.steps) {
      out.push_back(step.uuid);
      if (pools) pools->push_back(step.pool_uuid);
    }
    return out;
  }

  std::string refused(Restore_Target const& target, std::string const& host = HOST,
                      std::string const& resource = RESOURCE) {
    Restore_Plan plan;
    std::string error;
    EXPECT_FALSE(Restore_Point_Selector::plan(db(), host, resource, target, plan, error));
    return error;
  }

  long long storage_id_ = 0;
};

}  // namespace

TEST_P(Restore_Catalog_Test, TheReaderBringsModuleParentsAndStorages) {
  std::vector<Backup_Set> sets = three_days();
  find(sets, INC1)->storages = {storage(POOL_A, Backup_Set_State::OFFLINE),
                                storage(POOL_C, Backup_Set_State::ONLINE | Backup_Set_State::REPLICATED, POOL_A)};
  store_all(sets);
  Restore_Candidate_Reader reader;
  std::string error;
  ASSERT_TRUE(reader.read(db(), HOST, RESOURCE, error)) << error;
  ASSERT_EQ(sets.size(), reader.sets().size());
  Backup_Set const* inc1 = nullptr;
  for (Backup_Set const& s : reader.sets())
    if (s.uuid == INC1) inc1 = &s;
  ASSERT_NE(nullptr, inc1);
  EXPECT_STREQ("dmdb", inc1->catalog_module);
  EXPECT_EQ("incremental", inc1->type);
  EXPECT_EQ((std::vector<std::string>{FULL}), inc1->parents);
  EXPECT_EQ(at(2, 1), inc1->first_time);
  EXPECT_EQ(at(2, 2), inc1->last_time);
  EXPECT_EQ(scn_at(at(2, 2)), inc1->last_scn);
  ASSERT_EQ(2u, inc1->storages.size());
  std::vector<Backup_Set_Storage> st = inc1->storages;
  std::sort(st.begin(), st.end(), [](Backup_Set_Storage const& a, Backup_Set_Storage const& b) {
    return a.pool_uuid < b.pool_uuid;
  });
  EXPECT_EQ(POOL_A, st[0].pool_uuid);
  EXPECT_EQ(Backup_Set_State::OFFLINE, st[0].state.bits());
  EXPECT_EQ(POOL_C, st[1].pool_uuid);
  EXPECT_EQ(Backup_Set_State::ONLINE | Backup_Set_State::REPLICATED, st[1].state.bits());
  EXPECT_EQ(POOL_A, st[1].upstream_pool_uuid);
  for (Backup_Set const& s : reader.sets())
    if (s.uuid == LOG1) {
      EXPECT_STREQ("dmdb_log", s.catalog_module);
    }

  // A second read replaces what the first gave.
  ASSERT_TRUE(reader.read(db(), HOST, "0e0e0e0e-0000-4000-8000-0000000000ff", error)) << error;
  EXPECT_TRUE(reader.sets().empty());
}

TEST_P(Restore_Catalog_Test, ThePlanComesFromTheSetsOfOneHostAndResource) {
  std::vector<Backup_Set> sets = three_days();
  find(sets, FULL)->storages = {storage(POOL_A, Backup_Set_State::OFFLINE), storage(POOL_B, Backup_Set_State::ONLINE)};
  find(sets, INC1)->storages = {storage(POOL_A, Backup_Set_State::OFFLINE),
                                storage(POOL_C, Backup_Set_State::ONLINE | Backup_Set_State::REPLICATED, POOL_A)};
  store_all(sets);
  // Later fulls of another resource and of another host: not candidates.
  Backup_Set other_resource = data_set("f0000000-0000-4000-8000-0000000000a1", "full", at(3, 4), at(3, 5));
  other_resource.resource_uuid = "0e0e0e0e-0000-4000-8000-0000000000ff";
  Backup_Set other_host = data_set("f0000000-0000-4000-8000-0000000000a2", "full", at(3, 4), at(3, 5));
  other_host.host_uuid = "0b0b0b0b-0000-4000-8000-0000000000ff";
  store(other_resource);
  store(other_host);

  std::vector<std::string> pools;
  EXPECT_EQ((std::vector<std::string>{FULL, INC1, INC2, LOG5}), planned(Restore_Target::at_time(at(3, 8)), &pools));
  EXPECT_EQ((std::vector<std::string>{POOL_B, POOL_C, POOL_A, POOL_A}), pools);
  EXPECT_EQ((std::vector<std::string>{FULL, INC1, LOG3}), planned(Restore_Target::at_scn(scn_at(at(2, 3)))));

  Restore_Plan plan;
  std::string error;
  ASSERT_TRUE(Restore_Point_Selector::plan(db(), HOST, RESOURCE, Restore_Target::at_time(at(6, 0)), plan, error));
  EXPECT_FALSE(plan.complete());
  EXPECT_EQ("2024-03-03 20:00:00", plan.target.text(plan.reached));
}

TEST_P(Restore_Catalog_Test, StagedSetsAreNotThere) {
  std::vector<Backup_Set> sets = three_days();
  for (Backup_Set const& s : sets) store(s, s.uuid == INC2 ? "staged" : "complete");
  // Without INC2 the logs carry INC1 forward.
  EXPECT_EQ((std::vector<std::string>{FULL, INC1, LOG3, LOG4, LOG5}), planned(Restore_Target::at_time(at(3, 8))));
  // A complete set on a staged parent has a missing parent.
  Backup_Set inc3 = data_set("f0000000-0000-4000-8000-000000000004", "incremental", at(3, 5), at(3, 6), {INC2});
  store(inc3);
  EXPECT_EQ(std::string("backup set ") + INC2 + " (parent of " + inc3.uuid + ") is not in the catalogue",
            refused(Restore_Target::at_time(at(3, 8))));
}

TEST_P(Restore_Catalog_Test, AnEmptyCatalogueAndBadUuidsAreRefused) {
  EXPECT_EQ("no full or incremental backup of this resource ends at or before 2024-03-02 00:00:00",
            refused(Restore_Target::at_time(at(2, 0))));
  EXPECT_EQ("host_uuid: not a UUID", refused(Restore_Target::at_time(at(2, 0)), "host-1"));
  EXPECT_EQ("resource_uuid: not a UUID", refused(Restore_Target::at_time(at(2, 0)), HOST, ""));
}

TEST_P(Restore_Catalog_Test, AFailingReadIsAnError) {
  exec(pg() ? "DROP TABLE backup_set CASCADE" : "DROP TABLE backup_set");
  std::string error = refused(Restore_Target::at_time(at(2, 0)));
  EXPECT_EQ(0u, error.find("cannot read the sets of the catalogue: ")) << error;
}

ENGINE_SUITE(Restore_Catalog_Test);
