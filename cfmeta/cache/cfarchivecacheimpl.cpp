#include "cfmeta/cache/cfarchivecacheimpl.h"

#include <cstdint>
#include <cstring>

#include "cfmeta/field/cffield.h"
#include "cfmeta/metadata/cfmetadata.h"
#include "cfmeta/tempfile/tavo_tempfile.h"

namespace {

// Appends to the first `used` bytes of `record`, growing it as needed.
inline void Put(std::vector<char>& record, size_t& used, const void* data, size_t size) {
  if (size == 0) return;
  if (record.size() - used < size) record.resize(2 * (used + size));
  std::memcpy(record.data() + used, data, size);
  used += size;
}

}  // namespace

CFArchiveCacheImpl::CFArchiveCacheImpl(CFMetaData* meta, CFTempFiles::TAVO_TempFile* file)
    : m_meta(meta), m_file(file), m_iterator(new CFCacheIterator(meta, file)) {}

CFArchiveCacheImpl::~CFArchiveCacheImpl() = default;

int CFArchiveCacheImpl::addRecordFromIterator(CFAIterator* source) {
  return Append(source) ? 0 : -1;
}

int CFArchiveCacheImpl::addRecord(CfExtension::CFIterator* source, int* /*reserved*/) {
  return Append(source) ? 0 : 37;
}

CFAIterator* CFArchiveCacheImpl::getIterator() {
  m_iterator->Rewind();
  return m_iterator.get();
}

// The record is built in memory and written with one call. Whatever was built before a
// failure is still written, so the file ends exactly as if each piece had been written as it
// was made: a failed append leaves the same fragment either way.
template <typename Source>
bool CFArchiveCacheImpl::Append(Source* source) {
  if (m_meta == nullptr || m_meta->FieldCount() == 0) return false;
  if (m_file == nullptr || !m_file->IsOpen() || source == nullptr) return false;
  if (!m_file->SeekToEnd()) return false;
  m_recordSize = 0;
  bool built = false;
  try {
    built = BuildRecord(source, m_meta->FieldCount());
  } catch (...) {
    built = false;
  }
  const size_t written = m_recordSize == 0 ? 0 : m_file->Write(m_record.data(), m_recordSize);
  m_iterator->setFileLength(m_iterator->getFileLength() + static_cast<long long>(written));
  return built && written == m_recordSize;
}

template <typename Source>
bool CFArchiveCacheImpl::BuildRecord(Source* source, unsigned int fieldCount) {
  void* value = nullptr;
  size_t length = 0;
  // 1. Missing bits, field 0 in the most significant bit; a byte goes out as soon as it is full.
  unsigned char bits = 0;
  for (unsigned int i = 0; i < fieldCount; ++i) {
    if (i > 0 && i % 8 == 0) {
      Put(m_record, m_recordSize, &bits, 1);
      bits = 0;
    }
    if (source->GetRecordValue(i, value, length) != 0) return false;
    if (value == nullptr) bits |= static_cast<unsigned char>(1u << (7 - i % 8));
  }
  Put(m_record, m_recordSize, &bits, 1);

  // 2. The values present, in field order.
  for (unsigned int i = 0; i < fieldCount; ++i) {
    if (source->GetRecordValue(i, value, length) != 0) return false;
    if (value == nullptr) continue;
    const CFField* field = m_meta->GetField(i);
    if (field == nullptr) return false;
    const CFField::StorageType storage = field->GetStorage();
    if (storage <= CFField::UnknownStorage) return false;
    if (storage > CFField::TimestampStorage) continue;
    if (storage == CFField::StringStorage) {
      const uint64_t size = length;
      Put(m_record, m_recordSize, &size, sizeof size);
    }
    Put(m_record, m_recordSize, value, length);
  }
  return true;
}

CFArchiveCacheImpl* CFDataCacheFactory::create(CFMetaData* meta, CFTempFiles::TAVO_TempFile* file) {
  return new CFArchiveCacheImpl(meta, file);
}
