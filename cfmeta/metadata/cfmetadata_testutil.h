// Helpers that build metadata documents for tests from the vocabulary constants.
#ifndef CFMETA_METADATA_CFMETADATA_TESTUTIL_H_
#define CFMETA_METADATA_CFMETADATA_TESTUTIL_H_

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "cfmeta/field/cffield_testutil.h"
#include "cfmeta/format/cfformat.h"
#include "cfmeta/metadata/cfmetadata.h"
#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/xml/cfxml_testutil.h"

namespace cfmeta_test {

inline std::string Field(const std::string& name,
                         const char* storage = CfCppHelperV1::XMLEntities::Integer,
                         const char* measure = CfCppHelperV1::XMLEntities::Nominal) {
  return MakeElement(CfCppHelperV1::XMLElements::Field,
                     {{CfCppHelperV1::XMLAttributes::Name, name},
                      {CfCppHelperV1::XMLAttributes::Storage, storage},
                      {CfCppHelperV1::XMLAttributes::Measure, measure}});
}

inline std::string NumberFormat(const std::string& name, int width = 10) {
  return MakeElement(
      CfCppHelperV1::XMLElements::NumberFormat,
      {{CfCppHelperV1::XMLAttributes::Name, name},
       {CfCppHelperV1::XMLAttributes::Width, std::to_string(width)},
       {CfCppHelperV1::XMLAttributes::FormatType, CfCppHelperV1::XMLEntities::Standard},
       {CfCppHelperV1::XMLAttributes::DecimalPlaces, "2"},
       {CfCppHelperV1::XMLAttributes::DecimalSymbol, CfCppHelperV1::XMLEntities::Period},
       {CfCppHelperV1::XMLAttributes::GroupingSymbol, CfCppHelperV1::XMLEntities::None}});
}

inline std::string Document(const std::string& children) {
  return MakeElement(CfCppHelperV1::XMLElements::DataModel, {}, children);
}

inline std::string Fields(const std::string& children) {
  return MakeElement(CfCppHelperV1::XMLElements::Fields, {}, children);
}

inline std::string Counts(std::initializer_list<std::pair<std::string, std::string>> attributes) {
  return MakeElement(CfCppHelperV1::XMLElements::RecordCounts, attributes);
}

// Every field group, by type then in list order: "type name [label] [counted] members".
inline std::string DescribeGroups(const CFMetaData& meta) {
  std::string text;
  for (CFMetaData::GroupType type : {CFMetaData::PlainGroup, CFMetaData::MultiCategorySet,
                                     CFMetaData::MultiDichotomySet, CFMetaData::SplitGroup}) {
    std::string name, label, counted;
    std::vector<std::string> fields;
    for (unsigned int i = 0; meta.GetFieldGroup(type, i, name, fields, label, counted); ++i) {
      text += std::to_string(type) + " " + name + " [" + label + "] [" + counted + "]";
      for (const std::string& field : fields) text += " " + field;
      text += "\n";
    }
  }
  return text;
}

// The whole model as one text: fields, shared formats, default slots, groups and counts.
inline std::string DescribeModel(const CFMetaData& meta) {
  std::string text;
  for (unsigned int i = 0; i < meta.FieldCount(); ++i) text += Describe(*meta.GetField(i)) + "\n";
  for (unsigned int i = 0; i < meta.SharedFormatCount(); ++i) {
    const CFFormat* format = meta.GetSharedFormat(i);
    text += format->GetFormatClass() + format->GetName() + std::to_string(format->GetWidth()) + ";";
  }
  for (CFField::StorageType storage :
       {CFField::RealStorage, CFField::StringStorage, CFField::DateStorage, CFField::TimeStorage}) {
    const CFFormat* format = meta.GetDefaultFormat(storage);
    text += "|" + (format != nullptr ? format->GetName() : std::string("-"));
  }
  double badWeight = 0, weightedDropped = 0;
  meta.GetDroppedDetails(badWeight, weightedDropped);
  for (double count : {meta.GetRecordCount(false), meta.GetRecordCount(true),
                       meta.GetDroppedCount(), badWeight, weightedDropped}) {
    text += " " + std::to_string(count);
  }
  return text + (meta.getDatasetSummaries() != nullptr ? " summaries\n" : "\n") +
         DescribeGroups(meta);
}

// Exports `meta`, reloads the text and expects the same model back, and the same text from a
// second export. Returns the exported text.
inline std::string ExpectRoundTrip(const CFMetaData& meta) {
  std::string exported;
  EXPECT_TRUE(meta.ExportXMLDoc(exported));
  const CFMetaData reloaded(exported, nullptr);
  EXPECT_EQ(DescribeModel(meta), DescribeModel(reloaded)) << exported;
  std::string again;
  EXPECT_TRUE(reloaded.ExportXMLDoc(again));
  EXPECT_EQ(exported, again);
  return exported;
}

}  // namespace cfmeta_test

#endif  // CFMETA_METADATA_CFMETADATA_TESTUTIL_H_
