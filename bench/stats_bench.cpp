// The accumulators' updates beside the plain loops a host could write instead: a bare
// weighted-Welford loop for CFContStatsDbl, and a bare std::unordered_map find-and-add for the
// category accumulators.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "cfmeta/stats/cfcatstatsimp.h"
#include "cfmeta/stats/cfcontstats.h"

namespace {

constexpr size_t kContValues = 10000000;
constexpr size_t kCatValues = 1000000;

struct ContData {
  std::vector<double> x, freq, cases;
};

const ContData& Continuous() {
  static const ContData data = [] {
    ContData d;
    std::mt19937_64 random(1);
    std::normal_distribution<double> value(1000.0, 50.0);
    std::uniform_real_distribution<double> weight(0.5, 2.0);
    d.x.resize(kContValues);
    d.freq.resize(kContValues);
    d.cases.resize(kContValues);
    for (size_t i = 0; i < kContValues; ++i) {
      d.x[i] = value(random);
      d.freq[i] = weight(random);
      d.cases[i] = weight(random);
    }
    return d;
  }();
  return data;
}

void BM_ContStatsDblUpdate(benchmark::State& state) {
  const ContData& d = Continuous();
  for (auto _ : state) {
    CFContStatsDbl stats;
    for (size_t i = 0; i < kContValues; ++i) stats.Update(d.x[i], d.freq[i], d.cases[i]);
    benchmark::DoNotOptimize(stats.GetMean());
  }
  state.SetItemsProcessed(state.iterations() * kContValues);
}
BENCHMARK(BM_ContStatsDblUpdate)->Unit(benchmark::kMillisecond);

// The same extrema, weight sums, mean and squared deviations, written out inline.
void BM_BareWeightedWelford(benchmark::State& state) {
  const ContData& d = Continuous();
  for (auto _ : state) {
    double min = 0, max = 0, sumFreq = 0, sumComp = 0, mean = 0, sumSqDev = 0;
    for (size_t i = 0; i < kContValues; ++i) {
      const double x = d.x[i], f = d.freq[i], c = d.cases[i];
      if (!(f > 0.0 && c > 0.0)) continue;
      if (sumFreq == 0.0) {
        min = max = x;
      } else if (min > x) {
        min = x;
      } else if (x > max) {
        max = x;
      }
      const double w = f * c, w0 = sumComp;
      sumFreq += f;
      const double w1 = w + w0;
      sumComp = w1;
      const double delta = x - mean;
      mean = mean + delta * w / w1;
      sumSqDev += delta * delta * (w0 * w / w1);
    }
    benchmark::DoNotOptimize(min + max + sumFreq + sumComp + mean + sumSqDev);
  }
  state.SetItemsProcessed(state.iterations() * kContValues);
}
BENCHMARK(BM_BareWeightedWelford)->Unit(benchmark::kMillisecond);

// kCatValues picks among `categories` distinct values, each a uniformly drawn index.
std::vector<uint32_t> Picks(size_t categories) {
  std::mt19937_64 random(categories);
  std::uniform_int_distribution<uint32_t> pick(0, static_cast<uint32_t>(categories - 1));
  std::vector<uint32_t> picks(kCatValues);
  for (uint32_t& p : picks) p = pick(random);
  return picks;
}

template <typename T>
T ValueOf(uint32_t index);
template <>
long long ValueOf<long long>(uint32_t index) {
  return static_cast<long long>(index) * 7919 - 500000;
}
template <>
double ValueOf<double>(uint32_t index) {
  return index * 0.37 - 12.5;
}
template <>
std::string ValueOf<std::string>(uint32_t index) {
  return "category-" + std::to_string(index * 7919);
}

template <typename T>
std::vector<T> Values(size_t categories) {
  std::vector<T> values;
  values.reserve(kCatValues);
  for (uint32_t p : Picks(categories)) values.push_back(ValueOf<T>(p));
  return values;
}

template <typename Stats, typename T>
void BM_CatStatsUpdate(benchmark::State& state) {
  const std::vector<T> values = Values<T>(static_cast<size_t>(state.range(0)));
  for (auto _ : state) {
    Stats stats;
    for (const T& v : values) stats.Update(v, 1.0);
    benchmark::DoNotOptimize(stats.GetNCats());
  }
  state.SetItemsProcessed(state.iterations() * kCatValues);
}

template <typename T>
void BM_BareUnorderedMap(benchmark::State& state) {
  const std::vector<T> values = Values<T>(static_cast<size_t>(state.range(0)));
  for (auto _ : state) {
    std::unordered_map<T, double> counts;
    for (const T& v : values) {
      auto it = counts.find(v);
      if (it != counts.end()) {
        it->second += 1.0;
      } else {
        counts.emplace(v, 1.0);
      }
    }
    benchmark::DoNotOptimize(counts.size());
  }
  state.SetItemsProcessed(state.iterations() * kCatValues);
}

BENCHMARK_TEMPLATE(BM_CatStatsUpdate, CFCatStatsInt, long long)->Arg(10)->Arg(1000);
BENCHMARK_TEMPLATE(BM_BareUnorderedMap, long long)->Arg(10)->Arg(1000);
BENCHMARK_TEMPLATE(BM_CatStatsUpdate, CFCatStatsDbl, double)->Arg(10)->Arg(1000);
BENCHMARK_TEMPLATE(BM_BareUnorderedMap, double)->Arg(10)->Arg(1000);
BENCHMARK_TEMPLATE(BM_CatStatsUpdate, CFCatStatsStr, std::string)->Arg(10)->Arg(1000);
BENCHMARK_TEMPLATE(BM_BareUnorderedMap, std::string)->Arg(10)->Arg(1000);

}  // namespace

BENCHMARK_MAIN();
