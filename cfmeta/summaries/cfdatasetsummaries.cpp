#include "cfmeta/summaries/cfdatasetsummaries.h"

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

// --- CFRecordCountsExt ---

CFRecordCountsExt::CFRecordCountsExt(const CFXMLWrapper&) {}

void CFRecordCountsExt::AddToTree(CFXMLWrapper& parent, CFXMLWrapper*& created) const {
  WriteSummary(parent, XMLElements::RecordCountsExt, created, [](auto&) {});
}

// --- CFOverallSummaries ---

// A flag reads as true when absent and is always written.
template <typename IO, typename Self>
void CFOverallSummaries::Exchange(IO& io, Self& self) {
  io.FirstChild(XMLElements::RecordCountsExt, self.m_recordCounts, Need::Optional)
      .Flag(XMLAttributes::current, self.m_current)
      .Flag(XMLAttributes::includeUMissing, self.m_includeUMissing)
      .Flag(XMLAttributes::includeNotValid, self.m_includeNotValid);
}

CFOverallSummaries::CFOverallSummaries(const CFXMLWrapper& element) {
  m_parseSuccess = ReadSummary(element, [this](auto& io) { Exchange(io, *this); });
}

CFOverallSummaries::CFOverallSummaries(const CFOverallSummaries& other)
    : m_recordCounts(DeepCopy(other.m_recordCounts)),
      m_current(other.m_current),
      m_includeUMissing(other.m_includeUMissing),
      m_includeNotValid(other.m_includeNotValid),
      m_parseSuccess(other.m_parseSuccess) {}

CFOverallSummaries::~CFOverallSummaries() = default;

void CFOverallSummaries::setRecordCountsExt(const CFRecordCountsExt& recordCounts) {
  m_recordCounts = std::make_unique<CFRecordCountsExt>(recordCounts);
}

void CFOverallSummaries::AddToTree(CFXMLWrapper& parent, CFXMLWrapper*& created) const {
  WriteSummary(parent, XMLElements::OverallSummaries, created,
               [this](auto& io) { Exchange(io, *this); });
}

// --- CFDatasetSummaries ---

// A failed overall summary stops the reading before the field summaries.
template <typename IO, typename Self>
void CFDatasetSummaries::Exchange(IO& io, Self& self) {
  io.FirstChild(XMLElements::OverallSummaries, self.m_overall, Need::Optional)
      .FirstChild(XMLElements::FieldSummaries, self.m_fields, Need::Optional);
}

CFDatasetSummaries::CFDatasetSummaries(const CFXMLWrapper& element) {
  m_parseSuccess = ReadSummary(element, [this](auto& io) { Exchange(io, *this); });
}

CFDatasetSummaries::CFDatasetSummaries(const CFDatasetSummaries& other)
    : m_parseSuccess(other.m_parseSuccess),
      m_overall(DeepCopy(other.m_overall)),
      m_fields(DeepCopy(other.m_fields)) {}

CFDatasetSummaries::~CFDatasetSummaries() = default;

void CFDatasetSummaries::setOverallSummaries(const CFOverallSummaries& overall) {
  m_overall = std::make_unique<CFOverallSummaries>(overall);
}

void CFDatasetSummaries::setFieldSummaries(const CFFieldSummaries& fields) {
  m_fields = std::make_unique<CFFieldSummaries>(fields);
}

void CFDatasetSummaries::releaseOverallSummaries() { m_overall.reset(); }

void CFDatasetSummaries::releaseFieldSummaries() { m_fields.reset(); }

void CFDatasetSummaries::AddToTree(CFXMLWrapper& parent, CFXMLWrapper*& created) const {
  WriteSummary(parent, XMLElements::DatasetSummaries, created,
               [this](auto& io) { Exchange(io, *this); });
}
