#include "cfmeta/format/cfstringformat.h"

#include <memory>

#include "cfmeta/field/cfdatum.h"
#include "cfmeta/format/cfformat_internal.h"
#include "cfmeta/format/cfformatutils.h"
#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/xml/cfxmlexchange_internal.h"
#include "cfmeta/xml/cfxmlwrapper.h"

namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLElements = CfCppHelperV1::XMLElements;
namespace XMLEntities = CfCppHelperV1::XMLEntities;

using CfExtension::CFXMLWrapper;

CFStringFormat::CFStringFormat() = default;

CFStringFormat::CFStringFormat(int width, bool hexadecimal)
    : CFCommonFormat(width), m_hexadecimal(hexadecimal) {}

CFStringFormat::CFStringFormat(const CFXMLWrapper& elem) {
  int rc = CFFormatUtils::GetCommonAttr(elem, m_name, m_width, m_alignment);
  if (rc == 0) {
    bool found = false;
    rc = CFFormatUtils::GetBoolAttr(elem, XMLAttributes::Hexadecimal, m_hexadecimal, found);
  }
  if (rc != 0) *this = CFStringFormat();
}

CFStringFormat::~CFStringFormat() = default;

void CFStringFormat::Reset(int width, bool hexadecimal) {
  if (width == 0) return;
  *this = CFStringFormat(width, hexadecimal);
}

CFFormat* CFStringFormat::Clone() const { return new CFStringFormat(*this); }

bool CFStringFormat::GetHexRep() const { return m_hexadecimal; }

int CFStringFormat::Format(const CFDatum& value, ValueUnits /*units*/, std::string& out) const {
  out.clear();
  if (IsEmpty()) return 0;
  // A fixed width fails for every value, the null datum included: only a free-width string
  // format produces text.
  if (m_width > 0) return 1;
  if (value.IsNull()) return 0;
  if (value.GetType() != CFDatum::String || value.GetString() == nullptr) return 1;
  out = value.GetString();
  return 0;
}

void CFStringFormat::AddToTree(CFXMLWrapper& parent, CFXMLWrapper*& created) const {
  created = nullptr;
  if (IsEmpty()) return;
  std::unique_ptr<CFXMLWrapper> elem(parent.createFreeElement(XMLElements::StringFormat));
  if (!elem) return;
  int rc = CFFormatUtils::SetCommonAttr(*elem, m_name, m_width, m_alignment);
  if (rc == 0) {
    rc = elem->addAttribute(XMLAttributes::Hexadecimal,
                            m_hexadecimal ? XMLEntities::True : XMLEntities::False);
  }
  if (rc != 0) return;
  cfmeta_internal::AttachFinished(0, std::move(elem), parent, created);
}

char CFStringFormat::GetFormatClass() const { return 's'; }
