// The sketches' costs: Add throughput of each over a pre-built column of values, and the cost
// of merging two full sketches, which a profiler pays once per part and column.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "cfmeta/stats/cfsketches.h"

namespace {

constexpr size_t kValues = 4000000;
constexpr size_t kStrings = 1000000;

const std::vector<double>& Doubles() {
  static const std::vector<double> values = [] {
    std::mt19937_64 random(1);
    std::normal_distribution<double> value(1000.0, 50.0);
    std::vector<double> v(kValues);
    for (double& x : v) x = value(random);
    return v;
  }();
  return values;
}

// Short keys of a column with many repeats: Zipf-like ranks over 200000 values.
const std::vector<std::string>& Strings() {
  static const std::vector<std::string> values = [] {
    std::mt19937_64 random(2);
    std::vector<std::string> v(kStrings);
    for (std::string& s : v) {
      const uint64_t rank = static_cast<uint64_t>(200000.0 / (1.0 + (random() % 200000)));
      s = "key-" + std::to_string(rank * 7919 + random() % 3);
    }
    return v;
  }();
  return values;
}

void BM_QuantileAdd(benchmark::State& state) {
  const std::vector<double>& values = Doubles();
  for (auto _ : state) {
    CFQuantileSketch sketch;
    for (double v : values) sketch.Add(v);
    benchmark::DoNotOptimize(sketch.Count());
  }
  state.SetItemsProcessed(state.iterations() * values.size());
}
BENCHMARK(BM_QuantileAdd)->Unit(benchmark::kMillisecond);

void BM_StringQuantileAdd(benchmark::State& state) {
  const std::vector<std::string>& values = Strings();
  for (auto _ : state) {
    CFStringQuantileSketch sketch;
    for (const std::string& v : values) sketch.Add(v);
    benchmark::DoNotOptimize(sketch.Count());
  }
  state.SetItemsProcessed(state.iterations() * values.size());
}
BENCHMARK(BM_StringQuantileAdd)->Unit(benchmark::kMillisecond);

// The values as the distinct count sees them in each mode: below the exact limit (a repeating
// column of 4000 values) and past it.
void BM_DistinctAdd(benchmark::State& state) {
  const std::vector<std::string>& strings = Strings();
  const size_t distinct = static_cast<size_t>(state.range(0));
  std::vector<std::string> values(kStrings);
  for (size_t i = 0; i < kStrings; ++i) values[i] = strings[i % distinct];
  for (auto _ : state) {
    CFDistinctCount count;
    for (const std::string& v : values) count.Add(v);
    benchmark::DoNotOptimize(count.Estimate());
  }
  state.SetItemsProcessed(state.iterations() * values.size());
}
BENCHMARK(BM_DistinctAdd)->Arg(4000)->Arg(kStrings)->Unit(benchmark::kMillisecond);

void BM_DistinctAddHash(benchmark::State& state) {
  std::vector<uint64_t> hashes(kValues);
  std::mt19937_64 random(3);
  for (uint64_t& h : hashes) h = random();
  for (auto _ : state) {
    CFDistinctCount count;
    for (uint64_t h : hashes) count.AddHash(h);
    benchmark::DoNotOptimize(count.Estimate());
  }
  state.SetItemsProcessed(state.iterations() * hashes.size());
}
BENCHMARK(BM_DistinctAddHash)->Unit(benchmark::kMillisecond);

void BM_HeavyHittersAdd(benchmark::State& state) {
  const std::vector<std::string>& values = Strings();
  for (auto _ : state) {
    CFHeavyHitters sketch(static_cast<uint32_t>(state.range(0)));
    for (const std::string& v : values) sketch.Add(v);
    benchmark::DoNotOptimize(sketch.Count());
  }
  state.SetItemsProcessed(state.iterations() * values.size());
}
BENCHMARK(BM_HeavyHittersAdd)
    ->Arg(CFHeavyHitters::kDefaultCapacity)
    ->Arg(1024)
    ->Unit(benchmark::kMillisecond);

void BM_HashShortString(benchmark::State& state) {
  const std::vector<std::string>& values = Strings();
  uint64_t sum = 0;
  for (auto _ : state) {
    for (const std::string& v : values) sum += CFSketchHash(v.data(), v.size());
  }
  benchmark::DoNotOptimize(sum);
  state.SetItemsProcessed(state.iterations() * values.size());
}
BENCHMARK(BM_HashShortString)->Unit(benchmark::kMillisecond);

// Merges of two sketches each full from half the column; the copy the merge lands in is
// part of the cost a profiler pays too.
void BM_QuantileMerge(benchmark::State& state) {
  const std::vector<double>& values = Doubles();
  CFQuantileSketch a;
  CFQuantileSketch b;
  for (size_t i = 0; i < values.size(); ++i) (i % 2 ? a : b).Add(values[i]);
  for (auto _ : state) {
    CFQuantileSketch merged = a;
    merged.Merge(b);
    benchmark::DoNotOptimize(merged.Count());
  }
}
BENCHMARK(BM_QuantileMerge)->Unit(benchmark::kMicrosecond);

void BM_DistinctMerge(benchmark::State& state) {
  const std::vector<std::string>& values = Strings();
  CFDistinctCount a;
  CFDistinctCount b;
  for (size_t i = 0; i < values.size(); ++i) (i % 2 ? a : b).Add(values[i]);
  for (auto _ : state) {
    CFDistinctCount merged = a;
    merged.Merge(b);
    benchmark::DoNotOptimize(merged.Estimate());
  }
}
BENCHMARK(BM_DistinctMerge)->Unit(benchmark::kMicrosecond);

void BM_HeavyHittersMerge(benchmark::State& state) {
  const std::vector<std::string>& values = Strings();
  CFHeavyHitters a;
  CFHeavyHitters b;
  for (size_t i = 0; i < values.size(); ++i) (i % 2 ? a : b).Add(values[i]);
  for (auto _ : state) {
    CFHeavyHitters merged = a;
    merged.Merge(b);
    benchmark::DoNotOptimize(merged.Count());
  }
}
BENCHMARK(BM_HeavyHittersMerge)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
