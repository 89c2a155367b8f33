#pragma once

#include "foundation/handles/ORVSmrPtr.h"

#include <atomic>
#include <memory>

namespace velm {

/// A part of an object that is made when it is first asked for, and kept from then on: eight bytes for the
/// many objects that are never asked.
///
/// Threads: any number may ask at once; one of the parts made is kept. Failure: what making throws, and
/// nothing is kept then.
template <class T>
class MadeOnce {
public:
    MadeOnce() noexcept = default;
    /// Shares what `other` has made.
    MadeOnce(const MadeOnce& other) : _part(other.find() ? new ORVSmrPtr<T>(*other.find()) : nullptr) {}
    MadeOnce& operator=(const MadeOnce&) = delete;
    ~MadeOnce() { delete find(); }

    /// The part; null until it is made.
    const ORVSmrPtr<T>* find() const noexcept { return _part.load(std::memory_order_acquire); }

    /// The part, valid as long as this object; `make` answers a handle to it.
    template <class Make>
    const ORVSmrPtr<T>& get(Make make) const {
        const ORVSmrPtr<T>* part = find();
        if (!part) {
            auto made = std::make_unique<const ORVSmrPtr<T>>(make());
            if (_part.compare_exchange_strong(part, made.get(), std::memory_order_acq_rel)) {
                part = made.release();
            }
        }
        return *part;
    }

    /// Drops the part, so that it is made anew. Requires: nobody asks meanwhile, or uses what get() answered.
    void reset() noexcept { delete _part.exchange(nullptr, std::memory_order_acq_rel); }

private:
    mutable std::atomic<const ORVSmrPtr<T>*> _part{nullptr};
};

}  // namespace velm
