#include "cfmeta/stats/cfsketches.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

namespace {

enum class Order { kSorted, kReversed, kEqual, kZipf, kRandom };
const Order kOrders[] = {Order::kSorted, Order::kReversed, Order::kEqual, Order::kZipf,
                         Order::kRandom};

// Ranks 1..10000 drawn with probability proportional to 1 / rank^1.1.
std::vector<uint32_t> ZipfRanks(size_t n, uint64_t seed) {
  std::vector<double> weights(10000);
  for (size_t i = 0; i < weights.size(); ++i) weights[i] = 1.0 / std::pow(i + 1.0, 1.1);
  std::discrete_distribution<uint32_t> draw(weights.begin(), weights.end());
  std::mt19937_64 random(seed);
  std::vector<uint32_t> ranks(n);
  for (uint32_t& r : ranks) r = draw(random) + 1;
  return ranks;
}

std::vector<double> MakeValues(Order order, size_t n, uint64_t seed) {
  std::mt19937_64 random(seed);
  std::vector<double> values(n);
  for (double& v : values) v = std::ldexp(static_cast<double>(random() >> 11), -20) - 1e6;
  if (order == Order::kSorted) std::sort(values.begin(), values.end());
  if (order == Order::kReversed) std::sort(values.rbegin(), values.rend());
  if (order == Order::kEqual) std::fill(values.begin(), values.end(), 2.5);
  if (order == Order::kZipf) {
    const std::vector<uint32_t> ranks = ZipfRanks(n, seed);
    for (size_t i = 0; i < n; ++i) values[i] = ranks[i] * 0.5;
  }
  return values;
}

// Fractions exact in binary, so that q * n is the product of the test's integers.
const double kFractions[] = {1.0 / 1024, 0.125, 0.25, 0.5, 0.625, 0.875, 1023.0 / 1024};

// The smallest value with at least q of the weight at or below it, by counting.
double LowerQuantile(const std::vector<double>& sorted, double q) {
  const double target = q * sorted.size();  // exact for the fractions above
  size_t i = 0;
  while (static_cast<double>(i + 1) < target) ++i;
  return sorted[i];
}

double TrueRank(const std::vector<double>& sorted, double v) {
  return static_cast<double>(std::upper_bound(sorted.begin(), sorted.end(), v) - sorted.begin()) /
         sorted.size();
}

// Checks every answer of `sketch` against the exact ones for `values`, within its bound.
void ExpectWithinBound(const CFQuantileSketch& sketch, std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const double n = static_cast<double>(values.size());
  const double bound = sketch.ErrorBound();
  EXPECT_LT(bound, 0.01);
  EXPECT_EQ(values.front(), sketch.Min());
  EXPECT_EQ(values.back(), sketch.Max());
  for (size_t i = 1; i < 64; ++i) {
    const double v = values[values.size() * i / 64];
    EXPECT_NEAR(TrueRank(values, v), sketch.Rank(v), bound) << v;
  }
  const std::vector<double> q(std::begin(kFractions), std::end(kFractions));
  const std::vector<double> answers = sketch.Quantiles(q);
  for (size_t i = 0; i < q.size(); ++i) {
    const double atOrBelow = TrueRank(values, answers[i]) * n;
    const double below = static_cast<double>(
        std::lower_bound(values.begin(), values.end(), answers[i]) - values.begin());
    EXPECT_GE(atOrBelow, (q[i] - bound) * n) << q[i];
    EXPECT_LT(below, (q[i] + bound) * n) << q[i];
  }
}

// Serialize, Deserialize and Serialize again give the same bytes; every truncation, another
// version or kind, and a byte too many give 5 and leave the target as it was.
template <typename Sketch>
void ExpectRoundTripAndRefusals(const Sketch& sketch, const Sketch& bystander) {
  const std::string bytes = sketch.Serialize();
  Sketch copy = bystander;
  ASSERT_EQ(0, Sketch::Deserialize(bytes.data(), bytes.size(), copy));
  EXPECT_EQ(bytes, copy.Serialize());

  const std::string before = bystander.Serialize();
  Sketch out = bystander;
  EXPECT_EQ(5, Sketch::Deserialize(nullptr, 0, out));
  for (size_t cut = 0; cut < bytes.size(); ++cut) {
    ASSERT_EQ(5, Sketch::Deserialize(bytes.data(), cut, out)) << cut;
  }
  std::string damaged = bytes;
  damaged[1] ^= 1;
  EXPECT_EQ(5, Sketch::Deserialize(damaged.data(), damaged.size(), out));
  damaged = bytes;
  damaged[0] ^= 0x20;
  EXPECT_EQ(5, Sketch::Deserialize(damaged.data(), damaged.size(), out));
  damaged = bytes + '\0';
  EXPECT_EQ(5, Sketch::Deserialize(damaged.data(), damaged.size(), out));
  EXPECT_EQ(before, out.Serialize());
}

// `bytes` with the 8 bytes of `from` replaced, at their first place, by those of `to`.
std::string Replace(std::string bytes, double from, double to) {
  char a[8];
  char b[8];
  std::memcpy(a, &from, 8);
  std::memcpy(b, &to, 8);
  const size_t at = bytes.find(std::string(a, 8));
  if (at != std::string::npos) bytes.replace(at, 8, b, 8);
  return bytes;
}

TEST(CFSketchHashTest, FixedValuesAndAvalanche) {
  // Serialised distinct counts hold these values: they never change.
  const std::pair<std::string, uint64_t> fixed[] = {
      {"", 0x7d53c0f2cde3b5aeull},
      {"a", 0xd661303c6e394731ull},
      {"abc", 0xc952fcc2fb63b730ull},
      {"abcd", 0x3925c1c6bcd9af41ull},
      {"0123456789abcdef", 0x076b3c12f350716bull},
      {"0123456789abcdefg", 0xa91a62b79b8894a1ull},
      {std::string(100, 'x'), 0x040e4e10c9d9be65ull},
  };
  for (const auto& row : fixed) {
    SCOPED_TRACE(row.first);
    EXPECT_EQ(row.second, CFSketchHash(row.first.data(), row.first.size()));
  }
  // Every input bit flips about half the output bits, at every length and position.
  std::mt19937_64 random(7);
  for (size_t length = 1; length <= 40; ++length) {
    SCOPED_TRACE(length);
    std::string text(length, '\0');
    double flipped = 0;
    for (int trial = 0; trial < 8; ++trial) {
      for (char& c : text) c = static_cast<char>(random());
      const uint64_t base = CFSketchHash(text.data(), length);
      for (size_t bit = 0; bit < 8 * length; ++bit) {
        text[bit / 8] ^= static_cast<char>(1 << (bit % 8));
        flipped += __builtin_popcountll(base ^ CFSketchHash(text.data(), length));
        text[bit / 8] ^= static_cast<char>(1 << (bit % 8));
      }
    }
    EXPECT_NEAR(32.0, flipped / (8 * 8 * length), 1.5);
  }
  // Runs of zero bytes differ only in length.
  const std::string zeros(40, '\0');
  std::vector<uint64_t> hashes;
  for (size_t length = 0; length <= zeros.size(); ++length) {
    hashes.push_back(CFSketchHash(zeros.data(), length));
  }
  std::sort(hashes.begin(), hashes.end());
  EXPECT_EQ(hashes.end(), std::adjacent_find(hashes.begin(), hashes.end()));
}

TEST(CFQuantileSketchTest, ExactUntilTheFirstCompaction) {
  for (Order order : kOrders) {
    SCOPED_TRACE(static_cast<int>(order));
    CFQuantileSketch sketch;
    std::vector<double> values = MakeValues(order, sketch.K(), 3);
    for (double v : values) sketch.Add(v);
    sketch.Add(std::nan(""));
    sketch.Add(1e300, 0);
    ASSERT_TRUE(sketch.IsExact());
    EXPECT_EQ(0.0, sketch.ErrorBound());
    std::sort(values.begin(), values.end());
    EXPECT_EQ(values.size(), sketch.Count());
    EXPECT_EQ(values.front(), sketch.Quantile(0.0));
    EXPECT_EQ(values.back(), sketch.Quantile(1.0));
    for (double q : kFractions) EXPECT_EQ(LowerQuantile(values, q), sketch.Quantile(q)) << q;
    for (size_t i = 0; i < values.size(); i += 37) {
      EXPECT_EQ(TrueRank(values, values[i]), sketch.Rank(values[i]));
    }
    EXPECT_EQ(0.0, sketch.Rank(values.front() - 1));

    // Bins by their documented edges; the last one holds its upper edge.
    const size_t bins = 7;
    const double low = values.front();
    const double high = values.back() + (order == Order::kEqual ? 1.0 : 0.0);
    std::vector<double> expected(bins, 0.0);
    for (double v : values) {
      for (size_t i = 0; i < bins; ++i) {
        const double from = low + (high - low) * i / bins;
        const double to = low + (high - low) * (i + 1) / bins;
        if (v >= from && (v < to || (i + 1 == bins && v == high))) ++expected[i];
      }
    }
    EXPECT_EQ(expected, sketch.Histogram(low, high, bins));

    sketch.Add(values.back());
    EXPECT_FALSE(sketch.IsExact());
  }
}

TEST(CFQuantileSketchTest, EmptyAndUnusableArguments) {
  CFQuantileSketch sketch;
  sketch.Add(std::nan(""));
  EXPECT_EQ(0u, sketch.Count());
  EXPECT_TRUE(std::isnan(sketch.Min()));
  EXPECT_TRUE(std::isnan(sketch.Quantile(0.5)));
  EXPECT_TRUE(std::isnan(sketch.Rank(0.0)));
  EXPECT_EQ(std::vector<double>(3, 0.0), sketch.Histogram(0, 1, 3));
  sketch.Add(-0.0);
  sketch.Add(5.0);
  EXPECT_FALSE(std::signbit(sketch.Min()));
  EXPECT_TRUE(std::isnan(sketch.Quantile(std::nan(""))));
  EXPECT_EQ(5.0, sketch.Quantile(7.0));
  EXPECT_TRUE(sketch.Histogram(1, 0, 3).empty());
  EXPECT_TRUE(sketch.Histogram(0, INFINITY, 3).empty());
  EXPECT_TRUE(sketch.Histogram(0, 1, 0).empty());
  EXPECT_EQ(CFQuantileSketch::kMinK, CFQuantileSketch(0).K());
  EXPECT_EQ(CFQuantileSketch::kMaxK, CFQuantileSketch(1u << 30).K());
}

TEST(CFQuantileSketchTest, LongStreamsStayWithinTheBound) {
  for (Order order : kOrders) {
    for (size_t n : {100000, 1000000}) {
      SCOPED_TRACE(testing::Message() << static_cast<int>(order) << " n=" << n);
      const std::vector<double> values = MakeValues(order, n, n);
      CFQuantileSketch sketch;
      for (double v : values) sketch.Add(v);
      EXPECT_EQ(n, sketch.Count());
      EXPECT_FALSE(sketch.IsExact());
      ExpectWithinBound(sketch, values);
    }
  }
}

TEST(CFQuantileSketchTest, MergedPartsAnswerAsOnePass) {
  for (size_t parts = 2; parts <= 8; ++parts) {
    for (size_t n : {500, 200000}) {
      SCOPED_TRACE(testing::Message() << parts << " parts, n=" << n);
      const std::vector<double> values = MakeValues(Order::kZipf, n, parts);
      CFQuantileSketch whole;
      std::vector<CFQuantileSketch> pieces(parts);
      for (size_t i = 0; i < n; ++i) {
        whole.Add(values[i]);
        pieces[(i * i) % parts].Add(values[i]);  // parts of unequal sizes, interleaved
      }
      CFQuantileSketch merged = pieces[0];
      for (size_t i = 1; i < parts; ++i) merged.Merge(pieces[i]);
      EXPECT_EQ(n, merged.Count());
      for (const CFQuantileSketch& piece : pieces) {  // a merge never forgets a part's error
        EXPECT_GE(merged.ErrorBound() * n, piece.ErrorBound() * piece.Count());
      }
      if (whole.IsExact()) {
        EXPECT_TRUE(merged.IsExact());
        const std::vector<double> q(std::begin(kFractions), std::end(kFractions));
        EXPECT_EQ(whole.Quantiles(q), merged.Quantiles(q));
        EXPECT_EQ(whole.Histogram(0, 5000, 16), merged.Histogram(0, 5000, 16));
      } else {
        ExpectWithinBound(merged, values);
      }
    }
  }
  CFQuantileSketch self;
  for (int i = 0; i < 1000; ++i) self.Add(i);
  self.Merge(self);
  EXPECT_EQ(2000u, self.Count());
  EXPECT_NEAR(0.5, self.Rank(499.5), self.ErrorBound());
}

TEST(CFQuantileSketchTest, WeightedAddsAnswerAsRepeatedOnes) {
  // Weights far beyond any capacity stay exact: one item per set bit.
  CFQuantileSketch heavy;
  heavy.Add(1.0, 3);
  heavy.Add(2.0, uint64_t{1} << 40);
  heavy.Add(3.0, (uint64_t{1} << 40) + 5);
  EXPECT_TRUE(heavy.IsExact());
  const double n = std::ldexp(1.0, 41) + 8.0;
  EXPECT_EQ(3.0 / n, heavy.Rank(1.5));
  EXPECT_EQ((std::ldexp(1.0, 40) + 3.0) / n, heavy.Rank(2.0));
  EXPECT_EQ(2.0, heavy.Quantile(0.25));
  EXPECT_EQ(3.0, heavy.Quantile(0.5));  // half is 2^40 + 4, one more than up to 2.0

  std::mt19937_64 random(11);
  const std::vector<double> values = MakeValues(Order::kRandom, 20000, 4);
  CFQuantileSketch weighted;
  CFQuantileSketch repeated;
  std::vector<double> expanded;
  for (double v : values) {
    const uint64_t weight = random() % 40;
    weighted.Add(v, weight);
    for (uint64_t i = 0; i < weight; ++i) {
      repeated.Add(v);
      expanded.push_back(v);
    }
  }
  EXPECT_EQ(repeated.Count(), weighted.Count());
  ExpectWithinBound(weighted, expanded);
  ExpectWithinBound(repeated, expanded);
}

TEST(CFQuantileSketchTest, SerialisesAndRefusesDamagedBytes) {
  CFQuantileSketch bystander(64);
  bystander.Add(42.0);
  CFQuantileSketch empty;
  CFQuantileSketch exact;
  for (double v : {3.0, -1.0, 2.0}) exact.Add(v);
  exact.Add(7.0, 6);  // levels 1 and 2
  CFQuantileSketch compacted(16, 99);
  for (double v : MakeValues(Order::kZipf, 3000, 5)) compacted.Add(v);
  for (const CFQuantileSketch* sketch : {&empty, &exact, &compacted}) {
    ExpectRoundTripAndRefusals(*sketch, bystander);
  }
  CFQuantileSketch copy;
  const std::string written = compacted.Serialize();
  ASSERT_EQ(0, CFQuantileSketch::Deserialize(written.data(), written.size(), copy));
  EXPECT_EQ(compacted.Quantile(0.3), copy.Quantile(0.3));
  EXPECT_EQ(compacted.ErrorBound(), copy.ErrorBound());
  for (int i = 0; i < 100; ++i) {
    copy.Add(i);
    compacted.Add(i);
  }
  EXPECT_EQ(compacted.Serialize(), copy.Serialize());  // the generator travels too

  // Serialised: 'Q', 1, k as a two-byte varint, then the rest; the items come last.
  const std::string bytes = exact.Serialize();
  ASSERT_EQ(std::string("Q\x01\xd8\x04\x01\x09", 6), bytes.substr(0, 6));
  std::string smallK = bytes;
  smallK.replace(2, 2, "\x07", 1);
  std::string hugeK = bytes;
  hugeK.replace(2, 2, "\x80\x80\x04", 3);
  CFQuantileSketch twoItems;
  twoItems.Add(1.0, 2);
  twoItems.Add(2.0, 2);
  std::string unsorted = twoItems.Serialize();
  std::swap_ranges(unsorted.end() - 16, unsorted.end() - 8, unsorted.end() - 8);
  const std::string damaged[] = {
      Replace(bytes, 2.0, std::nan("")),
      Replace(bytes, 2.0, -0.0),
      Replace(bytes, 2.0, 8.0),    // above max
      Replace(bytes, -1.0, -5.0),  // the min field: no longer among the items
      smallK,
      hugeK,
      unsorted,  // level 1 out of order
  };
  for (const std::string& bytes : damaged) {
    CFQuantileSketch out = bystander;
    EXPECT_EQ(5, CFQuantileSketch::Deserialize(bytes.data(), bytes.size(), out));
    EXPECT_EQ(bystander.Serialize(), out.Serialize());
  }
}

TEST(CFStringQuantileSketchTest, OrdersByBytesAndKeepsTheBound) {
  CFStringQuantileSketch small;
  EXPECT_EQ("", small.Quantile(0.5));
  for (const char* text : {"b", "\xff", "", "ab", "a"}) small.Add(text);
  EXPECT_EQ("", small.Min());
  EXPECT_EQ("\xff", small.Max());
  EXPECT_EQ((std::vector<std::string>{"", "a", "ab", "b", "\xff"}),
            small.Quantiles({0.125, 0.25, 0.5, 0.75, 1.0}));
  EXPECT_EQ(0.6, small.Rank("ab"));

  std::vector<std::string> values;
  for (uint32_t rank : ZipfRanks(100000, 8)) {
    char text[16];
    std::snprintf(text, sizeof text, "v%06u", rank);
    values.push_back(text);
  }
  CFStringQuantileSketch parts[3];
  for (size_t i = 0; i < values.size(); ++i) parts[i % 3].Add(values[i]);
  parts[0].Merge(parts[1]);
  parts[0].Merge(parts[2]);
  std::sort(values.begin(), values.end());
  const double bound = parts[0].ErrorBound();
  EXPECT_LT(bound, 0.01);
  for (double q : kFractions) {
    const std::string answer = parts[0].Quantile(q);
    const double atOrBelow =
        std::upper_bound(values.begin(), values.end(), answer) - values.begin();
    EXPECT_GE(atOrBelow, (q - bound) * values.size()) << q;
  }
  CFStringQuantileSketch compacted(16);
  for (size_t i = 0; i < 2000; ++i) compacted.Add(values[i * 37]);
  CFStringQuantileSketch bystander;
  bystander.Add("x");
  ExpectRoundTripAndRefusals(small, bystander);
  ExpectRoundTripAndRefusals(compacted, bystander);
}

TEST(CFDistinctCountTest, ExactToTheLimitThenWithinTwoPercent) {
  for (size_t n : {0, 1, 1000, 4096, 4097, 20000, 300000, 1000000}) {
    SCOPED_TRACE(n);
    CFDistinctCount count;
    // Each value twice, the repeats in reverse, so that repeats land in either mode.
    for (size_t i = 0; i < n; ++i) count.Add(std::to_string(i * 7919));
    for (size_t i = n; i-- > 0;) count.Add(std::to_string(i * 7919));
    if (n <= CFDistinctCount::kExactLimit) {
      EXPECT_TRUE(count.IsExact());
      EXPECT_EQ(n, count.Estimate());
    } else {
      EXPECT_FALSE(count.IsExact());
      EXPECT_NEAR(static_cast<double>(n), static_cast<double>(count.Estimate()), 0.02 * n);
    }
  }
}

TEST(CFDistinctCountTest, MergedPartsCountTheUnion) {
  for (size_t parts = 2; parts <= 8; ++parts) {
    for (size_t n : {3000, 100000}) {
      SCOPED_TRACE(testing::Message() << parts << " parts, n=" << n);
      CFDistinctCount whole;
      std::vector<CFDistinctCount> pieces(parts);
      std::mt19937_64 random(parts);
      for (size_t i = 0; i < 2 * n; ++i) {
        const uint64_t hash = CFSketchHash(&i, sizeof i);
        const size_t value = random() % n;  // about 86% of the n values
        whole.AddHash(CFSketchHash(&value, sizeof value));
        // Piece i sees a tenth of the stream, piece 0 most of it: exact and estimating mix.
        pieces[hash % 10 < parts - 1 ? hash % 10 + 1 : 0].AddHash(
            CFSketchHash(&value, sizeof value));
      }
      CFDistinctCount merged;
      for (const CFDistinctCount& piece : pieces) merged.Merge(piece);
      merged.Merge(merged);
      EXPECT_EQ(whole.Serialize(), merged.Serialize());
    }
  }
  CFDistinctCount zero;
  zero.AddHash(0);
  zero.AddHash(0);
  CFDistinctCount other;
  other.AddHash(0);
  other.AddHash(1);
  zero.Merge(other);
  EXPECT_EQ(2u, zero.Estimate());
}

TEST(CFDistinctCountTest, SerialisesAndRefusesDamagedBytes) {
  CFDistinctCount bystander;
  bystander.Add("x");
  CFDistinctCount exact;
  exact.AddHash(0);
  for (int i = 0; i < 100; ++i) exact.Add(std::to_string(i));
  CFDistinctCount estimating;
  for (int i = 0; i < 5000; ++i) estimating.Add(std::to_string(i));
  for (const CFDistinctCount* count : {&exact, &estimating, &bystander}) {
    ExpectRoundTripAndRefusals(*count, bystander);
  }

  std::string unsorted = exact.Serialize();
  std::swap_ranges(unsorted.begin() + 20, unsorted.begin() + 28, unsorted.begin() + 28);
  std::string tooMany = std::string("D\x01\x00\x81\x20", 5);  // 4097 hashes
  for (uint64_t i = 1; i <= 4097; ++i) tooMany += std::string(reinterpret_cast<char*>(&i), 8);
  std::string highRegister = estimating.Serialize();
  highRegister[3] = static_cast<char>(52);  // register 0 holds 52
  highRegister[4] = 0;
  std::string mode = estimating.Serialize();
  mode[2] = 2;
  for (const std::string& bytes : {unsorted, tooMany, highRegister, mode}) {
    CFDistinctCount out = bystander;
    EXPECT_EQ(5, CFDistinctCount::Deserialize(bytes.data(), bytes.size(), out));
    EXPECT_EQ(bystander.Serialize(), out.Serialize());
  }
}

// The exact weight of each value of a stream.
using Frequencies = std::unordered_map<std::string, uint64_t>;

// Every counter brackets its value's true weight, no error exceeds Count() / capacity, and
// every value heavier than that is in Top(capacity).
void ExpectHeavyHittersBound(const CFHeavyHitters& sketch, const Frequencies& truth) {
  uint64_t n = 0;
  for (const auto& entry : truth) n += entry.second;
  EXPECT_EQ(n, sketch.Count());
  const double threshold = static_cast<double>(n) / sketch.Capacity();
  const std::vector<CFHeavyHitters::Item> top = sketch.Top(sketch.Capacity());
  Frequencies held;
  for (const CFHeavyHitters::Item& item : top) {
    const auto found = truth.find(item.value);
    const uint64_t f = found == truth.end() ? 0 : found->second;
    EXPECT_LE(item.count - item.error, f) << item.value;
    EXPECT_GE(item.count, f) << item.value;
    EXPECT_LE(item.error, threshold);
    held[item.value] = item.count;
  }
  for (const auto& entry : truth) {
    if (entry.second > threshold) {
      EXPECT_EQ(1u, held.count(entry.first)) << entry.first;
    }
  }
}

std::vector<std::string> HeavyStream(Order order, size_t n, uint64_t seed) {
  const std::vector<uint32_t> ranks = ZipfRanks(n, seed);
  std::vector<std::string> stream;
  for (uint32_t r : ranks) stream.push_back("value" + std::to_string(r));
  if (order == Order::kSorted) std::sort(stream.begin(), stream.end());
  if (order == Order::kReversed) std::sort(stream.rbegin(), stream.rend());
  if (order == Order::kEqual) std::fill(stream.begin(), stream.begin() + n / 2, "same");
  return stream;
}

TEST(CFHeavyHittersTest, ExactWhileEveryValueHasACounter) {
  CFHeavyHitters sketch(4);
  sketch.Add("b", 3);
  sketch.Add("a");
  sketch.Add("c", 3);
  sketch.Add("a", 2);
  sketch.Add("d", 0);
  sketch.Add("d", CFSketchHash("d", 1), 1);
  EXPECT_TRUE(sketch.IsExact());
  const std::vector<CFHeavyHitters::Item> top = sketch.Top(10);
  const std::vector<std::pair<std::string, uint64_t>> expected = {
      {"a", 3}, {"b", 3}, {"c", 3}, {"d", 1}};
  ASSERT_EQ(expected.size(), top.size());
  for (size_t i = 0; i < top.size(); ++i) {
    EXPECT_EQ(expected[i].first, top[i].value);
    EXPECT_EQ(expected[i].second, top[i].count);
    EXPECT_EQ(0u, top[i].error);
  }
  EXPECT_EQ(2u, sketch.Top(2).size());
  sketch.Add("e");
  EXPECT_FALSE(sketch.IsExact());
  const CFHeavyHitters::Item last = sketch.Top(4).back();  // "e" took the counter of "d"
  EXPECT_EQ("e", last.value);
  EXPECT_EQ(2u, last.count);
  EXPECT_EQ(1u, last.error);
}

TEST(CFHeavyHittersTest, HeavyValuesFoundInAnyOrderAndWeight) {
  for (Order order : kOrders) {
    SCOPED_TRACE(static_cast<int>(order));
    const std::vector<std::string> stream = HeavyStream(order, 200000, 9);
    CFHeavyHitters sketch;
    CFHeavyHitters weighted;  // weights 0 to 6, as if each value came that often
    Frequencies truth;
    Frequencies weightedTruth;
    for (size_t i = 0; i < stream.size(); ++i) {
      sketch.Add(stream[i]);
      ++truth[stream[i]];
      weighted.Add(stream[i], i % 7);
      weightedTruth[stream[i]] += i % 7;
    }
    EXPECT_FALSE(sketch.IsExact());
    ExpectHeavyHittersBound(sketch, truth);
    ExpectHeavyHittersBound(weighted, weightedTruth);
  }
}

TEST(CFHeavyHittersTest, MergedPartsKeepTheBound) {
  for (size_t parts = 2; parts <= 8; ++parts) {
    for (size_t distinct : {50, 5000}) {
      SCOPED_TRACE(testing::Message() << parts << " parts, " << distinct << " values");
      std::vector<CFHeavyHitters> pieces(parts);
      CFHeavyHitters whole;
      Frequencies truth;
      const std::vector<uint32_t> ranks = ZipfRanks(50000, parts);
      for (size_t i = 0; i < ranks.size(); ++i) {
        const std::string value = std::to_string(ranks[i] % distinct);
        // Each part favours its own values, so that the parts disagree.
        pieces[(ranks[i] + i / 1000) % parts].Add(value, 1 + i % 3);
        whole.Add(value, 1 + i % 3);
        truth[value] += 1 + i % 3;
      }
      CFHeavyHitters merged = pieces[0];
      for (size_t i = 1; i < parts; ++i) merged.Merge(pieces[i]);
      if (whole.IsExact()) {
        ASSERT_TRUE(merged.IsExact());
        EXPECT_EQ(whole.Serialize(), merged.Serialize());
      } else {
        ExpectHeavyHittersBound(merged, truth);
      }
    }
  }
  // A value one part evicted and the other holds: its count covers what the first may have seen.
  CFHeavyHitters first(2);
  for (const char* value : {"x", "x", "x", "y", "y", "y", "z"}) first.Add(value);
  const std::string kept = first.Top(2)[1].value;  // z took the other one's counter
  const std::string evicted = kept == "x" ? "y" : "x";
  CFHeavyHitters second(2);
  second.Add(evicted, 20);
  first.Merge(second);
  ExpectHeavyHittersBound(first, {{kept, 3}, {evicted, 23}, {"z", 1}});

  // An inexact part of smaller capacity lowers the capacity to its own.
  CFHeavyHitters wide(64);
  CFHeavyHitters narrow(2);
  for (const char* value : {"a", "b", "c", "a"}) narrow.Add(value);
  wide.Add("z");
  wide.Merge(narrow);
  EXPECT_EQ(2u, wide.Capacity());
  EXPECT_EQ(2u, wide.Top(10).size());
  wide.Merge(wide);
  EXPECT_EQ(10u, wide.Count());
}

TEST(CFHeavyHittersTest, SerialisesAndRefusesDamagedBytes) {
  CFHeavyHitters bystander(3);
  bystander.Add("x");
  CFHeavyHitters exact(8);
  for (const char* value : {"b", "a", "b", "", "c"}) exact.Add(value);
  CFHeavyHitters evicted(8);
  for (const std::string& value : HeavyStream(Order::kRandom, 2000, 12)) evicted.Add(value);
  for (const CFHeavyHitters* sketch : {&exact, &evicted, &bystander}) {
    ExpectRoundTripAndRefusals(*sketch, bystander);
  }
  // Serialised: 'H', 1, capacity 8, exact, count 5, 4 counters, then (value, count, error)
  // in Top order: ("b", 2, 0) ("", 1, 0) ("a", 1, 0) ("c", 1, 0).
  const std::string bytes = exact.Serialize();
  const std::string header("H\x01\x08\x01\x05\x04", 6);
  const std::string b("\1b\2\0", 4);
  const std::string empty("\0\1\0", 3);
  const std::string a("\1a\1\0", 4);
  const std::string c("\1c\1\0", 4);
  ASSERT_EQ(header + b + empty + a + c, bytes);
  const std::string outOfOrder = header + b + a + empty + c;
  std::string withError = bytes;
  withError[9] = 1;  // "b" says error 1 in an exact sketch
  std::string sumOff = bytes;
  sumOff[4] = 6;
  std::string capacity = bytes;
  capacity[2] = 0;
  for (const std::string& damaged : {outOfOrder, withError, sumOff, capacity}) {
    ASSERT_NE(bytes, damaged);
    CFHeavyHitters out = bystander;
    EXPECT_EQ(5, CFHeavyHitters::Deserialize(damaged.data(), damaged.size(), out));
    EXPECT_EQ(bystander.Serialize(), out.Serialize());
  }
}

}  // namespace
