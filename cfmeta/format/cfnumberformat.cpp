#include "cfmeta/format/cfnumberformat.h"

#include <unicode/decimfmt.h>
#include <unicode/locid.h>
#include <unicode/unistr.h>

#include <cstring>
#include <memory>
#include <unordered_map>

#include "cfmeta/field/cfdatum.h"
#include "cfmeta/format/cfformat_internal.h"
#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/xml/cfxmlexchange_internal.h"
#include "cfmeta/xml/cfxmlwrapper.h"

namespace XMLElements = CfCppHelperV1::XMLElements;
namespace XMLEntities = CfCppHelperV1::XMLEntities;

const CFFormatUtils::DictEntry CFNumberFormat::gFmtTypeDict[] = {
    {Standard, XMLEntities::Standard},
    {Scientific, XMLEntities::Scientific},
    {General, XMLEntities::General},
    {Restricted, XMLEntities::Restricted},
    {IntBin, XMLEntities::IntBin},
    {PosIntBin, XMLEntities::PosIntBin},
    {PosIntBinHex, XMLEntities::PosIntBinHex},
    {Zoned, XMLEntities::Zoned},
    {Packed, XMLEntities::Packed},
    {UnsignedPacked, XMLEntities::UnsignedPacked},
    {RealBin, XMLEntities::RealBin},
    {PosRealBin, XMLEntities::PosRealBin},
    {0, nullptr}};

namespace {

using CfExtension::CFXMLWrapper;

constexpr unsigned int kFormatTypeCount = 12;

enum class SciLocale : uint32_t { US = 0, Germany = 1, Default = 2 };

// The most decimals a scientific text carries. A double's exact decimal expansion has fewer
// significant digits than this, and ICU's formatter silently renders wrong digits (1.5 as
// "0E+000") once asked for tens of thousands of them, so a format asking for more renders
// nothing rather than a wrong number.
constexpr unsigned int kMaxScientificDecimals = 999;

// Scientific formatters, one per locale and number of decimals, kept per thread: a formatter
// is costly to make and cheap to reuse, and a thread's own copy needs no lock. Formatting
// with a kept formatter gives what a freshly made one would, since nothing changes it after
// it is set up.
class SciFormatters {
 public:
  // Null when ICU cannot make a formatter. Valid until the next call on this thread.
  const icu::DecimalFormat* Get(SciLocale which, unsigned int decimals) {
    if (which == SciLocale::Default) {
      const char* name = icu::Locale::getDefault().getName();
      if (m_defaultName != name) {
        for (auto it = m_formats.begin(); it != m_formats.end();) {
          it = (it->first >> 32) == static_cast<uint32_t>(SciLocale::Default) ? m_formats.erase(it)
                                                                              : std::next(it);
        }
        m_defaultName = name;
      }
    }
    const uint64_t key = (static_cast<uint64_t>(which) << 32) | decimals;
    auto it = m_formats.find(key);
    if (it != m_formats.end()) return it->second.get();

    std::unique_ptr<icu::DecimalFormat> format(Make(which, decimals));
    if (!format) return nullptr;
    // A program that cycles through many settings must not grow the cache without end.
    if (m_formats.size() >= kMaxFormats) m_formats.clear();
    return m_formats.emplace(key, std::move(format)).first->second.get();
  }

 private:
  static constexpr size_t kMaxFormats = 64;
  std::string m_defaultName;
  std::unordered_map<uint64_t, std::unique_ptr<icu::DecimalFormat>> m_formats;

  static icu::DecimalFormat* Make(SciLocale which, unsigned int decimals) {
    if (decimals > kMaxScientificDecimals) return nullptr;
    const icu::Locale* locale = nullptr;
    if (which == SciLocale::US) locale = &icu::Locale::getUS();
    if (which == SciLocale::Germany) locale = &icu::Locale::getGermany();
    icu::DecimalFormat* format = CFFormatUtils::MakeDecimalFormat(locale);
    if (format == nullptr) return nullptr;
    format->setScientificNotation(true);
    format->setMinimumIntegerDigits(1);
    format->setMaximumIntegerDigits(1);
    format->setMaximumFractionDigits(static_cast<int32_t>(decimals));
    format->setMinimumFractionDigits(static_cast<int32_t>(decimals));
    format->setMinimumExponentDigits(3);
    format->setExponentSignAlwaysShown(true);
    format->setSignificantDigitsUsed(false);
    return format;
  }
};

}  // namespace

CFNumberFormat::CFNumberFormat() = default;

CFNumberFormat::CFNumberFormat(FormatType type, int width, unsigned int decimals)
    : CFDecimalsFormat(width, decimals), m_formatType(type) {}

CFNumberFormat::CFNumberFormat(const CFXMLWrapper& elem) {
  cfformat_internal::NumberAttrs attrs;
  int rc = CFFormatUtils::GetCommonAttr(elem, m_name, m_width, m_alignment);
  if (rc == 0) rc = cfformat_internal::GetNumberAttrs(elem, gFmtTypeDict, attrs);
  if (rc != 0) {
    *this = CFNumberFormat();
    return;
  }
  m_formatType = static_cast<FormatType>(attrs.formatType);
  m_decimals = attrs.decimals;
  m_decimalSymbol = attrs.decimalSymbol;
  m_groupingSymbol = attrs.groupingSymbol;
}

CFNumberFormat::~CFNumberFormat() = default;

void CFNumberFormat::Reset(FormatType type, int width, unsigned int decimals) {
  if (width == 0) return;
  *this = CFNumberFormat(type, width, decimals);
}

CFFormat* CFNumberFormat::Clone() const { return new CFNumberFormat(*this); }

CFNumberFormat::FormatType CFNumberFormat::GetFormatType() const {
  return IsEmpty() ? Standard : m_formatType;
}

void CFNumberFormat::SetSeparators(DecimalSymbol decSym, GroupingSymbol grpSym) {
  if (IsEmpty()) return;
  m_decimalSymbol = decSym;
  m_groupingSymbol = grpSym;
}

void CFNumberFormat::GetSeparators(DecimalSymbol& decSym, GroupingSymbol& grpSym) const {
  decSym = IsEmpty() ? DecimalSymbol::Period : m_decimalSymbol;
  grpSym = IsEmpty() ? GroupingSymbol::None : m_groupingSymbol;
}

int CFNumberFormat::Format(const CFDatum& value, ValueUnits /*units*/, std::string& out) const {
  out.clear();
  if (value.IsNull()) {
    out = ".";
    return 0;
  }
  if (IsEmpty() || value.GetType() == CFDatum::String) return 1;
  if (m_formatType != Scientific) {
    if (CFFormatUtils::FormatStandard(value, out, m_width, m_decimals, m_decimalSymbol,
                                      m_groupingSymbol)) {
      out.clear();
      return 1;
    }
    return 0;
  }
  const double number =
      value.GetType() == CFDatum::Real ? value.GetReal() : static_cast<double>(value.GetInt());
  return FormatScientific(number, out);
}

int CFNumberFormat::FormatScientific(double value, std::string& out) const {
  thread_local SciFormatters formatters;
  SciLocale which = SciLocale::Default;
  if (m_decimalSymbol == DecimalSymbol::Period) which = SciLocale::US;
  if (m_decimalSymbol == DecimalSymbol::Comma) which = SciLocale::Germany;
  const icu::DecimalFormat* format = formatters.Get(which, m_decimals);
  if (format == nullptr) return 1;

  icu::UnicodeString text;
  format->format(value, text);
  if (m_width > 0) text.padLeading(m_width);
  out = cfformat_internal::ToUTF8(text);
  return 0;
}

void CFNumberFormat::AddToTree(CFXMLWrapper& parent, CFXMLWrapper*& created) const {
  created = nullptr;
  if (IsEmpty()) return;
  std::unique_ptr<CFXMLWrapper> elem(parent.createFreeElement(XMLElements::NumberFormat));
  if (!elem) return;
  const cfformat_internal::NumberAttrs attrs{m_formatType, m_decimals, m_decimalSymbol,
                                             m_groupingSymbol};
  const unsigned int type = m_formatType < kFormatTypeCount ? m_formatType : Standard;
  if (cfformat_internal::SetNumberAttrs(*elem, m_name, m_width, m_alignment, attrs,
                                        gFmtTypeDict[type].second) != 0) {
    return;
  }
  // Attach only when complete: a half-built element must never reach the caller's tree.
  cfmeta_internal::AttachFinished(0, std::move(elem), parent, created);
}

char CFNumberFormat::GetFormatClass() const { return 'n'; }
