#include "cfmeta/xml/cfxmlfactory.h"

#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include "cfmeta/xml/cfxmliteratorwrapper.h"
#include "cfmeta/xml/cfxmlwrapper.h"

using CfExtension::CFXMLFactory;
using CfExtension::CFXMLIteratorFactory;
using CfExtension::CFXMLIteratorWrapper;
using CfExtension::CFXMLWrapper;
using CfExtension::kXMLBadArgument;
using CfExtension::kXMLOk;

namespace {

// Tables are freed with free() by their owners, so they come from calloc, which also leaves
// every slot cleared.
template <typename Table>
Table* AllocateTable() {
  void* memory = std::calloc(1, sizeof(Table));
  if (memory == nullptr) throw std::bad_alloc();
  return static_cast<Table*>(memory);
}

struct FreeDeleter {
  void operator()(void* memory) const { std::free(memory); }
};

CFXMLWrapper* Element(void* self) { return static_cast<CFXMLWrapper*>(self); }

CFXMLIteratorWrapper* Iterator(void* self) { return static_cast<CFXMLIteratorWrapper*>(self); }

CFXML* TableFor(CFXMLWrapper* wrapper) { return CFXMLFactory::create(wrapper); }

CFXMLIterator* TableFor(CFXMLIteratorWrapper* iterator) {
  return CFXMLIteratorFactory::create(iterator);
}

// Runs a member that makes a child wrapper or an iterator and hands it back as a table.
// Nothing is made and `out` stays as it was unless the member succeeds.
template <typename Made, typename Table, typename Make>
int TableOut(void* self, Table** out, Make make) {
  if (self == nullptr || out == nullptr) return kXMLBadArgument;
  Made* made = nullptr;
  int rc = make(Element(self), &made);
  if (rc != kXMLOk) return rc;
  *out = TableFor(made);
  return kXMLOk;
}

// Hands a root that holds a document back as a table, which then owns it through its
// disposeDocument entry; a root without one is destroyed here.
int RootOut(std::unique_ptr<CFXMLWrapper> root, CFXML** out) {
  if (root->getElement() == nullptr || root->getDocument() == nullptr) return kXMLBadArgument;
  *out = CFXMLFactory::create(root.get());
  root.release();
  return kXMLOk;
}

}  // namespace

namespace CfExtension {

CFXML* CFXMLFactory::create(CFXMLWrapper* wrapper) {
  if (wrapper == nullptr) return nullptr;
  std::unique_ptr<CFXML, FreeDeleter> table(AllocateTable<CFXML>());
  table->object = wrapper;
  table->disposeDocument = cf_xml_disposeDocumentImpl;
  table->doc2string = cf_xml_doc2stringImpl;
  table->getName = cf_xml_getNameImpl;
  table->hasAttribute = cf_xml_hasAttributeImpl;
  table->getAttribute = cf_xml_getAttributeImpl;
  table->removeAttribute = cf_xml_removeAttributeImpl;
  table->getElementIterator = cf_xml_getElementIteratorImpl;
  table->getTextIterator = cf_xml_getTextIteratorImpl;
  table->addAttribute = cf_xml_addAttributeImpl;
  table->addElement = cf_xml_addElementImpl;
  table->addText = cf_xml_addTextImpl;
  table->copyElement = cf_xml_copyElementImpl;
  table->getElementDirectIterator = cf_xml_getElementDirectIteratorImpl;
  table->insertElementBefore = cf_xml_insertElementBeforeImpl;
  table->copyElementBefore = cf_xml_copyElementBeforeImpl;
  wrapper->registerHandle(table.get());
  return table.release();
}

CFXMLIterator* CFXMLIteratorFactory::create(CFXMLIteratorWrapper* iterator) {
  if (iterator == nullptr) return nullptr;
  std::unique_ptr<CFXMLIterator, FreeDeleter> table(AllocateTable<CFXMLIterator>());
  table->object = iterator;
  table->hasMoreItems = cf_xmliterator_hasMoreItemsImpl;
  table->nextItem = cf_xmliterator_nextItemImpl;
  table->deleteCurrentItem = cf_xmliterator_deleteCurrentItemImpl;
  table->close = cf_xmliterator_closeImpl;
  iterator->registerHandle(table.get());
  return table.release();
}

}  // namespace CfExtension

// ---------------------------------------------------------------------------------------------
// Element entries

int cf_xml_disposeDocumentImpl(void* self) {
  if (self == nullptr) return kXMLBadArgument;
  // Only a root holds its document; any other wrapper belongs to its parent, and destroying
  // it here would free it a second time.
  if (Element(self)->getDocument() == nullptr) return kXMLBadArgument;
  std::unique_ptr<CFXMLWrapper> root(Element(self));
  return root->dispose();
}

int cf_xml_doc2stringImpl(void* self, char* buf, size_t capacity, size_t* needed) {
  if (self == nullptr) return kXMLBadArgument;
  return Element(self)->doc2string(buf, capacity, needed);
}

int cf_xml_getNameImpl(void* self, char* buf, size_t capacity, size_t* needed) {
  if (self == nullptr) return kXMLBadArgument;
  return Element(self)->getName(buf, capacity, needed);
}

int cf_xml_hasAttributeImpl(void* self, const char* name, int* present) {
  if (self == nullptr) return kXMLBadArgument;
  return Element(self)->hasAttribute(name, present);
}

int cf_xml_getAttributeImpl(void* self, const char* name, char* buf, size_t capacity,
                            size_t* needed) {
  if (self == nullptr) return kXMLBadArgument;
  return Element(self)->getAttribute(name, buf, capacity, needed);
}

int cf_xml_removeAttributeImpl(void* self, const char* name) {
  if (self == nullptr) return kXMLBadArgument;
  return Element(self)->removeAttribute(name);
}

int cf_xml_getElementIteratorImpl(void* self, const char* name, CFXMLIterator** out) {
  return TableOut<CFXMLIteratorWrapper>(self, out,
                                        [name](CFXMLWrapper* w, CFXMLIteratorWrapper** it) {
                                          return w->getElementIterator(name, it);
                                        });
}

int cf_xml_getTextIteratorImpl(void* self, CFXMLIterator** out) {
  return TableOut<CFXMLIteratorWrapper>(
      self, out, [](CFXMLWrapper* w, CFXMLIteratorWrapper** it) { return w->getTextIterator(it); });
}

int cf_xml_addAttributeImpl(void* self, const char* name, const char* value) {
  if (self == nullptr) return kXMLBadArgument;
  return Element(self)->addAttribute(name, value);
}

int cf_xml_addElementImpl(void* self, const char* name, CFXML** out) {
  return TableOut<CFXMLWrapper>(self, out, [name](CFXMLWrapper* w, CFXMLWrapper** child) {
    return w->addElement(name, child);
  });
}

int cf_xml_addTextImpl(void* self, const char* text) {
  // The member trusts its caller to hold an element; a C caller gets a status instead.
  if (self == nullptr || Element(self)->getElement() == nullptr) return kXMLBadArgument;
  return Element(self)->addText(text);
}

int cf_xml_copyElementImpl(void* self, void* source, CFXML** out) {
  return TableOut<CFXMLWrapper>(self, out, [source](CFXMLWrapper* w, CFXMLWrapper** child) {
    return w->copyElement(Element(source), child);
  });
}

int cf_xml_getElementDirectIteratorImpl(void* self, const char* name, CFXMLIterator** out) {
  return TableOut<CFXMLIteratorWrapper>(self, out,
                                        [name](CFXMLWrapper* w, CFXMLIteratorWrapper** it) {
                                          return w->getElementDirectIterator(name, it);
                                        });
}

int cf_xml_insertElementBeforeImpl(void* self, const char* name, void* ref, CFXML** out) {
  return TableOut<CFXMLWrapper>(self, out, [name, ref](CFXMLWrapper* w, CFXMLWrapper** child) {
    return w->insertElementBefore(name, Element(ref), child);
  });
}

int cf_xml_copyElementBeforeImpl(void* self, void* source, void* ref, CFXML** out) {
  return TableOut<CFXMLWrapper>(self, out, [source, ref](CFXMLWrapper* w, CFXMLWrapper** child) {
    return w->copyElementBefore(Element(source), Element(ref), child);
  });
}

// ---------------------------------------------------------------------------------------------
// Iterator entries

int cf_xmliterator_hasMoreItemsImpl(void* self, int* more) {
  if (self == nullptr) return kXMLBadArgument;
  return Iterator(self)->hasMoreItems(more);
}

int cf_xmliterator_nextItemImpl(void* self, void** item) {
  if (self == nullptr || item == nullptr) return kXMLBadArgument;
  CFXMLIteratorWrapper* iterator = Iterator(self);
  void* handed = nullptr;
  int rc = iterator->nextItem(&handed);
  if (rc != kXMLOk) {
    *item = nullptr;
    return rc;
  }
  if (iterator->getFilter() == CFXMLIteratorWrapper::Elements) {
    *item = CFXMLFactory::create(static_cast<CFXMLWrapper*>(handed));
  } else {
    *item = handed;
  }
  return kXMLOk;
}

int cf_xmliterator_deleteCurrentItemImpl(void* self) {
  if (self == nullptr) return kXMLBadArgument;
  return Iterator(self)->deleteItem();
}

int cf_xmliterator_closeImpl(void* self) {
  if (self == nullptr) return kXMLBadArgument;
  return Iterator(self)->close();
}

// ---------------------------------------------------------------------------------------------
// Entry points for C programs

void cf_xml_startup(int alreadyInitialised) { CFXMLWrapper::startup(alreadyInitialised != 0); }

void cf_xml_shutdown(int keepPlatform) { CFXMLWrapper::shutdown(keepPlatform != 0); }

int cf_xml_createDocument(const char* rootName, CFXML** out) {
  if (rootName == nullptr || out == nullptr) return kXMLBadArgument;
  std::unique_ptr<CFXMLWrapper> root(new CFXMLWrapper);
  root->createNew(rootName);
  return RootOut(std::move(root), out);
}

int cf_xml_loadDocument(const char* text, CFXML** out) {
  if (text == nullptr || out == nullptr) return kXMLBadArgument;
  std::unique_ptr<CFXMLWrapper> root(new CFXMLWrapper);
  root->loadFromContents(text);
  return RootOut(std::move(root), out);
}

int cf_xml_loadDocumentFile(const char* path, CFXML** out) {
  if (path == nullptr || out == nullptr) return kXMLBadArgument;
  std::string text = CFXMLWrapper::loadStringFromFile(path);
  if (text.empty()) return kXMLBadArgument;
  return cf_xml_loadDocument(text.c_str(), out);
}
