// Single-pass summary statistics of one continuous field: extrema, weighted mean and variance,
// with the sums of frequency weights and of combined (frequency times case) weights.
//
// CFContStatsImp does the arithmetic; CFContStatsDbl (double data) and CFContStatsInt (64-bit
// integer data, which also keeps the exact integer extrema) own one each. Accumulators built
// over parts of the data pool exactly. An accumulator read from a damaged
// XMLElements::ContinuousStatistics element is empty; reading never throws. Copies are deep.
#ifndef CFMETA_STATS_CFCONTSTATS_H_
#define CFMETA_STATS_CFCONTSTATS_H_

#include <memory>
#include <utility>

#include "cfmeta/cfmeta_export.h"

namespace CfExtension {
class CFXMLWrapper;
}
namespace CfCppHelperV1 {
class XMLElement;
}

// The accumulator proper. Empty exactly when GetSumFreqWeights() is 0.0; an empty one reports
// 0.0 for every statistic.
class CFMETA_API CFContStatsImp {
 public:
  CFContStatsImp() = default;
  // Both read an XMLElements::ContinuousStatistics element under the same rules: the two
  // weight sums must be finite and not negative; when the frequency sum exceeds 0 the minimum
  // (not above the maximum), maximum and mean must be finite numbers; when it exceeds 1 the
  // variance must be finite and not negative. Any violation gives an empty accumulator.
  explicit CFContStatsImp(const CfExtension::CFXMLWrapper& elem);
  explicit CFContStatsImp(const CfCppHelperV1::XMLElement& elem);

  // Adds `x` with frequency weight `freqWt` and case weight `caseWt`. False, and nothing
  // changes, unless both weights are greater than 0 (zero, negative and NaN are refused).
  bool Update(double x, double freqWt, double caseWt);
  // Adds `x` with both weights 1. Always true.
  bool Update(double x);
  // Merges `other` in, as if its values had been fed here.
  void Pool(const CFContStatsImp& other);

  // (minimum, maximum).
  std::pair<double, double> GetExtrema() const { return {m_min, m_max}; }
  // Weighted by the combined weights.
  double GetMean() const { return m_shift + m_mean; }
  // The combined-weight sum of squared deviations over (frequency-weight sum - 1); 0.0 when the
  // frequency-weight sum is not above 1.
  double GetVariance() const;
  double GetSumFreqWeights() const { return m_sumFreqWts; }
  double GetSumCompWeights() const { return m_sumCompWts; }

  // A new unattached XMLElements::ContinuousStatistics element made through `doc`, owned by the
  // caller: the two weight sums always, the extrema and mean when the frequency-weight sum
  // exceeds 0, the variance when it exceeds 1. Null when any step fails.
  CfExtension::CFXMLWrapper* MakeContStatsElmt(CfExtension::CFXMLWrapper& doc) const;

 private:
  double m_min = 0.0;
  double m_max = 0.0;
  double m_sumFreqWts = 0.0;
  double m_sumCompWts = 0.0;
  // The mean is kept as an offset from a value near the data (the first one seen), so that
  // its rounding does not swamp the deviations of data far from zero.
  double m_mean = 0.0;
  double m_sumSqDev = 0.0;
  double m_shift = 0.0;

  void StartMeanAt(double x);
  template <typename Source>
  void Read(const Source& source);
};

// What every continuous accumulator offers, whatever its data type.
class CFMETA_API CFContStats {
 public:
  virtual ~CFContStats();

  // A new copy of the same class, owned by the caller.
  virtual CFContStats* Clone() const = 0;
  // (minimum, maximum) as doubles.
  virtual std::pair<double, double> GetExtrema() const = 0;
  virtual double GetMean() const = 0;
  virtual double GetVariance() const = 0;
  virtual double GetSumFreqWeights() const = 0;
  // Appends one XMLElements::ContinuousStatistics element. On failure `created` is null and
  // `parent` is as it was; otherwise `created` is the element, owned by the tree.
  virtual void AddToTree(CfExtension::CFXMLWrapper& parent,
                         CfExtension::CFXMLWrapper*& created) const = 0;

 protected:
  CFContStats() = default;
  CFContStats(const CFContStats&) = default;
  CFContStats& operator=(const CFContStats&) = default;
};

// The part CFContStatsDbl and CFContStatsInt share: one owned CFContStatsImp, copied deeply,
// that answers the queries.
class CFMETA_API CFContStatsOwner : public CFContStats {
 public:
  ~CFContStatsOwner() override;

  std::pair<double, double> GetExtrema() const override;
  double GetMean() const override;
  double GetVariance() const override;
  double GetSumFreqWeights() const override;

 protected:
  // Takes ownership of `imp`. Requires: `imp` is not null.
  explicit CFContStatsOwner(CFContStatsImp* imp);
  CFContStatsOwner(const CFContStatsOwner& other);
  CFContStatsOwner& operator=(const CFContStatsOwner& other);

  std::unique_ptr<CFContStatsImp> m_imp;
};

class CFMETA_API CFContStatsDbl : public CFContStatsOwner {
 public:
  CFContStatsDbl();
  explicit CFContStatsDbl(const CfExtension::CFXMLWrapper& elem);
  explicit CFContStatsDbl(const CfCppHelperV1::XMLElement& elem);

  // As CFContStatsImp's.
  bool Update(double x, double freqWt, double caseWt);
  bool Update(double x);
  void Pool(const CFContStatsDbl& other);

  CFContStatsDbl* Clone() const override;
  void AddToTree(CfExtension::CFXMLWrapper& parent,
                 CfExtension::CFXMLWrapper*& created) const override;
};

// Integer data. Beside the double extrema it keeps the exact 64-bit ones, written as
// XMLAttributes::ExactMinimum / ExactMaximum only where the doubles do not carry them.
class CFMETA_API CFContStatsInt : public CFContStatsOwner {
 public:
  CFContStatsInt();
  // As CFContStatsImp's readers; a non-empty one also reads the exact extrema, falling back to
  // the double ones truncated when absent. An exact extremum that is present but not a 64-bit
  // integer gives an empty accumulator.
  explicit CFContStatsInt(const CfExtension::CFXMLWrapper& elem);
  explicit CFContStatsInt(const CfCppHelperV1::XMLElement& elem);

  // As CFContStatsImp's; a refused update leaves the exact extrema untouched too.
  bool Update(long long x, double freqWt, double caseWt);
  bool Update(long long x);
  // Merges `other`'s statistics but not its exact extrema: a pooled accumulator keeps the exact
  // extrema of the receiving side only.
  void Pool(const CFContStatsInt& other);
  // (minimum, maximum) exactly; (0, 0) when empty.
  std::pair<long long, long long> GetExactExtrema() const { return {m_exactMin, m_exactMax}; }

  CFContStatsInt* Clone() const override;
  void AddToTree(CfExtension::CFXMLWrapper& parent,
                 CfExtension::CFXMLWrapper*& created) const override;

 private:
  long long m_exactMin = 0;
  long long m_exactMax = 0;

  template <typename Source>
  void ReadExact(const Source& source);
};

#endif  // CFMETA_STATS_CFCONTSTATS_H_
