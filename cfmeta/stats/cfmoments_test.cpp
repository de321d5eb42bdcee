#include "cfmeta/stats/cfmoments.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace {

// Skewness and excess kurtosis in their textbook two-pass forms over standardised values,
// algebraically different from the moment forms the accumulator uses.
struct TwoPass {
  double mean, variance, skewness, kurtosis;
};

TwoPass Reference(const std::vector<double>& values) {
  const long double n = values.size();
  long double sum = 0;
  for (double x : values) sum += x;
  const long double mean = sum / n;
  long double ss = 0;
  for (double x : values) ss += (x - mean) * (x - mean);
  const long double variance = ss / (n - 1);
  const long double sd = std::sqrt(variance);
  long double z3 = 0, z4 = 0;
  for (double x : values) {
    const long double z = (x - mean) / sd;
    z3 += z * z * z;
    z4 += z * z * z * z;
  }
  const long double skewness = n / ((n - 1) * (n - 2)) * z3;
  const long double kurtosis = n * (n + 1) / ((n - 1) * (n - 2) * (n - 3)) * z4 -
                               3 * (n - 1) * (n - 1) / ((n - 2) * (n - 3));
  return {static_cast<double>(mean), static_cast<double>(variance), static_cast<double>(skewness),
          static_cast<double>(kurtosis)};
}

void ExpectMatches(const TwoPass& expected, const CFMoments& moments, double tolerance) {
  EXPECT_NEAR(expected.mean, moments.GetMean(), tolerance * std::fabs(expected.mean));
  EXPECT_NEAR(expected.variance, moments.GetVariance(), tolerance * expected.variance);
  EXPECT_NEAR(std::sqrt(expected.variance), moments.GetStdDev(),
              tolerance * std::sqrt(expected.variance));
  EXPECT_NEAR(expected.skewness, moments.GetSkewness(), tolerance * std::fabs(expected.skewness));
  EXPECT_NEAR(expected.kurtosis, moments.GetKurtosis(), tolerance * std::fabs(expected.kurtosis));
}

// Large values with a small, skewed spread: the case where naive sums of powers lose every
// digit.
TEST(CFMomentsTest, OnePassAndMergedPartsMatchTwoPass) {
  std::mt19937_64 random(20240613);
  std::exponential_distribution<double> noise(0.5);
  std::vector<double> values(1000000);
  for (double& x : values) x = 1e6 + noise(random);
  const TwoPass expected = Reference(values);

  CFMoments whole;
  for (double x : values) ASSERT_TRUE(whole.Update(x));
  EXPECT_EQ(1e6, whole.GetCount());
  ExpectMatches(expected, whole, 1e-9);

  // Four unequal parts, merged in an order unlike the data's, the first into an empty one.
  const size_t bounds[] = {0, 100000, 350000, 750000, 1000000};
  CFMoments parts[4];
  for (int p = 0; p < 4; ++p) {
    for (size_t i = bounds[p]; i < bounds[p + 1]; ++i) parts[p].Update(values[i]);
  }
  CFMoments merged;
  for (int p : {2, 0, 3, 1}) merged.Merge(parts[p]);
  merged.Merge(CFMoments());
  EXPECT_EQ(1e6, merged.GetCount());
  ExpectMatches(expected, merged, 1e-9);
  EXPECT_EQ(whole.GetStdErrSkewness(), merged.GetStdErrSkewness());
}

TEST(CFMomentsTest, SmallSamplesAndUndefinedStatistics) {
  const std::vector<double> values = {2, 4, 4, 4, 5, 5, 7, 9, 12, -3};
  CFMoments moments;
  for (double x : values) moments.Update(x);
  ExpectMatches(Reference(values), moments, 1e-12);

  // Rejected values change nothing.
  EXPECT_FALSE(moments.Update(std::numeric_limits<double>::quiet_NaN()));
  EXPECT_FALSE(moments.Update(-std::numeric_limits<double>::infinity()));
  EXPECT_EQ(10.0, moments.GetCount());

  // Standard errors as tabulated for 100 values.
  CFMoments hundred;
  for (int i = 0; i < 100; ++i) hundred.Update(i % 7);
  EXPECT_NEAR(0.2414, hundred.GetStdErrSkewness(), 1e-4);
  EXPECT_NEAR(0.4783, hundred.GetStdErrKurtosis(), 1e-4);

  const struct Row {
    std::vector<double> values;
    bool variance, skewness, kurtosis;
  } rows[] = {
      {{}, false, false, false},          {{3}, false, false, false},
      {{3, 5}, true, false, false},       {{3, 5, 10}, true, true, false},
      {{3, 5, 10, 11}, true, true, true}, {{7, 7, 7, 7, 7}, true, false, false},  // no spread
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.values.size());
    CFMoments m;
    for (double x : row.values) m.Update(x);
    EXPECT_EQ(row.variance, std::isfinite(m.GetVariance()));
    EXPECT_EQ(row.variance, std::isfinite(m.GetStdDev()));
    EXPECT_EQ(row.skewness, std::isfinite(m.GetSkewness()));
    EXPECT_EQ(row.kurtosis, std::isfinite(m.GetKurtosis()));
    EXPECT_EQ(row.values.size() >= 3, std::isfinite(m.GetStdErrSkewness()));
    EXPECT_EQ(row.values.size() >= 4, std::isfinite(m.GetStdErrKurtosis()));
  }
}

}  // namespace
