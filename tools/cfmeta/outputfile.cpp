#include "tools/cfmeta/outputfile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tools/cfmeta/toolerror.h"

namespace cfmeta_tool {

namespace {

[[noreturn]] void CannotWrite(const std::string& path, int error) {
  throw ToolError(fmt::format("{}: cannot write: {}", path, std::strerror(error)));
}

}  // namespace

OutputFile::OutputFile(std::string path) : m_path(std::move(path)) {
  m_fd = open(m_path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (m_fd >= 0) {
    m_created = true;
    return;
  }
  if (errno == EEXIST) m_fd = open(m_path.c_str(), O_WRONLY | O_CLOEXEC);
  if (m_fd < 0) CannotWrite(m_path, errno);
}

OutputFile::~OutputFile() {
  if (m_fd >= 0) close(m_fd);
  if (m_created && !m_written) unlink(m_path.c_str());
}

void OutputFile::Write(const std::string& text) {
  // Only a regular file has content to replace; a device or a pipe takes the text as it comes.
  struct stat info;
  if (fstat(m_fd, &info) != 0) CannotWrite(m_path, errno);
  if (S_ISREG(info.st_mode) && ftruncate(m_fd, 0) != 0) CannotWrite(m_path, errno);
  const char* data = text.c_str();
  size_t left = std::strlen(data);
  while (left > 0) {
    ssize_t n = write(m_fd, data, left);
    if (n < 0) {
      if (errno == EINTR) continue;
      CannotWrite(m_path, errno);
    }
    data += n;
    left -= static_cast<size_t>(n);
  }
  int fd = m_fd;
  m_fd = -1;
  if (close(fd) != 0) CannotWrite(m_path, errno);
  m_written = true;
}

}  // namespace cfmeta_tool
