#include "platform/sql/filter_sql.h"

#include "platform/sql/sql.h"
#include "platform/sql/uuid_binary.h"

Filter_SQL::Filter_SQL(SQL& owner, bool any, int number) : owner_(owner), any_(any), number_(number), parameters_(0) {}

std::string Filter_SQL::next_parameter() {
  return ":_f" + std::to_string(number_) + "_" + std::to_string(parameters_++);
}

Filter_SQL& Filter_SQL::add_item(std::string const& condition) {
  if (!condition.empty()) items_.push_back(condition);
  return *this;
}

Filter_SQL& Filter_SQL::add_in_item(std::string const& column, std::vector<Binding_Value> const& values) {
  if (values.empty()) {
    items_.push_back("0=1");
    return *this;
  }
  std::string item = column + " IN (";
  for (size_t i = 0; i < values.size(); ++i) {
    std::string name = next_parameter();
    if (i) item += ',';
    item += name;
    owner_.bind(name, values[i]);
  }
  item += ')';
  items_.push_back(std::move(item));
  return *this;
}

Filter_SQL& Filter_SQL::add_in_uuid_item(std::string const& column, std::vector<json_spirit::Value> const& uuids) {
  std::vector<Binding_Value> values;
  values.reserve(uuids.size());
  unsigned char bytes[16];
  for (auto const& v : uuids) {
    if (v.type() != json_spirit::str_type) continue;
    std::string const& text = v.get_str();
    if (!UUID_Binary::parse(text.data(), text.size(), bytes)) continue;
    values.emplace_back(bytes, sizeof bytes);
  }
  return add_in_item(column, values);
}

void Filter_SQL::append(std::string& out) const {
  if (items_.empty()) return;
  out += '(';
  for (size_t i = 0; i < items_.size(); ++i) {
    if (i) out += any_ ? " OR " : " AND ";
    out += items_[i];
  }
  out += ')';
}
