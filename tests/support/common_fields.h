#ifndef TESTS_SUPPORT_COMMON_FIELDS_H
#define TESTS_SUPPORT_COMMON_FIELDS_H

#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_set.h"
#include "platform/json/json_text.h"

// Compares the common fields a catalogue read gives back, one EXPECT each.
// `extended_attrs` is left out where a kind's own column deliberately
// replaces it on the way back.
inline void expect_common_fields(Backup_Set const& want, Backup_Set const& got, bool with_extended_attrs = true) {
  EXPECT_EQ(want.uuid, got.uuid);
  EXPECT_EQ(want.name, got.name);
  EXPECT_EQ(want.definition_uuid, got.definition_uuid);
  EXPECT_EQ(want.job_instance_uuid, got.job_instance_uuid);
  EXPECT_EQ(want.uid, got.uid);
  EXPECT_EQ(want.host_uuid, got.host_uuid);
  EXPECT_EQ(want.resource_uuid, got.resource_uuid);
  EXPECT_EQ(want.minor_resource_id, got.minor_resource_id);
  EXPECT_EQ(want.minor_resource_name, got.minor_resource_name);
  EXPECT_EQ(want.agent, got.agent);
  EXPECT_EQ(want.incarnation, got.incarnation);
  EXPECT_EQ(want.type, got.type);
  EXPECT_EQ(want.first_time, got.first_time);
  EXPECT_EQ(want.last_time, got.last_time);
  EXPECT_EQ(want.backup_start_time, got.backup_start_time);
  EXPECT_EQ(want.backup_end_time, got.backup_end_time);
  EXPECT_EQ(want.source_size, got.source_size);
  EXPECT_EQ(want.size, got.size);
  EXPECT_EQ(want.uri, got.uri);
  EXPECT_EQ(want.host, got.host);
  EXPECT_EQ(want.instance, got.instance);
  EXPECT_EQ(want.instance_version, got.instance_version);
  EXPECT_EQ(want.first_scn, got.first_scn);
  EXPECT_EQ(want.last_scn, got.last_scn);
  EXPECT_TRUE(want.resource_tree == got.resource_tree) << JSON_Dump(json_spirit::Value(got.resource_tree));
  if (with_extended_attrs) {
    EXPECT_TRUE(want.extended_attrs == got.extended_attrs) << JSON_Dump(json_spirit::Value(got.extended_attrs));
  }
}

#endif
