#include "cfmeta/cache/cfarchivecacheimpl.h"

#include <cstdint>
#include <cstring>

#include "cfmeta/cache/cfcachelayout_internal.h"
#include "cfmeta/metadata/cfmetadata.h"
#include "cfmeta/tempfile/tavo_tempfile.h"

namespace {

// Builds a record at the front of a reused vector. The bytes built so far are counted in
// `size` when the builder goes, an exception included, so that they can still be written.
class RecordBuilder {
 public:
  RecordBuilder(std::vector<char>& record, size_t& size)
      : m_record(record), m_size(size), m_data(record.data()), m_capacity(record.size()) {}
  ~RecordBuilder() { m_size = m_used; }
  RecordBuilder(const RecordBuilder&) = delete;
  RecordBuilder& operator=(const RecordBuilder&) = delete;

  void Put(const void* data, size_t size) {
    if (size == 0) return;
    std::memcpy(Room(size), data, size);
    m_used += size;
  }
  // A value of the common size, copied without a call.
  void Put8(const void* data) {
    std::memcpy(Room(8), data, 8);
    m_used += 8;
  }

 private:
  char* Room(size_t size) {
    if (m_capacity - m_used < size) {
      m_record.resize(2 * (m_used + size));
      m_data = m_record.data();
      m_capacity = m_record.size();
    }
    return m_data + m_used;
  }

  std::vector<char>& m_record;
  size_t& m_size;
  char* m_data;
  size_t m_capacity;
  size_t m_used = 0;
};

}  // namespace

CFArchiveCacheImpl::CFArchiveCacheImpl(CFMetaData* meta, CFTempFiles::TAVO_TempFile* file)
    : m_meta(meta), m_file(file), m_iterator(new CFCacheIterator(meta, file)) {
  if (meta != nullptr) cfcache_internal::DeriveKinds(*meta, m_kinds, m_revision);
}

CFArchiveCacheImpl::~CFArchiveCacheImpl() = default;

int CFArchiveCacheImpl::addRecordFromIterator(CFAIterator* source) {
  return Append(source) ? 0 : -1;
}

int CFArchiveCacheImpl::addRecord(CfExtension::CFIterator* source, int* /*reserved*/) {
  return Append(source) ? 0 : 37;
}

CFCacheIterator* CFArchiveCacheImpl::getIterator() {
  m_iterator->Rewind();
  return m_iterator.get();
}

// The record is built in memory and written with one call. Whatever was built before a
// failure is still written, so the file ends exactly as if each piece had been written as it
// was made: a failed append leaves the same fragment either way.
template <typename Source>
bool CFArchiveCacheImpl::Append(Source* source) {
  if (m_meta == nullptr) return false;
  if (m_meta->FieldsRevision() != m_revision) {
    cfcache_internal::DeriveKinds(*m_meta, m_kinds, m_revision);
  }
  if (m_kinds.empty()) return false;
  if (m_file == nullptr || !m_file->IsOpen() || source == nullptr) return false;
  if (!m_file->SeekToEnd()) return false;
  m_recordSize = 0;
  bool built = false;
  try {
    built = BuildRecord(source);
  } catch (...) {
    built = false;
  }
  const size_t written = m_recordSize == 0 ? 0 : m_file->Write(m_record.data(), m_recordSize);
  m_iterator->setFileLength(m_iterator->getFileLength() + static_cast<long long>(written));
  return built && written == m_recordSize;
}

template <typename Source>
bool CFArchiveCacheImpl::BuildRecord(Source* source) {
  const unsigned int fieldCount = static_cast<unsigned int>(m_kinds.size());
  const unsigned char* const kinds = m_kinds.data();
  RecordBuilder out(m_record, m_recordSize);
  void* value = nullptr;
  size_t length = 0;
  // 1. Missing bits, field 0 in the most significant bit; a byte goes out as soon as it is full.
  unsigned char bits = 0;
  for (unsigned int i = 0; i < fieldCount; ++i) {
    if (i > 0 && i % 8 == 0) {
      out.Put(&bits, 1);
      bits = 0;
    }
    if (source->GetRecordValue(i, value, length) != 0) return false;
    if (value == nullptr) bits |= static_cast<unsigned char>(1u << (7 - i % 8));
  }
  out.Put(&bits, 1);

  // 2. The values present, in field order.
  for (unsigned int i = 0; i < fieldCount; ++i) {
    if (source->GetRecordValue(i, value, length) != 0) return false;
    if (value == nullptr) continue;
    switch (kinds[i]) {
      case cfcache_internal::kStringCell: {
        const uint64_t size = length;
        out.Put8(&size);
        out.Put(value, length);
        break;
      }
      case cfcache_internal::kFixedCell:
        if (length == 8) {
          out.Put8(value);
        } else {
          out.Put(value, length);
        }
        break;
      case cfcache_internal::kNoCell:
        break;
      default:
        return false;
    }
  }
  return true;
}

CFArchiveCacheImpl* CFDataCacheFactory::create(CFMetaData* meta, CFTempFiles::TAVO_TempFile* file) {
  return new CFArchiveCacheImpl(meta, file);
}
