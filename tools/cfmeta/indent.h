// Laying out an exported metadata document for people to read.
#ifndef TOOLS_CFMETA_INDENT_H_
#define TOOLS_CFMETA_INDENT_H_

#include <string>

namespace cfmeta_tool {

// `xml` (up to its first NUL) with one element per line, indented two spaces per level, and a
// final line end. Only white space between tags changes: an element that holds any character
// data (text or CDATA) keeps its content exactly as it stands on one line, so no text content
// or attribute value changes and the document loads to the same model. Text that does not
// read as a sequence of complete tags (say, a quote or tag left open) comes back unchanged
// but for the final line end.
std::string Indent(const std::string& xml);

}  // namespace cfmeta_tool

#endif  // TOOLS_CFMETA_INDENT_H_
