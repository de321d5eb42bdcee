// A value of the summary tree that a document may leave out: the value and whether it was
// given. A value not given holds its type's zero.
#ifndef CFMETA_SUMMARIES_CFSUMMARYOPTIONAL_H_
#define CFMETA_SUMMARIES_CFSUMMARYOPTIONAL_H_

#include <string>

template <typename T>
struct CFSummaryOptional {
  T value{};
  bool given = false;
};

#endif  // CFMETA_SUMMARIES_CFSUMMARYOPTIONAL_H_
