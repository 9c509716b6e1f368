#include <gtest/gtest.h>

#include <sstream>
#include <vector>

#include "server/server_options.h"

namespace {

struct Parsed {
  int status;
  Server_Options options;
  std::string out;
  std::string err;
};

Parsed parse(std::vector<char const*> args) {
  args.insert(args.begin(), "catalogd");
  Parsed p;
  std::ostringstream out, err;
  p.status = Server_Options::parse(static_cast<int>(args.size()), args.data(), p.options, out, err);
  p.out = out.str();
  p.err = err.str();
  return p;
}

}  // namespace

TEST(ServerOptions, DefaultsListenOnLoopbackWithAnSqliteFile) {
  Parsed p = parse({});
  EXPECT_EQ(-1, p.status);
  EXPECT_EQ("127.0.0.1", p.options.listen);
  EXPECT_EQ("catalog.db", p.options.db);
  EXPECT_FALSE(p.options.postgres());
  EXPECT_FALSE(p.options.queue_commits);
  EXPECT_EQ(300, p.options.queue_delay_ms);
}

TEST(ServerOptions, TakesEveryOption) {
  Parsed p = parse({"--port", "0", "--db", "postgresql://u@127.0.0.1:5/c", "--token", "t0k", "--threads", "3",
                    "--queue-commits", "--queue-delay-ms", "50", "--listen", "127.0.0.2"});
  ASSERT_EQ(-1, p.status) << p.err;
  EXPECT_EQ(0, p.options.port);
  EXPECT_TRUE(p.options.postgres());
  EXPECT_EQ("t0k", p.options.token);
  EXPECT_EQ(3, p.options.threads);
  EXPECT_TRUE(p.options.queue_commits);
  EXPECT_EQ(50, p.options.queue_delay_ms);
  EXPECT_EQ("127.0.0.2", p.options.listen);
}

TEST(ServerOptions, HelpListsTheOptionsAndExitsZero) {
  Parsed p = parse({"--help"});
  EXPECT_EQ(0, p.status);
  for (char const* o : {"--listen", "--port", "--db", "--token", "--tls-cert", "--tls-key", "--queue-commits",
                        "--queue-delay-ms", "--threads"})
    EXPECT_NE(std::string::npos, p.out.find(o)) << o;
}

TEST(ServerOptions, BadOptionsExitNonZeroWithAMessage) {
  Parsed p = parse({"--port", "70000"});
  EXPECT_GT(p.status, 0);
  EXPECT_NE(std::string::npos, p.err.find("--port")) << p.err;

  p = parse({"--port", "eighty"});
  EXPECT_GT(p.status, 0);
  EXPECT_NE(std::string::npos, p.err.find("--port")) << p.err;

  p = parse({"--no-such-option"});
  EXPECT_GT(p.status, 0);
  EXPECT_NE(std::string::npos, p.err.find("--no-such-option")) << p.err;

  p = parse({"--db", ""});
  EXPECT_GT(p.status, 0);
  EXPECT_NE(std::string::npos, p.err.find("--db")) << p.err;
}

TEST(ServerOptions, TlsNeedsBothAnExistingCertificateAndKey) {
  Parsed p = parse({"--tls-cert", "/nonexistent/cert.pem", "--tls-key", "/nonexistent/key.pem"});
  EXPECT_GT(p.status, 0);
  EXPECT_NE(std::string::npos, p.err.find("--tls-cert")) << p.err;

  p = parse({"--tls-cert", "/etc/hostname"});
  EXPECT_GT(p.status, 0);
  EXPECT_NE(std::string::npos, p.err.find("--tls-key")) << p.err;
}

TEST(ServerOptions, ListenTakesHostAndPortTogether) {
  Parsed p = parse({"--listen", "127.0.0.3:9123"});
  ASSERT_EQ(-1, p.status) << p.err;
  EXPECT_EQ("127.0.0.3", p.options.listen);
  EXPECT_EQ(9123, p.options.port);

  p = parse({"--listen", "[::1]:0"});
  ASSERT_EQ(-1, p.status) << p.err;
  EXPECT_EQ("::1", p.options.listen);
  EXPECT_EQ(0, p.options.port);
}

TEST(ServerOptions, ListenWithoutAPortKeepsThePortOption) {
  Parsed p = parse({"--listen", "::1", "--port", "7001"});
  ASSERT_EQ(-1, p.status) << p.err;
  EXPECT_EQ("::1", p.options.listen);
  EXPECT_EQ(7001, p.options.port);

  p = parse({"--listen", "[::1]"});
  ASSERT_EQ(-1, p.status) << p.err;
  EXPECT_EQ("::1", p.options.listen);
  EXPECT_EQ(8420, p.options.port);
}

TEST(ServerOptions, ListenWithABadPortOrNoHostIsRefusedByName) {
  for (char const* bad : {"127.0.0.1:http", "127.0.0.1:70000", "127.0.0.1:", ":8080", "[::1", "[::1]8080"}) {
    Parsed p = parse({"--listen", bad});
    EXPECT_EQ(2, p.status) << bad;
    EXPECT_NE(std::string::npos, p.err.find("--listen")) << bad << ": " << p.err;
  }
}
