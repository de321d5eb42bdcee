// The steps every model class's reader and writer are made of, one copy each: the first child
// of a name, a boolean or enumeration attribute, attaching an element only once it is finished,
// and recording why a document failed to load.
//
// Why a load failed: a loader attaches a LoadReport to the document it parses (ReportScope);
// a reader that refuses an element's content calls Broken with that element and the rule in
// one sentence. The first rule recorded is kept: a reader calls Broken only where a failure
// ends the read of the document, never where it recovers from one (a bad category that merely
// ends a list of categories), so the first such failure is the one that ended the load.
// Without a report attached, Broken only hands back its status. Not installed.
#ifndef CFMETA_XML_CFXMLEXCHANGE_INTERNAL_H_
#define CFMETA_XML_CFXMLEXCHANGE_INTERNAL_H_

#include <cstdint>
#include <memory>
#include <string>
#include <xercesc/util/XercesDefs.hpp>

#include "cfmeta/xml/cfxmlwrapper.h"

XERCES_CPP_NAMESPACE_BEGIN
class DOMElement;
class DOMDocument;
XERCES_CPP_NAMESPACE_END

namespace cfmeta_internal {

// The rule a document broke while it loaded, and where.
class LoadReport {
 public:
  bool empty() const { return m_element == nullptr; }
  // The path of the element, such as "/DataModel/Fields/Field[3]/FieldFormat": each step is an
  // element name, with its position among same-named siblings (from 1) where it has any.
  // Requires: the document is still alive.
  std::string Path() const;
  const std::string& Rule() const { return m_rule; }
  void Record(const XERCES_CPP_NAMESPACE::DOMElement* element, std::string rule);

 private:
  const XERCES_CPP_NAMESPACE::DOMElement* m_element = nullptr;
  std::string m_rule;
};

// The path of `element` in its document, as LoadReport::Path writes it.
std::string PathOf(const XERCES_CPP_NAMESPACE::DOMElement* element);

// Attaches `report` to the document `document` wraps for the life of the scope.
class ReportScope {
 public:
  ReportScope(const CfExtension::CFXMLWrapper& document, LoadReport* report);
  ~ReportScope();
  ReportScope(const ReportScope&) = delete;
  ReportScope& operator=(const ReportScope&) = delete;

 private:
  XERCES_CPP_NAMESPACE::DOMDocument* m_document;
};

// Records that `element` broke `rule` in the report attached to its document, if any, and
// returns `status` (5 unless given), so that a reader writes `return Broken(e, "...");`.
int Broken(const CfExtension::CFXMLWrapper& element, const std::string& rule,
           int status = CfExtension::kXMLBadArgument);
// Broken for a required attribute `name` that is absent.
inline int Missing(const CfExtension::CFXMLWrapper& element, const char* name) {
  return Broken(element, std::string(name) + " must be given");
}
// Whether a report is attached to `element`'s document: a reader that builds a costly rule
// text asks first.
bool Reporting(const CfExtension::CFXMLWrapper& element);

// The first direct child of `parent` named `name` (any element for ""), or null. Owned by
// `parent`.
CfExtension::CFXMLWrapper* FirstChild(const CfExtension::CFXMLWrapper& parent, const char* name);

// Attaches `element` as the last child of `parent` and points `created` at it when `rc` is 0
// and the attach succeeds; otherwise `created` is null and `element` is destroyed with
// everything under it, so a half-built element never reaches the caller's tree.
void AttachFinished(int rc, std::unique_ptr<CfExtension::CFXMLWrapper> element,
                    CfExtension::CFXMLWrapper& parent, CfExtension::CFXMLWrapper*& created);

// A boolean attribute: `found` tells whether it is present, `value` is true only for the text
// XMLEntities::True; XMLEntities::False gives false and any other text 5 (exact comparison).
int ReadBoolAttr(const CfExtension::CFXMLWrapper& element, const char* name, bool& value,
                 bool& found);

// What an absent or empty enumeration attribute means to its reader.
enum class EnumAbsent {
  EmptyIsAbsent,   // absent or empty: the fallback
  EmptyIsUnknown,  // absent: the fallback; empty: an unknown text
  Required         // absent: refused
};

// An enumeration attribute whose text `lookup(text, value)` turns into a value (false for a
// text it does not know, refused with 5). `found` tells whether it is present.
template <typename Lookup>
int ReadEnumAttr(const CfExtension::CFXMLWrapper& element, const char* name, EnumAbsent absent,
                 Lookup lookup, uint32_t fallback, uint32_t& value, bool& found) {
  std::string text;
  int rc = element.getAttribute(name, text, found);
  if (rc != 0) return rc;
  if (!found && absent == EnumAbsent::Required) return Missing(element, name);
  if (!found || (text.empty() && absent == EnumAbsent::EmptyIsAbsent)) {
    value = fallback;
    return 0;
  }
  if ((text.empty() && absent == EnumAbsent::EmptyIsUnknown) || !lookup(text.c_str(), value)) {
    return Broken(element, "'" + text + "' is no known " + std::string(name));
  }
  return 0;
}

}  // namespace cfmeta_internal

#endif  // CFMETA_XML_CFXMLEXCHANGE_INTERNAL_H_
