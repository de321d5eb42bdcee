// The weighted count of each distinct value of one categorical field.
//
// CFCatStats is the interface every accumulator of categories offers, whatever the type of its
// values; the typed accumulators (CFCatStatsInt, CFCatStatsDbl, CFCatStatsStr) live in
// cfcatstatsimp.h. Categories are numbered 0..GetNCats()-1, in the order their values were
// first seen until ReorderCats or SetLastCategory renumbers them. Weights are never negative.
#ifndef CFMETA_STATS_CFCATSTATS_H_
#define CFMETA_STATS_CFCATSTATS_H_

#include <cstdint>
#include <string>

#include "cfmeta/cfmeta_export.h"
#include "cfmeta/field/cfdatum.h"

namespace CfExtension {
class CFXMLWrapper;
}

class CFCatStatsDbl;

// A caller's order for string categories: true when `a` sorts before `b`. It must be a strict
// weak ordering; an order that is not one still leaves every category in place, only in an
// unspecified order.
class CFMETA_API CFCatStrLess {
 public:
  virtual ~CFCatStrLess();
  virtual bool operator()(const std::string& a, const std::string& b) const = 0;
};

class CFMETA_API CFCatStats {
 public:
  virtual ~CFCatStats();

  // A new copy of the same variant, owned by the caller.
  virtual CFCatStats* Clone() const = 0;
  virtual uint32_t GetNCats() const = 0;
  // The accumulated weight of category `catNum`; -1.0 when there is no such category.
  virtual double GetCatWeight(unsigned catNum) const = 0;
  // The category's value as a non-null datum of the variant's type; a null datum of that type
  // when there is no such category.
  virtual CFDatum GetCatValDatum(unsigned catNum) const = 0;
  // The sum of all weights in category order; 0.0 when there are no categories.
  virtual double GetSumWeights() const = 0;
  // Renumbers the categories in ascending (or descending) order of their values; each weight
  // follows its value.
  virtual void ReorderCats(bool ascending) = 0;
  // Sets every weight to 0.0; categories and their numbers stay.
  virtual void ClearSums() = 0;
  // A new accumulator over the category numbers: category i of this one becomes the value
  // (double)i of the result, with the same weight and the same number. Owned by the caller.
  virtual CFCatStatsDbl* CatNumVersion() const;
  // Appends one XMLElements::DiscreteStatistics element with an XMLElements::Category child
  // per category, in category order. The element is finished before it is attached, so on
  // failure `created` is null and `parent` is as it was. `created` is owned by the tree.
  virtual void AddToTree(CfExtension::CFXMLWrapper& parent,
                         CfExtension::CFXMLWrapper*& created) const = 0;

 protected:
  CFCatStats() = default;
  CFCatStats(const CFCatStats&) = default;
  CFCatStats& operator=(const CFCatStats&) = default;
};

#endif  // CFMETA_STATS_CFCATSTATS_H_
