#include "cfmeta/field/cffield.h"

#include <gtest/gtest.h>

#include <cctype>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "cfmeta/field/cffieldparts_testutil.h"
#include "cfmeta/field/cffieldread_internal.h"
#include "cfmeta/field/cfgeo.h"
#include "cfmeta/field/cfmodelfield.h"
#include "cfmeta/format/cfnumberformat.h"
#include "cfmeta/metadata/cfmetadata_testutil.h"
#include "cfmeta/stats/cfcontstats.h"
#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/vocab/xmlelement.h"
#include "cfmeta/xml/cfxml_testutil.h"

namespace {

namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLElements = CfCppHelperV1::XMLElements;
namespace XMLEntities = CfCppHelperV1::XMLEntities;
using Attributes = std::initializer_list<std::pair<std::string, std::string>>;
using cfmeta_test::DatumText;
using cfmeta_test::Describe;
using cfmeta_test::MakeElement;
using cfmeta_test::NumberFormat;
using cfmeta_test::Parse;
using cfmeta_test::ReadField;
using cfmeta_test::WrittenField;

const char* const kSubRole = "subRole";

std::string FieldXml(Attributes attributes, const std::string& children = "") {
  return MakeElement(XMLElements::Field, attributes, children);
}

std::string ValuesXml(std::initializer_list<std::string> values) {
  std::string children;
  for (const std::string& value : values) {
    children += MakeElement(XMLElements::Value, {{XMLAttributes::Value, value}});
  }
  return MakeElement(XMLElements::Values, {}, children);
}

std::string DecoratedFormatXml(const std::string& width = "8") {
  return MakeElement(XMLElements::DecoratedFormat,
                     {{XMLAttributes::Name, "Dollars"},
                      {XMLAttributes::Width, width},
                      {XMLAttributes::FormatType, XMLEntities::Currency},
                      {XMLAttributes::DecimalPlaces, "2"},
                      {XMLAttributes::DecimalSymbol, XMLEntities::Period},
                      {XMLAttributes::GroupingSymbol, XMLEntities::Comma},
                      {XMLAttributes::Prefix, "$"}});
}

std::string StringFormatXml(const std::string& hexadecimal = XMLEntities::False) {
  return MakeElement(XMLElements::StringFormat, {{XMLAttributes::Name, "Text"},
                                                 {XMLAttributes::Width, "8"},
                                                 {XMLAttributes::Hexadecimal, hexadecimal}});
}

TEST(CFFieldTest, ReadsAttributes) {
  const std::pair<std::string, std::string> rows[] = {
      {FieldXml({{XMLAttributes::Name, "a"}}), "a|6|0|7|1|0||0|-1|-1||1..0|[]|1..0[]N|[]||"},
      {FieldXml({{XMLAttributes::Name, "a"},
                 {XMLAttributes::Storage, ""},
                 {XMLAttributes::Role, ""},
                 {XMLAttributes::Structure, ""},
                 {XMLAttributes::StructureStorage, ""},
                 {XMLAttributes::Measure, ""}}),
       "a|6|0|7|1|0||0|-1|-1||1..0|[]|1..0[]N|[]||"},
      // The first row of each table, given: read as itself, not as the attribute's fallback.
      {FieldXml({{XMLAttributes::Name, "a"},
                 {XMLAttributes::Storage, XMLEntities::Unknown},
                 {XMLAttributes::Role, XMLEntities::Input},
                 {XMLAttributes::Structure, XMLEntities::Primitive},
                 {XMLAttributes::Measure, XMLEntities::Continuous}}),
       "a|0|0|0|1|0||0|-1|-1||1..0|[]|1..0[]N|[]||"},
      {FieldXml({{XMLAttributes::Name, "when"},
                 {XMLAttributes::Storage, XMLEntities::Date},
                 {XMLAttributes::Role, XMLEntities::FreqWeight},
                 {XMLAttributes::Structure, XMLEntities::List},
                 {XMLAttributes::StructureStorage, XMLEntities::Timestamp},
                 {XMLAttributes::Depth, "4 "},  // integers collapse white space
                 {XMLAttributes::ElementCount, " 2147483647"},
                 {XMLAttributes::MaxStringLength, " 12 "},
                 {XMLAttributes::Measure, XMLEntities::Ordinal},
                 {XMLAttributes::DisplayLabel, "Date of visit"},
                 {kSubRole, "weight <w>"}}),
       "when|2|4|5|0|6|weight <w>|12|4|2147483647|Date of visit|1..0|[]|1..0[]N|[]||"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.first);
    EXPECT_EQ(row.second, Describe(ReadField(row.first)));
  }
}

std::string Capitalised(const char* text) {
  std::string out = text;
  out[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(out[0])));
  return out;
}

// A field named "f" with one more attribute.
std::string WithAttr(const char* name, const std::string& value) {
  return FieldXml({{XMLAttributes::Name, "f"}, {name, value}});
}

// A labelled field named "f" of the given storage and measure ("" for unknown).
std::string Typed(const char* storage, const char* measure, const std::string& children) {
  return FieldXml({{XMLAttributes::Name, "f"},
                   {XMLAttributes::Storage, storage},
                   {XMLAttributes::Measure, measure},
                   {XMLAttributes::DisplayLabel, "label"}},
                  children);
}

TEST(CFFieldTest, DamagedFieldReadsAsDefault) {
  const char* const kInteger = XMLEntities::Integer;
  const std::string values = ValuesXml({"1", "2"});
  const std::string range = MakeElement(XMLElements::Range, {{XMLAttributes::MinValue, "1"}});
  const std::string rows[] = {
      FieldXml({{XMLAttributes::Storage, kInteger}}),
      FieldXml({{XMLAttributes::Name, ""}}),
      // Enumeration texts are exact: another case is another text.
      WithAttr(XMLAttributes::Measure, Capitalised(XMLEntities::Nominal)),
      WithAttr(XMLAttributes::Storage, Capitalised(XMLEntities::Real)),
      WithAttr(XMLAttributes::Role, "output"),
      WithAttr(XMLAttributes::Structure, "array"),
      WithAttr(XMLAttributes::StructureStorage, "long"),
      // -1 is what an absent depth means, but it cannot be given.
      WithAttr(XMLAttributes::Depth, "-1"),
      WithAttr(XMLAttributes::Depth, "2147483648"),
      WithAttr(XMLAttributes::ElementCount, "deep"),
      WithAttr(XMLAttributes::MaxStringLength, "4294967295"),  // narrowed to int: negative
      // Children refused by the field's type or storage, after content that was accepted.
      Typed(kInteger, XMLEntities::Nominal, values + range),
      Typed(XMLEntities::String, XMLEntities::Continuous, range),
      Typed("", XMLEntities::Continuous, range),
      Typed(kInteger, XMLEntities::Continuous, range + values),
      Typed("", XMLEntities::Nominal, values),
      Typed("", XMLEntities::Nominal, MakeElement(XMLElements::ValueLabels, {}, values)),
      Typed(kInteger, XMLEntities::Nominal, ValuesXml({"1", "two"})),
      Typed(kInteger, "",
            MakeElement(XMLElements::MissingValues,
                        {{XMLAttributes::TreatNullAsMissing, Capitalised(XMLEntities::True)}})),
      Typed(kInteger, "", MakeElement(XMLElements::MissingValues, {}, ValuesXml({"1.5"}))),
      Typed(kInteger, XMLEntities::Continuous, MakeElement(XMLElements::DiscreteStatistics, {})),
      Typed(kInteger, XMLEntities::Flag, MakeElement(XMLElements::ContinuousStatistics, {})),
      Typed(kInteger, "",
            MakeElement(XMLElements::BaseField,
                        {{XMLAttributes::Name, "b"}, {XMLAttributes::Measure, "bogus"}})),
  };
  const std::string empty = Describe(CFField());
  for (const std::string& xml : rows) {
    SCOPED_TRACE(xml);
    EXPECT_EQ(empty, Describe(ReadField(xml)));
  }
}

TEST(CFFieldTest, ReadsValuesRangesAndLabels) {
  const CFField coded = ReadField(FieldXml(
      {{XMLAttributes::Name, "Satisfaction"},
       {XMLAttributes::Storage, XMLEntities::Integer},
       {XMLAttributes::Measure, XMLEntities::Flag}},
      MakeElement(
          XMLElements::Values, {},
          MakeElement(XMLElements::Value, {{XMLAttributes::Value, "0"},
                                           {XMLAttributes::FlagValue, XMLEntities::False},
                                           {XMLAttributes::DisplayLabel, "No"}}) +
              MakeElement(XMLElements::Value, {{XMLAttributes::Value, "1"},
                                               {XMLAttributes::FlagValue, XMLEntities::True},
                                               {XMLAttributes::DisplayLabel, "Yes"}})) +
          MakeElement(XMLElements::MissingValues,
                      {{XMLAttributes::TreatNullAsMissing, XMLEntities::False},
                       {XMLAttributes::TreatWhitespaceAsMissing, XMLEntities::True}},
                      ValuesXml({"99"}) +
                          MakeElement(XMLElements::Range, {{XMLAttributes::MinValue, "8"},
                                                           {XMLAttributes::MaxValue, "9"}})) +
          MakeElement(XMLElements::ValueLabels, {},
                      MakeElement(XMLElements::Values, {},
                                  MakeElement(XMLElements::Value,
                                              {{XMLAttributes::Value, "8"},
                                               {XMLAttributes::DisplayLabel, "Refused"}}))) +
          // Not a child of ours: ignored.
          MakeElement("Comment", {{XMLAttributes::Value, "x"}})));
  EXPECT_EQ(
      "Satisfaction|3|1|7|1|0||0|-1|-1||1..0|[0/No/2 1/Yes/1 ]|8..9[99//0 ]W|"
      "[8/Refused/0 ]||",
      Describe(coded));

  const CFField income =
      ReadField(FieldXml({{XMLAttributes::Name, "Income"},
                          {XMLAttributes::Storage, XMLEntities::Real},
                          {XMLAttributes::Measure, XMLEntities::Continuous}},
                         MakeElement(XMLElements::Range, {{XMLAttributes::MinValue, "1"}}) +
                             // A later child replaces what an earlier one of the same name set.
                             MakeElement(XMLElements::Range, {{XMLAttributes::MinValue, "0.5"},
                                                              {XMLAttributes::MaxValue, "2.5e6"}}) +
                             MakeElement(XMLElements::ValueLabels, {})));
  EXPECT_EQ("Income|0|2|7|1|0||0|-1|-1||0.5..2500000|[]|1..0[]N|[]||", Describe(income));
}

TEST(CFFieldTest, MissingValuesFollowTheStorage) {
  struct Row {
    std::string storage;
    std::string missing;
    std::string expected;
  };
  const std::string rangeAndValues =
      MakeElement(XMLElements::Range, {{XMLAttributes::MinValue, "1"}}) + ValuesXml({"7"});
  const Row rows[] = {
      {XMLEntities::Integer, MakeElement(XMLElements::MissingValues, {}), "1..0[]N"},
      {XMLEntities::Integer,
       MakeElement(XMLElements::MissingValues,
                   {{XMLAttributes::TreatWhitespaceAsMissing, XMLEntities::True}}),
       "1..0[]NW"},
      {XMLEntities::Integer, MakeElement(XMLElements::MissingValues, {}, rangeAndValues),
       "1..null[7//0 ]N"},
      // Strings have no ranges, and unknown storage reads neither part.
      {XMLEntities::String, MakeElement(XMLElements::MissingValues, {}, rangeAndValues),
       "1..0[7//0 ]N"},
      {XMLEntities::Unknown, MakeElement(XMLElements::MissingValues, {}, rangeAndValues),
       "1..0[]N"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.storage + " " + row.missing);
    CFField field = ReadField(
        FieldXml({{XMLAttributes::Name, "f"}, {XMLAttributes::Storage, row.storage}}, row.missing));
    ASSERT_EQ("f", field.GetName());
    EXPECT_EQ(row.expected, Describe(field.GetMissingValues()));
  }
}

TEST(CFFieldTest, FormatMustSuitTheStorage) {
  struct Row {
    const char* storage;
    std::string format;
    bool accepted;
    std::string reference;
    bool hasPrivate;
    char privateClass = 'n';
  };
  auto formatXml = [](const std::string& format) {
    return MakeElement(XMLElements::FieldFormat, {}, format);
  };
  auto namedXml = [](const std::string& format) {
    return MakeElement(XMLElements::FieldFormat, {{XMLAttributes::UseNamedFormat, "Shared"}},
                       format);
  };
  const std::string number = formatXml(NumberFormat("Money", 8));
  const Row rows[] = {
      {XMLEntities::Real, number, true, "", true},
      {XMLEntities::Integer, number, true, "", true},
      // A named format wins over the element's own format, which is not even read.
      {XMLEntities::Real, namedXml(NumberFormat("Money", 8)), true, "Shared", false},
      {XMLEntities::Date, namedXml(NumberFormat("Money", 8)), true, "Shared", false},
      {XMLEntities::Real, namedXml(MakeElement("Bogus", {})), true, "Shared", false},
      {XMLEntities::Real, MakeElement(XMLElements::FieldFormat, {}), true, "", false},
      {XMLEntities::Date, number, false, "", false},
      {XMLEntities::String, number, false, "", false},
      {XMLEntities::Unknown, number, false, "", false},
      {XMLEntities::Real, formatXml(NumberFormat("Money", 0)), false, "", false},
      {XMLEntities::Real, formatXml(MakeElement("Bogus", {})), false, "", false},
      {XMLEntities::Real, formatXml(DecoratedFormatXml()), true, "", true, 'c'},
      {XMLEntities::Integer, formatXml(DecoratedFormatXml()), true, "", true, 'c'},
      {XMLEntities::String, formatXml(DecoratedFormatXml()), false, "", false},
      {XMLEntities::Real, formatXml(DecoratedFormatXml("0")), false, "", false},
      {XMLEntities::String, formatXml(StringFormatXml()), true, "", true, 's'},
      {XMLEntities::Real, formatXml(StringFormatXml()), false, "", false},
      {XMLEntities::Timestamp, formatXml(StringFormatXml()), false, "", false},
      {XMLEntities::String, formatXml(StringFormatXml("maybe")), false, "", false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.storage) + " " + row.format);
    CFField field = ReadField(
        FieldXml({{XMLAttributes::Name, "f"}, {XMLAttributes::Storage, row.storage}}, row.format));
    EXPECT_EQ(row.accepted, !field.GetName().empty());
    EXPECT_EQ(row.reference, field.GetFormatReference());
    ASSERT_EQ(row.hasPrivate, field.GetPrivateFormat() != nullptr);
    if (row.hasPrivate) {
      EXPECT_EQ(row.privateClass, field.GetPrivateFormat()->GetFormatClass());
      EXPECT_EQ(8, field.GetPrivateFormat()->GetWidth());
    }
  }
}

TEST(CFFieldTest, BaseFieldsDoNotNest) {
  const std::string inner = MakeElement(XMLElements::BaseField, {{XMLAttributes::Name, "c"}});
  const std::string middle =
      MakeElement(XMLElements::BaseField,
                  {{XMLAttributes::Name, "b"}, {XMLAttributes::Storage, XMLEntities::Real}}, inner);
  const std::string xml = FieldXml({{XMLAttributes::Name, "a"}}, middle);

  CFField field = ReadField(xml);
  ASSERT_NE(nullptr, field.GetBaseField());
  EXPECT_EQ("b|6|2|7|1|0||0|-1|-1||1..0|[]|1..0[]N|[]||", Describe(*field.GetBaseField()));

  // Read as a base field itself, the element's base-field child is ignored.
  CFField asBase = ReadField(xml, true);
  EXPECT_EQ("a", asBase.GetName());
  EXPECT_EQ(nullptr, asBase.GetBaseField());
}

// Compared through the written element, which holds every part a field owns.
TEST(CFFieldTest, CopiesAreDeep) {
  const CFNumberFormat format(CFNumberFormat::Standard, 12, 2);
  CFField base("Raw", CFField::RealStorage, CFField::Continuous);
  ASSERT_TRUE(base.SetPrivateFormat(&format));
  auto original = std::make_unique<CFField>("Income", CFField::RealStorage, CFField::Continuous);
  ASSERT_TRUE(original->SetRange(CFRange(CFDatum(0.0), CFDatum())));
  ASSERT_TRUE(original->SetPrivateFormat(&format));
  original->SetBaseField(base);
  const CFModelField modelField(CFModelField::MFClusterId, "k-means", CFModelField::NoRuleFeature);
  ASSERT_TRUE(original->SetModelField(&modelField));
  CFGeo geo;
  geo.SetWkid(4326);
  ASSERT_TRUE(original->SetGeo(&geo));
  CFContStatsDbl stats;
  stats.Update(2.5);
  ASSERT_TRUE(original->SetSumStats(&stats));
  const std::string expected = WrittenField(*original);
  ASSERT_NE("", expected);

  CFField copy(*original);
  CFField assigned("other", CFField::IntegerStorage, CFField::Nominal);
  assigned = *original;
  EXPECT_NE(original->GetPrivateFormat(), copy.GetPrivateFormat());
  EXPECT_NE(original->GetBaseField(), copy.GetBaseField());
  EXPECT_NE(original->GetBaseField()->GetPrivateFormat(), copy.GetBaseField()->GetPrivateFormat());
  EXPECT_NE(original->GetModelField(), assigned.GetModelField());
  EXPECT_NE(original->GetGeo(), assigned.GetGeo());
  EXPECT_NE(original->GetContStats(), copy.GetContStats());
  original.reset();
  EXPECT_EQ(expected, WrittenField(copy));
  EXPECT_EQ(expected, WrittenField(assigned));

  CFField& self = assigned;
  assigned = self;
  EXPECT_EQ(expected, WrittenField(assigned));
  CFField moved(std::move(copy));
  EXPECT_EQ(expected, WrittenField(moved));
}

TEST(CFFieldTest, BothDataValueReadersAgree) {
  struct Row {
    const char* text;  // null: absent
    CFDatum::DataType type;
    int rc, status;
    std::string value;
  };
  const Row rows[] = {
      {nullptr, CFDatum::Integer, 0, 4, "null"},
      {nullptr, CFDatum::Real, 0, 4, "null"},
      {nullptr, CFDatum::String, 0, 4, "null"},
      {"-42", CFDatum::Integer, 0, 0, "-42"},
      {"4.5", CFDatum::Integer, 5, -1, "null"},
      {"9223372036854775808", CFDatum::Integer, 5, -1, "null"},
      {"1e3", CFDatum::Real, 0, 0, "1000"},
      {"abc", CFDatum::Real, 5, -1, "null"},
      {"-INF", CFDatum::Real, 0, 1, "null"},
      {"INF", CFDatum::Real, 0, 2, "null"},
      {"NaN", CFDatum::Real, 0, 3, "null"},
      {"", CFDatum::String, 0, 0, ""},
      {" x ", CFDatum::String, 0, 0, " x "},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.text != nullptr ? row.text : "(absent)") + " as " +
                 std::to_string(row.type));
    const std::string xml =
        row.text == nullptr ? MakeElement(XMLElements::Value, {})
                            : MakeElement(XMLElements::Value, {{XMLAttributes::Value, row.text}});
    auto doc = Parse(xml);
    const CfCppHelperV1::XMLElement element(*doc);
    // Start from a string datum, which must give up its text.
    CFDatum fromWrapper("stale", false), fromElement("stale", false);
    int statusWrapper = 99, statusElement = 99;
    EXPECT_EQ(row.rc, cfmeta_internal::GetDataValueAttr(*doc, XMLAttributes::Value, row.type,
                                                        fromWrapper, statusWrapper));
    EXPECT_EQ(row.rc, cfmeta_internal::GetDataValueAttr(element, XMLAttributes::Value, row.type,
                                                        fromElement, statusElement));
    EXPECT_EQ(row.status, statusWrapper);
    EXPECT_EQ(row.status, statusElement);
    EXPECT_EQ(row.value, DatumText(fromWrapper));
    EXPECT_EQ(row.value, DatumText(fromElement));
    for (const CFDatum* datum : {&fromWrapper, &fromElement}) {
      if (!datum->IsNull()) {
        EXPECT_EQ(row.type, datum->GetType());
      }
    }
  }
}

// Guards the tables themselves: a reader and a writer that share a wrong row still agree.
TEST(CFFieldTest, TableLookupsTakeTheFirstExactMatch) {
  const std::string otherCase = Capitalised(XMLEntities::Point);
  struct Row {
    const CFField::EntityRow* table;
    const char* text;
    int value;  // -1 when not found
  };
  const Row rows[] = {
      {CFField::kMeasureTable, XMLEntities::Continuous, CFField::Continuous},
      {CFField::kMeasureTable, XMLEntities::Nominal, CFField::Nominal},
      {CFField::kMeasureTable, XMLEntities::Ordinal, CFField::Ordinal},
      {CFField::kMeasureTable, XMLEntities::Flag, CFField::Flag},
      {CFField::kMeasureTable, XMLEntities::Discrete, CFField::Discrete},
      {CFField::kMeasureTable, XMLEntities::Typeless, CFField::Typeless},
      {CFField::kMeasureTable, XMLEntities::Unknown, CFField::UnknownType},
      {CFField::kStorageTable, XMLEntities::Unknown, CFField::UnknownStorage},
      {CFField::kStorageTable, XMLEntities::Integer, CFField::IntegerStorage},
      {CFField::kStorageTable, XMLEntities::Real, CFField::RealStorage},
      {CFField::kStorageTable, XMLEntities::String, CFField::StringStorage},
      {CFField::kStorageTable, XMLEntities::Date, CFField::DateStorage},
      {CFField::kStorageTable, XMLEntities::Time, CFField::TimeStorage},
      {CFField::kStorageTable, XMLEntities::Timestamp, CFField::TimestampStorage},
      {CFField::kRoleTable, XMLEntities::Input, CFField::Input},
      {CFField::kRoleTable, XMLEntities::Target, CFField::Target},
      {CFField::kRoleTable, XMLEntities::Both, CFField::Both},
      {CFField::kRoleTable, XMLEntities::Partition, CFField::Partition},
      {CFField::kRoleTable, XMLEntities::Split, CFField::Split},
      {CFField::kRoleTable, XMLEntities::FreqWeight, CFField::FreqWeight},
      {CFField::kRoleTable, XMLEntities::RecordId, CFField::RecordId},
      {CFField::kRoleTable, XMLEntities::None, CFField::NoRole},
      {CFField::kStructureTable, XMLEntities::List, CFField::List},
      {CFField::kStructureTable, XMLEntities::Primitive, CFField::Primitive},
      {CFField::kModelFieldRoleTable, "cumulativeHazard", 14},
      {CFField::kModelFieldRoleTable, XMLEntities::Derived, 18},
      {CFField::kRuleFeatureTable, "", 7},
      {CFField::kRuleFeatureTable, XMLEntities::Lift, 6},
      {CFField::kGeoTypeTable, XMLEntities::MultiPolygon, 5},
      {CFField::kPartitionTable, XMLEntities::Training, 1},
      {CFField::kPartitionTable, nullptr, -1},
      {CFField::kPartitionTable, "", -1},
      {CFField::kGeoTypeTable, otherCase.c_str(), -1},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text != nullptr ? row.text : "(null)");
    const int position = cfmeta_internal::FindStrInList(row.text, row.table);
    EXPECT_EQ(row.value, position < 0 ? -1 : static_cast<int>(row.table[position].value));
  }
}

}  // namespace
