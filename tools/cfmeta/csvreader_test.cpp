#include "tools/cfmeta/csvreader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tools/cfmeta/toolerror.h"

namespace cfmeta_tool {
namespace {

using ::testing::HasSubstr;

// Keeps every cell as text, "-" for a null one.
class Cells : public CsvSink {
 public:
  void Header(const std::vector<std::string>& names) override {
    cells.insert(cells.end(), names.begin(), names.end());
  }
  void Cell(size_t, const char* text, size_t length) override {
    cells.push_back(text ? std::string(text, length) : "-");
  }
  void EndRow() override {}
  std::vector<std::string> cells;
};

// The cells read from `text` fed a byte at a time, or the message of the error thrown.
std::vector<std::string> ReadBytewise(const std::string& text, const std::string& encoding) {
  Cells sink;
  CsvOptions options;
  options.encoding = encoding;
  try {
    CsvReader reader("data.csv", options, sink);
    for (char c : text) reader.Feed(&c, 1);
    reader.Finish();
  } catch (const ToolError& e) {
    return {e.what()};
  }
  return sink.cells;
}

// Pieces may end inside a character; the text must not suffer for it.
TEST(CsvReaderTest, CharactersCutBetweenPiecesReadWhole) {
  const std::vector<std::string> expected = {"a", "b", "\xC3\xA9\xE2\x82\xAC", "\xF0\x9F\x98\x80"};
  EXPECT_EQ(expected, ReadBytewise("a,b\n\xC3\xA9\xE2\x82\xAC,\xF0\x9F\x98\x80\n", "utf-8"));
  // The same in UTF-16 with a byte-order mark; the last character is a surrogate pair.
  const std::string utf16(
      "\xFF\xFE"
      "a\0,\0b\0\n\0\xE9\0\xAC\x20,\0\x3D\xD8\x00\xDE\n\0",
      22);
  EXPECT_EQ(expected, ReadBytewise(utf16, "UTF-16"));
}

TEST(CsvReaderTest, BytesThatAreNotTextNameTheirLine) {
  struct Row {
    std::string text;
    const char* encoding;
    const char* message;
  } rows[] = {
      {"a\nok\nx\xC0\x80\n", "utf-8", "line 3: bytes that are not UTF-8; pass --encoding"},
      {"a\nok\n\xED\xA0\x80\n", "utf-8", "line 3: bytes that are not UTF-8"},  // a surrogate
      {"a\n\xF4\x90\x80\x80\n", "utf-8", "line 2: bytes that are not UTF-8"},  // past U+10FFFF
      {"a\n\xE2\n\x82\xAC\n", "utf-8", "line 2: bytes that are not UTF-8"},    // cut by a line end
      {"a\n\xE2\x82", "utf-8", "line 2: bytes that are not UTF-8"},            // cut by the end
      {"a\nok\n\xE9\n", "us-ascii", "line 3: bytes that are not valid us-ascii"},
      {std::string("a\0\n\0b", 5), "utf-16le", "line 2: the input ends inside a character"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    std::vector<std::string> read = ReadBytewise(row.text, row.encoding);
    ASSERT_EQ(1u, read.size());
    EXPECT_THAT(read[0], HasSubstr(std::string("data.csv: ") + row.message));
  }
}

}  // namespace
}  // namespace cfmeta_tool
