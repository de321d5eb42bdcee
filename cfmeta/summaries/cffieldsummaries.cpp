#include "cfmeta/summaries/cffieldsummaries.h"

#include <memory>

#include "cfmeta/summaries/cfstatisticsext.h"
#include "cfmeta/summaries/cfsummaryio_internal.h"
#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/xml/cfxmlwrapper.h"

using CfExtension::CFXMLWrapper;
using cfmeta_internal::DeepCopy;
using cfmeta_internal::Need;
using cfmeta_internal::ReadSummary;
using cfmeta_internal::SummaryReader;
using cfmeta_internal::SummaryWriter;
using cfmeta_internal::WriteSummary;
namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLElements = CfCppHelperV1::XMLElements;

// --- CFFieldSummary ---

// The attributes; the statistics blocks differ between the two directions.
template <typename IO, typename Self>
void CFFieldSummary::Exchange(IO& io, Self& self) {
  io.FlagText(XMLAttributes::current, self.m_current)
      .FlagText(XMLAttributes::includeUMissing, self.m_includeUMissing)
      .FlagText(XMLAttributes::includeNotValid, self.m_includeNotValid)
      .NonEmptyText(XMLAttributes::FieldName, self.m_fieldName)
      .Count(XMLAttributes::validCount, self.m_validCount)
      .Count(XMLAttributes::unweightedValid, self.m_unweightedValid)
      .Count(XMLAttributes::missingCount, self.m_missingCount)
      .Count(XMLAttributes::unweightedMissing, self.m_unweightedMissing)
      .Count(XMLAttributes::invalidCount, self.m_invalidCount)
      .Count(XMLAttributes::unweightedInvalid, self.m_unweightedInvalid);
}

CFFieldSummary::CFFieldSummary() = default;

CFFieldSummary::CFFieldSummary(const CFXMLWrapper& element) {
  SummaryReader read(element);
  // A field has one kind only; a summary with neither block still reads.
  read.FirstChild(XMLElements::ContinuousStatisticsExt, m_conStatistics, Need::Optional);
  if (m_conStatistics != nullptr) read.NoChild(XMLElements::DiscreteStatisticsExt);
  read.FirstChild(XMLElements::DiscreteStatisticsExt, m_disStatistics, Need::Optional);
  Exchange(read, *this);
  m_parseSuccess = read.ok();
}

CFFieldSummary::CFFieldSummary(const CFFieldSummary& other)
    : m_parseSuccess(other.m_parseSuccess),
      m_conStatistics(DeepCopy(other.m_conStatistics)),
      m_disStatistics(DeepCopy(other.m_disStatistics)),
      m_current(other.m_current),
      m_includeUMissing(other.m_includeUMissing),
      m_includeNotValid(other.m_includeNotValid),
      m_fieldName(other.m_fieldName),
      m_validCount(other.m_validCount),
      m_unweightedValid(other.m_unweightedValid),
      m_missingCount(other.m_missingCount),
      m_unweightedMissing(other.m_unweightedMissing),
      m_invalidCount(other.m_invalidCount),
      m_unweightedInvalid(other.m_unweightedInvalid) {}

CFFieldSummary::~CFFieldSummary() = default;

void CFFieldSummary::setConStatistics(const CFContinuousStatisticsExt& statistics) {
  m_conStatistics = std::make_unique<CFContinuousStatisticsExt>(statistics);
}

void CFFieldSummary::setDisStatistics(const CFDiscreteStatisticsExt& statistics) {
  m_disStatistics = std::make_unique<CFDiscreteStatisticsExt>(statistics);
}

void CFFieldSummary::AddToTree(CFXMLWrapper& parent, CFXMLWrapper*& created) const {
  SummaryWriter write(parent, XMLElements::FieldSummary);
  // Only a summary with exactly one block can be written.
  write.Check((m_conStatistics == nullptr) != (m_disStatistics == nullptr))
      .FirstChild(XMLElements::ContinuousStatisticsExt, m_conStatistics, Need::Optional)
      .FirstChild(XMLElements::DiscreteStatisticsExt, m_disStatistics, Need::Optional);
  Exchange(write, *this);
  write.AttachTo(parent, created);
}

// --- CFFieldSummaries ---

template <typename IO, typename Self>
void CFFieldSummaries::Exchange(IO& io, Self& self) {
  io.Children(XMLElements::FieldSummary, self.m_summaries);
}

CFFieldSummaries::CFFieldSummaries() = default;

CFFieldSummaries::CFFieldSummaries(const CFXMLWrapper& element) {
  m_parseSuccess = ReadSummary(element, [this](auto& io) { Exchange(io, *this); });
}

CFFieldSummaries::CFFieldSummaries(const CFFieldSummaries& other)
    : m_summaries(DeepCopy(other.m_summaries)), m_parseSuccess(other.m_parseSuccess) {}

CFFieldSummaries::~CFFieldSummaries() = default;

const CFFieldSummary* CFFieldSummaries::getFieldSummary(size_t index) const {
  return index < m_summaries.size() ? m_summaries[index].get() : nullptr;
}

void CFFieldSummaries::addFieldSummary(const CFFieldSummary& summary) {
  m_summaries.push_back(std::make_unique<CFFieldSummary>(summary));
}

void CFFieldSummaries::AddToTree(CFXMLWrapper& parent, CFXMLWrapper*& created) const {
  WriteSummary(parent, XMLElements::FieldSummaries, created,
               [this](auto& io) { Exchange(io, *this); });
}
