#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>
#include <typeinfo>
#include <vector>

#include "cfmeta/field/cffield.h"
#include "cfmeta/field/cffield_testutil.h"
#include "cfmeta/format/cfnumberformat.h"
#include "cfmeta/stats/cfcatstatsimp.h"
#include "cfmeta/stats/cfcontstats.h"
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

std::string FieldXml(const char* storage, const char* measure, const std::string& children = "") {
  return MakeElement(XMLElements::Field,
                     {{XMLAttributes::Name, "F"},
                      {XMLAttributes::Storage, storage},
                      {XMLAttributes::Measure, measure}},
                     children);
}

// Writes `field`, reads the written element back, and lists the written element's children.
CFField WriteAndRead(const CFField& field, std::vector<std::string>* childNames = nullptr) {
  auto doc = cfmeta_test::NewDocument();
  CFXMLWrapper* created = nullptr;
  field.AddToTree(*doc, created, false);
  EXPECT_NE(nullptr, created);
  if (created == nullptr) return CFField();
  if (childNames != nullptr) {
    CFXMLIteratorWrapper* it = nullptr;
    created->getElementDirectIterator("", &it);
    std::string name;
    for (CFXMLWrapper* child = it->nextElement(); child != nullptr; child = it->nextElement()) {
      child->getName(name);
      childNames->push_back(name);
    }
  }
  return ReadField(cfmeta_test::Serialise(*created));
}

std::string Category(const std::string& value, const std::string& weight) {
  return MakeElement(XMLElements::Category,
                     {{XMLAttributes::Category, value}, {XMLAttributes::SumFreqWts, weight}});
}

std::string Discrete(const std::string& categories) {
  return categories.empty() ? MakeElement(XMLElements::DiscreteStatistics, {})
                            : MakeElement(XMLElements::DiscreteStatistics, {}, categories);
}

std::string Continuous(const std::string& sumFreq) {
  return MakeElement(XMLElements::ContinuousStatistics, {{XMLAttributes::SumFreqWts, sumFreq},
                                                         {XMLAttributes::SumCompWts, sumFreq},
                                                         {XMLAttributes::Minimum, "1"},
                                                         {XMLAttributes::Maximum, "3"},
                                                         {XMLAttributes::Mean, "2"},
                                                         {XMLAttributes::Variance, "1"}});
}

// A field's storage and measure with the statistics to give it: one of `cat` and `cont`.
struct StatsRow {
  const char* storage;
  const char* measure;
  const CFCatStats* cat;
  const CFContStats* cont;
};

void ExpectSameCats(const CFCatStats& expected, const CFCatStats* actual) {
  ASSERT_NE(nullptr, actual);
  EXPECT_EQ(typeid(expected), typeid(*actual));
  ASSERT_EQ(expected.GetNCats(), actual->GetNCats());
  for (uint32_t i = 0; i < expected.GetNCats(); ++i) {
    EXPECT_EQ(0, expected.GetCatValDatum(i).Compare(actual->GetCatValDatum(i))) << i;
    EXPECT_EQ(expected.GetCatWeight(i), actual->GetCatWeight(i)) << i;
  }
}

// Doubles are written with 15 significant digits, so they come back to within that; the exact
// integer extrema come back exactly.
void ExpectSameCont(const CFContStats& expected, const CFContStats* actual) {
  ASSERT_NE(nullptr, actual);
  ASSERT_EQ(typeid(expected), typeid(*actual));
  auto near = [](double a, double b) { EXPECT_NEAR(a, b, 1e-14 * std::fabs(a)); };
  near(expected.GetExtrema().first, actual->GetExtrema().first);
  near(expected.GetExtrema().second, actual->GetExtrema().second);
  near(expected.GetMean(), actual->GetMean());
  near(expected.GetVariance(), actual->GetVariance());
  EXPECT_EQ(expected.GetSumFreqWeights(), actual->GetSumFreqWeights());
  auto* exact = dynamic_cast<const CFContStatsInt*>(&expected);
  if (exact != nullptr) {
    EXPECT_EQ(exact->GetExactExtrema(),
              dynamic_cast<const CFContStatsInt*>(actual)->GetExactExtrema());
  }
}

TEST(CFFieldStatsTest, ReadsTheAccumulatorItsStorageCalls) {
  struct Row {
    const char* storage;
    const char* measure;
    std::string child;
    const std::type_info& kind;
  };
  const std::string cats = Discrete(Category("1", "2") + Category("4", "0.5"));
  const Row rows[] = {
      {XMLEntities::Integer, XMLEntities::Nominal, cats, typeid(CFCatStatsInt)},
      {XMLEntities::String, XMLEntities::Flag, cats, typeid(CFCatStatsStr)},
      {XMLEntities::Real, XMLEntities::Ordinal, cats, typeid(CFCatStatsDbl)},
      {XMLEntities::Date, XMLEntities::Discrete, cats, typeid(CFCatStatsDbl)},
      {XMLEntities::Unknown, XMLEntities::Nominal, cats, typeid(CFCatStatsDbl)},
      {XMLEntities::Integer, XMLEntities::Continuous, Continuous("3"), typeid(CFContStatsInt)},
      {XMLEntities::Real, XMLEntities::Continuous, Continuous("3"), typeid(CFContStatsDbl)},
      {XMLEntities::Time, XMLEntities::Continuous, Continuous("3"), typeid(CFContStatsDbl)},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.child + " in " + row.storage);
    CFField field = ReadField(FieldXml(row.storage, row.measure, row.child));
    ASSERT_EQ("F", field.GetName());
    if (field.GetCatStats() != nullptr) {
      EXPECT_EQ(nullptr, field.GetContStats());
      EXPECT_EQ(row.kind, typeid(*field.GetCatStats()));
      ASSERT_EQ(2u, field.GetCatStats()->GetNCats());
      EXPECT_EQ(0.5, field.GetCatStats()->GetCatWeight(1));
    } else {
      ASSERT_NE(nullptr, field.GetContStats());
      EXPECT_EQ(row.kind, typeid(*field.GetContStats()));
      EXPECT_DOUBLE_EQ(1.0, field.GetContStats()->GetVariance());
    }
  }
}

TEST(CFFieldStatsTest, WrongMeasureOrEmptyStatisticsFailTheRead) {
  const std::string cats = Discrete(Category("1", "2"));
  const std::string rows[] = {
      FieldXml(XMLEntities::Integer, XMLEntities::Continuous, cats),
      FieldXml(XMLEntities::Integer, XMLEntities::Typeless, cats),
      FieldXml(XMLEntities::Integer, XMLEntities::Unknown, cats),
      FieldXml(XMLEntities::Real, XMLEntities::Nominal, Continuous("3")),
      FieldXml(XMLEntities::Real, XMLEntities::Typeless, Continuous("3")),
      FieldXml(XMLEntities::Integer, XMLEntities::Nominal, Discrete("")),  // no categories
      // A damaged category empties the accumulator, and so fails the field.
      FieldXml(XMLEntities::Integer, XMLEntities::Nominal, Discrete(Category("x", "1"))),
      FieldXml(XMLEntities::Real, XMLEntities::Continuous, Continuous("0")),
      // A good first element does not save the field from a later empty one.
      FieldXml(XMLEntities::Real, XMLEntities::Continuous, Continuous("3") + Continuous("0")),
  };
  for (const std::string& xml : rows) {
    SCOPED_TRACE(xml);
    CFField field = ReadField(xml);
    EXPECT_EQ("", field.GetName());
    EXPECT_EQ(nullptr, field.GetCatStats());
    EXPECT_EQ(nullptr, field.GetContStats());
  }
}

TEST(CFFieldStatsTest, SetStatisticsRoundTripAfterTheFormatAndBeforeTheBaseField) {
  CFCatStatsInt ints;
  ints.Update(7, 2.0);
  ints.Update(-3, 1.0);
  CFCatStatsStr strs;
  strs.Update("b", 1.0);
  strs.Update("a<&", 4.0);
  CFCatStatsDbl reals;
  reals.Update(0.1, 3.0);
  CFContStatsInt bigInts;  // beyond 2^53, where only the exact extrema are right
  bigInts.Update(9007199254740993LL, 1.0, 2.0);
  bigInts.Update(-9007199254740995LL);
  CFContStatsDbl doubles;
  for (double x : {1.0, 2.0, 3.0}) doubles.Update(x);

  const StatsRow rows[] = {
      {XMLEntities::Integer, XMLEntities::Nominal, &ints, nullptr},
      {XMLEntities::String, XMLEntities::Ordinal, &strs, nullptr},
      {XMLEntities::Timestamp, XMLEntities::Discrete, &reals, nullptr},
      {XMLEntities::Integer, XMLEntities::Continuous, nullptr, &bigInts},
      {XMLEntities::Real, XMLEntities::Continuous, nullptr, &doubles},
  };
  const std::string base = MakeElement(XMLElements::BaseField, {{XMLAttributes::Name, "B"}});
  const std::string format =
      MakeElement(XMLElements::FieldFormat, {{XMLAttributes::UseNamedFormat, "Shared"}});
  for (const StatsRow& row : rows) {
    SCOPED_TRACE(std::string(row.storage) + " " + row.measure);
    CFField field = ReadField(FieldXml(row.storage, row.measure, format + base));
    ASSERT_EQ("F", field.GetName());
    ASSERT_TRUE(row.cat != nullptr ? field.SetSumStats(row.cat) : field.SetSumStats(row.cont));

    // The field holds a copy, and so do copies of the field.
    CFField copy(field);
    CFField assigned;
    assigned = field;
    for (const CFField* f : {&field, &copy, &assigned}) {
      if (row.cat != nullptr) {
        EXPECT_NE(row.cat, f->GetCatStats());
        ExpectSameCats(*row.cat, f->GetCatStats());
      } else {
        EXPECT_NE(row.cont, f->GetContStats());
        ExpectSameCont(*row.cont, f->GetContStats());
      }
    }
    EXPECT_NE(field.GetCatStats() != nullptr ? static_cast<const void*>(field.GetCatStats())
                                             : field.GetContStats(),
              copy.GetCatStats() != nullptr ? static_cast<const void*>(copy.GetCatStats())
                                            : copy.GetContStats());

    std::vector<std::string> children;
    CFField back = WriteAndRead(field, &children);
    ASSERT_EQ("F", back.GetName());
    const char* statsName =
        row.cat != nullptr ? XMLElements::DiscreteStatistics : XMLElements::ContinuousStatistics;
    EXPECT_EQ(
        (std::vector<std::string>{XMLElements::FieldFormat, statsName, XMLElements::BaseField}),
        children);
    if (row.cat != nullptr) {
      ExpectSameCats(*row.cat, back.GetCatStats());
      EXPECT_EQ(nullptr, back.GetContStats());
    } else {
      ExpectSameCont(*row.cont, back.GetContStats());
      EXPECT_EQ(nullptr, back.GetCatStats());
    }
  }
}

TEST(CFFieldStatsTest, SetSumStatsRefusesTheWrongClassOrMeasure) {
  CFCatStatsInt ints;
  ints.Update(1, 1.0);
  CFCatStatsDbl reals;
  reals.Update(1.5, 1.0);
  CFCatStatsStr strs;
  strs.Update("x", 1.0);
  CFContStatsInt intCont;
  intCont.Update(4LL);
  CFContStatsDbl dblCont;
  dblCont.Update(4.0);

  const StatsRow refused[] = {
      {XMLEntities::Integer, XMLEntities::Nominal, &strs, nullptr},
      {XMLEntities::Integer, XMLEntities::Nominal, &reals, nullptr},
      {XMLEntities::String, XMLEntities::Flag, &ints, nullptr},
      {XMLEntities::Real, XMLEntities::Ordinal, &ints, nullptr},
      {XMLEntities::Integer, XMLEntities::Continuous, &ints, nullptr},  // not categorical
      {XMLEntities::Integer, XMLEntities::Typeless, &ints, nullptr},
      {XMLEntities::Integer, XMLEntities::Continuous, nullptr, &dblCont},
      {XMLEntities::Date, XMLEntities::Continuous, nullptr, &intCont},
      {XMLEntities::Unknown, XMLEntities::Continuous, nullptr, &dblCont},
      {XMLEntities::Unknown, XMLEntities::Continuous, nullptr, &intCont},
      {XMLEntities::String, XMLEntities::Continuous, nullptr, &dblCont},
      {XMLEntities::Real, XMLEntities::Nominal, nullptr, &dblCont},  // not continuous
      {XMLEntities::Real, XMLEntities::Unknown, nullptr, &dblCont},
  };
  for (const StatsRow& row : refused) {
    SCOPED_TRACE(std::string(row.storage) + " " + row.measure);
    CFField field = ReadField(FieldXml(row.storage, row.measure));
    ASSERT_EQ("F", field.GetName());
    EXPECT_FALSE(row.cat != nullptr ? field.SetSumStats(row.cat) : field.SetSumStats(row.cont));
    EXPECT_EQ(nullptr, field.GetCatStats());
    EXPECT_EQ(nullptr, field.GetContStats());
  }

  // A refusal keeps what the field held; null drops it.
  CFField held = ReadField(FieldXml(XMLEntities::Integer, XMLEntities::Nominal));
  ASSERT_TRUE(held.SetSumStats(&ints));
  EXPECT_FALSE(held.SetSumStats(&strs));
  ExpectSameCats(ints, held.GetCatStats());
  EXPECT_TRUE(held.SetSumStats(static_cast<const CFCatStats*>(nullptr)));
  EXPECT_EQ(nullptr, held.GetCatStats());

  // A nameless field takes nothing.
  CFField nameless;
  EXPECT_FALSE(nameless.SetSumStats(&dblCont));
  EXPECT_FALSE(nameless.SetSumStats(&reals));
}

TEST(CFFieldStatsTest, ChangingTheMeasureDropsStatisticsThatNoLongerFit) {
  CFField continuous =
      ReadField(FieldXml(XMLEntities::Real, XMLEntities::Continuous, Continuous("3")));
  ASSERT_NE(nullptr, continuous.GetContStats());
  ASSERT_TRUE(continuous.SetFieldType(CFField::Continuous));
  EXPECT_NE(nullptr, continuous.GetContStats());
  ASSERT_TRUE(continuous.SetFieldType(CFField::Nominal));
  EXPECT_EQ(nullptr, continuous.GetContStats());
  EXPECT_EQ(nullptr, WriteAndRead(continuous).GetContStats());

  const std::string cats = Discrete(Category("1", "2"));
  struct Row {
    CFField::FieldType type;
    bool keeps;
  };
  const Row rows[] = {{CFField::Nominal, true},     {CFField::Ordinal, true},
                      {CFField::Flag, true},        {CFField::Discrete, true},
                      {CFField::Continuous, false}, {CFField::Typeless, false},
                      {CFField::UnknownType, false}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.type);
    CFField field = ReadField(FieldXml(XMLEntities::Integer, XMLEntities::Nominal, cats));
    ASSERT_NE(nullptr, field.GetCatStats());
    ASSERT_TRUE(field.SetFieldType(row.type));
    EXPECT_EQ(row.keeps, field.GetCatStats() != nullptr);
    EXPECT_EQ(nullptr, field.GetContStats());
  }
}

}  // namespace
