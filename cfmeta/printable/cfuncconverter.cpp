#include "cfmeta/printable/cfuncconverter.h"

#include <unicode/ustring.h>

#include <climits>
#include <vector>

namespace CFPrintableUtil {

namespace {
constexpr int32_t kFirstBufferSize = 128;
}  // namespace

CFUncConverter::CFUncConverter() = default;
CFUncConverter::~CFUncConverter() = default;

UConverter* CFUncConverter::Converter() {
  if (!m_converter) {
    UErrorCode status = U_ZERO_ERROR;
    UConverter* converter = ucnv_open("utf-8", &status);
    if (U_FAILURE(status)) {
      if (converter != nullptr) ucnv_close(converter);
      return nullptr;
    }
    m_converter.reset(converter);
  }
  return m_converter.get();
}

icu::UnicodeString CFUncConverter::ToUTF16(const std::string& text) {
  icu::UnicodeString out;
  if (text.size() > static_cast<size_t>(INT32_MAX / 2)) return out;
  const int32_t length = static_cast<int32_t>(text.size());
  if (length == 0) return out;

  // Well-formed text decodes one way only, so a strict decode gives what the converter
  // would; only malformed text needs the converter's substitution.
  UErrorCode status = U_ZERO_ERROR;
  int32_t needed = 0;
  UChar* buffer = out.getBuffer(length);
  if (buffer != nullptr) {
    u_strFromUTF8(buffer, out.getCapacity(), &needed, text.data(), length, &status);
    out.releaseBuffer(U_SUCCESS(status) ? needed : 0);
    if (U_SUCCESS(status)) return out;
  }

  out.remove();
  UConverter* converter = Converter();
  if (converter == nullptr) return out;
  status = U_ZERO_ERROR;
  icu::UnicodeString converted(text.data(), length, converter, status);
  ucnv_reset(converter);
  if (U_FAILURE(status) || converted.isBogus()) return out;
  return converted;
}

std::string CFUncConverter::ToUTF8(const icu::UnicodeString& text) {
  std::string out;
  if (text.isBogus() || text.isEmpty()) return out;
  const int32_t length = text.length();

  // Same reasoning as ToUTF16: a strict encode matches the converter on well-formed text.
  if (length <= INT32_MAX / 3) {
    out.resize(static_cast<size_t>(length) * 3);
    UErrorCode status = U_ZERO_ERROR;
    int32_t needed = 0;
    u_strToUTF8(&out[0], static_cast<int32_t>(out.size()), &needed, text.getBuffer(), length,
                &status);
    if (U_SUCCESS(status)) {
      out.resize(static_cast<size_t>(needed));
      return out;
    }
    out.clear();
  }

  UConverter* converter = Converter();
  if (converter == nullptr) return out;
  char small[kFirstBufferSize];
  UErrorCode status = U_ZERO_ERROR;
  int32_t needed = text.extract(small, kFirstBufferSize, converter, status);
  if (status == U_BUFFER_OVERFLOW_ERROR) {
    std::vector<char> large(static_cast<size_t>(needed) + 1);
    status = U_ZERO_ERROR;
    needed = text.extract(large.data(), needed + 1, converter, status);
    if (U_SUCCESS(status)) out.assign(large.data(), static_cast<size_t>(needed));
  } else if (U_SUCCESS(status)) {
    out.assign(small, static_cast<size_t>(needed));
  }
  ucnv_reset(converter);
  return out;
}

}  // namespace CFPrintableUtil
