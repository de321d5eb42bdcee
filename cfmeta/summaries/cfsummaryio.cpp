#include "cfmeta/summaries/cfsummaryio_internal.h"
#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/xml/cfxmlexchange_internal.h"

using CfExtension::CFXMLIteratorWrapper;
using CfExtension::CFXMLWrapper;
namespace XMLEntities = CfCppHelperV1::XMLEntities;

namespace cfmeta_internal {

bool IsFlagText(const std::string& text) {
  return text == XMLEntities::True || text == XMLEntities::False;
}

// --- SummaryReader ---

SummaryReader& SummaryReader::Check(bool condition, const char* rule) {
  return condition ? *this : Fail(rule);
}

SummaryReader& SummaryReader::Fail(const std::string& rule) {
  m_ok = false;
  Broken(m_element, rule);
  return *this;
}

SummaryReader& SummaryReader::Fail(const CFXMLWrapper* child, const char* name) {
  m_ok = false;
  Broken(*child, std::string("the ") + name + " cannot be read");
  return *this;
}

SummaryReader& SummaryReader::MissingChild(const char* name) {
  return Fail(std::string("a ") + name + " child is required");
}

SummaryReader& SummaryReader::Double(const char* name, OptionalDouble& out, Need need) {
  if (!m_ok) return *this;
  double value = 0.0;
  bool found = false;
  int kind = -1;
  if (m_element.getAttribute(name, value, found, kind) != 0 || (found && kind != 0)) {
    return Fail(std::string(name) + " must be a finite number");
  }
  if (!found) return need == Need::Optional ? *this : Fail(std::string(name) + " must be given");
  out.value = value;
  out.given = true;
  return *this;
}

SummaryReader& SummaryReader::Int64(const char* name, OptionalInt64& out, Need need,
                                    long long minimum) {
  if (!m_ok) return *this;
  long long value = 0;
  bool found = false;
  if (m_element.getAttribute(name, value, found) != 0) {
    return Fail(std::string(name) + " must be a whole number");
  }
  if (!found) return need == Need::Optional ? *this : Fail(std::string(name) + " must be given");
  if (value < minimum) {
    return Fail(std::string(name) + " must be at least " + std::to_string(minimum));
  }
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
  if (m_element.getAttribute(name, value, found) != 0) return Fail("its attributes cannot be read");
  if (!found) return need == Need::Optional ? *this : Fail(std::string(name) + " must be given");
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
  if (!m_ok || !out.empty()) return *this;
  return Fail(std::string(name) + " must be given and not empty");
}

SummaryReader& SummaryReader::FlagText(const char* name, std::string& out) {
  OptionalText text;
  Text(name, text, Need::Optional);
  if (m_ok && text.given && !IsFlagText(text.value)) {
    Fail(std::string(name) + " must be " + XMLEntities::True + " or " + XMLEntities::False);
  }
  if (m_ok) out.swap(text.value);
  return *this;
}

SummaryReader& SummaryReader::Flag(const char* name, bool& out) {
  if (!m_ok) return *this;
  bool value = false;
  bool found = false;
  if (ReadBoolAttr(m_element, name, value, found) != 0) {
    m_ok = false;  // the rule is already recorded
    return *this;
  }
  if (found) out = value;
  return *this;
}

SummaryReader& SummaryReader::NoChild(const char* name) {
  if (!m_ok) return *this;
  CFXMLWrapper* child = nullptr;
  if (!First(name, child)) return Fail("its children cannot be read");
  return child == nullptr ? *this : Fail(std::string(name) + " is not allowed here");
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
