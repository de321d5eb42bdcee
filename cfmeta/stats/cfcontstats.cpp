#include "cfmeta/stats/cfcontstats.h"

#include <cmath>

#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/vocab/xmlelement.h"
#include "cfmeta/xml/cfxmlexchange_internal.h"
#include "cfmeta/xml/cfxmlwrapper.h"

using CfExtension::CFXMLWrapper;
namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLElements = CfCppHelperV1::XMLElements;

namespace {

// One attribute as a reader sees it.
enum class Attr { Absent, Valid, Bad };

// The two element readers behind one set of reading rules. A double is Valid only when it is
// a finite number.
class WrapperSource {
 public:
  explicit WrapperSource(const CFXMLWrapper& elem) : m_elem(elem) {}
  Attr Double(const char* name, double& value) const {
    bool found = false;
    int kind = -1;
    if (m_elem.getAttribute(name, value, found, kind) != 0) return Attr::Bad;
    if (!found) return Attr::Absent;
    return kind == 0 ? Attr::Valid : Attr::Bad;
  }
  Attr Int64(const char* name, long long& value) const {
    bool found = false;
    if (m_elem.getAttribute(name, value, found) != 0) return Attr::Bad;
    return found ? Attr::Valid : Attr::Absent;
  }

 private:
  const CFXMLWrapper& m_elem;
};

class ElementSource {
 public:
  explicit ElementSource(const CfCppHelperV1::XMLElement& elem) : m_elem(elem) {}
  Attr Double(const char* name, double& value) const {
    if (!m_elem.hasAttribute(name)) return Attr::Absent;
    if (!m_elem.getAttribute(name, value)) return Attr::Bad;
    return std::isfinite(value) ? Attr::Valid : Attr::Bad;
  }
  Attr Int64(const char* name, long long& value) const {
    if (!m_elem.hasAttribute(name)) return Attr::Absent;
    return m_elem.getAttribute(name, value) ? Attr::Valid : Attr::Bad;
  }

 private:
  const CfCppHelperV1::XMLElement& m_elem;
};

// Truncation toward zero that saturates instead of overflowing: a double extremum of integer
// data can round up to 2^63, one past the largest 64-bit integer.
long long Truncate(double value) {
  constexpr double kTwoTo63 = 9223372036854775808.0;
  if (std::isnan(value)) return 0;
  if (value >= kTwoTo63) return 0x7FFFFFFFFFFFFFFFLL;
  if (value < -kTwoTo63) return -0x7FFFFFFFFFFFFFFFLL - 1;
  return static_cast<long long>(value);
}

}  // namespace

// --- CFContStatsImp ---

void CFContStatsImp::StartMeanAt(double x) {
  // An empty accumulator read with a combined-weight sum but no frequency weights blends its
  // zero mean into the first value, so only a truly fresh one may measure from that value.
  m_shift = m_sumCompWts == 0.0 ? x : 0.0;
  m_mean = 0.0;
}

CFContStatsImp::CFContStatsImp(const CFXMLWrapper& elem) { Read(WrapperSource(elem)); }

CFContStatsImp::CFContStatsImp(const CfCppHelperV1::XMLElement& elem) { Read(ElementSource(elem)); }

template <typename Source>
void CFContStatsImp::Read(const Source& source) {
  *this = CFContStatsImp();
  auto valid = [&source](const char* name, double& value) {
    return source.Double(name, value) == Attr::Valid;
  };
  // 1. The two weight sums.
  double sumFreqWts = 0.0;
  double sumCompWts = 0.0;
  if (!valid(XMLAttributes::SumFreqWts, sumFreqWts) || sumFreqWts < 0.0 ||
      !valid(XMLAttributes::SumCompWts, sumCompWts) || sumCompWts < 0.0) {
    return;
  }
  // 2. Extrema and mean, when anything was accumulated.
  double min = 0.0;
  double max = 0.0;
  double mean = 0.0;
  if (sumFreqWts > 0.0 &&
      (!valid(XMLAttributes::Minimum, min) || !valid(XMLAttributes::Maximum, max) || min > max ||
       !valid(XMLAttributes::Mean, mean))) {
    return;
  }
  // 3. The variance, inverted with the same frequency-weight factor it was written with.
  double variance = 0.0;
  if (sumFreqWts > 1.0 && (!valid(XMLAttributes::Variance, variance) || variance < 0.0)) return;
  m_min = min;
  m_max = max;
  m_sumFreqWts = sumFreqWts;
  m_sumCompWts = sumCompWts;
  m_shift = mean;
  m_sumSqDev = sumFreqWts > 1.0 ? (sumFreqWts - 1.0) * variance : 0.0;
}

bool CFContStatsImp::Update(double x, double freqWt, double caseWt) {
  if (!(freqWt > 0.0 && caseWt > 0.0)) return false;
  if (m_sumFreqWts == 0.0) {
    m_min = m_max = x;
    StartMeanAt(x);
  } else if (m_min > x) {
    m_min = x;
  } else if (x > m_max) {
    m_max = x;
  }
  const double w = freqWt * caseWt;
  const double w0 = m_sumCompWts;
  m_sumFreqWts += freqWt;
  const double w1 = w + w0;
  m_sumCompWts = w1;
  // The new value's share of the weight depends on the weights alone, so the division stays
  // off the chain that carries the mean from one value to the next.
  const double share = w / w1;
  const double d = (x - m_shift) - m_mean;
  m_mean = m_mean + d * share;
  m_sumSqDev += d * d * (w0 * share);
  return true;
}

// Unit weights make every product and quotient of the weighted update exact, so this is the
// unweighted update to the last bit.
bool CFContStatsImp::Update(double x) { return Update(x, 1.0, 1.0); }

void CFContStatsImp::Pool(const CFContStatsImp& other) {
  if (m_sumFreqWts == 0.0) {
    if (other.m_sumFreqWts != 0.0) *this = other;
    return;
  }
  if (other.m_sumFreqWts == 0.0) return;
  if (other.m_min < m_min) m_min = other.m_min;
  if (other.m_max > m_max) m_max = other.m_max;
  const double d = (other.m_shift - m_shift) + (other.m_mean - m_mean);
  const double w2 = other.m_sumCompWts;
  const double w = m_sumCompWts + w2;
  m_sumSqDev = m_sumCompWts * w2 * d * d / w + other.m_sumSqDev + m_sumSqDev;
  m_mean += d * w2 / w;
  m_sumFreqWts += other.m_sumFreqWts;
  m_sumCompWts = w;
}

double CFContStatsImp::GetVariance() const {
  return m_sumFreqWts > 1.0 ? m_sumSqDev / (m_sumFreqWts - 1.0) : 0.0;
}

CFXMLWrapper* CFContStatsImp::MakeContStatsElmt(CFXMLWrapper& doc) const {
  std::unique_ptr<CFXMLWrapper> elem(doc.createFreeElement(XMLElements::ContinuousStatistics));
  if (elem == nullptr) return nullptr;
  if (elem->addAttribute(XMLAttributes::SumFreqWts, m_sumFreqWts) != 0) return nullptr;
  if (elem->addAttribute(XMLAttributes::SumCompWts, m_sumCompWts) != 0) return nullptr;
  if (m_sumFreqWts > 0.0) {
    if (elem->addAttribute(XMLAttributes::Minimum, m_min) != 0) return nullptr;
    if (elem->addAttribute(XMLAttributes::Maximum, m_max) != 0) return nullptr;
    if (elem->addAttribute(XMLAttributes::Mean, GetMean()) != 0) return nullptr;
  }
  if (m_sumFreqWts > 1.0) {
    if (elem->addAttribute(XMLAttributes::Variance, GetVariance()) != 0) return nullptr;
  }
  return elem.release();
}

// --- CFContStats ---

CFContStats::~CFContStats() = default;

// --- CFContStatsOwner ---

CFContStatsOwner::CFContStatsOwner(CFContStatsImp* imp) : m_imp(imp) {}

CFContStatsOwner::CFContStatsOwner(const CFContStatsOwner& other)
    : CFContStats(other), m_imp(new CFContStatsImp(*other.m_imp)) {}

CFContStatsOwner& CFContStatsOwner::operator=(const CFContStatsOwner& other) {
  *m_imp = *other.m_imp;
  return *this;
}

CFContStatsOwner::~CFContStatsOwner() = default;

std::pair<double, double> CFContStatsOwner::GetExtrema() const { return m_imp->GetExtrema(); }

double CFContStatsOwner::GetMean() const { return m_imp->GetMean(); }

double CFContStatsOwner::GetVariance() const { return m_imp->GetVariance(); }

double CFContStatsOwner::GetSumFreqWeights() const { return m_imp->GetSumFreqWeights(); }

// --- CFContStatsDbl ---

CFContStatsDbl::CFContStatsDbl() : CFContStatsOwner(new CFContStatsImp) {}

CFContStatsDbl::CFContStatsDbl(const CFXMLWrapper& elem)
    : CFContStatsOwner(new CFContStatsImp(elem)) {}

CFContStatsDbl::CFContStatsDbl(const CfCppHelperV1::XMLElement& elem)
    : CFContStatsOwner(new CFContStatsImp(elem)) {}

bool CFContStatsDbl::Update(double x, double freqWt, double caseWt) {
  return m_imp->Update(x, freqWt, caseWt);
}

bool CFContStatsDbl::Update(double x) { return m_imp->Update(x); }

void CFContStatsDbl::Pool(const CFContStatsDbl& other) { m_imp->Pool(*other.m_imp); }

CFContStatsDbl* CFContStatsDbl::Clone() const { return new CFContStatsDbl(*this); }

void CFContStatsDbl::AddToTree(CFXMLWrapper& parent, CFXMLWrapper*& created) const {
  cfmeta_internal::AttachFinished(
      0, std::unique_ptr<CFXMLWrapper>(m_imp->MakeContStatsElmt(parent)), parent, created);
}

// --- CFContStatsInt ---

CFContStatsInt::CFContStatsInt() : CFContStatsOwner(new CFContStatsImp) {}

CFContStatsInt::CFContStatsInt(const CFXMLWrapper& elem)
    : CFContStatsOwner(new CFContStatsImp(elem)) {
  ReadExact(WrapperSource(elem));
}

CFContStatsInt::CFContStatsInt(const CfCppHelperV1::XMLElement& elem)
    : CFContStatsOwner(new CFContStatsImp(elem)) {
  ReadExact(ElementSource(elem));
}

template <typename Source>
void CFContStatsInt::ReadExact(const Source& source) {
  m_exactMin = 0;
  m_exactMax = 0;
  if (!(m_imp->GetSumFreqWeights() > 0.0)) return;
  const std::pair<double, double> extrema = m_imp->GetExtrema();
  long long exactMin = 0;
  long long exactMax = 0;
  const Attr minimum = source.Int64(XMLAttributes::ExactMinimum, exactMin);
  const Attr maximum = source.Int64(XMLAttributes::ExactMaximum, exactMax);
  if (minimum == Attr::Bad || maximum == Attr::Bad) {
    *m_imp = CFContStatsImp();
    return;
  }
  m_exactMin = minimum == Attr::Valid ? exactMin : Truncate(extrema.first);
  m_exactMax = maximum == Attr::Valid ? exactMax : Truncate(extrema.second);
}

bool CFContStatsInt::Update(long long x, double freqWt, double caseWt) {
  const bool wasEmpty = m_imp->GetSumFreqWeights() == 0.0;
  if (!m_imp->Update(static_cast<double>(x), freqWt, caseWt)) return false;
  if (wasEmpty) {
    m_exactMin = m_exactMax = x;
  } else if (x < m_exactMin) {
    m_exactMin = x;
  } else if (x > m_exactMax) {
    m_exactMax = x;
  }
  return true;
}

bool CFContStatsInt::Update(long long x) { return Update(x, 1.0, 1.0); }

void CFContStatsInt::Pool(const CFContStatsInt& other) { m_imp->Pool(*other.m_imp); }

CFContStatsInt* CFContStatsInt::Clone() const { return new CFContStatsInt(*this); }

void CFContStatsInt::AddToTree(CFXMLWrapper& parent, CFXMLWrapper*& created) const {
  created = nullptr;
  std::unique_ptr<CFXMLWrapper> elem(m_imp->MakeContStatsElmt(parent));
  if (elem == nullptr) return;
  // The exact extrema go only where the doubles cannot carry them (beyond 2^53).
  const std::pair<double, double> extrema = m_imp->GetExtrema();
  if (m_exactMin != Truncate(extrema.first) &&
      elem->addAttribute(XMLAttributes::ExactMinimum, m_exactMin) != 0) {
    return;
  }
  if (m_exactMax != Truncate(extrema.second) &&
      elem->addAttribute(XMLAttributes::ExactMaximum, m_exactMax) != 0) {
    return;
  }
  cfmeta_internal::AttachFinished(0, std::move(elem), parent, created);
}
