#include "tests/support/pg_cluster.h"

#include <arpa/inet.h>
#include <dirent.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <pwd.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <sstream>
#include <vector>

#include "platform/database/pg_connection.h"

namespace {

std::string const kPrefix = "bset-pg-";

int free_loopback_port() {
  int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  if (fd < 0) return -1;
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  addr.sin_port = 0;
  int port = -1;
  socklen_t len = sizeof addr;
  if (::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0 &&
      ::getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len) == 0)
    port = ntohs(addr.sin_port);
  ::close(fd);
  return port;
}

std::string tail_of(std::string const& path, size_t bytes) {
  std::ifstream in(path);
  std::stringstream s;
  s << in.rdbuf();
  std::string text = s.str();
  return text.size() > bytes ? text.substr(text.size() - bytes) : text;
}

bool executable(std::string const& path) { return ::access(path.c_str(), X_OK) == 0; }

}  // namespace

PG_Cluster::PG_Cluster() : port_(0), running_(false), as_postgres_(false) {}

PG_Cluster::~PG_Cluster() { stop(); }

std::string PG_Cluster::find_bin_dir() {
  char const* given = std::getenv("BSET_PG_BIN");
  if (given && executable(std::string(given) + "/pg_ctl")) return given;
  std::string best;
  int best_version = -1;
  DIR* d = ::opendir("/usr/lib/postgresql");
  if (!d) return best;
  while (dirent* e = ::readdir(d)) {
    std::string name = e->d_name;
    if (name.empty() || name[0] == '.') continue;
    std::string bin = "/usr/lib/postgresql/" + name + "/bin";
    if (!executable(bin + "/initdb") || !executable(bin + "/pg_ctl")) continue;
    int version = std::atoi(name.c_str());
    if (version > best_version) {
      best_version = version;
      best = bin;
    }
  }
  ::closedir(d);
  return best;
}

// Runs a server program, as `postgres` when we are root (the server refuses
// to run as root), with its output appended to the cluster's log.
bool PG_Cluster::run(std::string const& program, std::initializer_list<std::string> args, std::string& error) {
  std::vector<std::string> argv;
  if (as_postgres_) {
    argv = {"/usr/sbin/runuser", "-u", "postgres", "--"};
    if (!executable(argv[0])) argv[0] = "/sbin/runuser";
  }
  argv.push_back(bin_ + "/" + program);
  argv.insert(argv.end(), args.begin(), args.end());
  std::string log = dir_ + "/commands.log";

  pid_t pid = ::fork();
  if (pid < 0) {
    error = "fork failed: " + std::string(std::strerror(errno));
    return false;
  }
  if (pid == 0) {
    int fd = ::open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0666);
    if (fd >= 0) {
      ::dup2(fd, 1);
      ::dup2(fd, 2);
      ::close(fd);
    }
    int null = ::open("/dev/null", O_RDONLY);
    if (null >= 0) ::dup2(null, 0);
    std::vector<char*> raw;
    for (auto& a : argv) raw.push_back(const_cast<char*>(a.c_str()));
    raw.push_back(nullptr);
    ::execv(raw[0], raw.data());
    ::_exit(127);
  }
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return true;
  error = program + " failed (status " + std::to_string(WIFEXITED(status) ? WEXITSTATUS(status) : -1) + "):\n" +
          tail_of(log, 2000);
  return false;
}

// Clusters left behind by test processes that died without stopping them.
void PG_Cluster::reap_stale() {
  std::string bin = find_bin_dir();
  DIR* d = ::opendir("/tmp");
  if (!d) return;
  std::vector<std::string> stale;
  while (dirent* e = ::readdir(d)) {
    std::string name = e->d_name;
    if (name.compare(0, kPrefix.size(), kPrefix) != 0) continue;
    pid_t owner = static_cast<pid_t>(std::atol(name.c_str() + kPrefix.size()));
    if (owner <= 0 || owner == ::getpid()) continue;
    if (::kill(owner, 0) == 0 || errno != ESRCH) continue;
    stale.push_back("/tmp/" + name);
  }
  ::closedir(d);
  for (auto const& dir : stale) {
    PG_Cluster old;
    old.bin_ = bin;
    old.dir_ = dir;
    old.data_ = dir + "/data";
    old.as_postgres_ = ::geteuid() == 0;
    old.running_ = std::filesystem::exists(old.data_ + "/postmaster.pid");
    old.stop();
  }
}

bool PG_Cluster::start(std::string& error) {
  if (running_) return true;
  reap_stale();
  bin_ = find_bin_dir();
  if (bin_.empty()) {
    error = "no PostgreSQL server binaries (initdb, pg_ctl) under /usr/lib/postgresql/*/bin";
    return false;
  }
  as_postgres_ = ::geteuid() == 0;
  uid_t uid = ::geteuid();
  gid_t gid = ::getegid();
  if (as_postgres_) {
    passwd* pw = ::getpwnam("postgres");
    if (!pw) {
      error = "running as root, but there is no 'postgres' user to run the server as";
      return false;
    }
    uid = pw->pw_uid;
    gid = pw->pw_gid;
  }

  std::string pattern = "/tmp/" + kPrefix + std::to_string(::getpid()) + "-XXXXXX";
  std::vector<char> buffer(pattern.begin(), pattern.end());
  buffer.push_back(0);
  if (!::mkdtemp(buffer.data())) {
    error = "cannot make a temporary directory: " + std::string(std::strerror(errno));
    return false;
  }
  dir_ = buffer.data();
  data_ = dir_ + "/data";
  if (as_postgres_ && ::chown(dir_.c_str(), uid, gid) != 0) {
    error = "cannot give " + dir_ + " to postgres: " + std::strerror(errno);
    std::filesystem::remove_all(dir_);
    return false;
  }
  // The log file must be writable by the server user too.
  std::string log = dir_ + "/commands.log";
  int fd = ::open(log.c_str(), O_WRONLY | O_CREAT, 0666);
  if (fd >= 0) {
    if (::fchown(fd, uid, gid) != 0) {
    }
    ::close(fd);
  }

  if (!run("initdb", {"-D", data_, "-A", "trust", "-U", "postgres", "-E", "UTF8", "--locale=C", "--no-sync"}, error)) {
    std::filesystem::remove_all(dir_);
    return false;
  }

  // Another process may take the port between our probe and the server's
  // bind: then try another.
  for (int attempt = 0; attempt < 5; ++attempt) {
    port_ = free_loopback_port();
    if (port_ <= 0) {
      error = "cannot find a free loopback port";
      break;
    }
    std::string options = "-p " + std::to_string(port_) +
                          " -c listen_addresses=127.0.0.1 -k " + dir_ +
                          " -c fsync=off -c synchronous_commit=off -c full_page_writes=off"
                          " -c max_connections=30 -c shared_buffers=16MB -c max_wal_size=256MB";
    if (run("pg_ctl", {"start", "-w", "-t", "60", "-D", data_, "-l", dir_ + "/server.log", "-o", options}, error)) {
      running_ = true;
      break;
    }
    error += "\nserver log:\n" + tail_of(dir_ + "/server.log", 2000);
    std::string ignored;
    run("pg_ctl", {"stop", "-m", "immediate", "-D", data_}, ignored);
  }
  if (!running_) {
    std::filesystem::remove_all(dir_);
    return false;
  }

  database_ = "bset_test";
  database::sql::PG_Connection admin(conninfo_for("postgres"));
  if (!admin.is_open() || !admin.execute_script("CREATE DATABASE " + database_)) {
    error = "cannot create the test database: " + admin.last_error();
    stop();
    return false;
  }
  return true;
}

void PG_Cluster::stop() {
  if (dir_.empty()) return;
  if (running_) {
    std::string ignored;
    run("pg_ctl", {"stop", "-m", "immediate", "-w", "-D", data_}, ignored);
    running_ = false;
  }
  std::error_code ec;
  std::filesystem::remove_all(dir_, ec);
  dir_.clear();
}

bool PG_Cluster::restart(std::string& error) {
  if (!running_) {
    error = "the cluster is not running";
    return false;
  }
  // pg_ctl takes the server's options from postmaster.opts, so the port and
  // settings stay as started.
  if (run("pg_ctl", {"restart", "-m", "fast", "-w", "-t", "60", "-D", data_, "-l", dir_ + "/server.log"}, error))
    return true;
  error += "\nserver log:\n" + tail_of(dir_ + "/server.log", 2000);
  return false;
}

std::string PG_Cluster::conninfo() const { return conninfo_for(database_); }

std::string PG_Cluster::conninfo_for(std::string const& database) const {
  return "host=127.0.0.1 port=" + std::to_string(port_) + " user=postgres dbname=" + database + " connect_timeout=10";
}

std::string PG_Cluster::socket_conninfo() const {
  return "host=" + dir_ + " port=" + std::to_string(port_) + " user=postgres dbname=" + database_;
}

namespace {
PG_Cluster* g_shared = nullptr;
std::string g_shared_error;
std::once_flag g_shared_once;

void stop_shared() {
  delete g_shared;
  g_shared = nullptr;
}
}  // namespace

PG_Cluster* PG_Cluster::shared(std::string* error) {
  std::call_once(g_shared_once, [] {
    PG_Cluster* cluster = new PG_Cluster;
    if (cluster->start(g_shared_error)) {
      g_shared = cluster;
      std::atexit(stop_shared);
    } else {
      delete cluster;
    }
  });
  if (!g_shared && error) *error = g_shared_error;
  return g_shared;
}
