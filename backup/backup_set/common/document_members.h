#ifndef BACKUP_BACKUP_SET_COMMON_DOCUMENT_MEMBERS_H
#define BACKUP_BACKUP_SET_COMMON_DOCUMENT_MEMBERS_H

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "platform/export.h"
#include "platform/json/value.h"

// Reading a set document back into records: each value is checked against
// what the record's writer writes (JSON type, range of the field's width,
// time text) and a fault is named by the member's place in the document
// ("pieces[3].size: not an integer but a string"), so that a hand-edited
// file can be put right.
//
// An instance takes the members of one object one by one; once a take has
// failed the later ones do nothing, and done() tells whether all went well
// and the object held no member that was not taken. The static reads check
// single values. Absent members are left as they are: a document may leave
// out what the record holds by default.
class BSET_API Document_Members {
 public:
  // The members of `value`, named `name` in errors ("" for the document
  // itself). A value that is not an object fails at once.
  Document_Members(json_spirit::Value const& value, std::string name, std::string& error);
  Document_Members(json_spirit::Object const& object, std::string name, std::string& error);

  // The member `key`, when present, into `out`, read as its type says (see
  // the static reads below).
  template <typename T>
  Document_Members& take(char const* key, T& out) {
    if (json_spirit::Value const* v = next(key)) ok_ = read(*v, member_name(name_, key), out, error_);
    return *this;
  }
  // The member as a time ("YYYY-MM-DD HH:MM:SS", UTC) into POSIX seconds.
  Document_Members& take_time(char const* key, long long& out);
  // The member as a 32-bit number its writer writes signed.
  Document_Members& take_signed(char const* key, unsigned int& out);
  // The member through `read(value, name)`, which reports its own faults
  // in the `error` this instance was given.
  template <typename Read>
  Document_Members& take_by(char const* key, Read read) {
    if (json_spirit::Value const* v = next(key)) ok_ = read(*v, member_name(name_, key));
    return *this;
  }

  // True when every take succeeded and every member of the object was
  // taken; otherwise `error` names the fault (the first member not taken,
  // in key order, when that is it).
  bool done();
  bool ok() const { return ok_; }
  // The value of a member, or null (also when the value is not an object).
  json_spirit::Value const* find(char const* key) const;

  // One value into a record field of the type of `out`: text is a string;
  // integers are JSON integers within the range of the field (bool is a
  // JSON boolean, never a number); an object or an array is one.
  static bool read(json_spirit::Value const& v, std::string const& name, std::string& out, std::string& error);
  static bool read(json_spirit::Value const& v, std::string const& name, long long& out, std::string& error);
  static bool read(json_spirit::Value const& v, std::string const& name, unsigned long long& out,
                   std::string& error);
  static bool read(json_spirit::Value const& v, std::string const& name, int& out, std::string& error);
  static bool read(json_spirit::Value const& v, std::string const& name, unsigned int& out, std::string& error);
  static bool read(json_spirit::Value const& v, std::string const& name, bool& out, std::string& error);
  static bool read(json_spirit::Value const& v, std::string const& name, json_spirit::Object& out,
                   std::string& error);
  static bool read(json_spirit::Value const& v, std::string const& name, json_spirit::Array& out,
                   std::string& error);
  // A 32-bit unsigned field written with the signed writer: a negative
  // number is the same bits.
  static bool read_signed(json_spirit::Value const& v, std::string const& name, unsigned int& out,
                          std::string& error);
  // Exactly "YYYY-MM-DD HH:MM:SS" (UTC), the form the writers use.
  static bool read_time(json_spirit::Value const& v, std::string const& name, long long& out, std::string& error);

  // Whether `v` is of `type`; otherwise `error` says what it is instead.
  static bool is(json_spirit::Value const& v, json_spirit::Value_type type, std::string const& name,
                 std::string& error);
  // Each element of an array through `item(element, name)`, in order;
  // false at the first that fails (or when `v` is no array).
  template <typename Item>
  static bool each(json_spirit::Value const& v, std::string const& name, std::string& error, Item item) {
    if (!is(v, json_spirit::array_type, name, error)) return false;
    json_spirit::Array const& a = v.get_array();
    for (size_t i = 0; i < a.size(); ++i)
      if (!item(a[i], item_name(name, i))) return false;
    return true;
  }
  // An array of objects into records: for each element a fresh Item,
  // filled by `fill(members, item)` through take calls on the element's
  // members (every member must be taken). `out` gets the records when all
  // were read and is left alone otherwise.
  template <typename Item, typename Fill>
  static bool records(json_spirit::Value const& v, std::string const& name, std::string& error,
                      std::vector<Item>& out, Fill fill) {
    std::vector<Item> items;
    bool const ok = each(v, name, error, [&](json_spirit::Value const& element, std::string const& at) {
      Document_Members members(element, at, error);
      items.emplace_back();
      fill(members, items.back());
      return members.done();
    });
    if (ok) out = std::move(items);
    return ok;
  }
  // Each member of an object through `member(key, value, name)`, in key
  // order; false at the first that fails (or when `v` is no object).
  template <typename Member>
  static bool each_member(json_spirit::Value const& v, std::string const& name, std::string& error, Member member) {
    if (!is(v, json_spirit::obj_type, name, error)) return false;
    for (auto const& m : v.get_obj())
      if (!member(m.first, m.second, member_name(name, m.first))) return false;
    return true;
  }

  // "name.key", or "key" at the top of the document.
  static std::string member_name(std::string const& name, std::string const& key);
  // "name[index]".
  static std::string item_name(std::string const& name, size_t index);
  // "name: what" into `error`; false, for returning.
  static bool fail(std::string& error, std::string const& name, std::string const& what);
  // "an integer", "a string", ... for messages.
  static char const* type_word(json_spirit::Value_type type);

 private:
  // The member to take next, or null (absent, or an earlier take failed).
  json_spirit::Value const* next(char const* key);

  json_spirit::Object const* object_;
  std::string name_;
  std::string& error_;
  bool ok_;
  std::vector<char const*> taken_;
};

#endif
