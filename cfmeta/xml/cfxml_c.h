/* Function tables through which plain C code drives the XML layer.
 *
 * A CFXML table serves one element wrapper and a CFXMLIterator table one iterator. Member 0
 * is the wrapped object; every other member is an entry whose first argument is that object,
 * so a call reads `t->getName(t->object, buf, sizeof buf, &needed)`. Where an entry takes
 * another element (a copy's source, an insertion's reference), pass that element's table's
 * `object`.
 *
 * Tables belong to the object they serve and die with it: callers never free one. A child's
 * table lives as long as its parent, an iterator's table as long as the element that made the
 * iterator, and the tables an iterator hands out as long as that iterator. Destroying a root
 * through its `disposeDocument` entry therefore frees every table reached from it.
 *
 * Every entry returns a status:
 *   0  success
 *   5  the element is missing, an argument is null or unusable, or a value cannot be parsed
 *   9  an iterator has nothing more to hand out
 *   13 the caller's buffer is too small; `*needed` is the size to retry with, the buffer is
 *      untouched
 * An entry that hands back a new table (the `out` parameter) sets it only on status 0.
 *
 * Valid C99 and C++; no C++ type appears here. */
#ifndef CFMETA_XML_CFXML_C_H_
#define CFMETA_XML_CFXML_C_H_

#include <stddef.h>

#include "cfmeta/cfmeta_export.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct CFXML CFXML;
typedef struct CFXMLIterator CFXMLIterator;

struct CFXML {
  void* object;
  /* Root elements only: releases the document and destroys the element with everything it
   * handed out, this table included. 5, destroying nothing, for an element that owns no
   * document (it belongs to its parent). */
  int (*disposeDocument)(void* self);
  /* The document (for a root) or the element and its subtree as text, NUL-terminated;
   * `*needed` is its length plus one. */
  int (*doc2string)(void* self, char* buf, size_t capacity, size_t* needed);
  int (*getName)(void* self, char* buf, size_t capacity, size_t* needed);
  /* `*present` becomes 1 or 0. */
  int (*hasAttribute)(void* self, const char* name, int* present);
  /* The value, empty when the attribute is absent. */
  int (*getAttribute)(void* self, const char* name, char* buf, size_t capacity, size_t* needed);
  int (*removeAttribute)(void* self, const char* name);
  /* Descendants named `name` at any depth; an empty name visits the direct children only. */
  int (*getElementIterator)(void* self, const char* name, CFXMLIterator** out);
  /* The direct text children; its items are `const char*` UTF-8 texts. */
  int (*getTextIterator)(void* self, CFXMLIterator** out);
  int (*addAttribute)(void* self, const char* name, const char* value);
  /* Appends a new element named `name`. */
  int (*addElement)(void* self, const char* name, CFXML** out);
  int (*addText)(void* self, const char* text);
  /* Appends a deep copy of `source`'s element, which may come from another document. */
  int (*copyElement)(void* self, void* source, CFXML** out);
  /* Direct children named `name` (any element when `name` is empty). */
  int (*getElementDirectIterator)(void* self, const char* name, CFXMLIterator** out);
  /* As addElement, inserted before `ref`'s element, a child of this one (appended when `ref`
   * is null). */
  int (*insertElementBefore)(void* self, const char* name, void* ref, CFXML** out);
  int (*copyElementBefore)(void* self, void* source, void* ref, CFXML** out);
};

struct CFXMLIterator {
  void* object;
  /* `*more` becomes 1 when another item follows, else 0. */
  int (*hasMoreItems)(void* self, int* more);
  /* 0 and the next item: a `CFXML*` table for an element iterator, a `const char*` for a text
   * iterator; 9 and null at the end. */
  int (*nextItem)(void* self, void** item);
  /* Removes the node handed out last from the document; 5 when nothing was handed out yet.
   * The walk still visits every node after it. */
  int (*deleteCurrentItem)(void* self);
  /* Does nothing: the iterator lives as long as the element that made it. Always 0. */
  int (*close)(void* self);
};

/* The entries the tables hold, in slot order. `self` is the wrapped object (from C++ a
 * CfExtension::CFXMLWrapper* or CFXMLIteratorWrapper*); a null `self` or a null output gives
 * 5. */
CFMETA_API int cf_xml_disposeDocumentImpl(void* self);
CFMETA_API int cf_xml_doc2stringImpl(void* self, char* buf, size_t capacity, size_t* needed);
CFMETA_API int cf_xml_getNameImpl(void* self, char* buf, size_t capacity, size_t* needed);
CFMETA_API int cf_xml_hasAttributeImpl(void* self, const char* name, int* present);
CFMETA_API int cf_xml_getAttributeImpl(void* self, const char* name, char* buf, size_t capacity,
                                       size_t* needed);
CFMETA_API int cf_xml_removeAttributeImpl(void* self, const char* name);
CFMETA_API int cf_xml_getElementIteratorImpl(void* self, const char* name, CFXMLIterator** out);
CFMETA_API int cf_xml_getTextIteratorImpl(void* self, CFXMLIterator** out);
CFMETA_API int cf_xml_addAttributeImpl(void* self, const char* name, const char* value);
CFMETA_API int cf_xml_addElementImpl(void* self, const char* name, CFXML** out);
CFMETA_API int cf_xml_addTextImpl(void* self, const char* text);
CFMETA_API int cf_xml_copyElementImpl(void* self, void* source, CFXML** out);
CFMETA_API int cf_xml_getElementDirectIteratorImpl(void* self, const char* name,
                                                   CFXMLIterator** out);
CFMETA_API int cf_xml_insertElementBeforeImpl(void* self, const char* name, void* ref, CFXML** out);
CFMETA_API int cf_xml_copyElementBeforeImpl(void* self, void* source, void* ref, CFXML** out);

CFMETA_API int cf_xmliterator_hasMoreItemsImpl(void* self, int* more);
CFMETA_API int cf_xmliterator_nextItemImpl(void* self, void** item);
CFMETA_API int cf_xmliterator_deleteCurrentItemImpl(void* self);
CFMETA_API int cf_xmliterator_closeImpl(void* self);

/* Entry points for programs with no C++ of their own. */

/* Start and stop the XML platform, each once, from one thread, while no other thread uses the
 * library; cf_xml_startup comes before any other call. A non-zero flag skips starting or
 * stopping the platform itself, for a program that manages it elsewhere. */
CFMETA_API void cf_xml_startup(int alreadyInitialised);
CFMETA_API void cf_xml_shutdown(int keepPlatform);

/* Each makes a document and hands back its root's table in `*out`; the caller ends it with
 * `(*out)->disposeDocument((*out)->object)`. 5, with `*out` untouched and nothing left to
 * free, when an argument is null, the name is not a valid element name, the text does not
 * parse, or the file cannot be read (a file is read from its first "<"). */
CFMETA_API int cf_xml_createDocument(const char* rootName, CFXML** out);
CFMETA_API int cf_xml_loadDocument(const char* text, CFXML** out);
CFMETA_API int cf_xml_loadDocumentFile(const char* path, CFXML** out);

#ifdef __cplusplus
}
#endif

#endif /* CFMETA_XML_CFXML_C_H_ */
