// The per-field part of the dataset summaries: CFFieldSummaries, the ordered list, and
// CFFieldSummary, the summary of one field.
//
// Reading never throws: a violation sets parseSuccess() false and stops reading there, and a
// list fails with its first failed summary. AddToTree attaches only a complete element; on
// failure `created` is null and `parent` is as it was. Copies are deep.
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
// The flags are kept as the text read, empty when absent, so that an absent flag stays absent
// when written back; present, each is the text of XMLEntities::True or XMLEntities::False.
// A summary with neither statistics block reads, but cannot be written.
class CFMETA_API CFFieldSummary {
 public:
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

  // Fails unless exactly one statistics block is present, for an empty name, and for a flag
  // text other than the two entity texts. Counts are written only when 0 or more.
  void AddToTree(CfExtension::CFXMLWrapper& parent, CfExtension::CFXMLWrapper*& created) const;

 private:
  // Its attributes and children in reading and writing order, for both directions.
  template <typename IO, typename Self>
  static void Exchange(IO& io, Self& self);

  bool m_parseSuccess = true;
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
  explicit CFFieldSummaries(const CfExtension::CFXMLWrapper& element);
  CFFieldSummaries(const CFFieldSummaries& other);
  CFFieldSummaries& operator=(const CFFieldSummaries&) = delete;
  ~CFFieldSummaries();

  bool parseSuccess() const { return m_parseSuccess; }
  size_t getFieldSummaryCount() const { return m_summaries.size(); }
  // Owned by this list; null when `index` is not below getFieldSummaryCount().
  const CFFieldSummary* getFieldSummary(size_t index) const;

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
