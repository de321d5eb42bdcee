#include "cfmeta/format/cfformatutils.h"

#include <gtest/gtest.h>
#include <unicode/decimfmt.h>
#include <unicode/locid.h>
#include <unicode/unistr.h>

#include <clocale>
#include <cmath>
#include <cstdio>
#include <limits>
#include <memory>
#include <random>
#include <string>

#include "cfmeta/field/cfdatum.h"
#include "cfmeta/format/cfformat_testutil.h"
#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/xml/cfxml_testutil.h"
#include "cfmeta/xml/cfxmlwrapper.h"

namespace {

using cfmeta_test::MakeElement;
using cfmeta_test::Parse;
using cfmeta_test::ScopedDefaultLocale;
namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLElements = CfCppHelperV1::XMLElements;
namespace XMLEntities = CfCppHelperV1::XMLEntities;
using DecSym = CFFormat::DecimalSymbol;
using GrpSym = CFFormat::GroupingSymbol;
using UniSep = CFFormat::UnitsSeparator;

std::string Standard(const CFDatum& value, int width, unsigned decimals, DecSym dec, GrpSym grp) {
  std::string out = "untouched";
  if (CFFormatUtils::FormatStandard(value, out, width, decimals, dec, grp)) return "<failed>";
  return out;
}

TEST(CFFormatUtilsTest, EncodeStandardFitsDecimalsThenFallsBack) {
  const double inf = std::numeric_limits<double>::infinity();
  struct Row {
    double value;
    int width;
    int decimals;
    const char* expected;
  } rows[] = {
      {1234.5678, 8, 2, " 1234.57"},
      {123456789.0, 8, 2, " 1.2E+08"},  // no decimals fit, nine digits do not either
      {-123456789.0, 6, 2, "*"},        // 6 - 7 - 1 leaves no room for scientific
      {0.3, 0, 0, "*"},
      {1234.5, 8, -1, " 1.2E+03"},  // negative decimals go straight to scientific
      {99.996, 6, 2, "100.00"},     // rounding up still fits
      {999.996, 6, 2, "1000.0"},    // rounding up needs one decimal less
      {0.5, 3, 2, "0.5"},           // printed text too long: one decimal less
      {-1.5, 4, 1, "-1.5"},
      {-0.0, 4, 1, "-0.0"},  // negative zero counts as non-negative
      {1e100, 12, 2, "1.00000E+100"},
      {12.0, 7, 30, "12.0000"},  // far too many decimals
      {inf, 10, 2, "       INF"},
      {-inf, 10, 2, "      -INF"},
      {std::nan(""), 10, 2, "       NAN"},
      {1234.5, -3, 2, "*"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::to_string(row.value) + " w=" + std::to_string(row.width) +
                 " d=" + std::to_string(row.decimals));
    EXPECT_EQ(row.expected, CFFormatUtils::EncodeStandard(row.value, row.width, row.decimals));
  }
}

// Whatever notation and precision EncodeStandard settles on, its digits are exactly what the
// C library's printf prints for that choice, in every process locale.
TEST(CFFormatUtilsTest, EncodeStandardPrintsAsPrintfInTheCLocale) {
  std::mt19937_64 random(42);
  std::uniform_real_distribution<double> exponent(-12.0, 40.0);
  std::uniform_int_distribution<int> widths(1, 30);
  std::uniform_int_distribution<int> decimals(0, 9);
  const char* saved = std::setlocale(LC_NUMERIC, nullptr);
  const std::string savedLocale = saved != nullptr ? saved : "C";
  for (int i = 0; i < 20000; ++i) {
    double value = std::pow(10.0, exponent(random)) * (i % 2 == 0 ? 1 : -1);
    if (i % 7 == 0) value = std::round(value * 1000.0) / 1000.0 + 0.0005;  // ties
    const int width = widths(random);
    const int requested = decimals(random);
    std::setlocale(LC_NUMERIC, i % 3 == 0 ? "de_DE.UTF-8" : "C");
    const std::string text = CFFormatUtils::EncodeStandard(value, width, requested);
    std::setlocale(LC_NUMERIC, "C");
    SCOPED_TRACE(std::to_string(value) + " w=" + std::to_string(width) + " -> " + text);
    if (text == "*") continue;
    const bool scientific = text.find('E') != std::string::npos;
    const size_t point = text.find('.');
    const size_t end = scientific ? text.find('E') : text.size();
    const int precision = point == std::string::npos ? 0 : static_cast<int>(end - point - 1);
    char expected[512];
    std::snprintf(expected, sizeof expected, scientific ? "%*.*E" : "%*.*f", width, precision,
                  value);
    ASSERT_EQ(expected, text);
    ASSERT_LE(precision, requested + (scientific ? width : 0));
  }
  std::setlocale(LC_NUMERIC, savedLocale.c_str());
}

TEST(CFFormatUtilsTest, FormatStandardGroupsOnlyWhenPaddingHoldsSeparators) {
  struct Row {
    CFDatum value;
    int width;
    unsigned decimals;
    DecSym dec;
    GrpSym grp;
    const char* expected;
  } rows[] = {
      {CFDatum(1234567.0), 12, 0, DecSym::Period, GrpSym::Comma, "   1,234,567"},
      {CFDatum(1234567.0), 8, 0, DecSym::Period, GrpSym::Comma, " 1234567"},
      {CFDatum(-1234567.0), 12, 0, DecSym::Period, GrpSym::Comma, "  -1,234,567"},
      {CFDatum(1234567), 12, 0, DecSym::Period, GrpSym::Space, "   1 234 567"},
      {CFDatum(1234567.5), 12, 1, DecSym::Comma, GrpSym::Period, " 1.234.567,5"},
      {CFDatum(12.5), 6, 2, DecSym::Comma, GrpSym::None, " 12,50"},
      {CFDatum(999.0), 12, 0, DecSym::Period, GrpSym::Comma, "         999"},
      {CFDatum(1000.0), 5, 0, DecSym::Period, GrpSym::Comma, "1,000"},
      {CFDatum(1000.0), 4, 0, DecSym::Period, GrpSym::Comma, "1000"},  // no padding at all
      {CFDatum(1234567.891), -1, 2, DecSym::Period, GrpSym::Comma, "1,234,567.89"},
      {CFDatum(-0.25), -1, 3, DecSym::Comma, GrpSym::None, "-0,250"},
      {CFDatum(-1e300), 6, 2, DecSym::Period, GrpSym::Comma, "*"},
      {CFDatum(-1e300), -1, 2, DecSym::Comma, GrpSym::Comma, "-1,000000000000000E+300"},
      // Scientific text without a point is grouped from the width's end, as any other.
      {CFDatum(123456789.0), 7, 0, DecSym::Period, GrpSym::Comma, " 1E,+08"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.expected);
    EXPECT_EQ(row.expected, Standard(row.value, row.width, row.decimals, row.dec, row.grp));
  }
}

TEST(CFFormatUtilsTest, FormatStandardRefusesWhatItCannotRender) {
  const CFDatum text("12", false);
  const CFDatum null;
  const CFDatum rows[] = {text, null, CFDatum(1.0)};
  for (const CFDatum& value : rows) {
    const int width = &value == &rows[2] ? 0 : 8;
    SCOPED_TRACE(width);
    std::string out = "stale";
    EXPECT_TRUE(CFFormatUtils::FormatStandard(value, out, width, 2, DecSym::Period, GrpSym::None));
    EXPECT_EQ("", out);
    icu::UnicodeString wide("stale");
    EXPECT_TRUE(CFFormatUtils::FormatStandard(value, wide, width, 2, DecSym::Period, GrpSym::None));
    EXPECT_TRUE(wide.isEmpty());
  }
}

TEST(CFFormatUtilsTest, LocalSymbolsFollowTheDefaultLocale) {
  const CFDatum value(1234567.5);
  struct Row {
    const char* locale;
    DecSym dec;
    GrpSym grp;
    const char* expected;
  } rows[] = {
      {"en_US", DecSym::Local, GrpSym::Local, " 1,234,567.5"},
      {"de_DE", DecSym::Local, GrpSym::Local, " 1.234.567,5"},
      {"de_DE", DecSym::Period, GrpSym::Local, " 1.234.567.5"},
      {"de_DE", DecSym::Local, GrpSym::Space, " 1 234 567,5"},
      {"en_US_POSIX", DecSym::Local, GrpSym::Local, "   1234567.5"},  // group size 0
      {"fr_FR", DecSym::Local, GrpSym::Local, " 1\u202f234\u202f567,5"},
      {"en_US", DecSym::Local, GrpSym::Local, " 1,234,567.5"},  // and back again
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.locale) + " -> " + row.expected);
    ScopedDefaultLocale locale(row.locale);
    EXPECT_EQ(row.expected, Standard(value, 12, 1, row.dec, row.grp));
    // The 16-bit form is the same text, and the width is kept in characters.
    icu::UnicodeString wide;
    ASSERT_FALSE(CFFormatUtils::FormatStandard(value, wide, 12, 1, row.dec, row.grp));
    EXPECT_EQ(icu::UnicodeString::fromUTF8(row.expected), wide);
    EXPECT_EQ(12, wide.length());
  }
}

TEST(CFFormatUtilsTest, CommonAttributesReadWidthAlignmentAndName) {
  const std::string name = XMLAttributes::Name;
  const std::string width = XMLAttributes::Width;
  const std::string align = XMLAttributes::Alignment;
  struct Row {
    std::string xml;
    int status;
    int width;
    CFFormat::Alignment align;  // the caller starts from Left
  } rows[] = {
      {MakeElement(XMLElements::NumberFormat,
                   {{name, "f"}, {width, "9"}, {align, XMLEntities::Right}}),
       0, 9, CFFormat::Right},
      {MakeElement(XMLElements::NumberFormat, {{name, "f"}, {width, "9"}}), 0, 9, CFFormat::Auto},
      {MakeElement(XMLElements::NumberFormat, {{name, "f"}, {width, "-7"}, {align, "bogus"}}), 0,
       -1, CFFormat::Left},
      {MakeElement(XMLElements::NumberFormat, {{name, "f"}, {width, "9"}, {align, ""}}), 0, 9,
       CFFormat::Left},
      {MakeElement(XMLElements::NumberFormat, {{name, "f"}, {width, "0"}}), 5, 0, CFFormat::Left},
      {MakeElement(XMLElements::NumberFormat, {{name, "f"}}), 5, 0, CFFormat::Left},
      {MakeElement(XMLElements::NumberFormat, {{width, "9"}}), 5, 9, CFFormat::Auto},
      {MakeElement(XMLElements::NumberFormat, {{name, "f"}, {width, "wide"}}), 5, 0,
       CFFormat::Left},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.xml);
    auto doc = Parse(row.xml);
    ASSERT_NE(nullptr, doc->getElement());
    std::string readName = "old";
    int readWidth = 0;
    CFFormat::Alignment readAlign = CFFormat::Left;
    EXPECT_EQ(row.status, CFFormatUtils::GetCommonAttr(*doc, readName, readWidth, readAlign));
    EXPECT_EQ(row.width, readWidth);
    EXPECT_EQ(row.align, readAlign);
    EXPECT_EQ(row.status == 0 ? "f" : "old", readName);
  }
}

TEST(CFFormatUtilsTest, SymbolAttributesReadThroughTheirTables) {
  const std::string sep = XMLAttributes::Separator;
  const std::string dec = XMLAttributes::DecimalSymbol;
  const std::string grp = XMLAttributes::GroupingSymbol;
  const std::string upperLocal = std::string(XMLEntities::Local).replace(0, 1, 1, 'L');
  struct Row {
    std::string xml;
    int status;  // of each of the three readers
    bool found;
    unsigned sep, dec, grp;  // the caller starts from Dash (5), Comma (1), Space (3)
  } rows[] = {
      // The Local separator reads back as Colon.
      {MakeElement(
           XMLElements::TimeFormat,
           {{sep, XMLEntities::Local}, {dec, XMLEntities::Local}, {grp, XMLEntities::Period}}),
       0, true, 4, 2, 1},
      {MakeElement(
           XMLElements::TimeFormat,
           {{sep, XMLEntities::Slash}, {dec, XMLEntities::Period}, {grp, XMLEntities::Local}}),
       0, true, 6, 0, 4},
      {MakeElement(XMLElements::TimeFormat, {}), 0, false, 0, 0, 0},  // missing is no failure
      {MakeElement(XMLElements::TimeFormat, {{sep, ""}, {dec, ""}, {grp, ""}}), 5, true, 5, 1, 3},
      {MakeElement(XMLElements::TimeFormat, {{sep, upperLocal}, {dec, upperLocal}, {grp, "x"}}), 5,
       true, 5, 1, 3},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.xml);
    auto doc = Parse(row.xml);
    ASSERT_NE(nullptr, doc->getElement());
    UniSep separator = UniSep::Dash;
    DecSym decimal = DecSym::Comma;
    GrpSym grouping = GrpSym::Space;
    bool found[3] = {!row.found, !row.found, !row.found};
    EXPECT_EQ(row.status, CFFormatUtils::GetUnitsSepAttr(*doc, separator, found[0]));
    EXPECT_EQ(row.status, CFFormatUtils::GetDecimalSymAttr(*doc, decimal, found[1]));
    EXPECT_EQ(row.status, CFFormatUtils::GetGroupingSymAttr(*doc, grouping, found[2]));
    EXPECT_EQ(row.sep, static_cast<unsigned>(separator));
    EXPECT_EQ(row.dec, static_cast<unsigned>(decimal));
    EXPECT_EQ(row.grp, static_cast<unsigned>(grouping));
    for (bool f : found) EXPECT_EQ(row.found, f);
  }
}

TEST(CFFormatUtilsTest, BoolAttributeTakesOnlyTrueAndFalse) {
  const std::string attr = XMLAttributes::PaddedHMS;
  struct Row {
    std::string xml;
    int status;
    bool value;
    bool found;
  } rows[] = {
      {MakeElement(XMLElements::TimeFormat, {{attr, XMLEntities::True}}), 0, true, true},
      {MakeElement(XMLElements::TimeFormat, {{attr, XMLEntities::False}}), 0, false, true},
      {MakeElement(XMLElements::TimeFormat, {}), 0, false, false},
      {MakeElement(XMLElements::TimeFormat, {{attr, "1"}}), 5, false, true},
      {MakeElement(XMLElements::TimeFormat, {{attr, ""}}), 5, false, true},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.xml);
    auto doc = Parse(row.xml);
    bool value = true;
    bool found = !row.found;
    EXPECT_EQ(row.status, CFFormatUtils::GetBoolAttr(*doc, attr.c_str(), value, found));
    EXPECT_EQ(row.value, value);
    EXPECT_EQ(row.found, found);
  }
}

std::string AttributeOf(const CfExtension::CFXMLWrapper& elem, const char* name) {
  std::string value;
  bool found = false;
  elem.getAttribute(name, value, found);
  return found ? value : "<missing>";
}

TEST(CFFormatUtilsTest, WritersUseTheEntityTexts) {
  auto doc = cfmeta_test::NewDocument();
  struct Row {
    std::string name;
    int width;
    unsigned align, dec, grp, sep;
    const char* widthText;
    const char* alignText;
    const char* decText;
    const char* grpText;
    const char* sepText;
  } rows[] = {
      {"a b", 12, 0, 0, 0, 0, "12", XMLEntities::Left, XMLEntities::Period, XMLEntities::None,
       XMLEntities::None},
      {"", 0, 1, 1, 1, 1, "-1", XMLEntities::Center, XMLEntities::Comma, XMLEntities::Period,
       XMLEntities::Period},
      {"x", -1, 2, 2, 2, 7, "-1", XMLEntities::Right, XMLEntities::Local, XMLEntities::Comma,
       XMLEntities::Local},
      {"y", 1, 3, 9, 3, 4, "1", XMLEntities::Auto, XMLEntities::Period, XMLEntities::Space,
       XMLEntities::Colon},
      {"z", 2, 99, 2, 4, 6, "2", XMLEntities::Auto, XMLEntities::Local, XMLEntities::Local,
       XMLEntities::Slash},
      {"w", 3, 0, 0, 99, 99, "3", XMLEntities::Left, XMLEntities::Period, XMLEntities::None,
       XMLEntities::None},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    std::unique_ptr<CfExtension::CFXMLWrapper> elem(
        doc->createFreeElement(XMLElements::NumberFormat));
    ASSERT_NE(nullptr, elem);
    ASSERT_EQ(0, CFFormatUtils::SetCommonAttr(*elem, row.name, row.width,
                                              static_cast<CFFormat::Alignment>(row.align)));
    ASSERT_EQ(0, CFFormatUtils::SetDecimalSymAttr(*elem, static_cast<DecSym>(row.dec)));
    ASSERT_EQ(0, CFFormatUtils::SetGroupingSymAttr(*elem, static_cast<GrpSym>(row.grp)));
    ASSERT_EQ(0, CFFormatUtils::SetUnitsSepAttr(*elem, static_cast<UniSep>(row.sep)));
    EXPECT_EQ(row.name, AttributeOf(*elem, XMLAttributes::Name));
    EXPECT_EQ(row.widthText, AttributeOf(*elem, XMLAttributes::Width));
    EXPECT_EQ(row.alignText, AttributeOf(*elem, XMLAttributes::Alignment));
    EXPECT_EQ(row.decText, AttributeOf(*elem, XMLAttributes::DecimalSymbol));
    EXPECT_EQ(row.grpText, AttributeOf(*elem, XMLAttributes::GroupingSymbol));
    EXPECT_EQ(row.sepText, AttributeOf(*elem, XMLAttributes::Separator));
  }
  // A wrapper without an element refuses every write.
  CfExtension::CFXMLWrapper nothing;
  EXPECT_NE(0, CFFormatUtils::SetCommonAttr(nothing, "n", 1, CFFormat::Left));
  EXPECT_NE(0, CFFormatUtils::SetUnitsSepAttr(nothing, UniSep::Dash));
}

TEST(CFFormatUtilsTest, TablesAndSeparatorTexts) {
  EXPECT_EQ(3, CFFormatUtils::FindStrInList(XMLEntities::Auto, CFFormatUtils::gAlignDict));
  EXPECT_EQ(-1, CFFormatUtils::FindStrInList("", CFFormatUtils::gAlignDict));
  EXPECT_EQ(-1, CFFormatUtils::FindStrInList(nullptr, CFFormatUtils::gGrpSymDict));
  // The first row wins: Local is the table's last row, read as Colon.
  const int local = CFFormatUtils::FindStrInList(XMLEntities::Local, CFFormatUtils::gUniSepDict);
  EXPECT_EQ(7, local);
  EXPECT_EQ(4u, CFFormatUtils::gUniSepDict[local].first);
  EXPECT_EQ(nullptr, CFFormatUtils::gUniSepDict[8].second);

  const char* texts[] = {"", ".", ",", " ", ":", "-", "/", "", ""};
  for (unsigned i = 0; i < 9; ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(texts[i], CFFormatUtils::MakeSeparatorStr(static_cast<UniSep>(i)));
  }
}

TEST(CFFormatUtilsTest, MakeDecimalFormatForGivenAndDefaultLocale) {
  ScopedDefaultLocale german("de_DE");
  std::unique_ptr<icu::DecimalFormat> us(CFFormatUtils::MakeDecimalFormat(&icu::Locale::getUS()));
  std::unique_ptr<icu::DecimalFormat> local(CFFormatUtils::MakeDecimalFormat(nullptr));
  ASSERT_NE(nullptr, us);
  ASSERT_NE(nullptr, local);
  icu::UnicodeString usText;
  icu::UnicodeString localText;
  us->format(1234.5, usText);
  local->format(1234.5, localText);
  EXPECT_EQ(icu::UnicodeString("1,234.5"), usText);
  EXPECT_EQ(icu::UnicodeString("1.234,5"), localText);
}

}  // namespace
