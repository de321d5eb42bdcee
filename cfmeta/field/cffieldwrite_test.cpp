#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "cfmeta/field/cffield.h"
#include "cfmeta/field/cffield_testutil.h"
#include "cfmeta/field/cffieldparts_testutil.h"
#include "cfmeta/format/cfnumberformat.h"
#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/xml/cfxml_testutil.h"
#include "cfmeta/xml/cfxmliteratorwrapper.h"
#include "cfmeta/xml/cfxmlwrapper.h"

namespace {

using cfmeta_test::ReadField;

using CfExtension::CFXMLIteratorWrapper;
using CfExtension::CFXMLWrapper;
using cfmeta_test::MakeElement;
namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLElements = CfCppHelperV1::XMLElements;
namespace XMLEntities = CfCppHelperV1::XMLEntities;

// Writes `field` under a fresh root and returns the written element's text, or "" when the
// write failed (the root must then have no child).
std::string Write(const CFField& field, bool isBase = false) {
  return cfmeta_test::WrittenText([&](CFXMLWrapper& parent, CFXMLWrapper*& created) {
    field.AddToTree(parent, created, isBase);
  });
}

std::string Attr(const char* name, const std::string& value) {
  return std::string(name) + "=\"" + value + "\"";
}

// A field built in code writes exactly the element whose reading gives it back, and takes
// setters; what cannot be written gives the default field.
TEST(CFFieldWriteTest, FieldBuiltInCodeWritesItsOwnElement) {
  const struct {
    CFField::StorageType storage;
    const char* storageText;
    CFField::FieldType type;
    const char* typeText;
  } rows[] = {
      {CFField::IntegerStorage, XMLEntities::Integer, CFField::Nominal, XMLEntities::Nominal},
      {CFField::TimestampStorage, XMLEntities::Timestamp, CFField::Continuous,
       XMLEntities::Continuous},
      {CFField::UnknownStorage, XMLEntities::Unknown, CFField::UnknownType, XMLEntities::Unknown},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.storageText);
    const CFField built("a<b", row.storage, row.type);
    // The serialiser writes attributes in name order.
    const std::string element =
        MakeElement(XMLElements::Field, {{XMLAttributes::Measure, row.typeText},
                                         {XMLAttributes::Name, "a<b"},
                                         {XMLAttributes::Role, XMLEntities::Input},
                                         {XMLAttributes::Storage, row.storageText}});
    EXPECT_EQ(element, Write(built));
    EXPECT_EQ(cfmeta_test::Describe(ReadField(element)), cfmeta_test::Describe(built));
  }
  CFField live("n", CFField::IntegerStorage, CFField::Flag);
  live.SetValues(cfmeta_test::ValueList({CFDatum(0), CFDatum(1)}));
  EXPECT_EQ(2u, live.GetValues().size());
  EXPECT_TRUE(live.SetFieldType(CFField::Continuous));

  for (const CFField& unwritable :
       {CFField("", CFField::RealStorage, CFField::Continuous),
        CFField("x", static_cast<CFField::StorageType>(7), CFField::Continuous),
        CFField("x", CFField::RealStorage, static_cast<CFField::FieldType>(-1))}) {
    EXPECT_EQ("", unwritable.GetName());
    EXPECT_EQ(CFField::NoRole, unwritable.GetRole());
  }
}

TEST(CFFieldWriteTest, WritesOnlyWhatDiffersFromTheDefaults) {
  CFField field = ReadField(MakeElement(XMLElements::Field, {{XMLAttributes::Name, "Q1"}}));
  ASSERT_EQ("Q1", field.GetName());
  std::string text = Write(field);
  EXPECT_NE(std::string::npos, text.find(Attr(XMLAttributes::Storage, XMLEntities::Unknown)));
  EXPECT_NE(std::string::npos, text.find(Attr(XMLAttributes::Measure, XMLEntities::Unknown)));
  EXPECT_NE(std::string::npos, text.find(Attr(XMLAttributes::Role, XMLEntities::None)));
  EXPECT_EQ(std::string::npos, text.find(XMLAttributes::Depth));
  EXPECT_EQ(std::string::npos, text.find(XMLElements::MissingValues));
  EXPECT_EQ(std::string::npos, text.find("</"));  // no child elements

  // Only treat-null false is still a definition, written with both flags.
  CFMissingValues missing(CFRange(), {}, false, false);
  field.SetFieldType(CFField::Nominal);
  ASSERT_TRUE(field.SetMissingValues(missing));
  text = Write(field);
  EXPECT_NE(std::string::npos, text.find(Attr(XMLAttributes::TreatNullAsMissing, "false")));
  EXPECT_NE(std::string::npos, text.find(Attr(XMLAttributes::TreatWhitespaceAsMissing, "false")));
}

TEST(CFFieldWriteTest, FlagMarkersOnlyOnFlagFields) {
  const std::string values = MakeElement(
      XMLElements::Values, {},
      MakeElement(XMLElements::Value,
                  {{XMLAttributes::Value, "1"}, {XMLAttributes::FlagValue, "true"}}) +
          MakeElement(XMLElements::Value,
                      {{XMLAttributes::Value, "0"}, {XMLAttributes::FlagValue, "false"}}));
  for (const char* measure : {XMLEntities::Flag, XMLEntities::Nominal}) {
    SCOPED_TRACE(measure);
    CFField field = ReadField(MakeElement(XMLElements::Field,
                                          {{XMLAttributes::Name, "F"},
                                           {XMLAttributes::Storage, XMLEntities::Integer},
                                           {XMLAttributes::Measure, measure}},
                                          values));
    ASSERT_EQ("F", field.GetName());
    std::string text = Write(field);
    bool isFlag = std::string(measure) == XMLEntities::Flag;
    EXPECT_EQ(isFlag, text.find(Attr(XMLAttributes::FlagValue, "true")) != std::string::npos);
    EXPECT_EQ(isFlag, text.find(Attr(XMLAttributes::FlagValue, "false")) != std::string::npos);
    // Whatever was written reads back as the same field.
    CFField back = ReadField(text);
    EXPECT_EQ(field.GetType(), back.GetType());
    ASSERT_EQ(2u, back.GetValues().size());
  }
}

TEST(CFFieldWriteTest, ReferenceWinsOverPrivateFormatAndBaseFieldsDoNotNest) {
  CFField field = ReadField(
      MakeElement(XMLElements::Field, {{XMLAttributes::Name, "Income"},
                                       {XMLAttributes::Storage, XMLEntities::Real},
                                       {XMLAttributes::Measure, XMLEntities::Continuous}}));
  CFNumberFormat format(CFNumberFormat::Standard, 10, 2);
  ASSERT_TRUE(field.SetPrivateFormat(&format));
  ASSERT_NE(std::string::npos, Write(field).find(XMLElements::NumberFormat));
  ASSERT_TRUE(field.SetFormatReference("Money"));
  EXPECT_EQ(nullptr, field.GetPrivateFormat());
  std::string text = Write(field);
  EXPECT_NE(std::string::npos, text.find(Attr(XMLAttributes::UseNamedFormat, "Money")));
  EXPECT_EQ(std::string::npos, text.find(XMLElements::NumberFormat));

  CFField base(field);
  base.SetName("IncomeRaw");
  field.SetBaseField(base);
  text = Write(field);
  EXPECT_NE(std::string::npos, text.find("<" + std::string(XMLElements::BaseField) + " "));
  // Written as a base field itself, it carries no base field of its own.
  std::string asBase = Write(field, true);
  EXPECT_EQ(0u, asBase.find("<" + std::string(XMLElements::BaseField) + " "));
  EXPECT_EQ(std::string::npos, asBase.find("IncomeRaw"));
  // A field that has a base field cannot become another's base field.
  CFField other(base);
  other.SetBaseField(field);
  EXPECT_EQ(nullptr, other.GetBaseField());
}

TEST(CFFieldWriteTest, FailedWriteLeavesParentUnchanged) {
  CFField field = ReadField(MakeElement(XMLElements::Field, {{XMLAttributes::Name, "R"}}));
  field.SetRole(static_cast<CFField::RoleType>(42));
  EXPECT_EQ("", Write(field));
  field.SetRole(CFField::Target);
  field.SetStructure(static_cast<CFField::StructureType>(9));
  EXPECT_EQ("", Write(field));
}

TEST(CFFieldWriteTest, SettersKeepTheFieldConsistent) {
  CFField continuous =
      ReadField(MakeElement(XMLElements::Field,
                            {{XMLAttributes::Name, "Age"},
                             {XMLAttributes::Storage, XMLEntities::Integer},
                             {XMLAttributes::Measure, XMLEntities::Continuous}},
                            MakeElement(XMLElements::Range, {{XMLAttributes::MinValue, "0"},
                                                             {XMLAttributes::MaxValue, "120"}})));
  ASSERT_FALSE(continuous.GetRange().IsEmpty());
  EXPECT_FALSE(continuous.SetRange(CFRange(CFDatum(0.5), CFDatum(2.5))));  // reals for integers
  ASSERT_TRUE(continuous.SetFieldType(CFField::Nominal));
  EXPECT_TRUE(continuous.GetRange().IsEmpty());
  EXPECT_FALSE(continuous.SetRange(CFRange(CFDatum(1), CFDatum(2))));  // no longer continuous

  continuous.SetValues(cfmeta_test::ValueList({CFDatum(1), CFDatum(2)}));
  ASSERT_EQ(2u, continuous.GetValues().size());
  continuous.SetValues(cfmeta_test::ValueList({CFDatum(1), CFDatum("two", false)}));
  EXPECT_EQ(2u, continuous.GetValues().size());  // a string among integers changes nothing
  continuous.SetValues(cfmeta_test::ValueList({CFDatum(3), CFDatum()}));
  EXPECT_EQ(2u, continuous.GetValues().size());  // so does a null
  ASSERT_TRUE(continuous.SetFieldType(CFField::Continuous));
  EXPECT_TRUE(continuous.GetValues().empty());

  // A nameless field is frozen, its name included.
  CFField nameless = ReadField(MakeElement(XMLElements::Field, {{XMLAttributes::Name, ""}}));
  nameless.SetName("Rescued");
  EXPECT_EQ("", nameless.GetName());
  EXPECT_FALSE(nameless.SetFieldType(CFField::Nominal));
  EXPECT_FALSE(nameless.SetFormatReference("Money"));
  nameless.SetLabel("still labelled");
  EXPECT_EQ("still labelled", nameless.GetLabel());
}

}  // namespace
