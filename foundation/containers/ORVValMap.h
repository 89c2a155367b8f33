#pragma once

#include "foundation/containers/KeyIndex.h"
#include "foundation/utilities/ORVString.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

template <class K, class V>
class ORVValMapIterator;

/// One pair of an ORVValMap, with its neighbours in its bucket's chain and in the index.
template <class K, class V>
struct ORVValMapItem {
    const K key;
    V value;
    ORVValMapItem* previous = nullptr;
    ORVValMapItem* next = nullptr;
    ORVValMapItem* nextOfSameHash = nullptr;
    ORVValMapItem* nextRetired = nullptr;
    /// Grows with each insertion; the lowest bit says whether the pair is retired.
    std::atomic<std::uint64_t> age;

    ORVValMapItem(const K& itemKey, const V& itemValue, std::uint64_t itemAge)
        : key(itemKey), value(itemValue), age(itemAge) {}

    bool isRetired() const noexcept { return (age.load(std::memory_order_acquire) & 1) != 0; }
};

/// A chained hash map with a fixed number of buckets; it owns copies of its keys and values.
///
/// Iteration follows the buckets in order and, within a bucket, the order of insertion. An index from key to
/// chain element stands beside the buckets, so that finding, inserting and removing cost the same at 100 and
/// at 1,000,000 pairs.
///
/// Threads: not synchronised; the owner locks around it. While the owner's lock is held for reading, any
/// number of threads may find, iterate and retire() at once; everything else needs the owner's exclusive
/// lock. Failure: only what hashing, comparing and copying keys and values throw, and std::bad_alloc.
template <class K, class V>
class ORVValMap {
public:
    using HashFunction = std::uint32_t (*)(const K&);

    /// Where a pair comes in the order of iteration: positions compare as the order goes.
    using Place = std::pair<std::size_t, std::uint64_t>;

    /// Requires: `hash` gives equal numbers for equal keys, `bucketCount` is above 0.
    ORVValMap(HashFunction hash, unsigned int bucketCount) : _hash(hash) { _create(bucketCount); }
    ORVValMap(const ORVValMap&) = delete;
    ORVValMap& operator=(const ORVValMap&) = delete;
    ~ORVValMap() { clear(); }

    /// Copies the value of `key` to `value` and answers true; leaves it untouched and answers false when
    /// absent.
    bool find(const K& key, V& value) const {
        const Item* item = _find(key);
        if (item) {
            value = item->value;
        }
        return item != nullptr;
    }

    /// The value of `key` in place, null when absent: no copy is made. Valid until the next insert, remove or
    /// clear.
    const V* find(const K& key) const {
        const Item* item = _find(key);
        return item ? &item->value : nullptr;
    }

    /// The place of `key` in the order of iteration. Requires: the pair is there.
    Place placeOf(const K& key) const {
        return {_bucketOf(key), _find(key)->age.load(std::memory_order_relaxed)};
    }

    /// Adds a pair at the tail of its bucket's chain. A pair with an equal key is removed. Always answers
    /// true; when copying throws, the map is as it was.
    bool insert(const K& key, const V& value) {
        // Copied first: key and value may belong to the pair that goes.
        auto item = std::make_unique<Item>(key, value, _nextAge);
        purge();
        Chain& chain = _chainOf(item->key);
        void*& head = _index.head(_indexHashOf(item->key));
        // Nothing throws from here on.
        _nextAge += 2;
        _entries.fetch_add(1, std::memory_order_relaxed);
        Item* former = _searchFrom(head, item->key);
        item->nextOfSameHash = static_cast<Item*>(head);
        head = item.get();
        _append(chain, item.release());
        if (former) {
            _entries.fetch_sub(1, std::memory_order_relaxed);
            _erase(former);
        }
        return true;
    }

    /// Removes the pair with `key`; answers whether there was one.
    bool remove(const K& key) {
        Item* item = _find(key);
        if (item) {
            _entries.fetch_sub(1, std::memory_order_relaxed);
            _erase(item);
        }
        purge();
        return item != nullptr;
    }

    /// Removes the pair with `key` while other threads may be reading the map; answers whether this call
    /// removed it.
    ///
    /// Readers that found the pair earlier keep using it safely; from now on find, iteration and entries() no
    /// longer know it. The pair itself is destroyed by the next insert, remove, purge or clear.
    bool retire(const K& key) {
        Item* item = _find(key);
        if (!item || (item->age.fetch_or(1, std::memory_order_acq_rel) & 1) != 0) {
            return false;
        }
        item->nextRetired = _retired.load(std::memory_order_relaxed);
        while (!_retired.compare_exchange_weak(item->nextRetired, item, std::memory_order_release,
                                               std::memory_order_relaxed)) {
        }
        _entries.fetch_sub(1, std::memory_order_relaxed);
        return true;
    }

    /// Destroys the pairs that were retired; `visit`, given the key and the value, sees each of them before.
    /// Requires: the owner's exclusive lock; `visit` does not use the map.
    template <class Visitor>
    void purge(Visitor visit) {
        Item* item = _retired.exchange(nullptr, std::memory_order_acquire);
        while (item) {
            Item* next = item->nextRetired;
            visit(item->key, item->value);
            _erase(item);
            item = next;
        }
    }

    void purge() {
        purge([](const K&, const V&) {});
    }

    void clear() noexcept {
        for (Chain& chain : _buckets) {
            Item* item = std::exchange(chain.head, nullptr);
            chain.tail = nullptr;
            while (item) {
                delete std::exchange(item, item->next);
            }
        }
        _index.clear();
        _retired.store(nullptr, std::memory_order_relaxed);
        _entries.store(0, std::memory_order_relaxed);
    }

    unsigned int entries() const noexcept { return _entries.load(std::memory_order_relaxed); }
    bool isEmpty() const noexcept { return entries() == 0; }

private:
    using Item = ORVValMapItem<K, V>;
    friend class ORVValMapIterator<K, V>;

    struct Chain {
        Item* head = nullptr;
        Item* tail = nullptr;
    };

    /// Tells texts apart that the owner's hash takes for one because it ignores letter case.
    std::uint32_t _indexHashOf(const K& key) const {
        if constexpr (std::is_same_v<K, ORVString>) {
            return hashKeyORVString(key);
        } else {
            return _hash(key);
        }
    }

    void _create(unsigned int bucketCount) {
        _hashSize = bucketCount;
        _buckets.resize(bucketCount);
    }

    std::size_t _bucketOf(const K& key) const { return _hash(key) % _hashSize; }
    Chain& _chainOf(const K& key) { return _buckets[_bucketOf(key)]; }

    static Item* _searchFrom(void* head, const K& key) {
        for (auto* item = static_cast<Item*>(head); item; item = item->nextOfSameHash) {
            if (item->key == key) {
                return item;
            }
        }
        return nullptr;
    }

    Item* _find(const K& key) const {
        Item* item = _searchFrom(_index.find(_indexHashOf(key)), key);
        return item && !item->isRetired() ? item : nullptr;
    }

    static void _append(Chain& chain, Item* item) noexcept {
        item->previous = chain.tail;
        (chain.tail ? chain.tail->next : chain.head) = item;
        chain.tail = item;
    }

    void _erase(Item* item) noexcept {
        const std::uint32_t hash = _indexHashOf(item->key);
        void*& head = _index.head(hash);
        if (head != item) {
            auto* before = static_cast<Item*>(head);
            while (before->nextOfSameHash != item) {
                before = before->nextOfSameHash;
            }
            before->nextOfSameHash = item->nextOfSameHash;
        } else if (item->nextOfSameHash) {
            head = item->nextOfSameHash;
        } else {
            _index.erase(hash);
        }
        Chain& chain = _chainOf(item->key);
        (item->previous ? item->previous->next : chain.head) = item->next;
        (item->next ? item->next->previous : chain.tail) = item->previous;
        delete item;
    }

    HashFunction _hash;
    std::atomic<unsigned int> _entries{0};
    unsigned int _hashSize = 0;
    std::vector<Chain> _buckets;
    velm::KeyIndex _index;
    std::atomic<Item*> _retired{nullptr};
    std::uint64_t _nextAge = 0;
};

/// Walks a map bucket by bucket: `for (ORVValMapIterator<K, V> it(map); ++it;) use(it.key(), it.value());`
/// Threads: as the map. Pairs may be retired, but not removed or inserted, while it walks.
template <class K, class V>
class ORVValMapIterator {
public:
    explicit ORVValMapIterator(const ORVValMap<K, V>& map) noexcept : _map(&map) {}

    /// Steps to the next pair; false when there is none, and from then on.
    bool operator++() {
        while (!_atEnd) {
            if (!_item) {
                _atEnd = !_enterNextBucket();
            } else {
                _item = _item->next;
            }
            if (_item && !_item->isRetired()) {
                return true;
            }
        }
        return false;
    }

    bool operator()() { return ++*this; }

    /// The current pair. Requires: the last step answered true.
    const K& key() const noexcept { return _item->key; }
    V& value() const noexcept { return _item->value; }

    void reset() noexcept {
        _item = nullptr;
        _bucket = 0;
        _atEnd = false;
    }

private:
    bool _enterNextBucket() noexcept {
        while (_bucket < _map->_buckets.size()) {
            _item = _map->_buckets[_bucket++].head;
            if (_item) {
                return true;
            }
        }
        return false;
    }

    const ORVValMap<K, V>* _map;
    ORVValMapItem<K, V>* _item = nullptr;
    std::size_t _bucket = 0;
    bool _atEnd = false;
};
