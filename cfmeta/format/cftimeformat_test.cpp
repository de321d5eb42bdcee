#include "cfmeta/format/cftimeformat.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <map>
#include <string>

#include "cfmeta/field/cfdatum.h"
#include "cfmeta/format/cfformat_testutil.h"
#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/xml/cfxml_testutil.h"
#include "cfmeta/xml/cfxmlwrapper.h"

namespace {

using cfmeta_test::MakeElement;
using cfmeta_test::Parse;
using cfmeta_test::Render;
using cfmeta_test::Serialise;
namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLElements = CfCppHelperV1::XMLElements;
namespace XMLEntities = CfCppHelperV1::XMLEntities;
using Sep = CFFormat::UnitsSeparator;

// Every field as one comparable text.
std::string Describe(const CFTimeFormat& format) {
  Sep separator;
  format.GetSeparator(separator);
  return format.GetName() + "|" + std::to_string(format.GetWidth()) + "|" +
         std::to_string(format.GetAlignment()) + "|" + std::to_string(format.GetFormatType()) +
         "|" + std::to_string(format.GetDecimals()) + "|" +
         std::to_string(static_cast<unsigned>(separator)) + "|" +
         std::to_string(format.GetPaddedHMS());
}

TEST(CFTimeFormatTest, RendersTimesOfDay) {
  struct Row {
    CFTimeFormat::FormatType type;
    Sep separator;
    bool padded;
    unsigned decimals;
    int width;
    double seconds;
    const char* expected;
  } rows[] = {
      {CFTimeFormat::H_M_S, Sep::Colon, true, 1, -1, 3723.5, "01:02:03.5"},
      {CFTimeFormat::H_M_S, Sep::Colon, true, 3, -1, 3723.25, "01:02:03.250"},
      {CFTimeFormat::H_M, Sep::Colon, true, 3, -1, 3723.5, "01:02"},  // decimals never shown
      {CFTimeFormat::M_S, Sep::Period, true, 0, -1, 3723.0, "02.03"},
      {CFTimeFormat::H_M_S, Sep::Colon, false, 0, -1, 3723.0, "1:2:3"},
      {CFTimeFormat::H_M_S, Sep::None, true, 0, -1, 3723.0, "010203"},
      {CFTimeFormat::H_M_S, Sep::Local, true, 0, -1, 3723.0, "010203"},
      // Fractions always take a period, whatever the separator.
      {CFTimeFormat::H_M_S, Sep::Comma, true, 2, -1, 3723.5, "01,02,03.50"},
      // Padded on the left to the width, never cut.
      {CFTimeFormat::H_M_S, Sep::Colon, true, 0, 10, 3723.0, "  01:02:03"},
      {CFTimeFormat::H_M_S, Sep::Colon, true, 0, 4, 3723.0, "01:02:03"},
      // GMT: no offset or daylight saving; a day or more shows the time of day.
      {CFTimeFormat::H_M_S, Sep::Colon, true, 0, -1, 90061.0, "01:01:01"},
      {CFTimeFormat::H_M_S, Sep::Colon, true, 0, -1, 15638400.0 + 3600.0, "01:00:00"},
      {CFTimeFormat::H_M_S, Sep::Colon, true, 0, -1, -1.0, "23:59:59"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.expected);
    CFTimeFormat format(row.type, row.width, row.decimals, row.separator, row.padded);
    EXPECT_EQ(row.expected, Render(format, CFDatum(row.seconds), CFFormat::Seconds));
  }
}

TEST(CFTimeFormatTest, DurationsDropTheirEndToFitTheWidth) {
  const double oneDay = 86400.0 + 3661.0;
  struct Row {
    unsigned decimals;
    int width;
    double seconds;
    const char* expected;
  } rows[] = {
      {0, -1, oneDay, "1 01:01:01"},
      {0, 10, oneDay, "1 01:01:01"},
      {0, 12, oneDay, "  1 01:01:01"},
      {0, 9, oneDay, "  1 01:01"},  // one too many: the seconds with their separator go
      {0, 7, oneDay, "1 01:01"},
      {0, 4, oneDay, "1 01"},  // excess 6: the minutes go too
      {0, 3, oneDay, "  1"},   // excess 7: the hours and the space go too
      {0, 1, oneDay, "1"},
      {0, -1, 0.0, "0 00:00:00"},
      {0, -1, 100 * 86400.0, "100 00:00:00"},
      {0, 2, 100 * 86400.0, "*"},  // excess 10: not even the day count fits
      {2, -1, oneDay + 0.25, "1 01:01:01.25"},
      {2, 12, oneDay + 0.25, "1 01:01:01.2"},  // part of the fraction
      {2, 11, oneDay + 0.25, " 1 01:01:01"},   // the point and all decimals
      {2, 10, oneDay + 0.25, "1 01:01:01"},
      {2, 9, oneDay + 0.25, "  1 01:01"},
      {2, 1, oneDay + 0.25, "1"},
      {2, 1, 10 * 86400.0, "*"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::to_string(row.width) + " " + row.expected);
    CFTimeFormat format(CFTimeFormat::D_H_M_S, row.width, row.decimals, Sep::Colon, true);
    EXPECT_EQ(row.expected, Render(format, CFDatum(row.seconds), CFFormat::Seconds));
  }

  // The counts assume two-digit fields and a one-character separator; with neither the cut
  // takes what it takes, down to nothing.
  CFTimeFormat bare(CFTimeFormat::D_H_M_S, -1, 0, Sep::None, false);
  EXPECT_EQ("1 111", Render(bare, CFDatum(oneDay), CFFormat::Seconds));
  bare.SetWidthDecimals(2, 0);
  EXPECT_EQ("1 ", Render(bare, CFDatum(oneDay), CFFormat::Seconds));
  bare.SetWidthDecimals(1, 0);
  EXPECT_EQ(" ", Render(bare, CFDatum(oneDay), CFFormat::Seconds));
}

TEST(CFTimeFormatTest, RefusesWhatItCannotRender) {
  const CFTimeFormat format(CFTimeFormat::H_M_S, -1, 0, Sep::Colon, true);
  EXPECT_EQ("<failed 1>", Render(format, CFDatum(3600LL), CFFormat::Seconds));
  EXPECT_EQ("<failed 1>", Render(format, CFDatum("3600", false), CFFormat::Seconds));
  EXPECT_EQ("<failed 1>", Render(format, CFDatum(3600.0), CFFormat::Days));
  EXPECT_EQ("<failed 1>", Render(format, CFDatum(3600.0), CFFormat::NoUnits));
  EXPECT_EQ("<failed 1>", Render(format, CFDatum(std::nan("")), CFFormat::Seconds));
  EXPECT_EQ("<failed 1>",
            Render(format, CFDatum(std::numeric_limits<double>::infinity()), CFFormat::Seconds));
  EXPECT_EQ("<failed 1>", Render(CFTimeFormat(), CFDatum(3600.0), CFFormat::Seconds));
  const CFTimeFormat unknown(static_cast<CFTimeFormat::FormatType>(4), -1, 0, Sep::Colon, true);
  EXPECT_EQ("<failed 1>", Render(unknown, CFDatum(3600.0), CFFormat::Seconds));

  // A null renders as "." whatever its type and whatever the format.
  EXPECT_EQ(".", Render(format, CFDatum(), CFFormat::Seconds));
  EXPECT_EQ(".", Render(CFTimeFormat(), CFDatum("", true), CFFormat::NoUnits));
}

TEST(CFTimeFormatTest, WritesAttributesInOrderAndReadsThemBack) {
  const char* types[] = {XMLEntities::H_M, XMLEntities::H_M_S, XMLEntities::M_S,
                         XMLEntities::D_H_M_S};
  for (unsigned i = 0; i < 8; ++i) {
    SCOPED_TRACE(i);
    const auto type = static_cast<CFTimeFormat::FormatType>(i % 4);
    CFTimeFormat format(type, i % 3 ? 12 : -1, i, static_cast<Sep>(i % 7), i % 2 == 0);
    format.SetName("t<" + std::to_string(i));
    format.SetAlignment(static_cast<CFFormat::Alignment>((i + 1) % 4));
    // The serialiser orders attributes by name, so compare against the same order.
    const std::string written = cfmeta_test::WrittenFormat(format);
    EXPECT_EQ(
        cfmeta_test::OpenTag(
            XMLElements::TimeFormat,
            {{XMLAttributes::Name, format.GetName()},
             {XMLAttributes::Width, i % 3 ? "12" : "-1"},
             {XMLAttributes::Alignment, cfmeta_test::kAlignTexts[(i + 1) % 4]},
             {XMLAttributes::Separator, cfmeta_test::kSepTexts[i % 7]},
             {XMLAttributes::DecimalPlaces, std::to_string(i)},
             {XMLAttributes::FormatType, types[i % 4]},
             {XMLAttributes::PaddedHMS, i % 2 == 0 ? XMLEntities::True : XMLEntities::False}}) +
            "/>",
        written);
    EXPECT_EQ(Describe(format), Describe(CFTimeFormat(*Parse(written))));
  }

  // The empty format is written too, as a free-width one; an unknown style as H_M_S; the
  // Local separator as its own text, although that text reads back as Colon.
  CFTimeFormat odd(static_cast<CFTimeFormat::FormatType>(7), 5, 0, Sep::Local, true);
  for (const CFTimeFormat& format : {CFTimeFormat(), odd}) {
    auto doc = Parse(cfmeta_test::WrittenFormat(format));
    std::string type, width, separator;
    bool found = false;
    doc->getAttribute(XMLAttributes::FormatType, type, found);
    doc->getAttribute(XMLAttributes::Width, width, found);
    doc->getAttribute(XMLAttributes::Separator, separator, found);
    EXPECT_EQ(XMLEntities::H_M_S, type);
    EXPECT_EQ(format.GetWidth() == 0 ? "-1" : "5", width);
    EXPECT_EQ(format.GetWidth() == 0 ? XMLEntities::None : XMLEntities::Local, separator);
  }
  EXPECT_EQ("|5|3|1|0|4|1", Describe(CFTimeFormat(*Parse(cfmeta_test::WrittenFormat(odd)))));

  // A wrapper without an element takes nothing.
  CfExtension::CFXMLWrapper nothing;
  EXPECT_EQ("<none>", cfmeta_test::WrittenFormat(odd, &nothing));
}

TEST(CFTimeFormatTest, DamagedElementReadsAsEmptyFormat) {
  const cfmeta_test::AttributeList whole = {{XMLAttributes::Name, "t"},
                                            {XMLAttributes::Width, "9"},
                                            {XMLAttributes::FormatType, XMLEntities::D_H_M_S},
                                            {XMLAttributes::DecimalPlaces, "2"},
                                            {XMLAttributes::Separator, XMLEntities::Colon},
                                            {XMLAttributes::PaddedHMS, XMLEntities::False}};
  const std::vector<std::string> rows =
      cfmeta_test::DamagedElements(XMLElements::TimeFormat, whole,
                                   {{XMLAttributes::Width, "0"},
                                    {XMLAttributes::FormatType, XMLEntities::D_M_Y},
                                    {XMLAttributes::DecimalPlaces, "-1"},
                                    {XMLAttributes::Separator, ""},
                                    {XMLAttributes::PaddedHMS, "1"}});
  const std::string empty = Describe(CFTimeFormat());
  for (const std::string& xml : rows) {
    SCOPED_TRACE(xml);
    auto doc = Parse(xml);
    ASSERT_NE(nullptr, doc->getElement());
    EXPECT_EQ(empty, Describe(CFTimeFormat(*doc)));
  }

  // The alignment read before the failure stays; the whole element reads.
  cfmeta_test::AttributeList aligned(whole.begin(), whole.end() - 1);  // no PaddedHMS
  aligned.emplace_back(XMLAttributes::Alignment, XMLEntities::Left);
  auto doc = Parse(cfmeta_test::ElementOf(XMLElements::TimeFormat, aligned));
  EXPECT_EQ("|0|0|1|0|0|0", Describe(CFTimeFormat(*doc)));
  aligned.push_back(whole.back());
  doc = Parse(cfmeta_test::ElementOf(XMLElements::TimeFormat, aligned));
  EXPECT_EQ("t|9|0|3|2|4|0", Describe(CFTimeFormat(*doc)));
  CfExtension::CFXMLWrapper nothing;
  EXPECT_EQ(empty, Describe(CFTimeFormat(nothing)));
}

}  // namespace
