#include "file_bytes.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "failure.h"

namespace app {

FileBytes::FileBytes(const std::string &path)
    : descriptor_(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
  struct stat status;
  if (descriptor_ < 0 || fstat(descriptor_, &status) != 0) {
    const int error = errno;
    if (descriptor_ >= 0) close(descriptor_);
    throw Failure(ExitCode::kUnreadable,
                  fmt::format("cannot read {}: {}", path, std::strerror(error)));
  }
  size_ = static_cast<uint64_t>(status.st_size);
}

FileBytes::~FileBytes() {
  close(descriptor_);
}

size_t FileBytes::Read(uint64_t offset, void *bytes, size_t length) const {
  constexpr size_t kBlockBytes = 4096;
  if (offset >= size_) return 0;
  if (offset < block_at_ || offset + length > block_at_ + block_.size()) {
    block_.resize(std::max(kBlockBytes, length));
    const ssize_t read =
        pread(descriptor_, block_.data(), block_.size(), static_cast<off_t>(offset));
    block_.resize(read < 0 ? 0 : static_cast<size_t>(read));
    block_at_ = offset;
  }
  const size_t from = static_cast<size_t>(offset - block_at_);
  const size_t count = std::min(length, block_.size() - from);
  std::copy_n(block_.data() + from, count, static_cast<char *>(bytes));
  return count;
}

std::string FileBytes::Text(uint64_t offset, size_t length) const {
  std::string text(length, '\0');
  text.resize(Read(offset, text.data(), length));
  return text;
}

std::string FileBytes::Shown(uint64_t offset, size_t length) const {
  const std::string text = Text(offset, length);
  if (text.empty()) return "the end of the file";
  std::string shown;
  for (const char c : text) {
    shown += fmt::format("{}{:02X}", shown.empty() ? "" : " ", static_cast<unsigned char>(c));
  }
  const bool printable =
      std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
  return printable ? fmt::format("{} (\"{}\")", shown, text) : shown;
}

}  // namespace app
