#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace velm {

/// Tells of most hashes that they are not in a large set, out of about a byte for each that is: a table of a
/// million entries no longer fits the processor's cache, its sieve does.
///
/// A Bloom filter whose bits for one hash stand in one word. It forgets nothing: whoever removes hashes
/// builds a new one now and then. Threads: as a standard container.
class HashSieve {
public:
    HashSieve() = default;

    /// Room for `capacity` hashes; std::bad_alloc.
    explicit HashSieve(std::size_t capacity) : _words(capacity / hashesPerWord + 1), _room(capacity) {}

    /// Requires: room.
    void add(std::uint32_t hash) noexcept {
        _words[_placeOf(hash)] |= _bitsOf(hash);
        --_room;
    }

    /// Whether the hash may have been added; never false for one that was. Requires: made with a capacity.
    bool mayHold(std::uint32_t hash) const noexcept {
        const std::uint64_t bits = _bitsOf(hash);
        return (_words[_placeOf(hash)] & bits) == bits;
    }

    /// How many hashes may still be added.
    std::size_t room() const noexcept { return _room; }

private:
    static constexpr std::size_t hashesPerWord = 12;

    static std::uint64_t _mixed(std::uint32_t hash) noexcept { return hash * 0x9E3779B97F4A7C15U; }

    std::size_t _placeOf(std::uint32_t hash) const noexcept {
        return (_mixed(hash) >> 32) * _words.size() >> 32;
    }

    static std::uint64_t _bitsOf(std::uint32_t hash) noexcept {
        const std::uint64_t mixed = _mixed(hash);
        return std::uint64_t{1} << (mixed >> 14 & 63) | std::uint64_t{1} << (mixed >> 20 & 63) |
               std::uint64_t{1} << (mixed >> 26 & 63);
    }

    std::vector<std::uint64_t> _words;
    std::size_t _room = 0;
};

}  // namespace velm
