#include "tools/cfmeta/transcoder.h"

#include <fmt/format.h>

#include <cstring>
#include <memory>
#include <new>

#include "tools/cfmeta/toolerror.h"

namespace cfmeta_tool {

namespace {

struct ConverterCloser {
  void operator()(UConverter* converter) const { ucnv_close(converter); }
};
using ConverterPtr = std::unique_ptr<UConverter, ConverterCloser>;

// An empty name would give ICU's default converter, whatever the locale makes it.
ConverterPtr Open(const std::string& encoding) {
  if (encoding.empty()) return nullptr;
  UErrorCode status = U_ZERO_ERROR;
  ConverterPtr converter(ucnv_open(encoding.c_str(), &status));
  if (U_FAILURE(status)) return nullptr;
  return converter;
}

}  // namespace

bool Transcoder::Known(const std::string& encoding) { return Open(encoding) != nullptr; }

bool Transcoder::IsUtf8(const std::string& encoding) {
  ConverterPtr converter = Open(encoding);
  if (!converter) return false;
  UErrorCode status = U_ZERO_ERROR;
  const char* name = ucnv_getName(converter.get(), &status);
  return U_SUCCESS(status) && std::strcmp(name, "UTF-8") == 0;
}

Transcoder::Transcoder(const std::string& encoding) {
  ConverterPtr source = Open(encoding);
  if (!source) {
    throw ToolError(fmt::format("unknown encoding '{}'", encoding), kExitBadUsage);
  }
  ConverterPtr utf8 = Open("UTF-8");
  if (!utf8) throw std::bad_alloc();
  // Bytes that are not text must stop the read, not turn into substitutes.
  UErrorCode status = U_ZERO_ERROR;
  ucnv_setToUCallBack(source.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
  ucnv_setFromUCallBack(utf8.get(), UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
  if (U_FAILURE(status)) throw std::bad_alloc();
  m_source = source.release();
  m_utf8 = utf8.release();
}

Transcoder::~Transcoder() {
  ucnv_close(m_source);
  ucnv_close(m_utf8);
}

bool Transcoder::Convert(const char* data, size_t length, bool last, const Output& out) {
  // ICU takes no null source, not even an empty one.
  static const char kNothing[1] = {};
  const char* source = data != nullptr ? data : kNothing;
  const char* sourceLimit = source + length;
  for (;;) {
    char* target = m_out;
    UErrorCode status = U_ZERO_ERROR;
    ucnv_convertEx(m_utf8, m_source, &target, m_out + kOutBytes, &source, sourceLimit, m_pivot,
                   &m_pivotSource, &m_pivotTarget, m_pivot + kPivotUnits, m_reset, last, &status);
    m_reset = false;
    if (status == U_BUFFER_OVERFLOW_ERROR) {
      out(m_out, static_cast<size_t>(target - m_out));
      continue;
    }
    if (U_FAILURE(status)) {
      // What was converted before the bad bytes may still wait in the pivot; it goes out too,
      // so that the reader stands on the line that holds them.
      out(m_out, static_cast<size_t>(target - m_out));
      UErrorCode drained = U_BUFFER_OVERFLOW_ERROR;
      while (drained == U_BUFFER_OVERFLOW_ERROR) {
        target = m_out;
        drained = U_ZERO_ERROR;
        ucnv_fromUnicode(m_utf8, &target, m_out + kOutBytes,
                         const_cast<const UChar**>(&m_pivotSource), m_pivotTarget, nullptr, false,
                         &drained);
        out(m_out, static_cast<size_t>(target - m_out));
      }
      return false;
    }
    if (target != m_out) out(m_out, static_cast<size_t>(target - m_out));
    return true;
  }
}

}  // namespace cfmeta_tool
