// Files for tests and benchmarks: made in the system's folder for temporary files, gone with their
// owner.
#ifndef VOMO_SUPPORT_TEMP_FILE_H
#define VOMO_SUPPORT_TEMP_FILE_H

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>

namespace vomo_test {

class TempFile {
 public:
  TempFile() {
    std::string pattern = (std::filesystem::temp_directory_path() / "vomo-XXXXXX").string();
    const int descriptor = mkstemp(pattern.data());
    if (descriptor < 0) throw std::runtime_error("no temporary file");
    close(descriptor);
    name_ = pattern;
  }
  explicit TempFile(std::string_view content) : TempFile() { Write(content); }
  TempFile(const TempFile &) = delete;
  TempFile &operator=(const TempFile &) = delete;
  ~TempFile() { std::remove(name_.c_str()); }

  void Write(std::string_view content) {
    std::FILE *file = std::fopen(name_.c_str(), "wb");
    if (file == nullptr) throw std::runtime_error("can't write " + name_);
    const size_t written = std::fwrite(content.data(), 1, content.size(), file);
    if (std::fclose(file) != 0 || written != content.size()) {
      throw std::runtime_error("can't write " + name_);
    }
  }

  std::string Read() const {
    std::string content(std::filesystem::file_size(name_), '\0');
    std::FILE *file = std::fopen(name_.c_str(), "rb");
    if (file == nullptr) throw std::runtime_error("can't read " + name_);
    const size_t read = std::fread(content.data(), 1, content.size(), file);
    std::fclose(file);
    content.resize(read);
    return content;
  }

  const char *name() const { return name_.c_str(); }

 private:
  std::string name_;
};

}  // namespace vomo_test

#endif
