#include "velmd/model/CIMStatus.h"
#include "velmd/repository/InstanceContent.h"
#include "velmd/repository/Repository.h"
#include "velmd/repository/RepositoryState.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include <fmt/format.h>

namespace velm {

namespace {

using NameSet = std::unordered_set<std::string, CIMNameHash, CIMNameEqual>;

/// Names of namespaces and instances hold the spelling.
void keepSpelling(std::vector<CIMClass>& declarations, const ClassTree& known) {
    for (CIMClass& declaration : declarations) {
        if (const auto former = known.find(declaration.name)) {
            declaration.name = former->name();
        }
    }
}

/// `present` with `declarations`, each in the place of the one of its name or else behind them.
std::vector<CIMClass> merged(std::vector<CIMClass> present, const std::vector<CIMClass>& declarations) {
    std::unordered_map<std::string, std::size_t, CIMNameHash, CIMNameEqual> positions;
    for (std::size_t position = 0; position < present.size(); ++position) {
        positions.emplace(present[position].name, position);
    }
    for (const CIMClass& declaration : declarations) {
        // A second declaration of one name is left for the tree to refuse.
        if (const auto former = positions.extract(declaration.name)) {
            present[former.mapped()] = declaration;
        } else {
            present.push_back(declaration);
        }
    }
    return present;
}

/// The classes that have another meaning now: those that were replaced, and those below them.
std::vector<ResolvedClassHandle> affected(const std::vector<CIMClass>& declarations, const ClassTree& former,
                                          const ClassTree& present) {
    NameSet seen;
    std::vector<ResolvedClassHandle> result;
    for (const CIMClass& declaration : declarations) {
        for (const auto& found : present.withDescendants(declaration.name)) {
            if (former.find(found->name()) && seen.insert(found->name()).second) {
                result.push_back(found);
            }
        }
    }
    return result;
}

bool sameKind(const CIMProperty& left, const CIMProperty& right) {
    return left.type->getName() == right.type->getName() && left.type->isArray() == right.type->isArray() &&
           left.embedding == right.embedding;
}

/// Why instances of the one are no instances of the other; empty when they are.
std::string misfit(const ResolvedClass& former, const ResolvedClass& present) {
    if (present.isAbstract) {
        return "it is abstract";
    }
    if (present.isAssociation != former.isAssociation) {
        return present.isAssociation ? "it is an association" : "it is no association";
    }
    if (keyNames(present) != keyNames(former)) {
        return "it has other keys";
    }
    for (const CIMProperty& property : former.declaration.properties) {
        const CIMProperty* declared = present.declaration.property(property.name);
        if (!declared || !sameKind(property, *declared)) {
            return fmt::format("the property {} {}", property.name,
                               declared ? "has another type" : "is gone");
        }
    }
    return "";
}

}  // namespace

void Repository::State::Turn::importClasses(CatalogEntry entry, std::vector<CIMClass> declarations) {
    const auto former = entry.classes;
    const auto isKnown = [&former](const CIMClass& added) { return former->find(added.name) != nullptr; };
    if (std::ranges::none_of(declarations, isKnown)) {
        addClasses(std::move(entry), declarations);
        return;
    }
    keepSpelling(declarations, *former);
    entry.classes = ClassTree().with(merged(_classes.declarations(entry.id, entry.name), declarations));
    auto ids = std::make_shared<CatalogEntry::ClassIds>(*entry.classIds);
    for (const CIMClass* declaration : inTreeOrder(declarations, *entry.classes)) {
        if (const auto id = entry.classId(declaration->name)) {
            _classes.replaceClass(id, *declaration);
        } else {
            ids->emplace(declaration->name, _classes.addClass(entry.id, *declaration));
        }
    }
    entry.classIds = std::move(ids);
    for (const auto& present : affected(declarations, *former, *entry.classes)) {
        _refitInstances(entry, *former->find(present->name()), present);
    }
    _catalog = _catalog->with(std::move(entry));
}

void Repository::State::Turn::_refitInstances(const CatalogEntry& entry, const ResolvedClass& former,
                                              const ResolvedClassHandle& present) {
    if (!_instances.hasInstances(entry.classId(present->name()))) {
        return;
    }
    if (const std::string problem = misfit(former, *present); !problem.empty()) {
        throw RefusedClass(
            CIMOMException(ORVString(),
                           ORVString(fmt::format("the class {} has instances, which its new declaration does "
                                                 "not fit: {}",
                                                 present->name(), problem)),
                           static_cast<int>(CIMStatus::classHasInstances)),
            present->name());
    }
    for (const auto& instance : _instances.find(entry, {present})) {
        const auto completed = completedInstance(*instance, present->declaration);
        _instances.replace(*present, *withName(*completed, instance->getInstanceName()));
    }
}

void Repository::import(std::string_view nameSpace, Declarations declarations) {
    const std::string checked = checkedNamespace(nameSpace);
    State::Turn turn(*_state);
    if (!turn.catalog().find(checked)) {
        turn.addNamespace(checked);
    }
    const CatalogEntry entry = namespaceIn(turn.catalog(), checked);
    for (const CIMQualifierDeclaration& declaration : declarations.qualifiers) {
        turn.setQualifier(entry, declaration);
    }
    turn.importClasses(entry, std::move(declarations.classes));
    for (std::size_t position = 0; position < declarations.instances.size(); ++position) {
        try {
            turn.createInstance(checked, *declarations.instances[position]);
        } catch (const CIMOMException& reason) {
            throw RefusedInstance(reason, position);
        }
    }
    turn.commit();
}

}  // namespace velm
