#ifndef TESTS_SERVER_TEMP_DIR_H
#define TESTS_SERVER_TEMP_DIR_H

#include <string>

// A fresh directory under /tmp, removed with its content at the end.
class Temp_Dir {
 public:
  Temp_Dir();
  ~Temp_Dir();
  Temp_Dir(Temp_Dir const&) = delete;
  Temp_Dir& operator=(Temp_Dir const&) = delete;

  std::string const& path() const { return path_; }

 private:
  std::string path_;
};

#endif
