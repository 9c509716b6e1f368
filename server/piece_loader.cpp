#include "server/piece_loader.h"

#include <limits>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/database/pg_connection.h"
#include "platform/json/json_text.h"
#include "platform/sql/sql.h"
#include "server/piece_path.h"

using database::sql::Connection;
using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

Value const* find(Object const& o, char const* key) {
  auto it = o.find(key);
  return it == o.end() ? nullptr : &it->second;
}

std::string text_of(Object const& o, char const* key) {
  Value const* v = find(o, key);
  return v ? v->get_str() : std::string();
}

// Pieces and bytes beneath each directory of a batch.
typedef std::map<std::string, std::pair<long long, long long>> Dir_Totals;

void count_dirs(Dir_Totals& dirs, std::string const& path, long long size) {
  for (std::string& d : Piece_Path::ancestors(path)) {
    auto& t = dirs[std::move(d)];
    t.first += 1;
    // Sizes are each within 64 bits, their sum need not be: a directory's
    // total stops at the largest the column holds.
    if (__builtin_add_overflow(t.second, size, &t.second)) t.second = std::numeric_limits<long long>::max();
  }
}

// A field in COPY's text format: the four bytes that format gives meaning
// to are escaped, every other byte goes as it is.
void copy_text(std::string& out, std::string const& text) {
  for (char ch : text) {
    switch (ch) {
      case '\\': out += "\\\\"; break;
      case '\t': out += "\\t"; break;
      case '\n': out += "\\n"; break;
      case '\r': out += "\\r"; break;
      default: out += ch;
    }
  }
}

bool copy_pieces(database::sql::PG_Connection& c, Binding_Value const& set, Array const& pieces, Dir_Totals& dirs) {
  static char const hex[] = "0123456789abcdef";
  std::string set_field = "\\\\x";
  for (char b : set.bytes()) {
    set_field += hex[(static_cast<unsigned char>(b) >> 4) & 0xf];
    set_field += hex[static_cast<unsigned char>(b) & 0xf];
  }
  set_field += '\t';
  if (!c.copy_begin("COPY backup_piece(set_uuid,path,object,size,extended_attrs,dir) FROM STDIN")) return false;
  std::string buffer;
  size_t const flush_at = 256 * 1024;
  buffer.reserve(flush_at + 4096);
  for (Value const& piece : pieces) {
    Object const& o = piece.get_obj();
    std::string const& path = o.at("path").get_str();
    long long size = o.at("size").get_int64();
    Value const* attrs = find(o, "extended_attrs");
    buffer += set_field;
    copy_text(buffer, path);
    buffer += '\t';
    copy_text(buffer, text_of(o, "object"));
    buffer += '\t';
    buffer += std::to_string(size);
    buffer += '\t';
    if (attrs)
      copy_text(buffer, JSON_Dump(*attrs));
    else
      buffer += "\\N";
    buffer += '\t';
    copy_text(buffer, Piece_Path::dir(path));
    buffer += '\n';
    count_dirs(dirs, path, size);
    if (buffer.size() >= flush_at) {
      if (!c.copy_put(buffer.data(), buffer.size())) return false;
      buffer.clear();
    }
  }
  if (!buffer.empty() && !c.copy_put(buffer.data(), buffer.size())) return false;
  return c.copy_end();
}

// One INSERT of `rows` pieces; the statement text depends only on the count.
class Piece_Insert {
 public:
  explicit Piece_Insert(size_t rows) : rows_(rows) {
    std::string text = "INSERT INTO backup_piece(set_uuid,path,object,size,extended_attrs,dir) VALUES";
    for (size_t i = 0; i < rows; ++i) {
      std::string n = std::to_string(i);
      names_.push_back({":p" + n, ":o" + n, ":z" + n, ":e" + n, ":d" + n});
      text += (i ? ",(:set_uuid," : "(:set_uuid,");
      for (size_t k = 0; k < names_[i].size(); ++k) text += (k ? "," : "") + names_[i][k];
      text += ")";
    }
    sql_.set_text(text);
  }

  bool run(Connection& c, Binding_Value const& set, Array const& pieces, size_t from, Dir_Totals& dirs) {
    sql_.bind(":set_uuid", set);
    for (size_t i = 0; i < rows_; ++i) {
      Object const& o = pieces[from + i].get_obj();
      std::string const& path = o.at("path").get_str();
      long long size = o.at("size").get_int64();
      Value const* attrs = find(o, "extended_attrs");
      sql_.bind(names_[i][0], Binding_Value(path))
          .bind(names_[i][1], Binding_Value(text_of(o, "object")))
          .bind(names_[i][2], Binding_Value(size))
          .bind(names_[i][3], attrs ? Binding_Value(JSON_Dump(*attrs)) : Binding_Value())
          .bind(names_[i][4], Binding_Value(Piece_Path::dir(path)));
      count_dirs(dirs, path, size);
    }
    return c.execute(sql_);
  }

 private:
  size_t rows_;
  std::vector<std::vector<std::string>> names_;
  SQL sql_;
};

// Multi-row INSERTs of power-of-two row counts, so a connection prepares a
// handful of statement texts whatever the batch. SQLite pays for binding by
// name, which grows with the parameters of a statement: 8 rows measured best.
bool insert_pieces(Connection& c, Binding_Value const& set, Array const& pieces, Dir_Totals& dirs) {
  size_t const max_rows = 8;
  std::map<size_t, std::unique_ptr<Piece_Insert>> inserts;
  size_t i = 0;
  while (i < pieces.size()) {
    size_t rows = max_rows;
    while (rows > pieces.size() - i) rows /= 2;
    auto& insert = inserts[rows];
    if (!insert) insert = std::make_unique<Piece_Insert>(rows);
    if (!insert->run(c, set, pieces, i, dirs)) return false;
    i += rows;
  }
  return true;
}

// Adds a batch's directory totals to those stored, 64 directories a
// statement.
bool add_dirs(Connection& c, Binding_Value const& set, Dir_Totals const& dirs) {
  size_t const per_statement = 64;
  auto it = dirs.begin();
  while (it != dirs.end()) {
    SQL sql;
    sql.bind(":set_uuid", set);
    std::string text = "INSERT INTO backup_piece_dir(set_uuid,path,parent,pieces,size) VALUES";
    for (size_t i = 0; i < per_statement && it != dirs.end(); ++i, ++it) {
      std::string n = std::to_string(i);
      text += (i ? ",(:set_uuid,:p" : "(:set_uuid,:p") + n + ",:a" + n + ",:n" + n + ",:z" + n + ")";
      sql.bind(":p" + n, Binding_Value(it->first))
          .bind(":a" + n, Binding_Value(Piece_Path::dir(it->first)))
          .bind(":n" + n, Binding_Value(it->second.first))
          .bind(":z" + n, Binding_Value(it->second.second));
    }
    text +=
        " ON CONFLICT(set_uuid,path) DO UPDATE SET pieces=backup_piece_dir.pieces+excluded.pieces,"
        "size=CASE WHEN backup_piece_dir.size > 9223372036854775807-excluded.size THEN 9223372036854775807 "
        "ELSE backup_piece_dir.size+excluded.size END";
    sql.set_text(text);
    if (!c.execute(sql)) return false;
  }
  return true;
}

}  // namespace

bool Piece_Loader::append(Connection& c, Binding_Value const& set, Array const& pieces) {
  if (pieces.empty()) return true;
  Dir_Totals dirs;
  auto* pg = dynamic_cast<database::sql::PG_Connection*>(&c);
  bool ok = pg ? copy_pieces(*pg, set, pieces, dirs) : insert_pieces(c, set, pieces, dirs);
  return ok && add_dirs(c, set, dirs);
}
