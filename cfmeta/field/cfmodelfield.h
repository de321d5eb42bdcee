// What a field produced by a predictive model means for that model: its role (a predicted
// value, a probability, a cluster number, ...), an optional finer role, the rule feature it
// stands for in rule models, and the target it refers to (target field, target value and that
// value's storage), with a free group and tag.
//
// A default model field, and one read from a damaged element, has role NoMFRole (19), rule
// feature NoRuleFeature (7) and a null target value; a damaged read keeps the texts it had read
// before the damage. Such a model field is never written, and a field refuses it. Reading never
// throws for bad content. Copies are deep and keep no link to the document they came from.
#ifndef CFMETA_FIELD_CFMODELFIELD_H_
#define CFMETA_FIELD_CFMODELFIELD_H_

#include <cstdint>
#include <string>

#include "cfmeta/cfmeta_export.h"
#include "cfmeta/field/cfdatum.h"

namespace CfExtension {
class CFXMLWrapper;
}
namespace CfCppHelperV1 {
class XMLElement;
}

class CFMETA_API CFModelField {
 public:
  // Written through CFField::kModelFieldRoleTable; NoMFRole has no text.
  enum MFRoleType : int32_t {
    MFUnknown = 0,
    MFPredictedValue = 1,
    MFProbability = 2,
    MFConfidence = 3,
    MFResidual = 4,
    MFStandardError = 5,
    MFClusterId = 6,
    MFClusterAffinity = 7,
    MFEntityId = 8,
    MFEntityAffinity = 9,
    MFUpperConfidenceLimit = 10,
    MFLowerConfidenceLimit = 11,
    MFPropensity = 12,
    MFRecordId = 13,
    MFCumulativeHazard = 14,
    MFWarning = 15,
    MFRuleValue = 16,
    MFExtended = 17,
    MFDerived = 18,
    NoMFRole = 19
  };
  // Written through CFField::kRuleFeatureTable; NoRuleFeature is the empty text there.
  enum MFRuleFeature : int32_t {
    RFAntecedent = 0,
    RFConsequent = 1,
    RFRule = 2,
    RFRuleId = 3,
    RFConfidence = 4,
    RFSupport = 5,
    RFLift = 6,
    NoRuleFeature = 7
  };

  // Role NoMFRole, no rule feature, empty texts, null target value.
  CFModelField();
  // The target properties start empty, with a null target value.
  CFModelField(MFRoleType role, const std::string& extendedRole, MFRuleFeature feature);
  // Read an XMLElements::ModelField element, through the wrapper or through the vocabulary's
  // element reader; both follow the same rules. The role is required. A target value needs a
  // target storage (integer, real, string, date, time or timestamp) and is read as a datum of
  // that storage's type, so dates and times come back as reals. On failure see the class
  // comment.
  explicit CFModelField(const CfExtension::CFXMLWrapper& element);
  explicit CFModelField(const CfCppHelperV1::XMLElement& element);

  MFRoleType GetMFRole() const { return m_role; }
  const std::string& GetMFExtendedRole() const { return m_extendedRole; }
  MFRuleFeature GetMFRuleFeature() const { return m_ruleFeature; }

  // Copies the four target properties out.
  void GetTargetProps(std::string& targetField, CFDatum& value, std::string& group,
                      std::string& tag) const;
  // Stores all four. False, changing nothing, when the role is NoMFRole.
  bool SetTargetProps(const std::string& targetField, const CFDatum& value,
                      const std::string& group, const std::string& tag);

  // Appends an XMLElements::ModelField element to `parent`. A model field with role NoMFRole,
  // or with a role or rule feature outside its table, writes nothing. A non-null target value
  // is written with its datum type as the target storage (integer, real or string). On
  // success `created` points to the new element; otherwise it is null and `parent` is as it
  // was.
  void AddToTree(CfExtension::CFXMLWrapper& parent, CfExtension::CFXMLWrapper*& created) const;

 private:
  MFRoleType m_role = NoMFRole;
  std::string m_extendedRole;
  MFRuleFeature m_ruleFeature = NoRuleFeature;
  std::string m_targetField;
  CFDatum m_targetValue;
  std::string m_group;
  std::string m_tag;

  template <typename Source>
  int Read(const Source& source);
};

#endif  // CFMETA_FIELD_CFMODELFIELD_H_
