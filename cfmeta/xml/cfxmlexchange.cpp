#include <utility>
#include <vector>
#include <xercesc/dom/DOM.hpp>

#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/xml/cfxmlexchange_internal.h"
#include "cfmeta/xml/cfxmliteratorwrapper.h"

XERCES_CPP_NAMESPACE_USE

namespace cfmeta_internal {

namespace {

namespace XMLEntities = CfCppHelperV1::XMLEntities;
using CfExtension::CFXMLWrapper;

// The key under which a document carries its load report.
const XMLCh kReportKey[] = {'c', 'f', 'm', 'e', 't', 'a', '-', 'r', 'e', 'p', 'o', 'r', 't', 0};

LoadReport* ReportOf(const CFXMLWrapper& element) {
  const DOMElement* e = element.getElement();
  const DOMDocument* document = e != nullptr ? e->getOwnerDocument() : nullptr;
  return document != nullptr ? static_cast<LoadReport*>(document->getUserData(kReportKey))
                             : nullptr;
}

}  // namespace

std::string PathOf(const DOMElement* element) {
  std::vector<std::string> steps;
  for (const DOMNode* node = element;
       node != nullptr && node->getNodeType() == DOMNode::ELEMENT_NODE;
       node = node->getParentNode()) {
    const XMLCh* name = node->getNodeName();
    // Counting same-named siblings costs a walk of the parent's children, paid once for the
    // one element a failed load names.
    int position = 0, count = 0;
    for (const DOMNode* sibling =
             node->getParentNode() != nullptr ? node->getParentNode()->getFirstChild() : nullptr;
         sibling != nullptr; sibling = sibling->getNextSibling()) {
      if (sibling->getNodeType() != DOMNode::ELEMENT_NODE) continue;
      if (!XMLString::equals(sibling->getNodeName(), name)) continue;
      ++count;
      if (sibling == node) position = count;
    }
    std::string step = CfExtension::CFXMLConverter(name).str();
    if (count > 1) step += "[" + std::to_string(position) + "]";
    steps.push_back(std::move(step));
  }
  std::string path;
  for (auto it = steps.rbegin(); it != steps.rend(); ++it) path += "/" + *it;
  return path;
}

std::string LoadReport::Path() const { return m_element != nullptr ? PathOf(m_element) : ""; }

void LoadReport::Record(const DOMElement* element, std::string rule) {
  m_element = element;
  m_rule = std::move(rule);
}

ReportScope::ReportScope(const CFXMLWrapper& document, LoadReport* report)
    : m_document(document.getElement() != nullptr ? document.getElement()->getOwnerDocument()
                                                  : nullptr) {
  if (m_document != nullptr) m_document->setUserData(kReportKey, report, nullptr);
}

ReportScope::~ReportScope() {
  if (m_document != nullptr) m_document->setUserData(kReportKey, nullptr, nullptr);
}

int Broken(const CFXMLWrapper& element, const std::string& rule, int status) {
  LoadReport* report = ReportOf(element);
  if (report != nullptr && report->empty()) report->Record(element.getElement(), rule);
  return status;
}

bool Reporting(const CFXMLWrapper& element) { return ReportOf(element) != nullptr; }

CFXMLWrapper* FirstChild(const CFXMLWrapper& parent, const char* name) {
  CfExtension::CFXMLIteratorWrapper* children = nullptr;
  if (parent.getElementDirectIterator(name, &children) != 0) return nullptr;
  return children->nextElement();
}

void AttachFinished(int rc, std::unique_ptr<CFXMLWrapper> element, CFXMLWrapper& parent,
                    CFXMLWrapper*& created) {
  created = nullptr;
  CFXMLWrapper* finished = element.get();
  if (rc != 0 || finished == nullptr || parent.addElement(finished) != 0) return;
  element.release();
  created = finished;
}

int ReadBoolAttr(const CFXMLWrapper& element, const char* name, bool& value, bool& found) {
  value = false;
  found = false;
  std::string text;
  int rc = element.getAttribute(name, text, found);
  if (rc != 0 || !found) return rc;
  if (text == XMLEntities::True) {
    value = true;
    return 0;
  }
  if (text == XMLEntities::False) return 0;
  return Broken(element, std::string(name) + " must be " + XMLEntities::True + " or " +
                             XMLEntities::False + ", not '" + text + "'");
}

}  // namespace cfmeta_internal
