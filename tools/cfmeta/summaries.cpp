#include "tools/cfmeta/summaries.h"

#include <fmt/format.h>

#include <cmath>

#include "cfmeta/field/cfdatum.h"
#include "cfmeta/metadata/cfmetadata.h"
#include "cfmeta/stats/cfcatstats.h"
#include "cfmeta/stats/cfcontstats.h"
#include "cfmeta/stats/cfmoments.h"
#include "cfmeta/summaries/cfdatasetsummaries.h"
#include "cfmeta/summaries/cfdistributionsummary.h"
#include "cfmeta/summaries/cffieldsummaries.h"
#include "cfmeta/summaries/cfstatisticsext.h"
#include "cfmeta/vocab/cfvocabulary.h"
#include "tools/cfmeta/document.h"
#include "tools/cfmeta/profiler.h"

namespace cfmeta_tool {

namespace {

namespace XMLEntities = CfCppHelperV1::XMLEntities;

std::string ValueText(const CFDatum& value) {
  std::string text;
  value.ToString(text, 0);
  return text;
}

CFContinuousStatisticsExt ContinuousBlock(const ColumnSummary& column) {
  const CFMoments& moments = *column.moments;
  CFContinuousStatisticsExt block;
  // Non-finite numbers have no place in a summary: they are left out.
  auto set = [&block](void (CFContinuousStatisticsExt::*setter)(double), double value) {
    if (std::isfinite(value)) (block.*setter)(value);
  };
  using Block = CFContinuousStatisticsExt;
  std::pair<double, double> extrema = column.extrema->GetExtrema();
  set(&Block::setMinimum, extrema.first);
  set(&Block::setMaximum, extrema.second);
  set(&Block::setMean, moments.GetMean());
  set(&Block::setVariance, moments.GetVariance());
  set(&Block::setStdDev, moments.GetStdDev());
  set(&Block::setSkewness, moments.GetSkewness());
  set(&Block::setStdErrSkewness, moments.GetStdErrSkewness());
  set(&Block::setKurtosis, moments.GetKurtosis());
  set(&Block::setStdErrKurtosis, moments.GetStdErrKurtosis());
  if (column.profile == nullptr) return block;
  const ColumnProfile& profile = *column.profile;
  // Outliers lie more than 1.5 interquartile ranges beyond the quartiles.
  set(&Block::setOutlierLowerBound, profile.lowerFence);
  set(&Block::setOutlierUpperBound, profile.upperFence);
  CFPercentiles percentiles;
  for (size_t i = 0; i < profile.percentiles.size(); ++i) {
    CFPercentile percentile;
    percentile.setRank(ColumnProfile::kPercentileRanks[i]);
    percentile.setScore(profile.percentiles[i]);
    percentiles.addPercentile(percentile);
  }
  percentiles.setInterQuartileRange(profile.interQuartileRange);
  block.setPercentiles(percentiles);
  CFDistributionSummary histogram;
  histogram.setDiscrete(XMLEntities::False);
  for (const ColumnProfile::Bin& bin : profile.histogram) {
    CFCluster cluster;
    cluster.setCount(std::llround(bin.count));
    cluster.setMean(bin.mean);
    cluster.setLower(bin.lower);
    cluster.setUpper(bin.upper);
    histogram.addCluster(cluster);
  }
  histogram.setMedian(fmt::format("{}", profile.percentiles[3]));
  if (!profile.histogram.empty()) block.setDistributionSummary(histogram);
  return block;
}

// The most frequent values of a text column beyond the category limit, with the share of all
// its cells each holds; no median.
CFDiscreteStatisticsExt OverflowBlock(const ColumnSummary& column) {
  const double valid = static_cast<double>(column.overflowCount);
  CFDistributionSummary distribution;
  distribution.setDiscrete(XMLEntities::True);
  distribution.setMaxCatsExceeded(XMLEntities::True);
  double cumulative = 0.0;
  for (const CFHeavyHitters::Item& item : column.overflow) {
    cumulative += static_cast<double>(item.count);
    CFCategory category;
    category.setValue(item.value);
    category.setCount(static_cast<long long>(item.count));
    category.setPercentage(100.0 * static_cast<double>(item.count) / valid);
    category.setCumPercentage(100.0 * cumulative / valid);
    distribution.addCategory(category);
  }
  CFDiscreteStatisticsExt block;
  block.setMode(column.overflow.front().value);
  block.setDistributionSummary(distribution);
  return block;
}

CFDiscreteStatisticsExt DiscreteBlock(const ColumnSummary& column) {
  if (column.categories == nullptr) return OverflowBlock(column);
  const CFCatStats& categories = *column.categories;
  const uint32_t count = categories.GetNCats();
  const double valid = static_cast<double>(column.valid);
  CFDistributionSummary distribution;
  distribution.setDiscrete(XMLEntities::True);
  distribution.setMaxCatsExceeded(column.exceeded ? XMLEntities::True : XMLEntities::False);
  // The mode is the most frequent category, the first of equals; the median the first
  // category whose cumulative share reaches a half of the valid values.
  uint32_t mode = 0, median = count - 1;
  double cumulative = 0.0;
  bool medianFound = false;
  for (uint32_t i = 0; i < count; ++i) {
    double weight = categories.GetCatWeight(i);
    if (weight > categories.GetCatWeight(mode)) mode = i;
    cumulative += weight;
    if (!medianFound && 2 * cumulative >= valid) {
      median = i;
      medianFound = true;
    }
    CFCategory category;
    category.setValue(ValueText(categories.GetCatValDatum(i)));
    category.setCount(static_cast<long long>(weight));
    category.setPercentage(100.0 * weight / valid);
    category.setCumPercentage(100.0 * cumulative / valid);
    distribution.addCategory(category);
  }
  CFDiscreteStatisticsExt block;
  block.setMode(ValueText(categories.GetCatValDatum(mode)));
  block.setMedian(ValueText(categories.GetCatValDatum(median)));
  block.setDistributionSummary(distribution);
  return block;
}

std::string Number(double value) { return fmt::format("{:.6g}", value); }

}  // namespace

std::unique_ptr<CFDatasetSummaries> BuildSummaries(const std::vector<ColumnSummary>& columns) {
  CFFieldSummaries fields;
  for (const ColumnSummary& column : columns) {
    bool continuous =
        column.moments != nullptr && column.extrema != nullptr && column.moments->GetCount() > 0;
    bool discrete = column.valid > 0 && ((column.categories != nullptr &&
                                          column.categories->GetNCats() > 0) ||
                                         !column.overflow.empty());
    // Every field summary holds one block: a field without either has none.
    if (!continuous && !discrete) continue;
    CFFieldSummary summary;
    summary.setFieldName(column.name);
    summary.setValidCount(static_cast<long long>(column.valid));
    summary.setMissingCount(static_cast<long long>(column.missing));
    if (continuous) {
      summary.setConStatistics(ContinuousBlock(column));
    } else {
      summary.setDisStatistics(DiscreteBlock(column));
    }
    fields.addFieldSummary(summary);
  }
  if (fields.getFieldSummaryCount() == 0) return nullptr;
  auto summaries = std::make_unique<CFDatasetSummaries>();
  summaries->setFieldSummaries(fields);
  return summaries;
}

void WriteSummaries(const CFMetaData& metadata, std::ostream& out) {
  const CFDatasetSummaries* summaries = metadata.getDatasetSummaries();
  const CFFieldSummaries* fields = summaries ? summaries->getFieldSummaries() : nullptr;
  if (fields == nullptr) return;
  out << "\nSummaries: " << fields->getFieldSummaryCount() << "\n\n";
  for (size_t i = 0; i < fields->getFieldSummaryCount(); ++i) {
    const CFFieldSummary& field = *fields->getFieldSummary(i);
    std::string line = fmt::format("{}: valid {}, missing {}", field.getFieldName(),
                                   field.getValidCount(), field.getMissingCount());
    if (const CFContinuousStatisticsExt* stats = field.getConStatistics()) {
      const CFField* described = metadata.GetField(field.getFieldName());
      const CFFormat* format = described ? metadata.GetDisplayFormat(*described) : nullptr;
      CFFormat::ValueUnits units = described ? UnitsOf(described->GetStorage()) : CFFormat::NoUnits;
      auto shown = [&](double value) { return Trim(Render(CFDatum(value), format, units, 6)); };
      if (const CFPercentiles* percentiles = stats->getPercentiles()) {
        std::string listed;
        for (size_t p = 0; p < percentiles->getPercentileCount(); ++p) {
          const CFPercentile& percentile = *percentiles->getPercentile(p);
          listed += fmt::format("{}{} {}", listed.empty() ? "" : ", ",
                                Number(percentile.getRank()), shown(percentile.getScore()));
        }
        if (!listed.empty()) line += "; percentiles " + listed;
        if (percentiles->hasInterQuartileRange()) {
          line += fmt::format(" (IQR {})", Number(percentiles->getInterQuartileRange()));
        }
      }
      if (stats->hasSkewness()) {
        line += fmt::format("; skewness {} (se {})", Number(stats->getSkewness()),
                            Number(stats->getStdErrSkewness()));
      }
      if (stats->hasKurtosis()) {
        line += fmt::format("; kurtosis {} (se {})", Number(stats->getKurtosis()),
                            Number(stats->getStdErrKurtosis()));
      }
      if (stats->hasOutlierLowerBound() && stats->hasOutlierUpperBound()) {
        line += fmt::format("; outliers beyond {} .. {}", shown(stats->getOutlierLowerBound()),
                            shown(stats->getOutlierUpperBound()));
      }
      if (const CFDistributionSummary* histogram = stats->getDistributionSummary()) {
        if (histogram->getClusterCount() > 0) {
          line += fmt::format("; histogram of {} bins", histogram->getClusterCount());
        }
      }
    } else if (const CFDiscreteStatisticsExt* stats = field.getDisStatistics()) {
      line += fmt::format("; mode {}", stats->getMode());
      if (!stats->getMedian().empty()) line += fmt::format(", median {}", stats->getMedian());
      if (const CFDistributionSummary* distribution = stats->getDistributionSummary()) {
        bool exceeded = distribution->getMaxCatsExceeded() == XMLEntities::True;
        line += fmt::format("; {} {}", distribution->getCategoryCount(),
                            exceeded ? "most frequent values" : "categories");
        std::string listed;
        for (size_t c = 0; c < distribution->getCategoryCount() && c < 3; ++c) {
          const CFCategory& category = *distribution->getCategory(c);
          listed += fmt::format("{}{} {:.1f}%", listed.empty() ? "" : ", ", category.getValue(),
                                category.getPercentage());
        }
        if (exceeded && !listed.empty()) line += " (" + listed + ", ...)";
      }
    }
    out << line << '\n';
  }
}

}  // namespace cfmeta_tool
