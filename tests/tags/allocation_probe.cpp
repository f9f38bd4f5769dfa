#include "tags/allocation_probe.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {
std::atomic<bool> armed{false};
std::atomic<std::size_t> largestSeen{0};

void* allocate(std::size_t n) {
    if (armed.load(std::memory_order_relaxed)) {
        std::size_t seen = largestSeen.load(std::memory_order_relaxed);
        while (n > seen && !largestSeen.compare_exchange_weak(seen, n)) {
        }
    }
    if (void* p = std::malloc(n ? n : 1)) return p;
    throw std::bad_alloc();
}
} // namespace

void* operator new(std::size_t n) {
    return allocate(n);
}
void* operator new[](std::size_t n) {
    return allocate(n);
}
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete[](void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}
void operator delete[](void* p, std::size_t) noexcept {
    std::free(p);
}

namespace velvora::testing {

AllocationProbe::AllocationProbe() {
    largestSeen = 0;
    armed = true;
}
AllocationProbe::~AllocationProbe() {
    armed = false;
}
std::size_t AllocationProbe::largest() const {
    return largestSeen.load();
}

} // namespace velvora::testing
