#include "tests/server/catalogd_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

Catalogd_Process::~Catalogd_Process() {
  if (pid_ > 0) kill();
  if (!stderr_path_.empty()) unlink(stderr_path_.c_str());
}

std::string Catalogd_Process::program() { return CATALOGD_PROGRAM; }

bool Catalogd_Process::start(std::vector<std::string> const& args, int wait_ms) {
  if (stderr_path_.empty()) {
    char path[] = "/tmp/catalogd-stderr-XXXXXX";
    int fd = mkstemp(path);
    if (fd < 0) {
      error_ = "mkstemp failed";
      return false;
    }
    close(fd);
    stderr_path_ = path;
  }
  std::vector<std::string> argv_text{program_.empty() ? program() : program_};
  argv_text.insert(argv_text.end(), leading_.begin(), leading_.end());
  bool has_port = false;
  for (auto const& a : args) has_port = has_port || a == "--port";
  argv_text.insert(argv_text.end(), args.begin(), args.end());
  if (!has_port) {
    argv_text.push_back("--port");
    argv_text.push_back("0");
  }
  std::vector<char*> argv;
  for (auto& a : argv_text) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);

  int out[2];
  if (pipe(out) != 0) {
    error_ = "pipe failed";
    return false;
  }
  pid_t pid = fork();
  if (pid < 0) {
    error_ = "fork failed";
    return false;
  }
  if (pid == 0) {
    dup2(out[1], 1);
    int err = open(stderr_path_.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    if (err >= 0) dup2(err, 2);
    close(out[0]);
    close(out[1]);
    execv(argv[0], argv.data());
    _exit(127);
  }
  close(out[1]);
  pid_ = pid;

  // Read stdout until the "listening on" line.
  std::string text;
  auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(wait_ms);
  bool found = false;
  while (!found) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) break;
    pollfd p{out[0], POLLIN, 0};
    if (poll(&p, 1, static_cast<int>(left.count())) <= 0) break;
    char buf[256];
    ssize_t n = read(out[0], buf, sizeof buf);
    if (n <= 0) break;
    text.append(buf, static_cast<size_t>(n));
    auto at = text.find("listening on ");
    if (at != std::string::npos && text.find('\n', at) != std::string::npos) {
      auto colon = text.rfind(':', text.find('\n', at));
      port_ = atoi(text.c_str() + colon + 1);
      found = port_ > 0;
    }
  }
  close(out[0]);
  if (!found) {
    error_ = "catalogd did not report listening; stdout: " + text + " stderr: " + stderr_text();
    kill();
    return false;
  }
  return true;
}

int Catalogd_Process::wait_exit() {
  int status = 0;
  if (waitpid(pid_, &status, 0) != pid_) status = -1;
  pid_ = -1;
  if (status >= 0 && WIFEXITED(status)) return WEXITSTATUS(status);
  return -1;
}

int Catalogd_Process::stop() {
  if (pid_ <= 0) return -1;
  ::kill(pid_, SIGTERM);
  return wait_exit();
}

void Catalogd_Process::kill() {
  if (pid_ <= 0) return;
  ::kill(pid_, SIGKILL);
  wait_exit();
}

std::string Catalogd_Process::url() const { return "http://127.0.0.1:" + std::to_string(port_); }

std::string Catalogd_Process::stderr_text() const {
  std::ifstream in(stderr_path_);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

long Catalogd_Process::peak_rss_kb() const {
  if (pid_ <= 0) return -1;
  std::ifstream in("/proc/" + std::to_string(pid_) + "/status");
  std::string line;
  while (std::getline(in, line))
    if (line.rfind("VmHWM:", 0) == 0) return atol(line.c_str() + 6);
  return -1;
}
