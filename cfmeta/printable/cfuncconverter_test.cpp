#include "cfmeta/printable/cfuncconverter.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using CFPrintableUtil::CFUncConverter;

icu::UnicodeString Units(std::initializer_list<char16_t> units) {
  icu::UnicodeString text;
  for (char16_t unit : units) text.append(static_cast<UChar>(unit));
  return text;
}

TEST(CFUncConverterTest, WellFormedTextRoundTrips) {
  CFUncConverter converter;
  const std::string long200(200, 'x');
  const std::string rows[] = {
      "",
      "plain",
      std::string("nul\0inside", 10),
      "caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80",  // two, three and four bytes
      long200 + "\xE2\x80\xAF" + long200,
  };
  for (const std::string& text : rows) {
    SCOPED_TRACE(text);
    const icu::UnicodeString wide = converter.ToUTF16(text);
    std::string expected;
    EXPECT_EQ(text, icu::UnicodeString::fromUTF8(text).toUTF8String(expected));
    EXPECT_EQ(icu::UnicodeString::fromUTF8(text), wide);
    EXPECT_EQ(text, converter.ToUTF8(wide));
  }
}

TEST(CFUncConverterTest, MalformedInputIsReplacedNotDropped) {
  CFUncConverter converter;
  // Each broken sequence becomes U+FFFD; the text around it is kept.
  EXPECT_EQ(Units({'a', 0xFFFD, 0xFFFD, 'z', 0xFFFD, 0xFFFD}),
            converter.ToUTF16("a\xFF\xE2\x82z\xC0\xAF"));
  EXPECT_EQ(Units({'o', 'k'}), converter.ToUTF16("ok"));  // the converter was reset

  EXPECT_EQ(
      "a\xEF\xBF\xBD"
      "b",
      converter.ToUTF8(Units({'a', 0xD800, 'b'})));
  EXPECT_EQ("a\xEF\xBF\xBD", converter.ToUTF8(Units({'a', 0xDC00})));
  // Longer than the first buffer.
  icu::UnicodeString longText(std::string(300, 'y').c_str());
  longText.append(static_cast<UChar>(0xDBFF));
  EXPECT_EQ(std::string(300, 'y') + "\xEF\xBF\xBD", converter.ToUTF8(longText));

  icu::UnicodeString bogus;
  bogus.setToBogus();
  EXPECT_EQ("", converter.ToUTF8(bogus));
}

}  // namespace
