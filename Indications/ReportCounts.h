#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace velm {

/// Counts reports that many threads make at once. Threads count in places of their own, as long as there are
/// not too many of them, and share no cache line that they write.
///
/// Threads: any number.
class ReportCounts {
public:
    void add(bool isMatched) noexcept {
        Place& place = _places[_placeOfThread()];
        (isMatched ? place.matched : place.unmatched).fetch_add(1, std::memory_order_relaxed);
    }

    std::uint64_t matched() const noexcept { return _sum(&Place::matched); }
    std::uint64_t unmatched() const noexcept { return _sum(&Place::unmatched); }

private:
    /// Processors fetch lines in pairs.
    struct alignas(128) Place {
        std::atomic<std::uint64_t> matched{0};
        std::atomic<std::uint64_t> unmatched{0};
    };
    static constexpr std::size_t placeCount = 64;

    static std::size_t _placeOfThread() noexcept {
        static constinit std::atomic<std::size_t> next{0};
        static constinit thread_local std::size_t own = placeCount;
        if (own == placeCount) {
            own = next.fetch_add(1, std::memory_order_relaxed) % placeCount;
        }
        return own;
    }

    std::uint64_t _sum(std::atomic<std::uint64_t> Place::*count) const noexcept {
        std::uint64_t sum = 0;
        for (const Place& place : _places) {
            sum += (place.*count).load(std::memory_order_relaxed);
        }
        return sum;
    }

    std::array<Place, placeCount> _places;
};

}  // namespace velm
