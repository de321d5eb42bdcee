#include "cfmeta/field/cffield.h"

#include <cstring>
#include <string>
#include <utility>

#include "cfmeta/field/cffieldread_internal.h"
#include "cfmeta/field/cffieldwrite_internal.h"
#include "cfmeta/field/cfgeo.h"
#include "cfmeta/field/cfmodelfield.h"
#include "cfmeta/format/cfdateformat.h"
#include "cfmeta/format/cfdecoratedformat.h"
#include "cfmeta/format/cfformat.h"
#include "cfmeta/format/cfnumberformat.h"
#include "cfmeta/format/cfstringformat.h"
#include "cfmeta/format/cftimeformat.h"
#include "cfmeta/stats/cfcatstats.h"
#include "cfmeta/stats/cfcatstatsimp.h"
#include "cfmeta/stats/cfcontstats.h"
#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/vocab/xmlelement.h"
#include "cfmeta/xml/cfxmlexchange_internal.h"
#include "cfmeta/xml/cfxmliteratorwrapper.h"
#include "cfmeta/xml/cfxmlwrapper.h"

using CfExtension::CFXMLIteratorWrapper;
using CfExtension::CFXMLWrapper;
namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLElements = CfCppHelperV1::XMLElements;
namespace XMLEntities = CfCppHelperV1::XMLEntities;

namespace {

constexpr int kBadContent = CfExtension::kXMLBadArgument;
constexpr int kAbsent = 4;

// Texts of this library that have no vocabulary constant.
const char* const kSubRoleAttribute = "subRole";
const char* const kConfidenceRole = "confidence";
const char* const kRecordIdRole = "recordId";
const char* const kCumulativeHazardRole = "cumulativeHazard";
const char* const kExtendedRole = "extended";
const char* const kNoRuleFeature = "";

// The storage's entity text, for messages.
const char* StorageText(CFField::StorageType storage) {
  const char* text = cfmeta_internal::TextFor(CFField::kStorageTable, storage);
  return text != nullptr ? text : XMLEntities::Unknown;
}

// Broken for a child element the field's type or storage does not allow.
int NotAllowed(const CFXMLWrapper& child, const char* where) {
  std::string name;
  child.getName(name);
  return cfmeta_internal::Broken(child, name + " is allowed only in " + std::string(where));
}

// Broken for a Value element that reads as no value of `type`.
int BadValue(const CFXMLWrapper& value, CFDatum::DataType type) {
  if (!cfmeta_internal::Reporting(value)) return kBadContent;
  std::string text;
  bool found = false;
  value.getAttribute(XMLAttributes::Value, text, found);
  if (!found) return cfmeta_internal::Missing(value, XMLAttributes::Value);
  const char* kind = type == CFDatum::Integer ? "an integer" : "a finite number";
  return cfmeta_internal::Broken(
      value, "value '" + text + "' is not " + kind + ", as the field's storage needs");
}

bool IsCategorical(CFField::FieldType type) {
  return type >= CFField::Nominal && type <= CFField::Discrete;
}

// Reads an enumeration attribute: absent or empty gives `fallback`, a text not in `rows` 5.
int GetEnumAttr(const CFXMLWrapper& element, const char* name, const CFField::EntityRow* rows,
                uint32_t fallback, uint32_t& value) {
  bool found = false;
  return cfmeta_internal::ReadEnumAttr(
      element, name, cfmeta_internal::EnumAbsent::EmptyIsAbsent,
      [rows](const char* text, uint32_t& rowValue) {
        const int row = cfmeta_internal::FindStrInList(text, rows);
        if (row >= 0) rowValue = rows[row].value;
        return row >= 0;
      },
      fallback, value, found);
}

// Reads a count attribute through the int getter (an XML Schema integer, white space
// collapsed, narrowed to int): absent gives `fallback`; negative or unconvertible is refused.
int GetCountAttr(const CFXMLWrapper& element, const char* name, int fallback, int& value) {
  bool found = false;
  int rc = element.getAttribute(name, value, found);
  if (rc != 0)
    return cfmeta_internal::Broken(element, std::string(name) + " must be a whole number", rc);
  if (!found) {
    value = fallback;
    return 0;
  }
  return value < 0 ? cfmeta_internal::Broken(element, std::string(name) + " must not be negative")
                   : 0;
}

}  // namespace

const CFField::EntityRow CFField::kStorageTable[] = {
    {UnknownStorage, XMLEntities::Unknown},     {IntegerStorage, XMLEntities::Integer},
    {RealStorage, XMLEntities::Real},           {StringStorage, XMLEntities::String},
    {DateStorage, XMLEntities::Date},           {TimeStorage, XMLEntities::Time},
    {TimestampStorage, XMLEntities::Timestamp}, {0, nullptr}};

const CFField::EntityRow CFField::kRoleTable[] = {{Input, XMLEntities::Input},
                                                  {Target, XMLEntities::Target},
                                                  {Both, XMLEntities::Both},
                                                  {Partition, XMLEntities::Partition},
                                                  {Split, XMLEntities::Split},
                                                  {FreqWeight, XMLEntities::FreqWeight},
                                                  {RecordId, XMLEntities::RecordId},
                                                  {NoRole, XMLEntities::None},
                                                  {0, nullptr}};

const CFField::EntityRow CFField::kStructureTable[] = {
    {Primitive, XMLEntities::Primitive}, {List, XMLEntities::List}, {0, nullptr}};

const CFField::EntityRow CFField::kMeasureTable[] = {
    {Continuous, XMLEntities::Continuous}, {Nominal, XMLEntities::Nominal},
    {Ordinal, XMLEntities::Ordinal},       {Flag, XMLEntities::Flag},
    {Discrete, XMLEntities::Discrete},     {Typeless, XMLEntities::Typeless},
    {UnknownType, XMLEntities::Unknown},   {0, nullptr}};

const CFField::EntityRow CFField::kGeoTypeTable[] = {{4, XMLEntities::Polygon},
                                                     {5, XMLEntities::MultiPolygon},
                                                     {0, XMLEntities::Point},
                                                     {1, XMLEntities::MultiPoint},
                                                     {2, XMLEntities::LineString},
                                                     {3, XMLEntities::MultiLineString},
                                                     {0, nullptr}};

const CFField::EntityRow CFField::kModelFieldRoleTable[] = {{0, XMLEntities::Unknown},
                                                            {1, XMLEntities::PredictedValue},
                                                            {2, XMLEntities::Probability},
                                                            {3, kConfidenceRole},
                                                            {4, XMLEntities::Residual},
                                                            {5, XMLEntities::StandardError},
                                                            {6, XMLEntities::ClusterId},
                                                            {7, XMLEntities::ClusterAffinity},
                                                            {8, XMLEntities::EntityId},
                                                            {9, XMLEntities::EntityAffinity},
                                                            {10, XMLEntities::UpperConfidenceLimit},
                                                            {11, XMLEntities::LowerConfidenceLimit},
                                                            {12, XMLEntities::Propensity},
                                                            {13, kRecordIdRole},
                                                            {14, kCumulativeHazardRole},
                                                            {15, XMLEntities::Warning},
                                                            {16, XMLEntities::RuleValue},
                                                            {17, kExtendedRole},
                                                            {18, XMLEntities::Derived},
                                                            {0, nullptr}};

const CFField::EntityRow CFField::kRuleFeatureTable[] = {
    {7, kNoRuleFeature},       {0, XMLEntities::Antecedent}, {1, XMLEntities::Consequent},
    {2, XMLEntities::Rule},    {3, XMLEntities::RuleId},     {4, XMLEntities::Confidence},
    {5, XMLEntities::Support}, {6, XMLEntities::Lift},       {0, nullptr}};

const CFField::EntityRow CFField::kPartitionTable[] = {{1, XMLEntities::Training},
                                                       {2, XMLEntities::Testing},
                                                       {3, XMLEntities::Validation},
                                                       {0, nullptr}};

namespace cfmeta_internal {

int FindStrInList(const char* text, const CFField::EntityRow* rows) {
  if (text == nullptr) return -1;
  for (int i = 0; rows[i].text != nullptr; ++i) {
    if (std::strcmp(text, rows[i].text) == 0) return i;
  }
  return -1;
}

int GetBoolAttr(const CFXMLWrapper& element, const char* name, bool& value, bool& found) {
  return ReadBoolAttr(element, name, value, found);
}

int GetDataValueAttr(const CFXMLWrapper& element, const char* name, CFDatum::DataType type,
                     CFDatum& datum, int& status) {
  datum = CFDatum::MakeNull(datum.GetType());
  status = -1;
  bool found = false;
  switch (type) {
    case CFDatum::String: {
      std::string text;
      int rc = element.getAttribute(name, text, found);
      if (rc != 0) return rc;
      status = found ? 0 : kAbsent;
      if (found) datum.SetValue(text.c_str(), false);
      return 0;
    }
    case CFDatum::Real: {
      double value = 0.0;
      int kind = -1;
      int rc = element.getAttribute(name, value, found, kind);
      if (rc != 0) return rc;
      if (!found) {
        status = kAbsent;
        return 0;
      }
      status = kind;
      if (kind == 0) datum = CFDatum(value);
      return 0;
    }
    default: {
      long long value = 0;
      int rc = element.getAttribute(name, value, found);
      if (rc != 0) return rc;
      status = found ? 0 : kAbsent;
      if (found) datum = CFDatum(value);
      return 0;
    }
  }
}

int GetDataValueAttr(const CfCppHelperV1::XMLElement& element, const char* name,
                     CFDatum::DataType type, CFDatum& datum, int& status) {
  datum = CFDatum::MakeNull(datum.GetType());
  status = -1;
  std::string text;
  if (name == nullptr || !element.getAttribute(name, text)) {
    status = kAbsent;
    return 0;
  }
  switch (type) {
    case CFDatum::String:
      datum.SetValue(text.c_str(), false);
      status = 0;
      return 0;
    case CFDatum::Real: {
      // The wrapper's grammar and special values, so that both readers of one element agree.
      double value = 0.0;
      int kind = -1;
      if (!CFXMLWrapper::ParseDouble(text, value, kind)) return kBadContent;
      status = kind;
      if (kind == 0) datum = CFDatum(value);
      return 0;
    }
    default: {
      long long value = 0;
      if (!CFXMLWrapper::ParseLongLong(text, value)) return kBadContent;
      datum = CFDatum(value);
      status = 0;
      return 0;
    }
  }
}

int GetValuesList(const CFXMLWrapper& element, CFDatum::DataType type, std::vector<CFValue>& list) {
  list.clear();
  CFXMLIteratorWrapper* children = nullptr;
  int rc = element.getElementDirectIterator(XMLElements::Value, &children);
  if (rc != 0) return rc;
  for (CFXMLWrapper* child = children->nextElement(); child != nullptr;
       child = children->nextElement()) {
    list.emplace_back(*child, type);
    if (list.back().GetValue().IsNull()) {
      list.clear();
      return BadValue(*child, type);
    }
  }
  // A loaded document keeps its lists for its whole life; growth slack would be most of it.
  list.shrink_to_fit();
  return 0;
}

}  // namespace cfmeta_internal

CFField::CFField() = default;

CFField::CFField(const std::string& name, StorageType storage, FieldType type) {
  if (name.empty() || cfmeta_internal::TextFor(kStorageTable, storage) == nullptr ||
      cfmeta_internal::TextFor(kMeasureTable, type) == nullptr) {
    return;
  }
  m_name = name;
  m_storage = storage;
  m_type = type;
  m_role = Input;
}

CFField::CFField(const CFXMLWrapper& element, bool isBaseField) {
  if (Read(element, isBaseField) != 0) *this = CFField();
}

CFField::CFField(const CFField& other)
    : m_name(other.m_name),
      m_type(other.m_type),
      m_storage(other.m_storage),
      m_role(other.m_role),
      m_structure(other.m_structure),
      m_structureStorage(other.m_structureStorage),
      m_subRole(other.m_subRole),
      m_maxStringLength(other.m_maxStringLength),
      m_depth(other.m_depth),
      m_elementCount(other.m_elementCount),
      m_label(other.m_label),
      m_range(other.m_range),
      m_values(other.m_values),
      m_missingValues(other.m_missingValues),
      m_valueLabels(other.m_valueLabels),
      m_formatReference(other.m_formatReference),
      m_privateFormat(other.m_privateFormat ? other.m_privateFormat->Clone() : nullptr),
      m_modelField(other.m_modelField ? new CFModelField(*other.m_modelField) : nullptr),
      m_geo(other.m_geo ? new CFGeo(*other.m_geo) : nullptr),
      m_catStats(other.m_catStats ? other.m_catStats->Clone() : nullptr),
      m_contStats(other.m_contStats ? other.m_contStats->Clone() : nullptr),
      m_baseField(other.m_baseField ? new CFField(*other.m_baseField) : nullptr) {}

CFField::CFField(CFField&& other) noexcept = default;

CFField& CFField::operator=(const CFField& other) {
  if (this != &other) *this = CFField(other);
  return *this;
}

CFField& CFField::operator=(CFField&& other) noexcept = default;

CFField::~CFField() = default;

CFDatum::DataType CFField::DatumTypeOf(StorageType storage) {
  switch (storage) {
    case StringStorage:
      return CFDatum::String;
    case RealStorage:
    case DateStorage:
    case TimeStorage:
    case TimestampStorage:
      return CFDatum::Real;
    default:
      return CFDatum::Integer;
  }
}

CFFormat* CFField::FormatFromDOMNode(const CFXMLWrapper& element) {
  std::string name;
  if (element.getName(name) != 0) return nullptr;
  std::unique_ptr<CFFormat> format;
  if (name == XMLElements::NumberFormat) format.reset(new CFNumberFormat(element));
  if (name == XMLElements::DecoratedFormat) format.reset(new CFDecoratedFormat(element));
  if (name == XMLElements::StringFormat) format.reset(new CFStringFormat(element));
  if (name == XMLElements::DateFormat) format.reset(new CFDateFormat(element));
  if (name == XMLElements::TimeFormat) format.reset(new CFTimeFormat(element));
  if (!format) {
    cfmeta_internal::Broken(element, name + " is no display format");
    return nullptr;
  }
  if (format->GetWidth() == 0) {
    cfmeta_internal::Broken(element, "the " + name + " cannot be read");
    return nullptr;
  }
  return format.release();
}

bool CFField::MatchesFormat(StorageType storage, const CFFormat& format) {
  const char formatClass = format.GetFormatClass();
  switch (storage) {
    case IntegerStorage:
    case RealStorage:
      return formatClass == 'c' || formatClass == 'n';
    case StringStorage:
      return formatClass == 's';
    case DateStorage:
    case TimestampStorage:
      return formatClass == 'd';
    case TimeStorage:
      return formatClass == 't';
    default:
      return false;
  }
}

int CFField::Read(const CFXMLWrapper& element, bool isBaseField) {
  // 1. Attributes.
  bool found = false;
  int rc = element.getAttribute(XMLAttributes::Name, m_name, found);
  if (rc != 0) return rc;
  if (m_name.empty()) {
    return cfmeta_internal::Broken(
        element, std::string(XMLAttributes::Name) + " must be given and not empty");
  }

  uint32_t storage = 0, role = 0, structure = 0, structureStorage = 0, measure = 0;
  rc = GetEnumAttr(element, XMLAttributes::Storage, kStorageTable, UnknownStorage, storage);
  if (rc != 0) return rc;
  rc = GetEnumAttr(element, XMLAttributes::Role, kRoleTable, NoRole, role);
  if (rc != 0) return rc;
  rc = GetEnumAttr(element, XMLAttributes::Structure, kStructureTable, Primitive, structure);
  if (rc != 0) return rc;
  rc = GetEnumAttr(element, XMLAttributes::StructureStorage, kStorageTable, UnknownStorage,
                   structureStorage);
  if (rc != 0) return rc;

  int depth = 0, elementCount = 0, maxStringLength = 0;
  rc = GetCountAttr(element, XMLAttributes::Depth, -1, depth);
  if (rc != 0) return rc;
  rc = GetCountAttr(element, XMLAttributes::ElementCount, -1, elementCount);
  if (rc != 0) return rc;
  rc = GetCountAttr(element, XMLAttributes::MaxStringLength, 0, maxStringLength);
  if (rc != 0) return rc;
  rc = GetEnumAttr(element, XMLAttributes::Measure, kMeasureTable, UnknownType, measure);
  if (rc != 0) return rc;
  rc = element.getAttribute(XMLAttributes::DisplayLabel, m_label, found);
  if (rc != 0) return rc;
  rc = element.getAttribute(kSubRoleAttribute, m_subRole, found);
  if (rc != 0) return rc;

  m_storage = static_cast<StorageType>(storage);
  m_role = static_cast<RoleType>(role);
  m_structure = static_cast<StructureType>(structure);
  m_structureStorage = static_cast<StorageType>(structureStorage);
  m_depth = static_cast<int32_t>(depth);
  m_elementCount = static_cast<int32_t>(elementCount);
  m_maxStringLength = static_cast<uint32_t>(maxStringLength);
  m_type = static_cast<FieldType>(measure);

  // 2. Children, in document order; a later child of the same name replaces an earlier one.
  CFXMLIteratorWrapper* children = nullptr;
  rc = element.getElementDirectIterator("", &children);
  if (rc != 0) return rc;
  for (CFXMLWrapper* child = children->nextElement(); child != nullptr;
       child = children->nextElement()) {
    rc = ReadChild(*child, isBaseField);
    if (rc != 0) return rc;
  }
  return 0;
}

int CFField::ReadChild(const CFXMLWrapper& child, bool isBaseField) {
  std::string name;
  int rc = child.getName(name);
  if (rc != 0) return rc;
  const CFDatum::DataType datumType = DatumTypeOf(m_storage);

  if (name == XMLElements::Range) {
    if (m_type != Continuous || m_storage == UnknownStorage || m_storage == StringStorage) {
      return NotAllowed(child, "a continuous field of number, date or time storage");
    }
    m_range = CFRange(child, datumType);
  } else if (name == XMLElements::Values) {
    if (m_storage == UnknownStorage || !IsCategorical(m_type)) {
      return NotAllowed(child, "a categorical field of known storage");
    }
    return cfmeta_internal::GetValuesList(child, datumType, m_values);
  } else if (name == XMLElements::MissingValues) {
    return ReadMissingValues(child);
  } else if (name == XMLElements::ValueLabels) {
    if (m_storage == UnknownStorage) return NotAllowed(child, "a field of known storage");
    const CFXMLWrapper* values = cfmeta_internal::FirstChild(child, XMLElements::Values);
    if (values != nullptr) return cfmeta_internal::GetValuesList(*values, datumType, m_valueLabels);
  } else if (name == XMLElements::FieldFormat) {
    return ReadFieldFormat(child);
  } else if (name == XMLElements::ModelField) {
    std::unique_ptr<CFModelField> modelField(new CFModelField(child));
    if (modelField->GetMFRole() == CFModelField::NoMFRole) {
      return cfmeta_internal::Broken(child, "the model field's role or target cannot be read");
    }
    m_modelField = std::move(modelField);
  } else if (name == XMLElements::Geo) {
    m_geo.reset(new CFGeo(child));
  } else if (name == XMLElements::DiscreteStatistics) {
    if (!IsCategorical(m_type)) return NotAllowed(child, "a categorical field");
    std::unique_ptr<CFCatStats> stats;
    if (m_storage == IntegerStorage) {
      stats.reset(new CFCatStatsInt(child));
    } else if (m_storage == StringStorage) {
      stats.reset(new CFCatStatsStr(child));
    } else {
      stats.reset(new CFCatStatsDbl(child));
    }
    if (stats->GetNCats() == 0) {
      return cfmeta_internal::Broken(
          child, std::string("the statistics hold no readable ") + XMLElements::Category);
    }
    m_catStats = std::move(stats);
  } else if (name == XMLElements::ContinuousStatistics) {
    if (m_type != Continuous) return NotAllowed(child, "a continuous field");
    std::unique_ptr<CFContStats> stats;
    if (m_storage == IntegerStorage) {
      stats.reset(new CFContStatsInt(child));
    } else {
      stats.reset(new CFContStatsDbl(child));
    }
    // Only an exact zero is empty: a NaN sum is kept as read.
    if (stats->GetSumFreqWeights() == 0.0) {
      return cfmeta_internal::Broken(child, "the statistics must have a weight sum other than 0");
    }
    m_contStats = std::move(stats);
  } else if (name == XMLElements::BaseField && !isBaseField) {
    CFField base(child, true);
    if (base.m_name.empty()) return kBadContent;
    m_baseField.reset(new CFField(std::move(base)));
  }
  return 0;
}

int CFField::ReadMissingValues(const CFXMLWrapper& element) {
  bool treatNull = false, treatWhitespace = false, found = false;
  int rc =
      cfmeta_internal::GetBoolAttr(element, XMLAttributes::TreatNullAsMissing, treatNull, found);
  if (rc != 0) return rc;
  if (!found) treatNull = true;
  rc = cfmeta_internal::GetBoolAttr(element, XMLAttributes::TreatWhitespaceAsMissing,
                                    treatWhitespace, found);
  if (rc != 0) return rc;

  const CFDatum::DataType datumType = DatumTypeOf(m_storage);
  CFRange range;
  if (m_storage != UnknownStorage && m_storage != StringStorage) {
    const CFXMLWrapper* child = cfmeta_internal::FirstChild(element, XMLElements::Range);
    if (child != nullptr) range = CFRange(*child, datumType);
  }
  std::vector<CFValue> values;
  if (m_storage != UnknownStorage) {
    const CFXMLWrapper* child = cfmeta_internal::FirstChild(element, XMLElements::Values);
    if (child != nullptr) {
      rc = cfmeta_internal::GetValuesList(*child, datumType, values);
      if (rc != 0) return rc;
    }
  }
  m_missingValues = CFMissingValues(range, values, treatNull, treatWhitespace);
  return 0;
}

int CFField::ReadFieldFormat(const CFXMLWrapper& element) {
  bool found = false;
  int rc = element.getAttribute(XMLAttributes::UseNamedFormat, m_formatReference, found);
  if (rc != 0) return rc;
  // A named shared format wins over anything the element also holds.
  if (!m_formatReference.empty()) return 0;
  const CFXMLWrapper* child = cfmeta_internal::FirstChild(element, "");
  if (child == nullptr) return 0;
  std::unique_ptr<CFFormat> format(FormatFromDOMNode(*child));
  if (!format) return kBadContent;
  if (!MatchesFormat(m_storage, *format)) {
    std::string name;
    child->getName(name);
    return cfmeta_internal::Broken(
        *child, "a " + name + " does not suit " + StorageText(m_storage) + " storage");
  }
  m_privateFormat = std::move(format);
  return 0;
}
