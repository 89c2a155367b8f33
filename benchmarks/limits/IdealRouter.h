#pragma once

#include "benchmarks/limits/ReadLock.h"
#include "benchmarks/limits/ThinQueue.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include <boost/unordered/unordered_flat_map.hpp>

namespace velm::bench {

/// The least that routing an event can cost: a read lock that scales, eight lookups in one flat map, a small
/// allocation, a push. It knows nothing of kinds, filters or orders.
class IdealRouter {
public:
    /// What stands under a key.
    struct Target {
        ThinQueue* queue = nullptr;
    };

    explicit IdealRouter(std::size_t queueCount) : _queues(queueCount) {}

    void add(std::string key, std::uint32_t queue) {
        _targets.emplace(std::move(key), Target{&_queues[queue % _queues.size()]});
    }

    /// Looks `key` up and then each of `classNames`.
    void route(std::string_view key, const std::vector<std::string>& classNames, const void* event) {
        const std::lock_guard lock(_lock);
        _offer(key, event);
        for (const std::string& name : classNames) {
            _offer(name, event);
        }
    }

    void drain() {
        for (ThinQueue& queue : _queues) {
            queue.drain();
        }
    }

private:
    struct Hash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const noexcept {
            return boost::hash<std::string_view>()(text);
        }
    };
    struct Equal {
        using is_transparent = void;
        bool operator()(std::string_view left, std::string_view right) const noexcept {
            return left == right;
        }
    };

    void _offer(std::string_view key, const void* event) {
        const auto found = _targets.find(key);
        if (found != _targets.end()) {
            found->second.queue->push(new ThinQueue::Node{nullptr, event, nullptr});
        }
    }

    ReadLock _lock;
    std::deque<ThinQueue> _queues;
    boost::unordered_flat_map<std::string, Target, Hash, Equal> _targets;
};

/// The same for a tree of classes: one lookup, and a walk up the pointers.
class IdealTree {
public:
    struct Node {
        Node* base = nullptr;
        ThinQueue* queue = nullptr;
    };

    /// `lineage` names classes, the nearest first; the queue hangs at the last.
    explicit IdealTree(const std::vector<std::string>& lineage) {
        Node* base = nullptr;
        for (auto name = lineage.rbegin(); name != lineage.rend(); ++name) {
            base = &_nodes.emplace_back(Node{base, base ? nullptr : &_queue});
            _byName.emplace(*name, base);
        }
    }

    void addStranger(const std::string& name) { _byName.emplace(name, &_nodes.emplace_back()); }

    void route(const std::string& className, const void* event) {
        const std::lock_guard lock(_lock);
        const auto found = _byName.find(className);
        for (const Node* node = found == _byName.end() ? nullptr : found->second; node; node = node->base) {
            if (node->queue) {
                node->queue->push(new ThinQueue::Node{nullptr, event, nullptr});
            }
        }
    }

    void drain() { _queue.drain(); }

private:
    ReadLock _lock;
    ThinQueue _queue;
    std::deque<Node> _nodes;
    boost::unordered_flat_map<std::string, Node*> _byName;
};

}  // namespace velm::bench
