#include "cfmeta/format/cfdecoratedformat.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <utility>
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
using cfmeta_test::Serialise;
namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLElements = CfCppHelperV1::XMLElements;
namespace XMLEntities = CfCppHelperV1::XMLEntities;
using DecSym = CFFormat::DecimalSymbol;
using GrpSym = CFFormat::GroupingSymbol;

// Every field as one comparable text.
std::string Describe(const CFDecoratedFormat& format) {
  DecSym dec;
  GrpSym grp;
  format.GetSeparators(dec, grp);
  std::string prefix, suffix, negPrefix, negSuffix;
  format.GetAffixes(prefix, suffix);
  format.GetNegAffixes(negPrefix, negSuffix);
  return format.GetName() + "|" + std::to_string(format.GetWidth()) + "|" +
         std::to_string(format.GetAlignment()) + "|" + std::to_string(format.GetFormatType()) +
         "|" + std::to_string(format.GetDecimals()) + "|" +
         std::to_string(static_cast<unsigned>(dec)) + "|" +
         std::to_string(static_cast<unsigned>(grp)) + "|" + prefix + "|" + suffix + "|" +
         negPrefix + "|" + negSuffix + "|" + std::to_string(format.GetCustomCurrencyID());
}

CFDecoratedFormat Make(int width, unsigned decimals, const char* prefix, const char* suffix,
                       const char* negPrefix, const char* negSuffix, GrpSym grp = GrpSym::None) {
  CFDecoratedFormat format(CFDecoratedFormat::Currency, width, decimals);
  format.SetSeparators(DecSym::Period, grp);
  format.SetAffixes(prefix, suffix);
  format.SetNegAffixes(negPrefix, negSuffix);
  return format;
}

TEST(CFDecoratedFormatTest, RendersAffixesOnlyWhenTheyFit) {
  struct Row {
    CFDecoratedFormat format;
    CFDatum value;
    const char* expected;
  } rows[] = {
      // Negative affixes replace the minus rather than stand beside it.
      {Make(10, 2, "$", "", "(", ")"), CFDatum(-1234.5), "($1234.50)"},
      {Make(10, 2, "$", "", "(", ")"), CFDatum(1234.5), "  $1234.50"},
      {Make(14, 2, "$", "", "(", ")", GrpSym::Comma), CFDatum(-1234.5), "   ($1,234.50)"},
      {Make(14, 2, "$", "", "(", ")", GrpSym::Comma), CFDatum(1234567), " $1,234,567.00"},
      // Too wide with affixes: the number alone, with a plain minus when negative.
      {Make(8, 2, "$", "", "(", ")"), CFDatum(-1234.5), "-1234.50"},
      {Make(9, 2, "$", "", "(", ")"), CFDatum(-1234.5), " -1234.50"},
      {Make(8, 2, "$", "", "(", ")"), CFDatum(1234.5), "$1234.50"},
      {Make(8, 2, "$", "", "(", ")"), CFDatum(12345.67), "12345.67"},
      {Make(6, 1, "", "%", "-", ""), CFDatum(12.5), " 12.5%"},
      {Make(6, 1, "", "%", "-", ""), CFDatum(-12.5), "-12.5%"},
      {Make(6, 1, "", "%", "-", ""), CFDatum(-123.5), "-123.5"},
      // Free width always has room; integers render like reals.
      {Make(-1, 2, "$", "", "-", ""), CFDatum(-5), "-$5.00"},
      {Make(-1, 2, "", "", "", ""), CFDatum(-5), "5.00"},  // no negative affixes, no sign
      {Make(-1, 0, "EUR ", " net", "<", ">"), CFDatum(-98765.4), "<EUR 98765 net>"},
      // Widths count characters, not bytes: the euro sign is one.
      {Make(7, 2, "\xE2\x82\xAC", "", "-", ""), CFDatum(123.45),
       "\xE2\x82\xAC"
       "123.45"},
      {Make(6, 2, "\xE2\x82\xAC", "", "-", ""), CFDatum(123.45), "123.45"},
      {Make(9, 2, "\xE2\x82\xAC", "", "-", ""), CFDatum(123.45),
       "  \xE2\x82\xAC"
       "123.45"},
      // A null renders "." whatever the settings; strings and empty formats fail.
      {Make(10, 2, "$", "", "(", ")"), CFDatum(), "."},
      {CFDecoratedFormat(), CFDatum(), "."},
      {Make(10, 2, "$", "", "(", ")"), CFDatum("12", false), "<failed 1>"},
      {CFDecoratedFormat(), CFDatum(1.0), "<failed 1>"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(Describe(row.format) + " " + row.expected);
    EXPECT_EQ(row.expected, Render(row.format, row.value));
  }
  // The symbols are those of the standard rendering.
  CFDecoratedFormat german = Make(16, 2, "", " EUR", "-", "");
  german.SetSeparators(DecSym::Comma, GrpSym::Period);
  EXPECT_EQ("   -1.234.567,89", Render(german, CFDatum(-1234567.891)));
  german.SetWidthDecimals(18, 2);
  EXPECT_EQ(" -1.234.567,89 EUR", Render(german, CFDatum(-1234567.891)));

  // The locale's grouping space is one character of three bytes.
  cfmeta_test::ScopedDefaultLocale french("fr_FR");
  CFDecoratedFormat local = Make(12, 1, "", " \xE2\x82\xAC", "-", "");
  local.SetSeparators(DecSym::Local, GrpSym::Local);
  const std::string digits =
      "1\xE2\x80\xAF"
      "234\xE2\x80\xAF"
      "567,5";
  EXPECT_EQ(" " + digits, Render(local, CFDatum(1234567.5)));
  local.SetWidthDecimals(14, 1);
  EXPECT_EQ(" " + digits + " \xE2\x82\xAC", Render(local, CFDatum(1234567.5)));
  EXPECT_EQ("-" + digits + " \xE2\x82\xAC", Render(local, CFDatum(-1234567.5)));
}

TEST(CFDecoratedFormatTest, SetAffixesStoresOnlyPairsAgreeingOnALeadingZero) {
  struct Row {
    const char* prefix;
    const char* suffix;
    bool stored;
  } rows[] = {
      {"0", "", false},  {"", "0%", false},  {"0$", "x", false},
      {"$", "0", false}, {"0a", "0b", true}, {"$", "", true},
      {"", "", true},    {"a0", "b0", true}, {"", "%", true},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.prefix) + "|" + row.suffix);
    CFDecoratedFormat format(CFDecoratedFormat::Currency, 10, 2);
    format.SetAffixes("<", ">");
    format.SetAffixes(row.prefix, row.suffix);
    std::string prefix, suffix;
    format.GetAffixes(prefix, suffix);
    EXPECT_EQ(row.stored ? row.prefix : "<", prefix);
    EXPECT_EQ(row.stored ? row.suffix : ">", suffix);
  }
  // Negative affixes take anything.
  CFDecoratedFormat format(CFDecoratedFormat::Currency, 10, 2);
  format.SetNegAffixes("0", "");
  std::string prefix, suffix;
  format.GetNegAffixes(prefix, suffix);
  EXPECT_EQ("0", prefix);
}

TEST(CFDecoratedFormatTest, WritesAttributesInOrderAndReadsThemBack) {
  for (unsigned row = 0; row < 6; ++row) {
    SCOPED_TRACE(row);
    const auto type = static_cast<CFDecoratedFormat::FormatType>(row % 2);
    CFDecoratedFormat format(type, row % 3 ? 14 : -1, row);
    format.SetName("c&" + std::to_string(row));
    format.SetAlignment(static_cast<CFFormat::Alignment>(row % 4));
    format.SetSeparators(static_cast<DecSym>(row % 3), static_cast<GrpSym>(row % 5));
    // Each affix is left out in some rows, so that every optional attribute is both written
    // and skipped.
    const std::string affixes[] = {row & 1 ? "$" : "", row & 2 ? "%" : "", row & 4 ? "(" : "",
                                   row % 3 ? ")" : ""};
    format.SetAffixes(affixes[0], affixes[1]);
    format.SetNegAffixes(affixes[2], affixes[3]);
    format.SetCustomCurrencyID(row);

    std::map<std::string, std::string> attributes = {
        {XMLAttributes::Name, format.GetName()},
        {XMLAttributes::Width, row % 3 ? "14" : "-1"},
        {XMLAttributes::Alignment, cfmeta_test::kAlignTexts[row % 4]},
        {XMLAttributes::DecimalSymbol, cfmeta_test::kDecTexts[row % 3]},
        {XMLAttributes::GroupingSymbol, cfmeta_test::kGrpTexts[row % 5]},
        {XMLAttributes::DecimalPlaces, std::to_string(row)},
        {XMLAttributes::FormatType, row % 2 ? XMLEntities::Percentage : XMLEntities::Currency}};
    const char* affixNames[] = {XMLAttributes::Prefix, XMLAttributes::Suffix,
                                XMLAttributes::NegPrefix, XMLAttributes::NegSuffix};
    for (int i = 0; i < 4; ++i) {
      if (!affixes[i].empty()) attributes[affixNames[i]] = affixes[i];
    }
    if (row != 0) attributes[XMLAttributes::CustomCurrType] = std::to_string(row);
    // The serialiser orders attributes by name, so compare against the same order.
    const std::string written = cfmeta_test::WrittenFormat(format);
    EXPECT_EQ(cfmeta_test::OpenTag(XMLElements::DecoratedFormat, attributes) + "/>", written);

    const CFDecoratedFormat read(*Parse(written));
    EXPECT_EQ(Describe(format), Describe(read));
    std::unique_ptr<CFFormat> clone(read.Clone());
    EXPECT_EQ('c', clone->GetFormatClass());
    EXPECT_EQ(Describe(read), Describe(*static_cast<CFDecoratedFormat*>(clone.get())));
  }
}

const cfmeta_test::AttributeList kWhole = {{XMLAttributes::Name, "f"},
                                           {XMLAttributes::Width, "9"},
                                           {XMLAttributes::FormatType, XMLEntities::Currency},
                                           {XMLAttributes::DecimalPlaces, "2"},
                                           {XMLAttributes::DecimalSymbol, XMLEntities::Period},
                                           {XMLAttributes::GroupingSymbol, XMLEntities::Period}};

std::string Element(cfmeta_test::AttributeList attributes) {
  return cfmeta_test::ElementOf(XMLElements::DecoratedFormat, attributes);
}

TEST(CFDecoratedFormatTest, ReadingTakesWhatTheSettersRefuse) {
  // No NegPrefix: a negative number loses its minus and gets only the prefix.
  const CFDecoratedFormat bare(*Parse(Element({{XMLAttributes::Name, "f"},
                                               {XMLAttributes::Width, "8"},
                                               {XMLAttributes::FormatType, XMLEntities::Currency},
                                               {XMLAttributes::DecimalPlaces, "2"},
                                               {XMLAttributes::DecimalSymbol, XMLEntities::Period},
                                               {XMLAttributes::GroupingSymbol, XMLEntities::None},
                                               {XMLAttributes::Prefix, "$"}})));
  EXPECT_EQ("f|8|3|0|2|0|0|$||||0", Describe(bare));
  EXPECT_EQ("   $5.00", Render(bare, CFDatum(-5)));

  // A leading-zero mismatch and a currency identifier above the setter's bound both read.
  CFDecoratedFormat loose(*Parse(Element({{XMLAttributes::Name, "f"},
                                          {XMLAttributes::Width, "8"},
                                          {XMLAttributes::FormatType, XMLEntities::Percentage},
                                          {XMLAttributes::DecimalPlaces, "0"},
                                          {XMLAttributes::DecimalSymbol, XMLEntities::Period},
                                          {XMLAttributes::GroupingSymbol, XMLEntities::None},
                                          {XMLAttributes::Prefix, "0x"},
                                          {XMLAttributes::CustomCurrType, "9"}})));
  EXPECT_EQ("f|8|3|1|0|0|0|0x||||9", Describe(loose));
  EXPECT_EQ("    0x42", Render(loose, CFDatum(42.0)));  // no multiplying by 100
  loose.SetCustomCurrencyID(6);
  EXPECT_EQ(9u, loose.GetCustomCurrencyID());
  loose.SetCustomCurrencyID(5);
  EXPECT_EQ(5u, loose.GetCustomCurrencyID());
}

TEST(CFDecoratedFormatTest, DamagedElementReadsAsEmptyFormat) {
  const std::vector<std::string> rows =
      cfmeta_test::DamagedElements(XMLElements::DecoratedFormat, kWhole,
                                   {{XMLAttributes::FormatType, XMLEntities::Standard},
                                    {XMLAttributes::DecimalPlaces, "-2"},
                                    {XMLAttributes::GroupingSymbol, XMLEntities::Colon},
                                    {XMLAttributes::CustomCurrType, "-1"},
                                    {XMLAttributes::CustomCurrType, "one"},
                                    {XMLAttributes::CustomCurrType, "99999999999"},
                                    {XMLAttributes::Width, "0"}});
  const std::string empty = Describe(CFDecoratedFormat());
  for (const std::string& xml : rows) {
    SCOPED_TRACE(xml);
    auto doc = Parse(xml);
    ASSERT_NE(nullptr, doc->getElement());
    EXPECT_EQ(empty, Describe(CFDecoratedFormat(*doc)));
  }
  // The complete element reads, with or without the optional identifier.
  cfmeta_test::AttributeList attributes = kWhole;
  attributes.emplace_back(XMLAttributes::Prefix, "$");
  EXPECT_EQ("f|9|3|0|2|0|1|$||||0", Describe(CFDecoratedFormat(*Parse(Element(attributes)))));
  attributes.emplace_back(XMLAttributes::CustomCurrType, "1");
  EXPECT_EQ("f|9|3|0|2|0|1|$||||1", Describe(CFDecoratedFormat(*Parse(Element(attributes)))));
}

TEST(CFDecoratedFormatTest, EmptyFormatHoldsNothing) {
  CFDecoratedFormat format(CFDecoratedFormat::Percentage, 0, 3);
  format.SetName("x");
  format.SetAlignment(CFFormat::Left);
  format.SetWidthDecimals(8, 2);
  format.SetSeparators(DecSym::Comma, GrpSym::Comma);
  format.SetAffixes("$", "");
  format.SetNegAffixes("(", ")");
  format.SetCustomCurrencyID(2);
  EXPECT_EQ("|0|3|0|0|0|0|||-||0", Describe(format));
  EXPECT_EQ("<none>", cfmeta_test::WrittenFormat(format));

  // Reset with a width of 0 changes nothing; with another width it clears every setting.
  CFDecoratedFormat full = Make(12, 2, "$", "", "(", ")", GrpSym::Comma);
  full.SetName("kept");
  full.SetCustomCurrencyID(3);
  full.Reset(CFDecoratedFormat::Percentage, 0, 1);
  EXPECT_EQ("kept|12|3|0|2|0|2|$||(|)|3", Describe(full));
  full.Reset(CFDecoratedFormat::Percentage, 7, 1);
  EXPECT_EQ("|7|3|1|1|0|0|||-||0", Describe(full));
}

}  // namespace
