// A dataset's metadata document: the ordered fields, the shared display formats with one
// default per kind of storage, the field groups, the record counts, the dataset summaries, and
// their XML form.
//
// Loading never throws: a text that is not a valid document gives empty metadata (no fields,
// no formats, no groups, counts -1.0, no summaries), which callers detect by FieldCount() being
// 0. Counts are doubles; -1.0 means unknown. Pointers handed out belong to the metadata and stay
// valid until the object they point to is replaced or removed, or the metadata is destroyed; a
// shared format taken out by DropSharedFormat is the exception and lives on until then.
#ifndef CFMETA_METADATA_CFMETADATA_H_
#define CFMETA_METADATA_CFMETADATA_H_

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include "cfmeta/cfmeta_export.h"
#include "cfmeta/field/cffield.h"

class CFCatStats;
class CFContStats;
class CFDatasetSummaries;
class CFFormat;

// Folds a field name into the key under which it is looked up (for example, upper-cases it).
// The metadata keeps the pointer it is given and never deletes it; the caller keeps the
// function alive as long as the metadata and its copies.
class CFMETA_API CFUpperFunc {
 public:
  virtual ~CFUpperFunc() = default;
  virtual std::string operator()(const std::string& name) const = 0;
};

// Why a load left the empty document.
struct CFMETA_API CFLoadError {
  enum Kind : int32_t {
    NoError = 0,       // the load succeeded, or the metadata was not loaded from text
    MalformedXML = 1,  // the text is not well-formed XML
    NotMetadata = 2,   // well-formed XML whose root holds no XMLElements::Fields element
    BrokenRule = 3     // a metadata document whose content breaks a rule
  };
  Kind kind = NoError;
  // MalformedXML: where the parser stopped, from 1; 0 when it did not say.
  int line = 0;
  int column = 0;
  // NotMetadata and BrokenRule: the offending element, such as
  // "/DataModel/Fields/Field[3]/FieldFormat/NumberFormat" (a position among same-named
  // siblings, from 1, where there are several).
  std::string path;
  // The parser's message, or the rule broken in one sentence ("Width must be given and not 0",
  // "duplicate field name 'age'").
  std::string message;
};

class CFMETA_API CFMetaData {
 public:
  // The kinds of field group, each written as its own entity text.
  enum GroupType : int32_t {
    PlainGroup = 0,
    MultiCategorySet = 1,
    MultiDichotomySet = 2,
    SplitGroup = 3
  };

  // Empty metadata. A null `upper` makes names case-sensitive.
  explicit CFMetaData(CFUpperFunc* upper = nullptr);
  // Loads `xml`; any failure leaves empty metadata with the same folding function, and
  // GetLoadError says why. What the XML layer says about a text it cannot parse is printed on
  // standard output.
  CFMetaData(const std::string& xml, CFUpperFunc* upper);
  // As above, with the XML layer's messages on `messages` (null prints nothing), which must
  // outlive the call. Exports of this metadata print there too (see SetMessageStream).
  CFMetaData(const std::string& xml, CFUpperFunc* upper, std::ostream* messages);
  // Deep copies; the copy shares the folding function.
  CFMetaData(const CFMetaData& other);
  // Builds the whole copy before giving up the old state, so a failure leaves this as it was.
  CFMetaData& operator=(const CFMetaData& other);
  ~CFMetaData();

  // Why the load that made this metadata failed; kind NoError after one that succeeded and for
  // metadata not loaded from text. Copies carry it along.
  const CFLoadError& GetLoadError() const;
  // Where ExportXMLDoc prints what the XML layer says about a document it cannot serialise:
  // standard output unless set; null prints nothing. The stream must outlive its use.
  void SetMessageStream(std::ostream* messages);

  // --- Lookups ---

  bool IsCaseSensitive() const;
  unsigned int FieldCount() const;
  // Null when `index` is not below FieldCount().
  const CFField* GetField(unsigned int index) const;
  // The field's position (its name folded when a folding function is set), or -1.
  int GetFieldIndex(const std::string& name) const;
  const CFField* GetField(const std::string& name) const;
  // A number that changes whenever the fields may have changed: AppendField, ReplaceField and
  // assignment move it on. A reader that derives something from the fields (their storage
  // types, say) keeps it for as long as this number stays the same.
  unsigned long long FieldsRevision() const { return m_fieldsRevision; }

  unsigned int SharedFormatCount() const;
  const CFFormat* GetSharedFormat(unsigned int index) const;
  // The first shared format named exactly `name` (never folded), or null.
  const CFFormat* GetSharedFormat(const std::string& name) const;
  // The shared format in the storage's default slot, or null.
  const CFFormat* GetDefaultFormat(CFField::StorageType storage) const;
  // The format `field`'s values are shown with: its private format, else the shared format its
  // reference names, else the default for its storage; null when there is none. Valid while
  // this metadata and `field` are unchanged.
  const CFFormat* GetDisplayFormat(const CFField& field) const;

  double GetRecordCount(bool weighted) const;
  double GetDroppedCount() const;
  void GetDroppedDetails(double& badWeightCount, double& weightedDroppedCount) const;

  // --- Editing ---

  // Appends a copy of `field`. -1 when its name is empty or folds to a key already present;
  // else its position.
  int AppendField(const CFField& field);
  // Null removes the field at `index` and later fields move up one place. Otherwise a copy of
  // `field` takes the place of the old one, which is destroyed. -1, changing nothing, for an
  // index out of range, an empty name, or a name that folds to another field's key; else
  // `index`.
  int ReplaceField(unsigned int index, const CFField* field);
  // False for an index out of range; else the field's own answer (CFField::SetFieldType).
  bool SetFieldType(unsigned int index, CFField::FieldType type);
  // Forwarded to the field at `index` (CFField::SetValues, SetValueLabels); nothing for an
  // index out of range.
  void SetValues(unsigned int index, const std::vector<CFValue>& values);
  void SetValueLabels(unsigned int index, const std::vector<CFValue>& labels);
  // Adds a copy of `format` under its name, replacing in place a shared format of the same
  // name and clearing only the default slots the new format no longer fits. -1 for an empty
  // format (width 0) or an empty name; else its index.
  int AddSharedFormat(const CFFormat& format);
  // Takes the shared format at `index` out of the list: higher indices, and the default slots
  // that hold them, move down by one, and a slot that held this one becomes empty. The format
  // itself is kept alive until the metadata is destroyed, so a pointer from GetSharedFormat
  // stays usable. -1 for an index out of range; else `index`.
  int DropSharedFormat(unsigned int index);
  // Stores a copy of `stats` in the field at `index`, or drops them for null; false for an
  // index out of range, else the field's own answer (CFField::SetSumStats).
  bool SetSumStats(unsigned int index, const CFContStats* stats);
  bool SetSumStats(unsigned int index, const CFCatStats* stats);
  // Puts the shared format named `name` in the storage's default slot. -1, changing nothing,
  // for an unknown name, a storage without a slot or a format that does not suit it; else
  // the format's index.
  int SetDefaultFormat(CFField::StorageType storage, const std::string& name);

  // A negative count is stored as -1.0. Both are stored only when `unweighted` is whole.
  void SetRecordCounts(double unweighted, double weighted);
  // Stored only when whole.
  void SetDroppedCount(double dropped);
  // The bad-weight count is stored only when whole; the weighted dropped count always.
  void SetDroppedDetails(double badWeightCount, double weightedDroppedCount);

  // --- Field groups ---

  // Appends a group. False, changing nothing, when `fields` is empty or a group of this type and
  // name (exact, never folded) is already present. A type outside the four kinds is kept and
  // found like the others, but cannot be written: on export it stops the groups after it.
  bool SetFieldGroup(GroupType type, const std::string& name,
                     const std::vector<std::string>& fields, const std::string& label,
                     const std::string& countedValue);
  // The `ordinal`-th group (from 0) of `type`, in document order, groups of other types not
  // counted. True with the four outputs filled; false with all four cleared when there is none.
  bool GetFieldGroup(GroupType type, unsigned int ordinal, std::string& name,
                     std::vector<std::string>& fields, std::string& label,
                     std::string& countedValue) const;
  // The group of `type` named exactly `name`; outputs as above.
  bool GetFieldGroup(GroupType type, const std::string& name, std::vector<std::string>& fields,
                     std::string& label, std::string& countedValue) const;
  // Takes the group out of the list, so that its type and name can be used again. False when
  // there is no such group.
  bool DropFieldGroup(GroupType type, const std::string& name);

  // --- Dataset summaries ---

  // Null when there are none.
  const CFDatasetSummaries* getDatasetSummaries() const;
  // Reads `xml` as a whole document whose root element is the summaries (normally
  // XMLElements::DatasetSummaries) and, when it reads successfully, replaces the summaries held
  // so far. False, keeping the old summaries, for an empty text or one that does not parse
  // or read.
  bool setDatasetSummaries(const std::string& xml);
  // Replaces the summaries with `summaries`, taking ownership; null leaves none.
  void setDatasetSummaries(CFDatasetSummaries* summaries);
  // Destroys the summaries and leaves none.
  void releaseDatasetSummaries();

  // --- XML ---

  // Writes the whole document into `out`. False, leaving `out` unchanged, when there are no
  // fields, a field or the summaries cannot be written, or a text holds a character no XML 1.0
  // document can carry (see ValidateXMLChars): a label holding byte 0x01, say, fails the export
  // and the serialiser's "Caught DOM Exception " message is printed (see SetMessageStream). A
  // failure while writing the counts, formats or groups only stops the rest of those three
  // parts; what was written stays.
  bool ExportXMLDoc(std::string& out) const;
  // False when `text` holds a control byte (1 to 31 other than tab, line feed and carriage
  // return) that an XML document cannot carry.
  static bool ValidateXMLChars(const std::string& text);

  class Impl;

 private:
  std::unique_ptr<Impl> m_impl;
  unsigned long long m_fieldsRevision = 0;
};

#endif  // CFMETA_METADATA_CFMETADATA_H_
