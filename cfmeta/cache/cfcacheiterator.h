// Reads back, record by record, what a CFArchiveCacheImpl appended to its temporary file.
//
// A record on disk is its missing bits, ceil(F / 8) bytes for F fields with field i at bit
// (7 - i mod 8) of byte i / 8 (set = no value), then the value of each field that has one, in
// field order: a string as an 8-byte length and its bytes, any other storage as 8 bytes, all in
// native byte order. The file has no header; records follow one another.
//
// The iterator keeps one buffer cell per field, laid out from the metadata's storage types at
// construction: 8 bytes for numbers, dates and times, 1024 bytes for strings (grown when a
// longer string is read), none for an unknown storage. A field replaced later is read with its
// new storage. The file is read ahead in large pieces, kept until Rewind, so most records cost
// no call into the file.
#ifndef CFMETA_CACHE_CFCACHEITERATOR_H_
#define CFMETA_CACHE_CFCACHEITERATOR_H_

#include <cstddef>
#include <memory>
#include <vector>

#include "cfmeta/cache/cfdatacache.h"
#include "cfmeta/cfmeta_export.h"
#include "cfmeta/metadata/cfmetadata.h"

namespace CFTempFiles {
class TAVO_TempFile;
}

class CFMETA_API CFCacheIterator final : public CFAIterator {
 public:
  // Neither pointer is owned; both must outlive the iterator.
  // Requires: `file`, when given, is empty and written only through the cache.
  CFCacheIterator(CFMetaData* meta, CFTempFiles::TAVO_TempFile* file);
  ~CFCacheIterator() override;
  CFCacheIterator(const CFCacheIterator&) = delete;
  CFCacheIterator& operator=(const CFCacheIterator&) = delete;

  // Reads the record at the read offset.
  //   0 read; 1 the offset is at the end of what was written (the offset stays);
  //   2 no metadata, no fields, fields added or removed since construction, an unreadable
  //     file, or a record that is cut short or has a string longer than the rest of the file.
  // After 2 the read offset is unchanged and the current record is undefined; Rewind recovers.
  int NextRecord() override;
  // Field `field` of the current record: its cell and 8 for a number, date or time; its cell
  // and the text's length up to the first NUL for a string (the cell always holds a NUL after
  // the text); null and 0 when the field has no value. The pointer stays valid until the next
  // NextRecord.
  //   0 done; 1 refused: no record read since Rewind, `field` out of range, fields added or
  //     removed since construction, or the field's storage unknown.
  //
  // Defined here so that a caller holding this class, rather than CFAIterator, pays no call
  // per value.
  int GetRecordValue(size_t field, void*& value, size_t& length) override {
    // The answers for a record read since the last rewind, under the fields as they were
    // then, are ready; anything else is checked against the metadata as it is now.
    if (field < m_slotCount && m_meta->FieldsRevision() == m_revision) {
      const Slot& slot = m_slots[field];
      if (slot.status != 0) return 1;
      value = slot.value;
      length = slot.length;
      return 0;
    }
    return CheckedRecordValue(field, value, length);
  }
  // 0 sets the read offset to the first record; 2 when there is no metadata, it has no
  // fields, or the file is missing or not open.
  int Rewind() override;

  // Bytes the cache has written to the file so far; the cache keeps it up to date.
  long long getFileLength() const { return m_fileLength; }
  void setFileLength(long long length) { m_fileLength = length; }

 private:
  struct Cell {
    std::unique_ptr<char[]> data;
    size_t capacity = 0;
  };
  // What GetRecordValue gives for one field of the current record.
  struct Slot {
    void* value = nullptr;
    size_t length = 0;
    int status = 0;
  };
  enum Parse { kParsed, kNeedMore, kDamaged };

  // Takes up the metadata's fields again after they changed; false when their number differs
  // from the cells laid out at construction, or there are none.
  bool Relayout();
  // Reads the record at the read offset from the bytes in hand, fetching more as it needs them.
  int ReadRecord();
  // Parses the record starting at `begin`, of whose bytes [begin, end) are in hand and `left`
  // are in the file. kNeedMore sets `need` to the bytes to have in hand before trying again;
  // kParsed sets `size` to the record's size.
  Parse ParseRecord(const char* begin, const char* end, long long left, size_t& need, size_t& size);
  // Reads at least `need` bytes of the file from the read offset into m_chunk.
  bool Fetch(size_t need);
  // GetRecordValue once the metadata changed after the current record was read: every rule
  // is checked against the metadata as it is now.
  int CheckedRecordValue(size_t field, void*& value, size_t& length) const;
  bool IsMissing(size_t field) const {
    return ((m_missing[field / 8] >> (7 - field % 8)) & 1) != 0;
  }
  // Grows `cell` to at least `size` bytes, all zero when it grows.
  static void EnsureCapacity(Cell& cell, size_t size);

  long long m_offset = 0;
  long long m_fileLength = 0;
  std::vector<Cell> m_buffer;
  // The current record's missing bits as stored: field i is bit (7 - i % 8) of byte i / 8.
  // m_flagCount fields are covered; 0 while no record has been read whole.
  std::vector<unsigned char> m_missing;
  size_t m_flagCount = 0;
  // How each field sits on disk, derived from the metadata at m_revision.
  std::vector<unsigned char> m_kinds;
  unsigned long long m_revision = 0;
  // The current record as GetRecordValue gives it; the first m_slotCount are valid, none
  // until a record has been read whole since the last rewind.
  std::vector<Slot> m_slots;
  size_t m_slotCount = 0;
  // File bytes [m_chunkStart, m_chunkStart + m_chunkLength) read ahead, kept until Rewind.
  // The cache only ever adds at the end of the file, so bytes once read stay true.
  std::unique_ptr<char[]> m_chunk;
  size_t m_chunkCapacity = 0;
  long long m_chunkStart = 0;
  size_t m_chunkLength = 0;
  CFMetaData* m_meta;
  CFTempFiles::TAVO_TempFile* m_file;
};

#endif  // CFMETA_CACHE_CFCACHEITERATOR_H_
