#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <typeinfo>
#include <vector>

#include "cfmeta/field/cffield.h"
#include "cfmeta/field/cffieldparts_testutil.h"
#include "cfmeta/stats/cfcatstatsimp.h"
#include "cfmeta/stats/cfcontstats.h"
#include "cfmeta/vocab/cfvocabulary.h"

namespace {

using cfmeta_test::MakeElement;
using cfmeta_test::ReadField;
using cfmeta_test::WrittenField;
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
  CFField::StorageType storage;
  CFField::FieldType type;
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

// A field reads the accumulator its storage calls for; statistics of the wrong measure, or
// empty ones, fail the read.
TEST(CFFieldStatsTest, ReadsTheAccumulatorItsStorageCalls) {
  struct Row {
    const char* storage;
    const char* measure;
    std::string child;
    const std::type_info* kind;  // null when the read fails
  };
  const std::string cats = Discrete(Category("1", "2") + Category("4", "0.5"));
  const std::string cont = Continuous("3");
  const char* const kInteger = XMLEntities::Integer;
  const char* const kReal = XMLEntities::Real;
  const Row rows[] = {
      {kInteger, XMLEntities::Nominal, cats, &typeid(CFCatStatsInt)},
      {XMLEntities::String, XMLEntities::Flag, cats, &typeid(CFCatStatsStr)},
      {kReal, XMLEntities::Ordinal, cats, &typeid(CFCatStatsDbl)},
      {XMLEntities::Date, XMLEntities::Discrete, cats, &typeid(CFCatStatsDbl)},
      {XMLEntities::Unknown, XMLEntities::Nominal, cats, &typeid(CFCatStatsDbl)},
      {kInteger, XMLEntities::Continuous, cont, &typeid(CFContStatsInt)},
      {kReal, XMLEntities::Continuous, cont, &typeid(CFContStatsDbl)},
      {XMLEntities::Time, XMLEntities::Continuous, cont, &typeid(CFContStatsDbl)},
      {kInteger, XMLEntities::Continuous, cats, nullptr},
      {kInteger, XMLEntities::Typeless, cats, nullptr},
      {kInteger, XMLEntities::Unknown, cats, nullptr},
      {kReal, XMLEntities::Nominal, cont, nullptr},
      {kReal, XMLEntities::Typeless, cont, nullptr},
      {kInteger, XMLEntities::Nominal, Discrete(""), nullptr},  // no categories
      // A damaged category empties the accumulator, and so fails the field.
      {kInteger, XMLEntities::Nominal, Discrete(Category("x", "1")), nullptr},
      {kReal, XMLEntities::Continuous, Continuous("0"), nullptr},
      // A good first element does not save the field from a later empty one.
      {kReal, XMLEntities::Continuous, cont + Continuous("0"), nullptr},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.child + " in " + row.storage + " " + row.measure);
    CFField field = ReadField(FieldXml(row.storage, row.measure, row.child));
    ASSERT_EQ(row.kind != nullptr ? "F" : "", field.GetName());
    if (row.kind == nullptr) {
      EXPECT_EQ(nullptr, field.GetCatStats());
      EXPECT_EQ(nullptr, field.GetContStats());
    } else if (field.GetCatStats() != nullptr) {
      EXPECT_EQ(nullptr, field.GetContStats());
      EXPECT_EQ(*row.kind, typeid(*field.GetCatStats()));
      ASSERT_EQ(2u, field.GetCatStats()->GetNCats());
      EXPECT_EQ(0.5, field.GetCatStats()->GetCatWeight(1));
    } else {
      ASSERT_NE(nullptr, field.GetContStats());
      EXPECT_EQ(*row.kind, typeid(*field.GetContStats()));
      EXPECT_DOUBLE_EQ(1.0, field.GetContStats()->GetVariance());
    }
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
      {CFField::IntegerStorage, CFField::Nominal, &ints, nullptr},
      {CFField::StringStorage, CFField::Ordinal, &strs, nullptr},
      {CFField::TimestampStorage, CFField::Discrete, &reals, nullptr},
      {CFField::IntegerStorage, CFField::Continuous, nullptr, &bigInts},
      {CFField::RealStorage, CFField::Continuous, nullptr, &doubles},
  };
  for (const StatsRow& row : rows) {
    SCOPED_TRACE(std::to_string(row.storage) + " " + std::to_string(row.type));
    CFField field("F", row.storage, row.type);
    ASSERT_TRUE(field.SetFormatReference("Shared"));
    field.SetBaseField(CFField("B", CFField::UnknownStorage, CFField::UnknownType));
    ASSERT_TRUE(row.cat != nullptr ? field.SetSumStats(row.cat) : field.SetSumStats(row.cont));

    // Written from a copy, which must hold statistics of its own.
    const std::string text = WrittenField(CFField(field));
    const char* statsName =
        row.cat != nullptr ? XMLElements::DiscreteStatistics : XMLElements::ContinuousStatistics;
    EXPECT_EQ(
        (std::vector<std::string>{XMLElements::FieldFormat, statsName, XMLElements::BaseField}),
        cfmeta_test::ChildNames(text));
    const CFField back = ReadField(text);
    ASSERT_EQ("F", back.GetName());
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
      {CFField::IntegerStorage, CFField::Nominal, &strs, nullptr},
      {CFField::IntegerStorage, CFField::Nominal, &reals, nullptr},
      {CFField::StringStorage, CFField::Flag, &ints, nullptr},
      {CFField::RealStorage, CFField::Ordinal, &ints, nullptr},
      {CFField::IntegerStorage, CFField::Continuous, &ints, nullptr},  // not categorical
      {CFField::IntegerStorage, CFField::Typeless, &ints, nullptr},
      {CFField::IntegerStorage, CFField::Continuous, nullptr, &dblCont},
      {CFField::DateStorage, CFField::Continuous, nullptr, &intCont},
      {CFField::UnknownStorage, CFField::Continuous, nullptr, &dblCont},
      {CFField::UnknownStorage, CFField::Continuous, nullptr, &intCont},
      {CFField::StringStorage, CFField::Continuous, nullptr, &dblCont},
      {CFField::RealStorage, CFField::Nominal, nullptr, &dblCont},  // not continuous
      {CFField::RealStorage, CFField::UnknownType, nullptr, &dblCont},
  };
  for (const StatsRow& row : refused) {
    SCOPED_TRACE(std::to_string(row.storage) + " " + std::to_string(row.type));
    CFField field("F", row.storage, row.type);
    EXPECT_FALSE(row.cat != nullptr ? field.SetSumStats(row.cat) : field.SetSumStats(row.cont));
    EXPECT_EQ(nullptr, field.GetCatStats());
    EXPECT_EQ(nullptr, field.GetContStats());
  }

  // A refusal keeps what the field held; null drops it.
  CFField held("F", CFField::IntegerStorage, CFField::Nominal);
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
  CFContStatsDbl doubles;
  doubles.Update(2.0);
  CFField continuous("F", CFField::RealStorage, CFField::Continuous);
  ASSERT_TRUE(continuous.SetSumStats(&doubles));
  ASSERT_TRUE(continuous.SetFieldType(CFField::Continuous));
  EXPECT_NE(nullptr, continuous.GetContStats());
  ASSERT_TRUE(continuous.SetFieldType(CFField::Nominal));
  EXPECT_EQ(nullptr, continuous.GetContStats());
  EXPECT_EQ(nullptr, ReadField(WrittenField(continuous)).GetContStats());

  CFCatStatsInt ints;
  ints.Update(1, 2.0);
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
    CFField field("F", CFField::IntegerStorage, CFField::Nominal);
    ASSERT_TRUE(field.SetSumStats(&ints));
    ASSERT_TRUE(field.SetFieldType(row.type));
    EXPECT_EQ(row.keeps, field.GetCatStats() != nullptr);
    EXPECT_EQ(nullptr, field.GetContStats());
  }
}

}  // namespace
