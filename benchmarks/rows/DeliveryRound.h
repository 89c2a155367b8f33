#pragma once

#include "benchmarks/harness/Worker.h"
#include "benchmarks/peers/Tally.h"
#include "benchmarks/world/World.h"

#include <cstdint>

namespace velm::bench {

/// Reports `count` full events to a subscriber that a peer with this tally stands behind, lets the delivery
/// thread send them in one pass, and answers messages per second as the peer saw them and, as the second
/// number, nanoseconds of this process's processor time for each. Throws std::runtime_error when the peer did
/// not get each once and in order.
Sample measureDelivery(World& world, Tally& tally, std::uint32_t count);

/// Throws std::runtime_error unless the peer got each of `count` messages once and in order.
void requireAll(const Tally& tally, std::uint32_t count);

}  // namespace velm::bench
