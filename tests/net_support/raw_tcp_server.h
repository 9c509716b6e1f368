#ifndef TESTS_NET_SUPPORT_RAW_TCP_SERVER_H
#define TESTS_NET_SUPPORT_RAW_TCP_SERVER_H

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

// A listener on 127.0.0.1 that hands each accepted connection to a function,
// for the misbehaving servers an HTTP library will not play: one that hangs
// up mid-request, one that stops half-way through its answer, one that never
// answers.
class Raw_TCP_Server {
 public:
  typedef std::function<void(int fd, Raw_TCP_Server& server)> Behaviour;

  explicit Raw_TCP_Server(Behaviour behaviour) : behaviour_(std::move(behaviour)) {
    listen_fd_ = ::socket(AF_INET, SOCK_STREAM, 0);
    int one = 1;
    ::setsockopt(listen_fd_, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    addr.sin_port = 0;
    if (::bind(listen_fd_, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0 || ::listen(listen_fd_, 16) != 0)
      return;
    socklen_t len = sizeof addr;
    ::getsockname(listen_fd_, reinterpret_cast<sockaddr*>(&addr), &len);
    port_ = ntohs(addr.sin_port);
    acceptor_ = std::thread([this] { accept_loop(); });
  }
  ~Raw_TCP_Server() {
    stopping_ = true;
    ::shutdown(listen_fd_, SHUT_RDWR);
    if (acceptor_.joinable()) acceptor_.join();
    for (auto& t : workers_) t.join();
    ::close(listen_fd_);
  }

  int port() const { return port_; }
  std::string url(std::string const& path = "/") const {
    return "http://127.0.0.1:" + std::to_string(port_) + path;
  }
  bool stopping() const { return stopping_; }
  int connections() const { return connections_; }

  // Reads one request head and its Content-Length body; returns it whole.
  static std::string read_request(int fd) {
    std::string data;
    char buf[4096];
    size_t head_end = std::string::npos;
    size_t want = 0;
    for (;;) {
      if (head_end != std::string::npos && data.size() >= head_end + 4 + want) break;
      ssize_t n = ::recv(fd, buf, sizeof buf, 0);
      if (n <= 0) break;
      data.append(buf, static_cast<size_t>(n));
      if (head_end == std::string::npos) {
        head_end = data.find("\r\n\r\n");
        if (head_end != std::string::npos) {
          std::string head = data.substr(0, head_end);
          for (auto& c : head) c = static_cast<char>(::tolower(static_cast<unsigned char>(c)));
          auto cl = head.find("content-length:");
          if (cl != std::string::npos) want = std::strtoul(head.c_str() + cl + 15, nullptr, 10);
        }
      }
    }
    return data;
  }
  static void write_all(int fd, std::string const& s) {
    size_t off = 0;
    while (off < s.size()) {
      ssize_t n = ::send(fd, s.data() + off, s.size() - off, MSG_NOSIGNAL);
      if (n <= 0) return;
      off += static_cast<size_t>(n);
    }
  }
  // Holds the connection open without answering until the server stops.
  void hold(int fd) {
    while (!stopping_) {
      pollfd p{fd, POLLIN, 0};
      if (::poll(&p, 1, 20) > 0) {
        char buf[4096];
        if (::recv(fd, buf, sizeof buf, 0) <= 0) return;
      }
    }
  }

 private:
  void accept_loop() {
    for (;;) {
      int fd = ::accept(listen_fd_, nullptr, nullptr);
      if (fd < 0) return;
      if (stopping_) {
        ::close(fd);
        return;
      }
      ++connections_;
      workers_.emplace_back([this, fd] {
        behaviour_(fd, *this);
        ::close(fd);
      });
    }
  }

  Behaviour behaviour_;
  int listen_fd_ = -1;
  int port_ = -1;
  std::atomic<bool> stopping_{false};
  std::atomic<int> connections_{0};
  std::thread acceptor_;
  std::vector<std::thread> workers_;
};

// A loopback port that nothing listens on (it was free a moment ago).
inline int unused_loopback_port() {
  int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  ::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr);
  socklen_t len = sizeof addr;
  ::getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len);
  int port = ntohs(addr.sin_port);
  ::close(fd);
  return port;
}

#endif
