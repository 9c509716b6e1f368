#include "platform/time/iso8601.h"

#include <cctype>
#include <cstring>
#include <ctime>

std::string POSIX_Time_To_ISO8601(long long seconds, char const* format) {
  if (!format) return std::string();
  time_t t = static_cast<time_t>(seconds);
  struct tm tm;
  if (!gmtime_r(&t, &tm)) return std::string();
  char buf[128];
  size_t n = strftime(buf, sizeof buf, format, &tm);
  return std::string(buf, n);
}

namespace {

// Reads exactly `width` digits.
bool digits(char const*& p, int width, int& out) {
  out = 0;
  for (int i = 0; i < width; ++i) {
    if (!isdigit(static_cast<unsigned char>(p[i]))) return false;
    out = out * 10 + (p[i] - '0');
  }
  p += width;
  return true;
}

// Days from 1970-01-01 to the given civil date (proleptic Gregorian).
long long days_from_civil(long long y, unsigned m, unsigned d) {
  y -= m <= 2;
  long long const era = (y >= 0 ? y : y - 399) / 400;
  unsigned const yoe = static_cast<unsigned>(y - era * 400);
  unsigned const doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  unsigned const doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<long long>(doe) - 719468;
}

bool leap(int y) { return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0; }

}  // namespace

bool iso8601_to_posix_time(char const* text, long long& seconds) {
  if (!text) return false;
  char const* p = text;
  while (*p == ' ') ++p;
  int year, month, day, hour = 0, minute = 0, second = 0;
  if (!digits(p, 4, year) || *p++ != '-' || !digits(p, 2, month) || *p++ != '-' || !digits(p, 2, day)) return false;
  static int const month_days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (month < 1 || month > 12 || day < 1) return false;
  if (day > month_days[month - 1] + (month == 2 && leap(year) ? 1 : 0)) return false;
  if (*p == ' ' || *p == 'T' || *p == 't') {
    ++p;
    if (!digits(p, 2, hour) || *p++ != ':' || !digits(p, 2, minute)) return false;
    if (*p == ':') {
      ++p;
      if (!digits(p, 2, second)) return false;
      if (*p == '.' || *p == ',') {
        ++p;
        if (!isdigit(static_cast<unsigned char>(*p))) return false;
        while (isdigit(static_cast<unsigned char>(*p))) ++p;
      }
    }
    if (hour > 23 || minute > 59 || second > 60) return false;
  }
  long long offset = 0;
  if (*p == 'Z' || *p == 'z') {
    ++p;
  } else if (*p == '+' || *p == '-') {
    int sign = *p++ == '-' ? -1 : 1;
    int oh, om = 0;
    if (!digits(p, 2, oh)) return false;
    if (*p == ':') ++p;
    if (isdigit(static_cast<unsigned char>(*p)) && !digits(p, 2, om)) return false;
    if (oh > 23 || om > 59) return false;
    offset = sign * (oh * 3600LL + om * 60LL);
  }
  while (*p == ' ') ++p;
  if (*p != 0) return false;
  seconds = days_from_civil(year, static_cast<unsigned>(month), static_cast<unsigned>(day)) * 86400LL +
            hour * 3600LL + minute * 60LL + second - offset;
  return true;
}
