#include "foundation/containers/NumberSet.h"

#include <algorithm>

#include <boost/unordered/unordered_flat_set.hpp>

namespace velm {

struct NumberSet::Table {
    boost::unordered_flat_set<std::uint32_t> numbers;
};

NumberSet::NumberSet() noexcept = default;
NumberSet::~NumberSet() = default;

void NumberSet::insert(std::uint32_t number) {
    if (_many) {
        _many->numbers.insert(number);
        return;
    }
    const auto end = _few.begin() + _fewCount;
    if (std::find(_few.begin(), end, number) != end) {
        return;
    }
    if (_fewCount < _few.size()) {
        _few.at(_fewCount++) = number;
        return;
    }
    auto table = std::make_unique<Table>();
    table->numbers.insert(_few.begin(), end);
    table->numbers.insert(number);
    _many = std::move(table);
    _fewCount = 0;
}

void NumberSet::erase(std::uint32_t number) noexcept {
    if (_many) {
        _many->numbers.erase(number);
        if (_many->numbers.empty()) {
            _many.reset();
        }
        return;
    }
    const auto end = _few.begin() + _fewCount;
    if (const auto found = std::find(_few.begin(), end, number); found != end) {
        *found = _few.at(--_fewCount);
    }
}

std::vector<std::uint32_t> NumberSet::all() const {
    if (_many) {
        return {_many->numbers.begin(), _many->numbers.end()};
    }
    return {_few.begin(), _few.begin() + _fewCount};
}

}  // namespace velm
