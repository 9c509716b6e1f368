#include "platform/sql/select_sql.h"

#include <cctype>
#include <cstring>

namespace {

bool is_name_char(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; }

std::string trim(std::string const& s) {
  size_t b = 0, e = s.size();
  while (b < e && std::isspace(static_cast<unsigned char>(s[b]))) ++b;
  while (e > b && std::isspace(static_cast<unsigned char>(s[e - 1]))) --e;
  return s.substr(b, e - b);
}

// The name a column expression is known by without an AS: the last part of
// "a.b" or "b", or "*"; empty when the expression is anything else.
std::string natural_name(std::string const& expression) {
  if (expression.empty()) return std::string();
  if (expression == "*") return expression;
  size_t start = 0;
  for (size_t i = 0; i < expression.size(); ++i) {
    char c = expression[i];
    if (c == '.') {
      if (i == 0 || i + 1 == expression.size()) return std::string();
      start = i + 1;
    } else if (!is_name_char(c)) {
      return std::string();
    }
  }
  if (std::isdigit(static_cast<unsigned char>(expression[start]))) return std::string();
  return expression.substr(start);
}

std::string quote_identifier(std::string const& name) {
  std::string out = "\"";
  for (char c : name) {
    if (c == '"') out += '"';
    out += c;
  }
  out += '"';
  return out;
}

std::string unquote_identifier(std::string const& name) {
  if (name.size() >= 2 && name.front() == '"' && name.back() == '"') {
    std::string out;
    for (size_t i = 1; i + 1 < name.size(); ++i) {
      out += name[i];
      if (name[i] == '"' && name[i + 1] == '"') ++i;
    }
    return out;
  }
  return name;
}

// Splits a column list at the commas that are not inside brackets or quotes.
std::vector<std::string> split_columns(std::string const& list) {
  std::vector<std::string> items;
  std::string current;
  int depth = 0;
  char quote = 0;
  for (char c : list) {
    if (quote) {
      current += c;
      if (c == quote) quote = 0;
      continue;
    }
    if (c == '\'' || c == '"') quote = c;
    if (c == '(') ++depth;
    if (c == ')') --depth;
    if (c == ',' && depth == 0) {
      items.push_back(trim(current));
      current.clear();
      continue;
    }
    current += c;
  }
  std::string last = trim(current);
  if (!last.empty() || !items.empty()) items.push_back(last);
  return items;
}

// Finds a top-level " AS " (any case) and splits the item there.
bool split_as(std::string const& item, std::string& expression, std::string& name) {
  int depth = 0;
  char quote = 0;
  for (size_t i = 0; i + 4 <= item.size(); ++i) {
    char c = item[i];
    if (quote) {
      if (c == quote) quote = 0;
      continue;
    }
    if (c == '\'' || c == '"') {
      quote = c;
      continue;
    }
    if (c == '(') ++depth;
    if (c == ')') --depth;
    if (depth == 0 && std::isspace(static_cast<unsigned char>(c)) && (item[i + 1] == 'a' || item[i + 1] == 'A') &&
        (item[i + 2] == 's' || item[i + 2] == 'S') && std::isspace(static_cast<unsigned char>(item[i + 3]))) {
      expression = trim(item.substr(0, i));
      name = unquote_identifier(trim(item.substr(i + 4)));
      return !expression.empty() && !name.empty();
    }
  }
  return false;
}

// PostgreSQL refuses its reserved words as table aliases unless quoted
// (SQLite takes them as they are). Reserved and type/function-name words.
bool reserved_in_postgresql(std::string const& word) {
  static char const* const words[] = {
      "all", "analyse", "analyze", "and", "any", "array", "as", "asc", "asymmetric", "authorization", "binary",
      "both", "case", "cast", "check", "collate", "collation", "column", "concurrently", "constraint", "create",
      "cross", "current_catalog", "current_date", "current_role", "current_schema", "current_time",
      "current_timestamp", "current_user", "default", "deferrable", "desc", "distinct", "do", "else", "end",
      "except", "false", "fetch", "for", "foreign", "freeze", "from", "full", "grant", "group", "having", "ilike",
      "in", "initially", "inner", "intersect", "into", "is", "isnull", "join", "lateral", "leading", "left", "like",
      "limit", "localtime", "localtimestamp", "natural", "not", "notnull", "null", "offset", "on", "only", "or",
      "order", "outer", "overlaps", "placing", "primary", "references", "returning", "right", "select",
      "session_user", "similar", "some", "symmetric", "system_user", "table", "tablesample", "then", "to",
      "trailing", "true", "union", "unique", "user", "using", "variadic", "verbose", "when", "where", "window",
      "with"};
  std::string lower;
  for (char c : word) lower += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  for (char const* w : words)
    if (lower == w) return true;
  return false;
}

// Quotes every qualifier "<alias>." of the text (outside literals and
// quoted names) that is the alias as a whole word.
void quote_qualifier(std::string& text, std::string const& alias) {
  std::string out;
  out.reserve(text.size() + 8);
  char quote = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (quote) {
      out += c;
      if (c == quote) quote = 0;
      continue;
    }
    if (c == '\'' || c == '"') {
      quote = c;
      out += c;
      continue;
    }
    bool starts_word = i == 0 || (!is_name_char(text[i - 1]) && text[i - 1] != '.');
    if (starts_word && text.compare(i, alias.size(), alias) == 0 && i + alias.size() < text.size() &&
        text[i + alias.size()] == '.') {
      out += quote_identifier(alias);
      i += alias.size() - 1;
      continue;
    }
    out += c;
  }
  text.swap(out);
}

}  // namespace

Select_SQL::Select_SQL(char const* table, char const* alias) : distinct_(false), limit_(false), offset_(false) {
  this->table(table, alias);
}

Select_SQL::~Select_SQL() = default;

Select_SQL& Select_SQL::table(char const* table, char const* alias) {
  table_ = table ? table : "";
  alias_ = alias ? alias : "";
  return *this;
}

Select_SQL& Select_SQL::add_key(std::string const& expression, char const* key) {
  std::string name = key ? std::string(key) : natural_name(expression);
  if (name.empty()) name = expression;
  columns_.emplace_back(expression, name);
  keys_.push_back(name);
  return *this;
}

Select_SQL& Select_SQL::join(char const* table, char const* alias, std::string const& condition) {
  if (!table || !*table) return *this;
  joins_.push_back(Join{table, alias ? alias : "", condition});
  inner_.push_back(false);
  return *this;
}

Select_SQL& Select_SQL::inner_join(char const* table, char const* alias, std::string const& condition) {
  if (!table || !*table) return *this;
  joins_.push_back(Join{table, alias ? alias : "", condition});
  inner_.push_back(true);
  return *this;
}

namespace {
// True when the list is names and dots only ("a,b.c,d"), the common case
// that needs no parsing of brackets, quotes or AS.
bool plain_list(char const* columns) {
  for (char const* p = columns; *p; ++p) {
    if (!is_name_char(*p) && *p != ',' && *p != '.') return false;
  }
  return true;
}
}  // namespace

Select_SQL& Select_SQL::select(char const* columns) {
  columns_.clear();
  keys_.clear();
  if (!columns) return *this;
  if (plain_list(columns)) {
    for (char const* p = columns; *p;) {
      char const* end = std::strchr(p, ',');
      if (!end) end = p + std::strlen(p);
      if (end > p) {
        std::string expression(p, end);
        std::string key = natural_name(expression);
        if (key.empty()) key = expression;
        columns_.emplace_back(std::move(expression), key);
        keys_.push_back(std::move(key));
      }
      p = *end ? end + 1 : end;
    }
    return *this;
  }
  for (auto const& item : split_columns(columns)) {
    if (item.empty()) continue;
    std::string expression, name;
    if (split_as(item, expression, name)) {
      add_key(expression, name.c_str());
    } else {
      add_key(item, nullptr);
    }
  }
  return *this;
}

Select_SQL& Select_SQL::distinct(bool on) {
  distinct_ = on;
  return *this;
}

Select_SQL& Select_SQL::order_by(std::string const& expression, bool descending) {
  if (!expression.empty()) order_.push_back(descending ? expression + " DESC" : expression);
  return *this;
}

Select_SQL& Select_SQL::limit(long long rows) {
  limit_ = rows >= 0;
  if (limit_) bind(":_limit", Binding_Value(rows));
  return *this;
}

Select_SQL& Select_SQL::offset(long long rows) {
  offset_ = rows >= 0;
  if (offset_) bind(":_offset", Binding_Value(rows));
  return *this;
}

void Select_SQL::build(std::string& out, Dialect dialect) const {
  out.clear();
  out.reserve(64 + columns_.size() * 24);
  out += distinct_ ? "SELECT DISTINCT " : "SELECT ";
  if (columns_.empty()) out += '*';
  for (size_t i = 0; i < columns_.size(); ++i) {
    if (i) out += ',';
    std::string const& given = columns_[i].first;
    std::string expression = alias_.empty() && !given.empty() && given[0] == '.' ? table_ + given : given;
    out += expression;
    // Results are keyed by position, so the AS is only for readers of the
    // text and for engines that report column names.
    if (columns_[i].second != given && natural_name(expression) != columns_[i].second) {
      out += " AS ";
      out += quote_identifier(columns_[i].second);
    }
  }
  std::vector<std::string> quoted;
  auto alias = [&](std::string const& a) {
    if (dialect != Dialect::PostgreSQL || !reserved_in_postgresql(a)) return a;
    quoted.push_back(a);
    return quote_identifier(a);
  };
  out += " FROM ";
  out += table_;
  if (!alias_.empty()) {
    out += ' ';
    out += alias(alias_);
  }
  for (size_t i = 0; i < joins_.size(); ++i) {
    out += inner_[i] ? " INNER JOIN " : " LEFT JOIN ";
    out += joins_[i].table;
    if (!joins_[i].alias.empty()) {
      out += ' ';
      out += alias(joins_[i].alias);
    }
    out += " ON ";
    out += joins_[i].condition.empty() ? std::string("1=1") : joins_[i].condition;
  }
  append_where(out);
  for (size_t i = 0; i < order_.size(); ++i) {
    out += i ? "," : " ORDER BY ";
    out += order_[i];
  }
  if (limit_) out += " LIMIT :_limit";
  if (offset_) {
    // SQLite accepts OFFSET only after a LIMIT; -1 there means no limit.
    if (!limit_ && dialect == Dialect::SQLite) out += " LIMIT -1";
    out += " OFFSET :_offset";
  }
  for (std::string const& a : quoted) quote_qualifier(out, a);
}
