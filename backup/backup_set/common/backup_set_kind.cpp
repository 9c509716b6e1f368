#include "backup/backup_set/common/backup_set_kind.h"

#include <cstring>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/catalog_columns.h"
#include "backup/backup_set/common/column_intake.h"
#include "backup/backup_set/common/document_members.h"
#include "platform/json/yajl_gen.h"
#include "platform/time/iso8601.h"

namespace {

char const TIME_FORMAT[] = "%Y-%m-%d %H:%M:%S";

bool same(char const* a, char const* b) { return a[0] == b[0] && std::strcmp(a, b) == 0; }

// Whether the document leaves the field out.
bool omitted(Kind_Field const& f, Backup_Set const& set) {
  if (f.flags & Kind_Field::OMIT_EMPTY) {
    if (f.type == Kind_Field::TEXT && (set.*f.member.text).empty()) return true;
    if (f.type == Kind_Field::ARRAY && (set.*f.member.array).empty()) return true;
    if (f.type == Kind_Field::OBJECT && (set.*f.member.object).empty()) return true;
  }
  if (f.flags & Kind_Field::OMIT_MINUS_ONE) {
    if (f.type == Kind_Field::I32 && set.*f.member.i32 == -1) return true;
    if (f.type == Kind_Field::I64 && set.*f.member.i64 == -1) return true;
  }
  if ((f.flags & Kind_Field::OMIT_ZERO) && f.type == Kind_Field::TIME && set.*f.member.i64 == 0) return true;
  return false;
}

}  // namespace

json_spirit::Value_type Kind_Field::json_type() const {
  switch (type) {
    case TEXT:
    case TIME: return json_spirit::str_type;
    case U32:
    case I32:
    case I64:
    case U64: return json_spirit::int_type;
    case BOOL: return json_spirit::bool_type;
    case ARRAY: return json_spirit::array_type;
    case OBJECT: return json_spirit::obj_type;
    case CUSTOM: break;
  }
  return json;
}

Backup_Set_Kind::Backup_Set_Kind(char const* class_name, char const* module, Selection selection, char const* table,
                                 char const* alias, Kind_Field const* fields, size_t count,
                                 char const* const* column_order)
    : class_name_(class_name),
      module_(module),
      selection_(selection),
      table_(table),
      alias_(alias),
      fields_(fields),
      count_(count),
      select_(nullptr) {
  if (column_order) {
    for (char const* const* key = column_order; *key; ++key)
      if (Kind_Field const* f = field(*key)) columns_.push_back(f);
  } else {
    for (Kind_Field const* f = begin(); f != end(); ++f)
      if (f->column()) columns_.push_back(f);
  }
  if (table_) member_tables_.push_back(Member_Table{table_, alias_, columns_});
}

Backup_Set_Kind& Backup_Set_Kind::own_select(Select select) {
  selection_ = OWN;
  select_ = select;
  return *this;
}

Backup_Set_Kind& Backup_Set_Kind::second_table(char const* table, char const* alias) {
  Member_Table second{table, alias, {}};
  std::vector<Kind_Field const*>& first = member_tables_.front().columns;
  for (auto it = first.begin(); it != first.end();) {
    if ((*it)->flags & Kind_Field::SECOND_TABLE) {
      second.columns.push_back(*it);
      it = first.erase(it);
    } else {
      ++it;
    }
  }
  member_tables_.push_back(second);
  return *this;
}

Backup_Set_Kind& Backup_Set_Kind::stored_in(char const* table) {
  member_tables_.front().table = table;
  return *this;
}

Kind_Field const* Backup_Set_Kind::field(char const* key) const {
  for (Kind_Field const* f = begin(); f != end(); ++f)
    if (same(f->key, key)) return f;
  return nullptr;
}

bool Backup_Set_Kind::generate(Backup_Set const& set, YAJL_Gen& g) const {
  for (Kind_Field const* f = begin(); f != end(); ++f) {
    if (f->writer) {
      f->writer(set, g, f->key);
      continue;
    }
    if (omitted(*f, set)) continue;
    g << f->key;
    switch (f->type) {
      case Kind_Field::TEXT: g << set.*f->member.text; break;
      case Kind_Field::U32:
        if (f->flags & Kind_Field::AS_I32)
          g << static_cast<int>(set.*f->member.u32);
        else
          g << set.*f->member.u32;
        break;
      case Kind_Field::I32: g << set.*f->member.i32; break;
      case Kind_Field::I64: g << set.*f->member.i64; break;
      case Kind_Field::U64: g << set.*f->member.u64; break;
      case Kind_Field::BOOL: g << set.*f->member.boolean; break;
      case Kind_Field::TIME: g << POSIX_Time_To_ISO8601(set.*f->member.i64, TIME_FORMAT); break;
      case Kind_Field::ARRAY: g << set.*f->member.array; break;
      case Kind_Field::OBJECT: g << set.*f->member.object; break;
      case Kind_Field::CUSTOM: break;
    }
  }
  return true;
}

bool Backup_Set_Kind::read(Backup_Set& set, std::string const& key, json_spirit::Value const& v,
                           std::string& error) const {
  Kind_Field const* f = field(key.c_str());
  if (!f) return Document_Members::fail(error, key, std::string("not a key of a ") + class_name_ + " document");
  if (f->reader) return f->reader(set, v, key, error);
  switch (f->type) {
    case Kind_Field::TEXT: return Document_Members::read(v, key, set.*f->member.text, error);
    case Kind_Field::U32:
      if (f->flags & Kind_Field::AS_I32) return Document_Members::read_signed(v, key, set.*f->member.u32, error);
      return Document_Members::read(v, key, set.*f->member.u32, error);
    case Kind_Field::I32: return Document_Members::read(v, key, set.*f->member.i32, error);
    case Kind_Field::I64: return Document_Members::read(v, key, set.*f->member.i64, error);
    case Kind_Field::U64: return Document_Members::read(v, key, set.*f->member.u64, error);
    case Kind_Field::BOOL: return Document_Members::read(v, key, set.*f->member.boolean, error);
    case Kind_Field::TIME: return Document_Members::read_time(v, key, set.*f->member.i64, error);
    case Kind_Field::ARRAY: return Document_Members::read(v, key, set.*f->member.array, error);
    case Kind_Field::OBJECT: return Document_Members::read(v, key, set.*f->member.object, error);
    case Kind_Field::CUSTOM: break;
  }
  // Every CUSTOM field is given a reader beside its writer.
  return Document_Members::fail(error, key,
                                std::string("cannot be read back: ") + class_name_ + " has no reader for it");
}

void Backup_Set_Kind::init_select_sql(Select_SQL& sql, char const* alias) const {
  if (selection_ == EMPTY) return;
  if (selection_ == OWN) return select_(sql, alias);
  Backup_Set::init_select_sql(sql, alias);
  if (selection_ == NONE) return;
  if (selection_ == JOIN_FIRST) Catalog_Columns::join(sql, table_, alias_);
  for (Kind_Field const* f : columns_) Catalog_Columns::add(sql, alias_, f->key, f->column_key());
  if (selection_ == JOIN) Catalog_Columns::join(sql, table_, alias_);
}

bool Backup_Set_Kind::take_cstr(Backup_Set& set, char const* key, char const* value, unsigned long long length) const {
  for (Kind_Field const* f = begin(); f != end(); ++f) {
    if (!f->taken() || !same(f->key, key)) continue;
    if (f->type == Kind_Field::TEXT) {
      std::string& field = set.*f->member.text;
      if (value)
        field.assign(value, static_cast<size_t>(length));
      else
        field.clear();
      return true;
    }
    if (f->type == Kind_Field::TIME) {
      Column_Intake::parse_time(value, length, set.*f->member.i64);
      return true;
    }
  }
  return false;
}

bool Backup_Set_Kind::take_int(Backup_Set& set, char const* key, long long value) const {
  for (Kind_Field const* f = begin(); f != end(); ++f) {
    if (!f->taken() || !same(f->key, key)) continue;
    switch (f->type) {
      case Kind_Field::U32: Column_Intake::store(set.*f->member.u32, value); return true;
      case Kind_Field::I32: Column_Intake::store(set.*f->member.i32, value); return true;
      case Kind_Field::I64: Column_Intake::store(set.*f->member.i64, value); return true;
      case Kind_Field::BOOL:
        if (!(f->flags & Kind_Field::INTAKE_INT)) break;
        Column_Intake::store(set.*f->member.boolean, value);
        return true;
      default: break;
    }
  }
  return false;
}

bool Backup_Set_Kind::take_json(Backup_Set& set, char const* key, json_spirit::Value const& value) const {
  for (Kind_Field const* f = begin(); f != end(); ++f) {
    if (!f->taken() || !same(f->key, key)) continue;
    if (f->type == Kind_Field::ARRAY && value.type() == json_spirit::array_type) {
      set.*f->member.array = value.get_array();
      return true;
    }
    if (f->type == Kind_Field::OBJECT && value.type() == json_spirit::obj_type) {
      set.*f->member.object = value.get_obj();
      return true;
    }
  }
  return false;
}

bool Backup_Set_Kind::take_bool(Backup_Set& set, char const* key, bool value) const {
  for (Kind_Field const* f = begin(); f != end(); ++f) {
    if (f->type == Kind_Field::BOOL && f->taken() && !(f->flags & Kind_Field::INTAKE_INT) && same(f->key, key)) {
      set.*f->member.boolean = value;
      return true;
    }
  }
  return false;
}

bool Backup_Set_Kind::take_uint(Backup_Set& set, char const* key, unsigned long long value) const {
  for (Kind_Field const* f = begin(); f != end(); ++f) {
    if (f->type == Kind_Field::U64 && f->taken() && same(f->key, key)) {
      set.*f->member.u64 = value;
      return true;
    }
  }
  return false;
}

bool Backup_Set_Kind::print_cstr(Backup_Set& set, int index, char const* key, char const* value,
                                 unsigned long long length, char const* file, int line) const {
  if (!Column_Intake::accept(set, key)) return Column_Intake::refused(key, file, line);
  if (take_cstr(set, key, value, length)) return true;
  return set.Backup_Set::print_cstr(index, key, value, length);
}

bool Backup_Set_Kind::print_int(Backup_Set& set, int index, char const* key, long long value, char const* file,
                                int line) const {
  if (!Column_Intake::accept(set, key)) return Column_Intake::refused(key, file, line);
  if (take_int(set, key, value)) return true;
  return set.Backup_Set::print_int(index, key, value);
}

bool Backup_Set_Kind::print_json(Backup_Set& set, int index, char const* key, json_spirit::Value const& value,
                                 char const* file, int line) const {
  if (!Column_Intake::accept(set, key)) return Column_Intake::refused(key, file, line);
  if (take_json(set, key, value)) return true;
  return set.Backup_Set::print_json(index, key, value);
}

bool Backup_Set_Kind::print_bool(Backup_Set& set, char const* key, bool value, char const* file, int line) const {
  if (!Column_Intake::accept(set, key)) return Column_Intake::refused(key, file, line);
  take_bool(set, key, value);
  return true;
}

bool Backup_Set_Kind::print_uint(Backup_Set& set, char const* key, unsigned long long value, char const* file,
                                 int line) const {
  if (!Column_Intake::accept(set, key)) return Column_Intake::refused(key, file, line);
  take_uint(set, key, value);
  return true;
}
