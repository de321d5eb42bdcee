#include "tools/cfmeta/indent.h"

#include <gtest/gtest.h>

#include <string>

namespace cfmeta_tool {
namespace {

TEST(IndentTest, LaysOutElementsAndKeepsEveryTextAsWritten) {
  using namespace std::string_literals;
  struct Row {
    std::string xml;
    std::string indented;
  } rows[] = {
      {"<?xml version=\"1.0\" ?><a><b c=\"1\"><d/></b><e></e></a>",
       "<?xml version=\"1.0\" ?>\n<a>\n  <b c=\"1\">\n    <d/>\n  </b>\n  <e></e>\n</a>\n"},
      // A '>' or "/>" inside an attribute value ends no tag.
      {"<a x=\"1>2/\"><b y='/>'/></a>", "<a x=\"1>2/\">\n  <b y='/>'/>\n</a>\n"},
      // Character data, CDATA and white space alone stay as written, with their element.
      {"<a><b>one <c/> two</b><d><![CDATA[<x>]]></d><e> </e></a>",
       "<a>\n  <b>one <c/> two</b>\n  <d><![CDATA[<x>]]></d>\n  <e> </e>\n</a>\n"},
      {"<!--c--><a>\n      <!-- x --><b/>\n</a>\n\n",
       "<!--c-->\n<a>\n  <!-- x -->\n  <b/>\n</a>\n"},
      {"<a/>\0<b/>"s, "<a/>\n"},
      // Not a complete document: as it stands, with a line end.
      {"<a><b></a", "<a><b></a\n"},
      {"<a></a></b>", "<a></a></b>\n"},
      {"<a x=\"open></a>", "<a x=\"open></a>\n"},
      {"", ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.xml);
    EXPECT_EQ(row.indented, Indent(row.xml));
  }
}

}  // namespace
}  // namespace cfmeta_tool
