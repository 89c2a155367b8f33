#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace velm {

/// The last of the things that went wrong in one respect, and how many there were.
///
/// Threads: any number.
class FailureRecord {
public:
    struct Failure {
        std::string text;
        std::chrono::system_clock::time_point since;
        std::chrono::system_clock::time_point last;
        std::uint64_t count = 0;
    };

    /// Longer texts are cut.
    static constexpr std::size_t longestText = 300;

    /// Notes `what` and `text`, one behind the other. Without memory for them nothing is noted.
    void note(std::string_view what, std::string_view text) noexcept;

    std::optional<Failure> last() const;

private:
    mutable std::mutex _lock;
    /// Guarded by _lock.
    std::optional<Failure> _last;
};

}  // namespace velm
