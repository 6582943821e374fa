#include "OTAllocationCounter.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace corvane {

namespace {
std::atomic<std::size_t> live{0};
std::atomic<std::size_t> peak{0};

void* allocate(std::size_t size) {
    void* pointer = std::malloc(size == 0 ? 1 : size);
    if (pointer == nullptr) throw std::bad_alloc();
    const auto now =
        live.fetch_add(::malloc_usable_size(pointer), std::memory_order_relaxed) + ::malloc_usable_size(pointer);
    auto high = peak.load(std::memory_order_relaxed);
    while (now > high && !peak.compare_exchange_weak(high, now, std::memory_order_relaxed)) {}
    return pointer;
}

void release(void* pointer) noexcept {
    if (pointer == nullptr) return;
    live.fetch_sub(::malloc_usable_size(pointer), std::memory_order_relaxed);
    std::free(pointer);
}
}  // namespace

std::size_t OTAllocationCounter::liveBytes() { return live.load(); }
std::size_t OTAllocationCounter::peakBytes() { return peak.load(); }
void OTAllocationCounter::resetPeak() { peak.store(live.load()); }

}  // namespace corvane

// Replaced for the whole benchmark program, so that every container and string is counted.
void* operator new(std::size_t size) { return corvane::allocate(size); }
void* operator new[](std::size_t size) { return corvane::allocate(size); }
void operator delete(void* pointer) noexcept { corvane::release(pointer); }
void operator delete[](void* pointer) noexcept { corvane::release(pointer); }
void operator delete(void* pointer, std::size_t) noexcept { corvane::release(pointer); }
void operator delete[](void* pointer, std::size_t) noexcept { corvane::release(pointer); }
