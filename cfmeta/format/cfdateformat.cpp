#include "cfmeta/format/cfdateformat.h"

#include <unicode/locid.h>
#include <unicode/unistr.h>

#include <memory>

#include "cfmeta/field/cfdatum.h"
#include "cfmeta/format/cfformat_internal.h"
#include "cfmeta/format/cfgmtformatter_internal.h"
#include "cfmeta/format/cftimeformat.h"
#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/xml/cfxmlexchange_internal.h"
#include "cfmeta/xml/cfxmliteratorwrapper.h"
#include "cfmeta/xml/cfxmlwrapper.h"

namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLElements = CfCppHelperV1::XMLElements;
namespace XMLEntities = CfCppHelperV1::XMLEntities;

const CFFormatUtils::DictEntry CFDateFormat::gFmtTypeDict[] = {
    {D_M_Y, XMLEntities::D_M_Y},
    {M_D_Y, XMLEntities::M_D_Y},
    {Y_M_D, XMLEntities::Y_M_D},
    {D_monthName_Y, XMLEntities::D_monthName_Y},
    {MonthName_Y, XMLEntities::MonthName_Y},
    {Y_dayNo, XMLEntities::Y_dayNo},
    {DayName, XMLEntities::DayName},
    {MonthName, XMLEntities::MonthName},
    {Q_Y, XMLEntities::Q_Y},
    {W_Y, XMLEntities::W_Y},
    {0, nullptr}};

namespace {

using CfExtension::CFXMLWrapper;

constexpr unsigned int kFormatTypeCount = 10;
constexpr double kSecondsPerDay = 86400.0;

}  // namespace

CFDateFormat::CFDateFormat() = default;

CFDateFormat::CFDateFormat(FormatType type, int width, unsigned int decimals,
                           UnitsSeparator separator, bool twoDigitYear, bool namesLocal)
    : CFDecimalsFormat(width, decimals),
      m_formatType(type),
      m_separator(separator),
      m_twoDigitYear(twoDigitYear),
      m_namesLocal(namesLocal) {}

CFDateFormat::CFDateFormat(const CFXMLWrapper& elem) {
  if (Read(elem) != 0) *this = CFDateFormat();
}

CFDateFormat::CFDateFormat(const CFDateFormat& other)
    : CFDecimalsFormat(other),
      m_formatType(other.m_formatType),
      m_separator(other.m_separator),
      m_twoDigitYear(other.m_twoDigitYear),
      m_namesLocal(other.m_namesLocal),
      m_timeFormat(other.m_timeFormat ? new CFTimeFormat(*other.m_timeFormat) : nullptr) {}

CFDateFormat& CFDateFormat::operator=(const CFDateFormat& other) {
  if (this != &other) {
    CFDecimalsFormat::operator=(other);
    m_formatType = other.m_formatType;
    m_separator = other.m_separator;
    m_twoDigitYear = other.m_twoDigitYear;
    m_namesLocal = other.m_namesLocal;
    CopyTimeFormat(other.m_timeFormat.get());
  }
  return *this;
}

CFDateFormat::~CFDateFormat() = default;

int CFDateFormat::Read(const CFXMLWrapper& elem) {
  // 1. Name, width and alignment.
  int rc = CFFormatUtils::GetCommonAttr(elem, m_name, m_width, m_alignment);
  if (rc != 0) return rc;

  // 2. The style, required and known.
  unsigned int type = 0;
  rc = cfformat_internal::GetRequiredEnumAttr(elem, XMLAttributes::FormatType, gFmtTypeDict, type);
  if (rc != 0) return rc;
  m_formatType = static_cast<FormatType>(type);

  // 3. The decimals, required and not negative.
  rc = cfformat_internal::GetDecimalPlacesAttr(elem, m_decimals);
  if (rc != 0) return rc;

  bool found = false;
  // 4. The separator and both flags, required.
  rc = CFFormatUtils::GetUnitsSepAttr(elem, m_separator, found);
  if (rc != 0) return rc;
  if (!found) return cfmeta_internal::Missing(elem, XMLAttributes::Separator);
  rc = CFFormatUtils::GetBoolAttr(elem, XMLAttributes::TwoDigitYear, m_twoDigitYear, found);
  if (rc != 0) return rc;
  if (!found) return cfmeta_internal::Missing(elem, XMLAttributes::TwoDigitYear);
  rc = CFFormatUtils::GetBoolAttr(elem, XMLAttributes::NamesLocal, m_namesLocal, found);
  if (rc != 0) return rc;
  if (!found) return cfmeta_internal::Missing(elem, XMLAttributes::NamesLocal);

  // 5. The time part, when there is one, must be readable.
  CfExtension::CFXMLIteratorWrapper* it = nullptr;
  rc = elem.getElementDirectIterator(XMLElements::TimeFormat, &it);
  if (rc != 0) return rc;
  const CFXMLWrapper* child = it->nextElement();
  if (child == nullptr) return 0;
  std::unique_ptr<CFTimeFormat> timeFormat(new CFTimeFormat(*child));
  if (timeFormat->GetWidth() == 0) return CfExtension::kXMLBadArgument;
  m_timeFormat = std::move(timeFormat);
  return 0;
}

void CFDateFormat::Reset(FormatType type, int width, unsigned int decimals,
                         UnitsSeparator separator, bool twoDigitYear, bool namesLocal) {
  if (width == 0) return;
  *this = CFDateFormat(type, width, decimals, separator, twoDigitYear, namesLocal);
}

void CFDateFormat::SetTimeFormat(const CFTimeFormat* timeFormat) {
  if (!IsEmpty()) CopyTimeFormat(timeFormat);
}

void CFDateFormat::CopyTimeFormat(const CFTimeFormat* timeFormat) {
  if (timeFormat == nullptr) {
    m_timeFormat.reset();
  } else if (timeFormat != m_timeFormat.get()) {
    if (m_timeFormat) {
      *m_timeFormat = *timeFormat;
    } else {
      m_timeFormat.reset(new CFTimeFormat(*timeFormat));
    }
  }
}

const CFTimeFormat* CFDateFormat::GetTimeFormat() const { return m_timeFormat.get(); }

CFFormat* CFDateFormat::Clone() const { return new CFDateFormat(*this); }

CFDateFormat::FormatType CFDateFormat::GetFormatType() const {
  return IsEmpty() ? Y_M_D : m_formatType;
}

void CFDateFormat::SetSeparator(UnitsSeparator separator) {
  if (!IsEmpty()) m_separator = separator;
}

void CFDateFormat::GetSeparator(UnitsSeparator& separator) const {
  separator = IsEmpty() ? UnitsSeparator::None : m_separator;
}

bool CFDateFormat::GetTwoDigitYear() const { return !IsEmpty() && m_twoDigitYear; }

bool CFDateFormat::GetNamesLocal() const { return !IsEmpty() && m_namesLocal; }

void CFDateFormat::MakePattern(std::string& pattern) const {
  pattern.clear();
  switch (m_formatType) {
    case D_M_Y:
    case D_monthName_Y:
      SetDatePatt(pattern, "dMy", m_formatType == D_monthName_Y);
      break;
    case M_D_Y:
      SetDatePatt(pattern, "Mdy", false);
      break;
    case Y_M_D:
      SetDatePatt(pattern, "yMd", false);
      break;
    case MonthName_Y:
    case Q_Y:
      SetDatePatt(pattern, "My", true);
      break;
    case Y_dayNo:
      SetDatePatt(pattern, "yD", false);
      break;
    case DayName:
      pattern = "EEEE";
      break;
    case MonthName:
      pattern = "MMMM";
      break;
    case W_Y:
      pattern = m_twoDigitYear ? "ww 'WK' yy" : "ww 'WK' yyyy";
      break;
  }
}

void CFDateFormat::SetDatePatt(std::string& pattern, const std::string& letters,
                               bool monthAsName) const {
  pattern.clear();
  const std::string separator = CFFormatUtils::MakeSeparatorStr(m_separator);
  for (size_t i = 0; i < letters.size(); ++i) {
    if (i > 0) pattern += separator;
    size_t count = 2;
    if (letters[i] == 'y' && !m_twoDigitYear) count = 4;
    if (letters[i] == 'M' && monthAsName) count = 3;
    if (letters[i] == 'D') count = 3;
    pattern.append(count, letters[i]);
  }
}

int CFDateFormat::Format(const CFDatum& value, ValueUnits units, std::string& out) const {
  out.clear();
  if (value.IsNull()) {
    out = ".";
    return 0;
  }
  if (IsEmpty() || value.GetType() != CFDatum::Real || units == NoUnits) return 1;

  std::string pattern;
  MakePattern(pattern);
  if (pattern.empty()) return 1;
  const double seconds = units == Seconds ? value.GetReal() : value.GetReal() * kSecondsPerDay;
  const icu::Locale& locale = m_namesLocal ? icu::Locale::getDefault() : icu::Locale::getUS();
  icu::UnicodeString text;
  if (!cfformat_internal::FormatGMT(pattern, locale, seconds * 1000.0, text)) return 1;
  if ((m_formatType == DayName || m_formatType == MonthName) && m_width > 0 &&
      text.length() > m_width) {
    text.truncate(m_width);
  }
  out = cfformat_internal::ToUTF8(text);

  if (m_timeFormat) {
    std::string time;
    if (m_timeFormat->Format(CFDatum(seconds), Seconds, time) == 0 && !time.empty()) {
      out += ' ';
      out += time;
    }
  }
  return 0;
}

void CFDateFormat::AddToTree(CFXMLWrapper& parent, CFXMLWrapper*& created) const {
  created = nullptr;
  std::unique_ptr<CFXMLWrapper> elem(parent.createFreeElement(XMLElements::DateFormat));
  if (!elem) return;

  int rc = CFFormatUtils::SetCommonAttr(*elem, m_name, m_width, m_alignment);
  if (rc == 0) rc = CFFormatUtils::SetUnitsSepAttr(*elem, m_separator);
  if (rc == 0) {
    rc = elem->addAttribute(XMLAttributes::DecimalPlaces, static_cast<double>(m_decimals));
  }
  if (rc == 0) {
    const unsigned int type = m_formatType < kFormatTypeCount ? m_formatType : D_M_Y;
    rc = elem->addAttribute(XMLAttributes::FormatType, gFmtTypeDict[type].second);
  }
  if (rc == 0)
    rc = elem->addAttribute(XMLAttributes::TwoDigitYear, m_twoDigitYear ? "true" : "false");
  if (rc == 0) rc = elem->addAttribute(XMLAttributes::NamesLocal, m_namesLocal ? "true" : "false");
  if (rc != 0) return;
  if (m_timeFormat) {
    CFXMLWrapper* timeElem = nullptr;
    m_timeFormat->AddToTree(*elem, timeElem);
    if (timeElem == nullptr) return;
  }

  // Attach only when complete: a half-built element must never reach the caller's tree.
  CFXMLWrapper* finished = elem.get();
  if (parent.addElement(finished) != 0) return;
  elem.release();
  created = finished;
}

char CFDateFormat::GetFormatClass() const { return 'd'; }
