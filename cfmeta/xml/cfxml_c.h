/* Function tables through which plain C code drives the XML layer.
 *
 * A CFXML table serves one element wrapper and a CFXMLIterator table one iterator. Member 0
 * is the wrapped object; every other member is an entry whose first argument is that object.
 * Tables belong to the object they serve and die with it: callers never free one.
 *
 * Valid C99 and C++; no C++ type appears here. */
#ifndef CFMETA_XML_CFXML_C_H_
#define CFMETA_XML_CFXML_C_H_

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct CFXML CFXML;
typedef struct CFXMLIterator CFXMLIterator;

struct CFXML {
  void* object;
  int (*disposeDocument)(void* self);
  int (*doc2string)(void* self, char* buf, size_t capacity, size_t* needed);
  int (*getName)(void* self, char* buf, size_t capacity, size_t* needed);
  int (*hasAttribute)(void* self, const char* name, int* present);
  int (*getAttribute)(void* self, const char* name, char* buf, size_t capacity, size_t* needed);
  int (*removeAttribute)(void* self, const char* name);
  int (*getElementIterator)(void* self, const char* name, CFXMLIterator** out);
  int (*getTextIterator)(void* self, CFXMLIterator** out);
  int (*addAttribute)(void* self, const char* name, const char* value);
  int (*addElement)(void* self, const char* name, CFXML** out);
  int (*addText)(void* self, const char* text);
  int (*copyElement)(void* self, void* source, CFXML** out);
  int (*getElementDirectIterator)(void* self, const char* name, CFXMLIterator** out);
  int (*insertElementBefore)(void* self, const char* name, void* ref, CFXML** out);
  int (*copyElementBefore)(void* self, void* source, void* ref, CFXML** out);
};

struct CFXMLIterator {
  void* object;
  int (*hasMoreItems)(void* self, int* more);
  int (*nextItem)(void* self, void** item);
  int (*deleteCurrentItem)(void* self);
  int (*close)(void* self);
};

#ifdef __cplusplus
}
#endif

#endif /* CFMETA_XML_CFXML_C_H_ */
