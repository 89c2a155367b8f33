#pragma once

#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/object_model/IOrvoInstanceName.h"
#include "foundation/object_model/IOrvoObject.h"
#include "velmd/repository/Catalog.h"
#include "velmd/repository/Database.h"

#include <string_view>
#include <vector>

namespace velm {

/// Instances in the database, found by their names in canonical form, and what the association instances
/// among them refer to.
///
/// A name is looked up together with the class of the caller's catalog: an instance of a class that came
/// after that catalog is not seen, so that every instance that is seen fits its class.
///
/// Threads and failure: as the database. Requires: it outlives this object; for what writes, that a
/// transaction is open.
class InstanceStore {
public:
    using Object = ORVSmrPtr<IOrvoObject>;

    explicit InstanceStore(Database& database) : _database(database) {}

    /// A null handle when there is none.
    Object find(std::int64_t classId, const ORVSmrPtr<IOrvoInstanceName>& name);
    /// The instances of these classes of the namespace, in order of creation.
    std::vector<Object> find(const CatalogEntry& nameSpace, const std::vector<ResolvedClassHandle>& classes);
    /// The association instances that refer to `target`, in order of creation.
    std::vector<Object> references(const Catalog& catalog, const ORVString& target);

    bool has(const ORVString& name);
    bool hasInstances(std::int64_t classId);
    /// Whether association instances refer to instances of the class, which may be gone.
    bool hasReferences(std::string_view nameSpace, std::string_view className);

    /// Requires: `instance` is in canonical form, with its name, which is not there yet.
    void add(std::int64_t classId, const ResolvedClass& itsClass, const IOrvoObject& instance);
    /// Requires: its name is there.
    void replace(const ResolvedClass& itsClass, const IOrvoObject& instance);
    void remove(const ORVString& name);

private:
    Object _read(std::string_view document, const ResolvedClass& itsClass, std::string_view nameSpace);
    void _addReferences(std::int64_t id, const ResolvedClass& itsClass, const IOrvoObject& instance);

    Database& _database;
};

}  // namespace velm
