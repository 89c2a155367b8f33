#include "velmd/repository/Catalog.h"

#include "velmd/model/CIMName.h"

#include <algorithm>

namespace velm {

std::int64_t CatalogEntry::classId(std::string_view className) const {
    const auto found = classIds->find(className);
    return found == classIds->end() ? 0 : found->second;
}

const CatalogEntry* Catalog::find(std::string_view nameSpace) const {
    const auto found = std::ranges::find_if(
        _entries,
        [name = withoutOuterSlashes(nameSpace)](const auto& entry) { return sameName(entry.name, name); });
    return found == _entries.end() ? nullptr : &*found;
}

const CatalogEntry* Catalog::find(std::int64_t id) const {
    const auto found = std::ranges::find(_entries, id, &CatalogEntry::id);
    return found == _entries.end() ? nullptr : &*found;
}

CatalogHandle Catalog::with(CatalogEntry entry) const {
    auto copy = std::make_shared<Catalog>(*this);
    const auto found = std::ranges::find(copy->_entries, entry.id, &CatalogEntry::id);
    if (found == copy->_entries.end()) {
        copy->_entries.push_back(std::move(entry));
    } else {
        *found = std::move(entry);
    }
    return copy;
}

CatalogHandle Catalog::without(std::int64_t id) const {
    auto copy = std::make_shared<Catalog>(*this);
    std::erase_if(copy->_entries, [id](const CatalogEntry& entry) { return entry.id == id; });
    return copy;
}

}  // namespace velm
