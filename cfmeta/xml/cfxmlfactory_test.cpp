#include "cfmeta/xml/cfxmlfactory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "cfmeta/xml/cfxml_c.h"
#include "cfmeta/xml/cfxml_testutil.h"
#include "cfmeta/xml/cfxmliteratorwrapper.h"
#include "cfmeta/xml/cfxmlwrapper.h"

// The C side, in cfxml_c_test.c.
extern "C" int CfxmlCWalk(const char* xml, char* log, size_t capacity, int* tables);
extern "C" int CfxmlCBuild(const char* source, char* out, size_t capacity);

namespace {

using CfExtension::CFXMLFactory;
using CfExtension::CFXMLIteratorFactory;
using CfExtension::CFXMLIteratorWrapper;
using CfExtension::CFXMLWrapper;
using cfmeta_test::Parse;
using ::testing::HasSubstr;

template <typename Fn>
void* Address(Fn* fn) {
  return reinterpret_cast<void*>(fn);
}

TEST(CFXMLFactoryTest, TablesHoldTheirEntriesInSlotOrder) {
  auto doc = Parse("<Root/>");
  CFXMLIteratorWrapper* iterator = nullptr;
  ASSERT_EQ(0, doc->getTextIterator(&iterator));
  CFXML* table = CFXMLFactory::create(doc.get());
  CFXMLIterator* itTable = CFXMLIteratorFactory::create(iterator);
  ASSERT_NE(nullptr, table);
  ASSERT_NE(nullptr, itTable);

  const struct Row {
    void* const* table;
    size_t size;
    void* object;
    std::vector<void*> entries;
  } rows[] = {
      {reinterpret_cast<void* const*>(table),
       sizeof(CFXML),
       doc.get(),
       {Address(cf_xml_disposeDocumentImpl), Address(cf_xml_doc2stringImpl),
        Address(cf_xml_getNameImpl), Address(cf_xml_hasAttributeImpl),
        Address(cf_xml_getAttributeImpl), Address(cf_xml_removeAttributeImpl),
        Address(cf_xml_getElementIteratorImpl), Address(cf_xml_getTextIteratorImpl),
        Address(cf_xml_addAttributeImpl), Address(cf_xml_addElementImpl),
        Address(cf_xml_addTextImpl), Address(cf_xml_copyElementImpl),
        Address(cf_xml_getElementDirectIteratorImpl), Address(cf_xml_insertElementBeforeImpl),
        Address(cf_xml_copyElementBeforeImpl)}},
      {reinterpret_cast<void* const*>(itTable),
       sizeof(CFXMLIterator),
       iterator,
       {Address(cf_xmliterator_hasMoreItemsImpl), Address(cf_xmliterator_nextItemImpl),
        Address(cf_xmliterator_deleteCurrentItemImpl), Address(cf_xmliterator_closeImpl)}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.entries.size());
    ASSERT_EQ((row.entries.size() + 1) * sizeof(void*), row.size);
    EXPECT_EQ(row.object, row.table[0]);
    for (size_t slot = 1; slot <= row.entries.size(); ++slot) {
      SCOPED_TRACE(slot);
      EXPECT_EQ(row.entries[slot - 1], row.table[slot]);
    }
  }
  EXPECT_EQ(nullptr, CFXMLFactory::create(nullptr));
}

TEST(CFXMLFactoryTest, CProgramWalksElementsAndTexts) {
  char log[256];
  int tables = -1;
  ASSERT_EQ(0, CfxmlCWalk("<Root>a<A>x<B/>y</A>b<C/><!--c--></Root>", log, sizeof log, &tables));
  // Texts arrive as plain strings: a table in their place would print as garbage.
  EXPECT_STREQ("Root[a|b](A[x|y](B)C)", log);
  EXPECT_EQ(3, tables);

  EXPECT_EQ(5, CfxmlCWalk("<Root>", log, sizeof log, &tables));
}

TEST(CFXMLFactoryTest, CProgramAddsCopiesAndSerialises) {
  char out[512];
  ASSERT_EQ(0, CfxmlCBuild("<Src gone='1' keep='2'><Kid/></Src>", out, sizeof out));
  EXPECT_THAT(out, HasSubstr("<Root><First><Src gone=\"1\" keep=\"2\"><Kid/></Src></First>"
                             "<Last k=\"v\">t</Last><Src keep=\"2\"><Kid/></Src></Root>"));

  // Too small a buffer: the status comes back through the table, and the C side still frees.
  char small[16] = "untouched";
  EXPECT_EQ(13, CfxmlCBuild("<Src/>", small, sizeof small));
  EXPECT_STREQ("untouched", small);
}

TEST(CFXMLFactoryTest, EveryEntryPassesTheStatusThrough) {
  auto doc = Parse("<Root a='value'><A/>text</Root>");
  auto other = Parse("<Other><Child/></Other>");
  CFXMLWrapper empty;
  CFXML* root = CFXMLFactory::create(doc.get());
  CFXML* none = CFXMLFactory::create(&empty);
  CFXML* foreign = CFXMLFactory::create(other.get());
  CFXML* const kUntouched = reinterpret_cast<CFXML*>(root + 1);

  char buf[4];
  size_t needed = 0;
  int present = -1;
  struct Row {
    const char* what;
    std::function<int()> call;
    int expected;
  } rows[] = {
      {"attribute too long for buffer",
       [&] { return root->getAttribute(root->object, "a", buf, 4, &needed); }, 13},
      {"name too long for buffer", [&] { return root->getName(root->object, buf, 4, &needed); },
       13},
      {"has attribute", [&] { return root->hasAttribute(root->object, "a", &present); }, 0},
      {"no element: name", [&] { return none->getName(none->object, buf, 4, &needed); }, 5},
      {"no element: add attribute", [&] { return none->addAttribute(none->object, "a", "b"); }, 5},
      {"no element: add text", [&] { return none->addText(none->object, "t"); }, 5},
      {"null object", [&] { return root->getName(nullptr, buf, 4, &needed); }, 5},
      {"dispose a wrapper that owns no document",
       [&] { return none->disposeDocument(none->object); }, 5},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(row.expected, row.call());
  }
  EXPECT_EQ(5u, needed);  // "Root" and its NUL, from the last call that reported a size
  EXPECT_EQ(1, present);

  // Entries that hand back a table make one only on success.
  struct OutRow {
    const char* what;
    std::function<int(CFXML**)> call;
  } outRows[] = {
      {"add to no element", [&](CFXML** out) { return none->addElement(none->object, "B", out); }},
      {"copy into no element",
       [&](CFXML** out) { return none->copyElement(none->object, foreign->object, out); }},
      {"copy from no element",
       [&](CFXML** out) { return root->copyElement(root->object, none->object, out); }},
      {"insert before a stranger",
       [&](CFXML** out) {
         return root->insertElementBefore(root->object, "B", foreign->object, out);
       }},
  };
  for (const OutRow& row : outRows) {
    SCOPED_TRACE(row.what);
    CFXML* out = kUntouched;
    EXPECT_EQ(5, row.call(&out));
    EXPECT_EQ(kUntouched, out);
  }
  CFXMLIterator* const kNoIterator = reinterpret_cast<CFXMLIterator*>(root + 1);
  CFXMLIterator* it = kNoIterator;
  EXPECT_EQ(5, none->getElementIterator(none->object, "A", &it));
  EXPECT_EQ(5, none->getElementDirectIterator(none->object, "A", &it));
  EXPECT_EQ(5, none->getTextIterator(none->object, &it));
  EXPECT_EQ(kNoIterator, it);
  // Nothing failed above changed the document.
  EXPECT_THAT(cfmeta_test::Serialise(*doc), HasSubstr("<Root a=\"value\"><A/>text</Root>"));

  // The iterator's own statuses.
  ASSERT_EQ(0, root->getElementDirectIterator(root->object, "A", &it));
  EXPECT_EQ(5, it->deleteCurrentItem(it->object));
  void* item = nullptr;
  ASSERT_EQ(0, it->nextItem(it->object, &item));
  int more = -1;
  EXPECT_EQ(0, it->hasMoreItems(it->object, &more));
  EXPECT_EQ(0, more);
  EXPECT_EQ(9, it->nextItem(it->object, &item));
  EXPECT_EQ(nullptr, item);
  EXPECT_EQ(5, it->nextItem(it->object, nullptr));
  EXPECT_EQ(0, it->deleteCurrentItem(it->object));
  EXPECT_EQ(0, it->close(it->object));
  EXPECT_EQ(5, it->close(nullptr));
}

// Leaks show under the sanitizer build, where every table must have gone with its owner.
TEST(CFXMLFactoryTest, EachElementHandedOutGetsItsOwnTable) {
  CFXML* root = nullptr;
  ASSERT_EQ(0, cf_xml_loadDocument("<Root><A/><B/><C/></Root>", &root));
  std::set<CFXML*> tables{root};
  std::set<void*> objects{root->object};
  CFXML* someChild = nullptr;
  for (int pass = 0; pass < 2; ++pass) {
    SCOPED_TRACE(pass);
    CFXMLIterator* it = nullptr;
    ASSERT_EQ(0, root->getElementIterator(root->object, "", &it));
    void* item = nullptr;
    std::string names;
    while (it->nextItem(it->object, &item) == 0) {
      CFXML* child = static_cast<CFXML*>(item);
      EXPECT_TRUE(tables.insert(child).second);
      someChild = child;
      objects.insert(child->object);
      char name[8];
      size_t needed = 0;
      ASSERT_EQ(0, child->getName(child->object, name, sizeof name, &needed));
      names += name;
    }
    EXPECT_EQ("ABC", names);
  }
  EXPECT_EQ(7u, tables.size());
  EXPECT_EQ(7u, objects.size());
  // A child is not a root: disposing it through its table would free it twice.
  ASSERT_NE(nullptr, someChild);
  EXPECT_EQ(5, someChild->disposeDocument(someChild->object));
  EXPECT_EQ(0, root->disposeDocument(root->object));
}

TEST(CFXMLFactoryTest, DocumentEntryPointsRefuseWhatTheyCannotLoad) {
  const std::string path = ::testing::TempDir() + "cfxml_c_doc.xml";
  std::FILE* file = std::fopen(path.c_str(), "wb");
  ASSERT_NE(nullptr, file);
  std::fputs("\xEF\xBB\xBF<Root><A/></Root>", file);
  std::fclose(file);

  CFXML* root = nullptr;
  ASSERT_EQ(0, cf_xml_loadDocumentFile(path.c_str(), &root));
  char name[8];
  size_t needed = 0;
  EXPECT_EQ(0, root->getName(root->object, name, sizeof name, &needed));
  EXPECT_STREQ("Root", name);
  EXPECT_EQ(0, root->disposeDocument(root->object));
  std::remove(path.c_str());

  CFXML* const kUntouched = reinterpret_cast<CFXML*>(&needed);
  struct Row {
    const char* what;
    std::function<int(CFXML**)> call;
  } rows[] = {
      {"invalid root name", [](CFXML** out) { return cf_xml_createDocument("1x", out); }},
      {"not well-formed", [](CFXML** out) { return cf_xml_loadDocument("<Root>", out); }},
      {"missing file", [&](CFXML** out) { return cf_xml_loadDocumentFile(path.c_str(), out); }},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    CFXML* out = kUntouched;
    EXPECT_EQ(5, row.call(&out));
    EXPECT_EQ(kUntouched, out);
  }
}

// A program that manages the platform itself starts and stops only the library's part; the
// platform, and every document loaded after, stays usable.
TEST(CFXMLFactoryTest, StartAndStopKeepAPlatformTheHostManages) {
  cf_xml_startup(1);
  cf_xml_shutdown(1);
  CFXML* root = nullptr;
  ASSERT_EQ(0, cf_xml_loadDocument("<R\xC3\xA9/>", &root));
  char name[8];
  size_t needed = 0;
  EXPECT_EQ(0, root->getName(root->object, name, sizeof name, &needed));
  EXPECT_STREQ("R\xC3\xA9", name);
  EXPECT_EQ(0, root->disposeDocument(root->object));
}

}  // namespace
