#include "foundation/containers/KeyIndex.h"

#include <boost/unordered/unordered_flat_set.hpp>

namespace velm {

namespace {

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

    std::uint32_t operator()(const void* entry) const { return hashOf(owner, entry); }
    std::uint32_t operator()(const Query& query) const noexcept { return query.hash; }
};

struct IsWanted {
    using is_transparent = void;

    bool operator()(const void* left, const void* right) const noexcept { return left == right; }
    bool operator()(const Query& query, void* entry) const { return query.accepts(query.wanted, entry); }
    bool operator()(void* entry, const Query& query) const { return query.accepts(query.wanted, entry); }
};

}  // namespace

struct KeyIndex::Table {
    Table(const void* owner, HashOf hashOf) : entries(0, Hash{owner, hashOf}) {}

    boost::unordered_flat_set<void*, Hash, IsWanted> entries;
};

KeyIndex::KeyIndex(const void* owner, HashOf hashOf) noexcept : _owner(owner), _hashOf(hashOf) {
}

KeyIndex::~KeyIndex() = default;

void KeyIndex::insert(void* entry) {
    if (!_table) {
        auto table = std::make_unique<Table>(_owner, _hashOf);
        table->entries.insert(entry);
        _table = std::move(table);
        return;
    }
    auto& entries = _table->entries;
    // Growing hashes every entry: room enough that inserting and erasing by turns does not do it often.
    if (entries.size() >= entries.max_load()) {
        entries.reserve(entries.size() + entries.size() / 8 + 1);
    }
    entries.insert(entry);
}

void KeyIndex::erase(void* entry) noexcept {
    _table->entries.erase(entry);
    if (_table->entries.empty()) {
        _table.reset();
    }
}

void KeyIndex::visit(void (*visitor)(void* context, void* entry), void* context) const {
    if (_table) {
        for (void* entry : _table->entries) {
            visitor(context, entry);
        }
    }
}

void KeyIndex::clear() noexcept {
    _table.reset();
}

void* KeyIndex::_find(std::uint32_t hash, Accepts accepts, void* wanted) const {
    const auto found = _table->entries.find(Query{hash, accepts, wanted});
    return found == _table->entries.end() ? nullptr : *found;
}

}  // namespace velm
