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
#include "cfmeta/xml/cfxmlwrapper.h"
#include "tools/cfmeta/document.h"
#include "tools/cfmeta/toolerror.h"

namespace cfmeta_tool {

namespace {

namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLElements = CfCppHelperV1::XMLElements;
namespace XMLEntities = CfCppHelperV1::XMLEntities;
using CfExtension::CFXMLWrapper;

// Builds elements and stops at the first failure, so a tree is either complete or refused.
class Builder {
 public:
  CFXMLWrapper* Add(CFXMLWrapper* parent, const char* name) {
    CFXMLWrapper* child = nullptr;
    if (m_ok && parent != nullptr && parent->addElement(name, &child) == 0) return child;
    m_ok = false;
    return nullptr;
  }
  template <typename T>
  void Set(CFXMLWrapper* element, const char* name, T value) {
    if (m_ok && (element == nullptr || element->addAttribute(name, value) != 0)) m_ok = false;
  }
  // Non-finite numbers have no place in a summary: they are left out.
  void SetFinite(CFXMLWrapper* element, const char* name, double value) {
    if (std::isfinite(value)) Set(element, name, value);
  }
  bool Ok() const { return m_ok; }

 private:
  bool m_ok = true;
};

std::string ValueText(const CFDatum& value) {
  std::string text;
  value.ToString(text, 0);
  return text;
}

void AddContinuous(Builder& build, CFXMLWrapper* summary, const ColumnSummary& column) {
  const CFMoments& moments = *column.moments;
  CFXMLWrapper* block = build.Add(summary, XMLElements::ContinuousStatisticsExt);
  std::pair<double, double> extrema = column.extrema->GetExtrema();
  build.SetFinite(block, XMLAttributes::Minimum, extrema.first);
  build.SetFinite(block, XMLAttributes::Maximum, extrema.second);
  build.SetFinite(block, XMLAttributes::Mean, moments.GetMean());
  build.SetFinite(block, XMLAttributes::Variance, moments.GetVariance());
  build.SetFinite(block, XMLAttributes::stdDev, moments.GetStdDev());
  build.SetFinite(block, XMLAttributes::skewness, moments.GetSkewness());
  build.SetFinite(block, XMLAttributes::stdErrSkewness, moments.GetStdErrSkewness());
  build.SetFinite(block, XMLAttributes::kurtosis, moments.GetKurtosis());
  build.SetFinite(block, XMLAttributes::stdErrKurtosis, moments.GetStdErrKurtosis());
  // Outliers lie more than three standard deviations from the mean.
  double sd = moments.GetStdDev();
  build.SetFinite(block, XMLAttributes::outlierLowerBound, moments.GetMean() - 3 * sd);
  build.SetFinite(block, XMLAttributes::outlierUpperBound, moments.GetMean() + 3 * sd);
}

void AddDiscrete(Builder& build, CFXMLWrapper* summary, const ColumnSummary& column) {
  const CFCatStats& categories = *column.categories;
  const uint32_t count = categories.GetNCats();
  // The mode is the most frequent category, the first of equals; the median the first
  // category whose cumulative share reaches a half of the valid values.
  uint32_t mode = 0, median = count - 1;
  double cumulative = 0.0;
  bool medianFound = false;
  std::vector<double> cumulatives(count);
  for (uint32_t i = 0; i < count; ++i) {
    double weight = categories.GetCatWeight(i);
    if (weight > categories.GetCatWeight(mode)) mode = i;
    cumulative += weight;
    cumulatives[i] = cumulative;
    if (!medianFound && 2 * cumulative >= static_cast<double>(column.valid)) {
      median = i;
      medianFound = true;
    }
  }
  CFXMLWrapper* block = build.Add(summary, XMLElements::DiscreteStatisticsExt);
  build.Set(block, XMLAttributes::mode, ValueText(categories.GetCatValDatum(mode)).c_str());
  build.Set(block, XMLAttributes::median, ValueText(categories.GetCatValDatum(median)).c_str());
  CFXMLWrapper* distribution = build.Add(block, XMLElements::DistributionSummary);
  build.Set(distribution, XMLAttributes::discrete, XMLEntities::True);
  build.Set(distribution, XMLAttributes::maxCatsExceeded,
            column.exceeded ? XMLEntities::True : XMLEntities::False);
  const double valid = static_cast<double>(column.valid);
  for (uint32_t i = 0; i < count; ++i) {
    CFXMLWrapper* category = build.Add(distribution, XMLElements::Category);
    double weight = categories.GetCatWeight(i);
    build.Set(category, XMLAttributes::Value, ValueText(categories.GetCatValDatum(i)).c_str());
    build.Set(category, XMLAttributes::Count, static_cast<long long>(weight));
    build.Set(category, XMLAttributes::percentage, 100.0 * weight / valid);
    build.Set(category, XMLAttributes::cumPercentage, 100.0 * cumulatives[i] / valid);
  }
}

std::string Number(double value) { return fmt::format("{:.6g}", value); }

}  // namespace

std::unique_ptr<CFDatasetSummaries> BuildSummaries(const std::vector<ColumnSummary>& columns) {
  CFXMLWrapper doc;
  doc.createNew(XMLElements::DatasetSummaries);
  Builder build;
  CFXMLWrapper* fields = build.Add(&doc, XMLElements::FieldSummaries);
  bool any = false;
  for (const ColumnSummary& column : columns) {
    bool continuous =
        column.moments != nullptr && column.extrema != nullptr && column.moments->GetCount() > 0;
    bool discrete =
        column.categories != nullptr && column.categories->GetNCats() > 0 && column.valid > 0;
    // Every field summary holds one block: a field without either has none.
    if (!continuous && !discrete) continue;
    any = true;
    CFXMLWrapper* summary = build.Add(fields, XMLElements::FieldSummary);
    build.Set(summary, XMLAttributes::FieldName, column.name.c_str());
    build.Set(summary, XMLAttributes::validCount, static_cast<long long>(column.valid));
    build.Set(summary, XMLAttributes::missingCount, static_cast<long long>(column.missing));
    if (continuous) {
      AddContinuous(build, summary, column);
    } else {
      AddDiscrete(build, summary, column);
    }
  }
  if (!any) return nullptr;
  if (!build.Ok()) throw ToolError("cannot build the dataset summaries");
  auto summaries = std::make_unique<CFDatasetSummaries>(doc);
  if (!summaries->parseSuccess()) throw ToolError("cannot build the dataset summaries");
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
        const CFFormat* format = described ? DisplayFormat(metadata, *described) : nullptr;
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
