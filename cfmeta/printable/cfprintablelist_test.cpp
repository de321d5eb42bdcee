#include "cfmeta/printable/cfprintablelist.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "cfmeta/field/cfdatum.h"
#include "cfmeta/format/cfformat_testutil.h"
#include "cfmeta/format/cfnumberformat.h"
#include "cfmeta/format/cfstringformat.h"
#include "cfmeta/printable/cfprintable_testutil.h"
#include "cfmeta/printable/cfprintablevalue.h"

namespace {

using cfmeta_test::MakeElement;
using cfmeta_test::Written;

CFPrintableValue Text(const char* text) {
  return CFPrintableValue(CFDatum(text, false), CFPrintableValue::Plain, CFStringFormat(-1, false));
}

CFPrintableValue Number(long long value) {
  return CFPrintableValue(CFDatum(value), CFPrintableValue::Plain,
                          CFNumberFormat(CFNumberFormat::Standard, -1, 0));
}

template <typename List>
List Over(const std::string& pattern, const std::vector<const char*>& texts) {
  List list(pattern, false, 0);
  for (const char* text : texts) list.AppendToList(Text(text));
  return list;
}

// Answers every key with its own text in braces-free form "<key>#<mapId> {0}" and counts
// the calls.
class CountingLookUp : public CFResLookUp {
 public:
  void LookUp(const std::string& key, std::string& pattern, int mapId) override {
    ++calls;
    pattern = key + "#" + std::to_string(mapId) + " {0}";
  }
  int calls = 0;
};

TEST(CFPrintableListTest, PrintsPatternVerbatimWithoutArgumentsAndFormatsWithThem) {
  EXPECT_EQ("{0} of '{1}' {", CFPrintableList("{0} of '{1}' {", false, 0).Print());
  EXPECT_EQ("b before a, {2}", Over<CFPrintableList>("{1} before {0}, {2}", {"a", "b"}).Print());
  EXPECT_EQ("it's 7", [] {
    CFPrintableList list("it''s {0}", false, 0);
    list.AppendToList(Number(7));
    return list.Print();
  }());
  EXPECT_EQ("", Over<CFPrintableList>("{0", {"a"}).Print());  // does not compile

  // A null entry empties the list, which then prints its pattern as it stands.
  CFPrintableList list = Over<CFPrintableList>("[{0}]", {"kept"});
  const CFPrintableValue a = Text("a");
  list.SetList({&a, nullptr});
  EXPECT_EQ("[{0}]", list.Print());
  list.SetList({&a, &a});
  EXPECT_EQ("[a]", list.Print());
}

TEST(CFPrintableListTest, CopiesAreDeep) {
  std::unique_ptr<CFPrintableList> original(new CFPrintableList("{0}-{1}", false, 0));
  original->AppendToList(Over<CFPrintableList>("<{0}>", {"x"}));
  original->AppendToList(Text("y"));
  const CFPrintableList copied(*original);
  CFPrintableList assigned;
  assigned = *original;
  std::unique_ptr<CFPrintable> cloned(original->Clone());
  original->SetPattern("changed", false, 0);
  original->SetList({});
  original.reset();
  EXPECT_EQ("<x>-y", copied.Print());
  EXPECT_EQ("<x>-y", assigned.Print());
  EXPECT_EQ("<x>-y", cloned->Print());
}

TEST(CFPrintableListTest, KeyIsResolvedOnceThroughTheLookUpThenFromTheCache) {
  CountingLookUp lookUp;
  CFPrintableList list("greeting", true, 3);
  list.AppendToList(Text("a"));
  EXPECT_EQ("", list.Print());  // no look-up yet: an empty pattern
  list.SetResLookUp(&lookUp);
  EXPECT_EQ("greeting#3 a", list.Print());
  EXPECT_EQ("greeting#3 a", list.Print());
  EXPECT_EQ(1, lookUp.calls);

  list.SetPattern("other", true, 0);
  EXPECT_EQ("other#0 a", list.Print());
  EXPECT_EQ(2, lookUp.calls);

  // The look-up reaches nested lists, and the three-part list rebuilds its parts from the
  // resolved pattern.
  CFPrintableVList vlist("outer", true, 1);
  vlist.AppendToList(list);
  vlist.SetResLookUp(&lookUp);
  EXPECT_EQ("outer#1 other#0 a", [&] {
    CFPrintableList wrapper("{0}", false, 0);
    wrapper.AppendToList(vlist);
    wrapper.SetResLookUp(&lookUp);
    return wrapper.Print();
  }());

  // Once the look-up is taken away it is never called again, even for a fresh key.
  const int before = lookUp.calls;
  list.SetResLookUp(nullptr);
  list.SetPattern("third", true, 0);
  EXPECT_EQ("", list.Print());
  EXPECT_EQ(before, lookUp.calls);
}

TEST(CFPrintableListTest, WritesOnlyWhatSaysSomethingAndNestedListsRoundTrip) {
  CFPrintableList inner("{0}/{1}", true, -2);
  inner.AppendToList(Number(5));
  inner.AppendToList(Text("t"));
  CFPrintableVList vlist = Over<CFPrintableVList>("{0}/+{0}", {"p", "q"});
  CFPrintableList outer("[{0}] [{1}] [{2}]", false, 0);
  outer.SetList({&inner, &vlist, &inner});

  const std::string valueXml = Written(Number(5)) + Written(Text("t"));
  const std::string innerXml = MakeElement(
      "PrintableList", {{"isKey", "true"}, {"mapId", "-2"}, {"pattern", "{0}/{1}"}}, valueXml);
  const std::string vlistXml = MakeElement("PrintableVList", {{"pattern", "{0}/+{0}"}},
                                           Written(Text("p")) + Written(Text("q")));
  const std::string expected = MakeElement("PrintableList", {{"pattern", "[{0}] [{1}] [{2}]"}},
                                           innerXml + vlistXml + innerXml);
  const std::string written = Written(outer);
  EXPECT_EQ(expected, written);

  bool matched = false;
  std::unique_ptr<CFPrintable> back = cfmeta_test::ReadPrintable(written, matched);
  EXPECT_TRUE(matched);
  ASSERT_NE(nullptr, back);
  EXPECT_EQ(written, Written(*back));
  CountingLookUp lookUp;
  outer.SetResLookUp(&lookUp);
  back->SetResLookUp(&lookUp);
  EXPECT_EQ("[5/t#-2 5] [p+q] [5/t#-2 5]", outer.Print());
  EXPECT_EQ(outer.Print(), back->Print());
}

TEST(CFPrintableListTest, BadAttributeStopsTheReadingQuietly) {
  const std::string child = Written(Text("c"));
  struct Row {
    std::string xml;
    std::string rewritten;
  };
  const Row rows[] = {
      {MakeElement("PrintableList", {{"isKey", "true"}, {"mapId", "7"}}, child),
       MakeElement("PrintableList", {{"pattern", ""}})},
      {MakeElement("PrintableList", {{"pattern", "p"}, {"isKey", "yes"}, {"mapId", "7"}}, child),
       MakeElement("PrintableList", {{"pattern", "p"}})},
      {MakeElement("PrintableVList", {{"pattern", "p"}, {"isKey", "True"}, {"mapId", "7"}}, child),
       MakeElement("PrintableVList", {{"pattern", "p"}})},
      {MakeElement("PrintableList", {{"pattern", "p"}, {"isKey", "true"}, {"mapId", "x"}}, child),
       MakeElement("PrintableList", {{"isKey", "true"}, {"pattern", "p"}})},
      {MakeElement("PrintableList", {{"pattern", "p"}, {"isKey", "false"}, {"mapId", "0"}}, child),
       MakeElement("PrintableList", {{"pattern", "p"}}, child)},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.xml);
    bool matched = false;
    std::unique_ptr<CFPrintable> list = cfmeta_test::ReadPrintable(row.xml, matched);
    EXPECT_TRUE(matched);
    ASSERT_NE(nullptr, list);
    EXPECT_EQ(row.rewritten, Written(*list));
  }
  // The list without arguments prints its pattern untouched.
  bool matched = false;
  EXPECT_EQ("p", cfmeta_test::ReadPrintable(rows[1].xml, matched)->Print());
}

TEST(CFPrintableListTest, ChildThatCannotBeReadFailsTheWholeList) {
  const std::string good = Written(Text("c"));
  const std::string badValue = MakeElement("PrintableValue", {});
  std::string deep = good;
  for (int i = 0; i < 300; ++i) deep = MakeElement("PrintableList", {{"pattern", "{0}"}}, deep);
  const std::string rows[] = {
      MakeElement("PrintableList", {{"pattern", "{0}{1}"}}, good + badValue),
      MakeElement("PrintableVList", {{"pattern", "{0}"}}, good + MakeElement("Other", {})),
      MakeElement("PrintableList", {{"pattern", "{0}"}},
                  MakeElement("PrintableVList", {{"pattern", "{0}"}}, badValue)),
      deep,
  };
  for (const std::string& xml : rows) {
    SCOPED_TRACE(xml.substr(0, 200));
    bool matched = false;
    EXPECT_EQ(nullptr, cfmeta_test::ReadPrintable(xml, matched));
    EXPECT_TRUE(matched);
  }
  std::unique_ptr<CfExtension::CFXMLWrapper> doc = cfmeta_test::Parse(rows[0]);
  EXPECT_THROW(CFPrintableList list(*doc), CFPrintable::FailExcp);

  // Not a printable at all.
  bool matched = true;
  EXPECT_EQ(nullptr, cfmeta_test::ReadPrintable(MakeElement("Pattern", {}), matched));
  EXPECT_FALSE(matched);
}

TEST(CFPrintableListTest, ArgumentThatCannotBeWrittenFailsTheWrite) {
  CFPrintableList list("{0}{1}", false, 0);
  list.AppendToList(Text("ok"));
  list.AppendToList(CFPrintableValue(CFDatum(1.0 / 0.0), CFPrintableValue::Plain,
                                     CFNumberFormat(CFNumberFormat::Standard, -1, 0)));
  EXPECT_EQ("<none>", Written(list));
}

TEST(CFPrintableVListTest, RepeatsTheMiddleBetweenHeadAndTail) {
  const std::vector<const char*> letters = {"A", "B", "C", "D", "E"};
  struct Row {
    const char* pattern;
    size_t count;
    const char* expected;
  };
  const Row rows[] = {
      {"{0}/, {0}/ and {0}", 0, ""},
      {"{0}/, {0}/ and {0}", 1, "A"},
      {"{0}/, {0}/ and {0}", 2, "A and B"},
      {"{0}/, {0}/ and {0}", 4, "A, B, C and D"},
      {"{0}/ [{1}{0}]/ <{0}>", 4, "A [CB] <D>"},
      {"{0}/ [{1}{0}]/ <{0}>", 5, "A [CB] <E>"},  // D is left over
      {"{0}:{1}/;{0}/", 3, "A:B;C"},              // no tail placeholders
      {"{0}/ literal/ end", 3, "A"},              // parts without placeholders show nothing
      {"{0}:{1}/, {0}/ and {0}", 1, ""},          // too few for the head
      {"{0}/, {0}/ and {0}/!", 2, "A and B/!"},   // a third "/" stays in the tail
      {"{0}", 3, "A"},
      {"{0}/{0", 3, ""},  // one part does not compile
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.pattern) + " over " + std::to_string(row.count));
    CFPrintableVList list = Over<CFPrintableVList>(
        row.pattern, std::vector<const char*>(letters.begin(), letters.begin() + row.count));
    EXPECT_EQ(row.expected, list.Print());
    EXPECT_EQ(row.expected, list.Print());  // from the parts made by the first call
  }

  // SetPattern drops the parts made from the old pattern.
  CFPrintableVList list = Over<CFPrintableVList>("{0}/, {0}/ and {0}", {"A", "B", "C"});
  EXPECT_EQ("A, B and C", list.Print());
  list.SetPattern("{0}/ + {0}/ = {0}", false, 0);
  EXPECT_EQ("A + B = C", list.Print());

  // SetList replaces every argument; a null entry empties the list.
  const CFPrintableValue x = Text("X");
  const CFPrintableValue y = Text("Y");
  list.SetList({&x, &y});
  EXPECT_EQ("X = Y", list.Print());
  list.SetList({&x, nullptr});
  EXPECT_EQ("", list.Print());
}

TEST(CFPrintableVListTest, PartTakesOneArgumentPerTopLevelPlaceholder) {
  std::string many;
  for (int i = 0; i < 12; ++i) many += "{0}";
  struct Row {
    std::string part;
    int expected;
  };
  const Row rows[] = {
      {"", 0},    {"plain text", 0},  {"'{0}' quoted", 0}, {"{0}", 1},
      {"{1}", 1}, {"{0} and {1}", 2}, {"{0}{0}", 2},       {"{0,choice,0#none|1#{1} and {2}}", 1},
      {many, 12}, {"{0", -1},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.part);
    EXPECT_EQ(row.expected, CFPrintableVList::CountPartArguments(row.part));
  }
}

}  // namespace
