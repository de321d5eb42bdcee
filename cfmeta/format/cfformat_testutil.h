// Helpers that the format tests share.
#ifndef CFMETA_FORMAT_CFFORMAT_TESTUTIL_H_
#define CFMETA_FORMAT_CFFORMAT_TESTUTIL_H_

#include <gtest/gtest.h>
#include <unicode/locid.h>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "cfmeta/field/cfdatum.h"
#include "cfmeta/format/cfformat.h"
#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/xml/cfxml_testutil.h"

namespace cfmeta_test {

// The rendered text, or "<failed N>" followed by what was left in the output.
inline std::string Render(const CFFormat& format, const CFDatum& value,
                          CFFormat::ValueUnits units = CFFormat::NoUnits) {
  std::string out = "stale";
  int rc = format.Format(value, units, out);
  return rc == 0 ? out : "<failed " + std::to_string(rc) + ">" + out;
}

// The start of an element as the serialiser writes it, attributes in name order, without
// the closing "/>" or ">".
inline std::string OpenTag(const std::string& name,
                           const std::map<std::string, std::string>& attributes) {
  std::string tag = "<" + name;
  for (const auto& attribute : attributes) {
    tag += " " + attribute.first + "=\"" + Escape(attribute.second) + "\"";
  }
  return tag;
}

// The entity texts of the alignments, decimal symbols, grouping symbols and units separators,
// indexed by their enumerators.
inline const char* const kAlignTexts[] = {
    CfCppHelperV1::XMLEntities::Left, CfCppHelperV1::XMLEntities::Center,
    CfCppHelperV1::XMLEntities::Right, CfCppHelperV1::XMLEntities::Auto};
inline const char* const kDecTexts[] = {CfCppHelperV1::XMLEntities::Period,
                                        CfCppHelperV1::XMLEntities::Comma,
                                        CfCppHelperV1::XMLEntities::Local};
inline const char* const kGrpTexts[] = {
    CfCppHelperV1::XMLEntities::None, CfCppHelperV1::XMLEntities::Period,
    CfCppHelperV1::XMLEntities::Comma, CfCppHelperV1::XMLEntities::Space,
    CfCppHelperV1::XMLEntities::Local};
inline const char* const kSepTexts[] = {
    CfCppHelperV1::XMLEntities::None,  CfCppHelperV1::XMLEntities::Period,
    CfCppHelperV1::XMLEntities::Comma, CfCppHelperV1::XMLEntities::Space,
    CfCppHelperV1::XMLEntities::Colon, CfCppHelperV1::XMLEntities::Dash,
    CfCppHelperV1::XMLEntities::Slash};

// The element `format` writes under `parent` (a fresh root when null), or "<none>" when it
// writes nothing; a write that creates nothing must leave `parent` as it was.
inline std::string WrittenFormat(const CFFormat& format,
                                 CfExtension::CFXMLWrapper* parent = nullptr) {
  std::unique_ptr<CfExtension::CFXMLWrapper> doc;
  if (parent == nullptr) {
    doc = NewDocument();
    parent = doc.get();
  }
  const std::string before = parent->getElement() != nullptr ? Serialise(*parent) : "";
  CfExtension::CFXMLWrapper* created = reinterpret_cast<CfExtension::CFXMLWrapper*>(1);
  format.AddToTree(*parent, created);
  if (created != nullptr) return Serialise(*created);
  EXPECT_EQ(before, parent->getElement() != nullptr ? Serialise(*parent) : "");
  return "<none>";
}

typedef std::vector<std::pair<std::string, std::string>> AttributeList;

// As MakeElement, from a list built at run time.
inline std::string ElementOf(const std::string& name, const AttributeList& attributes,
                             const std::string& children = "") {
  std::string xml = "<" + name;
  for (const auto& attribute : attributes) {
    xml += " " + attribute.first + "=\"" + Escape(attribute.second) + "\"";
  }
  return children.empty() ? xml + "/>" : xml + ">" + children + "</" + name + ">";
}

// Damaged copies of the element `name` with `required` attributes and `children`: one
// without each required attribute in turn, then one for each row of `spoiled` with that
// attribute's value replaced (or added, when it is not among `required`).
inline std::vector<std::string> DamagedElements(const std::string& name,
                                                const AttributeList& required,
                                                const AttributeList& spoiled,
                                                const std::string& children = "") {
  std::vector<std::string> out;
  for (size_t drop = 0; drop < required.size(); ++drop) {
    AttributeList attributes = required;
    attributes.erase(attributes.begin() + static_cast<long>(drop));
    out.push_back(ElementOf(name, attributes, children));
  }
  for (const auto& row : spoiled) {
    AttributeList attributes = required;
    bool replaced = false;
    for (auto& attribute : attributes) {
      if (attribute.first == row.first) {
        attribute.second = row.second;
        replaced = true;
      }
    }
    if (!replaced) attributes.push_back(row);
    out.push_back(ElementOf(name, attributes, children));
  }
  return out;
}

// Makes `name` ICU's default locale for the life of the object, then puts the old one back.
class ScopedDefaultLocale {
 public:
  explicit ScopedDefaultLocale(const char* name) : m_saved(icu::Locale::getDefault()) {
    UErrorCode status = U_ZERO_ERROR;
    icu::Locale::setDefault(icu::Locale(name), status);
  }
  ~ScopedDefaultLocale() {
    UErrorCode status = U_ZERO_ERROR;
    icu::Locale::setDefault(m_saved, status);
  }
  ScopedDefaultLocale(const ScopedDefaultLocale&) = delete;
  ScopedDefaultLocale& operator=(const ScopedDefaultLocale&) = delete;

 private:
  icu::Locale m_saved;
};

}  // namespace cfmeta_test

#endif  // CFMETA_FORMAT_CFFORMAT_TESTUTIL_H_
