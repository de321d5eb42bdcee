// Helpers that the field model's tests share.
#ifndef CFMETA_FIELD_CFFIELD_TESTUTIL_H_
#define CFMETA_FIELD_CFFIELD_TESTUTIL_H_

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "cfmeta/field/cfdatum.h"
#include "cfmeta/field/cffield.h"
#include "cfmeta/field/cfvalue.h"
#include "cfmeta/format/cfformat.h"
#include "cfmeta/xml/cfxml_testutil.h"

namespace cfmeta_test {

// The datum's written text; "null" for a null datum.
inline std::string DatumText(const CFDatum& datum) {
  if (datum.IsNull()) return "null";
  std::string text;
  datum.ToString(text, 0);
  return text;
}

// Unlabelled values without markers.
inline std::vector<CFValue> ValueList(std::initializer_list<CFDatum> datums) {
  std::vector<CFValue> list;
  for (const CFDatum& datum : datums) list.emplace_back(datum);
  return list;
}

// Reads a field from its element's text.
inline CFField ReadField(const std::string& xml, bool isBaseField = false) {
  auto doc = Parse(xml);
  EXPECT_NE(nullptr, doc->getElement()) << xml;
  return CFField(*doc, isBaseField);
}

inline std::string Describe(const std::vector<CFValue>& values) {
  std::string text = "[";
  for (const CFValue& value : values) {
    text += DatumText(value.GetValue()) + "/" + value.GetLabel() + "/" +
            std::to_string(value.GetFlag()) + " ";
  }
  return text + "]";
}

// The missing-value range, list and switches (N: null, W: white space) as one text.
inline std::string Describe(const CFMissingValues& missing) {
  return DatumText(missing.GetMissingRange().GetLimits().first) + ".." +
         DatumText(missing.GetMissingRange().GetLimits().second) +
         Describe(missing.GetMissingValueList()) + (missing.IsNullMissing() ? "N" : "") +
         (missing.IsWhiteSpMissing() ? "W" : "");
}

// Every member of a field as one text, so that two fields compare in one check.
inline std::string Describe(const CFField& field) {
  std::string text =
      field.GetName() + "|" + std::to_string(field.GetType()) + "|" +
      std::to_string(field.GetStorage()) + "|" + std::to_string(field.GetRole()) + "|" +
      std::to_string(field.GetStructure()) + "|" + std::to_string(field.GetStructureStorage()) +
      "|" + field.GetSubRole() + "|" + std::to_string(field.GetMaxStringLength()) + "|" +
      std::to_string(field.GetDepth()) + "|" + std::to_string(field.GetElementCount()) + "|" +
      field.GetLabel() + "|" + DatumText(field.GetRange().GetLimits().first) + ".." +
      DatumText(field.GetRange().GetLimits().second) + "|" + Describe(field.GetValues()) + "|" +
      Describe(field.GetMissingValues()) + "|" + Describe(field.GetValueLabels()) + "|" +
      field.GetFormatReference() + "|";
  if (field.GetPrivateFormat() != nullptr) {
    text += field.GetPrivateFormat()->GetFormatClass() + field.GetPrivateFormat()->GetName() +
            std::to_string(field.GetPrivateFormat()->GetWidth());
  }
  if (field.GetBaseField() != nullptr) text += "{" + Describe(*field.GetBaseField()) + "}";
  return text;
}

}  // namespace cfmeta_test

#endif  // CFMETA_FIELD_CFFIELD_TESTUTIL_H_
