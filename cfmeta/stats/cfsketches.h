// Summaries of one stream of values in bounded memory, each of which merges with another of
// its kind and serialises: CFQuantileSketch and CFStringQuantileSketch (quantiles, ranks and
// histograms), CFDistinctCount (the number of distinct values) and CFHeavyHitters (the most
// frequent values).
//
// Every sketch is a value: copies are deep and share nothing. A sketch built over parts of a
// stream and merged answers within the bounds of one built over the whole stream.
// Sketches are deterministic: the same sequence of calls gives the same state, the same
// answers and the same bytes from Serialize on every machine; no sketch reads a clock or a
// global generator. One sketch may be read from several threads at once; changing it needs
// the caller's exclusion. Nothing here throws except std::bad_alloc.
//
// Serialize writes compact little-endian bytes: one byte naming the kind of sketch, one
// version byte (1 for every sketch here), then the state. Each Deserialize returns
//   0  done; `out` holds the sketch that was serialised and answers as it did.
//   5  the bytes are unusable: null or empty, truncated, another kind or version, bytes left
//      over after the state, or a state no sequence of calls produces (each sketch lists
//      what it checks); `out` is untouched.
#ifndef CFMETA_STATS_CFSKETCHES_H_
#define CFMETA_STATS_CFSKETCHES_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "cfmeta/cfmeta_export.h"

// A 64-bit hash of the `length` bytes at `data` (which may be null when `length` is 0). Every
// bit of the result depends on every input bit; the value is fixed for good, the same on every
// machine and in every release, because serialised sketches hold hashes.
CFMETA_API uint64_t CFSketchHash(const void* data, size_t length);

// What a quantile sketch over values of type T holds. CFQuantileSketch and
// CFStringQuantileSketch keep one each and share the code that maintains it; nothing else
// reads it.
template <typename T>
struct CFQuantileSketchState {
  // Level h holds items that each stand for a weight of 2^h. Level 0 is in arrival order,
  // every higher level sorted.
  std::vector<std::vector<T>> levels = std::vector<std::vector<T>>(1);
  T min{};  // the exact extremes, meaningful while count > 0
  T max{};
  uint64_t count = 0;
  uint64_t random = 0;  // the generator that picks which half of a level moves up
  // A variance proxy for the error of any one rank, in squared weight: compactions add theirs,
  // merges add the square roots.
  double errorVariance = 0.0;
  uint32_t k = 0;
  uint32_t items = 0;     // items held across the levels
  uint32_t capacity = 0;  // the items the levels may hold at the current height
  bool exact = true;
};

// Quantiles, ranks and histograms of a stream of weighted doubles.
//
// The sketch keeps levels of items; an item at level h stands for a weight of 2^h. Level 0
// takes each value in turn. When the items outgrow the capacity, the lowest level at or over
// its own capacity is sorted and compacted: a generator held in the sketch picks the odd or
// the even positions, and those items move up a level while the others are dropped (an odd
// item out, the smallest, stays). The top level holds up to k items and each level below two
// thirds of the one above it, but never fewer than 8, nor fewer than k / 4 at level 0; the
// sketch keeps about 3.3k items (16 KB of doubles at kDefaultK) whatever the count.
//
// Error. Until the first compaction every value is kept and every answer is exact
// (IsExact()). After it, the estimated weight at or below any one value differs from the true
// weight by more than ErrorBound() * Count() with probability below 1e-6, when the generator's
// choices are taken as fair coins (that is, for data chosen without knowledge of the seed).
// ErrorBound() is computed from the compactions this sketch and every sketch merged into it
// went through, and shrinks about as 1/k. With kDefaultK it is below 0.9% at every count of a
// stream of unit weights (highest just after the first compaction), and merging such sketches
// keeps it below 1%. Quantile and Histogram inherit the bound: see each.
//
// Empty: Count() 0, IsExact(), Min, Max, Quantile and Rank NaN, Histogram all zeros.
//
// NaN values are ignored; -0.0 is kept as 0.0; infinities are values like any other.
// Requires: the total weight added and merged stays below 2^64.
class CFMETA_API CFQuantileSketch {
 public:
  static constexpr uint32_t kDefaultK = 600;
  // A k outside [kMinK, kMaxK] is taken as the nearest bound.
  static constexpr uint32_t kMinK = 8;
  static constexpr uint32_t kMaxK = 65535;
  static constexpr uint64_t kDefaultSeed = 0x5eed5eed5eed5eedull;

  // An empty sketch. Sketches built separately and merged later may share a seed; the bound
  // accounts for it.
  explicit CFQuantileSketch(uint32_t k = kDefaultK, uint64_t seed = kDefaultSeed);

  // Adds `value` with `weight`: weight w enters as one item at level i for each bit i set in
  // w, so the bound holds for weighted values as for repeated ones. Weight 0 and NaN are
  // ignored.
  void Add(double value, uint64_t weight = 1) {
    // Inline for one unit of weight while the levels have room: an append to level 0.
    if (weight == 1 && m_state.items < m_state.capacity && m_state.count > 0 && value == value) {
      value += 0.0;
      m_state.min = value < m_state.min ? value : m_state.min;
      m_state.max = value > m_state.max ? value : m_state.max;
      m_state.levels[0].push_back(value);
      ++m_state.items;
      ++m_state.count;
      return;
    }
    AddSlowly(value, weight);
  }
  // Adds every value of `other`. The result keeps this sketch's k and its bound covers both
  // streams. `other` may be this sketch.
  void Merge(const CFQuantileSketch& other);

  uint64_t Count() const { return m_state.count; }
  // True while no compaction has happened here or in any sketch merged in.
  bool IsExact() const { return m_state.exact; }
  uint32_t K() const { return m_state.k; }
  // The fraction of Count() that one rank's error exceeds with probability below 1e-6; 0 while
  // exact.
  double ErrorBound() const;

  // The exact extremes; NaN when empty.
  double Min() const;
  double Max() const;

  // The "lower" q-quantile: the smallest stored value v whose cumulative weight (the weight of
  // the stored items <= v) is at least q * Count(). q <= 0 gives Min(), q >= 1 Max(); NaN when
  // empty or q is NaN. While exact this is the smallest value with at least q of the weight at
  // or below it. Otherwise, with e = ErrorBound(), the true weight at or below the result is
  // at least (q - e) * Count() and the true weight below it under (q + e) * Count(), except
  // with probability below 2e-6.
  double Quantile(double q) const;
  // Quantile of each fraction, sorting the items once for all of them.
  std::vector<double> Quantiles(const std::vector<double>& fractions) const;

  // The estimated fraction of the weight at or below `value`, in [0, 1]: 0 below Min(), 1 at
  // or above Max(). NaN when empty or `value` is NaN.
  double Rank(double value) const;

  // The estimated weight in each of `bins` equal-width bins over [low, high]: bin i holds
  // the values v with e(i) <= v < e(i + 1), e(i) = low + (high - low) * i / bins, and the last
  // bin also v == high. Values outside [low, high] are counted nowhere, so the bins add up to
  // Count() when low <= Min() and high >= Max(). Exact while IsExact(); otherwise each bin is
  // off by at most 2 * ErrorBound() * Count(), except with probability below 2e-6. Empty
  // when `bins` is 0, low > high or high - low is not finite (a bound NaN or infinite).
  std::vector<double> Histogram(double low, double high, size_t bins) const;

  // The state, in bytes whose kind byte is 'Q'.
  std::string Serialize() const;
  // Besides the common checks (see the top of this file), refuses: k outside [kMinK, kMaxK];
  // more than 64 levels; level sizes whose weights do not add up to the count, exceed the
  // capacity, or leave the top level empty; a NaN or -0.0 value; an unsorted level above 0;
  // items outside [min, max]; an exact sketch whose min or max is not among its items; an
  // error variance that is negative or not finite, nonzero in an exact sketch or zero in an
  // inexact one.
  static int Deserialize(const char* data, size_t size, CFQuantileSketch& out);

 private:
  void AddSlowly(double value, uint64_t weight);

  CFQuantileSketchState<double> m_state;
};

// The same sketch over strings ordered by their bytes as unsigned chars (shorter first on a
// common prefix), with the same error bound, empty state and serialisation (kind byte 'S').
// Min, Max and Quantile give "" when empty; Rank gives NaN.
class CFMETA_API CFStringQuantileSketch {
 public:
  static constexpr uint32_t kDefaultK = CFQuantileSketch::kDefaultK;
  static constexpr uint32_t kMinK = CFQuantileSketch::kMinK;
  static constexpr uint32_t kMaxK = CFQuantileSketch::kMaxK;
  static constexpr uint64_t kDefaultSeed = CFQuantileSketch::kDefaultSeed;

  explicit CFStringQuantileSketch(uint32_t k = kDefaultK, uint64_t seed = kDefaultSeed);

  void Add(std::string_view value, uint64_t weight = 1);
  void Merge(const CFStringQuantileSketch& other);

  uint64_t Count() const { return m_state.count; }
  bool IsExact() const { return m_state.exact; }
  uint32_t K() const { return m_state.k; }
  double ErrorBound() const;

  std::string Min() const;
  std::string Max() const;
  std::string Quantile(double q) const;
  std::vector<std::string> Quantiles(const std::vector<double>& fractions) const;
  double Rank(std::string_view value) const;

  std::string Serialize() const;
  // Refuses what CFQuantileSketch::Deserialize does, NaN and -0.0 aside.
  static int Deserialize(const char* data, size_t size, CFStringQuantileSketch& out);

 private:
  CFQuantileSketchState<std::string> m_state;
};

// The number of distinct values in a stream, counted by their 64-bit hashes.
//
// Up to kExactLimit distinct hashes the sketch keeps them all and the count is exact
// (IsExact()): exact in the hashes, that is, so two values count once only if their hashes
// collide, which for n distinct values happens with probability about n^2 / 2^65. The first
// hash beyond the limit turns the sketch, for good, into 2^14 six-bit registers
// (HyperLogLog, indexed by the top 14 bits of the hash, holding the most leading zeros seen
// in the rest plus one). The estimate accounts for empty and saturated registers itself, so
// it needs no separate small- or large-range correction: its relative standard error is at
// most 1.04 / 2^7, about 0.8%, at every count, so an estimate is within 2% of the true count
// with probability above 98% and within 3% above 99.9%.
//
// Empty: Estimate() 0, IsExact().
class CFMETA_API CFDistinctCount {
 public:
  static constexpr uint32_t kExactLimit = 4096;
  static constexpr int kRegisterBits = 14;

  CFDistinctCount() = default;

  // Adds CFSketchHash of `value`.
  void Add(std::string_view value);
  // Adds a hash the caller computed; it must be as well mixed as CFSketchHash's.
  void AddHash(uint64_t hash);
  // The union of both streams. `other` may be this sketch.
  void Merge(const CFDistinctCount& other);

  // The count of distinct hashes: exact while IsExact(), an estimate after.
  uint64_t Estimate() const;
  bool IsExact() const { return m_registers.empty(); }

  // The state, in bytes whose kind byte is 'D': the sorted hashes while exact, the
  // registers packed four to three bytes after.
  std::string Serialize() const;
  // Besides the common checks (see the top of this file), refuses: an unknown mode; more than
  // kExactLimit hashes or hashes not strictly ascending; a register above 51.
  static int Deserialize(const char* data, size_t size, CFDistinctCount& out);

 private:
  void InsertExact(uint64_t hash);
  void GrowTable();
  void StartEstimating();
  void AddToRegisters(uint64_t hash) {
    const uint32_t index = static_cast<uint32_t>(hash >> (64 - kRegisterBits));
    // The marker bit caps the run at 64 - kRegisterBits zeros.
    const uint64_t rest = (hash << kRegisterBits) | (uint64_t{1} << (kRegisterBits - 1));
    const uint8_t rank = static_cast<uint8_t>(__builtin_clzll(rest) + 1);
    if (rank > m_registers[index]) m_registers[index] = rank;
  }

  // While exact: an open-addressing table of the nonzero hashes, 0 marking a free slot and
  // never more than half full, with hash 0 kept aside.
  std::vector<uint64_t> m_table;
  uint32_t m_tableCount = 0;
  bool m_hasZero = false;
  // After: the registers; empty while exact.
  std::vector<uint8_t> m_registers;
};

// The most frequent values of a stream of weighted strings (Space-Saving with `capacity`
// counters, merged as mergeable summaries).
//
// Each counter holds a value, a count and an error; the value's true weight lies in
// [count - error, count]. While every distinct value seen has had a counter of its own
// (IsExact()), the counters are the exact, complete frequencies. Once all are taken, a value
// without a counter takes the one with the least count (ties go to the smaller hash, then the
// smaller bytes), whose count becomes its error. Then every error, and the true weight of any
// value without a counter, is at most the least count, which is at most Count() / capacity,
// so every value whose true weight exceeds Count() / capacity has a counter and is in
// Top(capacity). Merging keeps these bounds for the combined stream. An inexact sketch
// bounds the values it has no counter for only up to its own capacity, so merging one of
// smaller capacity lowers this sketch's capacity to it.
//
// Empty: Count() 0, IsExact(), Top() empty.
// Requires: the total weight added and merged stays below 2^64.
class CFMETA_API CFHeavyHitters {
 public:
  static constexpr uint32_t kDefaultCapacity = 64;
  // A capacity outside [1, kMaxCapacity] is taken as the nearest bound.
  static constexpr uint32_t kMaxCapacity = 1u << 20;

  struct Item {
    std::string value;
    uint64_t count;  // the true weight is in [count - error, count]
    uint64_t error;
  };

  explicit CFHeavyHitters(uint32_t capacity = kDefaultCapacity);

  // Weight 0 is ignored.
  void Add(std::string_view value, uint64_t weight = 1);
  // The same, with the hash computed by the caller.
  // Requires: hash == CFSketchHash(value.data(), value.size()).
  void Add(std::string_view value, uint64_t hash, uint64_t weight);
  // Adds the stream of `other`: the counters of both, summed, of which the Capacity() largest
  // stay. Capacity() becomes other.Capacity() when that is smaller and `other` is inexact.
  // `other` may be this sketch.
  void Merge(const CFHeavyHitters& other);

  uint64_t Count() const { return m_count; }
  bool IsExact() const { return m_exact; }
  uint32_t Capacity() const { return m_capacity; }

  // The `n` counters with the largest counts (fewer when fewer are held), largest first, ties
  // by value bytes ascending.
  std::vector<Item> Top(size_t n) const;

  // The state, in bytes whose kind byte is 'H'; counters in Top order.
  std::string Serialize() const;
  // Besides the common checks (see the top of this file), refuses: a capacity outside
  // [1, kMaxCapacity]; more counters than the capacity, or an inexact sketch with fewer; a
  // count of 0, an error above its count, or (inexact) above the least count; an exact
  // sketch with errors or whose counts do not add up to Count(), an inexact one whose counts
  // exceed it; counters out of Top order or with a repeated value.
  static int Deserialize(const char* data, size_t size, CFHeavyHitters& out);

 private:
  struct Counter {
    std::string value;
    uint64_t hash;
    uint64_t count;
    uint64_t error;
  };

  static constexpr uint32_t kNone = ~uint32_t{0};

  uint32_t Find(std::string_view value, uint64_t hash) const;
  void InsertSlot(uint32_t index);
  void EraseSlot(uint32_t index);
  // The least count held; 0 when none is.
  uint64_t LeastCount() const;
  // A counter with the least count, to evict. Requires: a counter is held.
  uint32_t TakeLeast();
  // Replaces the counters, rebuilding the table.
  void Rebuild(std::vector<Counter> counters);

  std::vector<Counter> m_counters;
  // Counters that had the least count, m_leastCount, when they were last looked for; some may
  // have grown since. Empty until the first eviction and after any rebuild.
  std::vector<uint32_t> m_least;
  uint64_t m_leastCount = 0;
  // Open addressing by hash with linear probing: counter index + 1, 0 marking a free slot.
  std::vector<uint32_t> m_slots;
  uint64_t m_count = 0;
  uint32_t m_capacity;
  bool m_exact = true;
};

#endif  // CFMETA_STATS_CFSKETCHES_H_
