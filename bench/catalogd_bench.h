#ifndef BENCH_CATALOGD_BENCH_H
#define BENCH_CATALOGD_BENCH_H

// What the catalogd scale benchmarks share: a fresh catalogue on either
// engine (an SQLite file, or a new database in a private PostgreSQL
// cluster), catalogd run on it as a child process, a keep-alive libcurl
// client, peak resident sets, and the "RESULT" lines bench/run.sh gathers
// into one table.
//
// BENCH_SCALE (default 1) multiplies every size, so BENCH_SCALE=0.05 gives
// a quick run of the same shape.

#include <curl/curl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "platform/database/pg_connection.h"
#include "platform/database/sqlite_connection.h"
#include "schema/catalog_schema.h"
#include "tests/server/catalog_target.h"
#include "tests/server/catalogd_process.h"
#include "tests/server/temp_dir.h"
#include "tests/support/pg_cluster.h"

namespace bench {

inline double scale() {
  char const* s = std::getenv("BENCH_SCALE");
  double v = s ? std::atof(s) : 1.0;
  return v > 0 ? v : 1.0;
}

inline long long scaled(long long n, long long at_least = 1) {
  return std::max(at_least, static_cast<long long>(std::llround(static_cast<double>(n) * scale())));
}

typedef std::chrono::steady_clock Clock;
inline double seconds_since(Clock::time_point t) { return std::chrono::duration<double>(Clock::now() - t).count(); }

inline double median(std::vector<double> v) {
  if (v.empty()) return 0;
  std::sort(v.begin(), v.end());
  return v[v.size() / 2];
}

// This process's peak resident set in kB (VmHWM), and a way to restart it,
// so that a measured phase is not charged for the setup before it.
inline long self_peak_rss_kb() {
  std::ifstream in("/proc/self/status");
  std::string line;
  while (std::getline(in, line))
    if (line.rfind("VmHWM:", 0) == 0) return std::atol(line.c_str() + 6);
  return -1;
}
inline void reset_self_peak_rss() {
  std::ofstream out("/proc/self/clear_refs");
  out << "5";
}

enum Engine { SQLITE, POSTGRESQL };
inline char const* engine_name(Engine e) { return e == SQLITE ? "SQLite" : "PostgreSQL"; }

// Engines to run: BENCH_ENGINES=sqlite or postgresql limits them.
inline std::vector<Engine> engines() {
  char const* s = std::getenv("BENCH_ENGINES");
  std::string only = s ? s : "";
  std::vector<Engine> out;
  if (only.empty() || only.find("sqlite") != std::string::npos) out.push_back(SQLITE);
  if (only.empty() || only.find("postgres") != std::string::npos) out.push_back(POSTGRESQL);
  return out;
}

// A fresh, empty catalogue with the current schema: the tests' catalogue
// (an SQLite file, or a database in the private cluster) made ready up front.
class Catalogue {
 public:
  explicit Catalogue(Engine engine)
      : engine_(engine), target_(engine == SQLITE ? Catalog_Target::SQLITE : Catalog_Target::POSTGRESQL) {}

  bool prepare(std::string& error) {
    if (!target_.prepare(error)) return false;
    auto c = connect();
    if (!c->is_open() || !Catalog_Schema::create(*c)) {
      error = "cannot create the schema: " + c->last_error();
      return false;
    }
    return true;
  }

  Engine engine() const { return engine_; }
  // What catalogd takes as --db.
  std::string const& db() const { return target_.db(); }
  // The SQLite file, or the libpq conninfo.
  std::string const& file() const { return target_.db(); }
  std::string const& conninfo() const { return target_.conninfo(); }
  std::unique_ptr<database::sql::Connection> connect() const { return target_.connect(); }

 private:
  Engine engine_;
  Catalog_Target target_;
};

// catalogd serving one catalogue, for the life of the holder.
struct Catalogd {
  Catalogd_Process process;
  bool ok = false;

  explicit Catalogd(Catalogue const& catalogue, std::vector<std::string> extra = {}) {
    std::vector<std::string> args = {"--db", catalogue.db()};
    args.insert(args.end(), extra.begin(), extra.end());
    ok = process.start(args);
    if (!ok) std::fprintf(stderr, "catalogd did not start: %s\n", process.error().c_str());
  }
  std::string url(std::string const& path) const { return process.url() + path; }
  double peak_rss_mb() const { return static_cast<double>(process.peak_rss_kb()) / 1024.0; }
};

// One keep-alive libcurl handle: GETs and POSTs, the answer kept in body().
class Http {
 public:
  Http() {
    curl_global_init(CURL_GLOBAL_DEFAULT);
    handle_ = curl_easy_init();
    headers_ = curl_slist_append(headers_, "Content-Type: application/json");
    headers_ = curl_slist_append(headers_, "Accept: application/json");
    headers_ = curl_slist_append(headers_, "Expect:");
    curl_easy_setopt(handle_, CURLOPT_HTTPHEADER, headers_);
    curl_easy_setopt(handle_, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle_, CURLOPT_TCP_NODELAY, 1L);
    curl_easy_setopt(handle_, CURLOPT_WRITEFUNCTION, &Http::collect);
    curl_easy_setopt(handle_, CURLOPT_WRITEDATA, &body_);
  }
  ~Http() {
    curl_easy_cleanup(handle_);
    curl_slist_free_all(headers_);
  }
  Http(Http const&) = delete;
  Http& operator=(Http const&) = delete;

  bool get(std::string const& url) {
    curl_easy_setopt(handle_, CURLOPT_HTTPGET, 1L);
    return perform(url);
  }
  bool post(std::string const& url, std::string const& data) {
    curl_easy_setopt(handle_, CURLOPT_POST, 1L);
    curl_easy_setopt(handle_, CURLOPT_POSTFIELDS, data.data());
    curl_easy_setopt(handle_, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(data.size()));
    return perform(url);
  }
  std::string const& body() const { return body_; }
  long status() const { return status_; }
  // Frees the answer's buffer (a page of a listing can be megabytes).
  void release() { std::string().swap(body_); }

  static std::string escape(std::string const& s) {
    std::string out;
    static char const hex[] = "0123456789ABCDEF";
    for (unsigned char ch : s) {
      if (std::isalnum(ch) || ch == '-' || ch == '_' || ch == '.' || ch == '~') {
        out += static_cast<char>(ch);
      } else {
        out += '%';
        out += hex[ch >> 4];
        out += hex[ch & 15];
      }
    }
    return out;
  }

 private:
  bool perform(std::string const& url) {
    body_.clear();
    curl_easy_setopt(handle_, CURLOPT_URL, url.c_str());
    if (curl_easy_perform(handle_) != CURLE_OK) return false;
    curl_easy_getinfo(handle_, CURLINFO_RESPONSE_CODE, &status_);
    return status_ >= 200 && status_ <= 299;
  }
  static size_t collect(char* data, size_t size, size_t count, void* user) {
    static_cast<std::string*>(user)->append(data, size * count);
    return size * count;
  }

  CURL* handle_ = nullptr;
  curl_slist* headers_ = nullptr;
  std::string body_;
  long status_ = 0;
};

// A UUID text made from two numbers, distinct for distinct pairs.
inline std::string make_uuid(unsigned a, unsigned long long b) {
  char buf[40];
  std::snprintf(buf, sizeof buf, "%08x-%04x-4%03x-8%03x-%012llx", a, static_cast<unsigned>((b >> 48) & 0xffff),
                static_cast<unsigned>((b >> 36) & 0xfff), static_cast<unsigned>((b >> 48) & 0xfff),
                b & 0xffffffffffffULL);
  return buf;
}

// One line per measured figure, for bench/run.sh's table:
// RESULT|test|engine|measure|value|unit|raw baseline|ratio|target|met
inline void result(std::string const& test, Engine engine, std::string const& measure, double value,
                   std::string const& unit, double raw = -1, std::string const& target = "",
                   int met = -1) {
  char v[32], r[32] = "-", q[32] = "-";
  std::snprintf(v, sizeof v, value >= 100 ? "%.0f" : "%.3g", value);
  if (raw >= 0) {
    std::snprintf(r, sizeof r, raw >= 100 ? "%.0f" : "%.3g", raw);
    if (raw > 0) std::snprintf(q, sizeof q, "%.2f", value / raw);
  }
  std::printf("RESULT|%s|%s|%s|%s|%s|%s|%s|%s|%s\n", test.c_str(), engine_name(engine), measure.c_str(), v,
              unit.c_str(), r, q, target.empty() ? "-" : target.c_str(),
              met < 0 ? "-" : (met ? "yes" : "NO"));
  std::fflush(stdout);
}

}  // namespace bench

#endif
