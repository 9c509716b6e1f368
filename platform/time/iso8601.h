#ifndef PLATFORM_TIME_ISO8601_H
#define PLATFORM_TIME_ISO8601_H

#include <string>

#include "platform/export.h"

// POSIX seconds as text in UTC, with strftime's format (e.g. "%Y-%m-%d %H:%M:%S").
// An empty string when the format is null or the time cannot be broken down.
BSET_API std::string POSIX_Time_To_ISO8601(long long seconds, char const* format);

// Reads "YYYY-MM-DD[ T]HH:MM[:SS[.fff]]" with an optional zone ("Z", "+hh",
// "+hh:mm", "+hhmm") or a bare "YYYY-MM-DD"; without a zone the text is UTC.
// Fractions of a second are dropped. False (and `seconds` unchanged) when the
// text is not such a time.
BSET_API bool iso8601_to_posix_time(char const* text, long long& seconds);

#endif
