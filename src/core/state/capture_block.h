// The take in memory: one block of raw bytes that grows in place where the allocator can (a large
// block is remapped, not copied), so that a long take costs no copying of what it already holds.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace velvora {

class CaptureBlock {
  public:
    CaptureBlock() = default;
    ~CaptureBlock() { std::free(data_); }
    CaptureBlock(const CaptureBlock&) = delete;
    CaptureBlock& operator=(const CaptureBlock&) = delete;

    bool empty() const { return data_ == nullptr; }
    std::uint8_t* data() { return data_; }
    const std::uint8_t* data() const { return data_; }
    // Bytes allocated; what is in use is the owner's count.
    std::size_t size() const { return size_; }

    // A fresh block of `bytes`, not zeroed, in place of any earlier one; false when none could be had.
    bool allocate(std::size_t bytes) {
        clear();
        data_ = static_cast<std::uint8_t*>(std::malloc(bytes ? bytes : 1));
        size_ = data_ ? bytes : 0;
        return data_ != nullptr;
    }
    // The block resized to `bytes`, its contents kept. On failure the block is gone (empty) and
    // the result is false: the take it held is lost, as the capture's callback expects.
    bool grow(std::size_t bytes) {
        if (bytes > limit_) {
            clear();
            return false;
        }
        auto* moved = static_cast<std::uint8_t*>(std::realloc(data_, bytes ? bytes : 1));
        if (!moved) {
            clear();
            return false;
        }
        data_ = moved;
        size_ = bytes;
        return true;
    }
    void clear() {
        std::free(data_);
        data_ = nullptr;
        size_ = 0;
    }
    // Growth past `bytes` fails as if memory had run out; for tests of that case.
    void setLimit(std::size_t bytes) { limit_ = bytes; }

  private:
    std::uint8_t* data_ = nullptr;
    std::size_t size_ = 0;
    std::size_t limit_ = static_cast<std::size_t>(-1);
};

} // namespace velvora
