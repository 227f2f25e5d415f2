// SPDX-License-Identifier: GPL-3.0-or-later
#include "CountedAllocations.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

#include <malloc.h>

// ThreadSanitizer has its own operators and calls back instead.
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define QUORL_ALLOCATION_HOOKS
#include <sanitizer/allocator_interface.h>
#endif
#endif

namespace {

std::atomic<std::size_t> current{0};
std::atomic<std::size_t> peak{0};
std::atomic<const std::string*> watched{nullptr};
std::atomic<std::size_t> found{0};

void search(const volatile void* memory, std::size_t size) {
  const std::string* text = watched;
  if (text == nullptr) return;
  const void* bytes = const_cast<const void*>(memory);
  if (::memmem(bytes, size, text->data(), text->size()) != nullptr) ++found;
}

void add(std::size_t size) {
  const std::size_t now = current += size;
  std::size_t most = peak;
  while (now > most && !peak.compare_exchange_weak(most, now)) {
  }
}

}  // namespace

#ifdef QUORL_ALLOCATION_HOOKS

namespace {

void allocated(const volatile void* memory, std::size_t) {
  add(__sanitizer_get_allocated_size(memory));
}

void released(const volatile void* memory) {
  if (memory == nullptr) return;
  search(memory, __sanitizer_get_allocated_size(memory));
  current -= __sanitizer_get_allocated_size(memory);
}

[[maybe_unused]] const int hooks = __sanitizer_install_malloc_and_free_hooks(&allocated, &released);

}  // namespace

#else

namespace {

void* counted(void* memory) {
  if (memory == nullptr) throw std::bad_alloc();
  add(::malloc_usable_size(memory));
  return memory;
}

void release(void* memory) {
  if (memory == nullptr) return;
  search(memory, ::malloc_usable_size(memory));
  current -= ::malloc_usable_size(memory);
  std::free(memory);
}

// aligned_alloc requires a multiple of the alignment.
std::size_t rounded(std::size_t size, std::align_val_t alignment) {
  const auto step = static_cast<std::size_t>(alignment);
  return (size + step - 1) / step * step;
}

}  // namespace

// The array and nothrow forms call these.
void* operator new(std::size_t size) {
  return counted(std::malloc(size == 0 ? 1 : size));
}
void* operator new(std::size_t size, std::align_val_t alignment) {
  return counted(std::aligned_alloc(static_cast<std::size_t>(alignment), rounded(size, alignment)));
}
void operator delete(void* memory) noexcept {
  release(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  release(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept {
  release(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
  release(memory);
}

#endif

namespace quorl::test {

AllocationPeak::AllocationPeak() : before_(current) {
  peak = before_;
}

std::size_t AllocationPeak::extraBytes() const {
  return peak - before_;
}

ReleasedText::ReleasedText(std::string_view text) : text_(text) {
  found = 0;
  watched = &text_;
}

ReleasedText::~ReleasedText() {
  watched = nullptr;
}

std::size_t ReleasedText::count() const {
  return found;
}

}  // namespace quorl::test
