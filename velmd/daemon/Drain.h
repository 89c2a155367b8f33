#pragma once

#include "Indications/IIndicationManager.h"

#include <chrono>
#include <cstdint>

namespace velm {

/// Waits until every queued indication has been delivered, for `patience` at the most. Returns how many are
/// left, those in delivery included. Requires: nothing is reported any more.
std::uint64_t drainIndications(IIndicationManager& manager, std::chrono::milliseconds patience);

}  // namespace velm
