// A record cache over a temporary file: records described by a metadata document are
// appended to the file (in the layout CFCacheIterator describes) and read back through the
// cache's own iterator, any number of times. Appends and reads may be interleaved.
#ifndef CFMETA_CACHE_CFARCHIVECACHEIMPL_H_
#define CFMETA_CACHE_CFARCHIVECACHEIMPL_H_

#include <memory>
#include <vector>

#include "cfmeta/cache/cfcacheiterator.h"
#include "cfmeta/cache/cfdatacache.h"
#include "cfmeta/cache/cfiterator.h"
#include "cfmeta/cfmeta_export.h"

class CFMetaData;
namespace CFTempFiles {
class TAVO_TempFile;
}

class CFMETA_API CFArchiveCacheImpl : public CFDataCache, public CfExtension::CFCacheInterface {
 public:
  // Neither pointer is owned; both must outlive the cache.
  // Requires: `file`, when given, is empty and written only through this cache.
  CFArchiveCacheImpl(CFMetaData* meta, CFTempFiles::TAVO_TempFile* file);
  ~CFArchiveCacheImpl() override;
  CFArchiveCacheImpl(const CFArchiveCacheImpl&) = delete;
  CFArchiveCacheImpl& operator=(const CFArchiveCacheImpl&) = delete;

  // Appends the source's current record. The source gives a string as its bytes and length,
  // any other storage as exactly 8 bytes. -1 when there is no metadata, no fields, no open
  // file, no source, when the source refuses a field, a field's storage is unknown, or the
  // file takes fewer bytes than given. A failed append is not undone: what reached the file
  // stays, and the next read takes it as data.
  int addRecordFromIterator(CFAIterator* source) override;
  // The same for a host's iterator; 37 for every failure.
  int addRecord(CfExtension::CFIterator* source, int* reserved) override;
  // Rewinds the cache's own iterator and returns it. Non-owning.
  CFCacheIterator* getIterator() override;

 private:
  template <typename Source>
  bool Append(Source* source);
  template <typename Source>
  bool BuildRecord(Source* source);

  CFMetaData* m_meta;
  CFTempFiles::TAVO_TempFile* m_file;
  std::unique_ptr<CFCacheIterator> m_iterator;
  // How each field sits on disk, derived from the metadata at m_revision.
  std::vector<unsigned char> m_kinds;
  unsigned long long m_revision = 0;
  // The record being appended: its first m_recordSize bytes. Kept to reuse its memory.
  std::vector<char> m_record;
  size_t m_recordSize = 0;
};

class CFMETA_API CFDataCacheFactory {
 public:
  // A new cache over `meta` and `file`, owned by the caller. Neither argument is checked.
  static CFArchiveCacheImpl* create(CFMetaData* meta, CFTempFiles::TAVO_TempFile* file);
};

#endif  // CFMETA_CACHE_CFARCHIVECACHEIMPL_H_
