#pragma once

#include "foundation/containers/KeyIndex.h"
#include "foundation/utilities/ORVString.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

template <class K, class V>
class ORVValMapIterator;

/// One pair of an ORVValMap.
template <class K, class V>
struct ORVValMapItem {
    const K key;
    V value;
    /// Of a pair in the map: an even number that grows with each insertion. Of a retired one: the address of
    /// the pair that was retired before it, with the lowest bit set.
    std::atomic<std::uint64_t> age;

    ORVValMapItem(const K& itemKey, const V& itemValue, std::uint64_t itemAge)
        : key(itemKey), value(itemValue), age(itemAge) {}

    bool isRetired() const noexcept { return (age.load(std::memory_order_acquire) & 1) != 0; }

    static std::uint64_t retiredAfter(const ORVValMapItem* former) noexcept {
        return static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(former)) | 1;
    }
    ORVValMapItem* retiredBefore() const noexcept {
        return reinterpret_cast<ORVValMapItem*>(
            static_cast<std::uintptr_t>(age.load(std::memory_order_acquire) & ~std::uint64_t{1}));
    }
};

/// A hash map with a fixed number of buckets; it owns copies of its keys and values.
///
/// Iteration follows the buckets in order and, within a bucket, the order of insertion. There may be millions
/// of pairs and walks are rare: a pair keeps the number of its insertion, and a walk sorts. An index from key
/// to pair makes finding, inserting and removing cost the same at 100 and at 1,000,000 pairs.
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
    ORVValMap(HashFunction hash, unsigned int bucketCount)
        : _hash(hash), _hashSize(bucketCount), _index(this, &_hashOfItem) {}
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
    Place placeOf(const K& key) const { return _placeOf(*_find(key)); }

    /// The keys of the pairs that have the hash `indexHash`, in no order.
    std::vector<K> keysWithHash(std::uint32_t indexHash) const {
        std::vector<K> keys;
        _visitHash(indexHash, [&keys](const Item& item) {
            keys.push_back(item.key);
            return false;
        });
        return keys;
    }

    /// Whether there is a pair with another key of the same hash.
    bool sharesHash(const K& key) const {
        bool isShared = false;
        _visitHash(_indexHashOf(key), [&](const Item& item) { return isShared = !(item.key == key); });
        return isShared;
    }

    /// Adds a pair at the end of its bucket. A pair with an equal key is removed. Always answers true; when
    /// copying throws, the map is as it was.
    bool insert(const K& key, const V& value) {
        // Copied first: key and value may belong to the pair that goes.
        auto item = std::make_unique<Item>(key, value, _nextAge);
        purge();
        const std::uint32_t hash = _indexHashOf(item->key);
        Item* former = _find(item->key, hash);
        _index.insert(item.get(), hash);
        item.release();
        // Nothing throws from here on.
        _nextAge += 2;
        _entries.fetch_add(1, std::memory_order_relaxed);
        if (former) {
            _entries.fetch_sub(1, std::memory_order_relaxed);
            _erase(former, hash);
        }
        return true;
    }

    /// Removes the pair with `key`; answers whether there was one.
    bool remove(const K& key) {
        const std::uint32_t hash = _indexHashOf(key);
        Item* item = _find(key, hash);
        if (item) {
            _entries.fetch_sub(1, std::memory_order_relaxed);
            _erase(item, hash);
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
        if (!item) {
            return false;
        }
        std::uint64_t age = item->age.load(std::memory_order_acquire);
        do {
            if ((age & 1) != 0) {
                return false;
            }
        } while (!item->age.compare_exchange_weak(age, Item::retiredAfter(nullptr), std::memory_order_acq_rel,
                                                  std::memory_order_acquire));
        Item* former = _retired.load(std::memory_order_relaxed);
        do {
            item->age.store(Item::retiredAfter(former), std::memory_order_release);
        } while (!_retired.compare_exchange_weak(former, item, std::memory_order_release,
                                                 std::memory_order_relaxed));
        _entries.fetch_sub(1, std::memory_order_relaxed);
        return true;
    }

    /// Destroys the pairs that were retired; `visit`, given the key and the value, sees each of them before.
    /// Requires: the owner's exclusive lock; `visit` does not change the map.
    template <class Visitor>
    void purge(Visitor visit) {
        Item* item = _retired.exchange(nullptr, std::memory_order_acquire);
        while (item) {
            Item* next = item->retiredBefore();
            visit(item->key, item->value);
            _erase(item, _indexHashOf(item->key));
            item = next;
        }
    }

    void purge() {
        purge([](const K&, const V&) {});
    }

    void clear() noexcept {
        _index.visit([](void*, void* item) { delete static_cast<Item*>(item); }, nullptr);
        _index.clear();
        _retired.store(nullptr, std::memory_order_relaxed);
        _entries.store(0, std::memory_order_relaxed);
    }

    /// How often insert() has added a pair since the map exists.
    std::uint64_t insertions() const noexcept { return _nextAge / 2; }

    unsigned int entries() const noexcept { return _entries.load(std::memory_order_relaxed); }
    bool isEmpty() const noexcept { return entries() == 0; }

private:
    using Item = ORVValMapItem<K, V>;
    friend class ORVValMapIterator<K, V>;
    static_assert(__STDCPP_DEFAULT_NEW_ALIGNMENT__ >= velm::KeyIndex::entryAlignment);

    /// Tells texts apart that the owner's hash takes for one because it ignores letter case.
    std::uint32_t _indexHashOf(const K& key) const {
        if constexpr (std::is_same_v<K, ORVString>) {
            return hashKeyORVString(key);
        } else {
            return _hash(key);
        }
    }

    static std::uint32_t _hashOfItem(const void* map, const void* item) {
        return static_cast<const ORVValMap*>(map)->_indexHashOf(static_cast<const Item*>(item)->key);
    }

    Place _placeOf(const Item& item) const {
        return {_hash(item.key) % _hashSize, item.age.load(std::memory_order_relaxed)};
    }

    static bool _hasKey(void* key, void* item) {
        return static_cast<const Item*>(item)->key == *static_cast<const K*>(key);
    }

    Item* _find(const K& key) const { return _find(key, _indexHashOf(key)); }

    Item* _find(const K& key, std::uint32_t hash) const {
        auto* item = static_cast<Item*>(
            _index.find(hash, &_hasKey, const_cast<void*>(static_cast<const void*>(&key))));
        return item && !item->isRetired() ? item : nullptr;
    }

    /// Hands the pairs with this hash to `visit` until it answers true.
    template <class Visitor>
    void _visitHash(std::uint32_t hash, Visitor visit) const {
        struct Search {
            const ORVValMap& map;
            std::uint32_t hash;
            Visitor& visit;
        } search{*this, hash, visit};
        _index.find(
            hash,
            [](void* wanted, void* entry) {
                auto& sought = *static_cast<Search*>(wanted);
                const Item& item = *static_cast<const Item*>(entry);
                return !item.isRetired() && sought.map._indexHashOf(item.key) == sought.hash &&
                       sought.visit(item);
            },
            &search);
    }

    void _erase(Item* item, std::uint32_t hash) noexcept {
        _index.erase(item, hash);
        delete item;
    }

    const HashFunction _hash;
    const unsigned int _hashSize;
    std::atomic<unsigned int> _entries{0};
    velm::KeyIndex _index;
    std::atomic<Item*> _retired{nullptr};
    std::uint64_t _nextAge = 0;
};

/// Walks a map bucket by bucket: `for (ORVValMapIterator<K, V> it(map); ++it;) use(it.key(), it.value());`
/// Threads: as the map. Pairs may be retired, but not removed or inserted, while it walks. Failure:
/// std::bad_alloc, and what the hash function throws, from the first step.
template <class K, class V>
class ORVValMapIterator {
public:
    explicit ORVValMapIterator(const ORVValMap<K, V>& map) noexcept : _map(&map) {}

    /// Steps to the next pair; false when there is none, and from then on.
    bool operator++() {
        if (!_isStarted) {
            _start();
        }
        while (_next < _pairs.size()) {
            _item = _pairs[_next++].second;
            if (!_item->isRetired()) {
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
        _pairs.clear();
        _next = 0;
        _isStarted = false;
    }

private:
    using Map = ORVValMap<K, V>;
    using Item = ORVValMapItem<K, V>;

    void _start() {
        _pairs.reserve(_map->entries());
        _map->_index.visit(
            [](void* walk, void* entry) {
                auto& self = *static_cast<ORVValMapIterator*>(walk);
                auto* item = static_cast<Item*>(entry);
                // A pair that is retired at this moment has no place, and is skipped later.
                self._pairs.emplace_back(self._map->_placeOf(*item), item);
            },
            this);
        std::sort(_pairs.begin(), _pairs.end());
        _isStarted = true;
    }

    const Map* _map;
    std::vector<std::pair<typename Map::Place, Item*>> _pairs;
    std::size_t _next = 0;
    Item* _item = nullptr;
    bool _isStarted = false;
};
