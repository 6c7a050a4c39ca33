// A block of the library with its handle, freed at the end of its life.
#ifndef VOMO_APP_LIBRARY_BLOCK_H
#define VOMO_APP_LIBRARY_BLOCK_H

#include <vomo.h>

namespace app {

template <class T>
class LibraryBlock {
 public:
  LibraryBlock() = default;
  LibraryBlock(const LibraryBlock &) = delete;
  LibraryBlock &operator=(const LibraryBlock &) = delete;
  ~LibraryBlock() { Vomo_HANDLE_FREE(handle_); }

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

}  // namespace app

#endif
