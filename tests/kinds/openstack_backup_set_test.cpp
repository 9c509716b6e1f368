#include <algorithm>
#include <cctype>
#include <climits>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_piece.h"
#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/backup_set_storage.h"
#include "backup/backup_set/common/openstack_backup_set.h"
#include "platform/database/query_result_token_printer.h"
#include "platform/sql/select_sql.h"
#include "tests/kinds/kind_test_support.h"
#include "tests/records/document.h"
#include "tests/support/log_capture.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

unsigned long const ERROR_PRIORITY = 128;       // LM_ERROR
unsigned long const EMERGENCY_PRIORITY = 1024;  // LM_EMERGENCY

char const DEFAULT_KEYS[] = R"("vm_id":"","vm_name":"","set_uuid":"","backup_uuid":"","profile":{},"volumes":[]})";

char const EXCEPTION_MESSAGE[] =
    "Failed to load OpenStack backup set, Unexpected exception occurred while load json str err ";
char const EMPTY_TIME_MESSAGE[] = "Failed to convert str to time, 'time_str' is empty.\n";
char const BAD_TIME_MESSAGE[] = "Failed to load OpenStack backup set, invalid time format.\n";
char const NOT_STRING_PREFIX[] = "Unexpected error in backup/backup_set/common/openstack_backup_set:";
char const NOT_STRING_SUFFIX[] = ", j is not string!\n";

// The times of the whole document below, as UTC text and POSIX seconds.
char const FIRST_TIME_TEXT[] = "2024-03-01 09:00:00";
long long const FIRST_TIME = 1709283600;
char const LAST_TIME_TEXT[] = "2024-03-01 11:30:15";
long long const LAST_TIME = 1709292615;
char const START_TIME_TEXT[] = "2024-03-01 10:00:00";
long long const START_TIME = 1709287200;
char const END_TIME_TEXT[] = "2024-02-29 23:59:59";
long long const END_TIME = 1709251199;

Object piece_object(char const* path, unsigned long long size, char const* object) {
  return Object{{"path", Value(path)}, {"size", Value(size)}, {"object", Value(object)}};
}

Object storage_object(char const* pool, long long size, Array state) {
  return Object{{"pool_uuid", Value(pool)}, {"size", Value(size)}, {"state", Value(std::move(state))}};
}

// A set as a cloud agent hands it over: every member, optional ones too.
Object whole_document() {
  Object doc;
  doc["uuid"] = "set-0001";
  doc["name"] = "nightly web";
  doc["definition_uuid"] = "def-0001";
  doc["job_instance_uuid"] = "job-0001";
  doc["uid"] = "uid-0001";
  doc["host_uuid"] = "host-0001";
  doc["resource_uuid"] = "res-0001";
  doc["minor_resource_id"] = "minor-0001";
  doc["minor_resource_name"] = "minor \"web\"";
  doc["agent"] = "agent-0001";
  doc["incarnation"] = "inc-7";
  doc["type"] = "full";
  doc["first_time"] = FIRST_TIME_TEXT;
  doc["last_time"] = LAST_TIME_TEXT;
  doc["backup_start_time"] = START_TIME_TEXT;
  doc["backup_end_time"] = END_TIME_TEXT;
  doc["source_size"] = Value(1099511627776LL);
  doc["size"] = Value(123456789LL);
  doc["uri"] = "swift://backups/web";
  doc["host"] = "compute-1";
  doc["instance"] = "instance-1";
  doc["instance_version"] = "2023.1";
  doc["first_scn"] = Value(LLONG_MAX);
  doc["last_scn"] = Value(LLONG_MIN);
  doc["resource_tree"] = Object{{"project", Value("p1")}};
  doc["extended_attrs"] = Object{{"region", Value("r1")}, {"zone", Value(3)}};
  doc["storages"] = Array{Value(storage_object("pool-a", 10, Array{Value("online"), Value("replicated")})),
                          Value(storage_object("pool-b", 20, Array{Value("offline"), Value("bogus"), Value("virtual")}))};
  Object dir = piece_object("/p/dir", 2, "dir");
  dir["extended_attrs"] = Object{{"k", Value("v")}};
  doc["pieces"] = Array{Value(piece_object("/p/disk", 18446744073709551615ULL, "disk")), Value(dir)};
  doc["vm_id"] = "vm-0001";
  doc["vm_name"] = "web";
  doc["backup_uuid"] = "bk-0003";
  doc["set_uuid"] = "os-set-0001";
  doc["profile"] = Object{{"flavor", Value("m1.small")}, {"vcpus", Value(2)}};
  doc["volumes"] = Array{Value(Object{{"id", Value("vol-1")}}), Value("vol-2")};
  doc["last_full_backup_uuid"] = "bk-0001";
  doc["last_backup_uuid"] = "bk-0002";
  return doc;
}

// One required member of the document and the field the loader fills from
// it, seen as a JSON value. Members marked later are only looked up where
// they stand: the time is converted, the storages and pieces appended after
// every member has been read.
struct Required_Member {
  char const* key;
  Value (*field)(OpenStack_Backup_Set const&);
  bool stored_when_read;
};

#define FIELD(name) {#name, [](OpenStack_Backup_Set const& s) { return Value(s.name); }, true}

Required_Member const REQUIRED[] = {
    FIELD(uuid),
    FIELD(name),
    FIELD(definition_uuid),
    FIELD(job_instance_uuid),
    FIELD(uid),
    FIELD(host_uuid),
    FIELD(resource_uuid),
    FIELD(minor_resource_id),
    FIELD(minor_resource_name),
    FIELD(agent),
    FIELD(incarnation),
    FIELD(type),
    {"backup_start_time", [](OpenStack_Backup_Set const& s) { return Value(s.backup_start_time); }, false},
    FIELD(source_size),
    FIELD(size),
    FIELD(uri),
    FIELD(host),
    FIELD(instance),
    FIELD(instance_version),
    FIELD(first_scn),
    FIELD(last_scn),
    FIELD(resource_tree),
    FIELD(extended_attrs),
    {"storages", [](OpenStack_Backup_Set const& s) { return Value(static_cast<long long>(s.storages.size())); },
     false},
    {"pieces", [](OpenStack_Backup_Set const& s) { return Value(static_cast<long long>(s.pieces.size())); }, false},
    FIELD(vm_id),
    FIELD(vm_name),
    FIELD(backup_uuid),
    FIELD(set_uuid),
    FIELD(profile),
    FIELD(volumes),
};

#undef FIELD

// The loader's one record for a failed look-up: LM_ERROR, the loader's
// text, then the exception's, ending the line.
void expect_exception_record(Log_Capture const& capture, std::string const& context) {
  auto const records = capture.records();
  ASSERT_EQ(1u, records.size()) << context << "\n" << capture.dump();
  EXPECT_EQ(ERROR_PRIORITY, records[0].priority) << context;
  EXPECT_EQ(0u, records[0].text.find(EXCEPTION_MESSAGE)) << context << ": " << records[0].text;
  ASSERT_FALSE(records[0].text.empty());
  EXPECT_EQ('\n', records[0].text.back()) << context;
}

// The one record of a state element that is not a string.
void expect_not_string_record(Log_Capture const& capture) {
  auto const records = capture.records();
  ASSERT_EQ(1u, records.size()) << capture.dump();
  EXPECT_EQ(EMERGENCY_PRIORITY, records[0].priority);
  std::string const& text = records[0].text;
  std::string const prefix = NOT_STRING_PREFIX;
  std::string const suffix = NOT_STRING_SUFFIX;
  ASSERT_GT(text.size(), prefix.size() + suffix.size()) << text;
  EXPECT_EQ(prefix, text.substr(0, prefix.size())) << text;
  EXPECT_EQ(suffix, text.substr(text.size() - suffix.size())) << text;
  std::string const line = text.substr(prefix.size(), text.size() - prefix.size() - suffix.size());
  EXPECT_FALSE(line.empty());
  EXPECT_TRUE(std::all_of(line.begin(), line.end(), [](char c) { return std::isdigit(static_cast<unsigned char>(c)); }))
      << "line \"" << line << "\"";
}

// The own columns of the statement, each under `alias`.
Columns openstack_columns(std::string const& alias) {
  Columns out;
  for (char const* key : {"set_uuid", "vm_id", "vm_name", "backup_uuid", "last_backup_uuid", "last_full_backup_uuid",
                          "profile", "volumes"})
    out.emplace_back(alias + "." + key, key);
  return out;
}

Backup_Piece piece_with_object(std::string const& path, std::string const& object) {
  Backup_Piece p;
  p.path = path;
  p.object = object;
  return p;
}

}  // namespace

// ---- document -------------------------------------------------------------

TEST(OpenStackBackupSet, DefaultDocumentIsBaseThenEmptyOwnKeys) {
  expect_default_document<OpenStack_Backup_Set>("openstack", DEFAULT_KEYS);
}

TEST(OpenStackBackupSet, FreshSetHasEveryFieldEmpty) {
  OpenStack_Backup_Set set;
  EXPECT_EQ("", set.vm_id);
  EXPECT_EQ("", set.vm_name);
  EXPECT_EQ("", set.backup_uuid);
  EXPECT_EQ("", set.set_uuid);
  EXPECT_EQ("", set.last_full_backup_uuid);
  EXPECT_EQ("", set.last_backup_uuid);
  EXPECT_TRUE(set.profile.empty());
  EXPECT_TRUE(set.volumes.empty());
  EXPECT_TRUE(set.pieces.empty());
  EXPECT_TRUE(set.storages.empty());
}

TEST(OpenStackBackupSet, EmptyLastUuidsWriteNeitherKey) {
  OpenStack_Backup_Set set;
  set.vm_id = "vm";
  std::string const keys = own_keys(set, "openstack");
  EXPECT_EQ(R"("vm_id":"vm","vm_name":"","set_uuid":"","backup_uuid":"","profile":{},"volumes":[]})", keys);
  EXPECT_EQ(std::string::npos, keys.find("last_backup_uuid"));
  EXPECT_EQ(std::string::npos, keys.find("last_full_backup_uuid"));
}

TEST(OpenStackBackupSet, FilledDocumentHasEveryKeyInOrder) {
  OpenStack_Backup_Set set;
  set.vm_id = "i-\"1\"";
  set.vm_name = "web\\01\n\t";
  set.backup_uuid = "bk-\xE2\x9C\x93";  // a check mark
  set.set_uuid = "set-9";
  set.last_full_backup_uuid = "full-1";
  set.last_backup_uuid = "prev-2";
  set.profile = Object{{"b", Value(18446744073709551615ULL)},
                       {"a", Value(LLONG_MIN)},
                       {"c", Value(Object{{"z", Value(true)}, {"y", Value()}})},
                       {"d", Value(Array{Value(0.5), Value("x\"y")})}};
  set.volumes = Array{Value(Object{{"size", Value(1099511627776LL)}, {"id", Value("v1")}}), Value("loose"), Value(7),
                      Value(Array())};
  Generated doc = generate_text(set);
  EXPECT_TRUE(doc.ok);
  EXPECT_EQ(base_prefix("openstack") +
                R"("vm_id":"i-\"1\"","vm_name":"web\\01\n\t","set_uuid":"set-9","backup_uuid":"bk-)"
                "\xE2\x9C\x93"
                R"(","profile":{"a":-9223372036854775808,"b":18446744073709551615,"c":{"y":null,"z":true},)"
                R"("d":[0.5,"x\"y"]},"volumes":[{"id":"v1","size":1099511627776},"loose",7,[]],)"
                R"("last_backup_uuid":"prev-2","last_full_backup_uuid":"full-1"})",
            doc.text);
}

TEST(OpenStackBackupSet, SetUuidIsWrittenBeforeBackupUuid) {
  OpenStack_Backup_Set set;
  set.backup_uuid = "B";
  set.set_uuid = "S";
  EXPECT_EQ(R"("vm_id":"","vm_name":"","set_uuid":"S","backup_uuid":"B","profile":{},"volumes":[]})",
            own_keys(set, "openstack"));
}

TEST(OpenStackBackupSet, EachLastUuidIsWrittenOnItsOwn) {
  OpenStack_Backup_Set only_last;
  only_last.last_backup_uuid = "L";
  EXPECT_EQ(std::string(DEFAULT_KEYS).substr(0, sizeof DEFAULT_KEYS - 2) + R"(,"last_backup_uuid":"L"})",
            own_keys(only_last, "openstack"));
  OpenStack_Backup_Set only_full;
  only_full.last_full_backup_uuid = "F";
  EXPECT_EQ(std::string(DEFAULT_KEYS).substr(0, sizeof DEFAULT_KEYS - 2) + R"(,"last_full_backup_uuid":"F"})",
            own_keys(only_full, "openstack"));
}

TEST(OpenStackBackupSet, GenerateLeavesTheRecordAsItWas) {
  OpenStack_Backup_Set set;
  set.vm_name = "n";
  set.profile = Object{{"k", Value(1)}};
  std::string const first = document_of(set);
  EXPECT_EQ(first, document_of(set));
  EXPECT_EQ("n", set.vm_name);
  EXPECT_EQ((Object{{"k", Value(1)}}), set.profile);
}

// ---- kind -----------------------------------------------------------------

TEST(OpenStackBackupSet, CatalogueModuleIsOpenstack) {
  expect_kind_names<OpenStack_Backup_Set>("openstack", "OpenStack_Backup_Set", "openstack_backup_set");
}

TEST(OpenStackBackupSet, KindIsListedInTheRegistry) {
  expect_registered_as<OpenStack_Backup_Set>("openstack");
}

// ---- statement ------------------------------------------------------------

TEST(OpenStackBackupSet, StatementJoinsItsTableUnderTheGivenAliases) {
  Select_SQL sql("backup_set", "b");
  OpenStack_Backup_Set::init_select_sql(sql, "o", "b");
  Select_SQL base("backup_set", "b");
  Backup_Set::init_select_sql(base, "b");
  ASSERT_EQ(base.columns().size() + 8, sql.columns().size());
  EXPECT_TRUE(std::equal(base.columns().begin(), base.columns().end(), sql.columns().begin()));
  EXPECT_EQ("backup_set", sql.from_table());
  EXPECT_EQ("b", sql.from_alias());
  EXPECT_EQ(openstack_columns("o"), own_columns(sql));
  ASSERT_EQ(1u, sql.joins().size());
  EXPECT_EQ("openstack_backup_set", sql.joins()[0].table);
  EXPECT_EQ("o", sql.joins()[0].alias);
  EXPECT_EQ("o.set_uuid=b.uuid", sql.joins()[0].condition);
  EXPECT_FALSE(sql.inner(0));
}

TEST(OpenStackBackupSet, StatementFollowsOtherAliases) {
  Select_SQL sql("x", "y");
  OpenStack_Backup_Set::init_select_sql(sql, "os", "s");
  Select_SQL base("x", "y");
  Backup_Set::init_select_sql(base, "s");
  ASSERT_EQ(base.columns().size() + 8, sql.columns().size());
  EXPECT_TRUE(std::equal(base.columns().begin(), base.columns().end(), sql.columns().begin()));
  EXPECT_EQ("s.uuid", sql.columns().front().first);
  EXPECT_EQ("uuid", sql.columns().front().second);
  EXPECT_EQ("backup_set", sql.from_table());
  EXPECT_EQ("s", sql.from_alias());
  EXPECT_EQ(openstack_columns("os"), own_columns(sql));
  ASSERT_EQ(1u, sql.joins().size());
  EXPECT_EQ("openstack_backup_set", sql.joins()[0].table);
  EXPECT_EQ("os", sql.joins()[0].alias);
  EXPECT_EQ("os.set_uuid=s.uuid", sql.joins()[0].condition);
}

TEST(OpenStackBackupSet, StatementKeysAreBareColumnNames) {
  Select_SQL sql("backup_set", "b");
  OpenStack_Backup_Set::init_select_sql(sql, "stack", "base");
  Columns const own = own_columns(sql);
  ASSERT_EQ(8u, own.size());
  EXPECT_EQ((Select_SQL::Column{"stack.set_uuid", "set_uuid"}), own.front());
  EXPECT_EQ((Select_SQL::Column{"stack.last_backup_uuid", "last_backup_uuid"}), own[4]);
  EXPECT_EQ((Select_SQL::Column{"stack.volumes", "volumes"}), own.back());
  ASSERT_EQ(1u, sql.joins().size());
  EXPECT_EQ("stack.set_uuid=base.uuid", sql.joins()[0].condition);
}

// ---- column intake --------------------------------------------------------

TEST(OpenStackBackupSet, OwnTextColumnsAreTaken) {
  OpenStack_Backup_Set set;
  EXPECT_TRUE(cstr(set, "vm_id", "vm-1"));
  EXPECT_TRUE(cstr(set, "vm_name", "web"));
  EXPECT_TRUE(cstr(set, "backup_uuid", "bk"));
  EXPECT_TRUE(cstr(set, "set_uuid", "su"));
  EXPECT_TRUE(cstr(set, "last_full_backup_uuid", "lf"));
  EXPECT_TRUE(cstr(set, "last_backup_uuid", "lb"));
  EXPECT_EQ("vm-1", set.vm_id);
  EXPECT_EQ("web", set.vm_name);
  EXPECT_EQ("bk", set.backup_uuid);
  EXPECT_EQ("su", set.set_uuid);
  EXPECT_EQ("lf", set.last_full_backup_uuid);
  EXPECT_EQ("lb", set.last_backup_uuid);
}

TEST(OpenStackBackupSet, TextColumnTakesOnlyTheGivenLength) {
  OpenStack_Backup_Set set;
  EXPECT_TRUE(set.print_cstr(0, "vm_name", "abcdef", 3));
  EXPECT_EQ("abc", set.vm_name);
  EXPECT_TRUE(set.print_cstr(0, "vm_id", "a\0b", 3));
  EXPECT_EQ(std::string("a\0b", 3), set.vm_id);
}

TEST(OpenStackBackupSet, BaseTextColumnsStillReachTheBase) {
  OpenStack_Backup_Set set;
  EXPECT_TRUE(cstr(set, "uuid", "set-1"));
  EXPECT_TRUE(cstr(set, "name", "nightly"));
  EXPECT_TRUE(cstr(set, "host", "compute-1"));
  EXPECT_TRUE(cstr(set, "backup_start_time", START_TIME_TEXT));
  EXPECT_EQ("set-1", set.uuid);
  EXPECT_EQ("nightly", set.name);
  EXPECT_EQ("compute-1", set.host);
  EXPECT_EQ(START_TIME, set.backup_start_time);
  EXPECT_EQ("", set.vm_id);
  EXPECT_EQ("", set.set_uuid);
}

TEST(OpenStackBackupSet, OwnTextColumnIsStoredAndAnsweredByTheBase) {
  struct Own {
    char const* key;
    std::string OpenStack_Backup_Set::*field;
  };
  Own const own[] = {
      {"vm_id", &OpenStack_Backup_Set::vm_id},
      {"vm_name", &OpenStack_Backup_Set::vm_name},
      {"backup_uuid", &OpenStack_Backup_Set::backup_uuid},
      {"set_uuid", &OpenStack_Backup_Set::set_uuid},
      {"last_full_backup_uuid", &OpenStack_Backup_Set::last_full_backup_uuid},
      {"last_backup_uuid", &OpenStack_Backup_Set::last_backup_uuid},
  };
  for (Own const& o : own) {
    OpenStack_Backup_Set set;
    Backup_Set base("openstack");
    bool const base_answer = base.print_cstr(0, o.key, "v", 1);
    EXPECT_EQ(base_answer, set.print_cstr(0, o.key, "v", 1)) << o.key;
    EXPECT_EQ("v", set.*o.field) << o.key;
    // The base has no column of that name: what it keeps is unchanged.
    EXPECT_EQ(0u, document_of(set).find(base_prefix("openstack"))) << o.key;
  }
}

TEST(OpenStackBackupSet, JsonKeysGivenAsTextAreNotTaken) {
  OpenStack_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(cstr(set, "profile", R"({"a":1})"));
  EXPECT_TRUE(cstr(set, "volumes", "[1]"));
  EXPECT_TRUE(set.profile.empty());
  EXPECT_TRUE(set.volumes.empty());
  EXPECT_EQ(before, document_of(set));
}

TEST(OpenStackBackupSet, OwnKeysAsIntegersAreNotTaken) {
  OpenStack_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_int(0, "vm_id", 5));
  EXPECT_TRUE(set.print_int(0, "set_uuid", 5));
  EXPECT_EQ(before, document_of(set));
  EXPECT_TRUE(set.print_int(0, "size", 1LL << 40));
  EXPECT_EQ(1LL << 40, set.size);
}

TEST(OpenStackBackupSet, NullOrEmptyKeyIsRefusedByPrintCstr) {
  Log_Capture capture;
  OpenStack_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_FALSE(set.print_cstr(0, nullptr, "x", 1));
  EXPECT_FALSE(set.print_cstr(0, "", "x", 1));
  expect_key_refusals(capture, 2, "openstack_backup_set.cpp");
  EXPECT_EQ(before, document_of(set));
}

TEST(OpenStackBackupSet, EmptyKeyIsLoggedButAcceptedByPrintJson) {
  Log_Capture capture;
  OpenStack_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_json(0, "", Value(Object{{"a", Value(1)}})));
  EXPECT_TRUE(set.print_json(0, nullptr, Value(Array{Value(1)})));
  expect_key_refusals(capture, 2, "openstack_backup_set.cpp");
  EXPECT_EQ(before, document_of(set));
}

TEST(OpenStackBackupSet, PrintJsonWithEmptyKeyReturnsTruePrintCstrReturnsFalse) {
  OpenStack_Backup_Set set;
  {
    Log_Capture capture;
    EXPECT_TRUE(set.print_json(0, "", Value("value")));
    expect_key_refusals(capture, 1, nullptr);
  }
  {
    Log_Capture capture;
    EXPECT_FALSE(set.print_cstr(0, "", "x", 1));
    expect_key_refusals(capture, 1, nullptr);
  }
}

TEST(OpenStackBackupSet, ProfileIsReplacedByAnObjectOnly) {
  OpenStack_Backup_Set set;
  set.profile = Object{{"old", Value(1)}};
  EXPECT_TRUE(set.print_json(0, "profile", Value(Array{Value(1)})));
  EXPECT_TRUE(set.print_json(0, "profile", Value("text")));
  EXPECT_TRUE(set.print_json(0, "profile", Value()));
  EXPECT_TRUE(set.print_json(0, "profile", Value(5)));
  EXPECT_EQ((Object{{"old", Value(1)}}), set.profile);
  EXPECT_TRUE(set.print_json(0, "profile", Value(Object{{"new", Value("x")}})));
  EXPECT_EQ((Object{{"new", Value("x")}}), set.profile);
  EXPECT_TRUE(set.volumes.empty());
}

TEST(OpenStackBackupSet, VolumesAreReplacedByAnArrayOnly) {
  OpenStack_Backup_Set set;
  set.volumes = Array{Value("old")};
  EXPECT_TRUE(set.print_json(0, "volumes", Value(Object{{"a", Value(1)}})));
  EXPECT_TRUE(set.print_json(0, "volumes", Value("text")));
  EXPECT_TRUE(set.print_json(0, "volumes", Value()));
  EXPECT_EQ((Array{Value("old")}), set.volumes);
  EXPECT_TRUE(set.print_json(0, "volumes", Value(Array{Value(1), Value("two")})));
  EXPECT_EQ((Array{Value(1), Value("two")}), set.volumes);
  EXPECT_TRUE(set.print_json(0, "volumes", Value(Array())));
  EXPECT_TRUE(set.volumes.empty());
  EXPECT_TRUE(set.profile.empty());
}

TEST(OpenStackBackupSet, JsonColumnsStillReachTheBase) {
  OpenStack_Backup_Set set;
  EXPECT_TRUE(set.print_json(0, "extended_attrs", Value(Object{{"e", Value(1)}})));
  EXPECT_TRUE(set.print_json(0, "resource_tree", Value(Object{{"r", Value(2)}})));
  EXPECT_TRUE(set.print_json(0, "uname", Value(Object{{"u", Value(3)}})));
  EXPECT_EQ((Object{{"e", Value(1)}}), set.extended_attrs);
  EXPECT_EQ((Object{{"r", Value(2)}}), set.resource_tree);
  EXPECT_EQ((Object{{"u", Value(3)}}), set.uname);
  EXPECT_TRUE(set.profile.empty());
}

TEST(OpenStackBackupSet, ProfileColumnIsAnsweredByTheBase) {
  OpenStack_Backup_Set set;
  Backup_Set base("openstack");
  Value const profile(Object{{"p", Value(1)}});
  EXPECT_EQ(base.print_json(0, "profile", profile), set.print_json(0, "profile", profile));
  EXPECT_EQ((Object{{"p", Value(1)}}), set.profile);
  // The base keeps no field of that name: its maps stay empty.
  EXPECT_TRUE(set.extended_attrs.empty());
  EXPECT_TRUE(set.resource_tree.empty());
}

TEST(OpenStackBackupSet, ValuesInsideAnOpenMapGoStraightToTheBase) {
  OpenStack_Backup_Set set;
  database::sql::Query_Result_Printer& p = set;
  std::string const before = document_of(set);
  ASSERT_TRUE(p.start_map(0, "extended_attrs"));
  EXPECT_TRUE(cstr(p, "vm_id", "nested"));
  EXPECT_TRUE(cstr(p, "uuid", "nested"));
  EXPECT_TRUE(p.print_json(0, "profile", Value(Object{{"n", Value(1)}})));
  EXPECT_TRUE(p.print_json(0, "volumes", Value(Array{Value(1)})));
  ASSERT_TRUE(p.start_array(0, "list"));
  EXPECT_TRUE(cstr(p, "set_uuid", "deeper"));
  ASSERT_TRUE(p.end_array());
  ASSERT_TRUE(p.end_map());
  EXPECT_EQ(before, document_of(set));
  EXPECT_EQ("", set.uuid);
  EXPECT_TRUE(cstr(p, "vm_id", "top"));
  EXPECT_EQ("top", set.vm_id);
}

TEST(OpenStackBackupSet, OverridesAreReachedThroughThePrinterBase) {
  OpenStack_Backup_Set set;
  database::sql::Query_Result_Printer& p = set;
  EXPECT_TRUE(cstr(p, "backup_uuid", "bk"));
  EXPECT_TRUE(p.print_json(0, "volumes", Value(Array{Value("v")})));
  EXPECT_EQ("bk", set.backup_uuid);
  EXPECT_EQ((Array{Value("v")}), set.volumes);
  Log_Capture capture;
  EXPECT_FALSE(p.print_cstr(0, "", "x", 1));
  EXPECT_TRUE(p.print_json(0, "", Value()));
  expect_key_refusals(capture, 2, "openstack_backup_set.cpp");
}

TEST(OpenStackBackupSet, RowTakenThroughIntakeIsWrittenBack) {
  OpenStack_Backup_Set set;
  EXPECT_TRUE(cstr(set, "set_uuid", "s"));
  EXPECT_TRUE(cstr(set, "vm_id", "i"));
  EXPECT_TRUE(cstr(set, "vm_name", "n"));
  EXPECT_TRUE(cstr(set, "backup_uuid", "b"));
  EXPECT_TRUE(cstr(set, "last_backup_uuid", "lb"));
  EXPECT_TRUE(cstr(set, "last_full_backup_uuid", "lf"));
  EXPECT_TRUE(set.print_json(0, "profile", Value(Object{{"k", Value("v")}})));
  EXPECT_TRUE(set.print_json(0, "volumes", Value(Array{Value(1)})));
  EXPECT_EQ(base_prefix("openstack") +
                R"("vm_id":"i","vm_name":"n","set_uuid":"s","backup_uuid":"b","profile":{"k":"v"},)"
                R"("volumes":[1],"last_backup_uuid":"lb","last_full_backup_uuid":"lf"})",
            document_of(set));
}

// ---- loading a whole set --------------------------------------------------

TEST(OpenStackBackupSet, WholeDocumentLoads) {
  Log_Capture capture;
  OpenStack_Backup_Set set;
  EXPECT_TRUE(set << whole_document());
  EXPECT_EQ(0u, capture.size()) << capture.dump();

  EXPECT_EQ("set-0001", set.uuid);
  EXPECT_EQ("nightly web", set.name);
  EXPECT_EQ("def-0001", set.definition_uuid);
  EXPECT_EQ("job-0001", set.job_instance_uuid);
  EXPECT_EQ("uid-0001", set.uid);
  EXPECT_EQ("host-0001", set.host_uuid);
  EXPECT_EQ("res-0001", set.resource_uuid);
  EXPECT_EQ("minor-0001", set.minor_resource_id);
  EXPECT_EQ("minor \"web\"", set.minor_resource_name);
  EXPECT_EQ("agent-0001", set.agent);
  EXPECT_EQ("inc-7", set.incarnation);
  EXPECT_EQ("full", set.type);
  EXPECT_EQ(FIRST_TIME, set.first_time);
  EXPECT_EQ(LAST_TIME, set.last_time);
  EXPECT_EQ(START_TIME, set.backup_start_time);
  EXPECT_EQ(END_TIME, set.backup_end_time);
  EXPECT_EQ(1099511627776LL, set.source_size);
  EXPECT_EQ(123456789LL, set.size);
  EXPECT_EQ("swift://backups/web", set.uri);
  EXPECT_EQ("compute-1", set.host);
  EXPECT_EQ("instance-1", set.instance);
  EXPECT_EQ("2023.1", set.instance_version);
  EXPECT_EQ(LLONG_MAX, set.first_scn);
  EXPECT_EQ(LLONG_MIN, set.last_scn);
  EXPECT_EQ((Object{{"project", Value("p1")}}), set.resource_tree);
  EXPECT_EQ((Object{{"region", Value("r1")}, {"zone", Value(3)}}), set.extended_attrs);
  EXPECT_EQ("vm-0001", set.vm_id);
  EXPECT_EQ("web", set.vm_name);
  EXPECT_EQ("bk-0003", set.backup_uuid);
  EXPECT_EQ("os-set-0001", set.set_uuid);
  EXPECT_EQ((Object{{"flavor", Value("m1.small")}, {"vcpus", Value(2)}}), set.profile);
  EXPECT_EQ((Array{Value(Object{{"id", Value("vol-1")}}), Value("vol-2")}), set.volumes);
  EXPECT_EQ("bk-0001", set.last_full_backup_uuid);
  EXPECT_EQ("bk-0002", set.last_backup_uuid);

  ASSERT_EQ(2u, set.pieces.size());
  EXPECT_EQ("/p/disk", set.pieces[0].path);
  EXPECT_EQ(static_cast<long long>(18446744073709551615ULL), set.pieces[0].size);
  EXPECT_EQ("disk", set.pieces[0].object);
  EXPECT_TRUE(set.pieces[0].extended_attrs.empty());
  EXPECT_EQ("/p/dir", set.pieces[1].path);
  EXPECT_EQ(2, set.pieces[1].size);
  EXPECT_EQ("dir", set.pieces[1].object);
  EXPECT_EQ((Object{{"k", Value("v")}}), set.pieces[1].extended_attrs);

  ASSERT_EQ(2u, set.storages.size());
  EXPECT_EQ("pool-a", set.storages[0].pool_uuid);
  EXPECT_EQ(10, set.storages[0].size);
  EXPECT_EQ(0x11u, set.storages[0].state.bits());
  EXPECT_EQ("", set.storages[0].set_uuid);
  EXPECT_EQ("", set.storages[0].upstream_pool_uuid);
  EXPECT_TRUE(set.storages[0].extended_attrs.empty());
  EXPECT_EQ("pool-b", set.storages[1].pool_uuid);
  EXPECT_EQ(20, set.storages[1].size);
  // "bogus" names no state and sets nothing.
  EXPECT_EQ(0x102u, set.storages[1].state.bits());
}

TEST(OpenStackBackupSet, LoadedPiecesAndStoragesFollowThoseAlreadyThere) {
  OpenStack_Backup_Set set;
  set.add_piece("/before", 1);
  set.add_storage("pool-before", 5);
  EXPECT_TRUE(set << whole_document());
  ASSERT_EQ(3u, set.pieces.size());
  EXPECT_EQ("/before", set.pieces[0].path);
  EXPECT_EQ("/p/disk", set.pieces[1].path);
  EXPECT_EQ("/p/dir", set.pieces[2].path);
  ASSERT_EQ(3u, set.storages.size());
  EXPECT_EQ("pool-before", set.storages[0].pool_uuid);
  EXPECT_EQ("pool-a", set.storages[1].pool_uuid);
  EXPECT_EQ("pool-b", set.storages[2].pool_uuid);
}

TEST(OpenStackBackupSet, EmptyStoragesPiecesProfileAndVolumesLoad) {
  Object doc = whole_document();
  doc["storages"] = Array();
  doc["pieces"] = Array();
  doc["profile"] = Object();
  doc["volumes"] = Array();
  OpenStack_Backup_Set set;
  set.profile = Object{{"old", Value(1)}};
  set.volumes = Array{Value("old")};
  EXPECT_TRUE(set << doc);
  EXPECT_TRUE(set.storages.empty());
  EXPECT_TRUE(set.pieces.empty());
  EXPECT_TRUE(set.profile.empty());
  EXPECT_TRUE(set.volumes.empty());
}

TEST(OpenStackBackupSet, DocumentWithoutOptionalTimesLoadsAndLeavesThemAsTheyWere) {
  Object doc = whole_document();
  doc.erase("first_time");
  doc.erase("last_time");
  doc.erase("backup_end_time");
  OpenStack_Backup_Set set;
  set.first_time = 11;
  set.last_time = 22;
  set.backup_end_time = 33;
  EXPECT_TRUE(set << doc);
  EXPECT_EQ(11, set.first_time);
  EXPECT_EQ(22, set.last_time);
  EXPECT_EQ(33, set.backup_end_time);
  EXPECT_EQ(START_TIME, set.backup_start_time);

  Object without_start = whole_document();
  without_start.erase("backup_start_time");
  OpenStack_Backup_Set other;
  Log_Capture capture;
  EXPECT_FALSE(other << without_start);
  expect_exception_record(capture, "backup_start_time missing");
}

TEST(OpenStackBackupSet, MissingOptionalMembersLeaveFieldsAsTheyWere) {
  Object doc = whole_document();
  for (char const* key : {"first_time", "last_time", "backup_end_time", "last_full_backup_uuid", "last_backup_uuid"})
    doc.erase(key);
  Array pieces = doc["pieces"].get_array();
  pieces[1].get_obj().erase("extended_attrs");
  doc["pieces"] = pieces;
  OpenStack_Backup_Set set;
  set.first_time = 1;
  set.last_time = 2;
  set.backup_end_time = 3;
  set.last_full_backup_uuid = "keep-full";
  set.last_backup_uuid = "keep-last";
  Log_Capture capture;
  EXPECT_TRUE(set << doc);
  EXPECT_EQ(0u, capture.size()) << capture.dump();
  EXPECT_EQ(1, set.first_time);
  EXPECT_EQ(2, set.last_time);
  EXPECT_EQ(3, set.backup_end_time);
  EXPECT_EQ("keep-full", set.last_full_backup_uuid);
  EXPECT_EQ("keep-last", set.last_backup_uuid);
  ASSERT_EQ(2u, set.pieces.size());
  EXPECT_TRUE(set.pieces[1].extended_attrs.empty());
  EXPECT_EQ("dir", set.pieces[1].object);
}

TEST(OpenStackBackupSet, EachMissingRequiredMemberFailsAndKeepsWhatWasReadBefore) {
  ASSERT_EQ(31u, sizeof REQUIRED / sizeof REQUIRED[0]);
  Object const whole = whole_document();
  OpenStack_Backup_Set const fresh;
  for (size_t missing = 0; missing < sizeof REQUIRED / sizeof REQUIRED[0]; ++missing) {
    std::string const key = REQUIRED[missing].key;
    Object doc = whole;
    ASSERT_EQ(1u, doc.erase(key)) << key;
    OpenStack_Backup_Set set;
    Log_Capture capture;
    EXPECT_FALSE(set << doc) << key;
    expect_exception_record(capture, "missing " + key);
    for (size_t j = 0; j < sizeof REQUIRED / sizeof REQUIRED[0]; ++j) {
      Required_Member const& m = REQUIRED[j];
      if (m.stored_when_read && j < missing)
        EXPECT_EQ(whole.at(m.key), m.field(set)) << "missing " << key << ": " << m.key << " was read before";
      else
        EXPECT_EQ(m.field(fresh), m.field(set)) << "missing " << key << ": " << m.key << " should be untouched";
    }
    // The optional members come later: none of them was taken.
    EXPECT_EQ(0, set.first_time) << key;
    EXPECT_EQ(0, set.last_time) << key;
    EXPECT_EQ(0, set.backup_end_time) << key;
    EXPECT_EQ("", set.last_full_backup_uuid) << key;
    EXPECT_EQ("", set.last_backup_uuid) << key;
  }
}

TEST(OpenStackBackupSet, MissingMemberHalfwayKeepsTheEarlierValues) {
  Object doc = whole_document();
  doc.erase("instance");
  OpenStack_Backup_Set set;
  set.vm_id = "before";
  Log_Capture capture;
  EXPECT_FALSE(set << doc);
  expect_exception_record(capture, "instance missing");
  EXPECT_EQ("set-0001", set.uuid);
  EXPECT_EQ("full", set.type);
  EXPECT_EQ(1099511627776LL, set.source_size);
  EXPECT_EQ(123456789LL, set.size);
  EXPECT_EQ("swift://backups/web", set.uri);
  EXPECT_EQ("compute-1", set.host);
  EXPECT_EQ("", set.instance);
  EXPECT_EQ("", set.instance_version);
  EXPECT_EQ(0, set.first_scn);
  EXPECT_EQ("before", set.vm_id);
  EXPECT_EQ(0, set.backup_start_time);
  EXPECT_TRUE(set.pieces.empty());
  EXPECT_TRUE(set.storages.empty());
}

TEST(OpenStackBackupSet, MembersOfTheWrongTypeFail) {
  std::vector<std::pair<char const*, Value>> const wrong = {
      {"uuid", Value(5)},
      {"type", Value()},
      {"backup_start_time", Value(1709287200LL)},
      {"source_size", Value("12")},
      {"size", Value(true)},
      {"first_scn", Value(1.5)},
      {"last_scn", Value(Array{Value(1)})},
      {"uri", Value(Object())},
      {"resource_tree", Value(Array())},
      {"extended_attrs", Value("attrs")},
      {"storages", Value(Object())},
      {"pieces", Value("pieces")},
      {"vm_id", Value(true)},
      {"set_uuid", Value()},
      {"profile", Value(Array())},
      {"volumes", Value(Object())},
  };
  for (auto const& w : wrong) {
    Object doc = whole_document();
    doc[w.first] = w.second;
    OpenStack_Backup_Set set;
    Log_Capture capture;
    EXPECT_FALSE(set << doc) << w.first;
    expect_exception_record(capture, std::string("wrong type of ") + w.first);
    EXPECT_TRUE(set.pieces.empty()) << w.first;
    EXPECT_TRUE(set.storages.empty()) << w.first;
    EXPECT_EQ(0, set.backup_start_time) << w.first;
    EXPECT_EQ("", set.last_backup_uuid) << w.first;
  }
}

TEST(OpenStackBackupSet, TextWhereAnIntegerIsExpectedKeepsTheStringsBefore) {
  Object doc = whole_document();
  doc["source_size"] = "1024";
  OpenStack_Backup_Set set;
  Log_Capture capture;
  EXPECT_FALSE(set << doc);
  expect_exception_record(capture, "source_size as text");
  EXPECT_EQ("set-0001", set.uuid);
  EXPECT_EQ("agent-0001", set.agent);
  EXPECT_EQ("full", set.type);
  EXPECT_EQ(0, set.source_size);
  EXPECT_EQ(0, set.size);
  EXPECT_EQ("", set.uri);
}

TEST(OpenStackBackupSet, OptionalMembersOfAnotherTypeAreLeftAside) {
  Object doc = whole_document();
  doc["last_backup_uuid"] = Value(5);
  doc["last_full_backup_uuid"] = Value(Object());
  OpenStack_Backup_Set set;
  set.last_backup_uuid = "keep-last";
  set.last_full_backup_uuid = "keep-full";
  EXPECT_TRUE(set << doc);
  EXPECT_EQ("keep-last", set.last_backup_uuid);
  EXPECT_EQ("keep-full", set.last_full_backup_uuid);
}

TEST(OpenStackBackupSet, PieceThatIsNotAnObjectFailsKeepingEarlierPieces) {
  Object doc = whole_document();
  doc["pieces"] = Array{Value(piece_object("/first", 1, "disk")), Value("not a piece"),
                        Value(piece_object("/third", 3, "disk"))};
  OpenStack_Backup_Set set;
  Log_Capture capture;
  EXPECT_FALSE(set << doc);
  expect_exception_record(capture, "piece as text");
  ASSERT_EQ(1u, set.pieces.size());
  EXPECT_EQ("/first", set.pieces[0].path);
  EXPECT_TRUE(set.storages.empty());
  // Everything before the pieces was read and the times converted.
  EXPECT_EQ("vm-0001", set.vm_id);
  EXPECT_EQ((Array{Value(Object{{"id", Value("vol-1")}}), Value("vol-2")}), set.volumes);
  EXPECT_EQ(START_TIME, set.backup_start_time);
  EXPECT_EQ(FIRST_TIME, set.first_time);
  EXPECT_EQ("", set.last_backup_uuid);
  EXPECT_EQ("", set.last_full_backup_uuid);
}

TEST(OpenStackBackupSet, PieceLackingOrMistypingARequiredMemberFails) {
  std::vector<std::pair<std::string, Object>> cases;
  for (char const* key : {"path", "size", "object"}) {
    Object p = piece_object("/bad", 4, "disk");
    p.erase(key);
    cases.emplace_back(std::string("missing ") + key, p);
  }
  Object size_text = piece_object("/bad", 4, "disk");
  size_text["size"] = "4";
  cases.emplace_back("size as text", size_text);
  Object path_number = piece_object("/bad", 4, "disk");
  path_number["path"] = Value(4);
  cases.emplace_back("path as number", path_number);
  Object object_array = piece_object("/bad", 4, "disk");
  object_array["object"] = Value(Array());
  cases.emplace_back("object as array", object_array);
  for (auto const& c : cases) {
    Object doc = whole_document();
    doc["pieces"] = Array{Value(piece_object("/good", 1, "dir")), Value(c.second)};
    OpenStack_Backup_Set set;
    Log_Capture capture;
    EXPECT_FALSE(set << doc) << c.first;
    expect_exception_record(capture, c.first);
    ASSERT_EQ(1u, set.pieces.size()) << c.first;
    EXPECT_EQ("/good", set.pieces[0].path) << c.first;
    EXPECT_TRUE(set.storages.empty()) << c.first;
  }
}

TEST(OpenStackBackupSet, PieceAttributesOfAnotherTypeAreLeftAside) {
  Object doc = whole_document();
  Object p = piece_object("/x", 1, "disk");
  p["extended_attrs"] = Value(Array{Value(1)});
  doc["pieces"] = Array{Value(p)};
  OpenStack_Backup_Set set;
  EXPECT_TRUE(set << doc);
  ASSERT_EQ(1u, set.pieces.size());
  EXPECT_TRUE(set.pieces[0].extended_attrs.empty());
}

TEST(OpenStackBackupSet, StorageThatIsNotAnObjectFailsKeepingEarlierStoragesAndAllPieces) {
  Object doc = whole_document();
  doc["storages"] = Array{Value(storage_object("pool-a", 1, Array{Value("online")})), Value(5)};
  OpenStack_Backup_Set set;
  Log_Capture capture;
  EXPECT_FALSE(set << doc);
  expect_exception_record(capture, "storage as number");
  ASSERT_EQ(1u, set.storages.size());
  EXPECT_EQ("pool-a", set.storages[0].pool_uuid);
  EXPECT_EQ(1u, set.storages[0].state.bits());
  EXPECT_EQ(2u, set.pieces.size());
  EXPECT_EQ("", set.last_backup_uuid);
}

TEST(OpenStackBackupSet, StorageLackingOrMistypingARequiredMemberFails) {
  std::vector<std::pair<std::string, Object>> cases;
  for (char const* key : {"pool_uuid", "size", "state"}) {
    Object s = storage_object("pool-bad", 2, Array{Value("online")});
    s.erase(key);
    cases.emplace_back(std::string("missing ") + key, s);
  }
  Object size_text = storage_object("pool-bad", 2, Array());
  size_text["size"] = "2";
  cases.emplace_back("size as text", size_text);
  Object state_object = storage_object("pool-bad", 2, Array());
  state_object["state"] = Object{{"online", Value(true)}};
  cases.emplace_back("state as object", state_object);
  Object state_text = storage_object("pool-bad", 2, Array());
  state_text["state"] = "online";
  cases.emplace_back("state as text", state_text);
  for (auto const& c : cases) {
    Object doc = whole_document();
    doc["storages"] = Array{Value(storage_object("pool-good", 1, Array{Value("nearline")})), Value(c.second)};
    OpenStack_Backup_Set set;
    Log_Capture capture;
    EXPECT_FALSE(set << doc) << c.first;
    expect_exception_record(capture, c.first);
    ASSERT_EQ(1u, set.storages.size()) << c.first;
    EXPECT_EQ("pool-good", set.storages[0].pool_uuid) << c.first;
    EXPECT_EQ(4u, set.storages[0].state.bits()) << c.first;
    EXPECT_EQ(2u, set.pieces.size()) << c.first;
  }
}

TEST(OpenStackBackupSet, StateWithANumberFailsWithJIsNotString) {
  Object doc = whole_document();
  doc["storages"] = Array{Value(storage_object("pool-a", 1, Array{Value("expired")})),
                          Value(storage_object("pool-b", 2, Array{Value("online"), Value(3)})),
                          Value(storage_object("pool-c", 3, Array{Value("online")}))};
  OpenStack_Backup_Set set;
  Log_Capture capture;
  EXPECT_FALSE(set << doc);
  expect_not_string_record(capture);
  ASSERT_EQ(1u, set.storages.size());
  EXPECT_EQ("pool-a", set.storages[0].pool_uuid);
  EXPECT_EQ(8u, set.storages[0].state.bits());
  ASSERT_EQ(2u, set.pieces.size());
  EXPECT_EQ("/p/disk", set.pieces[0].path);
  EXPECT_EQ("/p/dir", set.pieces[1].path);
  EXPECT_EQ(START_TIME, set.backup_start_time);
  EXPECT_EQ("vm-0001", set.vm_id);
  // The optional uuids come after the storages.
  EXPECT_EQ("", set.last_backup_uuid);
  EXPECT_EQ("", set.last_full_backup_uuid);
}

TEST(OpenStackBackupSet, StateElementsOfOtherKindsAreRefusedToo) {
  for (Value const& element : {Value(), Value(true), Value(Object()), Value(Array{Value("online")})}) {
    Object doc = whole_document();
    doc["storages"] = Array{Value(storage_object("pool-a", 1, Array{element}))};
    OpenStack_Backup_Set set;
    Log_Capture capture;
    EXPECT_FALSE(set << doc);
    expect_not_string_record(capture);
    EXPECT_TRUE(set.storages.empty());
    EXPECT_EQ(2u, set.pieces.size());
  }
}

TEST(OpenStackBackupSet, EmptyStateGivesNoBits) {
  Object doc = whole_document();
  doc["storages"] = Array{Value(storage_object("pool-a", 1, Array()))};
  OpenStack_Backup_Set set;
  EXPECT_TRUE(set << doc);
  ASSERT_EQ(1u, set.storages.size());
  EXPECT_EQ(0u, set.storages[0].state.bits());
}

TEST(OpenStackBackupSet, EmptyBackupStartTimeFailsWithTwoMessages) {
  Object doc = whole_document();
  doc["backup_start_time"] = "";
  OpenStack_Backup_Set set;
  Log_Capture capture;
  EXPECT_FALSE(set << doc);
  auto const records = capture.records();
  ASSERT_EQ(2u, records.size()) << capture.dump();
  EXPECT_EQ(ERROR_PRIORITY, records[0].priority);
  EXPECT_EQ(EMPTY_TIME_MESSAGE, records[0].text);
  EXPECT_EQ(ERROR_PRIORITY, records[1].priority);
  EXPECT_EQ(BAD_TIME_MESSAGE, records[1].text);
  // The members were all read; pieces, storages and the optional uuids were not.
  EXPECT_EQ("vm-0001", set.vm_id);
  EXPECT_EQ("os-set-0001", set.set_uuid);
  EXPECT_TRUE(set.pieces.empty());
  EXPECT_TRUE(set.storages.empty());
  EXPECT_EQ("", set.last_backup_uuid);
  EXPECT_EQ("", set.last_full_backup_uuid);
}

TEST(OpenStackBackupSet, EmptyOptionalTimeFailsWithTwoMessages) {
  for (char const* key : {"first_time", "last_time", "backup_end_time"}) {
    Object doc = whole_document();
    doc[key] = "";
    OpenStack_Backup_Set set;
    Log_Capture capture;
    EXPECT_FALSE(set << doc) << key;
    auto const records = capture.records();
    ASSERT_EQ(2u, records.size()) << key << "\n" << capture.dump();
    EXPECT_EQ(ERROR_PRIORITY, records[0].priority) << key;
    EXPECT_EQ(EMPTY_TIME_MESSAGE, records[0].text) << key;
    EXPECT_EQ(ERROR_PRIORITY, records[1].priority) << key;
    EXPECT_EQ(BAD_TIME_MESSAGE, records[1].text) << key;
    EXPECT_TRUE(set.pieces.empty()) << key;
    EXPECT_TRUE(set.storages.empty()) << key;
  }
}

TEST(OpenStackBackupSet, InvalidTimeTextFailsWithTheFormatMessageOnly) {
  for (char const* key : {"backup_start_time", "first_time", "last_time", "backup_end_time"}) {
    Object doc = whole_document();
    doc[key] = "yesterday at noon";
    OpenStack_Backup_Set set;
    Log_Capture capture;
    EXPECT_FALSE(set << doc) << key;
    auto const records = capture.records();
    ASSERT_EQ(1u, records.size()) << key << "\n" << capture.dump();
    EXPECT_EQ(ERROR_PRIORITY, records[0].priority) << key;
    EXPECT_EQ(BAD_TIME_MESSAGE, records[0].text) << key;
    EXPECT_EQ("bk-0003", set.backup_uuid) << key;
    EXPECT_TRUE(set.pieces.empty()) << key;
    EXPECT_TRUE(set.storages.empty()) << key;
    EXPECT_EQ("", set.last_backup_uuid) << key;
  }
}

TEST(OpenStackBackupSet, LoadedSetIsWrittenWithItsOwnKeys) {
  OpenStack_Backup_Set set;
  ASSERT_TRUE(set << whole_document());
  std::string const doc = document_of(set);
  EXPECT_NE(std::string::npos,
            doc.find(R"("vm_id":"vm-0001","vm_name":"web","set_uuid":"os-set-0001","backup_uuid":"bk-0003",)"
                     R"("profile":{"flavor":"m1.small","vcpus":2},"volumes":[{"id":"vol-1"},"vol-2"],)"
                     R"("last_backup_uuid":"bk-0002","last_full_backup_uuid":"bk-0001"})"))
      << doc;
  EXPECT_NE(std::string::npos, doc.find(R"("backup_start_time":"2024-03-01 10:00:00")")) << doc;
}

// ---- looking up pieces ----------------------------------------------------

TEST(OpenStackBackupSet, GetPiecesOfDirReturnsTheDirectoryPieces) {
  OpenStack_Backup_Set set;
  set.add_piece("/a", 1);
  set.add_directory_piece("/d1", 2);
  set.add_piece("/b", 3);
  set.add_directory_piece("/d2", 4);
  std::vector<Backup_Piece*> const dirs = set.get_pieces("dir");
  ASSERT_EQ(2u, dirs.size());
  EXPECT_EQ(&set.pieces[1], dirs[0]);
  EXPECT_EQ(&set.pieces[3], dirs[1]);
  EXPECT_EQ("/d1", dirs[0]->path);
  EXPECT_EQ("/d2", dirs[1]->path);
}

TEST(OpenStackBackupSet, PiecesAreComparedByteWise) {
  OpenStack_Backup_Set set;
  set.add_piece(piece_with_object("/0", ""));
  set.add_piece(piece_with_object("/1", "dir"));
  set.add_piece(piece_with_object("/2", "Dir"));
  set.add_piece(piece_with_object("/3", std::string("dir\0x", 5)));
  set.add_piece(piece_with_object("/4", "dir "));
  set.add_piece(piece_with_object("/5", "dir"));
  std::vector<Backup_Piece*> const dir = set.get_pieces("dir");
  ASSERT_EQ(2u, dir.size());
  EXPECT_EQ(&set.pieces[1], dir[0]);
  EXPECT_EQ(&set.pieces[5], dir[1]);
  std::vector<Backup_Piece*> const upper = set.get_pieces("Dir");
  ASSERT_EQ(1u, upper.size());
  EXPECT_EQ(&set.pieces[2], upper[0]);
  std::vector<Backup_Piece*> const nul = set.get_pieces(std::string("dir\0x", 5));
  ASSERT_EQ(1u, nul.size());
  EXPECT_EQ(&set.pieces[3], nul[0]);
  std::vector<Backup_Piece*> const empty = set.get_pieces("");
  ASSERT_EQ(1u, empty.size());
  EXPECT_EQ(&set.pieces[0], empty[0]);
  EXPECT_TRUE(set.get_pieces("di").empty());
  EXPECT_TRUE(set.get_pieces(std::string("dir\0", 4)).empty());
  EXPECT_TRUE(set.get_pieces("DIR").empty());
}

TEST(OpenStackBackupSet, GetPieceReturnsTheFirstMatchOrNull) {
  OpenStack_Backup_Set set;
  set.add_piece(piece_with_object("/1", "disk"));
  set.add_piece(piece_with_object("/2", "dir"));
  set.add_piece(piece_with_object("/3", "dir"));
  set.add_piece(piece_with_object("/4", std::string("dir\0x", 5)));
  EXPECT_EQ(&set.pieces[1], set.get_piece("dir"));
  EXPECT_EQ(&set.pieces[0], set.get_piece("disk"));
  EXPECT_EQ(&set.pieces[3], set.get_piece(std::string("dir\0x", 5)));
  EXPECT_EQ(nullptr, set.get_piece("Dir"));
  EXPECT_EQ(nullptr, set.get_piece("file"));
  EXPECT_EQ(nullptr, set.get_piece(""));
}

TEST(OpenStackBackupSet, NonConstLookUpsGiveWritablePieces) {
  OpenStack_Backup_Set set;
  set.add_directory_piece("/d", 1);
  set.add_piece("/f", 2);
  set.get_piece("dir")->size = 99;
  EXPECT_EQ(99, set.pieces[0].size);
  for (Backup_Piece* p : set.get_pieces("")) p->object = "file";
  EXPECT_EQ("file", set.pieces[1].object);
  EXPECT_EQ(&set.pieces[1], set.get_piece("file"));
}

TEST(OpenStackBackupSet, ConstLookUpsGiveTheSameElements) {
  OpenStack_Backup_Set set;
  set.add_piece(piece_with_object("/1", "dir"));
  set.add_piece(piece_with_object("/2", "Dir"));
  set.add_piece(piece_with_object("/3", "dir"));
  OpenStack_Backup_Set const& c = set;
  std::vector<Backup_Piece const*> const dirs = c.get_pieces("dir");
  ASSERT_EQ(2u, dirs.size());
  EXPECT_EQ(&set.pieces[0], dirs[0]);
  EXPECT_EQ(&set.pieces[2], dirs[1]);
  Backup_Piece const* first = c.get_piece("dir");
  EXPECT_EQ(&set.pieces[0], first);
  EXPECT_EQ(&set.pieces[1], c.get_piece("Dir"));
  EXPECT_EQ(nullptr, c.get_piece("DIR"));
  EXPECT_TRUE(c.get_pieces("DIR").empty());
  EXPECT_EQ(nullptr, c.get_piece(std::string("dir\0", 4)));
}

TEST(OpenStackBackupSet, LookUpsOnASetWithoutPiecesFindNothing) {
  OpenStack_Backup_Set set;
  OpenStack_Backup_Set const& c = set;
  EXPECT_TRUE(set.get_pieces("dir").empty());
  EXPECT_TRUE(set.get_pieces("").empty());
  EXPECT_EQ(nullptr, set.get_piece("dir"));
  EXPECT_TRUE(c.get_pieces("dir").empty());
  EXPECT_EQ(nullptr, c.get_piece("dir"));
}

TEST(OpenStackBackupSet, LoadedPiecesAreFoundByTheirObject) {
  OpenStack_Backup_Set set;
  ASSERT_TRUE(set << whole_document());
  Backup_Piece const* dir = set.get_piece("dir");
  ASSERT_NE(nullptr, dir);
  EXPECT_EQ("/p/dir", dir->path);
  ASSERT_EQ(1u, set.get_pieces("disk").size());
  EXPECT_EQ("/p/disk", set.get_pieces("disk")[0]->path);
}
