#include "cfmeta/tempfile/tavo_tempfile.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string>

namespace CFTempFiles {

namespace {

constexpr size_t kBufferSize = 256 * 1024;
// Space is reserved in steps, so that appending costs one reservation per step, not per write.
constexpr long long kReserveStep = 4 * 1024 * 1024;

std::string TempFolder() {
  const char* dir = getenv("TMPDIR");
  return (dir != nullptr && *dir != '\0') ? dir : "/tmp";
}

// The file never has a name where the kernel can make one without it; elsewhere the name is
// removed at once, so a crash between open and unlink is the only window for a leftover.
int OpenAnonymous(const std::string& dir) {
  int fd = open(dir.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
  if (fd >= 0) return fd;
  if (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL) return -1;
  std::string path = dir + "/cfmetaXXXXXX";
  fd = mkostemp(&path[0], O_CLOEXEC);
  if (fd < 0) return -1;
  unlink(path.c_str());
  return fd;
}

// Moves all `n` bytes unless the disk refuses; returns how many moved.
size_t WriteAt(int fd, const char* data, size_t n, long long offset) {
  size_t done = 0;
  while (done < n) {
    ssize_t k = pwrite(fd, data + done, n - done, offset + static_cast<long long>(done));
    if (k < 0 && errno == EINTR) continue;
    if (k <= 0) break;
    done += static_cast<size_t>(k);
  }
  return done;
}

size_t ReadAt(int fd, char* buffer, size_t n, long long offset) {
  size_t done = 0;
  while (done < n) {
    ssize_t k = pread(fd, buffer + done, n - done, offset + static_cast<long long>(done));
    if (k < 0 && errno == EINTR) continue;
    if (k <= 0) break;
    done += static_cast<size_t>(k);
  }
  return done;
}

}  // namespace

TAVO_TempFile::TAVO_TempFile() {
  m_fd = OpenAnonymous(TempFolder());
  if (m_fd >= 0) m_buffer.reset(new char[kBufferSize]);
}

TAVO_TempFile::~TAVO_TempFile() {
  if (m_fd >= 0) close(m_fd);
}

bool TAVO_TempFile::IsOpen() const { return Usable(); }

bool TAVO_TempFile::SeekFromStart(long long offset) {
  if (!Usable() || offset < 0) return false;
  m_pos = offset;
  return true;
}

bool TAVO_TempFile::SeekToEnd() {
  if (!Usable()) return false;
  m_pos = m_size;
  return true;
}

size_t TAVO_TempFile::Read(void* buffer, size_t n) {
  if (!Usable()) return 0;
  char* out = static_cast<char*>(buffer);
  size_t done = 0;
  while (done < n && m_pos < m_size) {
    const size_t left = std::min(n - done, static_cast<size_t>(m_size - m_pos));
    if (InWindow(m_pos) && m_pos < m_bufStart + static_cast<long long>(m_bufLen)) {
      const size_t at = static_cast<size_t>(m_pos - m_bufStart);
      const size_t k = std::min(left, m_bufLen - at);
      std::memcpy(out + done, m_buffer.get() + at, k);
      done += k;
      m_pos += static_cast<long long>(k);
      continue;
    }
    if (!Flush()) break;
    if (left >= kBufferSize) {
      // A large read goes straight to the caller; the window would only be copied through.
      const size_t k = ReadAt(m_fd, out + done, left, m_pos);
      done += k;
      m_pos += static_cast<long long>(k);
      if (k < left) break;
      continue;
    }
    const size_t want = std::min(kBufferSize, static_cast<size_t>(m_size - m_pos));
    m_bufStart = m_pos;
    m_bufLen = ReadAt(m_fd, m_buffer.get(), want, m_pos);
    if (m_bufLen == 0) break;
  }
  return done;
}

size_t TAVO_TempFile::Write(const void* data, size_t n) {
  if (!Usable() || n == 0) return 0;
  const long long end = m_pos + static_cast<long long>(n);
  // The common case, many small appends, takes only this: the bytes continue the window and
  // fit in it, in space already reserved.
  if (m_pos == m_bufStart + static_cast<long long>(m_bufLen) && m_bufLen + n <= kBufferSize &&
      end <= m_reserved && m_buffer != nullptr) {
    std::memcpy(m_buffer.get() + m_bufLen, data, n);
    if (m_dirtyBegin == m_dirtyEnd) m_dirtyBegin = m_bufLen;
    m_bufLen += n;
    m_dirtyEnd = m_bufLen;
    m_pos = end;
    if (end > m_size) m_size = end;
    return n;
  }
  if (end > m_reserved && !Reserve(end)) {
    n = m_reserved > m_pos ? static_cast<size_t>(m_reserved - m_pos) : 0;
  }
  const char* in = static_cast<const char*>(data);
  size_t done = 0;
  while (done < n) {
    // The window takes bytes that continue it without a gap, up to its size.
    if (!InWindow(m_pos) || m_pos > m_bufStart + static_cast<long long>(m_bufLen)) {
      if (!Flush()) break;
      if (n - done >= kBufferSize) {
        m_bufLen = 0;  // the window may overlap what is written directly
        const size_t want = n - done;
        const size_t k = WriteAt(m_fd, in + done, want, m_pos);
        done += k;
        m_pos += static_cast<long long>(k);
        if (k < want) m_failed = true;  // the space was reserved: a disk error
        break;
      }
      m_bufStart = m_pos;
      m_bufLen = 0;
      m_dirtyBegin = m_dirtyEnd = 0;
    }
    const size_t at = static_cast<size_t>(m_pos - m_bufStart);
    const size_t k = std::min(n - done, kBufferSize - at);
    std::memcpy(m_buffer.get() + at, in + done, k);
    if (m_dirtyBegin == m_dirtyEnd) {
      m_dirtyBegin = at;
      m_dirtyEnd = at + k;
    } else {
      m_dirtyBegin = std::min(m_dirtyBegin, at);
      m_dirtyEnd = std::max(m_dirtyEnd, at + k);
    }
    m_bufLen = std::max(m_bufLen, at + k);
    done += k;
    m_pos += static_cast<long long>(k);
  }
  m_size = std::max(m_size, m_pos);
  return done;
}

bool TAVO_TempFile::InWindow(long long offset) const {
  return m_buffer != nullptr && offset >= m_bufStart &&
         offset < m_bufStart + static_cast<long long>(kBufferSize);
}

bool TAVO_TempFile::Flush() {
  if (m_dirtyBegin == m_dirtyEnd) return !m_failed;
  const size_t n = m_dirtyEnd - m_dirtyBegin;
  const size_t k = WriteAt(m_fd, m_buffer.get() + m_dirtyBegin, n,
                           m_bufStart + static_cast<long long>(m_dirtyBegin));
  m_dirtyBegin = m_dirtyEnd = 0;
  // The space was reserved, so a refusal here is a disk error; the bytes are lost and the file
  // says so by no longer being open.
  if (k < n) m_failed = true;
  return !m_failed;
}

bool TAVO_TempFile::Reserve(long long end) {
  const long long step = std::max(end, m_reserved + kReserveStep);
  if (posix_fallocate(m_fd, m_reserved, step - m_reserved) == 0) {
    m_reserved = step;
    return true;
  }
  if (step > end && posix_fallocate(m_fd, m_reserved, end - m_reserved) == 0) {
    m_reserved = end;
    return true;
  }
  return false;
}

}  // namespace CFTempFiles
