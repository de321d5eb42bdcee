#include "tools/cfmeta/document.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>

#include "cfmeta/field/cfdatum.h"
#include "cfmeta/format/cfformat.h"
#include "cfmeta/metadata/cfmetadata.h"
#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/xml/cfxmliteratorwrapper.h"
#include "cfmeta/xml/cfxmlwrapper.h"
#include "tools/cfmeta/isodate.h"
#include "tools/cfmeta/toolerror.h"

namespace cfmeta_tool {

namespace {

namespace XMLElements = CfCppHelperV1::XMLElements;
using CfExtension::CFXMLIteratorWrapper;
using CfExtension::CFXMLWrapper;

// The XML layer reports a failed parse on standard output, where the tool writes documents and
// tables; parses run with standard output sent to /dev/null instead.
class QuietStdout {
 public:
  QuietStdout() {
    std::cout.flush();
    std::fflush(stdout);
    m_saved = dup(STDOUT_FILENO);
    int null = open("/dev/null", O_WRONLY);
    if (m_saved >= 0 && null >= 0) dup2(null, STDOUT_FILENO);
    if (null >= 0) close(null);
  }
  ~QuietStdout() {
    std::cout.flush();
    std::fflush(stdout);
    if (m_saved >= 0) {
      dup2(m_saved, STDOUT_FILENO);
      close(m_saved);
    }
  }
  QuietStdout(const QuietStdout&) = delete;
  QuietStdout& operator=(const QuietStdout&) = delete;

 private:
  int m_saved;
};

// The number of direct children of `parent` named `name`.
int CountChildren(const CFXMLWrapper& parent, const char* name) {
  CFXMLIteratorWrapper* children = nullptr;
  if (parent.getElementDirectIterator(name, &children) != 0 || children == nullptr) return 0;
  int count = 0;
  while (children->nextElement() != nullptr) ++count;
  return count;
}

}  // namespace

std::string ReadFile(const std::string& path) {
  int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) throw ToolError(fmt::format("{}: cannot read: {}", path, std::strerror(errno)));
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
      throw ToolError(fmt::format("{}: cannot read: {}", path, std::strerror(error)));
    }
  }
  close(fd);
  return text;
}

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
  std::string text = ReadFile(path);
  std::unique_ptr<CFMetaData> metadata;
  {
    QuietStdout quiet;
    metadata = std::make_unique<CFMetaData>(text, nullptr);
  }
  if (metadata->FieldCount() == 0) throw ToolError(Diagnose(path, text));
  return metadata;
}

std::string Diagnose(const std::string& path, const std::string& text) {
  if (text.find_first_not_of(" \t\r\n") == std::string::npos) {
    return fmt::format("{}: the file is empty", path);
  }
  if (text.find('\0') != std::string::npos) {
    return fmt::format("{}: not well-formed XML: the file holds a NUL byte", path);
  }
  CFXMLWrapper doc;
  {
    QuietStdout quiet;
    doc.loadFromContents(text.c_str());
  }
  if (doc.getElement() == nullptr) {
    std::string error = doc.getLastError();
    if (error.empty()) error = "the text does not parse";
    return fmt::format("{}: not well-formed XML: {}", path, error);
  }
  std::string why = "a field, format, group or count in it is invalid";
  int lists = CountChildren(doc, XMLElements::Fields);
  if (lists == 0) {
    why = fmt::format("it has no {} element", XMLElements::Fields);
  } else {
    CFXMLIteratorWrapper* iterator = nullptr;
    CFXMLWrapper* fields = nullptr;
    if (doc.getElementDirectIterator(XMLElements::Fields, &iterator) == 0 && iterator) {
      fields = iterator->nextElement();
    }
    if (fields != nullptr && CountChildren(*fields, XMLElements::Field) == 0) {
      why = fmt::format("its {} element holds no {} element", XMLElements::Fields,
                        XMLElements::Field);
    }
  }
  return fmt::format("{}: not a valid metadata document: {}", path, why);
}

const CFFormat* DisplayFormat(const CFMetaData& metadata, const CFField& field) {
  if (const CFFormat* own = field.GetPrivateFormat()) return own;
  std::string reference = field.GetFormatReference();
  if (!reference.empty()) {
    if (const CFFormat* shared = metadata.GetSharedFormat(reference)) return shared;
  }
  return metadata.GetDefaultFormat(field.GetStorage());
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
  std::string text;
  if (format != nullptr && format->Format(value, units, text) == 0) return text;
  if (value.IsNull()) return ".";
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
