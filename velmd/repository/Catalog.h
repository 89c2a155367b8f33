#pragma once

#include "velmd/model/ClassTree.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace velm {

/// A namespace with its classes, and the keys under which the database has them. Immutable parts, cheap to
/// copy.
struct CatalogEntry {
    using ClassIds = std::unordered_map<std::string, std::int64_t, CIMNameHash, CIMNameEqual>;

    std::int64_t id = 0;
    /// As it was spelled when it was created.
    std::string name;
    std::shared_ptr<const ClassTree> classes;
    std::shared_ptr<const ClassIds> classIds;

    /// 0 for a class that is not here.
    std::int64_t classId(std::string_view className) const;
};

/// All namespaces and classes at one moment. Immutable once it is shared: whoever holds one reads on while
/// the next one is made.
class Catalog {
public:
    /// In order of creation.
    const std::vector<CatalogEntry>& entries() const noexcept { return _entries; }

    /// Letter case and outer slashes ignored; null when there is none.
    const CatalogEntry* find(std::string_view nameSpace) const;
    const CatalogEntry* find(std::int64_t id) const;

    /// A catalog that has `entry`, in place of the one with its id if there is one.
    std::shared_ptr<const Catalog> with(CatalogEntry entry) const;
    std::shared_ptr<const Catalog> without(std::int64_t id) const;

private:
    std::vector<CatalogEntry> _entries;
};

using CatalogHandle = std::shared_ptr<const Catalog>;

}  // namespace velm
