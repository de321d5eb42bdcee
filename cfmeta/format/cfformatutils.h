// What the concrete formats share: reading and writing the common attributes (name, width,
// alignment), the symbol and separator attributes and boolean attributes; the tables that map
// enumeration values to their XML texts; making an ICU decimal formatter; and the standard
// fixed-width number rendering.
//
// Every member is static and may be called from any thread. The tables are filled once when
// the library is loaded and never change afterwards.
#ifndef CFMETA_FORMAT_CFFORMATUTILS_H_
#define CFMETA_FORMAT_CFFORMATUTILS_H_

#include <unicode/uversion.h>

#include <string>
#include <utility>

#include "cfmeta/cfmeta_export.h"
#include "cfmeta/format/cfformat.h"

U_NAMESPACE_BEGIN
class DecimalFormat;
class Locale;
class UnicodeString;
U_NAMESPACE_END

class CFDatum;
namespace CfExtension {
class CFXMLWrapper;
}

class CFMETA_API CFFormatUtils {
 public:
  // One row of a text table: an enumeration value and the XML text it is written as. Every
  // table ends with the row (0, nullptr).
  typedef std::pair<unsigned int, const char*> DictEntry;

  // Rows in reading order; writing uses its own switch, so a text that reads as another value
  // (the units separator's Local text reads as Colon) does not change what is written.
  static const DictEntry gAlignDict[];   // Left, Center, Right, Auto
  static const DictEntry gDecSymDict[];  // Period, Comma, Local
  static const DictEntry gGrpSymDict[];  // None, Period, Comma, Space, Local
  static const DictEntry gUniSepDict[];  // None ... Slash, then Local read as Colon

  CFFormatUtils() = delete;

  // The index of the first row of `table` whose text equals `text` byte for byte; -1 when
  // none does or `text` is null. Callers take that row's value, not the index.
  static int FindStrInList(const char* text, const DictEntry* table);

  // --- Writing attributes. Each returns 0, or the failing write's status. ---

  // Name (text), Width (a number; -1 for any width below 1) and Alignment (Left, Center,
  // Right, anything else Auto), in that order; stops at the first failing write.
  static int SetCommonAttr(CfExtension::CFXMLWrapper& elem, const std::string& name, int width,
                           CFFormat::Alignment align);
  // Comma, Local, anything else Period.
  static int SetDecimalSymAttr(CfExtension::CFXMLWrapper& elem, CFFormat::DecimalSymbol symbol);
  // Period, Comma, Space, Local, anything else None.
  static int SetGroupingSymAttr(CfExtension::CFXMLWrapper& elem, CFFormat::GroupingSymbol symbol);
  // Period, Comma, Space, Colon, Dash, Slash, Local, anything else None.
  static int SetUnitsSepAttr(CfExtension::CFXMLWrapper& elem, CFFormat::UnitsSeparator separator);

  // --- Reading attributes ---

  // Reads Width, then Alignment, then Name.
  //   0  done: `width` is the width (-1 for any negative width), `name` the name, and `align`
  //      the alignment read, Auto when the attribute is missing, or left as the caller had it
  //      when the text is empty or unknown.
  //   5  Width missing or 0, or Name missing.
  //   other: the wrapper's status for Width or Name.
  // After a failure the outputs hold whatever was read before it.
  static int GetCommonAttr(const CfExtension::CFXMLWrapper& elem, std::string& name, int& width,
                           CFFormat::Alignment& align);
  // `found` tells whether the attribute is present.
  //   0  missing (`symbol` becomes Period, the value 0) or a known text (its value).
  //   5  present but empty or unknown; `symbol` is untouched.
  //   other: the wrapper's status.
  static int GetDecimalSymAttr(const CfExtension::CFXMLWrapper& elem,
                               CFFormat::DecimalSymbol& symbol, bool& found);
  // As GetDecimalSymAttr; missing gives None.
  static int GetGroupingSymAttr(const CfExtension::CFXMLWrapper& elem,
                                CFFormat::GroupingSymbol& symbol, bool& found);
  // As GetDecimalSymAttr; missing gives None. The Local text reads as Colon.
  static int GetUnitsSepAttr(const CfExtension::CFXMLWrapper& elem,
                             CFFormat::UnitsSeparator& separator, bool& found);
  // `value` starts false.
  //   0  missing (`found` false) or the True or False text.
  //   5  any other text.
  //   other: the wrapper's status.
  static int GetBoolAttr(const CfExtension::CFXMLWrapper& elem, const char* attrName, bool& value,
                         bool& found);

  // --- Text helpers ---

  // The one-character text of a units separator; empty for None, Local and unknown values.
  static std::string MakeSeparatorStr(CFFormat::UnitsSeparator separator);

  // A new decimal formatter for `locale` (the default locale when null), owned by the caller;
  // null when ICU fails or makes some other kind of number formatter.
  static icu::DecimalFormat* MakeDecimalFormat(const icu::Locale* locale);

  // `value` right-aligned in `width` characters with at most `decimals` decimals, dropping
  // decimals until it fits and falling back to scientific notation; "*" when nothing fits.
  // The decimal point is always ".", whatever the C locale.
  static std::string EncodeStandard(double value, int width, int decimals);

  // The standard rendering of a numeric datum in `width` characters (a negative width renders
  // in 23 and trims the result) with the given symbols. Digits are grouped only when the left
  // padding has room for the separators, so the width is kept.
  // Returns false on success. True on failure: `out` is emptied for a width of 0, a null or a
  // string datum, and left untouched when the default locale's symbols cannot be had.
  static bool FormatStandard(const CFDatum& value, icu::UnicodeString& out, int width,
                             unsigned int decimals, CFFormat::DecimalSymbol decSym,
                             CFFormat::GroupingSymbol grpSym);
  // The same rendering as UTF-8 text, under the same rules for `out`.
  static bool FormatStandard(const CFDatum& value, std::string& out, int width,
                             unsigned int decimals, CFFormat::DecimalSymbol decSym,
                             CFFormat::GroupingSymbol grpSym);
};

#endif  // CFMETA_FORMAT_CFFORMATUTILS_H_
