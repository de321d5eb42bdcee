#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "cfmeta/field/cffield.h"
#include "cfmeta/field/cffieldparts_testutil.h"
#include "cfmeta/field/cfgeo.h"
#include "cfmeta/field/cfmodelfield.h"
#include "cfmeta/metadata/cfmetadata.h"
#include "cfmeta/metadata/cfmetadata_testutil.h"
#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/xml/cfxmlwrapper.h"

namespace {

using cfmeta_test::Describe;
using cfmeta_test::MakeElement;
using cfmeta_test::ReadField;
using cfmeta_test::WrittenField;
namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLElements = CfCppHelperV1::XMLElements;
namespace XMLEntities = CfCppHelperV1::XMLEntities;

std::string FieldXml(const std::string& children) {
  return MakeElement(XMLElements::Field,
                     {{XMLAttributes::Name, "P"},
                      {XMLAttributes::Storage, XMLEntities::Real},
                      {XMLAttributes::Measure, XMLEntities::Continuous}},
                     children);
}

// The field's model field and geospatial properties as one text; "none" for each one absent.
std::string PartsOf(const CFField& field) {
  return (field.GetModelField() ? Describe(*field.GetModelField()) : "none") + " / " +
         (field.GetGeo() ? Describe(*field.GetGeo()) : "none");
}

const std::string kProbability = MakeElement(
    XMLElements::ModelField, {{XMLAttributes::Role, XMLEntities::Probability},
                              {XMLAttributes::TargetField, "Churn"},
                              {XMLAttributes::Value, "yes"},
                              {XMLAttributes::TargetFieldStorage, XMLEntities::String}});

TEST(CFFieldModelGeoTest, ReadsModelFieldAndGeoChildren) {
  const std::string noRole =
      MakeElement(XMLElements::ModelField, {{XMLAttributes::TargetField, "Churn"}});
  const std::string valueWithoutStorage =
      MakeElement(XMLElements::ModelField,
                  {{XMLAttributes::Role, XMLEntities::Probability}, {XMLAttributes::Value, "yes"}});
  const std::string unknownStorage = MakeElement(
      XMLElements::ModelField, {{XMLAttributes::Role, XMLEntities::Probability},
                                {XMLAttributes::Value, "1"},
                                {XMLAttributes::TargetFieldStorage, XMLEntities::Unknown}});
  const std::string pointGeo =
      MakeElement(XMLElements::Geo, {{XMLAttributes::Type, XMLEntities::Point}});
  // A bad geo attribute never fails the field: it only ends the attribute reading.
  const std::string damagedGeo = MakeElement(
      XMLElements::Geo, {{XMLAttributes::Coordinates, "2"}, {XMLAttributes::IsProjected, "yes"}},
      MakeElement(XMLElements::GeoEnvelope, {{XMLAttributes::RightLowerX, "5"}}));
  const std::pair<std::string, std::string> rows[] = {
      {FieldXml(kProbability), "2||7|Churn|2:yes|| / none"},
      {FieldXml(damagedGeo), "none / -|2|-|-|-|-|[-,-,5,-]"},
      {FieldXml(kProbability + MakeElement(XMLElements::ModelField,
                                           {{XMLAttributes::Role, XMLEntities::Residual}})),
       "4||7||0:null|| / none"},
      {FieldXml(damagedGeo + pointGeo), "none / 0|-|-|-|-|-"},
      // A model field that cannot be read makes the whole field unreadable.
      {FieldXml(kProbability + pointGeo + noRole), "none / none"},
      {FieldXml(valueWithoutStorage), "none / none"},
      {FieldXml(unknownStorage + pointGeo), "none / none"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.first);
    CFField field = ReadField(row.first);
    EXPECT_EQ(row.second, PartsOf(field));
    EXPECT_EQ(row.second == "none / none" ? "" : "P", field.GetName());
  }
}

TEST(CFFieldModelGeoTest, WritesBothAfterTheFormatAndBeforeTheBaseField) {
  const std::string geo =
      MakeElement(XMLElements::Geo,
                  {{XMLAttributes::Type, XMLEntities::MultiPolygon}, {XMLAttributes::Wkid, "3857"}},
                  MakeElement(XMLElements::GeoEnvelope, {{XMLAttributes::LeftUpperX, "-1.5"}}));
  const std::string base = MakeElement(XMLElements::BaseField, {{XMLAttributes::Name, "B"}});
  const std::string format =
      MakeElement(XMLElements::FieldFormat, {{XMLAttributes::UseNamedFormat, "Pct"}});
  CFField field = ReadField(FieldXml(base + geo + kProbability + format));
  ASSERT_EQ("P", field.GetName());

  std::string written = WrittenField(field);
  EXPECT_EQ((std::vector<std::string>{XMLElements::FieldFormat, XMLElements::ModelField,
                                      XMLElements::Geo, XMLElements::BaseField}),
            cfmeta_test::ChildNames(written));
  CFField back = ReadField(written);
  EXPECT_EQ(PartsOf(field), PartsOf(back));
  EXPECT_EQ("2||7|Churn|2:yes|| / 5|-|3857|-|-|-|[-1.5,-,-,-]", PartsOf(back));

  // A model field that cannot be written abandons the whole field.
  CFModelField badRole(static_cast<CFModelField::MFRoleType>(20), "", CFModelField::NoRuleFeature);
  ASSERT_TRUE(field.SetModelField(&badRole));
  EXPECT_EQ("", WrittenField(field));
}

TEST(CFFieldModelGeoTest, SettersCopyAndRefuse) {
  CFField field("P", CFField::RealStorage, CFField::Continuous);
  CFModelField modelField(CFModelField::MFClusterId, "k-means", CFModelField::NoRuleFeature);
  CFGeo geo;
  geo.SetWkid(4326);

  ASSERT_TRUE(field.SetModelField(&modelField));
  ASSERT_TRUE(field.SetGeo(&geo));
  EXPECT_NE(&modelField, field.GetModelField());
  EXPECT_NE(&geo, field.GetGeo());
  // A model field in its failure state is refused and keeps the one stored.
  const CFModelField unreadable;
  EXPECT_FALSE(field.SetModelField(&unreadable));
  EXPECT_EQ("6|k-means|7||0:null|| / -|-|4326|-|-|-", PartsOf(field));
  EXPECT_TRUE(field.SetModelField(nullptr));
  EXPECT_TRUE(field.SetGeo(nullptr));
  EXPECT_EQ("none / none", PartsOf(field));

  // A field whose read failed stays frozen.
  CFField failed;
  EXPECT_FALSE(failed.SetModelField(&modelField));
  EXPECT_FALSE(failed.SetGeo(&geo));
  EXPECT_EQ("none / none", PartsOf(failed));
}

std::string ReadSample(const std::string& name) {
  std::string path = std::string(CFMETA_TESTDATA_DIR) + "/" + name;
  return CfExtension::CFXMLWrapper::loadStringFromFile(path.c_str());
}

TEST(CFFieldModelGeoTest, SampleDocumentsRoundTripByteStably) {
  struct Sample {
    const char* file;
    unsigned int fieldCount;
    std::vector<std::pair<std::string, std::string>> parts;  // field name, its parts
  };
  const Sample samples[] = {
      {"scoring.xml",
       10,
       {{"Churn", "none / none"},
        {"$R-Churn", "1||7|Churn|0:null|churn model| / none"},
        {"$RP-Churn-yes", "2||7|Churn|2:yes|churn model| / none"},
        {"$RP-Segment-2", "2||7|Segment|0:2||segment 2 / none"},
        {"$RC-Churn", "3||7|Churn|0:null|| / none"},
        {"$ID-Record", "13|scoring row|7||0:null|| / none"},
        {"Antecedent", "16||0||0:null|basket rules| / none"},
        {"Consequent", "16||1||0:null|basket rules| / none"},
        {"Support", "16||5||0:null|basket rules| / none"}}},
      {"geography.xml",
       4,
       {{"SiteName", "none / none"},
        {"Location", "none / 0|2|4326|-|0|-|[-9.5,58.75,1.75,49.899999999999999]"},
        {"Parcel", "none / 5|2|-|'ETRS89 / UTM zone 32N'|1|-|[280000,6100000,920000,5240000]"},
        {"Route",
         "none / 2|3|-|-|-|'GEOGCS[\"GCS_WGS_1984\",DATUM[\"D_WGS_1984\",SPHEROID[\"WGS_1984\","
         "6378137.0,298.257223563]],PRIMEM[\"Greenwich\",0.0],UNIT[\"Degree\","
         "0.0174532925199433]]'"}}},
  };
  for (const Sample& sample : samples) {
    SCOPED_TRACE(sample.file);
    const CFMetaData first(ReadSample(sample.file), nullptr);
    ASSERT_EQ(sample.fieldCount, first.FieldCount());
    // Exported, reloaded and exported again: the same text.
    const CFMetaData second(cfmeta_test::ExpectRoundTrip(first), nullptr);
    for (const auto& part : sample.parts) {
      SCOPED_TRACE(part.first);
      int index = first.GetFieldIndex(part.first);
      ASSERT_GE(index, 0);
      EXPECT_EQ(part.second, PartsOf(*first.GetField(static_cast<unsigned int>(index))));
      EXPECT_EQ(part.second, PartsOf(*second.GetField(static_cast<unsigned int>(index))));
    }
  }
}

}  // namespace
