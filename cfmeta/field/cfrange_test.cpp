#include "cfmeta/field/cfrange.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cfmeta/field/cffieldparts_testutil.h"
#include "cfmeta/vocab/cfvocabulary.h"

namespace {

namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLElements = CfCppHelperV1::XMLElements;
using CfExtension::CFXMLWrapper;
using cfmeta_test::DatumText;
using cfmeta_test::MakeElement;
using cfmeta_test::Parse;
using cfmeta_test::SerialisedElement;
using cfmeta_test::ValueList;

// A range element with the limits given; null leaves one out.
std::string RangeXml(const char* min, const char* max) {
  if (min == nullptr) return MakeElement(XMLElements::Range, {{XMLAttributes::MaxValue, max}});
  if (max == nullptr) return MakeElement(XMLElements::Range, {{XMLAttributes::MinValue, min}});
  return MakeElement(XMLElements::Range,
                     {{XMLAttributes::MinValue, min}, {XMLAttributes::MaxValue, max}});
}

TEST(CFRangeTest, ReadsLimitsOrStaysEmpty) {
  struct Row {
    std::string xml;
    CFDatum::DataType type;
    bool empty;
    std::string lower, upper;
  };
  const Row rows[] = {
      {MakeElement(XMLElements::Range, {}), CFDatum::Integer, true, "null", "null"},
      {RangeXml("5", nullptr), CFDatum::Integer, false, "5", "null"},
      {RangeXml(nullptr, "2.5"), CFDatum::Real, false, "null", "2.5"},
      {RangeXml("5", "5"), CFDatum::Integer, false, "5", "5"},
      {RangeXml("5", "3"), CFDatum::Integer, true, "1", "0"},
      // An unconvertible limit spoils the whole range.
      {RangeXml("1", "ten"), CFDatum::Integer, true, "1", "0"},
      {RangeXml("0.5", "3"), CFDatum::Integer, true, "1", "0"},
      // An infinite limit is an open side.
      {RangeXml("-INF", "3"), CFDatum::Real, false, "null", "3"},
      {RangeXml("a", "z"), CFDatum::String, true, "1", "0"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.xml);
    CFRange range(*Parse(row.xml), row.type);
    EXPECT_EQ(row.empty, range.IsEmpty());
    EXPECT_EQ(row.lower, DatumText(range.GetLimits().first));
    EXPECT_EQ(row.upper, DatumText(range.GetLimits().second));
  }
}

TEST(CFRangeTest, CheckInRangeIsInclusiveAndThreeValued) {
  const CFRange fiveToTen(CFDatum(5), CFDatum(10));
  const CFRange fromFive(CFDatum(5), CFDatum());
  const CFRange upToTen(CFDatum(), CFDatum(10));
  const CFRange empty;
  const CFRange bothOpen{CFDatum(), CFDatum()};
  const CFRange mixed(CFDatum(1), CFDatum(2.0));
  struct Row {
    const char* what;
    const CFRange& range;
    CFDatum datum;
    int expected;
  };
  const Row rows[] = {
      {"lower limit", fiveToTen, CFDatum(5), 1},
      {"upper limit", fiveToTen, CFDatum(10), 1},
      {"below", fiveToTen, CFDatum(4), 0},
      {"above", fiveToTen, CFDatum(11), 0},
      {"real in integer range", fiveToTen, CFDatum(7.0), 2},
      {"null", fiveToTen, CFDatum(), 2},
      {"far above a lower limit", fromFive, CFDatum(1000), 1},
      {"below a lower limit", fromFive, CFDatum(4), 0},
      {"far below an upper limit", upToTen, CFDatum(-1000000), 1},
      {"above an upper limit", upToTen, CFDatum(11), 0},
      {"empty", empty, CFDatum(0), 0},
      {"null in empty", empty, CFDatum(), 2},
      {"both open", bothOpen, CFDatum(3), 0},
      {"limits of two types", mixed, CFDatum(1), 2},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(row.expected, row.range.CheckInRange(row.datum));
  }
  EXPECT_TRUE(bothOpen.IsEmpty());
  EXPECT_FALSE(mixed.IsEmpty());
}

TEST(CFRangeTest, WritesOnlyTheLimitsItHas) {
  struct Row {
    CFRange range;
    std::string xml;  // "" when nothing is written
  };
  const Row rows[] = {
      {CFRange(CFDatum(5), CFDatum(10)),
       SerialisedElement(XMLElements::Range,
                         {{XMLAttributes::MinValue, "5"}, {XMLAttributes::MaxValue, "10"}})},
      {CFRange(CFDatum(), CFDatum(2.5)),
       SerialisedElement(XMLElements::Range, {{XMLAttributes::MaxValue, "2.5"}})},
      {CFRange(CFDatum(-0.125), CFDatum()),
       SerialisedElement(XMLElements::Range, {{XMLAttributes::MinValue, "-0.125"}})},
      {CFRange(), ""},
      {CFRange(CFDatum(), CFDatum()), ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.xml);
    for (bool isMissingRange : {false, true}) {
      const std::string written =
          cfmeta_test::WrittenText([&](CFXMLWrapper& parent, CFXMLWrapper*& created) {
            row.range.AddToTree(parent, created, isMissingRange);
          });
      EXPECT_EQ(row.xml, written);
      if (written.empty()) continue;
      const CFDatum& limit = row.range.GetLimits().first.IsNull() ? row.range.GetLimits().second
                                                                  : row.range.GetLimits().first;
      CFRange back(*Parse(written), limit.GetType());
      EXPECT_EQ(DatumText(row.range.GetLimits().first), DatumText(back.GetLimits().first));
      EXPECT_EQ(DatumText(row.range.GetLimits().second), DatumText(back.GetLimits().second));
    }
  }
}

TEST(CFMissingValuesTest, TextTestListsNullsAndWhiteSpace) {
  const CFMissingValues defaults;
  const CFMissingValues blanks(CFRange(), ValueList({CFDatum("?", false)}), false, true);
  const CFMissingValues listOnly(CFRange(), ValueList({CFDatum("?", false)}), true, false);
  const CFMissingValues integers(CFRange(), ValueList({CFDatum(9)}), true, true);
  struct Row {
    const char* what;
    const CFMissingValues& missing;
    const char* text;
    int expected;
  };
  const Row rows[] = {
      {"null, treated", defaults, nullptr, 1},
      {"null, not treated", blanks, nullptr, 0},
      {"text, defaults", defaults, "x", 0},
      {"three blanks", blanks, "   ", 1},
      {"three blanks, switch off", listOnly, "   ", 0},
      {"empty text", blanks, "", 1},
      {"empty text, switch off", listOnly, "", 0},
      {"tab and new line", blanks, "\t\n", 1},
      {"ideographic and em spaces", blanks, "\xE3\x80\x80\xE2\x80\x83", 1},
      {"ideographic space then a letter", blanks, "\xE3\x80\x80x", 0},
      {"blank around text", blanks, " x ", 0},
      {"malformed byte", blanks, " \xFF ", 0},
      {"truncated sequence", blanks, " \xE3\x80", 0},
      {"listed", blanks, "?", 1},
      {"listed, switch off", listOnly, "?", 1},
      {"text against integers", integers, "   ", 2},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(row.expected, row.missing.CheckForMissing(row.text));
    EXPECT_EQ(row.expected, row.missing.CheckForMissing(CFDatum(row.text, row.text == nullptr)));
  }
}

TEST(CFMissingValuesTest, DatumTestListsThenRange) {
  const CFMissingValues defaults;
  const CFMissingValues coded(CFRange(CFDatum(8), CFDatum(9)), ValueList({CFDatum(99)}), false,
                              true);
  struct Row {
    const char* what;
    const CFMissingValues& missing;
    CFDatum datum;
    int expected;
  };
  const Row rows[] = {
      {"null integer, defaults", defaults, CFDatum(), 1},
      {"integer, defaults", defaults, CFDatum(0), 0},
      {"real, defaults", defaults, CFDatum(0.0), 0},
      {"null, not treated", coded, CFDatum(), 0},
      {"listed", coded, CFDatum(99), 1},
      {"range lower limit", coded, CFDatum(8), 1},
      {"range upper limit", coded, CFDatum(9), 1},
      {"outside both", coded, CFDatum(10), 0},
      {"real against integers", coded, CFDatum(8.0), 2},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(row.expected, row.missing.CheckForMissing(row.datum));
  }
}

TEST(CFMissingValuesTest, ValidOnlyWhenOfOneType) {
  struct Row {
    const char* what;
    CFMissingValues missing;
    bool valid;
  };
  const Row rows[] = {
      {"defaults", CFMissingValues(), true},
      {"range, no list", CFMissingValues(CFRange(CFDatum(1), CFDatum(2)), {}, true, false), true},
      {"integers", CFMissingValues(CFRange(), ValueList({CFDatum(1), CFDatum(2)}), true, false),
       true},
      {"integer then real",
       CFMissingValues(CFRange(), ValueList({CFDatum(1), CFDatum(2.0)}), true, false), false},
      {"real under an integer range",
       CFMissingValues(CFRange(CFDatum(1), CFDatum(2)), ValueList({CFDatum(2.0)}), true, false),
       false},
      {"real under a half-open real range",
       CFMissingValues(CFRange(CFDatum(1.0), CFDatum()), ValueList({CFDatum(2.0)}), true, false),
       true},
      {"null entry", CFMissingValues(CFRange(), ValueList({CFDatum(1), CFDatum()}), true, false),
       false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(row.valid, row.missing.IsValid());
  }
}

}  // namespace
