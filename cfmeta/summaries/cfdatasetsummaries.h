// The root of the summaries a metadata document may carry about its dataset:
// CFDatasetSummaries owns at most one CFOverallSummaries (whole-dataset flags) and at most one
// CFFieldSummaries (per-field summaries).
//
// These classes, like every class of the summaries tree, are read from XML, copied, or built in
// code: a default object is the one an empty element reads into, parseSuccess() included, and
// setters fill it by one rule. Each getX() has a setX(...): a value is stored and, where it has
// a has-flag, marked as given; a child object is passed by const reference and copied. Each
// indexed getX(i) has an addX(const X&) that appends a copy. Setters refuse nothing and never
// change parseSuccess(): AddToTree alone refuses an object that lacks a required attribute or
// child, exactly as it refuses one read from a damaged element.
//
// Reading never throws: a violation sets parseSuccess() false and stops reading there.
// AddToTree attaches only a complete element; on failure `created` is null and `parent` is as
// it was. Copies are deep.
#ifndef CFMETA_SUMMARIES_CFDATASETSUMMARIES_H_
#define CFMETA_SUMMARIES_CFDATASETSUMMARIES_H_

#include <memory>

#include "cfmeta/cfmeta_export.h"
#include "cfmeta/summaries/cffieldsummaries.h"

namespace CfExtension {
class CFXMLWrapper;
}

// XMLElements::RecordCountsExt: a placeholder. Its content is neither read nor written, and
// reading it always succeeds.
class CFMETA_API CFRecordCountsExt {
 public:
  CFRecordCountsExt() = default;
  explicit CFRecordCountsExt(const CfExtension::CFXMLWrapper& element);

  bool parseSuccess() const { return true; }
  // Writes an empty element.
  void AddToTree(CfExtension::CFXMLWrapper& parent, CfExtension::CFXMLWrapper*& created) const;
};

// XMLElements::OverallSummaries: an optional XMLElements::RecordCountsExt child and three
// flags. A flag is true when absent; present, it must be exactly the text of XMLEntities::True
// or XMLEntities::False. All three are always written.
class CFMETA_API CFOverallSummaries {
 public:
  // No record counts, all three flags true.
  CFOverallSummaries() = default;
  explicit CFOverallSummaries(const CfExtension::CFXMLWrapper& element);
  CFOverallSummaries(const CFOverallSummaries& other);
  CFOverallSummaries& operator=(const CFOverallSummaries&) = delete;
  ~CFOverallSummaries();

  bool parseSuccess() const { return m_parseSuccess; }
  // Owned by this object; null when absent.
  const CFRecordCountsExt* getRecordCountsExt() const { return m_recordCounts.get(); }
  bool getCurrent() const { return m_current; }
  bool getIncludeUMissing() const { return m_includeUMissing; }
  bool getIncludeNotValid() const { return m_includeNotValid; }

  // Replaces the record counts with a copy of the one given.
  void setRecordCountsExt(const CFRecordCountsExt& recordCounts);
  void setCurrent(bool current) { m_current = current; }
  void setIncludeUMissing(bool includeUMissing) { m_includeUMissing = includeUMissing; }
  void setIncludeNotValid(bool includeNotValid) { m_includeNotValid = includeNotValid; }

  void AddToTree(CfExtension::CFXMLWrapper& parent, CfExtension::CFXMLWrapper*& created) const;

 private:
  // Its attributes and children in reading and writing order, for both directions.
  template <typename IO, typename Self>
  static void Exchange(IO& io, Self& self);

  std::unique_ptr<CFRecordCountsExt> m_recordCounts;
  bool m_current = true;
  bool m_includeUMissing = true;
  bool m_includeNotValid = true;
  bool m_parseSuccess = true;
};

// XMLElements::DatasetSummaries: the first XMLElements::OverallSummaries child and the first
// XMLElements::FieldSummaries child, each optional. A failed overall summary fails the root
// before the field summaries are read.
class CFMETA_API CFDatasetSummaries {
 public:
  // Neither child; writes an empty element.
  CFDatasetSummaries() = default;
  explicit CFDatasetSummaries(const CfExtension::CFXMLWrapper& element);
  CFDatasetSummaries(const CFDatasetSummaries& other);
  CFDatasetSummaries& operator=(const CFDatasetSummaries&) = delete;
  ~CFDatasetSummaries();

  bool parseSuccess() const { return m_parseSuccess; }
  // Owned by this root; null when absent.
  const CFOverallSummaries* getOverallSummaries() const { return m_overall.get(); }
  const CFFieldSummaries* getFieldSummaries() const { return m_fields.get(); }
  // Each replaces its child with a copy of the one given.
  void setOverallSummaries(const CFOverallSummaries& overall);
  void setFieldSummaries(const CFFieldSummaries& fields);
  // Each destroys its child and leaves none; nothing is handed to the caller.
  void releaseOverallSummaries();
  void releaseFieldSummaries();

  void AddToTree(CfExtension::CFXMLWrapper& parent, CfExtension::CFXMLWrapper*& created) const;

 private:
  // Its attributes and children in reading and writing order, for both directions.
  template <typename IO, typename Self>
  static void Exchange(IO& io, Self& self);

  bool m_parseSuccess = true;
  std::unique_ptr<CFOverallSummaries> m_overall;
  std::unique_ptr<CFFieldSummaries> m_fields;
};

#endif  // CFMETA_SUMMARIES_CFDATASETSUMMARIES_H_
