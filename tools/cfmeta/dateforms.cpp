#include "tools/cfmeta/dateforms.h"

#include <algorithm>
#include <cstring>

#include "cfmeta/format/cfdateformat.h"
#include "cfmeta/format/cftimeformat.h"
#include "tools/cfmeta/isodate.h"

namespace cfmeta_tool {

namespace {

constexpr double kSecondsPerDay = 86400.0;
// Longer than "September 30, 2015 12:30:00.123456789 PM", the longest text a form reads.
constexpr size_t kMaxLength = 48;
// ":MM:SS." and nine fraction digits: the longest time after its hours.
constexpr size_t kMaxMinutesAndSeconds = 16;

// How a form writes its date; None for a time of day alone, Iso for the forms isodate reads.
enum class Shape { Ymd, Mdy, Dmy, DmyDot, MonDY, DMonY, DMonYDash, None, Iso };
constexpr int kShapeCount = static_cast<int>(Shape::None) + 1;
// How a form writes its time of day, if it has one.
enum class Clock { None, Hm, Hms, AmPm };
constexpr int kClockCount = static_cast<int>(Clock::AmPm) + 1;

struct FormRow {
  const char* text;
  TemporalKind kind;
  Shape shape;
  Clock clock;
};

using Kind = TemporalKind;

// In DateForm order.
constexpr FormRow kForms[] = {
    {"YYYY-MM-DD", Kind::Date, Shape::Iso, Clock::None},
    {"HH:MM:SS", Kind::Time, Shape::Iso, Clock::Hms},
    {"YYYY-MM-DDTHH:MM:SS", Kind::Timestamp, Shape::Iso, Clock::Hms},
    {"YYYY/MM/DD", Kind::Date, Shape::Ymd, Clock::None},
    {"MM/DD/YYYY", Kind::Date, Shape::Mdy, Clock::None},
    {"DD/MM/YYYY", Kind::Date, Shape::Dmy, Clock::None},
    {"DD.MM.YYYY", Kind::Date, Shape::DmyDot, Clock::None},
    {"Mon D YYYY", Kind::Date, Shape::MonDY, Clock::None},
    {"D Mon YYYY", Kind::Date, Shape::DMonY, Clock::None},
    {"DD-Mon-YYYY", Kind::Date, Shape::DMonYDash, Clock::None},
    {"H:MM", Kind::Time, Shape::None, Clock::Hm},
    {"H:MM:SS", Kind::Time, Shape::None, Clock::Hms},
    {"h:MM AM", Kind::Time, Shape::None, Clock::AmPm},
    {"YYYY/MM/DD HH:MM", Kind::Timestamp, Shape::Ymd, Clock::Hm},
    {"YYYY/MM/DD HH:MM:SS", Kind::Timestamp, Shape::Ymd, Clock::Hms},
    {"MM/DD/YYYY HH:MM", Kind::Timestamp, Shape::Mdy, Clock::Hm},
    {"MM/DD/YYYY HH:MM:SS", Kind::Timestamp, Shape::Mdy, Clock::Hms},
    {"DD/MM/YYYY HH:MM", Kind::Timestamp, Shape::Dmy, Clock::Hm},
    {"DD/MM/YYYY HH:MM:SS", Kind::Timestamp, Shape::Dmy, Clock::Hms},
    {"DD.MM.YYYY HH:MM", Kind::Timestamp, Shape::DmyDot, Clock::Hm},
    {"DD.MM.YYYY HH:MM:SS", Kind::Timestamp, Shape::DmyDot, Clock::Hms},
    {"Mon D YYYY HH:MM", Kind::Timestamp, Shape::MonDY, Clock::Hm},
    {"Mon D YYYY HH:MM:SS", Kind::Timestamp, Shape::MonDY, Clock::Hms},
    {"D Mon YYYY HH:MM", Kind::Timestamp, Shape::DMonY, Clock::Hm},
    {"D Mon YYYY HH:MM:SS", Kind::Timestamp, Shape::DMonY, Clock::Hms},
    {"DD-Mon-YYYY HH:MM", Kind::Timestamp, Shape::DMonYDash, Clock::Hm},
    {"DD-Mon-YYYY HH:MM:SS", Kind::Timestamp, Shape::DMonYDash, Clock::Hms},
    {"MM/DD/YYYY h:MM AM", Kind::Timestamp, Shape::Mdy, Clock::AmPm},
    {"DD/MM/YYYY h:MM AM", Kind::Timestamp, Shape::Dmy, Clock::AmPm},
    {"Mon D YYYY h:MM AM", Kind::Timestamp, Shape::MonDY, Clock::AmPm},
    {"D Mon YYYY h:MM AM", Kind::Timestamp, Shape::DMonY, Clock::AmPm},
    {"DD-Mon-YYYY h:MM AM", Kind::Timestamp, Shape::DMonYDash, Clock::AmPm},
};
static_assert(sizeof(kForms) / sizeof(kForms[0]) == kFormCount, "one row per form");

constexpr FormSet Bit(int form) { return FormSet{1} << form; }

constexpr FormSet kIsoForms = Bit(kIsoDate) | Bit(kIsoTime) | Bit(kIsoTimestamp);

constexpr FormSet FormsOfShape(Shape shape) {
  FormSet forms = 0;
  for (int form = 0; form < kFormCount; ++form) {
    if (kForms[form].shape == shape) forms |= Bit(form);
  }
  return forms;
}

constexpr FormSet kMonthFirstForms = FormsOfShape(Shape::Mdy);
constexpr FormSet kDayFirstForms = FormsOfShape(Shape::Dmy);

// The form of each shape and clock that isodate does not read; -1 where there is none.
struct FormGrid {
  int form[kShapeCount][kClockCount];
};

constexpr FormGrid MakeFormGrid() {
  FormGrid grid{};
  for (auto& row : grid.form) {
    for (int& form : row) form = -1;
  }
  for (int form = 0; form < kFormCount; ++form) {
    if (kForms[form].shape == Shape::Iso) continue;
    grid.form[static_cast<int>(kForms[form].shape)][static_cast<int>(kForms[form].clock)] = form;
  }
  return grid;
}

constexpr FormGrid kFormGrid = MakeFormGrid();

struct DateStyle {
  CFDateFormat::FormatType type;
  CFFormat::UnitsSeparator separator;
  // The length of the text the style renders.
  int width;
};

// By Shape, for the shapes that write a date; the ISO forms use kIsoDateStyle.
constexpr DateStyle kDateStyles[] = {
    {CFDateFormat::Y_M_D, CFFormat::UnitsSeparator::Slash, 10},
    {CFDateFormat::M_D_Y, CFFormat::UnitsSeparator::Slash, 10},
    {CFDateFormat::D_M_Y, CFFormat::UnitsSeparator::Slash, 10},
    {CFDateFormat::D_M_Y, CFFormat::UnitsSeparator::Period, 10},
    // No style puts the month's name first: the nearest shows it after the day.
    {CFDateFormat::D_monthName_Y, CFFormat::UnitsSeparator::Space, 11},
    {CFDateFormat::D_monthName_Y, CFFormat::UnitsSeparator::Space, 11},
    {CFDateFormat::D_monthName_Y, CFFormat::UnitsSeparator::Dash, 11},
};
constexpr DateStyle kIsoDateStyle = {CFDateFormat::Y_M_D, CFFormat::UnitsSeparator::Dash, 10};

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// Reads `minCount` to `maxCount` digits, as many as there are.
bool ReadNumber(const char*& p, const char* end, int minCount, int maxCount, int& value) {
  value = 0;
  int count = 0;
  for (; count < maxCount && p < end && IsDigit(*p); ++count, ++p) value = value * 10 + (*p - '0');
  return count >= minCount;
}

bool ReadChar(const char*& p, const char* end, char c) {
  if (p == end || *p != c) return false;
  ++p;
  return true;
}

constexpr const char* kMonthNames[] = {"january",   "february", "march",    "april",
                                       "may",       "june",     "july",     "august",
                                       "september", "october",  "november", "december"};

// An English month name, in full or its first three letters, in any case.
bool ReadMonthName(const char*& p, const char* end, int& month) {
  if (end - p < 3) return false;
  const char a = Lower(p[0]), b = Lower(p[1]), c = Lower(p[2]);
  for (int i = 0; i < 12; ++i) {
    const char* name = kMonthNames[i];
    if (name[0] != a || name[1] != b || name[2] != c) continue;
    const char* q = p + 3;
    while (q < end && Lower(*q) >= 'a' && Lower(*q) <= 'z') ++q;
    const size_t letters = static_cast<size_t>(q - p);
    if (letters != 3) {
      if (letters != std::strlen(name)) return false;
      for (size_t k = 3; k < letters; ++k) {
        if (Lower(p[k]) != name[k]) return false;
      }
    }
    month = i + 1;
    p = q;
    return true;
  }
  return false;
}

// The day as ISO text, read by isodate so that every form shares one calendar.
bool DaysOf(int year, int month, int day, double& days) {
  char iso[10] = {static_cast<char>('0' + year / 1000),
                  static_cast<char>('0' + year / 100 % 10),
                  static_cast<char>('0' + year / 10 % 10),
                  static_cast<char>('0' + year % 10),
                  '-',
                  static_cast<char>('0' + month / 10),
                  static_cast<char>('0' + month % 10),
                  '-',
                  static_cast<char>('0' + day / 10),
                  static_cast<char>('0' + day % 10)};
  return ParseIsoDate(iso, sizeof(iso), days);
}

struct DateReading {
  Shape shape;
  double days;
};

// Reads the date at the start of the text into up to two readings (a day and month that may
// go either way give two) and moves `p` past it; nothing when no shape reads it.
int ReadDatePart(const char*& p, const char* end, DateReading readings[2]) {
  const char* q = p;
  int first, second, year, month;
  int count = 0;
  auto add = [&](Shape shape, int day, int monthOfYear) {
    double days;
    if (DaysOf(year, monthOfYear, day, days)) readings[count++] = {shape, days};
  };
  if (!IsDigit(*q)) {
    if (ReadMonthName(q, end, month) && ReadChar(q, end, ' ') && ReadNumber(q, end, 1, 2, first)) {
      ReadChar(q, end, ',');
      if (ReadChar(q, end, ' ') && ReadNumber(q, end, 4, 4, year)) add(Shape::MonDY, first, month);
    }
  } else {
    const char* start = q;
    ReadNumber(q, end, 1, 4, first);
    const auto digits = q - start;
    if (q == end) return 0;
    const char separator = *q++;
    if (digits == 4) {
      year = first;
      if (separator == '/' && ReadNumber(q, end, 1, 2, month) && ReadChar(q, end, '/') &&
          ReadNumber(q, end, 1, 2, second)) {
        add(Shape::Ymd, second, month);
      }
    } else if (digits <= 2 && (separator == '/' || separator == '.')) {
      if (ReadNumber(q, end, 1, 2, second) && ReadChar(q, end, separator) &&
          ReadNumber(q, end, 4, 4, year)) {
        if (separator == '/') add(Shape::Mdy, second, first);
        add(separator == '/' ? Shape::Dmy : Shape::DmyDot, first, second);
      }
    } else if (digits <= 2 && (separator == ' ' || separator == '-')) {
      if (ReadMonthName(q, end, month) && ReadChar(q, end, separator) &&
          ReadNumber(q, end, 4, 4, year)) {
        add(separator == ' ' ? Shape::DMonY : Shape::DMonYDash, first, month);
      }
    }
  }
  if (count > 0) p = q;
  return count;
}

struct TimeReading {
  Clock clock;
  double seconds;
  int decimals;
};

// Reads a time of day that runs to the end of the text: H:MM[:SS[.f]], then optionally AM or
// PM. The minutes and seconds are read by isodate once the hour is made two 24-hour digits.
bool ReadTimePart(const char* p, const char* end, TimeReading& time) {
  int hour;
  if (!ReadNumber(p, end, 1, 2, hour)) return false;
  const char* rest = p;
  while (p < end && (IsDigit(*p) || *p == ':' || *p == '.')) ++p;
  const size_t restLength = static_cast<size_t>(p - rest);
  if (restLength > kMaxMinutesAndSeconds) return false;
  time.clock = restLength > 3 ? Clock::Hms : Clock::Hm;
  if (p < end) {
    if (*p == ' ') ++p;
    if (end - p != 2 || Lower(p[1]) != 'm') return false;
    const char half = Lower(p[0]);
    if ((half != 'a' && half != 'p') || hour < 1 || hour > 12) return false;
    hour = hour % 12 + (half == 'p' ? 12 : 0);
    time.clock = Clock::AmPm;
  }
  char iso[2 + kMaxMinutesAndSeconds] = {static_cast<char>('0' + hour / 10),
                                         static_cast<char>('0' + hour % 10)};
  std::memcpy(iso + 2, rest, restLength);
  return ParseIsoTime(iso, restLength + 2, time.seconds, time.decimals);
}

// Stores a reading for `form` when it is one of `among`.
void Keep(int form, FormSet among, double value, int places, FormSet& found, double* values,
          int* decimals) {
  if (form < 0 || (among & Bit(form)) == 0) return;
  found |= Bit(form);
  values[form] = value;
  decimals[form] = places;
}

}  // namespace

FormSet ReadDateForms(const char* text, size_t length, FormSet among, double* values,
                      int* decimals) {
  FormSet found = 0;
  if (length < 4 || length > kMaxLength) return found;

  // 1. The ISO forms, read by isodate itself.
  double value;
  int places = 0;
  if ((among & Bit(kIsoDate)) != 0 && ParseIsoDate(text, length, value)) {
    Keep(kIsoDate, among, value, 0, found, values, decimals);
  }
  if ((among & Bit(kIsoTime)) != 0 && ParseIsoTime(text, length, value, places)) {
    Keep(kIsoTime, among, value, places, found, values, decimals);
  }
  if ((among & Bit(kIsoTimestamp)) != 0 && ParseIsoTimestamp(text, length, value, places)) {
    Keep(kIsoTimestamp, among, value, places, found, values, decimals);
  }
  if ((among & ~kIsoForms) == 0) return found;

  // 2. A date, then one space and a time; a date alone; or a time alone. Every form starts
  // with a digit or a month name's letter.
  const char first = Lower(text[0]);
  if (!IsDigit(first) && (first < 'a' || first > 'z')) return found;
  const char* end = text + length;
  const char* p = text;
  DateReading dates[2];
  const int dateCount = ReadDatePart(p, end, dates);
  if (dateCount > 0 && p == end) {
    for (int i = 0; i < dateCount; ++i) {
      const int form =
          kFormGrid.form[static_cast<int>(dates[i].shape)][static_cast<int>(Clock::None)];
      Keep(form, among, dates[i].days, 0, found, values, decimals);
    }
    return found;
  }
  if (dateCount > 0 && !ReadChar(p, end, ' ')) return found;
  TimeReading time;
  if (!ReadTimePart(p, end, time)) return found;

  // 3. A time without seconds is read by the form with seconds too.
  const int clock = static_cast<int>(time.clock);
  const int hms = static_cast<int>(Clock::Hms);
  if (dateCount == 0) {
    const int* forms = kFormGrid.form[static_cast<int>(Shape::None)];
    Keep(forms[clock], among, time.seconds, time.decimals, found, values, decimals);
    if (time.clock == Clock::Hm) {
      Keep(forms[hms], among, time.seconds, time.decimals, found, values, decimals);
    }
  }
  for (int i = 0; i < dateCount; ++i) {
    const int* forms = kFormGrid.form[static_cast<int>(dates[i].shape)];
    const double seconds = dates[i].days * kSecondsPerDay + time.seconds;
    Keep(forms[clock], among, seconds, time.decimals, found, values, decimals);
    if (time.clock == Clock::Hm) {
      Keep(forms[hms], among, seconds, time.decimals, found, values, decimals);
    }
  }
  return found;
}

TemporalKind KindOfForm(int form) { return kForms[form].kind; }

const char* FormText(int form) { return form >= 0 && form < kFormCount ? kForms[form].text : ""; }

int ChooseForm(FormSet live, bool& assumed) {
  assumed = (live & kMonthFirstForms) != 0 && (live & kDayFirstForms) != 0;
  for (int form = 0; form < kFormCount; ++form) {
    if ((live & Bit(form)) != 0) return form;
  }
  return -1;
}

std::unique_ptr<CFFormat> FormatOfForm(int form, int decimals) {
  if (form < 0 || form >= kFormCount) return nullptr;
  const FormRow& row = kForms[form];
  using Separator = CFFormat::UnitsSeparator;
  const unsigned places = static_cast<unsigned>(std::max(decimals, 0));
  // HH:MM:SS, then a point and the decimals; hours and minutes alone never show decimals.
  const CFTimeFormat time =
      row.clock == Clock::Hm ? CFTimeFormat(CFTimeFormat::H_M, 5, 0, Separator::Colon, true)
                             : CFTimeFormat(CFTimeFormat::H_M_S, 8 + (places > 0 ? places + 1 : 0),
                                            places, Separator::Colon, true);
  if (row.kind == TemporalKind::Time) return std::make_unique<CFTimeFormat>(time);

  const DateStyle& style =
      row.shape == Shape::Iso ? kIsoDateStyle : kDateStyles[static_cast<int>(row.shape)];
  auto format =
      std::make_unique<CFDateFormat>(style.type, style.width, 0, style.separator, false, false);
  if (row.kind == TemporalKind::Timestamp) format->SetTimeFormat(&time);
  return format;
}

}  // namespace cfmeta_tool
