// What is shown while the program works, and only to somebody who watches.
#ifndef VOMO_APP_TERMINAL_H
#define VOMO_APP_TERMINAL_H

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace app {

// True if the stream's reader is a person: a terminal, and for colour one that isn't told to do
// without (NO_COLOR).
bool IsTerminal(int descriptor);
bool WantsColour(int descriptor);

// One line on the standard error output that says what is going on, and is gone at the end of this
// object's life. With the bytes given that the work is going to read, their share stands behind the
// text, by the system's count of what this process has read. Silent without a terminal.
class ProgressLine {
 public:
  explicit ProgressLine(std::string text, uint64_t bytes_to_read = 0);
  ProgressLine(const ProgressLine &) = delete;
  ProgressLine &operator=(const ProgressLine &) = delete;
  ~ProgressLine();

 private:
  void Show() const;
  void Run();

  std::string text_;
  uint64_t bytes_to_read_, bytes_before_;
  std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
  std::mutex mutex_;
  std::condition_variable wake_;
  bool stop_ = false;
  std::thread thread_;
};

// Seconds of each stage and the samples that went through it.
class StageTimes {
 public:
  template <class Work>
  auto Time(const char *stage, uint64_t samples, Work work) {
    struct Stop {
      StageTimes *times;
      const char *stage;
      uint64_t samples;
      std::chrono::steady_clock::time_point begin = std::chrono::steady_clock::now();
      ~Stop() {
        const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
        times->rows_.push_back({stage, elapsed.count(), samples});
      }
    } stop{this, stage, samples};
    return work();
  }
  // For a stage whose samples are known only after it.
  void SetSamples(uint64_t samples) { rows_.back().samples = samples; }
  std::string Table() const;

 private:
  struct Row {
    std::string stage;
    double seconds;
    uint64_t samples;
  };
  std::vector<Row> rows_;
};

}  // namespace app

#endif
