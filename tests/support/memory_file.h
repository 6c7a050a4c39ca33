// Files for tests, benchmarks and fuzzing: in memory, open to anyone by name, gone with their
// owner.
#ifndef VOMO_SUPPORT_MEMORY_FILE_H
#define VOMO_SUPPORT_MEMORY_FILE_H

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <stdexcept>
#include <string>
#include <string_view>

namespace vomo_test {

class MemoryFile {
 public:
  MemoryFile() : descriptor_(memfd_create("vomo", MFD_CLOEXEC)) {
    if (descriptor_ < 0) throw std::runtime_error("no file in memory");
    name_ = "/proc/self/fd/" + std::to_string(descriptor_);
  }
  explicit MemoryFile(std::string_view content) : MemoryFile() {
    Hold(content.data(), content.size());
  }
  MemoryFile(const MemoryFile &) = delete;
  MemoryFile &operator=(const MemoryFile &) = delete;
  ~MemoryFile() { close(descriptor_); }

  // Replaces the content.
  void Hold(const void *bytes, size_t size) {
    bool good = ftruncate(descriptor_, 0) == 0;
    for (size_t done = 0; good && done < size;) {
      const ssize_t written = pwrite(descriptor_, static_cast<const char *>(bytes) + done,
                                     size - done, static_cast<off_t>(done));
      good = written > 0;
      if (good) done += static_cast<size_t>(written);
    }
    if (!good) throw std::runtime_error("can't fill a file in memory");
  }

  std::string Content() const {
    struct stat status {};
    if (fstat(descriptor_, &status) != 0) throw std::runtime_error("can't look at a file");
    std::string content(static_cast<size_t>(status.st_size), '\0');
    const ssize_t read = pread(descriptor_, content.data(), content.size(), 0);
    if (read != status.st_size) throw std::runtime_error("can't read a file in memory");
    return content;
  }

  const char *name() const { return name_.c_str(); }

 private:
  int descriptor_;
  std::string name_;
};

}  // namespace vomo_test

#endif
