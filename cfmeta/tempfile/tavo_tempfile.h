// A read-write scratch file with no name: it lives in the system temporary folder (TMPDIR when
// set, else /tmp) only for as long as it is open, and nothing of it remains there once it is
// destroyed or the process dies.
//
// Reads and writes go through a buffer of the file's own, so many small calls cost few system
// calls; a seek, or a read after a write, sees every byte written before it. Disk space is
// reserved before a write is accepted, so a full disk shows up as a short count from Write
// rather than as data lost later. A file that fails to open, or whose disk later reports an
// error, is no longer open: every read and write then moves 0 bytes.
//
// The members are virtual so that a host can put its own storage behind the record cache.
#ifndef CFMETA_TEMPFILE_TAVO_TEMPFILE_H_
#define CFMETA_TEMPFILE_TAVO_TEMPFILE_H_

#include <cstddef>
#include <memory>

#include "cfmeta/cfmeta_export.h"

namespace CFTempFiles {

class CFMETA_API TAVO_TempFile {
 public:
  // Opens a new empty file; IsOpen() tells whether that worked.
  TAVO_TempFile();
  virtual ~TAVO_TempFile();
  TAVO_TempFile(const TAVO_TempFile&) = delete;
  TAVO_TempFile& operator=(const TAVO_TempFile&) = delete;

  // False when the file could not be opened or the disk has reported an error.
  virtual bool IsOpen() const;
  // False for a negative offset or a closed file. An offset past the end is allowed; bytes
  // written there leave zeros in the gap.
  virtual bool SeekFromStart(long long offset);
  virtual bool SeekToEnd();
  // Each returns the number of bytes moved and advances the position by it. Read comes up
  // short at the end of the file, Write when no disk space is left, and either on a disk error.
  virtual size_t Read(void* buffer, size_t n);
  virtual size_t Write(const void* data, size_t n);

 private:
  // IsOpen without the virtual call.
  bool Usable() const { return m_fd >= 0 && !m_failed; }
  bool Flush();
  bool Reserve(long long end);
  bool InWindow(long long offset) const;

  int m_fd = -1;
  bool m_failed = false;
  // The window: file bytes [m_bufStart, m_bufStart + m_bufLen) held in m_buffer, of which
  // [m_dirtyBegin, m_dirtyEnd) are not on disk yet. Every byte outside the window is on disk.
  std::unique_ptr<char[]> m_buffer;
  long long m_bufStart = 0;
  size_t m_bufLen = 0;
  size_t m_dirtyBegin = 0;
  size_t m_dirtyEnd = 0;
  long long m_pos = 0;
  // Logical length; the disk file may be longer by space reserved but not yet written.
  long long m_size = 0;
  long long m_reserved = 0;
};

}  // namespace CFTempFiles

#endif  // CFMETA_TEMPFILE_TAVO_TEMPFILE_H_
