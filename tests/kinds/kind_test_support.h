#ifndef TESTS_KINDS_KIND_TEST_SUPPORT_H
#define TESTS_KINDS_KIND_TEST_SUPPORT_H

#include <string>
#include <utility>
#include <vector>

#include "backup/backup_set/common/backup_set.h"
#include "platform/sql/select_sql.h"
#include "tests/records/document.h"

// The document text a default Backup_Set writes before a kind's own keys,
// with its closing brace removed, so a kind's document can be compared whole:
//   EXPECT_EQ(base_prefix("dmdb") + R"("seq":0,...})", document_of(set));
inline std::string base_prefix(char const* module) {
  Backup_Set base(module);
  std::string text = document_of(base);
  text.pop_back();  // the closing brace
  return text + ",";
}

// The keys of a statement's columns after the base's, with their expressions.
inline std::vector<std::pair<std::string, std::string>> own_columns(Select_SQL const& sql) {
  Select_SQL base("backup_set", "b");
  Backup_Set::init_select_sql(base, "b");
  std::vector<std::pair<std::string, std::string>> out;
  auto const& all = sql.columns();
  for (size_t i = base.columns().size(); i < all.size(); ++i) out.push_back(all[i]);
  return out;
}

#endif
