#include "cfmeta/format/cfformatutils.h"

#include <unicode/dcfmtsym.h>
#include <unicode/decimfmt.h>
#include <unicode/locid.h>
#include <unicode/numfmt.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstring>
#include <memory>

#include "cfmeta/field/cfdatum.h"
#include "cfmeta/format/cfformat_internal.h"
#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/xml/cfxmlexchange_internal.h"
#include "cfmeta/xml/cfxmlwrapper.h"

namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLEntities = CfCppHelperV1::XMLEntities;

const CFFormatUtils::DictEntry CFFormatUtils::gAlignDict[] = {
    {CFFormat::Left, XMLEntities::Left},
    {CFFormat::Center, XMLEntities::Center},
    {CFFormat::Right, XMLEntities::Right},
    {CFFormat::Auto, XMLEntities::Auto},
    {0, nullptr}};

const CFFormatUtils::DictEntry CFFormatUtils::gDecSymDict[] = {
    {0, XMLEntities::Period}, {1, XMLEntities::Comma}, {2, XMLEntities::Local}, {0, nullptr}};

const CFFormatUtils::DictEntry CFFormatUtils::gGrpSymDict[] = {
    {0, XMLEntities::None},  {1, XMLEntities::Period}, {2, XMLEntities::Comma},
    {3, XMLEntities::Space}, {4, XMLEntities::Local},  {0, nullptr}};

// The Local text reads back as Colon (4), not Local (7), while Local is still written as its
// own text. Reading and writing keep this asymmetry on purpose.
const CFFormatUtils::DictEntry CFFormatUtils::gUniSepDict[] = {
    {0, XMLEntities::None},  {1, XMLEntities::Period}, {2, XMLEntities::Comma},
    {3, XMLEntities::Space}, {4, XMLEntities::Colon},  {5, XMLEntities::Dash},
    {6, XMLEntities::Slash}, {4, XMLEntities::Local},  {0, nullptr}};

namespace {

using CfExtension::CFXMLWrapper;

// Width used when a negative width asks for free-width text; the result is trimmed.
constexpr int kFreeWidth = 23;

// 10^n as std::pow gives it, from a table for the exponents a double can reach.
constexpr int kPowLimit = 330;
double Pow10(long long n) {
  struct Table {
    double values[2 * kPowLimit + 1];
    Table() {
      for (int i = -kPowLimit; i <= kPowLimit; ++i) values[i + kPowLimit] = std::pow(10.0, i);
    }
  };
  static const Table table;
  if (n >= -kPowLimit && n <= kPowLimit) return table.values[n + kPowLimit];
  return std::pow(10.0, static_cast<double>(n));
}

// printf's "%*.*f" or "%*.*E" in the C locale, whatever the process locale is.
std::string PrintPadded(double value, int width, int precision, bool scientific) {
  const std::chars_format form =
      scientific ? std::chars_format::scientific : std::chars_format::fixed;
  // Room for every integer digit a double can have, the sign, the point and the decimals.
  char small[512];
  std::unique_ptr<char[]> large;
  char* begin = small;
  const size_t capacity = static_cast<size_t>(precision) + 400;
  if (capacity > sizeof small) {
    large.reset(new char[capacity]);
    begin = large.get();
  }
  std::to_chars_result result = std::to_chars(begin, begin + capacity, value, form, precision);
  size_t length = result.ec == std::errc() ? static_cast<size_t>(result.ptr - begin) : 0;
  if (scientific) {
    for (size_t i = 0; i < length; ++i) {
      if (begin[i] >= 'a' && begin[i] <= 'z') begin[i] = static_cast<char>(begin[i] - 'a' + 'A');
    }
  }
  std::string out;
  const size_t padding = width > 0 && static_cast<size_t>(width) > length ? width - length : 0;
  out.reserve(padding + length);
  out.append(padding, ' ');
  out.append(begin, length);
  return out;
}

// Looks a text up in `table` for ReadEnumAttr.
struct InDict {
  const CFFormatUtils::DictEntry* table;
  bool operator()(const char* text, uint32_t& value) const {
    const int index = CFFormatUtils::FindStrInList(text, table);
    if (index >= 0) value = table[index].first;
    return index >= 0;
  }
};

// Reads an enumeration attribute through `table`. Missing gives 0; present but empty or
// unknown is 5 and leaves `value` alone.
int GetEnumAttr(const CFXMLWrapper& elem, const char* attrName,
                const CFFormatUtils::DictEntry* table, unsigned int& value, bool& found) {
  uint32_t read = value;
  int rc = cfmeta_internal::ReadEnumAttr(
      elem, attrName, cfmeta_internal::EnumAbsent::EmptyIsUnknown, InDict{table}, 0, read, found);
  if (rc == 0) value = read;
  return rc;
}

// Broken for an integer attribute whose text is not a whole number.
int NotWhole(const CFXMLWrapper& elem, const char* name, int rc) {
  return cfmeta_internal::Broken(elem, std::string(name) + " must be a whole number", rc);
}

bool IsTrimmedSpace(char c) {
  return c == ' ' || (c >= 0x09 && c <= 0x0D) || (c >= 0x1C && c <= 0x1F);
}

}  // namespace

namespace cfformat_internal {

std::string ToUTF8(const icu::UnicodeString& text) {
  std::string out;
  CfExtension::CFXMLConverter::ToUTF8(text.getBuffer(), static_cast<size_t>(text.length()), out);
  return out;
}

const LocalSymbols* DefaultLocaleSymbols() {
  thread_local LocalSymbols cache;
  thread_local bool filled = false;
  const char* name = icu::Locale::getDefault().getName();
  if (filled && cache.localeName == name) return &cache;

  filled = false;
  UErrorCode status = U_ZERO_ERROR;
  icu::DecimalFormatSymbols symbols(icu::Locale::getDefault(), status);
  if (U_FAILURE(status)) return nullptr;
  cache.localeName = name;
  cache.decimal =
      ToUTF8(symbols.getConstSymbol(icu::DecimalFormatSymbols::kDecimalSeparatorSymbol));
  cache.grouping =
      ToUTF8(symbols.getConstSymbol(icu::DecimalFormatSymbols::kGroupingSeparatorSymbol));
  std::unique_ptr<icu::DecimalFormat> format(CFFormatUtils::MakeDecimalFormat(nullptr));
  cache.groupSize = format ? format->getGroupingSize() : 0;
  filled = true;
  return &cache;
}

int GetRequiredEnumAttr(const CFXMLWrapper& elem, const char* attrName,
                        const CFFormatUtils::DictEntry* table, unsigned int& value) {
  uint32_t read = value;
  bool found = false;
  int rc = cfmeta_internal::ReadEnumAttr(elem, attrName, cfmeta_internal::EnumAbsent::Required,
                                         InDict{table}, 0, read, found);
  if (rc == 0) value = read;
  return rc;
}

int GetDecimalPlacesAttr(const CFXMLWrapper& elem, unsigned int& decimals) {
  int count = 0;
  bool found = false;
  int rc = elem.getAttribute(XMLAttributes::DecimalPlaces, count, found);
  if (rc != 0) return NotWhole(elem, XMLAttributes::DecimalPlaces, rc);
  if (!found) return cfmeta_internal::Missing(elem, XMLAttributes::DecimalPlaces);
  if (count < 0) {
    return cfmeta_internal::Broken(
        elem, std::string(XMLAttributes::DecimalPlaces) + " must not be negative");
  }
  decimals = static_cast<unsigned int>(count);
  return 0;
}

int GetNumberAttrs(const CFXMLWrapper& elem, const CFFormatUtils::DictEntry* typeDict,
                   NumberAttrs& attrs) {
  // 1. and 2. The type, required and known; the decimals, required and not negative.
  int rc = GetRequiredEnumAttr(elem, XMLAttributes::FormatType, typeDict, attrs.formatType);
  if (rc != 0) return rc;
  rc = GetDecimalPlacesAttr(elem, attrs.decimals);
  if (rc != 0) return rc;

  // 3. Both symbols are required here, although their readers accept a missing one.
  bool found = false;
  rc = CFFormatUtils::GetDecimalSymAttr(elem, attrs.decimalSymbol, found);
  if (rc != 0) return rc;
  if (!found) return CfExtension::kXMLBadArgument;
  rc = CFFormatUtils::GetGroupingSymAttr(elem, attrs.groupingSymbol, found);
  if (rc != 0) return rc;
  if (!found) return CfExtension::kXMLBadArgument;
  return 0;
}

int SetNumberAttrs(CFXMLWrapper& elem, const std::string& name, int width,
                   CFFormat::Alignment align, const NumberAttrs& attrs, const char* typeText) {
  int rc = CFFormatUtils::SetCommonAttr(elem, name, width, align);
  if (rc != 0) return rc;
  rc = CFFormatUtils::SetDecimalSymAttr(elem, attrs.decimalSymbol);
  if (rc != 0) return rc;
  rc = CFFormatUtils::SetGroupingSymAttr(elem, attrs.groupingSymbol);
  if (rc != 0) return rc;
  rc = elem.addAttribute(XMLAttributes::DecimalPlaces, static_cast<double>(attrs.decimals));
  if (rc != 0) return rc;
  return elem.addAttribute(XMLAttributes::FormatType, typeText);
}

}  // namespace cfformat_internal

int CFFormatUtils::FindStrInList(const char* text, const DictEntry* table) {
  if (text == nullptr || table == nullptr) return -1;
  for (int i = 0; table[i].second != nullptr; ++i) {
    if (std::strcmp(table[i].second, text) == 0) return i;
  }
  return -1;
}

int CFFormatUtils::SetCommonAttr(CFXMLWrapper& elem, const std::string& name, int width,
                                 CFFormat::Alignment align) {
  int rc = elem.addAttribute(XMLAttributes::Name, name.c_str());
  if (rc != 0) return rc;
  rc = elem.addAttribute(XMLAttributes::Width, static_cast<double>(width < 1 ? -1 : width));
  if (rc != 0) return rc;
  const char* text = XMLEntities::Auto;
  switch (align) {
    case CFFormat::Left:
      text = XMLEntities::Left;
      break;
    case CFFormat::Center:
      text = XMLEntities::Center;
      break;
    case CFFormat::Right:
      text = XMLEntities::Right;
      break;
    default:
      break;
  }
  return elem.addAttribute(XMLAttributes::Alignment, text);
}

int CFFormatUtils::SetDecimalSymAttr(CFXMLWrapper& elem, CFFormat::DecimalSymbol symbol) {
  const char* text = XMLEntities::Period;
  switch (symbol) {
    case CFFormat::DecimalSymbol::Comma:
      text = XMLEntities::Comma;
      break;
    case CFFormat::DecimalSymbol::Local:
      text = XMLEntities::Local;
      break;
    default:
      break;
  }
  return elem.addAttribute(XMLAttributes::DecimalSymbol, text);
}

int CFFormatUtils::SetGroupingSymAttr(CFXMLWrapper& elem, CFFormat::GroupingSymbol symbol) {
  const char* text = XMLEntities::None;
  switch (symbol) {
    case CFFormat::GroupingSymbol::Period:
      text = XMLEntities::Period;
      break;
    case CFFormat::GroupingSymbol::Comma:
      text = XMLEntities::Comma;
      break;
    case CFFormat::GroupingSymbol::Space:
      text = XMLEntities::Space;
      break;
    case CFFormat::GroupingSymbol::Local:
      text = XMLEntities::Local;
      break;
    default:
      break;
  }
  return elem.addAttribute(XMLAttributes::GroupingSymbol, text);
}

int CFFormatUtils::SetUnitsSepAttr(CFXMLWrapper& elem, CFFormat::UnitsSeparator separator) {
  const char* text = XMLEntities::None;
  switch (separator) {
    case CFFormat::UnitsSeparator::Period:
      text = XMLEntities::Period;
      break;
    case CFFormat::UnitsSeparator::Comma:
      text = XMLEntities::Comma;
      break;
    case CFFormat::UnitsSeparator::Space:
      text = XMLEntities::Space;
      break;
    case CFFormat::UnitsSeparator::Colon:
      text = XMLEntities::Colon;
      break;
    case CFFormat::UnitsSeparator::Dash:
      text = XMLEntities::Dash;
      break;
    case CFFormat::UnitsSeparator::Slash:
      text = XMLEntities::Slash;
      break;
    case CFFormat::UnitsSeparator::Local:
      text = XMLEntities::Local;
      break;
    default:
      break;
  }
  return elem.addAttribute(XMLAttributes::Separator, text);
}

int CFFormatUtils::GetCommonAttr(const CFXMLWrapper& elem, std::string& name, int& width,
                                 CFFormat::Alignment& align) {
  // 1. Width, required and not 0.
  bool found = false;
  int readWidth = 0;
  int rc = elem.getAttribute(XMLAttributes::Width, readWidth, found);
  if (rc != 0) return NotWhole(elem, XMLAttributes::Width, rc);
  if (!found || readWidth == 0) {
    return cfmeta_internal::Broken(elem,
                                   std::string(XMLAttributes::Width) + " must be given and not 0");
  }
  width = readWidth < 0 ? -1 : readWidth;

  // 2. Alignment, optional; a text we do not know keeps what the caller had.
  std::string text;
  found = false;
  if (elem.getAttribute(XMLAttributes::Alignment, text, found) == 0) {
    if (!found) {
      align = CFFormat::Auto;
    } else {
      int index = FindStrInList(text.c_str(), gAlignDict);
      if (index >= 0) align = static_cast<CFFormat::Alignment>(gAlignDict[index].first);
    }
  }

  // 3. Name, required.
  found = false;
  rc = elem.getAttribute(XMLAttributes::Name, text, found);
  if (rc != 0) return rc;
  if (!found) return cfmeta_internal::Missing(elem, XMLAttributes::Name);
  name = text;
  return 0;
}

int CFFormatUtils::GetDecimalSymAttr(const CFXMLWrapper& elem, CFFormat::DecimalSymbol& symbol,
                                     bool& found) {
  unsigned int value = static_cast<unsigned int>(symbol);
  int rc = GetEnumAttr(elem, XMLAttributes::DecimalSymbol, gDecSymDict, value, found);
  if (rc == 0) symbol = static_cast<CFFormat::DecimalSymbol>(value);
  return rc;
}

int CFFormatUtils::GetGroupingSymAttr(const CFXMLWrapper& elem, CFFormat::GroupingSymbol& symbol,
                                      bool& found) {
  unsigned int value = static_cast<unsigned int>(symbol);
  int rc = GetEnumAttr(elem, XMLAttributes::GroupingSymbol, gGrpSymDict, value, found);
  if (rc == 0) symbol = static_cast<CFFormat::GroupingSymbol>(value);
  return rc;
}

int CFFormatUtils::GetUnitsSepAttr(const CFXMLWrapper& elem, CFFormat::UnitsSeparator& separator,
                                   bool& found) {
  unsigned int value = static_cast<unsigned int>(separator);
  int rc = GetEnumAttr(elem, XMLAttributes::Separator, gUniSepDict, value, found);
  if (rc == 0) separator = static_cast<CFFormat::UnitsSeparator>(value);
  return rc;
}

int CFFormatUtils::GetBoolAttr(const CFXMLWrapper& elem, const char* attrName, bool& value,
                               bool& found) {
  return cfmeta_internal::ReadBoolAttr(elem, attrName, value, found);
}

std::string CFFormatUtils::MakeSeparatorStr(CFFormat::UnitsSeparator separator) {
  switch (separator) {
    case CFFormat::UnitsSeparator::Period:
      return ".";
    case CFFormat::UnitsSeparator::Comma:
      return ",";
    case CFFormat::UnitsSeparator::Space:
      return " ";
    case CFFormat::UnitsSeparator::Colon:
      return ":";
    case CFFormat::UnitsSeparator::Dash:
      return "-";
    case CFFormat::UnitsSeparator::Slash:
      return "/";
    default:
      return std::string();
  }
}

icu::DecimalFormat* CFFormatUtils::MakeDecimalFormat(const icu::Locale* locale) {
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::NumberFormat> format(locale != nullptr
                                                ? icu::NumberFormat::createInstance(*locale, status)
                                                : icu::NumberFormat::createInstance(status));
  if (U_FAILURE(status) || !format ||
      format->getDynamicClassID() != icu::DecimalFormat::getStaticClassID()) {
    return nullptr;
  }
  return static_cast<icu::DecimalFormat*>(format.release());
}

std::string CFFormatUtils::EncodeStandard(double value, int width, int decimals) {
  const bool negative = value < 0;
  long long d = decimals;
  if (d >= 0 && std::isfinite(value)) {
    // Decimals that leave no room even for the integer part can never fit: skip them at once
    // rather than one by one.
    const long long mostDecimals = static_cast<long long>(width) - (negative ? 1 : 0) - 1;
    if (d >= 1 && d > mostDecimals) d = mostDecimals >= 1 ? mostDecimals : 0;
    for (;;) {
      const long long room =
          static_cast<long long>(width) - (negative ? 1 : 0) - (d >= 1 ? 1 : 0) - d;
      if (room >= 0) {
        const double rounded = std::fabs(value) + 0.5 * Pow10(-d);
        if (rounded < 1.0 || Pow10(room) > rounded) break;
      }
      if (--d < 0) break;
    }
    if (d >= 0) {
      std::string text = PrintPadded(value, width, static_cast<int>(d), false);
      if (text.size() <= static_cast<size_t>(width)) return text;
      if (d - 1 >= 0) return PrintPadded(value, width, static_cast<int>(d - 1), false);
    }
  }
  const long long e = static_cast<long long>(width) - 7 - (negative ? 1 : 0);
  if (e >= 0) return PrintPadded(value, width, static_cast<int>(e), true);
  return "*";
}

bool CFFormatUtils::FormatStandard(const CFDatum& value, std::string& out, int width,
                                   unsigned int decimals, CFFormat::DecimalSymbol decSym,
                                   CFFormat::GroupingSymbol grpSym) {
  // 1. Only a non-null number in a non-empty width renders.
  if (width == 0 || value.IsNull() || value.GetType() == CFDatum::String) {
    out.clear();
    return true;
  }

  // 2. and 3. The fixed-width text.
  const double number =
      value.GetType() == CFDatum::Real ? value.GetReal() : static_cast<double>(value.GetInt());
  const int fullWidth = width < 0 ? kFreeWidth : width;
  // More decimals than an int holds are more than any width holds too: the most an int holds
  // renders the same, where the plain conversion would turn negative and force scientific.
  const int fitted = static_cast<int>(std::min<unsigned int>(decimals, INT_MAX));
  std::string text = EncodeStandard(number, fullWidth, fitted);

  if (text != "*") {
    // 4. Where the padding ends and where the decimal point is. The text is ASCII, so byte
    // positions are character positions.
    const size_t lastSpace = text.rfind(' ');
    size_t point = text.find('.');
    if (point == std::string::npos) point = text.rfind(',');

    // 5. The symbols.
    std::string decimalText;
    std::string groupText;
    int groupSize = 3;
    const cfformat_internal::LocalSymbols* local = nullptr;
    if (decSym == CFFormat::DecimalSymbol::Local || grpSym == CFFormat::GroupingSymbol::Local) {
      local = cfformat_internal::DefaultLocaleSymbols();
      if (local == nullptr) return true;
    }
    if (decSym == CFFormat::DecimalSymbol::Local) {
      decimalText = local->decimal;
    } else {
      decimalText = decSym == CFFormat::DecimalSymbol::Comma ? "," : ".";
    }
    switch (grpSym) {
      case CFFormat::GroupingSymbol::Local:
        groupText = local->grouping;
        groupSize = local->groupSize;
        break;
      case CFFormat::GroupingSymbol::Comma:
        groupText = ",";
        break;
      case CFFormat::GroupingSymbol::Period:
        groupText = ".";
        break;
      case CFFormat::GroupingSymbol::Space:
        groupText = " ";
        break;
      default:
        break;
    }

    // 6. The decimal symbol replaces the one point character.
    if (point != std::string::npos && (decimalText.size() != 1 || text[point] != decimalText[0])) {
      text.replace(point, 1, decimalText);
    }

    // 7. to 10. Grouping, only when the padding can give up a space for every separator.
    if (!groupText.empty() && groupSize > 0) {
      const long long start = lastSpace == std::string::npos ? 0 : lastSpace + 1;
      const long long end = point == std::string::npos ? fullWidth : static_cast<long long>(point);
      const long long neg = number < 0 ? 1 : 0;
      const long long digits = end - start - neg;
      if (digits >= 2) {
        const long long separators = (digits - 1) / groupSize;
        if (start >= separators) {
          for (long long at = end - groupSize; at > start + neg; at -= groupSize) {
            const size_t where = std::min(static_cast<size_t>(at), text.size());
            text.insert(where, groupText);
          }
          text.erase(0, static_cast<size_t>(separators));
        }
      }
    }
  }

  // 11. A free width gives up its padding.
  if (width < 0) {
    size_t first = 0;
    size_t last = text.size();
    while (first < last && IsTrimmedSpace(text[first])) ++first;
    while (last > first && IsTrimmedSpace(text[last - 1])) --last;
    text = text.substr(first, last - first);
  }
  out.swap(text);
  return false;
}

bool CFFormatUtils::FormatStandard(const CFDatum& value, icu::UnicodeString& out, int width,
                                   unsigned int decimals, CFFormat::DecimalSymbol decSym,
                                   CFFormat::GroupingSymbol grpSym) {
  std::string text;
  if (FormatStandard(value, text, width, decimals, decSym, grpSym)) {
    if (width == 0 || value.IsNull() || value.GetType() == CFDatum::String) out.remove();
    return true;
  }
  out = icu::UnicodeString::fromUTF8(text);
  return false;
}
