#include <memory>
#include <string>
#include <vector>

#include "cfmeta/format/cfformat_internal.h"
#include "cfmeta/printable/cfprintablecommon_internal.h"
#include "cfmeta/printable/cfprintablelist.h"
#include "cfmeta/printable/cfprintablevalue.h"
#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/xml/cfxmlexchange_internal.h"
#include "cfmeta/xml/cfxmliteratorwrapper.h"
#include "cfmeta/xml/cfxmlwrapper.h"

using CfExtension::CFXMLWrapper;
namespace XMLEntities = CfCppHelperV1::XMLEntities;

namespace cfprintable_internal {

const char* const kValueElement = "PrintableValue";
const char* const kListElement = "PrintableList";
const char* const kVListElement = "PrintableVList";
const char* const kIsNullAttribute = "isNull";
const char* const kLabelAttribute = "label";
const char* const kPatternAttribute = "pattern";
const char* const kIsKeyAttribute = "isKey";
const char* const kMapIdAttribute = "mapId";

}  // namespace cfprintable_internal

namespace CFPrintableUtil {

using namespace cfprintable_internal;

CommonImpl::CommonImpl(const std::string& pattern, bool isKey, int mapId)
    : m_pattern(pattern), m_isKey(isKey), m_mapId(mapId) {}

CommonImpl::CommonImpl(const CFXMLWrapper& element, int depth) {
  // 1. Attributes: a bad one ends the reading quietly, keeping what came before it.
  std::string text;
  bool found = false;
  if (element.getAttribute(kPatternAttribute, text, found) != 0 || !found) return;
  m_pattern = text;
  if (element.getAttribute(kIsKeyAttribute, text, found) != 0) return;
  if (found) {
    if (text == XMLEntities::True) {
      m_isKey = true;
    } else if (text != XMLEntities::False) {
      return;
    }
  }
  int mapId = 0;
  if (element.getAttribute(kMapIdAttribute, mapId, found) != 0) return;
  m_mapId = mapId;

  // 2. Children, each of which must be a printable.
  ReadArguments(element, depth);
}

CommonImpl::CommonImpl(const CommonImpl& other)
    : m_pattern(other.m_pattern),
      m_isKey(other.m_isKey),
      m_mapId(other.m_mapId),
      m_lookUp(other.m_lookUp),
      m_resolved(other.m_resolved) {
  m_arguments.reserve(other.m_arguments.size());
  for (const auto& argument : other.m_arguments) m_arguments.emplace_back(argument->Clone());
}

CFPrintable* CommonImpl::ReadPrintable(const CFXMLWrapper& element, int depth, bool& matched) {
  matched = false;
  std::string name;
  if (element.getName(name) != 0) return nullptr;
  try {
    if (name == kListElement) {
      matched = true;
      return new CFPrintableList(element, depth);
    }
    if (name == kValueElement) {
      matched = true;
      return new CFPrintableValue(element);
    }
    if (name == kVListElement) {
      matched = true;
      return new CFPrintableVList(element, depth);
    }
  } catch (const CFPrintable::FailExcp&) {
  }
  return nullptr;
}

void CommonImpl::SetPattern(const std::string& pattern, bool isKey, int mapId) {
  m_pattern = pattern;
  m_isKey = isKey;
  m_mapId = mapId;
  m_resolved.clear();
}

void CommonImpl::SetList(const std::vector<const CFPrintable*>& list) {
  std::vector<std::unique_ptr<CFPrintable>> arguments;
  arguments.reserve(list.size());
  for (const CFPrintable* printable : list) {
    if (printable == nullptr) {
      arguments.clear();
      break;
    }
    arguments.emplace_back(printable->Clone());
  }
  m_arguments = std::move(arguments);
}

void CommonImpl::AppendToList(const CFPrintable& printable) {
  m_arguments.emplace_back(printable.Clone());
}

void CommonImpl::SetResLookUp(CFResLookUp* lookUp) {
  m_lookUp = lookUp;
  m_resolved.clear();
  for (const auto& argument : m_arguments) argument->SetResLookUp(lookUp);
}

const std::string& CommonImpl::GetPattern() const {
  if (!m_isKey) return m_pattern;
  if (m_lookUp != nullptr && m_resolved.empty()) m_lookUp->LookUp(m_pattern, m_resolved, m_mapId);
  return m_resolved;
}

std::vector<icu::Formattable> CommonImpl::RenderArguments() const {
  std::vector<icu::Formattable> texts;
  texts.reserve(m_arguments.size());
  for (const auto& argument : m_arguments) {
    texts.emplace_back(m_converter.ToUTF16(argument->Print()));
  }
  return texts;
}

void CommonImpl::AddToTree(const char* elementName, CFXMLWrapper& parent,
                           CFXMLWrapper*& created) const {
  created = nullptr;
  std::unique_ptr<CFXMLWrapper> element(parent.createFreeElement(elementName));
  if (!element) return;
  int rc = element->addAttribute(kPatternAttribute, m_pattern.c_str());
  if (rc == 0 && m_isKey) rc = element->addAttribute(kIsKeyAttribute, XMLEntities::True);
  if (rc == 0 && m_mapId != 0) {
    rc = element->addAttribute(kMapIdAttribute, static_cast<long long>(m_mapId));
  }
  for (size_t i = 0; rc == 0 && i < m_arguments.size(); ++i) {
    CFXMLWrapper* child = nullptr;
    m_arguments[i]->AddToTree(*element, child);
    if (child == nullptr) rc = CfExtension::kXMLBadArgument;
  }
  if (rc != 0) return;
  cfmeta_internal::AttachFinished(0, std::move(element), parent, created);
}

void CommonImpl::ReadArguments(const CFXMLWrapper& element, int depth) {
  CfExtension::CFXMLIteratorWrapper* children = nullptr;
  if (element.getElementDirectIterator("", &children) != 0) throw CFPrintable::FailExcp();
  while (const CFXMLWrapper* child = children->nextElement()) {
    if (depth >= kMaxReadDepth) throw CFPrintable::FailExcp();
    bool matched = false;
    std::unique_ptr<CFPrintable> argument(ReadPrintable(*child, depth + 1, matched));
    // Nothing obtained from the child is used again; free it before the next one.
    child->releaseHandedOut();
    if (!argument) throw CFPrintable::FailExcp();
    m_arguments.push_back(std::move(argument));
  }
}

}  // namespace CFPrintableUtil
