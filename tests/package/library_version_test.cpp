#include <dlfcn.h>
#include <stdlib.h>

#include <regex>
#include <string>

#include <gtest/gtest.h>

#include "backup/backup_set/common/library_version.h"

namespace {

// The file the dynamic loader took backupset_version() from.
std::string loaded_library() {
  Dl_info info{};
  if (!dladdr(reinterpret_cast<void*>(&backupset_version), &info) || !info.dli_fname) return "";
  return info.dli_fname;
}

std::string base_name(std::string const& path) {
  std::string::size_type slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

}  // namespace

TEST(LibraryVersion, IsTheProjectVersion) { EXPECT_STREQ(BSET_EXPECTED_VERSION, backupset_version()); }

TEST(LibraryVersion, IsMajorMinorPatch) {
  EXPECT_TRUE(std::regex_match(backupset_version(), std::regex("(0|[1-9][0-9]*)\\.(0|[1-9][0-9]*)\\.(0|[1-9][0-9]*)")))
      << backupset_version();
}

// Programs record the library's soname, libbackupset.so.MAJOR, and load it
// by that name; the file behind it carries the whole version.
TEST(LibraryVersion, LoadedUnderItsSoname) {
  std::string path = loaded_library();
  ASSERT_FALSE(path.empty());
  EXPECT_EQ(std::string("libbackupset.so.") + BSET_EXPECTED_SOVERSION, base_name(path));
  char* real = realpath(path.c_str(), nullptr);
  ASSERT_NE(nullptr, real) << path;
  std::string target = base_name(real);
  free(real);
  EXPECT_EQ(std::string("libbackupset.so.") + backupset_version(), target);
}
