// The record cache's two interfaces: a forward iterator over records, and a cache that
// appends records taken from one and hands out its own.
#ifndef CFMETA_CACHE_CFDATACACHE_H_
#define CFMETA_CACHE_CFDATACACHE_H_

#include <cstddef>

#include "cfmeta/cfmeta_export.h"

// A forward iterator over records, read field by field.
class CFMETA_API CFAIterator {
 public:
  virtual ~CFAIterator() = default;
  // Moves to the next record.
  //   0 a record was read; 1 there are no more; 2 error.
  virtual int NextRecord() = 0;
  // Field `field` of the current record: `value` points at its bytes, or is null when the
  // field has no value in this record (`length` is then 0); `length` is the value's size in
  // bytes. The pointer belongs to the iterator and stays valid until the next NextRecord.
  //   0 done; any other value: refused, outputs unspecified.
  virtual int GetRecordValue(size_t field, void*& value, size_t& length) = 0;
  // Goes back to before the first record. 0 done; any other value: the iterator is unusable.
  virtual int Rewind() = 0;
};

class CFMETA_API CFDataCache {
 public:
  virtual ~CFDataCache() = default;
  // Appends the current record of `source`. 0 done; -1 failed.
  virtual int addRecordFromIterator(CFAIterator* source) = 0;
  // The cache's own iterator, rewound. Non-owning: the cache keeps it.
  virtual CFAIterator* getIterator() = 0;
};

#endif  // CFMETA_CACHE_CFDATACACHE_H_
