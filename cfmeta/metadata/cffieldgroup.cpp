#include "cfmeta/metadata/cffieldgroup.h"

#include <utility>

#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/xml/cfxmlexchange_internal.h"
#include "cfmeta/xml/cfxmliteratorwrapper.h"
#include "cfmeta/xml/cfxmlwrapper.h"

using CfExtension::CFXMLIteratorWrapper;
using CfExtension::CFXMLWrapper;
namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLElements = CfCppHelperV1::XMLElements;
namespace XMLEntities = CfCppHelperV1::XMLEntities;

namespace {

struct TypeRow {
  CFMetaData::GroupType type;
  const char* text;
};

const TypeRow kTypeRows[] = {
    {CFMetaData::PlainGroup, XMLEntities::FieldGroup},
    {CFMetaData::MultiCategorySet, XMLEntities::MultiCategorySet},
    {CFMetaData::MultiDichotomySet, XMLEntities::MultiDichotomySet},
    {CFMetaData::SplitGroup, XMLEntities::SplitGroup},
};

// A text attribute that may be absent (empty).
int ReadOptional(const CFXMLWrapper& element, const char* name, std::string& value) {
  bool found = false;
  return element.getAttribute(name, value, found);
}

}  // namespace

CFFieldGroup::CFFieldGroup(CFMetaData::GroupType type, const std::string& name,
                           const std::vector<std::string>& fields, const std::string& label,
                           const std::string& countedValue)
    : m_type(type), m_name(name), m_fields(fields), m_label(label), m_countedValue(countedValue) {}

const char* CFFieldGroup::TypeText(CFMetaData::GroupType type) {
  for (const TypeRow& row : kTypeRows) {
    if (row.type == type) return row.text;
  }
  return nullptr;
}

std::unique_ptr<CFFieldGroup> CFFieldGroup::FromElement(const CFXMLWrapper& element) {
  // 1. The type, matched exactly against the entity texts.
  std::string typeText;
  bool found = false;
  if (element.getAttribute(XMLAttributes::GroupType, typeText, found) != 0 || !found) {
    cfmeta_internal::Missing(element, XMLAttributes::GroupType);
    return nullptr;
  }
  const TypeRow* typeRow = nullptr;
  for (const TypeRow& row : kTypeRows) {
    if (typeText == row.text) {
      typeRow = &row;
      break;
    }
  }
  if (typeRow == nullptr) {
    cfmeta_internal::Broken(element, "'" + typeText + "' is no known " + XMLAttributes::GroupType);
    return nullptr;
  }

  // 2. Name, label and counted value.
  std::string name, label, countedValue;
  if (element.getAttribute(XMLAttributes::Name, name, found) != 0 || !found) {
    cfmeta_internal::Missing(element, XMLAttributes::Name);
    return nullptr;
  }
  if (ReadOptional(element, XMLAttributes::DisplayLabel, label) != 0) return nullptr;
  if (ReadOptional(element, XMLAttributes::CountedValue, countedValue) != 0) return nullptr;

  // 3. Members, in document order; other children are not ours and are passed over.
  std::vector<std::string> fields;
  CFXMLIteratorWrapper* it = nullptr;
  if (element.getElementDirectIterator(XMLElements::FieldName, &it) != 0) return nullptr;
  while (CFXMLWrapper* child = it->nextElement()) {
    std::string member;
    if (child->getAttribute(XMLAttributes::Name, member, found) != 0 || !found) {
      cfmeta_internal::Missing(*child, XMLAttributes::Name);
      return nullptr;
    }
    fields.push_back(std::move(member));
  }
  if (fields.empty()) {
    cfmeta_internal::Broken(
        element, std::string("a group must name at least one ") + XMLElements::FieldName);
    return nullptr;
  }
  return std::unique_ptr<CFFieldGroup>(
      new CFFieldGroup(typeRow->type, name, fields, label, countedValue));
}

void CFFieldGroup::AddToTree(CFXMLWrapper& parent, CFXMLWrapper*& created) const {
  created = nullptr;
  if (m_fields.empty()) return;
  const char* typeText = TypeText(m_type);
  if (typeText == nullptr) return;
  std::unique_ptr<CFXMLWrapper> element(parent.createFreeElement(XMLElements::FieldGroup));
  if (!element) return;

  int rc = element->addAttribute(XMLAttributes::GroupType, typeText);
  if (rc == 0) rc = element->addAttribute(XMLAttributes::Name, m_name.c_str());
  if (rc == 0 && !m_label.empty()) {
    rc = element->addAttribute(XMLAttributes::DisplayLabel, m_label.c_str());
  }
  if (rc == 0 && !m_countedValue.empty()) {
    rc = element->addAttribute(XMLAttributes::CountedValue, m_countedValue.c_str());
  }
  for (size_t i = 0; rc == 0 && i < m_fields.size(); ++i) {
    CFXMLWrapper* member = nullptr;
    rc = element->addElement(XMLElements::FieldName, &member);
    if (rc == 0) rc = member->addAttribute(XMLAttributes::Name, m_fields[i].c_str());
  }
  cfmeta_internal::AttachFinished(rc, std::move(element), parent, created);
}
