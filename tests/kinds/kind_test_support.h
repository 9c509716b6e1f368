#ifndef TESTS_KINDS_KIND_TEST_SUPPORT_H
#define TESTS_KINDS_KIND_TEST_SUPPORT_H

#include <algorithm>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <ace/Log_Msg.h>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kinds.h"
#include "platform/database/query_result_token_printer.h"
#include "platform/sql/select_sql.h"
#include "tests/records/document.h"
#include "tests/support/log_capture.h"

// A statement's columns as (expression, key) pairs.
typedef std::vector<std::pair<std::string, std::string>> Columns;

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
inline Columns own_columns(Select_SQL const& sql) {
  Select_SQL base("backup_set", "b");
  Backup_Set::init_select_sql(base, "b");
  Columns out;
  auto const& all = sql.columns();
  for (size_t i = base.columns().size(); i < all.size(); ++i) out.push_back(all[i]);
  return out;
}

// One text column of a row, handed to a set (or any printer) at index 0.
template <typename Printer>
bool cstr(Printer& printer, char const* key, std::string const& text) {
  return printer.print_cstr(0, key, text.data(), text.size());
}

// The document's text behind the base keys of a default set of `module`.
template <typename Set>
std::string own_keys(Set& set, char const* module) {
  std::string const doc = document_of(set);
  std::string const prefix = base_prefix(module);
  EXPECT_EQ(0u, doc.find(prefix)) << doc;
  return doc.substr(std::min(prefix.size(), doc.size()));
}

// Every captured record must be the refusal of a null or empty key, logged at
// LM_EMERGENCY; from `source_file` (a name such as "db2_backup_set.cpp")
// unless that is null.
inline void expect_key_refusals(Log_Capture const& capture, size_t count, char const* source_file) {
  auto const records = capture.records();
  ASSERT_EQ(count, records.size()) << capture.dump();
  for (auto const& record : records) {
    EXPECT_EQ(static_cast<unsigned long>(LM_EMERGENCY), record.priority);
    EXPECT_EQ(0u, record.text.find("Unexpected error in ")) << record.text;
    if (source_file) {
      EXPECT_NE(std::string::npos, record.text.find(std::string(source_file) + ":")) << record.text;
    }
    EXPECT_NE(std::string::npos, record.text.find("key is NULL or \"\"")) << record.text;
  }
}

// How often `needle` stands in `text`, overlapping matches included.
inline size_t occurrences(std::string const& text, std::string const& needle) {
  size_t n = 0;
  for (size_t at = text.find(needle); at != std::string::npos; at = text.find(needle, at + 1)) ++n;
  return n;
}


// A fresh set of kind Set generates successfully, and its document is the
// base's keys for `module` followed by `own_text` (the kind's keys and the
// closing brace).
template <typename Set>
void expect_default_document(char const* module, char const* own_text) {
  Set set;
  Generated doc = generate_text(set);
  EXPECT_TRUE(doc.ok);
  EXPECT_EQ(base_prefix(module) + own_text, doc.text);
}

// A fresh set of kind Set, its kind and its document's first key all name
// `module`.
template <typename Set>
void expect_catalogue_module(char const* module) {
  Set set;
  EXPECT_STREQ(module, set.catalog_module);
  EXPECT_STREQ(module, Set::kind().module());
  EXPECT_EQ(0u, document_of(set).find(std::string(R"({"catalog_module":")") + module + "\","));
}

// The registry lists the kind of Set.
template <typename Set>
void expect_listed_in_registry() {
  auto const& all = Backup_Set_Kinds::all();
  EXPECT_NE(all.end(), std::find(all.begin(), all.end(), &Set::kind()));
}

// Set's statement on backup_set b: the base's columns first, then `own`, and
// one outer join of `table` as `alias` on the set's uuid.
template <typename Set>
void expect_statement_joins_its_table(Columns const& own, char const* table, char const* alias) {
  Select_SQL sql("backup_set", "b");
  Set::init_select_sql(sql, "b");
  Select_SQL base("backup_set", "b");
  Backup_Set::init_select_sql(base, "b");
  ASSERT_GT(sql.columns().size(), base.columns().size());
  EXPECT_TRUE(std::equal(base.columns().begin(), base.columns().end(), sql.columns().begin()));
  EXPECT_EQ("backup_set", sql.from_table());
  EXPECT_EQ("b", sql.from_alias());
  EXPECT_EQ(own, own_columns(sql));
  ASSERT_EQ(1u, sql.joins().size());
  EXPECT_EQ(table, sql.joins()[0].table);
  EXPECT_EQ(alias, sql.joins()[0].alias);
  EXPECT_EQ(std::string("uuid=") + alias + ".set_uuid", sql.joins()[0].condition);
  EXPECT_FALSE(sql.inner(0));
}

// Set's statement with the caller's alias "bs" on table x as y: the base's
// columns (given "bs") first, then `own_count` more starting with `first`,
// and the join still on `alias`.
template <typename Set>
void expect_statement_keeps_its_alias(size_t own_count, Select_SQL::Column const& first, char const* alias) {
  Select_SQL sql("x", "y");
  Set::init_select_sql(sql, "bs");
  Select_SQL base("x", "y");
  Backup_Set::init_select_sql(base, "bs");
  ASSERT_EQ(base.columns().size() + own_count, sql.columns().size());
  EXPECT_TRUE(std::equal(base.columns().begin(), base.columns().end(), sql.columns().begin()));
  EXPECT_EQ(first, sql.columns()[base.columns().size()]);
  ASSERT_EQ(1u, sql.joins().size());
  EXPECT_EQ(std::string("uuid=") + alias + ".set_uuid", sql.joins()[0].condition);
}

// A fresh set of kind Set names `module` (see expect_catalogue_module), and
// its kind names `class_name` and, unless that is null, `table`.
template <typename Set>
void expect_kind_names(char const* module, char const* class_name, char const* table) {
  expect_catalogue_module<Set>(module);
  EXPECT_STREQ(class_name, Set::kind().class_name());
  if (table) {
    EXPECT_STREQ(table, Set::kind().table());
  }
}

// The registry lists the kind of Set and finds it by `module`.
template <typename Set>
void expect_registered_as(char const* module) {
  expect_listed_in_registry<Set>();
  EXPECT_EQ(&Set::kind(), Backup_Set_Kinds::find(module));
}

// For each alias, Set's statement prepared on `given_table` as `given_alias`
// reads `table` alone under that alias, with the columns
// `columns_of(alias)` and no join.
template <typename Set, typename Columns_Of>
void expect_own_table_statement(char const* table, Columns_Of columns_of, std::initializer_list<char const*> aliases,
                                char const* given_table = "x", char const* given_alias = "y") {
  for (char const* alias : aliases) {
    Select_SQL sql(given_table, given_alias);
    Set::init_select_sql(sql, alias);
    EXPECT_EQ(table, sql.from_table()) << alias;
    EXPECT_EQ(alias, sql.from_alias()) << alias;
    EXPECT_TRUE(sql.joins().empty()) << alias;
    EXPECT_EQ(columns_of(alias), sql.columns()) << alias;
  }
}

// Set's statement on backup_set b has `expected_count` columns, and none of
// them is a column of the base's statement, by key or by expression.
template <typename Set>
void expect_no_base_column(size_t expected_count) {
  Select_SQL sql("backup_set", "b");
  Set::init_select_sql(sql, "b");
  Select_SQL base("backup_set", "b");
  Backup_Set::init_select_sql(base, "b");
  ASSERT_FALSE(base.columns().empty());
  EXPECT_EQ(expected_count, sql.columns().size());
  for (auto const& column : base.columns())
    EXPECT_EQ(sql.columns().end(), std::find(sql.columns().begin(), sql.columns().end(), column)) << column.first;
  for (auto const& column : sql.columns())
    for (auto const& base_column : base.columns()) {
      EXPECT_NE(base_column.second, column.second);
      EXPECT_NE(base_column.first, column.first);
    }
}

// A fresh Set answers an unsigned and a bool column as a fresh printer does,
// and neither changes its size or its document.
template <typename Set>
void expect_unsigned_and_bool_end_at_printer_default() {
  Set set;
  std::string const before = document_of(set);
  database::sql::Query_Result_Token_Printer fresh;
  EXPECT_EQ(fresh.print_uint(0, "size", 5), set.print_uint(0, "size", 5));
  EXPECT_EQ(fresh.print_bool(0, "flag", true), set.print_bool(0, "flag", true));
  EXPECT_EQ(0, set.size);
  EXPECT_EQ(before, document_of(set));
}

// A fresh Set refuses a null and an empty key of a text, an integer and a
// JSON column (`json` the value offered), each refusal logged from
// `source_file` (see expect_key_refusals), and its document stays as it was.
template <typename Set>
void expect_null_or_empty_key_refused_by_base(json_spirit::Value const& json, char const* source_file) {
  Log_Capture capture;
  Set set;
  std::string const before = document_of(set);
  EXPECT_FALSE(set.print_cstr(0, nullptr, "x", 1));
  EXPECT_FALSE(set.print_cstr(0, "", "x", 1));
  EXPECT_FALSE(set.print_int(0, nullptr, 1));
  EXPECT_FALSE(set.print_int(0, "", 1));
  EXPECT_FALSE(set.print_json(0, nullptr, json));
  EXPECT_FALSE(set.print_json(0, "", json));
  expect_key_refusals(capture, 6, source_file);
  EXPECT_EQ(before, document_of(set));
}

#endif
