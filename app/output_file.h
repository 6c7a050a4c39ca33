// Output files that are either whole or not there.
#ifndef VOMO_APP_OUTPUT_FILE_H
#define VOMO_APP_OUTPUT_FILE_H

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

namespace app {

// Removes the unfinished output files when the program is interrupted or told to end.
void RemoveOutputOnSignals();

// Writes to a temporary name beside the target and takes the target's name in Commit(); without
// Commit() nothing stays. What isn't a regular file (a pipe, a device) is written to directly.
class OutputFile {
 public:
  explicit OutputFile(const std::filesystem::path &target);  // throws Failure
  OutputFile(const OutputFile &) = delete;
  OutputFile &operator=(const OutputFile &) = delete;
  ~OutputFile();

  void Write(std::string_view text);
  void Commit();

 private:
  [[noreturn]] void Fail(int error) const;
  void Discard();

  std::filesystem::path target_;
  std::string temporary_;  // empty when written to directly
  int descriptor_ = -1;
  int slot_ = -1;
};

}  // namespace app

#endif
