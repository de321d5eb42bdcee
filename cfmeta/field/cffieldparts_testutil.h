// Helpers that the tests of a field's model-field and geospatial properties share.
#ifndef CFMETA_FIELD_CFFIELDPARTS_TESTUTIL_H_
#define CFMETA_FIELD_CFFIELDPARTS_TESTUTIL_H_

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "cfmeta/field/cffield.h"
#include "cfmeta/field/cffield_testutil.h"
#include "cfmeta/field/cfgeo.h"
#include "cfmeta/field/cfmodelfield.h"
#include "cfmeta/xml/cfxml_testutil.h"
#include "cfmeta/xml/cfxmliteratorwrapper.h"
#include "cfmeta/xml/cfxmlwrapper.h"

namespace cfmeta_test {

// Runs `write(parent, created)` under a fresh root and returns the written element's text, or
// "" when the write reported failure; a failed write must leave the root without a child.
template <typename Write>
std::string WrittenText(Write write) {
  auto doc = NewDocument();
  CfExtension::CFXMLWrapper* created = reinterpret_cast<CfExtension::CFXMLWrapper*>(1);
  write(*doc, created);
  if (created == nullptr) {
    CfExtension::CFXMLIteratorWrapper* it = nullptr;
    doc->getElementDirectIterator("", &it);
    EXPECT_EQ(nullptr, it->nextElement()) << "a failed write left a child behind";
    return "";
  }
  return Serialise(*created);
}

// The text `field` writes under a fresh root, as WrittenText gives it.
inline std::string WrittenField(const CFField& field, bool isBaseField = false) {
  return WrittenText([&](CfExtension::CFXMLWrapper& parent, CfExtension::CFXMLWrapper*& created) {
    field.AddToTree(parent, created, isBaseField);
  });
}

// The names of the root element's children in `xml`, in document order.
inline std::vector<std::string> ChildNames(const std::string& xml) {
  auto doc = Parse(xml);
  CfExtension::CFXMLIteratorWrapper* it = nullptr;
  EXPECT_EQ(0, doc->getElementDirectIterator("", &it));
  std::vector<std::string> names;
  std::string name;
  for (CfExtension::CFXMLWrapper* child = it->nextElement(); child != nullptr;
       child = it->nextElement()) {
    child->getName(name);
    names.push_back(name);
  }
  return names;
}

// An element as the document serialises it: attributes sorted by name, whatever order they
// were added in, values escaped; `children` is serialised text.
inline std::string SerialisedElement(const std::string& name,
                                     std::vector<std::pair<std::string, std::string>> attributes,
                                     const std::string& children = "") {
  std::sort(attributes.begin(), attributes.end());
  std::string text = "<" + name;
  for (const auto& attribute : attributes) {
    text += " " + attribute.first + "=\"" + Escape(attribute.second) + "\"";
  }
  return children.empty() ? text + "/>" : text + ">" + children + "</" + name + ">";
}

// Every member of a model field as one text, the target value with its datum type.
inline std::string Describe(const CFModelField& modelField) {
  std::string targetField, group, tag;
  CFDatum value;
  modelField.GetTargetProps(targetField, value, group, tag);
  return std::to_string(modelField.GetMFRole()) + "|" + modelField.GetMFExtendedRole() + "|" +
         std::to_string(modelField.GetMFRuleFeature()) + "|" + targetField + "|" +
         std::to_string(value.GetType()) + ":" + DatumText(value) + "|" + group + "|" + tag;
}

// One property as "value" when set, "-" when not. Takes the getter's result and its flag, so
// that the flag is read only after the getter has run.
template <typename T>
std::string Flagged(const T& value, const bool& isSet) {
  if (!isSet) return "-";
  if constexpr (std::is_same<T, std::string>::value) {
    return "'" + value + "'";
  } else if constexpr (std::is_same<T, double>::value) {
    char text[32];
    std::snprintf(text, sizeof(text), "%.17g", value);
    return text;
  } else {
    return std::to_string(value);
  }
}

// One property through its getter, as Flagged gives it.
template <typename Object, typename T>
std::string Property(const Object& object, T (Object::*get)(bool&) const) {
  bool isSet = false;
  const T value = (object.*get)(isSet);
  return Flagged(value, isSet);
}

inline std::string Describe(const CFGeoEnvelope& envelope) {
  return Property(envelope, &CFGeoEnvelope::GetLeftUpperX) + "," +
         Property(envelope, &CFGeoEnvelope::GetLeftUpperY) + "," +
         Property(envelope, &CFGeoEnvelope::GetRightLowerX) + "," +
         Property(envelope, &CFGeoEnvelope::GetRightLowerY);
}

// Every property of a CFGeo as one text: type, coordinates, wkid, csname, projected, wkt and
// the envelope in brackets.
inline std::string Describe(const CFGeo& geo) {
  std::string text = Property(geo, &CFGeo::GetType) + "|" + Property(geo, &CFGeo::GetCoordinates) +
                     "|" + Property(geo, &CFGeo::GetWkid) + "|" + Property(geo, &CFGeo::GetCsname) +
                     "|" + Property(geo, &CFGeo::GetIsProjected) + "|" +
                     Property(geo, &CFGeo::GetWkt);
  if (geo.GetGeoEnvelope() != nullptr) text += "|[" + Describe(*geo.GetGeoEnvelope()) + "]";
  return text;
}

}  // namespace cfmeta_test

#endif  // CFMETA_FIELD_CFFIELDPARTS_TESTUTIL_H_
