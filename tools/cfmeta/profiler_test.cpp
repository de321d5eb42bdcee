#include "tools/cfmeta/profiler.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "cfmeta/field/cfdatum.h"
#include "cfmeta/format/cfnumberformat.h"
#include "cfmeta/metadata/cfmetadata.h"
#include "cfmeta/metadata/cfmetadata_testutil.h"
#include "cfmeta/stats/cfcatstats.h"
#include "cfmeta/stats/cfcontstats.h"
#include "cfmeta/summaries/cfdatasetsummaries.h"
#include "cfmeta/summaries/cfdistributionsummary.h"
#include "cfmeta/summaries/cffieldsummaries.h"
#include "cfmeta/summaries/cfstatisticsext.h"
#include "cfmeta/vocab/cfvocabulary.h"
#include "tools/cfmeta/csvreader.h"
#include "tools/cfmeta/document.h"
#include "tools/cfmeta/isodate.h"
#include "tools/cfmeta/profilejson.h"
#include "tools/cfmeta/toolerror.h"

namespace cfmeta_tool {
namespace {

using ::testing::HasSubstr;

struct Profiled {
  std::unique_ptr<CFMetaData> metadata;
  std::vector<std::string> warnings;
  std::vector<ColumnProfile> columns;  // with summaries
};

// Profiles `text`, fed in pieces of `piece` bytes (all at once for 0), with the profiler's
// settings changed by `setUp` (when given).
Profiled Profile(const std::string& text, unsigned maxCategories = 5, size_t piece = 0,
                 char delimiter = ',', bool summaries = false,
                 const std::function<void(Profiler&)>& setUp = nullptr) {
  Profiler profiler(maxCategories, summaries);
  if (setUp) setUp(profiler);
  CsvReader reader("data.csv", delimiter, profiler);
  if (piece == 0) piece = text.size() + 1;
  for (size_t at = 0; at < text.size(); at += piece) {
    reader.Feed(text.data() + at, std::min(piece, text.size() - at));
  }
  reader.Finish();
  Profiled result;
  result.metadata = profiler.Finish(result.warnings, &result.columns);
  return result;
}

// The message of the ToolError that profiling `text` throws; empty when none is thrown.
std::string ErrorOf(const std::string& text) {
  try {
    Profile(text);
  } catch (const ToolError& e) {
    EXPECT_EQ(kExitBadInput, e.ExitCode());
    return e.what();
  }
  return std::string();
}

std::vector<std::string> ValueTexts(const CFField& field) {
  std::vector<std::string> texts;
  for (const CFValue& value : field.GetValues()) {
    std::string text;
    value.GetValue().ToString(text, 0);
    texts.push_back(text);
  }
  return texts;
}

// "from|from+1|...|to".
std::string Integers(int from, int to) {
  std::string cells = std::to_string(from);
  while (from < to) cells += "|" + std::to_string(++from);
  return cells;
}

TEST(ProfilerTest, InfersStorageAndMeasurementLevel) {
  // Numeric columns with up to 10 distinct values are categorical; value lists stop at 5.
  struct Row {
    std::string cells;  // one column, cells separated by '|'
    CFField::StorageType storage;
    CFField::FieldType type;
    double mean = std::nan("");  // of a continuous column, where given
  } rows[] = {
      {Integers(18, 47), CFField::IntegerStorage, CFField::Continuous, 32.5},  // ages
      {Integers(1, 11), CFField::IntegerStorage, CFField::Continuous, 6.0},
      {Integers(1, 10), CFField::IntegerStorage, CFField::Nominal},  // no value list beyond 5
      {"1|2|3|4|5|5", CFField::IntegerStorage, CFField::Nominal},
      {"0|1|1|0", CFField::IntegerStorage, CFField::Flag},
      {"-7|+7|7|-7", CFField::IntegerStorage, CFField::Flag},  // "+7" and "7" are one value
      {"1|2.5|3", CFField::RealStorage, CFField::Nominal},
      {"1e3|2E-2|.5|5.|-0", CFField::RealStorage, CFField::Nominal},
      {"99999999999999999999|1", CFField::RealStorage, CFField::Flag},  // beyond 64 bits
      {"007|8", CFField::StringStorage, CFField::Flag},                 // a code, not a number
      {"1|1e400", CFField::StringStorage, CFField::Flag},               // not finite
      {"1|inf|2", CFField::StringStorage, CFField::Nominal},
      {"0x10|1", CFField::StringStorage, CFField::Flag},
      {" 5|5\t|6 ", CFField::IntegerStorage, CFField::Flag},     // blanks around numbers go
      {" a|a", CFField::StringStorage, CFField::Flag},           // but are part of a text
      {"1|NA|2|-|NaN", CFField::IntegerStorage, CFField::Flag},  // null tokens are no values
      {"NULL|2.5|N/A|null", CFField::RealStorage, CFField::Nominal},
      {"-|2024-01-31", CFField::DateStorage, CFField::Continuous},
      {"NA|NA", CFField::StringStorage, CFField::Nominal},
      {"1|na", CFField::StringStorage, CFField::Flag},  // tokens match exactly
      {"a|b|c|d|e|f|g", CFField::StringStorage, CFField::Nominal},
      {"|||", CFField::StringStorage, CFField::Nominal},  // only empty cells
      {"2024-01-31||1999-12-31", CFField::DateStorage, CFField::Continuous},
      {"08:30|17:45:10.5", CFField::TimeStorage, CFField::Continuous},
      {"2024-01-31T08:30|2024-02-01 09:00:00Z", CFField::TimestampStorage, CFField::Continuous},
      {"2024-01-31|2024-02-30", CFField::StringStorage, CFField::Flag},  // not a real day
      {"2024-01-31|2024-01-31T08:30", CFField::StringStorage, CFField::Flag},
      {"2024|2024-01-31", CFField::StringStorage, CFField::Flag},
      {"08:30|5", CFField::StringStorage, CFField::Flag},
      {"01/31/2015|1/5/2015", CFField::DateStorage, CFField::Continuous},
      {"Jan 1 2000|March 3 2001", CFField::DateStorage, CFField::Continuous},
      {"1:30 PM|10:00:05 am", CFField::TimeStorage, CFField::Continuous},
      {"2015/01/01 01:00:00|2015/12/31 23:59:59", CFField::TimestampStorage, CFField::Continuous},
      {"13/13/2015|1/1/2015", CFField::StringStorage, CFField::Flag},
      {"Jan 1 2000|2000-01-01", CFField::StringStorage, CFField::Flag},  // one form per column
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.cells);
    // Quote empty cells so that they survive as rows of their own.
    std::string text = "x\n", cells = row.cells;
    for (size_t start = 0, end = 0; end != std::string::npos; start = end + 1) {
      end = cells.find('|', start);
      std::string cell = cells.substr(start, end - start);
      text += (cell.empty() ? "\"\"" : cell) + "\n";
    }
    Profiled result = Profile(text);
    ASSERT_EQ(1u, result.metadata->FieldCount());
    const CFField& field = *result.metadata->GetField(0u);
    EXPECT_EQ(row.storage, field.GetStorage());
    EXPECT_EQ(row.type, field.GetType());
    EXPECT_EQ(row.type == CFField::Continuous, field.GetContStats() != nullptr);
    if (!std::isnan(row.mean) && field.GetContStats() != nullptr) {
      EXPECT_DOUBLE_EQ(row.mean, field.GetContStats()->GetMean());
    }
  }
}

// Null tokens count as nulls; a string column lists those it holds as missing values.
TEST(ProfilerTest, NullTokensAreNullsThatStringColumnsList) {
  const std::string text = "n,s\n1,a\nNA,NA\n2,-\n,b\n-,N/A\n";
  struct Row {
    std::vector<std::string> tokens;           // none: the defaults
    CFField::StorageType storage;              // of n
    uint64_t nulls;                            // of n
    std::vector<std::string> values, missing;  // of s
  } rows[] = {
      {{}, CFField::IntegerStorage, 3, {"a", "b"}, {"NA", "N/A", "-"}},  // in token order
      {{""}, CFField::StringStorage, 1, {"-", "N/A", "NA", "a", "b"}, {}},
      {{"-", "b"}, CFField::StringStorage, 2, {"N/A", "NA", "a"}, {"-", "b"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(row.tokens));
    Profiled result = Profile(text, 5, 0, ',', true, [&](Profiler& profiler) {
      if (!row.tokens.empty()) profiler.SetNullTokens(row.tokens);
    });
    const CFField& n = *result.metadata->GetField("n");
    EXPECT_EQ(row.storage, n.GetStorage());
    EXPECT_EQ(row.nulls, result.columns[0].nulls);
    if (row.storage == CFField::IntegerStorage) {
      EXPECT_TRUE(n.GetMissingValues().GetMissingValueList().empty());  // only counted
      EXPECT_EQ(2.0, n.GetCatStats()->GetSumWeights());
    }
    const CFField& s = *result.metadata->GetField("s");
    EXPECT_EQ(row.values, ValueTexts(s));
    std::vector<std::string> missing;
    for (const CFValue& value : s.GetMissingValues().GetMissingValueList()) {
      missing.push_back(value.GetValue().GetString());
    }
    EXPECT_EQ(row.missing, missing);
    cfmeta_test::ExpectRoundTrip(*result.metadata);
  }
}

// Every value renders through its field's format as the number it is, in the file's decimal
// symbol and grouping.
TEST(ProfilerTest, NumberFormatsShowEveryValueAsWritten) {
  struct Row {
    char decimal;
    const char* grouping;
    const char* cells;
    CFField::StorageType storage;
    const char* min = nullptr;  // rendered; none for a string column
    const char* max = nullptr;
  } rows[] = {
      {'.', "", "2.5E-3|1", CFField::RealStorage, "0.0025", "1.0000"},
      {'.', "", "1.50|-2", CFField::RealStorage, "-2.00", "1.50"},
      {'.', "", "1e-12|3", CFField::RealStorage, "1E-012", "3E+000"},
      {'.', "", "-1.25e-11|3", CFField::RealStorage, "-1.25E-011", "3.00E+000"},
      {'.', "", "1.5e100|0.5", CFField::RealStorage, "5.0E-001", "1.5E+100"},
      // Beyond 64 bits: the nearest double, in the 17 digits that tell it apart.
      {'.', "", "123456789012345678901234|0.5", CFField::RealStorage, "5.0000000000000000E-001",
       "1.2345678901234569E+023"},
      {'.', "", "0.1000000000000000055511151231257827|5", CFField::RealStorage, "0.1000000000",
       "5.0000000000"},  // written beyond a double's digits
      {'.', ",", "1,234.5|-12,345,678|7", CFField::RealStorage, "-12,345,678.0", "1,234.5"},
      {',', ". ", "2 000,25|1.234,5|7", CFField::RealStorage, "7,00", "2 000,25"},
      {',', ". ", "1.234|5", CFField::IntegerStorage, "5", "1.234"},
      {',', ". ", "1.5|2", CFField::StringStorage},  // a point groups threes
      {'.', ",", "1,23|4", CFField::StringStorage},
      {'.', ",", "1234,567|1", CFField::StringStorage},
      {'.', ",", "1,234,56|1", CFField::StringStorage},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.cells);
    std::string text = "x\n" + std::string(row.cells) + "\n";
    std::replace(text.begin(), text.end(), '|', '\n');
    Profiled result = Profile(text, 5, 0, ';', false, [&](Profiler& profiler) {
      profiler.SetMaxNominal(0);
      profiler.SetNumberForm(row.decimal, row.grouping);
    });
    const CFField& field = *result.metadata->GetField(0u);
    ASSERT_EQ(row.storage, field.GetStorage());
    if (row.storage == CFField::StringStorage) continue;
    ASSERT_NE(nullptr, field.GetContStats());
    auto [min, max] = field.GetContStats()->GetExtrema();
    const CFFormat* format = result.metadata->GetDisplayFormat(field);
    EXPECT_EQ(row.min, Render(CFDatum(min), format, CFFormat::NoUnits));
    EXPECT_EQ(row.max, Render(CFDatum(max), format, CFFormat::NoUnits));
    cfmeta_test::ExpectRoundTrip(*result.metadata);
  }
}

TEST(ProfilerTest, CategoricalFieldsCarrySortedValuesAndCounts) {
  Profiled result = Profile("n,s,f\n3,b,no\n1,a,yes\n3,c,yes\n,b,no\n1,b,yes\n");
  const CFMetaData& metadata = *result.metadata;
  EXPECT_EQ(5.0, metadata.GetRecordCount(false));
  EXPECT_EQ(5.0, metadata.GetRecordCount(true));

  const CFField& n = *metadata.GetField("n");
  EXPECT_EQ(CFField::Flag, n.GetType());
  EXPECT_THAT(ValueTexts(n), ::testing::ElementsAre("1", "3"));
  ASSERT_NE(nullptr, n.GetCatStats());
  EXPECT_EQ(4.0, n.GetCatStats()->GetSumWeights());  // the empty cell is null, not counted

  const CFField& s = *metadata.GetField("s");
  EXPECT_EQ(CFField::Nominal, s.GetType());
  EXPECT_THAT(ValueTexts(s), ::testing::ElementsAre("a", "b", "c"));
  ASSERT_NE(nullptr, s.GetCatStats());
  EXPECT_EQ(3.0, s.GetCatStats()->GetCatWeight(1));  // "b"
  EXPECT_EQ(nullptr, s.GetPrivateFormat());

  const CFField& f = *metadata.GetField("f");
  ASSERT_EQ(CFField::Flag, f.GetType());
  ASSERT_EQ(2u, f.GetValues().size());
  EXPECT_EQ(CFValue::FalseFlag, f.GetValues()[0].GetFlag());  // "no"
  EXPECT_EQ(CFValue::TrueFlag, f.GetValues()[1].GetFlag());   // "yes"

  // What was inferred survives the document's own round trip.
  cfmeta_test::ExpectRoundTrip(metadata);
}

// Numeric columns with more than five distinct values are continuous.
void FewNominal(Profiler& profiler) { profiler.SetMaxNominal(5); }

TEST(ProfilerTest, ContinuousStatisticsCoverEveryValueAcrossAWidening) {
  // Integers first, then a real: the column turns real and its statistics keep the integers.
  Profiled result = Profile("v\n1\n2\n3\n4\n5\n6\n7.25\n", 5, 0, ',', false, FewNominal);
  const CFField& v = *result.metadata->GetField(0u);
  ASSERT_EQ(CFField::RealStorage, v.GetStorage());
  ASSERT_EQ(CFField::Continuous, v.GetType());
  const auto* stats = dynamic_cast<const CFContStatsDbl*>(v.GetContStats());
  ASSERT_NE(nullptr, stats);
  EXPECT_EQ(7.0, stats->GetSumFreqWeights());
  EXPECT_DOUBLE_EQ(28.25 / 7, stats->GetMean());
  EXPECT_EQ(1.0, stats->GetExtrema().first);
  EXPECT_EQ(7.25, stats->GetExtrema().second);
  const auto* format = dynamic_cast<const CFNumberFormat*>(v.GetPrivateFormat());
  ASSERT_NE(nullptr, format);
  EXPECT_EQ(2u, format->GetDecimals());
  EXPECT_EQ(-1, format->GetWidth());

  // Integers only keep exact extrema beyond a double's 53 bits.
  result = Profile("v\n9007199254740993\n1\n2\n3\n4\n5\n", 5, 0, ',', false, FewNominal);
  const auto* exact =
      dynamic_cast<const CFContStatsInt*>(result.metadata->GetField(0u)->GetContStats());
  ASSERT_NE(nullptr, exact);
  EXPECT_EQ(9007199254740993LL, exact->GetExactExtrema().second);
}

TEST(ProfilerTest, StringColumnsBeyondTheLimitKeepNoValues) {
  Profiled result = Profile("s,t\na,x\nb,x\nc,x\nd,x\ne,y\nf,x\n", 5);
  const CFField& s = *result.metadata->GetField("s");
  EXPECT_EQ(CFField::Nominal, s.GetType());
  EXPECT_TRUE(s.GetValues().empty());
  EXPECT_EQ(nullptr, s.GetCatStats());
  ASSERT_EQ(1u, result.warnings.size());
  EXPECT_THAT(result.warnings[0], HasSubstr("'s'"));
  EXPECT_EQ(CFField::Flag, result.metadata->GetField("t")->GetType());

  // A value a document cannot carry drops the list too, and says so.
  result = Profile("s\na\n\"b\x01\"\n", 5);
  EXPECT_TRUE(result.metadata->GetField(0u)->GetValues().empty());
  ASSERT_EQ(1u, result.warnings.size());
  EXPECT_THAT(result.warnings[0], HasSubstr("control characters"));
}

TEST(ProfilerTest, ReadsQuotingLineEndsAndPieces) {
  const std::string text =
      "\xEF\xBB\xBF"
      "name,\"note, with comma\"\r\n"
      "\"a,b\",\"two\nlines\"\r\n"
      "\"say \"\"hi\"\"\",plain\r\n"
      "\n"       // a blank line is skipped
      "c,last";  // no line end at the very end
  for (size_t piece : {size_t{0}, size_t{1}, size_t{2}, size_t{7}}) {
    SCOPED_TRACE(piece);
    Profiled result = Profile(text, 5, piece);
    const CFMetaData& metadata = *result.metadata;
    ASSERT_EQ(2u, metadata.FieldCount());
    EXPECT_EQ("name", metadata.GetField(0u)->GetName());  // the byte-order mark is gone
    EXPECT_EQ("note, with comma", metadata.GetField(1u)->GetName());
    EXPECT_EQ(3.0, metadata.GetRecordCount(false));
    EXPECT_THAT(ValueTexts(*metadata.GetField(0u)),
                ::testing::ElementsAre("a,b", "c", "say \"hi\""));
    EXPECT_THAT(ValueTexts(*metadata.GetField(1u)),
                ::testing::ElementsAre("last", "plain", "two\nlines"));
  }
  Profiled tabbed = Profile("a\tb\n1\t2\n", 5, 0, '\t');
  EXPECT_EQ(2u, tabbed.metadata->FieldCount());
}

TEST(ProfilerTest, BadInputNamesTheFileAndLine) {
  struct Row {
    const char* text;
    const char* message;
  } rows[] = {
      // CliTest.BadInputExitsOneNamingTheFile has a short row and an empty file.
      {"a,b\n1,2\n3,4,5\n", "data.csv: line 3: 3 cells, but the header has 2"},
      {"a,b\n1,\"2\nx\",3\n", "data.csv: line 3: 3 cells, but the header has 2"},
      {"\xEF\xBB\xBF\n\n", "data.csv: the file is empty: there is no header row"},
      {"a,b\n1,\"open\n", "data.csv: a quoted cell opened on line 2 is never closed"},
      {"a\nx\"y\n", "data.csv: line 2: malformed quoting"},
      {"a,,b\n", "data.csv: line 1: header: column 2 has no name"},
      {"a,b,a\n", "data.csv: line 1: header: the column name 'a' appears twice"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    EXPECT_THAT(ErrorOf(row.text), HasSubstr(row.message));
  }
}

TEST(ProfilerTest, ColumnsWithoutDataLoadBack) {
  // A header alone, and columns whose cells are all empty, quoted or not.
  struct Row {
    const char* text;
    double records;
  } rows[] = {{"a,b\n", 0.0}, {"a,b\n,\n\"\",\"\"\n", 2.0}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    Profiled result = Profile(row.text);
    ASSERT_EQ(2u, result.metadata->FieldCount());
    EXPECT_EQ(row.records, result.metadata->GetRecordCount(false));
    for (unsigned int i = 0; i < 2; ++i) {
      const CFField& field = *result.metadata->GetField(i);
      EXPECT_EQ(CFField::StringStorage, field.GetStorage());
      EXPECT_TRUE(field.GetValues().empty());
      EXPECT_EQ(nullptr, field.GetCatStats());
    }
    cfmeta_test::ExpectRoundTrip(*result.metadata);
  }
}

TEST(ProfilerTest, SummariesHoldTheMomentsAndCategoriesOfTheData) {
  // x: 1, 2, 4, 8, 16, 32 and one empty cell; c: categories with counts 3, 2, 1 (a limit of
  // 2 lets the string column t exceed it); e: empty throughout.
  std::string text = "x,c,t,e\n";
  const char* xs[] = {"1", "2", "4", "8", "16", "32", ""};
  const char* cs[] = {"b", "a", "b", "c", "b", "a", "a"};
  const char* ts[] = {"p", "q", "r", "p", "p", "s", "q"};
  for (int i = 0; i < 7; ++i) text += std::string(xs[i]) + "," + cs[i] + "," + ts[i] + ",\n";
  Profiled result = Profile(text, 2, 0, ',', true, FewNominal);
  const CFDatasetSummaries* summaries = result.metadata->getDatasetSummaries();
  ASSERT_NE(nullptr, summaries);
  const CFFieldSummaries* fields = summaries->getFieldSummaries();
  ASSERT_NE(nullptr, fields);
  ASSERT_EQ(3u, fields->getFieldSummaryCount());  // e has nothing to summarise

  const CFFieldSummary& x = *fields->getFieldSummary(0);
  EXPECT_EQ("x", x.getFieldName());
  EXPECT_EQ(6, x.getValidCount());
  EXPECT_EQ(1, x.getMissingCount());
  const CFContinuousStatisticsExt* moments = x.getConStatistics();
  ASSERT_NE(nullptr, moments);
  // The sample moments of 1, 2, 4, 8, 16 and 32, worked out apart from the code under test.
  EXPECT_DOUBLE_EQ(10.5, moments->getMean());
  EXPECT_DOUBLE_EQ(140.7, moments->getVariance());
  EXPECT_NEAR(1.4996929578604363, moments->getSkewness(), 1e-12);
  EXPECT_NEAR(1.8749535902576675, moments->getKurtosis(), 1e-12);
  // Quartiles 2 and 16 (the second and fifth of six), so the fences lie 21 beyond them.
  EXPECT_EQ(-19.0, moments->getOutlierLowerBound());
  EXPECT_EQ(37.0, moments->getOutlierUpperBound());
  ASSERT_NE(nullptr, moments->getPercentiles());
  EXPECT_EQ(14.0, moments->getPercentiles()->getInterQuartileRange());
  EXPECT_EQ(7u, moments->getPercentiles()->getPercentileCount());
  ASSERT_NE(nullptr, moments->getDistributionSummary());
  // Integer bins two wide cover 1 to 32 in 16.
  EXPECT_EQ(16u, moments->getDistributionSummary()->getClusterCount());
  EXPECT_EQ(1.0, moments->getMinimum());
  EXPECT_EQ(32.0, moments->getMaximum());

  // c holds three categories, over the limit of 2: it is a string column, categorical anyway.
  const CFFieldSummary& t = *fields->getFieldSummary(2);
  ASSERT_NE(nullptr, t.getDisStatistics());
  const CFDistributionSummary* partial = t.getDisStatistics()->getDistributionSummary();
  ASSERT_NE(nullptr, partial);
  EXPECT_EQ(CfCppHelperV1::XMLEntities::True, partial->getMaxCatsExceeded());
  // The two most frequent of all seven cells, not the first two seen: p three times, q twice.
  ASSERT_EQ(2u, partial->getCategoryCount());
  EXPECT_EQ("p", partial->getCategory(0)->getValue());
  EXPECT_EQ(3, partial->getCategory(0)->getCount());
  EXPECT_EQ("q", partial->getCategory(1)->getValue());
  EXPECT_EQ("p", t.getDisStatistics()->getMode());
  EXPECT_EQ("", t.getDisStatistics()->getMedian());  // not known beyond the limit

  result = Profile(text, 5, 0, ',', true, FewNominal);
  const CFFieldSummary& c =
      *result.metadata->getDatasetSummaries()->getFieldSummaries()->getFieldSummary(1);
  ASSERT_NE(nullptr, c.getDisStatistics());
  EXPECT_EQ("a", c.getDisStatistics()->getMode());    // a and b three times each: the first
  EXPECT_EQ("b", c.getDisStatistics()->getMedian());  // a holds 3 of 7, a and b 6
  const CFDistributionSummary* full = c.getDisStatistics()->getDistributionSummary();
  ASSERT_NE(nullptr, full);
  EXPECT_EQ(CfCppHelperV1::XMLEntities::False, full->getMaxCatsExceeded());
  ASSERT_EQ(3u, full->getCategoryCount());
  double total = 0;
  for (size_t i = 0; i < full->getCategoryCount(); ++i)
    total += full->getCategory(i)->getPercentage();
  EXPECT_NEAR(100.0, total, 1e-9);
  EXPECT_NEAR(100.0, full->getCategory(2)->getCumPercentage(), 1e-9);

  // The summaries travel with the document.
  cfmeta_test::ExpectRoundTrip(*result.metadata);

  // x is nominal with more values than the lists hold: its most frequent values stand in.
  result = Profile(text, 2, 0, ',', true);
  const CFFieldSummary& nominal =
      *result.metadata->getDatasetSummaries()->getFieldSummaries()->getFieldSummary(0);
  ASSERT_EQ("x", nominal.getFieldName());
  ASSERT_NE(nullptr, nominal.getDisStatistics());
  const CFDistributionSummary* top = nominal.getDisStatistics()->getDistributionSummary();
  ASSERT_NE(nullptr, top);
  EXPECT_EQ(CfCppHelperV1::XMLEntities::True, top->getMaxCatsExceeded());
  EXPECT_EQ(2u, top->getCategoryCount());
}

TEST(ProfilerTest, DeepProfileMatchesFiguresWorkedOutApart) {
  // n: 4,000 distinct integers; city: 3,000 rare names seen first, then a skewed few, so that
  // the most frequent come long after the category limit; day: dates month first, which a
  // 13th of the month settles; note: texts of known lengths.
  std::string text = "n,city,day,note\n";
  std::vector<double> ns;
  std::map<std::string, uint64_t> cities;
  const int rows = 20000;
  for (int i = 0; i < rows; ++i) {
    long long n = (i * 7919LL) % 4000 - 1000;
    int j = i % 15;  // c0 in 6 of 15 rows, c1 in 4, c2 in 3, c3 in 2
    std::string city = i < 3000 ? "rare" + std::to_string(i)
                                : "c" + std::to_string(j < 6 ? 0 : j < 10 ? 1 : j < 13 ? 2 : 3);
    int day = i % 28 + 1;
    ns.push_back(static_cast<double>(n));
    ++cities[city];
    text += fmt::format("{},{},{:02}/{:02}/2015,n{}\n", n, city, i % 12 + 1, day,
                        std::string(i % 9, 'x'));
  }
  Profiled result = Profile(text, 50, 0, ',', true);
  ASSERT_EQ(4u, result.columns.size());
  EXPECT_EQ(1u, result.warnings.size());  // city beyond the limit; no date order assumed

  // Percentiles within 1% of the rank they stand for, worked out on the sorted values.
  std::sort(ns.begin(), ns.end());
  const ColumnProfile& n = result.columns[0];
  EXPECT_EQ(4000u, n.distinct);
  EXPECT_EQ(-1000.0, n.min);
  EXPECT_EQ(2999.0, n.max);
  for (size_t i = 0; i < n.percentiles.size(); ++i) {
    double rank = std::upper_bound(ns.begin(), ns.end(), n.percentiles[i]) - ns.begin();
    EXPECT_NEAR(ColumnProfile::kPercentileRanks[i] / 100.0, rank / rows, 0.01) << i;
  }
  double binned = 0;
  for (const ColumnProfile::Bin& bin : n.histogram) binned += bin.count;
  EXPECT_NEAR(rows, binned, 1.0);

  // The true mode, whatever came first.
  const ColumnProfile& city = result.columns[1];
  auto mode = std::max_element(cities.begin(), cities.end(),
                               [](const auto& a, const auto& b) { return a.second < b.second; });
  ASSERT_FALSE(city.top.empty());
  EXPECT_EQ(mode->first, city.top[0].text);
  EXPECT_GE(mode->second, city.top[0].count - city.top[0].error);
  EXPECT_LE(city.top[0].count - city.top[0].error, mode->second);
  EXPECT_NEAR(static_cast<double>(cities.size()), static_cast<double>(city.distinct),
              0.02 * static_cast<double>(cities.size()));
  const CFFieldSummary& summary =
      *result.metadata->getDatasetSummaries()->getFieldSummaries()->getFieldSummary(1);
  ASSERT_NE(nullptr, summary.getDisStatistics());
  EXPECT_EQ(mode->first, summary.getDisStatistics()->getMode());

  const ColumnProfile& day = result.columns[2];
  EXPECT_EQ(CFField::DateStorage, day.storage);
  EXPECT_EQ("MM/DD/YYYY", day.dateForm);
  EXPECT_FALSE(day.dateOrderAssumed);
  EXPECT_EQ(IsoText(CFField::DateStorage, day.min, 0), "2015-01-01");

  const ColumnProfile& note = result.columns[3];
  EXPECT_EQ(1u, note.lengthMin);
  EXPECT_EQ(9u, note.lengthMax);
  EXPECT_NEAR(5.0, note.lengthMean, 0.01);
  EXPECT_EQ("n", note.minText);
  EXPECT_EQ("nxxxxxxxx", note.maxText);

  // The JSON form: its keys and their types, dates as ISO text.
  nlohmann::ordered_json json =
      nlohmann::ordered_json::parse(ProfileJson(result.columns, result.metadata->GetRecordCount(false)));
  EXPECT_EQ(rows, json["records"]);
  for (const nlohmann::ordered_json& column : json["columns"]) {
    for (const char* key : {"name", "storage", "level", "count", "nulls", "distinct",
                            "distinct_exact", "min", "max", "top"}) {
      EXPECT_TRUE(column.contains(key)) << column["name"] << " " << key;
    }
    EXPECT_TRUE(column["top"].is_array() && column["top"].size() <= 10);
  }
  const nlohmann::ordered_json& jn = json["columns"][0];
  EXPECT_EQ("integer", jn["storage"]);
  EXPECT_EQ("continuous", jn["level"]);
  EXPECT_TRUE(jn["percentiles"]["50"].is_number_integer());
  EXPECT_EQ(std::vector<std::string>({"1", "5", "25", "50", "75", "95", "99"}),
            [&] {
              std::vector<std::string> keys;
              for (const auto& item : jn["percentiles"].items()) keys.push_back(item.key());
              return keys;
            }());
  EXPECT_TRUE(jn["mean"].is_number() && jn["std"].is_number());
  const nlohmann::ordered_json& jd = json["columns"][2];
  EXPECT_EQ("date", jd["storage"]);
  EXPECT_EQ("2015-01-01", jd["min"]);
  EXPECT_EQ("2015-12-28", jd["max"]);
  EXPECT_EQ("MM/DD/YYYY", jd["date_format"]);
  EXPECT_TRUE(jd["percentiles"]["50"].is_string());
  const nlohmann::ordered_json& jc = json["columns"][1];
  EXPECT_EQ("string", jc["storage"]);
  EXPECT_FALSE(jc.contains("mean"));
  EXPECT_TRUE(jc["length"]["mean"].is_number());
}

TEST(ProfilerTest, AnAmbiguousDayAndMonthOrderIsAssumedAndSaid) {
  Profiled result = Profile("d\n01/02/2015\n03/04/2015\n", 5, 0, ',', true);
  ASSERT_EQ(1u, result.warnings.size());
  EXPECT_THAT(result.warnings[0], HasSubstr("'d'"));
  EXPECT_TRUE(result.columns[0].dateOrderAssumed);
  // A day past 12 settles it either way.
  for (const char* text : {"d\n01/02/2015\n31/12/2015\n", "d\n01/02/2015\n12/31/2015\n"}) {
    result = Profile(text, 5, 0, ',', true);
    EXPECT_TRUE(result.warnings.empty()) << text;
    EXPECT_EQ(IsoText(CFField::DateStorage, result.columns[0].max, 0), "2015-12-31") << text;
  }
}

}  // namespace
}  // namespace cfmeta_tool
