#pragma once

#include "velmd/status/ServerStatus.h"

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

/// What in a status deserves a person's eye. Pure functions; any thread.
namespace velm::faces {

/// How a subscriber does, the worst first.
enum class Standing {
    failing,   ///< What is sent to it does not arrive.
    dropped,   ///< It lost indications within the last minutes.
    waiting,   ///< Something is queued for it, and nothing was delivered lately.
    fine,      ///< It hears what is queued for it.
    untested,  ///< Nothing was delivered to it yet.
    left,      ///< It has no subscription, and nothing waits for it.
};

/// How long something that is over still counts as news.
inline constexpr std::chrono::minutes recent{10};

Standing standingOf(const status::Subscriber& subscriber, status::Time now);

/// A client that took its subscriptions back has left; the server may remember it for long.
bool hasLeft(const status::Subscriber& subscriber);
/// How many have not left.
std::size_t subscribedCount(const status::ServerStatus& status);

/// The `most` subscribers that are most worth a look: by standing; failing ones by how long they fail
/// already, others by how much waits, then by the last delivery. Points into `status`.
std::vector<const status::Subscriber*> mostInteresting(const status::ServerStatus& status, std::size_t most);

struct Verdict {
    /// Sentences, to be escaped. Empty: the server is healthy.
    std::vector<std::string> reasons;

    bool isHealthy() const { return reasons.empty(); }
};

/// `illness` says why the server does not get on; empty when it does.
Verdict judge(const status::ServerStatus& status, const std::string& illness);

}  // namespace velm::faces
