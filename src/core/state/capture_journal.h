// Where the capture callback hands each block besides the take's memory: the take's journal on
// disk. `append` is called on the engine's capture thread and must never block.
#pragma once

#include <cstddef>

namespace velvora {

class CaptureJournal {
  public:
    virtual ~CaptureJournal() = default;
    virtual void append(const void* bytes, std::size_t count) noexcept = 0;
};

} // namespace velvora
