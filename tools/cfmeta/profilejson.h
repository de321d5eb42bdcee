// The profile of a data file as JSON, a form fixed so that scripts can rely on it:
//
//   {"records": ROWS, "columns": [COLUMN, ...]}   columns in file order
//
// Each column holds "name", "storage" (integer, real, string, date, time, timestamp), "level"
// (flag, nominal, ordinal, continuous), "count" (non-null cells), "nulls", "distinct",
// "distinct_exact", "min", "max" (texts: first and last by byte order) and "top" (at most ten
// {"value", "count"}, most frequent first; beyond the category limit with "error", the most
// the count may exceed the true one). Numbers, dates and times add "mean", "std", "skewness",
// "kurtosis" (null where undefined; the spread of dates in days, of times in seconds),
// "percentiles" (keys "1" "5" "25" "50" "75" "95" "99": the smallest value with at least that
// share of the cells at or below it), "percentiles_exact", "iqr", "outlier_bounds" ([lower,
// upper]: 1.5 interquartile ranges beyond the quartiles) and "histogram" ([{"lower", "upper",
// "count"}]); dates and times add "date_format" (as the file wrote them, "MM/DD/YYYY") and
// "date_order_assumed"; texts add "length" ({"min", "max", "mean"} in characters).
//
// Numbers are JSON numbers; dates, times and timestamps ISO 8601 text ("2015-01-31",
// "10:00:00", "2015-01-31T10:00:00"); texts as the file wrote them.
#ifndef TOOLS_CFMETA_PROFILEJSON_H_
#define TOOLS_CFMETA_PROFILEJSON_H_

#include <cstdint>
#include <string>
#include <vector>

#include "tools/cfmeta/profiler.h"

namespace cfmeta_tool {

// The profile as JSON text, indented, with a final line end.
std::string ProfileJson(const std::vector<ColumnProfile>& columns, uint64_t rows);

}  // namespace cfmeta_tool

#endif  // TOOLS_CFMETA_PROFILEJSON_H_
