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
  // Outliers lie more than three standard deviations from the mean.
  double sd = moments.GetStdDev();
  set(&Block::setOutlierLowerBound, moments.GetMean() - 3 * sd);
  set(&Block::setOutlierUpperBound, moments.GetMean() + 3 * sd);
  return block;
}

CFDiscreteStatisticsExt DiscreteBlock(const ColumnSummary& column) {
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
    bool discrete =
        column.categories != nullptr && column.categories->GetNCats() > 0 && column.valid > 0;
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
      if (stats->hasSkewness()) {
        line += fmt::format("; skewness {} (se {})", Number(stats->getSkewness()),
                            Number(stats->getStdErrSkewness()));
      }
      if (stats->hasKurtosis()) {
        line += fmt::format("; kurtosis {} (se {})", Number(stats->getKurtosis()),
                            Number(stats->getStdErrKurtosis()));
      }
      if (stats->hasOutlierLowerBound() && stats->hasOutlierUpperBound()) {
        const CFField* described = metadata.GetField(field.getFieldName());
        const CFFormat* format = described ? metadata.GetDisplayFormat(*described) : nullptr;
        CFFormat::ValueUnits units =
            described ? UnitsOf(described->GetStorage()) : CFFormat::NoUnits;
        auto bound = [&](double value) { return Trim(Render(CFDatum(value), format, units, 6)); };
        line += fmt::format("; outliers beyond {} .. {}", bound(stats->getOutlierLowerBound()),
                            bound(stats->getOutlierUpperBound()));
      }
    } else if (const CFDiscreteStatisticsExt* stats = field.getDisStatistics()) {
      line += fmt::format("; mode {}, median {}", stats->getMode(), stats->getMedian());
      if (const CFDistributionSummary* distribution = stats->getDistributionSummary()) {
        line += fmt::format("; {} categories", distribution->getCategoryCount());
        if (distribution->getMaxCatsExceeded() == XMLEntities::True) line += " (more not counted)";
      }
    }
    out << line << '\n';
  }
}

}  // namespace cfmeta_tool
