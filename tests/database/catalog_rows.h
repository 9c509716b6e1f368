#ifndef TESTS_DATABASE_CATALOG_ROWS_H
#define TESTS_DATABASE_CATALOG_ROWS_H

#include <string>

#include "platform/database/connection.h"
#include "platform/sql/sql.h"
#include "platform/sql/uuid_binary.h"

// Writes catalogue rows with plain SQL, the way a catalogue server stores
// them: UUIDs as their 16 bytes, JSON as text, times as "YYYY-MM-DD HH:MM:SS".
inline Binding_Value uuid_value(std::string const& text) {
  std::basic_string<unsigned char> raw;
  if (!UUID_Binary::parse(text, raw)) return Binding_Value();
  return Binding_Value(raw);
}

inline Binding_Value text_value(std::string const& text) { return Binding_Value(text); }

inline std::string uuid_n(int n, int kind = 0) {
  char text[40];
  std::snprintf(text, sizeof text, "%08x-%04x-4%03x-8000-%012x", n, kind, n % 4096, n * 7 + kind);
  return text;
}

inline bool insert_storage(database::sql::Connection& db, long long id, std::string const& set, std::string const& pool,
                           long long size, long long state, std::string const& upstream = std::string(),
                           std::string const& attrs = std::string()) {
  SQL sql(
      "INSERT INTO backup_set_storage (id, set_uuid, pool_uuid, size, state, upstream_pool_uuid, extended_attrs) "
      "VALUES (:id, :set, :pool, :size, :state, :up, :attrs)");
  sql.bind(":id", Binding_Value(id)).bind(":set", uuid_value(set)).bind(":pool", uuid_value(pool));
  sql.bind(":size", Binding_Value(size)).bind(":state", Binding_Value(state));
  sql.bind(":up", upstream.empty() ? Binding_Value() : uuid_value(upstream));
  sql.bind(":attrs", attrs.empty() ? Binding_Value() : text_value(attrs));
  return db.execute(sql);
}

inline bool insert_piece(database::sql::Connection& db, std::string const& set, std::string const& path,
                         std::string const& object, long long size, std::string const& attrs = std::string()) {
  SQL sql(
      "INSERT INTO backup_piece (set_uuid, path, object, size, extended_attrs) VALUES (:set, :path, :object, :size, "
      ":attrs)");
  sql.bind(":set", uuid_value(set)).bind(":path", text_value(path)).bind(":object", text_value(object));
  sql.bind(":size", Binding_Value(size)).bind(":attrs", attrs.empty() ? Binding_Value() : text_value(attrs));
  return db.execute(sql);
}

inline bool insert_media(database::sql::Connection& db, long long storage_id, std::string const& tag) {
  SQL sql("INSERT INTO backup_set_media (set_storage_id, media_tag) VALUES (:id, :tag)");
  sql.bind(":id", Binding_Value(storage_id)).bind(":tag", text_value(tag));
  return db.execute(sql);
}

#endif
