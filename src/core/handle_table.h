// The table of memory blocks that outlive a call, and the owners that hold such a block until it is
// delivered.
#ifndef VOMO_CORE_HANDLE_TABLE_H
#define VOMO_CORE_HANDLE_TABLE_H

#include <vomo.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <utility>

namespace vomo {

constexpr uint32_t kHandleCount = 1280;

// Allocates count elements of the given size. The product is formed in 64 bits; 0 bytes or more
// than the allocator's signed 32-bit size can say is a failure like an empty allocator or a full
// table: handle 0.
VomoHandle Vomo_AllocateElements(uint64_t ulCount, uint64_t ulElementSize, void **ppMemory);

// Pointer stored in the handle's slot; NULL for an empty slot and outside 1 to 1280.
void *Vomo_Handle_Lookup(VomoHandle hHandle);

// Grows whenever the table is emptied as a whole. A handle that the library holds over several
// calls is good only as long as this number is the one of the time when it was stored.
uint64_t HandleGeneration();

// Owns one block of the handle table and frees it at the end of its life, unless it has been
// released to the caller as the last act of a function.
class Block {
 public:
  Block() = default;
  // Takes over a handle that another function delivered.
  Block(void *memory, VomoHandle handle) : memory_(memory), handle_(handle) {}
  Block(Block &&other) noexcept
      : memory_(std::exchange(other.memory_, nullptr)), handle_(std::exchange(other.handle_, 0u)) {}
  Block &operator=(Block &&other) noexcept {
    std::swap(memory_, other.memory_);
    std::swap(handle_, other.handle_);
    return *this;
  }
  Block(const Block &) = delete;
  Block &operator=(const Block &) = delete;
  ~Block() { Free(); }

  // Throws std::bad_alloc, which the boundary guard reports as a failed allocation.
  static Block Allocate(uint64_t count, uint64_t element_size);
  // Yields an owner of nothing instead, for the few callers with a word or an order of their own.
  static Block TryAllocate(uint64_t count, uint64_t element_size);

  explicit operator bool() const { return handle_ != 0; }
  void *memory() const { return memory_; }
  VomoHandle handle() const { return handle_; }

  VomoStatus Free() {
    memory_ = nullptr;
    return Vomo_HANDLE_FREE(std::exchange(handle_, 0u));
  }
  VomoHandle Release() {
    memory_ = nullptr;
    return std::exchange(handle_, 0u);
  }

 private:
  void *memory_ = nullptr;
  VomoHandle handle_ = 0;
};

// A block of the handle table read as an array, or as a record, of T.
template <class T>
class BlockOf {
 public:
  BlockOf() = default;
  BlockOf(T *data, VomoHandle handle) : block_(data, handle) {}

  static BlockOf Allocate(uint64_t count) {
    BlockOf result;
    result.block_ = Block::Allocate(count, sizeof(T));
    return result;
  }

  explicit operator bool() const { return static_cast<bool>(block_); }
  T *get() const { return static_cast<T *>(block_.memory()); }
  T *operator->() const { return get(); }
  T &operator*() const { return *get(); }
  T &operator[](uint64_t index) const { return get()[index]; }
  VomoHandle handle() const { return block_.handle(); }
  VomoStatus Free() { return block_.Free(); }

  // Hands the block to the caller.
  void Deliver(T **pointer, VomoHandle *handle) {
    *pointer = get();
    *handle = block_.Release();
  }

 private:
  Block block_;
};

// Receives a pointer and handle pair from a function that delivers one, as
// f(..., out.pointer(), out.handle_out()), and owns the block from then on.
template <class T>
class Received {
 public:
  Received() = default;
  Received(const Received &) = delete;
  Received &operator=(const Received &) = delete;
  ~Received() { Free(); }

  T **pointer() { return &pointer_; }
  VomoHandle *handle_out() { return &handle_; }

  explicit operator bool() const { return pointer_ != nullptr; }
  T *get() const { return pointer_; }
  T *operator->() const { return pointer_; }
  T &operator[](uint64_t index) const { return pointer_[index]; }

  VomoStatus Free() {
    pointer_ = nullptr;
    return Vomo_HANDLE_FREE(std::exchange(handle_, 0u));
  }
  void Deliver(T **pointer, VomoHandle *handle) {
    *pointer = std::exchange(pointer_, nullptr);
    *handle = std::exchange(handle_, 0u);
  }
  BlockOf<T> Take() {
    return BlockOf<T>(std::exchange(pointer_, nullptr), std::exchange(handle_, 0u));
  }

 private:
  T *pointer_ = nullptr;
  VomoHandle handle_ = 0;
};

// Working memory from the plain heap, not cleared, for trivial types. Throws std::bad_alloc when it
// can't be had, also for a size that no memory could hold.
template <class T>
class Scratch {
 public:
  Scratch() = default;
  explicit Scratch(uint64_t count) : data_(Allocate(count)), count_(count) {}

  T *get() const { return data_.get(); }
  T &operator[](uint64_t index) const { return data_[index]; }
  uint64_t size() const { return count_; }
  T *begin() const { return get(); }
  T *end() const { return get() + count_; }

 private:
  static std::unique_ptr<T[]> Allocate(uint64_t count) {
    if (count > std::numeric_limits<std::size_t>::max() / sizeof(T)) throw std::bad_alloc();
    return std::make_unique_for_overwrite<T[]>(static_cast<std::size_t>(count));
  }

  std::unique_ptr<T[]> data_;
  uint64_t count_ = 0;
};

}  // namespace vomo

#endif
