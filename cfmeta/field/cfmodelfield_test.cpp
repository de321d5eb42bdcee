#include "cfmeta/field/cfmodelfield.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "cfmeta/field/cffieldparts_testutil.h"
#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/vocab/xmlelement.h"
#include "cfmeta/xml/cfxml_testutil.h"
#include "cfmeta/xml/cfxmlwrapper.h"

namespace {

using CfExtension::CFXMLWrapper;
using cfmeta_test::Describe;
using cfmeta_test::MakeElement;
using cfmeta_test::Parse;
using cfmeta_test::SerialisedElement;
namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLElements = CfCppHelperV1::XMLElements;
namespace XMLEntities = CfCppHelperV1::XMLEntities;
using Attributes = std::initializer_list<std::pair<std::string, std::string>>;

const char* const kExtendedRole = "extendedRole";

std::string ModelFieldXml(Attributes attributes) {
  return MakeElement(XMLElements::ModelField, attributes);
}

// Reads `xml` through both readers and expects them to agree.
CFModelField ReadBoth(const std::string& xml) {
  auto doc = Parse(xml);
  EXPECT_NE(nullptr, doc->getElement()) << xml;
  CFModelField viaWrapper(*doc);
  CFModelField viaElement{CfCppHelperV1::XMLElement(*doc)};
  EXPECT_EQ(Describe(viaWrapper), Describe(viaElement));
  return viaWrapper;
}

// The written element's text, or "" when nothing was written (the root must then be empty).
std::string Write(const CFModelField& modelField) {
  return cfmeta_test::WrittenText(
      [&](CFXMLWrapper& parent, CFXMLWrapper*& created) { modelField.AddToTree(parent, created); });
}

CFModelField WithTarget(CFModelField modelField, const std::string& targetField,
                        const CFDatum& value, const std::string& group, const std::string& tag) {
  EXPECT_TRUE(modelField.SetTargetProps(targetField, value, group, tag));
  return modelField;
}

// Guards the tables: a reader and a writer sharing a wrong row would still round-trip.
TEST(CFModelFieldTest, EveryRoleAndRuleFeatureTextReadsAsItsValue) {
  // Each text reads as its position in the list.
  const std::string roles[] = {XMLEntities::Unknown,
                               XMLEntities::PredictedValue,
                               XMLEntities::Probability,
                               "confidence",
                               XMLEntities::Residual,
                               XMLEntities::StandardError,
                               XMLEntities::ClusterId,
                               XMLEntities::ClusterAffinity,
                               XMLEntities::EntityId,
                               XMLEntities::EntityAffinity,
                               XMLEntities::UpperConfidenceLimit,
                               XMLEntities::LowerConfidenceLimit,
                               XMLEntities::Propensity,
                               "recordId",
                               "cumulativeHazard",
                               XMLEntities::Warning,
                               XMLEntities::RuleValue,
                               "extended",
                               XMLEntities::Derived};
  for (int value = 0; value < static_cast<int>(std::size(roles)); ++value) {
    SCOPED_TRACE(roles[value]);
    CFModelField read = ReadBoth(ModelFieldXml({{XMLAttributes::Role, roles[value]}}));
    EXPECT_EQ(value, read.GetMFRole());
    EXPECT_EQ(CFModelField::NoRuleFeature, read.GetMFRuleFeature());
    EXPECT_EQ(MakeElement(XMLElements::ModelField, {{XMLAttributes::Role, roles[value]}}),
              Write(read));
  }
  const std::string features[] = {
      XMLEntities::Antecedent, XMLEntities::Consequent, XMLEntities::Rule, XMLEntities::RuleId,
      XMLEntities::Confidence, XMLEntities::Support,    XMLEntities::Lift, ""};
  for (int value = 0; value < static_cast<int>(std::size(features)); ++value) {
    SCOPED_TRACE(features[value]);
    CFModelField read = ReadBoth(ModelFieldXml({{XMLAttributes::Role, XMLEntities::RuleValue},
                                                {XMLAttributes::RuleFeature, features[value]}}));
    EXPECT_EQ(value, read.GetMFRuleFeature());
  }
}

TEST(CFModelFieldTest, ReadsTargetValuesByTheirStorage) {
  const std::pair<std::string, std::string> rows[] = {
      // Everything, in an order other than the written one.
      {ModelFieldXml({{XMLAttributes::Tag, "t1"},
                      {XMLAttributes::Group, "g <1>"},
                      {kExtendedRole, "lift-ratio"},
                      {XMLAttributes::TargetFieldStorage, XMLEntities::Integer},
                      {XMLAttributes::Value, "-9223372036854775808"},
                      {XMLAttributes::TargetField, "Churn"},
                      {XMLAttributes::RuleFeature, XMLEntities::Consequent},
                      {XMLAttributes::Role, XMLEntities::Probability}}),
       "2|lift-ratio|1|Churn|0:-9223372036854775808|g <1>|t1"},
      {ModelFieldXml({{XMLAttributes::Role, XMLEntities::Probability},
                      {XMLAttributes::Value, " yes "},
                      {XMLAttributes::TargetFieldStorage, XMLEntities::String}}),
       "2||7||2: yes ||"},
      {ModelFieldXml({{XMLAttributes::Role, XMLEntities::Probability},
                      {XMLAttributes::Value, ""},
                      {XMLAttributes::TargetFieldStorage, XMLEntities::String}}),
       "2||7||2:||"},
      // Dates, times and timestamps are held as reals.
      {ModelFieldXml({{XMLAttributes::Role, XMLEntities::PredictedValue},
                      {XMLAttributes::Value, "12345.5"},
                      {XMLAttributes::TargetFieldStorage, XMLEntities::Date}}),
       "1||7||1:12345.5||"},
      {ModelFieldXml({{XMLAttributes::Role, XMLEntities::PredictedValue},
                      {XMLAttributes::Value, "3600"},
                      {XMLAttributes::TargetFieldStorage, XMLEntities::Time}}),
       "1||7||1:3600||"},
      // A storage without a value is not looked at.
      {ModelFieldXml({{XMLAttributes::Role, XMLEntities::Residual},
                      {XMLAttributes::TargetFieldStorage, "bogus"}}),
       "4||7||0:null||"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.first);
    EXPECT_EQ(row.second, Describe(ReadBoth(row.first)));
  }
}

TEST(CFModelFieldTest, DamagedElementLeavesTheFailureStateAndKeepsTextsReadBefore) {
  auto target = [](const std::string& value, const std::string& storage) {
    return ModelFieldXml({{XMLAttributes::Role, XMLEntities::Probability},
                          {XMLAttributes::TargetField, "T"},
                          {XMLAttributes::Value, value},
                          {XMLAttributes::TargetFieldStorage, storage}});
  };
  const std::pair<std::string, std::string> rows[] = {
      {ModelFieldXml({{XMLAttributes::TargetField, "T"}}), "19||7||0:null||"},
      {ModelFieldXml({{XMLAttributes::Role, ""}}), "19||7||0:null||"},
      {ModelFieldXml({{XMLAttributes::Role, "Confidence"}}), "19||7||0:null||"},
      {ModelFieldXml({{XMLAttributes::Role, XMLEntities::Probability},
                      {XMLAttributes::RuleFeature, "none"},
                      {XMLAttributes::TargetField, "T"}}),
       "19||7||0:null||"},
      // From here on the target field has been read when the damage is found; the texts read
      // after the value have not.
      {ModelFieldXml({{XMLAttributes::Role, XMLEntities::Probability},
                      {XMLAttributes::TargetField, "T"},
                      {XMLAttributes::Value, "1"},
                      {kExtendedRole, "x"},
                      {XMLAttributes::Group, "g"}}),
       "19||7|T|0:null||"},
      {target("1", XMLEntities::Unknown), "19||7|T|0:null||"},
      {target("1", "Integer"), "19||7|T|0:null||"},
      {target("1.5", XMLEntities::Integer), "19||7|T|0:null||"},
      {target("NaN", XMLEntities::Timestamp), "19||7|T|0:null||"},  // read, but cannot be held
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.first);
    CFModelField read = ReadBoth(row.first);
    EXPECT_EQ(row.second, Describe(read));
    EXPECT_FALSE(read.SetTargetProps("x", CFDatum(1), "g", "t"));
    EXPECT_EQ(row.second, Describe(read));
    EXPECT_EQ("", Write(read));
  }
}

TEST(CFModelFieldTest, WritesWhatIsGivenWithTheLiteralRoleTexts) {
  const CFModelField confidence(CFModelField::MFConfidence, "", CFModelField::NoRuleFeature);
  using Attributes = std::vector<std::pair<std::string, std::string>>;
  const std::pair<CFModelField, Attributes> rows[] = {
      {CFModelField(CFModelField::MFRecordId, "", CFModelField::NoRuleFeature),
       {{XMLAttributes::Role, "recordId"}}},
      {WithTarget(CFModelField(CFModelField::MFRuleValue, "rank & file", CFModelField::RFSupport),
                  "Basket", CFDatum(" milk ", false), "rules", "r1"),
       {{XMLAttributes::Role, XMLEntities::RuleValue},
        {kExtendedRole, "rank & file"},
        {XMLAttributes::RuleFeature, XMLEntities::Support},
        {XMLAttributes::TargetField, "Basket"},
        {XMLAttributes::Value, " milk "},
        {XMLAttributes::TargetFieldStorage, XMLEntities::String},
        {XMLAttributes::Group, "rules"},
        {XMLAttributes::Tag, "r1"}}},
      {WithTarget(confidence, "", CFDatum(7), "", ""),
       {{XMLAttributes::Role, "confidence"},
        {XMLAttributes::Value, "7"},
        {XMLAttributes::TargetFieldStorage, XMLEntities::Integer}}},
      {WithTarget(confidence, "", CFDatum(0.1), "", "only tag"),
       {{XMLAttributes::Role, "confidence"},
        {XMLAttributes::Value, "0.1"},
        {XMLAttributes::TargetFieldStorage, XMLEntities::Real},
        {XMLAttributes::Tag, "only tag"}}},
      // A real that has no readable text is left out like a null one.
      {WithTarget(confidence, "T", CFDatum(std::numeric_limits<double>::infinity()), "", ""),
       {{XMLAttributes::Role, "confidence"}, {XMLAttributes::TargetField, "T"}}},
      {WithTarget(confidence, "T", CFDatum::MakeNull(CFDatum::String), "", ""),
       {{XMLAttributes::Role, "confidence"}, {XMLAttributes::TargetField, "T"}}},
  };
  for (const auto& row : rows) {
    std::string expected = SerialisedElement(XMLElements::ModelField, row.second);
    SCOPED_TRACE(expected);
    EXPECT_EQ(expected, Write(row.first));
  }
  // A role or rule feature outside its table writes nothing.
  EXPECT_EQ("", Write(CFModelField(static_cast<CFModelField::MFRoleType>(20), "",
                                   CFModelField::NoRuleFeature)));
  EXPECT_EQ("", Write(CFModelField(CFModelField::MFDerived, "",
                                   static_cast<CFModelField::MFRuleFeature>(8))));
  EXPECT_EQ("", Write(CFModelField()));
}

TEST(CFModelFieldTest, RoundTripKeepsEveryProperty) {
  const CFModelField base(CFModelField::MFPropensity, "ext", CFModelField::RFLift);
  const CFModelField rows[] = {
      base,
      WithTarget(base, "Target", CFDatum(-42), "grp", "tag"),
      WithTarget(base, "Target", CFDatum(0.1 + 0.2), "", ""),
      WithTarget(base, "Target", CFDatum("\xC3\xA9t\xC3\xA9 \"<&>\"", false), "", ""),
      WithTarget(base, "", CFDatum("", false), "", ""),
  };
  for (const CFModelField& row : rows) {
    SCOPED_TRACE(Describe(row));
    std::string xml = Write(row);
    ASSERT_NE("", xml);
    CFModelField back = ReadBoth(xml);
    EXPECT_EQ(Describe(row), Describe(back));
    EXPECT_EQ(xml, Write(back));
  }
}

}  // namespace
