// Handle tables: 32-bit handles that are never 0 and never valid again once freed.
//
// Layout: bits 31..28 a table tag, 27..20 a generation, 19..0 the slot index plus one. A slot whose
// generation is used up is retired instead of reused, so a stale handle can never alias a new object.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

namespace engine {

template <class T>
class HandleTable {
  public:
    explicit HandleTable(std::uint32_t tag) : tag_(tag & 0xf) {}

    std::uint32_t add(std::shared_ptr<T> obj) {
        std::lock_guard lock(mutex_);
        std::uint32_t index;
        if (!free_.empty()) {
            index = free_.back();
            free_.pop_back();
        } else {
            if (slots_.size() >= kMaxSlots) return 0;
            slots_.push_back({});
            index = static_cast<std::uint32_t>(slots_.size() - 1);
        }
        Slot& s = slots_[index];
        s.obj = std::move(obj);
        return (tag_ << 28) | (s.generation << 20) | (index + 1);
    }

    std::shared_ptr<T> get(std::uint32_t handle) const {
        std::lock_guard lock(mutex_);
        const Slot* s = find(handle);
        return s ? s->obj : nullptr;
    }

    // Removes the object and returns it; the handle is dead from here on.
    std::shared_ptr<T> remove(std::uint32_t handle) {
        std::lock_guard lock(mutex_);
        Slot* s = const_cast<Slot*>(find(handle));
        if (!s) return nullptr;
        std::shared_ptr<T> obj = std::move(s->obj);
        s->obj.reset();
        const auto index = static_cast<std::uint32_t>(s - slots_.data());
        if (s->generation < kMaxGeneration) {
            ++s->generation;
            free_.push_back(index);
        } // else: retired for good
        return obj;
    }

    std::vector<std::shared_ptr<T>> all() const {
        std::lock_guard lock(mutex_);
        std::vector<std::shared_ptr<T>> out;
        for (const Slot& s : slots_)
            if (s.obj) out.push_back(s.obj);
        return out;
    }

    std::vector<std::uint32_t> handles() const {
        std::lock_guard lock(mutex_);
        std::vector<std::uint32_t> out;
        for (std::size_t i = 0; i < slots_.size(); ++i)
            if (slots_[i].obj)
                out.push_back((tag_ << 28) | (slots_[i].generation << 20) |
                              static_cast<std::uint32_t>(i + 1));
        return out;
    }

    bool owns(std::uint32_t handle) const { return handle != 0 && (handle >> 28) == tag_; }

  private:
    static constexpr std::uint32_t kMaxSlots = 0xfffff;
    static constexpr std::uint32_t kMaxGeneration = 0xff;

    struct Slot {
        std::shared_ptr<T> obj;
        std::uint32_t generation = 1;
    };

    const Slot* find(std::uint32_t handle) const {
        if (!owns(handle)) return nullptr;
        const std::uint32_t index = (handle & 0xfffff);
        if (index == 0 || index > slots_.size()) return nullptr;
        const Slot& s = slots_[index - 1];
        if (!s.obj || s.generation != ((handle >> 20) & 0xff)) return nullptr;
        return &s;
    }

    std::uint32_t tag_;
    mutable std::mutex mutex_;
    std::vector<Slot> slots_;
    std::vector<std::uint32_t> free_;
};

// Table tags, so that a handle of one kind is never taken for another.
enum HandleTag : std::uint32_t { kTagChannel = 1, kTagFont = 2, kTagSync = 3, kTagDsp = 4, kTagFx = 5 };

} // namespace engine
