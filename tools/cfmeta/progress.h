// A one-line progress bar on standard error for long reads: the share done, bytes read, rate
// and time left. It appears only when enabled (standard error is a terminal) and the work has
// run for more than half a second, and redraws at most ten times a second.
#ifndef TOOLS_CFMETA_PROGRESS_H_
#define TOOLS_CFMETA_PROGRESS_H_

#include <chrono>
#include <cstdint>
#include <string>

namespace cfmeta_tool {

class Progress {
 public:
  // `total` is the size of the input in bytes, 0 when unknown (a pipe): the bar then shows
  // bytes and rate only.
  Progress(uint64_t total, bool enabled);
  ~Progress();

  void Update(uint64_t done);
  // Clears the bar, if one was drawn.
  void Finish();
  // Seconds since the work began.
  double Seconds() const;

  // The bar's text for `done` bytes after `seconds`; exposed for tests.
  static std::string Line(uint64_t done, uint64_t total, double seconds);

 private:
  using Clock = std::chrono::steady_clock;
  uint64_t m_total;
  bool m_enabled;
  bool m_drawn = false;
  Clock::time_point m_start;
  Clock::time_point m_lastDraw;
};

// The line that closes a profile of `name` on standard error, after the tool's name:
// "data.csv: 1000000 rows, 14 columns in 1.4 s".
std::string ClosingLine(const std::string& name, uint64_t rows, size_t columns, double seconds);

// Whether a profile that read `bytes` in `seconds` closes with that line: when it took more
// than a second or read more than 10 MB, and always when standard error is a `terminal`.
bool ClosingLineDue(uint64_t bytes, double seconds, bool terminal);

}  // namespace cfmeta_tool

#endif  // TOOLS_CFMETA_PROGRESS_H_
