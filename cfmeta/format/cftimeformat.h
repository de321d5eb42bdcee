// The display format of time-of-day and duration fields, and the time part of a date format:
// a style, a width, a number of decimals of seconds, a separator between hours, minutes and
// seconds, and whether each of them always takes two digits.
//
// A time value is a real datum counting seconds from 1970-01-01 00:00 GMT. It renders in US
// English on a GMT Gregorian calendar, so neither the local time zone nor daylight saving
// enters. The duration style D_H_M_S shows the number of whole days, a space, and the rest as
// hours, minutes and seconds.
//
// A width of 0 marks the empty format: its setters do nothing, its style, decimals, separator
// and padding read as H_M_S, 0, None and false, and it renders nothing but the null datum. A
// damaged element reads as the empty format; reading never throws. A width of -1 asks for
// free-width rendering.
//
// Rendering is const and may run on one object from several threads at once; the setters are
// not synchronised with it.
#ifndef CFMETA_FORMAT_CFTIMEFORMAT_H_
#define CFMETA_FORMAT_CFTIMEFORMAT_H_

#include <cstdint>
#include <string>

#include "cfmeta/cfmeta_export.h"
#include "cfmeta/format/cfcommonformat.h"
#include "cfmeta/format/cfformat.h"
#include "cfmeta/format/cfformatutils.h"

class CFMETA_API CFTimeFormat : public CFDecimalsFormat {
 public:
  enum FormatType : uint32_t {
    H_M = 0,     // hours and minutes; the decimals are never shown
    H_M_S = 1,   // hours, minutes and seconds
    M_S = 2,     // minutes and seconds
    D_H_M_S = 3  // a duration: whole days, a space, then hours, minutes and seconds
  };
  // The texts of the four styles, in value order, ended by (0, nullptr).
  static const CFFormatUtils::DictEntry gFmtTypeDict[];

  // The empty format: H_M_S, width 0, Auto, no name, 0 decimals, None, padded.
  CFTimeFormat();
  // Auto alignment, no name.
  CFTimeFormat(FormatType type, int width, unsigned int decimals, UnitsSeparator separator,
               bool paddedHMS);
  // Reads an `XMLElements::TimeFormat` element. Name, Width (not 0), FormatType,
  // DecimalPlaces (0 or more), Separator and PaddedHMS are required; Alignment is Auto when
  // missing. Anything missing or unknown gives the empty format, which keeps the alignment
  // read before the failure.
  explicit CFTimeFormat(const CfExtension::CFXMLWrapper& elem);
  CFTimeFormat(const CFTimeFormat& other) = default;
  CFTimeFormat& operator=(const CFTimeFormat& other) = default;
  ~CFTimeFormat() override;

  // Becomes what the five-argument constructor makes; a width of 0 leaves the format as it
  // was.
  void Reset(FormatType type, int width, unsigned int decimals, UnitsSeparator separator,
             bool paddedHMS);

  // A new CFTimeFormat; the caller owns it.
  CFFormat* Clone() const override;
  // Name, width, alignment and decimals, and what the empty format does with them, are
  // those of CFDecimalsFormat.

  FormatType GetFormatType() const;
  void SetSeparator(UnitsSeparator separator);
  void GetSeparator(UnitsSeparator& separator) const;
  bool GetPaddedHMS() const;

  // The ICU pattern of this format's style; empty for an unknown style. `isDuration` tells
  // whether it is the D_H_M_S pattern, whose leading "g " is the Julian day number.
  void MakePattern(std::string& pattern, bool& isDuration) const;
  // Replaces `pattern` with `letters`, each written twice when padded, separated by the
  // separator's text, followed by "." and `decimals` fraction letters when `decimals` > 0.
  void SetTimePatt(std::string& pattern, const std::string& letters, unsigned int decimals) const;

  // Renders `value` into `out`. A null datum renders as "." whatever the format, even the
  // empty one.
  //   0  done.
  //   1  the format is empty or its style unknown, `value` is not real or not finite, `units`
  //      is not Seconds, or ICU failed; `out` is empty.
  // With a positive width the text is padded on the left to the width and never cut, except
  // for a duration: one too wide first loses decimals, then the seconds, the minutes and the
  // hours, and becomes "*" when even the day count does not fit.
  int Format(const CFDatum& value, ValueUnits units, std::string& out) const override;
  // Writes Name, Width, Alignment, Separator, DecimalPlaces, FormatType and PaddedHMS, in
  // that order. An empty format is written too, with a width of -1.
  void AddToTree(CfExtension::CFXMLWrapper& parent,
                 CfExtension::CFXMLWrapper*& created) const override;
  // 't'.
  char GetFormatClass() const override;

 private:
  FormatType m_formatType = H_M_S;
  UnitsSeparator m_separator = UnitsSeparator::None;
  bool m_paddedHMS = true;
};

#endif  // CFMETA_FORMAT_CFTIMEFORMAT_H_
