#include "AllocationCounter.h"

#include <malloc.h>

#include <cstdlib>
#include <new>

namespace tavo::bench {

namespace {

// Plain data only: a thread-local with a constructor could itself allocate on first use.
struct ThreadCount {
  bool counting;
  std::uint64_t allocations;
  std::uint64_t allocatedBytes;
  std::int64_t liveBytes;
};

thread_local ThreadCount current{};

}  // namespace

bool AllocationCounter::isAvailable() {
#ifdef TAVO_ALLOCATION_COUNTER_DISABLED
  return false;
#else
  return true;
#endif
}

void AllocationCounter::start() { current = ThreadCount{true, 0, 0, 0}; }

AllocationCounter::Totals AllocationCounter::stop() {
  current.counting = false;
  return Totals{current.allocations, current.allocatedBytes, current.liveBytes};
}

}  // namespace tavo::bench

#ifndef TAVO_ALLOCATION_COUNTER_DISABLED

namespace {

using tavo::bench::current;

void noteAllocated(void* block) {
  if (!current.counting) return;
  const auto size = malloc_usable_size(block);
  ++current.allocations;
  current.allocatedBytes += size;
  current.liveBytes += static_cast<std::int64_t>(size);
}

void release(void* block) noexcept {
  if (!block) return;
  if (current.counting) current.liveBytes -= static_cast<std::int64_t>(malloc_usable_size(block));
  std::free(block);
}

void* allocate(std::size_t size) {
  void* block = std::malloc(size ? size : 1);
  if (!block) throw std::bad_alloc();
  noteAllocated(block);
  return block;
}

void* allocateAligned(std::size_t size, std::align_val_t alignment) {
  const auto align = static_cast<std::size_t>(alignment);
  void* block = nullptr;
  if (posix_memalign(&block, align < sizeof(void*) ? sizeof(void*) : align, size ? size : 1) != 0)
    throw std::bad_alloc();
  noteAllocated(block);
  return block;
}

void* allocateOrNull(std::size_t size) noexcept {
  try {
    return allocate(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // namespace

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return allocateOrNull(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return allocateOrNull(size); }
void* operator new(std::size_t size, std::align_val_t alignment) { return allocateAligned(size, alignment); }
void* operator new[](std::size_t size, std::align_val_t alignment) { return allocateAligned(size, alignment); }
void operator delete(void* block) noexcept { release(block); }
void operator delete[](void* block) noexcept { release(block); }
void operator delete(void* block, std::size_t) noexcept { release(block); }
void operator delete[](void* block, std::size_t) noexcept { release(block); }
void operator delete(void* block, std::align_val_t) noexcept { release(block); }
void operator delete[](void* block, std::align_val_t) noexcept { release(block); }
void operator delete(void* block, std::size_t, std::align_val_t) noexcept { release(block); }
void operator delete[](void* block, std::size_t, std::align_val_t) noexcept { release(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { release(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { release(block); }

#endif
