#include "backup/backup_set/common/backup_piece.h"

#include <cstring>

#include <ace/Log_Msg.h>

#include "backup/backup_set/common/backup_piece_result_handler.h"
#include "backup/backup_set/common/catalog_columns.h"
#include "backup/backup_set/common/column_intake.h"
#include "platform/json/yajl_gen.h"
#include "platform/json/yajl_map_guard.h"

namespace {

template <size_t N>
inline YAJL_Gen::Str key(char const (&text)[N]) {
  return YAJL_Gen::Str(text, N - 1);
}

}  // namespace

Backup_Piece::Backup_Piece() : size(0) {}

Backup_Piece::~Backup_Piece() = default;

// Runs once per piece of a set, so it writes straight into the generator:
// no temporaries, no intermediate values.
bool Backup_Piece::generate(yajl_gen_t* gen) {
  if (!gen) {
    ACE_ERROR((LM_EMERGENCY, "Unexpected error in %N:%l, gen is NULL:\n%?\n"));
    return false;
  }
  YAJL_Gen g(gen, false);
  YAJL_Map_Guard map(gen);
  g << key("path") << path << key("object") << object << key("size") << size;
  g << key("extended_attrs") << extended_attrs;
  return g.ok();
}

namespace {

using Text_Column = Column_Intake::Column<Backup_Piece, std::string>;
using Int_Column = Column_Intake::Column<Backup_Piece, long long>;
using Object_Column = Column_Intake::Column<Backup_Piece, json_spirit::Object>;

Text_Column const TEXT_COLUMNS[] = {{"path", &Backup_Piece::path}, {"object", &Backup_Piece::object}};
Int_Column const INT_COLUMNS[] = {{"size", &Backup_Piece::size}};
Object_Column const OBJECT_COLUMNS[] = {{"extended_attrs", &Backup_Piece::extended_attrs}};

// "id" and "set_uuid" are selected though the piece keeps neither.
char const* const SELECT_COLUMNS[] = {"id", "set_uuid", "path", "object", "size", "extended_attrs"};

}  // namespace

bool Backup_Piece::print_cstr(int, char const* key, char const* value, unsigned long long length) {
  if (!Column_Intake::accept(*this, key)) return Column_Intake::refused(key);
  Column_Intake::text(*this, TEXT_COLUMNS, key, value, length);
  return true;
}

bool Backup_Piece::print_int(int, char const* key, long long value) {
  if (!Column_Intake::accept(*this, key)) return Column_Intake::refused(key);
  Column_Intake::integer(*this, INT_COLUMNS, key, value);
  return true;
}

bool Backup_Piece::print_json(int, char const* key, json_spirit::Value const& value) {
  if (!Column_Intake::accept(*this, key)) return Column_Intake::refused(key);
  Column_Intake::object(*this, OBJECT_COLUMNS, key, value);
  return true;
}

void Backup_Piece::init_select_sql(Select_SQL& sql, char const* alias) {
  Catalog_Columns::select(sql, "backup_piece", alias, SELECT_COLUMNS);
}

Backup_Piece_Result_Handler Backup_Piece::result_handler_;

database::sql::Query_Result_Handler* Backup_Piece::result_handler() { return &result_handler_; }
