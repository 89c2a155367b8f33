#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

/// What peers in other processes have received.
namespace velm::bench {

/// Counts of one peer, in memory that processes share. The peer writes, others read; reset() while nothing is
/// on its way.
struct Tally {
    std::atomic<std::uint64_t> messages{0};
    /// Those whose event number is not the one after that of the message before, or not 0 at first.
    std::atomic<std::uint64_t> outOfOrder{0};
    /// When the first and the latest message were complete: nanoseconds of the steady clock.
    std::atomic<std::int64_t> first{0};
    std::atomic<std::int64_t> latest{0};

    void reset();

    /// Takes note of one message, by its body. The event number is the one in the last path of a file.
    void note(std::string_view body);

    /// Messages per second between the first and the latest.
    double rate() const;

private:
    std::atomic<std::uint64_t> _next{0};
};

/// `count` tallies that this process and those that it starts from now on share.
std::shared_ptr<Tally[]> shareTallies(std::size_t count);

}  // namespace velm::bench
