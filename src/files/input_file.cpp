#include "files/input_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace vomo {

static_assert(sizeof(off_t) == 8, "captures pass 2 GB: build with 64-bit file offsets");

InputFile::InputFile(const char *name) {
  if (name == nullptr || *name == '\0') return;
  do {
    descriptor_ = open(name, O_RDONLY | O_CLOEXEC);
  } while (descriptor_ < 0 && errno == EINTR);
}

InputFile::InputFile(InputFile &&other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)) {}

InputFile &InputFile::operator=(InputFile &&other) noexcept {
  std::swap(descriptor_, other.descriptor_);
  return *this;
}

InputFile::~InputFile() {
  if (descriptor_ >= 0) close(descriptor_);
}

int64_t InputFile::ReadSome(void *destination, size_t most_bytes) {
  ssize_t bytes;
  do {
    bytes = read(descriptor_, destination, most_bytes);
  } while (bytes < 0 && errno == EINTR);
  return bytes;
}

uint64_t InputFile::ReadAt(uint64_t offset, void *destination, uint64_t bytes) {
  uint64_t done = 0;
  while (done < bytes) {
    const ssize_t got = pread(descriptor_, static_cast<char *>(destination) + done,
                              static_cast<size_t>(bytes - done), static_cast<off_t>(offset + done));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    done += static_cast<uint64_t>(got);
  }
  return done;
}

int64_t InputFile::SeekableSize() const {
  struct stat status;
  if (fstat(descriptor_, &status) != 0 || S_ISDIR(status.st_mode)) return -1;
  return lseek(descriptor_, 0, SEEK_END);
}

bool FileCursor::Open(const char *name) {
  *this = FileCursor();
  file_ = InputFile(name);
  const int64_t size = file_ ? file_.SeekableSize() : -1;
  if (size < 0) return false;
  size_ = static_cast<uint64_t>(size);
  block_ = Scratch<uint8_t>(kBlockBytes);
  return true;
}

uint64_t FileCursor::Read(void *destination, uint64_t bytes) {
  bytes = std::min(bytes, remaining());
  uint64_t done = 0;
  if (bytes >= kBlockBytes) {
    done = file_.ReadAt(position_, destination, bytes);
  } else if (bytes != 0) {
    const bool held =
        position_ >= block_start_ && position_ + bytes <= block_start_ + block_filled_;
    if (!held) {
      block_start_ = position_;
      block_filled_ = file_.ReadAt(position_, block_.get(), std::min(kBlockBytes, remaining()));
    }
    done = std::min(bytes, block_start_ + block_filled_ - position_);
    std::memcpy(destination, block_.get() + (position_ - block_start_), done);
  }
  position_ += done;
  return done;
}

}  // namespace vomo
