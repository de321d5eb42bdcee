#include "cfmeta/summaries/cfstatisticsext.h"

#include <memory>

#include "cfmeta/summaries/cfdistributionsummary.h"
#include "cfmeta/summaries/cfsummaryio_internal.h"
#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/xml/cfxmlwrapper.h"

using CfExtension::CFXMLWrapper;
using cfmeta_internal::DeepCopy;
using cfmeta_internal::Need;
using cfmeta_internal::ReadSummary;
using cfmeta_internal::WriteSummary;
namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLElements = CfCppHelperV1::XMLElements;

// --- CFContinuousStatisticsExt ---

// Filled once at load from the vocabulary, in the order of Stat.
const char* const CFContinuousStatisticsExt::kStatNames[kStatCount] = {
    XMLAttributes::Minimum,
    XMLAttributes::Maximum,
    XMLAttributes::Mean,
    XMLAttributes::Variance,
    XMLAttributes::stdDev,
    XMLAttributes::skewness,
    XMLAttributes::stdErrSkewness,
    XMLAttributes::kurtosis,
    XMLAttributes::stdErrKurtosis,
    XMLAttributes::outlierLowerBound,
    XMLAttributes::outlierUpperBound};

template <typename IO, typename Self>
void CFContinuousStatisticsExt::Exchange(IO& io, Self& self) {
  io.FirstChild(XMLElements::Percentiles, self.m_percentiles, Need::Optional)
      .FirstChild(XMLElements::DistributionSummary, self.m_distribution, Need::Optional);
  for (int i = 0; i < kStatCount; ++i) io.Double(kStatNames[i], self.m_stats[i]);
}

CFContinuousStatisticsExt::CFContinuousStatisticsExt() = default;

CFContinuousStatisticsExt::CFContinuousStatisticsExt(const CFXMLWrapper& element) {
  m_parseSuccess = ReadSummary(element, [this](auto& io) { Exchange(io, *this); });
}

CFContinuousStatisticsExt::CFContinuousStatisticsExt(const CFContinuousStatisticsExt& other)
    : m_parseSuccess(other.m_parseSuccess),
      m_percentiles(DeepCopy(other.m_percentiles)),
      m_distribution(DeepCopy(other.m_distribution)) {
  for (int i = 0; i < kStatCount; ++i) m_stats[i] = other.m_stats[i];
}

CFContinuousStatisticsExt::~CFContinuousStatisticsExt() = default;

void CFContinuousStatisticsExt::setPercentiles(const CFPercentiles& percentiles) {
  m_percentiles = std::make_unique<CFPercentiles>(percentiles);
}

void CFContinuousStatisticsExt::setDistributionSummary(const CFDistributionSummary& distribution) {
  m_distribution = std::make_unique<CFDistributionSummary>(distribution);
}

void CFContinuousStatisticsExt::AddToTree(CFXMLWrapper& parent, CFXMLWrapper*& created) const {
  WriteSummary(parent, XMLElements::ContinuousStatisticsExt, created,
               [this](auto& io) { Exchange(io, *this); });
}

// --- CFDiscreteStatisticsExt ---

template <typename IO, typename Self>
void CFDiscreteStatisticsExt::Exchange(IO& io, Self& self) {
  io.FirstChild(XMLElements::DistributionSummary, self.m_distribution, Need::Required)
      .Text(XMLAttributes::mode, self.m_mode)
      .Text(XMLAttributes::median, self.m_median);
}

CFDiscreteStatisticsExt::CFDiscreteStatisticsExt() = default;

CFDiscreteStatisticsExt::CFDiscreteStatisticsExt(const CFXMLWrapper& element) {
  m_parseSuccess = ReadSummary(element, [this](auto& io) { Exchange(io, *this); });
}

CFDiscreteStatisticsExt::CFDiscreteStatisticsExt(const CFDiscreteStatisticsExt& other)
    : m_parseSuccess(other.m_parseSuccess),
      m_distribution(DeepCopy(other.m_distribution)),
      m_mode(other.m_mode),
      m_median(other.m_median) {}

CFDiscreteStatisticsExt::~CFDiscreteStatisticsExt() = default;

void CFDiscreteStatisticsExt::setDistributionSummary(const CFDistributionSummary& distribution) {
  m_distribution = std::make_unique<CFDistributionSummary>(distribution);
}

void CFDiscreteStatisticsExt::AddToTree(CFXMLWrapper& parent, CFXMLWrapper*& created) const {
  WriteSummary(parent, XMLElements::DiscreteStatisticsExt, created,
               [this](auto& io) { Exchange(io, *this); });
}
