// Converts text in any encoding ICU knows to UTF-8 as it arrives in pieces, in bounded memory.
#ifndef TOOLS_CFMETA_TRANSCODER_H_
#define TOOLS_CFMETA_TRANSCODER_H_

#include <unicode/ucnv.h>

#include <cstddef>
#include <functional>
#include <string>

namespace cfmeta_tool {

class Transcoder {
 public:
  // What a converted piece is handed to; the text is valid only during the call.
  using Output = std::function<void(const char* text, size_t length)>;

  // True when ICU has a converter of that name or alias ("latin1", "windows-1252", "utf-16").
  static bool Known(const std::string& encoding);
  // True when `encoding` names UTF-8 itself ("utf-8", "UTF8").
  static bool IsUtf8(const std::string& encoding);

  // Throws ToolError with kExitBadUsage when ICU has no converter called `encoding`.
  explicit Transcoder(const std::string& encoding);
  ~Transcoder();
  Transcoder(const Transcoder&) = delete;
  Transcoder& operator=(const Transcoder&) = delete;

  // Converts `data`, handing the UTF-8 text to `out` in pieces of at most 64 KiB; `last` ends
  // the input. False at the first bytes that are not text in the encoding (or, with `last`, a
  // character cut short), after all the text before them has gone to `out`; the converter is
  // then spent.
  bool Convert(const char* data, size_t length, bool last, const Output& out);

 private:
  static constexpr size_t kPivotUnits = 4096;
  static constexpr size_t kOutBytes = size_t{64} << 10;

  UConverter* m_source = nullptr;
  UConverter* m_utf8 = nullptr;
  bool m_reset = true;
  UChar m_pivot[kPivotUnits];
  UChar* m_pivotSource = m_pivot;
  UChar* m_pivotTarget = m_pivot;
  char m_out[kOutBytes];
};

}  // namespace cfmeta_tool

#endif  // TOOLS_CFMETA_TRANSCODER_H_
