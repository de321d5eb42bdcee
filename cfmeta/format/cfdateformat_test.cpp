#include "cfmeta/format/cfdateformat.h"

#include <gtest/gtest.h>
#include <unicode/gregocal.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

#include <cmath>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "cfmeta/field/cfdatum.h"
#include "cfmeta/format/cfformat_testutil.h"
#include "cfmeta/format/cftimeformat.h"
#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/xml/cfxml_testutil.h"
#include "cfmeta/xml/cfxmlwrapper.h"

namespace {

using cfmeta_test::MakeElement;
using cfmeta_test::Parse;
using cfmeta_test::Render;
using cfmeta_test::ScopedDefaultLocale;
using cfmeta_test::Serialise;
namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLElements = CfCppHelperV1::XMLElements;
namespace XMLEntities = CfCppHelperV1::XMLEntities;
using Sep = CFFormat::UnitsSeparator;
using Date = CFDateFormat;

constexpr double kDay = 86400.0;
constexpr double k2024 = 19723.0;  // 2024-01-01, a Monday, in days
constexpr double k2021 = 18628.0;  // 2021-01-01, a Friday, in days

std::string Describe(const CFTimeFormat* format) {
  if (format == nullptr) return "no time";
  Sep separator;
  format->GetSeparator(separator);
  return format->GetName() + "|" + std::to_string(format->GetWidth()) + "|" +
         std::to_string(format->GetFormatType()) + "|" + std::to_string(format->GetDecimals()) +
         "|" + std::to_string(static_cast<unsigned>(separator)) + "|" +
         std::to_string(format->GetPaddedHMS());
}

// Every field, the time format's included, as one comparable text.
std::string Describe(const CFDateFormat& format) {
  Sep separator;
  format.GetSeparator(separator);
  return format.GetName() + "|" + std::to_string(format.GetWidth()) + "|" +
         std::to_string(format.GetAlignment()) + "|" + std::to_string(format.GetFormatType()) +
         "|" + std::to_string(format.GetDecimals()) + "|" +
         std::to_string(static_cast<unsigned>(separator)) + "|" +
         std::to_string(format.GetTwoDigitYear()) + "|" + std::to_string(format.GetNamesLocal()) +
         "|" + Describe(format.GetTimeFormat());
}

std::string Pattern(Date::FormatType type, Sep separator, bool twoDigitYear) {
  std::string pattern = "stale";
  Date(type, 10, 0, separator, twoDigitYear, false).MakePattern(pattern);
  return pattern;
}

TEST(CFDateFormatTest, BuildsPatternsFromStyleSeparatorAndYear) {
  struct Row {
    Date::FormatType type;
    Sep separator;
    bool twoDigitYear;
    const char* expected;
  } rows[] = {
      {Date::D_M_Y, Sep::Slash, false, "dd/MM/yyyy"},
      {Date::M_D_Y, Sep::Period, true, "MM.dd.yy"},
      {Date::Y_M_D, Sep::Dash, false, "yyyy-MM-dd"},
      {Date::D_monthName_Y, Sep::Dash, true, "dd-MMM-yy"},
      {Date::MonthName_Y, Sep::Space, false, "MMM yyyy"},
      {Date::Q_Y, Sep::Space, false, "MMM yyyy"},
      {Date::Y_dayNo, Sep::None, false, "yyyyDDD"},
      {Date::Y_M_D, Sep::Local, false, "yyyyMMdd"},
      {Date::DayName, Sep::Slash, true, "EEEE"},
      {Date::MonthName, Sep::Slash, true, "MMMM"},
      {Date::W_Y, Sep::Slash, false, "ww 'WK' yyyy"},
      {Date::W_Y, Sep::Slash, true, "ww 'WK' yy"},
      {static_cast<Date::FormatType>(10), Sep::Slash, false, ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.expected);
    EXPECT_EQ(row.expected, Pattern(row.type, row.separator, row.twoDigitYear));
  }
}

TEST(CFDateFormatTest, RendersDaysAndSecondsOnGMT) {
  struct Row {
    Date::FormatType type;
    Sep separator;
    bool twoDigitYear;
    int width;
    double value;
    CFFormat::ValueUnits units;
    const char* expected;
  } rows[] = {
      {Date::Y_M_D, Sep::Dash, false, 10, 0.0, CFFormat::Days, "1970-01-01"},
      {Date::Y_M_D, Sep::Dash, false, 10, 86399.0, CFFormat::Seconds, "1970-01-01"},
      {Date::Y_M_D, Sep::Dash, false, 10, -1.0, CFFormat::Seconds, "1969-12-31"},
      {Date::Y_M_D, Sep::Dash, false, 10, 0.999, CFFormat::Days, "1970-01-01"},
      {Date::D_M_Y, Sep::Slash, false, 10, k2024 + 365, CFFormat::Days, "31/12/2024"},
      {Date::M_D_Y, Sep::Period, true, 8, k2024 * kDay, CFFormat::Seconds, "01.01.24"},
      {Date::D_monthName_Y, Sep::Dash, true, 9, k2024 + 60, CFFormat::Days, "01-Mar-24"},
      {Date::MonthName_Y, Sep::Space, false, 8, k2024 + 60, CFFormat::Days, "Mar 2024"},
      {Date::Q_Y, Sep::Space, false, 8, k2024 + 60, CFFormat::Days, "Mar 2024"},
      {Date::Y_dayNo, Sep::Slash, false, 8, k2024 + 365, CFFormat::Days, "2024/366"},
      {Date::W_Y, Sep::None, false, 10, k2021, CFFormat::Days, "01 WK 2021"},
      {Date::W_Y, Sep::None, true, 10, k2021, CFFormat::Days, "01 WK 21"},
      // Only day and month names are cut to the width; nothing is padded.
      {Date::DayName, Sep::None, false, 3, k2024 + 2, CFFormat::Days, "Wed"},
      {Date::DayName, Sep::None, false, 20, k2024 + 2, CFFormat::Days, "Wednesday"},
      {Date::DayName, Sep::None, false, -1, k2024 + 2, CFFormat::Days, "Wednesday"},
      {Date::MonthName, Sep::None, false, 3, k2024 + 250, CFFormat::Days, "Sep"},
      {Date::D_M_Y, Sep::Slash, false, 3, k2024, CFFormat::Days, "01/01/2024"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.expected);
    Date format(row.type, row.width, 0, row.separator, row.twoDigitYear, false);
    EXPECT_EQ(row.expected, Render(format, CFDatum(row.value), row.units));
  }
}

TEST(CFDateFormatTest, RefusesWhatItCannotRender) {
  const Date format(Date::Y_M_D, 10, 0, Sep::Dash, false, false);
  EXPECT_EQ("<failed 1>", Render(format, CFDatum(0LL), CFFormat::Days));
  EXPECT_EQ("<failed 1>", Render(format, CFDatum("1970-01-01", false), CFFormat::Days));
  EXPECT_EQ("<failed 1>", Render(format, CFDatum(0.0), CFFormat::NoUnits));
  EXPECT_EQ("<failed 1>", Render(format, CFDatum(std::nan("")), CFFormat::Days));
  EXPECT_EQ("<failed 1>", Render(Date(), CFDatum(0.0), CFFormat::Days));
  const Date unknown(static_cast<Date::FormatType>(12), 10, 0, Sep::Dash, false, false);
  EXPECT_EQ("<failed 1>", Render(unknown, CFDatum(0.0), CFFormat::Days));
  EXPECT_EQ(".", Render(format, CFDatum(), CFFormat::Days));
  EXPECT_EQ(".", Render(Date(), CFDatum("", true), CFFormat::NoUnits));
}

TEST(CFDateFormatTest, NamesFollowTheDefaultLocaleOfTheMoment) {
  Date local(Date::DayName, -1, 0, Sep::None, false, true);
  Date weeks(Date::W_Y, -1, 0, Sep::None, false, true);
  const Date us(Date::DayName, -1, 0, Sep::None, false, false);
  {
    ScopedDefaultLocale german("de_DE");
    EXPECT_EQ("Montag", Render(local, CFDatum(k2024), CFFormat::Days));
    EXPECT_EQ("Monday", Render(us, CFDatum(k2024), CFFormat::Days));
    // Week numbers are the locale's too: in Germany the first week needs four days.
    EXPECT_EQ("53 WK 2021", Render(weeks, CFDatum(k2021), CFFormat::Days));
  }
  {
    ScopedDefaultLocale french("fr_FR");
    EXPECT_EQ("lundi", Render(local, CFDatum(k2024), CFFormat::Days));
  }
  ScopedDefaultLocale american("en_US");
  EXPECT_EQ("Monday", Render(local, CFDatum(k2024), CFFormat::Days));
  EXPECT_EQ("01 WK 2021", Render(weeks, CFDatum(k2021), CFFormat::Days));
}

TEST(CFDateFormatTest, AttachedTimeFollowsAfterOneSpace) {
  Date format(Date::D_M_Y, 10, 0, Sep::Slash, false, true);
  const CFTimeFormat time(CFTimeFormat::H_M_S, -1, 1, Sep::Colon, true);
  format.SetTimeFormat(&time);
  ScopedDefaultLocale german("de_DE");  // the time part stays in US English
  EXPECT_EQ("01/01/1970 23:59:59.5", Render(format, CFDatum(86399.5), CFFormat::Seconds));
  EXPECT_EQ("02/01/1970 12:00:00.0", Render(format, CFDatum(1.5), CFFormat::Days));
  EXPECT_EQ("31/12/1969 23:59:59.0", Render(format, CFDatum(-1.0), CFFormat::Seconds));

  // A time part that renders nothing leaves the date alone.
  format.SetTimeFormat(nullptr);
  format.SetTimeFormat(&time);
  const CFTimeFormat empty;
  format.SetTimeFormat(&empty);
  EXPECT_EQ("01/01/1970", Render(format, CFDatum(0.0), CFFormat::Days));
}

TEST(CFDateFormatTest, CopiesOwnTheirTimeFormat) {
  Date original(Date::Y_M_D, 10, 0, Sep::Dash, false, false);
  const CFTimeFormat time(CFTimeFormat::H_M, 5, 0, Sep::Colon, true);
  original.SetTimeFormat(&time);
  ASSERT_NE(nullptr, original.GetTimeFormat());
  EXPECT_NE(&time, original.GetTimeFormat());

  Date copied(original);
  std::unique_ptr<CFFormat> cloned(original.Clone());
  Date assigned(Date::D_M_Y, 8, 0, Sep::Slash, true, false);
  const CFTimeFormat other(CFTimeFormat::M_S, 5, 0, Sep::Period, true);
  assigned.SetTimeFormat(&other);
  const CFTimeFormat* kept = assigned.GetTimeFormat();
  assigned = original;
  EXPECT_EQ(kept, assigned.GetTimeFormat());  // copied into, not replaced

  original.SetTimeFormat(nullptr);
  EXPECT_EQ(nullptr, original.GetTimeFormat());
  const Date* clone = dynamic_cast<const Date*>(cloned.get());
  ASSERT_NE(nullptr, clone);
  for (const Date* copy : std::vector<const Date*>{&copied, clone, &assigned}) {
    EXPECT_EQ("1970-01-01 00:00", Render(*copy, CFDatum(0.0), CFFormat::Days));
    EXPECT_EQ(Describe(copied), Describe(*copy));
  }
  assigned = original;
  EXPECT_EQ(nullptr, assigned.GetTimeFormat());
  assigned = assigned;
  EXPECT_EQ(Describe(original), Describe(assigned));

  // Reset drops the time part; the empty format takes none.
  copied.Reset(Date::D_M_Y, 10, 0, Sep::Slash, false, false);
  EXPECT_EQ(nullptr, copied.GetTimeFormat());
  Date empty;
  empty.SetTimeFormat(&time);
  EXPECT_EQ(nullptr, empty.GetTimeFormat());
}

TEST(CFDateFormatTest, WritesAttributesAndTimeChildAndReadsThemBack) {
  const CFTimeFormat time(CFTimeFormat::D_H_M_S, 12, 2, Sep::Colon, false);
  for (unsigned i = 0; i < 10; ++i) {
    SCOPED_TRACE(i);
    Date format(static_cast<Date::FormatType>(i), i % 3 ? 12 : -1, i, static_cast<Sep>(i % 7),
                i % 2 == 0, i % 3 == 0);
    format.SetName("d\"" + std::to_string(i));
    format.SetAlignment(static_cast<CFFormat::Alignment>(i % 4));
    if (i % 2) format.SetTimeFormat(&time);
    // The serialiser orders attributes by name, so compare against the same order.
    const std::string tag = cfmeta_test::OpenTag(
        XMLElements::DateFormat,
        {{XMLAttributes::Name, format.GetName()},
         {XMLAttributes::Width, i % 3 ? "12" : "-1"},
         {XMLAttributes::Alignment, cfmeta_test::kAlignTexts[i % 4]},
         {XMLAttributes::Separator, cfmeta_test::kSepTexts[i % 7]},
         {XMLAttributes::DecimalPlaces, std::to_string(i)},
         {XMLAttributes::FormatType, Date::gFmtTypeDict[i].second},
         {XMLAttributes::TwoDigitYear, i % 2 == 0 ? XMLEntities::True : XMLEntities::False},
         {XMLAttributes::NamesLocal, i % 3 == 0 ? XMLEntities::True : XMLEntities::False}});
    const std::string written = cfmeta_test::WrittenFormat(format);
    EXPECT_EQ(
        i % 2 ? tag + ">" + cfmeta_test::WrittenFormat(time) + "</" + XMLElements::DateFormat + ">"
              : tag + "/>",
        written);
    EXPECT_EQ(Describe(format), Describe(Date(*Parse(written))));
  }

  // The empty format is written as a free-width one; an unknown style as D_M_Y.
  const Date odd(static_cast<Date::FormatType>(11), 8, 0, Sep::Slash, false, false);
  for (const Date& format : {Date(), odd}) {
    auto doc = Parse(cfmeta_test::WrittenFormat(format));
    std::string type, width;
    bool found = false;
    doc->getAttribute(XMLAttributes::FormatType, type, found);
    doc->getAttribute(XMLAttributes::Width, width, found);
    EXPECT_EQ(format.GetWidth() == 0 ? XMLEntities::Y_M_D : XMLEntities::D_M_Y, type);
    EXPECT_EQ(format.GetWidth() == 0 ? "-1" : "8", width);
  }

  // A time part that cannot be written takes the date element with it.
  CfExtension::CFXMLWrapper nothing;
  EXPECT_EQ("<none>", cfmeta_test::WrittenFormat(odd, &nothing));
}

TEST(CFDateFormatTest, DamagedElementReadsAsEmptyFormat) {
  auto time = [](const char* width) {
    return MakeElement(XMLElements::TimeFormat, {{XMLAttributes::Name, "t"},
                                                 {XMLAttributes::Width, width},
                                                 {XMLAttributes::FormatType, XMLEntities::H_M},
                                                 {XMLAttributes::DecimalPlaces, "0"},
                                                 {XMLAttributes::Separator, XMLEntities::Colon},
                                                 {XMLAttributes::PaddedHMS, XMLEntities::True}});
  };
  const cfmeta_test::AttributeList whole = {{XMLAttributes::Name, "d"},
                                            {XMLAttributes::Width, "9"},
                                            {XMLAttributes::FormatType, XMLEntities::D_M_Y},
                                            {XMLAttributes::DecimalPlaces, "0"},
                                            {XMLAttributes::Separator, XMLEntities::Slash},
                                            {XMLAttributes::TwoDigitYear, XMLEntities::True},
                                            {XMLAttributes::NamesLocal, XMLEntities::True}};
  std::vector<std::string> rows =
      cfmeta_test::DamagedElements(XMLElements::DateFormat, whole,
                                   {{XMLAttributes::Width, "0"},
                                    {XMLAttributes::FormatType, XMLEntities::H_M},
                                    {XMLAttributes::DecimalPlaces, "-2"},
                                    {XMLAttributes::Separator, ""},
                                    {XMLAttributes::NamesLocal, "TRUE"}},
                                   time("5"));
  // A time part that reads as empty, whatever the reason.
  rows.push_back(cfmeta_test::ElementOf(XMLElements::DateFormat, whole, time("0")));
  rows.push_back(cfmeta_test::ElementOf(XMLElements::DateFormat, whole,
                                        MakeElement(XMLElements::TimeFormat, {})));
  const std::string empty = Describe(Date());
  for (const std::string& xml : rows) {
    SCOPED_TRACE(xml);
    auto doc = Parse(xml);
    ASSERT_NE(nullptr, doc->getElement());
    EXPECT_EQ(empty, Describe(Date(*doc)));
  }

  // The whole element reads, with only the first TimeFormat child and none of another name.
  auto doc = Parse(
      cfmeta_test::ElementOf(XMLElements::DateFormat, whole,
                             MakeElement(XMLElements::NumberFormat, {}) + time("5") + time("0")));
  EXPECT_EQ("d|9|3|0|0|6|1|1|t|5|0|0|4|1", Describe(Date(*doc)));
  CfExtension::CFXMLWrapper nothing;
  EXPECT_EQ(empty, Describe(Date(nothing)));
}

// What a formatter and calendar made for this one call give: the text the kept ones must
// reproduce.
std::string RenderFresh(const char* pattern, double seconds) {
  UErrorCode status = U_ZERO_ERROR;
  icu::SimpleDateFormat format(icu::UnicodeString(pattern), icu::Locale::getUS(), status);
  icu::GregorianCalendar calendar(*icu::TimeZone::getGMT(), icu::Locale::getUS(), status);
  format.setCalendar(calendar);
  icu::UnicodeString text;
  format.format(seconds * 1000.0, text);
  std::string out;
  text.toUTF8String(out);
  return U_SUCCESS(status) ? out : "<ICU failed>";
}

TEST(CFDateFormatTest, ThreadsSharingOneFormatGetWhatFreshFormattersGive) {
  Date date(Date::D_monthName_Y, 11, 0, Sep::Dash, false, false);
  const CFTimeFormat time(CFTimeFormat::H_M_S, -1, 2, Sep::Colon, true);
  date.SetTimeFormat(&time);
  const Date week(Date::W_Y, 10, 0, Sep::None, true, false);
  std::vector<double> seconds;
  std::vector<std::string> expected;
  for (int i = 0; i < 400; ++i) {
    seconds.push_back((i - 200) * 7919.0 * 3607.3);
    expected.push_back(RenderFresh("dd-MMM-yyyy", seconds.back()) + " " +
                       RenderFresh("HH:mm:ss.SS", seconds.back()));
    expected.push_back(RenderFresh("ww 'WK' yy", seconds.back()));
  }

  // Each thread alternates the two formats, so a kept formatter left in the wrong state by
  // the other pattern would show.
  auto renderAll = [&]() {
    std::vector<std::string> texts;
    for (double value : seconds) {
      texts.push_back(Render(date, CFDatum(value), CFFormat::Seconds));
      texts.push_back(Render(week, CFDatum(value), CFFormat::Seconds));
    }
    return texts;
  };
  EXPECT_EQ(expected, renderAll());
  std::vector<std::string> first, second;
  std::thread a([&] { first = renderAll(); });
  std::thread b([&] { second = renderAll(); });
  a.join();
  b.join();
  EXPECT_EQ(expected, first);
  EXPECT_EQ(expected, second);
}

}  // namespace
