#include "cfmeta/format/cfstringformat.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "cfmeta/field/cfdatum.h"
#include "cfmeta/format/cfformat_testutil.h"
#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/xml/cfxml_testutil.h"
#include "cfmeta/xml/cfxmlwrapper.h"

namespace {

using cfmeta_test::MakeElement;
using cfmeta_test::Parse;
using cfmeta_test::Serialise;
namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLElements = CfCppHelperV1::XMLElements;
namespace XMLEntities = CfCppHelperV1::XMLEntities;

// Every field as one comparable text.
std::string Describe(const CFStringFormat& format) {
  return format.GetName() + "|" + std::to_string(format.GetWidth()) + "|" +
         std::to_string(format.GetAlignment()) + "|" + (format.GetHexRep() ? "hex" : "plain");
}

TEST(CFStringFormatTest, OnlyFreeWidthRendersText) {
  struct Row {
    int width;
    CFDatum value;
    int rc;
    const char* out;
  } rows[] = {
      {-1, CFDatum("abc", false), 0, "abc"},
      {-1, CFDatum("", false), 0, ""},
      {-1, CFDatum(), 0, ""},  // a null renders empty, not "."
      {-1, CFDatum::MakeNull(CFDatum::String), 0, ""},
      {-1, CFDatum(42), 1, ""},
      {-1, CFDatum(4.2), 1, ""},
      {8, CFDatum("abc", false), 1, ""},  // a fixed width fails for every value
      {3, CFDatum("abc", false), 1, ""},
      {8, CFDatum(), 1, ""},
      {0, CFDatum("abc", false), 0, ""},  // the empty format renders nothing, and succeeds
      {0, CFDatum(7), 0, ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::to_string(row.width) + " " + std::to_string(row.rc) + " " + row.out);
    // Hexadecimal is never applied by rendering.
    for (bool hex : {false, true}) {
      const CFStringFormat format(row.width, hex);
      std::string out = "stale";
      EXPECT_EQ(row.rc, format.Format(row.value, CFFormat::NoUnits, out));
      EXPECT_EQ(row.out, out);
    }
  }
  // Long text comes back whole.
  const std::string longText(5000, 'x');
  std::string out;
  EXPECT_EQ(
      0, CFStringFormat(-1, false).Format(CFDatum(longText.c_str(), false), CFFormat::Days, out));
  EXPECT_EQ(longText, out);
}

TEST(CFStringFormatTest, WritesAttributesInOrderAndReadsThemBack) {
  struct Row {
    int width;
    bool hex;
    CFFormat::Alignment align;
    const char* widthText;
  } rows[] = {
      {-1, false, CFFormat::Auto, "-1"},
      {12, true, CFFormat::Left, "12"},
      {-7, true, CFFormat::Center, "-1"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.widthText);
    CFStringFormat format(row.width, row.hex);
    format.SetName("s&\"1");
    format.SetAlignment(row.align);
    // The serialiser orders attributes by name.
    const std::string written = cfmeta_test::WrittenFormat(format);
    EXPECT_EQ(cfmeta_test::OpenTag(
                  XMLElements::StringFormat,
                  {{XMLAttributes::Alignment, cfmeta_test::kAlignTexts[row.align]},
                   {XMLAttributes::Hexadecimal, row.hex ? XMLEntities::True : XMLEntities::False},
                   {XMLAttributes::Name, "s&\"1"},
                   {XMLAttributes::Width, row.widthText}}) +
                  "/>",
              written);

    const CFStringFormat read(*Parse(written));
    EXPECT_EQ("s&\"1|" + std::string(row.widthText) + "|" + std::to_string(row.align) + "|" +
                  (row.hex ? "hex" : "plain"),
              Describe(read));
    std::unique_ptr<CFFormat> clone(read.Clone());
    EXPECT_EQ('s', clone->GetFormatClass());
    EXPECT_EQ(Describe(read), Describe(*static_cast<CFStringFormat*>(clone.get())));
  }
}

TEST(CFStringFormatTest, DamagedElementReadsAsEmptyFormat) {
  const char* element = XMLElements::StringFormat;
  const std::vector<std::string> rows = cfmeta_test::DamagedElements(
      element, {{XMLAttributes::Name, "s"}, {XMLAttributes::Width, "-1"}},
      {{XMLAttributes::Hexadecimal, "yes"},
       {XMLAttributes::Hexadecimal, ""},
       {XMLAttributes::Hexadecimal, "TRUE"},
       {XMLAttributes::Width, "0"},
       {XMLAttributes::Width, "wide"}});
  const std::string empty = Describe(CFStringFormat());
  for (const std::string& xml : rows) {
    SCOPED_TRACE(xml);
    auto doc = Parse(xml);
    ASSERT_NE(nullptr, doc->getElement());
    EXPECT_EQ(empty, Describe(CFStringFormat(*doc)));
  }
  // Hexadecimal and Alignment are optional.
  auto doc =
      Parse(MakeElement(element, {{XMLAttributes::Name, "s"}, {XMLAttributes::Width, "-3"}}));
  EXPECT_EQ("s|-1|3|plain", Describe(CFStringFormat(*doc)));
}

TEST(CFStringFormatTest, EmptyFormatHoldsNothing) {
  CFStringFormat format;
  format.SetName("x");
  format.SetAlignment(CFFormat::Right);
  format.Reset(0, true);
  EXPECT_EQ(Describe(CFStringFormat()), Describe(format));
  EXPECT_EQ("<none>", cfmeta_test::WrittenFormat(format));

  // Reset clears the name and alignment but never empties a format.
  CFStringFormat full(-1, false);
  full.SetName("kept");
  full.SetAlignment(CFFormat::Left);
  full.Reset(0, true);
  EXPECT_EQ("kept|-1|0|plain", Describe(full));
  full.Reset(20, true);
  EXPECT_EQ("|20|3|hex", Describe(full));
}

}  // namespace
