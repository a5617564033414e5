// Allocation counting: operator new is replaced, and the malloc family is wrapped at link time.
#include "tests/support/allocation_counter.h"

#include <atomic>
#include <cstdlib>
#include <new>

static std::atomic<std::size_t> allocations{0};

extern "C" {
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* pointer, std::size_t size);

void* __wrap_malloc(std::size_t size) {
    allocations.fetch_add(1, std::memory_order_relaxed);
    return __real_malloc(size);
}

void* __wrap_calloc(std::size_t count, std::size_t size) {
    allocations.fetch_add(1, std::memory_order_relaxed);
    return __real_calloc(count, size);
}

void* __wrap_realloc(void* pointer, std::size_t size) {
    allocations.fetch_add(1, std::memory_order_relaxed);
    return __real_realloc(pointer, size);
}
}

void* operator new(std::size_t size) {
    allocations.fetch_add(1, std::memory_order_relaxed);
    if (void* p = __real_malloc(size ? size : 1))
        return p;
    throw std::bad_alloc();
}

void* operator new[](std::size_t size) {
    return operator new(size);
}

void operator delete(void* pointer) noexcept {
    std::free(pointer);
}
void operator delete[](void* pointer) noexcept {
    std::free(pointer);
}
void operator delete(void* pointer, std::size_t) noexcept {
    std::free(pointer);
}
void operator delete[](void* pointer, std::size_t) noexcept {
    std::free(pointer);
}

namespace testsupport {

std::size_t allocationCount() {
    return allocations.load(std::memory_order_relaxed);
}

} // namespace testsupport
