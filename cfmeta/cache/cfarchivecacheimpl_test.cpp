#include "cfmeta/cache/cfarchivecacheimpl.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "cfmeta/field/cffield.h"
#include "cfmeta/metadata/cfmetadata.h"
#include "cfmeta/tempfile/tavo_tempfile.h"

namespace {

using Storage = CFField::StorageType;
constexpr Storage kInt = CFField::IntegerStorage;
constexpr Storage kStr = CFField::StringStorage;

// Metadata with nominal fields F0, F1, ... of the given storages.
std::unique_ptr<CFMetaData> MetaOf(const std::vector<Storage>& storages) {
  std::unique_ptr<CFMetaData> meta(new CFMetaData);
  for (size_t i = 0; i < storages.size(); ++i) {
    EXPECT_EQ(static_cast<int>(i),
              meta->AppendField(CFField("F" + std::to_string(i), storages[i], CFField::Nominal)));
  }
  return meta;
}

// A record: one entry per field, absent for a missing value.
struct Cell {
  bool missing;
  std::string bytes;
  bool text;
};
using Record = std::vector<Cell>;

std::string U64(uint64_t value) { return std::string(reinterpret_cast<char*>(&value), 8); }
Cell Int(long long value) { return {false, U64(static_cast<uint64_t>(value)), false}; }
Cell Str(const std::string& text) { return {false, text, true}; }
const Cell kMissing = {true, "", false};

// Serves one record to either kind of source; refuses the `refuseCall`-th value asked for.
template <typename Base>
class Source : public Base {
 public:
  explicit Source(Record record, int refuseCall = -1)
      : m_record(std::move(record)), m_refuseCall(refuseCall) {}
  int NextRecord() override { return 1; }
  int Rewind() override { return 0; }
  int GetRecordValue(size_t field, void*& value, size_t& length) override {
    if (m_calls++ == m_refuseCall || field >= m_record.size()) return 1;
    Cell& cell = m_record[field];
    value = cell.missing ? nullptr : &cell.bytes[0];
    length = cell.bytes.size();
    return 0;
  }

 private:
  Record m_record;
  int m_refuseCall;
  int m_calls = 0;
};

// Appends through the cache's own interface (-1 on failure) or the host's (37).
int Append(CFArchiveCacheImpl& cache, const Record& record, bool host, int refuseCall = -1) {
  if (host) {
    Source<CfExtension::CFIterator> source(record, refuseCall);
    const int rc = cache.addRecord(&source, nullptr);
    return rc == 37 ? -1 : rc;
  }
  Source<CFAIterator> source(record, refuseCall);
  return cache.addRecordFromIterator(&source);
}

std::string FileBytes(CFTempFiles::TAVO_TempFile& file) {
  std::string bytes(1 << 20, '\0');
  file.SeekFromStart(0);
  bytes.resize(file.Read(&bytes[0], bytes.size()));
  return bytes;
}

// Reads the iterator's next record and compares it with `expected`, strings up to a NUL.
void ExpectNext(CFAIterator* it, const Record& expected) {
  ASSERT_EQ(0, it->NextRecord());
  for (size_t i = 0; i < expected.size(); ++i) {
    SCOPED_TRACE(i);
    void* value = nullptr;
    size_t length = 99;
    ASSERT_EQ(0, it->GetRecordValue(i, value, length));
    if (expected[i].missing) {
      EXPECT_EQ(nullptr, value);
      EXPECT_EQ(0u, length);
      continue;
    }
    ASSERT_NE(nullptr, value);
    const std::string& bytes = expected[i].bytes;
    const size_t shown = expected[i].text ? std::min(bytes.size(), bytes.find('\0')) : 8;
    ASSERT_EQ(shown, length);
    EXPECT_TRUE(std::string(static_cast<char*>(value), length) == bytes.substr(0, shown));
  }
}

// A file that takes only `budget` more bytes, then comes up short.
class FailingFile : public CFTempFiles::TAVO_TempFile {
 public:
  size_t budget = SIZE_MAX;
  size_t Write(const void* data, size_t n) override {
    const size_t k = TAVO_TempFile::Write(data, std::min(n, budget));
    budget -= k;
    return k;
  }
};

TEST(CFArchiveCacheImplTest, WritesTheRecordLayoutAndReadsItBack) {
  struct Row {
    const char* name;
    std::vector<Storage> storages;
    Record record;
    std::string bytes;
  } rows[] = {
      {"8 fields, only field 0 present",
       std::vector<Storage>(8, kInt),
       {Int(-5), kMissing, kMissing, kMissing, kMissing, kMissing, kMissing, kMissing},
       "\x7f" + U64(static_cast<uint64_t>(-5))},
      {"9 fields all missing", std::vector<Storage>(9, kInt), Record(9, kMissing),
       std::string("\xff\x80", 2)},
      {"9 fields, only field 8 missing",
       std::vector<Storage>(9, kInt),
       {Int(0), Int(1), Int(2), Int(3), Int(4), Int(5), Int(6), Int(7), kMissing},
       std::string("\x00\x80", 2) + U64(0) + U64(1) + U64(2) + U64(3) + U64(4) + U64(5) + U64(6) +
           U64(7)},
      {"strings",
       {kStr, kStr, kInt, kStr},
       {Str("abc"), Str(""), Int(9), Str(std::string("ab\0cd", 5))},
       std::string(1, '\0') + U64(3) + "abc" + U64(0) + U64(9) + U64(5) + std::string("ab\0cd", 5)},
      {"a 2000-byte string",
       {kStr},
       {Str(std::string(2000, 'q'))},
       std::string(1, '\0') + U64(2000) + std::string(2000, 'q')},
  };
  for (const Row& row : rows) {
    for (bool host : {false, true}) {
      SCOPED_TRACE(std::string(row.name) + (host ? " (host source)" : ""));
      std::unique_ptr<CFMetaData> meta = MetaOf(row.storages);
      ASSERT_EQ(row.storages.size(), meta->FieldCount());
      CFTempFiles::TAVO_TempFile file;
      std::unique_ptr<CFArchiveCacheImpl> cache(CFDataCacheFactory::create(meta.get(), &file));
      ASSERT_EQ(0, Append(*cache, row.record, host));
      EXPECT_TRUE(FileBytes(file) == row.bytes);
      CFAIterator* it = cache->getIterator();
      ExpectNext(it, row.record);
      EXPECT_EQ(1, it->NextRecord());
    }
  }
}

TEST(CFArchiveCacheImplTest, InterleavedAppendsAndReadsRoundTrip) {
  const std::vector<Storage> storages = {kInt,
                                         CFField::RealStorage,
                                         kStr,
                                         CFField::DateStorage,
                                         CFField::TimeStorage,
                                         CFField::TimestampStorage,
                                         kStr};
  std::unique_ptr<CFMetaData> meta = MetaOf(storages);
  CFTempFiles::TAVO_TempFile file;
  CFArchiveCacheImpl cache(meta.get(), &file);
  std::mt19937 random(3);
  std::vector<Record> records;
  for (int r = 0; r < 300; ++r) {
    Record record;
    for (Storage storage : storages) {
      if (random() % 5 == 0) {
        record.push_back(kMissing);
      } else if (storage == kStr) {
        // Longer and shorter than the 1024-byte cell; once longer than what is read ahead.
        std::string text(r == 150 ? 600000 : random() % 3000, '\0');
        for (char& c : text) c = static_cast<char>('a' + random() % 26);
        if (!text.empty() && random() % 4 == 0) text[random() % text.size()] = '\0';
        record.push_back(Str(text));
      } else {
        record.push_back(Int(static_cast<long long>(random()) << 20));
      }
    }
    records.push_back(record);
  }
  CFAIterator* it = cache.getIterator();
  void* value = nullptr;
  size_t length = 0;
  EXPECT_EQ(1, it->GetRecordValue(0, value, length));  // nothing read since the rewind
  size_t read = 0;
  for (size_t r = 0; r < records.size(); ++r) {
    ASSERT_EQ(0, Append(cache, records[r], r % 2 == 1));
    while (random() % 3 == 0 && read <= r) {
      SCOPED_TRACE(read);
      ExpectNext(it, records[read++]);
    }
  }
  while (read < records.size()) ExpectNext(it, records[read++]);
  // At the end the offset stays, so a record appended later is the next one read.
  EXPECT_EQ(1, it->NextRecord());
  EXPECT_EQ(1, it->NextRecord());
  ASSERT_EQ(0, Append(cache, records[0], false));
  ExpectNext(it, records[0]);
  ASSERT_EQ(it, cache.getIterator());
  EXPECT_EQ(1, it->GetRecordValue(0, value, length));
  for (size_t r = 0; r < records.size(); ++r) ExpectNext(it, records[r]);
  EXPECT_EQ(1, it->GetRecordValue(storages.size(), value, length));
}

// A short write fails the append and leaves its first bytes, which the next read finds cut
// short; a rewind makes the iterator usable again.
TEST(CFArchiveCacheImplTest, ShortWriteLeavesAFragmentThatReadsAsAnError) {
  std::unique_ptr<CFMetaData> meta = MetaOf({kInt, kStr});
  const Record good = {Int(42), Str("hello")};
  const size_t recordSize = 1 + 8 + 8 + 5;
  for (size_t kept = 0; kept < recordSize; ++kept) {
    for (bool host : {false, true}) {
      SCOPED_TRACE(std::to_string(kept) + (host ? " (host source)" : ""));
      FailingFile file;
      CFArchiveCacheImpl cache(meta.get(), &file);
      ASSERT_EQ(0, Append(cache, good, host));
      file.budget = kept;
      EXPECT_EQ(-1, Append(cache, good, host));
      EXPECT_EQ(recordSize + kept, FileBytes(file).size());
      CFAIterator* it = cache.getIterator();
      ExpectNext(it, good);
      EXPECT_EQ(kept == 0 ? 1 : 2, it->NextRecord());
      ASSERT_EQ(0, it->Rewind());
      ExpectNext(it, good);
    }
  }
}

TEST(CFArchiveCacheImplTest, StringLengthBeyondTheFileIsAnError) {
  std::unique_ptr<CFMetaData> meta = MetaOf({kStr});
  CFTempFiles::TAVO_TempFile file;
  CFArchiveCacheImpl cache(meta.get(), &file);
  ASSERT_EQ(0, Append(cache, {Str("abcd")}, false));
  const uint64_t lengths[] = {5, uint64_t{1} << 40, UINT64_MAX - 1, UINT64_MAX};
  for (uint64_t length : lengths) {
    SCOPED_TRACE(length);
    file.SeekFromStart(1);
    ASSERT_EQ(8u, file.Write(&length, 8));
    CFAIterator* it = cache.getIterator();
    EXPECT_EQ(2, it->NextRecord());
    const uint64_t real = 4;
    file.SeekFromStart(1);
    ASSERT_EQ(8u, file.Write(&real, 8));
    ASSERT_EQ(0, it->Rewind());
    ExpectNext(it, {Str("abcd")});
  }
}

TEST(CFArchiveCacheImplTest, UnusableStateGivesItsStatus) {
  std::unique_ptr<CFMetaData> meta = MetaOf({kInt, kStr});
  std::unique_ptr<CFMetaData> noFields(new CFMetaData(nullptr));
  std::unique_ptr<CFMetaData> unknown = MetaOf({kInt, CFField::UnknownStorage});
  CFTempFiles::TAVO_TempFile file;
  const Record record = {Int(1), Str("x")};
  struct Row {
    const char* name;
    CFMetaData* meta;
    CFTempFiles::TAVO_TempFile* file;
    int refuseCall;  // the source refuses this call
  } rows[] = {
      {"no metadata", nullptr, &file, -1},      {"no fields", noFields.get(), &file, -1},
      {"no file", meta.get(), nullptr, -1},     {"unknown storage", unknown.get(), &file, -1},
      {"source refuses", meta.get(), &file, 3},
  };
  for (const Row& row : rows) {
    for (bool host : {false, true}) {
      SCOPED_TRACE(std::string(row.name) + (host ? " (host source)" : ""));
      CFArchiveCacheImpl cache(row.meta, row.file);
      EXPECT_EQ(-1, Append(cache, record, host, row.refuseCall));
    }
  }
  CFArchiveCacheImpl none(nullptr, &file);
  EXPECT_EQ(2, none.getIterator()->Rewind());
  EXPECT_EQ(2, none.getIterator()->NextRecord());
  EXPECT_EQ(-1, none.addRecordFromIterator(nullptr));

  // A field whose storage is unknown is refused; one added after the cache was made
  // misplaces every value, so nothing more is read.
  CFTempFiles::TAVO_TempFile other;
  CFArchiveCacheImpl cache(unknown.get(), &other);
  ASSERT_EQ(0, Append(cache, {Int(1), kMissing}, false));
  CFAIterator* it = cache.getIterator();
  ASSERT_EQ(0, it->NextRecord());
  void* value = nullptr;
  size_t length = 0;
  EXPECT_EQ(0, it->GetRecordValue(0, value, length));
  EXPECT_EQ(1, it->GetRecordValue(1, value, length));
  std::unique_ptr<CFMetaData> three = MetaOf({kInt, kInt, kStr});
  ASSERT_GE(unknown->AppendField(*three->GetField(2u)), 0);
  EXPECT_EQ(1, it->GetRecordValue(0, value, length));
  EXPECT_EQ(0, it->Rewind());
  EXPECT_EQ(2, it->NextRecord());
}

// Records appended and read after a field was replaced follow its new storage; a value asked
// for after the replacement, of a record read before it, is checked against the new fields.
TEST(CFArchiveCacheImplTest, FollowsReplacedFields) {
  std::unique_ptr<CFMetaData> meta = MetaOf({kInt, kStr});
  std::unique_ptr<CFMetaData> others =
      MetaOf({kInt, CFField::RealStorage, CFField::UnknownStorage});
  CFTempFiles::TAVO_TempFile file;
  CFArchiveCacheImpl cache(meta.get(), &file);
  ASSERT_EQ(0, Append(cache, {Int(7), Str("ab")}, false));
  CFAIterator* it = cache.getIterator();
  ExpectNext(it, {Int(7), Str("ab")});

  ASSERT_EQ(1, meta->ReplaceField(1, others->GetField(1u)));
  ASSERT_EQ(0, Append(cache, {Int(8), Int(9)}, true));
  EXPECT_TRUE(FileBytes(file).substr(1 + 8 + 8 + 2) == std::string(1, '\0') + U64(8) + U64(9));
  ExpectNext(it, {Int(8), Int(9)});

  ASSERT_EQ(1, meta->ReplaceField(1, others->GetField(2u)));
  void* value = nullptr;
  size_t length = 0;
  EXPECT_EQ(0, it->GetRecordValue(0, value, length));
  EXPECT_EQ(1, it->GetRecordValue(1, value, length));
  EXPECT_EQ(-1, Append(cache, {Int(1), Int(2)}, false));
}

}  // namespace
