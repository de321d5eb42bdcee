#include "cfmeta/stats/cfcatstatsimp.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/xml/cfxml_testutil.h"
#include "cfmeta/xml/cfxmlwrapper.h"

namespace {

using CfExtension::CFXMLWrapper;
using cfmeta_test::MakeElement;
using cfmeta_test::NewDocument;
using cfmeta_test::Parse;
using cfmeta_test::Serialise;
namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLElements = CfCppHelperV1::XMLElements;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// "value:weight" per category, in category order.
template <typename Stats>
std::string Dump(const Stats& stats) {
  std::string out;
  for (uint32_t i = 0; i < stats.GetNCats(); ++i) {
    std::string value;
    stats.GetCatValDatum(i).ToString(value, 0);
    if (!out.empty()) out += " ";
    out += value + ":" + std::to_string(static_cast<int>(stats.GetCatWeight(i)));
    // Every category must be found again under its number.
    EXPECT_EQ(i, stats.GetCatNum(stats.GetCatVal(i))) << value;
  }
  return out;
}

std::string Category(const std::string& value, const std::string& weight) {
  return MakeElement(XMLElements::Category,
                     {{XMLAttributes::Category, value}, {XMLAttributes::SumFreqWts, weight}});
}

std::string Discrete(const std::string& children) {
  return MakeElement(XMLElements::DiscreteStatistics, {}, children);
}

TEST(CFCatStatsTest, RefusesNegativeAndNaNWeights) {
  CFCatStatsStr stats;
  EXPECT_FALSE(stats.Update("a", -0.5));
  EXPECT_FALSE(stats.Update("a", kNaN));
  EXPECT_FALSE(stats.UpdateIfKnown("a", 1.0));
  EXPECT_EQ(0u, stats.GetNCats());
  EXPECT_TRUE(stats.Update("a", 0.0));
  ASSERT_EQ(1u, stats.GetNCats());
  EXPECT_EQ(0.0, stats.GetCatWeight(0));
  EXPECT_FALSE(stats.UpdateIfKnown("a", -1.0));
  EXPECT_FALSE(stats.UpdateIfKnown("b", 1.0));
  EXPECT_TRUE(stats.UpdateIfKnown("a", 2.5));
  EXPECT_EQ(1u, stats.GetNCats());
  EXPECT_EQ(2.5, stats.GetSumWeights());

  // A NaN value could never be found again; 0.0 and -0.0 are one category.
  CFCatStatsDbl reals;
  EXPECT_FALSE(reals.Update(kNaN, 1.0));
  EXPECT_TRUE(reals.Update(0.0, 1.0));
  EXPECT_TRUE(reals.Update(-0.0, 2.0));
  EXPECT_EQ(1u, reals.GetNCats());
  EXPECT_EQ(3.0, reals.GetCatWeight(0));
  EXPECT_EQ(CFCatStatsDbl::kNoCategory, reals.GetCatNum(kNaN));
}

TEST(CFCatStatsTest, NumbersFirstSeenThenReordersWithWeights) {
  CFCatStatsStr strs;
  strs.Update("b", 1.0);
  strs.Update("a", 2.0);
  strs.Update("b", 3.0);
  EXPECT_EQ("b:4 a:2", Dump(strs));
  strs.ReorderCats(true);
  EXPECT_EQ("a:2 b:4", Dump(strs));
  strs.Update("b", 1.0);  // a known value still finds its new number
  strs.Update("c", 1.0);
  EXPECT_EQ("a:2 b:5 c:1", Dump(strs));
  strs.ReorderCats(false);
  EXPECT_EQ("c:1 b:5 a:2", Dump(strs));

  CFCatStatsInt ints;
  for (long long v : {7LL, -3LL, 100LL, -3LL}) ints.Update(v, 1.0);
  ints.ReorderCats(true);
  EXPECT_EQ("-3:2 7:1 100:1", Dump(ints));

  CFCatStatsDbl reals;
  for (double v : {0.5, -2.25, 10.0}) reals.Update(v, 1.0);
  reals.ReorderCats(false);
  EXPECT_EQ("10:1 0.5:1 -2.25:1", Dump(reals));
}

TEST(CFCatStatsTest, SetLastCategoryClosesUpTheOthers) {
  CFCatStatsInt stats;
  stats.Update(10, 1.0);
  stats.Update(20, 2.0);
  stats.Update(30, 3.0);
  stats.SetLastCategory(99);
  EXPECT_EQ("10:1 20:2 30:3", Dump(stats));
  stats.SetLastCategory(10);
  EXPECT_EQ("20:2 30:3 10:1", Dump(stats));
  stats.SetLastCategory(10);
  EXPECT_EQ("20:2 30:3 10:1", Dump(stats));
  stats.Update(10, 4.0);
  stats.Update(40, 1.0);
  EXPECT_EQ("20:2 30:3 10:5 40:1", Dump(stats));
}

TEST(CFCatStatsTest, PoolAddsInAscendingValueOrder) {
  CFCatStatsInt other;
  other.Update(5, 1.0);
  other.Update(3, 2.0);
  CFCatStatsInt empty;
  empty.Pool(other);
  EXPECT_EQ("3:2 5:1", Dump(empty));

  CFCatStatsInt target;
  target.Update(9, 1.0);
  target.Update(5, 1.0);
  target.Pool(other);
  EXPECT_EQ("9:1 5:2 3:2", Dump(target));
  target.Pool(target);
  EXPECT_EQ("9:2 5:4 3:4", Dump(target));
}

TEST(CFCatStatsTest, CatNumVersionCountsCodes) {
  CFCatStatsStr stats;
  stats.Update("x", 2.0);
  stats.Update("y", 3.0);
  std::unique_ptr<CFCatStatsDbl> codes(stats.CatNumVersion());
  ASSERT_NE(nullptr, codes);
  EXPECT_EQ("0:2 1:3", Dump(*codes));
  EXPECT_EQ(0.0, codes->GetCatVal(0));
  EXPECT_EQ(1.0, codes->GetCatVal(1));
}

TEST(CFCatStatsTest, OutOfRangeQueriesGiveSentinels) {
  CFCatStatsInt ints;
  ints.Update(4, 1.0);
  CFCatStatsDbl reals;
  CFCatStatsStr strs;
  EXPECT_EQ(-1.0, ints.GetCatWeight(1));
  EXPECT_EQ(-1, ints.GetCatVal(1));
  EXPECT_EQ(-1.0, reals.GetCatVal(0));
  EXPECT_EQ("", strs.GetCatVal(0));
  EXPECT_EQ(0xFFFFFFFFu, ints.GetCatNum(5));
  const CFDatum datums[] = {ints.GetCatValDatum(1), reals.GetCatValDatum(0),
                            strs.GetCatValDatum(0)};
  const CFDatum::DataType types[] = {CFDatum::Integer, CFDatum::Real, CFDatum::String};
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(datums[i].IsNull());
    EXPECT_EQ(types[i], datums[i].GetType());
  }
  EXPECT_EQ(0.0, reals.GetSumWeights());
}

class ByLength : public CFCatStrLess {
 public:
  bool operator()(const std::string& a, const std::string& b) const override {
    return a.size() < b.size();
  }
};

class Throwing : public CFCatStrLess {
 public:
  bool operator()(const std::string&, const std::string&) const override {
    throw std::runtime_error("no order");
  }
};

class NotAnOrder : public CFCatStrLess {
 public:
  bool operator()(const std::string&, const std::string&) const override { return true; }
};

TEST(CFCatStatsTest, CustomStringOrder) {
  CFCatStatsStr stats;
  for (const char* v : {"ccc", "a", "bb", "dd"})
    stats.Update(v, static_cast<double>(std::strlen(v)));
  ByLength byLength;
  stats.ReorderCats(byLength);
  EXPECT_EQ("a:1 bb:2 dd:2 ccc:3", Dump(stats));  // ties keep their numbering

  Throwing throwing;
  EXPECT_THROW(stats.ReorderCats(throwing), std::runtime_error);
  EXPECT_EQ("a:1 bb:2 dd:2 ccc:3", Dump(stats));

  NotAnOrder broken;
  stats.ReorderCats(broken);
  EXPECT_EQ(4u, stats.GetNCats());
  EXPECT_EQ(8.0, stats.GetSumWeights());
  Dump(stats);  // every value still under its own number
}

// The index in front of the ordered map must agree with a plain map through growth,
// reordering and clearing.
TEST(CFCatStatsTest, ManyCategoriesMatchAPlainMap) {
  std::mt19937_64 random(7);
  std::uniform_int_distribution<long long> pick(-3000, 3000);
  CFCatStatsInt stats;
  std::map<long long, double> expected;
  std::vector<long long> firstSeen;
  for (int i = 0; i < 20000; ++i) {
    const long long v = pick(random) * 1000003;
    if (expected.find(v) == expected.end()) firstSeen.push_back(v);
    expected[v] += 1.0;
    stats.Update(v, 1.0);
  }
  ASSERT_EQ(expected.size(), stats.GetNCats());
  for (uint32_t i = 0; i < firstSeen.size(); ++i) ASSERT_EQ(firstSeen[i], stats.GetCatVal(i));
  stats.ReorderCats(true);
  uint32_t i = 0;
  for (const auto& entry : expected) {
    ASSERT_EQ(entry.first, stats.GetCatVal(i));
    ASSERT_EQ(entry.second, stats.GetCatWeight(i));
    ASSERT_EQ(i, stats.GetCatNum(entry.first));
    ++i;
  }
  stats.ClearSums();
  EXPECT_EQ(0.0, stats.GetSumWeights());
  EXPECT_EQ(expected.size(), stats.GetNCats());
}

TEST(CFCatStatsTest, CopiesAreDeep) {
  CFCatStatsStr stats;
  stats.Update("a", 1.0);
  std::unique_ptr<CFCatStatsStr> clone(stats.Clone());
  clone->Update("b", 1.0);
  clone->Update("a", 1.0);
  CFCatStatsStr assigned;
  assigned.Update("z", 1.0);
  assigned = *clone;
  assigned.SetLastCategory("a");
  EXPECT_EQ("a:1", Dump(stats));
  EXPECT_EQ("a:2 b:1", Dump(*clone));
  EXPECT_EQ("b:1 a:2", Dump(assigned));
}

TEST(CFCatStatsTest, WritesCategoriesInNumberOrder) {
  CFCatStatsStr stats;
  stats.Update("b<&", 1.5);
  stats.Update("a", 2.0);
  std::unique_ptr<CFXMLWrapper> doc = NewDocument();
  CFXMLWrapper* created = nullptr;
  stats.AddToTree(*doc, created);
  ASSERT_NE(nullptr, created);
  EXPECT_EQ(Discrete(Category("b<&", "1.5") + Category("a", "2")), Serialise(*created));

  CFCatStatsInt empty;
  empty.AddToTree(*doc, created);
  ASSERT_NE(nullptr, created);
  EXPECT_EQ(MakeElement(XMLElements::DiscreteStatistics, {}), Serialise(*created));

  CFXMLWrapper detached;  // no element: nothing can be written
  created = doc.get();
  stats.AddToTree(detached, created);
  EXPECT_EQ(nullptr, created);
}

TEST(CFCatStatsTest, RoundTripsEveryVariant) {
  CFCatStatsInt ints;
  ints.Update(9007199254740993LL, 1.0);
  ints.Update(-5, 0.0);
  CFCatStatsDbl reals;
  reals.Update(0.1, 2.0);
  reals.Update(-1e300, 1.0);
  CFCatStatsStr strs;
  strs.Update("\xC3\xA9t\xC3\xA9", 3.0);
  strs.Update("", 1.0);
  const CFCatStats* all[] = {&ints, &reals, &strs};
  for (const CFCatStats* stats : all) {
    std::unique_ptr<CFXMLWrapper> doc = NewDocument();
    CFXMLWrapper* created = nullptr;
    stats->AddToTree(*doc, created);
    ASSERT_NE(nullptr, created);
    std::unique_ptr<CFXMLWrapper> read = Parse(Serialise(*created));
    std::unique_ptr<CFCatStats> back;
    if (stats == &ints) back.reset(new CFCatStatsInt(*read));
    if (stats == &reals) back.reset(new CFCatStatsDbl(*read));
    if (stats == &strs) back.reset(new CFCatStatsStr(*read));
    ASSERT_EQ(2u, back->GetNCats());
    for (uint32_t i = 0; i < 2; ++i) {
      EXPECT_EQ(0, back->GetCatValDatum(i).Compare(stats->GetCatValDatum(i)));
      EXPECT_EQ(stats->GetCatWeight(i), back->GetCatWeight(i));
    }
  }
}

TEST(CFCatStatsTest, OneBadCategoryEmptiesTheWhole) {
  const std::string good = Category("1", "2");
  const std::string rows[] = {
      good + MakeElement(XMLElements::Category, {{XMLAttributes::SumFreqWts, "1"}}),
      good + Category("2", "-1"),
      good + Category("2", "INF"),
      good + Category("2", "NaN"),
      good + Category("2", "heavy"),
      good + Category("1", "3"),  // a repeated value
      good + Category("2.5", "1"),
  };
  for (const std::string& children : rows) {
    SCOPED_TRACE(children);
    CFCatStatsInt stats(*Parse(Discrete(children)));
    EXPECT_EQ(0u, stats.GetNCats());
    EXPECT_EQ(-1.0, stats.GetCatWeight(0));
    EXPECT_EQ(0xFFFFFFFFu, stats.GetCatNum(1));
  }
  for (const char* value : {"INF", "-INF", "NaN", "x"}) {
    SCOPED_TRACE(value);
    CFCatStatsDbl stats(*Parse(Discrete(Category("1", "1") + Category(value, "1"))));
    EXPECT_EQ(0u, stats.GetNCats());
  }

  // A child without a weight weighs nothing; other children do not count.
  CFCatStatsStr stats(
      *Parse(Discrete(MakeElement(XMLElements::Category, {{XMLAttributes::Category, "x"}}) +
                      MakeElement(XMLElements::DiscreteStatistics, {}) + Category("y", "4"))));
  EXPECT_EQ("x:0 y:4", Dump(stats));
}

}  // namespace
