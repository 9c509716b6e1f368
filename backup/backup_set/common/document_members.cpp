#include "backup/backup_set/common/document_members.h"

#include <climits>
#include <utility>

#include "platform/time/iso8601.h"

using json_spirit::Value;

Document_Members::Document_Members(Value const& value, std::string name, std::string& error)
    : object_(nullptr), name_(std::move(name)), error_(error), ok_(false) {
  if (is(value, json_spirit::obj_type, name_.empty() ? "document" : name_, error_)) {
    object_ = &value.get_obj();
    ok_ = true;
  }
}

Document_Members::Document_Members(json_spirit::Object const& object, std::string name, std::string& error)
    : object_(&object), name_(std::move(name)), error_(error), ok_(true) {}

Value const* Document_Members::next(char const* key) {
  if (!ok_) return nullptr;
  auto it = object_->find(key);
  if (it == object_->end()) return nullptr;
  taken_.push_back(key);
  return &it->second;
}

Value const* Document_Members::find(char const* key) const {
  if (!object_) return nullptr;
  auto it = object_->find(key);
  return it == object_->end() ? nullptr : &it->second;
}

Document_Members& Document_Members::take_time(char const* key, long long& out) {
  if (Value const* v = next(key)) ok_ = read_time(*v, member_name(name_, key), out, error_);
  return *this;
}

Document_Members& Document_Members::take_signed(char const* key, unsigned int& out) {
  if (Value const* v = next(key)) ok_ = read_signed(*v, member_name(name_, key), out, error_);
  return *this;
}

bool Document_Members::done() {
  if (!ok_) return false;
  if (taken_.size() == object_->size()) return true;
  // A member nobody took: a key the writer never writes (a typing error in
  // a hand-made file, most likely), which writing the record again would
  // silently drop.
  for (auto const& member : *object_) {
    bool taken = false;
    for (char const* key : taken_) taken = taken || member.first == key;
    if (!taken) {
      ok_ = false;
      return fail(error_, member_name(name_, member.first), "unknown key");
    }
  }
  return true;
}

std::string Document_Members::member_name(std::string const& name, std::string const& key) {
  return name.empty() ? key : name + "." + key;
}

std::string Document_Members::item_name(std::string const& name, size_t index) {
  return name + "[" + std::to_string(index) + "]";
}

bool Document_Members::fail(std::string& error, std::string const& name, std::string const& what) {
  error = name + ": " + what;
  return false;
}

char const* Document_Members::type_word(json_spirit::Value_type type) {
  switch (type) {
    case json_spirit::obj_type: return "an object";
    case json_spirit::array_type: return "an array";
    case json_spirit::str_type:
    case json_spirit::secure_str_type: return "a string";
    case json_spirit::bool_type: return "a boolean";
    case json_spirit::int_type: return "an integer";
    case json_spirit::real_type: return "a real number";
    case json_spirit::null_type: return "null";
  }
  return "a value";
}

bool Document_Members::is(Value const& v, json_spirit::Value_type type, std::string const& name, std::string& error) {
  if (v.type() == type) return true;
  return fail(error, name, std::string("not ") + type_word(type) + " but " + type_word(v.type()));
}

namespace {

// An integer value within [low, high]; `what` names the range in the
// message. Unsigned values beyond the signed range pass where `high` allows.
bool in_range(Value const& v, std::string const& name, long long low, unsigned long long high, char const* what,
              std::string& error) {
  if (!Document_Members::is(v, json_spirit::int_type, name, error)) return false;
  bool ok = v.is_uint64() ? v.get_uint64() <= high
                          : v.get_int64() >= low &&
                                (v.get_int64() < 0 || static_cast<unsigned long long>(v.get_int64()) <= high);
  if (ok) return true;
  std::string const number = v.is_uint64() ? std::to_string(v.get_uint64()) : std::to_string(v.get_int64());
  return Document_Members::fail(error, name, number + " is out of the " + what + " range");
}

}  // namespace

bool Document_Members::read(Value const& v, std::string const& name, std::string& out, std::string& error) {
  if (!is(v, json_spirit::str_type, name, error)) return false;
  out = v.get_str();
  return true;
}

bool Document_Members::read(Value const& v, std::string const& name, long long& out, std::string& error) {
  if (!in_range(v, name, LLONG_MIN, static_cast<unsigned long long>(LLONG_MAX), "signed 64-bit", error)) return false;
  out = v.get_int64();
  return true;
}

bool Document_Members::read(Value const& v, std::string const& name, unsigned long long& out, std::string& error) {
  if (!in_range(v, name, 0, ULLONG_MAX, "unsigned 64-bit", error)) return false;
  out = v.get_uint64();
  return true;
}

bool Document_Members::read(Value const& v, std::string const& name, int& out, std::string& error) {
  if (!in_range(v, name, INT_MIN, static_cast<unsigned long long>(INT_MAX), "signed 32-bit", error)) return false;
  out = static_cast<int>(v.get_int64());
  return true;
}

bool Document_Members::read(Value const& v, std::string const& name, unsigned int& out, std::string& error) {
  if (!in_range(v, name, 0, UINT_MAX, "unsigned 32-bit", error)) return false;
  out = static_cast<unsigned int>(v.get_int64());
  return true;
}

bool Document_Members::read_signed(Value const& v, std::string const& name, unsigned int& out, std::string& error) {
  if (!in_range(v, name, INT_MIN, UINT_MAX, "32-bit", error)) return false;
  out = static_cast<unsigned int>(v.get_int64());
  return true;
}

bool Document_Members::read(Value const& v, std::string const& name, bool& out, std::string& error) {
  if (!is(v, json_spirit::bool_type, name, error)) return false;
  out = v.get_bool();
  return true;
}

bool Document_Members::read(Value const& v, std::string const& name, json_spirit::Object& out, std::string& error) {
  if (!is(v, json_spirit::obj_type, name, error)) return false;
  out = v.get_obj();
  return true;
}

bool Document_Members::read(Value const& v, std::string const& name, json_spirit::Array& out, std::string& error) {
  if (!is(v, json_spirit::array_type, name, error)) return false;
  out = v.get_array();
  return true;
}

bool Document_Members::read_time(Value const& v, std::string const& name, long long& out, std::string& error) {
  if (!is(v, json_spirit::str_type, name, error)) return false;
  // The parser underneath takes more forms (zones, fractions, "T", a leap
  // second); only the writers' own form is taken, so that a time read is
  // written back as it was.
  std::string const& text = v.get_str();
  long long seconds = 0;
  if (!iso8601_to_posix_time(text.c_str(), seconds) || POSIX_Time_To_ISO8601(seconds, "%Y-%m-%d %H:%M:%S") != text)
    return fail(error, name, "\"" + text + "\" is not a time \"YYYY-MM-DD HH:MM:SS\"");
  out = seconds;
  return true;
}
