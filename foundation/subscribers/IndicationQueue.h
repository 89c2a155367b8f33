#pragma once

#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/object_model/IOrvoIndication.h"

#include <cstddef>
#include <list>
#include <utility>
#include <vector>

namespace velm {

/// The indications that wait at one subscriber, the oldest first.
///
/// They stand in small blocks: queueing seldom allocates, and never much at once, since for a large block the
/// allocator first tidies up all the small ones that the delivery thread has freed.
///
/// Threads: not synchronised. Failure: std::bad_alloc, from push(), and then nothing has changed.
class IndicationQueue {
public:
    using Indication = ORVSmrPtr<IOrvoIndication>;

    IndicationQueue() noexcept = default;
    IndicationQueue(const IndicationQueue&) = delete;
    IndicationQueue& operator=(const IndicationQueue&) = delete;

    std::size_t size() const noexcept { return _size; }
    bool isEmpty() const noexcept { return _size == 0; }

    void push(Indication&& indication) {
        if (_last.size() == _last.capacity()) {
            _makeRoom();
        }
        _last.push_back(std::move(indication));
        ++_size;
    }

    /// Takes the oldest out. Requires: not empty.
    Indication pop() noexcept {
        Block& first = _full.empty() ? _last : _full.front();
        Indication oldest = std::move(first[_popped]);
        --_size;
        if (++_popped == first.size()) {
            _popped = 0;
            _full.empty() ? _last.clear() : _full.pop_front();
        }
        return oldest;
    }

    void swap(IndicationQueue& other) noexcept {
        _last.swap(other._last);
        _full.swap(other._full);
        std::swap(_size, other._size);
        std::swap(_popped, other._popped);
    }

private:
    using Block = std::vector<Indication>;

    /// Makes a block of 128 bytes, the largest that allocators find as quickly as the smallest.
    static constexpr std::size_t blockSize = 15;

    void _makeRoom() {
        Block next;
        next.reserve(blockSize);
        if (!_last.empty()) {
            _full.emplace_back().swap(_last);
        }
        _last.swap(next);
    }

    Block _last;
    std::size_t _size = 0;
    /// Taken out of the first block.
    std::size_t _popped = 0;
    /// The blocks before the last.
    std::list<Block> _full;
};

}  // namespace velm
