#include "server/object_model/RepositoryClass.h"

#include <utility>

namespace velm {

ORVSmrPtr<IOrvoClass> RepositoryClass::getSuperClass() const {
    std::lock_guard lock(_mutex);
    return _superClass;
}

ORVSmrPtr<RepositoryClass::List> RepositoryClass::getSubClasses() const {
    std::lock_guard lock(_mutex);
    return _subClasses;
}

bool RepositoryClass::isAssociation() const {
    std::lock_guard lock(_mutex);
    return _isAssociation;
}

void RepositoryClass::link(const ORVSmrPtr<IOrvoClass>& superClass, const ORVSmrPtr<List>& subClasses,
                           bool isAssociation) {
    // The former neighbours go after the lock is free: their last handles may be among these.
    auto formerSuperClass = superClass;
    auto formerSubClasses = subClasses;
    std::lock_guard lock(_mutex);
    std::swap(_superClass, formerSuperClass);
    std::swap(_subClasses, formerSubClasses);
    _isAssociation = isAssociation;
}

}  // namespace velm
