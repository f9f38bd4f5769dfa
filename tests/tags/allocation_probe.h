// Records the largest single allocation made while armed, through the program's operator new.
#pragma once

#include <cstddef>

namespace velvora::testing {

class AllocationProbe {
  public:
    AllocationProbe();
    ~AllocationProbe();
    // The largest request seen since this probe was armed.
    std::size_t largest() const;
};

} // namespace velvora::testing
