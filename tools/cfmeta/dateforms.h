// Dates, times of day and timestamps in the forms people usually write them, read for a column
// whose form is not known in advance: each cell is read with every form still open, and the
// column keeps the forms that read all its cells so far.
//
// Values are what a field of date, time or timestamp storage holds: a date counts days from
// 1970-01-01, a time of day seconds from midnight, a timestamp seconds from 1970-01-01T00:00
// GMT. Only real calendar days of the four-digit years 0000 to 9999 and real times of day
// (00:00 to 23:59:59.999999999) are read. Reading allocates nothing and keeps no state.
#ifndef TOOLS_CFMETA_DATEFORMS_H_
#define TOOLS_CFMETA_DATEFORMS_H_

#include <cstddef>
#include <cstdint>
#include <memory>

#include "cfmeta/format/cfformat.h"

namespace cfmeta_tool {

enum class TemporalKind { Date, Time, Timestamp };

// The forms, in the order a column chooses among them. Outside the ISO forms a day, month or
// hour takes one digit or two, minutes and seconds two, a year four, and seconds may carry up
// to nine fraction digits; "Mon" is an English month name, in full or its first three letters,
// in any case, and a comma may follow the day in "Mon D, YYYY". One space separates a date
// from its time, and a time from its AM or PM, which may also follow with no space.
//
// A form written with HH:MM reads only times without seconds; its HH:MM:SS twin reads both, so
// a column whose times all lack seconds keeps both and chooses the first.
enum DateForm : int {
  // Read exactly as ParseIsoDate, ParseIsoTime and ParseIsoTimestamp read them.
  kIsoDate,       // 2015-01-31
  kIsoTime,       // 01:30, 01:30:00, 01:30:00.250
  kIsoTimestamp,  // 2015-01-31T01:30:00Z: "T" or one space, a time, an optional "Z"
  kYmdSlash,      // 2015/01/31
  kMdySlash,      // 01/31/2015, 1/31/2015
  kDmySlash,      // 31/01/2015, 31/1/2015
  kDmyDot,        // 31.01.2015, 31.1.2015
  kMonDY,         // Jan 31 2015, January 31, 2015
  kDMonY,         // 31 Jan 2015, 31 January 2015
  kDMonYDash,     // 31-Jan-2015
  kTimeHm,        // 1:30, 01:30
  kTimeHms,       // 1:30:00, 01:30:00.250
  kTimeAmPm,      // 1:30 PM, 01:30:00 am; 12 AM is midnight, 12 PM noon
  kYmdSlashHm,
  kYmdSlashHms,
  kMdySlashHm,
  kMdySlashHms,
  kDmySlashHm,
  kDmySlashHms,
  kDmyDotHm,
  kDmyDotHms,
  kMonDYHm,
  kMonDYHms,
  kDMonYHm,
  kDMonYHms,
  kDMonYDashHm,
  kDMonYDashHms,
  // Hours 1 to 12, with or without seconds.
  kMdySlashAmPm,
  kDmySlashAmPm,
  kMonDYAmPm,
  kDMonYAmPm,
  kDMonYDashAmPm,
};

// A set of forms, form f being bit (1 << f).
using FormSet = uint32_t;
constexpr int kFormCount = kDMonYDashAmPm + 1;
static_assert(kFormCount <= 32, "a FormSet holds every form");
constexpr FormSet kAllForms = kFormCount == 32 ? ~FormSet{0} : (FormSet{1} << kFormCount) - 1;

// Reads `text` (not NUL-terminated; no surrounding spaces) with every form in `among` and
// returns the subset that reads it. For each form f in the result, values[f] holds its value
// and decimals[f] its count of fraction-of-second digits (0 for none and for dates); the other
// slots are untouched. `values` and `decimals` each have kFormCount slots.
FormSet ReadDateForms(const char* text, size_t length, FormSet among, double* values,
                      int* decimals);

// Requires: 0 <= form < kFormCount.
TemporalKind KindOfForm(int form);

// How the form is written, for people: "YYYY-MM-DD", "MM/DD/YYYY", "DD.MM.YYYY HH:MM:SS",
// "Mon D YYYY", "h:MM AM", ... A static string; "" for a form out of range.
const char* FormText(int form);

// The form a column takes when `live` holds the forms that read all its cells: the first in
// table order; -1 when `live` is empty. `assumed` is set when a day-first and a month-first
// form both remain, so that the choice of the month-first one rests on no value.
int ChooseForm(FormSet live, bool& assumed);

// The display format that shows the form's values as the column wrote them, as closely as the
// date and time formats allow, with `decimals` fraction digits of seconds (0 for none) where
// the form has seconds. The ISO forms show as YYYY-MM-DD, HH:MM:SS and "YYYY-MM-DD HH:MM:SS";
// the library has no month-first name style, no unpadded day, month or hour, and no 12-hour
// clock, so such forms show as their nearest padded, day-first or 24-hour text. A date format
// renders days for a date form and seconds for a timestamp form. Null for a form out of range.
std::unique_ptr<CFFormat> FormatOfForm(int form, int decimals);

}  // namespace cfmeta_tool

#endif  // TOOLS_CFMETA_DATEFORMS_H_
