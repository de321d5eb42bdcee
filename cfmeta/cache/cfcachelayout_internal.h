// How each field of a record sits on disk, as the cache and its iterator both need it, derived
// once from the metadata's storage types and kept until the metadata's fields change.
#ifndef CFMETA_CACHE_CFCACHELAYOUT_INTERNAL_H_
#define CFMETA_CACHE_CFCACHELAYOUT_INTERNAL_H_

#include <vector>

#include "cfmeta/field/cffield.h"
#include "cfmeta/metadata/cfmetadata.h"

namespace cfcache_internal {

// A field's value on disk: 8 bytes, an 8-byte length and the text, nothing (a storage the
// layout does not know), or not allowed (an unknown storage has no way to store a value).
enum CellKind : unsigned char { kFixedCell, kStringCell, kNoCell, kUnknownCell };

inline CellKind KindOf(CFField::StorageType storage) {
  switch (storage) {
    case CFField::IntegerStorage:
    case CFField::RealStorage:
    case CFField::DateStorage:
    case CFField::TimeStorage:
    case CFField::TimestampStorage:
      return kFixedCell;
    case CFField::StringStorage:
      return kStringCell;
    case CFField::UnknownStorage:
      return kUnknownCell;
    default:
      return storage < CFField::UnknownStorage ? kUnknownCell : kNoCell;
  }
}

// The kind of every field of `meta` into `kinds`, and the fields revision they hold for into
// `revision`; a caller derives them again once meta.FieldsRevision() has moved on.
inline void DeriveKinds(const CFMetaData& meta, std::vector<unsigned char>& kinds,
                        unsigned long long& revision) {
  const unsigned int count = meta.FieldCount();
  kinds.resize(count);
  for (unsigned int i = 0; i < count; ++i) kinds[i] = KindOf(meta.GetField(i)->GetStorage());
  revision = meta.FieldsRevision();
}

}  // namespace cfcache_internal

#endif  // CFMETA_CACHE_CFCACHELAYOUT_INTERNAL_H_
