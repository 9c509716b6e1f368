#include "platform/sql/string_template.h"

String_Template::String_Template(std::string const& text, std::string const& open, std::string const& close,
                                 unsigned flags)
    : text_(text), open_(open), close_(close), flags_(flags) {}

String_Template& String_Template::operator()(std::string const& name, char const* value) {
  vars_[name] = value ? value : "";
  return *this;
}

String_Template& String_Template::operator()(std::string const& name, std::string const& value) {
  vars_[name] = value;
  return *this;
}

String_Template& String_Template::operator()(std::string const& text) {
  text_ = text;
  return *this;
}

bool String_Template::str(std::string& out) const {
  out.clear();
  // Empty delimiters would match everywhere: the text is then taken as is.
  if (open_.empty() || close_.empty()) {
    out = text_;
    return true;
  }
  bool complete = true;
  size_t pos = 0;
  while (pos < text_.size()) {
    size_t start = text_.find(open_, pos);
    if (start == std::string::npos) break;
    size_t name_start = start + open_.size();
    size_t end = text_.find(close_, name_start);
    if (end == std::string::npos) {
      complete = false;
      break;
    }
    out.append(text_, pos, start - pos);
    auto it = vars_.find(text_.substr(name_start, end - name_start));
    if (it != vars_.end()) {
      out += it->second;
    } else {
      complete = false;
      if (!(flags_ & ST_DROP_UNBOUND)) out.append(text_, start, end + close_.size() - start);
    }
    pos = end + close_.size();
  }
  if (pos < text_.size()) out.append(text_, pos, std::string::npos);
  return complete;
}

std::string String_Template::str() const {
  std::string out;
  str(out);
  return out;
}
