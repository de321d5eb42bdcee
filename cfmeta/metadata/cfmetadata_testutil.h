// Helpers that build metadata documents for tests from the vocabulary constants.
#ifndef CFMETA_METADATA_CFMETADATA_TESTUTIL_H_
#define CFMETA_METADATA_CFMETADATA_TESTUTIL_H_

#include <initializer_list>
#include <string>
#include <utility>

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
  return children.empty() ? MakeElement(CfCppHelperV1::XMLElements::Fields, {})
                          : MakeElement(CfCppHelperV1::XMLElements::Fields, {}, children);
}

inline std::string Counts(std::initializer_list<std::pair<std::string, std::string>> attributes) {
  return MakeElement(CfCppHelperV1::XMLElements::RecordCounts, attributes);
}

}  // namespace cfmeta_test

#endif  // CFMETA_METADATA_CFMETADATA_TESTUTIL_H_
