// A named set of fields that belong together: a plain group, a multiple-response set counted
// by categories or by dichotomies, or a split group.
//
// A group holds only names: its members are field names, never checked against the fields of
// a document. Within a document a group is identified by its type and name together, so the
// same name may serve groups of different types. Copies are plain values.
#ifndef CFMETA_METADATA_CFFIELDGROUP_H_
#define CFMETA_METADATA_CFFIELDGROUP_H_

#include <memory>
#include <string>
#include <vector>

#include "cfmeta/cfmeta_export.h"
#include "cfmeta/metadata/cfmetadata.h"

namespace CfExtension {
class CFXMLWrapper;
}

class CFMETA_API CFFieldGroup {
 public:
  // Copies every argument. `label` and `countedValue` (the value a dichotomy set counts) may
  // be empty.
  CFFieldGroup(CFMetaData::GroupType type, const std::string& name,
               const std::vector<std::string>& fields, const std::string& label,
               const std::string& countedValue);

  // Reads an XMLElements::FieldGroup element. Null when the group type is missing or not one
  // of the four entity texts, the name is missing, a member lacks its name, or there are no
  // members. The caller owns the result.
  static std::unique_ptr<CFFieldGroup> FromElement(const CfExtension::CFXMLWrapper& element);

  // The entity text written for `type`; null for a value outside the enumeration.
  static const char* TypeText(CFMetaData::GroupType type);

  CFMetaData::GroupType GetType() const { return m_type; }
  const std::string& GetName() const { return m_name; }
  const std::vector<std::string>& GetFields() const { return m_fields; }
  const std::string& GetLabel() const { return m_label; }
  const std::string& GetCountedValue() const { return m_countedValue; }

  // Appends an XMLElements::FieldGroup element with one XMLElements::FieldName child per
  // member. The element is finished before it is attached, so on failure (no members, or a
  // type outside the enumeration) `created` is null and `parent` is as it was.
  void AddToTree(CfExtension::CFXMLWrapper& parent, CfExtension::CFXMLWrapper*& created) const;

 private:
  CFMetaData::GroupType m_type;
  std::string m_name;
  std::vector<std::string> m_fields;
  std::string m_label;
  std::string m_countedValue;
};

#endif  // CFMETA_METADATA_CFFIELDGROUP_H_
