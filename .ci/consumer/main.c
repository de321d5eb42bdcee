/* A C program outside the tree that uses the installed library through the XML function
 * tables only: load, walk elements and texts, add and copy elements, serialise, dispose. */
#include <stdio.h>
#include <string.h>

#include "cfmeta/xml/cfxml_c.h"

static int failures = 0;

static void Check(int ok, const char* what) {
  if (!ok) {
    printf("c consumer: %s failed\n", what);
    ++failures;
  }
}

/* Prints every element under `element` with its direct texts, depth-first. */
static void Walk(CFXML* element, int depth) {
  char name[64];
  size_t needed = 0;
  Check(element->getName(element->object, name, sizeof name, &needed) == 0, "getName");
  printf("%*s%s", depth * 2, "", name);

  CFXMLIterator* texts = NULL;
  void* item = NULL;
  Check(element->getTextIterator(element->object, &texts) == 0, "getTextIterator");
  while (texts->nextItem(texts->object, &item) == 0) printf(" \"%s\"", (const char*)item);
  printf("\n");

  CFXMLIterator* children = NULL;
  Check(element->getElementDirectIterator(element->object, "", &children) == 0,
        "getElementDirectIterator");
  while (children->nextItem(children->object, &item) == 0) Walk((CFXML*)item, depth + 1);
}

int main(void) {
  cf_xml_startup(0);

  CFXML* doc = NULL;
  Check(
      cf_xml_loadDocument("<Catalog>books<Shelf id=\"1\">left<Book/></Shelf></Catalog>", &doc) == 0,
      "cf_xml_loadDocument");
  CFXML* bad = NULL;
  Check(cf_xml_loadDocument("<Catalog>", &bad) == 5 && bad == NULL, "refusing bad XML");

  if (doc != NULL) {
    Walk(doc, 0);

    /* A second shelf holding a copy of the first book. */
    CFXML* shelf = NULL;
    CFXML* copy = NULL;
    CFXMLIterator* books = NULL;
    void* first = NULL;
    Check(doc->addElement(doc->object, "Shelf", &shelf) == 0, "addElement");
    Check(shelf->addAttribute(shelf->object, "id", "2") == 0, "addAttribute");
    Check(shelf->addText(shelf->object, "right") == 0, "addText");
    Check(doc->getElementIterator(doc->object, "Book", &books) == 0, "getElementIterator");
    Check(books->nextItem(books->object, &first) == 0, "nextItem");
    Check(shelf->copyElement(shelf->object, ((CFXML*)first)->object, &copy) == 0, "copyElement");

    size_t needed = 0;
    char small[8];
    Check(doc->doc2string(doc->object, small, sizeof small, &needed) == 13, "size report");
    char text[512];
    Check(needed <= sizeof text && doc->doc2string(doc->object, text, sizeof text, &needed) == 0,
          "doc2string");
    printf("%s\n", text);
    Check(strstr(text, "<Shelf id=\"2\">right<Book/></Shelf></Catalog>") != NULL,
          "serialised text");
    Check(doc->disposeDocument(doc->object) == 0, "disposeDocument");
  }

  cf_xml_shutdown(0);
  printf(failures == 0 ? "c consumer: ok\n" : "c consumer: FAILED\n");
  return failures == 0 ? 0 : 1;
}
