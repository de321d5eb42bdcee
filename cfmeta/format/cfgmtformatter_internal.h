// Date and time rendering on a GMT Gregorian calendar, shared by the date and time formats;
// not installed.
#ifndef CFMETA_FORMAT_CFGMTFORMATTER_INTERNAL_H_
#define CFMETA_FORMAT_CFGMTFORMATTER_INTERNAL_H_

#include <unicode/locid.h>
#include <unicode/unistr.h>

#include <string>

namespace cfformat_internal {

// Replaces `out` with the instant `millis` milliseconds after 1970-01-01 00:00 GMT, written
// through the ICU date pattern `pattern` in `locale`, on a GMT Gregorian calendar whose week
// rules are those of `locale`. The formatter and calendar are made once per thread for each
// pattern and locale name and reused afterwards; the text is the same as from a freshly made
// pair. False, with `out` empty, when `millis` is not finite or ICU fails.
bool FormatGMT(const std::string& pattern, const icu::Locale& locale, double millis,
               icu::UnicodeString& out);

}  // namespace cfformat_internal

#endif  // CFMETA_FORMAT_CFGMTFORMATTER_INTERNAL_H_
