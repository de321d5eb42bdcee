// The quantile sketches over doubles and strings: one implementation, a template over the
// value type, with the sort and merge of doubles written to avoid branches on the data.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cfmeta/stats/cfsketches.h"
#include "cfmeta/stats/cfsketches_internal.h"

namespace {

using cfsketch_internal::kDone;
using cfsketch_internal::kUnusable;
using cfsketch_internal::NextRandom;
using cfsketch_internal::Reader;
using cfsketch_internal::Writer;

constexpr unsigned char kDoubleKind = 'Q';
constexpr unsigned char kStringKind = 'S';
constexpr unsigned char kExactFlag = 1;
constexpr uint32_t kMinWidth = 8;
// An item's weight 2^h fits in 64 bits.
constexpr size_t kMaxLevels = 64;
// 1e-6 = 2 exp(-t^2 / (2 V)) at t = kBoundFactor * sqrt(V).
const double kBoundFactor = std::sqrt(2.0 * std::log(2.0 / 1e-6));
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

struct PowersOf3 {
  constexpr PowersOf3() : value() {
    value[0] = 1;
    for (size_t i = 1; i < 31; ++i) value[i] = value[i - 1] * 3;
  }
  uint64_t value[31];
};
constexpr PowersOf3 kPowersOf3;

// The capacity of `level` when there are `height` levels: k * (2/3)^depth in integers, so that
// every machine agrees, but never below kMinWidth, nor below k / 4 at level 0, so that
// level 0 is sorted and compacted in batches. Beyond depth 30 the power is below kMinWidth
// for any k up to kMaxK.
uint32_t LevelCapacity(uint32_t k, size_t height, size_t level) {
  const size_t depth = height - 1 - level;
  const uint32_t least = level == 0 ? std::max(kMinWidth, k / 4) : kMinWidth;
  if (depth > 30) return least;
  const uint64_t capacity = (uint64_t{k} << depth) / kPowersOf3.value[depth];
  return capacity < least ? least : static_cast<uint32_t>(capacity);
}

// Level 0 is sorted at every compaction, so the sort of doubles avoids branches on the
// data, which random values would mispredict half the time: a comparator network sorts each
// run of 8, then branch-free merges double the runs until one is left. Values hold no NaN.
inline void Exchange(double& a, double& b) {
  const double low = std::min(a, b);
  b = std::max(a, b);
  a = low;
}

void SortRunOf8(double* v) {
  Exchange(v[0], v[2]), Exchange(v[1], v[3]), Exchange(v[4], v[6]), Exchange(v[5], v[7]);
  Exchange(v[0], v[4]), Exchange(v[1], v[5]), Exchange(v[2], v[6]), Exchange(v[3], v[7]);
  Exchange(v[0], v[1]), Exchange(v[2], v[3]), Exchange(v[4], v[5]), Exchange(v[6], v[7]);
  Exchange(v[2], v[4]), Exchange(v[3], v[5]);
  Exchange(v[1], v[4]), Exchange(v[3], v[6]);
  Exchange(v[1], v[2]), Exchange(v[3], v[4]), Exchange(v[5], v[6]);
}

void InsertionSort(double* v, size_t n) {
  for (size_t i = 1; i < n; ++i) {
    const double x = v[i];
    size_t j = i;
    for (; j > 0 && x < v[j - 1]; --j) v[j] = v[j - 1];
    v[j] = x;
  }
}

// Merges sorted a[0, na) and b[0, nb) into `out`, which overlaps neither. Merging from both
// ends at once runs two independent chains of loads and compares instead of one; for
// min(na, nb) steps neither end can run past its inputs, and taking ties from `a` at the front
// and from `b` at the back keeps the two halves apart. A plain merge does the middle.
void MergeSorted(const double* a, ptrdiff_t na, const double* b, ptrdiff_t nb, double* out) {
  // An empty side may come as a null pointer, to which no offset may be added.
  if (na == 0 || nb == 0) {
    if (na > 0) std::copy(a, a + na, out);
    if (nb > 0) std::copy(b, b + nb, out);
    return;
  }
  ptrdiff_t i = 0;
  ptrdiff_t j = 0;
  ptrdiff_t iLast = na - 1;
  ptrdiff_t jLast = nb - 1;
  double* outLast = out + na + nb - 1;
  for (ptrdiff_t step = std::min(na, nb); step > 0; --step) {
    const double x = a[i];
    const double y = b[j];
    const bool fromB = y < x;
    *out++ = fromB ? y : x;
    j += fromB;
    i += !fromB;
    const double xLast = a[iLast];
    const double yLast = b[jLast];
    const bool fromALast = yLast < xLast;
    *outLast-- = fromALast ? xLast : yLast;
    iLast -= fromALast;
    jLast -= !fromALast;
  }
  while (i <= iLast && j <= jLast) {
    const double x = a[i];
    const double y = b[j];
    const bool fromB = y < x;
    *out++ = fromB ? y : x;
    j += fromB;
    i += !fromB;
  }
  out = std::copy(a + i, a + iLast + 1, out);
  std::copy(b + j, b + jLast + 1, out);
}

void SortLevel(std::vector<double>& values) {
  const size_t n = values.size();
  size_t sorted = 0;
  if (n >= 16) {
    for (; sorted + 8 <= n; sorted += 8) SortRunOf8(&values[sorted]);
  }
  InsertionSort(&values[sorted], n - sorted);
  if (sorted == 0) return;
  std::vector<double> spare(n);
  double* from = values.data();
  double* to = spare.data();
  for (size_t width = 8; width < n; width *= 2) {
    for (size_t start = 0; start < n; start += 2 * width) {
      const size_t middle = std::min(start + width, n);
      const size_t end = std::min(start + 2 * width, n);
      MergeSorted(from + start, middle - start, from + middle, end - middle, to + start);
    }
    std::swap(from, to);
  }
  if (from != values.data()) std::copy(from, from + n, values.data());
}

void SortLevel(std::vector<std::string>& values) { std::sort(values.begin(), values.end()); }

uint32_t TotalCapacity(uint32_t k, size_t height) {
  uint32_t total = 0;
  for (size_t level = 0; level < height; ++level) total += LevelCapacity(k, height, level);
  return total;
}

uint32_t ClampK(uint32_t k) {
  return std::min(std::max(k, CFQuantileSketch::kMinK), CFQuantileSketch::kMaxK);
}

// The per-type parts: how a value is ordered, checked and written.
bool Less(double a, double b) { return a < b; }
bool Less(const std::string& a, const std::string& b) { return a < b; }
bool LessOrEqual(double a, double b) { return a <= b; }
bool LessOrEqual(const std::string& a, std::string_view b) { return std::string_view(a) <= b; }

void WriteItem(Writer& writer, double v) { writer.Real(v); }
void WriteItem(Writer& writer, const std::string& v) { writer.Text(v); }

// The value, or false for one Add never stores.
bool ReadItem(Reader& reader, double& v) {
  v = reader.Real();
  return reader.Ok() && !std::isnan(v) && !(v == 0.0 && std::signbit(v));
}
bool ReadItem(Reader& reader, std::string& v) {
  const std::string_view text = reader.Text();
  v.assign(text.data(), text.size());
  return reader.Ok();
}

// The smallest bytes an item takes, to refuse sizes the input cannot hold before allocating.
size_t MinItemBytes(double) { return 8; }
size_t MinItemBytes(const std::string&) { return 1; }

// Merges the sorted items[0, n) into the sorted `level`.
void MergeUp(double* items, size_t n, std::vector<double>& level) {
  std::vector<double> merged(level.size() + n);
  MergeSorted(level.data(), level.size(), items, n, merged.data());
  level.swap(merged);
}

void MergeUp(std::string* items, size_t n, std::vector<std::string>& level) {
  // From the back, so neither side needs room of its own.
  size_t fromLevel = level.size();
  size_t fromItems = n;
  level.resize(level.size() + n);
  for (size_t to = level.size(); fromItems > 0;) {
    if (fromLevel > 0 && items[fromItems - 1] < level[fromLevel - 1]) {
      level[--to] = std::move(level[--fromLevel]);
    } else {
      level[--to] = std::move(items[--fromItems]);
    }
  }
}

// The algorithm, once for both value types.
template <typename T>
class Kll {
 public:
  using State = CFQuantileSketchState<T>;

  static void Init(State& s, uint32_t k, uint64_t seed) {
    s.k = ClampK(k);
    s.random = seed;
    s.capacity = TotalCapacity(s.k, 1);
  }

  template <typename V>
  static void Add(State& s, V&& value, uint64_t weight) {
    if (weight == 0) return;
    if (s.count == 0) {
      s.min = value;
      s.max = value;
    } else if (Less(value, s.min)) {
      s.min = value;
    } else if (Less(s.max, value)) {
      s.max = value;
    }
    s.count += weight;
    if (weight == 1) {
      s.levels[0].push_back(std::forward<V>(value));
      if (++s.items > s.capacity) Compress(s);
      return;
    }
    for (size_t level = 0; weight != 0; ++level, weight >>= 1) {
      if (!(weight & 1)) continue;
      if (level >= s.levels.size()) Grow(s, level + 1);
      std::vector<T>& items = s.levels[level];
      if (level == 0) {
        items.push_back(value);
      } else {
        items.insert(std::upper_bound(items.begin(), items.end(), value,
                                      [](const T& a, const T& b) { return Less(a, b); }),
                     value);
      }
      ++s.items;
    }
    Compress(s);
  }

  static void Merge(State& s, const State& other) {
    if (other.count == 0) return;
    if (&s == &other) {
      const State copy = other;
      Merge(s, copy);
      return;
    }
    if (s.count == 0) {
      s.min = other.min;
      s.max = other.max;
    } else {
      if (Less(other.min, s.min)) s.min = other.min;
      if (Less(s.max, other.max)) s.max = other.max;
    }
    if (other.levels.size() > s.levels.size()) Grow(s, other.levels.size());
    for (size_t level = 0; level < other.levels.size(); ++level) {
      const std::vector<T>& from = other.levels[level];
      if (from.empty()) continue;
      std::vector<T>& to = s.levels[level];
      const size_t middle = to.size();
      to.insert(to.end(), from.begin(), from.end());
      if (level > 0) {
        std::inplace_merge(to.begin(), to.begin() + middle, to.end(),
                           [](const T& a, const T& b) { return Less(a, b); });
      }
    }
    s.count += other.count;
    s.items += other.items;
    s.exact = s.exact && other.exact;
    // The two histories may have drawn the same choices, so their errors may add up in step.
    const double root = std::sqrt(s.errorVariance) + std::sqrt(other.errorVariance);
    s.errorVariance = root * root;
    uint64_t mix = other.random;
    s.random ^= NextRandom(mix);
    Compress(s);
  }

  static double ErrorBound(const State& s) {
    if (s.exact || s.count == 0) return 0.0;
    return kBoundFactor * std::sqrt(s.errorVariance) / static_cast<double>(s.count);
  }

  // The items with their weights, sorted by value.
  static std::vector<std::pair<const T*, uint64_t>> SortedView(const State& s) {
    std::vector<std::pair<const T*, uint64_t>> view;
    view.reserve(s.items);
    for (size_t level = 0; level < s.levels.size(); ++level) {
      for (const T& item : s.levels[level]) view.emplace_back(&item, uint64_t{1} << level);
    }
    std::sort(view.begin(), view.end(),
              [](const std::pair<const T*, uint64_t>& a, const std::pair<const T*, uint64_t>& b) {
                return Less(*a.first, *b.first);
              });
    return view;
  }

  // Null when empty or q is NaN.
  static const T* QuantileIn(const State& s, const std::vector<std::pair<const T*, uint64_t>>& view,
                             double q) {
    if (s.count == 0 || std::isnan(q)) return nullptr;
    if (q <= 0.0) return &s.min;
    if (q >= 1.0) return &s.max;
    // In long double the product is exact for the counts where rounding would show.
    const long double target = static_cast<long double>(q) * static_cast<long double>(s.count);
    uint64_t cumulative = 0;
    for (const std::pair<const T*, uint64_t>& entry : view) {
      cumulative += entry.second;
      if (static_cast<long double>(cumulative) >= target) return entry.first;
    }
    return &s.max;
  }

  template <typename Out, typename Convert>
  static std::vector<Out> Quantiles(const State& s, const std::vector<double>& fractions,
                                    Convert convert) {
    std::vector<Out> result;
    result.reserve(fractions.size());
    const std::vector<std::pair<const T*, uint64_t>> view =
        s.count == 0 ? std::vector<std::pair<const T*, uint64_t>>() : SortedView(s);
    for (double q : fractions) result.push_back(convert(QuantileIn(s, view, q)));
    return result;
  }

  // The weight of the items at or below `value`, which is neither below min nor at or above max.
  template <typename V>
  static uint64_t WeightAtOrBelow(const State& s, const V& value) {
    uint64_t weight = 0;
    for (const T& item : s.levels[0]) weight += LessOrEqual(item, value) ? 1 : 0;
    for (size_t level = 1; level < s.levels.size(); ++level) {
      const std::vector<T>& items = s.levels[level];
      const auto end = std::partition_point(
          items.begin(), items.end(), [&](const T& item) { return LessOrEqual(item, value); });
      weight += static_cast<uint64_t>(end - items.begin()) << level;
    }
    return weight;
  }

  static std::string Serialize(const State& s, unsigned char kind) {
    std::string bytes;
    Writer writer(bytes);
    writer.Byte(kind);
    writer.Byte(cfsketch_internal::kFormatVersion);
    writer.Varint(s.k);
    writer.Byte(s.exact ? kExactFlag : 0);
    writer.Varint(s.count);
    writer.Word(s.random);
    writer.Real(s.errorVariance);
    writer.Varint(s.levels.size());
    for (const std::vector<T>& items : s.levels) writer.Varint(items.size());
    if (s.count > 0) {
      WriteItem(writer, s.min);
      WriteItem(writer, s.max);
    }
    for (const std::vector<T>& items : s.levels) {
      for (const T& item : items) WriteItem(writer, item);
    }
    return bytes;
  }

  static int Deserialize(const char* data, size_t size, unsigned char kind, State& out) {
    Reader reader(data, size);
    State s;
    // 1. Kind, version and the scalars.
    if (reader.Byte() != kind || reader.Byte() != cfsketch_internal::kFormatVersion) {
      return kUnusable;
    }
    const uint64_t k = reader.Varint();
    const unsigned char flags = reader.Byte();
    s.count = reader.Varint();
    s.random = reader.Word();
    s.errorVariance = reader.Real();
    const uint64_t height = reader.Varint();
    if (!reader.Ok() || k < CFQuantileSketch::kMinK || k > CFQuantileSketch::kMaxK ||
        (flags & ~kExactFlag) != 0 || height == 0 || height > kMaxLevels) {
      return kUnusable;
    }
    s.k = static_cast<uint32_t>(k);
    s.exact = (flags & kExactFlag) != 0;
    if (!std::isfinite(s.errorVariance) || (s.exact != (s.errorVariance == 0.0)) ||
        s.errorVariance < 0.0) {
      return kUnusable;
    }
    // 2. Level sizes: their weights add up to the count, within the capacity, top level used.
    s.capacity = TotalCapacity(s.k, height);
    s.levels.assign(height, std::vector<T>());
    std::vector<uint64_t> sizes(height);
    uint64_t weight = 0;
    uint64_t items = 0;
    for (size_t level = 0; level < height; ++level) {
      sizes[level] = reader.Varint();
      if (!reader.Ok() || sizes[level] > s.capacity) return kUnusable;
      const uint64_t levelWeight = sizes[level] << level;
      if ((levelWeight >> level) != sizes[level] || weight + levelWeight < weight) {
        return kUnusable;
      }
      weight += levelWeight;
      items += sizes[level];
    }
    if (weight != s.count || items > s.capacity || (s.count > 0 && sizes[height - 1] == 0) ||
        (s.count == 0 && (height != 1 || !s.exact)) || items * MinItemBytes(T()) > reader.Left()) {
      return kUnusable;
    }
    s.items = static_cast<uint32_t>(items);
    // 3. Extremes, then the items level by level.
    if (s.count > 0) {
      if (!ReadItem(reader, s.min) || !ReadItem(reader, s.max) || Less(s.max, s.min)) {
        return kUnusable;
      }
    }
    bool minSeen = false;
    bool maxSeen = false;
    for (size_t level = 0; level < height; ++level) {
      std::vector<T>& levelItems = s.levels[level];
      levelItems.resize(sizes[level]);
      for (size_t i = 0; i < levelItems.size(); ++i) {
        T& item = levelItems[i];
        if (!ReadItem(reader, item) || Less(item, s.min) || Less(s.max, item)) return kUnusable;
        if (level > 0 && i > 0 && Less(item, levelItems[i - 1])) return kUnusable;
        minSeen = minSeen || !Less(s.min, item);
        maxSeen = maxSeen || !Less(item, s.max);
      }
    }
    if (!reader.Finished() || (s.exact && s.count > 0 && !(minSeen && maxSeen))) {
      return kUnusable;
    }
    out = std::move(s);
    return kDone;
  }

 private:
  static void Grow(State& s, size_t height) {
    s.levels.resize(height);
    s.capacity = TotalCapacity(s.k, height);
  }

  static void Compress(State& s) {
    while (s.items > s.capacity) {
      const size_t height = s.levels.size();
      for (size_t level = 0; level < height; ++level) {
        if (s.levels[level].size() >= LevelCapacity(s.k, height, level)) {
          Compact(s, level);
          break;
        }
      }
    }
  }

  // Moves every other item of `level` up one level, merged into its order, so each one
  // stands for the pair it came from; which of the pair survives is the generator's coin.
  static void Compact(State& s, size_t level) {
    if (level + 1 == s.levels.size()) Grow(s, level + 2);
    std::vector<T>& low = s.levels[level];
    std::vector<T>& high = s.levels[level + 1];
    if (level == 0) SortLevel(low);
    const size_t kept = low.size() % 2;
    const size_t moved = (low.size() - kept) / 2;
    const size_t offset = NextRandom(s.random) >> 63;
    for (size_t j = offset == 0 ? 1 : 0; j < moved; ++j) {
      low[kept + j] = std::move(low[kept + offset + 2 * j]);
    }
    MergeUp(low.data() + kept, moved, high);
    low.resize(kept);
    s.items -= static_cast<uint32_t>(moved);
    s.exact = false;
    // Each rank this compaction touches moves by 2^level one way or the other.
    s.errorVariance += level < 32 ? static_cast<double>(uint64_t{1} << (2 * level))
                                  : std::ldexp(1.0, 2 * static_cast<int>(level));
  }
};

using DoubleKll = Kll<double>;
using StringKll = Kll<std::string>;

}  // namespace

CFQuantileSketch::CFQuantileSketch(uint32_t k, uint64_t seed) { DoubleKll::Init(m_state, k, seed); }

void CFQuantileSketch::AddSlowly(double value, uint64_t weight) {
  if (std::isnan(value)) return;
  // -0.0 and 0.0 compare equal but sort in no fixed order; keeping one keeps the bytes fixed.
  DoubleKll::Add(m_state, value + 0.0, weight);
}

void CFQuantileSketch::Merge(const CFQuantileSketch& other) {
  DoubleKll::Merge(m_state, other.m_state);
}

double CFQuantileSketch::ErrorBound() const { return DoubleKll::ErrorBound(m_state); }

double CFQuantileSketch::Min() const { return m_state.count > 0 ? m_state.min : kNaN; }

double CFQuantileSketch::Max() const { return m_state.count > 0 ? m_state.max : kNaN; }

double CFQuantileSketch::Quantile(double q) const { return Quantiles({q})[0]; }

std::vector<double> CFQuantileSketch::Quantiles(const std::vector<double>& fractions) const {
  return DoubleKll::Quantiles<double>(m_state, fractions,
                                      [](const double* v) { return v ? *v : kNaN; });
}

double CFQuantileSketch::Rank(double value) const {
  if (m_state.count == 0 || std::isnan(value)) return kNaN;
  if (value < m_state.min) return 0.0;
  if (value >= m_state.max) return 1.0;
  return static_cast<double>(DoubleKll::WeightAtOrBelow(m_state, value)) /
         static_cast<double>(m_state.count);
}

std::vector<double> CFQuantileSketch::Histogram(double low, double high, size_t bins) const {
  const double span = high - low;
  if (bins == 0 || !std::isfinite(span) || low > high) return {};
  std::vector<double> weights(bins, 0.0);
  const auto edge = [&](size_t i) { return low + span * static_cast<double>(i) / bins; };
  for (size_t level = 0; level < m_state.levels.size(); ++level) {
    const double weight = std::ldexp(1.0, static_cast<int>(level));
    for (double v : m_state.levels[level]) {
      if (v < low || v > high) continue;
      size_t bin = bins - 1;
      if (v < high && span > 0.0) {
        // The division may land one bin off the edges' own rounding; the edges decide.
        const double guess = (v - low) / span * static_cast<double>(bins);
        bin = std::min(bins - 1, static_cast<size_t>(guess));
        while (bin > 0 && v < edge(bin)) --bin;
        while (bin + 1 < bins && v >= edge(bin + 1)) ++bin;
      }
      weights[bin] += weight;
    }
  }
  return weights;
}

std::string CFQuantileSketch::Serialize() const {
  return DoubleKll::Serialize(m_state, kDoubleKind);
}

int CFQuantileSketch::Deserialize(const char* data, size_t size, CFQuantileSketch& out) {
  return DoubleKll::Deserialize(data, size, kDoubleKind, out.m_state);
}

CFStringQuantileSketch::CFStringQuantileSketch(uint32_t k, uint64_t seed) {
  StringKll::Init(m_state, k, seed);
}

void CFStringQuantileSketch::Add(std::string_view value, uint64_t weight) {
  StringKll::Add(m_state, std::string(value), weight);
}

void CFStringQuantileSketch::Merge(const CFStringQuantileSketch& other) {
  StringKll::Merge(m_state, other.m_state);
}

double CFStringQuantileSketch::ErrorBound() const { return StringKll::ErrorBound(m_state); }

std::string CFStringQuantileSketch::Min() const { return m_state.count > 0 ? m_state.min : ""; }

std::string CFStringQuantileSketch::Max() const { return m_state.count > 0 ? m_state.max : ""; }

std::string CFStringQuantileSketch::Quantile(double q) const { return Quantiles({q})[0]; }

std::vector<std::string> CFStringQuantileSketch::Quantiles(
    const std::vector<double>& fractions) const {
  return StringKll::Quantiles<std::string>(
      m_state, fractions, [](const std::string* v) { return v ? *v : std::string(); });
}

double CFStringQuantileSketch::Rank(std::string_view value) const {
  if (m_state.count == 0) return kNaN;
  if (value < std::string_view(m_state.min)) return 0.0;
  if (value >= std::string_view(m_state.max)) return 1.0;
  return static_cast<double>(StringKll::WeightAtOrBelow(m_state, value)) /
         static_cast<double>(m_state.count);
}

std::string CFStringQuantileSketch::Serialize() const {
  return StringKll::Serialize(m_state, kStringKind);
}

int CFStringQuantileSketch::Deserialize(const char* data, size_t size,
                                        CFStringQuantileSketch& out) {
  return StringKll::Deserialize(data, size, kStringKind, out.m_state);
}
