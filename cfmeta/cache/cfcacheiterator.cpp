#include "cfmeta/cache/cfcacheiterator.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "cfmeta/cache/cfcachelayout_internal.h"
#include "cfmeta/field/cffield.h"
#include "cfmeta/metadata/cfmetadata.h"
#include "cfmeta/tempfile/tavo_tempfile.h"

namespace {

using cfcache_internal::CellKind;

constexpr size_t kValueSize = 8;
constexpr size_t kStringCellSize = 1024;
// Bytes read ahead at a time: large enough that the file copies them straight in, without
// passing them through its own window.
constexpr size_t kChunkSize = 256 * 1024;

size_t CellSizeFor(CellKind kind) {
  switch (kind) {
    case cfcache_internal::kFixedCell:
      return kValueSize;
    case cfcache_internal::kStringCell:
      return kStringCellSize;
    default:
      return 0;
  }
}

}  // namespace

CFCacheIterator::CFCacheIterator(CFMetaData* meta, CFTempFiles::TAVO_TempFile* file)
    : m_meta(meta), m_file(file) {
  if (meta == nullptr) return;
  m_buffer.resize(meta->FieldCount());
  m_slots.resize(meta->FieldCount());
  Relayout();
}

CFCacheIterator::~CFCacheIterator() = default;

bool CFCacheIterator::Relayout() {
  std::vector<unsigned char> kinds;
  unsigned long long revision = 0;
  cfcache_internal::DeriveKinds(*m_meta, kinds, revision);
  // Cells are laid out per field; a field added or removed since would misplace every value.
  if (kinds.empty() || kinds.size() != m_buffer.size()) return false;
  for (size_t i = 0; i < kinds.size(); ++i) {
    const CellKind kind = static_cast<CellKind>(kinds[i]);
    EnsureCapacity(m_buffer[i], CellSizeFor(kind));
    m_slots[i].status = kind == cfcache_internal::kUnknownCell ? 1 : 0;
  }
  m_kinds.swap(kinds);
  m_revision = revision;
  m_slotCount = 0;  // the current record was read with the old layout
  return true;
}

int CFCacheIterator::NextRecord() {
  if (m_meta == nullptr) return 2;
  if (m_meta->FieldsRevision() != m_revision && !Relayout()) return 2;
  if (m_kinds.empty()) return 2;
  if (m_file == nullptr || !m_file->IsOpen()) return 2;
  if (m_offset >= m_fileLength) return 1;
  try {
    if (ReadRecord() == 0) return 0;
  } catch (...) {
  }
  m_slotCount = 0;
  return 2;
}

int CFCacheIterator::ReadRecord() {
  const long long left = m_fileLength - m_offset;
  if (m_offset < m_chunkStart || m_offset >= m_chunkStart + static_cast<long long>(m_chunkLength)) {
    if (!Fetch(1)) return 2;
  }
  for (;;) {
    // The chunk may reach past the length when a host shortened it; those bytes are not ours.
    const long long inHand =
        std::min(m_chunkStart + static_cast<long long>(m_chunkLength), m_fileLength) - m_offset;
    const char* begin = m_chunk.get() + (m_offset - m_chunkStart);
    size_t need = 0, size = 0;
    switch (ParseRecord(begin, begin + inHand, left, need, size)) {
      case kParsed:
        m_offset += static_cast<long long>(size);
        m_slotCount = m_slots.size();
        return 0;
      case kNeedMore:
        // Each fetch brings at least what the parse stopped for, so the parse gets further.
        if (static_cast<unsigned long long>(need) > static_cast<unsigned long long>(left) ||
            !Fetch(need)) {
          return 2;
        }
        break;
      case kDamaged:
        return 2;
    }
  }
}

CFCacheIterator::Parse CFCacheIterator::ParseRecord(const char* begin, const char* end,
                                                    long long left, size_t& need, size_t& size) {
  const size_t count = m_kinds.size();
  const size_t flagBytes = (count + 7) / 8;
  const char* at = begin;
  if (static_cast<size_t>(end - at) < flagBytes) {
    need = flagBytes;
    return kNeedMore;
  }
  m_missing.resize(flagBytes);
  std::memcpy(m_missing.data(), at, flagBytes);
  m_flagCount = count;
  at += flagBytes;
  // Locals, not members: every copy into a cell could alias a member and force a reload.
  const unsigned char* const flags = reinterpret_cast<const unsigned char*>(begin);
  const unsigned char* const kinds = m_kinds.data();
  Slot* const slots = m_slots.data();
  Cell* const cells = m_buffer.data();
  for (size_t i = 0; i < count; ++i) {
    Slot& slot = slots[i];
    const bool missing = ((flags[i / 8] >> (7 - i % 8)) & 1) != 0;
    Cell& cell = cells[i];
    if (missing) {
      slot.value = nullptr;
      slot.length = 0;
      continue;
    }
    switch (kinds[i]) {
      case cfcache_internal::kFixedCell:
        if (static_cast<size_t>(end - at) < kValueSize) {
          need = static_cast<size_t>(at - begin) + kValueSize;
          return kNeedMore;
        }
        std::memcpy(cell.data.get(), at, kValueSize);
        slot.value = cell.data.get();
        slot.length = kValueSize;
        at += kValueSize;
        break;
      case cfcache_internal::kStringCell: {
        if (static_cast<size_t>(end - at) < kValueSize) {
          need = static_cast<size_t>(at - begin) + kValueSize;
          return kNeedMore;
        }
        uint64_t length = 0;
        std::memcpy(&length, at, kValueSize);
        at += kValueSize;
        // A damaged length must not turn into a huge allocation or read.
        const uint64_t rest = static_cast<uint64_t>(left - (at - begin));
        if (length > rest) return kDamaged;
        const size_t textSize = static_cast<size_t>(length);
        if (static_cast<size_t>(end - at) < textSize) {
          need = static_cast<size_t>(at - begin) + textSize;
          return kNeedMore;
        }
        EnsureCapacity(cell, textSize + 1);
        std::memcpy(cell.data.get(), at, textSize);
        cell.data[textSize] = '\0';
        const void* nul = std::memchr(at, 0, textSize);
        slot.value = cell.data.get();
        slot.length =
            nul == nullptr ? textSize : static_cast<size_t>(static_cast<const char*>(nul) - at);
        at += textSize;
        break;
      }
      case cfcache_internal::kNoCell:
        // A storage the layout does not know has no bytes on disk.
        slot.value = cell.capacity == 0 ? nullptr : cell.data.get();
        slot.length = cell.capacity == 0 ? 0 : kValueSize;
        break;
      default:
        return kDamaged;
    }
  }
  size = static_cast<size_t>(at - begin);
  return kParsed;
}

bool CFCacheIterator::Fetch(size_t need) {
  const size_t want = static_cast<size_t>(std::min<long long>(
      m_fileLength - m_offset, static_cast<long long>(std::max(need, kChunkSize))));
  if (m_chunkCapacity < want) {
    m_chunk.reset(new char[want]);
    m_chunkCapacity = want;
  }
  m_chunkStart = m_offset;
  m_chunkLength = 0;
  if (!m_file->SeekFromStart(m_offset)) return false;
  m_chunkLength = m_file->Read(m_chunk.get(), want);
  return m_chunkLength >= need;
}

void CFCacheIterator::EnsureCapacity(Cell& cell, size_t size) {
  if (cell.capacity >= size) return;
  cell.data.reset(new char[size]());
  cell.capacity = size;
}

int CFCacheIterator::CheckedRecordValue(size_t field, void*& value, size_t& length) const {
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
  m_slotCount = 0;
  m_chunkLength = 0;  // a rewound pass reads the file afresh
  return 0;
}
