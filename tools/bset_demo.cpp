// Builds a few backup sets the way agents do, prints the document each one
// sends to the catalogue, and shows which pool a restore would read it from.

#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include <yajl/yajl_gen.h>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_storage_selector.h"
#include "backup/backup_set/common/dmdb_backup_set.h"
#include "backup/backup_set/common/dmdb_log_backup_set.h"
#include "backup/backup_set/common/file_backup_set.h"
#include "backup/backup_set/common/library_version.h"
#include "backup/backup_set/common/oracle_arch_backup_set.h"
#include "backup/backup_set/common/oracle_backup_set.h"
#include "backup/backup_set/common/resource_type.h"
#include "backup/backup_set/common/catalog_operator.h"
#include "backup/backup_set/common/restful_catalog_operator.h"
#include "platform/json/json_text.h"
#include "platform/json/object_lookup.h"
#include "platform/rest/upstream_json_restful_client.h"
#include "platform/rpc/global_json_rpc_channel.h"
#include "server/catalog_server.h"

namespace {

std::string pretty_document(Backup_Set& set) {
  yajl_gen g = yajl_gen_alloc(nullptr);
  yajl_gen_config(g, yajl_gen_beautify, 1);
  yajl_gen_config(g, yajl_gen_indent_string, "  ");
  std::string text;
  if (set.generate(g)) {
    unsigned char const* buf;
    size_t len;
    yajl_gen_get_buf(g, &buf, &len);
    text.assign(reinterpret_cast<char const*>(buf), len);
  }
  yajl_gen_free(g);
  return text;
}

// The storages as a reader sees them: "storage" holds one copy, "storages" several.
std::vector<json_spirit::Value> storages_of(std::string const& document) {
  json_spirit::Value doc;
  if (!JSON_Parse(document, doc) || doc.type() != json_spirit::obj_type) return {};
  json_spirit::Object const& o = doc.get_obj();
  if (json_spirit::Value const* many = json_spirit::object_find(o, "storages", json_spirit::array_type))
    return many->get_array();
  if (json_spirit::Value const* one = json_spirit::object_find(o, "storage", json_spirit::obj_type)) return {*one};
  return {};
}

void show(char const* title, Backup_Set& set) {
  std::string const document = pretty_document(set);
  printf("== %s (catalog_module \"%s\", resource type %d)\n", title, set.catalog_module,
         static_cast<int>(name_to_resource_type(set.catalog_module)));
  if (document.empty()) {
    printf("   could not write the document\n\n");
    return;
  }
  printf("%s\n", document.c_str());
  Backup_Set_Storage_Selector selector(storages_of(document), Backup_Set_Storage_Selector::MODE_SOURCE_POOL);
  printf("-> restore reads from pool: %s\n\n",
         selector.pool_uuid().empty() ? "(none qualifies)" : selector.pool_uuid().c_str());
}

void fill_host(Backup_Set& set, char const* host) {
  set.host = host;
  set.host_uuid = "2b3c4d5e-6f70-4182-93a4-b5c6d7e8f901";
  set.uname["sysname"] = json_spirit::Value("Linux");
  set.uname["release"] = json_spirit::Value("6.1.0-21-amd64");
  set.uname["machine"] = json_spirit::Value("x86_64");
  set.lsb["DISTRIB_ID"] = json_spirit::Value("Debian");
  set.lsb["DISTRIB_RELEASE"] = json_spirit::Value("12");
}

// One view row as a line: what the catalogue now says about the set.
void print_row(json_spirit::Value const& row, Catalog_Operator const& op) {
  json_spirit::Object const& o = row.get_obj();
  auto text = [&o](char const* key) {
    json_spirit::Value const* v = json_spirit::object_find(o, key, json_spirit::str_type);
    return v ? v->get_str() : std::string("-");
  };
  printf("   %s  %-8s %-32s started %s\n", text("uuid").c_str(), text("catalog_module").c_str(), text("name").c_str(),
         text("backup_start_time").c_str());
  if (json_spirit::Value const* storages = json_spirit::object_find(o, "storages", json_spirit::array_type)) {
    for (json_spirit::Value const& s : storages->get_array())
      printf("      storage in pool %s: %s\n", s.get_obj().at("pool_uuid").get_str().c_str(),
             JSON_Dump(s.get_obj().at("state")).c_str());
    Backup_Set_Storage_Selector selector(storages->get_array(), Backup_Set_Storage_Selector::MODE_SOURCE_POOL);
    printf("      restore reads from pool: %s\n",
           selector.pool_uuid().empty() ? "(none qualifies)" : selector.pool_uuid().c_str());
  }
  if (json_spirit::Value const* own = json_spirit::object_find(o, "application", json_spirit::obj_type))
    printf("      its kind's keys as stored: %s\n", JSON_Dump(*own).c_str());
  json_spirit::Value pieces;
  if (op.get_view("backup_set", "pieces", {{"uuid", json_spirit::Value(text("uuid"))}}, pieces))
    printf("      %zu pieces in the catalogue\n", pieces.get_obj().at("rows").get_array().size());
}

// A week of one Oracle database: a full on Monday, an incremental on it on
// Tuesday, the archived logs since then; which of them bring the database
// back to Wednesday 06:00, and from where, as the catalogue answers.
bool oracle_restore_plan(Catalog_Operator& rpc, RESTful_Catalog_Operator& rest) {
  char const host[] = "11111111-2222-4333-8444-555555555555";
  char const database[] = "22222222-3333-4444-8555-666666666666";
  char const pool[] = "4d5e6f70-8192-43a4-b5c6-d7e8f90a1b23";
  long long const monday = 1714953600;  // 2024-05-06 00:00:00 UTC
  auto set_up = [&](Backup_Set& set, char const* uuid, char const* name, char const* type, long long start,
                    long long end, char const* parent) {
    set.uuid = uuid;
    set.name = name;
    set.type = type;
    set.agent = "ora-agent/3.1.0";
    set.host_uuid = host;
    set.resource_uuid = database;
    set.host = "ora01.example.lan";
    set.backup_start_time = set.first_time = start;
    set.backup_end_time = set.last_time = end;
    if (parent) set.parents.push_back(parent);
    set.add_piece(std::string("/backup/orcl/") + name + ".bkp", 268435456ULL);
    set.size = 268435456LL;
    set.add_storage(pool, set.size);
    set.storages.back().state.set_bits(Backup_Set_State::ONLINE);
  };
  Oracle_Backup_Set full, incremental;
  set_up(full, "a0000000-0000-4000-8000-000000000001", "orcl-full-mon", "full", monday + 3600, monday + 5400,
         nullptr);
  set_up(incremental, "a0000000-0000-4000-8000-000000000002", "orcl-incr-tue", "incremental",
         monday + 86400 + 3600, monday + 86400 + 4200, full.uuid.c_str());
  for (Oracle_Backup_Set* set : {&full, &incremental}) {
    set->archivelog = true;
    set->database = "ORCL";
    set->dbid = 1593740388ULL;
    set->compatible = "19.0.0";
    set->backup_type = set->type;
  }
  Oracle_Arch_Backup_Set logs;
  set_up(logs, "a0000000-0000-4000-8000-000000000003", "orcl-arch-wed", "archivelog", monday + 86400 + 4200,
         monday + 2 * 86400 + 43200, nullptr);
  logs.sequence = 1207;
  logs.next_time = logs.last_time;
  logs.archived = true;
  bool ok = rpc.commit(full, false) && rest.commit(incremental, false) && rpc.commit(logs, false);
  printf("\n   commit of an Oracle full, an incremental on it and its archive logs: %s\n",
         ok ? "stored" : "FAILED");

  json_spirit::Value plan;
  json_spirit::Object params{{"host_uuid", json_spirit::Value(host)},
                             {"resource_uuid", json_spirit::Value(database)},
                             {"time", json_spirit::Value("2024-05-08 06:00:00")}};
  if (!ok || !rest.get_view("backup_set", "restore_plan", params, plan) || plan.type() != json_spirit::obj_type) {
    printf("== the catalogue's restore plan could not be read\n");
    return false;
  }
  json_spirit::Object const& p = plan.get_obj();
  printf("== the catalogue's view \"restore_plan\" to %s: %s\n", p.at("target").get_str().c_str(),
         p.at("complete").get_bool() ? "reachable" : "NOT reachable");
  for (json_spirit::Value const& step : p.at("steps").get_array()) {
    json_spirit::Object const& s = step.get_obj();
    printf("   %-11s %s  %s .. %s  from pool %s\n", s.at("role").get_str().c_str(), s.at("uuid").get_str().c_str(),
           s.at("start").get_str().c_str(), s.at("end").get_str().c_str(), s.at("pool_uuid").get_str().c_str());
  }
  return true;
}

// The sets go to a catalogue service of our own, through both operators
// (and the staged way for one of them), and come back through a view.
int catalogue_round_trip(Backup_Set& files, Backup_Set& database, Backup_Set& archive) {
  char dir_template[] = "/tmp/bset-demo-XXXXXX";
  char* dir = mkdtemp(dir_template);
  if (!dir) {
    printf("could not make a directory for the catalogue\n");
    return 1;
  }
  Server_Options options;
  options.port = 0;
  options.db = std::string(dir) + "/catalog.db";
  Catalog_Server server(options);
  std::string error;
  if (!server.start(error)) {
    printf("catalogd could not start: %s\n", error.c_str());
    return 1;
  }
  printf("== catalogd on %s, SQLite catalogue %s\n", server.address().c_str(), options.db.c_str());
  std::string base = "http://" + server.address();
  Global_JSON_RPC_Channel::open((base + "/rpc").c_str());
  Upstream_JSON_RESTful_Client::configure("127.0.0.1", static_cast<unsigned short>(server.port()), false, nullptr);

  Catalog_Operator rpc(2, 10);
  RESTful_Catalog_Operator rest("127.0.0.1", static_cast<unsigned short>(server.port()), false, nullptr, 2, 10);
  bool ok = rpc.commit(files, false);
  printf("   commit over JSON-RPC of \"%s\": %s\n", files.name.c_str(), ok ? "stored" : "FAILED");
  bool stored = rest.commit(database, false);
  printf("   commit over REST of \"%s\": %s\n", database.name.c_str(), stored ? "stored" : "FAILED");
  ok = ok && stored;

  // The archive set goes piece by piece: staged, filled, completed.
  std::vector<Backup_Piece> pieces = archive.pieces;
  archive.pieces.clear();
  stored = rpc.initialize(archive);
  for (Backup_Piece& piece : pieces) {
    yajl_gen g = yajl_gen_alloc(nullptr);
    piece.generate(g);
    unsigned char const* buf;
    size_t len;
    yajl_gen_get_buf(g, &buf, &len);
    json_spirit::Value value;
    stored = stored && JSON_Parse(std::string(reinterpret_cast<char const*>(buf), len), value) &&
             rpc.add_piece(archive.uuid, {value});
    yajl_gen_free(g);
  }
  stored = stored && rpc.complete(archive);
  archive.pieces = pieces;
  printf("   initialize / add_piece x%zu / complete of \"%s\": %s\n\n", pieces.size(), archive.name.c_str(),
         stored ? "stored" : "FAILED");
  ok = ok && stored;

  json_spirit::Value result;
  if (rest.get_view("backup_set", "sets", {}, result) && result.type() == json_spirit::obj_type) {
    json_spirit::Array const& rows = result.get_obj().at("rows").get_array();
    printf("== the catalogue's view \"sets\" (newest first): %zu sets\n", rows.size());
    for (json_spirit::Value const& row : rows) print_row(row, rpc);
  } else {
    printf("== the catalogue's view could not be read\n");
    ok = false;
  }
  ok = oracle_restore_plan(rpc, rest) && ok;

  Global_JSON_RPC_Channel::close();
  Upstream_JSON_RESTful_Client::unconfigure();
  server.stop();
  std::error_code ec;
  std::filesystem::remove_all(dir, ec);
  return ok ? 0 : 1;
}

}  // namespace

int main() {
  // The selector's trace goes to stderr; keep it next to the set it belongs to.
  setvbuf(stdout, nullptr, _IOLBF, 0);
  printf("backupset %s demo\n\n", backupset_version());

  // A nightly file-system backup: a handful of files in one online pool.
  File_Backup_Set files;
  files.uuid = "6f1c2a8e-3b4d-4e5f-8a9b-0c1d2e3f4a5b";
  files.name = "fs01 /srv/data nightly";
  files.job_instance_uuid = "9f8e7d6c-5b4a-4392-8170-6f5e4d3c2b1a";
  files.definition_uuid = "0a1b2c3d-4e5f-4a6b-8c7d-8e9f0a1b2c3d";
  files.agent = "fs-agent/4.2.1";
  files.type = "full";
  files.resource_uuid = "3c4d5e6f-7081-4293-a4b5-c6d7e8f90a12";
  files.minor_resource_id = "/srv/data";
  files.backup_start_time = 1714521600;
  files.backup_end_time = 1714522500;
  files.first_time = 1714521600;
  files.last_time = 1714522500;
  fill_host(files, "fs01.example.lan");
  files.seq = 412;
  files.channels = 2;
  files.hash_algorithm = "sha256";
  files.pool_type = "disk";
  files.encryption = "aes-256-gcm";
  files.add_piece("/backup/2024-05-01/job-9f8e7d6c/vol-00/file-000000000.dat", 1073741824ULL);
  files.add_piece("/backup/2024-05-01/job-9f8e7d6c/vol-00/file-000000001.dat", 1073741824ULL);
  files.add_piece("/backup/2024-05-01/job-9f8e7d6c/vol-01/file-000000002.dat", 52428800ULL);
  files.size = files.source_size = 2147483648LL + 52428800LL;
  files.add_storage("4d5e6f70-8192-43a4-b5c6-d7e8f90a1b23", files.size);
  files.storages.back().state.set_bits(Backup_Set_State::ONLINE);
  show("file-system set, one storage", files);

  // An incremental DM database backup whose primary copy went offline; an
  // online replica in a second pool is where a restore should read from.
  DMDB_Backup_Set database;
  database.uuid = "7a8b9c0d-1e2f-4a3b-8c4d-5e6f7a8b9c0d";
  database.name = "dm-main incremental";
  database.agent = "dm-agent/2.0.3";
  database.type = "incremental";
  database.instance = "DMSERVER";
  database.instance_version = "8.1";
  database.seq = 7;
  database.backup_version = 4000;
  database.object = "database";
  database.compression = "level5";
  database.backup_set = "DB_INCR_2024_05_01";
  database.backup_base = "DB_FULL_2024_04_28";
  database.arch_log_start = 23817024;
  database.arch_log_end = 23855104;
  database.permanent_db_magic = 1234567890123LL;
  database.db_magic = 987654321;
  database.page_size = 8192;
  database.extent_size = 16;
  database.backup_files["DB_INCR_2024_05_01.bak"] = "/backup/dm-main/2024-05-01T0100/DB_INCR_2024_05_01.bak";
  database.first_scn = 0x16B3740;
  database.last_scn = 0x16C0000;
  database.backup_start_time = 1714525200;
  database.backup_end_time = 1714525380;
  database.parents.push_back("1f2e3d4c-5b6a-4798-8a7b-6c5d4e3f2a1b");
  fill_host(database, "db01.example.lan");
  database.add_directory_piece("/backup/dm-main/2024-05-01T0100", 0);
  database.add_piece("/backup/dm-main/2024-05-01T0100/DB_INCR_2024_05_01.bak", 734003200ULL);
  database.add_piece("/backup/dm-main/2024-05-01T0100/DB_INCR_2024_05_01_1.bak", 16777216ULL);
  database.size = 750780416LL;
  Backup_Set_Storage primary;
  primary.pool_uuid = "5e6f7081-92a3-44b5-c6d7-e8f90a1b2c34";
  primary.size = database.size;
  primary.state = Backup_Set_State(Backup_Set_State::OFFLINE);
  Backup_Set_Storage replica;
  replica.pool_uuid = "6f708192-a3b4-45c6-d7e8-f90a1b2c3d45";
  replica.size = database.size;
  replica.state = Backup_Set_State(Backup_Set_State::ONLINE | Backup_Set_State::REPLICATED);
  replica.upstream_pool_uuid = primary.pool_uuid;
  database.add_storage(replica);
  database.add_storage(primary);
  show("database set, online replica and offline primary", database);

  // The replica only exists virtually, so the nearline primary is all there is.
  DMDB_Log_Backup_Set archive;
  archive.uuid = "8b9c0d1e-2f3a-4b4c-9d5e-6f7a8b9c0d1e";
  archive.name = "dm-main archive logs";
  archive.agent = "dm-agent/2.0.3";
  archive.type = "archivelog";
  archive.backup_start_time = 1714528800;
  archive.seq = 8;
  archive.dm_type = 2;
  archive.backup_set = "ARCH_2024_05_01";
  archive.arch_start_time = "2024-05-01 00:00:00";
  archive.arch_end_time = "2024-05-01 02:00:00";
  archive.timezone_offset = 480;
  archive.number = 3;
  archive.active = true;
  archive.add_directory_piece("/backup/dm-main/arch", 0);
  archive.add_piece("/backup/dm-main/arch/ARCHIVE_LOCAL1_0x5C1A2B3C_EP0_2024-05-01.log", 209715200ULL);
  archive.add_storage("708192a3-b4c5-46d7-e8f9-0a1b2c3d4e56", 209715200LL,
                      json_spirit::Object{{"tier", json_spirit::Value("tape")}});
  archive.storages.back().state = Backup_Set_State(Backup_Set_State::NEARLINE);
  Backup_Set_Storage virtual_copy;
  virtual_copy.pool_uuid = "8192a3b4-c5d6-47e8-f90a-1b2c3d4e5f67";
  virtual_copy.upstream_pool_uuid = "708192a3-b4c5-46d7-e8f9-0a1b2c3d4e56";
  virtual_copy.state = Backup_Set_State(Backup_Set_State::ONLINE | Backup_Set_State::VIRTUAL);
  archive.add_storage(virtual_copy);
  show("archive-log set, nearline primary and a virtual replica", archive);

  return catalogue_round_trip(files, database, archive);
}
