#pragma once

#include "velmctl/commands/StatusText.h"
#include "velmd/status/ServerStatus.h"

#include <string>
#include <utility>
#include <vector>

namespace velm {

/// All that is known about one subscriber, and why its listener hears nothing, if it does not.
struct SubscriberReport {
    std::string name;
    /// What is known: "queue", "3 wait".
    std::vector<std::pair<std::string, std::string>> details;
    /// What follows from it, and the next step to take; of several ways each on a line of its own.
    std::string finding;
    std::string advice;
    /// It is subscribed, and nothing fails; also when it heard nothing yet.
    bool isWell = false;
};

/// One for each subscriber of that name, those that were removed included unless they are back; one that says
/// so when there is none. Any thread.
std::vector<SubscriberReport> reportSubscribers(const status::ServerStatus& status,
                                                const SubscriberName& name);

}  // namespace velm
