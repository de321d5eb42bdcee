// The extended statistics of one field summary: CFContinuousStatisticsExt for a continuous
// field, CFDiscreteStatisticsExt for a discrete one.
//
// Values are kept as the document or a setter gives them and written back; nothing is computed
// and no consistency between them is checked (a minimum above the maximum or a negative
// variance is kept as it stands). Reading never throws: a violation sets parseSuccess() false
// and stops reading there. AddToTree attaches only a complete element; on failure `created` is
// null and `parent` is as it was. Copies are deep.
//
// Both blocks are also built in code: a default object is the one an empty element reads into,
// parseSuccess() included, and setters fill it (see cfdatasetsummaries.h for how they are
// named). Setters never change parseSuccess().
#ifndef CFMETA_SUMMARIES_CFSTATISTICSEXT_H_
#define CFMETA_SUMMARIES_CFSTATISTICSEXT_H_

#include <memory>
#include <string>

#include "cfmeta/cfmeta_export.h"
#include "cfmeta/summaries/cfsummaryoptional.h"

namespace CfExtension {
class CFXMLWrapper;
}
class CFDistributionSummary;
class CFPercentiles;

// XMLElements::ContinuousStatisticsExt: an optional XMLElements::Percentiles child, an
// optional XMLElements::DistributionSummary child and eleven optional statistics, each a
// finite double when present. An element with none of them is valid.
class CFMETA_API CFContinuousStatisticsExt {
 public:
  // No children and no statistics; it reads successfully and writes an empty element.
  CFContinuousStatisticsExt();
  explicit CFContinuousStatisticsExt(const CfExtension::CFXMLWrapper& element);
  CFContinuousStatisticsExt(const CFContinuousStatisticsExt& other);
  CFContinuousStatisticsExt& operator=(const CFContinuousStatisticsExt&) = delete;
  ~CFContinuousStatisticsExt();

  bool parseSuccess() const { return m_parseSuccess; }
  // Owned by this block; null when absent.
  const CFPercentiles* getPercentiles() const { return m_percentiles.get(); }
  const CFDistributionSummary* getDistributionSummary() const { return m_distribution.get(); }

  // Each statistic is 0.0 when not given.
  double getMinimum() const { return m_stats[kMinimum].value; }
  bool hasMinimum() const { return m_stats[kMinimum].given; }
  double getMaximum() const { return m_stats[kMaximum].value; }
  bool hasMaximum() const { return m_stats[kMaximum].given; }
  double getMean() const { return m_stats[kMean].value; }
  bool hasMean() const { return m_stats[kMean].given; }
  double getVariance() const { return m_stats[kVariance].value; }
  bool hasVariance() const { return m_stats[kVariance].given; }
  double getStdDev() const { return m_stats[kStdDev].value; }
  bool hasStdDev() const { return m_stats[kStdDev].given; }
  double getSkewness() const { return m_stats[kSkewness].value; }
  bool hasSkewness() const { return m_stats[kSkewness].given; }
  double getStdErrSkewness() const { return m_stats[kStdErrSkewness].value; }
  bool hasStdErrSkewness() const { return m_stats[kStdErrSkewness].given; }
  double getKurtosis() const { return m_stats[kKurtosis].value; }
  bool hasKurtosis() const { return m_stats[kKurtosis].given; }
  double getStdErrKurtosis() const { return m_stats[kStdErrKurtosis].value; }
  bool hasStdErrKurtosis() const { return m_stats[kStdErrKurtosis].given; }
  double getOutlierLowerBound() const { return m_stats[kOutlierLowerBound].value; }
  bool hasOutlierLowerBound() const { return m_stats[kOutlierLowerBound].given; }
  double getOutlierUpperBound() const { return m_stats[kOutlierUpperBound].value; }
  bool hasOutlierUpperBound() const { return m_stats[kOutlierUpperBound].given; }

  // Each replaces the child with a copy of the one given.
  void setPercentiles(const CFPercentiles& percentiles);
  void setDistributionSummary(const CFDistributionSummary& distribution);
  // Each marks its statistic as given.
  void setMinimum(double value) { m_stats[kMinimum] = {value, true}; }
  void setMaximum(double value) { m_stats[kMaximum] = {value, true}; }
  void setMean(double value) { m_stats[kMean] = {value, true}; }
  void setVariance(double value) { m_stats[kVariance] = {value, true}; }
  void setStdDev(double value) { m_stats[kStdDev] = {value, true}; }
  void setSkewness(double value) { m_stats[kSkewness] = {value, true}; }
  void setStdErrSkewness(double value) { m_stats[kStdErrSkewness] = {value, true}; }
  void setKurtosis(double value) { m_stats[kKurtosis] = {value, true}; }
  void setStdErrKurtosis(double value) { m_stats[kStdErrKurtosis] = {value, true}; }
  void setOutlierLowerBound(double value) { m_stats[kOutlierLowerBound] = {value, true}; }
  void setOutlierUpperBound(double value) { m_stats[kOutlierUpperBound] = {value, true}; }

  // Fails when a child cannot be written.
  void AddToTree(CfExtension::CFXMLWrapper& parent, CfExtension::CFXMLWrapper*& created) const;

 private:
  // Its attributes and children in reading and writing order, for both directions.
  template <typename IO, typename Self>
  static void Exchange(IO& io, Self& self);

  // The statistics in the order they are read and written.
  enum Stat {
    kMinimum,
    kMaximum,
    kMean,
    kVariance,
    kStdDev,
    kSkewness,
    kStdErrSkewness,
    kKurtosis,
    kStdErrKurtosis,
    kOutlierLowerBound,
    kOutlierUpperBound,
    kStatCount
  };
  static const char* const kStatNames[kStatCount];

  bool m_parseSuccess = true;
  std::unique_ptr<CFPercentiles> m_percentiles;
  std::unique_ptr<CFDistributionSummary> m_distribution;
  CFSummaryOptional<double> m_stats[kStatCount];
};

// XMLElements::DiscreteStatisticsExt: a required XMLElements::DistributionSummary child and
// the optional texts mode and median, kept exactly as read. This mode is text and independent
// of the numeric mode inside the distribution summary.
class CFMETA_API CFDiscreteStatisticsExt {
 public:
  // No distribution summary: parseSuccess() is false and it cannot be written.
  CFDiscreteStatisticsExt();
  explicit CFDiscreteStatisticsExt(const CfExtension::CFXMLWrapper& element);
  CFDiscreteStatisticsExt(const CFDiscreteStatisticsExt& other);
  CFDiscreteStatisticsExt& operator=(const CFDiscreteStatisticsExt&) = delete;
  ~CFDiscreteStatisticsExt();

  bool parseSuccess() const { return m_parseSuccess; }
  // Owned by this block; null after a failed read and until one is set.
  const CFDistributionSummary* getDistributionSummary() const { return m_distribution.get(); }
  std::string getMode() const { return m_mode; }
  std::string getMedian() const { return m_median; }

  // Replaces the child with a copy of the one given.
  void setDistributionSummary(const CFDistributionSummary& distribution);
  // An empty text is not written.
  void setMode(const std::string& mode) { m_mode = mode; }
  void setMedian(const std::string& median) { m_median = median; }

  // Fails without a distribution summary.
  void AddToTree(CfExtension::CFXMLWrapper& parent, CfExtension::CFXMLWrapper*& created) const;

 private:
  // Its attributes and children in reading and writing order, for both directions.
  template <typename IO, typename Self>
  static void Exchange(IO& io, Self& self);

  bool m_parseSuccess = false;  // an empty element does not read
  std::unique_ptr<CFDistributionSummary> m_distribution;
  std::string m_mode;
  std::string m_median;
};

#endif  // CFMETA_SUMMARIES_CFSTATISTICSEXT_H_
