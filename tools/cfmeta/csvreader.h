// Reads delimited text with a header row: RFC 4180 quoting (a quoted cell may hold the
// delimiter, line ends and doubled quotes), UTF-8 with an optional byte-order mark, lines ended
// by LF or CRLF. Blank lines are skipped. Input arrives in pieces of any size, so a file of any
// length is read in bounded memory: the longest cell, not the whole file.
#ifndef TOOLS_CFMETA_CSVREADER_H_
#define TOOLS_CFMETA_CSVREADER_H_

#include <csv.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>
#include <vector>

namespace cfmeta_tool {

// What the reader hands on. A ToolError thrown here ends the read; the reader adds the input's
// name and line to its message.
class CsvSink {
 public:
  virtual ~CsvSink() = default;
  // The header row, once, before any data.
  virtual void Header(const std::vector<std::string>& names) = 0;
  // One cell of a data row. `text` is null for an empty cell; otherwise it holds `length`
  // bytes and a terminating NUL, and stays valid only during the call.
  virtual void Cell(size_t column, const char* text, size_t length) = 0;
  // The end of a data row whose cells matched the header.
  virtual void EndRow() = 0;
};

class CsvReader {
 public:
  // The longest cell accepted; a longer one is most likely an unclosed quote running on.
  static constexpr size_t kMaxCellBytes = size_t{16} << 20;

  // `name` is what error messages call the input.
  CsvReader(std::string name, char delimiter, CsvSink& sink);
  ~CsvReader();
  CsvReader(const CsvReader&) = delete;
  CsvReader& operator=(const CsvReader&) = delete;

  // Parses the next piece of input. Throws ToolError, naming the input and line, for a row
  // with another number of cells than the header, a quote inside an unquoted cell or text after
  // a closing quote, or a cell longer than kMaxCellBytes.
  void Feed(const char* data, size_t length);
  // Ends the input; the last row needs no line end. Throws ToolError when there was no header
  // row or a quoted cell is never closed.
  void Finish();

  // Data rows read so far (the header not counted).
  uint64_t Rows() const { return m_rows; }

 private:
  std::string m_name;
  CsvSink& m_sink;
  csv_parser m_parser;
  // The first bytes, held until it is known whether they are a byte-order mark.
  std::string m_head;
  bool m_headDone = false;
  uint64_t m_line = 1;
  uint64_t m_rows = 0;
  bool m_inHeader = true;
  std::vector<std::string> m_names;
  size_t m_columns = 0;
  size_t m_column = 0;
  std::string m_error;
  std::exception_ptr m_sinkError;

  void Parse(const char* data, size_t length);
  void CheckState();
  [[noreturn]] void Fail(const std::string& what) const;
  static void OnCell(void* text, size_t length, void* self);
  static void OnRowEnd(int terminator, void* self);
};

}  // namespace cfmeta_tool

#endif  // TOOLS_CFMETA_CSVREADER_H_
