#include "cfmeta/summaries/cfdistributionsummary.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cfmeta/summaries/cfstatisticsext.h"
#include "cfmeta/summaries/cfsummaries_testutil.h"
#include "cfmeta/vocab/cfvocabulary.h"

namespace {

using cfmeta_test::Canonical;
using cfmeta_test::ExpectWrittenOnlyWhenComplete;
using cfmeta_test::MakeElement;
using cfmeta_test::ReadAs;
using cfmeta_test::RoundTrip;
using cfmeta_test::Written;
namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLElements = CfCppHelperV1::XMLElements;
namespace XMLEntities = CfCppHelperV1::XMLEntities;

std::string Category(const std::string& value, const std::string& count) {
  return MakeElement(XMLElements::Category,
                     {{XMLAttributes::Value, value}, {XMLAttributes::Count, count}});
}

std::string Cluster(const std::string& count) {
  return MakeElement(XMLElements::Cluster,
                     {{XMLAttributes::Count, count}, {XMLAttributes::Mean, "2.5"}});
}

std::string Distribution(const std::string& children) {
  return MakeElement(XMLElements::DistributionSummary, {}, children);
}

// Parts built in code: complete, or leaving out the one piece `missing` names.
enum Missing { kNone, kValue, kCount, kNegativeCount, kMean, kRank, kScore, kEntries };

CFCategory BuiltCategory(Missing missing = kNone) {
  CFCategory category;
  if (missing != kValue) category.setValue("");  // an empty value is still a value given
  if (missing != kCount) category.setCount(-4);  // and a category's count may be negative
  return category;
}

CFCluster BuiltCluster(Missing missing = kNone) {
  CFCluster cluster;
  if (missing != kCount) cluster.setCount(missing == kNegativeCount ? -1 : 0);
  if (missing != kMean) cluster.setMean(0.0);
  return cluster;
}

CFPercentiles BuiltPercentiles(Missing missing = kNone) {
  CFPercentile percentile;
  if (missing != kRank) percentile.setRank(50);
  if (missing != kScore) percentile.setScore(3);
  CFPercentiles percentiles;
  percentiles.addPercentile(percentile);
  return percentiles;
}

// Its category leaves out what `missing` names, unless that is the entries themselves.
CFDistributionSummary BuiltDistribution(Missing missing = kNone) {
  CFDistributionSummary distribution;
  if (missing != kEntries) distribution.addCategory(BuiltCategory(missing));
  return distribution;
}

template <typename T>
void ExpectAllFail(const std::vector<std::string>& rows) {
  for (const std::string& xml : rows) {
    SCOPED_TRACE(xml);
    EXPECT_FALSE(ReadAs<T>(xml)->parseSuccess());
  }
}

TEST(CFDistributionSummaryTest, DamagedPartsDoNotParse) {
  ExpectAllFail<CFCategory>({
      MakeElement(XMLElements::Category, {{XMLAttributes::Count, "3"}}),
      MakeElement(XMLElements::Category, {{XMLAttributes::Value, "a"}}),
      MakeElement(XMLElements::Category,
                  {{XMLAttributes::Value, "a"}, {XMLAttributes::Count, "x"}}),
      MakeElement(XMLElements::Category, {{XMLAttributes::Value, "a"},
                                          {XMLAttributes::Count, "3"},
                                          {XMLAttributes::percentage, "NaN"}}),
      MakeElement(XMLElements::Category, {{XMLAttributes::Value, "a"},
                                          {XMLAttributes::Count, "3"},
                                          {XMLAttributes::cumPercentage, "INF"}}),
  });
  ExpectAllFail<CFCluster>({
      Cluster("-1"),
      MakeElement(XMLElements::Cluster, {{XMLAttributes::Count, "4"}}),
      MakeElement(XMLElements::Cluster, {{XMLAttributes::Count, "4"},
                                         {XMLAttributes::Mean, "1"},
                                         {XMLAttributes::Variance, "-INF"}}),
  });
  ExpectAllFail<CFPercentile>({
      MakeElement(XMLElements::Percentile, {{XMLAttributes::rank, "50"}}),
      MakeElement(XMLElements::Percentile, {{XMLAttributes::score, "3"}}),
      MakeElement(XMLElements::Percentile, {{XMLAttributes::rank, "50"},
                                            {XMLAttributes::score, "3"},
                                            {XMLAttributes::lower, "low"}}),
  });
  ExpectAllFail<CFPercentiles>({
      MakeElement(XMLElements::Percentiles, {},
                  MakeElement(XMLElements::Percentile, {{XMLAttributes::rank, "50"}})),
      MakeElement(XMLElements::Percentiles, {{XMLAttributes::interQuartileRange, "NaN"}}),
  });
  ExpectAllFail<CFDistributionSummary>({
      Distribution(Cluster("1") + Category("a", "1")),                              // both lists
      MakeElement(XMLElements::DistributionSummary, {{XMLAttributes::mode, "1"}}),  // neither
      Distribution(Category("a", "1") + Category("b", "")),
      Distribution(Cluster("1") + Cluster("-1")),
      MakeElement(XMLElements::DistributionSummary, {{XMLAttributes::discrete, "yes"}},
                  Category("a", "1")),
      MakeElement(XMLElements::DistributionSummary, {{XMLAttributes::maxCatsExceeded, "TRUE"}},
                  Category("a", "1")),
      MakeElement(XMLElements::DistributionSummary, {{XMLAttributes::maxCatsExceeded, ""}},
                  Category("a", "1")),
      MakeElement(XMLElements::DistributionSummary, {{XMLAttributes::mode, "INF"}},
                  Category("a", "1")),
  });
}

TEST(CFDistributionSummaryTest, PartsRoundTripExactly) {
  const std::string rows[] = {
      MakeElement(XMLElements::Category, {{XMLAttributes::Value, "<a & b>"},
                                          {XMLAttributes::Count, "9223372036854775807"},
                                          {XMLAttributes::percentage, "12.5"},
                                          {XMLAttributes::cumPercentage, "100"}}),
      Category("late", "-1"),  // a category's count may be negative, a cluster's may not
      MakeElement(XMLElements::Cluster, {{XMLAttributes::Count, "12"},
                                         {XMLAttributes::Mean, "-0.25"},
                                         {XMLAttributes::Variance, "1e-300"},
                                         {XMLAttributes::lower, "-3"},
                                         {XMLAttributes::upper, "2.5"}}),
      // A lower bound without an upper one stays that way.
      MakeElement(XMLElements::Percentile, {{XMLAttributes::rank, "25"},
                                            {XMLAttributes::score, "1.5"},
                                            {XMLAttributes::lower, "1"}}),
      MakeElement(XMLElements::Percentiles, {}),  // a full list is in the dataset tree's test
  };
  for (const std::string& xml : rows) {
    SCOPED_TRACE(xml);
    const std::string name = xml.substr(1, xml.find_first_of(" />") - 1);
    std::string written = name == XMLElements::Category     ? RoundTrip<CFCategory>(xml)
                          : name == XMLElements::Cluster    ? RoundTrip<CFCluster>(xml)
                          : name == XMLElements::Percentile ? RoundTrip<CFPercentile>(xml)
                                                            : RoundTrip<CFPercentiles>(xml);
    EXPECT_EQ(Canonical(xml), written);
  }
  std::unique_ptr<CFPercentile> percentile = ReadAs<CFPercentile>(rows[3]);
  EXPECT_TRUE(percentile->hasLower());
  EXPECT_FALSE(percentile->hasUpper());
  // The rank appears once however the writer sets it.
  const std::string written = Written(*percentile);
  const std::string rank = std::string(" ") + XMLAttributes::rank + "=";
  EXPECT_EQ(written.find(rank), written.rfind(rank));
}

TEST(CFDistributionSummaryTest, SummaryKeepsItsTextsAndWritesOnlyWhatWasGiven) {
  const std::string categories = MakeElement(XMLElements::DistributionSummary,
                                             {{XMLAttributes::discrete, XMLEntities::True},
                                              {XMLAttributes::mode, "2"},
                                              {XMLAttributes::maxCatsExceeded, XMLEntities::False},
                                              {XMLAttributes::median, " middle "}},
                                             Category("a", "3") + Category("b", "5"));
  std::unique_ptr<CFDistributionSummary> read = ReadAs<CFDistributionSummary>(categories);
  ASSERT_TRUE(read->parseSuccess());
  ASSERT_EQ(2u, read->getCategoryCount());
  EXPECT_EQ(0u, read->getClusterCount());
  EXPECT_EQ("b", read->getCategory(1)->getValue());
  EXPECT_EQ(" middle ", read->getMedian());
  EXPECT_EQ(XMLEntities::False, read->getMaxCatsExceeded());
  EXPECT_EQ(Canonical(categories), Written(CFDistributionSummary(*read)));

  // Absent texts and mode stay absent.
  const std::string clusters = Distribution(Cluster("4") + Cluster("0"));
  read = ReadAs<CFDistributionSummary>(clusters);
  EXPECT_FALSE(read->hasMode());
  EXPECT_EQ("", read->getMaxCatsExceeded());
  EXPECT_EQ(Canonical(clusters), RoundTrip<CFDistributionSummary>(clusters));
}

// A part built in code refuses to write while it lacks a required piece, as it would after
// reading a damaged element, and a parent holding such a part refuses with it.
TEST(CFDistributionSummaryTest, HalfBuiltPartsRefuseToWrite) {
  ExpectWrittenOnlyWhenComplete({
      {"category without a value",
       [](bool complete) { return Written(BuiltCategory(complete ? kNone : kValue)); }},
      {"category without a count",
       [](bool complete) { return Written(BuiltCategory(complete ? kNone : kCount)); }},
      {"cluster without a count",
       [](bool complete) { return Written(BuiltCluster(complete ? kNone : kCount)); }},
      {"cluster with a negative count",
       [](bool complete) { return Written(BuiltCluster(complete ? kNone : kNegativeCount)); }},
      {"cluster without a mean",
       [](bool complete) { return Written(BuiltCluster(complete ? kNone : kMean)); }},
      {"percentiles holding one without a rank",
       [](bool complete) { return Written(BuiltPercentiles(complete ? kNone : kRank)); }},
      {"percentiles holding one without a score",
       [](bool complete) { return Written(BuiltPercentiles(complete ? kNone : kScore)); }},
      {"distribution without entries",
       [](bool complete) { return Written(BuiltDistribution(complete ? kNone : kEntries)); }},
      {"distribution holding a category without a count",
       [](bool complete) { return Written(BuiltDistribution(complete ? kNone : kCount)); }},
      {"distribution with both lists",
       [](bool complete) {
         CFDistributionSummary distribution = BuiltDistribution();
         if (!complete) distribution.addCluster(BuiltCluster());
         return Written(distribution);
       }},
      {"discrete block without a distribution",
       [](bool complete) {
         CFDiscreteStatisticsExt discrete;
         discrete.setMode("a");
         if (complete) discrete.setDistributionSummary(BuiltDistribution());
         return Written(discrete);
       }},
      {"continuous block holding a distribution without entries",
       [](bool complete) {
         CFContinuousStatisticsExt continuous;
         continuous.setPercentiles(BuiltPercentiles());
         continuous.setDistributionSummary(BuiltDistribution(complete ? kNone : kEntries));
         return Written(continuous);
       }},
  });
}

TEST(CFStatisticsExtTest, ContinuousBlockKeepsWhatItReads) {
  const std::string empty = MakeElement(XMLElements::ContinuousStatisticsExt, {});
  EXPECT_EQ(Canonical(empty), RoundTrip<CFContinuousStatisticsExt>(empty));

  // Inconsistent values are kept as they stand.
  const std::string full =
      MakeElement(XMLElements::ContinuousStatisticsExt,
                  {{XMLAttributes::Minimum, "10"},
                   {XMLAttributes::Maximum, "1"},
                   {XMLAttributes::Variance, "-2"},
                   {XMLAttributes::kurtosis, "3.75"},
                   {XMLAttributes::outlierUpperBound, "1e+20"}},
                  MakeElement(XMLElements::Percentiles, {}) + Distribution(Cluster("3")));
  std::unique_ptr<CFContinuousStatisticsExt> read = ReadAs<CFContinuousStatisticsExt>(full);
  ASSERT_TRUE(read->parseSuccess());
  EXPECT_EQ(-2.0, read->getVariance());
  EXPECT_EQ(3.75, read->getKurtosis());
  EXPECT_EQ(1e20, read->getOutlierUpperBound());
  ASSERT_NE(nullptr, read->getDistributionSummary());
  EXPECT_EQ(1u, read->getDistributionSummary()->getClusterCount());
  CFContinuousStatisticsExt copy(*read);
  read.reset();
  EXPECT_EQ(Canonical(full), Written(copy));

  ExpectAllFail<CFContinuousStatisticsExt>({
      MakeElement(XMLElements::ContinuousStatisticsExt, {{XMLAttributes::skewness, "INF"}}),
      MakeElement(XMLElements::ContinuousStatisticsExt, {{XMLAttributes::Minimum, "small"}}),
      MakeElement(
          XMLElements::ContinuousStatisticsExt, {},
          MakeElement(XMLElements::Percentiles, {{XMLAttributes::interQuartileRange, "x"}})),
      MakeElement(XMLElements::ContinuousStatisticsExt, {}, Distribution("")),
  });
}

TEST(CFStatisticsExtTest, DiscreteBlockNeedsItsDistribution) {
  // The mode is text, kept byte for byte, beside the distribution's numeric mode.
  const std::string xml =
      MakeElement(XMLElements::DiscreteStatisticsExt,
                  {{XMLAttributes::mode, " 0042 "}, {XMLAttributes::median, "b"}},
                  MakeElement(XMLElements::DistributionSummary, {{XMLAttributes::mode, "7"}},
                              Category("a", "1")));
  std::unique_ptr<CFDiscreteStatisticsExt> read = ReadAs<CFDiscreteStatisticsExt>(xml);
  ASSERT_TRUE(read->parseSuccess());
  EXPECT_EQ(" 0042 ", read->getMode());
  EXPECT_EQ(7.0, read->getDistributionSummary()->getMode());
  EXPECT_EQ(Canonical(xml), Written(CFDiscreteStatisticsExt(*read)));

  ExpectAllFail<CFDiscreteStatisticsExt>({
      MakeElement(XMLElements::DiscreteStatisticsExt, {{XMLAttributes::mode, "a"}}),
      MakeElement(XMLElements::DiscreteStatisticsExt, {}, Distribution("")),
  });
}

}  // namespace
