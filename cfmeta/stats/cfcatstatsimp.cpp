#include "cfmeta/stats/cfcatstatsimp.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <memory>
#include <numeric>

#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/xml/cfxmlexchange_internal.h"
#include "cfmeta/xml/cfxmliteratorwrapper.h"
#include "cfmeta/xml/cfxmlwrapper.h"

using CfExtension::CFXMLWrapper;
namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLElements = CfCppHelperV1::XMLElements;

namespace {

// What GetCatVal hands out for a string category that does not exist.
const std::string kNoString;

// The index starts at this many slots and is kept at most a quarter full, so that a lookup
// rarely probes past its first slot.
constexpr size_t kMinSlots = 16;

uint32_t Mix(uint64_t x) {
  x ^= x >> 33;
  x *= 0xff51afd7ed558ccdULL;
  x ^= x >> 33;
  x *= 0xc4ceb9fe1a85ec53ULL;
  x ^= x >> 33;
  return static_cast<uint32_t>(x);
}

// Everything that differs between the value types: hashing, the sentinel of a missing
// category, the datum type and the XML attribute read and write.
template <typename T>
struct CatTraits;

template <>
struct CatTraits<long long> {
  static uint32_t Hash(long long value) { return Mix(static_cast<uint64_t>(value)); }
  static bool Usable(long long) { return true; }
  static long long Missing() { return -1; }
  static CFDatum Datum(long long value) { return CFDatum(value); }
  static constexpr CFDatum::DataType kType = CFDatum::Integer;
  static bool Read(const CFXMLWrapper& elem, long long& value) {
    bool found = false;
    return elem.getAttribute(XMLAttributes::Category, value, found) == 0 && found;
  }
  static int Write(CFXMLWrapper& elem, long long value) {
    return elem.addAttribute(XMLAttributes::Category, value);
  }
};

template <>
struct CatTraits<double> {
  static uint32_t Hash(double value) {
    // 0.0 and -0.0 are one category, so they must hash alike.
    if (value == 0.0) value = 0.0;
    uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return Mix(bits);
  }
  // A NaN is equal to nothing and unordered, so it could never be found again.
  static bool Usable(double value) { return !std::isnan(value); }
  static double Missing() { return -1.0; }
  static CFDatum Datum(double value) { return CFDatum(value); }
  static constexpr CFDatum::DataType kType = CFDatum::Real;
  static bool Read(const CFXMLWrapper& elem, double& value) {
    bool found = false;
    int kind = -1;
    return elem.getAttribute(XMLAttributes::Category, value, found, kind) == 0 && found &&
           kind == 0;
  }
  static int Write(CFXMLWrapper& elem, double value) {
    return elem.addAttribute(XMLAttributes::Category, value);
  }
};

template <>
struct CatTraits<std::string> {
  static uint32_t Hash(const std::string& value) {
    const uint64_t full = std::hash<std::string>()(value);
    return static_cast<uint32_t>(full ^ (full >> 32));
  }
  static bool Usable(const std::string&) { return true; }
  static const std::string& Missing() { return kNoString; }
  static CFDatum Datum(const std::string& value) { return CFDatum(value.c_str(), false); }
  static constexpr CFDatum::DataType kType = CFDatum::String;
  static bool Read(const CFXMLWrapper& elem, std::string& value) {
    bool found = false;
    return elem.getAttribute(XMLAttributes::Category, value, found) == 0 && found;
  }
  static int Write(CFXMLWrapper& elem, const std::string& value) {
    return elem.addAttribute(XMLAttributes::Category, value.c_str());
  }
};

// A Category child's weight: absent reads as 0.0; anything but a finite, non-negative number
// makes the child unusable.
bool ReadWeight(const CFXMLWrapper& elem, double& weight) {
  bool found = false;
  int kind = -1;
  if (elem.getAttribute(XMLAttributes::SumFreqWts, weight, found, kind) != 0) return false;
  return !found || (kind == 0 && weight >= 0.0);
}

// Wraps the caller's string order for the standard sort.
struct StrCatCompare {
  const std::vector<std::string>& vals;
  CFCatStrLess& less;
  bool operator()(uint32_t a, uint32_t b) const { return less(vals[a], vals[b]); }
};

}  // namespace

template <typename T>
CFCatStatsImp<T>::CFCatStatsImp() = default;

template <typename T>
CFCatStatsImp<T>::CFCatStatsImp(const CFXMLWrapper& elem) {
  CfExtension::CFXMLIteratorWrapper* children = nullptr;
  if (elem.getElementDirectIterator(XMLElements::Category, &children) != 0 || children == nullptr) {
    return;
  }
  for (CFXMLWrapper* child = children->nextElement(); child != nullptr;
       child = children->nextElement()) {
    T value{};
    double weight = 0.0;
    // Any unusable child empties the whole accumulator: half a category list would pass for
    // a complete one.
    bool ok = CatTraits<T>::Read(*child, value) && ReadWeight(*child, weight);
    if (ok) {
      const uint32_t hash = CatTraits<T>::Hash(value);
      ok = Find(value, hash) == kNoCategory && Append(value, hash, weight);
    }
    if (!ok) {
      Clear();
      return;
    }
  }
}

template <typename T>
CFCatStatsImp<T>::CFCatStatsImp(const CFCatStatsImp& other) = default;

template <typename T>
CFCatStatsImp<T>& CFCatStatsImp<T>::operator=(const CFCatStatsImp& other) {
  if (this == &other) return *this;
  // Copy everything first, so that running out of memory leaves this accumulator as it was.
  std::map<T, uint32_t> catNums(other.m_catNums);
  std::vector<T> vals(other.m_vals);
  std::vector<double> weights(other.m_weights);
  std::vector<Slot> index(other.m_index);
  m_catNums.swap(catNums);
  m_vals.swap(vals);
  m_weights.swap(weights);
  m_index.swap(index);
  return *this;
}

template <typename T>
CFCatStatsImp<T>::~CFCatStatsImp() = default;

template <typename T>
uint32_t CFCatStatsImp<T>::Find(Arg value, uint32_t hash) const {
  if (m_index.empty()) return kNoCategory;
  const size_t mask = m_index.size() - 1;
  for (size_t i = hash & mask;; i = (i + 1) & mask) {
    const Slot& slot = m_index[i];
    if (slot.cat == kNoCategory) return kNoCategory;
    if (slot.hash == hash && m_vals[slot.cat] == value) return slot.cat;
  }
}

template <typename T>
void CFCatStatsImp<T>::Place(std::vector<Slot>& index, Slot slot) {
  const size_t mask = index.size() - 1;
  size_t i = slot.hash & mask;
  while (index[i].cat != kNoCategory) i = (i + 1) & mask;
  index[i] = slot;
}

template <typename T>
bool CFCatStatsImp<T>::Append(Arg value, uint32_t hash, double weight) {
  const size_t count = m_vals.size();
  if (count >= kNoCategory) return false;
  // Make every allocation before the first change, so that running out of memory leaves the
  // accumulator as it was.
  if ((count + 1) * 4 > m_index.size()) {
    std::vector<Slot> index(std::max(kMinSlots, m_index.size() * 2), Slot{0, kNoCategory});
    for (const Slot& slot : m_index) {
      if (slot.cat != kNoCategory) Place(index, slot);
    }
    m_index.swap(index);
  }
  m_weights.reserve(count + 1 > m_weights.capacity() ? 2 * count + 1 : count + 1);
  m_vals.push_back(value);
  try {
    m_catNums.emplace(value, static_cast<uint32_t>(count));
  } catch (...) {
    m_vals.pop_back();
    throw;
  }
  m_weights.push_back(weight);
  Place(m_index, Slot{hash, static_cast<uint32_t>(count)});
  return true;
}

template <typename T>
void CFCatStatsImp<T>::Clear() {
  m_catNums.clear();
  m_vals.clear();
  m_weights.clear();
  m_index.clear();
}

template <typename T>
bool CFCatStatsImp<T>::Update(Arg value, double weight) {
  if (!(weight >= 0.0) || !CatTraits<T>::Usable(value)) return false;
  const uint32_t hash = CatTraits<T>::Hash(value);
  const uint32_t cat = Find(value, hash);
  if (cat != kNoCategory) {
    m_weights[cat] += weight;
    return true;
  }
  return Append(value, hash, weight);
}

template <typename T>
bool CFCatStatsImp<T>::UpdateIfKnown(Arg value, double weight) {
  if (!(weight >= 0.0)) return false;
  const uint32_t cat = Find(value, CatTraits<T>::Hash(value));
  if (cat == kNoCategory) return false;
  m_weights[cat] += weight;
  return true;
}

template <typename T>
void CFCatStatsImp<T>::Pool(const CFCatStatsImp& other) {
  for (const auto& entry : other.m_catNums) Update(entry.first, other.m_weights[entry.second]);
}

template <typename T>
typename CFCatStatsImp<T>::Arg CFCatStatsImp<T>::GetCatVal(unsigned catNum) const {
  if (catNum >= m_vals.size()) return CatTraits<T>::Missing();
  return m_vals[catNum];
}

template <typename T>
uint32_t CFCatStatsImp<T>::GetCatNum(Arg value) const {
  return Find(value, CatTraits<T>::Hash(value));
}

template <typename T>
uint32_t CFCatStatsImp<T>::GetNCats() const {
  return static_cast<uint32_t>(m_catNums.size());
}

template <typename T>
double CFCatStatsImp<T>::GetCatWeight(unsigned catNum) const {
  return catNum < m_weights.size() ? m_weights[catNum] : -1.0;
}

template <typename T>
CFDatum CFCatStatsImp<T>::GetCatValDatum(unsigned catNum) const {
  if (catNum >= m_vals.size()) return CFDatum::MakeNull(CatTraits<T>::kType);
  return CatTraits<T>::Datum(m_vals[catNum]);
}

template <typename T>
double CFCatStatsImp<T>::GetSumWeights() const {
  return std::accumulate(m_weights.begin(), m_weights.end(), 0.0);
}

template <typename T>
void CFCatStatsImp<T>::Renumber(const std::vector<uint32_t>& order) {
  const size_t count = order.size();
  std::vector<T> vals;
  vals.reserve(count);
  std::vector<double> weights(count, 0.0);
  std::vector<uint32_t> newNumber(count, 0);
  for (size_t i = 0; i < count; ++i) vals.push_back(m_vals[order[i]]);
  // Nothing below allocates, so the accumulator is never left half renumbered.
  for (size_t i = 0; i < count; ++i) {
    weights[i] = m_weights[order[i]];
    newNumber[order[i]] = static_cast<uint32_t>(i);
    m_catNums.find(vals[i])->second = static_cast<uint32_t>(i);
  }
  m_vals.swap(vals);
  m_weights.swap(weights);
  // The values and their hashes stay where they are in the index; only their numbers change.
  for (Slot& slot : m_index) {
    if (slot.cat != kNoCategory) slot.cat = newNumber[slot.cat];
  }
}

template <typename T>
void CFCatStatsImp<T>::ReorderCats(bool ascending) {
  std::vector<uint32_t> order(m_vals.size());
  std::iota(order.begin(), order.end(), 0u);
  const std::vector<T>& vals = m_vals;
  if (ascending) {
    std::sort(order.begin(), order.end(),
              [&](uint32_t a, uint32_t b) { return vals[a] < vals[b]; });
  } else {
    std::sort(order.begin(), order.end(),
              [&](uint32_t a, uint32_t b) { return vals[a] > vals[b]; });
  }
  Renumber(order);
}

template <typename T>
void CFCatStatsImp<T>::ClearSums() {
  std::fill(m_weights.begin(), m_weights.end(), 0.0);
}

template <typename T>
void CFCatStatsImp<T>::SetLastCategory(Arg value) {
  const uint32_t last = GetCatNum(value);
  if (last == kNoCategory || last + 1 == m_vals.size()) return;
  std::vector<uint32_t> order;
  order.reserve(m_vals.size());
  for (uint32_t cat = 0; cat < m_vals.size(); ++cat) {
    if (cat != last) order.push_back(cat);
  }
  order.push_back(last);
  Renumber(order);
}

template <typename T>
void CFCatStatsImp<T>::AddToTree(CFXMLWrapper& parent, CFXMLWrapper*& created) const {
  created = nullptr;
  std::unique_ptr<CFXMLWrapper> elem(parent.createFreeElement(XMLElements::DiscreteStatistics));
  if (elem == nullptr) return;
  for (size_t cat = 0; cat < m_vals.size(); ++cat) {
    CFXMLWrapper* child = nullptr;
    if (elem->addElement(XMLElements::Category, &child) != 0) return;
    if (CatTraits<T>::Write(*child, m_vals[cat]) != 0) return;
    if (child->addAttribute(XMLAttributes::SumFreqWts, m_weights[cat]) != 0) return;
  }
  cfmeta_internal::AttachFinished(0, std::move(elem), parent, created);
}

template class CFCatStatsImp<long long>;
template class CFCatStatsImp<double>;
template class CFCatStatsImp<std::string>;

CFCatStatsInt* CFCatStatsInt::Clone() const { return new CFCatStatsInt(*this); }

CFCatStatsDbl* CFCatStatsDbl::Clone() const { return new CFCatStatsDbl(*this); }

CFCatStatsStr* CFCatStatsStr::Clone() const { return new CFCatStatsStr(*this); }

void CFCatStatsStr::ReorderCats(CFCatStrLess& less) {
  std::vector<uint32_t> order(m_vals.size());
  std::iota(order.begin(), order.end(), 0u);
  // A stable sort of category numbers: a caller's order that ties two values keeps their
  // numbering, one that is not an order at all cannot make the sort leave its range, and one
  // that throws leaves the categories untouched.
  std::stable_sort(order.begin(), order.end(), StrCatCompare{m_vals, less});
  Renumber(order);
}
