// The typed category accumulators: CFCatStatsInt (64-bit integers), CFCatStatsDbl (doubles) and
// CFCatStatsStr (byte strings), all built on CFCatStatsImp<T>.
//
// An accumulator read from a damaged XMLElements::DiscreteStatistics element has no categories
// at all; reading never throws. Copies are deep.
#ifndef CFMETA_STATS_CFCATSTATSIMP_H_
#define CFMETA_STATS_CFCATSTATSIMP_H_

#include <cstdint>
#include <map>
#include <string>
#include <type_traits>
#include <vector>

#include "cfmeta/cfmeta_export.h"
#include "cfmeta/stats/cfcatstats.h"

// Category storage and every operation shared by the typed accumulators. Use it through
// CFCatStatsInt, CFCatStatsDbl or CFCatStatsStr.
template <typename T>
class CFMETA_API CFCatStatsImp : public CFCatStats {
 public:
  // How a value is passed and returned: strings by const reference, numbers by value.
  using Arg = typename std::conditional<std::is_class<T>::value, const T&, T>::type;

  // The category number of a value that is not a category.
  static constexpr uint32_t kNoCategory = 0xFFFFFFFFu;

  ~CFCatStatsImp() override;

  // Adds `weight` to the category of `value`, opening a new category numbered GetNCats() when
  // the value is new (even for a zero weight). False, and nothing changes, when the weight is
  // negative or NaN, when the value is a NaN (it could never be found again), or when every
  // category number is taken.
  bool Update(Arg value, double weight);
  // As Update, but never opens a category: false also when `value` is not a category yet.
  bool UpdateIfKnown(Arg value, double weight);
  // Updates this accumulator with each of `other`'s categories in ascending value order, so
  // values new here are numbered in that order, not in `other`'s numbering.
  void Pool(const CFCatStatsImp& other);
  // The value of category `catNum`; -1, -1.0 or the empty string when there is none. A string
  // stays valid until this accumulator next changes.
  Arg GetCatVal(unsigned catNum) const;
  // The category number of `value`, or kNoCategory.
  uint32_t GetCatNum(Arg value) const;
  // Moves the category of `value` to the end of the numbering; the others keep their order and
  // close up. A value that is not a category changes nothing.
  virtual void SetLastCategory(Arg value);

  uint32_t GetNCats() const override;
  double GetCatWeight(unsigned catNum) const override;
  CFDatum GetCatValDatum(unsigned catNum) const override;
  double GetSumWeights() const override;
  void ReorderCats(bool ascending) override;
  void ClearSums() override;
  void AddToTree(CfExtension::CFXMLWrapper& parent,
                 CfExtension::CFXMLWrapper*& created) const override;

 protected:
  CFCatStatsImp();
  // Reads the categories of an XMLElements::DiscreteStatistics element; see the variants.
  explicit CFCatStatsImp(const CfExtension::CFXMLWrapper& elem);
  CFCatStatsImp(const CFCatStatsImp& other);
  CFCatStatsImp& operator=(const CFCatStatsImp& other);

  // Renumbers so that new category i is old category order[i]. Requires: `order` is a
  // permutation of 0..GetNCats()-1.
  void Renumber(const std::vector<uint32_t>& order);

  // Value -> category number, in the value's natural order.
  std::map<T, uint32_t> m_catNums;
  // Category number -> value and weight.
  std::vector<T> m_vals;
  std::vector<double> m_weights;

 private:
  // An open-addressing index from value to category number in front of m_catNums, so that
  // the update of a known value costs one hash and usually one comparison.
  struct Slot {
    uint32_t hash;
    uint32_t cat;  // kNoCategory marks a free slot
  };
  std::vector<Slot> m_index;

  // The category of `value`, or kNoCategory.
  uint32_t Find(Arg value, uint32_t hash) const;
  // Opens a new category; false when every category number is taken.
  bool Append(Arg value, uint32_t hash, double weight);
  void Clear();
  // Requires: `index` has a power-of-two size and a free slot.
  static void Place(std::vector<Slot>& index, Slot slot);
};

extern template class CFCatStatsImp<long long>;
extern template class CFCatStatsImp<double>;
extern template class CFCatStatsImp<std::string>;

class CFMETA_API CFCatStatsInt : public CFCatStatsImp<long long> {
 public:
  CFCatStatsInt() = default;
  // Reads an XMLElements::DiscreteStatistics element whose category values are 64-bit integers.
  explicit CFCatStatsInt(const CfExtension::CFXMLWrapper& elem) : CFCatStatsImp(elem) {}
  CFCatStatsInt* Clone() const override;
};

class CFMETA_API CFCatStatsDbl : public CFCatStatsImp<double> {
 public:
  CFCatStatsDbl() = default;
  // Reads an XMLElements::DiscreteStatistics element whose category values are finite doubles.
  explicit CFCatStatsDbl(const CfExtension::CFXMLWrapper& elem) : CFCatStatsImp(elem) {}
  CFCatStatsDbl* Clone() const override;
};

class CFMETA_API CFCatStatsStr : public CFCatStatsImp<std::string> {
 public:
  CFCatStatsStr() = default;
  // Reads an XMLElements::DiscreteStatistics element whose category values are texts.
  explicit CFCatStatsStr(const CfExtension::CFXMLWrapper& elem) : CFCatStatsImp(elem) {}
  CFCatStatsStr* Clone() const override;

  using CFCatStatsImp::ReorderCats;
  // Renumbers the categories in the caller's order; each weight follows its value. Categories
  // the order finds equivalent keep their relative numbering. If `less` throws, the exception
  // passes through and the accumulator is unchanged.
  virtual void ReorderCats(CFCatStrLess& less);
};

#endif  // CFMETA_STATS_CFCATSTATSIMP_H_
