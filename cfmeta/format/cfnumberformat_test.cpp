#include "cfmeta/format/cfnumberformat.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "cfmeta/field/cfdatum.h"
#include "cfmeta/format/cfformat_testutil.h"
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
using DecSym = CFFormat::DecimalSymbol;
using GrpSym = CFFormat::GroupingSymbol;

CFNumberFormat Make(CFNumberFormat::FormatType type, int width, unsigned decimals, DecSym dec,
                    GrpSym grp) {
  CFNumberFormat format(type, width, decimals);
  format.SetSeparators(dec, grp);
  return format;
}

// Every field as one comparable text.
std::string Describe(const CFNumberFormat& format) {
  DecSym dec;
  GrpSym grp;
  format.GetSeparators(dec, grp);
  return format.GetName() + "|" + std::to_string(format.GetWidth()) + "|" +
         std::to_string(format.GetAlignment()) + "|" + std::to_string(format.GetFormatType()) +
         "|" + std::to_string(format.GetDecimals()) + "|" +
         std::to_string(static_cast<unsigned>(dec)) + "|" +
         std::to_string(static_cast<unsigned>(grp));
}

TEST(CFNumberFormatTest, WritesAttributesInOrderAndReadsThemBack) {
  for (unsigned type = 0; type < 12; ++type) {
    SCOPED_TRACE(type);
    CFNumberFormat format(static_cast<CFNumberFormat::FormatType>(type), type % 2 ? -1 : 14, type);
    format.SetName("n&" + std::to_string(type));
    format.SetAlignment(static_cast<CFFormat::Alignment>(type % 4));
    format.SetSeparators(static_cast<DecSym>(type % 3), static_cast<GrpSym>(type % 5));
    // The serialiser orders attributes by name, so compare against the same order.
    const std::string written = cfmeta_test::WrittenFormat(format);
    EXPECT_EQ(cfmeta_test::OpenTag(
                  XMLElements::NumberFormat,
                  {{XMLAttributes::Name, format.GetName()},
                   {XMLAttributes::Width, type % 2 ? "-1" : "14"},
                   {XMLAttributes::Alignment, cfmeta_test::kAlignTexts[type % 4]},
                   {XMLAttributes::DecimalSymbol, cfmeta_test::kDecTexts[type % 3]},
                   {XMLAttributes::GroupingSymbol, cfmeta_test::kGrpTexts[type % 5]},
                   {XMLAttributes::DecimalPlaces, std::to_string(type)},
                   {XMLAttributes::FormatType, CFNumberFormat::gFmtTypeDict[type].second}}) +
                  "/>",
              written);
    EXPECT_EQ(Describe(format), Describe(CFNumberFormat(*Parse(written))));
  }
}

TEST(CFNumberFormatTest, DamagedElementReadsAsEmptyFormat) {
  const cfmeta_test::AttributeList whole = {{XMLAttributes::Name, "f"},
                                            {XMLAttributes::Width, "9"},
                                            {XMLAttributes::FormatType, XMLEntities::Scientific},
                                            {XMLAttributes::DecimalPlaces, "2"},
                                            {XMLAttributes::DecimalSymbol, XMLEntities::Comma},
                                            {XMLAttributes::GroupingSymbol, XMLEntities::Comma}};
  const std::vector<std::string> rows =
      cfmeta_test::DamagedElements(XMLElements::NumberFormat, whole,
                                   {{XMLAttributes::FormatType, "x"},
                                    {XMLAttributes::DecimalPlaces, "-1"},
                                    {XMLAttributes::DecimalPlaces, "2.5"},
                                    {XMLAttributes::Width, "0"},
                                    {XMLAttributes::DecimalSymbol, ""},
                                    {XMLAttributes::GroupingSymbol, XMLEntities::Colon}});
  const std::string empty = Describe(CFNumberFormat());
  for (const std::string& xml : rows) {
    SCOPED_TRACE(xml);
    auto doc = Parse(xml);
    ASSERT_NE(nullptr, doc->getElement());
    CFNumberFormat format(*doc);
    EXPECT_EQ(empty, Describe(format));
    EXPECT_EQ("", format.GetName());
  }
  // A wrapper without an element reads as empty and takes no element.
  CfExtension::CFXMLWrapper nothing;
  EXPECT_EQ(empty, Describe(CFNumberFormat(nothing)));
  EXPECT_EQ("<none>",
            cfmeta_test::WrittenFormat(CFNumberFormat(CFNumberFormat::Standard, 8, 2), &nothing));
  // The same element with everything present reads.
  EXPECT_EQ(
      "f|9|3|1|2|1|2",
      Describe(CFNumberFormat(*Parse(cfmeta_test::ElementOf(XMLElements::NumberFormat, whole)))));
}

TEST(CFNumberFormatTest, EmptyFormatHoldsNothing) {
  // Width 0 with other fields set: they are hidden, and nothing changes them.
  CFNumberFormat format(CFNumberFormat::Scientific, 0, 3);
  format.SetName("x");
  format.SetAlignment(CFFormat::Left);
  format.SetWidthDecimals(8, 2);
  format.SetSeparators(DecSym::Comma, GrpSym::Comma);
  EXPECT_EQ("|0|3|0|0|0|0", Describe(format));
  EXPECT_EQ("<none>", cfmeta_test::WrittenFormat(format));
  EXPECT_EQ("<failed 1>", Render(format, CFDatum(1.5)));
  EXPECT_EQ(".", Render(format, CFDatum()));

  // A width of 0 never empties a format, and Reset with it changes nothing.
  CFNumberFormat full(CFNumberFormat::Zoned, 8, 2);
  full.SetName("kept");
  full.SetWidthDecimals(0, 5);
  full.Reset(CFNumberFormat::Scientific, 0, 4);
  EXPECT_EQ("kept|8|3|7|2|0|0", Describe(full));
  full.SetSeparators(DecSym::Comma, GrpSym::Space);
  full.Reset(CFNumberFormat::Scientific, 6, 4);
  EXPECT_EQ("|6|3|1|4|0|0", Describe(full));
  std::unique_ptr<CFFormat> clone(full.Clone());
  EXPECT_EQ('n', clone->GetFormatClass());
  EXPECT_EQ(Describe(full), Describe(*static_cast<CFNumberFormat*>(clone.get())));
}

TEST(CFNumberFormatTest, RendersStandardForEveryTypeButScientific) {
  for (unsigned type = 0; type < 12; ++type) {
    if (type == CFNumberFormat::Scientific) continue;
    SCOPED_TRACE(type);
    const CFNumberFormat format =
        Make(static_cast<CFNumberFormat::FormatType>(type), 8, 2, DecSym::Period, GrpSym::None);
    EXPECT_EQ("    3.14", Render(format, CFDatum(3.14159)));
    EXPECT_EQ("   42.00", Render(format, CFDatum(42)));
    EXPECT_EQ(".", Render(format, CFDatum()));
    EXPECT_EQ("<failed 1>", Render(format, CFDatum("3", false)));
  }
  const CFNumberFormat grouped =
      Make(CFNumberFormat::Standard, 12, 0, DecSym::Period, GrpSym::Comma);
  EXPECT_EQ("   1,234,567", Render(grouped, CFDatum(1234567.0)));
  const CFNumberFormat free = Make(CFNumberFormat::Standard, -1, 1, DecSym::Comma, GrpSym::Space);
  EXPECT_EQ("-98 765,4", Render(free, CFDatum(-98765.4321)));
}

TEST(CFNumberFormatTest, ScientificShapeFollowsTheDecimalSymbol) {
  ScopedDefaultLocale german("de_DE");
  struct Row {
    int width;
    unsigned decimals;
    DecSym dec;
    CFDatum value;
    const char* expected;
  } rows[] = {
      {12, 2, DecSym::Period, CFDatum(12345.0), "   1.23E+004"},
      {12, 2, DecSym::Comma, CFDatum(12345.0), "   1,23E+004"},
      {12, 2, DecSym::Local, CFDatum(12345), "   1,23E+004"},  // the default locale
      {-1, 3, DecSym::Period, CFDatum(-0.000123), "-1.230E-004"},
      {4, 0, DecSym::Period, CFDatum(5e300), "5E+300"},  // never cut to the width
      {12, 2, DecSym::Period, CFDatum(), "."},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.expected);
    // Grouping plays no part in scientific text.
    const CFNumberFormat format =
        Make(CFNumberFormat::Scientific, row.width, row.decimals, row.dec, GrpSym::Comma);
    EXPECT_EQ(row.expected, Render(format, row.value));
  }
}

// Decimal counts far beyond any width or any double's digits either render under the usual
// rules or fail; they never render a wrong number.
TEST(CFNumberFormatTest, HugeDecimalCountsRenderRightOrNotAtAll) {
  struct Row {
    CFNumberFormat::FormatType type;
    unsigned decimals;
    const char* expected;
  } rows[] = {
      {CFNumberFormat::Standard, 2147483647u, "1.500000"},  // cut to the width
      {CFNumberFormat::Standard, 3000000000u, "1.500000"},  // beyond an int
      {CFNumberFormat::Standard, 4294967295u, "1.500000"},
      {CFNumberFormat::Scientific, 999u, nullptr},  // the most a scientific text carries
      {CFNumberFormat::Scientific, 1000u, "<failed 1>"},
      {CFNumberFormat::Scientific, 32767u, "<failed 1>"},
      {CFNumberFormat::Scientific, 2147483647u, "<failed 1>"},
      {CFNumberFormat::Scientific, 4294967295u, "<failed 1>"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.decimals);
    const CFNumberFormat format = Make(row.type, 8, row.decimals, DecSym::Period, GrpSym::None);
    const std::string text = Render(format, CFDatum(1.5));
    if (row.expected != nullptr) {
      EXPECT_EQ(row.expected, text);
    } else {
      EXPECT_EQ("1." + std::string(row.decimals, '0').replace(0, 1, "5") + "E+000", text);
    }
  }
}

// Kept formatters and symbols must give what fresh ones would: when the settings or the
// default locale change between calls, the text follows.
TEST(CFNumberFormatTest, RenderingFollowsSettingsAndDefaultLocale) {
  CFNumberFormat sci = Make(CFNumberFormat::Scientific, 10, 1, DecSym::Local, GrpSym::None);
  CFNumberFormat standard = Make(CFNumberFormat::Standard, 12, 1, DecSym::Local, GrpSym::Local);
  {
    ScopedDefaultLocale english("en_US");
    EXPECT_EQ("  1.2E+003", Render(sci, CFDatum(1234.5)));
    EXPECT_EQ(" 1,234,567.5", Render(standard, CFDatum(1234567.5)));
    sci.SetWidthDecimals(10, 3);
    EXPECT_EQ("1.235E+003", Render(sci, CFDatum(1234.6)));
  }
  {
    ScopedDefaultLocale german("de_DE");
    EXPECT_EQ("1,235E+003", Render(sci, CFDatum(1234.6)));
    EXPECT_EQ(" 1.234.567,5", Render(standard, CFDatum(1234567.5)));
    sci.SetWidthDecimals(10, 1);
    EXPECT_EQ("  1,2E+003", Render(sci, CFDatum(1234.5)));
  }
}

TEST(CFNumberFormatTest, ThreadsRenderingOneFormatAgreeWithOneThread) {
  ScopedDefaultLocale german("de_DE");
  const CFNumberFormat formats[] = {
      Make(CFNumberFormat::Standard, 12, 2, DecSym::Local, GrpSym::Local),
      Make(CFNumberFormat::Scientific, 12, 3, DecSym::Comma, GrpSym::None),
      Make(CFNumberFormat::Scientific, 12, 2, DecSym::Local, GrpSym::None),
  };
  std::vector<CFDatum> values;
  for (int i = 0; i < 200; ++i) values.emplace_back((i - 100) * 1234.567 * (i % 9 + 1));

  for (const CFNumberFormat& format : formats) {
    std::vector<std::string> expected;
    for (const CFDatum& value : values) expected.push_back(Render(format, value));
    std::vector<std::string> seen[2];
    auto work = [&](std::vector<std::string>& out) {
      for (int round = 0; round < 20; ++round) {
        out.clear();
        for (const CFDatum& value : values) out.push_back(Render(format, value));
        if (out != expected) return;
      }
    };
    std::thread first(work, std::ref(seen[0]));
    std::thread second(work, std::ref(seen[1]));
    first.join();
    second.join();
    EXPECT_EQ(expected, seen[0]);
    EXPECT_EQ(expected, seen[1]);
  }
}

}  // namespace
