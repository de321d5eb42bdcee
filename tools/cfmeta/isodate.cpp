#include "tools/cfmeta/isodate.h"

#include <fmt/format.h>

#include <cmath>

namespace cfmeta_tool {

namespace {

constexpr double kSecondsPerDay = 86400.0;

// Reads exactly `count` digits.
bool Digits(const char* text, int count, int& value) {
  value = 0;
  for (int i = 0; i < count; ++i) {
    if (text[i] < '0' || text[i] > '9') return false;
    value = value * 10 + (text[i] - '0');
  }
  return true;
}

bool IsLeap(int year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

int DaysInMonth(int year, int month) {
  static const int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && IsLeap(year) ? 29 : kDays[month - 1];
}

// Days from 1970-01-01 to a day of the proleptic Gregorian calendar.
long long DaysFromCivil(int year, int month, int day) {
  year -= month <= 2;
  const long long era = (year >= 0 ? year : year - 399) / 400;
  const long long yearOfEra = year - era * 400;
  const long long dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  const long long dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * 146097 + dayOfEra - 719468;
}

// The civil date of a day count from 1970-01-01, proleptic Gregorian.
void CivilFromDays(long long days, long long& year, unsigned& month, unsigned& day) {
  days += 719468;
  const long long era = (days >= 0 ? days : days - 146096) / 146097;
  const unsigned dayOfEra = static_cast<unsigned>(days - era * 146097);
  const unsigned yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const unsigned dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const unsigned shifted = (5 * dayOfYear + 2) / 153;
  day = dayOfYear - (153 * shifted + 2) / 5 + 1;
  month = shifted < 10 ? shifted + 3 : shifted - 9;
  year = static_cast<long long>(yearOfEra) + era * 400 + (month <= 2);
}

std::string TimeText(double seconds, int decimals) {
  const double scale = std::pow(10.0, decimals);
  const long long units = std::llround(seconds * scale);
  const long long whole = units / static_cast<long long>(scale);
  std::string text = fmt::format("{:02}:{:02}:{:02}", whole / 3600, whole / 60 % 60, whole % 60);
  if (decimals > 0) {
    text += fmt::format(".{:0{}}", units % static_cast<long long>(scale), decimals);
  }
  return text;
}

}  // namespace

bool ParseIsoDate(const char* text, size_t length, double& days) {
  int year, month, day;
  if (length != 10 || text[4] != '-' || text[7] != '-' || !Digits(text, 4, year) ||
      !Digits(text + 5, 2, month) || !Digits(text + 8, 2, day)) {
    return false;
  }
  if (month < 1 || month > 12 || day < 1 || day > DaysInMonth(year, month)) return false;
  days = static_cast<double>(DaysFromCivil(year, month, day));
  return true;
}

bool ParseIsoTime(const char* text, size_t length, double& seconds, int& decimals) {
  int hours, minutes, secs = 0;
  if (length < 5 || text[2] != ':' || !Digits(text, 2, hours) || !Digits(text + 3, 2, minutes)) {
    return false;
  }
  decimals = 0;
  double fraction = 0.0;
  if (length > 5) {
    if (length < 8 || text[5] != ':' || !Digits(text + 6, 2, secs)) return false;
    if (length > 8) {
      // Up to nanoseconds: a longer fraction is not a time this tool reads.
      decimals = static_cast<int>(length - 9);
      int digits;
      if (text[8] != '.' || decimals < 1 || decimals > 9 || !Digits(text + 9, decimals, digits)) {
        return false;
      }
      fraction = digits / std::pow(10.0, decimals);
    }
  }
  if (hours > 23 || minutes > 59 || secs > 59) return false;
  seconds = hours * 3600.0 + minutes * 60.0 + secs + fraction;
  return true;
}

bool ParseIsoTimestamp(const char* text, size_t length, double& seconds, int& decimals) {
  if (length > 0 && text[length - 1] == 'Z') --length;
  double days, time;
  if (length < 16 || (text[10] != 'T' && text[10] != ' ') || !ParseIsoDate(text, 10, days) ||
      !ParseIsoTime(text + 11, length - 11, time, decimals)) {
    return false;
  }
  seconds = days * kSecondsPerDay + time;
  return true;
}

std::string IsoText(CFField::StorageType storage, double value, int decimals) {
  if (storage == CFField::TimeStorage) return TimeText(value, decimals);
  long long days = static_cast<long long>(
      std::floor(storage == CFField::DateStorage ? value : value / 86400.0));
  long long year;
  unsigned month, day;
  CivilFromDays(days, year, month, day);
  std::string text = fmt::format("{:04}-{:02}-{:02}", year, month, day);
  if (storage == CFField::TimestampStorage) {
    text += 'T' + TimeText(value - static_cast<double>(days) * 86400.0, decimals);
  }
  return text;
}

}  // namespace cfmeta_tool
