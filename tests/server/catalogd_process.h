#ifndef TESTS_SERVER_CATALOGD_PROCESS_H
#define TESTS_SERVER_CATALOGD_PROCESS_H

#include <sys/types.h>

#include <string>
#include <utility>
#include <vector>

// catalogd run as a child process: started with the given arguments (plus
// --port 0 unless a port is given), its port read from the "listening on"
// line, its stderr kept in a file for the test to read.
class Catalogd_Process {
 public:
  Catalogd_Process() = default;
  // Another program that serves like catalogd (prints "listening on"), run
  // with `leading` arguments before the given ones: `bsetctl serve`.
  Catalogd_Process(std::string program, std::vector<std::string> leading)
      : program_(std::move(program)), leading_(std::move(leading)) {}
  ~Catalogd_Process();
  Catalogd_Process(Catalogd_Process const&) = delete;
  Catalogd_Process& operator=(Catalogd_Process const&) = delete;

  // Path of the catalogd program under test.
  static std::string program();

  // Starts it and waits (up to `wait_ms`) for it to listen. False when it
  // exits or stays silent; error() then says why.
  bool start(std::vector<std::string> const& args, int wait_ms = 20000);
  // SIGTERM and wait; the exit status (or -1).
  int stop();
  // SIGKILL and wait.
  void kill();
  bool running() const { return pid_ > 0; }

  pid_t pid() const { return pid_; }
  int port() const { return port_; }
  std::string url() const;  // http://127.0.0.1:PORT
  std::string stderr_text() const;
  std::string const& error() const { return error_; }
  // Peak resident set size in kB, read from /proc/<pid>/status (VmHWM).
  long peak_rss_kb() const;

 private:
  int wait_exit();

  std::string program_;
  std::vector<std::string> leading_;
  pid_t pid_ = -1;
  int port_ = -1;
  std::string stderr_path_;
  std::string error_;
};

#endif
