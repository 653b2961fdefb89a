// Allocation services shared by the whole library: the failure hook that
// tests use to prove that every allocation failure is reported and undone,
// and RAII owners for the blocks of the two allocator families.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kest/memory.h"

namespace kest {

// True when the next allocation may proceed. Every allocator of the
// library (both K_ families and the pixel mappings) asks once per block.
bool AllocationAllowed();

namespace testing {
// Fails the n-th allocation made by this thread from now on (1 is the next
// one); 0 switches failing off. Allocations are counted either way.
void FailAllocation(int n);
// Allocations this thread has asked for since the last FailAllocation.
int AllocationsCounted();
}  // namespace testing

// Owns a K_Malloc block.
class HeapBuffer {
 public:
  HeapBuffer() = default;
  explicit HeapBuffer(uint32_t size) : data_(static_cast<uint8_t *>(K_Malloc(size))) {}
  ~HeapBuffer() { K_Free(data_); }
  HeapBuffer(const HeapBuffer &) = delete;
  HeapBuffer &operator=(const HeapBuffer &) = delete;
  HeapBuffer(HeapBuffer &&other) noexcept : data_(other.release()) {}
  HeapBuffer &operator=(HeapBuffer &&other) noexcept {
    if (this != &other) {
      K_Free(data_);
      data_ = other.release();
    }
    return *this;
  }
  uint8_t *get() const { return data_; }
  explicit operator bool() const { return data_ != nullptr; }
  uint8_t *release() {
    uint8_t *data = data_;
    data_ = nullptr;
    return data;
  }

 private:
  uint8_t *data_ = nullptr;
};

// Owns a K_OsAlloc block until released to a record.
template <typename T = uint8_t>
class OsBlock {
 public:
  OsBlock() = default;
  explicit OsBlock(uint32_t size, bool zero = false)
      : data_(static_cast<T *>(K_OsAllocInit(size, zero ? 1 : 0))) {}
  ~OsBlock() { K_OsFree(data_); }
  OsBlock(const OsBlock &) = delete;
  OsBlock &operator=(const OsBlock &) = delete;
  T *get() const { return data_; }
  explicit operator bool() const { return data_ != nullptr; }
  T *release() {
    T *data = data_;
    data_ = nullptr;
    return data;
  }

 private:
  T *data_ = nullptr;
};

}  // namespace kest
