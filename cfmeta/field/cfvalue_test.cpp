#include "cfmeta/field/cfvalue.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "cfmeta/field/cffield.h"
#include "cfmeta/field/cffieldparts_testutil.h"
#include "cfmeta/vocab/cfvocabulary.h"

namespace {

namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLElements = CfCppHelperV1::XMLElements;
namespace XMLEntities = CfCppHelperV1::XMLEntities;
using cfmeta_test::DatumText;
using cfmeta_test::MakeElement;
using cfmeta_test::Parse;
using cfmeta_test::ValueList;

std::string ValueXml(std::initializer_list<std::pair<std::string, std::string>> attributes) {
  return MakeElement(XMLElements::Value, attributes);
}

TEST(CFValueTest, ReadsValueLabelAndMarkers) {
  struct Row {
    std::string xml;
    CFDatum::DataType type;
    std::string value, label;
    uint32_t flag;
    int32_t partition;
    std::string source;
  };
  const Row rows[] = {
      {ValueXml({{XMLAttributes::Value, "7"}, {XMLAttributes::DisplayLabel, "Seven"}}),
       CFDatum::Integer, "7", "Seven", 0, 0, ""},
      {ValueXml({{XMLAttributes::Value, "2.50"}}), CFDatum::Real, "2.5", "", 0, 0, "2.50"},
      {ValueXml({{XMLAttributes::Value, " a&b "}}), CFDatum::String, " a&b ", "", 0, 0, ""},
      {ValueXml({{XMLAttributes::Value, "1"}, {XMLAttributes::FlagValue, XMLEntities::True}}),
       CFDatum::Integer, "1", "", CFValue::TrueFlag, 0, ""},
      // The false text is a marker of its own, not the absence of one.
      {ValueXml({{XMLAttributes::Value, "0"}, {XMLAttributes::FlagValue, XMLEntities::False}}),
       CFDatum::Integer, "0", "", CFValue::FalseFlag, 0, ""},
      {ValueXml(
           {{XMLAttributes::Value, "t"}, {XMLAttributes::DefinePartition, XMLEntities::Testing}}),
       CFDatum::String, "t", "", 0, 2, ""},
      {ValueXml({{XMLAttributes::Value, "v"},
                 {XMLAttributes::DefinePartition, XMLEntities::Validation}}),
       CFDatum::String, "v", "", 0, 3, ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.xml);
    CFValue value(*Parse(row.xml), row.type);
    ASSERT_FALSE(value.GetValue().IsNull());
    EXPECT_EQ(row.type, value.GetValue().GetType());
    EXPECT_EQ(row.value, DatumText(value.GetValue()));
    EXPECT_EQ(row.label, value.GetLabel());
    EXPECT_EQ(row.flag, value.GetFlag());
    EXPECT_EQ(row.partition, value.GetPartition());
    EXPECT_EQ(row.source, value.GetSourceText());
  }
}

TEST(CFValueTest, DamagedValueReadsAsNull) {
  struct Row {
    std::string xml;
    CFDatum::DataType type;
  };
  const Row rows[] = {
      {ValueXml({{XMLAttributes::DisplayLabel, "no value"}}), CFDatum::String},
      {ValueXml({{XMLAttributes::Value, "1.5"}, {XMLAttributes::DisplayLabel, "x"}}),
       CFDatum::Integer},
      {ValueXml({{XMLAttributes::Value, "abc"}}), CFDatum::Real},
      // Infinity converts, but is no value.
      {ValueXml({{XMLAttributes::Value, "INF"}}), CFDatum::Real},
      {ValueXml({{XMLAttributes::Value, "1.5"},
                 {XMLAttributes::FlagValue, "TRUE"},
                 {XMLAttributes::DisplayLabel, "x"}}),
       CFDatum::Real},
      {ValueXml({{XMLAttributes::Value, "1.5"},
                 {XMLAttributes::DefinePartition, "holdout"},
                 {XMLAttributes::DisplayLabel, "x"}}),
       CFDatum::Real},
      {ValueXml({{XMLAttributes::Value, "1"}, {XMLAttributes::DefinePartition, ""}}),
       CFDatum::Integer},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.xml);
    CFValue value(*Parse(row.xml), row.type);
    EXPECT_TRUE(value.GetValue().IsNull());
    EXPECT_EQ(CFDatum::Integer, value.GetValue().GetType());
    EXPECT_EQ("", value.GetLabel());
    EXPECT_EQ("", value.GetSourceText());
  }
}

TEST(CFValueTest, GetIndexFindsFirstMatchOrSaysWhyNot) {
  const std::vector<CFValue> empty;
  const std::vector<CFValue> integers = ValueList({CFDatum(1), CFDatum(2), CFDatum(2)});
  const std::vector<CFValue> reals = ValueList({CFDatum(1.5), CFDatum(2.0)});
  const std::vector<CFValue> strings =
      ValueList({CFDatum("a", false), CFDatum("B", false), CFDatum("a", false)});
  struct Row {
    const char* what;
    const std::vector<CFValue>& list;
    CFDatum key;
    int index;
  };
  const Row rows[] = {
      {"int in empty", empty, CFDatum(3), -1},
      {"text in empty", empty, CFDatum("a", false), -1},
      {"null in empty", empty, CFDatum(), -2},
      {"null text in empty", empty, CFDatum(nullptr, true), -2},
      {"duplicate int", integers, CFDatum(2), 1},
      {"absent int", integers, CFDatum(5), -1},
      {"real in ints", integers, CFDatum(2.0), -2},
      {"text in ints", integers, CFDatum("2", false), -2},
      {"int in reals", reals, CFDatum(2), -2},
      {"real in reals", reals, CFDatum(2.0), 1},
      {"duplicate text", strings, CFDatum("a", false), 0},
      {"other case", strings, CFDatum("b", false), -1},
      {"exact case", strings, CFDatum("B", false), 1},
      {"untrimmed", strings, CFDatum(" a", false), -1},
      {"int in texts", strings, CFDatum(1), -2},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(row.index, CFValue::GetIndex(row.key, row.list));
    const int search = row.index >= 0 ? 1 : row.index == -1 ? 0 : 2;
    EXPECT_EQ(search, CFValue::SearchList(row.key, row.list));
    if (row.key.GetType() == CFDatum::String) {
      EXPECT_EQ(row.index, CFValue::GetIndex(row.key.GetString(), row.list));
      EXPECT_EQ(search, CFValue::SearchList(row.key.GetString(), row.list));
    }
  }
}

// A field's values and the labels given to them are written as children of the field and
// read back whole, labels included, whether or not the labelled value is among the values.
TEST(CFValueTest, FieldRoundTripKeepsValuesAndTheirLabels) {
  struct Row {
    CFField::StorageType storage;
    std::vector<CFValue> values, labels;
  };
  std::vector<CFValue> intLabels = ValueList({CFDatum(1), CFDatum(9)});
  intLabels[0].SetLabel("One & <only>");
  intLabels[1].SetLabel("Nine");
  std::vector<CFValue> textLabels = ValueList({CFDatum("b", false)});
  textLabels[0].SetLabel("\xC3\xA9t\xC3\xA9");
  const Row rows[] = {
      {CFField::IntegerStorage, ValueList({CFDatum(1), CFDatum(2)}), intLabels},
      {CFField::StringStorage, ValueList({CFDatum("a", false), CFDatum("b", false)}), textLabels},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.storage);
    CFField field("F", row.storage, CFField::Nominal);
    field.SetValues(row.values);
    field.SetValueLabels(row.labels);
    ASSERT_EQ(row.labels.size(), field.GetValueLabels().size());
    const CFField back = cfmeta_test::ReadField(cfmeta_test::WrittenField(field));
    ASSERT_EQ("F", back.GetName());
    EXPECT_EQ(cfmeta_test::Describe(row.labels), cfmeta_test::Describe(back.GetValueLabels()));
    EXPECT_EQ(cfmeta_test::Describe(row.values), cfmeta_test::Describe(back.GetValues()));
    EXPECT_EQ(cfmeta_test::Describe(field), cfmeta_test::Describe(back));
  }
}

}  // namespace
