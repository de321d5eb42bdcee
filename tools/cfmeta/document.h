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

// Writes `text` up to its first NUL (an exported document may end in one) to `path`, or to
// standard output for an empty path. Throws ToolError when the write fails.
void WriteText(const std::string& path, const std::string& text);

// The metadata document in `path`, with at least one field. Otherwise throws ToolError with
// one line saying why: "PATH:LINE:COLUMN: error: MESSAGE" for text that is not well-formed
// XML, and "PATH: error: MESSAGE" for the rest, where MESSAGE begins with the offending
// element's path when the text is XML that does not load as metadata. The file being
// unreadable, empty or holding a NUL byte is said before any parse.
std::unique_ptr<CFMetaData> LoadDocument(const std::string& path);

// As LoadDocument, for `text` already read from `path` (or from "standard input").
std::unique_ptr<CFMetaData> LoadDocumentText(const std::string& path, const std::string& text);

// What a real value of a field of `storage` counts: days for dates, seconds for times and
// timestamps, nothing for the rest.
CFFormat::ValueUnits UnitsOf(CFField::StorageType storage);

// `value` as display text through `format`, spaces around it kept; "." for null, whatever the
// format. Without a format, or when the format cannot render it, the datum's plain text (up to
// `digits` significant digits for reals).
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
