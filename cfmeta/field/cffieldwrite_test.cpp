#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cfmeta/field/cffield.h"
#include "cfmeta/field/cffield_testutil.h"
#include "cfmeta/field/cffieldparts_testutil.h"
#include "cfmeta/format/cfnumberformat.h"
#include "cfmeta/vocab/cfvocabulary.h"

namespace {

using cfmeta_test::Describe;
using cfmeta_test::ReadField;
using cfmeta_test::SerialisedElement;
using cfmeta_test::WrittenField;
namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLElements = CfCppHelperV1::XMLElements;
namespace XMLEntities = CfCppHelperV1::XMLEntities;

// A field element as written: `element` named `name`, with the four attributes every field
// writes, then `children`.
std::string Written(const char* element, const std::string& name, const char* storage,
                    const char* measure, const char* role = XMLEntities::Input,
                    const std::string& children = "") {
  return SerialisedElement(element,
                           {{XMLAttributes::Name, name},
                            {XMLAttributes::Storage, storage},
                            {XMLAttributes::Measure, measure},
                            {XMLAttributes::Role, role}},
                           children);
}

// A field writes exactly its element, leaving out what it does not hold, and the element reads
// back as the same field; what cannot be written writes nothing and leaves the parent as it was.
TEST(CFFieldWriteTest, WritesExactlyItsElement) {
  CFField noRole("Q1", CFField::UnknownStorage, CFField::Nominal);
  noRole.SetRole(CFField::NoRole);
  // Only treat-null false is still a definition, written with both flags.
  ASSERT_TRUE(noRole.SetMissingValues(CFMissingValues(CFRange(), {}, false, false)));
  const std::string missing = SerialisedElement(
      XMLElements::MissingValues, {{XMLAttributes::TreatNullAsMissing, XMLEntities::False},
                                   {XMLAttributes::TreatWhitespaceAsMissing, XMLEntities::False}});

  // The reference wins over the private format, which it drops.
  CFField income("Income", CFField::RealStorage, CFField::Continuous);
  const CFNumberFormat format(CFNumberFormat::Standard, 10, 2);
  ASSERT_TRUE(income.SetPrivateFormat(&format));
  ASSERT_TRUE(income.SetFormatReference("Money"));
  income.SetBaseField(CFField("IncomeRaw", CFField::RealStorage, CFField::Continuous));
  const std::string reference =
      SerialisedElement(XMLElements::FieldFormat, {{XMLAttributes::UseNamedFormat, "Money"}});
  const char* const kReal = XMLEntities::Real;
  const char* const kContinuous = XMLEntities::Continuous;

  CFField badRole("R", CFField::RealStorage, CFField::Continuous);
  badRole.SetRole(static_cast<CFField::RoleType>(42));
  CFField badStructure("R", CFField::RealStorage, CFField::Continuous);
  badStructure.SetStructure(static_cast<CFField::StructureType>(9));

  const struct {
    CFField field;
    bool isBase;
    std::string expected;  // "" when nothing is written
  } rows[] = {
      {CFField("a<b", CFField::IntegerStorage, CFField::Nominal), false,
       Written(XMLElements::Field, "a<b", XMLEntities::Integer, XMLEntities::Nominal)},
      {CFField("a<b", CFField::TimestampStorage, CFField::Continuous), false,
       Written(XMLElements::Field, "a<b", XMLEntities::Timestamp, kContinuous)},
      {CFField("a<b", CFField::UnknownStorage, CFField::UnknownType), false,
       Written(XMLElements::Field, "a<b", XMLEntities::Unknown, XMLEntities::Unknown)},
      {noRole, false,
       Written(XMLElements::Field, "Q1", XMLEntities::Unknown, XMLEntities::Nominal,
               XMLEntities::None, missing)},
      {income, false,
       Written(XMLElements::Field, "Income", kReal, kContinuous, XMLEntities::Input,
               reference + Written(XMLElements::BaseField, "IncomeRaw", kReal, kContinuous))},
      // Written as a base field itself, it carries no base field of its own.
      {income, true,
       Written(XMLElements::BaseField, "Income", kReal, kContinuous, XMLEntities::Input,
               reference)},
      {badRole, false, ""},
      {badStructure, false, ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.expected);
    EXPECT_EQ(row.expected, WrittenField(row.field, row.isBase));
    if (!row.expected.empty() && !row.isBase) {
      EXPECT_EQ(Describe(row.field), Describe(ReadField(row.expected)));
    }
  }

  for (const CFField& unwritable :
       {CFField("", CFField::RealStorage, CFField::Continuous),
        CFField("x", static_cast<CFField::StorageType>(7), CFField::Continuous),
        CFField("x", CFField::RealStorage, static_cast<CFField::FieldType>(-1))}) {
    EXPECT_EQ("", unwritable.GetName());
    EXPECT_EQ(CFField::NoRole, unwritable.GetRole());
  }
}

TEST(CFFieldWriteTest, FlagMarkersOnlyOnFlagFields) {
  const std::vector<CFValue> values = {CFValue(CFDatum(1), "", CFValue::TrueFlag),
                                       CFValue(CFDatum(0), "", CFValue::FalseFlag)};
  for (CFField::FieldType type : {CFField::Flag, CFField::Nominal}) {
    SCOPED_TRACE(type);
    CFField field("F", CFField::IntegerStorage, type);
    field.SetValues(values);
    const std::string text = WrittenField(field);
    const bool isFlag = type == CFField::Flag;
    for (const char* flag : {XMLEntities::True, XMLEntities::False}) {
      const std::string marker = std::string(XMLAttributes::FlagValue) + "=\"" + flag + "\"";
      EXPECT_EQ(isFlag, text.find(marker) != std::string::npos);
    }
    // Whatever was written reads back as the same field.
    const CFField back = ReadField(text);
    EXPECT_EQ(type, back.GetType());
    EXPECT_EQ(2u, back.GetValues().size());
  }
}

TEST(CFFieldWriteTest, SettersKeepTheFieldConsistent) {
  CFField field("Age", CFField::IntegerStorage, CFField::Continuous);
  ASSERT_TRUE(field.SetRange(CFRange(CFDatum(0), CFDatum(120))));
  EXPECT_FALSE(field.SetRange(CFRange(CFDatum(0.5), CFDatum(2.5))));  // reals for integers
  EXPECT_EQ("0", cfmeta_test::DatumText(field.GetRange().GetLimits().first));
  ASSERT_TRUE(field.SetFieldType(CFField::Nominal));
  EXPECT_TRUE(field.GetRange().IsEmpty());
  EXPECT_FALSE(field.SetRange(CFRange(CFDatum(1), CFDatum(2))));  // no longer continuous

  field.SetValues(cfmeta_test::ValueList({CFDatum(1), CFDatum(2)}));
  ASSERT_EQ(2u, field.GetValues().size());
  field.SetValues(cfmeta_test::ValueList({CFDatum(1), CFDatum("two", false)}));
  EXPECT_EQ(2u, field.GetValues().size());  // a string among integers changes nothing
  field.SetValues(cfmeta_test::ValueList({CFDatum(3), CFDatum()}));
  EXPECT_EQ(2u, field.GetValues().size());  // so does a null
  ASSERT_TRUE(field.SetFieldType(CFField::Continuous));
  EXPECT_TRUE(field.GetValues().empty());

  // A field that has a base field cannot become another's base field.
  CFField other("Other", CFField::IntegerStorage, CFField::Nominal);
  field.SetBaseField(other);
  ASSERT_NE(nullptr, field.GetBaseField());
  other.SetBaseField(field);
  EXPECT_EQ(nullptr, other.GetBaseField());

  // A nameless field is frozen, its name included.
  CFField nameless;
  nameless.SetName("Rescued");
  EXPECT_EQ("", nameless.GetName());
  EXPECT_FALSE(nameless.SetFieldType(CFField::Nominal));
  EXPECT_FALSE(nameless.SetFormatReference("Money"));
  nameless.SetLabel("still labelled");
  EXPECT_EQ("still labelled", nameless.GetLabel());
}

}  // namespace
