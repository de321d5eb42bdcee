// The per-field part of the dataset summaries: CFFieldSummaries, the ordered list, and
// CFFieldSummary, the summary of one field.
//
// Reading never throws: a violation sets parseSuccess() false and stops reading there, and a
// list fails with its first failed summary. AddToTree attaches only a complete element; on
// failure `created` is null and `parent` is as it was. Copies are deep.
//
// Both are also built in code: a default object is the one an empty element reads into,
// parseSuccess() included, and setters fill it (see cfdatasetsummaries.h for how they are
// named). Setters never change parseSuccess().
#ifndef CFMETA_SUMMARIES_CFFIELDSUMMARIES_H_
#define CFMETA_SUMMARIES_CFFIELDSUMMARIES_H_

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "cfmeta/cfmeta_export.h"

namespace CfExtension {
class CFXMLWrapper;
}
class CFContinuousStatisticsExt;
class CFDiscreteStatisticsExt;

// XMLElements::FieldSummary: the field's name (required, not empty), its weighted and
// unweighted counts of valid, missing and invalid records (each -1 when not given, never
// negative otherwise), three flags and at most one block of extended statistics.
//
// The flags are kept as the text read or set, empty when absent, so that an absent flag stays
// absent when written back; present, each must be the text of XMLEntities::True or
// XMLEntities::False, which reading checks at once and writing checks for a set text.
// A summary with neither statistics block reads, but cannot be written.
class CFMETA_API CFFieldSummary {
 public:
  // No name, no counts, no flags and no statistics: parseSuccess() is false and it cannot be
  // written.
  CFFieldSummary();
  explicit CFFieldSummary(const CfExtension::CFXMLWrapper& element);
  CFFieldSummary(const CFFieldSummary& other);
  CFFieldSummary& operator=(const CFFieldSummary&) = delete;
  ~CFFieldSummary();

  bool parseSuccess() const { return m_parseSuccess; }
  std::string getFieldName() const { return m_fieldName; }
  std::string getCurrent() const { return m_current; }
  std::string getIncludeUMissing() const { return m_includeUMissing; }
  std::string getIncludeNotValid() const { return m_includeNotValid; }
  // -1 when not given.
  long long getValidCount() const { return m_validCount; }
  long long getUnweightedValid() const { return m_unweightedValid; }
  long long getMissingCount() const { return m_missingCount; }
  long long getUnweightedMissing() const { return m_unweightedMissing; }
  long long getInvalidCount() const { return m_invalidCount; }
  long long getUnweightedInvalid() const { return m_unweightedInvalid; }
  // Owned by this summary; null when absent. At most one is present after a good read.
  const CFContinuousStatisticsExt* getConStatistics() const { return m_conStatistics.get(); }
  const CFDiscreteStatisticsExt* getDisStatistics() const { return m_disStatistics.get(); }

  void setFieldName(const std::string& fieldName) { m_fieldName = fieldName; }
  // Each flag is empty (not written) or the text of XMLEntities::True or XMLEntities::False;
  // any other text is kept and refused when writing.
  void setCurrent(const std::string& current) { m_current = current; }
  void setIncludeUMissing(const std::string& flag) { m_includeUMissing = flag; }
  void setIncludeNotValid(const std::string& flag) { m_includeNotValid = flag; }
  // A negative count is not given and reads back as -1.
  void setValidCount(long long count) { m_validCount = AsCount(count); }
  void setUnweightedValid(long long count) { m_unweightedValid = AsCount(count); }
  void setMissingCount(long long count) { m_missingCount = AsCount(count); }
  void setUnweightedMissing(long long count) { m_unweightedMissing = AsCount(count); }
  void setInvalidCount(long long count) { m_invalidCount = AsCount(count); }
  void setUnweightedInvalid(long long count) { m_unweightedInvalid = AsCount(count); }
  // Each replaces its block with a copy of the one given and leaves the other as it is; a
  // summary holding both blocks cannot be written.
  void setConStatistics(const CFContinuousStatisticsExt& statistics);
  void setDisStatistics(const CFDiscreteStatisticsExt& statistics);

  // Fails unless exactly one statistics block is present, for an empty name, and for a flag
  // text other than the two entity texts. Counts are written only when 0 or more.
  void AddToTree(CfExtension::CFXMLWrapper& parent, CfExtension::CFXMLWrapper*& created) const;

 private:
  // Its attributes and children in reading and writing order, for both directions.
  template <typename IO, typename Self>
  static void Exchange(IO& io, Self& self);
  static long long AsCount(long long count) { return count < 0 ? -1 : count; }

  bool m_parseSuccess = false;  // an empty element does not read
  std::unique_ptr<CFContinuousStatisticsExt> m_conStatistics;
  std::unique_ptr<CFDiscreteStatisticsExt> m_disStatistics;
  std::string m_current;
  std::string m_includeUMissing;
  std::string m_includeNotValid;
  std::string m_fieldName;
  long long m_validCount = -1;
  long long m_unweightedValid = -1;
  long long m_missingCount = -1;
  long long m_unweightedMissing = -1;
  long long m_invalidCount = -1;
  long long m_unweightedInvalid = -1;
};

// XMLElements::FieldSummaries: its XMLElements::FieldSummary children in document order.
class CFMETA_API CFFieldSummaries {
 public:
  // An empty list; it reads successfully and writes an empty element.
  CFFieldSummaries();
  explicit CFFieldSummaries(const CfExtension::CFXMLWrapper& element);
  CFFieldSummaries(const CFFieldSummaries& other);
  CFFieldSummaries& operator=(const CFFieldSummaries&) = delete;
  ~CFFieldSummaries();

  bool parseSuccess() const { return m_parseSuccess; }
  size_t getFieldSummaryCount() const { return m_summaries.size(); }
  // Owned by this list; null when `index` is not below getFieldSummaryCount().
  const CFFieldSummary* getFieldSummary(size_t index) const;
  // Appends a copy of `summary`.
  void addFieldSummary(const CFFieldSummary& summary);

  // Fails when any summary cannot be written.
  void AddToTree(CfExtension::CFXMLWrapper& parent, CfExtension::CFXMLWrapper*& created) const;

 private:
  // Its attributes and children in reading and writing order, for both directions.
  template <typename IO, typename Self>
  static void Exchange(IO& io, Self& self);

  std::vector<std::unique_ptr<CFFieldSummary>> m_summaries;
  bool m_parseSuccess = true;
};

#endif  // CFMETA_SUMMARIES_CFFIELDSUMMARIES_H_
