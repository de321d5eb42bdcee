#include "cfmeta/printable/cfprintablevalue.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "cfmeta/field/cfdatum.h"
#include "cfmeta/format/cfdateformat.h"
#include "cfmeta/format/cfdecoratedformat.h"
#include "cfmeta/format/cfformat_testutil.h"
#include "cfmeta/format/cfnumberformat.h"
#include "cfmeta/format/cfstringformat.h"
#include "cfmeta/format/cftimeformat.h"
#include "cfmeta/printable/cfprintable_testutil.h"
#include "cfmeta/vocab/cfvocabulary.h"

namespace {

using cfmeta_test::Written;
using Sep = CFFormat::UnitsSeparator;
using Sub = CFPrintableValue::StorageSubType;
namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLEntities = CfCppHelperV1::XMLEntities;

const double kDay2024 = 19723.0;  // 2024-01-01 counted in days from 1970-01-01

const CFNumberFormat kNumber(CFNumberFormat::Standard, 8, 2);
const CFDecoratedFormat kDecorated(CFDecoratedFormat::Currency, 8, 1);
const CFDateFormat kDate(CFDateFormat::Y_M_D, 10, 0, Sep::Slash, false, false);
const CFTimeFormat kTime(CFTimeFormat::H_M_S, 8, 0, Sep::Colon, true);
const CFStringFormat kString(-1, false);  // string formats render at free width only

TEST(CFPrintableValueTest, DatumAndFormatMustAgree) {
  struct Row {
    const char* what;
    CFDatum value;
    Sub subtype;
    const CFFormat* format;
    bool accepted;
  };
  const Row rows[] = {
      {"real plain number", CFDatum(1.5), CFPrintableValue::Plain, &kNumber, true},
      {"real plain decorated", CFDatum(1.5), CFPrintableValue::Plain, &kDecorated, true},
      {"real plain date", CFDatum(1.5), CFPrintableValue::Plain, &kDate, false},
      {"real time with date format", CFDatum(1.5), CFPrintableValue::Time, &kDate, true},
      {"real date with time format", CFDatum(1.5), CFPrintableValue::Date, &kTime, true},
      {"real timestamp number", CFDatum(1.5), CFPrintableValue::Timestamp, &kNumber, false},
      {"real unknown subtype", CFDatum(1.5), static_cast<Sub>(4), &kDate, false},
      {"integer plain number", CFDatum(7), CFPrintableValue::Plain, &kNumber, true},
      {"integer date", CFDatum(7), CFPrintableValue::Date, &kDate, false},
      {"integer string format", CFDatum(7), CFPrintableValue::Plain, &kString, false},
      {"string plain string", CFDatum("x", false), CFPrintableValue::Plain, &kString, true},
      {"string number format", CFDatum("x", false), CFPrintableValue::Plain, &kNumber, false},
      {"string date subtype", CFDatum("x", false), CFPrintableValue::Date, &kString, false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    if (row.accepted) {
      EXPECT_NO_THROW(CFPrintableValue(row.value, row.subtype, *row.format));
    } else {
      EXPECT_THROW(CFPrintableValue(row.value, row.subtype, *row.format), CFPrintable::FailExcp);
    }
  }
}

TEST(CFPrintableValueTest, PrintsThroughItsFormatInTheSubtypesUnits) {
  struct Row {
    const char* what;
    CFDatum value;
    Sub subtype;
    const CFFormat* format;
    const char* expected;
  };
  const Row rows[] = {
      {"date counts days", CFDatum(kDay2024), CFPrintableValue::Date, &kDate, "2024/01/01"},
      {"timestamp counts seconds", CFDatum(kDay2024 * 86400 + 3600), CFPrintableValue::Timestamp,
       &kDate, "2024/01/01"},
      {"time counts seconds", CFDatum(3661.0), CFPrintableValue::Time, &kTime, "01:01:01"},
      {"real plain", CFDatum(3.25), CFPrintableValue::Plain, &kNumber, "    3.25"},
      {"integer", CFDatum(42), CFPrintableValue::Plain, &kNumber, "   42.00"},
      {"string", CFDatum("abc", false), CFPrintableValue::Plain, &kString, "abc"},
      {"format fails", CFDatum(std::nan("")), CFPrintableValue::Date, &kDate, ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    const CFPrintableValue value(row.value, row.subtype, *row.format);
    EXPECT_EQ(row.expected, value.Print());
    std::unique_ptr<CFPrintable> copy(value.Clone());
    EXPECT_EQ(row.expected, copy->Print());
  }
}

TEST(CFPrintableValueTest, WritesItsElementAndLosesTheLabelOnRoundTrip) {
  struct Row {
    const char* what;
    CFDatum value;
    Sub subtype;
    const CFFormat* format;
    const char* storage;
    const char* text;
  };
  const Row rows[] = {
      {"date", CFDatum(kDay2024), CFPrintableValue::Date, &kDate, XMLEntities::Date, "19723"},
      {"time", CFDatum(0.5), CFPrintableValue::Time, &kTime, XMLEntities::Time, "0.5"},
      {"timestamp", CFDatum(-2.25), CFPrintableValue::Timestamp, &kTime, XMLEntities::Timestamp,
       "-2.25"},
      {"real", CFDatum(0.1), CFPrintableValue::Plain, &kDecorated, XMLEntities::Real, "0.1"},
      {"integer", CFDatum(-9007199254740993LL), CFPrintableValue::Plain, &kNumber,
       XMLEntities::Integer, "-9007199254740993"},
      {"string", CFDatum("a<b \xC3\xA9", false), CFPrintableValue::Plain, &kString,
       XMLEntities::String, "a<b \xC3\xA9"},
      {"null real", CFDatum::MakeNull(CFDatum::Real), CFPrintableValue::Date, &kDate,
       XMLEntities::Date, nullptr},
      {"null string", CFDatum::MakeNull(CFDatum::String), CFPrintableValue::Plain, &kString,
       XMLEntities::String, nullptr},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    CFPrintableValue value(row.value, row.subtype, *row.format);
    value.SetLabel("shown as");
    std::map<std::string, std::string> attributes = {{XMLAttributes::Storage, row.storage},
                                                     {"label", "shown as"}};
    if (row.text != nullptr) {
      attributes[XMLAttributes::Value] = row.text;
    } else {
      attributes[XMLAttributes::Value] = "";
      attributes["isNull"] = XMLEntities::True;
    }
    const std::string written = Written(value);
    const std::string formatXml = cfmeta_test::WrittenFormat(*row.format);
    EXPECT_EQ(
        cfmeta_test::OpenTag("PrintableValue", attributes) + ">" + formatXml + "</PrintableValue>",
        written);

    bool matched = false;
    std::unique_ptr<CFPrintable> back = cfmeta_test::ReadPrintable(written, matched);
    EXPECT_TRUE(matched);
    ASSERT_NE(nullptr, back);
    attributes.erase("label");
    EXPECT_EQ(
        cfmeta_test::OpenTag("PrintableValue", attributes) + ">" + formatXml + "</PrintableValue>",
        Written(*back));
    EXPECT_EQ(value.Print(), back->Print());
  }
}

TEST(CFPrintableValueTest, DamagedElementThrowsAndTheFactoryGivesNull) {
  using cfmeta_test::MakeElement;
  const std::string number = cfmeta_test::WrittenFormat(kNumber);
  const std::string stringFormat = cfmeta_test::WrittenFormat(kString);
  const char* const kStorage = XMLAttributes::Storage;
  const char* const kValue = XMLAttributes::Value;
  const std::string rows[] = {
      MakeElement("PrintableValue", {{kValue, "1"}}, number),  // no storage
      MakeElement("PrintableValue", {{kStorage, "Real"}, {kValue, "1"}}, number),
      MakeElement("PrintableValue", {{kStorage, XMLEntities::Real}}, number),  // no value
      MakeElement("PrintableValue", {{kStorage, XMLEntities::Integer}, {kValue, "1.5"}}, number),
      MakeElement("PrintableValue", {{kStorage, XMLEntities::Real}, {kValue, "INF"}}, number),
      MakeElement("PrintableValue", {{kStorage, XMLEntities::Date}, {kValue, "NaN"}}, number),
      MakeElement("PrintableValue", {{kStorage, XMLEntities::Real}, {kValue, "x"}}, number),
      MakeElement("PrintableValue",
                  {{kStorage, XMLEntities::Real}, {kValue, "1"}, {"isNull", "yes"}}, number),
      MakeElement("PrintableValue", {{kStorage, XMLEntities::Real}, {kValue, "1"}}),  // no format
      MakeElement("PrintableValue", {{kStorage, XMLEntities::Real}, {kValue, "1"}},
                  MakeElement(CfCppHelperV1::XMLElements::NumberFormat, {})),  // empty format
      MakeElement("PrintableValue", {{kStorage, XMLEntities::String}, {kValue, "1"}}, number),
      MakeElement("PrintableValue", {{kStorage, XMLEntities::Integer}, {kValue, "1"}},
                  stringFormat),
  };
  for (const std::string& xml : rows) {
    SCOPED_TRACE(xml);
    std::unique_ptr<CfExtension::CFXMLWrapper> doc = cfmeta_test::Parse(xml);
    ASSERT_NE(nullptr, doc->getElement());
    EXPECT_THROW(CFPrintableValue value(*doc), CFPrintable::FailExcp);
    bool matched = false;
    EXPECT_EQ(nullptr,
              std::unique_ptr<CFPrintable>(CFPrintableValue::CreateFromElmt(*doc, matched)));
    EXPECT_TRUE(matched);
  }

  // The same content under "isNull" reads: the value is not looked at.
  bool matched = false;
  std::unique_ptr<CFPrintable> null = cfmeta_test::ReadPrintable(
      MakeElement("PrintableValue",
                  {{kStorage, XMLEntities::Real}, {kValue, "x"}, {"isNull", XMLEntities::True}},
                  number),
      matched);
  ASSERT_NE(nullptr, null);
  EXPECT_EQ(".", null->Print());
}

TEST(CFPrintableValueTest, NonFiniteRealIsNotWritten) {
  for (double bad : {std::nan(""), std::numeric_limits<double>::infinity()}) {
    SCOPED_TRACE(bad);
    EXPECT_EQ("<none>", Written(CFPrintableValue(CFDatum(bad), CFPrintableValue::Plain, kNumber)));
  }
}

}  // namespace
