// How a field's values are distributed, as a summary document gives it: categories with counts
// and percentages, or clusters with counts, means and bounds; percentiles with their scores.
//
// Every value is kept as read or set and written back as it stands; nothing is computed here.
// Each class reads its own element without throwing: a violation sets parseSuccess() false and
// stops reading there, and a parent that reads a failed child fails too. AddToTree builds the
// element detached and attaches it to `parent` only when every step succeeded; otherwise
// `created` is null and `parent` is as it was. Copies are deep. A double is accepted only as a
// finite number.
//
// Each class is also built in code: a default object is the one an empty element reads into,
// parseSuccess() included, and setters fill it (see cfdatasetsummaries.h for how they are
// named). parseSuccess() reports only how a read went; setters never change it, and AddToTree
// alone decides whether an object is complete enough to write.
#ifndef CFMETA_SUMMARIES_CFDISTRIBUTIONSUMMARY_H_
#define CFMETA_SUMMARIES_CFDISTRIBUTIONSUMMARY_H_

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "cfmeta/cfmeta_export.h"
#include "cfmeta/summaries/cfsummaryoptional.h"

namespace CfExtension {
class CFXMLWrapper;
}

// One category: XMLElements::Category with a required value and count, and optional
// percentage and cumulative percentage. The count may be negative.
class CFMETA_API CFCategory {
 public:
  // Neither value nor count: parseSuccess() is false and it cannot be written.
  CFCategory() = default;
  explicit CFCategory(const CfExtension::CFXMLWrapper& element);
  CFCategory(const CFCategory& other) = default;
  CFCategory& operator=(const CFCategory&) = delete;

  bool parseSuccess() const { return m_parseSuccess; }
  std::string getValue() const { return m_value.value; }
  bool hasValue() const { return m_value.given; }
  long long getCount() const { return m_count.value; }
  bool hasCount() const { return m_count.given; }
  double getPercentage() const { return m_percentage.value; }
  bool hasPercentage() const { return m_percentage.given; }
  double getCumPercentage() const { return m_cumPercentage.value; }
  bool hasCumPercentage() const { return m_cumPercentage.given; }

  // Each marks its value as given.
  void setValue(const std::string& value) { m_value = {value, true}; }
  void setCount(long long count) { m_count = {count, true}; }
  void setPercentage(double percentage) { m_percentage = {percentage, true}; }
  void setCumPercentage(double cumPercentage) { m_cumPercentage = {cumPercentage, true}; }

  // Fails without a value or a count.
  void AddToTree(CfExtension::CFXMLWrapper& parent, CfExtension::CFXMLWrapper*& created) const;

 private:
  // Its attributes and children in reading and writing order, for both directions.
  template <typename IO, typename Self>
  static void Exchange(IO& io, Self& self);

  bool m_parseSuccess = false;  // an empty element does not read
  CFSummaryOptional<std::string> m_value;
  CFSummaryOptional<long long> m_count;
  CFSummaryOptional<double> m_percentage;
  CFSummaryOptional<double> m_cumPercentage;
};

// One cluster: XMLElements::Cluster with a required count (never negative, on reading and on
// writing) and mean, and an optional variance and bounds.
class CFMETA_API CFCluster {
 public:
  // Neither count nor mean: parseSuccess() is false and it cannot be written.
  CFCluster() = default;
  explicit CFCluster(const CfExtension::CFXMLWrapper& element);
  CFCluster(const CFCluster& other) = default;
  CFCluster& operator=(const CFCluster&) = delete;

  bool parseSuccess() const { return m_parseSuccess; }
  long long getCount() const { return m_count.value; }
  bool hasCount() const { return m_count.given; }
  double getMean() const { return m_mean.value; }
  bool hasMean() const { return m_mean.given; }
  double getVariance() const { return m_variance.value; }
  bool hasVariance() const { return m_variance.given; }
  double getLower() const { return m_lower.value; }
  bool hasLower() const { return m_lower.given; }
  double getUpper() const { return m_upper.value; }
  bool hasUpper() const { return m_upper.given; }

  // Each marks its value as given. A negative count is kept, and refused when writing.
  void setCount(long long count) { m_count = {count, true}; }
  void setMean(double mean) { m_mean = {mean, true}; }
  void setVariance(double variance) { m_variance = {variance, true}; }
  void setLower(double lower) { m_lower = {lower, true}; }
  void setUpper(double upper) { m_upper = {upper, true}; }

  // Fails without a count or a mean, or for a negative count.
  void AddToTree(CfExtension::CFXMLWrapper& parent, CfExtension::CFXMLWrapper*& created) const;

 private:
  // Its attributes and children in reading and writing order, for both directions.
  template <typename IO, typename Self>
  static void Exchange(IO& io, Self& self);

  bool m_parseSuccess = false;  // an empty element does not read
  CFSummaryOptional<long long> m_count;
  CFSummaryOptional<double> m_mean;
  CFSummaryOptional<double> m_variance;
  CFSummaryOptional<double> m_lower;
  CFSummaryOptional<double> m_upper;
};

// One percentile: XMLElements::Percentile with a required rank and score and optional bounds.
class CFMETA_API CFPercentile {
 public:
  // Neither rank nor score: parseSuccess() is false and it cannot be written.
  CFPercentile() = default;
  explicit CFPercentile(const CfExtension::CFXMLWrapper& element);
  CFPercentile(const CFPercentile& other) = default;
  CFPercentile& operator=(const CFPercentile&) = delete;

  bool parseSuccess() const { return m_parseSuccess; }
  double getRank() const { return m_rank.value; }
  bool hasRank() const { return m_rank.given; }
  double getScore() const { return m_score.value; }
  bool hasScore() const { return m_score.given; }
  double getLower() const { return m_lower.value; }
  bool hasLower() const { return m_lower.given; }
  double getUpper() const { return m_upper.value; }
  bool hasUpper() const { return m_upper.given; }

  // Each marks its value as given.
  void setRank(double rank) { m_rank = {rank, true}; }
  void setScore(double score) { m_score = {score, true}; }
  void setLower(double lower) { m_lower = {lower, true}; }
  void setUpper(double upper) { m_upper = {upper, true}; }

  // Fails without a rank or a score.
  void AddToTree(CfExtension::CFXMLWrapper& parent, CfExtension::CFXMLWrapper*& created) const;

 private:
  // Its attributes and children in reading and writing order, for both directions.
  template <typename IO, typename Self>
  static void Exchange(IO& io, Self& self);

  bool m_parseSuccess = false;  // an empty element does not read
  CFSummaryOptional<double> m_rank;
  CFSummaryOptional<double> m_score;
  CFSummaryOptional<double> m_lower;
  CFSummaryOptional<double> m_upper;
};

// XMLElements::Percentiles: its XMLElements::Percentile children in document order and an
// optional interquartile range. An empty list is valid.
class CFMETA_API CFPercentiles {
 public:
  // An empty list with no range; it reads successfully and writes an empty element.
  CFPercentiles();
  explicit CFPercentiles(const CfExtension::CFXMLWrapper& element);
  CFPercentiles(const CFPercentiles& other);
  CFPercentiles& operator=(const CFPercentiles&) = delete;
  ~CFPercentiles();

  bool parseSuccess() const { return m_parseSuccess; }
  size_t getPercentileCount() const { return m_percentiles.size(); }
  // Owned by this list. Requires: index < getPercentileCount() (not checked).
  const CFPercentile* getPercentile(size_t index) const { return m_percentiles[index].get(); }
  double getInterQuartileRange() const { return m_interQuartileRange.value; }
  bool hasInterQuartileRange() const { return m_interQuartileRange.given; }

  // Appends a copy of `percentile`.
  void addPercentile(const CFPercentile& percentile);
  // Marks the range as given.
  void setInterQuartileRange(double range) { m_interQuartileRange = {range, true}; }

  void AddToTree(CfExtension::CFXMLWrapper& parent, CfExtension::CFXMLWrapper*& created) const;

 private:
  // Its attributes and children in reading and writing order, for both directions.
  template <typename IO, typename Self>
  static void Exchange(IO& io, Self& self);

  bool m_parseSuccess = true;
  std::vector<std::unique_ptr<CFPercentile>> m_percentiles;
  CFSummaryOptional<double> m_interQuartileRange;
};

// XMLElements::DistributionSummary: a distribution given by exactly one of a list of clusters
// and a list of categories, with an optional mode (a number), median (any text) and the two
// texts `discrete` and `maxCatsExceeded`, each empty or the text of XMLEntities::True or
// XMLEntities::False. maxCatsExceeded says that the producer stopped collecting categories at
// its limit; this class only carries the text.
class CFMETA_API CFDistributionSummary {
 public:
  // Neither list: parseSuccess() is false and it cannot be written.
  CFDistributionSummary();
  explicit CFDistributionSummary(const CfExtension::CFXMLWrapper& element);
  CFDistributionSummary(const CFDistributionSummary& other);
  CFDistributionSummary& operator=(const CFDistributionSummary&) = delete;
  ~CFDistributionSummary();

  bool parseSuccess() const { return m_parseSuccess; }
  size_t getClusterCount() const { return m_clusters.size(); }
  // Owned by this summary. Requires: index < getClusterCount() (not checked).
  const CFCluster* getCluster(size_t index) const { return m_clusters[index].get(); }
  size_t getCategoryCount() const { return m_categories.size(); }
  // Owned by this summary. Requires: index < getCategoryCount() (not checked).
  const CFCategory* getCategory(size_t index) const { return m_categories[index].get(); }
  double getMode() const { return m_mode.value; }
  bool hasMode() const { return m_mode.given; }
  std::string getMedian() const { return m_median; }
  std::string getMaxCatsExceeded() const { return m_maxCatsExceeded; }
  std::string getDiscrete() const { return m_discrete; }

  // Each appends a copy. Entries in both lists make a summary that cannot be written.
  void addCluster(const CFCluster& cluster);
  void addCategory(const CFCategory& category);
  // Marks the mode as given.
  void setMode(double mode) { m_mode = {mode, true}; }
  // An empty text is not written. The two flag texts are checked when writing.
  void setMedian(const std::string& median) { m_median = median; }
  void setMaxCatsExceeded(const std::string& maxCatsExceeded) {
    m_maxCatsExceeded = maxCatsExceeded;
  }
  void setDiscrete(const std::string& discrete) { m_discrete = discrete; }

  // Fails unless exactly one of the two lists has entries, and for a flag text other than
  // the two entity texts.
  void AddToTree(CfExtension::CFXMLWrapper& parent, CfExtension::CFXMLWrapper*& created) const;

 private:
  // Its attributes and children in reading and writing order, for both directions.
  template <typename IO, typename Self>
  static void Exchange(IO& io, Self& self);

  bool m_parseSuccess = false;  // an empty element does not read
  std::vector<std::unique_ptr<CFCluster>> m_clusters;
  std::vector<std::unique_ptr<CFCategory>> m_categories;
  std::string m_discrete;
  CFSummaryOptional<double> m_mode;
  std::string m_maxCatsExceeded;
  std::string m_median;
};

#endif  // CFMETA_SUMMARIES_CFDISTRIBUTIONSUMMARY_H_
