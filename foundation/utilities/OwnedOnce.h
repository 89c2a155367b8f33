#pragma once

#include <atomic>
#include <memory>

namespace velm {

/// A part that an object owns alone and makes when it is first needed: as MadeOnce, for parts that nobody
/// else holds.
///
/// Threads: any number may ask at once; one of the parts made is kept. Failure: what making throws, and
/// nothing is kept then.
template <class T>
class OwnedOnce {
public:
    OwnedOnce() noexcept = default;
    OwnedOnce(const OwnedOnce&) = delete;
    OwnedOnce& operator=(const OwnedOnce&) = delete;
    ~OwnedOnce() { delete find(); }

    /// The part; null until it is made.
    T* find() const noexcept { return _part.load(std::memory_order_acquire); }

    /// The part, valid as long as this object; `make` answers a std::unique_ptr to it.
    template <class Make>
    T& get(Make make) const {
        T* part = find();
        if (!part) {
            std::unique_ptr<T> made = make();
            if (_part.compare_exchange_strong(part, made.get(), std::memory_order_acq_rel,
                                              std::memory_order_acquire)) {
                part = made.release();
            }
        }
        return *part;
    }

private:
    mutable std::atomic<T*> _part{nullptr};
};

}  // namespace velm
