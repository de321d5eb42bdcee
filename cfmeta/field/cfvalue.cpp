#include "cfmeta/field/cfvalue.h"

#include <cstring>
#include <utility>

#include "cfmeta/field/cffield.h"
#include "cfmeta/field/cffieldread_internal.h"
#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/xml/cfxmlwrapper.h"

namespace XMLAttributes = CfCppHelperV1::XMLAttributes;

CFValue::CFValue(const CFDatum& value, std::string label, uint32_t flag, int32_t partition)
    : m_value(value), m_label(std::move(label)), m_flag(flag), m_partition(partition) {}

CFValue::CFValue(const CfExtension::CFXMLWrapper& element, CFDatum::DataType type) {
  int status = -1;
  int rc = cfmeta_internal::GetDataValueAttr(element, XMLAttributes::Value, type, m_value, status);
  if (rc == 0 && type == CFDatum::Real) {
    bool found = false;
    std::string text;
    rc = element.getAttribute(XMLAttributes::Value, text, found);
    if (rc == 0 && !text.empty()) m_sourceText.reset(new std::string(std::move(text)));
  }
  bool ok = rc == 0 && status == 0;
  if (ok) {
    bool isTrue = false, found = false;
    ok = cfmeta_internal::GetBoolAttr(element, XMLAttributes::FlagValue, isTrue, found) == 0;
    m_flag = !found ? NoFlag : isTrue ? TrueFlag : FalseFlag;
  }
  if (ok) {
    std::string partition;
    bool found = false;
    ok = element.getAttribute(XMLAttributes::DefinePartition, partition, found) == 0;
    if (ok && found) {
      int row = cfmeta_internal::FindStrInList(partition.c_str(), CFField::kPartitionTable);
      ok = row >= 0;
      if (ok) m_partition = static_cast<int32_t>(CFField::kPartitionTable[row].value);
    }
  }
  if (ok) {
    bool found = false;
    ok = element.getAttribute(XMLAttributes::DisplayLabel, m_label, found) == 0;
  }
  if (!ok) {
    m_value = CFDatum();
    m_label.clear();
    m_sourceText.reset();
  }
}

CFValue::CFValue(const CFValue& other)
    : m_value(other.m_value),
      m_label(other.m_label),
      m_flag(other.m_flag),
      m_partition(other.m_partition),
      m_sourceText(other.m_sourceText ? new std::string(*other.m_sourceText) : nullptr) {}

CFValue& CFValue::operator=(const CFValue& other) {
  if (this != &other) {
    CFValue copy(other);
    *this = std::move(copy);
  }
  return *this;
}

CFValue::~CFValue() = default;

const std::string& CFValue::GetSourceText() const {
  static const std::string kEmpty;
  return m_sourceText ? *m_sourceText : kEmpty;
}

int CFValue::GetIndex(const char* text, const std::vector<CFValue>& list) {
  if (text == nullptr) return -2;
  if (list.empty()) return -1;
  if (list.front().m_value.GetType() != CFDatum::String) return -2;
  for (size_t i = 0; i < list.size(); ++i) {
    const char* entry = list[i].m_value.GetString();
    if (entry != nullptr && std::strcmp(text, entry) == 0) return static_cast<int>(i);
  }
  return -1;
}

int CFValue::GetIndex(const CFDatum& datum, const std::vector<CFValue>& list) {
  if (datum.IsNull()) return -2;
  if (datum.GetType() == CFDatum::String) return GetIndex(datum.GetString(), list);
  for (size_t i = 0; i < list.size(); ++i) {
    switch (datum.Compare(list[i].m_value)) {
      case 0:
        return static_cast<int>(i);
      case 2:
        return -2;
      default:
        break;
    }
  }
  return -1;
}

namespace {
int FoundAsTest(int index) { return index >= 0 ? 1 : index == -1 ? 0 : 2; }
}  // namespace

int CFValue::SearchList(const char* text, const std::vector<CFValue>& list) {
  return FoundAsTest(GetIndex(text, list));
}

int CFValue::SearchList(const CFDatum& datum, const std::vector<CFValue>& list) {
  return FoundAsTest(GetIndex(datum, list));
}
