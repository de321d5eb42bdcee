#include <unicode/calendar.h>
#include <unicode/fieldpos.h>
#include <unicode/gregocal.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

#include "cfmeta/format/cfgmtformatter_internal.h"

namespace {

// One formatter with the calendar it owns. The calendar is set to the instant just before
// each use, so nothing left from an earlier call reaches the text.
struct KeptFormatter {
  std::string localeName;
  std::string pattern;
  std::unique_ptr<icu::SimpleDateFormat> format;
  icu::Calendar* calendar = nullptr;  // owned by `format`
};

// A thread's formatters. Making a formatter and calendar costs far more than formatting with
// them, and a thread's own copies need no lock. The locale is part of the key, so a change of
// ICU's default locale reaches the next call.
class KeptFormatters {
 public:
  KeptFormatter* Get(const std::string& pattern, const icu::Locale& locale) {
    const char* name = locale.getName();
    if (m_last < m_kept.size() && Matches(m_kept[m_last], pattern, name)) return &m_kept[m_last];
    for (size_t i = 0; i < m_kept.size(); ++i) {
      if (Matches(m_kept[i], pattern, name)) {
        m_last = i;
        return &m_kept[i];
      }
    }

    KeptFormatter made;
    if (!Make(pattern, locale, made)) return nullptr;
    // A program that cycles through many patterns or locales must not grow the list without
    // end, nor make each look-up slow.
    if (m_kept.size() >= kMaxKept) m_kept.clear();
    m_kept.push_back(std::move(made));
    m_last = m_kept.size() - 1;
    return &m_kept.back();
  }

 private:
  static constexpr size_t kMaxKept = 32;
  std::vector<KeptFormatter> m_kept;
  size_t m_last = 0;

  static bool Matches(const KeptFormatter& kept, const std::string& pattern, const char* name) {
    return kept.pattern == pattern && kept.localeName == name;
  }

  static bool Make(const std::string& pattern, const icu::Locale& locale, KeptFormatter& made) {
    UErrorCode status = U_ZERO_ERROR;
    made.format.reset(
        new icu::SimpleDateFormat(icu::UnicodeString::fromUTF8(pattern), locale, status));
    if (U_FAILURE(status)) return false;
    std::unique_ptr<icu::Calendar> calendar(
        new icu::GregorianCalendar(*icu::TimeZone::getGMT(), locale, status));
    if (U_FAILURE(status)) return false;
    made.calendar = calendar.get();
    made.format->adoptCalendar(calendar.release());
    made.localeName = locale.getName();
    made.pattern = pattern;
    return true;
  }
};

}  // namespace

namespace cfformat_internal {

bool FormatGMT(const std::string& pattern, const icu::Locale& locale, double millis,
               icu::UnicodeString& out) {
  out.remove();
  if (!std::isfinite(millis)) return false;
  thread_local KeptFormatters formatters;
  KeptFormatter* kept = formatters.Get(pattern, locale);
  if (kept == nullptr) return false;
  UErrorCode status = U_ZERO_ERROR;
  kept->calendar->setTime(millis, status);
  if (U_FAILURE(status)) return false;
  icu::FieldPosition position(icu::FieldPosition::DONT_CARE);
  kept->format->format(*kept->calendar, out, position);
  return true;
}

}  // namespace cfformat_internal
