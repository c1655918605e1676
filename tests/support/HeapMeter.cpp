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

void* Allocate(std::size_t size) {
  if (allowed >= 0 && --allowed < 0) throw std::bad_alloc();
  void* memory = std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  const std::size_t now = live += malloc_usable_size(memory);
  if (now > peak) peak = now;
  return memory;
}

void Free(void* memory) noexcept {
  if (memory != nullptr) live -= malloc_usable_size(memory);
  std::free(memory);
}

}  // namespace

void* operator new(std::size_t size) {
  return Allocate(size);
}
void* operator new[](std::size_t size) {
  return Allocate(size);
}
void operator delete(void* memory) noexcept {
  Free(memory);
}
void operator delete[](void* memory) noexcept {
  Free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  Free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
  Free(memory);
}

std::size_t lmimport::test::PeakHeapBytes() {
  return peak.exchange(live);
}

void lmimport::test::FailAllocationBehind(long count) {
  allowed = count;
}
