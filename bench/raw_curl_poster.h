#ifndef BENCH_RAW_CURL_POSTER_H
#define BENCH_RAW_CURL_POSTER_H

#include <string>
#include <vector>

#include <curl/curl.h>

// The yardstick for the clients' throughput: plain libcurl POSTing given
// bytes to one URL, reusing one easy handle (and so one connection), with
// the headers the clients send. Link CURL::libcurl to use it.
class Raw_Curl_Poster {
 public:
  explicit Raw_Curl_Poster(std::string url,
                           std::vector<std::string> const& headers = {"Content-Type: application/json",
                                                                      "Accept: application/json", "Expect:"})
      : url_(std::move(url)) {
    curl_global_init(CURL_GLOBAL_DEFAULT);
    handle_ = curl_easy_init();
    for (auto const& h : headers) headers_ = curl_slist_append(headers_, h.c_str());
    curl_easy_setopt(handle_, CURLOPT_URL, url_.c_str());
    curl_easy_setopt(handle_, CURLOPT_POST, 1L);
    curl_easy_setopt(handle_, CURLOPT_HTTPHEADER, headers_);
    curl_easy_setopt(handle_, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle_, CURLOPT_TCP_NODELAY, 1L);
    curl_easy_setopt(handle_, CURLOPT_WRITEFUNCTION, &Raw_Curl_Poster::collect);
    curl_easy_setopt(handle_, CURLOPT_WRITEDATA, &answer_);
  }
  ~Raw_Curl_Poster() {
    curl_easy_cleanup(handle_);
    curl_slist_free_all(headers_);
  }
  Raw_Curl_Poster(Raw_Curl_Poster const&) = delete;
  Raw_Curl_Poster& operator=(Raw_Curl_Poster const&) = delete;

  // One POST of `body`; true on a 2xx answer, which is left in answer().
  bool post(std::string const& body) {
    answer_.clear();
    curl_easy_setopt(handle_, CURLOPT_POSTFIELDS, body.data());
    curl_easy_setopt(handle_, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
    if (curl_easy_perform(handle_) != CURLE_OK) return false;
    long status = 0;
    curl_easy_getinfo(handle_, CURLINFO_RESPONSE_CODE, &status);
    return status >= 200 && status <= 299;
  }
  std::string const& answer() const { return answer_; }

  // The body of a JSON-RPC 2.0 call, as the JSON-RPC sessions write it.
  static std::string json_rpc_body(std::string const& method, std::string const& params, long long id) {
    return R"({"jsonrpc":"2.0","method":")" + method + R"(","params":)" + params + R"(,"id":)" + std::to_string(id) +
           "}";
  }

 private:
  static size_t collect(char* data, size_t size, size_t count, void* user) {
    static_cast<std::string*>(user)->append(data, size * count);
    return size * count;
  }

  std::string url_;
  CURL* handle_ = nullptr;
  curl_slist* headers_ = nullptr;
  std::string answer_;
};

#endif
