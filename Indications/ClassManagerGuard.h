#pragma once

#include "CIMOM_Indications/CIMOMClassManager.h"
#include "foundation/services/CIMOMException.h"

namespace velm {

/// Holds the class manager's lock for the length of a scope. Requires: the manager's lock is taken already.
/// Throws CIMOMException when the registry was never initialised.
template <void (CCIMOMClassManager::*lock)(), void (CCIMOMClassManager::*unlock)()>
class ClassManagerGuard {
public:
    ClassManagerGuard() : _classManager(CCIMOMClassManager::getInstance()) {
        if (!_classManager) {
            throw CIMOMException("CIndicationManager", "The class registry is not initialized.", 1);
        }
        (_classManager->*lock)();
    }
    ClassManagerGuard(const ClassManagerGuard&) = delete;
    ClassManagerGuard& operator=(const ClassManagerGuard&) = delete;
    ~ClassManagerGuard() { (_classManager->*unlock)(); }

    CCIMOMClassManager* operator->() const noexcept { return _classManager; }

private:
    CCIMOMClassManager* const _classManager;
};

using ClassManagerReadGuard =
    ClassManagerGuard<&CCIMOMClassManager::lockForRead, &CCIMOMClassManager::unLockForRead>;
using ClassManagerWriteGuard =
    ClassManagerGuard<&CCIMOMClassManager::lockForWrite, &CCIMOMClassManager::unLockForWrite>;

/// The root of the class tree: subscriptions to any class, indications of classes that are unknown.
inline constexpr const char* catchAllClassName = "OrvoCimom_CatchAll";

}  // namespace velm
