#include "cfmeta/xml/cfxmliteratorwrapper.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "cfmeta/xml/cfxml_testutil.h"
#include "cfmeta/xml/cfxmlwrapper.h"

namespace {

using CfExtension::CFXMLIteratorWrapper;
using CfExtension::CFXMLWrapper;
using cfmeta_test::Parse;
using cfmeta_test::Serialise;

// Each element handed out, as its "id" attribute (or its name when it has none).
std::vector<std::string> Drain(CFXMLIteratorWrapper* it, bool deleteEach = false) {
  std::vector<std::string> seen;
  while (CFXMLWrapper* element = it->nextElement()) {
    std::string id;
    bool found = false;
    element->getAttribute("id", id, found);
    if (!found) element->getName(id);
    seen.push_back(id);
    if (deleteEach) {
      EXPECT_EQ(0, it->deleteItem());
    }
  }
  return seen;
}

const char kTree[] =
    "<Root>"
    "<A id='a1'><B id='b-in-a'/></A>"
    "<B id='b1'><B id='b1.1'><B id='b1.1.1'/></B><C/><B id='b1.2'/></B>"
    "text one"
    "<!-- a comment -->"
    "<B id='b2'/>"
    "<A id='a2'/>"
    "</Root>";

// An element iterator over a fresh copy of kTree, which `doc` then holds: over the direct
// children when `direct`, else over the subtree; null when it cannot be made.
CFXMLIteratorWrapper* OverTree(std::unique_ptr<CFXMLWrapper>& doc, bool direct, const char* name) {
  doc = Parse(kTree);
  CFXMLIteratorWrapper* it = nullptr;
  if (doc->getElement() == nullptr) return nullptr;
  const int rc =
      direct ? doc->getElementDirectIterator(name, &it) : doc->getElementIterator(name, &it);
  return rc == 0 ? it : nullptr;
}

TEST(CFXMLIteratorWrapperTest, EachKindVisitsWhatItShould) {
  struct Row {
    const char* what;
    bool direct;
    const char* name;
    std::vector<std::string> expected;
  } rows[] = {
      {"direct, named", true, "B", {"b1", "b2"}},
      {"direct, any name", true, "", {"a1", "b1", "b2", "a2"}},
      {"subtree, named: any depth, document order",
       false,
       "B",
       {"b-in-a", "b1", "b1.1", "b1.1.1", "b1.2", "b2"}},
      {"subtree, empty name: direct children only", false, "", {"a1", "b1", "b2", "a2"}},
      {"no match", false, "Bee", {}},
      {"a prefix is no match", true, "Ro", {}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    std::unique_ptr<CFXMLWrapper> doc;
    CFXMLIteratorWrapper* it = OverTree(doc, row.direct, row.name);
    ASSERT_NE(nullptr, it);
    EXPECT_EQ(CFXMLIteratorWrapper::Elements, it->getFilter());
    int more = -1;
    EXPECT_EQ(0, it->hasMoreItems(&more));
    EXPECT_EQ(row.expected.empty() ? 0 : 1, more);
    EXPECT_EQ(row.expected, Drain(it));
    void* item = reinterpret_cast<void*>(1);
    EXPECT_EQ(CfExtension::kXMLEnd, it->nextItem(&item));
    EXPECT_EQ(nullptr, item);
    EXPECT_EQ(0, it->hasMoreItems(&more));
    EXPECT_EQ(0, more);
    EXPECT_EQ(0, it->close());
  }
}

TEST(CFXMLIteratorWrapperTest, TextIteratorYieldsDirectTextAsUTF8) {
  auto doc = Parse("<Root>one<A>inner</A>t\xC3\xA9\xF0\x9F\x98\x80<!--c--><B/>&amp;3</Root>");
  ASSERT_NE(nullptr, doc->getElement());
  CFXMLIteratorWrapper* it = nullptr;
  ASSERT_EQ(0, doc->getTextIterator(&it));
  EXPECT_EQ(CFXMLIteratorWrapper::TextNodes, it->getFilter());
  EXPECT_EQ(nullptr, it->nextElement());  // not an element iterator; nothing consumed
  std::vector<const char*> handed;
  void* item = nullptr;
  while (it->nextItem(&item) == 0) handed.push_back(static_cast<const char*>(item));
  ASSERT_EQ(3u, handed.size());
  // Every text stays valid while the iterator lives.
  EXPECT_STREQ("one", handed[0]);
  EXPECT_STREQ("t\xC3\xA9\xF0\x9F\x98\x80", handed[1]);
  EXPECT_STREQ("&3", handed[2]);
}

TEST(CFXMLIteratorWrapperTest, DeletingEachItemStillVisitsAll) {
  struct Row {
    const char* what;
    bool direct;
    const char* name;
    std::vector<std::string> expected;
    const char* left;  // the serialised root afterwards
  } rows[] = {
      {"direct",
       true,
       "B",
       {"b1", "b2"},
       "<Root><A id=\"a1\"><B id=\"b-in-a\"/></A>text one<!-- a comment --><A id=\"a2\"/></Root>"},
      {"direct, any name",
       false,
       "",
       {"a1", "b1", "b2", "a2"},
       "<Root>text one<!-- a comment --></Root>"},
      // Deleting b1 takes b1.1 and b1.2 with it; the walk goes on after b1.
      {"subtree",
       false,
       "B",
       {"b-in-a", "b1", "b2"},
       "<Root><A id=\"a1\"/>text one<!-- a comment --><A id=\"a2\"/></Root>"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    std::unique_ptr<CFXMLWrapper> doc;
    CFXMLIteratorWrapper* it = OverTree(doc, row.direct, row.name);
    ASSERT_NE(nullptr, it);
    EXPECT_EQ(CfExtension::kXMLBadArgument, it->deleteItem());  // nothing handed out yet
    EXPECT_EQ(row.expected, Drain(it, true));
    EXPECT_EQ(row.left, Serialise(*doc).substr(Serialise(*doc).find("<Root")));
  }

  // Text nodes go the same way.
  auto doc = Parse("<Root>x<A/>y</Root>");
  CFXMLIteratorWrapper* it = nullptr;
  ASSERT_EQ(0, doc->getTextIterator(&it));
  void* item = nullptr;
  while (it->nextItem(&item) == 0) EXPECT_EQ(0, it->deleteItem());
  EXPECT_EQ("<Root><A/></Root>", Serialise(*doc).substr(Serialise(*doc).find("<Root")));
}

TEST(CFXMLIteratorWrapperTest, HandedOutWrappersWorkOnTheLiveDocument) {
  auto doc = Parse("<Root><B id='1'/><B id='2'/></Root>");
  ASSERT_NE(nullptr, doc->getElement());
  CFXMLIteratorWrapper* it = nullptr;
  ASSERT_EQ(0, doc->getElementDirectIterator("B", &it));
  while (CFXMLWrapper* b = it->nextElement()) {
    CFXMLWrapper* child = nullptr;
    ASSERT_EQ(0, b->addElement("C", &child));
    ASSERT_EQ(0, child->addAttribute("n", 1LL));
  }
  EXPECT_EQ("<Root><B id=\"1\"><C n=\"1\"/></B><B id=\"2\"><C n=\"1\"/></B></Root>",
            Serialise(*doc).substr(Serialise(*doc).find("<Root")));
  // An iterator made on a non-ASCII name matches it exactly.
  auto wide = Parse("<Root><\xC3\x89t\xC3\xA9/><\xC3\x89t/><\xC3\x89t\xC3\xA9/></Root>");
  ASSERT_NE(nullptr, wide->getElement());
  ASSERT_EQ(0, wide->getElementDirectIterator("\xC3\x89t\xC3\xA9", &it));
  EXPECT_EQ(2u, Drain(it).size());
}

}  // namespace
