#include "terminal.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace app {
namespace {

// Bytes that this process has read so far; 0 where the system doesn't tell.
uint64_t BytesRead() {
  std::ifstream counters("/proc/self/io");
  std::string name;
  uint64_t value = 0;
  return counters >> name >> value && name == "rchar:" ? value : 0;
}

}  // namespace

bool IsTerminal(int descriptor) {
  return isatty(descriptor) == 1;
}

bool WantsColour(int descriptor) {
  const char *no_color = std::getenv("NO_COLOR");
  return IsTerminal(descriptor) && (no_color == nullptr || *no_color == '\0');
}

ProgressLine::ProgressLine(std::string text, uint64_t bytes_to_read)
    : text_(std::move(text)), bytes_to_read_(bytes_to_read), bytes_before_(BytesRead()) {
  if (!IsTerminal(STDERR_FILENO)) return;
  Show();
  thread_ = std::thread([this] { Run(); });
}

ProgressLine::~ProgressLine() {
  if (!thread_.joinable()) return;
  {
    const std::lock_guard lock(mutex_);
    stop_ = true;
  }
  wake_.notify_one();
  thread_.join();
  fmt::print(stderr, "\r\x1b[K");
}

void ProgressLine::Show() const {
  std::string line = text_;
  if (bytes_to_read_ > 0) {
    const auto done = static_cast<double>(BytesRead() - bytes_before_);
    line +=
        fmt::format(" {:.0f} %", std::min(100.0, 100 * done / static_cast<double>(bytes_to_read_)));
  }
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin_;
  fmt::print(stderr, "\r\x1b[K{} {:.0f} s", line, elapsed.count());
  std::fflush(stderr);
}

void ProgressLine::Run() {
  std::unique_lock lock(mutex_);
  while (!wake_.wait_for(lock, std::chrono::milliseconds(100), [this] { return stop_; })) Show();
}

std::string StageTimes::Table() const {
  std::string table;
  for (const Row &row : rows_) {
    table += fmt::format("{:<10} {:8.3f} s", row.stage, row.seconds);
    if (row.samples > 0 && row.seconds > 0) {
      table += fmt::format(" {:10.1f} Msamples/s",
                           static_cast<double>(row.samples) / row.seconds * 1e-6);
    }
    table += '\n';
  }
  return table;
}

}  // namespace app
