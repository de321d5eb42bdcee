// Single-pass moments of one numeric field: count, mean and the second, third and fourth
// central moments, from which the bias-corrected sample variance, standard deviation,
// skewness and kurtosis follow with the standard errors of the last two.
//
// Values are added one at a time with a numerically stable update, and accumulators built
// over parts of the data merge as if all the values had been added to one. Unweighted.
#ifndef CFMETA_STATS_CFMOMENTS_H_
#define CFMETA_STATS_CFMOMENTS_H_

#include "cfmeta/cfmeta_export.h"

class CFMETA_API CFMoments {
 public:
  // Empty: count 0, every statistic undefined.
  CFMoments() = default;

  // Adds `x`. False, and nothing changes, for NaN or an infinity.
  bool Update(double x);
  // Merges `other` in, as if its values had been added here.
  void Merge(const CFMoments& other);

  // The number of values added.
  double GetCount() const { return m_count; }
  // 0.0 when empty.
  double GetMean() const { return m_count > 0.0 ? m_shift + m_mean : 0.0; }
  // The sums of the 2nd, 3rd and 4th powers of the deviations from the mean.
  double GetSumSqDev() const { return m_m2; }
  double GetSumCubeDev() const { return m_m3; }
  double GetSumFourthDev() const { return m_m4; }

  // Each statistic below is NaN where it is undefined: the variance and standard deviation
  // below 2 values, skewness and its standard error below 3, kurtosis and its standard error
  // below 4, and skewness and kurtosis also when every value is the same. NaN is never a
  // value to store, so callers test std::isfinite before writing one out.

  // Sum of squared deviations over (count - 1).
  double GetVariance() const;
  double GetStdDev() const;
  // G1 = sqrt(n (n - 1)) / (n - 2) * g1, where g1 = m3 / m2^1.5 on the moments over n.
  double GetSkewness() const;
  // sqrt(6 n (n - 1) / ((n - 2) (n + 1) (n + 3))).
  double GetStdErrSkewness() const;
  // Excess kurtosis G2 = (n - 1) / ((n - 2) (n - 3)) * ((n + 1) g2 + 6), g2 = m4 / m2^2 - 3.
  double GetKurtosis() const;
  // 2 * GetStdErrSkewness() * sqrt((n^2 - 1) / ((n - 3) (n + 5))).
  double GetStdErrKurtosis() const;

 private:
  double m_count = 0.0;
  // The values are measured from the first one seen, so that the mean of data far from zero
  // keeps the precision of the deviations.
  double m_shift = 0.0;
  double m_mean = 0.0;
  double m_m2 = 0.0;
  double m_m3 = 0.0;
  double m_m4 = 0.0;
};

#endif  // CFMETA_STATS_CFMOMENTS_H_
