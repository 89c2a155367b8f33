#pragma once

#include "foundation/Export.h"
#include "foundation/subscribers/CSubscriberID.h"

#include <cstddef>
#include <memory>

namespace velm {

/// From the identity of a subscriber to the places where it stands: what a SubscriberIndex looks elements up
/// with, whatever their type.
///
/// Threads: not synchronised; any number may find at once while none changes it. Ownership: the places are
/// the caller's; an identity must stay as long as its place is here. Failure: only std::bad_alloc, from
/// add(), and then nothing has changed.
class VELM_EXPORT IdentityIndex {
public:
    using Accepts = bool (*)(const void* wanted, void* place);

    IdentityIndex();
    ~IdentityIndex();
    IdentityIndex(const IdentityIndex&) = delete;
    IdentityIndex& operator=(const IdentityIndex&) = delete;

    void add(const CSubscriberID& id, void* place);

    /// Requires: it is here.
    void remove(const CSubscriberID& id, void* place) noexcept;

    /// The first place with this identity that `accepts` says yes to, in order of addition; null when there
    /// is none. Any place will do when `accepts` is null.
    void* find(const CSubscriberID& id, Accepts accepts = nullptr, const void* wanted = nullptr) const;

    /// Hands every place to `visitor`, in no order.
    void visit(void (*visitor)(void* context, void* place), void* context) const;

private:
    struct Table;

    std::unique_ptr<Table> _table;
};

}  // namespace velm
