#include <cctype>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <typeinfo>

#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_document.h"
#include "backup/backup_set/common/backup_set_kinds.h"
#include "tests/records/document.h"

namespace fs = std::filesystem;

namespace {

fs::path const DIR = BSET_EXAMPLE_SETS_DIR;

// The file a kind's sample is kept in: named after its module, or after its
// class in lower case where the module is empty (shared by several kinds).
std::string file_name(Backup_Set_Kind const& kind) {
  std::string name = *kind.module() ? kind.module() : kind.class_name();
  for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return name + ".json";
}

std::map<std::string, Backup_Set_Kind const*> kinds_by_file() {
  std::map<std::string, Backup_Set_Kind const*> out;
  for (Backup_Set_Kind const* kind : Backup_Set_Kinds::all()) out[file_name(*kind)] = kind;
  return out;
}

std::string contents(fs::path const& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

// The text without the whitespace outside strings.
std::string minified(std::string const& text) {
  std::string out;
  bool in_string = false;
  for (size_t i = 0; i < text.size(); ++i) {
    char const c = text[i];
    if (in_string) {
      out += c;
      if (c == '\\' && i + 1 < text.size()) {
        out += text[++i];
      } else if (c == '"') {
        in_string = false;
      }
    } else if (c == '"') {
      in_string = true;
      out += c;
    } else if (c != ' ' && c != '\n' && c != '\r' && c != '\t') {
      out += c;
    }
  }
  return out;
}

}  // namespace

TEST(ExampleSets, MinifyingKeepsStringsAndDropsLayout) {
  EXPECT_EQ(R"({"a b":"c \" d","e":[1,2]})",
            minified("{\n  \"a b\": \"c \\\" d\",\n  \"e\": [\n    1,\n    2\n  ]\n}\n"));
}

TEST(ExampleSets, EveryKindHasAnExampleFile) {
  for (Backup_Set_Kind const* kind : Backup_Set_Kinds::all())
    EXPECT_TRUE(fs::is_regular_file(DIR / file_name(*kind))) << kind->class_name() << ": " << (DIR / file_name(*kind));
}

TEST(ExampleSets, EveryExampleFileIsNamedAfterAKind) {
  auto const kinds = kinds_by_file();
  size_t files = 0;
  for (auto const& entry : fs::directory_iterator(DIR)) {
    if (entry.path().extension() != ".json") continue;
    ++files;
    EXPECT_EQ(1u, kinds.count(entry.path().filename().string())) << entry.path();
  }
  EXPECT_EQ(Backup_Set_Kinds::all().size(), files);
}

TEST(ExampleSets, EveryExampleReadsAsItsKindAndWritesItsOwnText) {
  auto const kinds = kinds_by_file();
  for (auto const& entry : fs::directory_iterator(DIR)) {
    if (entry.path().extension() != ".json") continue;
    std::string const name = entry.path().filename().string();
    auto const kind = kinds.find(name);
    if (kind == kinds.end()) continue;  // reported by the test above
    SCOPED_TRACE(name);
    std::string const text = contents(entry.path());
    // Found from the document alone, but for the kinds without a module
    // name, which are told by their class.
    std::string const as = *kind->second->module() ? "" : kind->second->class_name();
    std::string error;
    std::unique_ptr<Backup_Set> set = Backup_Set_Document::read(text, as, error);
    ASSERT_NE(nullptr, set.get()) << error;
    std::unique_ptr<Backup_Set> expected = Backup_Set_Kinds::create(*kind->second);
    ASSERT_NE(nullptr, expected.get());
    EXPECT_EQ(type_of(expected), type_of(set));
    Generated again = generate_text(*set);
    EXPECT_TRUE(again.ok);
    EXPECT_EQ(minified(text), again.text);
    // Samples are of filled sets: two to five pieces, one or two copies.
    EXPECT_GE(set->pieces.size(), 2u);
    EXPECT_LE(set->pieces.size(), 5u);
    EXPECT_GE(set->storages.size(), 1u);
    EXPECT_LE(set->storages.size(), 2u);
  }
}

TEST(ExampleSets, EveryExampleIsFoundByItsModuleOrKeysAlone) {
  // What a tool reading a sample without being told its kind relies on.
  auto const kinds = kinds_by_file();
  for (auto const& entry : kinds) {
    fs::path const path = DIR / entry.first;
    if (!fs::is_regular_file(path)) continue;  // reported above
    std::string error;
    std::unique_ptr<Backup_Set> set = Backup_Set_Document::read(contents(path), "", error);
    ASSERT_NE(nullptr, set.get()) << entry.first << ": " << error;
    std::unique_ptr<Backup_Set> expected = Backup_Set_Kinds::create(*entry.second);
    EXPECT_EQ(type_of(expected), type_of(set)) << entry.first;
  }
}
