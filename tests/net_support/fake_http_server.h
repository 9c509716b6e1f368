#ifndef TESTS_NET_SUPPORT_FAKE_HTTP_SERVER_H
#define TESTS_NET_SUPPORT_FAKE_HTTP_SERVER_H

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <httplib.h>

// A small HTTP server on 127.0.0.1 for tests: every request, whatever its
// method and path, goes to one handler, and what arrived is kept so tests
// can check the wire (method, raw target, headers, body, client port).
class Fake_HTTP_Server {
 public:
  struct Received {
    std::string method;
    std::string path;    // decoded path, no query
    std::string target;  // path and query exactly as sent
    std::string query;   // raw text after '?', empty when none
    std::string body;
    httplib::Headers headers;
    int remote_port = 0;

    bool has_header(std::string const& name) const { return headers.find(name) != headers.end(); }
    std::string header(std::string const& name) const {
      auto it = headers.find(name);
      return it == headers.end() ? std::string() : it->second;
    }
  };
  typedef std::function<void(httplib::Request const&, httplib::Response&)> Handler;

  // Listens on `port` (0: any free one). Check ok() when a port is given.
  // With a certificate and key (PEM files) it speaks TLS.
  explicit Fake_HTTP_Server(Handler handler, int port = 0, std::string const& cert = std::string(),
                            std::string const& key = std::string())
      : handler_(std::move(handler)) {
    if (cert.empty())
      owned_.reset(new httplib::Server);
    else
      owned_.reset(new httplib::SSLServer(cert.c_str(), key.c_str()));
    httplib::Server& server = *owned_;
    server.set_tcp_nodelay(true);
    server.set_keep_alive_max_count(100000);
    auto record = [this](httplib::Request const& req, httplib::Response& res) {
      Received r;
      r.method = req.method;
      r.path = req.path;
      r.target = req.target;
      auto q = req.target.find('?');
      if (q != std::string::npos) r.query = req.target.substr(q + 1);
      r.body = req.body;
      r.headers = req.headers;
      r.remote_port = req.remote_port;
      Handler h;
      {
        std::lock_guard<std::mutex> lock(mutex_);
        received_.push_back(r);
        h = handler_;
      }
      if (h) h(req, res);
    };
    // Routes see the body; a pre-routing handler would not.
    server.Get(".*", record);
    server.Post(".*", record);
    server.Put(".*", record);
    server.Delete(".*", record);
    server.Patch(".*", record);
    if (port == 0) {
      port_ = server.bind_to_any_port("127.0.0.1");
    } else {
      port_ = server.bind_to_port("127.0.0.1", port) ? port : -1;
    }
    if (port_ > 0) {
      thread_ = std::thread([this] { owned_->listen_after_bind(); });
      for (int i = 0; i < 500 && !server.is_running(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
  }
  ~Fake_HTTP_Server() { stop(); }
  Fake_HTTP_Server(Fake_HTTP_Server const&) = delete;
  Fake_HTTP_Server& operator=(Fake_HTTP_Server const&) = delete;

  bool ok() const { return port_ > 0; }
  int port() const { return port_; }
  std::string url(std::string const& path = "/") const {
    return "http://127.0.0.1:" + std::to_string(port_) + path;
  }

  // Run before any server stops. The server waits out the keep-alive of
  // connections still open to it, so a test that keeps connections in
  // process-wide places (a channel, a shared session) lets go of them here.
  static std::function<void()>& before_stop() {
    static std::function<void()> hook;
    return hook;
  }

  void stop() {
    if (thread_.joinable()) {
      if (before_stop()) before_stop()();
      owned_->stop();
      thread_.join();
    }
  }

  void set_handler(Handler handler) {
    std::lock_guard<std::mutex> lock(mutex_);
    handler_ = std::move(handler);
  }
  std::vector<Received> received() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return received_;
  }
  size_t count() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return received_.size();
  }
  Received last() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return received_.empty() ? Received() : received_.back();
  }

  static void reply_json(httplib::Response& res, std::string const& body, int status = 200) {
    res.status = status;
    res.set_content(body, "application/json");
  }

 private:
  std::unique_ptr<httplib::Server> owned_;
  Handler handler_;
  mutable std::mutex mutex_;
  std::vector<Received> received_;
  int port_ = -1;
  std::thread thread_;
};

#endif
