#include "velmd/repository/ReaderPool.h"

namespace velm {

namespace {

/// Each holds two descriptors and a page cache of up to 2 MB.
constexpr std::size_t maxIdle = 8;

}  // namespace

ReaderPool::ReaderPool(std::string file) : _file(std::move(file)) {
    _idle.reserve(maxIdle);
}

ReaderPool::~ReaderPool() = default;

std::unique_ptr<Database> ReaderPool::_take() {
    {
        const ORVCriticalSectionGuard guard(_lock, true);
        if (!_idle.empty()) {
            auto database = std::move(_idle.back());
            _idle.pop_back();
            return database;
        }
    }
    return std::make_unique<Database>(_file, Database::Access::read);
}

void ReaderPool::_giveBack(std::unique_ptr<Database> database) noexcept {
    const ORVCriticalSectionGuard guard(_lock, true);
    if (_idle.size() < maxIdle) {
        _idle.push_back(std::move(database));
    }
}

}  // namespace velm
