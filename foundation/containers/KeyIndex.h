#pragma once

#include "foundation/Export.h"

#include <cstdint>
#include <memory>

namespace velm {

/// From the hash of a key to the head of a chain of entries: what an ORVValMap looks pairs up with, whatever
/// the types of its keys and values.
///
/// Threads: not synchronised; any number may find at once while none changes it. Ownership: the entries are
/// the caller's. Failure: only std::bad_alloc, from head(), and then nothing has changed.
class VELM_EXPORT KeyIndex {
public:
    KeyIndex() noexcept;
    ~KeyIndex();
    KeyIndex(const KeyIndex&) = delete;
    KeyIndex& operator=(const KeyIndex&) = delete;

    /// The head of the chain for `hash`; null when there is none.
    void* find(std::uint32_t hash) const noexcept { return _table ? _find(hash) : nullptr; }

    /// The head of the chain for `hash` in place; a new, null one when there is none. Valid until the next
    /// change of the index.
    void*& head(std::uint32_t hash);

    /// Drops the chain for `hash`. Requires: there is one.
    void erase(std::uint32_t hash) noexcept;

    void clear() noexcept;

private:
    struct Table;

    void* _find(std::uint32_t hash) const noexcept;

    std::unique_ptr<Table> _table;
};

}  // namespace velm
