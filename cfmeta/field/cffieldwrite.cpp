// Writing a field back to XML, and the setters whose guards keep a field consistent with its
// storage and measurement level.
#include <memory>
#include <string>
#include <vector>

#include "cfmeta/field/cffield.h"
#include "cfmeta/field/cffieldwrite_internal.h"
#include "cfmeta/field/cfgeo.h"
#include "cfmeta/field/cfmodelfield.h"
#include "cfmeta/format/cfformat.h"
#include "cfmeta/stats/cfcatstats.h"
#include "cfmeta/stats/cfcatstatsimp.h"
#include "cfmeta/stats/cfcontstats.h"
#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/xml/cfxmlexchange_internal.h"
#include "cfmeta/xml/cfxmlwrapper.h"

using CfExtension::CFXMLWrapper;
using cfmeta_internal::AddEntity;
using cfmeta_internal::TextFor;
namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLElements = CfCppHelperV1::XMLElements;
namespace XMLEntities = CfCppHelperV1::XMLEntities;

namespace {

constexpr int kFailed = 5;

bool IsCategorical(CFField::FieldType type) {
  return type >= CFField::Nominal && type <= CFField::Discrete;
}

}  // namespace

namespace cfmeta_internal {

const char* TextFor(const CFField::EntityRow* rows, uint32_t value) {
  for (; rows->text != nullptr; ++rows) {
    if (rows->value == value) return rows->text;
  }
  return nullptr;
}

int AddEntity(CFXMLWrapper& element, const char* name, const CFField::EntityRow* rows,
              uint32_t value) {
  const char* text = TextFor(rows, value);
  if (text == nullptr) return kFailed;
  return element.addAttribute(name, text);
}

}  // namespace cfmeta_internal

bool CFField::StorageMatches(const CFDatum& datum) const {
  switch (datum.GetType()) {
    case CFDatum::Integer:
      return m_storage == IntegerStorage;
    case CFDatum::Real:
      return m_storage == RealStorage || m_storage == DateStorage || m_storage == TimeStorage ||
             m_storage == TimestampStorage;
    default:
      return m_storage == StringStorage;
  }
}

void CFField::AddValuesToTree(const std::vector<CFValue>& values, CFXMLWrapper& parent,
                              CFXMLWrapper*& created, bool isFlag) {
  created = nullptr;
  if (values.empty()) return;
  std::unique_ptr<CFXMLWrapper> list(parent.createFreeElement(XMLElements::Values));
  if (!list) return;
  int rc = 0;
  std::string text;
  for (size_t i = 0; rc == 0 && i < values.size(); ++i) {
    const CFValue& value = values[i];
    CFXMLWrapper* item = nullptr;
    rc = list->addElement(XMLElements::Value, &item);
    if (rc != 0) break;
    // A real keeps the form in which it was read.
    if (value.GetValue().GetType() == CFDatum::Real && !value.GetSourceText().empty()) {
      text = value.GetSourceText();
    } else {
      value.GetValue().ToString(text, 0);
    }
    rc = item->addAttribute(XMLAttributes::Value, text.c_str());
    if (rc == 0 && isFlag && value.GetFlag() != 0) {
      rc = item->addAttribute(XMLAttributes::FlagValue, value.GetFlag() == 1 ? "true" : "false");
    }
    if (rc == 0 && value.GetPartition() != 0) {
      rc = AddEntity(*item, XMLAttributes::DefinePartition, kPartitionTable,
                     static_cast<uint32_t>(value.GetPartition()));
    }
    if (rc == 0 && !value.GetLabel().empty()) {
      rc = item->addAttribute(XMLAttributes::DisplayLabel, value.GetLabel().c_str());
    }
  }
  cfmeta_internal::AttachFinished(rc, std::move(list), parent, created);
}

void CFField::AddToTree(CFXMLWrapper& parent, CFXMLWrapper*& created, bool isBaseField) const {
  created = nullptr;
  std::unique_ptr<CFXMLWrapper> element(
      parent.createFreeElement(isBaseField ? XMLElements::BaseField : XMLElements::Field));
  if (!element) return;
  CFXMLWrapper& e = *element;

  // 1. Attributes; the first failing write abandons the element.
  int rc = e.addAttribute(XMLAttributes::Name, m_name.c_str());
  if (rc == 0) {
    const char* storage = TextFor(kStorageTable, static_cast<uint32_t>(m_storage));
    rc =
        e.addAttribute(XMLAttributes::Storage, storage != nullptr ? storage : XMLEntities::Unknown);
  }
  if (rc == 0) {
    const char* measure = TextFor(kMeasureTable, static_cast<uint32_t>(m_type));
    rc =
        e.addAttribute(XMLAttributes::Measure, measure != nullptr ? measure : XMLEntities::Unknown);
  }
  if (rc == 0) rc = AddEntity(e, XMLAttributes::Role, kRoleTable, static_cast<uint32_t>(m_role));
  if (rc == 0 && !m_subRole.empty()) rc = e.addAttribute("subRole", m_subRole.c_str());
  if (rc == 0 && m_structure != Primitive) {
    rc =
        AddEntity(e, XMLAttributes::Structure, kStructureTable, static_cast<uint32_t>(m_structure));
  }
  if (rc == 0 && m_structureStorage != UnknownStorage) {
    rc = AddEntity(e, XMLAttributes::StructureStorage, kStorageTable,
                   static_cast<uint32_t>(m_structureStorage));
  }
  if (rc == 0 && m_depth >= 0)
    rc = e.addAttribute(XMLAttributes::Depth, static_cast<long long>(m_depth));
  if (rc == 0 && m_elementCount >= 0) {
    rc = e.addAttribute(XMLAttributes::ElementCount, static_cast<long long>(m_elementCount));
  }
  if (rc == 0 && m_maxStringLength != 0) {
    rc = e.addAttribute(XMLAttributes::MaxStringLength, static_cast<long long>(m_maxStringLength));
  }
  if (rc == 0 && !m_label.empty())
    rc = e.addAttribute(XMLAttributes::DisplayLabel, m_label.c_str());

  // 2. Children, in their fixed order; a child that writes nothing abandons the field.
  const bool isFlag = m_type == Flag;
  CFXMLWrapper* child = nullptr;
  if (rc == 0 && !m_range.IsEmpty()) {
    m_range.AddToTree(e, child, false);
    if (child == nullptr) rc = kFailed;
  }
  if (rc == 0 && !m_values.empty()) {
    AddValuesToTree(m_values, e, child, isFlag);
    if (child == nullptr) rc = kFailed;
  }
  const CFMissingValues& missing = m_missingValues;
  bool defaultMissing = missing.GetMissingRange().IsEmpty() &&
                        missing.GetMissingValueList().empty() && !missing.IsWhiteSpMissing() &&
                        missing.IsNullMissing();
  if (rc == 0 && !defaultMissing) {
    CFXMLWrapper* missingElement = nullptr;
    rc = e.addElement(XMLElements::MissingValues, &missingElement);
    if (rc == 0) {
      rc = missingElement->addAttribute(XMLAttributes::TreatNullAsMissing,
                                        missing.IsNullMissing() ? "true" : "false");
    }
    if (rc == 0) {
      rc = missingElement->addAttribute(XMLAttributes::TreatWhitespaceAsMissing,
                                        missing.IsWhiteSpMissing() ? "true" : "false");
    }
    if (rc == 0 && !missing.GetMissingRange().IsEmpty()) {
      missing.GetMissingRange().AddToTree(*missingElement, child, true);
      if (child == nullptr) rc = kFailed;
    }
    if (rc == 0 && !missing.GetMissingValueList().empty()) {
      AddValuesToTree(missing.GetMissingValueList(), *missingElement, child, isFlag);
      if (child == nullptr) rc = kFailed;
    }
  }
  if (rc == 0 && !m_valueLabels.empty()) {
    CFXMLWrapper* labels = nullptr;
    rc = e.addElement(XMLElements::ValueLabels, &labels);
    if (rc == 0) {
      AddValuesToTree(m_valueLabels, *labels, child, isFlag);
      if (child == nullptr) rc = kFailed;
    }
  }
  if (rc == 0 && (!m_formatReference.empty() || m_privateFormat)) {
    CFXMLWrapper* formatElement = nullptr;
    rc = e.addElement(XMLElements::FieldFormat, &formatElement);
    if (rc == 0 && !m_formatReference.empty()) {
      rc = formatElement->addAttribute(XMLAttributes::UseNamedFormat, m_formatReference.c_str());
    } else if (rc == 0) {
      m_privateFormat->AddToTree(*formatElement, child);
      if (child == nullptr) rc = kFailed;
    }
  }
  if (rc == 0 && m_modelField) {
    m_modelField->AddToTree(e, child);
    if (child == nullptr) rc = kFailed;
  }
  if (rc == 0 && m_geo) {
    m_geo->AddToTree(e, child);
    if (child == nullptr) rc = kFailed;
  }
  if (rc == 0 && m_catStats) {
    m_catStats->AddToTree(e, child);
    if (child == nullptr) rc = kFailed;
  }
  if (rc == 0 && m_contStats) {
    m_contStats->AddToTree(e, child);
    if (child == nullptr) rc = kFailed;
  }
  if (rc == 0 && !isBaseField && m_baseField) {
    m_baseField->AddToTree(e, child, true);
    if (child == nullptr) rc = kFailed;
  }
  cfmeta_internal::AttachFinished(rc, std::move(element), parent, created);
}

// --- Setters. A nameless field (a failed read) is frozen: only the label and the maximum
// string length can change, so it can never be given a name afterwards.

void CFField::SetName(const std::string& name) {
  if (!m_name.empty()) m_name = name;
}

void CFField::SetLabel(const std::string& label) { m_label = label; }

void CFField::SetSubRole(const std::string& subRole) {
  if (!m_name.empty()) m_subRole = subRole;
}

void CFField::SetRole(RoleType role) {
  if (!m_name.empty()) m_role = role;
}

void CFField::SetStructure(StructureType structure) {
  if (!m_name.empty()) m_structure = structure;
}

void CFField::SetStructureStorage(StorageType storage) {
  if (!m_name.empty()) m_structureStorage = storage;
}

void CFField::SetDepth(int depth) {
  if (!m_name.empty()) m_depth = depth;
}

void CFField::SetElementCount(int count) {
  if (!m_name.empty()) m_elementCount = count;
}

void CFField::SetMaxStringLength(unsigned int length) { m_maxStringLength = length; }

bool CFField::SetFieldType(FieldType type) {
  if (m_name.empty()) return false;
  if (type != Continuous) m_range = CFRange();
  if (type == Continuous || type == Typeless || type == UnknownType) {
    m_values.clear();
    m_catStats.reset();
  }
  if (type != Continuous) m_contStats.reset();
  m_type = type;
  return true;
}

bool CFField::SetRange(const CFRange& range) {
  if (m_name.empty() || m_type != Continuous) return false;
  if (!range.IsEmpty() && !StorageMatches(range.GetLimits().first)) return false;
  m_range = range;
  return true;
}

bool CFField::AllMatchStorage(const std::vector<CFValue>& values) const {
  for (const CFValue& value : values) {
    if (value.GetValue().IsNull() || !StorageMatches(value.GetValue())) return false;
  }
  return true;
}

void CFField::SetValues(const std::vector<CFValue>& values) {
  if (m_name.empty() || !IsCategorical(m_type) || !AllMatchStorage(values)) return;
  m_values = values;
}

void CFField::SetValueLabels(const std::vector<CFValue>& labels) {
  if (m_name.empty() || !AllMatchStorage(labels)) return;
  m_valueLabels = labels;
}

bool CFField::SetMissingValues(const CFMissingValues& missing) {
  if (m_name.empty() || !missing.IsValid()) return false;
  const CFRange& range = missing.GetMissingRange();
  if (!range.IsEmpty()) {
    if (!StorageMatches(range.GetLimits().first)) return false;
  } else if (!missing.GetMissingValueList().empty()) {
    if (!StorageMatches(missing.GetMissingValueList().front().GetValue())) return false;
  }
  m_missingValues = missing;
  return true;
}

bool CFField::SetFormatReference(const std::string& name) {
  if (m_name.empty()) return false;
  m_formatReference = name;
  if (!name.empty()) m_privateFormat.reset();
  return true;
}

bool CFField::SetPrivateFormat(const CFFormat* format) {
  if (m_name.empty()) return false;
  if (format == nullptr) {
    m_privateFormat.reset();
    return true;
  }
  if (!MatchesFormat(m_storage, *format)) return false;
  m_privateFormat.reset(format->Clone());
  return true;
}

bool CFField::SetModelField(const CFModelField* modelField) {
  if (m_name.empty()) return false;
  if (modelField != nullptr && modelField->GetMFRole() == CFModelField::NoMFRole) return false;
  m_modelField.reset(modelField != nullptr ? new CFModelField(*modelField) : nullptr);
  return true;
}

bool CFField::SetGeo(const CFGeo* geo) {
  if (m_name.empty()) return false;
  m_geo.reset(geo != nullptr ? new CFGeo(*geo) : nullptr);
  return true;
}

void CFField::SetBaseField(const CFField& base) {
  if (m_name.empty() || base.m_baseField) return;
  m_baseField.reset(new CFField(base));
}

bool CFField::SetSumStats(const CFContStats* stats) {
  if (m_name.empty() || m_type != Continuous) return false;
  if (stats == nullptr) {
    m_contStats.reset();
    return true;
  }
  bool suits = false;
  switch (m_storage) {
    case IntegerStorage:
      suits = dynamic_cast<const CFContStatsInt*>(stats) != nullptr;
      break;
    case RealStorage:
    case DateStorage:
    case TimeStorage:
    case TimestampStorage:
      suits = dynamic_cast<const CFContStatsDbl*>(stats) != nullptr;
      break;
    default:
      break;
  }
  if (!suits) return false;
  m_contStats.reset(stats->Clone());
  return true;
}

bool CFField::SetSumStats(const CFCatStats* stats) {
  if (m_name.empty() || !IsCategorical(m_type)) return false;
  if (stats == nullptr) {
    m_catStats.reset();
    return true;
  }
  // As on reading: integers and strings have their own accumulators, every other storage
  // (unknown included) counts doubles.
  bool suits = false;
  if (m_storage == IntegerStorage) {
    suits = dynamic_cast<const CFCatStatsInt*>(stats) != nullptr;
  } else if (m_storage == StringStorage) {
    suits = dynamic_cast<const CFCatStatsStr*>(stats) != nullptr;
  } else if (m_storage >= UnknownStorage && m_storage <= TimestampStorage) {
    suits = dynamic_cast<const CFCatStatsDbl*>(stats) != nullptr;
  }
  if (!suits) return false;
  m_catStats.reset(stats->Clone());
  return true;
}
