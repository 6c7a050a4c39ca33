// Files opened for reading: the owner of the descriptor, and the bounded cursor that the readers of
// binary formats take their bytes through.
#ifndef VOMO_FILES_INPUT_FILE_H
#define VOMO_FILES_INPUT_FILE_H

#include <cstddef>
#include <cstdint>

#include "core/handle_table.h"

namespace vomo {

// Owns an open file; not open after a failure, and for a name that is NULL or empty.
class InputFile {
 public:
  InputFile() = default;
  explicit InputFile(const char *name);
  InputFile(InputFile &&other) noexcept;
  InputFile &operator=(InputFile &&other) noexcept;
  ~InputFile();

  explicit operator bool() const { return descriptor_ >= 0; }

  // Bytes read from where the last call ended, as many as are there at once (a pipe gives what it
  // has); 0 at the end of the file and -1 on an error.
  int64_t ReadSome(void *destination, size_t most_bytes);

  // Bytes read at an offset from the start: fewer than asked only at the end of the file or on an
  // error.
  uint64_t ReadAt(uint64_t offset, void *destination, uint64_t bytes);

  // Size in bytes; -1 if the file can't be positioned (a pipe) or is a folder.
  int64_t SeekableSize() const;

 private:
  int descriptor_ = -1;
};

// A position in a file of known size. It may be set beyond the end: nothing is left to read there.
// Small reads are served from a block of fixed size, so a format may be read field by field.
class FileCursor {
 public:
  FileCursor() = default;

  // False if the file can't be opened or can't be positioned.
  bool Open(const char *name);

  uint64_t size() const { return size_; }
  uint64_t position() const { return position_; }
  uint64_t remaining() const { return position_ < size_ ? size_ - position_ : 0; }

  void Seek(uint64_t position) { position_ = position; }
  void Skip(uint64_t bytes) { position_ += bytes; }

  // Reads up to the given number of bytes, moves behind them and returns how many there were.
  uint64_t Read(void *destination, uint64_t bytes);
  bool ReadExactly(void *destination, uint64_t bytes) { return Read(destination, bytes) == bytes; }

 private:
  static constexpr uint64_t kBlockBytes = 65536;

  InputFile file_;
  Scratch<uint8_t> block_;
  uint64_t size_ = 0;
  uint64_t position_ = 0;
  uint64_t block_start_ = 0;
  uint64_t block_filled_ = 0;
};

}  // namespace vomo

#endif
