#pragma once

#include "velmd/status/ServerStatus.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <iosfwd>
#include <memory>
#include <mutex>
#include <string>

namespace velm {

/// The beginning of both diagnostic tables, for a page that shows them again and again.
///
/// They may hold a million rows and are written under the library's lock. So no more is asked for than is
/// shown, what was written is kept for at least ten times as long as it took, and the tables of a server in
/// which they break off, which leaves a line in the log, are kept for a minute.
///
/// Threads: any number; who comes while the tables are being written waits. Failure: what the functions
/// throw.
class KeptTables {
public:
    using Clock = std::chrono::steady_clock;
    /// Writes tables until the stream takes no more.
    using Dump = std::function<void(std::ostream&)>;

    struct Excerpt {
        std::string tables;
        bool isCut = false;
        status::Time taken;
    };

    /// So much is shown of each table.
    static constexpr std::size_t mostBytes = 128 * 1024;
    static constexpr std::chrono::seconds shortestAge{5};
    static constexpr std::chrono::seconds ageOfBrokenOnes{60};

    /// `dumpAll` writes both, `dumpClasses` the second of them alone.
    KeptTables(Dump dumpAll, Dump dumpClasses, std::function<Clock::time_point()> now = &Clock::now);

    std::shared_ptr<const Excerpt> excerpt();

private:
    std::shared_ptr<const Excerpt> _take() const;

    const Dump _dumpAll;
    const Dump _dumpClasses;
    const std::function<Clock::time_point()> _now;

    std::mutex _lock;
    // Guarded by _lock.
    std::shared_ptr<const Excerpt> _excerpt;
    Clock::time_point _due;
};

}  // namespace velm
