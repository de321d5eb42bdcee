// Conversion between the library's UTF-8 text and ICU's 16-bit strings.
//
// One converter belongs to one thread at a time. Well-formed text converts exactly; malformed
// input goes through an ICU "utf-8" converter, which puts U+FFFD where a sequence is broken.
#ifndef CFMETA_PRINTABLE_CFUNCCONVERTER_H_
#define CFMETA_PRINTABLE_CFUNCCONVERTER_H_

#include <unicode/ucnv.h>
#include <unicode/unistr.h>

#include <memory>
#include <string>

#include "cfmeta/cfmeta_export.h"

namespace CFPrintableUtil {

class CFMETA_API CFUncConverter {
 public:
  // The ICU converter is opened on first need; construction never fails.
  CFUncConverter();
  ~CFUncConverter();
  CFUncConverter(const CFUncConverter&) = delete;
  CFUncConverter& operator=(const CFUncConverter&) = delete;

  // The UTF-16 form of `text`, embedded NULs included. Empty when the converter cannot be
  // opened or the text is longer than a UnicodeString can hold.
  icu::UnicodeString ToUTF16(const std::string& text);
  // The UTF-8 form of `text`; empty on any conversion error.
  std::string ToUTF8(const icu::UnicodeString& text);

 private:
  struct Closer {
    void operator()(UConverter* converter) const { ucnv_close(converter); }
  };
  std::unique_ptr<UConverter, Closer> m_converter;

  UConverter* Converter();
};

}  // namespace CFPrintableUtil

#endif  // CFMETA_PRINTABLE_CFUNCCONVERTER_H_
