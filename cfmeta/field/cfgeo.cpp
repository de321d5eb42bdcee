#include "cfmeta/field/cfgeo.h"

#include <cmath>
#include <memory>
#include <string>
#include <utility>

#include "cfmeta/field/cffield.h"
#include "cfmeta/field/cffieldread_internal.h"
#include "cfmeta/field/cffieldwrite_internal.h"
#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/xml/cfxmlexchange_internal.h"
#include "cfmeta/xml/cfxmliteratorwrapper.h"
#include "cfmeta/xml/cfxmlwrapper.h"

using CfExtension::CFXMLIteratorWrapper;
using CfExtension::CFXMLWrapper;
namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLElements = CfCppHelperV1::XMLElements;

namespace {

constexpr int kBadContent = CfExtension::kXMLBadArgument;

// The projection flag is written and read as these texts, not as the vocabulary's booleans.
const char* const kTrue = "true";
const char* const kFalse = "false";

// Reads a text attribute into `property` when it is there.
int ReadText(const CFXMLWrapper& element, const char* name, CFGeoProperty<std::string>& property) {
  std::string text;
  bool found = false;
  int rc = element.getAttribute(name, text, found);
  if (rc == 0 && found) property.Set(std::move(text));
  return rc;
}

// Reads an integer attribute into `property` when it is there, through the int getter (an XML
// Schema integer, white space collapsed, narrowed to int).
int ReadInt32(const CFXMLWrapper& element, const char* name, CFGeoProperty<int32_t>& property) {
  int value = 0;
  bool found = false;
  int rc = element.getAttribute(name, value, found);
  if (rc == 0 && found) property.Set(value);
  return rc;
}

// Adds a set coordinate; one that is not finite is left out (see the header).
int AddCoordinate(CFXMLWrapper& element, const char* name, const CFGeoProperty<double>& property) {
  if (!property.isSet || !std::isfinite(property.value)) return 0;
  return element.addAttribute(name, property.value);
}

}  // namespace

// --- CFGeoEnvelope ---

CFGeoEnvelope::CFGeoEnvelope(const CFXMLWrapper& element) {
  const std::pair<const char*, CFGeoProperty<double>*> coordinates[] = {
      {XMLAttributes::LeftUpperX, &m_leftUpperX},
      {XMLAttributes::LeftUpperY, &m_leftUpperY},
      {XMLAttributes::RightLowerX, &m_rightLowerX},
      {XMLAttributes::RightLowerY, &m_rightLowerY}};
  for (const auto& coordinate : coordinates) {
    double value = 0.0;
    bool found = false;
    int kind = -1;
    if (element.getAttribute(coordinate.first, value, found, kind) == 0 && found && kind == 0) {
      coordinate.second->Set(value);
    }
  }
}

void CFGeoEnvelope::AddToTree(CFXMLWrapper& parent, CFXMLWrapper*& created) const {
  created = nullptr;
  std::unique_ptr<CFXMLWrapper> element(parent.createFreeElement(XMLElements::GeoEnvelope));
  if (!element) return;
  int rc = AddCoordinate(*element, XMLAttributes::LeftUpperX, m_leftUpperX);
  if (rc == 0) rc = AddCoordinate(*element, XMLAttributes::LeftUpperY, m_leftUpperY);
  if (rc == 0) rc = AddCoordinate(*element, XMLAttributes::RightLowerX, m_rightLowerX);
  if (rc == 0) rc = AddCoordinate(*element, XMLAttributes::RightLowerY, m_rightLowerY);
  cfmeta_internal::AttachFinished(rc, std::move(element), parent, created);
}

// --- CFGeo ---

CFGeo::CFGeo() = default;

CFGeo::CFGeo(const CFXMLWrapper& element) {
  // A bad attribute ends the attribute reading only; the envelope is read in any case.
  ReadAttributes(element);
  if (ReadEnvelope(element) != 0) {
    // The values stay; without their flags none of them counts as given.
    m_type.isSet = m_coordinates.isSet = m_wkid.isSet = m_csname.isSet = m_isProjected.isSet =
        m_wkt.isSet = false;
    m_envelope.reset();
  }
}

CFGeo::CFGeo(const CFGeo& other)
    : m_type(other.m_type),
      m_coordinates(other.m_coordinates),
      m_wkid(other.m_wkid),
      m_csname(other.m_csname),
      m_isProjected(other.m_isProjected),
      m_wkt(other.m_wkt),
      m_envelope(other.m_envelope ? new CFGeoEnvelope(*other.m_envelope) : nullptr) {}

CFGeo::CFGeo(CFGeo&& other) noexcept = default;

CFGeo& CFGeo::operator=(const CFGeo& other) {
  if (this != &other) *this = CFGeo(other);
  return *this;
}

CFGeo& CFGeo::operator=(CFGeo&& other) noexcept = default;

CFGeo::~CFGeo() = default;

void CFGeo::SetGeoEnvelope(const CFGeoEnvelope* envelope) {
  m_envelope.reset(envelope != nullptr ? new CFGeoEnvelope(*envelope) : nullptr);
}

int CFGeo::ReadAttributes(const CFXMLWrapper& element) {
  std::string text;
  bool found = false;
  int rc = element.getAttribute(XMLAttributes::Type, text, found);
  if (rc != 0) return rc;
  if (found) {
    int row = cfmeta_internal::FindStrInList(text.c_str(), CFField::kGeoTypeTable);
    if (row < 0) return kBadContent;
    SetType(static_cast<Type>(CFField::kGeoTypeTable[row].value));
  }
  rc = ReadInt32(element, XMLAttributes::Coordinates, m_coordinates);
  if (rc != 0) return rc;
  rc = ReadText(element, XMLAttributes::Csname, m_csname);
  if (rc != 0) return rc;
  rc = element.getAttribute(XMLAttributes::IsProjected, text, found);
  if (rc != 0) return rc;
  if (found) {
    if (text != kTrue && text != kFalse) return kBadContent;
    SetIsProjected(text == kTrue);
  }
  rc = ReadInt32(element, XMLAttributes::Wkid, m_wkid);
  if (rc != 0) return rc;
  return ReadText(element, XMLAttributes::Wkt, m_wkt);
}

int CFGeo::ReadEnvelope(const CFXMLWrapper& element) {
  CFXMLIteratorWrapper* children = nullptr;
  int rc = element.getElementDirectIterator("", &children);
  if (rc != 0) return rc;
  std::string name;
  for (CFXMLWrapper* child = children->nextElement(); child != nullptr;
       child = children->nextElement()) {
    rc = child->getName(name);
    if (rc != 0) return rc;
    if (name == XMLElements::GeoEnvelope) m_envelope.reset(new CFGeoEnvelope(*child));
  }
  return 0;
}

void CFGeo::AddToTree(CFXMLWrapper& parent, CFXMLWrapper*& created) const {
  created = nullptr;
  std::unique_ptr<CFXMLWrapper> element(parent.createFreeElement(XMLElements::Geo));
  if (!element) return;
  CFXMLWrapper& e = *element;
  int rc = 0;
  if (m_type.isSet) {
    rc = cfmeta_internal::AddEntity(e, XMLAttributes::Type, CFField::kGeoTypeTable,
                                    static_cast<uint32_t>(m_type.value));
  }
  if (rc == 0 && m_coordinates.isSet) {
    rc = e.addAttribute(XMLAttributes::Coordinates, static_cast<long long>(m_coordinates.value));
  }
  if (rc == 0 && m_csname.isSet && !m_csname.value.empty()) {
    rc = e.addAttribute(XMLAttributes::Csname, m_csname.value.c_str());
  }
  if (rc == 0 && m_isProjected.isSet) {
    rc = e.addAttribute(XMLAttributes::IsProjected, m_isProjected.value ? kTrue : kFalse);
  }
  if (rc == 0 && m_wkid.isSet) {
    rc = e.addAttribute(XMLAttributes::Wkid, static_cast<long long>(m_wkid.value));
  }
  if (rc == 0 && m_wkt.isSet && !m_wkt.value.empty()) {
    rc = e.addAttribute(XMLAttributes::Wkt, m_wkt.value.c_str());
  }
  if (rc == 0 && m_envelope) {
    CFXMLWrapper* child = nullptr;
    m_envelope->AddToTree(e, child);
    if (child == nullptr) rc = kBadContent;
  }
  cfmeta_internal::AttachFinished(rc, std::move(element), parent, created);
}
