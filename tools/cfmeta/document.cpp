#include "tools/cfmeta/document.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>

#include "cfmeta/field/cfdatum.h"
#include "cfmeta/format/cfformat.h"
#include "cfmeta/metadata/cfmetadata.h"
#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/xml/cfxmlwrapper.h"
#include "tools/cfmeta/isodate.h"
#include "tools/cfmeta/toolerror.h"

namespace cfmeta_tool {

namespace {

namespace XMLElements = CfCppHelperV1::XMLElements;
using CfExtension::CFXMLWrapper;

// Every reason a document does not load reads as one line beginning with its file.
ToolError LoadFailure(const std::string& path, const std::string& message) {
  return ToolError(fmt::format("{}: error: {}", path, message), kExitBadInput,
                   ToolError::AsItStands);
}

std::string ReadFile(const std::string& path) {
  int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) throw LoadFailure(path, fmt::format("cannot read: {}", std::strerror(errno)));
  std::string text;
  struct stat info;
  if (fstat(fd, &info) == 0 && S_ISREG(info.st_mode)) text.reserve(info.st_size);
  char buffer[1 << 16];
  for (;;) {
    ssize_t n = read(fd, buffer, sizeof(buffer));
    if (n > 0) {
      text.append(buffer, static_cast<size_t>(n));
    } else if (n == 0) {
      break;
    } else if (errno != EINTR) {
      int error = errno;
      close(fd);
      throw LoadFailure(path, fmt::format("cannot read: {}", std::strerror(error)));
    }
  }
  close(fd);
  return text;
}

}  // namespace

void WriteText(const std::string& path, const std::string& text) {
  size_t length = std::strlen(text.c_str());
  if (path.empty()) {
    std::cout.write(text.data(), length);
    std::cout.flush();
    if (!std::cout) throw ToolError("standard output: cannot write");
    return;
  }
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  if (out) out.write(text.data(), length);
  if (out) out.close();
  if (!out) throw ToolError(fmt::format("{}: cannot write: {}", path, std::strerror(errno)));
}

std::unique_ptr<CFMetaData> LoadDocument(const std::string& path) {
  return LoadDocumentText(path, ReadFile(path));
}

std::unique_ptr<CFMetaData> LoadDocumentText(const std::string& path, const std::string& text) {
  if (text.find_first_not_of(" \t\r\n") == std::string::npos) {
    throw LoadFailure(path, "the file is empty");
  }
  // The parser reads the text only up to a NUL, so a document cut short there could load.
  if (text.find('\0') != std::string::npos) throw LoadFailure(path, "the file holds a NUL byte");
  // What the XML layer says about a text it cannot parse comes back in the load error; printed
  // too, it would mix into the documents and tables the tool writes on standard output.
  auto metadata = std::make_unique<CFMetaData>(text, nullptr, nullptr);
  const CFLoadError& error = metadata->GetLoadError();
  switch (error.kind) {
    case CFLoadError::NoError:
      if (metadata->FieldCount() > 0) return metadata;
      throw LoadFailure(path, fmt::format("the document holds no {} element", XMLElements::Field));
    case CFLoadError::MalformedXML: {
      std::string message = error.message.empty() ? "the text does not parse" : error.message;
      if (error.line <= 0) throw LoadFailure(path, message);
      throw ToolError(fmt::format("{}:{}:{}: error: {}", path, error.line, error.column, message),
                      kExitBadInput, ToolError::AsItStands);
    }
    default:
      throw LoadFailure(path, error.path.empty()
                                  ? error.message
                                  : fmt::format("{}: {}", error.path, error.message));
  }
}

CFFormat::ValueUnits UnitsOf(CFField::StorageType storage) {
  switch (storage) {
    case CFField::DateStorage:
      return CFFormat::Days;
    case CFField::TimeStorage:
    case CFField::TimestampStorage:
      return CFFormat::Seconds;
    default:
      return CFFormat::NoUnits;
  }
}

std::string Render(const CFDatum& value, const CFFormat* format, CFFormat::ValueUnits units,
                   int digits) {
  // A null reads the same whatever the format: a string format would render it as nothing.
  if (value.IsNull()) return ".";
  std::string text;
  if (format != nullptr && format->Format(value, units, text) == 0) return text;
  if (value.GetType() == CFDatum::Real) return fmt::format("{:.{}g}", value.GetReal(), digits);
  value.ToString(text, 0);
  return text;
}

std::string Trim(const std::string& text) {
  size_t first = text.find_first_not_of(' ');
  if (first == std::string::npos) return std::string();
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

bool ParseValue(const std::string& text, CFField::StorageType storage, CFDatum& value) {
  CFDatum::DataType type = CFField::DatumTypeOf(storage);
  if (text.empty()) {
    value = CFDatum::MakeNull(type);
    return true;
  }
  if (type == CFDatum::String) {
    value = CFDatum(text.c_str(), false);
    return true;
  }
  if (type == CFDatum::Integer) {
    long long integer;
    if (!CFXMLWrapper::ParseLongLong(text, integer)) return false;
    value = CFDatum(integer);
    return true;
  }
  double real;
  int decimals;
  bool iso =
      (storage == CFField::DateStorage && ParseIsoDate(text.data(), text.size(), real)) ||
      (storage == CFField::TimeStorage && ParseIsoTime(text.data(), text.size(), real, decimals)) ||
      (storage == CFField::TimestampStorage &&
       ParseIsoTimestamp(text.data(), text.size(), real, decimals));
  int kind = 0;
  if (!iso && (!CFXMLWrapper::ParseDouble(text, real, kind) || kind != 0)) return false;
  value = CFDatum(real);
  return true;
}

const char* EntityText(const CFField::EntityRow* table, uint32_t value) {
  for (const CFField::EntityRow* row = table; row->text != nullptr; ++row) {
    if (row->value == value) return row->text;
  }
  return "?";
}

}  // namespace cfmeta_tool
