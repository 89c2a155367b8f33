#pragma once

#include "foundation/Export.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace velm {

/// A set of entries that are found by the hash of their key: what an ORVValMap looks pairs up with, whatever
/// the types of its keys and values.
///
/// Threads: not synchronised; any number may find and visit at once while none changes it. Ownership: the
/// entries are the caller's. Failure: std::bad_alloc, from insert(), and then nothing has changed; what the
/// caller's functions throw passes through.
class VELM_EXPORT KeyIndex {
public:
    /// What the addresses of entries are multiples of.
    static constexpr std::size_t entryAlignment = 16;

    /// The hash of the key of `entry`, the same as long as the entry is here.
    using HashOf = std::uint32_t (*)(const void* owner, const void* entry);
    /// Whether `entry` is the one that is looked for with `wanted`. It may have another hash.
    using Accepts = bool (*)(void* wanted, void* entry);

    /// `owner` is handed to `hashOf`.
    KeyIndex(const void* owner, HashOf hashOf) noexcept;
    ~KeyIndex();
    KeyIndex(const KeyIndex&) = delete;
    KeyIndex& operator=(const KeyIndex&) = delete;

    /// An entry with this hash that `accepts` says yes to; null when there is none. Every entry with this
    /// hash is offered until then.
    void* find(std::uint32_t hash, Accepts accepts, void* wanted) const {
        return _table ? _find(hash, accepts, wanted) : nullptr;
    }

    /// `hash` is what `hashOf` answers for the entry, here and below.
    void insert(void* entry, std::uint32_t hash);

    /// Requires: the entry is here.
    void erase(void* entry, std::uint32_t hash) noexcept;

    /// Hands every entry to `visitor`, in no order.
    void visit(void (*visitor)(void* context, void* entry), void* context) const;

    void clear() noexcept;

private:
    struct Table;

    void* _find(std::uint32_t hash, Accepts accepts, void* wanted) const;

    const void* _owner;
    HashOf _hashOf;
    std::unique_ptr<Table> _table;
};

}  // namespace velm
