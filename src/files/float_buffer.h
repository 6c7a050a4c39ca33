// A growing array of floats for samples whose number is known only when all are read.
#ifndef VOMO_FILES_FLOAT_BUFFER_H
#define VOMO_FILES_FLOAT_BUFFER_H

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>

namespace vomo {

// Grows and shrinks in place where the heap can, which for big arrays moves pages and not bytes.
class FloatBuffer {
 public:
  float *data() const { return data_.get(); }
  uint64_t capacity() const { return capacity_; }

  // Sets the capacity, at least 1. On failure nothing changes.
  bool Resize(uint64_t capacity) {
    if (capacity > std::numeric_limits<size_t>::max() / sizeof(float)) return false;
    void *moved = std::realloc(data_.get(), static_cast<size_t>(capacity) * sizeof(float));
    if (moved == nullptr) return false;
    static_cast<void>(data_.release());
    data_.reset(static_cast<float *>(moved));
    capacity_ = capacity;
    return true;
  }

  void Free() {
    data_.reset();
    capacity_ = 0;
  }

 private:
  struct HeapFree {
    void operator()(float *memory) const { std::free(memory); }
  };

  std::unique_ptr<float, HeapFree> data_;
  uint64_t capacity_ = 0;
};

}  // namespace vomo

#endif
