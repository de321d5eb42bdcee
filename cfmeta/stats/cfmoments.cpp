#include "cfmeta/stats/cfmoments.h"

#include <cmath>
#include <limits>

namespace {

constexpr double kUndefined = std::numeric_limits<double>::quiet_NaN();

}  // namespace

bool CFMoments::Update(double x) {
  if (!std::isfinite(x)) return false;
  if (m_count == 0.0) m_shift = x;
  const double n1 = m_count;
  const double n = n1 + 1.0;
  const double delta = (x - m_shift) - m_mean;
  const double deltaN = delta / n;
  const double deltaN2 = deltaN * deltaN;
  const double term = delta * deltaN * n1;
  m_mean += deltaN;
  // Each higher moment is updated from the lower ones as they were before this value.
  m_m4 += term * deltaN2 * (n * n - 3.0 * n + 3.0) + 6.0 * deltaN2 * m_m2 - 4.0 * deltaN * m_m3;
  m_m3 += term * deltaN * (n - 2.0) - 3.0 * deltaN * m_m2;
  m_m2 += term;
  m_count = n;
  return true;
}

void CFMoments::Merge(const CFMoments& other) {
  if (other.m_count == 0.0) return;
  if (m_count == 0.0) {
    *this = other;
    return;
  }
  const double na = m_count;
  const double nb = other.m_count;
  const double n = na + nb;
  const double delta = (other.m_shift - m_shift) + (other.m_mean - m_mean);
  const double delta2 = delta * delta;
  const double m2 = m_m2 + other.m_m2 + delta2 * na * nb / n;
  const double m3 = m_m3 + other.m_m3 + delta * delta2 * na * nb * (na - nb) / (n * n) +
                    3.0 * delta * (na * other.m_m2 - nb * m_m2) / n;
  const double m4 = m_m4 + other.m_m4 +
                    delta2 * delta2 * na * nb * (na * na - na * nb + nb * nb) / (n * n * n) +
                    6.0 * delta2 * (na * na * other.m_m2 + nb * nb * m_m2) / (n * n) +
                    4.0 * delta * (na * other.m_m3 - nb * m_m3) / n;
  m_mean += delta * nb / n;
  m_m2 = m2;
  m_m3 = m3;
  m_m4 = m4;
  m_count = n;
}

double CFMoments::GetVariance() const {
  return m_count >= 2.0 ? m_m2 / (m_count - 1.0) : kUndefined;
}

double CFMoments::GetStdDev() const { return std::sqrt(GetVariance()); }

double CFMoments::GetSkewness() const {
  const double n = m_count;
  if (n < 3.0 || !(m_m2 > 0.0)) return kUndefined;
  const double g1 = std::sqrt(n) * m_m3 / std::pow(m_m2, 1.5);
  return std::sqrt(n * (n - 1.0)) / (n - 2.0) * g1;
}

double CFMoments::GetStdErrSkewness() const {
  const double n = m_count;
  if (n < 3.0) return kUndefined;
  return std::sqrt(6.0 * n * (n - 1.0) / ((n - 2.0) * (n + 1.0) * (n + 3.0)));
}

double CFMoments::GetKurtosis() const {
  const double n = m_count;
  if (n < 4.0 || !(m_m2 > 0.0)) return kUndefined;
  const double g2 = n * m_m4 / (m_m2 * m_m2) - 3.0;
  return (n - 1.0) / ((n - 2.0) * (n - 3.0)) * ((n + 1.0) * g2 + 6.0);
}

double CFMoments::GetStdErrKurtosis() const {
  const double n = m_count;
  if (n < 4.0) return kUndefined;
  return 2.0 * GetStdErrSkewness() * std::sqrt((n * n - 1.0) / ((n - 3.0) * (n + 5.0)));
}
