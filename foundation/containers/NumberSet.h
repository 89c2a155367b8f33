#pragma once

#include "foundation/Export.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace velm {

/// A set of 32-bit numbers, one of many that mostly hold a few and sometimes a million: about ten bytes for
/// each number, none on the heap for the first three.
///
/// Threads: not synchronised. Failure: only std::bad_alloc, from insert() and all(), and then nothing has
/// changed.
class VELM_EXPORT NumberSet {
public:
    NumberSet() noexcept;
    ~NumberSet();
    NumberSet(const NumberSet&) = delete;
    NumberSet& operator=(const NumberSet&) = delete;

    void insert(std::uint32_t number);
    void erase(std::uint32_t number) noexcept;
    bool isEmpty() const noexcept { return _fewCount == 0 && !_many; }

    /// The numbers, in no order.
    std::vector<std::uint32_t> all() const;

private:
    struct Table;

    std::array<std::uint32_t, 3> _few{};
    std::uint32_t _fewCount = 0;
    /// All numbers, once there were more than a few and until there are none.
    std::unique_ptr<Table> _many;
};

}  // namespace velm
