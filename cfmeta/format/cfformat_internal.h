// Helpers the formats share inside the library; not installed.
#ifndef CFMETA_FORMAT_CFFORMAT_INTERNAL_H_
#define CFMETA_FORMAT_CFFORMAT_INTERNAL_H_

#include <unicode/unistr.h>

#include <string>

namespace cfformat_internal {

// The default locale's number symbols as UTF-8, with the grouping size of its decimal
// formatter (0 when it groups nothing or no formatter could be made).
struct LocalSymbols {
  std::string localeName;
  std::string decimal;
  std::string grouping;
  int groupSize = 0;
};

// This thread's symbols for the current default locale, rebuilt only when that locale
// changes; null when ICU cannot give them. Valid until the next call on this thread.
const LocalSymbols* DefaultLocaleSymbols();

// Well-formed UTF-16 to UTF-8; unpaired surrogates become U+FFFD.
std::string ToUTF8(const icu::UnicodeString& text);

}  // namespace cfformat_internal

#endif  // CFMETA_FORMAT_CFFORMAT_INTERNAL_H_
