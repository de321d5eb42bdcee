// Helpers that the format tests share.
#ifndef CFMETA_FORMAT_CFFORMAT_TESTUTIL_H_
#define CFMETA_FORMAT_CFFORMAT_TESTUTIL_H_

#include <unicode/locid.h>

#include <string>

#include "cfmeta/field/cfdatum.h"
#include "cfmeta/format/cfformat.h"

namespace cfmeta_test {

// The text `format` renders `value` as, or "<failed N>" followed by what was left in the
// output when it fails with N.
inline std::string Render(const CFFormat& format, const CFDatum& value) {
  std::string out = "stale";
  int rc = format.Format(value, CFFormat::NoUnits, out);
  return rc == 0 ? out : "<failed " + std::to_string(rc) + ">" + out;
}

// Makes `name` ICU's default locale for the life of the object, then puts the old one back.
class ScopedDefaultLocale {
 public:
  explicit ScopedDefaultLocale(const char* name) : m_saved(icu::Locale::getDefault()) {
    UErrorCode status = U_ZERO_ERROR;
    icu::Locale::setDefault(icu::Locale(name), status);
  }
  ~ScopedDefaultLocale() {
    UErrorCode status = U_ZERO_ERROR;
    icu::Locale::setDefault(m_saved, status);
  }
  ScopedDefaultLocale(const ScopedDefaultLocale&) = delete;
  ScopedDefaultLocale& operator=(const ScopedDefaultLocale&) = delete;

 private:
  icu::Locale m_saved;
};

}  // namespace cfmeta_test

#endif  // CFMETA_FORMAT_CFFORMAT_TESTUTIL_H_
