// The display format of numeric fields: a width, a number of decimals, a decimal symbol, a
// grouping symbol and a format type.
//
// A width of 0 marks the empty format, which holds nothing: its setters do nothing, its type,
// decimals and symbols read as Standard, 0, Period and None, it writes nothing and renders
// nothing but the null datum. A damaged element reads as the empty format; reading never
// throws. A width of -1 asks for free-width rendering.
//
// Rendering is const and may run on one object from several threads at once; the setters are
// not synchronised with it.
#ifndef CFMETA_FORMAT_CFNUMBERFORMAT_H_
#define CFMETA_FORMAT_CFNUMBERFORMAT_H_

#include <cstdint>
#include <string>

#include "cfmeta/cfmeta_export.h"
#include "cfmeta/format/cfcommonformat.h"
#include "cfmeta/format/cfformat.h"
#include "cfmeta/format/cfformatutils.h"

class CFMETA_API CFNumberFormat : public CFDecimalsFormat {
 public:
  // Only Scientific renders differently; the other types render as Standard and are kept so
  // that they survive a read and a write.
  enum FormatType : uint32_t {
    Standard = 0,
    Scientific = 1,
    General = 2,
    Restricted = 3,
    IntBin = 4,
    PosIntBin = 5,
    PosIntBinHex = 6,
    Zoned = 7,
    Packed = 8,
    UnsignedPacked = 9,
    RealBin = 10,
    PosRealBin = 11
  };
  // The texts of the twelve types, in value order, ended by (0, nullptr).
  static const CFFormatUtils::DictEntry gFmtTypeDict[];

  // The empty format: Standard, width 0, Auto, no name, 0 decimals, Period, None.
  CFNumberFormat();
  // Auto alignment, no name, Period, None.
  CFNumberFormat(FormatType type, int width, unsigned int decimals);
  // Reads an `XMLElements::NumberFormat` element. Name, Width (not 0), FormatType,
  // DecimalPlaces (0 or more), DecimalSymbol and GroupingSymbol are required; Alignment is
  // Auto when missing. Anything missing or unknown gives the empty format.
  explicit CFNumberFormat(const CfExtension::CFXMLWrapper& elem);
  CFNumberFormat(const CFNumberFormat& other) = default;
  CFNumberFormat& operator=(const CFNumberFormat& other) = default;
  ~CFNumberFormat() override;

  // Becomes what the three-argument constructor makes; a width of 0 leaves the format as it
  // was.
  void Reset(FormatType type, int width, unsigned int decimals);

  // A new CFNumberFormat; the caller owns it.
  CFFormat* Clone() const override;
  // Name, width, alignment and decimals, and what the empty format does with them, are
  // those of CFDecimalsFormat.

  FormatType GetFormatType() const;
  void SetSeparators(DecimalSymbol decSym, GroupingSymbol grpSym);
  void GetSeparators(DecimalSymbol& decSym, GroupingSymbol& grpSym) const;

  // Renders `value` into `out`; `units` plays no part. A null datum renders as "." whatever
  // the format, even the empty one.
  //   0  done.
  //   1  the format is empty, `value` is a string, or no ICU formatter could be made (also a
  //      Scientific format with more than 999 decimals); `out` is empty.
  //   other: the standard rendering failed; `out` is empty.
  // Standard text is right-aligned in the width; Scientific text has one integer digit,
  // exactly `decimals` decimals in the symbol's locale (Period US, Comma German, Local the
  // default locale), a signed exponent of at least three digits, and is padded on the left
  // to the width but never cut.
  int Format(const CFDatum& value, ValueUnits units, std::string& out) const override;
  // Writes Name, Width, Alignment, DecimalSymbol, GroupingSymbol, DecimalPlaces and
  // FormatType, in that order. An empty format writes nothing.
  void AddToTree(CfExtension::CFXMLWrapper& parent,
                 CfExtension::CFXMLWrapper*& created) const override;
  // 'n'.
  char GetFormatClass() const override;

 private:
  FormatType m_formatType = Standard;
  DecimalSymbol m_decimalSymbol = DecimalSymbol::Period;
  GroupingSymbol m_groupingSymbol = GroupingSymbol::None;

  int FormatScientific(double value, std::string& out) const;
};

#endif  // CFMETA_FORMAT_CFNUMBERFORMAT_H_
