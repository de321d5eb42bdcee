#include "cfmeta/format/cftimeformat.h"

#include <unicode/locid.h>
#include <unicode/unistr.h>

#include <memory>

#include "cfmeta/field/cfdatum.h"
#include "cfmeta/format/cfformat_internal.h"
#include "cfmeta/format/cfgmtformatter_internal.h"
#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/xml/cfxmlexchange_internal.h"
#include "cfmeta/xml/cfxmlwrapper.h"

namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLElements = CfCppHelperV1::XMLElements;
namespace XMLEntities = CfCppHelperV1::XMLEntities;

const CFFormatUtils::DictEntry CFTimeFormat::gFmtTypeDict[] = {{H_M, XMLEntities::H_M},
                                                               {H_M_S, XMLEntities::H_M_S},
                                                               {M_S, XMLEntities::M_S},
                                                               {D_H_M_S, XMLEntities::D_H_M_S},
                                                               {0, nullptr}};

namespace {

using CfExtension::CFXMLWrapper;

// 2440588 days of 86 400 000 ms: moving an instant back by this much puts 1970-01-01 on
// Julian day 0, so the calendar's Julian day field counts the whole days of a duration.
constexpr double kJulianDayOfEpochMillis = 2.108668032e14;

// The characters to drop from the end of a duration text that is `excess` characters too
// wide: part of the decimals, then all of them with their point, then also the seconds, the
// minutes and the hours, each taken as a separator and two digits whatever the format's
// separator and padding. -1 when even the day count alone does not fit.
int DurationCut(int excess, int decimals) {
  if (decimals > 0 && decimals > excess) return excess;
  if (decimals > 0 && decimals + 1 >= excess) return decimals + 1;
  const int fraction = decimals > 0 ? decimals + 1 : 0;
  for (int fields = 3; fields <= 9; fields += 3) {
    if (fraction + fields >= excess) return fraction + fields;
  }
  return -1;
}

}  // namespace

CFTimeFormat::CFTimeFormat() = default;

CFTimeFormat::CFTimeFormat(FormatType type, int width, unsigned int decimals,
                           UnitsSeparator separator, bool paddedHMS)
    : CFDecimalsFormat(width, decimals),
      m_formatType(type),
      m_separator(separator),
      m_paddedHMS(paddedHMS) {}

CFTimeFormat::CFTimeFormat(const CFXMLWrapper& elem) {
  // 1. Name, width and alignment.
  int rc = CFFormatUtils::GetCommonAttr(elem, m_name, m_width, m_alignment);

  // 2. The style, required and known.
  if (rc == 0) {
    unsigned int type = 0;
    rc =
        cfformat_internal::GetRequiredEnumAttr(elem, XMLAttributes::FormatType, gFmtTypeDict, type);
    if (rc == 0) m_formatType = static_cast<FormatType>(type);
  }

  // 3. The decimals, required and not negative.
  if (rc == 0) rc = cfformat_internal::GetDecimalPlacesAttr(elem, m_decimals);

  // 4. and 5. The separator and the padding, both required.
  if (rc == 0) {
    bool found = false;
    rc = CFFormatUtils::GetUnitsSepAttr(elem, m_separator, found);
    if (rc == 0 && !found) rc = cfmeta_internal::Missing(elem, XMLAttributes::Separator);
  }
  if (rc == 0) {
    bool found = false;
    rc = CFFormatUtils::GetBoolAttr(elem, XMLAttributes::PaddedHMS, m_paddedHMS, found);
    if (rc == 0 && !found) rc = cfmeta_internal::Missing(elem, XMLAttributes::PaddedHMS);
  }

  if (rc != 0) {
    const Alignment align = m_alignment;
    *this = CFTimeFormat();
    m_alignment = align;
  }
}

CFTimeFormat::~CFTimeFormat() = default;

void CFTimeFormat::Reset(FormatType type, int width, unsigned int decimals,
                         UnitsSeparator separator, bool paddedHMS) {
  if (width == 0) return;
  *this = CFTimeFormat(type, width, decimals, separator, paddedHMS);
}

CFFormat* CFTimeFormat::Clone() const { return new CFTimeFormat(*this); }

CFTimeFormat::FormatType CFTimeFormat::GetFormatType() const {
  return IsEmpty() ? H_M_S : m_formatType;
}

void CFTimeFormat::SetSeparator(UnitsSeparator separator) {
  if (!IsEmpty()) m_separator = separator;
}

void CFTimeFormat::GetSeparator(UnitsSeparator& separator) const {
  separator = IsEmpty() ? UnitsSeparator::None : m_separator;
}

bool CFTimeFormat::GetPaddedHMS() const { return !IsEmpty() && m_paddedHMS; }

void CFTimeFormat::MakePattern(std::string& pattern, bool& isDuration) const {
  isDuration = false;
  pattern.clear();
  switch (m_formatType) {
    case H_M:
      SetTimePatt(pattern, "Hm", 0);
      break;
    case H_M_S:
      SetTimePatt(pattern, "Hms", m_decimals);
      break;
    case M_S:
      SetTimePatt(pattern, "ms", m_decimals);
      break;
    case D_H_M_S:
      SetTimePatt(pattern, "Hms", m_decimals);
      pattern.insert(0, "g ");
      isDuration = true;
      break;
  }
}

void CFTimeFormat::SetTimePatt(std::string& pattern, const std::string& letters,
                               unsigned int decimals) const {
  pattern.clear();
  const std::string separator = CFFormatUtils::MakeSeparatorStr(m_separator);
  for (size_t i = 0; i < letters.size(); ++i) {
    if (i > 0) pattern += separator;
    pattern.append(m_paddedHMS ? 2 : 1, letters[i]);
  }
  if (decimals > 0) {
    pattern += '.';
    pattern.append(decimals, 'S');
  }
}

int CFTimeFormat::Format(const CFDatum& value, ValueUnits units, std::string& out) const {
  out.clear();
  if (value.IsNull()) {
    out = ".";
    return 0;
  }
  if (IsEmpty() || value.GetType() != CFDatum::Real || units != Seconds) return 1;

  std::string pattern;
  bool isDuration = false;
  MakePattern(pattern, isDuration);
  if (pattern.empty()) return 1;
  double millis = value.GetReal() * 1000.0;
  if (isDuration) millis -= kJulianDayOfEpochMillis;
  icu::UnicodeString text;
  if (!cfformat_internal::FormatGMT(pattern, icu::Locale::getUS(), millis, text)) return 1;

  const int excess = text.length() - m_width;
  if (isDuration && m_width > 0 && excess >= 1) {
    const int cut = DurationCut(excess, static_cast<int>(m_decimals));
    if (cut < 0) {
      out = "*";
      return 0;
    }
    // A cut longer than an unusually short text (no separators, no padding) leaves nothing.
    text.truncate(cut < text.length() ? text.length() - cut : 0);
  }
  if (m_width > 0) text.padLeading(m_width);
  out = cfformat_internal::ToUTF8(text);
  return 0;
}

void CFTimeFormat::AddToTree(CFXMLWrapper& parent, CFXMLWrapper*& created) const {
  created = nullptr;
  std::unique_ptr<CFXMLWrapper> elem(parent.createFreeElement(XMLElements::TimeFormat));
  if (!elem) return;

  int rc = CFFormatUtils::SetCommonAttr(*elem, m_name, m_width, m_alignment);
  if (rc == 0) rc = CFFormatUtils::SetUnitsSepAttr(*elem, m_separator);
  if (rc == 0) {
    rc = elem->addAttribute(XMLAttributes::DecimalPlaces, static_cast<double>(m_decimals));
  }
  if (rc == 0) {
    const char* type = XMLEntities::H_M_S;
    if (m_formatType == H_M) type = XMLEntities::H_M;
    if (m_formatType == M_S) type = XMLEntities::M_S;
    if (m_formatType == D_H_M_S) type = XMLEntities::D_H_M_S;
    rc = elem->addAttribute(XMLAttributes::FormatType, type);
  }
  if (rc == 0) {
    rc = elem->addAttribute(XMLAttributes::PaddedHMS, m_paddedHMS ? "true" : "false");
  }
  if (rc != 0) return;

  // Attach only when complete: a half-built element must never reach the caller's tree.
  CFXMLWrapper* finished = elem.get();
  if (parent.addElement(finished) != 0) return;
  elem.release();
  created = finished;
}

char CFTimeFormat::GetFormatClass() const { return 't'; }
