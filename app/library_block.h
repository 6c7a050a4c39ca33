// A block of the library with its handle, freed at the end of its life.
#ifndef VOMO_APP_LIBRARY_BLOCK_H
#define VOMO_APP_LIBRARY_BLOCK_H

#include <vomo.h>

#include <utility>

namespace app {

template <class T>
class LibraryBlock {
 public:
  LibraryBlock() = default;
  LibraryBlock(LibraryBlock &&other) noexcept
      : data_(std::exchange(other.data_, nullptr)), handle_(std::exchange(other.handle_, 0)) {}
  LibraryBlock &operator=(LibraryBlock &&other) noexcept {
    std::swap(data_, other.data_);
    std::swap(handle_, other.handle_);
    return *this;
  }
  ~LibraryBlock() { Vomo_HANDLE_FREE(handle_); }

  explicit operator bool() const { return data_ != nullptr; }
  T *get() const { return data_; }
  T *operator->() const { return data_; }
  T &operator[](size_t index) const { return data_[index]; }
  // For the call that delivers the block, made once.
  T **pointer() { return &data_; }
  VomoHandle *handle_out() { return &handle_; }

 private:
  T *data_ = nullptr;
  VomoHandle handle_ = 0;
};

using OwnedWaveform = LibraryBlock<VomoWaveform>;

}  // namespace app

#endif
