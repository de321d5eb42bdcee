#include "tools/cfmeta/csvreader.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <new>

#include "tools/cfmeta/toolerror.h"
#include "tools/cfmeta/transcoder.h"

namespace cfmeta_tool {

namespace {

const char kBom[] = "\xEF\xBB\xBF";

// The delimiters detection chooses from, the first winning a tie.
constexpr char kCandidates[] = {',', ';', '\t', '|'};
constexpr size_t kCandidateCount = sizeof(kCandidates);
// The first block is at least this long and holds a line end, unless the input is shorter or
// its first line is longer than kDetectMaxBytes.
constexpr size_t kDetectBytes = size_t{64} << 10;
constexpr size_t kDetectMaxBytes = size_t{4} << 20;

// Spaces around an unquoted cell are part of its text.
int NoSpace(unsigned char) { return 0; }

CsvOptions OptionsWith(char delimiter) {
  CsvOptions options;
  options.delimiter = delimiter;
  return options;
}

std::string Shown(char delimiter) {
  return delimiter == '\t' ? std::string("'\\t'") : fmt::format("'{}'", delimiter);
}

// How each candidate, and one more delimiter at index kCandidateCount, splits a block: the
// header's columns (0 when there is no header line), and how many of the complete lines after
// it split into as many.
struct Splits {
  size_t header[kCandidateCount + 1] = {};
  size_t agreeing[kCandidateCount + 1] = {};
  size_t lines = 0;
};

// A quote toggles quoting whichever delimiter is in force: a doubled quote toggles twice, and a
// quote inside an unquoted cell is malformed anyway. A line left unfinished at the block's end
// counts only when the input ends there, or when it is the header.
Splits CountSplits(const char* data, size_t length, bool atEnd, char extra) {
  const char delimiters[kCandidateCount + 1] = {kCandidates[0], kCandidates[1], kCandidates[2],
                                                kCandidates[3], extra};
  Splits splits;
  size_t cells[kCandidateCount + 1];
  std::fill(std::begin(cells), std::end(cells), 1);
  bool quoted = false;
  bool inHeader = true;
  bool blank = true;
  auto endLine = [&]() {
    if (blank) return;  // the reader skips blank lines too
    for (size_t k = 0; k <= kCandidateCount; ++k) {
      if (inHeader) {
        splits.header[k] = cells[k];
      } else if (cells[k] == splits.header[k]) {
        ++splits.agreeing[k];
      }
      cells[k] = 1;
    }
    if (!inHeader) ++splits.lines;
    inHeader = false;
    blank = true;
  };
  for (size_t i = 0; i < length; ++i) {
    char c = data[i];
    if (c == '"') quoted = !quoted;
    if (quoted || c == '"') {
      blank = false;
      continue;
    }
    if (c == '\n') {
      endLine();
      continue;
    }
    if (c != '\r') blank = false;
    for (size_t k = 0; k <= kCandidateCount; ++k) cells[k] += c == delimiters[k];
  }
  if (atEnd || inHeader) endLine();
  return splits;
}

// The candidate that splits the header into the most columns among those every line agrees
// with; when there is none, the one most lines agree with. -1 when none splits the header.
int Choose(const Splits& splits) {
  int best = -1;
  for (size_t k = 0; k < kCandidateCount; ++k) {
    if (splits.header[k] < 2) continue;
    if (best < 0) {
      best = static_cast<int>(k);
      continue;
    }
    bool all = splits.agreeing[k] == splits.lines;
    bool bestAll = splits.agreeing[best] == splits.lines;
    if (all != bestAll) {
      if (all) best = static_cast<int>(k);
    } else if (!all && splits.agreeing[k] != splits.agreeing[best]) {
      if (splits.agreeing[k] > splits.agreeing[best]) best = static_cast<int>(k);
    } else if (splits.header[k] > splits.header[best]) {
      best = static_cast<int>(k);
    }
  }
  return best;
}

}  // namespace

CsvReader::CsvReader(std::string name, CsvOptions options, CsvSink& sink)
    : m_name(std::move(name)),
      m_options(std::move(options)),
      m_sink(sink),
      m_onCell(m_options.skipBadRows ? OnCellKept : OnCell) {
  if (!Transcoder::IsUtf8(m_options.encoding)) {
    m_transcoder = std::make_unique<Transcoder>(m_options.encoding);
  }
  if (csv_init(&m_parser, CSV_STRICT | CSV_STRICT_FINI | CSV_APPEND_NULL | CSV_EMPTY_IS_NULL) !=
      0) {
    throw std::bad_alloc();
  }
  csv_set_space_func(&m_parser, NoSpace);
}

CsvReader::CsvReader(std::string name, char delimiter, CsvSink& sink)
    : CsvReader(std::move(name), OptionsWith(delimiter), sink) {}

CsvReader::~CsvReader() { csv_free(&m_parser); }

void CsvReader::Feed(const char* data, size_t length) {
  if (!m_transcoder) {
    Take(data, length);
    return;
  }
  if (!m_transcoder->Convert(data, length, false,
                             [this](const char* text, size_t n) { Take(text, n); })) {
    Drain();
    Fail(fmt::format("bytes that are not valid {}", m_options.encoding));
  }
}

void CsvReader::Finish() {
  if (m_transcoder && !m_transcoder->Convert(nullptr, 0, true, [this](const char* text, size_t n) {
        Take(text, n);
      })) {
    Drain();
    Fail(fmt::format("the input ends inside a character of {}", m_options.encoding));
  }
  Drain();
  if (m_utf8.need != 0) FailNotText();
  NoteQuote();
  int rc = csv_fini(&m_parser, m_onCell, OnRowEnd, this);
  CheckState();
  if (rc != 0) {
    throw ToolError(
        fmt::format("{}: a quoted cell opened on line {} is never closed", m_name, m_quoteLine));
  }
  if (m_inHeader)
    throw ToolError(fmt::format("{}: the file is empty: there is no header row", m_name));
  if (m_skipped > 0 && m_options.warn) {
    m_options.warn(
        fmt::format("skipped {} {} whose number of cells differs from the header's "
                    "({}on line {})",
                    m_skipped, m_skipped == 1 ? "row" : "rows", m_skipped == 1 ? "" : "first ",
                    m_firstSkippedLine));
  }
}

void CsvReader::Take(const char* data, size_t length) {
  if (!m_headDone) {
    size_t take = std::min(length, sizeof(kBom) - 1 - m_head.size());
    m_head.append(data, take);
    data += take;
    length -= take;
    if (m_head.size() < sizeof(kBom) - 1) return;
    m_headDone = true;
    if (m_head != kBom) Gather(m_head.data(), m_head.size());
  }
  Gather(data, length);
}

void CsvReader::Gather(const char* data, size_t length) {
  if (m_settled) {
    Parse(data, length);
    return;
  }
  bool lineEnd = std::memchr(data, '\n', length) != nullptr;
  m_block.append(data, length);
  m_blockHasLineEnd = m_blockHasLineEnd || lineEnd;
  if ((m_blockHasLineEnd && m_block.size() >= kDetectBytes) || m_block.size() >= kDetectMaxBytes) {
    Settle(false);
  }
}

void CsvReader::Settle(bool atEnd) {
  m_settled = true;
  Splits splits = CountSplits(m_block.data(), m_block.size(), atEnd, m_options.delimiter);
  int best = Choose(splits);
  if (m_options.delimiter == CsvOptions::kDetect) {
    m_options.delimiter = best < 0 ? ',' : kCandidates[best];
  } else if (splits.header[kCandidateCount] == 1 && best >= 0 && m_options.warn) {
    m_options.warn(
        fmt::format("the header is one column with {}; it splits into {} with {} (--delimiter {})",
                    Shown(m_options.delimiter), splits.header[best], Shown(kCandidates[best]),
                    Shown(kCandidates[best])));
  }
  csv_set_delim(&m_parser, static_cast<unsigned char>(m_options.delimiter));
  std::string block;
  block.swap(m_block);
  Parse(block.data(), block.size());
}

void CsvReader::Drain() {
  if (!m_headDone) {
    m_headDone = true;
    Gather(m_head.data(), m_head.size());
  }
  if (!m_settled) Settle(true);
}

void CsvReader::Parse(const char* data, size_t length) {
  size_t valid = CheckUtf8(m_utf8, reinterpret_cast<const unsigned char*>(data), length);
  if (valid == length) {
    ParseLines(data, length);
    return;
  }
  // The lines before the one holding the bad bytes are read first: a fault there comes first.
  const void* lastEnd = memrchr(data, '\n', valid);
  ParseLines(data, lastEnd ? static_cast<const char*>(lastEnd) - data + 1 : 0);
  FailNotText();
}

void CsvReader::ParseLines(const char* data, size_t length) {
  // Parsing a line at a time tells every callback which line it is on.
  const char* end = data + length;
  while (data < end) {
    const char* lineEnd = static_cast<const char*>(std::memchr(data, '\n', end - data));
    size_t piece =
        lineEnd ? static_cast<size_t>(lineEnd - data) + 1 : static_cast<size_t>(end - data);
    size_t parsed = csv_parse(&m_parser, data, piece, m_onCell, OnRowEnd, this);
    CheckState();
    if (parsed != piece) {
      if (csv_error(&m_parser) == CSV_EPARSE) {
        Fail("malformed quoting: a quote inside an unquoted cell, or text after a closing quote");
      }
      throw std::bad_alloc();
    }
    if (m_parser.entry_pos > m_options.maxCellBytes) {
      std::string what = fmt::format("a cell longer than {} MiB (--max-cell-mib raises the limit)",
                                     m_options.maxCellBytes >> 20);
      if (m_parser.quoted) {
        NoteQuote();
        what += fmt::format("; is a quote left open since line {}?", m_quoteLine);
      }
      Fail(what);
    }
    data += piece;
    if (lineEnd) {
      NoteQuote();
      ++m_line;
    }
  }
}

void CsvReader::NoteQuote() {
  if (!m_parser.quoted) {
    m_quoteLine = 0;
    return;
  }
  std::pair<uint64_t, size_t> cell(m_rowsEnded, m_inHeader ? m_names.size() : m_column);
  if (m_quoteLine == 0 || cell != m_quoteCell) {
    m_quoteLine = m_line;
    m_quoteCell = cell;
  }
}

void CsvReader::CheckState() {
  if (m_sinkError) {
    std::exception_ptr error = m_sinkError;
    m_sinkError = nullptr;
    try {
      std::rethrow_exception(error);
    } catch (const ToolError& e) {
      Fail(e.what());
    }
  }
  if (!m_error.empty()) Fail(m_error);
}

void CsvReader::Fail(const std::string& what) const {
  throw ToolError(fmt::format("{}: line {}: {}", m_name, m_line, what));
}

void CsvReader::FailNotText() const {
  Fail(
      "bytes that are not UTF-8; pass --encoding latin1 (or windows-1252, iso-8859-15, ...) if "
      "the file is in another encoding");
}

// Sequences as Unicode allows them: no overlong forms, no surrogates, nothing past U+10FFFF.
size_t CsvReader::CheckUtf8(Utf8State& state, const unsigned char* data, size_t length) {
  size_t i = 0;
  for (;;) {
    while (state.need > 0) {
      if (i == length) return length;
      unsigned char c = data[i];
      if (c < state.low || c > state.high) return i;
      state.low = 0x80;
      state.high = 0xBF;
      --state.need;
      ++i;
    }
    // Text is mostly ASCII: sixteen bytes at a time while no high bit is set.
    while (length - i >= 16) {
      uint64_t a, b;
      std::memcpy(&a, data + i, 8);
      std::memcpy(&b, data + i + 8, 8);
      if ((a | b) & 0x8080808080808080ull) break;
      i += 16;
    }
    while (i < length && data[i] < 0x80) ++i;
    if (i == length) return length;
    unsigned char c = data[i];
    if (c < 0xC2 || c > 0xF4) return i;
    state.need = c < 0xE0 ? 1 : c < 0xF0 ? 2 : 3;
    if (c == 0xE0) state.low = 0xA0;
    if (c == 0xED) state.high = 0x9F;
    if (c == 0xF0) state.low = 0x90;
    if (c == 0xF4) state.high = 0x8F;
    ++i;
  }
}

// The parser is C: nothing may be thrown through it, so failures are kept until it returns,
// and every later callback is ignored.
void CsvReader::OnCell(void* text, size_t length, void* self) {
  CsvReader& reader = *static_cast<CsvReader*>(self);
  if (!reader.m_error.empty() || reader.m_sinkError) return;
  const char* cell = static_cast<const char*>(text);
  if (reader.m_inHeader) {
    reader.m_names.emplace_back(cell ? std::string(cell, length) : std::string());
    return;
  }
  if (reader.m_column < reader.m_columns) {
    try {
      reader.m_sink.Cell(reader.m_column, cell, length);
    } catch (...) {
      reader.m_sinkError = std::current_exception();
    }
  }
  ++reader.m_column;
}

// A row that may be skipped reaches the sink only once it is known to be whole.
void CsvReader::OnCellKept(void* text, size_t length, void* self) {
  CsvReader& reader = *static_cast<CsvReader*>(self);
  if (reader.m_inHeader) {
    OnCell(text, length, self);
    return;
  }
  if (!reader.m_error.empty() || reader.m_sinkError) return;
  if (reader.m_column < reader.m_columns) {
    size_t at = std::string::npos;
    if (text != nullptr) {
      at = reader.m_rowText.size();
      reader.m_rowText.append(static_cast<const char*>(text), length);
      reader.m_rowText.push_back('\0');
    }
    reader.m_rowCells.emplace_back(at, length);
  }
  ++reader.m_column;
}

void CsvReader::OnRowEnd(int, void* self) {
  CsvReader& reader = *static_cast<CsvReader*>(self);
  if (!reader.m_error.empty() || reader.m_sinkError) return;
  ++reader.m_rowsEnded;
  try {
    if (reader.m_inHeader) {
      reader.m_inHeader = false;
      reader.m_columns = reader.m_names.size();
      reader.m_sink.Header(reader.m_names);
      reader.m_names.clear();
      reader.m_names.shrink_to_fit();
    } else if (reader.m_column != reader.m_columns) {
      if (reader.m_options.skipBadRows) {
        if (reader.m_skipped++ == 0) reader.m_firstSkippedLine = reader.m_line;
      } else {
        reader.m_error = fmt::format("{} {}, but the header has {}", reader.m_column,
                                     reader.m_column == 1 ? "cell" : "cells", reader.m_columns);
      }
    } else {
      if (reader.m_options.skipBadRows) {
        for (size_t i = 0; i < reader.m_rowCells.size(); ++i) {
          const std::pair<size_t, size_t>& cell = reader.m_rowCells[i];
          reader.m_sink.Cell(
              i, cell.first == std::string::npos ? nullptr : reader.m_rowText.data() + cell.first,
              cell.second);
        }
      }
      reader.m_sink.EndRow();
      ++reader.m_rows;
    }
  } catch (...) {
    reader.m_sinkError = std::current_exception();
  }
  reader.m_column = 0;
  reader.m_rowText.clear();
  reader.m_rowCells.clear();
}

}  // namespace cfmeta_tool
