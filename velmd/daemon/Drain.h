#pragma once

#include "Indications/IIndicationManager.h"

#include <chrono>
#include <cstdint>

namespace velm {

/// How many indications are queued or being delivered. One that goes from the one to the other at the moment
/// counts twice.
std::uint64_t waitingIndications(IIndicationManager& manager);

/// Waits until every queued indication has been delivered, until `deadline` at the latest. Returns how many
/// are left, those in delivery included. Requires: nothing is reported any more.
std::uint64_t drainIndications(IIndicationManager& manager, std::chrono::steady_clock::time_point deadline);

}  // namespace velm
