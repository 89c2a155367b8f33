#pragma once

#include "CIMOM_Indications/RouteNames.h"

#include <bitset>
#include <cstddef>
#include <cstdint>

namespace velm {

/// Tells of most class names that no list is filed under them, without a look into the table of lists: a
/// change is filed under the names of all the classes above its object's, and few have a list.
///
/// It remembers bits of the hashes of those keys that can be the name of a class, and forgets none: it may
/// take a name for a key that is none, but never the other way round, as long as it was told of every key.
/// Threads: as the table.
class NameSieve {
public:
    /// Takes note of a key that was inserted into the table.
    void add(const ORVString& key) {
        ++_added;
        if (RouteNames::isPlain(key)) {
            _bits.set(hashKeyORVString(key) % size);
        }
    }

    /// Whether it was told of all `insertions` of the table.
    bool knowsAll(std::uint64_t insertions) const noexcept { return _added == insertions; }

    /// Requires: it knows all.
    bool mayBeKey(const RouteNames::Name& name) const noexcept {
        return !name.isPlain || _bits[name.hash % size];
    }

private:
    static constexpr std::size_t size = 4096;

    std::bitset<size> _bits;
    std::uint64_t _added = 0;
};

}  // namespace velm
