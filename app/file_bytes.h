// Looks into a file at any place, a few bytes at a time.
#ifndef VOMO_APP_FILE_BYTES_H
#define VOMO_APP_FILE_BYTES_H

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <string>

namespace app {

class FileBytes {
 public:
  explicit FileBytes(const std::string &path);  // throws Failure
  FileBytes(const FileBytes &) = delete;
  FileBytes &operator=(const FileBytes &) = delete;
  ~FileBytes();

  uint64_t size() const { return size_; }

  // Bytes behind the end of the file count as 0.
  template <class T>
  T At(uint64_t offset, std::endian order = std::endian::little) const {
    std::byte raw[sizeof(T)] = {};
    Read(offset, raw, sizeof raw);
    if (order != std::endian::native) std::reverse(raw, raw + sizeof raw);
    return std::bit_cast<T>(raw);
  }
  // Shorter at the end of the file.
  std::string Text(uint64_t offset, size_t length) const;
  // Bytes for readers: "41 47 00", with their characters behind them if they all have one.
  std::string Shown(uint64_t offset, size_t length) const;

 private:
  size_t Read(uint64_t offset, void *bytes, size_t length) const;

  int descriptor_;
  uint64_t size_ = 0;
  // What was read last, for numbers that stand close together.
  mutable std::string block_;
  mutable uint64_t block_at_ = 0;
};

}  // namespace app

#endif
