#include "cfmeta/vocab/xmlelement.h"

#include <limits>

#include <xercesc/dom/DOM.hpp>

#include "cfmeta/xml/cfxmlwrapper.h"

XERCES_CPP_NAMESPACE_USE

namespace CfCppHelperV1 {

XMLElement::XMLElement(const CfExtension::CFXMLWrapper& element) {
  const DOMElement* node = element.getElement();
  if (node == nullptr) return;
  CfExtension::CFXMLConverter::ToUTF8(node->getTagName(), m_name);
  const DOMNamedNodeMap* attributes = node->getAttributes();
  XMLSize_t count = attributes != nullptr ? attributes->getLength() : 0;
  m_attributes.reserve(count);
  for (XMLSize_t i = 0; i < count; ++i) {
    const DOMNode* attr = attributes->item(i);
    std::pair<std::string, std::string> entry;
    CfExtension::CFXMLConverter::ToUTF8(attr->getNodeName(), entry.first);
    CfExtension::CFXMLConverter::ToUTF8(attr->getNodeValue(), entry.second);
    m_attributes.push_back(std::move(entry));
  }
}

const std::string* XMLElement::Find(const std::string& name) const {
  for (const auto& attribute : m_attributes) {
    if (attribute.first == name) return &attribute.second;
  }
  return nullptr;
}

void XMLElement::setAttribute(const std::string& name, const std::string& value) {
  for (auto& attribute : m_attributes) {
    if (attribute.first == name) {
      attribute.second = value;
      return;
    }
  }
  m_attributes.emplace_back(name, value);
}

bool XMLElement::hasAttribute(const std::string& name) const { return Find(name) != nullptr; }

bool XMLElement::getAttribute(const std::string& name, std::string& value) const {
  const std::string* found = Find(name);
  value = found != nullptr ? *found : std::string();
  return found != nullptr;
}

// The numbers follow the wrapper's grammar exactly, so both readers of one element agree.
bool XMLElement::getAttribute(const std::string& name, double& value) const {
  value = 0.0;
  const std::string* found = Find(name);
  if (found == nullptr) return false;
  int kind = -1;
  if (!CfExtension::CFXMLWrapper::ParseDouble(*found, value, kind)) return false;
  switch (kind) {
    case 1:
      value = -std::numeric_limits<double>::infinity();
      break;
    case 2:
      value = std::numeric_limits<double>::infinity();
      break;
    case 3:
      value = std::numeric_limits<double>::quiet_NaN();
      break;
    default:
      break;
  }
  return true;
}

bool XMLElement::getAttribute(const std::string& name, long long& value) const {
  value = 0;
  const std::string* found = Find(name);
  if (found == nullptr) return false;
  return CfExtension::CFXMLWrapper::ParseLongLong(*found, value);
}

}  // namespace CfCppHelperV1
