#include "cfmeta/tempfile/tavo_tempfile.h"

#include <dirent.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace {

using CFTempFiles::TAVO_TempFile;

// Points TMPDIR at a fresh empty folder for the life of the object.
class ScratchFolder {
 public:
  ScratchFolder() {
    const char* old = getenv("TMPDIR");
    if (old != nullptr) m_old = old;
    m_hadOld = old != nullptr;
    char pattern[] = "/tmp/cfmeta-tempfile-XXXXXX";
    m_path = mkdtemp(pattern);
    setenv("TMPDIR", m_path.c_str(), 1);
  }
  ~ScratchFolder() {
    rmdir(m_path.c_str());
    if (m_hadOld) {
      setenv("TMPDIR", m_old.c_str(), 1);
    } else {
      unsetenv("TMPDIR");
    }
  }
  const std::string& path() const { return m_path; }
  std::vector<std::string> Entries() const {
    std::vector<std::string> names;
    DIR* dir = opendir(m_path.c_str());
    if (dir == nullptr) return {"<unreadable>"};
    while (dirent* entry = readdir(dir)) {
      const std::string name = entry->d_name;
      if (name != "." && name != "..") names.push_back(name);
    }
    closedir(dir);
    return names;
  }

 private:
  std::string m_path, m_old;
  bool m_hadOld = false;
};

// Random seeks, reads and writes of every size against a string holding what the file should.
TEST(TAVO_TempFileTest, MatchesAPlainCopyUnderMixedAccess) {
  TAVO_TempFile file;
  ASSERT_TRUE(file.IsOpen());
  std::string model;
  size_t pos = 0;
  std::mt19937 random(7);
  auto size = [&random]() -> size_t {
    switch (random() % 4) {
      case 0:
        return random() % 4;
      case 1:
        return random() % 300;
      case 2:
        return random() % 270000;  // around the buffer's size
      default:
        return random() % 600000;
    }
  };
  for (int step = 0; step < 2000; ++step) {
    SCOPED_TRACE(step);
    const int op = static_cast<int>(random() % 5);
    if (op == 0) {
      pos = random() % (model.size() + 100);  // past the end too
      ASSERT_TRUE(file.SeekFromStart(static_cast<long long>(pos)));
    } else if (op == 1) {
      pos = model.size();
      ASSERT_TRUE(file.SeekToEnd());
    } else if (op == 2 || op == 3) {
      std::string data(size(), '\0');
      for (char& c : data) c = static_cast<char>(random());
      ASSERT_EQ(data.size(), file.Write(data.data(), data.size()));
      if (model.size() < pos + data.size()) model.resize(pos + data.size(), '\0');
      model.replace(pos, data.size(), data);
      pos += data.size();
    } else {
      std::string got(size(), '\0');
      const size_t expected = pos >= model.size() ? 0 : std::min(got.size(), model.size() - pos);
      ASSERT_EQ(expected, file.Read(&got[0], got.size()));
      ASSERT_EQ(model.substr(std::min(pos, model.size()), expected), got.substr(0, expected));
      pos += expected;
    }
  }
  std::string all(model.size() + 1, '\0');
  ASSERT_TRUE(file.SeekFromStart(0));
  EXPECT_EQ(model.size(), file.Read(&all[0], all.size()));
  all.resize(model.size());
  EXPECT_TRUE(all == model);
}

// A read that runs past the end of the buffered window refills it with what is left of the
// file, down to a single byte, and still moves every byte asked for.
TEST(TAVO_TempFileTest, ReadPastTheWindowRefillsEvenOneByte) {
  constexpr size_t kWindow = 256 * 1024;  // the file's own buffer size
  for (size_t tail : {1u, 2u, 7u}) {
    SCOPED_TRACE(tail);
    TAVO_TempFile file;
    ASSERT_TRUE(file.IsOpen());
    std::string data(kWindow + tail, '\0');
    for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<char>(i * 7 + i / 251);
    ASSERT_EQ(data.size(), file.Write(data.data(), data.size()));
    ASSERT_TRUE(file.SeekFromStart(0));
    std::string head(kWindow - 1, '\0');
    ASSERT_EQ(head.size(), file.Read(&head[0], head.size()));
    // One byte from the window, then `tail` bytes from the refill; more is asked than is left.
    std::string rest(tail + 5, '\0');
    ASSERT_EQ(tail + 1, file.Read(&rest[0], rest.size()));
    EXPECT_TRUE(head + rest.substr(0, tail + 1) == data);
    EXPECT_EQ(0u, file.Read(&rest[0], 1));
  }
}

TEST(TAVO_TempFileTest, LeavesNothingInTheTempFolder) {
  ScratchFolder folder;
  const std::string data(300000, 'x');
  {
    TAVO_TempFile file;
    ASSERT_TRUE(file.IsOpen());
    ASSERT_EQ(data.size(), file.Write(data.data(), data.size()));
    EXPECT_TRUE(folder.Entries().empty());
  }
  EXPECT_TRUE(folder.Entries().empty());

  // A process killed while its file is open leaves nothing either.
  int ready[2];
  ASSERT_EQ(0, pipe(ready));
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    TAVO_TempFile file;
    const bool ok = file.IsOpen() && file.Write(data.data(), data.size()) == data.size();
    const char byte = ok ? 'y' : 'n';
    if (write(ready[1], &byte, 1) != 1) _exit(1);
    for (;;) pause();
  }
  char byte = 0;
  ASSERT_EQ(1, read(ready[0], &byte, 1));
  EXPECT_EQ('y', byte);
  kill(child, SIGKILL);
  int status = 0;
  waitpid(child, &status, 0);
  close(ready[0]);
  close(ready[1]);
  EXPECT_TRUE(WIFSIGNALED(status));
  EXPECT_TRUE(folder.Entries().empty());
}

// A file size limit stands in for a full disk: the writes that no longer fit come up short,
// and everything accepted before reads back.
TEST(TAVO_TempFileTest, FullDiskGivesAShortWriteAndKeepsTheRest) {
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit = {1 << 20, 1 << 20};
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0) _exit(10);
    TAVO_TempFile file;
    std::string accepted, chunk(100000, '\0');
    for (int i = 0; i < 20; ++i) {
      for (char& c : chunk) c = static_cast<char>(i * 31 + (&c - &chunk[0]));
      const size_t n = file.Write(chunk.data(), chunk.size());
      accepted += chunk.substr(0, n);
      if (n < chunk.size()) break;
    }
    if (accepted.size() >= 20 * chunk.size() || accepted.size() > (1 << 20)) _exit(11);
    std::string back(accepted.size() + 1, '\0');
    if (!file.IsOpen() || !file.SeekFromStart(0)) _exit(12);
    back.resize(file.Read(&back[0], back.size()));
    _exit(back == accepted ? 0 : 13);
  }
  int status = 0;
  waitpid(child, &status, 0);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(0, WEXITSTATUS(status));
}

TEST(TAVO_TempFileTest, MissingFolderGivesAClosedFile) {
  ScratchFolder folder;
  setenv("TMPDIR", (folder.path() + "/absent").c_str(), 1);
  TAVO_TempFile file;
  EXPECT_FALSE(file.IsOpen());
  char data[4] = {1, 2, 3, 4};
  EXPECT_EQ(0u, file.Write(data, sizeof data));
  EXPECT_FALSE(file.SeekFromStart(0));
  EXPECT_FALSE(file.SeekToEnd());
  EXPECT_EQ(0u, file.Read(data, sizeof data));
}

}  // namespace
