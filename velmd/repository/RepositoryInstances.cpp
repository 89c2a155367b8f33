#include "velmd/model/CIMStatus.h"
#include "velmd/repository/InstanceContent.h"
#include "velmd/repository/Repository.h"
#include "velmd/repository/RepositoryState.h"

#include <algorithm>

#include <fmt/format.h>

namespace velm {

namespace {

[[noreturn]] void refuseInstance(const IOrvoInstanceName& name) {
    throwStatus(CIMStatus::notFound,
                fmt::format("there is no instance {}", quotedPath(name.toString().view())));
}

/// The instance with this name, which is in canonical form; a null handle when there is none.
ORVSmrPtr<IOrvoObject> stored(InstanceStore instances, const Catalog& catalog,
                              const ORVSmrPtr<IOrvoInstanceName>& name) {
    const CatalogEntry& entry = namespaceIn(catalog, name->getNameSpace().view());
    return instances.find(entry.classId(name->getClassName().view()), name);
}

void refuseAnotherClass(const IOrvoObject& given, const ResolvedClass& itsClass) {
    const ORVString className = given.getClassName();
    if (!className.isNull() && !sameName(className.view(), itsClass.name())) {
        throwStatus(CIMStatus::invalidParameter,
                    fmt::format("the instance is of class {} while its name says {}",
                                quoted(className.view()), itsClass.name()));
    }
}

void refuseKeys(const std::vector<std::string>& changed, const ResolvedClass& itsClass) {
    for (const std::size_t position : itsClass.keys) {
        const std::string& key = itsClass.declaration.properties[position].name;
        if (std::ranges::find(changed, key) != changed.end()) {
            throwStatus(CIMStatus::invalidParameter,
                        fmt::format("{} is a key of {} and cannot change", key, itsClass.name()));
        }
    }
}

}  // namespace

ORVSmrPtr<IOrvoObject> Repository::findInstance(const IOrvoInstanceName& name,
                                                std::string_view defaultNamespace) const {
    const auto catalog = _state->catalog();
    const auto canonical = namesIn(*catalog).canonicalName(name, defaultNamespace);
    const ReaderPool::Reader reader(_state->readers);
    return stored(InstanceStore(*reader), *catalog, canonical);
}

std::vector<ORVSmrPtr<IOrvoObject>> Repository::enumerateInstances(std::string_view nameSpace,
                                                                   std::string_view className) const {
    const auto catalog = _state->catalog();
    const CatalogEntry& entry = namespaceIn(*catalog, nameSpace);
    classIn(entry, className);
    const ReaderPool::Reader reader(_state->readers);
    return InstanceStore(*reader).find(entry, entry.classes->withDescendants(className));
}

ORVSmrPtr<IOrvoInstanceName> Repository::createInstance(std::string_view nameSpace,
                                                        const IOrvoObject& instance) {
    State::Turn turn(*_state);
    const auto created = turn.createInstance(nameSpace, instance);
    turn.commit();
    return created->getInstanceName();
}

void Repository::modifyInstance(const IOrvoInstanceName& name, const IOrvoObject& instance,
                                const std::optional<std::vector<std::string>>& properties,
                                std::string_view defaultNamespace) {
    State::Turn turn(*_state);
    const auto canonical = turn.names().canonicalName(name, defaultNamespace);
    const CatalogEntry& entry = namespaceIn(turn.catalog(), canonical->getNameSpace().view());
    const auto itsClass = classIn(entry, canonical->getClassName().view());
    refuseAnotherClass(instance, *itsClass);
    const auto former = stored(turn.instances(), turn.catalog(), canonical);
    if (former.IsNull()) {
        refuseInstance(*canonical);
    }
    // Only what is new is looked at: what former references refer to may be gone.
    const auto selected = selectedProperties(instance, properties, itsClass->declaration);
    const auto changes = turn.names().canonicalObject(*selected, canonical, entry.name);
    auto present = mergedInstance(*former, *changes);
    auto changed = differingProperties(*former, *present, itsClass->declaration);
    if (changed.empty()) {
        return;
    }
    refuseKeys(changed, *itsClass);
    turn.instances().replace(*itsClass, *present);
    turn.report({IOrvoIndication::IndicationChange, std::move(present), std::move(changed)});
    turn.commit();
}

void Repository::deleteInstance(const IOrvoInstanceName& name, std::string_view defaultNamespace) {
    State::Turn turn(*_state);
    const auto canonical = turn.names().canonicalName(name, defaultNamespace);
    auto former = stored(turn.instances(), turn.catalog(), canonical);
    if (former.IsNull()) {
        refuseInstance(*canonical);
    }
    turn.instances().remove(canonical->toString());
    turn.report({IOrvoIndication::IndicationDestruction, std::move(former), {}});
    turn.commit();
}

std::vector<ORVSmrPtr<IOrvoObject>> Repository::references(const IOrvoInstanceName& name) const {
    const auto catalog = _state->catalog();
    const ReaderPool::Reader reader(_state->readers);
    return InstanceStore(*reader).references(*catalog, name.toString());
}

}  // namespace velm
