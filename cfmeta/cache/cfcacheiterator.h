// Reads back, record by record, what a CFArchiveCacheImpl appended to its temporary file.
//
// A record on disk is its missing bits, ceil(F / 8) bytes for F fields with field i at bit
// (7 - i mod 8) of byte i / 8 (set = no value), then the value of each field that has one, in
// field order: a string as an 8-byte length and its bytes, any other storage as 8 bytes, all in
// native byte order. The file has no header; records follow one another.
//
// The iterator keeps one buffer cell per field, laid out from the metadata's storage types at
// construction: 8 bytes for numbers, dates and times, 1024 bytes for strings (grown when a
// longer string is read), none for an unknown storage. A cell of a field that has no value in
// the current record keeps what it held before.
#ifndef CFMETA_CACHE_CFCACHEITERATOR_H_
#define CFMETA_CACHE_CFCACHEITERATOR_H_

#include <cstddef>
#include <memory>
#include <vector>

#include "cfmeta/cache/cfdatacache.h"
#include "cfmeta/cfmeta_export.h"

class CFMetaData;
namespace CFTempFiles {
class TAVO_TempFile;
}

class CFMETA_API CFCacheIterator : public CFAIterator {
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
  int GetRecordValue(size_t field, void*& value, size_t& length) override;
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
    // Bytes at and after `used` are zero.
    size_t used = 0;
  };

  int ReadRecord(unsigned int count);
  bool getMissingFlags(unsigned int count, long long& offset);
  bool IsMissing(size_t field) const {
    return ((m_missing[field / 8] >> (7 - field % 8)) & 1) != 0;
  }
  // Reads `bytes` into m_run and hands out its 8-byte values to m_runCells, in order.
  bool ReadRun(size_t bytes, long long& offset);
  // Grows `cell` to at least `size` bytes, all zero when it grows.
  static void EnsureCapacity(Cell& cell, size_t size);

  long long m_offset = 0;
  long long m_fileLength = 0;
  std::vector<Cell> m_buffer;
  // The current record's missing bits as stored: field i is bit (7 - i % 8) of byte i / 8.
  // m_flagCount fields are covered; 0 while no record has been read whole.
  std::vector<unsigned char> m_missing;
  size_t m_flagCount = 0;
  // The bytes of one read, and the cells that its values go to.
  std::vector<char> m_run;
  std::vector<char*> m_runCells;
  CFMetaData* m_meta;
  CFTempFiles::TAVO_TempFile* m_file;
};

#endif  // CFMETA_CACHE_CFCACHEITERATOR_H_
