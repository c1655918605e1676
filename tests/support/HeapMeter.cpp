// Counts the bytes on the heap, so that a test can tell that a damaged header cost none, and lets a
// chosen allocation fail.
#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "support/Builders.h"

namespace {

std::atomic<std::size_t> live = 0;
std::atomic<std::size_t> peak = 0;
std::atomic<long> allowed = -1;

}  // namespace

void* operator new(std::size_t size) {
  void* memory = allowed >= 0 && --allowed < 0 ? nullptr : std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  const std::size_t now = live += malloc_usable_size(memory);
  if (now > peak) peak = now;
  return memory;
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  try {
    return operator new(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void operator delete(void* memory) noexcept {
  if (memory != nullptr) live -= malloc_usable_size(memory);
  std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
  operator delete(memory);
}

namespace lmimport::test {

HeapUse::HeapUse() : before_(live) {
  peak = before_;
}
std::size_t HeapUse::Peak() const {
  return peak - before_;
}

void FailAllocationAfter(long count) {
  allowed = count;
}

}  // namespace lmimport::test
