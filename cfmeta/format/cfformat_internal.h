// Helpers the formats share inside the library; not installed.
#ifndef CFMETA_FORMAT_CFFORMAT_INTERNAL_H_
#define CFMETA_FORMAT_CFFORMAT_INTERNAL_H_

#include <unicode/unistr.h>

#include <memory>
#include <string>

#include "cfmeta/format/cfformat.h"
#include "cfmeta/format/cfformatutils.h"

namespace CfExtension {
class CFXMLWrapper;
}

namespace cfformat_internal {

// The default locale's number symbols as UTF-8, with the grouping size of its decimal
// formatter (0 when it groups nothing or no formatter could be made).
struct LocalSymbols {
  std::string localeName;
  std::string decimal;
  std::string grouping;
  int groupSize = 0;
};

// This thread's symbols for the current default locale, rebuilt only when that locale
// changes; null when ICU cannot give them. Valid until the next call on this thread.
const LocalSymbols* DefaultLocaleSymbols();

// Well-formed UTF-16 to UTF-8; unpaired surrogates become U+FFFD.
std::string ToUTF8(const icu::UnicodeString& text);

// Reads the required attribute `attrName` through `table`.
//   0  `value` is the value of the first row whose text matches.
//   5  missing, or a text no row has; `value` is untouched.
//   other: the wrapper's status.
int GetRequiredEnumAttr(const CfExtension::CFXMLWrapper& elem, const char* attrName,
                        const CFFormatUtils::DictEntry* table, unsigned int& value);

// Reads the required DecimalPlaces attribute: 0 and the count, 5 when it is missing, negative
// or not an integer (`decimals` untouched), or the wrapper's status.
int GetDecimalPlacesAttr(const CfExtension::CFXMLWrapper& elem, unsigned int& decimals);
// The settings every number-like format holds, as read from or written to its element.
struct NumberAttrs {
  unsigned int formatType = 0;
  unsigned int decimals = 0;
  CFFormat::DecimalSymbol decimalSymbol = CFFormat::DecimalSymbol::Period;
  CFFormat::GroupingSymbol groupingSymbol = CFFormat::GroupingSymbol::None;
};

// Reads FormatType (a text of `typeDict`), DecimalPlaces (0 or more), DecimalSymbol and
// GroupingSymbol, in that order, all four required.
//   0  done; `attrs` holds them.
//   5  one is missing, unknown or out of range.
//   other: the wrapper's status.
// After a failure `attrs` holds whatever was read before it.
int GetNumberAttrs(const CfExtension::CFXMLWrapper& elem, const CFFormatUtils::DictEntry* typeDict,
                   NumberAttrs& attrs);

// Writes Name, Width, Alignment, DecimalSymbol, GroupingSymbol, DecimalPlaces (a number) and
// FormatType (`typeText`), in that order. 0, or the failing write's status.
int SetNumberAttrs(CfExtension::CFXMLWrapper& elem, const std::string& name, int width,
                   CFFormat::Alignment align, const NumberAttrs& attrs, const char* typeText);

}  // namespace cfformat_internal

#endif  // CFMETA_FORMAT_CFFORMAT_INTERNAL_H_
