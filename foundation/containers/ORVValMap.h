#pragma once

#include "foundation/containers/ORVValSlist.h"
#include "foundation/utilities/ORVString.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

template <class K, class V>
class ORVValMapIterator;

/// One pair of an ORVValMap.
template <class K, class V>
struct ORVValMapItem {
    const K key;
    V value;
    std::atomic<bool> retired{false};
    ORVValMapItem* nextRetired = nullptr;

    ORVValMapItem(const K& itemKey, const V& itemValue) : key(itemKey), value(itemValue) {}
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

    /// Requires: `hash` gives equal numbers for equal keys, `bucketCount` is above 0.
    ORVValMap(HashFunction hash, unsigned int bucketCount) : _hash(hash), _index(0, IndexHash{hash}) {
        _create(bucketCount);
    }
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

    /// Adds a pair at the tail of its bucket's chain. A pair with an equal key is removed. Always answers
    /// true; when copying throws, the map is as it was.
    bool insert(const K& key, const V& value) {
        // Copied first: key and value may belong to the pair that goes.
        auto item = std::make_unique<Item>(key, value);
        auto link = std::make_unique<Link>(Link{nullptr, nullptr, item.get()});
        purge();
        Chain& chain = _chainOf(item->key);
        Link*& indexed = _index.try_emplace(item->key, nullptr).first->second;
        // Nothing throws from here on.
        Link* former = std::exchange(indexed, link.get());
        chain._link(link.release());
        static_cast<void>(item.release());
        if (former) {
            _discard(chain, former);
        } else {
            _entries.fetch_add(1, std::memory_order_relaxed);
        }
        return true;
    }

    /// Removes the pair with `key`; answers whether there was one.
    bool remove(const K& key) {
        Item* item = _find(key);
        if (item) {
            _erase(item->key);
            _entries.fetch_sub(1, std::memory_order_relaxed);
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
        if (!item || item->retired.exchange(true, std::memory_order_acq_rel)) {
            return false;
        }
        item->nextRetired = _retired.load(std::memory_order_relaxed);
        while (!_retired.compare_exchange_weak(item->nextRetired, item, std::memory_order_release,
                                               std::memory_order_relaxed)) {
        }
        _entries.fetch_sub(1, std::memory_order_relaxed);
        return true;
    }

    /// Destroys the pairs that were retired. Requires: the owner's exclusive lock.
    void purge() {
        Item* item = _retired.exchange(nullptr, std::memory_order_acquire);
        while (item) {
            Item* next = item->nextRetired;
            _erase(item->key);
            item = next;
        }
    }

    void clear() noexcept {
        for (std::unique_ptr<Chain>& chain : _buckets) {
            while (chain && !chain->isEmpty()) {
                _discard(*chain, chain->_head);
            }
            chain.reset();
        }
        _index.clear();
        _retired.store(nullptr, std::memory_order_relaxed);
        _entries.store(0, std::memory_order_relaxed);
    }

    unsigned int entries() const noexcept { return _entries.load(std::memory_order_relaxed); }
    bool isEmpty() const noexcept { return entries() == 0; }

private:
    using Item = ORVValMapItem<K, V>;
    using Chain = ORVValSlist<Item*>;
    using Link = ORVValSlistItem<Item*>;
    friend class ORVValMapIterator<K, V>;

    /// Tells texts apart that the owner's hash takes for one because it ignores letter case.
    struct IndexHash {
        HashFunction hash;
        std::size_t operator()(const K& key) const {
            if constexpr (std::is_same_v<K, ORVString>) {
                return hashKeyORVString(key);
            } else {
                return hash(key);
            }
        }
    };
    using Index = std::unordered_map<K, Link*, IndexHash>;

    void _create(unsigned int bucketCount) {
        _hashSize = bucketCount;
        _buckets.resize(bucketCount);
    }

    std::size_t _bucketOf(const K& key) const { return _hash(key) % _hashSize; }

    Item* _find(const K& key) const {
        auto found = _index.find(key);
        if (found == _index.end() || found->second->data->retired.load(std::memory_order_acquire)) {
            return nullptr;
        }
        return found->second->data;
    }

    /// The chain of the bucket of `key`, made when there is none.
    Chain& _chainOf(const K& key) {
        std::unique_ptr<Chain>& chain = _buckets[_bucketOf(key)];
        if (!chain) {
            chain = std::make_unique<Chain>();
        }
        return *chain;
    }

    static void _discard(Chain& chain, Link* link) noexcept {
        const std::unique_ptr<Item> item(link->data);
        chain._erase(link);
    }

    /// Requires: the pair is there. `key` may be its own.
    void _erase(const K& key) {
        std::unique_ptr<Chain>& chain = _buckets[_bucketOf(key)];
        auto indexed = _index.extract(key);
        _discard(*chain, indexed.mapped());
        if (chain->isEmpty()) {
            chain.reset();
        }
    }

    HashFunction _hash;
    std::atomic<unsigned int> _entries{0};
    unsigned int _hashSize = 0;
    std::vector<std::unique_ptr<Chain>> _buckets;
    Index _index;
    std::atomic<Item*> _retired{nullptr};
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
            if (!_link) {
                _atEnd = !_enterNextBucket();
            } else {
                _link = _link->next;
            }
            if (_link && !_link->data->retired.load(std::memory_order_acquire)) {
                return true;
            }
        }
        return false;
    }

    bool operator()() { return ++*this; }

    /// The current pair. Requires: the last step answered true.
    const K& key() const noexcept { return _link->data->key; }
    V& value() const noexcept { return _link->data->value; }

    void reset() noexcept {
        _link = nullptr;
        _bucket = 0;
        _atEnd = false;
    }

private:
    bool _enterNextBucket() noexcept {
        while (_bucket < _map->_buckets.size()) {
            const auto& chain = _map->_buckets[_bucket++];
            if (chain) {
                _link = chain->_head;
                return true;
            }
        }
        return false;
    }

    const ORVValMap<K, V>* _map;
    const ORVValSlistItem<ORVValMapItem<K, V>*>* _link = nullptr;
    std::size_t _bucket = 0;
    bool _atEnd = false;
};
