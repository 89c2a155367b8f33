#include "foundation/containers/KeyIndex.h"

#include "server/containers/HashSieve.h"

#include <optional>

#include <boost/unordered/unordered_flat_set.hpp>

namespace velm {

namespace {

/// An entry and, where its alignment leaves room, the highest bits of its hash: nearly every entry of another
/// hash is told apart without a look at it.
class Slot {
public:
    Slot(void* entry, std::uint32_t hash) noexcept
        : _bits(reinterpret_cast<std::uintptr_t>(entry) | _tagOf(hash)) {}

    void* entry() const noexcept { return reinterpret_cast<void*>(_bits & ~tagMask); }
    bool mayHaveHash(std::uint32_t hash) const noexcept { return (_bits & tagMask) == _tagOf(hash); }
    bool operator==(const Slot&) const = default;

private:
    static constexpr std::uintptr_t tagMask = KeyIndex::entryAlignment - 1;

    static std::uintptr_t _tagOf(std::uint32_t hash) noexcept { return hash >> 28 & tagMask; }

    std::uintptr_t _bits;
};

/// What is looked for in place of an entry.
struct Query {
    std::uint32_t hash;
    KeyIndex::Accepts accepts;
    void* wanted;
};

struct Hash {
    using is_transparent = void;

    const void* owner;
    KeyIndex::HashOf hashOf;

    std::uint32_t operator()(const Slot& slot) const { return hashOf(owner, slot.entry()); }
    std::uint32_t operator()(const Query& query) const noexcept { return query.hash; }
};

struct IsWanted {
    using is_transparent = void;

    bool operator()(const Slot& left, const Slot& right) const noexcept { return left == right; }
    bool operator()(const Query& query, const Slot& slot) const {
        return slot.mayHaveHash(query.hash) && query.accepts(query.wanted, slot.entry());
    }
    bool operator()(const Slot& slot, const Query& query) const { return (*this)(query, slot); }
};

}  // namespace

struct KeyIndex::Table {
    /// From how many entries on a look-up that finds nothing would wait for memory.
    static constexpr std::size_t worthSieving = 1 << 17;

    Table(const void* owner, HashOf hashOf) : slots(0, Hash{owner, hashOf}) {}

    bool mayHold(std::uint32_t hash) const noexcept { return !sieve || sieve->mayHold(hash); }
    void makeRoomInSieve();

    boost::unordered_flat_set<Slot, Hash, IsWanted> slots;
    std::optional<HashSieve> sieve;
};

void KeyIndex::Table::makeRoomInSieve() {
    if (sieve ? sieve->room() > 0 : slots.size() < worthSieving) {
        return;
    }
    HashSieve larger(2 * slots.size());
    for (const Slot& slot : slots) {
        larger.add(slots.hash_function()(slot));
    }
    sieve = std::move(larger);
}

KeyIndex::KeyIndex(const void* owner, HashOf hashOf) noexcept : _owner(owner), _hashOf(hashOf) {
}

KeyIndex::~KeyIndex() = default;

void KeyIndex::insert(void* entry, std::uint32_t hash) {
    const Slot slot(entry, hash);
    if (!_table) {
        auto table = std::make_unique<Table>(_owner, _hashOf);
        table->slots.insert(slot);
        _table = std::move(table);
        return;
    }
    auto& slots = _table->slots;
    // Growing hashes every entry: room enough that inserting and erasing by turns does not do it often.
    if (slots.size() >= slots.max_load()) {
        slots.reserve(slots.size() + slots.size() / 8 + 1);
    }
    _table->makeRoomInSieve();
    slots.insert(slot);
    if (_table->sieve) {
        _table->sieve->add(hash);
    }
}

void KeyIndex::erase(void* entry, std::uint32_t hash) noexcept {
    const auto isIt = [](void* wanted, void* candidate) { return wanted == candidate; };
    _table->slots.erase(_table->slots.find(Query{hash, isIt, entry}));
    if (_table->slots.empty()) {
        _table.reset();
    }
}

void KeyIndex::visit(void (*visitor)(void* context, void* entry), void* context) const {
    if (_table) {
        for (const Slot& slot : _table->slots) {
            visitor(context, slot.entry());
        }
    }
}

void KeyIndex::clear() noexcept {
    _table.reset();
}

void* KeyIndex::_find(std::uint32_t hash, Accepts accepts, void* wanted) const {
    if (!_table->mayHold(hash)) {
        return nullptr;
    }
    const auto found = _table->slots.find(Query{hash, accepts, wanted});
    return found == _table->slots.end() ? nullptr : found->entry();
}

}  // namespace velm
