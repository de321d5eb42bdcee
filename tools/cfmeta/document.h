// Reading metadata documents from files and rendering values for the tool's commands.
#ifndef TOOLS_CFMETA_DOCUMENT_H_
#define TOOLS_CFMETA_DOCUMENT_H_

#include <memory>
#include <string>

#include "cfmeta/field/cffield.h"
#include "cfmeta/format/cfformat.h"

class CFDatum;
class CFMetaData;

namespace cfmeta_tool {

// The whole file. Throws ToolError naming the file when it cannot be read.
std::string ReadFile(const std::string& path);

// Writes `text` up to its first NUL (an exported document may end in one) to `path`, or to
// standard output for an empty path. Throws ToolError when the write fails.
void WriteText(const std::string& path, const std::string& text);

// The metadata document in `path`, with at least one field. Otherwise throws ToolError saying
// why: the file cannot be read, is not well-formed XML (what and where, by line and column),
// or is XML but not a metadata document.
std::unique_ptr<CFMetaData> LoadDocument(const std::string& path);

// Why `text` does not load as a metadata document, beginning with `path`.
std::string Diagnose(const std::string& path, const std::string& text);

// The format a field's values display through: its private format, else the shared format it
// names, else the document's default for its storage; null when there is none.
const CFFormat* DisplayFormat(const CFMetaData& metadata, const CFField& field);

// What a real value of a field of `storage` counts: days for dates, seconds for times and
// timestamps, nothing for the rest.
CFFormat::ValueUnits UnitsOf(CFField::StorageType storage);

// `value` as display text through `format`, spaces around it kept. Without a format, or when
// the format cannot render it, the datum's plain text ("." for null, up to `digits`
// significant digits for reals).
std::string Render(const CFDatum& value, const CFFormat* format, CFFormat::ValueUnits units,
                   int digits = 15);

// `text` without the spaces a fixed-width format puts around it.
std::string Trim(const std::string& text);

// The datum a command-line text stands for in a field of `storage`: an empty text is null;
// a date, time or timestamp field also takes its ISO 8601 form. False when the text is not a
// value of that storage.
bool ParseValue(const std::string& text, CFField::StorageType storage, CFDatum& value);

// The document text of `value` in one of CFField's entity tables ("integer", "nominal");
// "?" for a value the table does not hold.
const char* EntityText(const CFField::EntityRow* table, uint32_t value);

}  // namespace cfmeta_tool

#endif  // TOOLS_CFMETA_DOCUMENT_H_
