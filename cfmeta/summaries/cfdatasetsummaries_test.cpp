#include "cfmeta/summaries/cfdatasetsummaries.h"

#include <gtest/gtest.h>

#include <string>

#include "cfmeta/summaries/cfdistributionsummary.h"
#include "cfmeta/summaries/cffieldsummaries.h"
#include "cfmeta/summaries/cfstatisticsext.h"
#include "cfmeta/summaries/cfsummaries_testutil.h"
#include "cfmeta/vocab/cfvocabulary.h"

namespace {

using cfmeta_test::Canonical;
using cfmeta_test::ExpectWrittenOnlyWhenComplete;
using cfmeta_test::kNothing;
using cfmeta_test::MakeElement;
using cfmeta_test::ReadAs;
using cfmeta_test::RoundTrip;
using cfmeta_test::Written;
namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLElements = CfCppHelperV1::XMLElements;
namespace XMLEntities = CfCppHelperV1::XMLEntities;

using Attributes = std::initializer_list<std::pair<std::string, std::string>>;

std::string Discrete() {
  return MakeElement(
      XMLElements::DiscreteStatisticsExt, {},
      MakeElement(XMLElements::DistributionSummary, {},
                  MakeElement(XMLElements::Category,
                              {{XMLAttributes::Value, "a"}, {XMLAttributes::Count, "2"}})));
}

std::string Continuous() {
  return MakeElement(XMLElements::ContinuousStatisticsExt, {{XMLAttributes::Mean, "1.5"}});
}

std::string Summary(Attributes attributes, const std::string& block = Continuous()) {
  return MakeElement(XMLElements::FieldSummary, attributes, block);
}

std::string Summaries(const std::string& children) {
  return MakeElement(XMLElements::FieldSummaries, {}, children);
}

std::string Overall(Attributes attributes, const std::string& children = "") {
  return MakeElement(XMLElements::OverallSummaries, attributes, children);
}

std::string Root(const std::string& children) {
  return children.empty() ? MakeElement(XMLElements::DatasetSummaries, {})
                          : MakeElement(XMLElements::DatasetSummaries, {}, children);
}

TEST(CFDatasetSummariesTest, OverallFlagsAreBooleans) {
  const struct Row {
    std::string xml;
    bool success;
    std::string written;
  } rows[] = {
      // Absent flags read and write back as true.
      {Overall({}), true,
       Overall({{XMLAttributes::current, XMLEntities::True},
                {XMLAttributes::includeUMissing, XMLEntities::True},
                {XMLAttributes::includeNotValid, XMLEntities::True}})},
      {Overall({{XMLAttributes::includeNotValid, XMLEntities::False}}), true,
       Overall({{XMLAttributes::current, XMLEntities::True},
                {XMLAttributes::includeUMissing, XMLEntities::True},
                {XMLAttributes::includeNotValid, XMLEntities::False}})},
      // Content inside the record counts is dropped.
      {Overall({{XMLAttributes::current, XMLEntities::False}},
               MakeElement(XMLElements::RecordCountsExt, {{XMLAttributes::Count, "3"}},
                           MakeElement(XMLElements::Field, {}))),
       true,
       Overall({{XMLAttributes::current, XMLEntities::False},
                {XMLAttributes::includeUMissing, XMLEntities::True},
                {XMLAttributes::includeNotValid, XMLEntities::True}},
               MakeElement(XMLElements::RecordCountsExt, {}))},
      {Overall({{XMLAttributes::current, "TRUE"}}), false, ""},
      {Overall({{XMLAttributes::includeUMissing, ""}}), false, ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.xml);
    std::unique_ptr<CFOverallSummaries> overall = ReadAs<CFOverallSummaries>(row.xml);
    EXPECT_EQ(row.success, overall->parseSuccess());
    if (row.success) {
      EXPECT_EQ(Canonical(row.written), Written(CFOverallSummaries(*overall)));
    }
    // The root fails with its overall summaries.
    std::unique_ptr<CFDatasetSummaries> root = ReadAs<CFDatasetSummaries>(Root(row.xml));
    EXPECT_EQ(row.success, root->parseSuccess());
  }
}

TEST(CFDatasetSummariesTest, BadOverallSummaryStopsTheFieldSummaries) {
  const std::string fields = Summaries(Summary({{XMLAttributes::FieldName, "age"}}));
  std::unique_ptr<CFDatasetSummaries> good = ReadAs<CFDatasetSummaries>(Root(Overall({}) + fields));
  ASSERT_TRUE(good->parseSuccess());
  EXPECT_NE(nullptr, good->getFieldSummaries());

  std::unique_ptr<CFDatasetSummaries> bad =
      ReadAs<CFDatasetSummaries>(Root(Overall({{XMLAttributes::current, "yes"}}) + fields));
  EXPECT_FALSE(bad->parseSuccess());
  EXPECT_EQ(nullptr, bad->getOverallSummaries());
  EXPECT_EQ(nullptr, bad->getFieldSummaries());

  // Released children are gone from the copy's source only.
  CFDatasetSummaries copy(*good);
  good->releaseFieldSummaries();
  EXPECT_EQ(nullptr, good->getFieldSummaries());
  EXPECT_EQ(Canonical(Root(Written(CFOverallSummaries()))), Written(*good));
  EXPECT_EQ(Canonical(Root(Written(CFOverallSummaries()) + Written(*copy.getFieldSummaries()))),
            Written(copy));
}

// One of each part, built in code, and the document that reads into the same tree.
CFDatasetSummaries BuiltTree() {
  CFOverallSummaries overall;
  overall.setRecordCountsExt(CFRecordCountsExt());
  overall.setCurrent(false);
  overall.setIncludeNotValid(false);

  CFPercentile lowQuartile;
  lowQuartile.setRank(25);
  lowQuartile.setScore(33);
  CFPercentile highQuartile;
  highQuartile.setRank(75);
  highQuartile.setScore(50.5);
  highQuartile.setLower(49);
  CFPercentiles percentiles;
  percentiles.addPercentile(lowQuartile);
  percentiles.addPercentile(highQuartile);
  percentiles.setInterQuartileRange(17.5);
  CFCluster young;
  young.setCount(60);
  young.setMean(30.5);
  young.setVariance(4);
  young.setLower(0);
  young.setUpper(45);
  CFCluster old;
  old.setCount(0);
  old.setMean(-0.25);
  CFDistributionSummary ages;
  ages.addCluster(young);
  ages.addCluster(old);
  ages.setMode(38);
  ages.setMedian("40");
  ages.setDiscrete(XMLEntities::False);
  CFContinuousStatisticsExt continuous;
  continuous.setPercentiles(percentiles);
  continuous.setDistributionSummary(ages);
  continuous.setMinimum(18);
  continuous.setMaximum(95);
  continuous.setMean(41.5);
  continuous.setVariance(0);
  continuous.setStdDev(12.25);
  continuous.setSkewness(-0.5);
  continuous.setStdErrSkewness(0.125);
  continuous.setKurtosis(3.75);
  continuous.setStdErrKurtosis(0.25);
  continuous.setOutlierLowerBound(-1e20);
  continuous.setOutlierUpperBound(1e20);
  CFFieldSummary age;
  age.setFieldName("age");
  age.setCurrent(XMLEntities::True);
  age.setValidCount(90);
  age.setUnweightedValid(88);
  age.setMissingCount(0);
  age.setConStatistics(continuous);

  CFCategory north;
  north.setValue("north & east");
  north.setCount(50);
  north.setPercentage(55.5);
  north.setCumPercentage(55.5);
  CFCategory unknown;
  unknown.setValue("");
  unknown.setCount(-1);
  unknown.setPercentage(0);
  CFDistributionSummary regions;
  regions.addCategory(north);
  regions.addCategory(unknown);
  regions.setDiscrete(XMLEntities::True);
  regions.setMaxCatsExceeded(XMLEntities::False);
  CFDiscreteStatisticsExt discrete;
  discrete.setDistributionSummary(regions);
  discrete.setMode("north & east");
  discrete.setMedian(" 2 ");
  CFFieldSummary region;
  region.setFieldName("region");
  region.setIncludeUMissing(XMLEntities::True);
  region.setIncludeNotValid(XMLEntities::False);
  region.setMissingCount(-7);  // any negative count is not given
  region.setUnweightedMissing(4);
  region.setInvalidCount(2);
  region.setUnweightedInvalid(9223372036854775807LL);
  region.setDisStatistics(discrete);

  CFFieldSummaries fields;
  fields.addFieldSummary(age);
  fields.addFieldSummary(region);
  CFDatasetSummaries root;
  root.setOverallSummaries(overall);
  root.setFieldSummaries(fields);
  // Setters copy: later changes to a part stay out of the tree.
  fields.addFieldSummary(age);
  overall.setCurrent(true);
  return root;
}

std::string TreeDocument() {
  const std::string continuous = MakeElement(
      XMLElements::ContinuousStatisticsExt,
      {{XMLAttributes::Minimum, "18"},
       {XMLAttributes::Maximum, "95"},
       {XMLAttributes::Mean, "41.5"},
       {XMLAttributes::Variance, "0"},
       {XMLAttributes::stdDev, "12.25"},
       {XMLAttributes::skewness, "-0.5"},
       {XMLAttributes::stdErrSkewness, "0.125"},
       {XMLAttributes::kurtosis, "3.75"},
       {XMLAttributes::stdErrKurtosis, "0.25"},
       {XMLAttributes::outlierLowerBound, "-1e+20"},
       {XMLAttributes::outlierUpperBound, "1e+20"}},
      MakeElement(XMLElements::Percentiles, {{XMLAttributes::interQuartileRange, "17.5"}},
                  MakeElement(XMLElements::Percentile,
                              {{XMLAttributes::rank, "25"}, {XMLAttributes::score, "33"}}) +
                      MakeElement(XMLElements::Percentile, {{XMLAttributes::rank, "75"},
                                                            {XMLAttributes::score, "50.5"},
                                                            {XMLAttributes::lower, "49"}})) +
          MakeElement(XMLElements::DistributionSummary,
                      {{XMLAttributes::discrete, XMLEntities::False},
                       {XMLAttributes::mode, "38"},
                       {XMLAttributes::median, "40"}},
                      MakeElement(XMLElements::Cluster, {{XMLAttributes::Count, "60"},
                                                         {XMLAttributes::Mean, "30.5"},
                                                         {XMLAttributes::Variance, "4"},
                                                         {XMLAttributes::lower, "0"},
                                                         {XMLAttributes::upper, "45"}}) +
                          MakeElement(XMLElements::Cluster, {{XMLAttributes::Count, "0"},
                                                             {XMLAttributes::Mean, "-0.25"}})));
  const std::string discrete = MakeElement(
      XMLElements::DiscreteStatisticsExt,
      {{XMLAttributes::mode, "north & east"}, {XMLAttributes::median, " 2 "}},
      MakeElement(XMLElements::DistributionSummary,
                  {{XMLAttributes::discrete, XMLEntities::True},
                   {XMLAttributes::maxCatsExceeded, XMLEntities::False}},
                  MakeElement(XMLElements::Category, {{XMLAttributes::Value, "north & east"},
                                                      {XMLAttributes::Count, "50"},
                                                      {XMLAttributes::percentage, "55.5"},
                                                      {XMLAttributes::cumPercentage, "55.5"}}) +
                      MakeElement(XMLElements::Category, {{XMLAttributes::Value, ""},
                                                          {XMLAttributes::Count, "-1"},
                                                          {XMLAttributes::percentage, "0"}})));
  return Root(Overall({{XMLAttributes::current, XMLEntities::False},
                       {XMLAttributes::includeUMissing, XMLEntities::True},
                       {XMLAttributes::includeNotValid, XMLEntities::False}},
                      MakeElement(XMLElements::RecordCountsExt, {})) +
              Summaries(Summary({{XMLAttributes::FieldName, "age"},
                                 {XMLAttributes::current, XMLEntities::True},
                                 {XMLAttributes::validCount, "90"},
                                 {XMLAttributes::unweightedValid, "88"},
                                 {XMLAttributes::missingCount, "0"}},
                                continuous) +
                        Summary({{XMLAttributes::FieldName, "region"},
                                 {XMLAttributes::includeUMissing, XMLEntities::True},
                                 {XMLAttributes::includeNotValid, XMLEntities::False},
                                 {XMLAttributes::unweightedMissing, "4"},
                                 {XMLAttributes::invalidCount, "2"},
                                 {XMLAttributes::unweightedInvalid, "9223372036854775807"}},
                                discrete)));
}

TEST(CFDatasetSummariesTest, TreeBuiltInCodeWritesWhatItsDocumentReads) {
  const std::string document = TreeDocument();
  std::unique_ptr<CFDatasetSummaries> read = ReadAs<CFDatasetSummaries>(document);
  ASSERT_TRUE(read->parseSuccess());
  const std::string expected = Written(*read);
  ASSERT_EQ(Canonical(document), expected);

  const CFDatasetSummaries built = BuiltTree();
  EXPECT_EQ(expected, Written(built));
  EXPECT_EQ(expected, Written(CFDatasetSummaries(built)));

  // Write, serialise, read back and write again: the same text.
  std::unique_ptr<CFDatasetSummaries> again = ReadAs<CFDatasetSummaries>(Written(built));
  ASSERT_TRUE(again->parseSuccess());
  EXPECT_EQ(expected, Written(*again));
}

// A default T is the one an empty element reads into: it reads, or fails, and writes the same.
template <typename T>
void ExpectDefaultIsEmptyElement(const char* name) {
  SCOPED_TRACE(name);
  std::unique_ptr<T> read = ReadAs<T>(MakeElement(name, {}));
  EXPECT_EQ(read->parseSuccess(), T().parseSuccess());
  EXPECT_EQ(Written(*read), Written(T()));
}

TEST(CFDatasetSummariesTest, DefaultObjectsAreEmptyElements) {
  ExpectDefaultIsEmptyElement<CFRecordCountsExt>(XMLElements::RecordCountsExt);
  ExpectDefaultIsEmptyElement<CFOverallSummaries>(XMLElements::OverallSummaries);
  ExpectDefaultIsEmptyElement<CFDatasetSummaries>(XMLElements::DatasetSummaries);
  ExpectDefaultIsEmptyElement<CFFieldSummaries>(XMLElements::FieldSummaries);
  ExpectDefaultIsEmptyElement<CFFieldSummary>(XMLElements::FieldSummary);
  ExpectDefaultIsEmptyElement<CFContinuousStatisticsExt>(XMLElements::ContinuousStatisticsExt);
  ExpectDefaultIsEmptyElement<CFDiscreteStatisticsExt>(XMLElements::DiscreteStatisticsExt);
  ExpectDefaultIsEmptyElement<CFDistributionSummary>(XMLElements::DistributionSummary);
  ExpectDefaultIsEmptyElement<CFPercentiles>(XMLElements::Percentiles);
  ExpectDefaultIsEmptyElement<CFPercentile>(XMLElements::Percentile);
  ExpectDefaultIsEmptyElement<CFCluster>(XMLElements::Cluster);
  ExpectDefaultIsEmptyElement<CFCategory>(XMLElements::Category);
  // An empty root reads and writes back as it stands.
  EXPECT_TRUE(CFDatasetSummaries().parseSuccess());
  EXPECT_EQ(Canonical(Root("")), Written(CFDatasetSummaries()));
}

// A summary built in code: named unless `unnamed`, with a discrete block.
CFFieldSummary BuiltSummary(bool unnamed = false) {
  CFFieldSummary summary;
  if (!unnamed) summary.setFieldName("x");
  summary.setValidCount(3);
  summary.setDisStatistics(CFDiscreteStatisticsExt(*ReadAs<CFDiscreteStatisticsExt>(Discrete())));
  return summary;
}

// A summary built in code refuses to write while it lacks a required piece, and so do the list
// and the root holding it; each leaves its parent as it was.
TEST(CFFieldSummaryTest, HalfBuiltSummaryRefusesToWrite) {
  ExpectWrittenOnlyWhenComplete({
      {"summary without a name", [](bool complete) { return Written(BuiltSummary(!complete)); }},
      {"summary without statistics",
       [](bool complete) {
         CFFieldSummary summary;
         summary.setFieldName("x");
         if (complete) summary.setConStatistics(CFContinuousStatisticsExt());
         return Written(summary);
       }},
      {"summary with both blocks",
       [](bool complete) {
         CFFieldSummary summary = BuiltSummary();
         if (!complete) summary.setConStatistics(CFContinuousStatisticsExt());
         return Written(summary);
       }},
      {"summary with a flag text that is not an entity",
       [](bool complete) {
         CFFieldSummary summary = BuiltSummary();
         summary.setIncludeNotValid(complete ? XMLEntities::False : "no");
         return Written(summary);
       }},
      {"root holding a list holding a summary without a name",
       [](bool complete) {
         CFFieldSummaries list;
         list.addFieldSummary(BuiltSummary());
         list.addFieldSummary(BuiltSummary(!complete));
         CFDatasetSummaries root;
         root.setFieldSummaries(list);
         return Written(root);
       }},
  });
}

TEST(CFFieldSummaryTest, DamagedSummaryFailsTheList) {
  const std::string good = Summary({{XMLAttributes::FieldName, "age"}});
  const std::string rows[] = {
      Summary({}),
      Summary({{XMLAttributes::FieldName, ""}}),
      Summary({{XMLAttributes::FieldName, "age"}, {XMLAttributes::validCount, "-1"}}),
      Summary({{XMLAttributes::FieldName, "age"}, {XMLAttributes::unweightedInvalid, "1.5"}}),
      Summary({{XMLAttributes::FieldName, "age"}, {XMLAttributes::current, "True"}}),
      Summary({{XMLAttributes::FieldName, "age"}, {XMLAttributes::includeNotValid, ""}}),
      Summary({{XMLAttributes::FieldName, "age"}}, Continuous() + Discrete()),
      Summary({{XMLAttributes::FieldName, "age"}}, Discrete() + Continuous()),
      Summary({{XMLAttributes::FieldName, "age"}}, MakeElement(XMLElements::ContinuousStatisticsExt,
                                                               {{XMLAttributes::skewness, "INF"}})),
      Summary({{XMLAttributes::FieldName, "age"}},
              MakeElement(XMLElements::DiscreteStatisticsExt, {})),
  };
  for (const std::string& xml : rows) {
    SCOPED_TRACE(xml);
    EXPECT_FALSE(ReadAs<CFFieldSummary>(xml)->parseSuccess());
    std::unique_ptr<CFFieldSummaries> list = ReadAs<CFFieldSummaries>(Summaries(good + xml));
    EXPECT_FALSE(list->parseSuccess());
  }
  std::unique_ptr<CFFieldSummaries> list = ReadAs<CFFieldSummaries>(Summaries(good + good));
  ASSERT_TRUE(list->parseSuccess());
  ASSERT_EQ(2u, list->getFieldSummaryCount());
  EXPECT_NE(nullptr, list->getFieldSummary(1));
  EXPECT_EQ(nullptr, list->getFieldSummary(2));
}

TEST(CFFieldSummaryTest, WritesBackOnlyWhatWasGiven) {
  // Flags stay text: absent ones stay absent; counts absent or read write back the same. Every
  // count given is in the tree above.
  const std::string rows[] = {
      Summary({{XMLAttributes::FieldName, "age"}}),
      Summary({{XMLAttributes::FieldName, "region"},
               {XMLAttributes::current, XMLEntities::False},
               {XMLAttributes::includeNotValid, XMLEntities::True},
               {XMLAttributes::validCount, "0"}},
              Discrete()),
  };
  for (const std::string& xml : rows) {
    SCOPED_TRACE(xml);
    EXPECT_EQ(Canonical(xml), RoundTrip<CFFieldSummary>(xml));
    EXPECT_EQ(Canonical(Summaries(xml)), RoundTrip<CFFieldSummaries>(Summaries(xml)));
  }
  std::unique_ptr<CFFieldSummary> sparse = ReadAs<CFFieldSummary>(rows[0]);
  EXPECT_EQ(-1, sparse->getValidCount());
  EXPECT_EQ("", sparse->getCurrent());
  std::unique_ptr<CFFieldSummary> full = ReadAs<CFFieldSummary>(rows[1]);
  EXPECT_EQ(0, full->getValidCount());
  EXPECT_EQ(XMLEntities::False, full->getCurrent());
  EXPECT_NE(nullptr, full->getDisStatistics());
  EXPECT_EQ(nullptr, full->getConStatistics());

  // Read without a statistics block, a summary cannot be written.
  std::unique_ptr<CFFieldSummary> bare = ReadAs<CFFieldSummary>(
      MakeElement(XMLElements::FieldSummary, {{XMLAttributes::FieldName, "x"}}));
  EXPECT_TRUE(bare->parseSuccess());
  EXPECT_EQ(kNothing, Written(*bare));
}

}  // namespace
