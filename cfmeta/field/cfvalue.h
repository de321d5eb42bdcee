// One entry of a field's value list, missing-value list or value-label list: a datum with an
// optional display label, a flag marker and a partition marker.
//
// A value read from a damaged element holds a null integer datum, an empty label and an empty
// source text; a null datum is the sign of failure that list readers test. Copies are deep.
#ifndef CFMETA_FIELD_CFVALUE_H_
#define CFMETA_FIELD_CFVALUE_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "cfmeta/cfmeta_export.h"
#include "cfmeta/field/cfdatum.h"

namespace CfExtension {
class CFXMLWrapper;
}

class CFMETA_API CFValue {
 public:
  // Flag markers: which value of a flag field means true, and which false.
  enum FlagMarker : uint32_t { NoFlag = 0, TrueFlag = 1, FalseFlag = 2 };

  // A null integer datum, no label, no markers.
  CFValue() = default;
  // Takes `value` as given, null included; `partition` is a value of CFField's partition table
  // or 0 for none.
  explicit CFValue(const CFDatum& value, std::string label = std::string(), uint32_t flag = NoFlag,
                   int32_t partition = 0);
  // Reads one XMLElements::Value element, its value read as a datum of `type`. A missing or
  // unconvertible value, a flag text other than true/false or an unknown partition leaves the
  // datum null (a null integer) with empty label and source text.
  CFValue(const CfExtension::CFXMLWrapper& element, CFDatum::DataType type);
  CFValue(const CFValue& other);
  CFValue& operator=(const CFValue& other);
  CFValue(CFValue&& other) noexcept = default;
  CFValue& operator=(CFValue&& other) noexcept = default;
  ~CFValue();

  const CFDatum& GetValue() const { return m_value; }
  const std::string& GetLabel() const { return m_label; }
  // A FlagMarker.
  uint32_t GetFlag() const { return m_flag; }
  // 0 none, otherwise a value of CFField's partition table (1 training, 2 testing,
  // 3 validation).
  int32_t GetPartition() const { return m_partition; }
  // For a real value read from XML, the attribute text exactly as written, so that the value
  // is written back in that form; empty otherwise.
  const std::string& GetSourceText() const;

  void SetLabel(const std::string& label) { m_label = label; }
  void SetFlag(uint32_t flag) { m_flag = flag; }
  void SetPartition(int32_t partition) { m_partition = partition; }

  // Position (from 0) of the first entry equal to the key, -1 when there is none, -2 when the
  // search cannot be made: a null key, or a key of another type than the list's entries.
  // A text key matches string entries byte for byte. A list is taken to be of one type: a
  // text key is refused when the first entry is not a string, and a datum key stops at the
  // first entry it cannot be compared with.
  static int GetIndex(const char* text, const std::vector<CFValue>& list);
  static int GetIndex(const CFDatum& datum, const std::vector<CFValue>& list);
  // GetIndex as a three-valued test: 1 found, 0 not found, 2 the search cannot be made.
  static int SearchList(const char* text, const std::vector<CFValue>& list);
  static int SearchList(const CFDatum& datum, const std::vector<CFValue>& list);

 private:
  CFDatum m_value;
  std::string m_label;
  uint32_t m_flag = NoFlag;
  int32_t m_partition = 0;
  // Held apart and only for reals: most values are not reals, and a value list is the bulk
  // of a loaded document's memory.
  std::unique_ptr<std::string> m_sourceText;
};

#endif  // CFMETA_FIELD_CFVALUE_H_
