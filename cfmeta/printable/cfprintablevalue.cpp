#include "cfmeta/printable/cfprintablevalue.h"

#include <cmath>
#include <memory>
#include <string>

#include "cfmeta/field/cfdatum.h"
#include "cfmeta/field/cffield.h"
#include "cfmeta/format/cfformat.h"
#include "cfmeta/format/cfformat_internal.h"
#include "cfmeta/printable/cfprintablecommon_internal.h"
#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/xml/cfxmlexchange_internal.h"
#include "cfmeta/xml/cfxmliteratorwrapper.h"
#include "cfmeta/xml/cfxmlwrapper.h"

using CfExtension::CFXMLWrapper;
namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLEntities = CfCppHelperV1::XMLEntities;

namespace {

bool Agrees(const CFDatum& value, CFPrintableValue::StorageSubType subtype,
            const CFFormat& format) {
  const char formatClass = format.GetFormatClass();
  const bool numeric = formatClass == 'c' || formatClass == 'n';
  switch (value.GetType()) {
    case CFDatum::Real:
      if (subtype == CFPrintableValue::Plain) return numeric;
      return (subtype == CFPrintableValue::Date || subtype == CFPrintableValue::Time ||
              subtype == CFPrintableValue::Timestamp) &&
             (formatClass == 'd' || formatClass == 't');
    case CFDatum::Integer:
      return subtype == CFPrintableValue::Plain && numeric;
    case CFDatum::String:
      return subtype == CFPrintableValue::Plain && formatClass == 's';
  }
  return false;
}

const char* StorageText(const CFDatum& value, CFPrintableValue::StorageSubType subtype) {
  switch (value.GetType()) {
    case CFDatum::Integer:
      return XMLEntities::Integer;
    case CFDatum::String:
      return XMLEntities::String;
    case CFDatum::Real:
      break;
  }
  switch (subtype) {
    case CFPrintableValue::Date:
      return XMLEntities::Date;
    case CFPrintableValue::Time:
      return XMLEntities::Time;
    case CFPrintableValue::Timestamp:
      return XMLEntities::Timestamp;
    case CFPrintableValue::Plain:
      break;
  }
  return XMLEntities::Real;
}

CFFormat::ValueUnits UnitsOf(CFPrintableValue::StorageSubType subtype) {
  switch (subtype) {
    case CFPrintableValue::Date:
      return CFFormat::Days;
    case CFPrintableValue::Time:
    case CFPrintableValue::Timestamp:
      return CFFormat::Seconds;
    case CFPrintableValue::Plain:
      break;
  }
  return CFFormat::NoUnits;
}

[[noreturn]] void Fail() { throw CFPrintable::FailExcp(); }

// Reads "isNull": absent is false; any text but the two booleans fails.
bool ReadIsNull(const CFXMLWrapper& element) {
  std::string text;
  bool found = false;
  if (element.getAttribute(cfprintable_internal::kIsNullAttribute, text, found) != 0) Fail();
  if (!found || text == XMLEntities::False) return false;
  if (text == XMLEntities::True) return true;
  Fail();
}

CFDatum ReadReal(const CFXMLWrapper& element, bool isNull) {
  if (isNull) return CFDatum::MakeNull(CFDatum::Real);
  double value = 0.0;
  bool found = false;
  int kind = -1;
  if (element.getAttribute(XMLAttributes::Value, value, found, kind) != 0 || !found || kind != 0 ||
      !std::isfinite(value)) {
    Fail();
  }
  return CFDatum(value);
}

}  // namespace

class CFPrintableValue::Impl {
 public:
  Impl(const CFDatum& value, StorageSubType subtype, std::unique_ptr<CFFormat> format)
      : m_value(value), m_subtype(subtype), m_format(std::move(format)) {}
  Impl(const Impl& other)
      : m_value(other.m_value),
        m_subtype(other.m_subtype),
        m_label(other.m_label),
        m_format(other.m_format->Clone()) {}

  CFDatum m_value;
  StorageSubType m_subtype;
  std::string m_label;
  std::unique_ptr<CFFormat> m_format;
};

CFPrintableValue::CFPrintableValue(const CFDatum& value, StorageSubType subtype,
                                   const CFFormat& format) {
  if (!Agrees(value, subtype, format)) Fail();
  m_impl.reset(new Impl(value, subtype, std::unique_ptr<CFFormat>(format.Clone())));
}

CFPrintableValue::CFPrintableValue(const CFXMLWrapper& element) {
  // 1. Attributes.
  const bool isNull = ReadIsNull(element);
  std::string storage;
  bool found = false;
  if (element.getAttribute(XMLAttributes::Storage, storage, found) != 0 || !found) Fail();

  CFDatum value;
  StorageSubType subtype = Plain;
  if (storage == XMLEntities::Integer) {
    if (isNull) {
      value = CFDatum::MakeNull(CFDatum::Integer);
    } else {
      long long number = 0;
      if (element.getAttribute(XMLAttributes::Value, number, found) != 0 || !found) Fail();
      value = CFDatum(number);
    }
  } else if (storage == XMLEntities::String) {
    if (isNull) {
      value = CFDatum::MakeNull(CFDatum::String);
    } else {
      std::string text;
      if (element.getAttribute(XMLAttributes::Value, text, found) != 0 || !found) Fail();
      value = CFDatum(text.c_str(), false);
    }
  } else if (storage == XMLEntities::Real) {
    value = ReadReal(element, isNull);
  } else if (storage == XMLEntities::Date) {
    value = ReadReal(element, isNull);
    subtype = Date;
  } else if (storage == XMLEntities::Time) {
    value = ReadReal(element, isNull);
    subtype = Time;
  } else if (storage == XMLEntities::Timestamp) {
    value = ReadReal(element, isNull);
    subtype = Timestamp;
  } else {
    Fail();
  }

  // 2. The format, from the first child element. The label is deliberately not read.
  CfExtension::CFXMLIteratorWrapper* children = nullptr;
  if (element.getElementDirectIterator("", &children) != 0) Fail();
  const CFXMLWrapper* child = children->nextElement();
  if (child == nullptr) Fail();
  std::unique_ptr<CFFormat> format(CFField::FormatFromDOMNode(*child));
  if (!format || !Agrees(value, subtype, *format)) Fail();
  m_impl.reset(new Impl(value, subtype, std::move(format)));
}

CFPrintableValue::CFPrintableValue(const CFPrintableValue& other)
    : CFPrintable(other), m_impl(new Impl(*other.m_impl)) {}

CFPrintableValue& CFPrintableValue::operator=(const CFPrintableValue& other) {
  if (this != &other) m_impl.reset(new Impl(*other.m_impl));
  return *this;
}

CFPrintableValue::~CFPrintableValue() = default;

CFPrintableValue* CFPrintableValue::CreateFromElmt(const CFXMLWrapper& element, bool& matched) {
  return cfprintable_internal::CreateIfNamed<CFPrintableValue>(
      element, cfprintable_internal::kValueElement, matched);
}

void CFPrintableValue::SetLabel(const std::string& label) { m_impl->m_label = label; }

CFPrintable* CFPrintableValue::Clone() const { return new CFPrintableValue(*this); }

std::string CFPrintableValue::Print() const {
  std::string text;
  if (m_impl->m_format->Format(m_impl->m_value, UnitsOf(m_impl->m_subtype), text) != 0) {
    return std::string();
  }
  return text;
}

void CFPrintableValue::SetResLookUp(CFResLookUp*) {}

void CFPrintableValue::AddToTree(CFXMLWrapper& parent, CFXMLWrapper*& created) const {
  created = nullptr;
  const Impl& impl = *m_impl;
  if (!impl.m_value.IsNull() && impl.m_value.GetType() == CFDatum::Real &&
      !std::isfinite(impl.m_value.GetReal())) {
    return;
  }
  std::unique_ptr<CFXMLWrapper> element(
      parent.createFreeElement(cfprintable_internal::kValueElement));
  if (!element) return;

  int rc = element->addAttribute(XMLAttributes::Storage, StorageText(impl.m_value, impl.m_subtype));
  if (rc == 0 && impl.m_value.IsNull()) {
    rc = element->addAttribute(cfprintable_internal::kIsNullAttribute, XMLEntities::True);
    if (rc == 0) rc = element->addAttribute(XMLAttributes::Value, "");
  } else if (rc == 0) {
    std::string text;
    impl.m_value.ToString(text, 0);
    rc = element->addAttribute(XMLAttributes::Value, text.c_str());
  }
  if (rc == 0 && !impl.m_label.empty()) {
    rc = element->addAttribute(cfprintable_internal::kLabelAttribute, impl.m_label.c_str());
  }
  if (rc != 0) return;

  CFXMLWrapper* format = nullptr;
  impl.m_format->AddToTree(*element, format);
  if (format == nullptr) return;
  cfmeta_internal::AttachFinished(0, std::move(element), parent, created);
}
