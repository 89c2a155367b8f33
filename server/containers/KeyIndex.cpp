#include "foundation/containers/KeyIndex.h"

#include <boost/unordered/unordered_flat_map.hpp>

namespace velm {

struct KeyIndex::Table {
    boost::unordered_flat_map<std::uint32_t, void*> heads;
};

KeyIndex::KeyIndex() noexcept = default;
KeyIndex::~KeyIndex() = default;

void*& KeyIndex::head(std::uint32_t hash) {
    if (!_table) {
        _table = std::make_unique<Table>();
    }
    return _table->heads.try_emplace(hash, nullptr).first->second;
}

void KeyIndex::erase(std::uint32_t hash) noexcept {
    _table->heads.erase(hash);
    if (_table->heads.empty()) {
        _table.reset();
    }
}

void KeyIndex::clear() noexcept {
    _table.reset();
}

void* KeyIndex::_find(std::uint32_t hash) const noexcept {
    const auto found = _table->heads.find(hash);
    return found == _table->heads.end() ? nullptr : found->second;
}

}  // namespace velm
