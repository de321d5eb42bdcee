#include "cfmeta/metadata/cffieldgroup.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "cfmeta/format/cfformat_testutil.h"
#include "cfmeta/metadata/cfmetadata.h"
#include "cfmeta/metadata/cfmetadata_testutil.h"
#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/xml/cfxml_testutil.h"
#include "cfmeta/xml/cfxmlwrapper.h"

namespace {

using cfmeta_test::MakeElement;
using cfmeta_test::OpenTag;
namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLElements = CfCppHelperV1::XMLElements;
namespace XMLEntities = CfCppHelperV1::XMLEntities;

std::string Member(const std::string& name) {
  return MakeElement(XMLElements::FieldName, {{XMLAttributes::Name, name}});
}

std::string Document(const std::string& groups) {
  return MakeElement(
      XMLElements::DataModel, {},
      groups + MakeElement(XMLElements::Fields, {},
                           MakeElement(XMLElements::Field,
                                       {{XMLAttributes::Name, "A"},
                                        {XMLAttributes::Storage, XMLEntities::Integer},
                                        {XMLAttributes::Measure, XMLEntities::Nominal}})));
}

std::string Groups(const std::string& children) {
  return MakeElement(XMLElements::FieldGroups, {}, children);
}

// A group element; a null type or name leaves that attribute out.
std::string Group(const char* type, const char* name, const std::string& children) {
  cfmeta_test::AttributeList attributes;
  if (type != nullptr) attributes.emplace_back(XMLAttributes::GroupType, type);
  if (name != nullptr) attributes.emplace_back(XMLAttributes::Name, name);
  return cfmeta_test::ElementOf(XMLElements::FieldGroup, attributes, children);
}

// Every group of every type as one line each, in type order then list order.
TEST(CFFieldGroupTest, WritesTypeNameOptionalTextsAndMembers) {
  struct Row {
    CFMetaData::GroupType type;
    const char* entity;
    std::string label, counted;
  };
  const Row rows[] = {
      {CFMetaData::PlainGroup, XMLEntities::FieldGroup, "", ""},
      {CFMetaData::MultiCategorySet, XMLEntities::MultiCategorySet, "Brands & more", ""},
      {CFMetaData::MultiDichotomySet, XMLEntities::MultiDichotomySet, "Owns", "1"},
      {CFMetaData::SplitGroup, XMLEntities::SplitGroup, "", "yes"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.entity);
    CFFieldGroup group(row.type, "G", {"b", "a"}, row.label, row.counted);
    auto doc = cfmeta_test::NewDocument();
    CfExtension::CFXMLWrapper* created = nullptr;
    group.AddToTree(*doc, created);
    ASSERT_NE(nullptr, created);
    std::map<std::string, std::string> attributes = {{XMLAttributes::GroupType, row.entity},
                                                     {XMLAttributes::Name, "G"}};
    if (!row.label.empty()) attributes[XMLAttributes::DisplayLabel] = row.label;
    if (!row.counted.empty()) attributes[XMLAttributes::CountedValue] = row.counted;
    EXPECT_EQ(OpenTag(XMLElements::FieldGroup, attributes) + ">" + Member("b") + Member("a") +
                  "</" + XMLElements::FieldGroup + ">",
              cfmeta_test::Serialise(*created));
  }

  // Nothing to write: the parent stays as it was.
  const CFFieldGroup unwritable[] = {
      CFFieldGroup(CFMetaData::PlainGroup, "G", {}, "", ""),
      CFFieldGroup(static_cast<CFMetaData::GroupType>(4), "G", {"a"}, "", ""),
  };
  for (const CFFieldGroup& group : unwritable) {
    auto doc = cfmeta_test::NewDocument();
    const std::string before = cfmeta_test::Serialise(*doc);
    CfExtension::CFXMLWrapper* created = doc.get();
    group.AddToTree(*doc, created);
    EXPECT_EQ(nullptr, created);
    EXPECT_EQ(before, cfmeta_test::Serialise(*doc));
  }
}

TEST(CFFieldGroupTest, DamagedGroupFailsTheLoad) {
  const char* plain = XMLEntities::FieldGroup;
  const std::string rows[] = {
      Group(plain, "G", ""),  // no members
      Group(plain, "G", MakeElement(XMLElements::Field, {{XMLAttributes::Name, "A"}})),
      Group("cluster", "G", Member("A")),
      Group(XMLElements::FieldGroup, "G", Member("A")),  // type texts match exactly
      Group(nullptr, "G", Member("A")),
      Group(plain, nullptr, Member("A")),
      Group(plain, "G", Member("A") + MakeElement(XMLElements::FieldName, {})),  // nameless
      Group(plain, "G", Member("A")) + Group(plain, "G", Member("B")),           // taken twice
  };
  for (const std::string& groups : rows) {
    SCOPED_TRACE(groups);
    CFMetaData meta(Document(Groups(groups)), nullptr);
    EXPECT_EQ(0u, meta.FieldCount());
    EXPECT_EQ("", cfmeta_test::DescribeGroups(meta));
  }
}

TEST(CFFieldGroupTest, GroupsSurviveExportAndLoad) {
  // Other children of a group are passed over; the empty name is a name like any other.
  const std::string xml = Document(
      Groups(MakeElement(XMLElements::FieldGroup,
                         {{XMLAttributes::GroupType, XMLEntities::MultiDichotomySet},
                          {XMLAttributes::Name, "Owns"},
                          {XMLAttributes::DisplayLabel, "Owned \"items\""},
                          {XMLAttributes::CountedValue, "1"}},
                         Member("car") + MakeElement(XMLElements::Field, {}) + Member("bike")) +
             Group(XMLEntities::FieldGroup, "", Member("car")) +
             Group(XMLEntities::MultiDichotomySet, "Uses", Member("bus"))));
  CFMetaData meta(xml, nullptr);
  ASSERT_EQ(1u, meta.FieldCount());
  const std::string expected =
      "0  [] [] car\n"
      "2 Owns [Owned \"items\"] [1] car bike\n"
      "2 Uses [] [] bus\n";
  EXPECT_EQ(expected, cfmeta_test::DescribeGroups(meta));

  const std::string exported = cfmeta_test::ExpectRoundTrip(meta);
  // Groups sit between the formats and the fields, in list order.
  const size_t groups = exported.find(std::string("<") + XMLElements::FieldGroups + ">");
  ASSERT_NE(std::string::npos, groups);
  EXPECT_LT(groups, exported.find(std::string("<") + XMLElements::Fields + " "));
  EXPECT_LT(exported.find("Owns"), exported.find("Uses"));
}

TEST(CFFieldGroupTest, TypeAndNameTogetherIdentifyAGroup) {
  CFMetaData meta;
  EXPECT_TRUE(meta.SetFieldGroup(CFMetaData::PlainGroup, "Set", {"a"}, "", ""));
  EXPECT_TRUE(meta.SetFieldGroup(CFMetaData::SplitGroup, "S", {"s"}, "", ""));
  EXPECT_TRUE(meta.SetFieldGroup(CFMetaData::MultiCategorySet, "Set", {"b", "c"}, "B", ""));
  EXPECT_TRUE(meta.SetFieldGroup(CFMetaData::PlainGroup, "set", {"d"}, "", ""));  // never folded
  EXPECT_FALSE(meta.SetFieldGroup(CFMetaData::PlainGroup, "Set", {"e"}, "", ""));
  EXPECT_FALSE(meta.SetFieldGroup(CFMetaData::SplitGroup, "Empty", {}, "", ""));
  EXPECT_EQ(
      "0 Set [] [] a\n"
      "0 set [] [] d\n"
      "1 Set [B] [] b c\n"
      "3 S [] [] s\n",
      cfmeta_test::DescribeGroups(meta));

  // The ordinal counts only groups of the asked type.
  std::string name = "stale", label = "stale", counted = "stale";
  std::vector<std::string> fields = {"stale"};
  ASSERT_TRUE(meta.GetFieldGroup(CFMetaData::PlainGroup, 1u, name, fields, label, counted));
  EXPECT_EQ("set", name);
  EXPECT_EQ(std::vector<std::string>{"d"}, fields);
  // Not found: every output is cleared.
  const auto expectCleared = [&](bool found) {
    EXPECT_FALSE(found);
    EXPECT_EQ("", name);
    EXPECT_TRUE(fields.empty());
    EXPECT_EQ("", label);
    EXPECT_EQ("", counted);
    name = label = counted = "stale";
    fields = {"stale"};
  };
  expectCleared(meta.GetFieldGroup(CFMetaData::PlainGroup, 2u, name, fields, label, counted));
  expectCleared(
      meta.GetFieldGroup(static_cast<CFMetaData::GroupType>(-1), 0u, name, fields, label, counted));
  name = "";
  expectCleared(meta.GetFieldGroup(CFMetaData::MultiDichotomySet, "Set", fields, label, counted));
  ASSERT_TRUE(meta.GetFieldGroup(CFMetaData::MultiCategorySet, "Set", fields, label, counted));
  EXPECT_EQ("B", label);

  // Dropping frees the type and name; the later groups keep their order and find.
  EXPECT_FALSE(meta.DropFieldGroup(CFMetaData::MultiDichotomySet, "Set"));
  EXPECT_TRUE(meta.DropFieldGroup(CFMetaData::PlainGroup, "Set"));
  EXPECT_FALSE(meta.DropFieldGroup(CFMetaData::PlainGroup, "Set"));
  EXPECT_TRUE(meta.GetFieldGroup(CFMetaData::SplitGroup, "S", fields, label, counted));
  EXPECT_TRUE(meta.SetFieldGroup(CFMetaData::PlainGroup, "Set", {"a"}, "", ""));
  EXPECT_EQ(
      "0 set [] [] d\n"
      "0 Set [] [] a\n"
      "1 Set [B] [] b c\n"
      "3 S [] [] s\n",
      cfmeta_test::DescribeGroups(meta));
}

// A group of a type outside the four kinds is kept and found; writing it fails, which on export
// stops only the groups after it.
TEST(CFFieldGroupTest, GroupOfAnUnknownTypeIsKeptButNotWritten) {
  const auto odd = static_cast<CFMetaData::GroupType>(4);
  CFMetaData meta(Document(""), nullptr);
  ASSERT_EQ(1u, meta.FieldCount());
  ASSERT_TRUE(meta.SetFieldGroup(CFMetaData::PlainGroup, "Before", {"a"}, "", ""));
  ASSERT_TRUE(meta.SetFieldGroup(odd, "Odd", {"a"}, "L", ""));
  ASSERT_TRUE(meta.SetFieldGroup(CFMetaData::SplitGroup, "After", {"a"}, "", ""));
  EXPECT_FALSE(meta.SetFieldGroup(odd, "Odd", {"b"}, "", ""));
  std::string name, label, counted;
  std::vector<std::string> fields;
  ASSERT_TRUE(meta.GetFieldGroup(odd, 0u, name, fields, label, counted));
  EXPECT_EQ("Odd", name);
  EXPECT_EQ("L", label);
  EXPECT_TRUE(meta.GetFieldGroup(odd, "Odd", fields, label, counted));

  std::string exported;
  ASSERT_TRUE(meta.ExportXMLDoc(exported));
  EXPECT_EQ("0 Before [] [] a\n", cfmeta_test::DescribeGroups(CFMetaData(exported, nullptr)));

  CFMetaData copy(meta);
  EXPECT_TRUE(copy.DropFieldGroup(odd, "Odd"));
  EXPECT_FALSE(copy.GetFieldGroup(odd, 0u, name, fields, label, counted));
  ASSERT_TRUE(copy.ExportXMLDoc(exported));
  EXPECT_EQ("0 Before [] [] a\n3 After [] [] a\n",
            cfmeta_test::DescribeGroups(CFMetaData(exported, nullptr)));
}

}  // namespace
