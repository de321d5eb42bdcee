#include "cfmeta/field/cfmodelfield.h"

#include <cmath>
#include <memory>
#include <string>
#include <utility>

#include "cfmeta/field/cffield.h"
#include "cfmeta/field/cffieldread_internal.h"
#include "cfmeta/field/cffieldwrite_internal.h"
#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/vocab/xmlelement.h"
#include "cfmeta/xml/cfxmlexchange_internal.h"
#include "cfmeta/xml/cfxmlwrapper.h"

using CfExtension::CFXMLWrapper;
namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLElements = CfCppHelperV1::XMLElements;
namespace XMLEntities = CfCppHelperV1::XMLEntities;

namespace {

constexpr int kBadContent = CfExtension::kXMLBadArgument;

// An attribute name of this library that has no vocabulary constant.
const char* const kExtendedRoleAttribute = "extendedRole";

// The two element readers behind one set of reading rules. Text() returns the reader's status
// and tells through `found` whether the attribute is there.
class WrapperSource {
 public:
  explicit WrapperSource(const CFXMLWrapper& element) : m_element(element) {}
  int Text(const char* name, std::string& value, bool& found) const {
    return m_element.getAttribute(name, value, found);
  }
  int Datum(const char* name, CFDatum::DataType type, CFDatum& datum, int& status) const {
    return cfmeta_internal::GetDataValueAttr(m_element, name, type, datum, status);
  }

 private:
  const CFXMLWrapper& m_element;
};

class ElementSource {
 public:
  explicit ElementSource(const CfCppHelperV1::XMLElement& element) : m_element(element) {}
  int Text(const char* name, std::string& value, bool& found) const {
    found = m_element.getAttribute(name, value);
    return 0;
  }
  int Datum(const char* name, CFDatum::DataType type, CFDatum& datum, int& status) const {
    return cfmeta_internal::GetDataValueAttr(m_element, name, type, datum, status);
  }

 private:
  const CfCppHelperV1::XMLElement& m_element;
};

// The row value of `text` in `rows`, or -1 when it has none.
long long ValueOf(const std::string& text, const CFField::EntityRow* rows) {
  int row = cfmeta_internal::FindStrInList(text.c_str(), rows);
  return row < 0 ? -1 : static_cast<long long>(rows[row].value);
}

// The storage a target value is written with: the one its datum type reads back as.
const char* StorageTextOf(CFDatum::DataType type) {
  switch (type) {
    case CFDatum::Integer:
      return XMLEntities::Integer;
    case CFDatum::Real:
      return XMLEntities::Real;
    default:
      return XMLEntities::String;
  }
}

}  // namespace

CFModelField::CFModelField() = default;

CFModelField::CFModelField(MFRoleType role, const std::string& extendedRole, MFRuleFeature feature)
    : m_role(role), m_extendedRole(extendedRole), m_ruleFeature(feature) {}

CFModelField::CFModelField(const CFXMLWrapper& element) { Read(WrapperSource(element)); }

CFModelField::CFModelField(const CfCppHelperV1::XMLElement& element) {
  Read(ElementSource(element));
}

template <typename Source>
int CFModelField::Read(const Source& source) {
  int rc = 0;
  // The role and rule feature are stored only once everything else has read, so a failure
  // anywhere leaves both at their no-value states; the target value is reset explicitly.
  auto fail = [this](int code) {
    m_role = NoMFRole;
    m_ruleFeature = NoRuleFeature;
    m_targetValue = CFDatum();
    return code;
  };
  // 1. The role, required.
  std::string text;
  bool found = false;
  rc = source.Text(XMLAttributes::Role, text, found);
  if (rc != 0) return fail(rc);
  const long long role = found ? ValueOf(text, CFField::kModelFieldRoleTable) : -1;
  if (role < 0) return fail(kBadContent);

  // 2. The rule feature: absent is none, present must be known.
  long long feature = NoRuleFeature;
  rc = source.Text(XMLAttributes::RuleFeature, text, found);
  if (rc != 0) return fail(rc);
  if (found) feature = ValueOf(text, CFField::kRuleFeatureTable);
  if (feature < 0) return fail(kBadContent);

  // 3. The target field.
  rc = source.Text(XMLAttributes::TargetField, m_targetField, found);
  if (rc != 0) return fail(rc);

  // 4. The target value, typed by its storage; a value that is there must be readable.
  rc = source.Text(XMLAttributes::Value, text, found);
  if (rc != 0) return fail(rc);
  if (found) {
    rc = source.Text(XMLAttributes::TargetFieldStorage, text, found);
    if (rc != 0) return fail(rc);
    const long long storage = found ? ValueOf(text, CFField::kStorageTable) : -1;
    if (storage <= CFField::UnknownStorage) return fail(kBadContent);
    int status = -1;
    rc = source.Datum(XMLAttributes::Value,
                      CFField::DatumTypeOf(static_cast<CFField::StorageType>(storage)),
                      m_targetValue, status);
    if (rc != 0) return fail(rc);
    if (status != 0) return fail(kBadContent);
  }

  // 5. The free texts.
  rc = source.Text(kExtendedRoleAttribute, m_extendedRole, found);
  if (rc != 0) return fail(rc);
  rc = source.Text(XMLAttributes::Group, m_group, found);
  if (rc != 0) return fail(rc);
  rc = source.Text(XMLAttributes::Tag, m_tag, found);
  if (rc != 0) return fail(rc);

  m_role = static_cast<MFRoleType>(role);
  m_ruleFeature = static_cast<MFRuleFeature>(feature);
  return 0;
}

void CFModelField::GetTargetProps(std::string& targetField, CFDatum& value, std::string& group,
                                  std::string& tag) const {
  targetField = m_targetField;
  value = m_targetValue;
  group = m_group;
  tag = m_tag;
}

bool CFModelField::SetTargetProps(const std::string& targetField, const CFDatum& value,
                                  const std::string& group, const std::string& tag) {
  if (m_role == NoMFRole) return false;
  m_targetField = targetField;
  m_targetValue = value;
  m_group = group;
  m_tag = tag;
  return true;
}

void CFModelField::AddToTree(CFXMLWrapper& parent, CFXMLWrapper*& created) const {
  created = nullptr;
  if (m_role == NoMFRole) return;
  std::unique_ptr<CFXMLWrapper> element(parent.createFreeElement(XMLElements::ModelField));
  if (!element) return;
  CFXMLWrapper& e = *element;

  int rc = cfmeta_internal::AddEntity(e, XMLAttributes::Role, CFField::kModelFieldRoleTable,
                                      static_cast<uint32_t>(m_role));
  if (rc == 0 && !m_extendedRole.empty()) {
    rc = e.addAttribute(kExtendedRoleAttribute, m_extendedRole.c_str());
  }
  if (rc == 0 && m_ruleFeature != NoRuleFeature) {
    rc = cfmeta_internal::AddEntity(e, XMLAttributes::RuleFeature, CFField::kRuleFeatureTable,
                                    static_cast<uint32_t>(m_ruleFeature));
  }
  if (rc == 0 && !m_targetField.empty()) {
    rc = e.addAttribute(XMLAttributes::TargetField, m_targetField.c_str());
  }
  // A real that is not a finite number has no text that reads back; it is left out like a
  // null value, so that what we write can always be read.
  const bool hasValue = !m_targetValue.IsNull() && (m_targetValue.GetType() != CFDatum::Real ||
                                                    std::isfinite(m_targetValue.GetReal()));
  if (rc == 0 && hasValue) {
    std::string text;
    m_targetValue.ToString(text, 0);
    rc = e.addAttribute(XMLAttributes::Value, text.c_str());
    if (rc == 0) {
      rc =
          e.addAttribute(XMLAttributes::TargetFieldStorage, StorageTextOf(m_targetValue.GetType()));
    }
  }
  if (rc == 0 && !m_group.empty()) rc = e.addAttribute(XMLAttributes::Group, m_group.c_str());
  if (rc == 0 && !m_tag.empty()) rc = e.addAttribute(XMLAttributes::Tag, m_tag.c_str());
  cfmeta_internal::AttachFinished(rc, std::move(element), parent, created);
}
