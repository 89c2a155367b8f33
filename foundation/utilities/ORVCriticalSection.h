#pragma once

#include "foundation/Export.h"
#include "foundation/utilities/ThreadAnnotations.h"

#include <mutex>

/// A lock for mutual exclusion. Not recursive. Locking is not a change of what it guards, so both operations
/// are const.
class VELM_EXPORT VELM_CAPABILITY("critical section") ORVCriticalSection {
public:
    constexpr ORVCriticalSection() noexcept = default;
    ORVCriticalSection(const ORVCriticalSection&) = delete;
    ORVCriticalSection& operator=(const ORVCriticalSection&) = delete;

    void enter() const VELM_ACQUIRE() { _mutex.lock(); }
    void leave() const VELM_RELEASE() { _mutex.unlock(); }

private:
    mutable std::mutex _mutex;
};

/// Holds a critical section for the length of a scope.
class VELM_SCOPED_CAPABILITY ORVCriticalSectionGuard {
public:
    /// Takes `section` at once when `takeNow`, otherwise with enter(). The section must outlive the guard.
    ORVCriticalSectionGuard(const ORVCriticalSection& section, bool takeNow) VELM_ACQUIRE(section)
        : _section(section) {
        if (takeNow) {
            enter();
        }
    }
    ORVCriticalSectionGuard(const ORVCriticalSectionGuard&) = delete;
    ORVCriticalSectionGuard& operator=(const ORVCriticalSectionGuard&) = delete;
    ~ORVCriticalSectionGuard() VELM_RELEASE() { leave(); }

    /// Takes the section unless this guard holds it already.
    void enter() VELM_NO_THREAD_SAFETY_ANALYSIS {
        if (!_entered) {
            _section.enter();
            _entered = true;
        }
    }

    /// Gives the section back before the end of the scope.
    void leave() VELM_NO_THREAD_SAFETY_ANALYSIS {
        if (_entered) {
            _entered = false;
            _section.leave();
        }
    }

private:
    const ORVCriticalSection& _section;
    bool _entered = false;
};
