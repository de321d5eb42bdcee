// Reads delimited text with a header row: RFC 4180 quoting (a quoted cell may hold the
// delimiter, line ends and doubled quotes), UTF-8 with an optional byte-order mark, or any
// encoding ICU converts, lines ended by LF or CRLF. Blank lines are skipped. Input arrives in
// pieces of any size, so a file of any length is read in bounded memory: the longest cell, not
// the whole file.
#ifndef TOOLS_CFMETA_CSVREADER_H_
#define TOOLS_CFMETA_CSVREADER_H_

#include <csv.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace cfmeta_tool {

class Transcoder;

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

struct CsvOptions {
  // The delimiter value that has the reader choose one of , ; tab | itself.
  static constexpr char kDetect = '\0';
  static constexpr size_t kDefaultMaxCellBytes = size_t{16} << 20;

  // The cell delimiter, or kDetect: the one of , ; tab | that splits the header into the most
  // columns and the complete lines after it, in the first block of input, into as many
  // (ignoring delimiters inside quotes); when no line agrees throughout, the one most lines
  // agree with; ',' when none splits the header.
  char delimiter = kDetect;
  // The input's encoding, by any name ICU knows. UTF-8 is checked as it is read; any other
  // encoding is converted to UTF-8 first.
  std::string encoding = "UTF-8";
  // Rows with another number of cells than the header are left out, counted, and reported in
  // one warning, instead of ending the read.
  bool skipBadRows = false;
  // The longest cell accepted; a longer one is most likely an unclosed quote running on.
  size_t maxCellBytes = kDefaultMaxCellBytes;
  // Receives each warning, without the input's name. May be empty: warnings are then dropped.
  // Warnings: a given delimiter that leaves the header one column while another of , ; tab |
  // would split it (after the first block), and the rows skipped (at Finish).
  std::function<void(const std::string&)> warn;
};

class CsvReader {
 public:
  // `name` is what error messages call the input. Throws ToolError with kExitBadUsage for an
  // encoding ICU does not know.
  CsvReader(std::string name, CsvOptions options, CsvSink& sink);
  // Reads UTF-8 with `delimiter`, stopping at the first row of another length than the header.
  CsvReader(std::string name, char delimiter, CsvSink& sink);
  ~CsvReader();
  CsvReader(const CsvReader&) = delete;
  CsvReader& operator=(const CsvReader&) = delete;

  // Parses the next piece of input. Throws ToolError, naming the input and line, for bytes that
  // are not text in the input's encoding, a row with another number of cells than the header
  // (unless such rows are skipped), a quote inside an unquoted cell or text after a closing
  // quote, or a cell longer than the options' maxCellBytes (naming the line where a quote left
  // open started). Until the first block is complete (64 KiB holding a line end, or the end of
  // the input) the input is only kept, not parsed.
  void Feed(const char* data, size_t length);
  // Ends the input; the last row needs no line end. Throws ToolError when there was no header
  // row, a quoted cell is never closed (naming the line it opened on) or the input ends inside
  // a character.
  void Finish();

  // Data rows handed on so far (the header and skipped rows not counted).
  uint64_t Rows() const { return m_rows; }
  // Rows skipped for their number of cells.
  uint64_t SkippedRows() const { return m_skipped; }

 private:
  // Where a UTF-8 sequence stands across pieces: continuation bytes still due, and the range
  // the next one must fall in.
  struct Utf8State {
    int need = 0;
    unsigned char low = 0x80, high = 0xBF;
  };

  std::string m_name;
  CsvOptions m_options;
  CsvSink& m_sink;
  csv_parser m_parser;
  std::unique_ptr<Transcoder> m_transcoder;
  void (*m_onCell)(void*, size_t, void*);
  // The first bytes, held until it is known whether they are a byte-order mark.
  std::string m_head;
  bool m_headDone = false;
  // The first block, held until the delimiter is settled.
  std::string m_block;
  bool m_blockHasLineEnd = false;
  bool m_settled = false;
  Utf8State m_utf8;
  uint64_t m_line = 1;
  uint64_t m_rows = 0;
  uint64_t m_rowsEnded = 0;
  bool m_inHeader = true;
  std::vector<std::string> m_names;
  size_t m_columns = 0;
  size_t m_column = 0;
  // The line a quoted cell still open at the last line end opened on (0: none), and which cell
  // it is (rows ended before it, its column).
  uint64_t m_quoteLine = 0;
  std::pair<uint64_t, size_t> m_quoteCell;
  // With skipBadRows: the current row's cells, each NUL-terminated in m_rowText, as (offset,
  // length) with offset npos for a null cell; the rows skipped and the line of the first.
  std::string m_rowText;
  std::vector<std::pair<size_t, size_t>> m_rowCells;
  uint64_t m_skipped = 0;
  uint64_t m_firstSkippedLine = 0;
  std::string m_error;
  std::exception_ptr m_sinkError;

  void Take(const char* data, size_t length);
  void Gather(const char* data, size_t length);
  void Settle(bool atEnd);
  void Drain();
  void Parse(const char* data, size_t length);
  void ParseLines(const char* data, size_t length);
  void NoteQuote();
  void CheckState();
  [[noreturn]] void Fail(const std::string& what) const;
  [[noreturn]] void FailNotText() const;
  // The length of the part of `data` that is UTF-8, carrying a sequence cut short across calls.
  static size_t CheckUtf8(Utf8State& state, const unsigned char* data, size_t length);
  static void OnCell(void* text, size_t length, void* self);
  static void OnCellKept(void* text, size_t length, void* self);
  static void OnRowEnd(int terminator, void* self);
};

}  // namespace cfmeta_tool

#endif  // TOOLS_CFMETA_CSVREADER_H_
