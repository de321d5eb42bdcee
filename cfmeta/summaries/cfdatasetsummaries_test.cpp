#include "cfmeta/summaries/cfdatasetsummaries.h"

#include <gtest/gtest.h>

#include <string>

#include "cfmeta/summaries/cffieldsummaries.h"
#include "cfmeta/summaries/cfstatisticsext.h"
#include "cfmeta/summaries/cfsummaries_testutil.h"
#include "cfmeta/vocab/cfvocabulary.h"

namespace {

using cfmeta_test::Canonical;
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

TEST(CFDatasetSummariesTest, EmptyRootRoundTrips) {
  std::unique_ptr<CFDatasetSummaries> read = ReadAs<CFDatasetSummaries>(Root(""));
  ASSERT_TRUE(read->parseSuccess());
  EXPECT_EQ(nullptr, read->getOverallSummaries());
  EXPECT_EQ(nullptr, read->getFieldSummaries());
  EXPECT_EQ(Canonical(Root("")), Written(*read));
  EXPECT_EQ(Canonical(Root("")), Written(CFDatasetSummaries()));
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
  // Flags stay text: absent ones stay absent; counts absent or read write back the same.
  const std::string rows[] = {
      Summary({{XMLAttributes::FieldName, "age"}}),
      Summary({{XMLAttributes::FieldName, "region"},
               {XMLAttributes::current, XMLEntities::False},
               {XMLAttributes::includeNotValid, XMLEntities::True},
               {XMLAttributes::validCount, "0"},
               {XMLAttributes::unweightedValid, "12"},
               {XMLAttributes::missingCount, "3"},
               {XMLAttributes::unweightedMissing, "4"},
               {XMLAttributes::invalidCount, "5"},
               {XMLAttributes::unweightedInvalid, "9223372036854775807"}},
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

  // Read without a statistics block, a summary cannot be written, nor can a list holding it.
  const std::string bare =
      MakeElement(XMLElements::FieldSummary, {{XMLAttributes::FieldName, "x"}});
  std::unique_ptr<CFFieldSummary> read = ReadAs<CFFieldSummary>(bare);
  EXPECT_TRUE(read->parseSuccess());
  EXPECT_EQ(kNothing, Written(*read));
  std::unique_ptr<CFFieldSummaries> list = ReadAs<CFFieldSummaries>(Summaries(rows[0] + bare));
  ASSERT_TRUE(list->parseSuccess());
  EXPECT_EQ(kNothing, Written(*list));
  std::unique_ptr<CFDatasetSummaries> root = ReadAs<CFDatasetSummaries>(Root(Summaries(bare)));
  ASSERT_TRUE(root->parseSuccess());
  EXPECT_EQ(kNothing, Written(*root));
}

}  // namespace
