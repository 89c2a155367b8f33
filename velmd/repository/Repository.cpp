#include "velmd/repository/Repository.h"

#include "velmd/model/CIMStatus.h"
#include "velmd/repository/RepositoryState.h"

#include <fmt/format.h>

namespace velm {

namespace {

[[noreturn]] void refuseQualifier(std::string_view name, const CatalogEntry& nameSpace) {
    throwStatus(CIMStatus::notFound,
                fmt::format("there is no qualifier type {} in {}", quoted(name), nameSpace.name));
}

}  // namespace

Repository::Repository(const std::filesystem::path& file) : _state(std::make_unique<State>(file)) {
}

Repository::~Repository() = default;

void Repository::setObserver(Observer observer) {
    const std::lock_guard turn(_state->turn);
    _state->observer = std::move(observer);
}

bool Repository::isNew() const noexcept {
    return _state->isNew;
}

std::vector<std::string> Repository::nameSpaces() const {
    const auto catalog = _state->catalog();
    std::vector<std::string> names;
    for (const CatalogEntry& entry : catalog->entries()) {
        names.push_back(entry.name);
    }
    return names;
}

void Repository::createNamespace(std::string_view name) {
    const std::string checked = checkedNamespace(name);
    State::Turn turn(*_state);
    if (turn.catalog().find(checked)) {
        throwStatus(CIMStatus::alreadyExists,
                    fmt::format("there is a namespace {} already", velm::quoted(checked)));
    }
    turn.addNamespace(checked);
    turn.commit();
}

void Repository::deleteNamespace(std::string_view name) {
    State::Turn turn(*_state);
    const CatalogEntry& entry = namespaceIn(turn.catalog(), name);
    if (entry.classes->size() != 0) {
        throwStatus(CIMStatus::namespaceNotEmpty, fmt::format("namespace {} has classes", entry.name));
    }
    turn.classes().removeNamespace(entry.id);
    turn.replaceCatalog(turn.catalog().without(entry.id));
    turn.commit();
}

ObjectNames::NamespaceView Repository::find(std::string_view nameSpace) const {
    const auto catalog = _state->catalog();
    const CatalogEntry& entry = namespaceIn(*catalog, nameSpace);
    return {entry.name, entry.classes};
}

const ObjectNames& Repository::names() const noexcept {
    return _state->names;
}

ResolvedClassHandle Repository::getClass(std::string_view nameSpace, std::string_view className) const {
    const auto catalog = _state->catalog();
    return classIn(namespaceIn(*catalog, nameSpace), className);
}

void Repository::createClass(std::string_view nameSpace, CIMClass declaration) {
    State::Turn turn(*_state);
    turn.addClasses(namespaceIn(turn.catalog(), nameSpace), {std::move(declaration)});
    turn.commit();
}

void Repository::deleteClass(std::string_view nameSpace, std::string_view className) {
    State::Turn turn(*_state);
    CatalogEntry entry = namespaceIn(turn.catalog(), nameSpace);
    const auto found = entry.classes->find(className);
    if (!found) {
        throwStatus(CIMStatus::notFound,
                    fmt::format("there is no class {} in {}", velm::quoted(className), entry.name));
    }
    const auto id = entry.classId(className);
    if (!entry.classes->subClasses(className).empty()) {
        throwStatus(CIMStatus::classHasChildren, fmt::format("class {} has subclasses", found->name()));
    }
    if (turn.instances().hasInstances(id)) {
        throwStatus(CIMStatus::classHasInstances, fmt::format("class {} has instances", found->name()));
    }
    if (turn.instances().hasReferences(entry.name, found->name())) {
        throwStatus(CIMStatus::classHasInstances,
                    fmt::format("association instances refer to instances of class {}", found->name()));
    }
    turn.classes().removeClass(id);
    auto ids = std::make_shared<CatalogEntry::ClassIds>(*entry.classIds);
    ids->erase(found->name());
    entry.classIds = std::move(ids);
    entry.classes = entry.classes->without(className);
    turn.replaceCatalog(turn.catalog().with(std::move(entry)));
    turn.commit();
}

CIMQualifierDeclaration Repository::getQualifier(std::string_view nameSpace, std::string_view name) const {
    const auto catalog = _state->catalog();
    const CatalogEntry& entry = namespaceIn(*catalog, nameSpace);
    const ReaderPool::Reader reader(_state->readers);
    auto found = ClassStore(*reader).qualifier(entry.id, name);
    if (!found) {
        refuseQualifier(name, entry);
    }
    return *std::move(found);
}

std::vector<CIMQualifierDeclaration> Repository::enumerateQualifiers(std::string_view nameSpace) const {
    const auto catalog = _state->catalog();
    const CatalogEntry& entry = namespaceIn(*catalog, nameSpace);
    const ReaderPool::Reader reader(_state->readers);
    return ClassStore(*reader).qualifiers(entry.id);
}

void Repository::setQualifier(std::string_view nameSpace, const CIMQualifierDeclaration& declaration) {
    State::Turn turn(*_state);
    turn.setQualifier(namespaceIn(turn.catalog(), nameSpace), declaration);
    turn.commit();
}

void Repository::deleteQualifier(std::string_view nameSpace, std::string_view name) {
    State::Turn turn(*_state);
    const CatalogEntry& entry = namespaceIn(turn.catalog(), nameSpace);
    if (!turn.classes().removeQualifier(entry.id, name)) {
        refuseQualifier(name, entry);
    }
    turn.commit();
}

}  // namespace velm
