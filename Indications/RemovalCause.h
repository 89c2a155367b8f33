#pragma once

#include "Indications/IndicationStatus.h"

#include <utility>

namespace velm {

/// Tells, for the length of a scope, why subscribers are removed on this thread: whoever asks the manager for
/// a removal has no other way to say it.
class RemovalCause {
public:
    explicit RemovalCause(RemovalReason reason) noexcept : _former(std::exchange(_current, reason)) {}
    RemovalCause(const RemovalCause&) = delete;
    RemovalCause& operator=(const RemovalCause&) = delete;
    ~RemovalCause() { _current = _former; }

    /// RemovalReason::requested outside of all scopes.
    static RemovalReason current() noexcept { return _current; }

private:
    static constinit inline thread_local RemovalReason _current = RemovalReason::requested;

    const RemovalReason _former;
};

}  // namespace velm
