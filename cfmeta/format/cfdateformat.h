// The display format of date and timestamp fields: a date style, a width, a separator between
// the parts of the date, a two-digit-year flag, whether names follow the default locale, and
// an optional time format whose text follows the date after one space.
//
// A date value is a real datum counting seconds or days from 1970-01-01 00:00 GMT. It renders
// on a GMT Gregorian calendar in US English, or with names local in the default locale at the
// time of the call; day and month names and week numbers are that locale's.
//
// A width of 0 marks the empty format: its setters do nothing, its style, decimals,
// separator and flags read as Y_M_D, 0, None and false, and it renders nothing but the null
// datum. A damaged element reads as the empty format; reading never throws. A width of -1
// asks for free-width rendering. Copies are deep: each holds its own time format.
//
// Rendering is const and may run on one object from several threads at once; the setters are
// not synchronised with it.
#ifndef CFMETA_FORMAT_CFDATEFORMAT_H_
#define CFMETA_FORMAT_CFDATEFORMAT_H_

#include <cstdint>
#include <memory>
#include <string>

#include "cfmeta/cfmeta_export.h"
#include "cfmeta/format/cfcommonformat.h"
#include "cfmeta/format/cfformat.h"
#include "cfmeta/format/cfformatutils.h"

class CFTimeFormat;

class CFMETA_API CFDateFormat : public CFDecimalsFormat {
 public:
  enum FormatType : uint32_t {
    // The texts shown are those of the Slash separator and a four-digit year.
    D_M_Y = 0,          // 31/12/2024
    M_D_Y = 1,          // 12/31/2024
    Y_M_D = 2,          // 2024/12/31
    D_monthName_Y = 3,  // 31/Dec/2024
    MonthName_Y = 4,    // Dec/2024
    Y_dayNo = 5,        // 2024/366: the day of the year
    DayName = 6,        // Tuesday; cut to the width
    MonthName = 7,      // December; cut to the width
    Q_Y = 8,            // the same text as MonthName_Y
    W_Y = 9             // 01 WK 2024: the week of the year
  };
  // The texts of the ten styles, in value order, ended by (0, nullptr).
  static const CFFormatUtils::DictEntry gFmtTypeDict[];

  // The empty format: Y_M_D, width 0, Auto, no name, 0 decimals, None, both flags false, no
  // time format.
  CFDateFormat();
  // Auto alignment, no name, no time format. The decimals are kept and written but play no
  // part in rendering.
  CFDateFormat(FormatType type, int width, unsigned int decimals, UnitsSeparator separator,
               bool twoDigitYear, bool namesLocal);
  // Reads an `XMLElements::DateFormat` element. Name, Width (not 0), FormatType,
  // DecimalPlaces (0 or more), Separator, TwoDigitYear and NamesLocal are required;
  // Alignment is Auto when missing. The first `XMLElements::TimeFormat` child, when there is
  // one, becomes the time format and must read as a non-empty one. Anything missing, unknown
  // or unreadable gives the empty format.
  explicit CFDateFormat(const CfExtension::CFXMLWrapper& elem);
  CFDateFormat(const CFDateFormat& other);
  CFDateFormat& operator=(const CFDateFormat& other);
  ~CFDateFormat() override;

  // Becomes what the six-argument constructor makes, dropping the time format; a width of 0
  // leaves the format as it was.
  void Reset(FormatType type, int width, unsigned int decimals, UnitsSeparator separator,
             bool twoDigitYear, bool namesLocal);

  // Attaches a copy of `timeFormat`; null drops the attached one. Does nothing to the empty
  // format.
  void SetTimeFormat(const CFTimeFormat* timeFormat);
  // Non-owning; null when there is none. Valid until this object next changes.
  const CFTimeFormat* GetTimeFormat() const;

  // A new deep CFDateFormat; the caller owns it.
  CFFormat* Clone() const override;
  // Name, width, alignment and decimals, and what the empty format does with them, are
  // those of CFDecimalsFormat.

  FormatType GetFormatType() const;
  void SetSeparator(UnitsSeparator separator);
  void GetSeparator(UnitsSeparator& separator) const;
  bool GetTwoDigitYear() const;
  bool GetNamesLocal() const;

  // The ICU pattern of this format's style; empty for an unknown style.
  void MakePattern(std::string& pattern) const;
  // Replaces `pattern` with one group per letter of `letters` ("yyyy" or "yy" for 'y',
  // "MMM" or "MM" for 'M' as `monthAsName` says, "DDD" for 'D', two letters otherwise),
  // separated by the separator's text.
  void SetDatePatt(std::string& pattern, const std::string& letters, bool monthAsName) const;

  // Renders `value`, counting seconds for Seconds and days for Days, into `out`. A null datum
  // renders as "." whatever the format, even the empty one.
  //   0  done.
  //   1  the format is empty or its style unknown, `value` is not real or not finite,
  //      `units` is NoUnits, or ICU failed; `out` is empty.
  // The text is never padded; DayName and MonthName are cut to a positive width. An attached
  // time format renders the same instant in seconds after one space; when it renders
  // nothing, the date stands alone.
  int Format(const CFDatum& value, ValueUnits units, std::string& out) const override;
  // Writes Name, Width, Alignment, Separator, DecimalPlaces, FormatType, TwoDigitYear and
  // NamesLocal, in that order, then the time format as a child. An empty format is written
  // too, with a width of -1.
  void AddToTree(CfExtension::CFXMLWrapper& parent,
                 CfExtension::CFXMLWrapper*& created) const override;
  // 'd'.
  char GetFormatClass() const override;

 private:
  FormatType m_formatType = Y_M_D;
  UnitsSeparator m_separator = UnitsSeparator::None;
  bool m_twoDigitYear = false;
  bool m_namesLocal = false;
  std::unique_ptr<CFTimeFormat> m_timeFormat;

  int Read(const CfExtension::CFXMLWrapper& elem);
  // Copies into the attached time format when there is one, so that pointers to it stay
  // valid; null drops it.
  void CopyTimeFormat(const CFTimeFormat* timeFormat);
};

#endif  // CFMETA_FORMAT_CFDATEFORMAT_H_
