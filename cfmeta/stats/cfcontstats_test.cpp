#include "cfmeta/stats/cfcontstats.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/vocab/xmlelement.h"
#include "cfmeta/xml/cfxml_testutil.h"
#include "cfmeta/xml/cfxmlwrapper.h"

namespace {

using CfExtension::CFXMLWrapper;
using cfmeta_test::NewDocument;
using cfmeta_test::Parse;
using cfmeta_test::Serialise;
namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLElements = CfCppHelperV1::XMLElements;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

std::string Written(const CFContStats& stats) {
  std::unique_ptr<CFXMLWrapper> doc = NewDocument();
  CFXMLWrapper* created = nullptr;
  stats.AddToTree(*doc, created);
  return created != nullptr ? Serialise(*created) : "(nothing)";
}

using AttributeList = std::vector<std::pair<std::string, std::string>>;

// The element as the serialiser writes it (which settles the attribute order itself).
std::string Continuous(const AttributeList& attributes) {
  std::string xml = "<" + std::string(XMLElements::ContinuousStatistics);
  for (const auto& a : attributes) xml += " " + a.first + "=\"" + a.second + "\"";
  std::unique_ptr<CFXMLWrapper> doc = Parse(xml + "/>");
  return Serialise(CFXMLWrapper(doc->getElement()));
}

void ExpectSame(const CFContStats& expected, const CFContStats& actual) {
  EXPECT_EQ(expected.GetExtrema(), actual.GetExtrema());
  EXPECT_DOUBLE_EQ(expected.GetMean(), actual.GetMean());
  EXPECT_DOUBLE_EQ(expected.GetVariance(), actual.GetVariance());
  EXPECT_EQ(expected.GetSumFreqWeights(), actual.GetSumFreqWeights());
}

TEST(CFContStatsTest, RefusesNonPositiveWeights) {
  CFContStatsDbl stats;
  ASSERT_TRUE(stats.Update(4.0, 2.0, 1.5));
  const std::string before = Written(stats);
  const double weights[][2] = {{0.0, 1.0},  {1.0, 0.0},  {-1.0, 1.0},
                               {1.0, -1.0}, {kNaN, 1.0}, {1.0, kNaN}};
  for (const auto& w : weights) {
    SCOPED_TRACE(std::to_string(w[0]) + " " + std::to_string(w[1]));
    EXPECT_FALSE(stats.Update(-100.0, w[0], w[1]));
    EXPECT_EQ(before, Written(stats));
  }
  CFContStatsInt ints;
  ints.Update(3);
  EXPECT_FALSE(ints.Update(-8, 0.0, 1.0));
  EXPECT_EQ((std::pair<long long, long long>(3, 3)), ints.GetExactExtrema());
}

TEST(CFContStatsTest, WeightedAndUnweightedMoments) {
  CFContStatsDbl stats;
  for (double x : {3.0, 1.0, 2.0}) stats.Update(x);
  EXPECT_EQ((std::pair<double, double>(1.0, 3.0)), stats.GetExtrema());
  EXPECT_DOUBLE_EQ(2.0, stats.GetMean());
  EXPECT_DOUBLE_EQ(1.0, stats.GetVariance());

  // The variance divides by the frequency weights less one, not by the combined weights.
  CFContStatsDbl weighted;
  weighted.Update(1.0, 2.0, 3.0);
  weighted.Update(4.0, 1.0, 2.0);
  EXPECT_DOUBLE_EQ(1.75, weighted.GetMean());
  EXPECT_DOUBLE_EQ((6.0 * 0.5625 + 2.0 * 5.0625) / 2.0, weighted.GetVariance());
  EXPECT_EQ(3.0, weighted.GetSumFreqWeights());

  CFContStatsDbl one;
  one.Update(5.0, 2.0, 3.0);
  EXPECT_EQ(Continuous({{XMLAttributes::SumFreqWts, "2"},
                        {XMLAttributes::SumCompWts, "6"},
                        {XMLAttributes::Minimum, "5"},
                        {XMLAttributes::Maximum, "5"},
                        {XMLAttributes::Mean, "5"},
                        {XMLAttributes::Variance, "0"}}),
            Written(one));
}

TEST(CFContStatsTest, PoolMatchesASinglePass) {
  CFContStatsDbl all, low, high, empty;
  for (double x : {1.0, 2.0, 3.0}) all.Update(x);
  low.Update(1.0);
  low.Update(2.0);
  high.Update(3.0);
  high.Pool(low);
  ExpectSame(all, high);
  EXPECT_EQ(Written(all), Written(high));

  CFContStatsDbl copy(all);
  copy.Pool(empty);
  ExpectSame(all, copy);
  empty.Pool(all);
  ExpectSame(all, empty);

  // Integers pool their statistics but keep the receiving side's exact extrema.
  CFContStatsInt a, b;
  a.Update(10);
  b.Update(-4);
  b.Update(50);
  a.Pool(b);
  EXPECT_EQ((std::pair<double, double>(-4.0, 50.0)), a.GetExtrema());
  EXPECT_EQ((std::pair<long long, long long>(10, 10)), a.GetExactExtrema());
}

// One million values of 1e9 plus noise, against a two-pass computation in long double.
TEST(CFContStatsTest, LargeOffsetsKeepTheirPrecision) {
  std::mt19937_64 random(2024);
  std::uniform_real_distribution<double> noise(-0.5, 0.5);
  std::vector<double> data(1000000);
  for (double& x : data) x = 1e9 + noise(random);
  long double sum = 0;
  for (double x : data) sum += x;
  const long double mean = sum / data.size();
  long double squares = 0;
  for (double x : data) squares += (x - mean) * (x - mean);
  const double variance = static_cast<double>(squares / (data.size() - 1));

  CFContStatsDbl sequential;
  CFContStatsDbl parts[4];
  for (size_t i = 0; i < data.size(); ++i) {
    sequential.Update(data[i], 1.0, 1.0);
    parts[i * 4 / data.size()].Update(data[i]);
  }
  CFContStatsDbl pooled;
  for (const CFContStatsDbl& part : parts) pooled.Pool(part);
  for (const CFContStatsDbl* stats : {&sequential, &pooled}) {
    EXPECT_NEAR(1.0, stats->GetMean() / static_cast<double>(mean), 1e-9);
    EXPECT_NEAR(1.0, stats->GetVariance() / variance, 1e-9);
  }
}

TEST(CFContStatsTest, WritesOnlyWhatItHas) {
  CFContStatsDbl empty;
  EXPECT_EQ(Continuous({{XMLAttributes::SumFreqWts, "0"}, {XMLAttributes::SumCompWts, "0"}}),
            Written(empty));
  EXPECT_EQ(0.0, empty.GetMean());
  EXPECT_EQ(0.0, empty.GetVariance());

  CFContStatsDbl one;
  one.Update(-2.5);
  EXPECT_EQ(Continuous({{XMLAttributes::SumFreqWts, "1"},
                        {XMLAttributes::SumCompWts, "1"},
                        {XMLAttributes::Minimum, "-2.5"},
                        {XMLAttributes::Maximum, "-2.5"},
                        {XMLAttributes::Mean, "-2.5"}}),
            Written(one));
  EXPECT_EQ(0.0, one.GetVariance());

  CFXMLWrapper detached;
  CFXMLWrapper* created = &detached;
  one.AddToTree(detached, created);
  EXPECT_EQ(nullptr, created);
}

TEST(CFContStatsTest, ExactExtremaOnlyBeyondDoublePrecision) {
  struct Row {
    long long min, max;
    bool exactMin, exactMax;
  } rows[] = {
      {-7, 12, false, false},
      {9007199254740992LL, 9007199254740992LL, false, false},  // 2^53 is still exact
      {9007199254740993LL, 9007199254740993LL, true, true},
      {-9007199254740993LL, 5, true, false},
      {std::numeric_limits<long long>::min(), std::numeric_limits<long long>::max(), false, false},
      {0, std::numeric_limits<long long>::max() - 1, false, true},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::to_string(row.min) + ".." + std::to_string(row.max));
    CFContStatsInt stats;
    stats.Update(row.max);
    stats.Update(row.min);
    const std::string xml = Written(stats);
    std::unique_ptr<CFXMLWrapper> doc = Parse(xml);
    int present = 0;
    doc->hasAttribute(XMLAttributes::ExactMinimum, &present);
    EXPECT_EQ(row.exactMin, present == 1);
    doc->hasAttribute(XMLAttributes::ExactMaximum, &present);
    EXPECT_EQ(row.exactMax, present == 1);
    if (row.exactMin || row.exactMax) {
      CFContStatsInt back(*doc);
      EXPECT_EQ(stats.GetExactExtrema(), back.GetExactExtrema());
    }
  }
}

// A valid element with `changes` applied, as the serialiser writes it: a change replaces or
// adds an attribute, and an empty value removes it.
std::string Changed(std::initializer_list<std::pair<const char*, std::string>> changes) {
  AttributeList attributes = {{XMLAttributes::SumFreqWts, "3"}, {XMLAttributes::SumCompWts, "3"},
                              {XMLAttributes::Minimum, "1"},    {XMLAttributes::Maximum, "4.5"},
                              {XMLAttributes::Mean, "2"},       {XMLAttributes::Variance, "1"}};
  for (const auto& change : changes) {
    auto it = std::find_if(attributes.begin(), attributes.end(),
                           [&change](const auto& a) { return a.first == change.first; });
    if (it != attributes.end()) attributes.erase(it);
    if (!change.second.empty()) attributes.emplace_back(change.first, change.second);
  }
  return Continuous(attributes);
}

// Both readers apply one set of rules: each row reads the same through either.
TEST(CFContStatsTest, BothReadersAgree) {
  const struct Row {
    std::string xml;
    bool empty;
  } rows[] = {
      {Changed({}), false},
      {Changed({{XMLAttributes::SumFreqWts, "1"}, {XMLAttributes::Variance, ""}}), false},
      {Changed({{XMLAttributes::Minimum, "5"}}), true},
      {Changed({{XMLAttributes::Variance, "-1"}}), true},
      {Changed({{XMLAttributes::Variance, "INF"}}), true},
      {Changed({{XMLAttributes::Variance, ""}}), true},
      {Changed({{XMLAttributes::Mean, ""}}), true},
      {Changed({{XMLAttributes::Maximum, "NaN"}}), true},
      {Changed({{XMLAttributes::SumFreqWts, "-1"}}), true},
      {Changed({{XMLAttributes::SumFreqWts, "2x"}}), true},
      {Changed({{XMLAttributes::SumCompWts, ""}}), true},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.xml);
    std::unique_ptr<CFXMLWrapper> doc = Parse(row.xml);
    CFContStatsDbl fromWrapper(*doc);
    CFContStatsDbl fromElement{CfCppHelperV1::XMLElement(*doc)};
    CFContStatsInt intFromElement{CfCppHelperV1::XMLElement(*doc)};
    EXPECT_EQ(row.empty, fromWrapper.GetSumFreqWeights() == 0.0);
    ExpectSame(fromWrapper, fromElement);
    ExpectSame(fromWrapper, intFromElement);
    EXPECT_EQ(Written(fromWrapper), Written(fromElement));
    if (row.empty) {
      EXPECT_EQ(Continuous({{XMLAttributes::SumFreqWts, "0"}, {XMLAttributes::SumCompWts, "0"}}),
                Written(fromWrapper));
    } else {
      EXPECT_EQ(row.xml, Written(fromWrapper));
    }
  }
}

TEST(CFContStatsTest, ReadingInvertsTheVariance) {
  const std::string xml = Continuous({{XMLAttributes::SumFreqWts, "5"},
                                      {XMLAttributes::SumCompWts, "10"},
                                      {XMLAttributes::Minimum, "1"},
                                      {XMLAttributes::Maximum, "9"},
                                      {XMLAttributes::Mean, "4"},
                                      {XMLAttributes::Variance, "2"}});
  CFContStatsDbl stats(*Parse(xml));
  EXPECT_EQ(xml, Written(stats));
  // The squared deviations read back as (5 - 1) * 2 = 8: pooled with itself they double while
  // the frequency weights become 10.
  stats.Pool(CFContStatsDbl(stats));
  EXPECT_DOUBLE_EQ(16.0 / 9.0, stats.GetVariance());
  EXPECT_DOUBLE_EQ(4.0, stats.GetMean());

  // A sum of combined weights without frequency weights reads as it stands.
  CFContStatsDbl weightless(
      *Parse(Continuous({{XMLAttributes::SumFreqWts, "0"}, {XMLAttributes::SumCompWts, "2"}})));
  EXPECT_EQ(Continuous({{XMLAttributes::SumFreqWts, "0"}, {XMLAttributes::SumCompWts, "2"}}),
            Written(weightless));
}

TEST(CFContStatsTest, IntegerReaderFallsBackToTheDoubleExtrema) {
  CFContStatsInt fallback(*Parse(Changed({{XMLAttributes::Minimum, "-3"}})));
  EXPECT_EQ((std::pair<long long, long long>(-3, 4)), fallback.GetExactExtrema());
  CFContStatsInt exact(*Parse(Changed({{XMLAttributes::ExactMinimum, "-4"}})));
  EXPECT_EQ((std::pair<long long, long long>(-4, 4)), exact.GetExactExtrema());
  for (const char* bad : {"1.5", "x", "99999999999999999999"}) {
    SCOPED_TRACE(bad);
    CFContStatsInt stats(*Parse(Changed({{XMLAttributes::ExactMaximum, bad}})));
    EXPECT_EQ(0.0, stats.GetSumFreqWeights());
    EXPECT_EQ((std::pair<long long, long long>(0, 0)), stats.GetExactExtrema());
  }
}

TEST(CFContStatsTest, CopiesAreDeep) {
  CFContStatsInt stats;
  stats.Update(1);
  std::unique_ptr<CFContStats> clone(stats.Clone());
  CFContStatsInt assigned;
  assigned = stats;
  stats.Update(100);
  EXPECT_EQ(1.0, clone->GetExtrema().second);
  EXPECT_EQ((std::pair<long long, long long>(1, 1)), assigned.GetExactExtrema());
  EXPECT_EQ(1.0, assigned.GetSumFreqWeights());
}

}  // namespace
