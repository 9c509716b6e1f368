#include "platform/sql/sql.h"

#include <cstring>
#include <unordered_map>

namespace {

bool is_name_start(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }
bool is_name_char(char c) { return is_name_start(c) || (c >= '0' && c <= '9'); }

std::string with_colon(std::string const& name) {
  if (!name.empty() && name[0] == ':') return name;
  return ":" + name;
}

// Copies `in` to `out`, finding the ":name" parameters outside literals,
// identifiers, comments and casts. For PostgreSQL each becomes "$n".
void scan_parameters(std::string const& in, Dialect dialect, std::string& out, std::vector<std::string>& names) {
  out.clear();
  out.reserve(in.size() + 8);
  names.clear();
  std::unordered_map<std::string, size_t> numbers;
  size_t const n = in.size();
  size_t i = 0;
  while (i < n) {
    char c = in[i];
    if (c == '\'' || c == '"') {
      // Quoted text ends at the next lone quote; a doubled quote is data.
      size_t j = i + 1;
      while (j < n) {
        if (in[j] == c) {
          if (j + 1 < n && in[j + 1] == c) {
            j += 2;
            continue;
          }
          break;
        }
        ++j;
      }
      size_t end = j < n ? j + 1 : n;
      out.append(in, i, end - i);
      i = end;
    } else if (c == '-' && i + 1 < n && in[i + 1] == '-') {
      size_t j = in.find('\n', i);
      size_t end = j == std::string::npos ? n : j;
      out.append(in, i, end - i);
      i = end;
    } else if (c == '/' && i + 1 < n && in[i + 1] == '*') {
      size_t j = in.find("*/", i + 2);
      size_t end = j == std::string::npos ? n : j + 2;
      out.append(in, i, end - i);
      i = end;
    } else if (c == '$' && i + 1 < n && (in[i + 1] == '$' || is_name_start(in[i + 1]))) {
      // A dollar-quoted body: $tag$ ... $tag$.
      size_t j = i + 1;
      while (j < n && is_name_char(in[j])) ++j;
      if (j < n && in[j] == '$') {
        std::string tag = in.substr(i, j - i + 1);
        size_t close = in.find(tag, j + 1);
        size_t end = close == std::string::npos ? n : close + tag.size();
        out.append(in, i, end - i);
        i = end;
      } else {
        out += c;
        ++i;
      }
    } else if (c == ':') {
      if (i + 1 < n && in[i + 1] == ':') {
        out.append("::");
        i += 2;
      } else if (i + 1 < n && is_name_start(in[i + 1])) {
        size_t j = i + 1;
        while (j < n && is_name_char(in[j])) ++j;
        std::string name = in.substr(i, j - i);
        size_t number;
        auto seen = numbers.find(name);
        if (seen != numbers.end()) {
          number = seen->second;
        } else {
          number = names.size();
          numbers.emplace(name, number);
          names.push_back(name);
        }
        if (dialect == Dialect::PostgreSQL) {
          out += '$';
          out += std::to_string(number + 1);
        } else {
          out += name;
        }
        i = j;
      } else {
        out += c;
        ++i;
      }
    } else {
      out += c;
      ++i;
    }
  }
}

}  // namespace

SQL::SQL() = default;

SQL::SQL(std::string const& text) : text_(text) {}

SQL::~SQL() = default;

size_t const kIndexFrom = 16;

SQL& SQL::bind(std::string const& name, Binding_Value const& value) {
  std::string key = with_colon(name);
  if (!index_.empty()) {
    auto it = index_.find(key);
    if (it != index_.end()) {
      bindings_[it->second].second = value;
      return *this;
    }
    index_.emplace(key, bindings_.size());
    bindings_.emplace_back(std::move(key), value);
    return *this;
  }
  for (auto& b : bindings_) {
    if (b.first == key) {
      b.second = value;
      return *this;
    }
  }
  bindings_.emplace_back(std::move(key), value);
  if (bindings_.size() > kIndexFrom) {
    for (size_t i = 0; i < bindings_.size(); ++i) index_.emplace(bindings_[i].first, i);
  }
  return *this;
}

Binding_Value const* SQL::binding(std::string const& name) const {
  // Parameter names arrive with their colon from the scanner; compare
  // without building a new string on that path.
  bool colon = !name.empty() && name[0] == ':';
  if (!index_.empty()) {
    auto it = index_.find(colon ? name : with_colon(name));
    return it == index_.end() ? nullptr : &bindings_[it->second].second;
  }
  for (auto const& b : bindings_) {
    if (colon ? b.first == name : (b.first.size() == name.size() + 1 && b.first.compare(1, name.size(), name) == 0))
      return &b.second;
  }
  return nullptr;
}

std::string SQL::text(Dialect dialect) const {
  // SQLite reads ":name" itself: the built text is already the statement.
  if (dialect == Dialect::SQLite) {
    std::string out;
    build(out, dialect);
    return out;
  }
  std::vector<std::string> names;
  return text(dialect, names);
}

std::string SQL::text(Dialect dialect, std::vector<std::string>& parameters) const {
  std::string raw;
  build(raw, dialect);
  std::string out;
  scan_parameters(raw, dialect, out, parameters);
  return out;
}

std::vector<std::string> const* SQL::keys() const { return nullptr; }

SQL& SQL::set_text(std::string const& text) {
  text_ = text;
  return *this;
}

void SQL::build(std::string& out, Dialect) const { out = text_; }
