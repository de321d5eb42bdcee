#include "cfmeta/field/cfgeo.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "cfmeta/field/cffieldparts_testutil.h"
#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/xml/cfxml_testutil.h"
#include "cfmeta/xml/cfxmlwrapper.h"

namespace {

using CfExtension::CFXMLWrapper;
using cfmeta_test::Describe;
using cfmeta_test::MakeElement;
using cfmeta_test::Parse;
using cfmeta_test::SerialisedElement;
namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLElements = CfCppHelperV1::XMLElements;
namespace XMLEntities = CfCppHelperV1::XMLEntities;

const char* const kWkt = "GEOGCS[\"GCS_WGS_1984\",DATUM[\"D_WGS_1984\"]]";

std::string EnvelopeXml(std::initializer_list<std::pair<std::string, std::string>> attributes) {
  return MakeElement(XMLElements::GeoEnvelope, attributes);
}

CFGeo ReadGeo(const std::string& xml) {
  auto doc = Parse(xml);
  EXPECT_NE(nullptr, doc->getElement()) << xml;
  return CFGeo(*doc);
}

// The written element's text, or "" when nothing was written (the root must then be empty).
template <typename T>
std::string Write(const T& object) {
  return cfmeta_test::WrittenText(
      [&](CFXMLWrapper& parent, CFXMLWrapper*& created) { object.AddToTree(parent, created); });
}

CFGeoEnvelope Envelope(double luX, double luY, double rlX, double rlY) {
  CFGeoEnvelope envelope;
  envelope.SetLeftUpperX(luX);
  envelope.SetLeftUpperY(luY);
  envelope.SetRightLowerX(rlX);
  envelope.SetRightLowerY(rlY);
  return envelope;
}

TEST(CFGeoTest, ReadsEachGivenPropertyWithItsFlag) {
  const std::string envelope = EnvelopeXml({{XMLAttributes::LeftUpperX, "-10.5"},
                                            {XMLAttributes::LeftUpperY, "60"},
                                            {XMLAttributes::RightLowerX, "2"},
                                            {XMLAttributes::RightLowerY, "49.25"}});
  const std::pair<std::string, std::string> rows[] = {
      {MakeElement(XMLElements::Geo, {}), "-|-|-|-|-|-"},
      {MakeElement(XMLElements::Geo,
                   {{XMLAttributes::Type, XMLEntities::MultiLineString},
                    {XMLAttributes::Coordinates, " 3 "},  // integers collapse white space
                    {XMLAttributes::Csname, "WGS 84"},
                    {XMLAttributes::IsProjected, "false"},
                    {XMLAttributes::Wkid, "-4326 "},
                    {XMLAttributes::Wkt, kWkt}},
                   envelope),
       "3|3|-4326|'WGS 84'|0|'" + std::string(kWkt) + "'|[-10.5,60,2,49.25]"},
      // Given as empty or zero is still given.
      {MakeElement(XMLElements::Geo, {{XMLAttributes::Csname, ""},
                                      {XMLAttributes::IsProjected, "true"},
                                      {XMLAttributes::Wkid, "0"},
                                      {XMLAttributes::Wkt, ""}}),
       "-|-|0|''|1|''"},
      // The last envelope wins; other children are ignored.
      {MakeElement(XMLElements::Geo, {{XMLAttributes::Type, XMLEntities::Point}},
                   envelope + MakeElement(XMLElements::Value, {}) +
                       EnvelopeXml({{XMLAttributes::RightLowerY, "1"}}) +
                       MakeElement(XMLElements::Fields, {})),
       "0|-|-|-|-|-|[-,-,-,1]"},
      // Coordinates stand alone: unreadable or infinite ones stay unset.
      {MakeElement(XMLElements::Geo, {},
                   EnvelopeXml({{XMLAttributes::LeftUpperX, "abc"},
                                {XMLAttributes::LeftUpperY, "1e3"},
                                {XMLAttributes::RightLowerX, "-INF"}})),
       "-|-|-|-|-|-|[-,1000,-,-]"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.first);
    EXPECT_EQ(row.second, Describe(ReadGeo(row.first)));
  }
  bool set = true;
  EXPECT_EQ(CFGeo::Polygon, ReadGeo(MakeElement(XMLElements::Geo, {})).GetType(set));
  EXPECT_FALSE(set);
}

TEST(CFGeoTest, FirstBadAttributeEndsTheAttributesButNotTheEnvelope) {
  const std::string envelope = EnvelopeXml({{XMLAttributes::LeftUpperX, "1"}});
  struct Row {
    const char* attribute;
    const char* badText;
    const char* expected;
  };
  const Row rows[] = {
      {XMLAttributes::Type, "Hexagon", "-|-|-|-|-|-|[1,-,-,-]"},
      {XMLAttributes::Coordinates, "2.5", "5|-|-|-|-|-|[1,-,-,-]"},
      {XMLAttributes::Coordinates, "9223372036854775808", "5|-|-|-|-|-|[1,-,-,-]"},
      {XMLAttributes::IsProjected, "True", "5|2|-|'n'|-|-|[1,-,-,-]"},
      {XMLAttributes::IsProjected, "1", "5|2|-|'n'|-|-|[1,-,-,-]"},
      {XMLAttributes::Wkid, "EPSG:4326", "5|2|-|'n'|0|-|[1,-,-,-]"},
  };
  for (const Row& row : rows) {
    std::vector<std::pair<std::string, std::string>> attributes = {
        {XMLAttributes::Type, XMLEntities::MultiPolygon},
        {XMLAttributes::Coordinates, "2"},
        {XMLAttributes::Csname, "n"},
        {XMLAttributes::IsProjected, "false"},
        {XMLAttributes::Wkid, "3857"},
        {XMLAttributes::Wkt, kWkt}};
    for (auto& attribute : attributes) {
      if (attribute.first == row.attribute) attribute.second = row.badText;
    }
    const std::string xml = SerialisedElement(XMLElements::Geo, attributes, envelope);
    SCOPED_TRACE(xml);
    EXPECT_EQ(row.expected, Describe(ReadGeo(xml)));
  }
}

TEST(CFGeoTest, WritesOnlyWhatIsSet) {
  CFGeo full;
  full.SetType(CFGeo::LineString);
  full.SetCoordinates(-2);
  full.SetCsname("ETRS89 & co");
  full.SetIsProjected(true);
  full.SetWkid(25832);
  full.SetWkt(kWkt);
  CFGeoEnvelope oneCorner;
  oneCorner.SetLeftUpperX(-0.125);
  full.SetGeoEnvelope(&oneCorner);

  CFGeo emptyTexts;
  emptyTexts.SetCsname("");
  emptyTexts.SetWkt("");
  emptyTexts.SetIsProjected(false);
  emptyTexts.SetCoordinates(0);

  CFGeo notFinite;
  CFGeoEnvelope nan;
  nan.SetRightLowerY(std::nan(""));
  nan.SetLeftUpperY(1e300);
  notFinite.SetGeoEnvelope(&nan);

  const std::pair<CFGeo, std::string> rows[] = {
      {full, SerialisedElement(XMLElements::Geo,
                               {{XMLAttributes::Type, XMLEntities::LineString},
                                {XMLAttributes::Coordinates, "-2"},
                                {XMLAttributes::Csname, "ETRS89 & co"},
                                {XMLAttributes::IsProjected, "true"},
                                {XMLAttributes::Wkid, "25832"},
                                {XMLAttributes::Wkt, kWkt}},
                               SerialisedElement(XMLElements::GeoEnvelope,
                                                 {{XMLAttributes::LeftUpperX, "-0.125"}}))},
      {emptyTexts, SerialisedElement(XMLElements::Geo, {{XMLAttributes::Coordinates, "0"},
                                                        {XMLAttributes::IsProjected, "false"}})},
      {notFinite, SerialisedElement(XMLElements::Geo, {},
                                    SerialisedElement(XMLElements::GeoEnvelope,
                                                      {{XMLAttributes::LeftUpperY, "1e+300"}}))},
      {CFGeo(), SerialisedElement(XMLElements::Geo, {})},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.second);
    EXPECT_EQ(row.second, Write(row.first));
  }
  // A type outside the table writes nothing at all.
  CFGeo badType(full);
  badType.SetType(static_cast<CFGeo::Type>(6));
  EXPECT_EQ("", Write(badType));
}

TEST(CFGeoTest, RoundTripKeepsEveryPropertyAndFlag) {
  CFGeo full;
  full.SetType(CFGeo::MultiPoint);
  full.SetCoordinates(4);
  full.SetCsname("WGS 84 / Pseudo-Mercator");
  full.SetIsProjected(false);
  full.SetWkid(std::numeric_limits<int32_t>::min());
  full.SetWkt(kWkt);
  CFGeoEnvelope envelope = Envelope(-122.4194, 37.7749, 1.5e-7, -0.0);
  full.SetGeoEnvelope(&envelope);
  CFGeo someFlags;
  someFlags.SetWkid(std::numeric_limits<int32_t>::max());
  someFlags.SetType(CFGeo::Polygon);
  CFGeo emptyEnvelope;
  CFGeoEnvelope none;
  emptyEnvelope.SetGeoEnvelope(&none);
  for (const CFGeo& geo : {full, someFlags, emptyEnvelope, CFGeo()}) {
    SCOPED_TRACE(Describe(geo));
    std::string xml = Write(geo);
    ASSERT_NE("", xml);
    CFGeo back = ReadGeo(xml);
    EXPECT_EQ(Describe(geo), Describe(back));
    EXPECT_EQ(xml, Write(back));
  }
}

TEST(CFGeoTest, CopiesOwnTheirEnvelope) {
  CFGeo original;
  original.SetCsname("a");
  CFGeoEnvelope envelope = Envelope(1, 2, 3, 4);
  original.SetGeoEnvelope(&envelope);
  envelope.SetLeftUpperX(9);  // the stored envelope is a copy
  const std::string before = Describe(original);
  EXPECT_EQ("-|-|-|'a'|-|-|[1,2,3,4]", before);

  CFGeo copy(original);
  CFGeo assigned;
  assigned = original;
  for (const CFGeo* geo : {&copy, &assigned}) {
    ASSERT_NE(nullptr, geo->GetGeoEnvelope());
    EXPECT_NE(original.GetGeoEnvelope(), geo->GetGeoEnvelope());
  }
  original.SetGeoEnvelope(&envelope);
  original.SetCsname("b");
  EXPECT_EQ(before, Describe(copy));
  EXPECT_EQ(before, Describe(assigned));
  original.SetGeoEnvelope(nullptr);
  EXPECT_EQ(nullptr, original.GetGeoEnvelope());
  EXPECT_EQ(before, Describe(copy));
}

}  // namespace
