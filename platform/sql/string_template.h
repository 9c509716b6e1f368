#ifndef PLATFORM_SQL_STRING_TEMPLATE_H
#define PLATFORM_SQL_STRING_TEMPLATE_H

#include <map>
#include <string>

#include "platform/export.h"

// Text with named placeholders such as "{{b}}.uuid": variables are bound by
// name and the text is expanded on demand, so one template can be re-aimed at
// many texts (set the text, expand, repeat).
class BSET_API String_Template {
 public:
  enum Flags {
    // A placeholder with no bound variable expands to nothing; without this
    // flag it stays in the result as written, which makes the gap visible.
    ST_DROP_UNBOUND = 1,
  };

  String_Template(std::string const& text, std::string const& open, std::string const& close, unsigned flags);

  // Binds a variable; a null value binds the empty string.
  String_Template& operator()(std::string const& name, char const* value);
  String_Template& operator()(std::string const& name, std::string const& value);
  // Replaces the text; bound variables are kept.
  String_Template& operator()(std::string const& text);

  // Expands the text into `out` (replacing its content). False when a
  // placeholder had no bound variable or was not closed.
  bool str(std::string& out) const;
  std::string str() const;

  std::string const& text() const { return text_; }

 private:
  std::string text_;
  std::string open_;
  std::string close_;
  unsigned flags_;
  std::map<std::string, std::string> vars_;
};

#endif
