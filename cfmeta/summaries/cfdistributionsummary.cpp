#include "cfmeta/summaries/cfdistributionsummary.h"

#include <memory>

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

// --- CFCategory ---

// The count may be negative here, unlike a cluster's.
template <typename IO, typename Self>
void CFCategory::Exchange(IO& io, Self& self) {
  io.Text(XMLAttributes::Value, self.m_value, Need::Required)
      .Int64(XMLAttributes::Count, self.m_count, Need::Required)
      .Double(XMLAttributes::percentage, self.m_percentage)
      .Double(XMLAttributes::cumPercentage, self.m_cumPercentage);
}

CFCategory::CFCategory(const CFXMLWrapper& element) {
  m_parseSuccess = ReadSummary(element, [this](auto& io) { Exchange(io, *this); });
}

void CFCategory::AddToTree(CFXMLWrapper& parent, CFXMLWrapper*& created) const {
  WriteSummary(parent, XMLElements::Category, created, [this](auto& io) { Exchange(io, *this); });
}

// --- CFCluster ---

template <typename IO, typename Self>
void CFCluster::Exchange(IO& io, Self& self) {
  io.Int64(XMLAttributes::Count, self.m_count, Need::Required, 0)
      .Double(XMLAttributes::Mean, self.m_mean, Need::Required)
      .Double(XMLAttributes::Variance, self.m_variance)
      .Double(XMLAttributes::lower, self.m_lower)
      .Double(XMLAttributes::upper, self.m_upper);
}

CFCluster::CFCluster(const CFXMLWrapper& element) {
  m_parseSuccess = ReadSummary(element, [this](auto& io) { Exchange(io, *this); });
}

void CFCluster::AddToTree(CFXMLWrapper& parent, CFXMLWrapper*& created) const {
  WriteSummary(parent, XMLElements::Cluster, created, [this](auto& io) { Exchange(io, *this); });
}

// --- CFPercentile ---

// The rank is one attribute: an element never carries it twice.
template <typename IO, typename Self>
void CFPercentile::Exchange(IO& io, Self& self) {
  io.Double(XMLAttributes::rank, self.m_rank, Need::Required)
      .Double(XMLAttributes::score, self.m_score, Need::Required)
      .Double(XMLAttributes::lower, self.m_lower)
      .Double(XMLAttributes::upper, self.m_upper);
}

CFPercentile::CFPercentile(const CFXMLWrapper& element) {
  m_parseSuccess = ReadSummary(element, [this](auto& io) { Exchange(io, *this); });
}

void CFPercentile::AddToTree(CFXMLWrapper& parent, CFXMLWrapper*& created) const {
  WriteSummary(parent, XMLElements::Percentile, created, [this](auto& io) { Exchange(io, *this); });
}

// --- CFPercentiles ---

template <typename IO, typename Self>
void CFPercentiles::Exchange(IO& io, Self& self) {
  io.Children(XMLElements::Percentile, self.m_percentiles)
      .Double(XMLAttributes::interQuartileRange, self.m_interQuartileRange);
}

CFPercentiles::CFPercentiles() = default;

CFPercentiles::CFPercentiles(const CFXMLWrapper& element) {
  m_parseSuccess = ReadSummary(element, [this](auto& io) { Exchange(io, *this); });
}

CFPercentiles::CFPercentiles(const CFPercentiles& other)
    : m_parseSuccess(other.m_parseSuccess),
      m_percentiles(DeepCopy(other.m_percentiles)),
      m_interQuartileRange(other.m_interQuartileRange) {}

CFPercentiles::~CFPercentiles() = default;

void CFPercentiles::addPercentile(const CFPercentile& percentile) {
  m_percentiles.push_back(std::make_unique<CFPercentile>(percentile));
}

void CFPercentiles::AddToTree(CFXMLWrapper& parent, CFXMLWrapper*& created) const {
  WriteSummary(parent, XMLElements::Percentiles, created,
               [this](auto& io) { Exchange(io, *this); });
}

// --- CFDistributionSummary ---

template <typename IO, typename Self>
void CFDistributionSummary::Exchange(IO& io, Self& self) {
  io.Children(XMLElements::Cluster, self.m_clusters)
      .Children(XMLElements::Category, self.m_categories);
  // A distribution is given one way only.
  io.Check(self.m_clusters.empty() != self.m_categories.empty(),
           "a distribution holds clusters or categories, one kind and not none")
      .FlagText(XMLAttributes::discrete, self.m_discrete)
      .Double(XMLAttributes::mode, self.m_mode)
      .FlagText(XMLAttributes::maxCatsExceeded, self.m_maxCatsExceeded)
      .Text(XMLAttributes::median, self.m_median);
}

CFDistributionSummary::CFDistributionSummary() = default;

CFDistributionSummary::CFDistributionSummary(const CFXMLWrapper& element) {
  m_parseSuccess = ReadSummary(element, [this](auto& io) { Exchange(io, *this); });
}

CFDistributionSummary::CFDistributionSummary(const CFDistributionSummary& other)
    : m_parseSuccess(other.m_parseSuccess),
      m_clusters(DeepCopy(other.m_clusters)),
      m_categories(DeepCopy(other.m_categories)),
      m_discrete(other.m_discrete),
      m_mode(other.m_mode),
      m_maxCatsExceeded(other.m_maxCatsExceeded),
      m_median(other.m_median) {}

CFDistributionSummary::~CFDistributionSummary() = default;

void CFDistributionSummary::addCluster(const CFCluster& cluster) {
  m_clusters.push_back(std::make_unique<CFCluster>(cluster));
}

void CFDistributionSummary::addCategory(const CFCategory& category) {
  m_categories.push_back(std::make_unique<CFCategory>(category));
}

void CFDistributionSummary::AddToTree(CFXMLWrapper& parent, CFXMLWrapper*& created) const {
  WriteSummary(parent, XMLElements::DistributionSummary, created,
               [this](auto& io) { Exchange(io, *this); });
}
