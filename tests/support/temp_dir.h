// A working directory for tests of functions that write where they stand: gone with its owner.
#ifndef VOMO_TESTS_SUPPORT_TEMP_DIR_H
#define VOMO_TESTS_SUPPORT_TEMP_DIR_H

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace vomo_test {

class TempDir {
 public:
  TempDir() : before_(std::filesystem::current_path()) {
    std::string pattern = (std::filesystem::temp_directory_path() / "vomo-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary directory");
    path_ = pattern;
    std::filesystem::current_path(path_);
  }
  TempDir(const TempDir &) = delete;
  TempDir &operator=(const TempDir &) = delete;
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::current_path(before_, ignored);
    std::filesystem::remove_all(path_, ignored);
  }

  // Content of a file in it; empty if there is none.
  std::string Read(const char *name) const {
    std::ifstream file(path_ / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

 private:
  std::filesystem::path before_, path_;
};

}  // namespace vomo_test

#endif
