#ifndef TESTS_SUPPORT_PG_CLUSTER_H
#define TESTS_SUPPORT_PG_CLUSTER_H

#include <string>

// A private PostgreSQL cluster for one test or benchmark process: initdb into
// a fresh temporary directory (as the `postgres` user when running as root),
// started with pg_ctl on a free loopback port with its socket in that
// directory, trust authentication and fsync off; one database is created.
// stop() (and the destructor) stops the server and removes the directory.
//
// There is no silent skip: when the server cannot be started, start()
// answers false with the reason, and the tests that need it fail.
class PG_Cluster {
 public:
  PG_Cluster();
  ~PG_Cluster();
  PG_Cluster(PG_Cluster const&) = delete;
  PG_Cluster& operator=(PG_Cluster const&) = delete;

  bool start(std::string& error);
  void stop();
  // Restarts the running server on the same port and data directory
  // (pg_ctl restart, fast mode): every session is ended, the server shuts
  // down cleanly and comes back; returns once it accepts connections.
  bool restart(std::string& error);
  bool running() const { return running_; }

  int port() const { return port_; }
  std::string const& database() const { return database_; }
  std::string const& directory() const { return dir_; }
  // libpq conninfo for the database over TCP on 127.0.0.1.
  std::string conninfo() const;
  // The same over the unix socket in the cluster's directory.
  std::string socket_conninfo() const;
  // conninfo for another database of the cluster.
  std::string conninfo_for(std::string const& database) const;

  // The process's shared cluster, started on first use and stopped when the
  // process exits; null (and `error` set) when it cannot be started.
  static PG_Cluster* shared(std::string* error = nullptr);

  // Directory of initdb / pg_ctl / postgres ("" when none is installed).
  static std::string find_bin_dir();

 private:
  bool run(std::string const& program, std::initializer_list<std::string> args, std::string& error);
  static void reap_stale();

  std::string bin_;
  std::string dir_;
  std::string data_;
  std::string database_;
  int port_;
  bool running_;
  bool as_postgres_;
};

#endif
