// The dataset summaries `cfmeta profile --summaries` computes: per field its valid and missing
// counts, and for a continuous field its moments up to the fourth, percentiles, interquartile
// range, outlier bounds and a histogram, or for a categorical one its distribution of
// categories with mode and median.
#ifndef TOOLS_CFMETA_SUMMARIES_H_
#define TOOLS_CFMETA_SUMMARIES_H_

#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "cfmeta/stats/cfsketches.h"

class CFCatStats;
class CFContStats;
class CFDatasetSummaries;
class CFMetaData;
class CFMoments;

namespace cfmeta_tool {

struct ColumnProfile;

// What one column adds to the summaries. At most one of the two blocks is given; a column
// with neither (no valid value) has no summary.
struct ColumnSummary {
  std::string name;
  uint64_t valid = 0;
  uint64_t missing = 0;
  // A continuous column: its moments, its extrema and its profile (percentiles, histogram).
  // Not owned.
  const CFMoments* moments = nullptr;
  const CFContStats* extrema = nullptr;
  const ColumnProfile* profile = nullptr;
  // A categorical column: its categories in ascending order. Not owned.
  const CFCatStats* categories = nullptr;
  // Or, for a text column with more distinct values than categories are kept for, its most
  // frequent values (most frequent first) out of `overflowCount` cells. Its median is not
  // known: ordering every text would cost more than the rest of the profile.
  std::vector<CFHeavyHitters::Item> overflow;
  uint64_t overflowCount = 0;
  bool exceeded = false;
};

// The summary tree of `columns`; null when no column has a summary. Statistics that do not
// exist for the data (the skewness of two values, say) are left out.
std::unique_ptr<CFDatasetSummaries> BuildSummaries(const std::vector<ColumnSummary>& columns);

// The summaries of `metadata`, one line per field, for `cfmeta show`; outlier bounds render
// through the field's display format.
void WriteSummaries(const CFMetaData& metadata, std::ostream& out);

}  // namespace cfmeta_tool

#endif  // TOOLS_CFMETA_SUMMARIES_H_
