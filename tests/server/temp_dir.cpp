#include "tests/server/temp_dir.h"

#include <stdlib.h>

#include <filesystem>

Temp_Dir::Temp_Dir() {
  char templ[] = "/tmp/catalogd-test-XXXXXX";
  char* made = mkdtemp(templ);
  path_ = made ? made : "";
}

Temp_Dir::~Temp_Dir() {
  if (path_.empty()) return;
  std::error_code ec;
  std::filesystem::remove_all(path_, ec);
}
