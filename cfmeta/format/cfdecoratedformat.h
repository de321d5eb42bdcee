// A number format with decorations: a prefix and a suffix (a currency sign, a percent sign)
// around every number, and a negative prefix and suffix that take the place of the minus sign
// of a negative one.
//
// The number itself is the standard fixed-width rendering with the format's decimals and
// symbols. The affixes are put around it only when everything fits the width; otherwise they
// are dropped and a negative number keeps its plain "-". The result is right-aligned in the
// width. The format type and the custom currency identifier describe the format for the
// application and do not change the text: a Percentage format does not multiply by 100.
//
// A width of 0 marks the empty format: its setters do nothing, its type, decimals and symbols
// read as Currency, 0, Period and None, it writes nothing and renders nothing but the null
// datum. A damaged element reads as the empty format; reading never throws. A width of -1 asks
// for free-width rendering, where the affixes always fit.
//
// Widths and lengths count UTF-16 code units, so a one-character sign such as a euro sign
// counts as one.
//
// Rendering is const and may run on one object from several threads at once; the setters are
// not synchronised with it.
#ifndef CFMETA_FORMAT_CFDECORATEDFORMAT_H_
#define CFMETA_FORMAT_CFDECORATEDFORMAT_H_

#include <cstdint>
#include <string>

#include "cfmeta/cfmeta_export.h"
#include "cfmeta/format/cfcommonformat.h"
#include "cfmeta/format/cfformat.h"
#include "cfmeta/format/cfformatutils.h"

class CFMETA_API CFDecoratedFormat : public CFDecimalsFormat {
 public:
  enum FormatType : uint32_t { Currency = 0, Percentage = 1 };
  // The texts of the two types, in value order, ended by (0, nullptr).
  static const CFFormatUtils::DictEntry gFmtTypeDict[];
  // Custom currency identifiers run from 1 to this; 0 means none.
  static constexpr unsigned int kMaxCustomCurrencyID = 5;

  // The empty format: Currency, width 0, Auto, no name, 0 decimals, Period, None, all four
  // affixes empty, no custom currency.
  CFDecoratedFormat();
  // As the empty format but with these three, and a negative prefix of "-" so that negative
  // numbers show their sign until other negative affixes are set.
  CFDecoratedFormat(FormatType type, int width, unsigned int decimals);
  // Reads an `XMLElements::DecoratedFormat` element. Name, Width (not 0), FormatType,
  // DecimalPlaces (0 or more), DecimalSymbol and GroupingSymbol are required; Alignment is
  // Auto when missing. Prefix, Suffix, NegPrefix and NegSuffix are optional and empty when
  // missing (a missing NegPrefix gives no negative prefix, not "-"), and are taken as they
  // stand, without the check SetAffixes makes. CustomCurrType is optional, 0 when missing,
  // and any value from 0 up is kept. Anything missing, unknown or negative gives the empty
  // format.
  explicit CFDecoratedFormat(const CfExtension::CFXMLWrapper& elem);
  CFDecoratedFormat(const CFDecoratedFormat& other) = default;
  CFDecoratedFormat& operator=(const CFDecoratedFormat& other) = default;
  ~CFDecoratedFormat() override;

  // Becomes what the three-argument constructor makes (name, symbols, alignment, affixes and
  // custom currency all reset); a width of 0 leaves the format as it was.
  void Reset(FormatType type, int width, unsigned int decimals);

  // A new CFDecoratedFormat; the caller owns it.
  CFFormat* Clone() const override;
  // Name, width, alignment and decimals, and what the empty format does with them, are
  // those of CFDecimalsFormat.

  FormatType GetFormatType() const;
  void SetSeparators(DecimalSymbol decSym, GroupingSymbol grpSym);
  void GetSeparators(DecimalSymbol& decSym, GroupingSymbol& grpSym) const;

  // Stores the pair only when both texts begin with the digit '0' or neither does (an empty
  // text does not); a pair where exactly one does is ignored whole.
  void SetAffixes(const std::string& prefix, const std::string& suffix);
  void GetAffixes(std::string& prefix, std::string& suffix) const;
  // Stored as given. Empty texts leave a negative number with no sign at all while the
  // affixes fit.
  void SetNegAffixes(const std::string& prefix, const std::string& suffix);
  void GetNegAffixes(std::string& prefix, std::string& suffix) const;
  // Identifiers above kMaxCustomCurrencyID are ignored.
  void SetCustomCurrencyID(unsigned int id);
  // What was set or read; 0 when there is none.
  unsigned int GetCustomCurrencyID() const;

  // Renders `value` into `out`; `units` plays no part. A null datum renders as "." whatever
  // the format, even the empty one.
  //   0  done.
  //   1  the format is empty, `value` is a string, or the standard rendering failed; `out` is
  //      empty.
  // A negative number loses its "-" and is written as negative prefix + prefix + number +
  // suffix + negative suffix; a positive one as prefix + number + suffix. When that is wider
  // than a fixed width, the number is written alone, with its "-" when negative.
  int Format(const CFDatum& value, ValueUnits units, std::string& out) const override;
  // Writes Name, Width, Alignment, DecimalSymbol, GroupingSymbol, DecimalPlaces and
  // FormatType, then those of Prefix, Suffix, NegPrefix and NegSuffix that are not empty, and
  // CustomCurrType when it is not 0, in that order. An empty format writes nothing.
  void AddToTree(CfExtension::CFXMLWrapper& parent,
                 CfExtension::CFXMLWrapper*& created) const override;
  // 'c'.
  char GetFormatClass() const override;

 private:
  FormatType m_formatType = Currency;
  DecimalSymbol m_decimalSymbol = DecimalSymbol::Period;
  GroupingSymbol m_groupingSymbol = GroupingSymbol::None;
  std::string m_prefix;
  std::string m_suffix;
  std::string m_negPrefix;
  std::string m_negSuffix;
  unsigned int m_customCurrencyID = 0;

  int ReadAffixesAndCurrency(const CfExtension::CFXMLWrapper& elem);
};

#endif  // CFMETA_FORMAT_CFDECORATEDFORMAT_H_
