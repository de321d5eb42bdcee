// The record source and cache interface through which a host's data layer drives a record
// cache.
#ifndef CFMETA_CACHE_CFITERATOR_H_
#define CFMETA_CACHE_CFITERATOR_H_

#include <cstddef>

#include "cfmeta/cache/cfdatacache.h"
#include "cfmeta/cfmeta_export.h"

namespace CfExtension {

// A host's forward iterator over records. Its members mean what CFAIterator's do.
class CFMETA_API CFIterator {
 public:
  virtual ~CFIterator() = default;
  virtual int NextRecord() = 0;
  // `value` null when the field has no value in this record; 0 done, anything else refused.
  virtual int GetRecordValue(size_t field, void*& value, size_t& length) = 0;
  virtual int Rewind() = 0;
};

class CFMETA_API CFCacheInterface {
 public:
  virtual ~CFCacheInterface() = default;
  // Appends the current record of `source`. 0 done; 37 failed. `reserved` is not used.
  virtual int addRecord(CFIterator* source, int* reserved) = 0;
  // The cache's own iterator, rewound. Non-owning: the cache keeps it.
  virtual CFAIterator* getIterator() = 0;
};

}  // namespace CfExtension

#endif  // CFMETA_CACHE_CFITERATOR_H_
