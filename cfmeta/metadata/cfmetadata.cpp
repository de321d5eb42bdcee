#include "cfmeta/metadata/cfmetadata.h"

#include <cmath>
#include <iostream>
#include <map>
#include <unordered_map>
#include <utility>
#include <vector>

#include "cfmeta/format/cfformat.h"
#include "cfmeta/metadata/cffieldgroup.h"
#include "cfmeta/summaries/cfdatasetsummaries.h"
#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/xml/cfxmlexchange_internal.h"
#include "cfmeta/xml/cfxmliteratorwrapper.h"
#include "cfmeta/xml/cfxmlwrapper.h"

using CfExtension::CFXMLIteratorWrapper;
using CfExtension::CFXMLWrapper;
namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLElements = CfCppHelperV1::XMLElements;

namespace {

constexpr int kFailed = 5;

// The four default slots, in their fixed order, each tied to one storage.
constexpr CFField::StorageType kSlotStorage[4] = {CFField::RealStorage, CFField::StringStorage,
                                                  CFField::DateStorage, CFField::TimeStorage};

int SlotOf(CFField::StorageType storage) {
  switch (storage) {
    case CFField::IntegerStorage:
    case CFField::RealStorage:
      return 0;
    case CFField::StringStorage:
      return 1;
    case CFField::DateStorage:
    case CFField::TimestampStorage:
      return 2;
    case CFField::TimeStorage:
      return 3;
    default:
      return -1;
  }
}

const char* SlotAttribute(CFField::StorageType storage) {
  switch (storage) {
    case CFField::StringStorage:
      return XMLAttributes::DefaultStringFormat;
    case CFField::DateStorage:
    case CFField::TimestampStorage:
      return XMLAttributes::DefaultDateFormat;
    case CFField::TimeStorage:
      return XMLAttributes::DefaultTimeFormat;
    default:
      return XMLAttributes::DefaultNumberFormat;
  }
}

// Room for one more element, growing geometrically: reserving exactly one more each time
// would copy the whole vector on every append.
template <typename T>
void MakeRoomForOne(std::vector<T>& items) {
  if (items.size() == items.capacity()) items.reserve(items.empty() ? 4 : 2 * items.size());
}

// Fills the outputs of a group look-up from `group`, or clears them all when it is null.
bool FillGroup(const CFFieldGroup* group, std::vector<std::string>& fields, std::string& label,
               std::string& countedValue) {
  if (group == nullptr) {
    fields.clear();
    label.clear();
    countedValue.clear();
    return false;
  }
  fields = group->GetFields();
  label = group->GetLabel();
  countedValue = group->GetCountedValue();
  return true;
}

double Known(double count) { return count < 0 ? -1.0 : count; }

bool IsWhole(double value) { return value == std::floor(value); }

// A double count attribute that must be present and finite.
int ReadRequiredCount(const CFXMLWrapper& element, const char* name, double& value) {
  bool found = false;
  int kind = -1;
  int rc = element.getAttribute(name, value, found, kind);
  if (rc != 0 || !found || kind != 0) {
    return cfmeta_internal::Broken(element,
                                   std::string(name) + " must be given as a finite number");
  }
  return 0;
}

// A double count attribute that may be absent (-1); present, it must be finite, and a
// negative value means unknown.
int ReadOptionalCount(const CFXMLWrapper& element, const char* name, double& value) {
  bool found = false;
  int kind = -1;
  int rc = element.getAttribute(name, value, found, kind);
  if (rc != 0 || (found && kind != 0)) {
    return cfmeta_internal::Broken(element, std::string(name) + " must be a finite number");
  }
  if (!found) {
    value = -1.0;
    return 0;
  }
  if (value < 0) value = -1.0;
  return 0;
}

}  // namespace

class CFMetaData::Impl {
 public:
  explicit Impl(CFUpperFunc* upperFunc) : upper(upperFunc) {}
  Impl(const Impl& other);

  std::string KeyOf(const std::string& name) const {
    return upper != nullptr ? (*upper)(name) : name;
  }
  int IndexOfKey(const std::string& key) const {
    auto found = keyIndex.find(key);
    return found == keyIndex.end() ? -1 : static_cast<int>(found->second);
  }
  int IndexOfFormat(const std::string& name) const {
    for (size_t i = 0; i < formats.size(); ++i) {
      if (formats[i]->GetName() == name) return static_cast<int>(i);
    }
    return -1;
  }

  int AppendField(const CFField& field);
  int ReplaceField(unsigned int index, const CFField* field);
  int AddSharedFormat(const CFFormat& format);
  int DropSharedFormat(unsigned int index);
  int SetDefaultFormat(CFField::StorageType storage, const std::string& name);
  void SetRecordCounts(double unweighted, double weighted) {
    if (!IsWhole(unweighted)) return;
    unweightedCount = Known(unweighted);
    weightedCount = Known(weighted);
  }
  void SetDroppedCount(double dropped) {
    if (IsWhole(dropped)) droppedCount = Known(dropped);
  }
  void SetDroppedDetails(double badWeight, double weightedDropped) {
    if (IsWhole(badWeight)) badWeightCount = Known(badWeight);
    weightedDroppedCount = Known(weightedDropped);
  }

  // Takes ownership of `group` unless it has no members or its type and name are taken; a
  // refused group is destroyed.
  bool AddGroup(std::unique_ptr<CFFieldGroup> group);
  // The group's position in the list, or -1.
  int IndexOfGroup(CFMetaData::GroupType type, const std::string& name) const {
    auto found = groupIndex.find(GroupKey(type, name));
    return found == groupIndex.end() ? -1 : static_cast<int>(found->second);
  }
  int IndexOfGroup(CFMetaData::GroupType type, unsigned int ordinal) const {
    auto ofType = groupsOfType.find(type);
    if (ofType == groupsOfType.end() || ordinal >= ofType->second.size()) return -1;
    return static_cast<int>(ofType->second[ordinal]);
  }
  bool DropGroup(CFMetaData::GroupType type, const std::string& name);

  // Loads `xml` into this empty Impl; on failure fills `loadError`.
  int Load(const std::string& xml);
  int LoadDocument(const CFXMLWrapper& doc, const CFXMLWrapper& fieldsElement,
                   const CFXMLWrapper*& failedAt);
  int ReadFormats(const CFXMLWrapper& formatsElement);
  int ReadGroups(const CFXMLWrapper& groupsElement);
  int ReadCounts(const CFXMLWrapper& countsElement);
  int ReadFields(const CFXMLWrapper& fieldsElement);
  int Export(std::string& out) const;

  CFUpperFunc* upper;
  std::vector<std::unique_ptr<CFField>> fields;
  std::vector<std::string> keys;
  // Key to position; keys are unique, so this is the first match the key list would give.
  std::unordered_map<std::string, size_t> keyIndex;
  std::vector<std::unique_ptr<CFFormat>> formats;
  // Formats taken out of the list stay alive so that pointers handed out earlier stay usable.
  std::vector<std::unique_ptr<CFFormat>> droppedFormats;
  std::vector<std::unique_ptr<CFFieldGroup>> groups;
  // Groups are identified by type and name together; (type, name) to position.
  using GroupKey = std::pair<int32_t, std::string>;
  std::map<GroupKey, size_t> groupIndex;
  // The positions of each type's groups, in list order, so the ordinal look-up is direct.
  // A group of a type outside the four kinds is kept like any other (it fails only when
  // written), so the types are not a fixed set.
  std::map<int32_t, std::vector<size_t>> groupsOfType;
  // Groups taken out of the list, kept like the dropped formats.
  std::vector<std::unique_ptr<CFFieldGroup>> droppedGroups;
  int slots[4] = {-1, -1, -1, -1};
  double unweightedCount = -1.0;
  double weightedCount = -1.0;
  double droppedCount = -1.0;
  double badWeightCount = -1.0;
  double weightedDroppedCount = -1.0;
  std::unique_ptr<CFDatasetSummaries> summaries;
  CFLoadError loadError;
  std::ostream* messages = &std::cout;
};

CFMetaData::Impl::Impl(const Impl& other)
    : upper(other.upper),
      keys(other.keys),
      keyIndex(other.keyIndex),
      unweightedCount(other.unweightedCount),
      weightedCount(other.weightedCount),
      droppedCount(other.droppedCount),
      badWeightCount(other.badWeightCount),
      weightedDroppedCount(other.weightedDroppedCount),
      summaries(other.summaries ? new CFDatasetSummaries(*other.summaries) : nullptr),
      loadError(other.loadError),
      messages(other.messages) {
  fields.reserve(other.fields.size());
  for (const auto& field : other.fields) fields.emplace_back(new CFField(*field));
  formats.reserve(other.formats.size());
  for (const auto& format : other.formats) formats.emplace_back(format->Clone());
  for (int i = 0; i < 4; ++i) slots[i] = other.slots[i];
  groups.reserve(other.groups.size());
  for (const auto& group : other.groups) groups.emplace_back(new CFFieldGroup(*group));
  groupIndex = other.groupIndex;
  groupsOfType = other.groupsOfType;
}

int CFMetaData::Impl::AppendField(const CFField& field) {
  if (field.GetName().empty()) return -1;
  std::string key = KeyOf(field.GetName());
  if (IndexOfKey(key) >= 0) return -1;
  fields.emplace_back(new CFField(field));
  keyIndex.emplace(key, fields.size() - 1);
  keys.push_back(std::move(key));
  return static_cast<int>(fields.size() - 1);
}

int CFMetaData::Impl::ReplaceField(unsigned int index, const CFField* field) {
  if (index >= fields.size()) return -1;
  if (field == nullptr) {
    for (size_t i = index + 1; i < keys.size(); ++i) keyIndex.find(keys[i])->second = i - 1;
    keyIndex.erase(keys[index]);
    keys.erase(keys.begin() + index);
    fields.erase(fields.begin() + index);
    return static_cast<int>(index);
  }
  if (field->GetName().empty()) return -1;
  std::string key = KeyOf(field->GetName());
  const int at = IndexOfKey(key);
  if (at >= 0 && at != static_cast<int>(index)) return -1;
  // Everything that may throw comes before the first change.
  std::unique_ptr<CFField> copy(new CFField(*field));
  if (at < 0) {
    keyIndex.emplace(key, index);
    keyIndex.erase(keys[index]);
    keys[index].swap(key);
  }
  fields[index] = std::move(copy);
  return static_cast<int>(index);
}

int CFMetaData::Impl::AddSharedFormat(const CFFormat& format) {
  if (format.GetWidth() == 0) return -1;
  std::string name = format.GetName();
  if (name.empty()) return -1;
  std::unique_ptr<CFFormat> clone(format.Clone());
  int index = IndexOfFormat(name);
  if (index >= 0) {
    formats[index] = std::move(clone);
  } else {
    formats.push_back(std::move(clone));
    index = static_cast<int>(formats.size() - 1);
  }
  for (int slot = 0; slot < 4; ++slot) {
    if (slots[slot] == index && !CFField::MatchesFormat(kSlotStorage[slot], *formats[index])) {
      slots[slot] = -1;
    }
  }
  return index;
}

int CFMetaData::Impl::DropSharedFormat(unsigned int index) {
  if (index >= formats.size()) return -1;
  droppedFormats.push_back(std::move(formats[index]));
  formats.erase(formats.begin() + index);
  const int dropped = static_cast<int>(index);
  for (int& slot : slots) {
    if (slot == dropped) {
      slot = -1;
    } else if (slot > dropped) {
      --slot;
    }
  }
  return dropped;
}

int CFMetaData::Impl::SetDefaultFormat(CFField::StorageType storage, const std::string& name) {
  int index = IndexOfFormat(name);
  if (index < 0) return -1;
  int slot = SlotOf(storage);
  if (slot < 0 || !CFField::MatchesFormat(storage, *formats[index])) return -1;
  slots[slot] = index;
  return index;
}

bool CFMetaData::Impl::AddGroup(std::unique_ptr<CFFieldGroup> group) {
  const CFMetaData::GroupType type = group->GetType();
  if (group->GetFields().empty()) return false;
  // Room first, so that once the index accepts the group nothing can fail.
  MakeRoomForOne(groups);
  MakeRoomForOne(groupsOfType[type]);
  if (!groupIndex.emplace(GroupKey(type, group->GetName()), groups.size()).second) return false;
  groupsOfType[type].push_back(groups.size());
  groups.push_back(std::move(group));
  return true;
}

bool CFMetaData::Impl::DropGroup(CFMetaData::GroupType type, const std::string& name) {
  const int at = IndexOfGroup(type, name);
  if (at < 0) return false;
  const size_t dropped = static_cast<size_t>(at);
  // The positions after the dropped group move down; the new index is built aside and swapped
  // in, so a failure while building it changes nothing.
  std::map<GroupKey, size_t> index;
  std::map<int32_t, std::vector<size_t>> ofType;
  for (size_t i = 0; i < groups.size(); ++i) {
    if (i == dropped) continue;
    const size_t position = i < dropped ? i : i - 1;
    index.emplace(GroupKey(groups[i]->GetType(), groups[i]->GetName()), position);
    ofType[groups[i]->GetType()].push_back(position);
  }
  droppedGroups.push_back(std::move(groups[dropped]));
  groups.erase(groups.begin() + at);
  groupIndex.swap(index);
  groupsOfType.swap(ofType);
  return true;
}

int CFMetaData::Impl::ReadFormats(const CFXMLWrapper& formatsElement) {
  CFXMLIteratorWrapper* it = nullptr;
  int rc = formatsElement.getElementDirectIterator("", &it);
  if (rc != 0) return rc;
  while (CFXMLWrapper* child = it->nextElement()) {
    std::unique_ptr<CFFormat> format(CFField::FormatFromDOMNode(*child));
    if (!format) return kFailed;
    if (AddSharedFormat(*format) < 0) {
      return cfmeta_internal::Broken(
          *child, std::string("a shared format's ") + XMLAttributes::Name + " must not be empty");
    }
  }
  const std::pair<const char*, CFField::StorageType> defaults[] = {
      {XMLAttributes::DefaultNumberFormat, CFField::RealStorage},
      {XMLAttributes::DefaultDateFormat, CFField::DateStorage},
      {XMLAttributes::DefaultTimeFormat, CFField::TimeStorage},
      {XMLAttributes::DefaultStringFormat, CFField::StringStorage},
  };
  for (const auto& entry : defaults) {
    std::string name;
    bool found = false;
    rc = formatsElement.getAttribute(entry.first, name, found);
    if (rc != 0) return rc;
    if (found && !name.empty() && SetDefaultFormat(entry.second, name) < 0) {
      return cfmeta_internal::Broken(formatsElement, std::string(entry.first) + " '" + name +
                                                         "' names no shared format of its kind");
    }
  }
  return 0;
}

int CFMetaData::Impl::ReadGroups(const CFXMLWrapper& groupsElement) {
  CFXMLIteratorWrapper* it = nullptr;
  int rc = groupsElement.getElementDirectIterator("", &it);
  if (rc != 0) return rc;
  while (CFXMLWrapper* child = it->nextElement()) {
    std::unique_ptr<CFFieldGroup> group = CFFieldGroup::FromElement(*child);
    child->releaseHandedOut();
    if (!group) return kFailed;
    const std::string name = group->GetName();
    if (!AddGroup(std::move(group))) {
      return cfmeta_internal::Broken(*child, "duplicate field group '" + name + "' of its type");
    }
  }
  return 0;
}

int CFMetaData::Impl::ReadCounts(const CFXMLWrapper& countsElement) {
  double unweighted = -1.0, weighted = -1.0, dropped = -1.0;
  int rc = ReadRequiredCount(countsElement, XMLAttributes::UnweightedCount, unweighted);
  if (rc != 0) return rc;
  rc = ReadRequiredCount(countsElement, XMLAttributes::WeightedCount, weighted);
  if (rc != 0) return rc;
  SetRecordCounts(unweighted, weighted);
  rc = ReadRequiredCount(countsElement, XMLAttributes::DroppedCount, dropped);
  if (rc != 0) return rc;
  SetDroppedCount(dropped);
  double badWeight = -1.0, weightedDropped = -1.0;
  rc = ReadOptionalCount(countsElement, "badWeightCount", badWeight);
  if (rc != 0) return rc;
  rc = ReadOptionalCount(countsElement, "weightedDroppedCount", weightedDropped);
  if (rc != 0) return rc;
  SetDroppedDetails(badWeight, weightedDropped);
  return 0;
}

int CFMetaData::Impl::ReadFields(const CFXMLWrapper& fieldsElement) {
  CFXMLIteratorWrapper* it = nullptr;
  int rc = fieldsElement.getElementDirectIterator(XMLElements::Field, &it);
  if (rc != 0) return rc;
  while (CFXMLWrapper* child = it->nextElement()) {
    std::unique_ptr<CFField> field(new CFField(*child, false));
    child->releaseHandedOut();
    if (field->GetName().empty()) return kFailed;
    std::string key = KeyOf(field->GetName());
    if (IndexOfKey(key) >= 0) {
      return cfmeta_internal::Broken(*child, "duplicate field name '" + field->GetName() + "'");
    }
    // The field read here is the one kept: no copy of a large field on the load path.
    fields.push_back(std::move(field));
    keyIndex.emplace(key, fields.size() - 1);
    keys.push_back(std::move(key));
  }
  return 0;
}

int CFMetaData::Impl::Load(const std::string& xml) {
  CFXMLWrapper doc;
  doc.setMessageStream(messages);
  doc.loadFromContents(xml.c_str());
  std::string rootName;
  if (doc.getElement() == nullptr || doc.getName(rootName) != 0 || rootName.empty()) {
    loadError.kind = CFLoadError::MalformedXML;
    loadError.line = doc.getLastErrorLine();
    loadError.column = doc.getLastErrorColumn();
    loadError.message = doc.getLastErrorMessage();
    return kFailed;
  }
  const CFXMLWrapper* fieldsElement = cfmeta_internal::FirstChild(doc, XMLElements::Fields);
  if (fieldsElement == nullptr) {
    loadError.kind = CFLoadError::NotMetadata;
    loadError.path = cfmeta_internal::PathOf(doc.getElement());
    loadError.message =
        "the root element " + rootName + " holds no " + XMLElements::Fields + " element";
    return kFailed;
  }
  cfmeta_internal::LoadReport report;
  cfmeta_internal::ReportScope scope(doc, &report);
  const CFXMLWrapper* failedAt = nullptr;
  const int rc = LoadDocument(doc, *fieldsElement, failedAt);
  if (rc != 0) {
    // A rule no reader named: the step's own element, in general words.
    if (report.empty() && failedAt != nullptr) {
      std::string name;
      failedAt->getName(name);
      report.Record(failedAt->getElement(), "the " + name + " element cannot be read");
    }
    loadError.kind = CFLoadError::BrokenRule;
    loadError.path = report.Path();
    loadError.message = report.Rule();
  }
  return rc;
}

int CFMetaData::Impl::LoadDocument(const CFXMLWrapper& doc, const CFXMLWrapper& fieldsElement,
                                   const CFXMLWrapper*& failedAt) {
  // 1. Shared formats and default slots.
  if (const CFXMLWrapper* formatsElement =
          cfmeta_internal::FirstChild(doc, XMLElements::FieldFormats)) {
    failedAt = formatsElement;
    int rc = ReadFormats(*formatsElement);
    if (rc != 0) return rc;
  }
  // 2. Field groups.
  if (const CFXMLWrapper* groupsElement =
          cfmeta_internal::FirstChild(doc, XMLElements::FieldGroups)) {
    failedAt = groupsElement;
    int rc = ReadGroups(*groupsElement);
    if (rc != 0) return rc;
  }
  // 3. Record counts.
  if (const CFXMLWrapper* countsElement =
          cfmeta_internal::FirstChild(doc, XMLElements::RecordCounts)) {
    failedAt = countsElement;
    int rc = ReadCounts(*countsElement);
    if (rc != 0) return rc;
  }
  // 4. Fields, required (the caller found them).
  failedAt = &fieldsElement;
  int rc = ReadFields(fieldsElement);
  if (rc != 0) return rc;
  // 5. Dataset summaries, optional.
  if (const CFXMLWrapper* summariesElement =
          cfmeta_internal::FirstChild(doc, XMLElements::DatasetSummaries)) {
    failedAt = summariesElement;
    std::unique_ptr<CFDatasetSummaries> read(new CFDatasetSummaries(*summariesElement));
    if (!read->parseSuccess()) return kFailed;
    summaries = std::move(read);
  }
  return 0;
}

int CFMetaData::Impl::Export(std::string& out) const {
  if (fields.empty()) return kFailed;
  CFXMLWrapper doc;
  doc.setMessageStream(messages);
  doc.createNew(XMLElements::DataModel);
  if (doc.getElement() == nullptr) return kFailed;

  // Failures in the optional parts stop only the later optional parts; the fields are always
  // attempted.
  int rc = 0;
  if (unweightedCount >= 0 || weightedCount >= 0 || droppedCount >= 0) {
    CFXMLWrapper* counts = nullptr;
    rc = doc.addElement(XMLElements::RecordCounts, &counts);
    if (rc == 0) rc = counts->addAttribute(XMLAttributes::UnweightedCount, unweightedCount);
    if (rc == 0) rc = counts->addAttribute(XMLAttributes::WeightedCount, weightedCount);
    if (rc == 0) rc = counts->addAttribute(XMLAttributes::DroppedCount, droppedCount);
    if (rc == 0 && badWeightCount >= 0) {
      rc = counts->addAttribute("badWeightCount", badWeightCount);
    }
    if (rc == 0 && weightedDroppedCount >= 0) {
      rc = counts->addAttribute("weightedDroppedCount", weightedDroppedCount);
    }
  }
  if (rc == 0 && !formats.empty()) {
    CFXMLWrapper* formatsElement = nullptr;
    rc = doc.addElement(XMLElements::FieldFormats, &formatsElement);
    for (int slot = 0; rc == 0 && slot < 4; ++slot) {
      if (slots[slot] < 0) continue;
      rc = formatsElement->addAttribute(SlotAttribute(kSlotStorage[slot]),
                                        formats[slots[slot]]->GetName().c_str());
    }
    for (size_t i = 0; rc == 0 && i < formats.size(); ++i) {
      CFXMLWrapper* created = nullptr;
      formats[i]->AddToTree(*formatsElement, created);
      if (created == nullptr) rc = kFailed;
    }
  }
  if (rc == 0 && !groups.empty()) {
    CFXMLWrapper* groupsElement = nullptr;
    rc = doc.addElement(XMLElements::FieldGroups, &groupsElement);
    for (size_t i = 0; rc == 0 && i < groups.size(); ++i) {
      CFXMLWrapper* created = nullptr;
      groups[i]->AddToTree(*groupsElement, created);
      if (created == nullptr) rc = kFailed;
    }
  }

  CFXMLWrapper* fieldsElement = nullptr;
  rc = doc.addElement(XMLElements::Fields, &fieldsElement);
  if (rc != 0) return rc;
  rc = fieldsElement->addAttribute(XMLAttributes::Count, static_cast<double>(fields.size()));
  if (rc != 0) return rc;
  rc = fieldsElement->addAttribute(XMLAttributes::CaseSensitive,
                                   upper == nullptr ? "true" : "false");
  if (rc != 0) return rc;
  for (const auto& field : fields) {
    CFXMLWrapper* created = nullptr;
    field->AddToTree(*fieldsElement, created, false);
    if (created == nullptr) return kFailed;
  }
  if (summaries != nullptr) {
    CFXMLWrapper* created = nullptr;
    summaries->AddToTree(doc, created);
    if (created == nullptr) return kFailed;
  }

  // A text holding a character the document cannot carry (a control character read from an
  // XML 1.1 document) serialises to nothing: no document at all, so the export fails.
  std::string text;
  rc = doc.doc2string(text);
  if (rc != 0) return rc;
  if (text.empty()) return kFailed;
  out.swap(text);
  return 0;
}

// ---------------------------------------------------------------------------------------------

CFMetaData::CFMetaData(CFUpperFunc* upper) : m_impl(new Impl(upper)) {}

CFMetaData::CFMetaData(const std::string& xml, CFUpperFunc* upper)
    : CFMetaData(xml, upper, &std::cout) {}

CFMetaData::CFMetaData(const std::string& xml, CFUpperFunc* upper, std::ostream* messages)
    : m_impl(new Impl(upper)) {
  m_impl->messages = messages;
  if (m_impl->Load(xml) != 0) {
    std::unique_ptr<Impl> empty(new Impl(upper));
    empty->messages = messages;
    empty->loadError = std::move(m_impl->loadError);
    m_impl = std::move(empty);
  }
}

const CFLoadError& CFMetaData::GetLoadError() const { return m_impl->loadError; }

void CFMetaData::SetMessageStream(std::ostream* messages) { m_impl->messages = messages; }

const CFFormat* CFMetaData::GetDisplayFormat(const CFField& field) const {
  if (const CFFormat* own = field.GetPrivateFormat()) return own;
  const std::string reference = field.GetFormatReference();
  if (!reference.empty()) {
    if (const CFFormat* shared = GetSharedFormat(reference)) return shared;
  }
  return GetDefaultFormat(field.GetStorage());
}

CFMetaData::CFMetaData(const CFMetaData& other) : m_impl(new Impl(*other.m_impl)) {}

CFMetaData& CFMetaData::operator=(const CFMetaData& other) {
  if (this != &other) {
    std::unique_ptr<Impl> copy(new Impl(*other.m_impl));
    m_impl.swap(copy);
    ++m_fieldsRevision;
  }
  return *this;
}

CFMetaData::~CFMetaData() = default;

bool CFMetaData::IsCaseSensitive() const { return m_impl->upper == nullptr; }

unsigned int CFMetaData::FieldCount() const {
  return static_cast<unsigned int>(m_impl->fields.size());
}

const CFField* CFMetaData::GetField(unsigned int index) const {
  return index < m_impl->fields.size() ? m_impl->fields[index].get() : nullptr;
}

int CFMetaData::GetFieldIndex(const std::string& name) const {
  return m_impl->IndexOfKey(m_impl->KeyOf(name));
}

const CFField* CFMetaData::GetField(const std::string& name) const {
  int index = GetFieldIndex(name);
  return index < 0 ? nullptr : m_impl->fields[index].get();
}

unsigned int CFMetaData::SharedFormatCount() const {
  return static_cast<unsigned int>(m_impl->formats.size());
}

const CFFormat* CFMetaData::GetSharedFormat(unsigned int index) const {
  return index < m_impl->formats.size() ? m_impl->formats[index].get() : nullptr;
}

const CFFormat* CFMetaData::GetSharedFormat(const std::string& name) const {
  int index = m_impl->IndexOfFormat(name);
  return index < 0 ? nullptr : m_impl->formats[index].get();
}

const CFFormat* CFMetaData::GetDefaultFormat(CFField::StorageType storage) const {
  int slot = SlotOf(storage);
  if (slot < 0 || m_impl->slots[slot] < 0) return nullptr;
  return m_impl->formats[m_impl->slots[slot]].get();
}

double CFMetaData::GetRecordCount(bool weighted) const {
  return weighted ? m_impl->weightedCount : m_impl->unweightedCount;
}

double CFMetaData::GetDroppedCount() const { return m_impl->droppedCount; }

void CFMetaData::GetDroppedDetails(double& badWeightCount, double& weightedDroppedCount) const {
  badWeightCount = m_impl->badWeightCount;
  weightedDroppedCount = m_impl->weightedDroppedCount;
}

int CFMetaData::AppendField(const CFField& field) {
  ++m_fieldsRevision;
  return m_impl->AppendField(field);
}

int CFMetaData::AddSharedFormat(const CFFormat& format) { return m_impl->AddSharedFormat(format); }

int CFMetaData::ReplaceField(unsigned int index, const CFField* field) {
  ++m_fieldsRevision;
  return m_impl->ReplaceField(index, field);
}

bool CFMetaData::SetFieldType(unsigned int index, CFField::FieldType type) {
  return index < m_impl->fields.size() && m_impl->fields[index]->SetFieldType(type);
}

void CFMetaData::SetValues(unsigned int index, const std::vector<CFValue>& values) {
  if (index < m_impl->fields.size()) m_impl->fields[index]->SetValues(values);
}

void CFMetaData::SetValueLabels(unsigned int index, const std::vector<CFValue>& labels) {
  if (index < m_impl->fields.size()) m_impl->fields[index]->SetValueLabels(labels);
}

int CFMetaData::DropSharedFormat(unsigned int index) { return m_impl->DropSharedFormat(index); }

bool CFMetaData::SetSumStats(unsigned int index, const CFContStats* stats) {
  return index < m_impl->fields.size() && m_impl->fields[index]->SetSumStats(stats);
}

bool CFMetaData::SetSumStats(unsigned int index, const CFCatStats* stats) {
  return index < m_impl->fields.size() && m_impl->fields[index]->SetSumStats(stats);
}

int CFMetaData::SetDefaultFormat(CFField::StorageType storage, const std::string& name) {
  return m_impl->SetDefaultFormat(storage, name);
}

void CFMetaData::SetRecordCounts(double unweighted, double weighted) {
  m_impl->SetRecordCounts(unweighted, weighted);
}

void CFMetaData::SetDroppedCount(double dropped) { m_impl->SetDroppedCount(dropped); }

void CFMetaData::SetDroppedDetails(double badWeightCount, double weightedDroppedCount) {
  m_impl->SetDroppedDetails(badWeightCount, weightedDroppedCount);
}

bool CFMetaData::SetFieldGroup(GroupType type, const std::string& name,
                               const std::vector<std::string>& fields, const std::string& label,
                               const std::string& countedValue) {
  // Cheap refusals first: no group is built for them.
  if (fields.empty() || m_impl->IndexOfGroup(type, name) >= 0) return false;
  return m_impl->AddGroup(
      std::unique_ptr<CFFieldGroup>(new CFFieldGroup(type, name, fields, label, countedValue)));
}

bool CFMetaData::GetFieldGroup(GroupType type, unsigned int ordinal, std::string& name,
                               std::vector<std::string>& fields, std::string& label,
                               std::string& countedValue) const {
  const int at = m_impl->IndexOfGroup(type, ordinal);
  const CFFieldGroup* group = at < 0 ? nullptr : m_impl->groups[at].get();
  if (group == nullptr) {
    name.clear();
  } else {
    name = group->GetName();
  }
  return FillGroup(group, fields, label, countedValue);
}

bool CFMetaData::GetFieldGroup(GroupType type, const std::string& name,
                               std::vector<std::string>& fields, std::string& label,
                               std::string& countedValue) const {
  const int at = m_impl->IndexOfGroup(type, name);
  return FillGroup(at < 0 ? nullptr : m_impl->groups[at].get(), fields, label, countedValue);
}

bool CFMetaData::DropFieldGroup(GroupType type, const std::string& name) {
  return m_impl->DropGroup(type, name);
}

const CFDatasetSummaries* CFMetaData::getDatasetSummaries() const {
  return m_impl->summaries.get();
}

bool CFMetaData::setDatasetSummaries(const std::string& xml) {
  if (xml.empty()) return false;
  CFXMLWrapper doc;
  doc.setMessageStream(m_impl->messages);
  doc.loadFromContents(xml.c_str());
  std::unique_ptr<CFDatasetSummaries> read(new CFDatasetSummaries(doc));
  if (!read->parseSuccess()) return false;
  m_impl->summaries = std::move(read);
  return true;
}

void CFMetaData::setDatasetSummaries(CFDatasetSummaries* summaries) {
  // Handing back the object already held must not destroy it.
  if (summaries != m_impl->summaries.get()) m_impl->summaries.reset(summaries);
}

void CFMetaData::releaseDatasetSummaries() { m_impl->summaries.reset(); }

bool CFMetaData::ExportXMLDoc(std::string& out) const { return m_impl->Export(out) == 0; }

bool CFMetaData::ValidateXMLChars(const std::string& text) {
  for (char c : text) {
    signed char s = static_cast<signed char>(c);
    if (s >= 1 && s <= 31 && s != 9 && s != 10 && s != 13) return false;
  }
  return true;
}
