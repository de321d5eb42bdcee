// ISO 8601 dates, times of day and timestamps as the numbers a field of date, time or timestamp
// storage holds: dates as days, times and timestamps as seconds, all counted from 1970-01-01
// GMT (a time of day counts from that day's midnight).
#ifndef TOOLS_CFMETA_ISODATE_H_
#define TOOLS_CFMETA_ISODATE_H_

#include <cstddef>
#include <string>

#include "cfmeta/field/cffield.h"

namespace cfmeta_tool {

// YYYY-MM-DD, a real calendar day of the years 0000 to 9999.
bool ParseIsoDate(const char* text, size_t length, double& days);
// HH:MM[:SS[.fff]] from 00:00 to 23:59:59.999...; `decimals` is the count of fraction digits.
bool ParseIsoTime(const char* text, size_t length, double& seconds, int& decimals);
// A date, "T" or one space, and a time; a final "Z" is allowed.
bool ParseIsoTimestamp(const char* text, size_t length, double& seconds, int& decimals);

// `value` of a field of date, time or timestamp `storage` in ISO 8601 form, with `decimals`
// fraction digits of a second.
std::string IsoText(CFField::StorageType storage, double value, int decimals);

}  // namespace cfmeta_tool

#endif  // TOOLS_CFMETA_ISODATE_H_
