#pragma once

#include <atomic>
#include <cstdint>

/// A signed 32-bit counter that any number of threads may change at once.
class ORVAtomicInt {
public:
    explicit ORVAtomicInt(std::int32_t initial) noexcept : _value(initial) {}
    ORVAtomicInt(const ORVAtomicInt&) = delete;
    ORVAtomicInt& operator=(const ORVAtomicInt&) = delete;

    /// Adds one and returns the new value.
    std::int32_t atomicInc() noexcept { return _value.fetch_add(1, std::memory_order_relaxed) + 1; }

    /// Subtracts one and returns the new value. Whoever sees 0 sees all that the other threads did before
    /// theirs.
    std::int32_t atomicDec() noexcept { return _value.fetch_sub(1, std::memory_order_acq_rel) - 1; }

    /// The value at this moment; stale at once when other threads count.
    std::int32_t value() const noexcept { return _value.load(std::memory_order_relaxed); }

private:
    std::atomic<std::int32_t> _value;
};
