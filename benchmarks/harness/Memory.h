#pragma once

namespace velm::bench {

/// What this process holds, in bytes.
struct Memory {
    double resident = 0;
    /// In blocks that were allocated and not freed.
    double heap = 0;

    friend Memory operator-(const Memory& left, const Memory& right) {
        return {left.resident - right.resident, left.heap - right.heap};
    }
};

Memory memoryNow();

}  // namespace velm::bench
