#include "tools/cfmeta/csvreader.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <new>

#include "tools/cfmeta/toolerror.h"

namespace cfmeta_tool {

namespace {

const char kBom[] = "\xEF\xBB\xBF";

// Spaces around an unquoted cell are part of its text.
int NoSpace(unsigned char) { return 0; }

}  // namespace

CsvReader::CsvReader(std::string name, char delimiter, CsvSink& sink)
    : m_name(std::move(name)), m_sink(sink) {
  if (csv_init(&m_parser, CSV_STRICT | CSV_STRICT_FINI | CSV_APPEND_NULL | CSV_EMPTY_IS_NULL) !=
      0) {
    throw std::bad_alloc();
  }
  csv_set_delim(&m_parser, static_cast<unsigned char>(delimiter));
  csv_set_space_func(&m_parser, NoSpace);
}

CsvReader::~CsvReader() { csv_free(&m_parser); }

void CsvReader::Feed(const char* data, size_t length) {
  if (!m_headDone) {
    size_t take = std::min(length, sizeof(kBom) - 1 - m_head.size());
    m_head.append(data, take);
    data += take;
    length -= take;
    if (m_head.size() < sizeof(kBom) - 1) return;
    m_headDone = true;
    if (m_head != kBom) Parse(m_head.data(), m_head.size());
  }
  Parse(data, length);
}

void CsvReader::Finish() {
  if (!m_headDone) {
    m_headDone = true;
    Parse(m_head.data(), m_head.size());
  }
  int rc = csv_fini(&m_parser, OnCell, OnRowEnd, this);
  CheckState();
  if (rc != 0) Fail("a quoted cell is never closed");
  if (m_inHeader)
    throw ToolError(fmt::format("{}: the file is empty: there is no header row", m_name));
}

void CsvReader::Parse(const char* data, size_t length) {
  // Parsing a line at a time tells every callback which line it is on.
  const char* end = data + length;
  while (data < end) {
    const char* lineEnd = static_cast<const char*>(std::memchr(data, '\n', end - data));
    size_t piece =
        lineEnd ? static_cast<size_t>(lineEnd - data) + 1 : static_cast<size_t>(end - data);
    size_t parsed = csv_parse(&m_parser, data, piece, OnCell, OnRowEnd, this);
    CheckState();
    if (parsed != piece) {
      if (csv_error(&m_parser) == CSV_EPARSE) {
        Fail("malformed quoting: a quote inside an unquoted cell, or text after a closing quote");
      }
      throw std::bad_alloc();
    }
    if (csv_get_buffer_size(&m_parser) > kMaxCellBytes) {
      Fail(fmt::format("a cell longer than {} MiB; is a quote left open?", kMaxCellBytes >> 20));
    }
    data += piece;
    if (lineEnd) ++m_line;
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

void CsvReader::OnRowEnd(int, void* self) {
  CsvReader& reader = *static_cast<CsvReader*>(self);
  if (!reader.m_error.empty() || reader.m_sinkError) return;
  try {
    if (reader.m_inHeader) {
      reader.m_inHeader = false;
      reader.m_columns = reader.m_names.size();
      reader.m_sink.Header(reader.m_names);
      reader.m_names.clear();
      reader.m_names.shrink_to_fit();
    } else if (reader.m_column != reader.m_columns) {
      reader.m_error = fmt::format("{} {}, but the header has {}", reader.m_column,
                                   reader.m_column == 1 ? "cell" : "cells", reader.m_columns);
    } else {
      reader.m_sink.EndRow();
      ++reader.m_rows;
    }
  } catch (...) {
    reader.m_sinkError = std::current_exception();
  }
  reader.m_column = 0;
}

}  // namespace cfmeta_tool
