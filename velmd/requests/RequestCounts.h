#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <utility>

namespace velm {

/// How often each operation was asked for, and how that ended.
///
/// Threads: any number. Bounded: whoever counts hands in names of operations that there are, and not what a
/// client wrote.
class RequestCounts {
public:
    /// Of requests that ended well.
    static constexpr int ok = 0;
    /// Of requests that were no CIM operation: refused by an HTTP status.
    static constexpr int refused = -1;

    /// By name and CIM status.
    using Counts = std::map<std::pair<std::string, int>, std::uint64_t>;

    void count(const std::string& operation, int status) {
        const std::lock_guard guard(_lock);
        ++_counts[{operation, status}];
    }

    Counts counts() const {
        const std::lock_guard guard(_lock);
        return _counts;
    }

private:
    mutable std::mutex _lock;
    Counts _counts;
};

}  // namespace velm
