#include "cfmeta/format/cfdecoratedformat.h"

#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>

#include "cfmeta/field/cfdatum.h"
#include "cfmeta/format/cfformat_internal.h"
#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/xml/cfxmlexchange_internal.h"
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
    : CFDecimalsFormat(width, decimals), m_formatType(type), m_negPrefix("-") {}

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
  if (id < 0 || id > std::numeric_limits<uint32_t>::max()) {
    return cfmeta_internal::Broken(elem, std::string(XMLAttributes::CustomCurrType) +
                                             " must be a whole number from 0 to 4294967295");
  }
  m_customCurrencyID = static_cast<unsigned int>(id);
  return 0;
}

CFDecoratedFormat::~CFDecoratedFormat() = default;

void CFDecoratedFormat::Reset(FormatType type, int width, unsigned int decimals) {
  if (width == 0) return;
  *this = CFDecoratedFormat(type, width, decimals);
}

CFFormat* CFDecoratedFormat::Clone() const { return new CFDecoratedFormat(*this); }

CFDecoratedFormat::FormatType CFDecoratedFormat::GetFormatType() const {
  return IsEmpty() ? Currency : m_formatType;
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
  if (CFFormatUtils::FormatStandard(value, out, m_width, m_decimals, m_decimalSymbol,
                                    m_groupingSymbol)) {
    out.clear();
    return 1;
  }
  size_t begin = 0;
  size_t end = out.size();
  while (begin < end && out[begin] == ' ') ++begin;
  while (end > begin && out[end - 1] == ' ') --end;
  const bool negative = begin < end && out[begin] == '-';
  if (negative) ++begin;
  const size_t digitsSize = end - begin;
  // Only the locale's symbols can bring characters beyond ASCII into the number.
  const bool ascii =
      m_decimalSymbol != DecimalSymbol::Local && m_groupingSymbol != GroupingSymbol::Local;
  const size_t digitsLength = ascii ? digitsSize : Utf16Length(out.data() + begin, digitsSize);

  // The parts in the order they are written: padding, then the leading texts, the number and
  // the trailing texts; only the number (with its minus back) when the affixes do not fit.
  const std::string* leading[2] = {&m_prefix, nullptr};
  const std::string* trailing[2] = {&m_suffix, nullptr};
  if (negative) {
    leading[0] = &m_negPrefix;
    leading[1] = &m_prefix;
    trailing[1] = &m_negSuffix;
  }
  size_t length = digitsLength;
  size_t size = digitsSize;
  for (const std::string* part : {leading[0], leading[1], trailing[0], trailing[1]}) {
    if (part == nullptr) continue;
    length += Utf16Length(part->data(), part->size());
    size += part->size();
  }
  const bool decorate = m_width < 0 || length <= static_cast<size_t>(m_width);
  if (!decorate) {
    length = digitsLength + (negative ? 1 : 0);
    size = digitsSize + (negative ? 1 : 0);
  }
  const size_t padding =
      m_width > 0 && static_cast<size_t>(m_width) > length ? m_width - length : 0;

  // Rearranged in place: the digits move to where they end up, then the padding and affixes
  // are written around them. This runs for every value shown, and at a fixed width with ASCII
  // affixes the text keeps its size, so nothing is allocated.
  const size_t total = padding + size;
  size_t leadingSize = negative ? 1 : 0;
  if (decorate) {
    leadingSize = 0;
    for (const std::string* part : leading) leadingSize += part != nullptr ? part->size() : 0;
  }
  if (total > out.size()) out.resize(total);
  char* text = &out[0];
  std::memmove(text + padding + leadingSize, text + begin, digitsSize);
  std::memset(text, ' ', padding);
  char* at = text + padding;
  auto put = [&at](const std::string* part) {
    if (part == nullptr) return;
    std::memcpy(at, part->data(), part->size());
    at += part->size();
  };
  if (!decorate) {
    if (negative) *at = '-';
  } else {
    put(leading[0]);
    put(leading[1]);
    at += digitsSize;
    put(trailing[0]);
    put(trailing[1]);
  }
  out.resize(total);
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
  cfmeta_internal::AttachFinished(0, std::move(elem), parent, created);
}

char CFDecoratedFormat::GetFormatClass() const { return 'c'; }
