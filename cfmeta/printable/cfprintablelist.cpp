#include "cfmeta/printable/cfprintablelist.h"

#include <unicode/fieldpos.h>
#include <unicode/fmtable.h>
#include <unicode/msgfmt.h>
#include <unicode/strenum.h>

#include <memory>
#include <string>
#include <vector>

#include "cfmeta/printable/cfprintablecommon_internal.h"
#include "cfmeta/xml/cfxmlwrapper.h"

using CfExtension::CFXMLWrapper;
using CFPrintableUtil::CommonImpl;

namespace {

constexpr int kPartCount = 3;

// Null when `pattern` does not compile.
std::unique_ptr<icu::MessageFormat> Compile(const icu::UnicodeString& pattern) {
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::MessageFormat> format(new icu::MessageFormat(pattern, status));
  if (U_FAILURE(status)) return nullptr;
  return format;
}

// The format names ICU reports hold one entry per top-level placeholder, a repeated one
// each time it appears. getFormats would count the same, but it writes past its own array
// on some ICU versions when a pattern repeats placeholders more than ten times.
int CountArguments(icu::MessageFormat& format) {
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::StringEnumeration> names(format.getFormatNames(status));
  if (U_FAILURE(status) || !names) return -1;
  const int32_t count = names->count(status);
  return U_FAILURE(status) ? -1 : count;
}

// `format` over `count` arguments from `first`; empty on failure.
icu::UnicodeString FormatOver(const icu::MessageFormat& format, const icu::Formattable* first,
                              int32_t count) {
  icu::UnicodeString out;
  icu::FieldPosition ignore;
  UErrorCode status = U_ZERO_ERROR;
  format.format(first, count, out, ignore, status);
  if (U_FAILURE(status)) out.remove();
  return out;
}

}  // namespace

// --- CFPrintableList ---

CFPrintableList::CFPrintableList() : m_common(new CommonImpl) {}

CFPrintableList::CFPrintableList(const std::string& pattern, bool isKey, int mapId)
    : m_common(new CommonImpl(pattern, isKey, mapId)) {}

CFPrintableList::CFPrintableList(const CFXMLWrapper& element) : CFPrintableList(element, 0) {}

CFPrintableList::CFPrintableList(const CFXMLWrapper& element, int depth)
    : m_common(new CommonImpl(element, depth)) {}

CFPrintableList::CFPrintableList(const CFPrintableList& other)
    : CFPrintable(other), m_common(new CommonImpl(*other.m_common)) {}

CFPrintableList& CFPrintableList::operator=(const CFPrintableList& other) {
  if (this != &other) m_common.reset(new CommonImpl(*other.m_common));
  return *this;
}

CFPrintableList::~CFPrintableList() = default;

CFPrintableList* CFPrintableList::CreateFromElmt(const CFXMLWrapper& element, bool& matched) {
  return cfprintable_internal::CreateIfNamed<CFPrintableList>(
      element, cfprintable_internal::kListElement, matched);
}

void CFPrintableList::SetPattern(const std::string& pattern, bool isKey, int mapId) {
  m_common->SetPattern(pattern, isKey, mapId);
}

void CFPrintableList::SetList(const std::vector<const CFPrintable*>& list) {
  m_common->SetList(list);
}

void CFPrintableList::AppendToList(const CFPrintable& printable) {
  m_common->AppendToList(printable);
}

CFPrintable* CFPrintableList::Clone() const { return new CFPrintableList(*this); }

std::string CFPrintableList::Print() const {
  const std::string& pattern = m_common->GetPattern();
  if (m_common->ArgumentCount() == 0) return pattern;
  std::unique_ptr<icu::MessageFormat> format = Compile(m_common->Converter().ToUTF16(pattern));
  if (!format) return std::string();
  const std::vector<icu::Formattable> arguments = m_common->RenderArguments();
  return m_common->Converter().ToUTF8(
      FormatOver(*format, arguments.data(), static_cast<int32_t>(arguments.size())));
}

void CFPrintableList::SetResLookUp(CFResLookUp* lookUp) { m_common->SetResLookUp(lookUp); }

void CFPrintableList::AddToTree(CFXMLWrapper& parent, CFXMLWrapper*& created) const {
  m_common->AddToTree(cfprintable_internal::kListElement, parent, created);
}

// --- CFPrintableVList ---

class CFPrintableVList::Parts {
 public:
  // Splits `pattern` at its first two "/" and compiles the three parts.
  Parts(const std::string& pattern, CFPrintableUtil::CFUncConverter& converter)
      : m_source(pattern) {
    size_t start = 0;
    for (int k = 0; k < kPartCount; ++k) {
      size_t end = k + 1 < kPartCount ? pattern.find('/', start) : std::string::npos;
      std::string part;
      if (start <= pattern.size()) part = pattern.substr(start, end - start);
      start = end == std::string::npos ? pattern.size() + 1 : end + 1;
      m_formats[k] = Compile(converter.ToUTF16(part));
      m_counts[k] = m_formats[k] ? CountArguments(*m_formats[k]) : -1;
      if (m_counts[k] < 0) {
        for (auto& format : m_formats) format.reset();
        m_compiled = false;
        return;
      }
    }
    m_compiled = true;
  }

  const std::string& Source() const { return m_source; }
  bool Compiled() const { return m_compiled; }
  size_t Count(int k) const { return static_cast<size_t>(m_counts[k]); }

  // Part `k` over `count` arguments from `first`; empty when it takes none or too few are
  // left.
  icu::UnicodeString Render(int k, const std::vector<icu::Formattable>& arguments, size_t first,
                            size_t count) const {
    if (count == 0 || first + count > arguments.size()) return icu::UnicodeString();
    return FormatOver(*m_formats[k], arguments.data() + first, static_cast<int32_t>(count));
  }

 private:
  std::string m_source;
  bool m_compiled = false;
  std::unique_ptr<icu::MessageFormat> m_formats[kPartCount];
  int m_counts[kPartCount] = {0, 0, 0};
};

CFPrintableVList::CFPrintableVList() : m_common(new CommonImpl) {}

CFPrintableVList::CFPrintableVList(const std::string& pattern, bool isKey, int mapId)
    : m_common(new CommonImpl(pattern, isKey, mapId)) {}

CFPrintableVList::CFPrintableVList(const CFXMLWrapper& element) : CFPrintableVList(element, 0) {}

CFPrintableVList::CFPrintableVList(const CFXMLWrapper& element, int depth)
    : m_common(new CommonImpl(element, depth)) {}

CFPrintableVList::CFPrintableVList(const CFPrintableVList& other)
    : CFPrintable(other), m_common(new CommonImpl(*other.m_common)) {}

CFPrintableVList& CFPrintableVList::operator=(const CFPrintableVList& other) {
  if (this != &other) {
    m_common.reset(new CommonImpl(*other.m_common));
    m_parts.reset();
  }
  return *this;
}

CFPrintableVList::~CFPrintableVList() = default;

CFPrintableVList* CFPrintableVList::CreateFromElmt(const CFXMLWrapper& element, bool& matched) {
  return cfprintable_internal::CreateIfNamed<CFPrintableVList>(
      element, cfprintable_internal::kVListElement, matched);
}

void CFPrintableVList::SetPattern(const std::string& pattern, bool isKey, int mapId) {
  m_common->SetPattern(pattern, isKey, mapId);
  m_parts.reset();
}

void CFPrintableVList::SetList(const std::vector<const CFPrintable*>& list) {
  m_common->SetList(list);
}

void CFPrintableVList::AppendToList(const CFPrintable& printable) {
  m_common->AppendToList(printable);
}

CFPrintable* CFPrintableVList::Clone() const { return new CFPrintableVList(*this); }

std::string CFPrintableVList::Print() const {
  const std::string& pattern = m_common->GetPattern();
  // A key resolved afresh may give another pattern than the parts were made from.
  if (!m_parts || m_parts->Source() != pattern) {
    m_parts.reset(new Parts(pattern, m_common->Converter()));
  }
  if (!m_parts->Compiled()) return std::string();

  const std::vector<icu::Formattable> arguments = m_common->RenderArguments();
  const size_t total = arguments.size();
  const size_t head = m_parts->Count(0), middle = m_parts->Count(1), tail = m_parts->Count(2);
  icu::UnicodeString out = m_parts->Render(0, arguments, 0, head);
  if (total > head && total - head >= tail) {
    const size_t tailStart = total - tail;
    for (size_t next = head; middle >= 1 && tailStart - next >= middle; next += middle) {
      out += m_parts->Render(1, arguments, next, middle);
    }
    out += m_parts->Render(2, arguments, tailStart, tail);
  }
  return m_common->Converter().ToUTF8(out);
}

void CFPrintableVList::SetResLookUp(CFResLookUp* lookUp) { m_common->SetResLookUp(lookUp); }

void CFPrintableVList::AddToTree(CFXMLWrapper& parent, CFXMLWrapper*& created) const {
  m_common->AddToTree(cfprintable_internal::kVListElement, parent, created);
}

int CFPrintableVList::CountPartArguments(const std::string& part) {
  CFPrintableUtil::CFUncConverter converter;
  std::unique_ptr<icu::MessageFormat> format = Compile(converter.ToUTF16(part));
  return format ? CountArguments(*format) : -1;
}
