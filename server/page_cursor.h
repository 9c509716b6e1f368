#ifndef SERVER_PAGE_CURSOR_H
#define SERVER_PAGE_CURSOR_H

#include <string>
#include <vector>

// The "next" token of a paged view: the sort key of the last row a page
// gave, so the following page starts right after it (keyset paging). The
// token is opaque to clients; it is hex text, safe in a URL, and holds any
// bytes. A token stays valid however the catalogue changes: rows added
// before the key are simply not seen, rows after it are.
class Page_Cursor {
 public:
  // `view` ties a token to the view that made it.
  static std::string encode(std::string const& view, std::vector<std::string> const& fields);
  // False when the token is not one `view` made with `count` fields.
  static bool decode(std::string const& token, std::string const& view, size_t count,
                     std::vector<std::string>& fields);
};

#endif
