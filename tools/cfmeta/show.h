// The readable form of a metadata document that `cfmeta show` prints.
#ifndef TOOLS_CFMETA_SHOW_H_
#define TOOLS_CFMETA_SHOW_H_

#include <cstddef>
#include <ostream>

class CFMetaData;

namespace cfmeta_tool {

// A table with one row per field (name, storage, measurement level, role, label, counts of
// values and labels, nulls, missing values, format, statistics), then the record counts and
// the shared formats. A column empty for every field is left out. Nulls are a count and its
// share of the records: from the field's summary (missing out of valid and missing) when it
// has one, else the records its statistics did not count; blank when neither is known.
// Minimum and maximum render through the field's display format, mean and standard deviation
// through it with two more decimals; categorical fields list their most frequent categories.
//
// With a `width`, each table fits in that many characters where it can: the widest of its long
// columns (labels, missing values, formats, statistics, members) lose characters one at a time
// down to 10 characters, then names down to 16, none narrower than its heading; cut text ends
// in an ellipsis. A `width` of 0 cuts nothing.
void WriteTable(const CFMetaData& metadata, std::ostream& out, size_t width = 0);

// The width tables fit on standard output: COLUMNS when it is set to a positive number, else
// the width of the terminal standard output is; 0 when it is no terminal.
size_t OutputWidth();

}  // namespace cfmeta_tool

#endif  // TOOLS_CFMETA_SHOW_H_
