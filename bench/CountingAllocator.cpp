// Replacements of every form of the global operator new and delete: each allocation is counted
// with its requested size, then served by malloc (aligned forms by posix_memalign). Deletes are
// not counted; they only free.
#include "bench/CountingAllocator.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace aon_bench {
namespace {

std::atomic<uint64_t> gAllocations{0};
std::atomic<uint64_t> gBytes{0};

void Count(std::size_t size) {
    gAllocations.fetch_add(1, std::memory_order_relaxed);
    gBytes.fetch_add(size, std::memory_order_relaxed);
}

void* Allocate(std::size_t size) noexcept {
    Count(size);
    return std::malloc(size == 0 ? 1 : size);
}

void* AllocateAligned(std::size_t size, std::align_val_t alignment) noexcept {
    Count(size);
    std::size_t align = static_cast<std::size_t>(alignment);
    if (align < sizeof(void*)) align = sizeof(void*);
    void* memory = nullptr;
    if (posix_memalign(&memory, align, size == 0 ? 1 : size) != 0) return nullptr;
    return memory;
}

}  // namespace

AllocationCount CurrentAllocations() {
    return {gAllocations.load(std::memory_order_relaxed), gBytes.load(std::memory_order_relaxed)};
}

}  // namespace aon_bench

using aon_bench::Allocate;
using aon_bench::AllocateAligned;

void* operator new(std::size_t size) {
    void* memory = Allocate(size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

void* operator new[](std::size_t size) {
    void* memory = Allocate(size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return Allocate(size);
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return Allocate(size);
}

void* operator new(std::size_t size, std::align_val_t alignment) {
    void* memory = AllocateAligned(size, alignment);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

void* operator new[](std::size_t size, std::align_val_t alignment) {
    void* memory = AllocateAligned(size, alignment);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return AllocateAligned(size, alignment);
}

void* operator new[](std::size_t size, std::align_val_t alignment,
                     const std::nothrow_t&) noexcept {
    return AllocateAligned(size, alignment);
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete[](void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}

void operator delete(void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}

void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::align_val_t) noexcept {
    std::free(memory);
}

void operator delete[](void* memory, std::align_val_t) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
    std::free(memory);
}

void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::align_val_t, const std::nothrow_t&) noexcept {
    std::free(memory);
}

void operator delete[](void* memory, std::align_val_t, const std::nothrow_t&) noexcept {
    std::free(memory);
}
