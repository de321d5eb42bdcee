#include "cfmeta/format/cfdecoratedformat.h"

#include <cstdint>
#include <limits>
#include <memory>

#include "cfmeta/field/cfdatum.h"
#include "cfmeta/format/cfformat_internal.h"
#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/xml/cfxmlwrapper.h"

namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLElements = CfCppHelperV1::XMLElements;
namespace XMLEntities = CfCppHelperV1::XMLEntities;

const CFFormatUtils::DictEntry CFDecoratedFormat::gFmtTypeDict[] = {
    {Currency, XMLEntities::Currency}, {Percentage, XMLEntities::Percentage}, {0, nullptr}};

namespace {

using CfExtension::CFXMLWrapper;

bool StartsWithZero(const std::string& text) { return !text.empty() && text[0] == '0'; }

// The UTF-16 length of UTF-8 text: one unit for every character, two for those beyond the
// basic plane (four-byte sequences). A stray continuation byte counts for nothing.
size_t Utf16Length(const char* text, size_t size) {
  size_t length = 0;
  for (size_t i = 0; i < size; ++i) {
    const unsigned char c = static_cast<unsigned char>(text[i]);
    if ((c & 0xC0) != 0x80) ++length;
    if (c >= 0xF0) ++length;
  }
  return length;
}

}  // namespace

CFDecoratedFormat::CFDecoratedFormat() = default;

CFDecoratedFormat::CFDecoratedFormat(FormatType type, int width, unsigned int decimals)
    : m_formatType(type), m_width(width), m_decimals(decimals), m_negPrefix("-") {}

CFDecoratedFormat::CFDecoratedFormat(const CFXMLWrapper& elem) {
  // 1. Name, width and alignment; 2. type, decimals and symbols; 3. affixes and currency.
  cfformat_internal::NumberAttrs attrs;
  int rc = CFFormatUtils::GetCommonAttr(elem, m_name, m_width, m_alignment);
  if (rc == 0) rc = cfformat_internal::GetNumberAttrs(elem, gFmtTypeDict, attrs);
  if (rc == 0) rc = ReadAffixesAndCurrency(elem);
  if (rc != 0) {
    *this = CFDecoratedFormat();
    return;
  }
  m_formatType = static_cast<FormatType>(attrs.formatType);
  m_decimals = attrs.decimals;
  m_decimalSymbol = attrs.decimalSymbol;
  m_groupingSymbol = attrs.groupingSymbol;
}

int CFDecoratedFormat::ReadAffixesAndCurrency(const CFXMLWrapper& elem) {
  const std::pair<const char*, std::string*> affixes[] = {{XMLAttributes::Prefix, &m_prefix},
                                                          {XMLAttributes::Suffix, &m_suffix},
                                                          {XMLAttributes::NegPrefix, &m_negPrefix},
                                                          {XMLAttributes::NegSuffix, &m_negSuffix}};
  bool found = false;
  for (const auto& affix : affixes) {
    int rc = elem.getAttribute(affix.first, *affix.second, found);
    if (rc != 0) return rc;
  }

  long long id = 0;
  int rc = elem.getAttribute(XMLAttributes::CustomCurrType, id, found);
  if (rc != 0) return rc;
  if (id < 0 || id > std::numeric_limits<uint32_t>::max()) return CfExtension::kXMLBadArgument;
  m_customCurrencyID = static_cast<unsigned int>(id);
  return 0;
}

CFDecoratedFormat::~CFDecoratedFormat() = default;

void CFDecoratedFormat::Reset(FormatType type, int width, unsigned int decimals) {
  if (width == 0) return;
  *this = CFDecoratedFormat(type, width, decimals);
}

CFFormat* CFDecoratedFormat::Clone() const { return new CFDecoratedFormat(*this); }

void CFDecoratedFormat::SetName(const std::string& name) {
  if (!IsEmpty()) m_name = name;
}

int CFDecoratedFormat::GetWidth() const { return m_width; }

CFFormat::Alignment CFDecoratedFormat::GetAlignment() const { return m_alignment; }

void CFDecoratedFormat::SetAlignment(Alignment align) {
  if (!IsEmpty()) m_alignment = align;
}

std::string CFDecoratedFormat::GetName() const { return m_name; }

CFDecoratedFormat::FormatType CFDecoratedFormat::GetFormatType() const {
  return IsEmpty() ? Currency : m_formatType;
}

unsigned int CFDecoratedFormat::GetDecimals() const { return IsEmpty() ? 0 : m_decimals; }

void CFDecoratedFormat::SetWidthDecimals(int width, unsigned int decimals) {
  if (IsEmpty() || width == 0) return;
  m_width = width;
  m_decimals = decimals;
}

void CFDecoratedFormat::SetSeparators(DecimalSymbol decSym, GroupingSymbol grpSym) {
  if (IsEmpty()) return;
  m_decimalSymbol = decSym;
  m_groupingSymbol = grpSym;
}

void CFDecoratedFormat::GetSeparators(DecimalSymbol& decSym, GroupingSymbol& grpSym) const {
  decSym = IsEmpty() ? DecimalSymbol::Period : m_decimalSymbol;
  grpSym = IsEmpty() ? GroupingSymbol::None : m_groupingSymbol;
}

void CFDecoratedFormat::SetAffixes(const std::string& prefix, const std::string& suffix) {
  if (IsEmpty() || StartsWithZero(prefix) != StartsWithZero(suffix)) return;
  m_prefix = prefix;
  m_suffix = suffix;
}

void CFDecoratedFormat::GetAffixes(std::string& prefix, std::string& suffix) const {
  prefix = m_prefix;
  suffix = m_suffix;
}

void CFDecoratedFormat::SetNegAffixes(const std::string& prefix, const std::string& suffix) {
  if (IsEmpty()) return;
  m_negPrefix = prefix;
  m_negSuffix = suffix;
}

void CFDecoratedFormat::GetNegAffixes(std::string& prefix, std::string& suffix) const {
  prefix = m_negPrefix;
  suffix = m_negSuffix;
}

void CFDecoratedFormat::SetCustomCurrencyID(unsigned int id) {
  if (!IsEmpty() && id <= kMaxCustomCurrencyID) m_customCurrencyID = id;
}

unsigned int CFDecoratedFormat::GetCustomCurrencyID() const { return m_customCurrencyID; }

int CFDecoratedFormat::Format(const CFDatum& value, ValueUnits /*units*/, std::string& out) const {
  out.clear();
  if (value.IsNull()) {
    out = ".";
    return 0;
  }
  if (IsEmpty() || value.GetType() == CFDatum::String) return 1;

  // The number without its padding and, when negative, without its minus.
  std::string number;
  if (CFFormatUtils::FormatStandard(value, number, m_width, m_decimals, m_decimalSymbol,
                                    m_groupingSymbol)) {
    return 1;
  }
  size_t begin = 0;
  size_t end = number.size();
  while (begin < end && number[begin] == ' ') ++begin;
  while (end > begin && number[end - 1] == ' ') --end;
  const bool negative = begin < end && number[begin] == '-';
  if (negative) ++begin;
  const char* digits = number.data() + begin;
  const size_t digitsSize = end - begin;
  const size_t digitsLength = Utf16Length(digits, digitsSize);

  static const std::string kNone;
  const std::string& outerPrefix = negative ? m_negPrefix : kNone;
  const std::string& outerSuffix = negative ? m_negSuffix : kNone;
  size_t length = Utf16Length(outerPrefix.data(), outerPrefix.size()) +
                  Utf16Length(m_prefix.data(), m_prefix.size()) + digitsLength +
                  Utf16Length(m_suffix.data(), m_suffix.size()) +
                  Utf16Length(outerSuffix.data(), outerSuffix.size());
  // Affixes that do not fit are dropped together, and a negative number gets its minus back.
  const bool decorate = m_width < 0 || length <= static_cast<size_t>(m_width);
  if (!decorate) length = digitsLength + (negative ? 1 : 0);

  const size_t padding =
      m_width > 0 && static_cast<size_t>(m_width) > length ? m_width - length : 0;
  if (decorate) {
    out.reserve(padding + outerPrefix.size() + m_prefix.size() + digitsSize + m_suffix.size() +
                outerSuffix.size());
    out.append(padding, ' ');
    out += outerPrefix;
    out += m_prefix;
    out.append(digits, digitsSize);
    out += m_suffix;
    out += outerSuffix;
  } else {
    out.reserve(padding + 1 + digitsSize);
    out.append(padding, ' ');
    if (negative) out.push_back('-');
    out.append(digits, digitsSize);
  }
  return 0;
}

void CFDecoratedFormat::AddToTree(CFXMLWrapper& parent, CFXMLWrapper*& created) const {
  created = nullptr;
  if (IsEmpty()) return;
  std::unique_ptr<CFXMLWrapper> elem(parent.createFreeElement(XMLElements::DecoratedFormat));
  if (!elem) return;
  const cfformat_internal::NumberAttrs attrs{m_formatType, m_decimals, m_decimalSymbol,
                                             m_groupingSymbol};
  const char* type = m_formatType == Percentage ? XMLEntities::Percentage : XMLEntities::Currency;
  int rc = cfformat_internal::SetNumberAttrs(*elem, m_name, m_width, m_alignment, attrs, type);
  const std::pair<const char*, const std::string*> affixes[] = {
      {XMLAttributes::Prefix, &m_prefix},
      {XMLAttributes::Suffix, &m_suffix},
      {XMLAttributes::NegPrefix, &m_negPrefix},
      {XMLAttributes::NegSuffix, &m_negSuffix}};
  for (const auto& affix : affixes) {
    if (rc == 0 && !affix.second->empty()) {
      rc = elem->addAttribute(affix.first, affix.second->c_str());
    }
  }
  if (rc == 0 && m_customCurrencyID != 0) {
    rc = elem->addAttribute(XMLAttributes::CustomCurrType, static_cast<double>(m_customCurrencyID));
  }
  if (rc != 0) return;
  cfformat_internal::AttachFinished(parent, elem, created);
}

char CFDecoratedFormat::GetFormatClass() const { return 'c'; }
