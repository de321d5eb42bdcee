#include "tools/cfmeta/progress.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>

namespace cfmeta_tool {

namespace {

constexpr double kMiB = 1024.0 * 1024.0;
constexpr int kBarWidth = 24;
constexpr double kClosingSeconds = 1.0;
constexpr uint64_t kClosingBytes = 10000000;

std::string HoursMinutesSeconds(double seconds) {
  long long s = static_cast<long long>(seconds + 0.5);
  return fmt::format("{}:{:02}:{:02}", s / 3600, s / 60 % 60, s % 60);
}

}  // namespace

Progress::Progress(uint64_t total, bool enabled)
    : m_total(total), m_enabled(enabled), m_start(Clock::now()), m_lastDraw(m_start) {}

Progress::~Progress() { Finish(); }

std::string Progress::Line(uint64_t done, uint64_t total, double seconds) {
  double rate = seconds > 0 ? done / seconds : 0.0;
  std::string text;
  if (total > 0) {
    double share = std::min(1.0, static_cast<double>(done) / total);
    int filled = static_cast<int>(share * kBarWidth);
    text = fmt::format("{:3.0f}% [{}{}] {:.1f}/{:.1f} MiB", share * 100, std::string(filled, '#'),
                       std::string(kBarWidth - filled, ' '), done / kMiB, total / kMiB);
  } else {
    text = fmt::format("{:.1f} MiB", done / kMiB);
  }
  text += fmt::format("  {:.1f} MiB/s", rate / kMiB);
  if (total > 0 && rate > 0 && done <= total) {
    text += fmt::format("  {} left", HoursMinutesSeconds((total - done) / rate));
  }
  return text;
}

void Progress::Update(uint64_t done) {
  if (!m_enabled) return;
  Clock::time_point now = Clock::now();
  if (now - m_start < std::chrono::milliseconds(500)) return;
  if (m_drawn && now - m_lastDraw < std::chrono::milliseconds(100)) return;
  double seconds = std::chrono::duration<double>(now - m_start).count();
  std::fprintf(stderr, "\r%s\033[K", Line(done, m_total, seconds).c_str());
  std::fflush(stderr);
  m_drawn = true;
  m_lastDraw = now;
}

double Progress::Seconds() const {
  return std::chrono::duration<double>(Clock::now() - m_start).count();
}

void Progress::Finish() {
  if (!m_drawn) return;
  std::fputs("\r\033[K", stderr);
  std::fflush(stderr);
  m_drawn = false;
}

std::string ClosingLine(const std::string& name, uint64_t rows, size_t columns, double seconds) {
  return fmt::format("{}: {} row{}, {} column{} in {:.1f} s", name, rows, rows == 1 ? "" : "s",
                     columns, columns == 1 ? "" : "s", seconds);
}

bool ClosingLineDue(uint64_t bytes, double seconds, bool terminal) {
  return terminal || seconds > kClosingSeconds || bytes > kClosingBytes;
}

}  // namespace cfmeta_tool
