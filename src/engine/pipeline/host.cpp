#include "pipeline/host.h"

#include <atomic>

namespace engine {

namespace {
std::atomic<Host*> current{nullptr};
}

Host& host() {
    return *current.load(std::memory_order_acquire);
}

void setHost(Host& h) {
    current.store(&h, std::memory_order_release);
}

} // namespace engine
