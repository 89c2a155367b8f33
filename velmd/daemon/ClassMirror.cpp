#include "velmd/daemon/ClassMirror.h"

#include "CIMOM_Indications/CIMOMClassManager.h"
#include "velmd/model/CIMName.h"

namespace velm {

namespace {

ORVString nameOrNull(const ResolvedClassHandle& superClass) {
    return superClass ? ORVString(superClass->name()) : ORVString();
}

void mirror(const ResolvedClass& wanted) {
    CCIMOMClassManager& registry = *CCIMOMClassManager::getInstance();
    const ORVString name(wanted.name());
    const ORVString superClass = nameOrNull(wanted.superClass);
    if (!registry.addClass(name, superClass) && wanted.superClass) {
        mirror(*wanted.superClass);
        registry.addClass(name, superClass);
    }
}

}  // namespace

void mirrorClass(std::string_view nameSpace, const ResolvedClass& created) {
    if (sameName(nameSpace, mirroredNamespace)) {
        mirror(created);
    }
}

}  // namespace velm
