#include "cfmeta/xml/cfxmlwrapper.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>
#include <xercesc/dom/DOM.hpp>

#include "cfmeta/xml/cfxml_testutil.h"
#include "cfmeta/xml/cfxmliteratorwrapper.h"

namespace {

using CfExtension::CFXMLConverter;
using CfExtension::CFXMLWrapper;
using cfmeta_test::MakeElement;
using cfmeta_test::NewDocument;
using cfmeta_test::Parse;
using cfmeta_test::Serialise;

// A file in the temporary folder, removed when the test ends.
class TempFile {
 public:
  explicit TempFile(const std::string& bytes) {
    char name[] = "/tmp/cfxmlwrapper_testXXXXXX";
    int fd = mkstemp(name);
    EXPECT_NE(-1, fd);
    m_path = name;
    if (fd != -1) close(fd);
    std::ofstream(m_path, std::ios::binary).write(bytes.data(), bytes.size());
  }
  ~TempFile() { std::remove(m_path.c_str()); }
  const char* path() const { return m_path.c_str(); }

 private:
  std::string m_path;
};

// Every character of the document's text content, entity declarations included, and its
// serialised form: where a leaked file's content would show up.
std::string EverythingIn(const CFXMLWrapper& doc) {
  std::string all = Serialise(doc);
  if (doc.getDocument() == nullptr) return all;
  for (xercesc::DOMNode* node = doc.getDocument()->getFirstChild(); node != nullptr;
       node = node->getNextSibling()) {
    all += CFXMLConverter(node->getTextContent()).str();
  }
  xercesc::DOMDocumentType* type = doc.getDocument()->getDoctype();
  if (type != nullptr && type->getEntities() != nullptr) {
    for (XMLSize_t i = 0; i < type->getEntities()->getLength(); ++i) {
      all += CFXMLConverter(type->getEntities()->item(i)->getTextContent()).str();
    }
  }
  if (type != nullptr && type->getInternalSubset() != nullptr) {
    all += CFXMLConverter(type->getInternalSubset()).str();
  }
  return all;
}

// Sets LC_NUMERIC for one test and puts the old one back.
class NumericLocale {
 public:
  explicit NumericLocale(const char* name) : m_old(std::setlocale(LC_NUMERIC, nullptr)) {
    m_ok = std::setlocale(LC_NUMERIC, name) != nullptr;
  }
  ~NumericLocale() { std::setlocale(LC_NUMERIC, m_old.c_str()); }
  bool ok() const { return m_ok; }

 private:
  std::string m_old;
  bool m_ok = false;
};

TEST(CFXMLWrapperTest, EveryOperationOnAnEmptyWrapperReturns5) {
  CFXMLWrapper empty;
  CFXMLWrapper other;
  other.createNew("Root");
  CFXMLWrapper* out = nullptr;
  CfExtension::CFXMLIteratorWrapper* it = nullptr;
  std::string text;
  bool found = true;
  int i = 0;
  long long ll = 0;
  double d = 0;
  int kind = 0;
  char buf[8];
  size_t needed = 0;
  const std::vector<std::pair<const char*, std::function<int()>>> calls = {
      {"addElement name", [&] { return empty.addElement("A", &out); }},
      {"insertElementBefore", [&] { return empty.insertElementBefore("A", nullptr, &out); }},
      {"copyElement", [&] { return empty.copyElement(&other, &out); }},
      {"copyElementBefore", [&] { return empty.copyElementBefore(&other, nullptr, &out); }},
      {"getName", [&] { return empty.getName(text); }},
      {"getName buffer", [&] { return empty.getName(buf, sizeof(buf), &needed); }},
      {"getElementDirectIterator", [&] { return empty.getElementDirectIterator("A", &it); }},
      {"getElementIterator", [&] { return empty.getElementIterator("A", &it); }},
      {"getTextIterator", [&] { return empty.getTextIterator(&it); }},
      {"addAttribute text", [&] { return empty.addAttribute("a", "1"); }},
      {"addAttribute long long", [&] { return empty.addAttribute("a", 1LL); }},
      {"addAttribute double", [&] { return empty.addAttribute("a", 1.5); }},
      {"hasAttribute", [&] { return empty.hasAttribute("a", &i); }},
      {"removeAttribute", [&] { return empty.removeAttribute("a"); }},
      {"getAttribute text", [&] { return empty.getAttribute("a", text, found); }},
      {"getAttribute buffer", [&] { return empty.getAttribute("a", buf, sizeof(buf), &needed); }},
      {"getAttribute int", [&] { return empty.getAttribute("a", i, found); }},
      {"getAttribute long long", [&] { return empty.getAttribute("a", ll, found); }},
      {"getAttribute double", [&] { return empty.getAttribute("a", d, found, kind); }},
      // A child that is null or has no element is refused too.
      {"addElement null child",
       [&] { return other.addElement(static_cast<CFXMLWrapper*>(nullptr)); }},
      {"addElement empty child", [&] { return other.addElement(&empty); }},
      {"copyElement empty source", [&] { return other.copyElement(&empty, &out); }},
  };
  for (const auto& call : calls) {
    SCOPED_TRACE(call.first);
    EXPECT_EQ(CfExtension::kXMLBadArgument, call.second());
  }
  EXPECT_EQ(nullptr, empty.createFreeElement("A"));
  EXPECT_EQ(0, empty.dispose());
  // The refused children leave the document as it was.
  const std::string serialised = Serialise(other);
  EXPECT_EQ("<Root/>", serialised.substr(serialised.find("<Root")));
}

TEST(CFXMLWrapperTest, BufferFormsReportTheNeededSizeAndLeaveASmallBufferUntouched) {
  auto doc = Parse(MakeElement("Root", {{"a", "value"}}));
  ASSERT_NE(nullptr, doc->getElement());
  const std::string serialised = Serialise(*doc);
  struct Row {
    const char* what;
    std::string expected;
    std::function<int(char*, size_t, size_t*)> call;
  } rows[] = {
      {"doc2string", serialised,
       [&](char* b, size_t c, size_t* n) { return doc->doc2string(b, c, n); }},
      {"getName", "Root", [&](char* b, size_t c, size_t* n) { return doc->getName(b, c, n); }},
      {"getAttribute", "value",
       [&](char* b, size_t c, size_t* n) { return doc->getAttribute("a", b, c, n); }},
      {"absent attribute", "",
       [&](char* b, size_t c, size_t* n) { return doc->getAttribute("b", b, c, n); }},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    const size_t exact = row.expected.size() + 1;
    std::vector<char> buf(exact + 4, '#');
    size_t needed = 0;
    EXPECT_EQ(CfExtension::kXMLTooSmall, row.call(buf.data(), exact - 1, &needed));
    EXPECT_EQ(exact, needed);
    EXPECT_EQ(std::string(exact + 4, '#'), std::string(buf.begin(), buf.end()));

    needed = 0;
    EXPECT_EQ(CfExtension::kXMLTooSmall, row.call(nullptr, 0, &needed));
    EXPECT_EQ(exact, needed);

    needed = 0;
    ASSERT_EQ(CfExtension::kXMLOk, row.call(buf.data(), exact, &needed));
    EXPECT_EQ(exact, needed);
    EXPECT_EQ(row.expected, std::string(buf.data(), exact - 1));
    EXPECT_EQ('\0', buf[exact - 1]);
    EXPECT_EQ('#', buf[exact]);
  }
}

TEST(CFXMLWrapperTest, BuiltDocumentSerialisesAndLoadsBack) {
  auto doc = NewDocument("Root");
  CFXMLWrapper* b = nullptr;
  CFXMLWrapper* a = nullptr;
  ASSERT_EQ(0, doc->addElement("B", &b));
  ASSERT_EQ(0, doc->insertElementBefore("A", b, &a));
  ASSERT_EQ(0, b->addAttribute("text", "x<&\"y\xC3\xA9\xF0\x9F\x98\x80"));
  ASSERT_EQ(0, b->addAttribute("count", -7LL));
  ASSERT_EQ(0, b->addAttribute("ratio", 0.1));
  ASSERT_EQ(0, b->addAttribute("count", 9LL));  // replaces
  ASSERT_EQ(0, a->addText("one & two"));

  // A free element stays out of the tree until it is complete.
  std::unique_ptr<CFXMLWrapper> free(doc->createFreeElement("C"));
  ASSERT_NE(nullptr, free);
  ASSERT_EQ(0, free->addAttribute("done", "yes"));
  EXPECT_EQ(std::string::npos, Serialise(*doc).find("<C"));
  ASSERT_EQ(0, doc->addElement(free.get()));
  free.release();

  std::string text = Serialise(*doc);
  EXPECT_NE(
      std::string::npos,
      text.find("<Root><A>one &amp; two</A><B count=\"9\" ratio=\"0.1\" text=\"x&lt;&amp;&quot;y"
                "\xC3\xA9\xF0\x9F\x98\x80\"/><C done=\"yes\"/></Root>"))
      << text;
  // The element alone serialises without the document around it.
  EXPECT_EQ("<A>one &amp; two</A>", Serialise(*a));

  auto back = Parse(text);
  ASSERT_NE(nullptr, back->getElement());
  EXPECT_EQ(text, Serialise(*back));
  CfExtension::CFXMLIteratorWrapper* it = nullptr;
  ASSERT_EQ(0, back->getElementDirectIterator("B", &it));
  CFXMLWrapper* readB = it->nextElement();
  ASSERT_NE(nullptr, readB);
  int present = -1;
  EXPECT_EQ(0, readB->removeAttribute("count"));
  EXPECT_EQ(0, readB->removeAttribute("count"));  // absent: still 0
  EXPECT_EQ(0, readB->hasAttribute("count", &present));
  EXPECT_EQ(0, present);
  EXPECT_EQ(0, readB->hasAttribute("ratio", &present));
  EXPECT_EQ(1, present);
}

TEST(CFXMLWrapperTest, CopiesAreDeepAndLandWhereAsked) {
  auto source = Parse("<Src><X a=\"1\"><Y>t</Y></X></Src>");
  ASSERT_NE(nullptr, source->getElement());
  CfExtension::CFXMLIteratorWrapper* it = nullptr;
  ASSERT_EQ(0, source->getElementDirectIterator("X", &it));
  CFXMLWrapper* x = it->nextElement();
  ASSERT_NE(nullptr, x);

  auto doc = NewDocument("Root");
  CFXMLWrapper* last = nullptr;
  CFXMLWrapper* copy = nullptr;
  CFXMLWrapper* before = nullptr;
  ASSERT_EQ(0, doc->addElement("Last", &last));
  ASSERT_EQ(0, doc->copyElement(x, &copy));
  ASSERT_EQ(0, doc->copyElementBefore(x, last, &before));
  ASSERT_EQ(0, copy->addAttribute("a", "2"));  // the copy is its own
  EXPECT_NE(std::string::npos,
            Serialise(*doc).find("<Root><X a=\"1\"><Y>t</Y></X><Last/><X a=\"2\"><Y>t</Y></X>"
                                 "</Root>"))
      << Serialise(*doc);
  EXPECT_EQ("<X a=\"1\"><Y>t</Y></X>", Serialise(*x));

  // An element of another document cannot be attached as it is; the caller keeps it.
  std::unique_ptr<CFXMLWrapper> foreign(source->createFreeElement("F"));
  ASSERT_NE(nullptr, foreign);
  EXPECT_EQ(CfExtension::kXMLBadArgument, doc->addElement(foreign.get()));
  // A reference element that is not a child is refused.
  CFXMLWrapper* out = nullptr;
  EXPECT_EQ(CfExtension::kXMLBadArgument, doc->insertElementBefore("Z", x, &out));
  EXPECT_EQ(CfExtension::kXMLBadArgument, doc->addElement("bad name", &out));
}

TEST(CFXMLWrapperTest, FailedLoadLeavesNoDocumentAndSaysSo) {
  const char* rows[] = {"",        "<Root>",   "<Root></Other>",
                        "not xml", "<A/><B/>", "<?xml version=\"1.0\"?>"};
  for (const char* text : rows) {
    SCOPED_TRACE(text);
    CFXMLWrapper doc;
    doc.createNew("Earlier");  // a failed load must not leave this element behind
    testing::internal::CaptureStdout();
    doc.loadFromContents(text);
    std::string printed = testing::internal::GetCapturedStdout();
    EXPECT_EQ(nullptr, doc.getElement());
    EXPECT_EQ(nullptr, doc.getDocument());
    EXPECT_EQ("Caught unknown exception\n", printed);
    EXPECT_FALSE(doc.getLastError().empty());
    EXPECT_EQ("", Serialise(doc));
  }
  CFXMLWrapper doc;
  testing::internal::CaptureStdout();
  doc.loadFromContents(nullptr);
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(nullptr, doc.getElement());

  // A wrapper whose load failed loads the next good text.
  doc.loadFromContents("<Root/>");
  ASSERT_NE(nullptr, doc.getElement());
  std::string name;
  EXPECT_EQ(0, doc.getName(name));
  EXPECT_EQ("Root", name);
  EXPECT_TRUE(doc.getLastError().empty());
}

TEST(CFXMLWrapperTest, FailedCreateLeavesNoElement) {
  CFXMLWrapper doc;
  doc.createNew("Earlier");
  testing::internal::CaptureStdout();
  doc.createNew("not a name");
  std::string printed = testing::internal::GetCapturedStdout();
  EXPECT_EQ(0u, printed.rfind("Caught DOM Exception ", 0)) << printed;
  EXPECT_EQ('\n', printed.back());
  EXPECT_EQ(nullptr, doc.getDocument());
  EXPECT_EQ(nullptr, doc.getElement());
  EXPECT_EQ(CfExtension::kXMLBadArgument, doc.addAttribute("a", "1"));
}

TEST(CFXMLWrapperTest, DisposingAWrapperThatOwnsNoDocumentKeepsItsChildren) {
  auto doc = NewDocument("Root");
  CFXMLWrapper* child = nullptr;
  CFXMLWrapper* grandchild = nullptr;
  ASSERT_EQ(0, doc->addElement("A", &child));
  ASSERT_EQ(0, child->addElement("B", &grandchild));
  EXPECT_EQ(0, child->dispose());
  EXPECT_EQ(0, grandchild->addAttribute("still", "here"));
  EXPECT_NE(std::string::npos, Serialise(*doc).find("<A><B still=\"here\"/></A>"));
}

TEST(CFXMLWrapperTest, WritesUTF8WhateverTheLoadedDocumentDeclared) {
  auto doc = Parse("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><Root a=\"\xE9\"/>");
  ASSERT_NE(nullptr, doc->getElement());
  std::string text = Serialise(*doc);
  EXPECT_NE(std::string::npos, text.find("encoding=\"UTF-8\"")) << text;
  EXPECT_NE(std::string::npos, text.find("a=\"\xC3\xA9\"")) << text;
  auto back = Parse(text);
  ASSERT_NE(nullptr, back->getElement());
  EXPECT_EQ(text, Serialise(*back));
}

TEST(CFXMLWrapperTest, TextAttributeTellsAbsentFromEmpty) {
  auto doc = Parse(MakeElement("Root", {{"empty", ""}, {"full", "v"}}));
  ASSERT_NE(nullptr, doc->getElement());
  std::string value = "stale";
  bool found = true;
  EXPECT_EQ(0, doc->getAttribute("absent", value, found));
  EXPECT_FALSE(found);
  EXPECT_EQ("", value);
  value = "stale";
  EXPECT_EQ(0, doc->getAttribute("empty", value, found));
  EXPECT_TRUE(found);
  EXPECT_EQ("", value);
}

// The document <Root/> with attribute `name` set to `text`, or without it when `text` is null.
std::unique_ptr<CFXMLWrapper> RootWith(const char* name, const char* text) {
  auto doc = Parse(text == nullptr ? "<Root/>" : MakeElement("Root", {{name, text}}));
  EXPECT_NE(nullptr, doc->getElement());
  return doc;
}

TEST(CFXMLWrapperTest, IntegerAttributesReadTheirGrammarOnly) {
  struct Row {
    const char* text;  // null: no such attribute
    int rc;
    long long asInt;       // the int getter's value
    int rcLong;            // the long long getter
    long long asLongLong;  // its value
  } rows[] = {
      {nullptr, 0, 0, 0, 0},  // absent: no error, no value, not found
      {"", 5, 0, 5, 0},
      {"42", 0, 42, 0, 42},
      {"-17", 0, -17, 0, -17},
      {"+3", 0, 3, 0, 3},
      {" 8 ", 0, 8, 5, 0},  // the schema integer collapses white space
      {"12abc", 5, 0, 5, 0},
      {"1.5", 5, 0, 5, 0},
      {"abc", 5, 0, 5, 0},
      {"- 1", 5, 0, 5, 0},
      {"9223372036854775807", 0, -1, 0, 9223372036854775807LL},
      {"-9223372036854775808", 0, 0, 0, std::numeric_limits<long long>::min()},
      {"9223372036854775808", 5, 0, 5, 0},  // beyond 64 bits: no number, never a clipped one
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text == nullptr ? "(absent)" : row.text);
    auto doc = RootWith("n", row.text);
    // `found` starts as the opposite of what the getter must leave.
    const bool intFound = row.text != nullptr && row.rc == 0;
    int i = 99;
    bool found = !intFound;
    EXPECT_EQ(row.rc, doc->getAttribute("n", i, found));
    EXPECT_EQ(intFound, found);
    EXPECT_EQ(static_cast<int>(row.asInt), i);
    const bool longFound = row.text != nullptr && row.rcLong == 0;
    long long ll = 99;
    found = !longFound;
    EXPECT_EQ(row.rcLong, doc->getAttribute("n", ll, found));
    EXPECT_EQ(longFound, found);
    EXPECT_EQ(row.asLongLong, ll);
  }
}

TEST(CFXMLWrapperTest, DoubleAttributesReportTheirKind) {
  struct Row {
    const char* text;  // null: no such attribute
    int rc;
    int kind;
    double value;
  } rows[] = {
      {nullptr, 0, 42, 0},  // absent leaves the kind alone
      {"", 5, -1, 0},      {"1.5", 0, 0, 1.5},  {"-0.25e2", 0, 0, -25},
      {" 7 ", 0, 0, 7},    {".5", 0, 0, 0.5},   {"INF", 0, 2, 0},
      {"-INF", 0, 1, 0},   {"NaN", 0, 3, 0},    {"1e400", 0, 2, 0},  // too large: an infinity
      {"-1e400", 0, 1, 0}, {"1e-400", 0, 0, 0},                      // too small: zero
      {"inf", 5, -1, 0},   {"nan", 5, -1, 0},   {"1,5", 5, -1, 0},
      {"0x10", 5, -1, 0},  {"1e", 5, -1, 0},    {"abc", 5, -1, 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text == nullptr ? "(absent)" : row.text);
    auto doc = RootWith("x", row.text);
    const bool expectFound = row.text != nullptr && row.rc == 0;
    double value = 99;
    bool found = !expectFound;
    int kind = 42;
    EXPECT_EQ(row.rc, doc->getAttribute("x", value, found, kind));
    EXPECT_EQ(expectFound, found);
    EXPECT_EQ(row.kind, kind);
    EXPECT_EQ(row.value, value);
  }
}

// Numbers are written and read with a decimal point, whatever the numeric locale says.
TEST(CFXMLWrapperTest, NumbersAreWrittenWithFixedRulesAndReadBack) {
  struct Row {
    double value;
    const char* text;
    double back;  // what the text reads as
  } reals[] = {
      {1.5, "1.5", 1.5},
      {-0.1, "-0.1", -0.1},
      {-2.0, "-2", -2},
      {1e20, "1e+20", 1e20},
      {1.0 / 3, "0.333333333333333", 0.333333333333333},
      {123456789012345678.0, "1.23456789012346e+17", 1.23456789012346e+17},
  };
  const long long ints[] = {0, -7, std::numeric_limits<long long>::min(),
                            std::numeric_limits<long long>::max()};
  for (const char* locale : {"C", "de_DE.UTF-8"}) {
    NumericLocale numeric(locale);
    if (!numeric.ok()) continue;  // a machine without the German locale checks "C" only
    SCOPED_TRACE(locale);
    ASSERT_STREQ(std::string(locale) == "C" ? "." : ",", std::localeconv()->decimal_point);
    for (const Row& row : reals) {
      SCOPED_TRACE(row.text);
      auto doc = NewDocument("Root");
      ASSERT_EQ(0, doc->addAttribute("x", row.value));
      std::string text;
      bool found = false;
      ASSERT_EQ(0, doc->getAttribute("x", text, found));
      EXPECT_EQ(row.text, text);
      double back = 0;
      int kind = -2;
      EXPECT_EQ(0, doc->getAttribute("x", back, found, kind));
      EXPECT_EQ(0, kind);
      EXPECT_EQ(row.back, back);
    }
    for (long long value : ints) {
      SCOPED_TRACE(value);
      auto doc = NewDocument("Root");
      ASSERT_EQ(0, doc->addAttribute("n", value));
      std::string text;
      bool found = false;
      ASSERT_EQ(0, doc->getAttribute("n", text, found));
      EXPECT_EQ(std::to_string(value), text);
      long long back = 1;
      EXPECT_EQ(0, doc->getAttribute("n", back, found));
      EXPECT_EQ(value, back);
    }
  }
}

TEST(CFXMLWrapperTest, TabsAndCarriageReturnsAreEscapedWithATrailingNul) {
  struct Row {
    std::string in;
    std::string out;
  } rows[] = {
      {"", ""},
      {"plain\ntext", "plain\ntext"},
      {"a\tb", std::string("a&#x9;b\0", 8)},
      {"\r\n\t", std::string("&#xD;\n&#x9;\0", 12)},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.in);
    std::string text = row.in;
    CFXMLWrapper::handleTabAndCR(text);
    EXPECT_EQ(row.out, text);
  }

  // In a document: the value keeps its tab and carriage return through a write and a read.
  auto doc = Parse("<Root a=\"x&#9;y&#13;z\"/>");
  ASSERT_NE(nullptr, doc->getElement());
  std::string text = Serialise(*doc);
  ASSERT_FALSE(text.empty());
  EXPECT_EQ('\0', text.back());
  EXPECT_EQ(std::string::npos, text.find_first_of("\t\r"));
  EXPECT_NE(std::string::npos, text.find("a=\"x&#x9;y&#xD;z\""));
  EXPECT_EQ(1u, std::count(text.begin(), text.end(), '\0'));
  // The buffer form reports and copies that NUL too, then its own.
  std::vector<char> buf(text.size() + 1, '#');
  size_t needed = 0;
  ASSERT_EQ(0, doc->doc2string(buf.data(), buf.size(), &needed));
  EXPECT_EQ(text.size() + 1, needed);
  EXPECT_EQ('\0', buf[text.size() - 1]);
  EXPECT_EQ('\0', buf[text.size()]);

  auto back = Parse(text.c_str());
  ASSERT_NE(nullptr, back->getElement());
  std::string value;
  bool found = false;
  EXPECT_EQ(0, back->getAttribute("a", value, found));
  EXPECT_EQ("x\ty\rz", value);

  // Without a tab or carriage return there is no trailing NUL, even where the document's own
  // text spells their character references.
  const char* plainRows[] = {
      "<Root a=\"x\"/>",
      "<Root a=\"&amp;#x9;\">&amp;#xD;</Root>",
      "<Root><!-- &#x9; --></Root>",
      "<Root><![CDATA[&#xD; and &#x9;]]></Root>",
      "<Root><?pi &#x9;?></Root>",
      "<!DOCTYPE Root [<!-- &#x9; --><!ENTITY e \"&#38;#x9;\">]><Root/>",
  };
  for (const char* row : plainRows) {
    SCOPED_TRACE(row);
    auto parsed = Parse(row);
    ASSERT_NE(nullptr, parsed->getElement());
    std::string plain = Serialise(*parsed);
    ASSERT_FALSE(plain.empty());
    EXPECT_EQ('>', plain.back());
  }
  // A real tab after such a text still counts.
  EXPECT_EQ('\0', Serialise(*Parse("<Root><!-- &#x9; --><a b=\"&#9;\"/></Root>")).back());
}

// The internal subset is written as it was read: a character reference between its
// declarations would not parse, so its tabs stay while those elsewhere are escaped.
TEST(CFXMLWrapperTest, InternalSubsetKeepsItsTabsAndParsesAgain) {
  const std::string subset = "<!ENTITY\te \"v\tw\">\t";
  const std::string rows[] = {
      "<!DOCTYPE r [" + subset + "]><r a=\"&#9;\">&e;</r>",
      "<!DOCTYPE r [" + subset + "]><r>&e;</r>",  // nothing else to escape
      "<!--\t--><!DOCTYPE r [" + subset + "]><r>\t&e;</r>",
  };
  for (const std::string& xml : rows) {
    SCOPED_TRACE(xml);
    auto doc = Parse(xml);
    ASSERT_NE(nullptr, doc->getElement());
    const std::string text = Serialise(*doc);
    EXPECT_NE(std::string::npos, text.find("\">\t]>"));  // the tab between declarations
    auto back = Parse(text.c_str());
    ASSERT_NE(nullptr, back->getElement());
    EXPECT_EQ(text, Serialise(*back));
    // Outside the subset every tab is escaped, and only an escape adds the trailing NUL.
    const std::string outside = text.substr(text.find(']'));
    EXPECT_EQ(std::string::npos, outside.find('\t'));
    EXPECT_EQ(outside.find("&#x9;") != std::string::npos, text.back() == '\0');
  }
}

TEST(CFXMLWrapperTest, FilesLoadFromTheirFirstAngleBracket) {
  const std::string body = std::string("<Root a=\"1\">\r\n\xC3\xA9\0tail</Root>\n", 30);
  struct Row {
    const char* what;
    std::string bytes;
    std::string expected;
  } rows[] = {
      {"byte-order mark", "\xEF\xBB\xBF" + body, body},
      {"leading junk", "junk \n" + body, body},
      {"plain", body, body},
      {"no angle bracket", "\xEF\xBB\xBF no xml here", ""},
      {"empty", "", ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    TempFile file(row.bytes);
    EXPECT_EQ(row.expected, CFXMLWrapper::loadStringFromFile(file.path()));
  }
  EXPECT_EQ("", CFXMLWrapper::loadStringFromFile("/nonexistent/dir/file.xml"));

  // Saving truncates and writes up to the NUL.
  TempFile file("an older and much longer content");
  CFXMLWrapper::saveStringToFile(file.path(), "<New/>");
  EXPECT_EQ("<New/>", CFXMLWrapper::loadStringFromFile(file.path()));
  CFXMLWrapper::saveStringToFile("/nonexistent/dir/file.xml", "<New/>");  // ignored
}

TEST(CFXMLWrapperTest, ExternalEntitiesAreNeverRead) {
  const std::string secret = "SECRET-MARKER-7f3a";
  TempFile entityFile(secret);
  TempFile dtdFile("<!ENTITY leak \"" + secret + "\">");
  const std::string entityUrl = std::string("file://") + entityFile.path();
  const std::string dtdUrl = std::string("file://") + dtdFile.path();
  const std::string rows[] = {
      // A general entity in content, by URL and by plain path.
      "<!DOCTYPE Root [<!ENTITY x SYSTEM \"" + entityUrl + "\">]><Root>&x;</Root>",
      "<!DOCTYPE Root [<!ENTITY x SYSTEM \"" + std::string(entityFile.path()) +
          "\">]><Root>a&x;b</Root>",
      // A parameter entity that would declare an entity holding the secret.
      "<!DOCTYPE Root [<!ENTITY % p SYSTEM \"" + dtdUrl + "\"> %p;]><Root>&leak;</Root>",
      // An external DTD subset.
      "<!DOCTYPE Root SYSTEM \"" + dtdUrl + "\"><Root>&leak;</Root>",
      "<!DOCTYPE Root PUBLIC \"-//x//y\" \"" + dtdUrl + "\"><Root/>",
  };
  bool anyLoaded = false;
  for (const std::string& xml : rows) {
    SCOPED_TRACE(xml);
    testing::internal::CaptureStdout();
    auto doc = Parse(xml);
    std::string printed = testing::internal::GetCapturedStdout();
    anyLoaded = anyLoaded || doc->getElement() != nullptr;
    EXPECT_EQ(std::string::npos, EverythingIn(*doc).find(secret));
    EXPECT_EQ(std::string::npos, printed.find(secret));
    EXPECT_EQ(std::string::npos, doc->getLastError().find(secret));
  }
  EXPECT_TRUE(anyLoaded);  // refusing every DOCTYPE would pass the checks above trivially
  auto first = Parse(rows[0]);
  ASSERT_NE(nullptr, first->getElement());
  EXPECT_EQ(0u, xercesc::XMLString::stringLen(first->getElement()->getTextContent()));
}

TEST(CFXMLWrapperTest, EntityExpansionIsBounded) {
  // Ten levels of ten entities: 10^9 copies of "lol" wherever the last one is used.
  std::string laughs = "<!DOCTYPE Root [<!ENTITY l0 \"lol\">";
  for (int i = 1; i <= 9; ++i) {
    laughs += "<!ENTITY l" + std::to_string(i) + " \"";
    for (int k = 0; k < 10; ++k) laughs += "&l" + std::to_string(i - 1) + ";";
    laughs += "\">";
  }
  laughs += "]>";
  // One long entity used many times: few expansions, much text.
  const std::string wide = "<!DOCTYPE Root [<!ENTITY w \"" + std::string(100000, 'w') + "\">]>";
  std::string wideUses;
  for (int i = 0; i < 5000; ++i) wideUses += "&w;";
  const std::pair<const char*, std::string> rows[] = {
      {"billion laughs", laughs + "<Root>&l9;</Root>"},
      {"billion laughs in an attribute", laughs + "<Root a=\"&l9;\"/>"},
      {"long entity", wide + "<Root>" + wideUses + "</Root>"},
      {"long entity in an attribute", wide + "<Root a=\"" + wideUses + "\"/>"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.first);
    testing::internal::CaptureStdout();
    auto doc = Parse(row.second);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(nullptr, doc->getElement());
  }
  // Character references and the predefined entities are no expansions: any number loads.
  std::string escapes;
  for (int i = 0; i < 20000; ++i) escapes += "&amp;&#9;&lt;";
  EXPECT_NE(nullptr, Parse("<Root a=\"" + escapes + "\">" + escapes + "</Root>")->getElement());
  // A modest use of entities still loads.
  auto doc = Parse("<!DOCTYPE Root [<!ENTITY e \"ee\"><!ENTITY f \"&e;&e;\">]><Root>&f;&f;</Root>");
  ASSERT_NE(nullptr, doc->getElement());
  EXPECT_EQ("eeeeeeee", CFXMLConverter(doc->getElement()->getTextContent()).str());
}

TEST(CFXMLWrapperTest, ConverterReplacesBadUTF8AndKeepsEveryCharacter) {
  struct Row {
    const char* what;
    std::string in;
    std::u16string wide;
    std::string back;  // UTF-8 again
  } rows[] = {
      {"ascii", "abc", u"abc", "abc"},
      {"two and three bytes", "\xC3\xA9\xE2\x82\xAC", u"\u00E9\u20AC", "\xC3\xA9\xE2\x82\xAC"},
      {"four bytes", "\xF0\x9F\x98\x80x", u"\U0001F600x", "\xF0\x9F\x98\x80x"},
      {"highest", "\xF4\x8F\xBF\xBF", u"\U0010FFFF", "\xF4\x8F\xBF\xBF"},
      {"each length's edges", "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80",
       u"\u007F\u0080\u07FF\u0800\uFFFF\U00010000",
       "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80"},
      {"lone continuation", "a\x80z", u"a\uFFFDz", "a\xEF\xBF\xBDz"},
      {"truncated at the end", "a\xE2\x82", u"a\uFFFD\uFFFD", "a\xEF\xBF\xBD\xEF\xBF\xBD"},
      {"overlong", "\xC0\xAF", u"\uFFFD\uFFFD", "\xEF\xBF\xBD\xEF\xBF\xBD"},
      {"encoded surrogate", "\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD",
       "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
      {"beyond U+10FFFF", "\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD",
       "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
      {"invalid lead", "\xFF", u"\uFFFD", "\xEF\xBF\xBD"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    CFXMLConverter to16(row.in);
    const XMLCh* wide = to16;
    EXPECT_EQ(row.wide, std::u16string(reinterpret_cast<const char16_t*>(wide)));
    CFXMLConverter to8(wide);
    EXPECT_EQ(row.back, to8.str());
    EXPECT_STREQ(row.back.c_str(), static_cast<const char*>(to8));
  }
  // Unpaired surrogates in 16-bit text become U+FFFD too.
  const XMLCh lone[] = {0xD800, 'a', 0xDC00, 0};
  EXPECT_EQ(
      "\xEF\xBF\xBD"
      "a\xEF\xBF\xBD",
      CFXMLConverter(lone).str());
  const XMLCh highAtEnd[] = {'a', 0xDBFF, 0};
  EXPECT_EQ("a\xEF\xBF\xBD", CFXMLConverter(highAtEnd).str());
  EXPECT_EQ("", CFXMLConverter(static_cast<const char*>(nullptr)).str());
  EXPECT_EQ("", CFXMLConverter(static_cast<const XMLCh*>(nullptr)).str());
}

}  // namespace
