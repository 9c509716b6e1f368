// An agent's last step after a backup: describe the set it wrote and commit
// it to the catalogue over JSON-RPC. Usage: agent http://HOST:PORT/rpc
#include <cstdio>
#include <ctime>
#include <random>
#include <string>

#include <yajl/yajl_gen.h>

#include "backup/backup_set/common/catalog_operator.h"
#include "backup/backup_set/common/file_backup_set.h"
#include "backup/backup_set/common/library_version.h"
#include "platform/rpc/global_json_rpc_channel.h"

// A random (version 4) UUID: every run commits a set of its own.
static std::string new_uuid() {
  std::random_device random;
  unsigned char b[16];
  for (unsigned char& byte : b) byte = static_cast<unsigned char>(random());
  b[6] = (b[6] & 0x0f) | 0x40;
  b[8] = (b[8] & 0x3f) | 0x80;
  char text[37];
  std::snprintf(text, sizeof text, "%02x%02x%02x%02x-%02x%02x-%02x%02x-%02x%02x-%02x%02x%02x%02x%02x%02x", b[0], b[1],
                b[2], b[3], b[4], b[5], b[6], b[7], b[8], b[9], b[10], b[11], b[12], b[13], b[14], b[15]);
  return text;
}

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s CATALOGD_URL (e.g. http://127.0.0.1:8420/rpc)\n", argv[0]);
    return 2;
  }
  // A nightly file-system backup of 1.05 GiB in two pieces, kept in one pool.
  File_Backup_Set set;
  set.uuid = new_uuid();
  set.name = "fs01 /srv/data nightly";
  set.agent = std::string("example-agent/") + backupset_version();
  set.type = "full";
  set.host = "fs01.example.lan";
  set.host_uuid = "2b3c4d5e-6f70-4182-93a4-b5c6d7e8f901";
  set.resource_uuid = "3c4d5e6f-7081-4293-a4b5-c6d7e8f90a12";
  set.minor_resource_id = "/srv/data";
  set.backup_end_time = set.last_time = std::time(nullptr);
  set.backup_start_time = set.first_time = set.backup_end_time - 900;
  set.channels = 2;
  set.hash_algorithm = "sha256";
  set.add_piece("/backup/fs01/" + set.uuid + "/file-0.dat", 1073741824ULL);
  set.add_piece("/backup/fs01/" + set.uuid + "/file-1.dat", 52428800ULL);
  set.size = set.source_size = 1073741824LL + 52428800LL;
  set.add_storage("4d5e6f70-8192-43a4-b5c6-d7e8f90a1b23", set.size);
  set.storages.back().state.set_bits(Backup_Set_State::ONLINE);

  if (!Global_JSON_RPC_Channel::open(argv[1])) {
    std::fprintf(stderr, "agent: cannot open a JSON-RPC channel to %s\n", argv[1]);
    return 1;
  }
  Catalog_Operator catalog(2, 30);  // two more tries, at most 30 s of waiting
  bool committed = catalog.commit(set, false);
  Global_JSON_RPC_Channel::close();

  // The document the catalogue was sent, as the record writes it.
  std::string document;
  yajl_gen gen = yajl_gen_alloc(nullptr);
  yajl_gen_config(gen, yajl_gen_beautify, 1);
  unsigned char const* text;
  size_t length;
  if (set.generate(gen) && yajl_gen_get_buf(gen, &text, &length) == yajl_gen_status_ok)
    document.assign(reinterpret_cast<char const*>(text), length);
  yajl_gen_free(gen);
  std::printf("uuid: %s\n%s", set.uuid.c_str(), document.c_str());  // yajl ends it with a newline
  std::printf("commit: %s\n", committed ? "stored" : "FAILED");
  return committed ? 0 : 1;
}
