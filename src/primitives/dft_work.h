// Working memory of the transforms.
#ifndef VOMO_PRIMITIVES_DFT_WORK_H
#define VOMO_PRIMITIVES_DFT_WORK_H

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <new>

namespace vomo {

// Uninitialised array of trivial values on a cache line's boundary. Throws std::bad_alloc.
template <class T>
class WorkArray {
 public:
  WorkArray() = default;
  explicit WorkArray(int64_t count) : data_(Allocate(static_cast<uint64_t>(count))) {}

  explicit operator bool() const { return data_ != nullptr; }
  T *get() const { return data_.get(); }
  T &operator[](int64_t index) const { return data_.get()[index]; }

 private:
  struct Free {
    void operator()(T *data) const { std::free(data); }
  };

  static T *Allocate(uint64_t count) {
    constexpr uint64_t kLine = 64;
    if (count > std::numeric_limits<int64_t>::max() / sizeof(T)) throw std::bad_alloc();
    void *memory = std::aligned_alloc(kLine, (count * sizeof(T) + kLine - 1) / kLine * kLine);
    if (memory == nullptr) throw std::bad_alloc();
    return static_cast<T *>(memory);
  }

  std::unique_ptr<T, Free> data_;
};

}  // namespace vomo

#endif
