// A dataset's metadata document: the ordered fields, the shared display formats with one
// default per kind of storage, the record counts, and their XML form.
//
// Loading never throws: a text that is not a valid document gives empty metadata (no fields,
// no formats, counts -1.0), which callers detect by FieldCount() being 0. Counts are doubles;
// -1.0 means unknown. Pointers handed out belong to the metadata and stay valid until the
// object they point to is replaced or removed, or the metadata is destroyed.
#ifndef CFMETA_METADATA_CFMETADATA_H_
#define CFMETA_METADATA_CFMETADATA_H_

#include <memory>
#include <string>

#include "cfmeta/cfmeta_export.h"
#include "cfmeta/field/cffield.h"

class CFCatStats;
class CFContStats;
class CFFormat;

// Folds a field name into the key under which it is looked up (for example, upper-cases it).
// The metadata keeps the pointer it is given and never deletes it; the caller keeps the
// function alive as long as the metadata and its copies.
class CFMETA_API CFUpperFunc {
 public:
  virtual ~CFUpperFunc() = default;
  virtual std::string operator()(const std::string& name) const = 0;
};

class CFMETA_API CFMetaData {
 public:
  // Empty metadata. A null `upper` makes names case-sensitive.
  explicit CFMetaData(CFUpperFunc* upper = nullptr);
  // Loads `xml`; any failure leaves empty metadata with the same folding function.
  CFMetaData(const std::string& xml, CFUpperFunc* upper);
  // Deep copies; the copy shares the folding function.
  CFMetaData(const CFMetaData& other);
  // Builds the whole copy before giving up the old state, so a failure leaves this as it was.
  CFMetaData& operator=(const CFMetaData& other);
  ~CFMetaData();

  // --- Lookups ---

  bool IsCaseSensitive() const;
  unsigned int FieldCount() const;
  // Null when `index` is not below FieldCount().
  const CFField* GetField(unsigned int index) const;
  // The field's position (its name folded when a folding function is set), or -1.
  int GetFieldIndex(const std::string& name) const;
  const CFField* GetField(const std::string& name) const;

  unsigned int SharedFormatCount() const;
  const CFFormat* GetSharedFormat(unsigned int index) const;
  // The first shared format named exactly `name` (never folded), or null.
  const CFFormat* GetSharedFormat(const std::string& name) const;
  // The shared format in the storage's default slot, or null.
  const CFFormat* GetDefaultFormat(CFField::StorageType storage) const;

  double GetRecordCount(bool weighted) const;
  double GetDroppedCount() const;
  void GetDroppedDetails(double& badWeightCount, double& weightedDroppedCount) const;

  // --- Editing ---

  // Appends a copy of `field`. -1 when its name is empty or folds to a key already present;
  // else its position.
  int AppendField(const CFField& field);
  // Adds a copy of `format` under its name, replacing in place a shared format of the same
  // name and clearing only the default slots the new format no longer fits. -1 for an empty
  // format (width 0) or an empty name; else its index.
  int AddSharedFormat(const CFFormat& format);
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

  // --- XML ---

  // Writes the whole document into `out`. False, leaving `out` unchanged, when there are no
  // fields, a field cannot be written, or a text holds a character no XML 1.0 document can
  // carry (see ValidateXMLChars).
  bool ExportXMLDoc(std::string& out) const;
  // False when `text` holds a control byte (1 to 31 other than tab, line feed and carriage
  // return) that an XML document cannot carry.
  static bool ValidateXMLChars(const std::string& text);

  class Impl;

 private:
  std::unique_ptr<Impl> m_impl;
};

#endif  // CFMETA_METADATA_CFMETADATA_H_
