#pragma once

#include <memory>
#include <utility>

namespace velm {

/// A T to work in that is taken over from the thread's last one, as its owner left it: deliveries come one
/// after the other, and large blocks cost the allocator more than small ones.
///
/// May be destroyed on another thread than it was made on. A thread keeps one T.
template <class T>
class KeptMemory {
public:
    KeptMemory() : _value(_isGone ? nullptr : std::move(_slot().kept)) {
        if (!_value) {
            _value = std::make_unique<T>();
        }
    }
    KeptMemory(const KeptMemory&) = delete;
    KeptMemory& operator=(const KeptMemory&) = delete;
    ~KeptMemory() {
        if (!_isGone) {
            _slot().kept = std::move(_value);
        }
    }

    T& operator*() const noexcept { return *_value; }
    T* operator->() const noexcept { return _value.get(); }

private:
    struct Slot {
        std::unique_ptr<T> kept;
        ~Slot() { _isGone = true; }
    };

    static Slot& _slot() {
        static thread_local Slot slot;
        return slot;
    }

    /// Whether the thread has ended but for objects that outlive its slot.
    static inline constinit thread_local bool _isGone = false;

    std::unique_ptr<T> _value;
};

}  // namespace velm
