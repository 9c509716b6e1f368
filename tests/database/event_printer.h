#ifndef TESTS_DATABASE_EVENT_PRINTER_H
#define TESTS_DATABASE_EVENT_PRINTER_H

#include <string>
#include <vector>

#include "platform/database/query_result_printer.h"
#include "platform/json/json_text.h"

// Writes every printer event as one line of text, so a test can compare the
// exact sequence of calls, index, key, and value type included.
class Event_Printer : public database::sql::Query_Result_Printer {
 public:
  std::vector<std::string> events;
  int stop_after = -1;  // answer false from this event on (count from 0)

  bool add(std::string e) {
    events.push_back(std::move(e));
    return stop_after < 0 || static_cast<int>(events.size()) <= stop_after;
  }
  static std::string k(char const* key) { return key ? key : "(null)"; }

  bool start_map(int i, char const* key) override { return add("start_map " + std::to_string(i) + " " + k(key)); }
  bool end_map() override { return add("end_map"); }
  bool start_array(int i, char const* key) override { return add("start_array " + std::to_string(i) + " " + k(key)); }
  bool end_array() override { return add("end_array"); }
  bool print_null(int i, char const* key) override { return add("null " + std::to_string(i) + " " + k(key)); }
  bool print_bool(int i, char const* key, bool v) override {
    return add("bool " + std::to_string(i) + " " + k(key) + " " + (v ? "true" : "false"));
  }
  bool print_int(int i, char const* key, long long v) override {
    return add("int " + std::to_string(i) + " " + k(key) + " " + std::to_string(v));
  }
  bool print_uint(int i, char const* key, unsigned long long v) override {
    return add("uint " + std::to_string(i) + " " + k(key) + " " + std::to_string(v));
  }
  bool print_double(int i, char const* key, double v) override {
    return add("double " + std::to_string(i) + " " + k(key) + " " + std::to_string(v));
  }
  bool print_str(int i, char const* key, std::string const& v) override {
    return add("str " + std::to_string(i) + " " + k(key) + " " + v);
  }
  bool print_cstr(int i, char const* key, char const* v, unsigned long long n) override {
    return add("cstr " + std::to_string(i) + " " + k(key) + " " + std::string(v, n));
  }
  bool print_custr(int i, char const* key, unsigned char const* v, unsigned long long n) override {
    static char const d[] = "0123456789abcdef";
    std::string hex;
    for (unsigned long long j = 0; j < n; ++j) {
      hex += d[v[j] >> 4];
      hex += d[v[j] & 15];
    }
    return add("custr " + std::to_string(i) + " " + k(key) + " " + hex);
  }
  bool print_json(int i, char const* key, json_spirit::Value const& v) override {
    return add("json " + std::to_string(i) + " " + k(key) + " " + JSON_Dump(v));
  }
};

#endif
