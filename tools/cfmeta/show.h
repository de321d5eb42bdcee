// The readable form of a metadata document that `cfmeta show` prints.
#ifndef TOOLS_CFMETA_SHOW_H_
#define TOOLS_CFMETA_SHOW_H_

#include <ostream>

class CFMetaData;

namespace cfmeta_tool {

// A table with one row per field (name, storage, measurement level, role, label, counts of
// values and labels, missing values, format, statistics), then the record counts and the
// shared formats. Minimum and maximum render through the field's display format, mean and
// standard deviation through it with two more decimals; categorical fields list their most
// frequent categories.
void WriteTable(const CFMetaData& metadata, std::ostream& out);

}  // namespace cfmeta_tool

#endif  // TOOLS_CFMETA_SHOW_H_
