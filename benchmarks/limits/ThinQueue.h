#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace velm::bench {

/// The thinnest queue that many threads may push on: one exchange. Taken whole by the thread that drains it.
class ThinQueue {
public:
    struct Node {
        Node* next;
        const void* event;
        void* context;
    };

    ~ThinQueue() { drain(); }

    /// Owns `node` from now on.
    void push(Node* node) noexcept {
        node->next = _newest.load(std::memory_order_relaxed);
        while (!_newest.compare_exchange_weak(node->next, node, std::memory_order_release,
                                              std::memory_order_relaxed)) {
        }
    }

    void drain() noexcept {
        Node* node = _newest.exchange(nullptr, std::memory_order_acquire);
        while (node) {
            delete std::exchange(node, node->next);
        }
    }

private:
    std::atomic<Node*> _newest{nullptr};
};

/// The plain queue: handles behind a mutex.
template <class T>
class LockedQueue {
public:
    void push(const std::shared_ptr<T>& handle) {
        const std::lock_guard lock(_lock);
        _handles.push_back(handle);
    }

    void drain() {
        std::vector<std::shared_ptr<T>> taken;
        const std::lock_guard lock(_lock);
        taken.swap(_handles);
    }

private:
    std::mutex _lock;
    std::vector<std::shared_ptr<T>> _handles;
};

}  // namespace velm::bench
