#ifndef BACKUP_BACKUP_SET_COMMON_KIND_FIELD_H
#define BACKUP_BACKUP_SET_COMMON_KIND_FIELD_H

#include <string>

#include "platform/export.h"
#include "platform/json/value.h"

class Backup_Set;
class YAJL_Gen;

// One key of an application kind of set: the record field behind it, the
// number writer its width calls for, whether a catalogue column carries it
// and which column operation takes it back, and when the document leaves it
// out. A kind is a table of these in document order (Backup_Set_Kind).
//
// Fields are reached through pointers to members of Backup_Set: a kind's
// own member pointer is cast down to the base once, here, and is only ever
// applied to records of that kind.
struct BSET_API Kind_Field {
  enum Type {
    TEXT,    // std::string; print_cstr
    U32,     // unsigned int; print_int, cut to 32 bits; written unsigned
    I32,     // int; print_int, cut to 32 bits
    I64,     // long long; print_int
    U64,     // unsigned long long; print_uint
    BOOL,    // bool; print_bool, or print_int (value != 0) with INTAKE_INT
    TIME,    // long long seconds; print_cstr of ISO-8601 text; written as text
    ARRAY,   // json_spirit::Array; print_json when the value is an array
    OBJECT,  // json_spirit::Object; print_json when the value is an object
    CUSTOM,  // a container written by its own function; never taken from a row
  };
  enum Flags : unsigned {
    COLUMN = 1u << 0,          // selected from the kind's table, column named as the key
    INTAKE_INT = 1u << 1,      // a BOOL that arrives as an integer column
    NO_INTAKE = 1u << 2,       // selected perhaps, but never taken from a row
    OMIT_EMPTY = 1u << 3,      // written only when not empty
    OMIT_MINUS_ONE = 1u << 4,  // written only when not -1 (the not-known mark)
    OMIT_ZERO = 1u << 5,       // written only when not 0 (an unset time)
    SECOND_TABLE = 1u << 6,    // a COLUMN of the kind's second member table
    AS_I32 = 1u << 7,          // a U32 written with the signed 32-bit writer
  };
  // Writes key and value of a CUSTOM field, or of a field written its own
  // way (or nothing, when it leaves the key out).
  typedef void (*Writer)(Backup_Set const& set, YAJL_Gen& gen, char const* key);
  // Takes the value of a CUSTOM field (or of a field read its own way) from
  // a set document back into the record. False, with `error` naming the
  // member at fault from `name` on ("backup_files[2].size: ..."), when the
  // value is not one the field's writer could have written.
  typedef bool (*Reader)(Backup_Set& set, json_spirit::Value const& value, std::string const& name,
                         std::string& error);

  template <typename Kind>
  Kind_Field(char const* key, std::string Kind::*m, unsigned flags = 0) : Kind_Field(key, TEXT, flags) {
    member.text = static_cast<std::string Backup_Set::*>(m);
  }
  template <typename Kind>
  Kind_Field(char const* key, unsigned int Kind::*m, unsigned flags = 0) : Kind_Field(key, U32, flags) {
    member.u32 = static_cast<unsigned int Backup_Set::*>(m);
  }
  template <typename Kind>
  Kind_Field(char const* key, int Kind::*m, unsigned flags = 0) : Kind_Field(key, I32, flags) {
    member.i32 = static_cast<int Backup_Set::*>(m);
  }
  template <typename Kind>
  Kind_Field(char const* key, long long Kind::*m, unsigned flags = 0) : Kind_Field(key, I64, flags) {
    member.i64 = static_cast<long long Backup_Set::*>(m);
  }
  template <typename Kind>
  Kind_Field(char const* key, unsigned long long Kind::*m, unsigned flags = 0) : Kind_Field(key, U64, flags) {
    member.u64 = static_cast<unsigned long long Backup_Set::*>(m);
  }
  template <typename Kind>
  Kind_Field(char const* key, bool Kind::*m, unsigned flags = 0) : Kind_Field(key, BOOL, flags) {
    member.boolean = static_cast<bool Backup_Set::*>(m);
  }
  template <typename Kind>
  Kind_Field(char const* key, json_spirit::Array Kind::*m, unsigned flags = 0) : Kind_Field(key, ARRAY, flags) {
    member.array = static_cast<json_spirit::Array Backup_Set::*>(m);
  }
  template <typename Kind>
  Kind_Field(char const* key, json_spirit::Object Kind::*m, unsigned flags = 0) : Kind_Field(key, OBJECT, flags) {
    member.object = static_cast<json_spirit::Object Backup_Set::*>(m);
  }

  // A time field: long long seconds, ISO-8601 text in rows and documents.
  template <typename Kind>
  static Kind_Field time(char const* key, long long Kind::*m, unsigned flags = 0) {
    Kind_Field f(key, m, flags);
    f.type = TIME;
    return f;
  }
  // A container written by `writer`; `json` is the type catalogd expects.
  // OMIT_EMPTY in `flags` says that the writer may leave the key out.
  static Kind_Field custom(char const* key, json_spirit::Value_type json, Writer writer, unsigned flags = 0) {
    Kind_Field f(key, CUSTOM, flags | NO_INTAKE);
    f.json = json;
    f.writer = writer;
    return f;
  }
  // A field taken from rows as its type says but written by `w` (a rule
  // of its own for leaving the key out, or a stricter writer); give the
  // field an OMIT_* flag when `w` may leave the key out.
  Kind_Field written_by(Writer w) const {
    Kind_Field f(*this);
    f.writer = w;
    return f;
  }
  // The document's value is read back by `r` instead of by the field's
  // type: every CUSTOM field has one, beside its writer.
  Kind_Field read_by(Reader r) const {
    Kind_Field f(*this);
    f.reader = r;
    return f;
  }
  // The column is delivered under another key than the one the intake
  // waits for.
  Kind_Field selected_as(char const* key) const {
    Kind_Field f(*this);
    f.select_key = key;
    return f;
  }

  bool column() const { return (flags & COLUMN) != 0; }
  bool taken() const { return (flags & NO_INTAKE) == 0; }
  // Whether every document of the kind carries the key.
  bool always_written() const { return (flags & (OMIT_EMPTY | OMIT_MINUS_ONE | OMIT_ZERO)) == 0; }
  // The JSON type of the key's value in the document.
  json_spirit::Value_type json_type() const;
  // The key a selected column is delivered under.
  char const* column_key() const { return select_key ? select_key : key; }

  char const* key;
  Type type;
  unsigned flags;
  union {
    std::string Backup_Set::*text;
    unsigned int Backup_Set::*u32;
    int Backup_Set::*i32;
    long long Backup_Set::*i64;
    unsigned long long Backup_Set::*u64;
    bool Backup_Set::*boolean;
    json_spirit::Array Backup_Set::*array;
    json_spirit::Object Backup_Set::*object;
  } member;
  json_spirit::Value_type json;  // the JSON type of a CUSTOM field's value
  Writer writer;
  Reader reader;
  char const* select_key;

 private:
  Kind_Field(char const* k, Type t, unsigned f)
      : key(k),
        type(t),
        flags(f),
        member(),
        json(json_spirit::null_type),
        writer(nullptr),
        reader(nullptr),
        select_key(nullptr) {}
};

#endif
