#include "cfmeta/field/cfrange.h"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <cstring>
#include <memory>
#include <string>

#include "cfmeta/field/cffieldread_internal.h"
#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/xml/cfxmlwrapper.h"

using CfExtension::CFXMLWrapper;
namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLElements = CfCppHelperV1::XMLElements;

namespace {

// True when every character of `text` has the Unicode white-space property; the empty text
// qualifies. A malformed sequence decodes as a negative value and so counts as a non-space.
bool IsAllWhiteSpace(const char* text) {
  const uint8_t* bytes = reinterpret_cast<const uint8_t*>(text);
  const int64_t length = static_cast<int64_t>(std::strlen(text));
  for (int64_t i = 0; i < length;) {
    UChar32 c = 0;
    U8_NEXT(bytes, i, length, c);
    if (c < 0 || !u_isspace(c)) return false;
  }
  return true;
}

// Adds `datum`'s text as attribute `name` unless the datum is null. False on failure.
bool AddLimit(CFXMLWrapper& element, const char* name, const CFDatum& datum) {
  if (datum.IsNull()) return true;
  std::string text;
  return datum.ToString(text, 0) && element.addAttribute(name, text.c_str()) == 0;
}

}  // namespace

CFRange::CFRange() : m_limits(CFDatum(1LL), CFDatum(0LL)) {}

CFRange::CFRange(const CFDatum& lower, const CFDatum& upper) : m_limits(lower, upper) {}

CFRange::CFRange(const CFXMLWrapper& element, CFDatum::DataType type) : CFRange() {
  // String fields have no ranges.
  if (type == CFDatum::String) return;
  CFDatum lower, upper;
  int status = -1;
  if (cfmeta_internal::GetDataValueAttr(element, XMLAttributes::MinValue, type, lower, status) !=
      0) {
    return;
  }
  if (cfmeta_internal::GetDataValueAttr(element, XMLAttributes::MaxValue, type, upper, status) !=
      0) {
    return;
  }
  if (lower.Compare(upper) == 1) return;
  m_limits.first = lower;
  m_limits.second = upper;
}

bool CFRange::IsEmpty() const {
  switch (m_limits.first.Compare(m_limits.second)) {
    case 1:
      return true;
    case 2:
      return m_limits.first.IsNull() && m_limits.second.IsNull();
    default:
      return false;
  }
}

int CFRange::CheckInRange(const CFDatum& datum) const {
  if (datum.IsNull()) return 2;
  if (IsEmpty()) return 0;
  if (!m_limits.first.IsNull()) {
    int order = datum.Compare(m_limits.first);
    if (order == -1) return 0;
    if (order == 2) return 2;
  }
  if (!m_limits.second.IsNull()) {
    int order = datum.Compare(m_limits.second);
    if (order == 1) return 0;
    if (order == 2) return 2;
  }
  return 1;
}

void CFRange::AddToTree(CFXMLWrapper& parent, CFXMLWrapper*& created,
                        bool /*isMissingRange*/) const {
  created = nullptr;
  if (IsEmpty()) return;
  std::unique_ptr<CFXMLWrapper> element(parent.createFreeElement(XMLElements::Range));
  if (!element) return;
  if (!AddLimit(*element, XMLAttributes::MinValue, m_limits.first)) return;
  if (!AddLimit(*element, XMLAttributes::MaxValue, m_limits.second)) return;
  // Attach only when complete: a half-built element must never reach the caller's tree.
  if (parent.addElement(element.get()) != 0) return;
  created = element.release();
}

CFMissingValues::CFMissingValues(const CFRange& range, const std::vector<CFValue>& values,
                                 bool treatNull, bool treatWhitespace)
    : m_range(range),
      m_values(values),
      m_treatNull(treatNull),
      m_treatWhitespace(treatWhitespace) {}

bool CFMissingValues::IsValid() const {
  if (m_values.empty()) return true;
  const CFDatum::DataType reference = m_range.IsEmpty() ? m_values.front().GetValue().GetType()
                                                        : m_range.GetLimits().first.GetType();
  for (const CFValue& value : m_values) {
    if (value.GetValue().IsNull() || value.GetValue().GetType() != reference) return false;
  }
  return true;
}

int CFMissingValues::CheckForMissing(const char* text) const {
  if (text == nullptr) return m_treatNull ? 1 : 0;
  int listed = CFValue::SearchList(text, m_values);
  if (listed != 0) return listed;
  return m_treatWhitespace && IsAllWhiteSpace(text) ? 1 : 0;
}

int CFMissingValues::CheckForMissing(const CFDatum& datum) const {
  if (datum.GetType() == CFDatum::String) {
    return CheckForMissing(datum.IsNull() ? nullptr : datum.GetString());
  }
  if (datum.IsNull()) return m_treatNull ? 1 : 0;
  int listed = CFValue::SearchList(datum, m_values);
  if (listed != 0) return listed;
  return m_range.CheckInRange(datum);
}
