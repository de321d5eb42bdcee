// Helpers that the format tests share.
#ifndef CFMETA_FORMAT_CFFORMAT_TESTUTIL_H_
#define CFMETA_FORMAT_CFFORMAT_TESTUTIL_H_

#include <unicode/locid.h>

#include <map>
#include <string>

#include "cfmeta/field/cfdatum.h"
#include "cfmeta/format/cfformat.h"
#include "cfmeta/xml/cfxml_testutil.h"

namespace cfmeta_test {

// The rendered text, or "<failed N>" followed by what was left in the output.
inline std::string Render(const CFFormat& format, const CFDatum& value,
                          CFFormat::ValueUnits units = CFFormat::NoUnits) {
  std::string out = "stale";
  int rc = format.Format(value, units, out);
  return rc == 0 ? out : "<failed " + std::to_string(rc) + ">" + out;
}

// The start of an element as the serialiser writes it, attributes in name order, without
// the closing "/>" or ">".
inline std::string OpenTag(const std::string& name,
                           const std::map<std::string, std::string>& attributes) {
  std::string tag = "<" + name;
  for (const auto& attribute : attributes) {
    tag += " " + attribute.first + "=\"" + Escape(attribute.second) + "\"";
  }
  return tag;
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
