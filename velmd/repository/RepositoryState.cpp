#include "velmd/repository/RepositoryState.h"

#include "velmd/model/CIMStatus.h"
#include "velmd/repository/InstanceContent.h"
#include "velmd/repository/Migrations.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>
#include <unordered_map>

#include <fmt/format.h>

namespace velm {

namespace {

/// The one path by which every process finds the lock.
std::string resolved(const std::filesystem::path& path) {
    try {
        return std::filesystem::weakly_canonical(std::filesystem::absolute(path)).string();
    } catch (const std::filesystem::filesystem_error& error) {
        throwStatus(CIMStatus::failed, fmt::format("{}: {}", path.string(), error.code().message()));
    }
}

/// SQLite would create it readable for everybody, and go on without a word where it cannot be written.
const std::string& created(const std::string& file) {
    const int descriptor = ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (descriptor < 0) {
        throwStatus(CIMStatus::failed, fmt::format("{}: cannot be opened for writing: {}", file,
                                                   std::generic_category().message(errno)));
    }
    ::close(descriptor);
    return file;
}

ObjectNames::NamespaceView viewOf(const CatalogEntry& entry) {
    return {entry.name, entry.classes};
}

}  // namespace

std::vector<const CIMClass*> inTreeOrder(const std::vector<CIMClass>& declarations, const ClassTree& tree) {
    std::unordered_map<std::string_view, const CIMClass*, CIMNameHash, CIMNameEqual> byName;
    for (const CIMClass& declaration : declarations) {
        byName.emplace(declaration.name, &declaration);
    }
    std::vector<const CIMClass*> sorted;
    for (const auto& found : tree.withDescendants("")) {
        if (const auto position = byName.find(found->name()); position != byName.end()) {
            sorted.push_back(position->second);
        }
    }
    return sorted;
}

const CatalogEntry& namespaceIn(const Catalog& catalog, std::string_view nameSpace) {
    const CatalogEntry* entry = catalog.find(nameSpace);
    if (!entry) {
        throwStatus(CIMStatus::invalidNamespace, fmt::format("there is no namespace {}", quoted(nameSpace)));
    }
    return *entry;
}

ResolvedClassHandle classIn(const CatalogEntry& nameSpace, std::string_view className) {
    auto found = nameSpace.classes->find(className);
    if (!found) {
        throwStatus(CIMStatus::invalidClass,
                    fmt::format("there is no class {} in {}", quoted(className), nameSpace.name));
    }
    return found;
}

ObjectNames namesIn(const Catalog& catalog) {
    return ObjectNames(
        [&catalog](std::string_view nameSpace) { return viewOf(namespaceIn(catalog, nameSpace)); });
}

Repository::State::State(const std::filesystem::path& path)
    : file(resolved(path)),
      lock(file),
      writer(created(file), Database::Access::write),
      readers(file),
      names([this](std::string_view nameSpace) { return viewOf(namespaceIn(*catalog(), nameSpace)); }) {
    migrate(writer, repositoryMigrations());
    _catalog = ClassStore(writer).load();
    isNew = std::ranges::all_of(_catalog->entries(),
                                [](const CatalogEntry& entry) { return entry.classes->size() == 0; });
}

CatalogHandle Repository::State::catalog() const {
    const ORVCriticalSectionGuard guard(_catalogLock, true);
    return _catalog;
}

void Repository::State::publish(CatalogHandle catalog) noexcept {
    const ORVCriticalSectionGuard guard(_catalogLock, true);
    _catalog.swap(catalog);
}

Repository::State::Turn::Turn(State& state)
    : _state(state),
      _turn(state.turn),
      _catalog(state.catalog()),
      _names([this](std::string_view nameSpace) { return viewOf(namespaceIn(*_catalog, nameSpace)); }),
      _classes(state.writer),
      _instances(state.writer),
      _transaction(state.writer) {
}

void Repository::State::Turn::addNamespace(const std::string& name) {
    _catalog = _catalog->with({_classes.addNamespace(name), name, std::make_shared<const ClassTree>(),
                               std::make_shared<const CatalogEntry::ClassIds>()});
}

void Repository::State::Turn::addClasses(CatalogEntry entry, const std::vector<CIMClass>& declarations) {
    entry.classes = entry.classes->with(declarations);
    auto ids = std::make_shared<CatalogEntry::ClassIds>(*entry.classIds);
    for (const CIMClass* declaration : inTreeOrder(declarations, *entry.classes)) {
        ids->emplace(declaration->name, _classes.addClass(entry.id, *declaration));
    }
    entry.classIds = std::move(ids);
    _catalog = _catalog->with(std::move(entry));
}

void Repository::State::Turn::setQualifier(const CatalogEntry& entry,
                                           const CIMQualifierDeclaration& declaration) {
    if (!isCIMName(declaration.name)) {
        throwStatus(CIMStatus::invalidParameter,
                    fmt::format("{} is no name of a qualifier type", quoted(declaration.name)));
    }
    _classes.setQualifier(entry.id, declaration);
}

ORVSmrPtr<IOrvoObject> Repository::State::Turn::createInstance(std::string_view nameSpace,
                                                               const IOrvoObject& given) {
    const CatalogEntry& entry = namespaceIn(*_catalog, nameSpace);
    const auto itsClass = classIn(entry, given.getClassName().view());
    if (itsClass->isAbstract || itsClass->keys.empty()) {
        throwStatus(CIMStatus::invalidParameter,
                    fmt::format("class {} {}, so that it cannot have instances", itsClass->name(),
                                itsClass->isAbstract ? "is abstract" : "has no key"));
    }
    const auto completed = completedInstance(given, itsClass->declaration);
    const auto keys = selectedProperties(*completed, keyNames(*itsClass), itsClass->declaration);
    const auto name = _names.canonicalObject(*keys, nullptr, entry.name)->getInstanceName();
    if (_instances.has(name->toString())) {
        throwStatus(CIMStatus::alreadyExists,
                    fmt::format("there is an instance {} already", quotedPath(name->toString().view())));
    }
    auto instance = _names.canonicalObject(*completed, name, entry.name);
    _instances.add(entry.classId(itsClass->name()), *itsClass, *instance);
    report({IOrvoIndication::IndicationCreation, instance, {}});
    return instance;
}

void Repository::State::Turn::commit() {
    _transaction.commit();
    _state.publish(std::move(_catalog));
    if (_state.observer) {
        for (const InstanceChange& change : _changes) {
            _state.observer(change);
        }
    }
}

}  // namespace velm
