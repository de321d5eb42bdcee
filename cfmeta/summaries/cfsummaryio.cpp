#include "cfmeta/field/cffieldread_internal.h"
#include "cfmeta/summaries/cfsummaryio_internal.h"
#include "cfmeta/vocab/cfvocabulary.h"

using CfExtension::CFXMLIteratorWrapper;
using CfExtension::CFXMLWrapper;
namespace XMLEntities = CfCppHelperV1::XMLEntities;

namespace cfmeta_internal {

bool IsFlagText(const std::string& text) {
  return text == XMLEntities::True || text == XMLEntities::False;
}

// --- SummaryReader ---

SummaryReader& SummaryReader::Check(bool condition) {
  if (!condition) m_ok = false;
  return *this;
}

SummaryReader& SummaryReader::Double(const char* name, OptionalDouble& out, Need need) {
  if (!m_ok) return *this;
  double value = 0.0;
  bool found = false;
  int kind = -1;
  if (m_element.getAttribute(name, value, found, kind) != 0) return Fail();
  if (!found) return Check(need == Need::Optional);
  if (kind != 0) return Fail();
  out.value = value;
  out.given = true;
  return *this;
}

SummaryReader& SummaryReader::Int64(const char* name, OptionalInt64& out, Need need,
                                    long long minimum) {
  if (!m_ok) return *this;
  long long value = 0;
  bool found = false;
  if (m_element.getAttribute(name, value, found) != 0) return Fail();
  if (!found) return Check(need == Need::Optional);
  if (value < minimum) return Fail();
  out.value = value;
  out.given = true;
  return *this;
}

SummaryReader& SummaryReader::Count(const char* name, long long& out) {
  OptionalInt64 count;
  Int64(name, count, Need::Optional, 0);
  if (m_ok) out = count.given ? count.value : -1;
  return *this;
}

SummaryReader& SummaryReader::Text(const char* name, OptionalText& out, Need need) {
  if (!m_ok) return *this;
  std::string value;
  bool found = false;
  if (m_element.getAttribute(name, value, found) != 0) return Fail();
  if (!found) return Check(need == Need::Optional);
  out.value.swap(value);
  out.given = true;
  return *this;
}

SummaryReader& SummaryReader::Text(const char* name, std::string& out) {
  OptionalText text;
  Text(name, text, Need::Optional);
  if (m_ok) out.swap(text.value);
  return *this;
}

SummaryReader& SummaryReader::NonEmptyText(const char* name, std::string& out) {
  Text(name, out);
  return Check(!out.empty());
}

SummaryReader& SummaryReader::FlagText(const char* name, std::string& out) {
  OptionalText text;
  Text(name, text, Need::Optional).Check(!text.given || IsFlagText(text.value));
  if (m_ok) out.swap(text.value);
  return *this;
}

SummaryReader& SummaryReader::Flag(const char* name, bool& out) {
  if (!m_ok) return *this;
  bool value = false;
  bool found = false;
  if (GetBoolAttr(m_element, name, value, found) != 0) return Fail();
  if (found) out = value;
  return *this;
}

SummaryReader& SummaryReader::NoChild(const char* name) {
  if (!m_ok) return *this;
  CFXMLWrapper* child = nullptr;
  return Check(First(name, child) && child == nullptr);
}

bool SummaryReader::First(const char* name, CFXMLWrapper*& child) const {
  CFXMLIteratorWrapper* it = nullptr;
  if (m_element.getElementDirectIterator(name, &it) != 0) return false;
  child = it->nextElement();
  return true;
}

// --- SummaryWriter ---

SummaryWriter& SummaryWriter::Check(bool condition) {
  if (!condition) m_ok = false;
  return *this;
}

SummaryWriter& SummaryWriter::Double(const char* name, const OptionalDouble& value, Need need) {
  if (!m_ok) return *this;
  if (!value.given) return Check(need == Need::Optional);
  return Check(m_element->addAttribute(name, value.value) == 0);
}

SummaryWriter& SummaryWriter::Int64(const char* name, const OptionalInt64& value, Need need,
                                    long long minimum) {
  if (!m_ok) return *this;
  if (!value.given) return Check(need == Need::Optional);
  return Check(value.value >= minimum && m_element->addAttribute(name, value.value) == 0);
}

SummaryWriter& SummaryWriter::Count(const char* name, long long value) {
  if (!m_ok || value < 0) return *this;
  return Check(m_element->addAttribute(name, value) == 0);
}

SummaryWriter& SummaryWriter::Text(const char* name, const OptionalText& value, Need need) {
  if (!m_ok) return *this;
  if (!value.given) return Check(need == Need::Optional);
  return Check(m_element->addAttribute(name, value.value.c_str()) == 0);
}

SummaryWriter& SummaryWriter::Text(const char* name, const std::string& value) {
  if (!m_ok || value.empty()) return *this;
  return Check(m_element->addAttribute(name, value.c_str()) == 0);
}

SummaryWriter& SummaryWriter::NonEmptyText(const char* name, const std::string& value) {
  return Check(!value.empty()).Text(name, value);
}

SummaryWriter& SummaryWriter::FlagText(const char* name, const std::string& value) {
  return Check(value.empty() || IsFlagText(value)).Text(name, value);
}

SummaryWriter& SummaryWriter::Flag(const char* name, bool value) {
  return Text(name, std::string(value ? XMLEntities::True : XMLEntities::False));
}

void SummaryWriter::AttachTo(CFXMLWrapper& parent, CFXMLWrapper*& created) {
  created = nullptr;
  if (!m_ok || parent.addElement(m_element.get()) != 0) return;
  created = m_element.release();
}

}  // namespace cfmeta_internal
