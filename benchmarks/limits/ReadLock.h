#pragma once

#include <array>
#include <atomic>
#include <cstddef>

namespace velm::bench {

/// A read lock that costs a reader one atomic increment on a cache line of its own. Up to `slotCount` reading
/// threads; writers would set a flag and wait for every slot, and none is needed here.
class ReadLock {
public:
    void lock() noexcept {
        mine().fetch_add(1, std::memory_order_seq_cst);
        // A writer would be waited for here.
        static_cast<void>(_isWriting.load(std::memory_order_acquire));
    }
    void unlock() noexcept { mine().fetch_sub(1, std::memory_order_release); }

private:
    static constexpr std::size_t slotCount = 64;

    struct alignas(64) Slot {
        std::atomic<int> readers{0};
    };

    std::atomic<int>& mine() noexcept {
        static std::atomic<std::size_t> next{0};
        static thread_local const std::size_t slot = next.fetch_add(1) % slotCount;
        return _slots[slot].readers;
    }

    std::array<Slot, slotCount> _slots;
    std::atomic<bool> _isWriting{false};
};

}  // namespace velm::bench
