/* The C side of CFXMLFactoryTest: code that reaches the XML layer only through the function
 * tables, compiled by the C compiler, so that the header and the calls are checked as a C
 * program sees them. */
#include "cfmeta/xml/cfxml_c.h"

#include <stdio.h>
#include <string.h>

/* Appends `text` to the NUL-terminated `log` of `capacity` bytes, cutting it short if full. */
static void Append(char* log, size_t capacity, const char* text) {
  size_t used = strlen(log);
  if (used + 1 < capacity) snprintf(log + used, capacity - used, "%s", text);
}

/* Writes `element` as name[text|text](children...) into `log`, visiting the children through
 * a direct iterator. Every table handed out is counted in `*tables`. */
static int Walk(CFXML* element, char* log, size_t capacity, int* tables) {
  char name[64];
  size_t needed = 0;
  int rc = element->getName(element->object, name, sizeof name, &needed);
  if (rc != 0) return rc;
  Append(log, capacity, name);

  CFXMLIterator* texts = NULL;
  rc = element->getTextIterator(element->object, &texts);
  if (rc != 0) return rc;
  void* item = NULL;
  const char* separator = "[";
  while (texts->nextItem(texts->object, &item) == 0) {
    Append(log, capacity, separator);
    Append(log, capacity, (const char*)item);
    separator = "|";
  }
  if (separator[0] == '|') Append(log, capacity, "]");

  CFXMLIterator* children = NULL;
  rc = element->getElementDirectIterator(element->object, "", &children);
  if (rc != 0) return rc;
  int more = 0;
  if (children->hasMoreItems(children->object, &more) != 0) return -1;
  if (more) Append(log, capacity, "(");
  while ((rc = children->nextItem(children->object, &item)) == 0) {
    CFXML* child = (CFXML*)item;
    ++*tables;
    rc = Walk(child, log, capacity, tables);
    if (rc != 0) return rc;
  }
  if (rc != 9 || item != NULL) return -1;
  if (more) Append(log, capacity, ")");
  return 0;
}

int CfxmlCWalk(const char* xml, char* log, size_t capacity, int* tables) {
  CFXML* root = NULL;
  int rc = cf_xml_loadDocument(xml, &root);
  if (rc != 0) return rc;
  log[0] = '\0';
  *tables = 0;
  rc = Walk(root, log, capacity, tables);
  int disposed = root->disposeDocument(root->object);
  return rc != 0 ? rc : disposed;
}

int CfxmlCBuild(const char* source, char* out, size_t capacity) {
  CFXML* doc = NULL;
  CFXML* from = NULL;
  int rc = cf_xml_createDocument("Root", &doc);
  if (rc != 0) return rc;
  rc = cf_xml_loadDocument(source, &from);
  if (rc != 0) {
    doc->disposeDocument(doc->object);
    return rc;
  }

  CFXML* last = NULL;
  CFXML* first = NULL;
  CFXML* copy = NULL;
  CFXML* copyFirst = NULL;
  if ((rc = doc->addElement(doc->object, "Last", &last)) != 0 ||
      (rc = last->addAttribute(last->object, "k", "v")) != 0 ||
      (rc = last->addText(last->object, "t")) != 0 ||
      (rc = doc->insertElementBefore(doc->object, "First", last->object, &first)) != 0 ||
      (rc = doc->copyElement(doc->object, from->object, &copy)) != 0 ||
      (rc = first->copyElementBefore(first->object, from->object, NULL, &copyFirst)) != 0 ||
      (rc = copy->removeAttribute(copy->object, "gone")) != 0) {
    from->disposeDocument(from->object);
    doc->disposeDocument(doc->object);
    return rc;
  }
  /* The source document may go before the copies: they belong to the new one. */
  from->disposeDocument(from->object);

  size_t needed = 0;
  rc = doc->doc2string(doc->object, out, capacity, &needed);
  doc->disposeDocument(doc->object);
  return rc;
}
