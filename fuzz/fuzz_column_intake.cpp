// Column intake of every kind of set, driven by random printer calls. The
// first byte picks the record (the plain Backup_Set or one kind of
// Backup_Set_Kinds), the second how it is fed:
//   mode & 1 clear: printer calls straight into the record, in any order
//     (maps and arrays opened and closed at random, keys from the record's
//     own columns or any bytes, values of every type the printer takes);
//   mode & 1 set: the read path: a query on an SQLite catalogue (holding one
//     set, so nested reads of storages, pieces and media tags find rows)
//     through the set handler, or the kind's own, into the record. Its
//     columns carry the record's keys (or any name) over values of every
//     storage class and declared type the engine delivers; mode & 2 reads
//     the rows as maps, mode & 4 with a handler that cleans names and
//     filters pools.
// The rest of the input is the events. Afterwards the record's document
// must be written whole, parse as JSON, keep its module and come out the
// same when written again.
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <yajl/yajl_gen.h>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/backup_set_result_handler.h"
#include "backup/backup_set/common/cachedb_backup_set.h"
#include "backup/backup_set/common/cloudos_backup_set.h"
#include "backup/backup_set/common/db2_backup_set.h"
#include "backup/backup_set/common/dmdb_backup_set.h"
#include "backup/backup_set/common/dmdb_log_backup_set.h"
#include "backup/backup_set/common/dmdb_logical_backup_set.h"
#include "backup/backup_set/common/domino_backup_set.h"
#include "backup/backup_set/common/exchange_backup_set.h"
#include "backup/backup_set/common/file_backup_set.h"
#include "backup/backup_set/common/fusioncloud_backup_set.h"
#include "backup/backup_set/common/fusioncompute_backup_set.h"
#include "backup/backup_set/common/gaussdb_backup_set.h"
#include "backup/backup_set/common/h3c_cas_backup_set.h"
#include "backup/backup_set/common/hana_backup_set.h"
#include "backup/backup_set/common/hive_backup_set.h"
#include "backup/backup_set/common/hyper_v_backup_set.h"
#include "backup/backup_set/common/ics_backup_set.h"
#include "backup/backup_set/common/informix_backup_set.h"
#include "backup/backup_set/common/k8s_backup_set.h"
#include "backup/backup_set/common/kingbase_backup_set.h"
#include "backup/backup_set/common/mongodb_backup_set.h"
#include "backup/backup_set/common/mssql_backup_set.h"
#include "backup/backup_set/common/mysql_backup_set.h"
#include "backup/backup_set/common/ndmp_backup_set.h"
#include "backup/backup_set/common/oceanbase_backup_set.h"
#include "backup/backup_set/common/openstack_backup_set.h"
#include "backup/backup_set/common/oracle_arch_backup_set.h"
#include "backup/backup_set/common/oracle_backup_set.h"
#include "backup/backup_set/common/oracle_exp_backup_set.h"
#include "backup/backup_set/common/oscar_backup_set.h"
#include "backup/backup_set/common/oscar_brcmd_backup_set.h"
#include "backup/backup_set/common/postgres_backup_set.h"
#include "backup/backup_set/common/sharepoint_backup_set.h"
#include "backup/backup_set/common/sybase_backup_set.h"
#include "backup/backup_set/common/vmware_backup_set.h"
#include "backup/backup_set/common/windows_bmr_backup_set.h"
#include "fuzz/fuzz_support.h"
#include "platform/database/sqlite_connection.h"
#include "platform/json/json_text.h"
#include "platform/json/value.h"
#include "platform/sql/select_sql.h"
#include "platform/sql/sql.h"
#include "platform/sql/uuid_binary.h"
#include "schema/catalog_schema.h"

using database::sql::Connection;
using database::sql::Query_Result_Handler;
using database::sql::Query_Result_Printer;
using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

// The set the catalogue holds, so nested reads of storages, pieces and
// media tags find rows.
char const kStoredSet[] = "0b4e2a58-6a2f-4c1e-9d3b-2f5c7e8a9b10";
long long const kStorageId = 7;

typedef std::unique_ptr<Backup_Set> (*Make)();

template <typename Set>
std::unique_ptr<Backup_Set> make() {
  return std::make_unique<Set>();
}

std::unique_ptr<Backup_Set> make_plain() { return std::make_unique<Backup_Set>("file"); }

struct Record_Kind {
  Backup_Set_Kind const* kind;  // null for the plain set
  Make make;
  Query_Result_Handler* own_handler;  // the kind's own, when it has one
  std::vector<std::string> keys;      // its columns and field keys
};

std::vector<Record_Kind>* records = nullptr;
Connection* catalogue = nullptr;
Query_Result_Handler* cleaning_handler = nullptr;
std::basic_string<unsigned char> stored_uuid;

void add(Backup_Set_Kind const& kind, Make m, Query_Result_Handler* own = nullptr) {
  records->push_back(Record_Kind{&kind, m, own, {}});
}

// Keys any record may meet: the base statement's, those the set handler
// acts on, and near misses.
std::vector<std::string> common_keys() {
  Select_SQL sql("backup_set", "b");
  Backup_Set::init_select_sql(sql, "b");
  std::vector<std::string> keys;
  for (auto const& c : sql.columns()) keys.push_back(c.second);
  for (char const* k : {"storages", "pieces", "state", "media_tags", "parents", "pool_uuid", "size", "path",
                        "object", "catalog_module", "application", "Name", "SIZE", "name ", "uuid\xff"})
    keys.push_back(k);
  return keys;
}

void build_records() {
  records = new std::vector<Record_Kind>;
  records->push_back(Record_Kind{nullptr, &make_plain, nullptr, {}});
  add(DMDB_Backup_Set::kind(), &make<DMDB_Backup_Set>);
  add(DMDB_Log_Backup_Set::kind(), &make<DMDB_Log_Backup_Set>);
  add(DMDB_Logical_Backup_Set::kind(), &make<DMDB_Logical_Backup_Set>);
  add(MySQL_Backup_Set::kind(), &make<MySQL_Backup_Set>);
  add(MSSQL_Backup_Set::kind(), &make<MSSQL_Backup_Set>, MSSQL_Backup_Set::result_handler());
  add(HANA_Backup_Set::kind(), &make<HANA_Backup_Set>);
  add(DB2_Backup_Set::kind(), &make<DB2_Backup_Set>);
  add(GaussDB_Backup_Set::kind(), &make<GaussDB_Backup_Set>);
  add(CacheDB_Backup_Set::kind(), &make<CacheDB_Backup_Set>);
  add(File_Backup_Set::kind(), &make<File_Backup_Set>);
  add(Informix_Backup_Set::kind(), &make<Informix_Backup_Set>);
  add(Sybase_Backup_Set::kind(), &make<Sybase_Backup_Set>);
  add(SharePoint_Backup_Set::kind(), &make<SharePoint_Backup_Set>);
  add(Exchange_Backup_Set::kind(), &make<Exchange_Backup_Set>);
  add(Oracle_Backup_Set::kind(), &make<Oracle_Backup_Set>);
  add(Oracle_Arch_Backup_Set::kind(), &make<Oracle_Arch_Backup_Set>);
  add(Oracle_Exp_Backup_Set::kind(), &make<Oracle_Exp_Backup_Set>);
  add(Postgres_Backup_Set::kind(), &make<Postgres_Backup_Set>);
  add(MongoDB_Backup_Set::kind(), &make<MongoDB_Backup_Set>);
  add(NDMP_Backup_Set::kind(), &make<NDMP_Backup_Set>);
  add(Domino_Backup_Set::kind(), &make<Domino_Backup_Set>);
  add(Kingbase_Backup_Set::kind(), &make<Kingbase_Backup_Set>);
  add(Oscar_Backup_Set::kind(), &make<Oscar_Backup_Set>);
  add(Oscar_Brcmd_Backup_Set::kind(), &make<Oscar_Brcmd_Backup_Set>);
  add(Hive_Backup_Set::kind(), &make<Hive_Backup_Set>);
  add(OceanBase_Backup_Set::kind(), &make<OceanBase_Backup_Set>);
  add(VMware_Backup_Set::kind(), &make<VMware_Backup_Set>);
  add(Hyper_V_Backup_Set::kind(), &make<Hyper_V_Backup_Set>);
  add(Windows_BMR_Backup_Set::kind(), &make<Windows_BMR_Backup_Set>);
  add(OpenStack_Backup_Set::kind(), &make<OpenStack_Backup_Set>);
  add(FusionCompute_Backup_Set::kind(), &make<FusionCompute_Backup_Set>);
  add(FusionCloud_Backup_Set::kind(), &make<FusionCloud_Backup_Set>);
  add(ICS_Backup_Set::kind(), &make<ICS_Backup_Set>);
  add(H3C_CAS_Backup_Set::kind(), &make<H3C_CAS_Backup_Set>);
  add(CloudOS_Backup_Set::kind(), &make<CloudOS_Backup_Set>);
  add(K8S_Backup_Set::kind(), &make<K8S_Backup_Set>);

  // Every listed kind, and nothing else, is fuzzed.
  std::set<Backup_Set_Kind const*> listed(Backup_Set_Kinds::all().begin(), Backup_Set_Kinds::all().end());
  std::set<Backup_Set_Kind const*> made;
  for (Record_Kind const& r : *records)
    if (r.kind) made.insert(r.kind);
  if (listed != made || made.size() + 1 != records->size())
    fuzz_fail("the fuzzed records are not the kinds Backup_Set_Kinds lists");

  std::vector<std::string> const common = common_keys();
  for (Record_Kind& r : *records) {
    std::set<std::string> keys(common.begin(), common.end());
    if (r.kind) {
      Select_SQL sql("backup_set", "b");
      r.kind->init_select_sql(sql, "b");
      for (auto const& c : sql.columns()) keys.insert(c.second);
      for (Kind_Field const& f : *r.kind) keys.insert(f.key);
    }
    r.keys.assign(keys.begin(), keys.end());
  }
}

void create_row_table();

// An SQLite catalogue in memory with one set, one storage, one piece and one
// media tag.
void build_catalogue() {
  catalogue = new database::sql::SQLite_Connection(":memory:");
  if (!catalogue->is_open() || !Catalog_Schema::create(*catalogue))
    fuzz_fail("no catalogue to read nested rows from", catalogue->last_error());
  if (!UUID_Binary::parse(kStoredSet, stored_uuid)) fuzz_fail("the stored set's uuid does not parse");
  std::basic_string<unsigned char> pool;
  UUID_Binary::parse("aaaaaaaa-0000-0000-0000-000000000001", pool);
  SQL set("INSERT INTO backup_set(uuid, catalog_module, status, name) VALUES(:u, 'file', 'complete', 'stored')");
  set.bind(":u", Binding_Value(stored_uuid));
  SQL storage(
      "INSERT INTO backup_set_storage(id, set_uuid, pool_uuid, size, state, extended_attrs) "
      "VALUES(:id, :u, :p, 30, 5, '{\"tier\": \"cold\"}')");
  storage.bind(":id", Binding_Value(kStorageId)).bind(":u", Binding_Value(stored_uuid)).bind(":p", Binding_Value(pool));
  SQL piece("INSERT INTO backup_piece(set_uuid, path, object, size) VALUES(:u, '/a/b', 'file', 10)");
  piece.bind(":u", Binding_Value(stored_uuid));
  SQL media("INSERT INTO backup_set_media(set_storage_id, media_tag) VALUES(:id, 'tape-1')");
  media.bind(":id", Binding_Value(kStorageId));
  if (!catalogue->execute(set) || !catalogue->execute(storage) || !catalogue->execute(piece) ||
      !catalogue->execute(media))
    fuzz_fail("cannot fill the catalogue", catalogue->last_error());

  static std::vector<Value> pools = {Value("aaaaaaaa-0000-0000-0000-000000000001")};
  cleaning_handler =
      new Backup_Set_Result_Handler(nullptr, nullptr, &pools, Backup_Set_Result_Handler::CLEAN_NAMES);
  create_row_table();
}

// ---- values ----

// A key: mostly one of the record's own, sometimes any bytes, rarely empty
// or null (a programming error the record must refuse).
struct Key {
  bool null = false;
  std::string text;
  char const* get() const { return null ? nullptr : text.c_str(); }
};

Key key_of(Fuzz_Input& in, Record_Kind const& r, bool allow_null) {
  uint8_t const b = in.byte();
  Key k;
  if (b < 0xc0) {
    k.text = r.keys[b % r.keys.size()];
  } else if (b < 0xfc) {
    k.text = in.chunk();
  } else if (b == 0xff && allow_null) {
    k.null = true;
  }
  return k;
}

long long integer_of(Fuzz_Input& in) {
  static long long const edges[] = {0,
                                    1,
                                    -1,
                                    2,
                                    255,
                                    65535,
                                    std::numeric_limits<int>::max(),
                                    std::numeric_limits<int>::min(),
                                    4294967295LL,
                                    4294967296LL,
                                    1700000000,
                                    -62135596800LL,
                                    253402300800LL,
                                    std::numeric_limits<long long>::max(),
                                    std::numeric_limits<long long>::min()};
  uint8_t const b = in.byte();
  if (b < 0x80) return edges[b % (sizeof edges / sizeof edges[0])];
  return static_cast<long long>(in.number(8));
}

unsigned long long unsigned_of(Fuzz_Input& in) {
  uint8_t const b = in.byte();
  if (b < 0x40) return std::numeric_limits<unsigned long long>::max() - (b & 3);
  if (b < 0x80) return static_cast<unsigned long long>(integer_of(in));
  return in.number(8);
}

double double_of(Fuzz_Input& in) {
  static double const edges[] = {0.0,
                                 -0.0,
                                 1.5,
                                 -1.0,
                                 std::numeric_limits<double>::quiet_NaN(),
                                 std::numeric_limits<double>::infinity(),
                                 -std::numeric_limits<double>::infinity(),
                                 std::numeric_limits<double>::max(),
                                 std::numeric_limits<double>::lowest(),
                                 std::numeric_limits<double>::denorm_min(),
                                 9.2233720368547758e18,
                                 1e300};
  uint8_t const b = in.byte();
  if (b < 0x80) return edges[b % (sizeof edges / sizeof edges[0])];
  uint64_t bits = in.number(8);
  double d;
  std::memcpy(&d, &bits, sizeof d);
  return d;
}

// A JSON document as the database layer hands one over: parsed from text
// (so never a number that is not finite), or one of a few shapes.
Value json_of(Fuzz_Input& in) {
  uint8_t const b = in.byte();
  switch (b % 8) {
    case 0: return Value(Object());
    case 1: return Value(Array());
    case 2: return Value(Object{{"a", Value(1)}, {"b", Value(Array{Value("x"), Value()})}});
    case 3: return Value(Array{Value(Object{{"id", Value("1")}}), Value(2.5)});
    case 4: return Value(in.chunk());
    case 5: return Value(integer_of(in));
    default: {
      std::string const text = in.chunk();
      Value v;
      if (!JSON_Parse(text.data(), text.size(), v, nullptr)) v = Value(text);
      return v;
    }
  }
}

// ---- straight printer calls ----

void feed_printer(Fuzz_Input& in, Record_Kind const& r, Query_Result_Printer& p) {
  for (int events = 0; !in.empty() && events < 64; ++events) {
    uint8_t const op = in.byte() % 16;
    int const index = static_cast<int8_t>(in.byte());
    switch (op) {
      case 0: p.start_map(index, key_of(in, r, false).get()); break;
      case 1: p.end_map(); break;
      case 2: p.start_array(index, key_of(in, r, false).get()); break;
      case 3: p.end_array(); break;
      case 4: p.print_key(index, key_of(in, r, true).get()); break;
      case 5: p.print_name(index, key_of(in, r, true).get()); break;
      case 6: p.print_null(index, key_of(in, r, true).get()); break;
      case 7: {
        Key k = key_of(in, r, true);
        p.print_bool(index, k.get(), in.byte() & 1);
        break;
      }
      case 8: {
        Key k = key_of(in, r, true);
        p.print_int(index, k.get(), integer_of(in));
        break;
      }
      case 9: {
        Key k = key_of(in, r, true);
        p.print_uint(index, k.get(), unsigned_of(in));
        break;
      }
      case 10: {
        Key k = key_of(in, r, true);
        p.print_double(index, k.get(), double_of(in));
        break;
      }
      case 11: {
        Key k = key_of(in, r, true);
        p.print_str(index, k.get(), in.chunk());
        break;
      }
      case 12: {
        Key k = key_of(in, r, true);
        uint8_t const how = in.byte();
        std::string const text = in.chunk();
        if (how == 0xff) {
          p.print_cstr(index, k.get(), nullptr, 0);
        } else {
          // The length may stop short of the text: it need not end there.
          unsigned long long const length = how < 0x80 ? text.size() : text.size() * (how & 0x7f) / 0x7f;
          in.note_text(text.data(), static_cast<size_t>(length));
          p.print_cstr(index, k.get(), text.c_str(), length);
        }
        break;
      }
      case 13: {
        Key k = key_of(in, r, true);
        std::string const bytes = in.chunk();
        p.print_custr(index, k.get(), reinterpret_cast<unsigned char const*>(bytes.data()), bytes.size());
        break;
      }
      case 14: {
        Key k = key_of(in, r, true);
        std::string const bytes = in.chunk();
        p.print_ustr(index, k.get(), std::basic_string<unsigned char>(bytes.begin(), bytes.end()));
        break;
      }
      case 15: {
        Key k = key_of(in, r, true);
        p.print_json(index, k.get(), json_of(in));
        break;
      }
    }
  }
}

// ---- the read path ----

// Rows come out of a table whose columns are typed as the engine types
// them for the delivery: no type (values keep their storage class), JSON,
// BOOLEAN and UNSIGNED BIG INT, one of each per result column.
size_t const kColumns = 12;
char const* const kColumnKinds[] = {"v", "j", "b", "u"};
char const* const kColumnTypes[] = {"", "JSON", "BOOLEAN", "UNSIGNED BIG INT"};

void create_row_table() {
  std::string ddl = "CREATE TABLE fuzz_row(n INTEGER";
  for (size_t k = 0; k < 4; ++k)
    for (size_t i = 0; i < kColumns; ++i)
      ddl += std::string(", ") + kColumnKinds[k] + std::to_string(i) + " " + kColumnTypes[k];
  ddl += ")";
  if (!catalogue->execute_script(ddl)) fuzz_fail("cannot create the row table", catalogue->last_error());
}

// One stored value: its expression in the INSERT, bound under `name`.
std::string cell(Fuzz_Input& in, SQL& insert, std::string const& name) {
  switch (in.byte() % 9) {
    case 0: return "NULL";
    case 1: insert.bind(name, Binding_Value(integer_of(in))); break;
    case 2: insert.bind(name, Binding_Value(kStorageId)); break;
    case 3: {
      double const d = double_of(in);
      if (std::isnan(d)) return "NULL";  // SQLite keeps no NaN
      if (std::isinf(d)) return d > 0 ? "9e999" : "-9e999";
      char text[64];
      std::snprintf(text, sizeof text, "%.17g", d);
      insert.bind(name, Binding_Value(std::string(text)));
      return "CAST(" + name + " AS REAL)";
    }
    case 4: insert.bind(name, Binding_Value(in.chunk())); break;
    case 5: {
      std::string const bytes = in.chunk();
      insert.bind(name, Binding_Value(reinterpret_cast<unsigned char const*>(bytes.data()), bytes.size()));
      break;
    }
    case 6: insert.bind(name, Binding_Value(stored_uuid)); break;
    case 7: insert.bind(name, Binding_Value(static_cast<long long>(in.byte() & 1))); break;
    case 8: insert.bind(name, Binding_Value::unsigned_integer(unsigned_of(in))); break;
  }
  return name;
}

void feed_query(Fuzz_Input& in, Record_Kind const& r, Backup_Set& set, uint8_t mode) {
  Query_Result_Handler* handler = (mode & 4) ? cleaning_handler
                                  : r.own_handler ? r.own_handler
                                                  : Backup_Set::result_handler();
  int const query_mode = (mode & 2) ? Connection::QM_ROWS : Connection::QM_FLAT;

  // The statement: each column a key of the record (or any name) over one
  // typed column of the table.
  size_t const columns = 1 + in.byte() % kColumns;
  std::vector<std::string> sources;
  Select_SQL select("fuzz_row", "t");
  for (size_t i = 0; i < columns; ++i) {
    std::string const source = std::string(kColumnKinds[in.byte() % 4]) + std::to_string(i);
    Key const k = key_of(in, r, false);
    select.add_key("t." + source, k.text.c_str());
    sources.push_back(source);
  }

  if (!catalogue->execute(SQL("DELETE FROM fuzz_row")))
    fuzz_fail("cannot empty the row table", catalogue->last_error());
  size_t const rows = 1 + in.byte() % 3;
  for (size_t row = 0; row < rows && !in.empty(); ++row) {
    SQL insert;
    std::string names = "n", values = ":n";
    insert.bind(":n", Binding_Value(static_cast<long long>(row)));
    for (size_t i = 0; i < columns; ++i) {
      names += "," + sources[i];
      values += "," + cell(in, insert, ":c" + std::to_string(i));
    }
    insert.set_text("INSERT INTO fuzz_row(" + names + ") VALUES(" + values + ")");
    if (!catalogue->execute(insert)) fuzz_fail("cannot store a row", catalogue->last_error());
  }

  // Rows as maps go into an array the caller opened, as views read them.
  if (query_mode == Connection::QM_ROWS) set.start_array(0, "rows");
  catalogue->query(select, set, query_mode, handler, 0);
  if (query_mode == Connection::QM_ROWS) set.end_array();
}

// ---- the document ----

std::string generate(Backup_Set& set, bool& ok) {
  yajl_gen g = yajl_gen_alloc(nullptr);
  if (!g) fuzz_fail("no generator");
  ok = set.generate(g);
  unsigned char const* buf = nullptr;
  size_t len = 0;
  yajl_gen_get_buf(g, &buf, &len);
  std::string text(reinterpret_cast<char const*>(buf), len);
  yajl_gen_free(g);
  return text;
}

// `non_utf8`: the record was given text that is not UTF-8, which no JSON
// document can carry; writing may then be refused, but never succeed with
// a document that does not parse.
void check_document(Backup_Set& set, Record_Kind const& r, bool non_utf8) {
  bool ok = false;
  std::string const text = generate(set, ok);
  char const* name = r.kind ? r.kind->class_name() : "Backup_Set";
  if (!ok && non_utf8) return;
  if (!ok) fuzz_fail("a record could not write its document", std::string(name) + "\n" + text);
  Value doc;
  std::string error;
  if (!JSON_Parse(text.data(), text.size(), doc, &error))
    fuzz_fail("a record's document does not parse", std::string(name) + "\n" + error + "\n" + text);
  if (doc.type() != json_spirit::obj_type) fuzz_fail("a record's document is not an object", text);
  auto module = doc.get_obj().find("catalog_module");
  std::string const expected = set.catalog_module ? set.catalog_module : "";
  if (module == doc.get_obj().end() || module->second.type() != json_spirit::str_type ||
      module->second.get_str() != expected)
    fuzz_fail("a record's document lost its module", text);
  bool again_ok = false;
  if (generate(set, again_ok) != text || !again_ok) fuzz_fail("a record writes another document the second time", text);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzz_quiet_ace_log();
  build_records();
  build_catalogue();
  // Each record's tables and first refusal are made once and kept.
  for (Record_Kind const& r : *records) {
    std::unique_ptr<Backup_Set> set = r.make();
    set->print_cstr(0, "", "x", 1);
    check_document(*set, r, false);
  }
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
  Fuzz_Input in(data, size);
  Record_Kind const& r = (*records)[in.byte() % records->size()];
  uint8_t const mode = in.byte();
  std::unique_ptr<Backup_Set> set = r.make();
  if (mode & 1)
    feed_query(in, r, *set, mode);
  else
    feed_printer(in, r, *set);
  check_document(*set, r, in.non_utf8());
  return 0;
}
