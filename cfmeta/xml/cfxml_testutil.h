// Helpers that tests of every area share to build and read small XML documents.
#ifndef CFMETA_XML_CFXML_TESTUTIL_H_
#define CFMETA_XML_CFXML_TESTUTIL_H_

#include <initializer_list>
#include <memory>
#include <string>
#include <utility>

#include "cfmeta/xml/cfxmlwrapper.h"

namespace cfmeta_test {

// Escapes the five XML special characters for use inside an attribute value.
inline std::string Escape(const std::string& text) {
  std::string out;
  for (char c : text) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      case '\'': out += "&apos;"; break;
      default: out.push_back(c);
    }
  }
  return out;
}

// <name a="1" b="2">children</name>, attribute values escaped.
inline std::string MakeElement(
    const std::string& name,
    std::initializer_list<std::pair<std::string, std::string>> attributes,
    const std::string& children = "") {
  std::string xml = "<" + name;
  for (const auto& attribute : attributes) {
    xml += " " + attribute.first + "=\"" + Escape(attribute.second) + "\"";
  }
  if (children.empty()) return xml + "/>";
  return xml + ">" + children + "</" + name + ">";
}

// A loaded document; its root wrapper is `*doc` (null element when the text did not parse).
inline std::unique_ptr<CfExtension::CFXMLWrapper> Parse(const std::string& xml) {
  std::unique_ptr<CfExtension::CFXMLWrapper> doc(new CfExtension::CFXMLWrapper);
  doc->loadFromContents(xml.c_str());
  return doc;
}

// A fresh document with a root to write under, for writer tests.
inline std::unique_ptr<CfExtension::CFXMLWrapper> NewDocument(const char* root = "Root") {
  std::unique_ptr<CfExtension::CFXMLWrapper> doc(new CfExtension::CFXMLWrapper);
  doc->createNew(root);
  return doc;
}

// The serialised text of one element and its subtree.
inline std::string Serialise(const CfExtension::CFXMLWrapper& element) {
  std::string text;
  element.doc2string(text);
  return text;
}

}  // namespace cfmeta_test

#endif  // CFMETA_XML_CFXML_TESTUTIL_H_
