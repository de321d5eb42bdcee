// The definition of one variable of a dataset: its name, measurement level, storage, role,
// structure, label, valid range, value list, missing values, value labels, display format,
// model-field and geospatial properties, summary statistics and an optional base field.
//
// A field whose read failed is the default field: empty name, unknown type and storage, no
// role, primitive structure, depth and element count -1, nothing else. An empty name is the
// sign of failure callers test. Reading never throws for bad content. Copies are deep and keep
// no link to the document they came from.
#ifndef CFMETA_FIELD_CFFIELD_H_
#define CFMETA_FIELD_CFFIELD_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "cfmeta/cfmeta_export.h"
#include "cfmeta/field/cfdatum.h"
#include "cfmeta/field/cfrange.h"
#include "cfmeta/field/cfvalue.h"

class CFCatStats;
class CFContStats;
class CFFormat;
class CFGeo;
class CFModelField;
namespace CfExtension {
class CFXMLWrapper;
}

class CFMETA_API CFField {
 public:
  // The measurement level; Nominal to Discrete are the categorical levels.
  enum FieldType : int32_t {
    Continuous = 0,
    Nominal = 1,
    Ordinal = 2,
    Flag = 3,
    Discrete = 4,
    Typeless = 5,
    UnknownType = 6
  };
  // Dates, times and timestamps are held as reals (see DatumTypeOf).
  enum StorageType : int32_t {
    UnknownStorage = 0,
    IntegerStorage = 1,
    RealStorage = 2,
    StringStorage = 3,
    DateStorage = 4,
    TimeStorage = 5,
    TimestampStorage = 6
  };
  enum RoleType : int32_t {
    Input = 0,
    Target = 1,
    Both = 2,
    Partition = 3,
    Split = 4,
    FreqWeight = 5,
    RecordId = 6,
    NoRole = 7
  };
  enum StructureType : int32_t { List = 0, Primitive = 1 };

  // One row of an enumeration's entity table. A table is closed by a row whose text is null.
  struct EntityRow {
    uint32_t value;
    const char* text;
  };
  // The entity tables, scanned in row order: a lookup takes the first matching row, and
  // writers scan the same rows, so where two rows share a value the first one's text is the
  // one written.
  static const EntityRow kStorageTable[];
  static const EntityRow kRoleTable[];
  static const EntityRow kStructureTable[];
  static const EntityRow kMeasureTable[];
  // Geometry types of CFGeo.
  static const EntityRow kGeoTypeTable[];
  // Roles of CFModelField, 0 to 18.
  static const EntityRow kModelFieldRoleTable[];
  // Rule features of CFModelField; 7 (the empty text) means none.
  static const EntityRow kRuleFeatureTable[];
  // Data partitions of CFValue: 1 training, 2 testing, 3 validation.
  static const EntityRow kPartitionTable[];

  // The default field (empty name).
  CFField();
  // A live field with role Input and everything else as a field element with only these three
  // attributes reads: it takes every setter, and AddToTree writes exactly that element. An
  // empty name, or a storage or type outside its enumeration, gives the default field.
  CFField(const std::string& name, StorageType storage, FieldType type);
  // Reads a field element. `isBaseField` is true when the element is itself another field's
  // base field; its own base-field child is then ignored, so base fields never nest. Any
  // failure leaves the default field.
  CFField(const CfExtension::CFXMLWrapper& element, bool isBaseField);
  CFField(const CFField& other);
  CFField(CFField&& other) noexcept;
  CFField& operator=(const CFField& other);
  CFField& operator=(CFField&& other) noexcept;
  ~CFField();

  // The display format an element describes, chosen by the element's name; null for any other
  // name or for a format that reads as empty (width 0). The caller owns the result.
  static CFFormat* FormatFromDOMNode(const CfExtension::CFXMLWrapper& element);
  // Whether `format` suits `storage`: integer and real storage take number and decorated
  // formats, string storage string formats, date and timestamp storage date formats, time
  // storage time formats; unknown storage takes none.
  static bool MatchesFormat(StorageType storage, const CFFormat& format);
  // The datum type of every value, range limit and missing value of a field of `storage`:
  // integers for integer and unknown storage, strings for strings, reals for the rest.
  static CFDatum::DataType DatumTypeOf(StorageType storage);

  // Writes the field under `parent` as a Field element, or as a BaseField element when
  // `isBaseField` (which then writes no base field of its own). The element is finished before
  // it is attached, so on failure `created` is null and `parent` is as it was.
  void AddToTree(CfExtension::CFXMLWrapper& parent, CfExtension::CFXMLWrapper*& created,
                 bool isBaseField) const;
  // Writes `values` as a Values element under `parent`; nothing (null `created`) for an empty
  // list or a failed write. Flag markers are written only when `isFlag`.
  static void AddValuesToTree(const std::vector<CFValue>& values, CfExtension::CFXMLWrapper& parent,
                              CfExtension::CFXMLWrapper*& created, bool isFlag);
  // Whether a datum's type suits this field's storage; the null flag is not looked at.
  bool StorageMatches(const CFDatum& datum) const;

  // Setters. A nameless field (a failed read) is frozen: every setter but SetLabel and
  // SetMaxStringLength does nothing on it, or returns false.
  void SetName(const std::string& name);
  void SetLabel(const std::string& label);
  void SetSubRole(const std::string& subRole);
  void SetRole(RoleType role);
  void SetStructure(StructureType structure);
  void SetStructureStorage(StorageType storage);
  void SetDepth(int depth);
  void SetElementCount(int count);
  void SetMaxStringLength(unsigned int length);
  // Any type but Continuous clears the range and drops the continuous statistics; Continuous,
  // Typeless and UnknownType clear the value list and drop the categorical statistics. False
  // only for a nameless field.
  bool SetFieldType(FieldType type);
  // Only for a continuous field, and a non-empty range's lower limit must suit the storage.
  bool SetRange(const CFRange& range);
  // Only for a categorical field; every value non-null and suiting the storage, else nothing
  // changes.
  void SetValues(const std::vector<CFValue>& values);
  // Every value non-null and suiting the storage, else nothing changes.
  void SetValueLabels(const std::vector<CFValue>& labels);
  // A valid definition whose range's lower limit (or first value, without a range) suits the
  // storage.
  bool SetMissingValues(const CFMissingValues& missing);
  // A non-empty name drops the private format; an empty one clears the reference.
  bool SetFormatReference(const std::string& name);
  // Stores a copy; null drops the private format. False when the format does not suit the
  // storage.
  bool SetPrivateFormat(const CFFormat* format);
  // Stores a copy; null drops the model field. False, changing nothing, for a model field
  // whose role is CFModelField::NoMFRole.
  bool SetModelField(const CFModelField* modelField);
  // Stores a copy; null drops the geospatial properties.
  bool SetGeo(const CFGeo* geo);
  // Stores a copy, unless `base` has a base field of its own.
  void SetBaseField(const CFField& base);
  // Only for a continuous field. Null drops the statistics; otherwise they must be a
  // CFContStatsInt for integer storage or a CFContStatsDbl for real, date, time and timestamp
  // storage, and a copy is stored. False, changing nothing, when refused.
  bool SetSumStats(const CFContStats* stats);
  // Only for a categorical field. Null drops the statistics; otherwise they must be a
  // CFCatStatsInt for integer storage, a CFCatStatsStr for string storage or a CFCatStatsDbl
  // for any other storage, and a copy is stored. False, changing nothing, when refused.
  bool SetSumStats(const CFCatStats* stats);

  const std::string& GetName() const { return m_name; }
  FieldType GetType() const { return m_type; }
  StorageType GetStorage() const { return m_storage; }
  RoleType GetRole() const { return m_role; }
  std::string GetSubRole() const { return m_subRole; }
  const std::string& GetLabel() const { return m_label; }
  uint32_t GetMaxStringLength() const { return m_maxStringLength; }
  StructureType GetStructure() const { return m_structure; }
  StorageType GetStructureStorage() const { return m_structureStorage; }
  // -1 when not given.
  int32_t GetDepth() const { return m_depth; }
  // -1 when not given.
  int32_t GetElementCount() const { return m_elementCount; }
  const CFRange& GetRange() const { return m_range; }
  const std::vector<CFValue>& GetValues() const { return m_values; }
  const CFMissingValues& GetMissingValues() const { return m_missingValues; }
  const std::vector<CFValue>& GetValueLabels() const { return m_valueLabels; }
  // The name of the shared format this field uses; empty when none.
  std::string GetFormatReference() const { return m_formatReference; }
  // Non-owning; null when there is none. Valid until this field next changes.
  const CFFormat* GetPrivateFormat() const { return m_privateFormat.get(); }
  // Non-owning; null when there is none. Valid until this field next changes.
  const CFModelField* GetModelField() const { return m_modelField.get(); }
  // Non-owning; null when there is none. Valid until this field next changes.
  const CFGeo* GetGeo() const { return m_geo.get(); }
  // Non-owning; null when there is none. Valid until this field next changes.
  const CFCatStats* GetCatStats() const { return m_catStats.get(); }
  // Non-owning; null when there is none. Valid until this field next changes.
  const CFContStats* GetContStats() const { return m_contStats.get(); }
  // Non-owning; null when there is none. Valid until this field next changes.
  const CFField* GetBaseField() const { return m_baseField.get(); }

 private:
  std::string m_name;
  FieldType m_type = UnknownType;
  StorageType m_storage = UnknownStorage;
  RoleType m_role = NoRole;
  StructureType m_structure = Primitive;
  StorageType m_structureStorage = UnknownStorage;
  std::string m_subRole;
  uint32_t m_maxStringLength = 0;
  int32_t m_depth = -1;
  int32_t m_elementCount = -1;
  std::string m_label;
  CFRange m_range;
  std::vector<CFValue> m_values;
  CFMissingValues m_missingValues;
  std::vector<CFValue> m_valueLabels;
  std::string m_formatReference;
  std::unique_ptr<CFFormat> m_privateFormat;
  std::unique_ptr<CFModelField> m_modelField;
  std::unique_ptr<CFGeo> m_geo;
  std::unique_ptr<CFCatStats> m_catStats;
  std::unique_ptr<CFContStats> m_contStats;
  std::unique_ptr<CFField> m_baseField;

  bool AllMatchStorage(const std::vector<CFValue>& values) const;
  int Read(const CfExtension::CFXMLWrapper& element, bool isBaseField);
  int ReadChild(const CfExtension::CFXMLWrapper& child, bool isBaseField);
  int ReadMissingValues(const CfExtension::CFXMLWrapper& element);
  int ReadFieldFormat(const CfExtension::CFXMLWrapper& element);
};

#endif  // CFMETA_FIELD_CFFIELD_H_
