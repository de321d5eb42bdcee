#include "cfmeta/xml/cfxmliteratorwrapper.h"

#include <cstdlib>
#include <xercesc/dom/DOM.hpp>

#include "cfmeta/xml/cfxmlwrapper.h"

XERCES_CPP_NAMESPACE_USE

namespace CfExtension {

// Adapts the iterator's filter to the DOM traversal interface. A skipped node's children are
// still visited.
class NodeFilter : public DOMNodeFilter {
 public:
  explicit NodeFilter(const CFXMLIteratorWrapper& iterator) : m_iterator(iterator) {}
  FilterAction acceptNode(const DOMNode* node) const override {
    return m_iterator.passesFilter(const_cast<DOMNode*>(node)) ? FILTER_ACCEPT : FILTER_SKIP;
  }

 private:
  const CFXMLIteratorWrapper& m_iterator;
};

CFXMLIteratorWrapper::CFXMLIteratorWrapper(DOMNode* root, bool direct, FilterType type,
                                           const char* name)
    : m_root(root), m_direct(direct), m_name(name != nullptr ? name : ""), m_type(type) {
  if (m_root == nullptr) return;
  if (m_direct) {
    m_next = m_root->getFirstChild();
    while (m_next != nullptr && !passesFilter(m_next)) m_next = m_next->getNextSibling();
    return;
  }
  m_filter.reset(new NodeFilter(*this));
  DOMNodeFilter::ShowType show =
      m_type == Elements ? DOMNodeFilter::SHOW_ELEMENT : DOMNodeFilter::SHOW_TEXT;
  DOMDocument* document = m_root->getNodeType() == DOMNode::DOCUMENT_NODE
                              ? static_cast<DOMDocument*>(m_root)
                              : m_root->getOwnerDocument();
  m_walker = document->createTreeWalker(m_root, show, m_filter.get(), true);
  m_next = m_walker->nextNode();
}

CFXMLIteratorWrapper::~CFXMLIteratorWrapper() {
  if (m_walker != nullptr) m_walker->release();
  for (CFXMLIterator* handle : m_handles) std::free(handle);
}

bool CFXMLIteratorWrapper::passesFilter(DOMNode* node) const {
  if (node == nullptr) return false;
  if (m_type == TextNodes) return node->getNodeType() == DOMNode::TEXT_NODE;
  if (node->getNodeType() != DOMNode::ELEMENT_NODE) return false;
  if (m_name.empty()) return true;
  // Compare in 16-bit form without building a string: names are mostly short ASCII.
  const XMLCh* tag = node->getNodeName();
  size_t i = 0;
  for (; i < m_name.size(); ++i) {
    unsigned char c = static_cast<unsigned char>(m_name[i]);
    if (c >= 0x80) break;
    if (tag[i] != c) return false;
  }
  if (i == m_name.size()) return tag[i] == 0;
  std::string utf8;
  CFXMLConverter::ToUTF8(tag, utf8);
  return utf8 == m_name;
}

int CFXMLIteratorWrapper::hasMoreItems(int* more) const {
  if (more != nullptr) *more = m_next != nullptr ? 1 : 0;
  return kXMLOk;
}

void CFXMLIteratorWrapper::Advance() {
  if (m_walker != nullptr) {
    m_next = m_walker->nextNode();
    return;
  }
  do {
    m_next = m_next->getNextSibling();
  } while (m_next != nullptr && !passesFilter(m_next));
}

bool CFXMLIteratorWrapper::IsInside(const DOMNode* node, const DOMNode* ancestor) {
  for (; node != nullptr; node = node->getParentNode()) {
    if (node == ancestor) return true;
  }
  return false;
}

DOMNode* CFXMLIteratorWrapper::FirstAfter(DOMNode* node) {
  for (; node != nullptr && node != m_root; node = node->getParentNode()) {
    DOMNode* sibling = node->getNextSibling();
    if (sibling == nullptr) continue;
    if (passesFilter(sibling)) {
      m_walker->setCurrentNode(sibling);
      return sibling;
    }
    // Not handed out itself: the walker finds the first match inside or after it.
    m_walker->setCurrentNode(sibling);
    return m_walker->nextNode();
  }
  return nullptr;
}

int CFXMLIteratorWrapper::nextItem(void** item) {
  if (m_next == nullptr) {
    if (item != nullptr) *item = nullptr;
    return kXMLEnd;
  }
  void* handed = nullptr;
  if (m_type == Elements) {
    m_wrappers.emplace_back(new CFXMLWrapper(static_cast<DOMElement*>(m_next)));
    handed = m_wrappers.back().get();
  } else {
    m_texts.emplace_back();
    CFXMLConverter::ToUTF8(m_next->getNodeValue(), m_texts.back());
    handed = const_cast<char*>(m_texts.back().c_str());
  }
  if (item != nullptr) *item = handed;
  m_last = m_next;
  Advance();
  return kXMLOk;
}

CFXMLWrapper* CFXMLIteratorWrapper::nextElement() {
  if (m_type != Elements) return nullptr;
  void* item = nullptr;
  if (nextItem(&item) != kXMLOk) return nullptr;
  return static_cast<CFXMLWrapper*>(item);
}

int CFXMLIteratorWrapper::deleteItem() {
  if (m_last == nullptr) return kXMLBadArgument;
  try {
    DOMNode* parent = m_last->getParentNode();
    if (parent == nullptr) return kXMLBadArgument;
    // The next node may lie inside the one going away; then the walk resumes after it.
    if (m_walker != nullptr && IsInside(m_next, m_last)) m_next = FirstAfter(m_last);
    // The removed node stays owned by its document and is freed with it; wrappers handed
    // out for it therefore stay valid.
    parent->removeChild(m_last);
  } catch (const DOMException&) {
    return kXMLBadArgument;
  }
  m_last = nullptr;
  return kXMLOk;
}

int CFXMLIteratorWrapper::close() { return kXMLOk; }

void CFXMLIteratorWrapper::registerHandle(CFXMLIterator* handle) {
  if (handle != nullptr) m_handles.push_back(handle);
}

}  // namespace CfExtension
