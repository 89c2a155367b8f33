#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>

namespace velm {

/// How long the calls of one kind took.
///
/// Threads: any number. Throws nothing.
class CallDurations {
public:
    /// Upper ends; what took longer than the last is counted behind them.
    static constexpr std::array<std::chrono::microseconds, 10> bounds{
        {std::chrono::microseconds(100), std::chrono::microseconds(500), std::chrono::milliseconds(1),
         std::chrono::milliseconds(5), std::chrono::milliseconds(25), std::chrono::milliseconds(100),
         std::chrono::milliseconds(500), std::chrono::seconds(1), std::chrono::seconds(5),
         std::chrono::seconds(30)}};

    struct Figures {
        std::array<std::uint64_t, bounds.size() + 1> counts{};
        std::chrono::nanoseconds sum{0};
    };

    void note(std::chrono::nanoseconds duration) noexcept;
    Figures figures() const noexcept;

private:
    std::array<std::atomic<std::uint64_t>, bounds.size() + 1> _counts{};
    std::atomic<std::int64_t> _sum{0};
};

}  // namespace velm
