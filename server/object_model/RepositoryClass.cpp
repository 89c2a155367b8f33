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

void RepositoryClass::link(ORVSmrPtr<IOrvoClass> superClass, ORVSmrPtr<List> subClasses, bool isAssociation) {
    // The former neighbours go with the arguments, after the lock is free: their last handles may be these.
    std::lock_guard lock(_mutex);
    std::swap(_superClass, superClass);
    std::swap(_subClasses, subClasses);
    _isAssociation = isAssociation;
}

}  // namespace velm
