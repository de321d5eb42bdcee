// Walks the nodes under one DOM node and hands them out one at a time: child or descendant
// elements as CFXMLWrapper objects, or direct text nodes as UTF-8 text.
//
// Iterators are made only by CFXMLWrapper's iterator getters, which own them. Everything an
// iterator hands out stays valid until the iterator is destroyed.
#ifndef CFMETA_XML_CFXMLITERATORWRAPPER_H_
#define CFMETA_XML_CFXMLITERATORWRAPPER_H_

#include <deque>
#include <memory>
#include <string>
#include <vector>
#include <xercesc/util/XercesDefs.hpp>

#include "cfmeta/cfmeta_export.h"
#include "cfmeta/xml/cfxml_c.h"

XERCES_CPP_NAMESPACE_BEGIN
class DOMNode;
class DOMTreeWalker;
XERCES_CPP_NAMESPACE_END

namespace CfExtension {

class CFXMLWrapper;
class NodeFilter;

class CFMETA_API CFXMLIteratorWrapper {
 public:
  enum FilterType { Elements = 0, TextNodes = 1 };

  // `direct`: only the root's children; otherwise all descendants in document order (never
  // the root itself). An empty `name` matches any element.
  CFXMLIteratorWrapper(XERCES_CPP_NAMESPACE::DOMNode* root, bool direct, FilterType type,
                       const char* name);
  ~CFXMLIteratorWrapper();
  CFXMLIteratorWrapper(const CFXMLIteratorWrapper&) = delete;
  CFXMLIteratorWrapper& operator=(const CFXMLIteratorWrapper&) = delete;

  bool passesFilter(XERCES_CPP_NAMESPACE::DOMNode* node) const;
  // `*more` becomes 1 when a next node exists, else 0. Always 0.
  int hasMoreItems(int* more) const;
  // 0 and the next item: a CFXMLWrapper* for elements, a const char* (UTF-8) for text; both
  // owned by this iterator. 9 and null at the end.
  int nextItem(void** item);
  // Typed form of nextItem for element iterators; null at the end.
  CFXMLWrapper* nextElement();
  // Removes the node handed out last from its parent. 5 when nothing was handed out yet.
  // Safe between nextItem calls: the iterator has already moved past that node and, for a
  // subtree iterator, past everything inside it.
  int deleteItem();
  // Does nothing; the owner destroys the iterator. Always 0.
  int close();
  FilterType getFilter() const { return m_type; }
  // Records a function table; it is freed with this iterator.
  void registerHandle(CFXMLIterator* handle);

 private:
  XERCES_CPP_NAMESPACE::DOMNode* m_root;
  bool m_direct;
  XERCES_CPP_NAMESPACE::DOMTreeWalker* m_walker = nullptr;
  XERCES_CPP_NAMESPACE::DOMNode* m_next = nullptr;
  XERCES_CPP_NAMESPACE::DOMNode* m_last = nullptr;
  std::string m_name;
  FilterType m_type;
  std::vector<std::unique_ptr<CFXMLWrapper>> m_wrappers;
  std::deque<std::string> m_texts;  // a deque keeps handed-out pointers stable
  std::vector<CFXMLIterator*> m_handles;
  std::unique_ptr<NodeFilter> m_filter;

  void Advance();
  static bool IsInside(const XERCES_CPP_NAMESPACE::DOMNode* node,
                       const XERCES_CPP_NAMESPACE::DOMNode* ancestor);
  // The first node after `node`'s subtree that this iterator hands out; the walker is left
  // on it. Null when there is none under the root.
  XERCES_CPP_NAMESPACE::DOMNode* FirstAfter(XERCES_CPP_NAMESPACE::DOMNode* node);
};

}  // namespace CfExtension

#endif  // CFMETA_XML_CFXMLITERATORWRAPPER_H_
