#pragma once

#include "velmd/model/CIMClass.h"
#include "velmd/repository/Catalog.h"
#include "velmd/repository/Database.h"

#include <optional>
#include <string_view>
#include <vector>

namespace velm {

/// Namespaces, classes and qualifier types in the database. A class is kept as its own declaration, without
/// what it inherits.
///
/// Threads and failure: as the database. Requires: it outlives this object; for what writes, that a
/// transaction is open.
class ClassStore {
public:
    explicit ClassStore(Database& database) : _database(database) {}

    /// Everything there is, with inheritance resolved.
    CatalogHandle load();

    /// Returns its id.
    std::int64_t addNamespace(std::string_view name);
    /// Requires: it has no classes. Its qualifier types go too.
    void removeNamespace(std::int64_t id);

    /// The declarations of the classes in order of creation.
    std::vector<CIMClass> declarations(std::int64_t nameSpace, std::string_view name);
    /// Returns its id.
    std::int64_t addClass(std::int64_t nameSpace, const CIMClass& declaration);
    /// Puts another declaration of the same name in its place.
    void replaceClass(std::int64_t id, const CIMClass& declaration);
    /// Requires: it has no instances.
    void removeClass(std::int64_t id);

    std::optional<CIMQualifierDeclaration> qualifier(std::int64_t nameSpace, std::string_view name);
    /// In order of creation.
    std::vector<CIMQualifierDeclaration> qualifiers(std::int64_t nameSpace);
    void setQualifier(std::int64_t nameSpace, const CIMQualifierDeclaration& declaration);
    /// False when there is none.
    bool removeQualifier(std::int64_t nameSpace, std::string_view name);

private:
    CatalogEntry _loadNamespace(std::int64_t id, std::string_view name);

    Database& _database;
};

}  // namespace velm
