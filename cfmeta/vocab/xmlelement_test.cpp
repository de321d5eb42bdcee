#include "cfmeta/vocab/xmlelement.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <string>

#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/xml/cfxml_testutil.h"
#include "cfmeta/xml/cfxmlwrapper.h"

namespace {

namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLElements = CfCppHelperV1::XMLElements;
namespace XMLEntities = CfCppHelperV1::XMLEntities;
using CfCppHelperV1::XMLElement;
using cfmeta_test::MakeElement;
using cfmeta_test::Parse;

TEST(XMLElementTest, CopiesNameAndAttributesAndOutlivesTheDocument) {
  std::unique_ptr<XMLElement> element;
  {
    auto doc = Parse(MakeElement(XMLElements::ModelField,
                                 {{XMLAttributes::Role, XMLEntities::Target},
                                  {XMLAttributes::TargetField, "t\xC3\xA9 & <x>"},
                                  {XMLAttributes::Group, ""}},
                                 MakeElement(XMLElements::Value, {{XMLAttributes::Tag, "inner"}})));
    ASSERT_NE(nullptr, doc->getElement());
    element.reset(new XMLElement(*doc));
  }
  EXPECT_EQ(XMLElements::ModelField, element->getName());
  std::string value = "stale";
  EXPECT_TRUE(element->getAttribute(XMLAttributes::Role, value));
  EXPECT_EQ(XMLEntities::Target, value);
  EXPECT_TRUE(element->getAttribute(XMLAttributes::TargetField, value));
  EXPECT_EQ("t\xC3\xA9 & <x>", value);
  // Present but empty is present.
  EXPECT_TRUE(element->hasAttribute(XMLAttributes::Group));
  EXPECT_TRUE(element->getAttribute(XMLAttributes::Group, value));
  EXPECT_EQ("", value);
  // Only the element's own attributes, not its children's.
  value = "stale";
  EXPECT_FALSE(element->hasAttribute(XMLAttributes::Tag));
  EXPECT_FALSE(element->getAttribute(XMLAttributes::Tag, value));
  EXPECT_EQ("", value);

  element->setAttribute(XMLAttributes::Role, XMLEntities::Input);
  element->setAttribute(XMLAttributes::Tag, "t");
  EXPECT_TRUE(element->getAttribute(XMLAttributes::Role, value));
  EXPECT_EQ(XMLEntities::Input, value);
  EXPECT_TRUE(element->hasAttribute(XMLAttributes::Tag));

  XMLElement empty{CfExtension::CFXMLWrapper()};
  EXPECT_EQ("", empty.getName());
  EXPECT_FALSE(empty.hasAttribute(XMLAttributes::Role));
}

// The attribute reader reads numbers with the wrapper's grammar, so a field's two readers
// never disagree about one element.
TEST(XMLElementTest, NumbersReadAsTheWrapperReadsThem) {
  const double kInf = std::numeric_limits<double>::infinity();
  struct Row {
    const char* text;
    bool realOk;
    double real;
    bool integerOk;
    long long integer;
  } rows[] = {
      {"1.5", true, 1.5, false, 0},
      {"42", true, 42, true, 42},
      {"-9223372036854775808", true, -9223372036854775808.0, true,
       std::numeric_limits<long long>::min()},
      {"INF", true, kInf, false, 0},
      {"-INF", true, -kInf, false, 0},
      {"1e400", true, kInf, false, 0},
      {"12abc", false, 0, false, 0},
      {"", false, 0, false, 0},
      {"inf", false, 0, false, 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    auto doc =
        Parse(MakeElement(XMLElements::ContinuousStatistics, {{XMLAttributes::Mean, row.text}}));
    ASSERT_NE(nullptr, doc->getElement());
    XMLElement element(*doc);
    double real = 99;
    EXPECT_EQ(row.realOk, element.getAttribute(XMLAttributes::Mean, real));
    EXPECT_EQ(row.real, real);
    long long integer = 99;
    EXPECT_EQ(row.integerOk, element.getAttribute(XMLAttributes::Mean, integer));
    EXPECT_EQ(row.integer, integer);

    // The wrapper agrees on which texts are numbers.
    bool found = false;
    int kind = 0;
    double wrapperReal = 0;
    EXPECT_EQ(row.realOk, doc->getAttribute(XMLAttributes::Mean, wrapperReal, found, kind) == 0);
    long long wrapperInteger = 0;
    EXPECT_EQ(row.integerOk, doc->getAttribute(XMLAttributes::Mean, wrapperInteger, found) == 0);
  }
  auto doc = Parse(MakeElement(XMLElements::ContinuousStatistics, {{XMLAttributes::Mean, "NaN"}}));
  XMLElement element(*doc);
  double real = 0;
  EXPECT_TRUE(element.getAttribute(XMLAttributes::Mean, real));
  EXPECT_TRUE(std::isnan(real));
  // Absent: false and 0.
  real = 99;
  long long integer = 99;
  EXPECT_FALSE(element.getAttribute(XMLAttributes::Variance, real));
  EXPECT_EQ(0, real);
  EXPECT_FALSE(element.getAttribute(XMLAttributes::Variance, integer));
  EXPECT_EQ(0, integer);
}

}  // namespace
