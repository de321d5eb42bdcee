#include "cfmeta/cache/cfcacheiterator.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "cfmeta/field/cffield.h"
#include "cfmeta/metadata/cfmetadata.h"
#include "cfmeta/tempfile/tavo_tempfile.h"

namespace {

constexpr size_t kValueSize = 8;
constexpr size_t kStringCellSize = 1024;

size_t CellSizeFor(CFField::StorageType storage) {
  switch (storage) {
    case CFField::IntegerStorage:
    case CFField::RealStorage:
    case CFField::DateStorage:
    case CFField::TimeStorage:
    case CFField::TimestampStorage:
      return kValueSize;
    case CFField::StringStorage:
      return kStringCellSize;
    default:
      return 0;
  }
}

}  // namespace

CFCacheIterator::CFCacheIterator(CFMetaData* meta, CFTempFiles::TAVO_TempFile* file)
    : m_meta(meta), m_file(file) {
  const unsigned int count = meta != nullptr ? meta->FieldCount() : 0;
  m_buffer.resize(count);
  for (unsigned int i = 0; i < count; ++i) {
    EnsureCapacity(m_buffer[i], CellSizeFor(meta->GetField(i)->GetStorage()));
  }
}

CFCacheIterator::~CFCacheIterator() = default;

int CFCacheIterator::NextRecord() {
  if (m_meta == nullptr || m_meta->FieldCount() == 0) return 2;
  // Cells are laid out per field; a field added or removed since would misplace every value.
  if (m_buffer.size() != m_meta->FieldCount()) return 2;
  if (m_file == nullptr || !m_file->SeekFromStart(m_offset)) return 2;
  if (m_offset >= m_fileLength) return 1;
  try {
    return ReadRecord(static_cast<unsigned int>(m_buffer.size()));
  } catch (...) {
    return 2;
  }
}

// Values of fixed size, and the length in front of a string, are read in runs with one call
// each, so a record costs a few calls into the file rather than one per value.
int CFCacheIterator::ReadRecord(unsigned int count) {
  long long offset = m_offset;
  m_runCells.clear();  // a record that failed may have left some
  if (!getMissingFlags(count, offset)) return 2;
  size_t run = 0;
  for (unsigned int i = 0; i < count; ++i) {
    if (IsMissing(i)) continue;
    const CFField* field = m_meta->GetField(i);
    if (field == nullptr) return 2;
    Cell& cell = m_buffer[i];
    switch (field->GetStorage()) {
      case CFField::UnknownStorage:
        return 2;
      case CFField::StringStorage: {
        run += kValueSize;
        if (!ReadRun(run, offset)) return 2;
        uint64_t length = 0;
        std::memcpy(&length, m_run.data() + run - kValueSize, kValueSize);
        run = 0;
        // A damaged length must not turn into a huge allocation.
        if (offset > m_fileLength || length > static_cast<uint64_t>(m_fileLength - offset)) {
          return 2;
        }
        const size_t size = static_cast<size_t>(length);
        EnsureCapacity(cell, size + 1);
        // Zeroing only what earlier text used leaves the whole cell past the text zero.
        if (cell.used > size) std::memset(cell.data.get() + size, 0, cell.used - size);
        cell.used = size;
        if (m_file->Read(cell.data.get(), size) != size) return 2;
        offset += static_cast<long long>(size);
        break;
      }
      case CFField::IntegerStorage:
      case CFField::RealStorage:
      case CFField::DateStorage:
      case CFField::TimeStorage:
      case CFField::TimestampStorage:
        EnsureCapacity(cell, kValueSize);
        cell.used = std::max(cell.used, kValueSize);
        m_runCells.push_back(cell.data.get());
        run += kValueSize;
        break;
      default:  // a storage this layout does not know has no bytes on disk
        break;
    }
  }
  if (run > 0 && !ReadRun(run, offset)) return 2;
  m_offset = offset;
  return 0;
}

bool CFCacheIterator::ReadRun(size_t bytes, long long& offset) {
  if (m_run.size() < bytes) m_run.resize(bytes);
  const bool whole = m_file->Read(m_run.data(), bytes) == bytes;
  if (whole) {
    offset += static_cast<long long>(bytes);
    const char* from = m_run.data();
    for (char* cell : m_runCells) {
      std::memcpy(cell, from, kValueSize);
      from += kValueSize;
    }
  }
  m_runCells.clear();
  return whole;
}

bool CFCacheIterator::getMissingFlags(unsigned int count, long long& offset) {
  const size_t bytes = (count + 7) / 8;
  m_missing.resize(bytes);
  m_flagCount = 0;
  if (m_file->Read(m_missing.data(), bytes) != bytes) return false;
  offset += static_cast<long long>(bytes);
  m_flagCount = count;
  return true;
}

void CFCacheIterator::EnsureCapacity(Cell& cell, size_t size) {
  if (cell.capacity >= size) return;
  cell.data.reset(new char[size]());
  cell.capacity = size;
  cell.used = 0;
}

int CFCacheIterator::GetRecordValue(size_t field, void*& value, size_t& length) {
  if (m_offset < 1 || field >= m_buffer.size() || field >= m_flagCount) return 1;
  if (m_meta == nullptr || m_buffer.size() != m_meta->FieldCount()) return 1;
  const CFField* definition = m_meta->GetField(static_cast<unsigned int>(field));
  if (definition == nullptr || definition->GetStorage() == CFField::UnknownStorage) return 1;
  const Cell& cell = m_buffer[field];
  if (IsMissing(field) || cell.capacity == 0) {
    value = nullptr;
    length = 0;
    return 0;
  }
  value = cell.data.get();
  length = definition->GetStorage() == CFField::StringStorage
               ? strnlen(cell.data.get(), cell.capacity)
               : kValueSize;
  return 0;
}

int CFCacheIterator::Rewind() {
  if (m_meta == nullptr || m_meta->FieldCount() == 0) return 2;
  if (m_file == nullptr || !m_file->IsOpen()) return 2;
  m_offset = 0;
  return 0;
}
