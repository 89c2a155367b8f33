#pragma once

#include <atomic>
#include <cstddef>

namespace velm {

/// The sum of what is held for all clients. total() may be called by any thread, everything else by one.
class HeldBytes {
public:
    /// One client's part of the sum; leaves it with the object. The sum must outlive it.
    class Share {
    public:
        explicit Share(HeldBytes& sum) noexcept : _sum(sum) {}
        Share(const Share&) = delete;
        Share& operator=(const Share&) = delete;
        ~Share() { set(0); }

        std::size_t size() const noexcept { return _size; }
        void set(std::size_t size) noexcept {
            _sum._total += size - _size;
            _size = size;
        }

    private:
        HeldBytes& _sum;
        std::size_t _size = 0;
    };

    std::size_t total() const noexcept { return _total; }

private:
    /// A difference that is negative wraps round, as unsigned numbers do, to the right sum.
    std::atomic<std::size_t> _total{0};
};

}  // namespace velm
