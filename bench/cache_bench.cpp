// The record cache beside bare stdio on the same number of bytes: appending a record stream
// against fwrite in 64 KiB blocks, and reading it back field by field against fread, through
// the iterator class getIterator gives and through the abstract CFAIterator.
//
// The stream: 20 fields (10 reals, 5 integers, 5 strings of 4 to 40 bytes), a tenth of the
// values missing, 1,000,000 records cycled from a pool of 4,096 made up front, small enough to
// stay in cache so that the source costs little beside what is measured.
#include <benchmark/benchmark.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "cfmeta/cache/cfarchivecacheimpl.h"
#include "cfmeta/field/cffield.h"
#include "cfmeta/metadata/cfmetadata.h"
#include "cfmeta/tempfile/tavo_tempfile.h"
#include "cfmeta/xml/cfxmlwrapper.h"

namespace {

constexpr size_t kRecords = 1000000;
constexpr size_t kPool = 4096;
constexpr size_t kFields = 20;
constexpr size_t kBlock = 64 * 1024;

CFField::StorageType StorageOf(size_t field) {
  if (field < 10) return CFField::RealStorage;
  if (field < 15) return CFField::IntegerStorage;
  return CFField::StringStorage;
}

// Nominal fields F0, F1, ... of the stream's storages.
std::unique_ptr<CFMetaData> MakeMeta() {
  std::unique_ptr<CFMetaData> meta(new CFMetaData);
  for (size_t i = 0; i < kFields; ++i) {
    meta->AppendField(CFField("F" + std::to_string(i), StorageOf(i), CFField::Nominal));
  }
  return meta;
}

struct Stream {
  std::unique_ptr<CFMetaData> meta;
  // Every value's bytes, back to back, and where each value of the pool is: value f of pool
  // record r is values[r * kFields + f], a null pointer when it is missing.
  std::string arena;
  std::vector<std::pair<const char*, size_t>> values;
  size_t bytes = 0;  // the whole stream's size on disk
};

const Stream& TheStream() {
  static const Stream stream = [] {
    CfExtension::CFXMLWrapper::startup(false);
    Stream s;
    s.meta = MakeMeta();
    std::mt19937_64 random(11);
    std::vector<size_t> poolBytes(kPool, (kFields + 7) / 8);
    std::vector<size_t> start, size;
    for (size_t r = 0; r < kPool; ++r) {
      for (size_t f = 0; f < kFields; ++f) {
        std::string value;
        if (random() % 10 != 0) {
          if (f < 15) {
            const uint64_t bits = random();
            value.assign(reinterpret_cast<const char*>(&bits), 8);
          } else {
            value.assign(4 + random() % 37, static_cast<char>('a' + random() % 26));
            poolBytes[r] += 8;
          }
        }
        poolBytes[r] += value.size();
        start.push_back(s.arena.size());
        size.push_back(value.size());
        s.arena += value;
      }
    }
    // Pointers into the arena only once it has stopped growing.
    for (size_t v = 0; v < start.size(); ++v) {
      s.values.emplace_back(size[v] == 0 ? nullptr : s.arena.data() + start[v], size[v]);
    }
    for (size_t r = 0; r < kRecords; ++r) s.bytes += poolBytes[r % kPool];
    return s;
  }();
  return stream;
}

class PoolSource : public CFAIterator {
 public:
  explicit PoolSource(const Stream& stream) : m_values(stream.values.data()) {}
  void Set(size_t record) { m_record = m_values + (record % kPool) * kFields; }
  int NextRecord() override { return 0; }
  int Rewind() override { return 0; }
  int GetRecordValue(size_t field, void*& value, size_t& length) override {
    value = const_cast<char*>(m_record[field].first);
    length = m_record[field].second;
    return 0;
  }

 private:
  const std::pair<const char*, size_t>* m_values;
  const std::pair<const char*, size_t>* m_record = nullptr;
};

void Fill(CFArchiveCacheImpl& cache, const Stream& stream) {
  PoolSource source(stream);
  for (size_t r = 0; r < kRecords; ++r) {
    source.Set(r);
    if (cache.addRecordFromIterator(&source) != 0) abort();
  }
}

// An unnamed stdio file in the same folder the cache uses.
FILE* ScratchStdioFile() {
  const char* dir = getenv("TMPDIR");
  std::string path = std::string(dir != nullptr && *dir != '\0' ? dir : "/tmp") + "/benchXXXXXX";
  const int fd = mkstemp(&path[0]);
  if (fd < 0) abort();
  unlink(path.c_str());
  return fdopen(fd, "w+b");
}

void SetCounters(benchmark::State& state, const Stream& stream) {
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kRecords));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * stream.bytes));
}

void BM_CacheAppend(benchmark::State& state) {
  const Stream& stream = TheStream();
  for (auto _ : state) {
    CFTempFiles::TAVO_TempFile file;
    std::unique_ptr<CFArchiveCacheImpl> cache(CFDataCacheFactory::create(stream.meta.get(), &file));
    Fill(*cache, stream);
  }
  SetCounters(state, stream);
}
BENCHMARK(BM_CacheAppend)->Unit(benchmark::kMillisecond);

void BM_BareWrite(benchmark::State& state) {
  const Stream& stream = TheStream();
  std::vector<char> block(kBlock, 'x');
  for (auto _ : state) {
    FILE* out = ScratchStdioFile();
    for (size_t left = stream.bytes; left > 0;) {
      const size_t n = left < kBlock ? left : kBlock;
      if (fwrite(block.data(), 1, n, out) != n) abort();
      left -= n;
    }
    fclose(out);
  }
  SetCounters(state, stream);
}
BENCHMARK(BM_BareWrite)->Unit(benchmark::kMillisecond);

// Every field of every record, read through `Iterator`: the class getIterator gives (its
// values are answered inline), or the abstract interface a host may hold instead.
template <typename Iterator>
void ReadAll(benchmark::State& state) {
  const Stream& stream = TheStream();
  CFTempFiles::TAVO_TempFile file;
  std::unique_ptr<CFArchiveCacheImpl> cache(CFDataCacheFactory::create(stream.meta.get(), &file));
  Fill(*cache, stream);
  for (auto _ : state) {
    Iterator* it = cache->getIterator();
    size_t records = 0, total = 0;
    while (it->NextRecord() == 0) {
      ++records;
      for (size_t f = 0; f < kFields; ++f) {
        void* value = nullptr;
        size_t length = 0;
        it->GetRecordValue(f, value, length);
        total += length;
      }
    }
    if (records != kRecords) abort();
    benchmark::DoNotOptimize(total);
  }
  SetCounters(state, stream);
}

void BM_CacheRead(benchmark::State& state) { ReadAll<CFCacheIterator>(state); }
BENCHMARK(BM_CacheRead)->Unit(benchmark::kMillisecond);

void BM_CacheReadInterface(benchmark::State& state) { ReadAll<CFAIterator>(state); }
BENCHMARK(BM_CacheReadInterface)->Unit(benchmark::kMillisecond);

void BM_BareRead(benchmark::State& state) {
  const Stream& stream = TheStream();
  FILE* file = ScratchStdioFile();
  std::vector<char> block(kBlock, 'x');
  for (size_t left = stream.bytes; left > 0;) {
    const size_t n = left < kBlock ? left : kBlock;
    fwrite(block.data(), 1, n, file);
    left -= n;
  }
  for (auto _ : state) {
    rewind(file);
    size_t total = 0, n = 0;
    while ((n = fread(block.data(), 1, kBlock, file)) > 0) total += n;
    if (total != stream.bytes) abort();
    benchmark::DoNotOptimize(block.data());
  }
  fclose(file);
  SetCounters(state, stream);
}
BENCHMARK(BM_BareRead)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
