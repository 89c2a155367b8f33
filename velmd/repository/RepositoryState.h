#pragma once

#include "foundation/utilities/ORVCriticalSection.h"
#include "velmd/repository/Catalog.h"
#include "velmd/repository/ClassStore.h"
#include "velmd/repository/Database.h"
#include "velmd/repository/FileLock.h"
#include "velmd/repository/InstanceStore.h"
#include "velmd/repository/ReaderPool.h"
#include "velmd/repository/Repository.h"

#include <mutex>
#include <string>
#include <vector>

namespace velm {

/// What a repository is made of.
///
/// Lock order: `turn`, then the one inside catalog() and publish(). Readers take the catalog first and a
/// snapshot of the database after it, so that the database they see is the catalog's or a later one.
struct Repository::State {
    explicit State(const std::filesystem::path& path);

    CatalogHandle catalog() const;
    void publish(CatalogHandle catalog) noexcept;

    const std::string file;
    const FileLock lock;
    /// Held by the one thread that writes.
    std::mutex turn;
    Database writer;
    ReaderPool readers;
    const ObjectNames names;
    Observer observer;
    bool isNew = false;

private:
    ORVCriticalSection _catalogLock;
    CatalogHandle _catalog VELM_GUARDED_BY(_catalogLock);

public:
    class Turn;
};

/// One writer's turn: a transaction, and what becomes visible with it.
///
/// Nothing happened unless commit() returns. Requires: no other turn on this thread.
class Repository::State::Turn {
public:
    explicit Turn(State& state);

    /// As they will be once this is committed.
    const Catalog& catalog() const noexcept { return *_catalog; }
    const ObjectNames& names() const noexcept { return _names; }
    ClassStore& classes() noexcept { return _classes; }
    InstanceStore& instances() noexcept { return _instances; }

    void replaceCatalog(CatalogHandle catalog) noexcept { _catalog = std::move(catalog); }
    /// Requires: `name` is one, and is not there.
    void addNamespace(const std::string& name);
    void addClasses(CatalogEntry entry, const std::vector<CIMClass>& declarations);
    /// The same; those that are there already are replaced.
    void importClasses(CatalogEntry entry, std::vector<CIMClass> declarations);
    /// Throws 4 for a name that is none.
    void setQualifier(const CatalogEntry& entry, const CIMQualifierDeclaration& declaration);
    /// The instance as it is kept.
    ORVSmrPtr<IOrvoObject> createInstance(std::string_view nameSpace, const IOrvoObject& given);

    void report(InstanceChange change) { _changes.push_back(std::move(change)); }

    /// Writes, publishes and reports, in this order.
    void commit();

private:
    void _refitInstances(const CatalogEntry& entry, const ResolvedClass& former,
                         const ResolvedClassHandle& present);

    State& _state;
    const std::lock_guard<std::mutex> _turn;
    CatalogHandle _catalog;
    const ObjectNames _names;
    ClassStore _classes;
    InstanceStore _instances;
    std::vector<InstanceChange> _changes;
    Transaction _transaction;
};

/// Throws 3.
const CatalogEntry& namespaceIn(const Catalog& catalog, std::string_view nameSpace);
/// Throws 5.
ResolvedClassHandle classIn(const CatalogEntry& nameSpace, std::string_view className);
/// In the order in which the tree has them, superclasses first, so that it is the same when it is made again
/// from the file.
std::vector<const CIMClass*> inTreeOrder(const std::vector<CIMClass>& declarations, const ClassTree& tree);
/// Names as this catalog spells them. Requires: `catalog` outlives what it is asked.
ObjectNames namesIn(const Catalog& catalog);

}  // namespace velm
