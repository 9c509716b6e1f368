#include <gtest/gtest.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/json/json_text.h"
#include "tests/database/engine_fixture.h"
#include "tests/support/log_capture.h"

using database::sql::Connection;

namespace {

// How a member column is declared, in the words of the catalogue's design.
enum class Kind { TEXT, INT, BOOL, U64, TIME };

struct Column {
  char const* name;
  Kind kind;
};

struct Member_Table {
  char const* name;
  std::vector<Column> columns;  // after set_uuid, in order
};

std::vector<Member_Table> const& member_tables() {
  static std::vector<Member_Table> const tables = {
      {"dmdb_backup_set",
       {{"seq", Kind::INT},
        {"backup_version", Kind::INT},
        {"object", Kind::TEXT},
        {"compression", Kind::TEXT},
        {"backup_set", Kind::TEXT},
        {"backup_base", Kind::TEXT},
        {"arch_log_start", Kind::INT},
        {"arch_log_end", Kind::INT},
        {"permanent_db_magic", Kind::INT},
        {"db_magic", Kind::INT},
        {"case_sensitive", Kind::INT},
        {"unicode_flag", Kind::INT},
        {"page_size", Kind::INT},
        {"extent_size", Kind::INT},
        {"channels", Kind::INT},
        {"hash_algorithm", Kind::TEXT},
        {"pool_type", Kind::TEXT},
        {"multidevice", Kind::BOOL},
        {"encryption", Kind::TEXT}}},
      {"dmdb_log_backup_set",
       {{"seq", Kind::INT},
        {"backup_version", Kind::INT},
        {"dm_type", Kind::INT},
        {"compression", Kind::TEXT},
        {"backup_set", Kind::TEXT},
        {"arch_start_time", Kind::TEXT},
        {"arch_end_time", Kind::TEXT},
        {"permanent_db_magic", Kind::INT},
        {"db_magic", Kind::INT},
        {"timezone_offset", Kind::INT},
        {"number", Kind::INT},
        {"active", Kind::BOOL}}},
      {"dmdb_logical_backup_set",
       {{"seq", Kind::INT},
        {"backup_version", Kind::INT},
        {"case_sensitive", Kind::INT},
        {"backup_set", Kind::TEXT},
        {"dm_type", Kind::TEXT},
        {"exp_mode", Kind::TEXT}}},
      {"hana_backup_set",
       {{"lifeline", Kind::TEXT},
        {"sid", Kind::TEXT},
        {"system_version", Kind::TEXT},
        {"instance_num", Kind::U64},
        {"instance_name", Kind::TEXT},
        {"extended_attrs", Kind::TEXT},
        {"database", Kind::TEXT},
        {"database_backup_id", Kind::U64}}},
      {"db2_backup_set",
       {{"database", Kind::TEXT},
        {"base_start_point", Kind::INT},
        {"meta_file", Kind::TEXT},
        {"archive_dir", Kind::TEXT},
        {"archive_first_log", Kind::TEXT},
        {"archive_last_log", Kind::TEXT},
        {"archive_start_time", Kind::TIME},
        {"archive_end_time", Kind::TIME},
        {"is_archive_set", Kind::BOOL}}},
      {"gaussdb_backup_set",
       {{"seq", Kind::INT},
        {"meta_destination", Kind::TEXT},
        {"backup_key", Kind::TEXT},
        {"prior_backup_key", Kind::TEXT},
        {"timeline", Kind::TEXT},
        {"compression", Kind::TEXT},
        {"granularity", Kind::TEXT},
        {"database", Kind::TEXT},
        {"nodes_count", Kind::INT},
        {"series", Kind::INT}}},
      {"cachedb_backup_set",
       {{"start_log", Kind::TEXT}, {"end_log", Kind::TEXT}, {"current_log", Kind::TEXT}, {"journal_dir", Kind::TEXT}}},
      {"informix_backup_set", {{"pre_seal_time", Kind::TIME}}},
      {"sharepoint_backup_set",
       {{"device_uuid", Kind::TEXT},
        {"database", Kind::TEXT},
        {"domain", Kind::TEXT},
        {"backup_method", Kind::TEXT},
        {"rev", Kind::INT}}},
  };
  return tables;
}

std::string declared_type(Kind kind, bool pg) {
  switch (kind) {
    case Kind::TEXT:
      return pg ? "text" : "TEXT";
    case Kind::INT:
      return pg ? "bigint" : "INTEGER";
    case Kind::BOOL:
      return pg ? "boolean" : "BOOLEAN";
    case Kind::U64:
      return pg ? "numeric(20,0)" : "UNSIGNED BIG INT";
    case Kind::TIME:
      return pg ? "timestamp(0) without time zone" : "TEXT";
  }
  return "";
}

std::basic_string<unsigned char> uuid_of(unsigned char fill) { return std::basic_string<unsigned char>(16, fill); }

// A flag as the engines deliver it: 0/1, or a boolean.
bool flag(json_spirit::Value const& v) {
  return v.type() == json_spirit::bool_type ? v.get_bool() : v.get_int64() != 0;
}

long long integer(json_spirit::Value const& v) { return v.type() == json_spirit::int_type ? v.get_int64() : LLONG_MIN; }

std::string text(json_spirit::Value const& v) {
  return v.type() == json_spirit::str_type ? v.get_str() : "<" + JSON_Dump(v) + ">";
}

// One catalogue column: name, declared type, NOT NULL.
struct Described {
  std::string name;
  std::string type;
  bool not_null;
  bool operator==(Described const& o) const { return name == o.name && type == o.type && not_null == o.not_null; }
};

std::ostream& operator<<(std::ostream& out, Described const& d) {
  return out << d.name << " " << d.type << (d.not_null ? " NOT NULL" : "");
}

class Catalog_Schema_Test : public Engine_Test {
 protected:
  // A database with no catalogue in it at all.
  void start_empty() {
    if (!pg()) {
      db_.reset(new database::sql::SQLite_Connection(":memory:"));
      ASSERT_TRUE(db_->is_open()) << db_->last_error();
      return;
    }
    exec_script("DROP SCHEMA IF EXISTS public CASCADE; CREATE SCHEMA public");
    // A fresh session: no statement prepared against the dropped tables.
    db_.reset(new database::sql::PG_Connection(PG_Cluster::shared()->conninfo()));
    ASSERT_TRUE(db_->is_open()) << db_->last_error();
  }

  // A catalogue as the release before versions wrote it: the core DDL only.
  void start_unversioned() {
    start_empty();
    if (HasFatalFailure()) return;
    char const* core = Catalog_Schema::step_text(1, pg() ? Dialect::PostgreSQL : Dialect::SQLite);
    ASSERT_NE(nullptr, core);
    exec_script(core);
  }

  void exec_script(std::string const& script) { ASSERT_TRUE(db().execute_script(script)) << db().last_error(); }

  json_spirit::Value value(std::string const& sql) {
    json_spirit::Value v;
    EXPECT_TRUE(db().query_value(SQL(sql), v)) << db().last_error();
    return v;
  }

  long long count(std::string const& sql) { return integer(value(sql)); }

  int recorded_version() {
    int v = -1;
    EXPECT_TRUE(Catalog_Schema::version(db(), v)) << db().last_error();
    return v;
  }

  bool object_exists(std::string const& name) {
    SQL sql(pg()
                ? "SELECT count(*) FROM pg_catalog.pg_class c JOIN pg_catalog.pg_namespace n ON n.oid = c.relnamespace "
                  "WHERE n.nspname = current_schema() AND c.relname = :name"
                : "SELECT count(*) FROM sqlite_master WHERE name = :name");
    sql.bind(":name", Binding_Value(name));
    json_spirit::Value n;
    EXPECT_TRUE(db().query_value(sql, n)) << db().last_error();
    return integer(n) > 0;
  }

  // The columns of a table in order; empty when there is no such table.
  std::vector<Described> columns(std::string const& table) {
    SQL sql(pg() ? "SELECT a.attname::text AS name, format_type(a.atttypid, a.atttypmod) AS type, "
                   "a.attnotnull AS not_null FROM pg_catalog.pg_attribute a "
                   "WHERE a.attrelid = to_regclass(:table) AND a.attnum > 0 AND NOT a.attisdropped ORDER BY a.attnum"
                 : "SELECT name, type, \"notnull\" AS not_null FROM pragma_table_info(:table) ORDER BY cid");
    sql.bind(":table", Binding_Value(table));
    json_spirit::Array rows;
    EXPECT_TRUE(db().query_rows(sql, rows)) << db().last_error();
    std::vector<Described> out;
    for (auto const& row : rows) {
      json_spirit::Object const& r = row.get_obj();
      out.push_back(Described{text(r.at("name")), text(r.at("type")), flag(r.at("not_null"))});
    }
    return out;
  }

  // Every table, index and column of the catalogue, and the recorded
  // version, as one comparable value.
  json_spirit::Array schema_dump() {
    SQL sql(pg() ? "SELECT c.relname::text AS object, c.relkind::text AS kind, a.attname::text AS col, "
                   "format_type(a.atttypid, a.atttypmod) AS type FROM pg_catalog.pg_class c "
                   "JOIN pg_catalog.pg_namespace n ON n.oid = c.relnamespace "
                   "LEFT JOIN pg_catalog.pg_attribute a ON a.attrelid = c.oid AND a.attnum > 0 AND NOT a.attisdropped "
                   "WHERE n.nspname = current_schema() ORDER BY 1, a.attnum"
                 : "SELECT type AS kind, name AS object, sql FROM sqlite_master ORDER BY name");
    json_spirit::Array out;
    EXPECT_TRUE(db().query_rows(sql, out)) << db().last_error();
    json_spirit::Array versions;
    EXPECT_TRUE(db().query_rows(SQL("SELECT version FROM catalog_schema_version"), versions)) << db().last_error();
    out.push_back(json_spirit::Value(versions));
    return out;
  }

  void insert_set(std::basic_string<unsigned char> const& uuid, std::string const& module, std::string const& name) {
    SQL sql(
        "INSERT INTO backup_set (uuid, catalog_module, name, size, backup_start_time) "
        "VALUES (:uuid, :module, :name, :size, '2024-05-06 07:08:09')");
    sql.bind(":uuid", Binding_Value(uuid))
        .bind(":module", Binding_Value(module))
        .bind(":name", Binding_Value(name))
        .bind(":size", Binding_Value(static_cast<long long>(name.size()) * 1000));
    exec(sql);
  }

  // Three sets with pieces, storages and a medium, written with plain SQL
  // the way the previous release wrote them.
  void fill_core() {
    std::basic_string<unsigned char> pool_a = uuid_of(0xa0), pool_b = uuid_of(0xb0);
    for (unsigned char s = 1; s <= 3; ++s) {
      insert_set(uuid_of(s), "oracle", "set " + std::to_string(s));
      if (HasFatalFailure()) return;
      for (int p = 0; p < 2; ++p) {
        SQL piece("INSERT INTO backup_piece (set_uuid, path, object, size) VALUES (:set, :path, 'datafile', :size)");
        piece.bind(":set", Binding_Value(uuid_of(s)))
            .bind(":path", Binding_Value("/backup/" + std::to_string(s) + "/" + std::to_string(p)))
            .bind(":size", Binding_Value(static_cast<long long>(s * 100 + p)));
        exec(piece);
      }
      SQL storage(
          "INSERT INTO backup_set_storage (id, set_uuid, pool_uuid, size, state) VALUES (:id, :set, :pool, 7, 1)");
      storage.bind(":id", Binding_Value(static_cast<long long>(s * 10)))
          .bind(":set", Binding_Value(uuid_of(s)))
          .bind(":pool", Binding_Value(pool_a));
      exec(storage);
    }
    SQL second("INSERT INTO backup_set_storage (id, set_uuid, pool_uuid, size, state) VALUES (11, :set, :pool, 7, 2)");
    exec(second.bind(":set", Binding_Value(uuid_of(1))).bind(":pool", Binding_Value(pool_b)));
    exec("INSERT INTO backup_set_media (set_storage_id, media_tag) VALUES (11, 'TAPE01')");
  }

  struct Core_Rows {
    json_spirit::Array sets, pieces, storages, media;
  };

  Core_Rows core_rows() {
    Core_Rows rows;
    EXPECT_TRUE(db().query_rows(SQL("SELECT uuid, catalog_module, status, name, size, backup_start_time, created_time "
                                    "FROM backup_set ORDER BY uuid"),
                                rows.sets))
        << db().last_error();
    EXPECT_TRUE(
        db().query_rows(SQL("SELECT id, set_uuid, path, object, size FROM backup_piece ORDER BY id"), rows.pieces))
        << db().last_error();
    EXPECT_TRUE(db().query_rows(SQL("SELECT id, set_uuid, pool_uuid, size, state FROM backup_set_storage ORDER BY id"),
                                rows.storages))
        << db().last_error();
    EXPECT_TRUE(db().query_rows(SQL("SELECT set_storage_id, media_tag FROM backup_set_media"), rows.media))
        << db().last_error();
    return rows;
  }

  // `except` is a table of that name made by hand.
  void expect_no_application_kinds(std::string const& except) {
    for (auto const& table : member_tables()) {
      if (table.name != except) {
        EXPECT_FALSE(object_exists(table.name)) << table.name;
      }
    }
    EXPECT_FALSE(object_exists("backup_set_module"));
    for (auto const& c : columns("backup_set")) EXPECT_NE("application", c.name);
  }
};

std::string long_text() {
  std::string s;
  s.reserve(100000);
  for (int i = 0; i < 100000; ++i) s += static_cast<char>('a' + (i * 7) % 26);
  return s;
}

}  // namespace

TEST_P(Catalog_Schema_Test, FreshCatalogueIsAtTheLatestVersion) {
  int const latest = Catalog_Schema::latest_version();
  EXPECT_GE(latest, 2);
  EXPECT_EQ(latest, recorded_version());
  EXPECT_EQ(1, count("SELECT count(*) FROM catalog_schema_version"));
  // Every step this build knows has its text on both engines, none beyond.
  for (int n = 1; n <= latest; ++n) {
    EXPECT_NE(nullptr, Catalog_Schema::step_text(n, Dialect::SQLite)) << n;
    EXPECT_NE(nullptr, Catalog_Schema::step_text(n, Dialect::PostgreSQL)) << n;
  }
  EXPECT_EQ(nullptr, Catalog_Schema::step_text(0, Dialect::SQLite));
  EXPECT_EQ(nullptr, Catalog_Schema::step_text(latest + 1, Dialect::PostgreSQL));
}

TEST_P(Catalog_Schema_Test, FreshCatalogueHasEveryMemberTableAndColumn) {
  std::string const blob = pg() ? "bytea" : "BLOB";
  for (auto const& table : member_tables()) {
    std::vector<Described> want = {{"set_uuid", blob, true}};
    for (auto const& c : table.columns) want.push_back(Described{c.name, declared_type(c.kind, pg()), false});
    EXPECT_EQ(want, columns(table.name)) << table.name;
  }
  bool found = false;
  for (auto const& c : columns("backup_set")) {
    if (c.name != "application") continue;
    found = true;
    EXPECT_EQ(pg() ? "jsonb" : "TEXT", c.type);
    EXPECT_FALSE(c.not_null);
  }
  EXPECT_TRUE(found) << "backup_set has no application column";

  // The index the views use to select the sets of a module.
  SQL index(pg() ? "SELECT count(*) FROM pg_catalog.pg_indexes WHERE schemaname = current_schema() "
                   "AND tablename = 'backup_set' AND indexdef LIKE '%(catalog_module)'"
                 : "SELECT count(*) FROM sqlite_master m, pragma_index_info(m.name) i "
                   "WHERE m.type = 'index' AND m.tbl_name = 'backup_set' AND i.name = 'catalog_module' "
                   "AND (SELECT count(*) FROM pragma_index_info(m.name)) = 1");
  json_spirit::Value n;
  ASSERT_TRUE(db().query_value(index, n)) << db().last_error();
  EXPECT_EQ(1, integer(n));
}

TEST_P(Catalog_Schema_Test, MemberColumnsKeepExtremeValues) {
  std::string const big_text = long_text();
  std::string const odd_text = "it's \"quoted\"; -- not a comment \\ \xc3\xbc \xe2\x82\xac \xf0\x9f\x92\xbe";
  struct Row {
    std::basic_string<unsigned char> uuid;
    bool low;
  };
  Row const rows[] = {{uuid_of(0x11), true}, {uuid_of(0x22), false}};
  for (auto const& row : rows) insert_set(row.uuid, "kinds", row.low ? "low" : "high");

  for (auto const& table : member_tables()) {
    for (auto const& row : rows) {
      std::string names = "set_uuid", values = ":set_uuid";
      SQL insert;
      insert.bind(":set_uuid", Binding_Value(row.uuid));
      for (auto const& c : table.columns) {
        names += std::string(", ") + c.name;
        std::string parameter = std::string(":") + c.name;
        switch (c.kind) {
          case Kind::INT:
            insert.bind(parameter, Binding_Value(row.low ? LLONG_MIN : LLONG_MAX));
            break;
          case Kind::TEXT:
            insert.bind(parameter, Binding_Value(row.low ? big_text : odd_text));
            break;
          case Kind::TIME:
            insert.bind(parameter, Binding_Value(std::string(row.low ? "1970-01-01 00:00:00" : "9999-12-31 23:59:59")));
            break;
          case Kind::U64:
            // SQLite keeps the 64-bit pattern; PostgreSQL reads the number
            // from its text.
            if (pg())
              insert.bind(parameter, Binding_Value(std::string(row.low ? "0" : "18446744073709551615")));
            else
              insert.bind(parameter, Binding_Value(static_cast<long long>(row.low ? 0ULL : ULLONG_MAX)));
            break;
          case Kind::BOOL:
            parameter = row.low ? "FALSE" : "TRUE";
            break;
        }
        values += ", " + parameter;
      }
      insert.set_text("INSERT INTO " + std::string(table.name) + " (" + names + ") VALUES (" + values + ")");
      exec(insert);
    }
  }

  for (auto const& table : member_tables()) {
    std::string select;
    for (auto const& c : table.columns) {
      if (!select.empty()) select += ", ";
      if (c.kind == Kind::U64 && pg())
        select += std::string("CAST(") + c.name + " AS text) AS " + c.name;
      else
        select += c.name;
    }
    for (auto const& row : rows) {
      SQL sql("SELECT " + select + " FROM " + table.name + " WHERE set_uuid = :set_uuid");
      sql.bind(":set_uuid", Binding_Value(row.uuid));
      json_spirit::Array got;
      ASSERT_TRUE(db().query_rows(sql, got)) << db().last_error();
      ASSERT_EQ(1u, got.size()) << table.name;
      json_spirit::Object const& r = got[0].get_obj();
      for (auto const& c : table.columns) {
        json_spirit::Value const& v = r.at(c.name);
        std::string where = std::string(table.name) + "." + c.name + (row.low ? " low" : " high");
        switch (c.kind) {
          case Kind::INT:
            ASSERT_EQ(json_spirit::int_type, v.type()) << where;
            EXPECT_EQ(row.low ? LLONG_MIN : LLONG_MAX, v.get_int64()) << where;
            break;
          case Kind::TEXT:
            ASSERT_EQ(json_spirit::str_type, v.type()) << where;
            if (row.low) {
              EXPECT_EQ(100000u, v.get_str().size()) << where;
              EXPECT_TRUE(v.get_str() == big_text) << where;
            } else {
              EXPECT_EQ(odd_text, v.get_str()) << where;
            }
            break;
          case Kind::TIME:
            EXPECT_EQ(row.low ? "1970-01-01 00:00:00" : "9999-12-31 23:59:59", text(v)) << where;
            break;
          case Kind::U64:
            if (pg()) {
              EXPECT_EQ(row.low ? "0" : "18446744073709551615", text(v)) << where;
            } else {
              ASSERT_EQ(json_spirit::int_type, v.type()) << where;
              EXPECT_EQ(row.low ? 0ULL : ULLONG_MAX, static_cast<unsigned long long>(v.get_int64())) << where;
            }
            break;
          case Kind::BOOL:
            ASSERT_TRUE(v.type() == json_spirit::int_type || v.type() == json_spirit::bool_type) << where;
            EXPECT_EQ(!row.low, flag(v)) << where;
            break;
        }
      }
    }
  }

  // A set has one row per member table, and takes it along when deleted.
  for (auto const& table : member_tables()) {
    Log_Capture quiet;
    SQL again("INSERT INTO " + std::string(table.name) + " (set_uuid) VALUES (:set_uuid)");
    EXPECT_FALSE(db().execute(again.bind(":set_uuid", Binding_Value(rows[0].uuid)))) << table.name;
  }
  exec("DELETE FROM backup_set WHERE catalog_module = 'kinds'");
  for (auto const& table : member_tables())
    EXPECT_EQ(0, count("SELECT count(*) FROM " + std::string(table.name))) << table.name;
}

TEST_P(Catalog_Schema_Test, ApplicationColumnKeepsTheDocumentsObject) {
  insert_set(uuid_of(0x33), "oracle", "with application");
  std::string const document = "{\"name\":\"ORCL\",\"dbid\":1234567890123,\"nodes\":[\"a\",\"b\"],\"rac\":true}";
  SQL update("UPDATE backup_set SET application = :application WHERE uuid = :uuid");
  exec(update.bind(":application", Binding_Value(document)).bind(":uuid", Binding_Value(uuid_of(0x33))));
  json_spirit::Value stored = value("SELECT application FROM backup_set");
  ASSERT_EQ(json_spirit::str_type, stored.type());
  json_spirit::Value got, want;
  ASSERT_TRUE(JSON_Parse(stored.get_str(), got)) << stored.get_str();
  ASSERT_TRUE(JSON_Parse(document, want));
  EXPECT_EQ(want, got) << stored.get_str();
}

TEST_P(Catalog_Schema_Test, KeywordLikeColumnNamesWorkUnquoted) {
  std::basic_string<unsigned char> set = uuid_of(0x44);
  insert_set(set, "sharepoint", "farm");
  SQL sp("INSERT INTO sharepoint_backup_set (set_uuid, database, domain, rev) VALUES (:u, 'WSS_Content', 'CORP', 3)");
  exec(sp.bind(":u", Binding_Value(set)));
  SQL dm("INSERT INTO dmdb_backup_set (set_uuid, object, seq) VALUES (:u, 'TABLESPACE MAIN', 1)");
  exec(dm.bind(":u", Binding_Value(set)));
  SQL log("INSERT INTO dmdb_log_backup_set (set_uuid, number, active) VALUES (:u, 42, TRUE)");
  exec(log.bind(":u", Binding_Value(set)));
  SQL hana("INSERT INTO hana_backup_set (set_uuid, database) VALUES (:u, 'HXE')");
  exec(hana.bind(":u", Binding_Value(set)));
  SQL gauss("INSERT INTO gaussdb_backup_set (set_uuid, database) VALUES (:u, 'postgres')");
  exec(gauss.bind(":u", Binding_Value(set)));

  json_spirit::Array rows;
  ASSERT_TRUE(db().query_rows(
      SQL("SELECT s.database, s.domain, dm.object, l.number, l.active, h.database AS hana_database, "
          "g.database AS gauss_database FROM backup_set b "
          "JOIN sharepoint_backup_set s ON s.set_uuid = b.uuid "
          "JOIN dmdb_backup_set dm ON dm.set_uuid = b.uuid "
          "JOIN dmdb_log_backup_set l ON l.set_uuid = b.uuid "
          "JOIN hana_backup_set h ON h.set_uuid = b.uuid "
          "JOIN gaussdb_backup_set g ON g.set_uuid = b.uuid "
          "WHERE b.catalog_module = 'sharepoint' AND s.database = 'WSS_Content' AND l.active AND l.number > 0 "
          "ORDER BY s.domain, l.number, dm.object"),
      rows))
      << db().last_error();
  ASSERT_EQ(1u, rows.size());
  json_spirit::Object const& r = rows[0].get_obj();
  EXPECT_EQ("WSS_Content", text(r.at("database")));
  EXPECT_EQ("CORP", text(r.at("domain")));
  EXPECT_EQ("TABLESPACE MAIN", text(r.at("object")));
  EXPECT_EQ(42, integer(r.at("number")));
  EXPECT_TRUE(flag(r.at("active")));
  EXPECT_EQ("HXE", text(r.at("hana_database")));
  EXPECT_EQ("postgres", text(r.at("gauss_database")));
}

TEST_P(Catalog_Schema_Test, CreatingAgainChangesNothing) {
  insert_set(uuid_of(0x55), "db2", "kept");
  SQL member(
      "INSERT INTO db2_backup_set (set_uuid, database, archive_start_time) VALUES (:u, 'SAMPLE', "
      "'2024-01-02 03:04:05')");
  exec(member.bind(":u", Binding_Value(uuid_of(0x55))));
  json_spirit::Array const before = schema_dump();
  Core_Rows const rows_before = core_rows();

  ASSERT_TRUE(Catalog_Schema::create(db())) << db().last_error();
  ASSERT_TRUE(Catalog_Schema::create(db())) << db().last_error();

  EXPECT_EQ(JSON_Dump(json_spirit::Value(before)), JSON_Dump(json_spirit::Value(schema_dump())));
  EXPECT_EQ(1, count("SELECT count(*) FROM catalog_schema_version"));
  EXPECT_EQ(Catalog_Schema::latest_version(), recorded_version());
  Core_Rows const rows_after = core_rows();
  EXPECT_EQ(rows_before.sets, rows_after.sets);
  json_spirit::Array kept;
  ASSERT_TRUE(db().query_rows(SQL("SELECT database, archive_start_time FROM db2_backup_set"), kept));
  ASSERT_EQ(1u, kept.size());
  EXPECT_EQ("SAMPLE", text(kept[0].get_obj().at("database")));
  EXPECT_EQ("2024-01-02 03:04:05", text(kept[0].get_obj().at("archive_start_time")));
}

TEST_P(Catalog_Schema_Test, UpgradesACatalogueWrittenBeforeVersionsInPlace) {
  start_unversioned();
  if (HasFatalFailure()) return;
  fill_core();
  if (HasFatalFailure()) return;
  EXPECT_FALSE(object_exists("catalog_schema_version"));
  EXPECT_EQ(0, recorded_version());
  Core_Rows const before = core_rows();
  ASSERT_EQ(3u, before.sets.size());
  ASSERT_EQ(6u, before.pieces.size());
  ASSERT_EQ(4u, before.storages.size());
  ASSERT_EQ(1u, before.media.size());

  ASSERT_TRUE(Catalog_Schema::create(db())) << db().last_error();

  EXPECT_EQ(Catalog_Schema::latest_version(), recorded_version());
  Core_Rows const after = core_rows();
  EXPECT_EQ(before.sets, after.sets);
  EXPECT_EQ(before.pieces, after.pieces);
  EXPECT_EQ(before.storages, after.storages);
  EXPECT_EQ(before.media, after.media);
  EXPECT_EQ(3, count("SELECT count(*) FROM backup_set"));
  EXPECT_EQ(6, count("SELECT count(*) FROM backup_piece"));
  EXPECT_EQ(4, count("SELECT count(*) FROM backup_set_storage"));
  EXPECT_EQ(1, count("SELECT count(*) FROM backup_set_media"));
  EXPECT_EQ(3, count("SELECT count(*) FROM backup_set WHERE application IS NULL"));
  for (auto const& table : member_tables()) {
    EXPECT_TRUE(object_exists(table.name)) << table.name;
    EXPECT_EQ(0, count("SELECT count(*) FROM " + std::string(table.name))) << table.name;
  }
  // The adopted tables still cascade: the set takes its pieces and storages.
  SQL drop("DELETE FROM backup_set WHERE uuid = :u");
  exec(drop.bind(":u", Binding_Value(uuid_of(1))));
  EXPECT_EQ(4, count("SELECT count(*) FROM backup_piece"));
  EXPECT_EQ(2, count("SELECT count(*) FROM backup_set_storage"));
  EXPECT_EQ(0, count("SELECT count(*) FROM backup_set_media"));
}

TEST_P(Catalog_Schema_Test, RefusesACatalogueNewerThanThisBuild) {
  int const latest = Catalog_Schema::latest_version();
  exec("UPDATE catalog_schema_version SET version = " + std::to_string(latest + 1));
  // Step 1 would bring this table back if any step ran.
  exec_script("DROP TABLE backup_set_media");
  json_spirit::Array const before = schema_dump();

  Log_Capture log;
  EXPECT_FALSE(Catalog_Schema::create(db()));
  std::string const want = "catalogue schema version " + std::to_string(latest + 1) +
                           " is newer than this catalogd knows (" + std::to_string(latest) + ")";
  EXPECT_EQ(want, db().last_error());
  EXPECT_TRUE(log.has(LM_ERROR, want)) << log.dump();

  EXPECT_EQ(latest + 1, recorded_version());
  EXPECT_FALSE(object_exists("backup_set_media"));
  EXPECT_EQ(JSON_Dump(json_spirit::Value(before)), JSON_Dump(json_spirit::Value(schema_dump())));
}

TEST_P(Catalog_Schema_Test, FailingStepKeepsNothingOfTheUpgrade) {
  start_unversioned();
  if (HasFatalFailure()) return;
  fill_core();
  if (HasFatalFailure()) return;
  // Step 2 creates this table last, after everything else it does.
  exec_script("CREATE TABLE sharepoint_backup_set (note text)");
  exec("INSERT INTO sharepoint_backup_set (note) VALUES ('made by hand')");
  Core_Rows const before = core_rows();

  {
    Log_Capture log;
    EXPECT_FALSE(Catalog_Schema::create(db()));
    std::string const error = db().last_error();
    EXPECT_EQ(0u, error.find("catalogue schema step 2 (application_kinds) failed: ")) << error;
    EXPECT_NE(std::string::npos, error.find("sharepoint_backup_set")) << error;
    EXPECT_NE(std::string::npos, error.find("already exists")) << error;
    // The engine's message, not the step's whole text.
    EXPECT_EQ(std::string::npos, error.find("CREATE TABLE dmdb_backup_set")) << error;
    EXPECT_TRUE(log.has(LM_ERROR, "catalogue schema step 2")) << log.dump();
  }

  EXPECT_EQ(0, recorded_version());
  EXPECT_FALSE(object_exists("catalog_schema_version"));
  expect_no_application_kinds("sharepoint_backup_set");
  std::vector<Described> hand_made = {{"note", pg() ? "text" : "TEXT", false}};
  EXPECT_EQ(hand_made, columns("sharepoint_backup_set"));
  EXPECT_EQ("made by hand", text(value("SELECT note FROM sharepoint_backup_set")));
  Core_Rows const after = core_rows();
  EXPECT_EQ(before.sets, after.sets);
  EXPECT_EQ(before.pieces, after.pieces);
  EXPECT_EQ(before.storages, after.storages);
  EXPECT_EQ(before.media, after.media);

  // Once the conflict is gone the same catalogue upgrades.
  exec_script("DROP TABLE sharepoint_backup_set");
  ASSERT_TRUE(Catalog_Schema::create(db())) << db().last_error();
  EXPECT_EQ(Catalog_Schema::latest_version(), recorded_version());
  EXPECT_EQ(3, count("SELECT count(*) FROM backup_set WHERE application IS NULL"));
}

TEST_P(Catalog_Schema_Test, FailingStepUndoesTheStepsBeforeIt) {
  start_empty();
  if (HasFatalFailure()) return;
  exec_script("CREATE TABLE informix_backup_set (x integer)");

  {
    Log_Capture log;
    EXPECT_FALSE(Catalog_Schema::create(db()));
  }
  EXPECT_EQ(0u, db().last_error().find("catalogue schema step 2 (application_kinds) failed: ")) << db().last_error();
  // Step 1 ran in the same transaction and went with it.
  EXPECT_FALSE(object_exists("backup_set"));
  EXPECT_FALSE(object_exists("backup_piece"));
  EXPECT_FALSE(object_exists("catalog_schema_version"));
  EXPECT_EQ(0, recorded_version());
  expect_no_application_kinds("informix_backup_set");
  std::vector<Described> hand_made = {{"x", pg() ? "integer" : "INTEGER", false}};
  EXPECT_EQ(hand_made, columns("informix_backup_set"));
}

TEST_P(Catalog_Schema_Test, ServersStartingTogetherEachFindTheCatalogueReady) {
  std::string path;
  char dir_template[] = "/tmp/bset_schema_XXXXXX";
  if (pg()) {
    start_empty();
    if (HasFatalFailure()) return;
  } else {
    ASSERT_NE(nullptr, mkdtemp(dir_template));
    path = std::string(dir_template) + "/catalog.db";
  }
  int const servers = 6;
  std::vector<std::unique_ptr<Connection>> connections;
  for (int i = 0; i < servers; ++i) {
    if (pg())
      connections.emplace_back(new database::sql::PG_Connection(PG_Cluster::shared()->conninfo()));
    else
      connections.emplace_back(new database::sql::SQLite_Connection(path, 30000));
    ASSERT_TRUE(connections.back()->is_open()) << connections.back()->last_error();
  }
  std::vector<int> ok(servers, 0);
  std::vector<std::string> errors(servers);
  {
    std::vector<std::thread> threads;
    for (int i = 0; i < servers; ++i)
      threads.emplace_back([&, i] {
        ok[i] = Catalog_Schema::create(*connections[i]);
        errors[i] = connections[i]->last_error();
      });
    for (auto& t : threads) t.join();
  }
  for (int i = 0; i < servers; ++i) EXPECT_TRUE(ok[i]) << i << ": " << errors[i];
  int v = -1;
  ASSERT_TRUE(Catalog_Schema::version(*connections[0], v)) << connections[0]->last_error();
  EXPECT_EQ(Catalog_Schema::latest_version(), v);
  json_spirit::Value rows;
  ASSERT_TRUE(connections[0]->query_value(SQL("SELECT count(*) FROM catalog_schema_version"), rows));
  EXPECT_EQ(1, integer(rows));
  connections.clear();
  if (!pg()) {
    for (char const* suffix : {"", "-wal", "-shm"}) unlink((path + suffix).c_str());
    rmdir(dir_template);
  }
}

ENGINE_SUITE(Catalog_Schema_Test);
